// The two companion series that writing keeps: the late-write log and the overwrite history.

#include "storage/StorageTest.h"

namespace Kiv::Testing
{
namespace
{

class CompanionWriting : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};
    TSFileStorage lateLog{at("DP/"), QMetaType::LongLong, kNoSizeLimit};
    TSFileStorage history{at("DO/"), QMetaType::QVariant, kNoSizeLimit};

    CompanionWriting() { setClock(kSecond, 123); }

    static constexpr qint64 kSecond = 1'700'000'000'000; ///< of the clock at the start, in milliseconds

    void setClock(qint64 secondMs, int millisecond) { seams.nowUs = (secondMs + millisecond) * 1000 + 456; }

    void write(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
    }
    void writeLate(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), true, false));
    }
    void overwrite(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, true));
    }

    static std::string entry(qint64 timestamp, qint64 lateTimestamp)
    {
        return std::to_string(timestamp) + " qlonglong " + std::to_string(lateTimestamp);
    }
    static std::string text(qint64 timestamp, const char* map)
    {
        return std::to_string(timestamp) + " " + map;
    }
};

class LateLog : public CompanionWriting
{
};

class History : public CompanionWriting
{
};

// --- The late-write log ----------------------------------------------------------------------------------

TEST_F(LateLog, HoldsTheTimesAtOrBeforeTheLastRecord)
{
    write({{kYear + 100, 1}});
    writeLate({{kYear + 50, 2}, {kYear + 100, 3}, {kYear + 150, 4}});
    EXPECT_EQ(storedTexts(lateLog), (Texts{entry(kSecond, kYear + 50), entry(kSecond + 1, kYear + 100)}));
    EXPECT_EQ(files(), (Texts{"D/2024", "DP/L/2023"}));
}

TEST_F(LateLog, IsNotKeptUnlessAskedFor)
{
    write({{kYear + 100, 1}});
    write({{kYear + 50, 2}});
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(LateLog, OfTimelyRecordsIsNotCreated)
{
    writeLate({{kYear, 1}, {kYear + 1, 2}});
    writeLate({{kYear + 2, 3}});
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(LateLog, OfAnEmptySeriesHoldsTheTimesUpToTheEpoch)
{
    writeLate({{-5, 1}, {0, 2}, {5, 3}});
    EXPECT_EQ(storedTexts(lateLog), (Texts{entry(kSecond, -5), entry(kSecond + 1, 0)}));
}

TEST_F(LateLog, ThreeEntriesOfOneCallShareTheMillisecondAfterTheSecond)
{
    write({{kYear + 100, 1}});
    writeLate({{kYear + 1, 1}, {kYear + 2, 2}, {kYear + 3, 3}});
    EXPECT_EQ(storedTexts(lateLog), (Texts{entry(kSecond, kYear + 1), entry(kSecond + 1, kYear + 2),
                                           entry(kSecond + 1, kYear + 3)}));
}

TEST_F(LateLog, ALaterCallInTheSameSecondStartsAtTheNextMillisecond)
{
    write({{kYear + 100, 1}});
    writeLate({{kYear + 1, 1}});
    setClock(kSecond, 999);
    writeLate({{kYear + 2, 2}, {kYear + 3, 3}});
    EXPECT_EQ(storedTexts(lateLog), (Texts{entry(kSecond, kYear + 1), entry(kSecond + 1, kYear + 2),
                                           entry(kSecond + 1, kYear + 3)}));
}

TEST_F(LateLog, ACallInTheNextSecondStartsAnew)
{
    write({{kYear + 100, 1}});
    writeLate({{kYear + 1, 1}, {kYear + 2, 2}});
    setClock(kSecond + 1000, 0);
    writeLate({{kYear + 3, 3}});
    EXPECT_EQ(storedTexts(lateLog), (Texts{entry(kSecond, kYear + 1), entry(kSecond + 1, kYear + 2),
                                           entry(kSecond + 1000, kYear + 3)}));
}

TEST_F(LateLog, OfAClockThatWentBackIsAppendedUnsorted)
{
    write({{kYear + 100, 1}});
    writeLate({{kYear + 1, 1}});
    setClock(kSecond - 5000, 0);
    writeLate({{kYear + 2, 2}});
    EXPECT_EQ(storedTexts(lateLog), (Texts{entry(kSecond, kYear + 1), entry(kSecond - 5000, kYear + 2)}));
}

TEST_F(LateLog, HoldsNoValueThatWasAlreadyThere)
{
    write({{kYear, 1}, {kYear + 100, 2}});
    writeLate({{kYear, 1}, {kYear + 100, 2}});
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(LateLog, HoldsASecondValueOfATimeThatWasNewInTheSameCall)
{
    writeLate({{kYear, 1}, {kYear + 1, 5}, {kYear + 1, 7}, {kYear + 2, 2}});
    EXPECT_EQ(storedTexts(lateLog), Texts{entry(kSecond, kYear + 1)});
}

TEST_F(LateLog, HoldsOverwrites)
{
    write({{kYear, 1}, {kYear + 1, 2}});
    writeLate({{kYear, 3}});
    EXPECT_EQ(storedTexts(lateLog), Texts{entry(kSecond, kYear)});
}

TEST_F(LateLog, OfAVariableSeriesLiesBesideIt)
{
    TSFileStorage texts = makeStorage(QMetaType::QString);
    texts.writeDataRecords({{kYear + 1, "a"}}, false, false);
    texts.writeDataRecords({{kYear, "b"}}, true, false);
    TSFileStorage textLog(at("VP/"), QMetaType::LongLong, kNoSizeLimit);
    EXPECT_EQ(storedTexts(textLog), Texts{entry(kSecond, kYear)});
}

TEST_F(LateLog, UsesTheSizeLimitOfTheSeries)
{
    TSFileStorage small = makeStorage(QMetaType::Double, 26);
    small.writeDataRecords(recordsOf({{kYear + 100, 1}}), false, false);
    small.writeDataRecords(recordsOf({{kYear, 1}, {kYear + 1, 1}, {kYear + 2, 1}}), true, false);
    EXPECT_EQ(filesBelow(at("DP")), Texts{"L/2023/11"});
}

TEST_F(LateLog, ThatCannotBeWrittenDoesNotFailTheCall)
{
    write({{kYear + 100, 1}});
    writeFile(at("DP"));
    writeLate({{kYear, 2}});
    EXPECT_EQ(storedSamples(storage).size(), 2u);
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("DP/L/2023"), " for write (writeDataRecords)")});
}

TEST_F(LateLog, ClockBeforeTheEpochTruncatesTowardsIt)
{
    write({{kYear + 100, 1}});
    seams.nowUs = -1'500'000;
    writeLate({{kYear, 2}});
    EXPECT_EQ(storedTexts(lateLog), Texts{entry(-1000, kYear)});
}

// --- The overwrite history -------------------------------------------------------------------------------

TEST_F(History, KeepsTheOldValueUnderTheTimeOfTheOverwrite)
{
    write({{kYear, 1.5}});
    overwrite({{kYear, 2}});
    EXPECT_EQ(storedTexts(history), Texts{text(kYear, "{1700000000123: double 1.5}")});
    EXPECT_EQ(files(), (Texts{"D/2024", "DO/V/2024", "DO/V/2024.var"}));
}

TEST_F(History, IsNotKeptUnlessAskedFor)
{
    write({{kYear, 1.5}});
    write({{kYear, 2}});
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(History, OfNewOrEqualRecordsIsNotCreated)
{
    overwrite({{kYear, 1}, {kYear + 1, 2}});
    overwrite({{kYear, 1}, {kYear + 2, 3}});
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(History, TwoOverwritesInOneMillisecondTakeTheNextKey)
{
    write({{kYear, 1}});
    overwrite({{kYear, 2}});
    overwrite({{kYear, 3}});
    EXPECT_EQ(storedTexts(history), Texts{text(kYear, "{1700000000123: double 1, 1700000000124: double 2}")});
}

TEST_F(History, TwoOverwritesOfOneTimeInOneCallTakeTwoKeys)
{
    write({{kYear, 1}});
    overwrite({{kYear, 2}, {kYear, 3}});
    EXPECT_EQ(storedTexts(history), Texts{text(kYear, "{1700000000123: double 1, 1700000000124: double 2}")});
}

TEST_F(History, TwoTimesOfOneCallShareTheKey)
{
    write({{kYear, 1}, {kYear + 1, 2}});
    overwrite({{kYear, 3}, {kYear + 1, 4}});
    EXPECT_EQ(storedTexts(history), (Texts{text(kYear, "{1700000000123: double 1}"),
                                           text(kYear + 1, "{1700000000123: double 2}")}));
}

TEST_F(History, AKeyThatWasRaisedStaysRaisedWithinTheCall)
{
    write({{kYear, 1}, {kYear + 1, 2}});
    overwrite({{kYear, 3}});
    overwrite({{kYear, 4}, {kYear + 1, 5}});
    EXPECT_EQ(storedTexts(history), (Texts{text(kYear, "{1700000000123: double 1, 1700000000124: double 3}"),
                                           text(kYear + 1, "{1700000000124: double 2}")}));
}

TEST_F(History, OfALaterTimeKeepsTheEarlierOnes)
{
    write({{kYear, 1}});
    overwrite({{kYear, 2}});
    setClock(kSecond + 5000, 7);
    overwrite({{kYear, 3}});
    EXPECT_EQ(storedTexts(history), Texts{text(kYear, "{1700000000123: double 1, 1700000005007: double 2}")});
}

TEST_F(History, OfTimesThatAreSymbolsElsewhereIsExact)
{
    write({{-1, 1}, {-2, 2}, {-3, 3}, {-4, 4}});
    overwrite({{-4, 40}});
    overwrite({{-1, 10}, {-2, 20}, {-3, 30}});
    EXPECT_EQ(storedTexts(history),
              (Texts{text(-4, "{1700000000123: double 4}"), text(-3, "{1700000000123: double 3}"),
                     text(-2, "{1700000000123: double 2}"), text(-1, "{1700000000123: double 1}")}));
    overwrite({{-1, 11}, {-2, 21}, {-3, 31}});
    EXPECT_EQ(storedTexts(history), (Texts{text(-4, "{1700000000123: double 4}"),
                                           text(-3, "{1700000000123: double 3, 1700000000124: double 30}"),
                                           text(-2, "{1700000000123: double 2, 1700000000124: double 20}"),
                                           text(-1, "{1700000000123: double 1, 1700000000124: double 10}")}));
}

TEST_F(History, OfTheEpochIsKept)
{
    write({{0, 1}});
    overwrite({{0, 2}});
    overwrite({{0, 3}});
    EXPECT_EQ(storedTexts(history), Texts{text(0, "{1700000000123: double 1, 1700000000124: double 2}")});
}

TEST_F(History, OfAVariableSeriesKeepsItsValues)
{
    TSFileStorage texts = makeStorage(QMetaType::QString);
    texts.writeDataRecords({{kYear, "a"}}, false, false);
    texts.writeDataRecords({{kYear, QVariantList{1, "b"}}}, false, true);
    texts.writeDataRecords({{kYear, "c"}}, false, true);
    TSFileStorage textHistory(at("VO/"), QMetaType::QVariant, kNoSizeLimit);
    EXPECT_EQ(storedTexts(textHistory),
              Texts{text(kYear, "{1700000000123: QString a, 1700000000124: [int 1, QString b]}")});
}

TEST_F(History, AndLateLogAreKeptInOneCall)
{
    write({{kYear, 1}, {kYear + 10, 2}});
    EXPECT_TRUE(storage.writeDataRecords(recordsOf({{kYear, 3}, {kYear + 5, 4}}), true, true));
    EXPECT_EQ(storedTexts(lateLog), (Texts{entry(kSecond, kYear), entry(kSecond + 1, kYear + 5)}));
    EXPECT_EQ(storedTexts(history), Texts{text(kYear, "{1700000000123: double 1}")});
}

TEST_F(History, ThatGrowsDropsItsOldMaps)
{
    write({{kYear, 1}});
    overwrite({{kYear, 2}});
    const qint64 sizeBytes = readFile(at("DO/V/2024.var")).size();
    overwrite({{kYear, 3}});
    EXPECT_EQ(lines(7), Texts{quoted("Reorganize .var file ", at("DO/V/2024.var"), "")});
    EXPECT_LT(readFile(at("DO/V/2024.var")).size(), 2 * sizeBytes);
}

TEST_F(History, ThatCannotBeWrittenDoesNotFailTheCall)
{
    write({{kYear, 1}});
    writeFile(at("DO"));
    overwrite({{kYear, 2}});
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 2}}));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("DO/V/2024"), " for write (writeDataRecords)")});
}

} // namespace
} // namespace Kiv::Testing
