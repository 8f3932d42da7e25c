// The operations on a stream of records: binary search, last record, reads beyond the end, writes after them.

#include "records/RecordStream.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Kiv::Testing
{
namespace
{

/// A minute file of a bool series; its records take three bytes.
QByteArray boolRecords(std::initializer_list<int> offsets)
{
    QByteArray bytes;
    for (const int offset : offsets)
        bytes.append(static_cast<char>(offset >> 8)).append(static_cast<char>(offset)).append('\1');
    return bytes;
}

qint64 seekIn(const QByteArray& bytes, qint64 offsetMs, qint64 fileSize = -1)
{
    RecordStream record(QMetaType::Bool, bytes);
    const qint64 position = record.storage.seekToTsOffsetPos(
        record.stream, fileSize < 0 ? bytes.size() : fileSize, offsetMs, 2, TSFileInfo::DirDepthMinute);
    EXPECT_EQ(record.file.pos(), position);
    EXPECT_EQ(record.stream.status(), QDataStream::Ok);
    return position;
}

// --- Search ----------------------------------------------------------------------------------------------

TEST(OffsetSearch, EndsOnTheMatchOrOnANeighbour)
{
    const QByteArray bytes = boolRecords({10, 20, 30});
    EXPECT_EQ(seekIn(bytes, 20), 3);
    EXPECT_EQ(seekIn(bytes, 25), 6);
    EXPECT_EQ(seekIn(bytes, 5), 0);
    EXPECT_EQ(seekIn(bytes, 35), 6);
    EXPECT_EQ(seekIn(bytes, 15), 0);
    EXPECT_EQ(seekIn(bytes, 10), 0);
    EXPECT_EQ(seekIn(bytes, 30), 6);
    EXPECT_EQ(seekIn(bytes, -1), 0);
    EXPECT_EQ(seekIn(bytes, qint64{1} << 40), 6);
}

TEST(OffsetSearch, InAFileOfOneRecordEndsThere)
{
    for (const qint64 offsetMs : {9, 10, 11})
        EXPECT_EQ(seekIn(boolRecords({10}), offsetMs), 0);
}

TEST(OffsetSearch, IgnoresAPartialRecordAtTheEnd)
{
    EXPECT_EQ(seekIn(boolRecords({10, 20, 30}) + QByteArray::fromHex("0028"), 35), 6);
    EXPECT_EQ(seekIn(boolRecords({10, 20, 30}), 35, 8), 3);
}

TEST(OffsetSearch, WithoutAWholeRecordStaysAtTheStart)
{
    EXPECT_EQ(seekIn({}, 10), 0);
    EXPECT_EQ(seekIn(QByteArray("\0", 1), 10), 0);
    EXPECT_EQ(seekIn(boolRecords({10}), 10, 2), 0);
}

TEST(OffsetSearch, WithoutAWholeRecordStepsBackFromWhereItStands)
{
    RecordStream record(QMetaType::Bool, boolRecords({10, 20}));
    record.file.seek(5);
    EXPECT_EQ(record.storage.seekToTsOffsetPos(record.stream, 2, 10, 2, TSFileInfo::DirDepthMinute), 3);
    EXPECT_EQ(record.file.pos(), 3);
    record.file.seek(1);
    EXPECT_EQ(record.storage.seekToTsOffsetPos(record.stream, 2, 10, 2, TSFileInfo::DirDepthMinute), 1);
    EXPECT_EQ(record.file.pos(), 1);
}

/// Where the search has to end among the offsets 10, 20, 30 and so on.
int middleOf(int count, int wanted)
{
    int low = 0;
    int high = count;
    while (true) {
        const int middle = (low + high) / 2;
        const int offset = 10 * middle + 10;
        if (offset == wanted)
            return middle;
        (offset > wanted ? high : low) = offset > wanted ? middle : middle + 1;
        if (low >= high)
            return middle;
    }
}

TEST(OffsetSearch, FollowsItsStepsInFilesOfEverySize)
{
    QByteArray bytes;
    for (int count = 1; count <= 33; ++count) {
        bytes += boolRecords({10 * count});
        RecordStream record(QMetaType::Bool, bytes);
        for (int wanted = 0; wanted <= 10 * count + 20; wanted += 5) {
            ASSERT_EQ(record.storage.seekToTsOffsetPos(record.stream, bytes.size(), wanted, 2,
                                                       TSFileInfo::DirDepthMinute),
                      3 * middleOf(count, wanted))
                << count << " records, offset " << wanted;
        }
    }
}

TEST(OffsetSearch, StopsAtAnyOfSeveralEqualOffsets)
{
    EXPECT_EQ(seekIn(boolRecords({10, 20, 20, 20, 30}), 20), 6);
}

TEST(OffsetSearch, WorksInEveryWidth)
{
    for (int depth = 0; depth < 5; ++depth) {
        RecordStream record(QMetaType::Double);
        for (int i = 1; i <= 7; ++i)
            record.write(i * 100, i, depth);
        const int width = record.storage.getDataLengthForTimestampOffset(RecordStream::depthOf(depth));
        for (int i = 1; i <= 7; ++i) {
            EXPECT_EQ(record.storage.seekToTsOffsetPos(record.stream, record.file.size(), i * 100, width,
                                                       RecordStream::depthOf(depth)),
                      (i - 1) * (width + 8));
        }
    }
}

TEST(OffsetSearch, OfFloatsUsesThePositionsOfFourByteValues)
{
    // Three records of 10 bytes on disk count as five of 6: the probes at 12 and 24 meet bytes of values.
    RecordStream record(QMetaType::Float);
    for (int i = 1; i <= 3; ++i)
        record.write(i * 100, 0, 4);
    const qint64 position = record.storage.seekToTsOffsetPos(record.stream, record.file.size(), 100, 2,
                                                             TSFileInfo::DirDepthMinute);
    EXPECT_EQ(position, 24); // every probe meets zeros, which are below 100
}

TEST(OffsetSearch, TakesAShortReadAsOffsetZero)
{
    RecordStream record(QMetaType::Bool, boolRecords({10, 20}));
    // The size given promises five records; probes beyond the end read zero and send the search upwards.
    EXPECT_EQ(record.storage.seekToTsOffsetPos(record.stream, 15, 5, 2, TSFileInfo::DirDepthMinute), 10);
}

// --- The last record -------------------------------------------------------------------------------------

Record lastOf(RecordStream& record, qint64 fileSize, int depth = 4, qint64 baseMs = 0)
{
    return record.storage.readLastDataRecord(record.stream, fileSize, baseMs, RecordStream::depthOf(depth));
}

TEST(LastRecord, IsTheOneInTheLastSlot)
{
    RecordStream record(QMetaType::Bool, boolRecords({10, 20, 30}));
    EXPECT_EQ(textOf(lastOf(record, 9, 4, 1000)), "1030 bool true");
    EXPECT_EQ(textOf(lastOf(record, 6, 4, 1000)), "1020 bool true");
}

TEST(LastRecord, OfATornFileIsTheLastWholeOne)
{
    RecordStream record(QMetaType::Bool, boolRecords({10, 20}) + QByteArray::fromHex("0028"));
    EXPECT_EQ(textOf(lastOf(record, 8)), "20 bool true");
}

TEST(LastRecord, OfAnEmptyFileIsTheBaseTimeAndZero)
{
    RecordStream record(QMetaType::Bool);
    EXPECT_EQ(textOf(lastOf(record, 0, 4, 1000)), "1000 bool false");
}

TEST(LastRecord, OfAnEmptyVariableFileIsTheBaseTimeWithoutAValue)
{
    LogCapture log;
    RecordStream record(QMetaType::QString);
    EXPECT_EQ(textOf(lastOf(record, 0, 4, 1000)), "1000 invalid");
    EXPECT_TRUE(log.lines.empty());
}

TEST(LastRecord, OfFloatsIsReadFourBytesTooLate)
{
    // Two records of 10 bytes: the last slot of 6 bytes starts at 14, inside the second value.
    RecordStream record(QMetaType::Float);
    record.write(1, 0.0f);
    record.write(2, 1.5f);
    EXPECT_EQ(record.hex(), "00010000000000000000"
                            "00023ff8000000000000");
    EXPECT_EQ(lastOf(record, 20, 4, 1000).timestamp, 1000);
    record.file.seek(0);
    record.stream.resetStatus();
    RecordStream other(QMetaType::Float, fromHex("00010000000000000000"
                                                 "000200001234"
                                                 "000000000000"));
    EXPECT_EQ(lastOf(other, 18, 4, 1000).timestamp, 1000);
    EXPECT_EQ(lastOf(other, 16, 4, 1000).timestamp, 1000 + 2);
}

// --- Beyond the end --------------------------------------------------------------------------------------

TEST(ShortRead, GivesTheBaseTimeAndAZeroOfTheType)
{
    const struct {
        QMetaType::Type type;
        const char* text;
    } rows[] = {{QMetaType::Bool, "1000 bool false"},
                {QMetaType::Char, "1000 int 0"},
                {QMetaType::UChar, "1000 int 0"},
                {QMetaType::Short, "1000 int 0"},
                {QMetaType::UShort, "1000 int 0"},
                {QMetaType::Int, "1000 int 0"},
                {QMetaType::UInt, "1000 uint 0"},
                {QMetaType::LongLong, "1000 qlonglong 0"},
                {QMetaType::ULongLong, "1000 qulonglong 0"},
                {QMetaType::Double, "1000 double 0"},
                {QMetaType::Float, "1000 float 0"}};
    for (const auto& row : rows) {
        RecordStream record(row.type);
        EXPECT_EQ(textOf(record.read(4, 1000)), row.text);
        EXPECT_EQ(record.stream.status(), QDataStream::ReadPastEnd);
    }
}

TEST(ShortRead, OfTheValueOnlyKeepsTheTimestamp)
{
    for (const QMetaType::Type type : {QMetaType::Int, QMetaType::Double, QMetaType::LongLong}) {
        RecordStream record(type, fromHex("000512"));
        const Record got = record.read(4, 1000);
        EXPECT_EQ(got.timestamp, 1005);
        EXPECT_EQ(got.value.toDouble(), 0.0);
        EXPECT_EQ(record.stream.status(), QDataStream::ReadPastEnd);
    }
}

TEST(ShortRead, OfHalfAnOffsetGivesTheBaseTime)
{
    RecordStream record(QMetaType::Bool, fromHex("05"));
    EXPECT_EQ(record.read(4, 1000).timestamp, 1000);
    EXPECT_EQ(record.stream.status(), QDataStream::ReadPastEnd);
}

TEST(ShortRead, DoesNotDropLaterWrites)
{
    RecordStream record(QMetaType::Bool, boolRecords({10}));
    record.file.seek(3);
    record.read();
    ASSERT_EQ(record.stream.status(), QDataStream::ReadPastEnd);
    record.file.seek(3);
    record.write(20, true);
    record.write(30, true);
    EXPECT_EQ(record.hex(), boolRecords({10, 20, 30}).toHex().toStdString());
}

TEST(ShortRead, DoesNotDropLaterWritesOfVariableValues)
{
    RecordStream record(QMetaType::QString);
    record.read();
    record.file.seek(0);
    record.write(1, 5);
    EXPECT_EQ(record.hex(), "000100000000");
    EXPECT_EQ(record.varHex(), "000000020000000005");
}

TEST(ShortRead, OfASearchDoesNotDropLaterWrites)
{
    RecordStream record(QMetaType::Bool, boolRecords({10}));
    record.storage.seekToTsOffsetPos(record.stream, 300, 5000, 2, TSFileInfo::DirDepthMinute);
    record.file.seek(3);
    record.write(20, true);
    EXPECT_EQ(record.hex(), boolRecords({10, 20}).toHex().toStdString());
}

TEST(UnknownDepth, WritesAndReadsTheValueOnly)
{
    RecordStream record(QMetaType::Int);
    record.write(1234, 5, 5, 1000);
    EXPECT_EQ(record.hex(), "00000005");
    record.file.seek(0);
    EXPECT_EQ(textOf(record.read(5, 1000)), "1000 int 5");
}

} // namespace
} // namespace Kiv::Testing
