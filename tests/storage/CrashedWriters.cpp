// What is read after the writing program went away in the midst of an append, an insert or an overwrite.

#include "storage/CrashedWriter.h"

#include <cstddef>
#include <set>

namespace Kiv::Testing
{
namespace
{

using Failure = FaultsForTest::Failure;

// --- Appending -------------------------------------------------------------------------------------------

class CrashedAppend : public CrashedWriter
{
protected:
    /// At every byte of a batch beyond the last sample, what is found is the old samples and a first part of the
    /// new ones; the same batch again completes it.
    void runEveryByte(QMetaType::Type type, const Records& before, const Records& batch)
    {
        const Texts all = textsOf(joined(before, batch));
        const auto write = [&batch](TSFileStorage& series) { series.writeDataRecords(batch, false, false); };
        crashAtEveryByte(
            [&] { prepare(type, before); }, write,
            [&](const Records& found) {
                const Texts texts = textsOf(found);
                ASSERT_GE(texts.size(), before.size());
                ASSERT_EQ(texts, Texts(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(texts.size())));
                ASSERT_TRUE(storage->writeDataRecords(batch, false, false));
                ASSERT_EQ(foundTexts(), all);
            });
    }
};

TEST_F(CrashedAppend, AtAnyByteLeavesTheOldSamplesAndTheFirstOfTheNewOnes)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString})
        runEveryByte(type, series(type, kYear, 3), series(type, kYear + 1000, 3));
}

TEST_F(CrashedAppend, AtAnyByteOfTheFirstBatchLeavesItsFirstSamples)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString})
        runEveryByte(type, {}, series(type, kYear, 3));
}

TEST_F(CrashedAppend, AtAnyByteOverSeveralFilesLeavesTheFirstSamplesInTimeOrder)
{
    const qint64 aYearMs = qint64{366} * 24 * 3600 * 1000;
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString})
        runEveryByte(type, series(type, kYear, 3), series(type, kYear + 1000, 4, aYearMs));
}

TEST_F(CrashedAppend, BeforeTheFirstByteOfANewFileLeavesAnEmptyOneThatTheNextWriteFills)
{
    prepare(QMetaType::Double, {});
    {
        FaultsForTest faults;
        faults.crashAfterBytes(0);
        storage->writeDataRecords({{kYear + 5, 1.5}}, false, false);
    }
    EXPECT_EQ(filesBelow(directory->base()), Texts{"D/2024"});
    EXPECT_TRUE(found().empty());
    EXPECT_TRUE(storage->writeDataRecords({{kYear + 5, 1.5}}, false, false));
    EXPECT_EQ(foundTexts(), Texts{textOf(Record(kYear + 5, 1.5))});
}

// --- Inserting and overwriting ---------------------------------------------------------------------------

/// A file of several pages, with batches that move most of it.
class CrashedInsert : public CrashedWriter
{
protected:
    Records before(QMetaType::Type type) const { return series(type, kYear, 1000); }

    std::vector<Records> batches(QMetaType::Type type) const
    {
        return {
            series(type, kYear + 5, 1),
            series(type, kYear + 1, 5, 1),
            series(type, kYear + 5, 400, 20),
            joined(series(type, kYear + 3005, 3, 2000), series(type, kYear + 50'000, 2)),
        };
    }

    /// Moved samples that stand twice do not mislead a search.
    void expectEachIsFound(const Records& records)
    {
        for (const Record& record : records) {
            Record one;
            ASSERT_TRUE(storage->findDataRecord(record.timestamp, one)) << record.timestamp;
            ASSERT_EQ(textOf(one), textOf(record));
        }
        Record last;
        ASSERT_TRUE(storage->getLastDataRecord(last));
        ASSERT_EQ(textOf(last), textOf(records.back()));
    }

    /// Between two calls no old sample is missing and every sample is one that was written, be it twice.
    void checkNothingIsLost(const Records& found, QMetaType::Type type, const Records& batch)
    {
        const Texts texts = textsOf(found);
        ASSERT_EQ(missing(texts, textsOf(before(type))), Texts{});
        ASSERT_EQ(strangers(texts, textsOf(joined(before(type), batch))), Texts{});
    }
};

TEST_F(CrashedInsert, AtAnyCallLosesNothingAndMakesNothingUp)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        for (const Records& batch : batches(type)) {
            crashAtEveryCall([&] { prepare(type, before(type)); },
                             [&](TSFileStorage& series) { series.writeDataRecords(batch, false, false); },
                             [&](const Records& found) { checkNothingIsLost(found, type, batch); });
        }
    }
}

TEST_F(CrashedInsert, BetweenTwoPagesLosesNothing)
{
    const Records batch = batches(QMetaType::Double).at(2);
    const Texts old = textsOf(before(QMetaType::Double));
    for (int number = 1;; ++number) {
        prepare(QMetaType::Double, before(QMetaType::Double));
        FaultsForTest faults;
        // A killed process ends a write between two pages of the file.
        const auto whole = Internal::seams().write;
        Internal::seams().write = [whole](int fd, const char* bytes, size_t count, off_t position) {
            const auto toPageEnd = static_cast<size_t>(4096 - position % 4096);
            return whole(fd, bytes, std::min(count, toPageEnd), position);
        };
        faults.failCall(number, Failure::Crash);
        storage->writeDataRecords(batch, false, false);
        if (!faults.hasFailed)
            break;
        faults.noFaults();
        const Texts texts = foundTexts();
        ASSERT_EQ(missing(texts, old), Texts{}) << number;
        // A record that lies on two pages may stand half moved, beside its whole copy.
        ASSERT_LE(strangers(texts, textsOf(joined(before(QMetaType::Double), batch))).size(), 1u) << number;
        expectEachIsFound(before(QMetaType::Double));
    }
}

TEST_F(CrashedInsert, LeavesMovedSamplesTwiceUntilTheyAreDeletedAndWrittenAgain)
{
    prepare(QMetaType::Double, series(QMetaType::Double, kYear, 4));
    const Records batch = {{kYear + 5, 9.5}};
    {
        FaultsForTest faults;
        faults.failCall(2, Failure::Crash);
        storage->writeDataRecords(batch, false, false);
        ASSERT_TRUE(faults.hasFailed);
    }
    const Texts twice = foundTexts();
    EXPECT_EQ(twice.size(), 5u);
    EXPECT_EQ(std::count(twice.begin(), twice.end(), textOf(Record(kYear + 30, 3.5))), 2);
    EXPECT_TRUE(storage->deleteDataRecords(kYear + 5, kYear + 100, QString()));
    EXPECT_TRUE(storage->writeDataRecords(
        {{kYear + 5, 9.5}, {kYear + 10, 1.5}, {kYear + 20, 2.5}, {kYear + 30, 3.5}}, false, false));
    EXPECT_EQ(found().size(), 5u);
    EXPECT_EQ(std::set<std::string>(twice.begin(), twice.end()).size(), 4u);
}

TEST_F(CrashedWriter, InAnOverwriteAtAnyByteTouchesNoOtherSample)
{
    const Records before = series(QMetaType::Double, kYear, 3);
    const auto prepareAll = [&] { prepare(QMetaType::Double, before); };
    const auto overwrite = [](TSFileStorage& series) {
        series.writeDataRecords({{kYear + 10, -7.25}}, false, false);
    };
    crashAtEveryByte(prepareAll, overwrite, [&](const Records& found) {
        ASSERT_EQ(found.size(), 3u);
        ASSERT_EQ(textOf(found[0]), textOf(before[0]));
        ASSERT_EQ(found[1].timestamp, before[1].timestamp);
        ASSERT_EQ(textOf(found[2]), textOf(before[2]));
        overwrite(*storage);
        ASSERT_EQ(foundTexts()[1], textOf(Record(kYear + 10, -7.25)));
    });
}

TEST_F(CrashedWriter, InAVariableOverwriteAtAnyCallLeavesTheOldOrTheNewValue)
{
    const Records before = series(QMetaType::QString, kYear, 3);
    const auto overwrite = [](TSFileStorage& series) {
        series.writeDataRecords({{kYear + 10, "new"}}, false, false);
    };
    crashAtEveryCall([&] { prepare(QMetaType::QString, before); }, overwrite,
                     [&](const Records& found) {
                         Records expected = before;
                         if (found.size() == 3 && found[1].value != before[1].value)
                             expected[1].value = "new";
                         ASSERT_EQ(textsOf(found), textsOf(expected));
                         overwrite(*storage);
                         expected[1].value = "new";
                         ASSERT_EQ(foundTexts(), textsOf(expected));
                     });
}

} // namespace
} // namespace Kiv::Testing
