#pragma once

// Owns the companion file of one record file during one operation: reads values at positions, collects
// appended values and writes them in one go. Opens the file when first needed and keeps it open.

#include "internal/FileAccess.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QVariant>

#include <optional>

namespace Kiv::Internal
{

/// Path of the companion of a record file.
QString varPathOf(const QString& recordPath);

class VarFile
{
public:
    /// \param path  of the companion itself; nothing is opened yet
    explicit VarFile(QString path);

    struct Value {
        QVariant value;
        bool isIntact = false; ///< the companion was there and its bytes made a value
    };

    /// The value that starts at a position; invalid (and a log line) when the companion cannot be opened,
    /// invalid when its bytes there make no value.
    Value read(qint64 positionBytes);

    /// Does what a read would do to the file and the log, without decoding a value.
    bool ensureReadable();

    struct Appended {
        qint64 positionBytes = 0; ///< where the value starts; 0 when the companion cannot be opened
        IoResult result;
    };

    /// Puts a value at the end. It reaches the file with flush() or an earlier read.
    Appended append(const QVariant& value);

    /// Writes what was appended. After a failure nothing of it is left in the file, and every further
    /// append and flush fails the same way.
    IoResult flush();

    /// Creates the file if need be. Attempts that fail are logged.
    bool create();

    /// Has what was flushed reach the disk.
    IoResult synchronize();

    /// Closes the file; it opens again when needed. Appended values must have been flushed.
    IoResult close();

    /// Removes everything that was appended since the file was opened.
    void rollBack();

    const QString& path() const { return m_path; }

private:
    bool open(std::optional<QFile>& file, QIODevice::OpenMode mode);
    Value readWithin(qint64 positionBytes);
    bool fillWindow(qint64 positionBytes, qint64 countBytes);

    QString m_path;
    std::optional<QFile> m_reader; ///< made when first needed; most series have no companion
    std::optional<QFile> m_writer;
    bool m_hasFailed = false;     ///< six attempts failed once; each further one is made only once
    qint64 m_openedSizeBytes = 0; ///< when the writer was opened
    qint64 m_sizeBytes = 0;       ///< of what is in the file, as the writer knows it
    QByteArray m_pending;         ///< appended, not yet in the file
    IoResult m_writeResult;       ///< of the first write that failed

    QByteArray m_window; ///< bytes of the file that were read last
    qint64 m_windowPositionBytes = 0;
};

} // namespace Kiv::Internal
