// Timestamp offsets in their widths: the bytes on disk and the timestamps that come back.

#include "internal/RecordLayout.h"
#include "records/RecordStream.h"

#include <gtest/gtest.h>

namespace Kiv::Testing
{
namespace
{

/// Bytes of an offset at a depth, without the one byte of the value behind it.
std::string offsetHex(qint64 offsetMs, int depth)
{
    RecordStream record(QMetaType::Bool);
    record.write(offsetMs, false, depth, utc(2024));
    const std::string hex = record.hex();
    EXPECT_EQ(hex.substr(hex.size() - 2), "00");
    return hex.substr(0, hex.size() - 2);
}

qint64 offsetFromHex(const char* digits, int depth)
{
    RecordStream record(QMetaType::Bool, fromHex(digits));
    const qint64 offsetMs = record.storage.readCurrTsOffset(record.stream, RecordStream::depthOf(depth));
    EXPECT_EQ(record.file.pos(), fromHex(digits).size());
    EXPECT_EQ(record.stream.status(), QDataStream::Ok);
    return offsetMs;
}

TEST(OffsetBytes, OfAYearFileAreFive)
{
    EXPECT_EQ(offsetHex(0, 0), "0000000000");
    EXPECT_EQ(offsetHex(1, 0), "0000000001");
    EXPECT_EQ(offsetHex(31'622'399'999, 0), "075cd787ff");
    EXPECT_EQ(offsetHex(0x01'0203'0405, 0), "0102030405");
    EXPECT_EQ(offsetHex((qint64{1} << 40) - 1, 0), "ffffffffff");
}

TEST(OffsetBytes, OfMonthAndDayFilesAreFour)
{
    for (const int depth : {1, 2}) {
        EXPECT_EQ(offsetHex(0, depth), "00000000");
        EXPECT_EQ(offsetHex(86'399'999, depth), "05265bff");
        EXPECT_EQ(offsetHex(2'678'399'999, depth), "9fa523ff");
        EXPECT_EQ(offsetHex(4'294'967'295, depth), "ffffffff");
    }
}

TEST(OffsetBytes, OfAnHourFileAreThree)
{
    EXPECT_EQ(offsetHex(0, 3), "000000");
    EXPECT_EQ(offsetHex(3'599'999, 3), "36ee7f");
    EXPECT_EQ(offsetHex(65'536, 3), "010000");
    EXPECT_EQ(offsetHex(16'777'215, 3), "ffffff");
}

TEST(OffsetBytes, OfAMinuteFileAreTwo)
{
    EXPECT_EQ(offsetHex(0, 4), "0000");
    EXPECT_EQ(offsetHex(59'999, 4), "ea5f");
    EXPECT_EQ(offsetHex(65'535, 4), "ffff");
}

TEST(OffsetBytes, OfAnUnknownDepthAreNone)
{
    EXPECT_EQ(offsetHex(12'345, 5), "");
    EXPECT_EQ(offsetHex(12'345, -1), "");
    RecordStream record(QMetaType::Bool, fromHex("0102"));
    EXPECT_EQ(record.storage.readCurrTsOffset(record.stream, RecordStream::depthOf(5)), 0);
    EXPECT_EQ(record.storage.readCurrTsOffset(record.stream, RecordStream::depthOf(-1)), 0);
    EXPECT_EQ(record.file.pos(), 0);
}

TEST(OffsetBytes, TooLargeForTheirWidthAreCut)
{
    EXPECT_EQ(offsetHex(qint64{1} << 40, 0), "0000000000");
    EXPECT_EQ(offsetHex((qint64{1} << 32) + 7, 1), "00000007");
    EXPECT_EQ(offsetHex((qint64{1} << 24) + 7, 3), "000007");
    EXPECT_EQ(offsetHex(65'537, 4), "0001");
}

TEST(OffsetBytes, BeforeTheBaseAreCutTwosComplement)
{
    EXPECT_EQ(offsetHex(-1, 0), "ffffffffff");
    EXPECT_EQ(offsetHex(-1, 1), "ffffffff");
    EXPECT_EQ(offsetHex(-2, 3), "fffffe");
    EXPECT_EQ(offsetHex(-60'000, 4), "15a0");
}

TEST(OffsetBytes, AreReadUnsigned)
{
    EXPECT_EQ(offsetFromHex("ffffffffff", 0), (qint64{1} << 40) - 1);
    EXPECT_EQ(offsetFromHex("8000000000", 0), qint64{1} << 39);
    EXPECT_EQ(offsetFromHex("00ffffffff", 0), 4'294'967'295);
    EXPECT_EQ(offsetFromHex("9fa523ff", 1), 2'678'399'999);
    EXPECT_EQ(offsetFromHex("ffffffff", 2), 4'294'967'295);
    EXPECT_EQ(offsetFromHex("ffffff", 3), 16'777'215);
    EXPECT_EQ(offsetFromHex("80ffff", 3), 0x80ffff);
    EXPECT_EQ(offsetFromHex("ea5f", 4), 59'999);
    EXPECT_EQ(offsetFromHex("ffff", 4), 65'535);
}

TEST(OffsetBytes, GiveTheSameTimestampBack)
{
    const qint64 baseMs = utc(2024);
    const qint64 largestMs[] = {31'622'399'999, 2'678'399'999, 86'399'999, 3'599'999, 59'999};
    for (int depth = 0; depth < 5; ++depth) {
        for (const qint64 offsetMs :
             {qint64{0}, qint64{1}, qint64{255}, qint64{256}, largestMs[depth] / 2, largestMs[depth]}) {
            RecordStream record(QMetaType::Bool);
            record.write(offsetMs, true, depth, baseMs);
            record.file.seek(0);
            EXPECT_EQ(record.read(depth, baseMs).timestamp, baseMs + offsetMs) << depth << " " << offsetMs;
        }
    }
}

TEST(OffsetBytes, WorkWithABaseBeforeTheEpoch)
{
    RecordStream record(QMetaType::Bool);
    record.write(31'535'999'999, true, 0, utc(1969));
    record.file.seek(0);
    EXPECT_EQ(record.read(0, utc(1969)).timestamp, -1);
}

TEST(OffsetBytes, OfThePureLayoutEqualThoseOfTheStream)
{
    for (int depth = 0; depth < 5; ++depth) {
        const int width = Internal::offsetWidthForDepth(depth);
        for (int bit = 0; bit < 63; bit += 4) {
            char bytes[8] = {};
            Internal::encodeOffset(bytes, width, (qint64{1} << bit) - 3);
            const QByteArray layout = QByteArray(bytes, width);
            ASSERT_EQ(layout.toHex().toStdString(), offsetHex((qint64{1} << bit) - 3, depth));
            ASSERT_EQ(Internal::decodeOffset(bytes, width), offsetFromHex(layout.toHex().constData(), depth));
        }
    }
}

} // namespace
} // namespace Kiv::Testing
