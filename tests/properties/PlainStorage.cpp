#include "properties/PlainStorage.h"

#include "internal/Seams.h"

#include <Kiv/Logger.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace Kiv::Testing
{

namespace
{

QString markerFor(QMetaType::Type type)
{
    switch (type) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::UChar:
        return QStringLiteral("B");
    case QMetaType::Short:
    case QMetaType::UShort:
        return QStringLiteral("W");
    case QMetaType::Int:
    case QMetaType::UInt:
        return QStringLiteral("I");
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return QStringLiteral("L");
    case QMetaType::Float:
        return QStringLiteral("F");
    case QMetaType::Double:
        return QStringLiteral("D");
    default:
        return QStringLiteral("V");
    }
}

int dataLengthFor(const QString& marker)
{
    if (marker == u'B')
        return 1;
    if (marker == u'W')
        return 2;
    if (marker == u'L' || marker == u'D')
        return 8;
    return 4;
}

int offsetWidth(int depth)
{
    constexpr int kWidths[] = {5, 4, 4, 3, 2};
    return depth >= 0 && depth <= 4 ? kWidths[depth] : 0;
}

QString modeText(QIODevice::OpenMode mode)
{
    const char* const names[] = {"Read,", "Write,",      "Append,",  "Truncate,",
                                 "Text,", "Unbuffered,", "NewOnly,", "ExistingOnly,"};
    QString text;
    for (int bit = 0; bit < 8; ++bit) {
        if (mode.toInt() & (1 << bit))
            text += QLatin1String(names[bit]);
    }
    return text;
}

QFile& fileOf(QDataStream& stream)
{
    return *static_cast<QFile*>(stream.device());
}

} // namespace

void plainLog(unsigned char level, const QString& format, std::initializer_list<QVariant> values, int line)
{
    LogMessage message(level, format, "src/TSFileStorage", line);
    for (const QVariant& value : values)
        message.arg(value);
    message.endl();
}

bool plainOrder(const Record& left, const Record& right)
{
    if (left.timestamp != right.timestamp)
        return left.timestamp < right.timestamp;
    const double a = left.value.toDouble();
    const double b = right.value.toDouble();
    if (std::isnan(a))
        return false;
    return std::isnan(b) || a < b;
}

qint64 plainNowUs()
{
    return Internal::seams().nowMicroseconds();
}

PlainStorage::PlainStorage(QString path, QMetaType::Type valueType, int maxFileSize)
    : PlainStorageTree((path.endsWith(u'/') ? path : path + u'/') + markerFor(valueType) + u'/'),
      m_valueType(valueType),
      m_marker(markerFor(valueType)),
      m_dataLength(dataLengthFor(m_marker)),
      m_maxFileSize(maxFileSize)
{
}

PlainStorage PlainStorage::lateWriteLog() const
{
    return {m_dir.chopped(1) + QStringLiteral("P/"), QMetaType::LongLong, m_maxFileSize};
}

PlainStorage PlainStorage::overwriteHistory() const
{
    return {m_dir.chopped(1) + QStringLiteral("O/"), QMetaType::QVariant, m_maxFileSize};
}

PlainStorage* PlainStorage::storageForMarker(const QString& marker, std::unique_ptr<PlainStorage>& owned)
{
    if (marker.isEmpty())
        return QDir(m_dir).exists() ? this : nullptr;
    if (marker != u'P' && marker != u'O')
        return nullptr;
    const QString directory = m_dir.chopped(1) + marker + u'/';
    if (!QDir(directory).exists())
        return nullptr;
    const QMetaType::Type type = marker == u'P' ? QMetaType::LongLong : QMetaType::QVariant;
    owned = std::make_unique<PlainStorage>(directory, type, m_maxFileSize);
    return owned.get();
}

int PlainStorage::recordSize(int depth) const
{
    return offsetWidth(depth) + m_dataLength;
}

int PlainStorage::storedSize(int depth) const
{
    return isFloat() ? offsetWidth(depth) + 8 : recordSize(depth);
}

bool PlainStorage::tryOpen(QFile& file, QIODevice::OpenMode mode, int attempt)
{
    if (file.open(mode))
        return true;
    plainLog(4, QStringLiteral("File open failed (%1) on '%2', attempt %3"),
             {modeText(mode), file.fileName(), attempt}, 140);
    return false;
}

bool PlainStorage::openFile(QFile& file, QIODevice::OpenMode mode)
{
    for (int attempt = 1;; ++attempt) {
        if (tryOpen(file, mode, attempt))
            return true;
        if (attempt == 6)
            return false;
        Internal::seams().sleep(1);
    }
}

bool PlainStorage::openCompanion(QFile& file, QIODevice::OpenMode mode)
{
    const QFileInfo info(file);
    if (info.exists() && !info.isFile() && !info.isDir())
        return false; // a pipe would never answer
    if (m_exhausted.count(file.fileName()))
        return tryOpen(file, mode, 1);
    if (openFile(file, mode))
        return true;
    m_exhausted.insert(file.fileName());
    return false;
}

qint64 PlainStorage::readOffset(QDataStream& stream, int depth) const
{
    quint8 byte = 0;
    quint16 word = 0;
    quint32 longWord = 0;
    if (depth == 0)
        stream >> byte >> longWord;
    else if (depth == 1 || depth == 2)
        stream >> longWord;
    else if (depth == 3)
        stream >> byte >> word;
    else if (depth == 4)
        stream >> word;
    if (stream.status() != QDataStream::Ok)
        return 0; // half an offset is none
    const qint64 high = byte;
    return depth == 0 ? (high << 32) | longWord : (high << 16) | word | longWord;
}

namespace
{

template <typename Stored, typename Result>
QVariant readAs(QDataStream& stream)
{
    Stored stored{};
    stream >> stored;
    return QVariant::fromValue(static_cast<Result>(stored));
}

/// Reads one value and tells whether it decodes through and through. Qt alone does not tell: a type that it
/// does not know comes back as an invalid value without an error, also inside lists and maps.
bool skipWholeValue(QDataStream& stream)
{
    QIODevice& device = *stream.device();
    const qint64 startBytes = device.pos();
    quint32 type = 0;
    qint8 isNull = 0;
    quint32 count = 0;
    stream >> type >> isNull;
    const bool isMap = type == QMetaType::QVariantMap;
    if (!isMap && type != QMetaType::QVariantList) {
        device.seek(startBytes);
        QVariant value;
        stream >> value;
        return stream.status() == QDataStream::Ok && (type == 0 || value.isValid());
    }
    stream >> count;
    for (; count > 0 && stream.status() == QDataStream::Ok; --count) {
        QString key;
        if (isMap)
            stream >> key;
        if (!skipWholeValue(stream))
            return false;
    }
    return stream.status() == QDataStream::Ok;
}

} // namespace

QVariant PlainStorage::readFixedValue(QDataStream& stream) const
{
    switch (m_valueType) {
    case QMetaType::Bool:
        return readAs<quint8, bool>(stream);
    case QMetaType::Int:
        return readAs<qint32, int>(stream);
    case QMetaType::UInt:
        return readAs<quint32, uint>(stream);
    case QMetaType::LongLong:
        return readAs<qint64, qlonglong>(stream);
    case QMetaType::ULongLong:
        return readAs<quint64, qulonglong>(stream);
    case QMetaType::Double:
        return readAs<double, double>(stream);
    case QMetaType::Short:
        return readAs<qint16, int>(stream);
    case QMetaType::Char:
        return readAs<qint8, int>(stream);
    case QMetaType::UShort:
        return readAs<quint16, int>(stream);
    case QMetaType::UChar:
        return readAs<quint8, int>(stream);
    default:
        return readAs<float, float>(stream);
    }
}

void PlainStorage::writeFixedValue(QDataStream& stream, const QVariant& value) const
{
    switch (m_valueType) {
    case QMetaType::Bool:
        stream << static_cast<quint8>(value.toBool() ? 1 : 0);
        break;
    case QMetaType::Int:
        stream << static_cast<qint32>(value.toInt());
        break;
    case QMetaType::UInt:
        stream << static_cast<quint32>(value.toUInt());
        break;
    case QMetaType::LongLong:
        stream << static_cast<qint64>(value.toLongLong());
        break;
    case QMetaType::ULongLong:
        stream << static_cast<quint64>(value.toULongLong());
        break;
    case QMetaType::Double:
        stream << value.toDouble();
        break;
    case QMetaType::Short:
        stream << static_cast<qint16>(value.toInt());
        break;
    case QMetaType::Char:
        stream << static_cast<qint8>(value.toInt());
        break;
    case QMetaType::UShort:
        stream << static_cast<quint16>(value.toUInt());
        break;
    case QMetaType::UChar:
        stream << static_cast<quint8>(value.toUInt());
        break;
    default:
        stream << value.toFloat();
        break;
    }
}

QVariant PlainStorage::readCompanionValue(QDataStream& stream)
{
    qint32 positionBytes = 0;
    stream >> positionBytes;
    QFile companion(fileOf(stream).fileName() + QStringLiteral(".var"));
    if (!openCompanion(companion, QIODevice::ReadOnly)) {
        plainLog(2, QStringLiteral("Could not open '%1' for read (readCurrDataRecord)"),
                 {companion.fileName()}, 388);
        m_valueIntact = false;
        return {};
    }
    companion.seek(std::max(positionBytes, 0));
    QDataStream values(&companion);
    values.setVersion(19);
    m_valueIntact = skipWholeValue(values);
    if (!m_valueIntact)
        return {};
    companion.seek(std::max(positionBytes, 0));
    QVariant value;
    values >> value;
    return value;
}

void PlainStorage::writeCompanionValue(QDataStream& stream, const QVariant& value)
{
    QFile companion(fileOf(stream).fileName() + QStringLiteral(".var"));
    if (!openCompanion(companion, QIODevice::WriteOnly | QIODevice::Append)) {
        plainLog(2, QStringLiteral("Could not open '%1' for write (writeDataRecord)"), {companion.fileName()},
                 228);
        stream << qint32(0);
        return;
    }
    stream << static_cast<qint32>(companion.size());
    QDataStream values(&companion);
    values.setVersion(19);
    values << value;
}

Record PlainStorage::readRecord(QDataStream& stream, qint64 baseMs, int depth)
{
    m_valueIntact = true;
    QFile& file = fileOf(stream);
    if (!isFloat() && file.bytesAvailable() < recordSize(depth)) {
        QDataStream nothing{QByteArray()};
        return {baseMs, isVariable() ? QVariant() : readFixedValue(nothing)};
    }
    const qint64 timestamp = baseMs + readOffset(stream, depth);
    const QVariant value = isVariable() ? readCompanionValue(stream) : readFixedValue(stream);
    stream.resetStatus();
    return {timestamp, value};
}

Record PlainStorage::readLastRecord(QDataStream& stream, qint64 fileSize, qint64 baseMs, int depth)
{
    const qint64 size = recordSize(depth);
    // A Float file keeps the plain formula, though its records are four bytes longer than it believes.
    const qint64 position = isFloat() ? fileSize - size : (fileSize / size - 1) * size;
    if (position >= 0)
        fileOf(stream).seek(position);
    return readRecord(stream, baseMs, depth);
}

void PlainStorage::writeRecord(QDataStream& stream, const Record& record, qint64 baseMs, int depth)
{
    const qint64 offset = record.timestamp - baseMs;
    switch (depth) {
    case 0:
        stream << static_cast<qint8>(offset >> 32) << static_cast<qint32>(offset);
        break;
    case 1:
    case 2:
        stream << static_cast<qint32>(offset);
        break;
    case 3:
        stream << static_cast<qint8>(offset >> 16) << static_cast<qint16>(offset);
        break;
    case 4:
        stream << static_cast<qint16>(offset);
        break;
    default:
        break;
    }
    if (isVariable())
        writeCompanionValue(stream, record.value);
    else
        writeFixedValue(stream, record.value);
}

qint64 PlainStorage::seekToOffset(QDataStream& stream, qint64 fileSize, qint64 offsetMs, int depth) const
{
    QFile& file = fileOf(stream);
    const qint64 size = recordSize(depth);
    qint64 low = 0;
    qint64 high = fileSize / size;
    while (low < high) {
        const qint64 middle = (low + high) / 2;
        file.seek(middle * size);
        const qint64 found = readOffset(stream, depth);
        if (found == offsetMs)
            break;
        if (found > offsetMs)
            high = middle;
        else
            low = middle + 1;
    }
    stream.resetStatus();
    const qint64 position = file.pos() - offsetWidth(depth);
    if (position >= 0)
        file.seek(position);
    return file.pos();
}

void PlainStorage::seekToStart(QDataStream& stream, qint64 fileSize, qint64 offsetMs, int depth) const
{
    QFile& file = fileOf(stream);
    const qint64 size = recordSize(depth);
    qint64 position = seekToOffset(stream, fileSize, offsetMs, depth);
    if (isFloat() || fileSize < size)
        return;
    while (position >= size) {
        file.seek(position - size);
        if (readOffset(stream, depth) != offsetMs)
            break;
        position -= size;
    }
    file.seek(position);
}

Records PlainStorage::readAllRecords(QDataStream& stream, qint64 baseMs, int depth, bool& intact)
{
    Records records;
    intact = true;
    while (fileOf(stream).bytesAvailable() >= storedSize(depth)) {
        records.push_back(readRecord(stream, baseMs, depth));
        intact = intact && m_valueIntact;
    }
    return records;
}

} // namespace Kiv::Testing
