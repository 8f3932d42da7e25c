// Counting samples of a range from sizes and offsets, and results of an interpolated read.

#include "storage/StorageTest.h"

#include <QFile>

namespace Kiv::Testing
{
namespace
{

class Counting : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};

    void fill(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
    }

    qint64 count(qint64 start, qint64 end)
    {
        return storage.getCount({}, {}, start, end, true, false, false);
    }

    qint64 countMethod(const char* method, qint64 intervalS, qint64 start, qint64 end)
    {
        Interpolate::InterpolateParam param;
        param.method = QString::fromLatin1(method);
        param.interval = intervalS;
        return storage.getCount(param, {}, start, end, true, false, false);
    }

    template <typename Function>
    Texts opened(Function function)
    {
        return openedBelow(storage.m_dir, function);
    }
};

TEST_F(Counting, OfAnEmptySeriesIsZero)
{
    EXPECT_EQ(count(kMinTimestamp, kMaxTimestamp), 0);
    EXPECT_EQ(countMethod("prev fill", 10, 0, 100'000), 0);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Counting, OfNoStoreIsZero)
{
    fill({{kYear, 1}});
    EXPECT_EQ(storage.getCount({}, {}, kMinTimestamp, kMaxTimestamp, false, false, false), 0);
}

TEST_F(Counting, EqualsARawReadForEveryRange)
{
    makeDirectory(at("D/2024"));
    Samples all;
    for (int i = 0; i < 30; ++i)
        all.push_back({utc(2023, 12, 25) + i * 86'400'000LL, i});
    fill(all);
    for (int from = -1; from <= 30; ++from) {
        for (int to = -1; to <= 30; ++to) {
            for (const int beside : {-1, 0, 1}) {
                const qint64 start = utc(2023, 12, 25) + from * 86'400'000LL + beside;
                const qint64 end = utc(2023, 12, 25) + to * 86'400'000LL - beside;
                ASSERT_EQ(count(start, end), static_cast<qint64>(readRaw(storage, start, end).size()))
                    << from << " " << to << " " << beside;
            }
        }
    }
}

TEST_F(Counting, OfWholeFilesComesFromTheirSizes)
{
    fill({{utc(2022), 1},
          {utc(2022, 6), 2},
          {utc(2023), 3},
          {utc(2024), 4},
          {utc(2024, 6), 5},
          {utc(2024, 7), 6}});
    Texts names = opened([&] { EXPECT_EQ(count(utc(2022), utc(2025)), 6); });
    EXPECT_EQ(names, (Texts{"2022", "2024"})); // for the first and the last record of the series
}

TEST_F(Counting, OfAPartOfAFileCountsBothEnds)
{
    fill({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}, {kYear + 3, 4}});
    EXPECT_EQ(count(kYear + 1, kYear + 2), 2);
    EXPECT_EQ(count(kYear + 1, kYear + 1), 1);
    EXPECT_EQ(count(kYear + 4, kYear + 9), 0);
    EXPECT_EQ(count(kYear - 9, kYear - 1), 0);
    EXPECT_EQ(count(kYear + 2, kYear + 1), 0);
}

TEST_F(Counting, KnowsTheSymbolsOfARange)
{
    fill({{kYear, 1}, {kYear + 10, 2}, {kYear + 20, 3}});
    EXPECT_EQ(count(-2, -3), 3);
    EXPECT_EQ(count(-3, -3), 1);
    seams.nowUs = (kYear + 10) * 1000;
    EXPECT_EQ(count(-2, -1), 2);
    EXPECT_EQ(count(-1, -3), 2);
}

TEST_F(Counting, AddsUpTheChosenStores)
{
    fill({{kYear, 1}, {kYear + 10, 2}});
    storage.writeDataRecords(recordsOf({{kYear, 3}, {kYear + 1, 4}, {kYear + 2, 5}}), true, true);
    const auto counted = [this](bool main, bool late, bool history) {
        return storage.getCount({}, {}, kMinTimestamp, kMaxTimestamp, main, late, history);
    };
    EXPECT_EQ(counted(true, false, false), 4);
    EXPECT_EQ(counted(false, true, false), 3);
    EXPECT_EQ(counted(false, false, true), 1);
    EXPECT_EQ(counted(true, true, true), 8);
    EXPECT_EQ(storage.getCountInt({}, {}, kMinTimestamp, kMaxTimestamp, "P"), 3);
    EXPECT_EQ(storage.getCountInt({}, {}, kMinTimestamp, kMaxTimestamp, "X"), 0);
}

TEST_F(Counting, IgnoresATornTail)
{
    fill({{kYear, 1}, {kYear + 1, 2}});
    appendToFile(at("D/2024"), "torn");
    EXPECT_EQ(count(kMinTimestamp, kMaxTimestamp), 2);
    EXPECT_EQ(count(kYear + 1, kMaxTimestamp), 1);
    EXPECT_EQ(count(kYear, kYear), 1);
}

TEST_F(Counting, OfAVariableSeriesReadsNoValuesButTheOutermost)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    Records records;
    for (int i = 0; i < 10; ++i)
        records.push_back({kYear + i, QStringLiteral("text")});
    series.writeDataRecords(records, false, false);
    EXPECT_EQ(series.getCount({}, {}, kYear + 2, kYear + 6, true, false, false), 5);
    QFile::remove(at("V/2024.var"));
    log.lines.clear();
    EXPECT_EQ(series.getCount({}, {}, kYear + 2, kYear + 6, true, false, false), 5);
    EXPECT_EQ(lines(2).size(), 2u);
}

TEST_F(Counting, OfFloatsDividesTheSizeByTheSlotsOfFourByteValues)
{
    TSFileStorage series = makeStorage(QMetaType::Float);
    Records records;
    for (int i = 0; i < 9; ++i)
        records.push_back({kYear + i, 0.0f});
    series.writeDataRecords(records, false, false);
    // 117 bytes hold nine records, but thirteen slots of nine bytes.
    EXPECT_EQ(series.getCount({}, {}, kYear, kMaxTimestamp, true, false, false), 13);
}

TEST_F(Counting, OfFloatsAfterTheStartOfTheirFileStartsWhereTheSearchOfSlotsEnds)
{
    TSFileStorage series = makeStorage(QMetaType::Float);
    Records records;
    for (int i = 1; i <= 9; ++i)
        records.push_back({kYear + i, 0.0f});
    series.writeDataRecords(records, false, false);
    // The search for offset 1 ends at byte 18, inside a value; all that is read from there on is zeros.
    EXPECT_EQ(series.getCount({}, {}, kYear, kMaxTimestamp, true, false, false), 0);
}

TEST_F(Counting, SkipsAFileThatDoesNotOpenWithALine)
{
    fill({{utc(2022), 1}, {utc(2023), 2}, {utc(2024), 3}});
    const UnopenableFile broken(at("D/2023"));
    EXPECT_EQ(count(utc(2022), utc(2023, 6)), 1);
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2023"), " for read (getCount)")});
    EXPECT_EQ(lines(4), attemptLines("Read,", at("D/2023")));
}

TEST_F(Counting, OfWholeFilesNeedsThemNotToOpen)
{
    fill({{utc(2022), 1}, {utc(2023), 2}, {utc(2024), 3}});
    const UnopenableFile broken(at("D/2023"));
    EXPECT_EQ(count(utc(2022), utc(2025)), 3);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Counting, StopsAtTheFirstRecordBeyondTheEnd)
{
    // An unsorted file: what follows the first record beyond the end is not counted.
    for (const Sample& sample : Samples{{kYear + 1, 1}, {kYear + 9, 2}, {kYear + 2, 3}, {kYear + 20, 4}})
        storage.writeDataRecordsInt(recordsOf({sample}), false, false, true);
    EXPECT_EQ(count(kYear, kYear + 5), 1);
}

// --- Interpolated ----------------------------------------------------------------------------------------

TEST_F(Counting, OfFilledFixedIntervalsComesFromTheRange)
{
    fill({{kYear, 1}, {utc(2024, 6), 2}, {utc(2025), 3}});
    const qint64 start = utc(2024, 2);
    const Texts names = opened([&] { EXPECT_EQ(countMethod("prev fill", 10, start, start + 100'000), 11); });
    EXPECT_EQ(names, (Texts{"2024", "2025"})); // for the first and the last record of the series
    EXPECT_EQ(countMethod("prevnext fill", 10, start, start + 100'000), 22);
    EXPECT_EQ(countMethod("prevnext linear fill", 10, start, start + 100'000), 11);
    EXPECT_EQ(countMethod("minmax fill", 10, start, start + 100'000), 22);
    EXPECT_EQ(countMethod("minmax average fill", 10, start, start + 100'000), 11);
}

TEST_F(Counting, WithoutFillingCountsTheResultsOfARead)
{
    Samples all;
    for (int i = 0; i < 50; ++i)
        all.push_back({kYear + i * 7000, i});
    fill(all);
    for (const char* method : {"prev", "next", "prevnext", "sum", "meana", "count", "max", "prev linear"}) {
        Interpolate::InterpolateParam param;
        param.method = QString::fromLatin1(method);
        param.interval = 10;
        Records results;
        int limit = 0;
        storage.readDataRecords(param, {}, kYear + 20'000, kYear + 200'000, results, false, limit, nullptr,
                                nullptr);
        EXPECT_EQ(countMethod(method, 10, kYear + 20'000, kYear + 200'000),
                  static_cast<qint64>(results.size()))
            << method;
    }
}

TEST_F(Counting, OfIntervalsOfAVariableSeriesIsRawAfterALine)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    series.writeDataRecords({{kYear, "a"}, {kYear + 1, "b"}}, false, false);
    Interpolate::InterpolateParam param;
    param.interval = 10;
    EXPECT_EQ(series.getCount(param, {}, -2, -3, true, false, false), 2);
    EXPECT_FALSE(lines(4).empty());
    EXPECT_EQ(lines(4).front(), "No interval support for variant");
}

TEST_F(Counting, OfSamplesTakesNoNoticeOfEarlierPasses)
{
    fill({{kYear, 1}, {kYear + 1, 2}, {kYear + 50'000, 3}});
    const Interpolate::InterpolateParam pass{QStringLiteral("prevfill"), 10, {}, false, 0};
    EXPECT_EQ(storage.getCount({}, {pass}, -2, -3, true, false, false), 3);
}

TEST_F(Counting, OfIntervalsOfTheLateLogIsZero)
{
    fill({{kYear, 1}, {kYear + 9000, 2}});
    ASSERT_TRUE(storage.writeDataRecords({{kYear + 1000, 3.0}, {kYear + 2000, 4.0}}, true, false));
    const Interpolate::InterpolateParam hourly{QStringLiteral("prev"), 3600, {}, false, 0};
    EXPECT_EQ(storage.getCount({}, {}, -2, -3, false, true, false), 2);
    // Kept: its samples come past the engine, which alone counts.
    EXPECT_EQ(storage.getCount(hourly, {}, -2, -3, false, true, false), 0);
}

TEST_F(Counting, OfAChainThatFillsIsTheFastCountOfItsFirstPass)
{
    fill({{kYear, 1}, {kYear + 100'000, 2}});
    const Interpolate::InterpolateParam first{QStringLiteral("prevalignfill"), 10, {}, false, 0};
    const Interpolate::InterpolateParam last{QStringLiteral("meana"), 50, {}, false, 0};
    qint64 counted = 0;
    const Texts names = opened(
        [&] { counted = storage.getCount(last, {first}, kYear, kYear + 100'000, true, false, false); });
    EXPECT_EQ(counted, 11);
    EXPECT_EQ(names, (Texts{"2024", "2024"})); // for the first and the last record
}

} // namespace
} // namespace Kiv::Testing
