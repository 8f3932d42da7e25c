// Deleting ranges: whole series, whole files, parts of files, companions, and the directories left empty.

#include "storage/StorageTest.h"
#include "support/FaultsForTest.h"

#include <QFile>

#include <cerrno>

namespace Kiv::Testing
{
namespace
{

using Failure = FaultsForTest::Failure;

class Deleting : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};

    void fill(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
    }

    void erase(qint64 from, qint64 to) { EXPECT_TRUE(storage.deleteDataRecords(from, to)); }
    Samples stored() { return storedSamples(storage); }
};

// --- The whole series ------------------------------------------------------------------------------------

TEST_F(Deleting, FromFirstToLastRemovesTheSeriesAndItsEmptyAncestors)
{
    fill({{utc(2023), 1}, {utc(2024), 2}});
    erase(-2, -3);
    EXPECT_FALSE(QFileInfo::exists(directory.base()));
    EXPECT_TRUE(QFileInfo::exists(directory.at("keeps-this-directory")));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Deleting, ARangeAroundEverythingDoesTheSame)
{
    fill({{utc(2023), 1}, {utc(2024), 2}});
    erase(kMinTimestamp, kMaxTimestamp);
    EXPECT_FALSE(QFileInfo::exists(directory.base()));
}

TEST_F(Deleting, StopsUpwardsAtADirectoryThatHoldsAnything)
{
    fill({{kYear, 1}});
    writeFile(at("notes"));
    erase(-2, -3);
    EXPECT_EQ(files(), Texts{"notes"});
    EXPECT_FALSE(QFileInfo::exists(at("D")));
}

TEST_F(Deleting, StopsUpwardsAtADirectoryThatHoldsHiddenOrSpecialEntries)
{
    fill({{kYear, 1}});
    writeFile(at(".hidden"));
    erase(-2, -3);
    EXPECT_EQ(files(), Texts{".hidden"});
    EXPECT_FALSE(QFileInfo::exists(at("D")));

    QFile::remove(at(".hidden"));
    fill({{kYear, 1}});
    makeFifo(at("fifo"));
    erase(-2, -3);
    EXPECT_TRUE(QFileInfo::exists(at("fifo")));
    EXPECT_FALSE(QFileInfo::exists(at("D")));
}

TEST_F(Deleting, OfTheWholeSeriesTakesStrayFilesAlong)
{
    fill({{kYear, 1}});
    writeFile(at("D/notes.txt"));
    writeFile(at("D/.hidden"));
    erase(-2, -3);
    EXPECT_FALSE(QFileInfo::exists(directory.base()));
}

TEST_F(Deleting, OfAnEmptySeriesDoesNothing)
{
    erase(-2, -3);
    makeDirectory(at("D"));
    erase(0, 10);
    EXPECT_TRUE(QFileInfo::exists(at("D")));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Deleting, ARangeWithoutRecordsDoesNothing)
{
    const Samples all = {{kYear, 1}, {kYear + 10, 2}};
    fill(all);
    erase(kYear + 11, kYear + 99);
    erase(kYear - 99, kYear - 1);
    erase(kYear + 10, kYear);
    EXPECT_EQ(stored(), all);
    EXPECT_TRUE(log.lines.empty());
}

// --- Parts -----------------------------------------------------------------------------------------------

TEST_F(Deleting, InsideOneFileRewritesOnlyThatFile)
{
    fill({{utc(2023), 1}, {kYear, 2}, {kYear + 1, 3}, {kYear + 2, 4}, {utc(2025), 5}});
    const UnopenableFile others(at("D/2025"), QIODevice::WriteOnly);
    erase(kYear + 1, kYear + 1);
    EXPECT_EQ(stored(), (Samples{{utc(2023), 1}, {kYear, 2}, {kYear + 2, 4}, {utc(2025), 5}}));
    EXPECT_EQ(readFile(at("D/2024")).size(), 26);
}

TEST_F(Deleting, RangesHoldBothTheirEnds)
{
    fill({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}, {kYear + 3, 4}});
    erase(kYear + 1, kYear + 2);
    EXPECT_EQ(stored(), (Samples{{kYear, 1}, {kYear + 3, 4}}));
}

TEST_F(Deleting, EverySubrangeLeavesTheOthers)
{
    for (int from = 0; from < 8; ++from) {
        for (int to = from; to < 8; ++to) {
            const SeriesDirectory place;
            TSFileStorage series(place.base(), QMetaType::Double, kNoSizeLimit);
            makeDirectory(place.base() + "D/2024");
            Samples all;
            for (int i = 0; i < 8; ++i)
                all.push_back({utc(2023, 11 + i / 8) + i * 15 * 86'400'000LL, i});
            series.writeDataRecords(recordsOf(all), false, false);
            series.deleteDataRecords(all[static_cast<size_t>(from)].first,
                                     all[static_cast<size_t>(to)].first);
            all.erase(all.begin() + from, all.begin() + to + 1);
            ASSERT_EQ(storedSamples(series), all) << from << " " << to;
        }
    }
}

TEST_F(Deleting, AWholeFileRemovesItWithItsCompanion)
{
    makeDirectory(at("V/2024"));
    TSFileStorage series = makeStorage(QMetaType::QString);
    series.writeDataRecords({{utc(2024, 1), "a"}, {utc(2024, 2), "b"}, {utc(2024, 3), "c"}}, false, false);
    EXPECT_TRUE(series.deleteDataRecords(utc(2024, 2), utc(2024, 3) - 1));
    EXPECT_EQ(files(), (Texts{"V/2024/01", "V/2024/01.var", "V/2024/03", "V/2024/03.var"}));
}

TEST_F(Deleting, TheFileBehindARangeThatEndsBetweenFilesIsRewrittenUnchanged)
{
    // Kept: only a file whose last record lies beyond the range tells that the range has ended.
    makeDirectory(at("V/2024"));
    TSFileStorage series = makeStorage(QMetaType::QString);
    series.writeDataRecords(
        {{utc(2024, 1), "a"}, {utc(2024, 2), "b"}, {utc(2024, 3), "c"}, {utc(2024, 4), "d"}}, false, false);
    const QByteArray before = readFile(at("V/2024/03"));
    series.deleteDataRecords(utc(2024, 2), utc(2024, 3) - 1);
    EXPECT_EQ(lines(7), Texts{quoted("Reorganize .var file ", at("V/2024/03.var"), "")});
    EXPECT_EQ(readFile(at("V/2024/03")), before);
}

TEST_F(Deleting, TheLastFileOfADirectoryRemovesItToo)
{
    makeDirectory(at("D/2024/05/17"));
    fill({{utc(2023), 1}, {utc(2024, 5, 17, 13), 2}, {utc(2024, 6), 3}, {utc(2025), 4}});
    erase(utc(2024, 5), utc(2024, 6) - 1);
    EXPECT_EQ(files(), (Texts{"D/2023", "D/2024/06", "D/2025"}));
    EXPECT_FALSE(QFileInfo::exists(at("D/2024/05")));
    erase(utc(2024), utc(2025) - 1);
    EXPECT_FALSE(QFileInfo::exists(at("D/2024")));
    EXPECT_EQ(stored(), (Samples{{utc(2023), 1}, {utc(2025), 4}}));
}

TEST_F(Deleting, ADirectoryWithHiddenOrSpecialEntriesIsKept)
{
    makeDirectory(at("D/2023"));
    makeDirectory(at("D/2024"));
    fill({{utc(2022), 1}, {utc(2023, 5), 2}, {utc(2024, 5), 3}, {utc(2025), 4}});
    writeFile(at("D/2023/.hidden"));
    makeFifo(at("D/2024/fifo"));
    erase(utc(2023), utc(2025) - 1);
    EXPECT_TRUE(QFileInfo::exists(at("D/2023/.hidden")));
    EXPECT_TRUE(QFileInfo::exists(at("D/2024/fifo")));
    EXPECT_EQ(samplesOf(readRaw(storage, utc(2022), utc(2022))), (Samples{{utc(2022), 1}}));
}

TEST_F(Deleting, FromTheMiddleToTheEndRemovesWholeFiles)
{
    fill({{utc(2022), 1}, {utc(2023), 2}, {utc(2023, 6), 3}, {utc(2024), 4}, {utc(2025), 5}});
    erase(utc(2023, 6), -3);
    EXPECT_EQ(stored(), (Samples{{utc(2022), 1}, {utc(2023), 2}}));
    EXPECT_EQ(files(), (Texts{"D/2022", "D/2023"}));
}

TEST_F(Deleting, FromTheStartToTheMiddle)
{
    fill({{utc(2022), 1}, {utc(2023), 2}, {utc(2023, 6), 3}, {utc(2024), 4}});
    erase(-2, utc(2023, 6));
    EXPECT_EQ(stored(), (Samples{{utc(2024), 4}}));
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(Deleting, FromTheFirstRecordOfSeriesAfterTheEpochStartsAtTheEpoch)
{
    // The start becomes 0; an earlier file that is not the series' first cannot exist.
    fill({{utc(1971), 1}, {utc(1972), 2}, {utc(1973), 3}});
    erase(utc(1971), utc(1972));
    EXPECT_EQ(stored(), (Samples{{utc(1973), 3}}));
}

TEST_F(Deleting, FromTheFirstRecordBeforeTheEpochLeavesWhatIsBeforeIt)
{
    // Kept on purpose: a start at or before the first record becomes 0, so earlier records stay.
    fill({{utc(1960), 1}, {utc(1969, 6), 2}, {utc(1970, 6), 3}, {utc(1980), 4}});
    erase(-2, utc(1975));
    EXPECT_EQ(stored(), (Samples{{utc(1960), 1}, {utc(1969, 6), 2}, {utc(1980), 4}}));
}

TEST_F(Deleting, UpToNow)
{
    fill({{utc(2022), 1}, {utc(2023), 2}, {utc(2024), 3}});
    seams.nowUs = utc(2023, 6) * 1000;
    erase(-2, -1);
    EXPECT_EQ(stored(), (Samples{{utc(2024), 3}}));
}

TEST_F(Deleting, DropsATornTailWithARewrite)
{
    fill({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}});
    appendToFile(at("D/2024"), "torn");
    erase(kYear + 1, kYear + 1);
    EXPECT_EQ(readFile(at("D/2024")).size(), 26);
}

TEST_F(Deleting, OfFloatsKeepsTheOthers)
{
    TSFileStorage series = makeStorage(QMetaType::Float);
    series.writeDataRecords({{kYear + 1, 1.5f}, {kYear + 2, 2.5f}, {kYear + 3, 3.5f}}, false, false);
    series.deleteDataRecords(kYear + 2, kYear + 2);
    EXPECT_EQ(storedTexts(series),
              (Texts{std::to_string(kYear + 1) + " float 1.5", std::to_string(kYear + 3) + " float 3.5"}));
}

TEST_F(Deleting, InAVariableFileDropsItsValues)
{
    TSFileStorage series = makeStorage(QMetaType::QVariant);
    series.writeDataRecords({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}}, false, false);
    EXPECT_TRUE(series.deleteDataRecords(kYear + 1, kYear + 1));
    EXPECT_EQ(hexOf(at("V/2024")), "000000000000000000"
                                   "000000000200000009");
    EXPECT_EQ(hexOf(at("V/2024.var")), "000000020000000001"
                                       "000000020000000003");
    EXPECT_EQ(lines(7), Texts{quoted("Reorganize .var file ", at("V/2024.var"), "")});
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
}

TEST_F(Deleting, InAFixedFileAlsoGivesTheNoticeOfAReorganisation)
{
    fill({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}});
    erase(kYear + 1, kYear + 1);
    EXPECT_EQ(log.texts(), Texts{"7 " + quoted("Reorganize .var file ", at("D/2024.var"), "")});
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(Deleting, ARangeBetweenRecordsOfAFileStillRewritesIt)
{
    const Samples all = {{kYear, 1}, {kYear + 10, 2}};
    fill(all);
    erase(kYear + 3, kYear + 5);
    EXPECT_EQ(stored(), all);
    EXPECT_EQ(lines(7).size(), 1u);
}

// --- Companions ------------------------------------------------------------------------------------------

class DeletingCompanions : public Deleting
{
protected:
    void SetUp() override
    {
        fill({{kYear, 1}, {kYear + 10, 2}});
        storage.writeDataRecords(recordsOf({{kYear, 3}, {kYear + 5, 4}}), true, true);
        log.lines.clear();
    }
};

TEST_F(DeletingCompanions, ByMarkerDeletesOnlyThere)
{
    EXPECT_TRUE(storage.deleteDataRecords(-2, -3, "P"));
    EXPECT_EQ(files(), (Texts{"D/2024", "DO/V/2024", "DO/V/2024.var"}));
    EXPECT_FALSE(QFileInfo::exists(at("DP")));
    EXPECT_TRUE(storage.deleteDataRecords(-2, -3, "O"));
    EXPECT_EQ(files(), Texts{"D/2024"});
    EXPECT_EQ(stored().size(), 3u);
}

TEST_F(DeletingCompanions, WithoutAMarkerDeletesEverywhere)
{
    erase(-2, -3);
    EXPECT_FALSE(QFileInfo::exists(directory.base()));
}

TEST_F(DeletingCompanions, EachStoreHasItsOwnTimes)
{
    erase(kYear, kYear); // the late writes were logged in 2023
    EXPECT_EQ(stored(), (Samples{{kYear + 5, 4}, {kYear + 10, 2}}));
    EXPECT_EQ(files(), (Texts{"D/2024", "DP/L/2023"}));
}

TEST_F(DeletingCompanions, AMarkerWithoutADirectoryDoesNothing)
{
    QDir(at("DP")).removeRecursively();
    EXPECT_TRUE(storage.deleteDataRecords(-2, -3, "P"));
    EXPECT_TRUE(storage.deleteDataRecords(-2, -3, "X"));
    EXPECT_EQ(stored().size(), 3u);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Deleting, InASeriesWithoutCompanions)
{
    fill({{kYear, 1}, {kYear + 1, 2}});
    erase(kYear, kYear);
    EXPECT_EQ(stored(), (Samples{{kYear + 1, 2}}));
}

// --- Failures --------------------------------------------------------------------------------------------

TEST_F(Deleting, SkipsAFileThatDoesNotOpenWithALine)
{
    fill({{utc(2022), 1}, {utc(2023), 2}, {utc(2024), 3}, {utc(2025), 4}});
    {
        const UnopenableFile broken(at("D/2023"));
        erase(utc(2022, 6), utc(2024, 6));
    }
    EXPECT_EQ(stored(), (Samples{{utc(2022), 1}, {utc(2023), 2}, {utc(2025), 4}}));
    expectLine(2, quoted("Could not open ", at("D/2023"), " for read (deleteDataRecords)"));
    EXPECT_EQ(lines(2).size(), 1u);
}

TEST_F(Deleting, AFileThatCannotBeRewrittenKeepsItsRecords)
{
    const Samples all = {{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}};
    fill(all);
    const auto real = Internal::seams().open;
    Internal::seams().open = [real](QFile& file, QIODevice::OpenMode mode) {
        return !mode.testFlag(QIODevice::WriteOnly) && real(file, mode);
    };
    erase(kYear + 1, kYear + 1);
    Internal::seams().open = real;
    EXPECT_EQ(stored(), all);
    expectLine(2, quoted("Could not open ", at("D/2024"), " for write (deleteDataRecords)"), 1717);
    EXPECT_EQ(lines(2).size(), 1u);
    EXPECT_TRUE(lines(7).empty());
}

TEST_F(Deleting, AKeptValueThatCannotBeReadKeepsTheFile)
{
    TSFileStorage series = makeStorage(QMetaType::QVariant);
    series.writeDataRecords({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}}, false, false);
    writeFile(at("V/2024.var"), readFile(at("V/2024.var")).chopped(1));
    const QByteArray before = readFile(at("V/2024"));
    EXPECT_TRUE(series.deleteDataRecords(kYear + 1, kYear + 1));
    EXPECT_EQ(readFile(at("V/2024")), before);
}

TEST_F(Deleting, ADeletedValueThatCannotBeReadDoesNotMatter)
{
    TSFileStorage series = makeStorage(QMetaType::QVariant);
    series.writeDataRecords({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}}, false, false);
    QByteArray values = readFile(at("V/2024.var"));
    values.replace(9, 4, "\x7f\xff\xff\xff"); // the type of the second value
    writeFile(at("V/2024.var"), values);
    EXPECT_TRUE(series.deleteDataRecords(kYear + 1, kYear + 1));
    EXPECT_EQ(storedTexts(series),
              (Texts{std::to_string(kYear) + " int 1", std::to_string(kYear + 2) + " int 3"}));
}

TEST_F(Deleting, AFileThatCannotBeRemovedIsReported)
{
    TSFileStorage series = makeStorage(QMetaType::QVariant);
    series.writeDataRecords({{utc(2022), 1}, {utc(2023), 2}, {utc(2024), 3}}, false, false);
    Internal::seams().remove = [](const char*) {
        errno = EACCES;
        return -1;
    };
    EXPECT_TRUE(series.deleteDataRecords(utc(2023), utc(2023, 6)));
    expectLine(2, quoted("Could not remove ", at("V/2023"), ""), 1754);
    expectLine(2, quoted("Could not remove ", at("V/2023.var"), ""), 1760);
    EXPECT_EQ(lines(2).size(), 2u);
}

class DeletingWithFaults : public StorageTest
{
protected:
    /// Deletes the middle record of three with one call failing; what is read after it must be all records or
    /// all but the deleted one.
    void runEveryCall(QMetaType::Type type, const QVariant& value, Failure failure)
    {
        for (int number = 1;; ++number) {
            const SeriesDirectory place;
            TSFileStorage series(place.base(), type, kNoSizeLimit);
            series.writeDataRecords({{kYear, value}, {kYear + 1, value}, {kYear + 2, value}}, false, false);
            const Texts all = textsOf(readRaw(series, kYear, kYear + 9));
            ASSERT_EQ(all.size(), 3u);
            FaultsForTest faults;
            faults.failCall(number, failure);
            EXPECT_TRUE(series.deleteDataRecords(kYear + 1, kYear + 1));
            if (!faults.hasFailed) {
                EXPECT_GT(number, 3);
                return;
            }
            SCOPED_TRACE(faults.calls[static_cast<size_t>(number) - 1] + " " + std::to_string(number));
            faults.noFaults();
            const Texts left = textsOf(readRaw(series, kYear, kYear + 9));
            EXPECT_TRUE(left == all || left == (Texts{all[0], all[2]})) << testing::PrintToString(left);
            if (type == QMetaType::Float)
                continue; // a later write finds its place by positions that are not those of the records
            EXPECT_TRUE(series.writeDataRecords({{kYear + 3, value}}, false, false));
            EXPECT_EQ(readRaw(series, kYear, kYear + 9).size(), left.size() + 1);
            EXPECT_TRUE(series.deleteDataRecords(kYear + 1, kYear + 1));
            EXPECT_EQ(readRaw(series, kYear, kYear + 9).size(), 3u);
        }
    }
};

TEST_F(DeletingWithFaults, ACrashLeavesAllRecordsOrAllButTheDeleted)
{
    runEveryCall(QMetaType::Double, 1.5, Failure::Crash);
    runEveryCall(QMetaType::QVariant, QStringLiteral("text"), Failure::Crash);
    runEveryCall(QMetaType::Float, 1.5f, Failure::Crash);
}

TEST_F(DeletingWithFaults, OneFailureLeavesAllRecordsOrAllButTheDeleted)
{
    runEveryCall(QMetaType::Double, 1.5, Failure::Once);
    runEveryCall(QMetaType::QVariant, QStringLiteral("text"), Failure::Once);
    runEveryCall(QMetaType::Float, 1.5f, Failure::Once);
}

TEST_F(Deleting, ThatTheSystemRefusesIsReportedOnce)
{
    const Samples all = {{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}};
    fill(all);
    FaultsForTest faults;
    faults.limitGrowth(20);
    erase(kYear + 1, kYear + 1);
    EXPECT_EQ(lines(2), Texts{quoted("Could not write ", at("D/2024"), " (deleteDataRecords)")});
    faults.noFaults();
    EXPECT_EQ(stored(), all);
    EXPECT_EQ(files(), Texts{"D/2024"});
}

} // namespace
} // namespace Kiv::Testing
