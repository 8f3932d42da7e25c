#pragma once

// Owns one delete: removes or rewrites the record files of a range of one series, then the directories that
// became empty.

#include "internal/FilePlace.h"

#include <QString>
#include <QStringList>

#include <set>

namespace Kiv
{
class TSFileStorage;
}

namespace Kiv::Internal
{

class RecordFile;
struct TimeRange;

class RangeEraser
{
public:
    explicit RangeEraser(const TSFileStorage& stored);

    /// Removes the series directory and every directory above it that is then empty.
    void eraseSeries();

    /// \param fromMs, toMs  both inclusive
    /// \param toIsLast      the range ends with the series' last record
    void eraseRange(qint64 fromMs, qint64 toMs, bool toIsLast);

private:
    enum class Continue { Yes, No };

    Continue eraseInFile(const FilePlace& place, qint64 baseMs, qint64 fromMs, qint64 toMs);
    void eraseRecords(RecordFile& file, const FilePlace& place, const TimeRange& deleted);
    void queueForRemoval(const FilePlace& place);
    void removeQueued();
    void removeEmptyDirectories();

    const TSFileStorage& m_stored;
    QStringList m_queuedPaths;
    std::set<QString> m_directories;
};

} // namespace Kiv::Internal
