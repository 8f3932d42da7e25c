// Results that are printed from columns: the same text as from records.

#include "LibraryLog.h"
#include "RangeQuery.h"
#include "RecordPrinter.h"
#include "ResultColumns.h"
#include "Results.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace Kiv::Cli
{
namespace
{

using Records = std::vector<Interpolate::DataRecord>;

constexpr std::array<OutputFormat, 3> kFormats = {OutputFormat::Table, OutputFormat::Csv, OutputFormat::Json};

/// What a printer writes to stdout.
template <typename Print>
std::string printed(OutputFormat format, const Print& print)
{
    testing::internal::CaptureStdout();
    RecordPrinter printer(format);
    print(printer);
    printer.finish();
    return testing::internal::GetCapturedStdout();
}

Series newSeries(const QTemporaryDir& directory, const SeriesType& type)
{
    const QString path = directory.filePath(type.word);
    return {path, type, std::make_unique<TSFileStorage>(path, type.metaType, 2000)};
}

/// Values that every type holds or saturates, with gaps in time, some before the epoch.
void fill(const Series& series, std::mt19937_64& random)
{
    Records records;
    qint64 timestampMs = -3'600'000;
    for (int i = 0; i < 1500; ++i) {
        timestampMs += static_cast<qint64>(random() % 20'000) + (random() % 50 == 0 ? 600'000 : 0);
        const qint64 number = static_cast<qint64>(random()) >> (random() % 64);
        QVariant value(qlonglong{number});
        if (series.type.metaType == QMetaType::Double && random() % 2 == 0)
            value = QVariant(static_cast<double>(number) / 1000);
        if (series.type.metaType == QMetaType::Double && random() % 40 == 0)
            value = QVariant(random() % 2 == 0 ? std::numeric_limits<double>::quiet_NaN()
                                               : -std::numeric_limits<double>::infinity());
        records.emplace_back(timestampMs, value);
    }
    ASSERT_TRUE(series.storage->writeDataRecords(std::move(records), false, false));
}

std::vector<RequestOptions> requests()
{
    std::vector<RequestOptions> all(9);
    all[1].every = "1m";
    all[1].method = "meana";
    all[2].every = "30s";
    all[2].method = "minmaxfillnull";
    all[3].every = "1h";
    all[3].method = "prevnext";
    all[3].shift = true;
    all[4].filters = {"value>0"};
    all[5].passes = {"meana@1m"};
    all[6].method = "diff";
    all[7].every = "5m";
    all[7].method = "sum";
    all[7].fill = "prev";
    all[8].passes = {"@raw where value<1000"};
    all[8].every = "day";
    all[8].method = "count";
    return all;
}

TEST(PrintedColumns, AreThoseOfTheRecordsForEveryNumericTypeAndRequest)
{
    const LibraryLog quietLog;
    const QTemporaryDir directory;
    std::mt19937_64 random(1);
    for (const SeriesType& type : allTypes()) {
        if (isVariableLength(type) || isFloat(type))
            continue;
        const Series series = newSeries(directory, type);
        fill(series, random);
        for (const RequestOptions& options : requests()) {
            RangeQuery query{{{-2'000'000, false}, {kLastRecord, true}}, makeRequest(options)};
            query.limit = random() % 2 == 0 ? 0 : static_cast<qint64>(1 + random() % 300);
            const OutputFormat format = kFormats[random() % kFormats.size()];
            const std::string expected = printed(format, [&](RecordPrinter& printer) {
                for (const auto& result : readResults(series, query.request, query.range, query.limit))
                    printer.print(result);
            });
            EXPECT_EQ(printed(format, [&](RecordPrinter& printer) { printRange(series, query, printer); }),
                      expected)
                << type.word.toStdString() << " " << options.method.value_or("raw") << " limit "
                << query.limit;
        }
    }
}

TEST(PrintedColumns, EndWhereTheRangeEndsAlsoAtTimesThatTheStoreTakesForSymbols)
{
    const QTemporaryDir directory;
    const Series series = newSeries(directory, typeOfWord(QString(), QStringLiteral("int")));
    Records records;
    for (qint64 timestampMs = -5; timestampMs < 5; ++timestampMs)
        records.emplace_back(timestampMs, QVariant(qlonglong{timestampMs}));
    ASSERT_TRUE(series.storage->writeDataRecords(records, false, false));
    const RangeQuery query{{{-2, false}, {-1, false}}, {}};
    EXPECT_EQ(printed(OutputFormat::Csv, [&](RecordPrinter& printer) { printRange(series, query, printer); }),
              "timestamp,value\n1969-12-31T23:59:59.998Z,-2\n1969-12-31T23:59:59.999Z,-1\n");
}

TEST(PrintedColumns, OfNullsAndNumbersThatJsonCannotWriteAreThoseOfTheRecords)
{
    TSFileColumns block;
    Records records;
    const double kInfinity = std::numeric_limits<double>::infinity();
    for (const double value : {0.0, -0.0, kInfinity, -kInfinity, std::nan(""), 1e15, 0.1}) {
        const auto timestampMs = static_cast<qint64>(records.size());
        block.timestamps.insert(block.timestamps.end(), 2, timestampMs);
        block.doubles.insert(block.doubles.end(), {value, 0});
        block.isNull.insert(block.isNull.end(), {0, 1});
        records.emplace_back(timestampMs, QVariant(value));
        records.emplace_back(timestampMs, QVariant());
    }
    for (const OutputFormat format : kFormats) {
        const std::string expected = printed(format, [&](RecordPrinter& printer) {
            for (const Interpolate::DataRecord& record : records)
                printer.print(record);
        });
        EXPECT_EQ(
            printed(format,
                    [&](RecordPrinter& printer) { printer.print(block, block.size(), QMetaType::Double); }),
            expected);
    }
}

TEST(OutputBuffering, KeepsTheOrderOfPiecesOfAnySize)
{
    std::string expected;
    testing::internal::CaptureStdout();
    OutputBuffer buffer;
    std::mt19937_64 random(2);
    for (int i = 0; i < 200; ++i) {
        const std::string piece(random() % (i % 10 == 0 ? 600'000 : 5000), static_cast<char>('a' + i % 26));
        expected += piece + '.';
        buffer.put(piece);
        char* const to = buffer.room();
        *to = '.';
        buffer.commit(to + 1);
    }
    buffer.flush();
    EXPECT_TRUE(testing::internal::GetCapturedStdout() == expected);
}

} // namespace
} // namespace Kiv::Cli
