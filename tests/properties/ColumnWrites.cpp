// Batches in columns against the same batches in records, on random sequences: bytes on disk, answers, log lines and
// what the writes tell of themselves. KIV_TEST_SCALE multiplies the number of cases.

#include "properties/RandomBatch.h"
#include "properties/StoragePair.h"
#include "properties/StorageScale.h"
#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <map>

namespace Kiv::Testing
{
namespace
{

using Kind = TSFileColumns::Kind;
using Summary = TSFileStorage::WriteSummary;

/// One series and everything that can be seen of it from outside.
struct Series {
    Series(QMetaType::Type type, int maxFileSize)
        : directory(temporaryPattern()), storage(base(), type, maxFileSize)
    {
        writeFile(directory.filePath(QStringLiteral("keep")));
    }

    QString base() const { return directory.path() + QStringLiteral("/series/"); }

    std::map<std::string, std::string> bytes() const
    {
        std::map<std::string, std::string> all;
        for (const std::string& name : filesBelow(base()))
            all[name] = hexOf(base() + QString::fromStdString(name));
        return all;
    }

    /// Runs a write. \return its log lines, without the place of the series
    template <typename Write>
    Texts linesOf(Write write)
    {
        LogCapture log;
        write();
        Texts texts;
        for (LogLine& line : log.lines)
            texts.push_back(std::to_string(line.level) +
                            line.text.replace(base(), QStringLiteral("series/")).toStdString());
        return texts;
    }

    QTemporaryDir directory;
    TSFileStorage storage;
};

QVariant integerFor(QMetaType::Type type, qint64 number)
{
    return type == QMetaType::ULongLong ? QVariant(static_cast<qulonglong>(number))
                                        : QVariant(qlonglong{number});
}

/// Fills columns with a batch and gives the batch the values that the columns stand for.
TSFileColumns toColumns(Records& batch, QMetaType::Type type, Kind kind, bool hasNulls)
{
    TSFileColumns columns;
    columns.kind = kind;
    for (std::size_t i = 0; i < batch.size(); ++i) {
        const double number = batch[i].value.toDouble();
        const qint64 integer = batch[i].value.toLongLong();
        const bool isNull = hasNulls && i % 5 == 3;
        columns.timestamps.push_back(batch[i].timestamp);
        if (kind == Kind::Doubles)
            columns.doubles.push_back(number);
        else
            columns.integers.push_back(integer);
        if (hasNulls)
            columns.isNull.push_back(isNull ? 1 : 0);
        batch[i].value = isNull                  ? QVariant()
                         : kind == Kind::Doubles ? QVariant(number)
                                                 : integerFor(type, integer);
    }
    return columns;
}

bool operator==(const Summary& a, const Summary& b)
{
    return a.newCount == b.newCount && a.overwrittenCount == b.overwrittenCount &&
           a.unchangedCount == b.unchangedCount && a.lateCount == b.lateCount;
}

class ColumnWrites : public testing::TestWithParam<std::size_t>
{
protected:
    QMetaType::Type type() const { return valueTypes()[GetParam()].type; }
};

TEST_P(ColumnWrites, StoreWhatRecordsOfTheSameValuesStore)
{
    SeamsForTest seams;
    for (quint64 seed = 0; seed < scaledCaseCount(150) && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Dice dice(7'000'000'000 + GetParam() * 1'000'000 + seed);
        RandomBatch batches(dice, QMetaType::Double);
        const int maxFileSize = static_cast<int>(dice.between(20, 3000));
        Series inRecords(type(), maxFileSize);
        Series inColumns(type(), maxFileSize);
        for (qint64 i = dice.between(1, 5); i > 0 && !HasFailure(); --i) {
            Records records = batches.next();
            const Kind kind = dice.chance(50) ? Kind::Doubles : Kind::Integers;
            const TSFileColumns columns = toColumns(records, type(), kind, dice.chance(20));
            const bool noteLate = dice.chance(50);
            const bool keepOld = dice.chance(50);
            Summary ofRecords;
            Summary ofColumns;
            bool answer = false;
            const Texts lines = inRecords.linesOf(
                [&] { answer = inRecords.storage.writeDataRecords(records, noteLate, keepOld, &ofRecords); });
            EXPECT_EQ(inColumns.linesOf([&] {
                EXPECT_EQ(inColumns.storage.writeDataColumns(columns, noteLate, keepOld, &ofColumns), answer);
            }),
                      lines);
            EXPECT_TRUE(ofColumns == ofRecords);
            EXPECT_EQ(inColumns.bytes(), inRecords.bytes());
            seams.nowUs += 1'000'000;
        }
    }
}

TEST_P(ColumnWrites, TellWhatBecameOfEverySample)
{
    SeamsForTest seams;
    for (quint64 seed = 0; seed < scaledCaseCount(150) && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Dice dice(8'000'000'000 + GetParam() * 1'000'000 + seed);
        RandomBatch batches(dice, QMetaType::Double);
        const LogCapture log;
        Series series(type(), static_cast<int>(dice.between(20, 3000)));
        std::size_t lateCount = 0;
        for (qint64 i = dice.between(1, 5); i > 0 && !HasFailure(); --i) {
            Records records = batches.next();
            const TSFileColumns columns = toColumns(records, type(), Kind::Integers, false);
            const auto countBefore = static_cast<qint64>(storedRecords(series.storage).size());
            Summary summary;
            ASSERT_TRUE(series.storage.writeDataColumns(columns, true, false, &summary));
            // A search in a float file may miss its way and write over another sample.
            if (type() != QMetaType::Float) {
                EXPECT_EQ(static_cast<qint64>(storedRecords(series.storage).size()) - countBefore,
                          summary.newCount);
            }
            EXPECT_EQ(summary.newCount + summary.overwrittenCount + summary.unchangedCount,
                      static_cast<qint64>(columns.size()));
            lateCount += static_cast<std::size_t>(summary.lateCount);
            TSFileStorage lateLog(series.storage.m_path + series.storage.getMarkerForValueType(type()) + u'P',
                                  QMetaType::LongLong, series.storage.m_maxFileSize);
            EXPECT_EQ(storedRecords(lateLog).size(), lateCount);
            seams.nowUs += 1'000'000;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(ValueTypes, ColumnWrites, testing::Range(std::size_t(0), std::size_t(12)),
                         [](const auto& typeCase) { return valueTypes()[typeCase.param].name; });

} // namespace
} // namespace Kiv::Testing
