#include "properties/PlainStorage.h"

#include <algorithm>

namespace Kiv::Testing
{

namespace
{

QFile& fileOf(QDataStream& stream)
{
    return *static_cast<QFile*>(stream.device());
}

template <typename Stored, typename Result>
QVariant readAs(QDataStream& stream)
{
    Stored stored{};
    stream >> stored;
    return QVariant::fromValue(static_cast<Result>(stored));
}

/// Reads one value and tells whether it decodes through and through. Qt alone does not tell: a type that it
/// does not know comes back as an invalid value without an error, also inside lists and maps.
bool skipWholeValue(QDataStream& stream, int levels = 0)
{
    constexpr int kMostLevels = 512;
    QIODevice& device = *stream.device();
    const qint64 startBytes = device.pos();
    quint32 type = 0;
    qint8 isNull = 0;
    stream >> type >> isNull;
    if (type == QMetaType::User) {
        QByteArray name;
        stream >> name;
        type = static_cast<quint32>(QMetaType::fromName(name).id());
        if (type == 0)
            return false;
    }
    const bool hasKeys = type == QMetaType::QVariantMap || type == QMetaType::QVariantHash;
    const bool hasCount = hasKeys || type == QMetaType::QVariantList;
    if (!hasCount && type != QMetaType::QVariantPair && type != QMetaType::QVariant) {
        // Qt makes room for as many elements as the count says, were it all the memory there is.
        if (type == QMetaType::QStringList || type == QMetaType::QByteArrayList) {
            quint32 count = 0;
            stream >> count;
            if (stream.status() != QDataStream::Ok || qint64{count} > device.bytesAvailable() / 4)
                return false;
        }
        device.seek(startBytes);
        QVariant value;
        stream >> value;
        return stream.status() == QDataStream::Ok && (type == 0 || value.isValid());
    }
    if (levels >= kMostLevels)
        return false;
    quint32 count = type == QMetaType::QVariantPair ? 2 : 1;
    if (hasCount)
        stream >> count;
    for (; count > 0 && stream.status() == QDataStream::Ok; --count) {
        QString key;
        if (hasKeys)
            stream >> key;
        if (!skipWholeValue(stream, levels + 1))
            return false;
    }
    return stream.status() == QDataStream::Ok;
}

} // namespace

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
    const qint64 position = file.pos() - (recordSize(depth) - m_dataLength);
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
    const qint64 foundMs = readOffset(stream, depth);
    while (position >= size) {
        file.seek(position - size);
        if (readOffset(stream, depth) != foundMs)
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
