// Merging batches into record files: order, appends, inserts, overwrites.

#include "storage/StorageTest.h"

#include <Kiv/Logger.h>

#include <cmath>
#include <stdexcept>

namespace Kiv::Testing
{
namespace
{

class Writing : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};
    QString yearFile = at("D/2024");

    bool write(const Samples& samples) { return storage.writeDataRecords(recordsOf(samples), false, false); }
    std::string overwriteLine(const char* time, const char* values) const
    {
        return quoted("Value on ", storage.m_dir, "") + " overwritten on time stamp " + time + " " + values;
    }
};

// --- Order and appends -----------------------------------------------------------------------------------

TEST_F(Writing, AnEmptyBatchTouchesNothing)
{
    int opened = 0;
    write({{kYear, 1}});
    Internal::seams().open = [&opened](QFile& file, QIODevice::OpenMode mode) {
        ++opened;
        return file.open(mode);
    };
    EXPECT_TRUE(storage.writeDataRecords({}, true, true));
    EXPECT_EQ(opened, 0);
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(Writing, TheFirstBatchCreatesTheYearFile)
{
    EXPECT_TRUE(write({{kYear + 1, 1.5}, {kYear + 31'622'399'999, -2}}));
    EXPECT_EQ(files(), Texts{"D/2024"});
    EXPECT_EQ(hexOf(yearFile), "00000000013ff8000000000000"
                               "075cd787ffc000000000000000");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Writing, ABatchInAnyOrderIsStoredInTimeOrder)
{
    EXPECT_TRUE(write({{kYear + 3, 3}, {kYear + 1, 1}, {kYear + 2, 2}}));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear + 1, 1}, {kYear + 2, 2}, {kYear + 3, 3}}));
    EXPECT_TRUE(write({{kYear + 6, 6}, {kYear + 5, 5}, {kYear + 4, 4}}));
    EXPECT_EQ(
        storedSamples(storage),
        (Samples{
            {kYear + 1, 1}, {kYear + 2, 2}, {kYear + 3, 3}, {kYear + 4, 4}, {kYear + 5, 5}, {kYear + 6, 6}}));
}

TEST_F(Writing, ABatchOverThreeYearsFillsThreeFiles)
{
    EXPECT_TRUE(write({{utc(2025), 3}, {utc(2023), 1}, {utc(2024), 2}}));
    EXPECT_EQ(files(), (Texts{"D/2023", "D/2024", "D/2025"}));
    EXPECT_EQ(storedSamples(storage), (Samples{{utc(2023), 1}, {utc(2024), 2}, {utc(2025), 3}}));
}

TEST_F(Writing, EachRecordGoesToTheFileOfItsPeriod)
{
    makeDirectory(at("D/2024/05/17/13"));
    const qint64 minute = utc(2024, 5, 17, 13, 45);
    EXPECT_TRUE(write({{minute - 1, 1},
                       {minute, 2},
                       {minute + 59'999, 3},
                       {minute + 60'000, 4},
                       {utc(2024, 5, 17, 14), 5},
                       {utc(2024, 5, 18), 6},
                       {utc(2024, 6), 7},
                       {utc(2025), 8}}));
    EXPECT_EQ(files(), (Texts{"D/2024/05/17/13/44", "D/2024/05/17/13/45", "D/2024/05/17/13/46",
                              "D/2024/05/17/14", "D/2024/05/18", "D/2024/06", "D/2025"}));
    EXPECT_EQ(readFile(at("D/2024/05/17/13/45")).size(), 20);
    EXPECT_EQ(readFile(at("D/2024/05/17/14")).size(), 11);
    EXPECT_EQ(readFile(at("D/2024/05/18")).size(), 12);
    EXPECT_EQ(storedSamples(storage).size(), 8u);
}

TEST_F(Writing, AFirstRecordAtTheEpochIsAppended)
{
    EXPECT_TRUE(write({{0, 7}, {1, 8}}));
    EXPECT_EQ(hexOf(at("D/1970")), doubleRecordHex(0, 7) + doubleRecordHex(1, 8));
    EXPECT_TRUE(write({{0, 9}}));
    EXPECT_EQ(storedSamples(storage), (Samples{{0, 9}, {1, 8}}));
}

TEST_F(Writing, RecordsBeforeTheEpochAreStored)
{
    EXPECT_TRUE(write({{-1, 3}, {-2, 2}, {-3, 1}, {0, 4}}));
    EXPECT_EQ(files(), (Texts{"D/1969", "D/1970"}));
    EXPECT_EQ(storedSamples(storage), (Samples{{-3, 1}, {-2, 2}, {-1, 3}, {0, 4}}));
}

TEST_F(Writing, TheOutermostTimestampsEndTheCall)
{
    EXPECT_TRUE(write({{kMaxTimestamp, 1}}));
    EXPECT_TRUE(QFileInfo::exists(at("D/292278994")));
    EXPECT_TRUE(write({{kMinTimestamp, 1}}));
    EXPECT_TRUE(QFileInfo::exists(at("D/-292275055")));
    EXPECT_FALSE(lines(2).empty());
    EXPECT_EQ(lines(2).front(), "Exception on getBaseTsMs - DateTime");
}

TEST_F(Writing, ManyBatchesThatAscendGrowOneFile)
{
    Samples all;
    for (int i = 0; i < 50; ++i) {
        write({{kYear + 10 * i, i}, {kYear + 10 * i + 5, -i}});
        all.insert(all.end(), {{kYear + 10 * i, i}, {kYear + 10 * i + 5, -i}});
    }
    EXPECT_EQ(storedSamples(storage), all);
}

// --- Equal timestamps ------------------------------------------------------------------------------------

TEST_F(Writing, OfEqualTimestampsTheGreatestValueStays)
{
    EXPECT_TRUE(write({{kYear, 5}, {kYear, 3}}));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 5}}));
    EXPECT_EQ(lines(4), Texts{overwriteLine("2024-01-01T00:00:00Z", "old:3, new:5")});
}

TEST_F(Writing, OfEqualTimestampsNaNComesAfterEveryNumber)
{
    EXPECT_TRUE(write({{kYear, std::nan("")}, {kYear, 3}, {kYear, HUGE_VAL}}));
    const Samples stored = storedSamples(storage);
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_TRUE(std::isnan(stored.front().second));
}

TEST_F(Writing, OfThreeEqualTimestampsTwoAreOverwritten)
{
    EXPECT_TRUE(write({{kYear, 1}, {kYear + 1, 3}, {kYear + 1, 2}, {kYear + 1, 1}, {kYear + 2, 9}}));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 1}, {kYear + 1, 3}, {kYear + 2, 9}}));
    EXPECT_EQ(lines(4), (Texts{overwriteLine("2024-01-01T00:00:00Z", "old:1, new:2"),
                               overwriteLine("2024-01-01T00:00:00Z", "old:2, new:3")}));
}

TEST_F(Writing, OfEqualRecordsOneIsStoredSilently)
{
    EXPECT_TRUE(write({{kYear, 5}, {kYear, 5}, {kYear + 1, 6}, {kYear + 1, 6}}));
    EXPECT_EQ(hexOf(yearFile), doubleRecordHex(0, 5) + doubleRecordHex(1, 6));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Writing, OfEqualTimestampsWithoutNumbersTheLastGivenStays)
{
    TSFileStorage texts = makeStorage(QMetaType::QString);
    EXPECT_TRUE(texts.writeDataRecords({{kYear, "b"}, {kYear, "a"}}, false, false));
    EXPECT_EQ(storedTexts(texts), Texts{std::to_string(kYear) + " QString a"});
    EXPECT_TRUE(lines(4).empty());
}

// --- Inserts ---------------------------------------------------------------------------------------------

TEST_F(Writing, ARecordBeforeTheFirstIsInsertedAtTheStart)
{
    write({{kYear + 10, 1}, {kYear + 20, 2}});
    EXPECT_TRUE(write({{kYear + 5, 3}}));
    EXPECT_EQ(hexOf(yearFile), doubleRecordHex(5, 3) + doubleRecordHex(10, 1) + doubleRecordHex(20, 2));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Writing, ARecordBetweenTwoIsInsertedThere)
{
    for (int count = 1; count < 12; ++count) {
        for (int gap = 0; gap <= count; ++gap) {
            const SeriesDirectory place;
            TSFileStorage series(place.base(), QMetaType::Double, kNoSizeLimit);
            Samples expected;
            for (int i = 0; i < count; ++i)
                expected.push_back({kYear + 10 * i + 10, i});
            series.writeDataRecords(recordsOf(expected), false, false);
            const Sample added = {kYear + 10 * gap + 5, 99};
            series.writeDataRecords(recordsOf({added}), false, false);
            expected.insert(expected.begin() + gap, added);
            ASSERT_EQ(storedSamples(series), expected) << count << " " << gap;
        }
    }
}

TEST_F(Writing, ManyInsertsInOneCallEqualSingleOnes)
{
    write({{kYear + 10, 1}, {kYear + 20, 2}, {kYear + 30, 3}});
    EXPECT_TRUE(write({{kYear + 35, 8},
                       {kYear + 1, 4},
                       {kYear + 20, 9},
                       {kYear + 25, 7},
                       {kYear + 15, 5},
                       {kYear + 16, 6},
                       {kYear + 40, 10}}));
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear + 1, 4},
                                               {kYear + 10, 1},
                                               {kYear + 15, 5},
                                               {kYear + 16, 6},
                                               {kYear + 20, 9},
                                               {kYear + 25, 7},
                                               {kYear + 30, 3},
                                               {kYear + 35, 8},
                                               {kYear + 40, 10}}));
    EXPECT_EQ(readFile(yearFile).size(), 9 * 13);
}

TEST_F(Writing, AVariableValueIsInsertedWithItsPositionAtTheEndOfTheCompanion)
{
    TSFileStorage series = makeStorage(QMetaType::QVariant);
    series.writeDataRecords({{kYear + 10, 1}, {kYear + 20, 2}}, false, false);
    series.writeDataRecords({{kYear + 15, 3}}, false, false);
    EXPECT_EQ(hexOf(at("V/2024")), "000000000a00000000"
                                   "000000000f00000012"
                                   "000000001400000009");
    EXPECT_EQ(storedTexts(series),
              (Texts{std::to_string(kYear + 10) + " int 1", std::to_string(kYear + 15) + " int 3",
                     std::to_string(kYear + 20) + " int 2"}));
}

// --- Overwrites ------------------------------------------------------------------------------------------

TEST_F(Writing, AnOverwriteIsLoggedWithItsTimeAndBothValues)
{
    const qint64 time = utc(2024, 5, 17, 13, 45, 12, 345);
    write({{time, 1.5}});
    EXPECT_TRUE(write({{time, 2.25}}));
    EXPECT_EQ(storedSamples(storage), (Samples{{time, 2.25}}));
    EXPECT_EQ(log.texts(), Texts{"4 " + overwriteLine("2024-05-17T13:45:12Z", "old:1.5, new:2.25")});
    EXPECT_EQ(log.lines.front().source, kStorageSource);
}

TEST_F(Writing, AnOverwriteOfAnIntegerSeriesLogsItsTexts)
{
    TSFileStorage series = makeStorage(QMetaType::Int);
    series.writeDataRecords({{kYear, 3}}, false, false);
    series.writeDataRecords({{kYear, QVariant("7")}}, false, false);
    EXPECT_EQ(lines(4), Texts{quoted("Value on ", series.m_dir, "") +
                              " overwritten on time stamp 2024-01-01T00:00:00Z old:3, new:7"});
    EXPECT_EQ(storedTexts(series), Texts{std::to_string(kYear) + " int 7"});
}

TEST_F(Writing, AnOverwriteBeforeTheEpochIsLoggedWithItsTime)
{
    write({{-1, 1}});
    write({{-1, 2}});
    EXPECT_EQ(lines(4), Texts{overwriteLine("1969-12-31T23:59:59Z", "old:1, new:2")});
}

TEST_F(Writing, AnOverwriteOfAVariableSeriesIsNotLoggedAsSuch)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    series.writeDataRecords({{kYear, "a"}}, false, false);
    series.writeDataRecords({{kYear, "b"}}, false, false);
    EXPECT_TRUE(lines(4).empty());
    EXPECT_EQ(storedTexts(series), Texts{std::to_string(kYear) + " QString b"});
}

TEST_F(Writing, OverwritesNeverChangeOtherRecords)
{
    Samples expected;
    for (int i = 0; i < 9; ++i)
        expected.push_back({kYear + i, i});
    write(expected);
    for (int i = 0; i < 9; ++i) {
        expected[static_cast<size_t>(i)].second = 100 + i;
        EXPECT_TRUE(write({{kYear + i, 100 + i}}));
        ASSERT_EQ(storedSamples(storage), expected) << i;
    }
}

TEST_F(Writing, AnEqualValueChangesNothing)
{
    write({{kYear, 5}, {kYear + 1, 6}});
    log.lines.clear();
    const QByteArray before = readFile(yearFile);
    EXPECT_TRUE(storage.writeDataRecords({{kYear, 5}, {kYear + 1, 6.0}}, true, true));
    EXPECT_EQ(readFile(yearFile), before);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(Writing, AValueThatOnlyEqualsAfterNarrowingIsAnOverwrite)
{
    TSFileStorage series = makeStorage(QMetaType::Int);
    series.writeDataRecords({{kYear, 3}}, false, false);
    series.writeDataRecords({{kYear, 2.5}}, false, false);
    ASSERT_EQ(lines(4).size(), 1u);
    EXPECT_TRUE(lines(4).front().ends_with("old:3, new:2.5"));
    EXPECT_EQ(storedTexts(series), Texts{std::to_string(kYear) + " int 3"});
}

TEST_F(Writing, NaNNeverEqualsTheStoredNaN)
{
    write({{kYear, std::nan("")}});
    write({{kYear, std::nan("")}});
    EXPECT_EQ(lines(4).size(), 1u);
    EXPECT_EQ(storedSamples(storage).size(), 1u);
}

TEST_F(Writing, PlaceholdersInsideValuesStayText)
{
    TSFileStorage series = makeStorage(QMetaType::Double);
    series.writeDataRecords({{kYear, 1}}, false, false);
    series.writeDataRecords({{kYear, QVariant("%1 %3")}}, false, false);
    ASSERT_EQ(lines(4).size(), 1u);
    EXPECT_TRUE(lines(4).front().ends_with("old:1, new:%1 %3"));
}

TEST_F(Writing, AnOverwriteInFrontOfAppendsKeepsAppending)
{
    write({{kYear, 1}, {kYear + 10, 2}});
    EXPECT_TRUE(write({{kYear + 10, 3}, {kYear + 20, 4}, {kYear + 30, 5}, {kYear + 30, 6}, {kYear + 40, 7}}));
    EXPECT_EQ(storedSamples(storage),
              (Samples{{kYear, 1}, {kYear + 10, 3}, {kYear + 20, 4}, {kYear + 30, 6}, {kYear + 40, 7}}));
}

TEST_F(Writing, AnExceptionOfTheLogDoesNotEndTheWrite)
{
    write({{kYear, 1}});
    std::vector<std::string> received;
    Logger::instance().setSink([&received](unsigned char level, const QString& text, const char*, int) {
        received.push_back(std::to_string(level) + " " + text.toStdString());
        if (text.startsWith(u"Value on"))
            throw std::runtime_error("log is full");
    });
    EXPECT_TRUE(write({{kYear, 2}, {kYear + 1, 3}}));
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received.back(), "2 Exception on log overwritten: 'log is full'");
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 2}, {kYear + 1, 3}}));
}

} // namespace
} // namespace Kiv::Testing
