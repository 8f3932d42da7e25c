// Reading in columns, block by block: the same results as in records.

#include "TSFileColumns.h"

#include "storage/StorageTest.h"

namespace Kiv::Testing
{
namespace
{

using Kind = TSFileColumns::Kind;

/// All blocks of a read, one behind the other.
struct Collected {
    TSFileColumns all;
    std::vector<std::size_t> blockSizes;
};

class ColumnReading : public StorageTest
{
protected:
    static Collected collect(TSFileStorage& storage, const Interpolate::InterpolateParam& param = {},
                             const std::vector<Interpolate::InterpolateParam>& passes = {}, qint64 start = -2,
                             qint64 end = -3, bool shift = false, int limit = 0)
    {
        Collected collected;
        TSFileColumnReader reader(storage, param, passes, start, end, shift, limit);
        TSFileColumns block;
        while (reader.next(block)) {
            collected.blockSizes.push_back(block.size());
            collected.all.kind = block.kind;
            append(collected.all.timestamps, block.timestamps);
            append(collected.all.doubles, block.doubles);
            append(collected.all.integers, block.integers);
            append(collected.all.isNull, block.isNull);
        }
        EXPECT_EQ(block.size(), 0U);
        EXPECT_FALSE(reader.next(block));
        return collected;
    }

    template <typename Column>
    static void append(Column& to, const Column& from)
    {
        to.insert(to.end(), from.begin(), from.end());
    }

    struct Request {
        Interpolate::InterpolateParam param;
        std::vector<Interpolate::InterpolateParam> passes;
        qint64 start;
        qint64 end;
        bool shift;
    };

    /// Holds a whole read in columns against the same read block by block.
    static void expectSameAtOnce(const TSFileColumns& blocks, int limitLeft, TSFileStorage& storage,
                                 const Request& request, int limit)
    {
        TSFileColumns whole;
        whole.timestamps = {1, 2};
        whole.isNull = {0};
        ASSERT_TRUE(storage.readDataColumns(request.param, request.passes, request.start, request.end, whole,
                                            request.shift, limit));
        EXPECT_EQ(limit, limitLeft);
        if (blocks.size() > 0) {
            EXPECT_EQ(whole.kind, blocks.kind);
        }
        EXPECT_EQ(whole.timestamps, blocks.timestamps);
        EXPECT_EQ(whole.doubles, blocks.doubles);
        EXPECT_EQ(whole.integers, blocks.integers);
        EXPECT_EQ(whole.isNull, blocks.isNull);
    }

    /// Holds a read in columns against the same read in records.
    static void expectSame(TSFileStorage& storage, const Interpolate::InterpolateParam& param = {},
                           const std::vector<Interpolate::InterpolateParam>& passes = {}, qint64 start = -2,
                           qint64 end = -3, bool shift = false, int limit = 0)
    {
        Records records;
        int recordLimit = limit;
        storage.readDataRecords(param, passes, start, end, records, shift, recordLimit, nullptr, nullptr);
        const TSFileColumns columns = collect(storage, param, passes, start, end, shift, limit).all;
        expectSameAtOnce(columns, recordLimit, storage, {param, passes, start, end, shift}, limit);
        ASSERT_EQ(columns.size(), records.size());
        ASSERT_EQ(columns.isNull.size(), records.size());
        const bool isInteger = columns.kind == Kind::Integers;
        ASSERT_EQ(columns.integers.size(), isInteger ? records.size() : 0);
        ASSERT_EQ(columns.doubles.size(), isInteger ? 0 : records.size());
        for (std::size_t i = 0; i < records.size(); ++i) {
            const QVariant& value = records[i].value;
            EXPECT_EQ(columns.timestamps[i], records[i].timestamp);
            EXPECT_EQ(columns.isNull[i], value.isNull() ? 1 : 0);
            if (isInteger) {
                EXPECT_EQ(columns.integers[i], static_cast<qint64>(value.toULongLong()));
            } else {
                EXPECT_EQ(columns.doubles[i], value.toDouble());
            }
        }
    }

    /// Samples over some files of a year, with gaps.
    static Records samples(const QVariant& first, const QVariant& second)
    {
        Records records;
        for (int i = 0; i < 300; ++i)
            records.emplace_back(kYear + i * 7'000'000LL + (i % 7) * 1000, i % 3 == 0 ? first : second);
        return records;
    }
};

TEST_F(ColumnReading, GivesTheRecordsOfEveryTypeOfFixedLength)
{
    struct Values {
        QMetaType::Type type;
        QVariant first;
        QVariant second;
        Kind kind;
    };
    const std::vector<Values> all = {
        {QMetaType::Bool, true, false, Kind::Integers},
        {QMetaType::Char, -128, 127, Kind::Integers},
        {QMetaType::UChar, 255, 1, Kind::Integers},
        {QMetaType::Short, -32768, 5, Kind::Integers},
        {QMetaType::UShort, 65535, 5, Kind::Integers},
        {QMetaType::Int, -2147483647, 3, Kind::Integers},
        {QMetaType::UInt, 4294967295U, 3, Kind::Integers},
        {QMetaType::LongLong, qlonglong{-9007199254740993}, 3, Kind::Integers},
        {QMetaType::ULongLong, qulonglong{18446744073709551615U}, 3, Kind::Integers},
        {QMetaType::Double, 0.1, -1e300, Kind::Doubles},
        {QMetaType::Float, 0.1F, -2.5F, Kind::Doubles},
    };
    for (const Values& values : all) {
        const SeriesDirectory ownDirectory;
        TSFileStorage storage(ownDirectory.base(), values.type, 1000);
        ASSERT_TRUE(storage.writeDataRecords(samples(values.first, values.second), false, false));
        EXPECT_EQ(collect(storage).all.kind, values.kind) << QMetaType(values.type).name();
        expectSame(storage);
        expectSame(storage, {}, {}, kYear + 50'000'000, kYear + 1'500'000'000);
        expectSame(storage, {}, {}, -2, -3, false, 17);
        expectSame(storage, {QStringLiteral("meana"), 3600, {}, true, 0});
    }
}

TEST_F(ColumnReading, GivesTheResultsOfEveryRequest)
{
    TSFileStorage storage = makeStorage(QMetaType::Int, 1000);
    ASSERT_TRUE(storage.writeDataRecords(samples(7, 2), false, false));
    Interpolate::FilterParam aboveFive;
    aboveFive.valueCompare = QStringLiteral("gt");
    aboveFive.value = 5;
    expectSame(storage, {QString(), 0, {aboveFive}, false, 0});
    expectSame(storage, {QStringLiteral("diff"), 0, {}, false, 0});
    expectSame(storage, {QStringLiteral("maxfillnullalign"), 3600, {}, false, 0});
    expectSame(storage, {QStringLiteral("minmax"), -3, {}, true, 60}, {}, -2, -3, true);
    expectSame(storage, {QStringLiteral("meana"), 7200, {}, false, 0}, {{QString(), 600, {}, false, 0}});
    expectSame(storage, {}, {{QString(), 0, {aboveFive}, false, 0}});
    expectSame(storage, {QStringLiteral("prevfill"), 600, {}, false, 0}, {}, -2, -3, false, 40);
}

TEST_F(ColumnReading, KeepsIntegersOnlyWhileNothingIsComputed)
{
    TSFileStorage storage = makeStorage(QMetaType::Int);
    ASSERT_TRUE(storage.writeDataRecords(samples(7, 2), false, false));
    const Interpolate::InterpolateParam raw;
    const Interpolate::InterpolateParam difference{QStringLiteral("diff"), 0, {}, false, 0};
    const Interpolate::InterpolateParam hourly{QStringLiteral("max"), 3600, {}, false, 0};
    EXPECT_EQ(collect(storage, raw, {raw}).all.kind, Kind::Integers);
    EXPECT_EQ(collect(storage, difference).all.kind, Kind::Doubles);
    EXPECT_EQ(collect(storage, hourly).all.kind, Kind::Doubles);
    EXPECT_EQ(collect(storage, raw, {hourly}).all.kind, Kind::Doubles);
}

TEST_F(ColumnReading, HandsOutBlocksOfBoundedSize)
{
    TSFileStorage storage = makeStorage(QMetaType::Bool);
    Records records;
    for (int i = 0; i < 200'000; ++i)
        records.emplace_back(kYear + i, QVariant(true));
    ASSERT_TRUE(storage.writeDataRecords(std::move(records), false, false));
    for (const auto& [method, interval, limit] :
         {std::tuple("", 0, 0), std::tuple("", 0, 150'000), std::tuple("prevlinearfill", 1, 0)}) {
        const Collected collected = collect(storage, {QString::fromLatin1(method), interval, {}, false, 0},
                                            {}, kYear, interval == 0 ? -3 : kYear + 199'000, false, limit);
        for (const std::size_t size : collected.blockSizes) {
            EXPECT_GE(size, 1U);
            EXPECT_LE(size, TSFileColumnReader::kMaxBlockSize);
        }
    }
}

TEST_F(ColumnReading, FillsAGapBlockByBlock)
{
    TSFileStorage storage = makeStorage();
    ASSERT_TRUE(storage.writeDataRecords({{kYear, 1.0}, {kYear + 200'000'000, 2.0}}, false, false));
    const Collected collected = collect(storage, {QStringLiteral("prevalignfill"), 1, {}, false, 0});
    EXPECT_EQ(collected.blockSizes.front(), TSFileColumnReader::kMaxBlockSize);
    expectSame(storage, {QStringLiteral("prevalignfill"), 1, {}, false, 0});
}

TEST_F(ColumnReading, RefusesASeriesOfVariableLength)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    TSFileColumns columns;
    columns.kind = Kind::Integers;
    columns.timestamps = {1};
    int limit = 5;
    EXPECT_FALSE(storage.readDataColumns({}, {}, -2, -3, columns, false, limit));
    EXPECT_EQ(columns.size(), 0U);
    EXPECT_EQ(columns.kind, Kind::Doubles);
    EXPECT_EQ(limit, 0);
}

TEST_F(ColumnReading, GivesNothingOfAnEmptySeriesAndOfVariableLength)
{
    TSFileStorage empty = makeStorage();
    EXPECT_EQ(collect(empty).all.size(), 0U);
    TSFileStorage texts = makeStorage(QMetaType::QString);
    ASSERT_TRUE(texts.writeDataRecords({{kYear, QStringLiteral("a")}}, false, false));
    EXPECT_EQ(collect(texts).all.size(), 0U);
}

TEST_F(ColumnReading, EndsWhereARecordReadEndsOnFilesOutOfOrder)
{
    TSFileStorage storage = makeStorage();
    ASSERT_TRUE(storage.writeDataRecordsInt({{kYear + 10, 1.0}, {kYear + 90, 2.0}}, false, false, true));
    ASSERT_TRUE(storage.writeDataRecordsInt({{kYear + 20, 3.0}, {kYear + 95, 4.0}}, false, false, true));
    expectSame(storage);
    expectSame(storage, {}, {}, kYear + 15, kYear + 92);
    expectSame(storage, {}, {}, kYear + 15, kYear + 50);
}

} // namespace
} // namespace Kiv::Testing
