// Marker letters and data lengths of all value types, and what a storage object derives from its type.

#include "internal/RecordLayout.h"
#include "support/SeriesForTest.h"

#include <gtest/gtest.h>

#include <map>

namespace Kiv::Testing
{
namespace
{

struct TypeRow {
    const char* marker;
    int dataLengthBytes;
};

/// The types with an entry of their own; every other number is {"V", 4}.
const std::map<int, TypeRow> kRows = {
    {1, {"B", 1}},  {2, {"I", 4}},  {3, {"I", 4}},  {4, {"L", 8}},  {5, {"L", 8}},  {6, {"D", 8}},
    {33, {"W", 2}}, {34, {"B", 1}}, {36, {"W", 2}}, {37, {"B", 1}}, {38, {"F", 4}},
};

TypeRow rowOf(int number)
{
    const auto row = kRows.find(number);
    return row == kRows.end() ? TypeRow{"V", 4} : row->second;
}

QMetaType::Type typeOf(int number)
{
    return static_cast<QMetaType::Type>(number);
}

TEST(ValueType, HasTheMarkerAndDataLengthOfTheTable)
{
    TSFileStorage storage(QStringLiteral("/series"), QMetaType::Double, 1000);
    for (int number = 0; number <= 70; ++number) {
        EXPECT_EQ(storage.getMarkerForValueType(typeOf(number)), rowOf(number).marker) << number;
        EXPECT_EQ(storage.getDataLengthForValueType(typeOf(number)), rowOf(number).dataLengthBytes) << number;
    }
}

TEST(ValueType, BeyondTheTableIsVariable)
{
    TSFileStorage storage(QStringLiteral("/series"), QMetaType::Double, 1000);
    for (const int number : {-1, 71, 255, 1024, 65536, 70000, 0x7fffffff}) {
        EXPECT_EQ(storage.getMarkerForValueType(typeOf(number)), "V") << number;
        EXPECT_EQ(storage.getDataLengthForValueType(typeOf(number)), 4) << number;
    }
}

TEST(ValueType, NumbersAreThoseOfTheMetaTypes)
{
    EXPECT_EQ(QMetaType::Long, 32);
    EXPECT_EQ(QMetaType::Short, 33);
    EXPECT_EQ(QMetaType::Char, 34);
    EXPECT_EQ(QMetaType::ULong, 35);
    EXPECT_EQ(QMetaType::UShort, 36);
    EXPECT_EQ(QMetaType::UChar, 37);
    EXPECT_EQ(QMetaType::Float, 38);
    EXPECT_EQ(QMetaType::SChar, 40);
    EXPECT_EQ(QMetaType::QVariant, 41);
}

TEST(ValueType, DecidesDirectoryAndSizesOfAStorage)
{
    for (int number = 0; number <= 70; ++number) {
        const TSFileStorage storage(QStringLiteral("/series"), typeOf(number), 1000);
        EXPECT_EQ(storage.m_dir, QStringLiteral("/series/") + rowOf(number).marker + u'/') << number;
        EXPECT_EQ(storage.m_dataLength, rowOf(number).dataLengthBytes) << number;
        EXPECT_EQ(storage.m_valueType, number);
    }
}

TEST(ValueType, LayoutAgreesWithTheStorage)
{
    for (int number = 0; number <= 70; ++number) {
        EXPECT_EQ(Internal::markerForType(typeOf(number)), *rowOf(number).marker) << number;
        EXPECT_EQ(Internal::dataLengthForType(typeOf(number)), rowOf(number).dataLengthBytes) << number;
        EXPECT_EQ(Internal::valueCodingForType(typeOf(number)) == Internal::ValueCoding::VarPosition,
                  std::string("V") == rowOf(number).marker)
            << number;
    }
}

TEST(OffsetWidth, DependsOnTheDepth)
{
    TSFileStorage storage(QStringLiteral("/series"), QMetaType::Double, 1000);
    const int widths[] = {5, 4, 4, 3, 2};
    for (int depth = 0; depth < 5; ++depth) {
        EXPECT_EQ(storage.getDataLengthForTimestampOffset(static_cast<TSFileInfo::DirDepth>(depth)),
                  widths[depth]);
        EXPECT_EQ(storage.m_tsOffsetLength[depth], widths[depth]);
        EXPECT_EQ(Internal::offsetWidthForDepth(depth), widths[depth]);
    }
}

TEST(OffsetWidth, OfAnUnknownDepthIsZero)
{
    TSFileStorage storage(QStringLiteral("/series"), QMetaType::Double, 1000);
    for (const int depth : {-1, 5, 6, 1000, -1000}) {
        EXPECT_EQ(storage.getDataLengthForTimestampOffset(static_cast<TSFileInfo::DirDepth>(depth)), 0)
            << depth;
        EXPECT_EQ(Internal::offsetWidthForDepth(depth), 0) << depth;
    }
}

TEST(RecordShape, KeepsAFloatsPositionsApartFromItsBytes)
{
    const Internal::RecordShape shape(QMetaType::Float, 2);
    EXPECT_EQ(shape.recordSize(), 8);
    EXPECT_EQ(shape.strideBytes(), 12);
    EXPECT_FALSE(shape.isExact());
}

TEST(RecordShape, OfEveryOtherTypeIsExact)
{
    for (int number = 0; number <= 70; ++number) {
        for (int depth = 0; depth < 5; ++depth) {
            const Internal::RecordShape shape(typeOf(number), depth);
            EXPECT_EQ(shape.isExact(), number != QMetaType::Float) << number;
            EXPECT_EQ(shape.recordSize(),
                      Internal::offsetWidthForDepth(depth) + rowOf(number).dataLengthBytes);
            EXPECT_LE(shape.strideBytes(), Internal::kMaxRecordBytes);
        }
    }
}

} // namespace
} // namespace Kiv::Testing
