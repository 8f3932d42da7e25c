// Batches in columns, and what a write tells of itself.

#include "TSFileColumns.h"

#include "storage/StorageTest.h"

namespace Kiv::Testing
{
namespace
{

using Kind = TSFileColumns::Kind;
using Summary = TSFileStorage::WriteSummary;

class ColumnWriting : public StorageTest
{
protected:
    static TSFileColumns doublesOf(const Samples& samples)
    {
        TSFileColumns columns;
        for (const auto& [timestamp, number] : samples) {
            columns.timestamps.push_back(timestamp);
            columns.doubles.push_back(number);
        }
        return columns;
    }

    static TSFileColumns integersOf(const std::vector<std::pair<qint64, qint64>>& samples)
    {
        TSFileColumns columns;
        columns.kind = Kind::Integers;
        for (const auto& [timestamp, number] : samples) {
            columns.timestamps.push_back(timestamp);
            columns.integers.push_back(number);
        }
        return columns;
    }

    /// new, overwritten, unchanged, late
    static std::vector<qint64> countsOf(const Summary& summary)
    {
        return {summary.newCount, summary.overwrittenCount, summary.unchangedCount, summary.lateCount};
    }

    using Counts = std::vector<qint64>;
};

TEST_F(ColumnWriting, MergesSamplesInAnyOrderAcrossFiles)
{
    TSFileStorage storage = makeStorage();
    const qint64 nextYear = utc(2025);
    ASSERT_TRUE(storage.writeDataColumns(
        doublesOf({{nextYear, 3}, {kYear + 5, 2}, {kYear, 1}, {kYear + 5, 1}}), false, false));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 1}, {kYear + 5, 2}, {nextYear, 3}}));
}

TEST_F(ColumnWriting, KeepsAllBitsOfIntegers)
{
    TSFileStorage storage = makeStorage(QMetaType::ULongLong);
    ASSERT_TRUE(storage.writeDataColumns(integersOf({{kYear, -1}, {kYear + 1, 9'007'199'254'740'993}}), false,
                                         false));
    const Records records = storedRecords(storage);
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].value.toULongLong(), 18'446'744'073'709'551'615U);
    EXPECT_EQ(records[1].value.toULongLong(), 9'007'199'254'740'993U);
}

TEST_F(ColumnWriting, GivesBackWhatAReadInColumnsGave)
{
    TSFileStorage storage = makeStorage(QMetaType::LongLong);
    ASSERT_TRUE(storage.writeDataColumns(integersOf({{kYear, 7}, {kYear + 1000, -8}}), false, false));
    TSFileColumns columns;
    int limit = 0;
    ASSERT_TRUE(storage.readDataColumns({}, {}, -2, -3, columns, false, limit));
    Summary summary;
    ASSERT_TRUE(storage.writeDataColumns(columns, false, false, &summary));
    EXPECT_EQ(countsOf(summary), (Counts{0, 0, 2, 0}));
}

TEST_F(ColumnWriting, StoresANullAsAnInvalidValue)
{
    TSFileStorage storage = makeStorage();
    TSFileColumns columns = doublesOf({{kYear, 4}, {kYear + 1, 5}});
    columns.isNull = {1, 0};
    ASSERT_TRUE(storage.writeDataColumns(columns, false, false));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 0}, {kYear + 1, 5}}));
}

TEST_F(ColumnWriting, RefusesColumnsOfDifferentLengths)
{
    TSFileStorage storage = makeStorage();
    TSFileColumns columns = doublesOf({{kYear, 4}});
    columns.timestamps.push_back(kYear + 1);
    Summary summary{1, 1, 1, 1};
    EXPECT_FALSE(storage.writeDataColumns(columns, false, false, &summary));
    EXPECT_EQ(countsOf(summary), (Counts{0, 0, 0, 0}));
    expectLine(2, "Columns of different lengths (writeDataColumns)");
    columns.doubles.push_back(5);
    columns.isNull = {0};
    EXPECT_FALSE(storage.writeDataColumns(columns, false, false));
    EXPECT_EQ(files(), Texts{});
}

TEST_F(ColumnWriting, LeavesAColumnAloneThatItsKindDoesNotUse)
{
    TSFileStorage storage = makeStorage(QMetaType::LongLong);
    TSFileColumns columns = integersOf({{kYear + 1, 5}, {kYear, 6}});
    columns.doubles = {1.0};
    ASSERT_TRUE(storage.writeDataColumns(columns, false, false));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 6}, {kYear + 1, 5}}));
}

TEST_F(ColumnWriting, TakesIntegersIntoAFloatSeriesByTheirValue)
{
    TSFileStorage storage = makeStorage(QMetaType::Float);
    ASSERT_TRUE(storage.writeDataColumns(integersOf({{kYear, 5}}), false, false));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 5}}));
}

TEST_F(ColumnWriting, WritesNothingOfEmptyColumns)
{
    TSFileStorage storage = makeStorage();
    Summary summary{1, 1, 1, 1};
    EXPECT_TRUE(storage.writeDataColumns({}, true, true, &summary));
    EXPECT_EQ(countsOf(summary), (Counts{0, 0, 0, 0}));
    EXPECT_EQ(files(), Texts{});
}

TEST_F(ColumnWriting, CountsNewOverwrittenUnchangedAndLate)
{
    TSFileStorage storage = makeStorage();
    Summary summary;
    ASSERT_TRUE(storage.writeDataColumns(doublesOf({{kYear, 1}, {kYear + 10, 2}, {kYear + 20, 3}}), false,
                                         false, &summary));
    EXPECT_EQ(countsOf(summary), (Counts{3, 0, 0, 0}));
    ASSERT_TRUE(storage.writeDataColumns(
        doublesOf({{kYear, 1}, {kYear + 5, 9}, {kYear + 10, 7}, {kYear + 30, 4}}), false, false, &summary));
    EXPECT_EQ(countsOf(summary), (Counts{2, 1, 1, 2}));
    EXPECT_EQ(files(), Texts{"D/2024"}) << "counting late samples does not log them";
}

TEST_F(ColumnWriting, CountsTheRecordsOfARecordWriteToo)
{
    TSFileStorage storage = makeStorage();
    Summary summary;
    ASSERT_TRUE(storage.writeDataRecords(recordsOf({{kYear, 1}, {kYear, 2}, {kYear + 1, 2}}), false, false,
                                         &summary));
    EXPECT_EQ(countsOf(summary), (Counts{2, 1, 0, 1}))
        << "the greater value of a timestamp comes second and late";
}

TEST_F(ColumnWriting, CountsOnlyWhatWasStoredWhenAFileDoesNotOpen)
{
    TSFileStorage storage = makeStorage();
    const UnopenableFile unopenable(at("D/2025"));
    Summary summary;
    EXPECT_FALSE(storage.writeDataColumns(doublesOf({{kYear, 1}, {utc(2025), 2}}), false, false, &summary));
    EXPECT_EQ(countsOf(summary), (Counts{1, 0, 0, 0}));
}

} // namespace
} // namespace Kiv::Testing
