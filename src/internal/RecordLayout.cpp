#include "internal/RecordLayout.h"

#include <QtNumeric>

#include <limits>

namespace Kiv::Internal
{

namespace
{

template <typename T>
void putBigEndian(char* bytes, T number)
{
    qToBigEndian<T>(number, bytes);
}

} // namespace

ValueCoding valueCodingForType(QMetaType::Type type)
{
    switch (type) {
    case QMetaType::Bool:
        return ValueCoding::Bool;
    case QMetaType::Int:
        return ValueCoding::Int32;
    case QMetaType::UInt:
        return ValueCoding::UInt32;
    case QMetaType::LongLong:
        return ValueCoding::Int64;
    case QMetaType::ULongLong:
        return ValueCoding::UInt64;
    case QMetaType::Double:
        return ValueCoding::Double;
    case QMetaType::Short:
        return ValueCoding::Int16;
    case QMetaType::Char:
        return ValueCoding::Int8;
    case QMetaType::UShort:
        return ValueCoding::UInt16;
    case QMetaType::UChar:
        return ValueCoding::UInt8;
    case QMetaType::Float:
        return ValueCoding::FloatAsDouble;
    default:
        // Kept: Long and ULong differ in size between platforms and go the variable-length way.
        return ValueCoding::VarPosition;
    }
}

char markerForType(QMetaType::Type type)
{
    switch (valueCodingForType(type)) {
    case ValueCoding::Bool:
    case ValueCoding::Int8:
    case ValueCoding::UInt8:
        return 'B';
    case ValueCoding::Int16:
    case ValueCoding::UInt16:
        return 'W';
    case ValueCoding::Int32:
    case ValueCoding::UInt32:
        return 'I';
    case ValueCoding::Int64:
    case ValueCoding::UInt64:
        return 'L';
    case ValueCoding::Double:
        return 'D';
    case ValueCoding::FloatAsDouble:
        return 'F';
    case ValueCoding::VarPosition:
        break;
    }
    return 'V';
}

int dataLengthForType(QMetaType::Type type)
{
    constexpr int kFloatLength = 4;
    const ValueCoding coding = valueCodingForType(type);
    return coding == ValueCoding::FloatAsDouble ? kFloatLength : valueBytesOfCoding(coding);
}

int offsetWidthForDepth(int depth)
{
    constexpr int kWidths[] = {5, 4, 4, 3, 2};
    return depth >= 0 && depth <= 4 ? kWidths[depth] : 0;
}

RecordShape::RecordShape(QMetaType::Type type, int depth)
    : offsetWidth(offsetWidthForDepth(depth)),
      dataLength(dataLengthForType(type)),
      coding(valueCodingForType(type))
{
}

void encodeOffset(char* bytes, int width, qint64 offsetMs)
{
    const quint64 bits = static_cast<quint64>(offsetMs);
    for (int i = 0; i < width; ++i)
        bytes[i] = static_cast<char>(static_cast<quint8>(bits >> (8 * (width - 1 - i))));
}

qint64 decodeOffset(const char* bytes, int width)
{
    switch (width) {
    case 5:
        return decodeOffsetOfWidth<5>(bytes);
    case 4:
        return decodeOffsetOfWidth<4>(bytes);
    case 3:
        return decodeOffsetOfWidth<3>(bytes);
    case 2:
        return decodeOffsetOfWidth<2>(bytes);
    default:
        return 0;
    }
}

void encodeValue(char* bytes, ValueCoding coding, const QVariant& value)
{
    visitCoding(coding, [&](auto constant) { encodeValueOfCoding<constant()>(bytes, value); });
}

void encodeVarPosition(char* bytes, qint32 positionBytes)
{
    putBigEndian(bytes, positionBytes);
}

qint32 decodeVarPosition(const char* bytes)
{
    return qFromBigEndian<qint32>(bytes);
}

QVariant decodeValue(const char* bytes, ValueCoding coding)
{
    return visitCoding(coding, [bytes](auto constant) { return decodeValueOfCoding<constant()>(bytes); });
}

QVariant zeroValue(ValueCoding coding)
{
    constexpr char kZeros[kMaxRecordBytes] = {};
    return decodeValue(kZeros, coding);
}

} // namespace Kiv::Internal
