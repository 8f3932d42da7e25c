#include "support/SeriesForTest.h"

#include <QDataStream>
#include <QDateTime>
#include <QDirIterator>
#include <QFile>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace Kiv::Testing
{

namespace
{

template <typename Container>
std::string joined(const Container& values)
{
    std::string text;
    for (const QVariant& value : values)
        text += (text.empty() ? "" : ", ") + textOf(value);
    return text;
}

std::string mapText(const QVariantMap& map)
{
    std::string text;
    for (auto entry = map.begin(); entry != map.end(); ++entry)
        text += (text.empty() ? "" : ", ") + entry.key().toStdString() + ": " + textOf(entry.value());
    return "{" + text + "}";
}

/// All digits, and the sign of zero.
std::string numberText(double number)
{
    char text[40] = {};
    std::snprintf(text, sizeof text, "%.17g", number);
    return text;
}

} // namespace

qint64 utc(int year, int month, int day, int hour, int minute, int second, int millisecond)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, millisecond), Qt::UTC)
        .toMSecsSinceEpoch();
}

SeriesDirectory::SeriesDirectory()
{
    writeFile(at(QStringLiteral("keeps-this-directory")));
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    makeDirectory(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

void appendToFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot append to " + path.toStdString());
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

std::string hexOf(const QString& path)
{
    return readFile(path).toHex().toStdString();
}

QByteArray fromHex(const char* digits)
{
    return QByteArray::fromHex(digits);
}

std::string doubleRecordHex(qint64 offsetMs, double number)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << static_cast<quint8>(offsetMs >> 32) << static_cast<quint32>(offsetMs) << number;
    return bytes.toHex().toStdString();
}

void makeDirectory(const QString& path)
{
    QDir().mkpath(path);
}

void makeFifo(const QString& path)
{
    makeDirectory(QFileInfo(path).path());
    if (::mkfifo(QFile::encodeName(path).constData(), 0600) != 0)
        throw std::runtime_error("cannot make fifo " + path.toStdString());
}

Texts filesBelow(const QString& directory)
{
    Texts names;
    QDirIterator walk(directory, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (walk.hasNext())
        names.push_back(QDir(directory).relativeFilePath(walk.next()).toStdString());
    std::sort(names.begin(), names.end());
    return names;
}

std::string textOf(const QVariant& value)
{
    if (!value.isValid())
        return "invalid";
    if (value.typeId() == QMetaType::QVariantMap)
        return mapText(value.toMap());
    if (value.typeId() == QMetaType::QVariantList)
        return "[" + joined(value.toList()) + "]";
    if (value.typeId() == QMetaType::Double)
        return "double " + numberText(value.toDouble());
    return std::string(value.typeName()) + " " + value.toString().toStdString();
}

std::string textOf(const Record& record)
{
    return std::to_string(record.timestamp) + " " + textOf(record.value);
}

Texts textsOf(const Records& records)
{
    Texts texts;
    for (const Record& record : records)
        texts.push_back(textOf(record));
    return texts;
}

Samples samplesOf(const Records& records)
{
    Samples samples;
    for (const Record& record : records)
        samples.push_back({record.timestamp, record.value.toDouble()});
    return samples;
}

Records recordsOf(const Samples& samples)
{
    Records records;
    for (const auto& [timestamp, number] : samples)
        records.push_back({timestamp, number});
    return records;
}

Records recordsOfFile(TSFileStorage& storage, const TSFileInfo& info)
{
    QFile file(info.filePath());
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + info.filePath().toStdString());
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_15);
    const bool isFloat = storage.m_valueType == QMetaType::Float;
    const qint64 strideBytes =
        storage.getDataLengthForTimestampOffset(info.getDirDepth()) + (isFloat ? 8 : storage.m_dataLength);
    Records records;
    while (file.pos() + strideBytes <= file.size())
        records.push_back(storage.readCurrDataRecord(stream, info.getBaseTsMs(), info.getDirDepth()));
    return records;
}

Records storedRecords(TSFileStorage& storage)
{
    Records records;
    for (TSFileInfo info = storage.findFirstFile(); info.found(); info = storage.findNextFile(info)) {
        const Records ofFile = recordsOfFile(storage, info);
        records.insert(records.end(), ofFile.begin(), ofFile.end());
    }
    return records;
}

Samples storedSamples(TSFileStorage& storage)
{
    return samplesOf(storedRecords(storage));
}

Texts storedTexts(TSFileStorage& storage)
{
    return textsOf(storedRecords(storage));
}

Records readRaw(TSFileStorage& storage, qint64 start, qint64 end)
{
    Records records;
    int limit = 0;
    storage.readDataRecords({}, {}, start, end, records, false, limit, nullptr, nullptr);
    return records;
}

} // namespace Kiv::Testing
