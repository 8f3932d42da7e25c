// Writing into files that are torn, short or do not open, without a search, and into files of floats.

#include "storage/StorageTest.h"

namespace Kiv::Testing
{
namespace
{

class WritingOddFiles : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};

    QString yearFile = at("D/2024");

    bool write(const Samples& samples) { return storage.writeDataRecords(recordsOf(samples), false, false); }
};

// --- Torn files ------------------------------------------------------------------------------------------

TEST_F(WritingOddFiles, AnAppendHealsATornTail)
{
    for (int torn = 1; torn < 13; ++torn) {
        writeFile(yearFile, fromHex((doubleRecordHex(1, 1) + doubleRecordHex(2, 2)).c_str()) +
                                QByteArray(torn, '\xee'));
        EXPECT_TRUE(write({{kYear + 3, 3}}));
        ASSERT_EQ(hexOf(yearFile), doubleRecordHex(1, 1) + doubleRecordHex(2, 2) + doubleRecordHex(3, 3))
            << torn;
    }
}

TEST_F(WritingOddFiles, AnInsertKeepsTheTornBytesBehindTheLastRecord)
{
    writeFile(yearFile, fromHex((doubleRecordHex(1, 1) + doubleRecordHex(3, 3) + "eeeeee").c_str()));
    EXPECT_TRUE(write({{kYear + 2, 2}}));
    EXPECT_EQ(hexOf(yearFile),
              doubleRecordHex(1, 1) + doubleRecordHex(2, 2) + doubleRecordHex(3, 3) + "eeeeee");
    EXPECT_EQ(storedSamples(storage).size(), 3u);
}

TEST_F(WritingOddFiles, AnOverwriteKeepsTheTornBytes)
{
    writeFile(yearFile, fromHex((doubleRecordHex(1, 1) + doubleRecordHex(3, 3) + "eeeeee").c_str()));
    EXPECT_TRUE(write({{kYear + 3, 4}}));
    EXPECT_EQ(hexOf(yearFile), doubleRecordHex(1, 1) + doubleRecordHex(3, 4) + "eeeeee");
}

TEST_F(WritingOddFiles, AFileWithoutAWholeRecordCountsAsNew)
{
    for (int torn = 0; torn < 13; ++torn) {
        writeFile(yearFile, QByteArray(torn, '\xff'));
        EXPECT_TRUE(write({{kYear, 1}, {kYear + 1, 2}}));
        ASSERT_EQ(hexOf(yearFile), doubleRecordHex(0, 1) + doubleRecordHex(1, 2)) << torn;
    }
    EXPECT_TRUE(log.lines.empty());
}

// --- Appending without a search -------------------------------------------------------------------------

TEST_F(WritingOddFiles, AppendOnlyKeepsAllRecordsOfATimestamp)
{
    EXPECT_TRUE(
        storage.writeDataRecordsInt(recordsOf({{kYear, 1}, {kYear, 1}, {kYear, 2}}), false, false, true));
    EXPECT_TRUE(storage.writeDataRecordsInt(recordsOf({{kYear, 1}}), false, false, true));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 1}, {kYear, 1}, {kYear, 2}, {kYear, 1}}));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(WritingOddFiles, AppendOnlyPutsEarlierRecordsAtTheEnd)
{
    write({{kYear + 10, 1}});
    EXPECT_TRUE(storage.writeDataRecordsInt(recordsOf({{kYear + 5, 2}}), false, false, true));
    EXPECT_EQ(hexOf(yearFile), doubleRecordHex(10, 1) + doubleRecordHex(5, 2));
}

// --- Floats ---------------------------------------------------------------------------------------------

TEST_F(WritingOddFiles, FloatsOfOneCallFollowEachOtherInTwelveOrMoreBytes)
{
    TSFileStorage series = makeStorage(QMetaType::Float);
    EXPECT_TRUE(series.writeDataRecords({{kYear + 1, 1.5f}, {kYear + 2, 2.5f}}, false, false));
    EXPECT_EQ(hexOf(at("F/2024")), "00000000013ff8000000000000"
                                   "00000000024004000000000000");
    EXPECT_EQ(storedTexts(series),
              (Texts{std::to_string(kYear + 1) + " float 1.5", std::to_string(kYear + 2) + " float 2.5"}));
}

TEST_F(WritingOddFiles, FloatsOfALaterCallAreAppendedWhereTheLastSlotEnds)
{
    // The slot that counts as the last begins four bytes into the only record: its offset is 1 << 32 plus
    // the first half of 1.5, which lies before June.
    TSFileStorage series = makeStorage(QMetaType::Float);
    series.writeDataRecords({{kYear + 1, 1.5f}}, false, false);
    EXPECT_TRUE(series.writeDataRecords({{utc(2024, 6), 2.5f}}, false, false));
    EXPECT_EQ(hexOf(at("F/2024")), "00000000013ff8000000000000"
                                   "030ec6a0004004000000000000");
}

// --- Files that do not open -----------------------------------------------------------------------------

TEST_F(WritingOddFiles, WhereEverythingIsADirectoryFailsWithTheYearPath)
{
    const qint64 minute = utc(2024, 5, 17, 13, 45);
    makeDirectory(at("D/2024/05/17/13/45"));
    EXPECT_FALSE(write({{minute, 1}}));
    EXPECT_EQ(lines(4), attemptLines("Read,Write,", yearFile));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", yearFile, " for write (writeDataRecords)")});
    EXPECT_EQ(seams.sleptSeconds, 5);
}

TEST_F(WritingOddFiles, AnExistingFileThatDoesNotOpenIsReportedAsSuch)
{
    write({{kYear, 1}});
    const UnopenableFile broken(yearFile);
    EXPECT_FALSE(write({{kYear + 1, 2}}));
    EXPECT_EQ(lines(4), attemptLines("Read,Write,", yearFile));
    expectLine(2, quoted("Could not open ", yearFile, " for read/write (writeDataRecords)"));
    EXPECT_EQ(lines(2).size(), 1u);
}

TEST_F(WritingOddFiles, AFileThatDoesNotOpenEndsTheCall)
{
    const UnopenableFile broken(yearFile);
    EXPECT_FALSE(storage.writeDataRecords(
        recordsOf({{-5, 0}, {utc(2023), 1}, {utc(2024), 2}, {utc(2025), 3}}), true, true));
    EXPECT_EQ(files(), (Texts{"D/1969", "D/2023"}));
    EXPECT_EQ(lines(2).size(), 1u);
}

TEST_F(WritingOddFiles, AnUncreatableDirectoryIsReportedByTheOpen)
{
    writeFile(directory.base().chopped(1)); // a file where the base directory should be
    EXPECT_FALSE(write({{kYear, 1}}));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", yearFile, " for write (writeDataRecords)")});
}

TEST_F(WritingOddFiles, AVariableSeriesWithoutItsCompanionRecordsPositionZero)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    makeDirectory(at("V/2024.var"));
    series.writeDataRecords({{kYear, "a"}, {kYear + 1, "b"}}, false, false);
    EXPECT_EQ(hexOf(at("V/2024")), "000000000000000000"
                                   "000000000100000000");
    const std::string failure = quoted("Could not open ", at("V/2024.var"), " for write (writeDataRecord)");
    EXPECT_EQ(lines(2), (Texts{failure, failure}));
    // All six attempts are made once; every further value makes one.
    EXPECT_EQ(lines(4).size(), 7u);
    EXPECT_EQ(seams.sleptSeconds, 5);
}

} // namespace
} // namespace Kiv::Testing
