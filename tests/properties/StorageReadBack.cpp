// What was written reads back: random batches and deletions against a plain map of timestamps to values.

#include "TSFileStorage.h"
#include "properties/RandomBatch.h"
#include "properties/StorageCases.h"
#include "properties/StoragePair.h"
#include "properties/StorageScale.h"
#include "support/SeamsForTest.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <algorithm>
#include <limits>
#include <map>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

using Samples = std::map<qint64, QVariant>;

/// What a series of that type gives back for a value.
QVariant stored(const QVariant& value, QMetaType::Type type)
{
    switch (type) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
        return value.toInt();
    case QMetaType::UInt:
        return value.toUInt();
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::ULongLong:
        return value.toULongLong();
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::Short:
        return static_cast<int>(static_cast<qint16>(value.toInt()));
    case QMetaType::Char:
        return static_cast<int>(static_cast<qint8>(value.toInt()));
    case QMetaType::UShort:
        return static_cast<int>(static_cast<quint16>(value.toUInt()));
    case QMetaType::UChar:
        return static_cast<int>(static_cast<quint8>(value.toUInt()));
    default:
        return value;
    }
}

void write(Samples& samples, Records records, QMetaType::Type type)
{
    std::stable_sort(records.begin(), records.end(), plainOrder);
    for (const Record& record : records) {
        const auto known = samples.find(record.timestamp);
        if (known == samples.end() || known->second != record.value)
            samples[record.timestamp] = stored(record.value, type);
    }
}

void erase(Samples& samples, qint64 from, qint64 to)
{
    if (from <= to)
        samples.erase(samples.lower_bound(from), samples.upper_bound(to));
}

QStringList texts(const Samples& samples)
{
    QStringList lines;
    for (const auto& [timestamp, value] : samples)
        lines.append(exactText(Record(timestamp, value)));
    return lines;
}

QStringList readBack(TSFileStorage& storage)
{
    Records records;
    int limit = 0;
    storage.readDataRecords({}, {}, std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max(),
                            records, false, limit, nullptr, nullptr);
    QStringList lines;
    for (const Record& record : records)
        lines.append(exactText(record));
    return lines;
}

class StorageReadBack : public ::testing::TestWithParam<std::size_t>
{
protected:
    const ValueType& valueType() const { return valueTypes()[GetParam()]; }

    void check(quint64 seed) const
    {
        const QTemporaryDir directory(temporaryPattern());
        SeamsForTest seams;
        const LogCapture capture;
        Dice dice(seed);
        RandomBatch batch(dice, valueType().type);
        const std::vector<int> limits{12, 60, 400, 1'000'000};
        // The series' parent stays when the series is emptied, because something else lives there.
        TSFileStorage storage(directory.path() + QStringLiteral("/tag"), valueType().type, dice.pick(limits));
        Samples samples;
        for (qint64 step = dice.between(1, 10); step > 0; --step) {
            takeStep(storage, samples, batch, dice);
            ASSERT_EQ(readBack(storage), texts(samples)) << "seed " << seed;
            ASSERT_EQ(storage.getCount({}, {}, -2, -3, true, false, false),
                      static_cast<qint64>(samples.size()))
                << "seed " << seed;
        }
    }

private:
    void takeStep(TSFileStorage& storage, Samples& samples, RandomBatch& batch, Dice& dice) const
    {
        // Deleting from before the first sample spares what lies before 1970.
        const bool deletable = !samples.empty() && samples.begin()->first >= 0;
        if (deletable && dice.chance(25)) {
            const qint64 from = std::max<qint64>(batch.timestampMs(), 0);
            const qint64 to = std::max<qint64>(batch.timestampMs(), 0);
            storage.deleteDataRecords(from, to, QString());
            erase(samples, from, to);
            return;
        }
        const Records records = batch.next();
        ASSERT_TRUE(storage.writeDataRecords(records, dice.chance(30), dice.chance(30)));
        write(samples, records, valueType().type);
    }
};

TEST_P(StorageReadBack, everythingWrittenAndNotDeletedIsThere)
{
    for (quint64 i = 0; i < scaledCaseCount(60) && !HasFailure(); ++i)
        check(GetParam() * 1'000'000 + i);
}

std::vector<std::size_t> exactTypes()
{
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < valueTypes().size(); ++i) {
        // A Float file is not found again at its positions, only read from its beginning.
        if (valueTypes()[i].type != QMetaType::Float)
            indices.push_back(i);
    }
    return indices;
}

INSTANTIATE_TEST_SUITE_P(ValueTypes, StorageReadBack, ::testing::ValuesIn(exactTypes()),
                         [](const auto& typeCase) { return valueTypes()[typeCase.param].name; });

TEST(StorageReadBackFloat, anAscendingBatchInOneFileReadsBackFromItsBeginning)
{
    const QTemporaryDir directory(temporaryPattern());
    const LogCapture capture;
    TSFileStorage storage(directory.path() + QStringLiteral("/tag"), QMetaType::Float, 1'000'000);
    Records records;
    for (int i = 0; i < 50; ++i)
        records.emplace_back(1'700'000'000'000 + i * 1000, QVariant(static_cast<float>(i) * 1.1F));
    ASSERT_TRUE(storage.writeDataRecords(records, false, false));
    QFile file(storage.m_dir + QStringLiteral("2023"));
    EXPECT_EQ(file.size(), 50 * 13);
    TSFileStorage asSplit(directory.path() + QStringLiteral("/tag"), QMetaType::Float, 1);
    ASSERT_TRUE(asSplit.checkMaxFileSize(&file, asSplit.findFile(records.front().timestamp)));
    file.setFileName(storage.m_dir + QStringLiteral("2023/11"));
    EXPECT_EQ(file.size(), 50 * 12);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QDataStream stream(&file);
    stream.setVersion(19);
    const TSFileInfo info = asSplit.findFile(records.front().timestamp);
    for (const Record& record : records)
        EXPECT_EQ(exactText(asSplit.readCurrDataRecord(stream, info.getBaseTsMs(), info.getDirDepth())),
                  exactText(record));
}

} // namespace
