#include "internal/VarValue.h"

#include <QDataStream>
#include <QIODevice>

#include <new>
#include <utility>

namespace Kiv::Internal
{

namespace
{

bool readVariant(QDataStream& stream, QVariant& value, int nesting);

/// False when the bytes left cannot hold that many elements.
bool readCount(QDataStream& stream, quint32& count, qint64 minBytesPerElement)
{
    stream >> count;
    return stream.status() == QDataStream::Ok &&
           qint64{count} <= stream.device()->bytesAvailable() / minBytesPerElement;
}

bool readInto(QDataStream& stream, QVariantList& list, int nesting)
{
    constexpr qint64 kMinBytes = 5; // of a variant: type and null flag
    quint32 count = 0;
    if (!readCount(stream, count, kMinBytes))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        QVariant element;
        if (!readVariant(stream, element, nesting))
            return false;
        list.append(element);
    }
    return true;
}

template <typename Map>
bool readInto(QDataStream& stream, Map& map, int nesting)
{
    constexpr qint64 kMinBytes = 9; // of a key's length and a variant
    quint32 count = 0;
    if (!readCount(stream, count, kMinBytes))
        return false;
    for (quint32 i = 0; i < count; ++i) {
        QString key;
        QVariant element;
        stream >> key;
        if (stream.status() != QDataStream::Ok || !readVariant(stream, element, nesting))
            return false;
        map.insert(key, element);
    }
    return true;
}

bool readInto(QDataStream& stream, QVariant& inner, int nesting)
{
    return readVariant(stream, inner, nesting);
}

bool readInto(QDataStream& stream, QVariantPair& pair, int nesting)
{
    return readVariant(stream, pair.first, nesting) && readVariant(stream, pair.second, nesting);
}

/// Reads a container type element by element; the null flag goes to the variant that holds it.
template <typename Container>
bool readContainer(QDataStream& stream, QVariant& value, bool isNull, int nesting)
{
    if (nesting >= kMaxVarNesting)
        return false;
    Container container;
    if (!readInto(stream, container, nesting + 1))
        return false;
    if (!isNull) {
        value = QVariant(QMetaType::fromType<Container>(), &container);
    } else {
        // A null flag in front of contents keeps both, as the stream's own operator does; writing through
        // data() would clear the flag.
        value = QVariant(QMetaType::fromType<Container>());
        *static_cast<Container*>(const_cast<void*>(value.constData())) = std::move(container);
    }
    return true;
}

/// Reads a type that holds no variants, from its type number on.
bool readLeaf(QDataStream& stream, QVariant& value, qint64 startPosition)
{
    stream.device()->seek(startPosition);
    stream >> value;
    return stream.status() == QDataStream::Ok;
}

/// Lists whose elements have a length each: a false count must not reserve memory.
bool hasSaneCount(QDataStream& stream)
{
    const qint64 position = stream.device()->pos();
    quint32 count = 0;
    const bool isSane = readCount(stream, count, qint64{sizeof(quint32)});
    stream.device()->seek(position);
    return isSane;
}

/// The type of a value that names its type, which may be one that has a number, too.
quint32 readTypeName(QDataStream& stream)
{
    QByteArray name;
    stream >> name;
    return static_cast<quint32>(QMetaType::fromName(name).id());
}

bool readVariant(QDataStream& stream, QVariant& value, int nesting)
{
    const qint64 startPosition = stream.device()->pos();
    quint32 type = 0;
    qint8 nullFlag = 0;
    stream >> type >> nullFlag;
    if (stream.status() != QDataStream::Ok)
        return false;
    // A variant holds its flag in one bit; the stream's own operator drops the others.
    const bool isNull = (nullFlag & 1) != 0;
    // A container by name must not get past the guards on its contents.
    if (type == QMetaType::User && (type = readTypeName(stream)) == QMetaType::UnknownType)
        return false;
    switch (type) {
    case QMetaType::UnknownType:
        value = QVariant();
        return true;
    case QMetaType::QVariantMap:
        return readContainer<QVariantMap>(stream, value, isNull, nesting);
    case QMetaType::QVariantList:
        return readContainer<QVariantList>(stream, value, isNull, nesting);
    case QMetaType::QVariantHash:
        return readContainer<QVariantHash>(stream, value, isNull, nesting);
    case QMetaType::QVariant:
        return readContainer<QVariant>(stream, value, isNull, nesting);
    case QMetaType::QVariantPair:
        return readContainer<QVariantPair>(stream, value, isNull, nesting);
    case QMetaType::QStringList:
    case QMetaType::QByteArrayList:
        return hasSaneCount(stream) && readLeaf(stream, value, startPosition);
    default:
        return readLeaf(stream, value, startPosition) && value.isValid();
    }
}

} // namespace

QByteArray encodeVarValue(const QVariant& value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(kStreamVersion);
    stream << value;
    return bytes;
}

std::optional<QVariant> decodeVarValue(const QByteArray& bytes)
{
    QDataStream stream(bytes);
    stream.setVersion(kStreamVersion);
    QVariant value;
    try {
        if (readVariant(stream, value, 0))
            return value;
    } catch (const std::bad_alloc&) {
        // Bytes that ask for more memory than there is do not decode.
    }
    return std::nullopt;
}

} // namespace Kiv::Internal
