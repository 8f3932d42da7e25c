#pragma once

// Owns the bytes of one record: the timestamp offset in its width and the value in its encoding, both
// big-endian. Pure: no I/O, no log, no knowledge of what a depth in the calendar tree means beyond the
// width of its offsets.

#include <QMetaType>
#include <QVariant>
#include <QtEndian>

#include <cstring>
#include <type_traits>

namespace Kiv::Internal
{

/// How a value is held in its record.
enum class ValueCoding : quint8 {
    Bool,
    Int8,
    UInt8,
    Int16,
    UInt16,
    Int32,
    UInt32,
    Int64,
    UInt64,
    Double,
    FloatAsDouble, ///< a float, stored as the 8 bytes of a double
    VarPosition,   ///< the position of the value in the companion file
};

ValueCoding valueCodingForType(QMetaType::Type type);

/// "B", "W", "I", "L", "F", "D", or "V" for every type without a fixed-size encoding.
char markerForType(QMetaType::Type type);

/// Bytes of a value as all position arithmetic counts them. Kept: 4 for a float, which takes 8 on disk.
int dataLengthForType(QMetaType::Type type);

/// Bytes of a timestamp offset for the depths 0 (year) to 4 (minute), 0 for any other depth.
int offsetWidthForDepth(int depth);

inline constexpr int kMaxRecordBytes = 16;

/// Bytes that a value takes in its file.
constexpr int valueBytesOfCoding(ValueCoding coding)
{
    switch (coding) {
    case ValueCoding::Bool:
    case ValueCoding::Int8:
    case ValueCoding::UInt8:
        return 1;
    case ValueCoding::Int16:
    case ValueCoding::UInt16:
        return 2;
    case ValueCoding::Int32:
    case ValueCoding::UInt32:
    case ValueCoding::VarPosition:
        return 4;
    default:
        return 8;
    }
}

/// Sizes of the records of one file.
struct RecordShape {
    int offsetWidth = 0;                      ///< bytes
    int dataLength = 0;                       ///< bytes, for position arithmetic
    ValueCoding coding = ValueCoding::Double; ///< of the value

    RecordShape() = default;
    RecordShape(QMetaType::Type type, int depth);

    /// Bytes of a record in all position arithmetic.
    int recordSize() const { return offsetWidth + dataLength; }
    /// Bytes that a value really takes in the file.
    int valueBytes() const { return valueBytesOfCoding(coding); }
    /// Bytes that a record really takes in the file: how far a sequential read advances.
    int strideBytes() const { return offsetWidth + valueBytes(); }
    bool isVariable() const { return coding == ValueCoding::VarPosition; }
    /// True when positions computed from record sizes and bytes on disk agree.
    bool isExact() const { return recordSize() == strideBytes(); }
};

template <int width>
qint64 decodeOffsetOfWidth(const char* bytes)
{
    if constexpr (width == 0)
        return 0;
    else if constexpr (width == 5)
        return (qint64{static_cast<quint8>(bytes[0])} << 32) | qFromBigEndian<quint32>(bytes + 1);
    else if constexpr (width == 4)
        return qFromBigEndian<quint32>(bytes);
    else if constexpr (width == 3)
        return (qint64{static_cast<quint8>(bytes[0])} << 16) | qFromBigEndian<quint16>(bytes + 1);
    else
        return qFromBigEndian<quint16>(bytes);
}

/// Writes the low bits of the offset; higher bits are dropped.
template <int width>
void encodeOffsetOfWidth(char* bytes, qint64 offsetMs)
{
    const auto bits = static_cast<quint64>(offsetMs);
    if constexpr (width == 5)
        bytes[0] = static_cast<char>(static_cast<quint8>(bits >> 32));
    if constexpr (width == 3)
        bytes[0] = static_cast<char>(static_cast<quint8>(bits >> 16));
    if constexpr (width >= 4)
        qToBigEndian(static_cast<quint32>(bits), bytes + (width - 4));
    else
        qToBigEndian(static_cast<quint16>(bits), bytes + (width - 2));
}

/// The same with the width as a number.
void encodeOffset(char* bytes, int width, qint64 offsetMs);
/// \return the offset in milliseconds, unsigned within its width; 0 for width 0
qint64 decodeOffset(const char* bytes, int width);

inline void encodeDouble(char* bytes, double number)
{
    quint64 bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    qToBigEndian(bits, bytes);
}

/// Writes the low bytes of an integer; for Bool, whether it is not zero. Not for the floating codings.
template <ValueCoding coding>
void encodeIntegerOfCoding(char* bytes, qint64 number)
{
    if constexpr (coding == ValueCoding::Bool)
        bytes[0] = number != 0 ? 1 : 0;
    else if constexpr (valueBytesOfCoding(coding) == 1)
        bytes[0] = static_cast<char>(number);
    else if constexpr (valueBytesOfCoding(coding) == 2)
        qToBigEndian(static_cast<qint16>(number), bytes);
    else if constexpr (valueBytesOfCoding(coding) == 4)
        qToBigEndian(static_cast<qint32>(number), bytes);
    else
        qToBigEndian(number, bytes);
}

/// Writes the bytes of a fixed-size value, narrowed by QVariant's own conversions; position 0 for VarPosition.
template <ValueCoding coding>
void encodeValueOfCoding(char* bytes, const QVariant& value)
{
    if constexpr (coding == ValueCoding::Double)
        encodeDouble(bytes, value.toDouble());
    else if constexpr (coding == ValueCoding::FloatAsDouble)
        encodeDouble(bytes, static_cast<double>(value.toFloat()));
    else if constexpr (coding == ValueCoding::VarPosition)
        qToBigEndian(qint32{0}, bytes);
    else if constexpr (coding == ValueCoding::Bool)
        bytes[0] = value.toBool() ? 1 : 0;
    else if constexpr (coding == ValueCoding::Int64)
        encodeIntegerOfCoding<coding>(bytes, value.toLongLong());
    else if constexpr (coding == ValueCoding::UInt64)
        encodeIntegerOfCoding<coding>(bytes, static_cast<qint64>(value.toULongLong()));
    else if constexpr (coding == ValueCoding::UInt8 || coding == ValueCoding::UInt16 ||
                       coding == ValueCoding::UInt32)
        encodeIntegerOfCoding<coding>(bytes, qint64{value.toUInt()});
    else
        encodeIntegerOfCoding<coding>(bytes, qint64{value.toInt()});
}

/// The same with the coding as a value.
void encodeValue(char* bytes, ValueCoding coding, const QVariant& value);
void encodeVarPosition(char* bytes, qint32 positionBytes);
qint32 decodeVarPosition(const char* bytes);

/// The stored number in the type that a QVariant holds it in; as a double it is what QVariant::toDouble gives.
template <ValueCoding coding>
auto decodeStored(const char* bytes)
{
    static_assert(coding != ValueCoding::VarPosition, "its value is in the companion file");
    if constexpr (coding == ValueCoding::Bool) {
        return bytes[0] != 0;
    } else if constexpr (coding == ValueCoding::Int8) {
        return int{static_cast<qint8>(bytes[0])};
    } else if constexpr (coding == ValueCoding::UInt8) {
        return int{static_cast<quint8>(bytes[0])};
    } else if constexpr (coding == ValueCoding::Int16) {
        return int{qFromBigEndian<qint16>(bytes)};
    } else if constexpr (coding == ValueCoding::UInt16) {
        return int{qFromBigEndian<quint16>(bytes)};
    } else if constexpr (coding == ValueCoding::Int32) {
        return int{qFromBigEndian<qint32>(bytes)};
    } else if constexpr (coding == ValueCoding::UInt32) {
        return uint{qFromBigEndian<quint32>(bytes)};
    } else if constexpr (coding == ValueCoding::Int64) {
        return qlonglong{qFromBigEndian<qint64>(bytes)};
    } else if constexpr (coding == ValueCoding::UInt64) {
        return qulonglong{qFromBigEndian<quint64>(bytes)};
    } else {
        const quint64 bits = qFromBigEndian<quint64>(bytes);
        double number = 0.0;
        std::memcpy(&number, &bits, sizeof number);
        if constexpr (coding == ValueCoding::FloatAsDouble)
            return static_cast<float>(number);
        else
            return number;
    }
}

/// The value; an invalid QVariant for VarPosition.
template <ValueCoding coding>
QVariant decodeValueOfCoding(const char* bytes)
{
    if constexpr (coding == ValueCoding::VarPosition)
        return QVariant();
    else
        return QVariant(decodeStored<coding>(bytes));
}

template <ValueCoding coding>
using CodingConstant = std::integral_constant<ValueCoding, coding>;

/// Calls `visit(CodingConstant<...>())` with a coding: the one table from the value to the type.
template <typename Visit>
auto visitCoding(ValueCoding coding, Visit visit)
{
    switch (coding) {
    case ValueCoding::Bool:
        return visit(CodingConstant<ValueCoding::Bool>());
    case ValueCoding::Int8:
        return visit(CodingConstant<ValueCoding::Int8>());
    case ValueCoding::UInt8:
        return visit(CodingConstant<ValueCoding::UInt8>());
    case ValueCoding::Int16:
        return visit(CodingConstant<ValueCoding::Int16>());
    case ValueCoding::UInt16:
        return visit(CodingConstant<ValueCoding::UInt16>());
    case ValueCoding::Int32:
        return visit(CodingConstant<ValueCoding::Int32>());
    case ValueCoding::UInt32:
        return visit(CodingConstant<ValueCoding::UInt32>());
    case ValueCoding::Int64:
        return visit(CodingConstant<ValueCoding::Int64>());
    case ValueCoding::UInt64:
        return visit(CodingConstant<ValueCoding::UInt64>());
    case ValueCoding::Double:
        return visit(CodingConstant<ValueCoding::Double>());
    case ValueCoding::FloatAsDouble:
        return visit(CodingConstant<ValueCoding::FloatAsDouble>());
    case ValueCoding::VarPosition:
        break;
    }
    return visit(CodingConstant<ValueCoding::VarPosition>());
}

/// The value of a fixed-size coding; an invalid QVariant for VarPosition.
QVariant decodeValue(const char* bytes, ValueCoding coding);

/// The value that bytes beyond the end of a file stand for: zero of its type, null for VarPosition.
QVariant zeroValue(ValueCoding coding);

/// Position of the record that a binary search for `offsetMs` examines last, among `recordCount`
/// records of `recordSize` bytes: an exact match (any of several), else a direct neighbour of the
/// insertion point. `offsetAt(positionBytes, lowBytes, highBytes)` reads the offset stored at a position; this and
/// all later positions lie between the other two. recordCount must be at least 1. At most floor(log2 n) + 1
/// probes.
template <typename OffsetAt>
qint64 searchRecords(qint64 recordCount, qint64 recordSize, qint64 offsetMs, OffsetAt offsetAt)
{
    qint64 low = 0;
    qint64 high = recordCount;
    while (true) {
        const qint64 middle = low + (high - low) / 2;
        const qint64 found = offsetAt(middle * recordSize, low * recordSize, high * recordSize);
        if (found == offsetMs)
            return middle * recordSize;
        if (found > offsetMs)
            high = middle;
        else
            low = middle + 1;
        if (low >= high)
            return middle * recordSize;
    }
}

} // namespace Kiv::Internal
