// The ways that blocks of records take through a read, on files that are longer than a column, a block and a search
// window, against the plain way: the records of the file one by one through the operations on streams, skipped and
// stopped by the described rule, and handed to an engine one at a time.

#include "TSFileColumns.h"

#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace Kiv::Testing
{
namespace
{

const qint64 kYear = utc(2024);
constexpr qint64 kStepMs = 1000;

/// Lengths around those of a column (512) and of a block of doubles in a year file (20,164).
#if defined(__SANITIZE_ADDRESS__)
constexpr int kCounts[] = {1, 511, 513, 20'165};
#else
constexpr int kCounts[] = {1, 511, 512, 513, 1025, 20'164, 20'165, 45'000};
#endif

enum class Order { Ascending, WithEqualOnes, Shuffled };

/// Timestamp of a record of a file; every order keeps the first and the last one at the ends.
qint64 timestampAt(int index, int count, Order order)
{
    int place = index;
    const bool isEdge = index % 512 < 2 || index % 20'164 < 3;
    if (order == Order::WithEqualOnes && isEdge)
        place = std::max(index - 1, 0);
    if (order == Order::Shuffled && index > 0 && index + 1 < count)
        place = static_cast<int>((index * 7919LL) % count);
    return kYear + place * kStepMs;
}

double numberAt(int index)
{
    return index % 17 * 3.0 - 20.0;
}

struct Request {
    const char* method;
    qint64 intervalSeconds;
    int limit;
};

constexpr Request kRequests[] = {{"", 0, 0},         {"", 0, 600},          {"prev", 300, 0},
                                 {"next", 300, 0},   {"prevnext", 300, 0},  {"prevlinear", 7, 0},
                                 {"sum", 300, 0},    {"sumlinear", 300, 0}, {"meana", 300, 0},
                                 {"minmax", 300, 0}, {"median", 300, 0},    {"mode", 3600, 0},
                                 {"max", 300, 20},   {"diffsum", 300, 0},   {"meanafillnull", 1, 0}};

class ShortcutBoundaries : public testing::TestWithParam<QMetaType::Type>
{
protected:
    SeriesDirectory m_directory;
    SeamsForTest m_seams;
    LogCapture m_log;

    /// One file that holds records in any order.
    void write(TSFileStorage& storage, int count, Order order) const
    {
        Records run;
        for (int i = 0; i < count; ++i) {
            const qint64 timestamp = timestampAt(i, count, order);
            // A batch is sorted before it is written, so each ascending stretch is one batch.
            if (!run.empty() && timestamp < run.back().timestamp) {
                ASSERT_TRUE(storage.writeDataRecordsInt(std::move(run), false, false, true));
                run.clear();
            }
            run.emplace_back(timestamp, QVariant(numberAt(i)));
        }
        ASSERT_TRUE(storage.writeDataRecordsInt(std::move(run), false, false, true));
    }

    /// Record indices beside the boundaries of columns and blocks.
    static std::set<int> placesOfInterest(int count)
    {
        std::set<int> places = {0, count - 1};
        for (const int middle : {512, 1024, 20'164, 40'328}) {
            for (int place = middle - 2; place <= middle + 2; ++place) {
                if (place < count)
                    places.insert(place);
            }
        }
        return places;
    }

    /// What the described steps make of a request, with the records of the file as they lie there.
    Records plainRead(TSFileStorage& storage, const Records& stored, const Request& request, qint64 start,
                      qint64 end, int& limit);

    void compare(TSFileStorage& storage, const Records& stored, const Request& request, qint64 start,
                 qint64 end);
};

qint64 firstPosition(TSFileStorage& storage, const TSFileInfo& info, qint64 start, qsizetype recordBytes)
{
    if (info.getBaseTsMs() >= start)
        return 0;
    QFile file(info.filePath());
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_15);
    const int width = storage.getDataLengthForTimestampOffset(info.getDirDepth());
    return storage.seekToTsOffsetPos(stream, file.size(), start - info.getBaseTsMs(), width,
                                     info.getDirDepth()) /
           recordBytes;
}

Records ShortcutBoundaries::plainRead(TSFileStorage& storage, const Records& stored, const Request& request,
                                      qint64 start, qint64 end, int& limit)
{
    Records results;
    const Interpolate::InterpolateParam param{
        QString::fromLatin1(request.method), request.intervalSeconds, {}, false, 0};
    Interpolate engine(param, {}, start, end, stored.front().timestamp, stored.back().timestamp, &results,
                       storage.m_valueType, false, limit, false);
    qint64 from = start;
    qint64 to = end;
    if (!engine.getRange(from, to))
        return results;
    Records previous;
    qint64 before = from;
    for (qint32 i = engine.needsPreviousDataRecords(); i > 0; --i) {
        Record record;
        if (!storage.findPrevDataRecord(before, record))
            continue;
        before = record.timestamp;
        previous.insert(previous.begin(), record);
    }
    for (const Record& record : previous)
        engine.handleNextRawRecord(record);

    const TSFileInfo info = storage.findFile(kYear);
    const qsizetype recordBytes =
        static_cast<qsizetype>(QFileInfo(info.filePath()).size() / static_cast<qint64>(stored.size()));
    auto position = static_cast<std::size_t>(firstPosition(storage, info, from, recordBytes));
    while (position > 0 && stored[position - 1].timestamp == stored[position].timestamp)
        --position;
    for (; position < stored.size(); ++position) {
        const Record& record = stored[position];
        if (record.timestamp < from)
            continue;
        if (record.timestamp > to) {
            if (engine.needsDataRecordAfterRangeEnd())
                engine.handleNextRawRecord(record);
            break;
        }
        if (!engine.handleNextRawRecord(record))
            break;
    }
    engine.finalize();
    return results;
}

void ShortcutBoundaries::compare(TSFileStorage& storage, const Records& stored, const Request& request,
                                 qint64 start, qint64 end)
{
    const Interpolate::InterpolateParam param{
        QString::fromLatin1(request.method), request.intervalSeconds, {}, false, 0};
    int plainLimit = request.limit;
    const Records expected = plainRead(storage, stored, request, start, end, plainLimit);
    Records actual;
    int limit = request.limit;
    storage.readDataRecords(param, {}, start, end, actual, false, limit, nullptr, nullptr);
    const auto isSame = [](const Record& a, const Record& b) {
        return a.timestamp == b.timestamp && a.value.isNull() == b.value.isNull() && a.value == b.value;
    };
    EXPECT_EQ(actual.size(), expected.size());
    EXPECT_TRUE(std::equal(actual.begin(), actual.end(), expected.begin(), expected.end(), isSame));
    EXPECT_EQ(limit, plainLimit);

    TSFileColumnReader reader(storage, param, {}, start, end, false, request.limit);
    TSFileColumns block;
    std::size_t index = 0;
    while (reader.next(block)) {
        for (std::size_t i = 0; i < block.size() && index < expected.size(); ++i, ++index) {
            const Record& record = expected[index];
            ASSERT_EQ(block.timestamps[i], record.timestamp);
            ASSERT_EQ(block.isNull[i] != 0, record.value.isNull());
            const bool isInteger = block.kind == TSFileColumns::Kind::Integers;
            const double actualNumber = isInteger ? static_cast<double>(block.integers[i]) : block.doubles[i];
            ASSERT_EQ(actualNumber, record.value.toDouble());
        }
    }
    EXPECT_EQ(index, expected.size());
}

TEST_P(ShortcutBoundaries, GiveWhatThePlainWayGives)
{
    int seriesNumber = 0;
    for (const int count : kCounts) {
        for (const Order order : {Order::Ascending, Order::WithEqualOnes, Order::Shuffled}) {
            TSFileStorage storage(m_directory.at(QStringLiteral("n%1").arg(++seriesNumber)), GetParam(),
                                  kNoSizeLimit);
            ASSERT_NO_FATAL_FAILURE(write(storage, count, order));
            const Records stored = storedRecords(storage);
            ASSERT_EQ(stored.size(), static_cast<std::size_t>(count));
            const std::set<int> places = placesOfInterest(count);
            std::size_t turn = 0;
            for (const int place : places) {
                // Each place with some of the requests, all places together with all of them.
                const Request& request = kRequests[turn++ % std::size(kRequests)];
                const qint64 timestamp = kYear + place * kStepMs;
                SCOPED_TRACE(testing::Message()
                             << "records " << count << ", order " << static_cast<int>(order) << ", place "
                             << place << ", method " << request.method);
                compare(storage, stored, request, timestamp, kYear + count * kStepMs);
                compare(storage, stored, request, kYear, timestamp);
                compare(storage, stored, request, timestamp - 1, timestamp + 700 * kStepMs + 1);
            }
            for (const Request& request : kRequests)
                compare(storage, stored, request, kYear, kYear + count * kStepMs);
        }
    }
    EXPECT_TRUE(m_log.lines.empty());
}

INSTANTIATE_TEST_SUITE_P(Types, ShortcutBoundaries, testing::Values(QMetaType::Double, QMetaType::Int),
                         [](const auto& tested) { return std::string(QMetaType(tested.param).name()); });

class SearchWindow : public testing::Test
{
protected:
    SeriesDirectory m_directory;
    TSFileStorage m_storage{m_directory.base(), QMetaType::Double, kNoSizeLimit};

    /// Where the described search ends, by the operation on streams.
    qint64 searched(qint64 timestamp)
    {
        const TSFileInfo info = m_storage.findFile(kYear);
        return firstPosition(m_storage, info, timestamp, 13);
    }
};

TEST_F(SearchWindow, EndsWhereSingleProbesEnd)
{
    constexpr int kCount = 3000;
    Samples samples;
    for (int i = 0; i < kCount; ++i)
        samples.emplace_back(kYear + 10 + i * 10, i);
    ASSERT_TRUE(m_storage.writeDataRecords(recordsOf(samples), false, false));
    for (qint64 timestamp = kYear + 1; timestamp < kYear + 10 * (kCount + 2); timestamp += 5) {
        const Sample& found = samples[static_cast<std::size_t>(searched(timestamp))];
        Record record;
        EXPECT_EQ(m_storage.findDataRecord(timestamp, record), found.first == timestamp);
        EXPECT_EQ(record.timestamp, found.first);
        const Records read = readRaw(m_storage, timestamp, timestamp + 12);
        const auto first = std::find_if(samples.begin(), samples.end(),
                                        [&](const Sample& sample) { return sample.first >= timestamp; });
        ASSERT_EQ(read.empty(), first == samples.end() || first->first > timestamp + 12);
        if (!read.empty()) {
            EXPECT_EQ(read.front().timestamp, first->first);
        }
    }
}

/// The steps back over equal offsets leave the window that the search has read.
TEST_F(SearchWindow, StepsBackOverMoreEqualOffsetsThanItHolds)
{
    constexpr int kEqualCount = 1500;
    Samples samples = {{kYear + 1, -1.0}};
    for (int i = 0; i < kEqualCount; ++i)
        samples.emplace_back(kYear + 50, i);
    samples.emplace_back(kYear + 99, -2.0);
    ASSERT_TRUE(m_storage.writeDataRecordsInt(recordsOf(samples), false, false, true));
    EXPECT_EQ(readRaw(m_storage, kYear + 50, kYear + 50).size(), std::size_t{kEqualCount});
}

} // namespace
} // namespace Kiv::Testing
