// Values of fixed size: the bytes on disk and the values that come back.

#include "internal/RecordLayout.h"
#include "records/RecordStream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Kiv::Testing
{
namespace
{

/// Bytes of a value of a series, behind the two bytes of a minute file's offset.
std::string valueHex(QMetaType::Type type, const QVariant& value)
{
    RecordStream record(type);
    record.write(0, value);
    return record.hex().substr(4);
}

QVariant valueFromHex(QMetaType::Type type, const char* digits)
{
    RecordStream record(type, fromHex("0000") + fromHex(digits));
    const QVariant value = record.read().value;
    EXPECT_EQ(record.stream.status(), QDataStream::Ok);
    EXPECT_EQ(record.file.pos(), record.file.size());
    return value;
}

void expectRoundTrip(QMetaType::Type type, const QVariant& value, const char* digits, const char* text)
{
    EXPECT_EQ(valueHex(type, value), digits) << text;
    EXPECT_EQ(textOf(valueFromHex(type, digits)), text);
}

TEST(ValueBytes, OfABoolAreZeroOrOne)
{
    expectRoundTrip(QMetaType::Bool, false, "00", "bool false");
    expectRoundTrip(QMetaType::Bool, true, "01", "bool true");
    EXPECT_EQ(valueHex(QMetaType::Bool, 7), "01");
    EXPECT_EQ(valueHex(QMetaType::Bool, 0.0), "00");
    EXPECT_EQ(valueHex(QMetaType::Bool, "false"), "00");
    EXPECT_EQ(textOf(valueFromHex(QMetaType::Bool, "80")), "bool true");
    EXPECT_EQ(textOf(valueFromHex(QMetaType::Bool, "02")), "bool true");
}

TEST(ValueBytes, OfCharsAreOneSignedByteReadAsInt)
{
    expectRoundTrip(QMetaType::Char, -5, "fb", "int -5");
    expectRoundTrip(QMetaType::Char, 127, "7f", "int 127");
    expectRoundTrip(QMetaType::Char, -128, "80", "int -128");
    EXPECT_EQ(valueHex(QMetaType::Char, 300), "2c");
    EXPECT_EQ(valueHex(QMetaType::Char, -129), "7f");
}

TEST(ValueBytes, OfUnsignedCharsAreOneByteReadAsInt)
{
    expectRoundTrip(QMetaType::UChar, 251, "fb", "int 251");
    expectRoundTrip(QMetaType::UChar, 0, "00", "int 0");
    expectRoundTrip(QMetaType::UChar, 255, "ff", "int 255");
    EXPECT_EQ(valueHex(QMetaType::UChar, 256), "00");
    EXPECT_EQ(valueHex(QMetaType::UChar, -1), "ff");
}

TEST(ValueBytes, OfShortsAreTwoReadAsInt)
{
    expectRoundTrip(QMetaType::Short, -2, "fffe", "int -2");
    expectRoundTrip(QMetaType::Short, 32767, "7fff", "int 32767");
    expectRoundTrip(QMetaType::Short, -32768, "8000", "int -32768");
    EXPECT_EQ(valueHex(QMetaType::Short, 70'000), "1170");
}

TEST(ValueBytes, OfUnsignedShortsAreTwoReadAsInt)
{
    expectRoundTrip(QMetaType::UShort, 65'534, "fffe", "int 65534");
    expectRoundTrip(QMetaType::UShort, 258, "0102", "int 258");
    EXPECT_EQ(valueHex(QMetaType::UShort, 65'536 + 5), "0005");
}

TEST(ValueBytes, OfIntsAreFour)
{
    expectRoundTrip(QMetaType::Int, 0x01020304, "01020304", "int 16909060");
    expectRoundTrip(QMetaType::Int, -1, "ffffffff", "int -1");
    expectRoundTrip(QMetaType::Int, std::numeric_limits<int>::min(), "80000000", "int -2147483648");
}

TEST(ValueBytes, OfUnsignedIntsAreFour)
{
    expectRoundTrip(QMetaType::UInt, 4'294'967'295u, "ffffffff", "uint 4294967295");
    expectRoundTrip(QMetaType::UInt, 1u, "00000001", "uint 1");
}

TEST(ValueBytes, OfLongLongsAreEight)
{
    expectRoundTrip(QMetaType::LongLong, qlonglong{-2}, "fffffffffffffffe", "qlonglong -2");
    expectRoundTrip(QMetaType::LongLong, qlonglong{0x0102030405060708}, "0102030405060708",
                    "qlonglong 72623859790382856");
    expectRoundTrip(QMetaType::LongLong, std::numeric_limits<qlonglong>::min(), "8000000000000000",
                    "qlonglong -9223372036854775808");
}

TEST(ValueBytes, OfUnsignedLongLongsAreEight)
{
    expectRoundTrip(QMetaType::ULongLong, std::numeric_limits<qulonglong>::max(), "ffffffffffffffff",
                    "qulonglong 18446744073709551615");
}

TEST(ValueBytes, OfDoublesAreEight)
{
    expectRoundTrip(QMetaType::Double, 1.5, "3ff8000000000000", "double 1.5");
    expectRoundTrip(QMetaType::Double, -0.0, "8000000000000000", "double -0");
    expectRoundTrip(QMetaType::Double, std::numeric_limits<double>::infinity(), "7ff0000000000000",
                    "double inf");
    expectRoundTrip(QMetaType::Double, std::numeric_limits<double>::denorm_min(), "0000000000000001",
                    "double 4.9406564584124654e-324");
    EXPECT_TRUE(std::isnan(valueFromHex(QMetaType::Double, "7ff8000000000000").toDouble()));
}

TEST(ValueBytes, OfFloatsAreEightOfTheEqualDouble)
{
    expectRoundTrip(QMetaType::Float, 1.5f, "3ff8000000000000", "float 1.5");
    expectRoundTrip(QMetaType::Float, -2.0f, "c000000000000000", "float -2");
    EXPECT_EQ(valueHex(QMetaType::Float, 0.1), "3fb99999a0000000");
    EXPECT_EQ(valueFromHex(QMetaType::Float, "3fb99999a0000000").toFloat(), 0.1f);
    EXPECT_TRUE(std::isnan(valueFromHex(QMetaType::Float, "7ff8000000000000").toFloat()));
}

TEST(ValueBytes, AreNarrowedByTheConversionsOfTheVariant)
{
    EXPECT_EQ(valueHex(QMetaType::Int, 2.5), "00000003");
    EXPECT_EQ(valueHex(QMetaType::Int, -2.5), "fffffffd");
    EXPECT_EQ(valueHex(QMetaType::Int, "42"), "0000002a");
    EXPECT_EQ(valueHex(QMetaType::Int, "no number"), "00000000");
    EXPECT_EQ(valueHex(QMetaType::Int, QVariant()), "00000000");
    EXPECT_EQ(valueHex(QMetaType::LongLong, 2.5), "0000000000000003");
    EXPECT_EQ(valueHex(QMetaType::Double, "2.5"), "4004000000000000");
    EXPECT_EQ(valueHex(QMetaType::Double, QVariant()), "0000000000000000");
    EXPECT_EQ(valueHex(QMetaType::Bool, QVariant()), "00");
}

TEST(ValueBytes, EqualTheConversionsOfTheVariantForManyValues)
{
    const QVariant values[] = {0,
                               1,
                               -1,
                               255,
                               256,
                               -300,
                               65'535,
                               70000,
                               2.5,
                               3.5,
                               -0.5,
                               4294967295.0,
                               -2147483648.0,
                               "17",
                               "x",
                               true,
                               1.0f,
                               QVariant(),
                               qlonglong{1} << 40,
                               std::numeric_limits<qulonglong>::max()};
    for (const QVariant& value : values) {
        const std::string text = textOf(value);
        QByteArray bytes(8, '\0');
        qToBigEndian<qint64>(value.toLongLong(), bytes.data());
        EXPECT_EQ(valueHex(QMetaType::LongLong, value), bytes.toHex().toStdString()) << text;
        bytes.resize(4);
        qToBigEndian<qint32>(value.toInt(), bytes.data());
        EXPECT_EQ(valueHex(QMetaType::Int, value), bytes.toHex().toStdString()) << text;
        EXPECT_EQ(valueHex(QMetaType::Short, value), bytes.mid(2).toHex().toStdString()) << text;
        EXPECT_EQ(valueHex(QMetaType::Char, value), bytes.mid(3).toHex().toStdString()) << text;
        qToBigEndian<quint32>(value.toUInt(), bytes.data());
        EXPECT_EQ(valueHex(QMetaType::UInt, value), bytes.toHex().toStdString()) << text;
        EXPECT_EQ(valueHex(QMetaType::UShort, value), bytes.mid(2).toHex().toStdString()) << text;
        EXPECT_EQ(valueHex(QMetaType::UChar, value), bytes.mid(3).toHex().toStdString()) << text;
    }
}

TEST(RecordBytes, AreOffsetThenValue)
{
    RecordStream year(QMetaType::Double);
    year.write(31'622'399'999, 1.5, 0, utc(2024));
    EXPECT_EQ(year.hex(), "075cd787ff3ff8000000000000");

    RecordStream hour(QMetaType::Short);
    hour.write(65'537, -2, 3);
    hour.write(65'538, 3, 3);
    EXPECT_EQ(hour.hex(), "010001fffe0100020003");
}

TEST(RecordBytes, OfAFloatAtDayDepthAreTwelve)
{
    RecordStream day(QMetaType::Float);
    day.write(1, 1.5f, 2);
    EXPECT_EQ(day.hex(), "000000013ff8000000000000");
}

TEST(RecordBytes, AreReadOneAfterTheOther)
{
    RecordStream day(QMetaType::Float);
    day.write(1, 1.5f, 2, 1000);
    day.write(2, 2.5f, 2, 1000);
    day.file.seek(0);
    EXPECT_EQ(textOf(day.read(2, 1000)), "1001 float 1.5");
    EXPECT_EQ(textOf(day.read(2, 1000)), "1002 float 2.5");
}

TEST(ValueBytes, OfThePureLayoutEqualThoseOfTheStream)
{
    const QVariant values[] = {0, -5, 251, 65'534, 2.5, 1e9, "7", QVariant(), true};
    for (const int number : {1, 2, 3, 4, 5, 6, 33, 34, 36, 37, 38}) {
        const auto type = static_cast<QMetaType::Type>(number);
        const Internal::RecordShape shape(type, 4);
        for (const QVariant& value : values) {
            char bytes[8] = {};
            Internal::encodeValue(bytes, shape.coding, value);
            const QByteArray layout(bytes, shape.valueBytes());
            ASSERT_EQ(layout.toHex().toStdString(), valueHex(type, value)) << number << textOf(value);
            ASSERT_EQ(textOf(Internal::decodeValue(bytes, shape.coding)),
                      textOf(valueFromHex(type, layout.toHex().constData())))
                << number;
        }
    }
}

} // namespace
} // namespace Kiv::Testing
