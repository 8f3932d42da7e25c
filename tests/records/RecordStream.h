#pragma once

// Owns a record file with a stream on it, on which the tests of single-record operations work.

#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <QDataStream>
#include <QFile>

namespace Kiv::Testing
{

/// An open record file of a series of one value type, with a data stream in the version of storage files.
class RecordStream
{
public:
    explicit RecordStream(QMetaType::Type type, const QByteArray& bytes = {})
        : storage(m_directory.base(), type, kNoSizeLimit), path(m_directory.at(QStringLiteral("record")))
    {
        writeFile(path, bytes);
        file.setFileName(path);
        if (!file.open(QIODevice::ReadWrite))
            throw std::runtime_error("cannot open " + path.toStdString());
        stream.setDevice(&file);
        stream.setVersion(QDataStream::Qt_5_15);
    }

    void write(qint64 offsetMs, const QVariant& value, int depth = 4, qint64 baseMs = 0)
    {
        storage.writeDataRecord(stream, {baseMs + offsetMs, value}, baseMs, depthOf(depth));
        file.flush();
    }

    Record read(int depth = 4, qint64 baseMs = 0)
    {
        return storage.readCurrDataRecord(stream, baseMs, depthOf(depth));
    }

    std::string hex() const { return hexOf(path); }
    QString varPath() const { return path + QStringLiteral(".var"); }
    std::string varHex() const { return hexOf(varPath()); }

    static TSFileInfo::DirDepth depthOf(int depth) { return static_cast<TSFileInfo::DirDepth>(depth); }

private:
    SeriesDirectory m_directory;
    SeamsForTest m_seams;

public:
    TSFileStorage storage;
    QString path;
    QFile file;
    QDataStream stream;
};

} // namespace Kiv::Testing
