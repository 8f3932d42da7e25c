#pragma once

// Owns the splitting of a record file that has grown too large into a directory of files one level deeper.

#include "Interpolate.h"

#include "internal/FileAccess.h"
#include "internal/FilePlace.h"
#include "internal/RecordLayout.h"

#include <QMetaType>
#include <QString>

#include <vector>

namespace Kiv::Internal
{

class FileSplitter
{
public:
    /// \param maxFileSizeBytes  of a record file; its companion may be ten times as large
    FileSplitter(QMetaType::Type type, int maxFileSizeBytes);

    enum class Result {
        NotNeeded,
        Split,
        LeftAsItIs,  ///< it, or one of its values, could not be read
        WriteFailed, ///< logged
    };

    /// \param place  its size is that of the record file now
    Result splitIfTooLarge(const FilePlace& place) const;

private:
    using Records = std::vector<Interpolate::DataRecord>;

    bool isTooLarge(const FilePlace& place) const;
    Result splitRecords(const FilePlace& place) const;
    Result splitBytes(const FilePlace& place, const RecordShape& shape) const;
    Result putBack(const FilePlace& place, qint64 baseMs, const Records& records) const;

    QMetaType::Type m_type;
    int m_maxFileSizeBytes;
};

} // namespace Kiv::Internal
