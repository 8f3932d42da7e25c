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
    switch (valueCodingForType(type)) {
    case ValueCoding::Bool:
    case ValueCoding::Int8:
    case ValueCoding::UInt8:
        return 1;
    case ValueCoding::Int16:
    case ValueCoding::UInt16:
        return 2;
    case ValueCoding::Int64:
    case ValueCoding::UInt64:
    case ValueCoding::Double:
        return 8;
    case ValueCoding::Int32:
    case ValueCoding::UInt32:
    case ValueCoding::FloatAsDouble:
    case ValueCoding::VarPosition:
        break;
    }
    return 4;
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
    switch (coding) {
    case ValueCoding::Bool:
        return encodeValueOfCoding<ValueCoding::Bool>(bytes, value);
    case ValueCoding::Int8:
        return encodeValueOfCoding<ValueCoding::Int8>(bytes, value);
    case ValueCoding::UInt8:
        return encodeValueOfCoding<ValueCoding::UInt8>(bytes, value);
    case ValueCoding::Int16:
        return encodeValueOfCoding<ValueCoding::Int16>(bytes, value);
    case ValueCoding::UInt16:
        return encodeValueOfCoding<ValueCoding::UInt16>(bytes, value);
    case ValueCoding::Int32:
        return encodeValueOfCoding<ValueCoding::Int32>(bytes, value);
    case ValueCoding::UInt32:
        return encodeValueOfCoding<ValueCoding::UInt32>(bytes, value);
    case ValueCoding::Int64:
        return encodeValueOfCoding<ValueCoding::Int64>(bytes, value);
    case ValueCoding::UInt64:
        return encodeValueOfCoding<ValueCoding::UInt64>(bytes, value);
    case ValueCoding::Double:
        return encodeValueOfCoding<ValueCoding::Double>(bytes, value);
    case ValueCoding::FloatAsDouble:
        return encodeValueOfCoding<ValueCoding::FloatAsDouble>(bytes, value);
    case ValueCoding::VarPosition:
        return encodeValueOfCoding<ValueCoding::VarPosition>(bytes, value);
    }
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
    switch (coding) {
    case ValueCoding::Bool:
        return decodeValueOfCoding<ValueCoding::Bool>(bytes);
    case ValueCoding::Int8:
        return decodeValueOfCoding<ValueCoding::Int8>(bytes);
    case ValueCoding::UInt8:
        return decodeValueOfCoding<ValueCoding::UInt8>(bytes);
    case ValueCoding::Int16:
        return decodeValueOfCoding<ValueCoding::Int16>(bytes);
    case ValueCoding::UInt16:
        return decodeValueOfCoding<ValueCoding::UInt16>(bytes);
    case ValueCoding::Int32:
        return decodeValueOfCoding<ValueCoding::Int32>(bytes);
    case ValueCoding::UInt32:
        return decodeValueOfCoding<ValueCoding::UInt32>(bytes);
    case ValueCoding::Int64:
        return decodeValueOfCoding<ValueCoding::Int64>(bytes);
    case ValueCoding::UInt64:
        return decodeValueOfCoding<ValueCoding::UInt64>(bytes);
    case ValueCoding::Double:
        return decodeValueOfCoding<ValueCoding::Double>(bytes);
    case ValueCoding::FloatAsDouble:
        return decodeValueOfCoding<ValueCoding::FloatAsDouble>(bytes);
    case ValueCoding::VarPosition:
        break;
    }
    return QVariant();
}

QVariant zeroValue(ValueCoding coding)
{
    constexpr char kZeros[kMaxRecordBytes] = {};
    return decodeValue(kZeros, coding);
}

} // namespace Kiv::Internal
