// What is read after the program went away in the midst of a split, a delete or a write of the companion series,
// and what is synced against the loss of power.

#include "storage/CrashedWriter.h"

#include <algorithm>
#include <cstddef>

namespace Kiv::Testing
{
namespace
{

using Failure = FaultsForTest::Failure;

// --- Splitting -------------------------------------------------------------------------------------------

class CrashedSplit : public CrashedWriter
{
protected:
    Records before(QMetaType::Type type) const
    {
        const qint64 aMonthMs = qint64{31} * 24 * 3600 * 1000;
        return joined(joined(series(type, utc(2023), 3), series(type, kYear, 5, aMonthMs)),
                      series(type, utc(2025), 3));
    }
};

TEST_F(CrashedSplit, AtAnyCallTouchesNoOtherFileAndLeavesNoWrongSample)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const Records batch = {{kYear + 1, valueOf(type, 99)}};
        const Texts all = textsOf(joined(before(type), batch));
        std::size_t fewest = all.size();
        const auto check = [&](const Records& found) {
            const Texts texts = textsOf(found);
            ASSERT_EQ(strangers(texts, all), Texts{});
            ASSERT_EQ(textsOf(readRaw(*storage, utc(2023), kYear - 1)), textsOf(series(type, utc(2023), 3)));
            ASSERT_EQ(textsOf(readRaw(*storage, utc(2025), utc(2026))), textsOf(series(type, utc(2025), 3)));
            fewest = std::min(fewest, texts.size());
            ASSERT_TRUE(storage->writeDataRecords({{kYear + 2, valueOf(type, 100)}}, false, false));
            ASSERT_EQ(missing(foundTexts(), texts), Texts{});
        };
        crashAtEveryCall([&] { prepare(type, before(type), 20); },
                         [&](TSFileStorage& series) { series.writeDataRecords(batch, false, false); }, check);
        // Not promised: between the removal of the whole file and the last of its parts its samples are gone.
        EXPECT_EQ(fewest, 6u);
    }
}

TEST_F(CrashedSplit, ByAWriteThatIsRefusedPutsTheWholeFileBack)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const Records batch = {{kYear + 1, valueOf(type, 99)}};
        for (int number = 2; number < 40; ++number) {
            prepare(type, before(type), 20);
            FaultsForTest faults;
            faults.failCall(number, Failure::Once);
            storage->writeDataRecords(batch, false, false);
            if (!faults.hasFailed)
                break;
            if (faults.calls[static_cast<std::size_t>(number) - 1] != "write")
                continue;
            faults.noFaults();
            EXPECT_EQ(missing(foundTexts(), textsOf(before(type))), Texts{}) << number;
        }
    }
}

// --- Deleting --------------------------------------------------------------------------------------------

class CrashedDelete : public CrashedWriter
{
};

TEST_F(CrashedDelete, OfWholeFilesLeavesEachOneWholeOrGone)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const qint64 halfAYearMs = qint64{183} * 24 * 3600 * 1000;
        const Records before = series(type, utc(2022) + 10, 8, halfAYearMs);
        const auto erase = [](TSFileStorage& series) {
            series.deleteDataRecords(utc(2023), utc(2025) - 1, QString());
        };
        crashAtEveryCall(
            [&] { prepare(type, before); }, erase,
            [&](const Records& found) {
                const Texts texts = textsOf(found);
                ASSERT_EQ(strangers(texts, textsOf(before)), Texts{});
                ASSERT_EQ(texts.size() % 2, 0u);
                ASSERT_EQ(missing(texts, textsOf({before[0], before[1], before[6], before[7]})), Texts{});
                erase(*storage);
                ASSERT_EQ(foundTexts(), textsOf({before[0], before[1], before[6], before[7]}));
            });
    }
}

TEST_F(CrashedDelete, OfAWholeFileWhoseReplacementIsDueLeavesNoWrongSample)
{
    const qint64 halfAYearMs = qint64{183} * 24 * 3600 * 1000;
    const Records before = series(QMetaType::QString, utc(2022) + 10, 8, halfAYearMs);
    const auto eraseOne = [&before](TSFileStorage& series) {
        series.deleteDataRecords(before[2].timestamp, before[2].timestamp, QString());
    };
    const auto eraseTwoYears = [](TSFileStorage& series) {
        series.deleteDataRecords(utc(2023), utc(2025) - 1, QString());
    };
    const Records outside = {before[0], before[1], before[6], before[7]};
    const Texts stored = textsOf(joined(outside, {before[3], before[4], before[5]}));
    // The last call of a delete inside a file is the rename of its record file.
    const auto prepareDue = [&] {
        FaultsForTest faults;
        prepare(QMetaType::QString, before);
        faults.failCall(0, Failure::Once);
        eraseOne(*storage);
        const auto lastCall = static_cast<int>(faults.calls.size());
        prepare(QMetaType::QString, before);
        faults.failCall(lastCall, Failure::Crash);
        eraseOne(*storage);
        ASSERT_EQ(faults.calls.back(), "rename");
    };
    crashAtEveryCall(prepareDue, eraseTwoYears, [&](const Records& found) {
        const Texts texts = textsOf(found);
        ASSERT_EQ(strangers(texts, stored), Texts{});
        ASSERT_EQ(missing(texts, textsOf(outside)), Texts{});
        eraseTwoYears(*storage);
        ASSERT_EQ(foundTexts(), textsOf(outside));
    });
}

TEST_F(CrashedDelete, InsideAFileAtAnyByteLeavesAllSamplesOrAllButTheDeleted)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const Records before = series(type, kYear, 4);
        const Texts rest = textsOf({before[0], before[3]});
        const auto erase = [](TSFileStorage& series) {
            series.deleteDataRecords(kYear + 10, kYear + 20, QString());
        };
        crashAtEveryByte(
            [&] { prepare(type, before); }, erase,
            [&](const Records& found) {
                const Texts texts = textsOf(found);
                ASSERT_TRUE(texts == textsOf(before) || texts == rest) << testing::PrintToString(texts);
                erase(*storage);
                ASSERT_EQ(foundTexts(), rest);
                ASSERT_EQ(filesBelow(directory->base()).size(), type == QMetaType::Double ? 1u : 2u);
            });
    }
}

// --- Companion series ------------------------------------------------------------------------------------

class CrashedCompanions : public CrashedWriter
{
protected:
    /// Three samples, the second overwritten once.
    void prepareAll()
    {
        prepare(QMetaType::Double, series(QMetaType::Double, kYear, 3));
        ASSERT_TRUE(storage->writeDataRecords({{kYear + 10, 10.0}}, true, true));
    }

    static void overwriteAgain(TSFileStorage& series)
    {
        series.writeDataRecords({{kYear + 10, 20.0}}, true, true);
    }

    Texts historyTexts()
    {
        TSFileStorage stored(directory->base() + "DO/", QMetaType::QVariant, kNoSizeLimit);
        return textsOf(readRaw(stored, utc(1990), utc(2090)));
    }

    qint64 lateCount() { return storage->getCount({}, {}, -2, -3, false, true, false); }
};

TEST_F(CrashedCompanions, AtAnyCallKeepWhatTheyHeldAndAreNotAheadOfTheSeries)
{
    prepareAll();
    const Texts before = historyTexts();
    overwriteAgain(*storage);
    const Texts after = historyTexts();
    ASSERT_NE(before, after);
    const auto check = [&](const Records& found) {
        const bool isOverwritten = textOf(found.at(1)) == textOf(Record(kYear + 10, 20.0));
        const Texts texts = historyTexts();
        ASSERT_TRUE(texts == before || (isOverwritten && texts == after)) << testing::PrintToString(texts);
        ASSERT_TRUE(lateCount() == 1 || (isOverwritten && lateCount() == 2)) << lateCount();
    };
    crashAtEveryCall([&] { prepareAll(); }, overwriteAgain, check);
}

// --- Power ------------------------------------------------------------------------------------------------

class SyncedWrites : public CrashedWriter
{
protected:
    FaultsForTest faults;

    long synced() const { return std::count(faults.calls.begin(), faults.calls.end(), "synchronize"); }
};

TEST_F(SyncedWrites, AreNotAppendsInsertsOverwritesAndSplits)
{
    prepare(QMetaType::Double, series(QMetaType::Double, kYear, 3), 60);
    EXPECT_TRUE(
        storage->writeDataRecords({{kYear + 5, 1.0}, {kYear + 10, 2.0}, {kYear + 50, 3.0}}, true, false));
    EXPECT_EQ(filesBelow(directory->base() + "D/"), Texts{"2024/01"});
    EXPECT_EQ(synced(), 0);
}

TEST_F(SyncedWrites, AreTheNewFilesOfADeleteBeforeTheyTakeTheirPlace)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        prepare(type, series(type, kYear, 3));
        faults.noFaults();
        EXPECT_TRUE(storage->deleteDataRecords(kYear + 10, kYear + 10, QString()));
        EXPECT_EQ(synced(), type == QMetaType::Double ? 1 : 2);
        const auto firstRename = std::find(faults.calls.begin(), faults.calls.end(), "rename");
        EXPECT_EQ(std::count(firstRename, faults.calls.end(), "write"), 0);
        EXPECT_EQ(std::count(firstRename, faults.calls.end(), "synchronize"), 0);
    }
}

} // namespace
} // namespace Kiv::Testing
