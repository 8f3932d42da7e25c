// What a series holds after its writer was killed, and after a limit of the system stopped it: a child process
// writes and tells how far it has come; it dies at ever other points.

#include "storage/ChildProcess.h"
#include "storage/StorageTest.h"

#include <algorithm>
#include <csignal>
#include <iterator>
#include <set>

#include <sched.h>
#include <sys/resource.h>

namespace Kiv::Testing
{
namespace
{

/// Kills of one kind of write; enough to meet many different system calls.
constexpr int kRounds = 12;

class KilledWriter : public StorageTest
{
protected:
    /// One write of a child; the numbers go on from 1.
    using Write = std::function<bool(TSFileStorage& storage, int number)>;
    /// Looks at what a killed child left. \param last  the number of its last complete write
    using Check = std::function<void(TSFileStorage& storage, int last)>;

    static QVariant valueOf(QMetaType::Type type, int number)
    {
        return type == QMetaType::Double ? QVariant(number + 0.5)
                                         : QVariant(QStringLiteral("a value %1").arg(number));
    }

    static Records series(QMetaType::Type type, qint64 startMs, int count)
    {
        Records records;
        for (int number = 0; number < count; ++number)
            records.emplace_back(startMs + number, valueOf(type, number));
        return records;
    }

    void killManyTimes(QMetaType::Type type, const Records& before, const Write& write, const Check& check)
    {
        for (int round = 0; round < kRounds; ++round) {
            SCOPED_TRACE("round " + std::to_string(round));
            const SeriesDirectory place;
            TSFileStorage storage(place.base(), type, kNoSizeLimit);
            ASSERT_TRUE(storage.writeDataRecords(before, false, false));
            const int last = killAfter(1 + round % 5, round * 7, storage, write);
            ASSERT_GE(last, 1 + round % 5);
            ASSERT_NO_FATAL_FAILURE(check(storage, last));
        }
    }

    static Records found(TSFileStorage& storage) { return readRaw(storage, utc(2000), utc(2100)); }

    static std::set<std::string> textSet(const Records& records)
    {
        const Texts texts = textsOf(records);
        return {texts.begin(), texts.end()};
    }

    /// Nothing is missing, and every sample found is one that was written, but for so many torn ones.
    static void expectWritten(const Records& found, const Records& atLeast, const Records& atMost,
                              std::size_t tornCount = 0)
    {
        const std::set<std::string> texts = textSet(found);
        const std::set<std::string> needed = textSet(atLeast);
        const std::set<std::string> allowed = textSet(atMost);
        Texts missing;
        std::set_difference(needed.begin(), needed.end(), texts.begin(), texts.end(),
                            std::back_inserter(missing));
        ASSERT_EQ(missing, Texts{});
        Texts strangers;
        std::set_difference(texts.begin(), texts.end(), allowed.begin(), allowed.end(),
                            std::back_inserter(strangers));
        ASSERT_LE(strangers.size(), tornCount) << testing::PrintToString(strangers);
    }

private:
    /// \return the number of the last write that the child told to be complete
    static int killAfter(int number, int turns, TSFileStorage& storage, const Write& write)
    {
        ChildProcess writer([&](const ChildProcess::Report& report) {
            for (int next = 1; write(storage, next); ++next)
                report(next);
        });
        writer.waitFor(number);
        for (int turn = 0; turn < turns; ++turn)
            ::sched_yield();
        return writer.kill();
    }
};

TEST_F(KilledWriter, OfAppendsKeepsEveryBatchThatWasAcknowledged)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const auto batch = [type](int number) { return series(type, kYear + number * 1000, 300); };
        const Write write = [batch](TSFileStorage& storage, int number) {
            return storage.writeDataRecords(batch(number), false, false);
        };
        killManyTimes(type, batch(0), write, [batch](TSFileStorage& storage, int last) {
            Records expected;
            for (int number = 0; number <= last + 1; ++number) {
                const Records next = batch(number);
                expected.insert(expected.end(), next.begin(), next.end());
            }
            const Records records = found(storage);
            ASSERT_GE(records.size(), expected.size() - 300);
            ASSERT_LE(records.size(), expected.size());
            expected.resize(records.size());
            ASSERT_EQ(textsOf(records), textsOf(expected));
            ASSERT_TRUE(storage.writeDataRecords(batch(last + 1), false, false));
            ASSERT_EQ(found(storage).size(), std::size_t(last + 2) * 300);
        });
    }
}

TEST_F(KilledWriter, OfInsertsIntoALargeFileLosesNothing)
{
    const QMetaType::Type type = QMetaType::Double;
    const Records before = series(type, kYear + 10'000'000, 60'000);
    const auto inserted = [](int count) { return series(QMetaType::Double, kYear, count * 20); };
    const Write write = [inserted](TSFileStorage& storage, int number) {
        const Records all = inserted(number);
        return storage.writeDataRecords(Records(all.end() - 20, all.end()), false, false);
    };
    killManyTimes(type, before, write, [&](TSFileStorage& storage, int last) {
        const auto joined = [&](Records records) {
            records.insert(records.end(), before.begin(), before.end());
            return records;
        };
        // A record that lies on two pages may stand half moved, beside its whole copy.
        expectWritten(found(storage), joined(inserted(last)), joined(inserted(last + 1)), 1);
    });
}

TEST_F(KilledWriter, OfOverwritesLeavesEachSampleOldOrNew)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const int count = 50;
        const Write write = [type](TSFileStorage& storage, int number) {
            Records batch;
            for (int sample = 0; sample < count; ++sample)
                batch.emplace_back(kYear + sample, valueOf(type, number * 1000 + sample));
            return storage.writeDataRecords(batch, false, false);
        };
        killManyTimes(type, series(type, kYear, count), write, [&](TSFileStorage& storage, int last) {
            const Records records = found(storage);
            ASSERT_EQ(records.size(), std::size_t(count));
            for (int sample = 0; sample < count; ++sample) {
                const Record& record = records[static_cast<std::size_t>(sample)];
                ASSERT_EQ(record.timestamp, kYear + sample);
                ASSERT_TRUE(record.value == valueOf(type, last * 1000 + sample) ||
                            record.value == valueOf(type, (last + 1) * 1000 + sample))
                    << textOf(record);
            }
        });
    }
}

TEST_F(KilledWriter, OfDeletesLeavesAllSamplesOrAllButTheDeleted)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const int count = 3000;
        const Records before = series(type, kYear, count);
        const Write erase = [](TSFileStorage& storage, int number) {
            return number < count && storage.deleteDataRecords(kYear + number, kYear + number, QString());
        };
        killManyTimes(type, before, erase, [&](TSFileStorage& storage, int last) {
            const Records records = found(storage);
            Records expected = before;
            expected.erase(expected.begin() + 1, expected.begin() + 1 + last);
            if (records.size() < expected.size())
                expected.erase(expected.begin() + 1);
            ASSERT_EQ(textsOf(records), textsOf(expected));
        });
    }
}

TEST_F(KilledWriter, OfADeleteOfTheWholeSeriesLeavesEachFileWholeOrGone)
{
    for (int round = 0; round < kRounds; ++round) {
        const SeriesDirectory place;
        TSFileStorage storage(place.base(), QMetaType::Double, kNoSizeLimit);
        Records before;
        for (int year = 1900; year < 2100; ++year) {
            before.emplace_back(utc(year), 1.0 * year);
            before.emplace_back(utc(year, 6), 0.5 * year);
        }
        ASSERT_TRUE(storage.writeDataRecords(before, false, false));
        {
            ChildProcess eraser([&](const ChildProcess::Report& report) {
                report(1);
                storage.deleteDataRecords(-2, -3);
            });
            eraser.waitFor(1);
            for (int turn = 0; turn < round * 200; ++turn)
                ::sched_yield();
            eraser.kill();
        }
        const Records left = readRaw(storage, utc(1800), utc(2200));
        EXPECT_EQ(left.size() % 2, 0u);
        expectWritten(left, {}, before);
        EXPECT_TRUE(storage.deleteDataRecords(-2, -3));
        EXPECT_EQ(filesBelow(place.base()), Texts{});
    }
}

// --- Limits ----------------------------------------------------------------------------------------------

/// A child that may not make a file longer than a limit: the system cuts its writes short and then refuses them.
class LimitedWriter : public StorageTest
{
protected:
    enum Answer { Refused = 0, Written = 1 };

    static int writeWithin(qint64 limitBytes, TSFileStorage& storage, const Records& batch)
    {
        ChildProcess writer([&](const ChildProcess::Report& report) {
            std::signal(SIGXFSZ, SIG_IGN);
            struct rlimit limit = {};
            limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(limitBytes);
            if (::setrlimit(RLIMIT_FSIZE, &limit) == 0)
                report(storage.writeDataRecords(batch, false, false) ? Written : Refused);
        });
        return writer.finish();
    }
};

TEST_F(LimitedWriter, OfAppendsAndInsertsLeavesEveryByteAsItWas)
{
    TSFileStorage storage = makeStorage();
    ASSERT_TRUE(
        storage.writeDataRecords(recordsOf({{kYear, 1}, {kYear + 10, 2}, {kYear + 20, 3}}), false, false));
    const QByteArray before = readFile(at("D/2024"));
    for (const qint64 offset : {5, 100}) {
        const Records batch = recordsOf({{kYear + offset, 4}, {kYear + offset + 1, 5}});
        for (qint64 limit = before.size(); limit < before.size() + 26; ++limit) {
            ASSERT_EQ(writeWithin(limit, storage, batch), Refused) << limit;
            ASSERT_EQ(readFile(at("D/2024")), before) << limit;
        }
    }
    EXPECT_EQ(writeWithin(before.size() + 26, storage, recordsOf({{kYear + 5, 4}, {kYear + 6, 5}})), Written);
    EXPECT_EQ(storedSamples(storage).size(), 5u);
}

TEST_F(LimitedWriter, OfVariableValuesLeavesEveryByteAsItWas)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    ASSERT_TRUE(storage.writeDataRecords({{kYear, "first"}, {kYear + 10, "second"}}, false, false));
    const QByteArray records = readFile(at("V/2024"));
    const QByteArray values = readFile(at("V/2024.var"));
    for (const qint64 offset : {5, 10, 100}) {
        for (const qint64 growth : {0, 1, 10}) {
            ASSERT_EQ(writeWithin(values.size() + growth, storage, {{kYear + offset, "third"}}), Refused);
            ASSERT_EQ(readFile(at("V/2024")), records) << offset;
            ASSERT_EQ(readFile(at("V/2024.var")), values) << offset;
        }
    }
}

TEST_F(LimitedWriter, OfANewFileLeavesNone)
{
    TSFileStorage storage = makeStorage();
    EXPECT_EQ(writeWithin(12, storage, {{kYear, 1.5}}), Refused);
    EXPECT_EQ(files(), Texts{});
}

} // namespace
} // namespace Kiv::Testing
