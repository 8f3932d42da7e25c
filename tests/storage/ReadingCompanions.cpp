// Reading what the two companion series hold: records that were written late, values that were overwritten.

#include "storage/StorageTest.h"

#include <unordered_map>

namespace Kiv::Testing
{
namespace
{

class CompanionReading : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};

    void fill(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
    }
};

// --- Late records ----------------------------------------------------------------------------------------

class LateReading : public CompanionReading
{
protected:
    static constexpr qint64 kSecond = 1'700'000'000'000;

    void writeLate(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), true, false));
    }

    Samples lateOf(qint64 start, qint64 end)
    {
        Records records;
        Records late;
        int limit = 0;
        storage.readDataRecords({}, {}, start, end, records, false, limit, &late, nullptr);
        return samplesOf(late);
    }
};

TEST_F(LateReading, GivesTheCurrentRecordsThatWereWrittenLateInTheRange)
{
    fill({{1000, 1}, {9000, 9}});
    writeLate({{3000, 3}, {2000, 2}});
    EXPECT_EQ(lateOf(kSecond - 10, kSecond + 10), (Samples{{2000, 2}, {3000, 3}}));
    fill({{2000, 22}});
    EXPECT_EQ(lateOf(kSecond - 10, kSecond + 10), (Samples{{2000, 22}, {3000, 3}}));
}

TEST_F(LateReading, SelectsByTheTimeOfTheWrite)
{
    fill({{1000, 1}, {9000, 9}});
    writeLate({{2000, 2}});
    seams.nowUs += 10'000'000;
    writeLate({{3000, 3}});
    EXPECT_EQ(lateOf(kSecond, kSecond), (Samples{{2000, 2}}));
    EXPECT_EQ(lateOf(kSecond + 10'000, kSecond + 10'000), (Samples{{3000, 3}}));
    EXPECT_EQ(lateOf(0, 9000), Samples{});
}

TEST_F(LateReading, DoesNotRepeatWhatIsInTheResult)
{
    // The data lies in the time of the writes, so that both are in the range.
    fill({{kSecond + 1, 1}, {kSecond + 9, 9}});
    writeLate({{kSecond + 5, 5}, {1000, 7}});
    EXPECT_EQ(lateOf(kSecond, kSecond + 9), (Samples{{1000, 7}}));
}

TEST_F(LateReading, OfATimeWrittenLateTwiceGivesItOnce)
{
    fill({{1000, 1}, {9000, 9}});
    writeLate({{2000, 2}});
    writeLate({{2000, 3}});
    EXPECT_EQ(lateOf(kSecond - 10, kSecond + 10), (Samples{{2000, 3}}));
}

TEST_F(LateReading, OfARecordThatWasDeletedGivesNothing)
{
    fill({{1000, 1}, {9000, 9}});
    writeLate({{2000, 2}, {3000, 3}});
    storage.deleteDataRecords(2000, 2000, "");
    EXPECT_EQ(lateOf(kSecond - 10, kSecond + 10), (Samples{{3000, 3}}));
}

TEST_F(LateReading, WithoutALogGivesNothing)
{
    fill({{1000, 1}});
    EXPECT_EQ(lateOf(kMinTimestamp, kMaxTimestamp), Samples{});
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(LateReading, IsNotLimited)
{
    fill({{1000, 1}, {9000, 9}});
    writeLate({{2000, 2}, {3000, 3}, {4000, 4}});
    Records records;
    Records late;
    int limit = 1;
    storage.readDataRecords({}, {}, kSecond, kSecond + 10, records, false, limit, &late, nullptr);
    EXPECT_EQ(late.size(), 3u);
}

// --- The history -----------------------------------------------------------------------------------------

class HistoryReading : public CompanionReading
{
protected:
    void overwrite(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, true));
    }

    std::unordered_map<qint64, QVariant> historyOf(qint64 start, qint64 end)
    {
        Records records;
        std::unordered_map<qint64, QVariant> history;
        int limit = 0;
        storage.readDataRecords({}, {}, start, end, records, false, limit, nullptr, &history);
        return history;
    }
};

TEST_F(HistoryReading, GivesTheOverwrittenValuesOfTheRange)
{
    fill({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}});
    overwrite({{kYear, 4}, {kYear + 2, 5}});
    const auto history = historyOf(kYear + 1, kYear + 9);
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(textOf(history.at(kYear + 2)), "{1700000000123: double 3}");
}

TEST_F(HistoryReading, KeepsWhatTheMapAlreadyHolds)
{
    fill({{kYear, 1}});
    overwrite({{kYear, 4}});
    Records records;
    std::unordered_map<qint64, QVariant> history = {{kYear, 7}, {5, 8}};
    int limit = 0;
    storage.readDataRecords({}, {}, kYear, kYear, records, false, limit, nullptr, &history);
    EXPECT_EQ(history.size(), 2u);
    EXPECT_EQ(textOf(history.at(kYear)), "int 7");
}

TEST_F(HistoryReading, WithoutAHistoryGivesNothing)
{
    fill({{kYear, 1}});
    EXPECT_TRUE(historyOf(kMinTimestamp, kMaxTimestamp).empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(HistoryReading, WithAnIntervalStillGivesWholeMaps)
{
    fill({{kYear, 1}, {kYear + 60'000, 2}});
    overwrite({{kYear, 4}});
    Interpolate::InterpolateParam param;
    param.interval = 10;
    Records records;
    std::unordered_map<qint64, QVariant> history;
    int limit = 0;
    storage.readDataRecords(param, {}, kYear, kYear + 60'000, records, false, limit, nullptr, &history);
    ASSERT_EQ(history.size(), 1u);
    EXPECT_EQ(textOf(history.at(kYear)), "{1700000000123: double 1}");
}

/// Only the interval of the last pass is cleared: the earlier ones run on what the companions hold.
TEST_F(CompanionReading, RunsTheEarlierPassesOnTheCompanionsToo)
{
    fill({{kYear, 1}, {kYear + 10'000, 2}, {kYear + 20'000, 3}});
    ASSERT_TRUE(storage.writeDataRecords(recordsOf({{kYear, 5}, {kYear + 20'000, 6}}), false, true));
    const Interpolate::InterpolateParam raw;
    const Interpolate::InterpolateParam pass{QStringLiteral("countfill"), 10, {}, false, 0};
    Records records;
    std::unordered_map<qint64, QVariant> overwritten;
    int limit = 0;
    storage.readDataRecords(raw, {pass}, kYear, kYear + 30'000, records, false, limit, nullptr, &overwritten);
    Samples counts;
    for (const auto& [timestamp, value] : overwritten)
        counts.emplace_back(timestamp, value.typeId() == QMetaType::QVariantMap ? -1 : value.toDouble());
    std::sort(counts.begin(), counts.end());
    EXPECT_EQ(counts, (Samples{{kYear, 0}, {kYear + 10'000, 1}, {kYear + 20'000, 0}, {kYear + 30'000, 1}}));
}

} // namespace
} // namespace Kiv::Testing
