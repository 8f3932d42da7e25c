#pragma once

// Owns the sequential writing of a record file that is made anew, with its companion.

#include "Interpolate.h"

#include "internal/FileAccess.h"
#include "internal/RecordLayout.h"
#include "internal/VarFile.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QIODevice>
#include <QString>

namespace Kiv::Internal
{

class NewRecordFile
{
public:
    NewRecordFile(const QString& path, const RecordShape& shape, qint64 baseMs);

    /// Creates or empties the file; with `QIODevice::Append` goes on at its end. With retries.
    bool open(QIODevice::OpenMode mode);

    /// Creates the companion, so that it is there before the record file.
    bool createCompanion() { return m_values.create(); }

    IoResult add(const Interpolate::DataRecord& record);

    /// True when values of a shape keep their bytes from file to file. A bool and a float are written anew, which
    /// makes one pattern of the many that a damaged file may hold.
    static bool canAddBytes(const RecordShape& shape);

    /// Adds the records of another file of the same type, whose values keep their bytes.
    /// \param baseMs, shape  of that file
    IoResult addBytes(QByteArrayView records, qint64 baseMs, const RecordShape& shape);

    enum class Durability { Cached, Synchronized };

    /// Writes everything and closes the files.
    IoResult finish(Durability durability);

private:
    IoResult addUnchanged(QByteArrayView records);
    IoResult write(QByteArrayView bytes);
    IoResult flush();
    IoResult flushAll(Durability durability);

    RecordShape m_shape;
    qint64 m_baseMs;
    QFile m_file;
    VarFile m_values;
    qint64 m_sizeBytes = 0;
    QByteArray m_pending;
};

} // namespace Kiv::Internal
