// Reading ranges: raw records from the right files, neighbours of the range, limits, methods.

#include "storage/StorageTest.h"

#include <QFile>

#include <algorithm>

namespace Kiv::Testing
{
namespace
{

class Reading : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};
    int m_limit = 0; ///< as the last read left it

    void fill(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
    }

    Samples read(qint64 start, qint64 end, int limit = 0, const Interpolate::InterpolateParam& param = {})
    {
        Records records;
        m_limit = limit;
        EXPECT_TRUE(
            storage.readDataRecords(param, {}, start, end, records, false, m_limit, nullptr, nullptr));
        return samplesOf(records);
    }

    Samples readMethod(const char* method, qint64 intervalS, qint64 start, qint64 end)
    {
        Interpolate::InterpolateParam param;
        param.method = QString::fromLatin1(method);
        param.interval = intervalS;
        return read(start, end, 0, param);
    }

    /// Paths that are opened while a function runs.
    template <typename Function>
    Texts opened(Function function)
    {
        return openedBelow(storage.m_dir, function);
    }
};

// --- Raw ranges ------------------------------------------------------------------------------------------

TEST_F(Reading, AnEmptySeriesGivesNothingAndNoLimit)
{
    EXPECT_EQ(read(0, kMaxTimestamp, 5), Samples{});
    EXPECT_EQ(m_limit, 0);
    makeDirectory(at("D"));
    EXPECT_EQ(read(0, kMaxTimestamp, 5), Samples{});
    EXPECT_EQ(m_limit, 0);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Reading, ARangeHoldsBothItsEnds)
{
    const Samples all = {{kYear + 1, 1}, {kYear + 2, 2}, {kYear + 3, 3}, {kYear + 4, 4}};
    fill(all);
    EXPECT_EQ(read(kYear + 2, kYear + 3), (Samples{{kYear + 2, 2}, {kYear + 3, 3}}));
    EXPECT_EQ(read(kYear + 4, kYear + 4), (Samples{{kYear + 4, 4}}));
    EXPECT_EQ(read(kMinTimestamp, kMaxTimestamp), all);
    EXPECT_EQ(read(kYear + 5, kYear + 9), Samples{});
    EXPECT_EQ(read(kYear - 9, kYear), Samples{});
    EXPECT_EQ(read(kYear + 3, kYear + 2), Samples{});
}

TEST_F(Reading, ARangeThatStartsInsideAFileStartsAtTheFirstRecordNotBeforeIt)
{
    Samples all;
    for (int i = 0; i < 20; ++i)
        all.push_back({kYear + 10 * i, i});
    fill(all);
    for (int start = 0; start <= 200; ++start) {
        Samples expected;
        for (const Sample& sample : all) {
            if (sample.first >= kYear + start)
                expected.push_back(sample);
        }
        ASSERT_EQ(read(kYear + start, kMaxTimestamp), expected) << start;
    }
}

TEST_F(Reading, EverySubrangeGivesItsRecords)
{
    Samples all;
    for (int i = 0; i < 12; ++i)
        all.push_back({utc(2024, 1 + i), i});
    makeDirectory(at("D/2024"));
    fill(all);
    for (size_t from = 0; from < all.size(); ++from) {
        for (size_t to = from; to < all.size(); ++to) {
            ASSERT_EQ(read(all[from].first, all[to].first),
                      Samples(all.begin() + static_cast<std::ptrdiff_t>(from),
                              all.begin() + static_cast<std::ptrdiff_t>(to) + 1));
        }
    }
}

TEST_F(Reading, SymbolsStandForTheFirstAndTheLastRecordAndNow)
{
    fill({{kYear, 1}, {kYear + 10, 2}, {kYear + 20, 3}});
    EXPECT_EQ(read(-2, -3).size(), 3u);
    EXPECT_EQ(read(-3, -3), (Samples{{kYear + 20, 3}}));
    EXPECT_EQ(read(-2, -2), (Samples{{kYear, 1}}));
    seams.nowUs = (kYear + 15) * 1000;
    EXPECT_EQ(read(-2, -1), (Samples{{kYear, 1}, {kYear + 10, 2}}));
}

TEST_F(Reading, ResultsAreAppended)
{
    fill({{kYear, 1}});
    Records records = {{7, 7}};
    int limit = 0;
    storage.readDataRecords({}, {}, -2, -3, records, false, limit, nullptr, nullptr);
    EXPECT_EQ(samplesOf(records), (Samples{{7, 7}, {kYear, 1}}));
}

TEST_F(Reading, AllDepthsAreReadInTimeOrder)
{
    makeDirectory(at("D/2024/05/17/13"));
    const Samples all = {{utc(2023), 1},
                         {utc(2024, 1), 2},
                         {utc(2024, 5, 16), 3},
                         {utc(2024, 5, 17, 12), 4},
                         {utc(2024, 5, 17, 13, 45), 5},
                         {utc(2024, 5, 17, 13, 45, 59, 999), 6},
                         {utc(2025), 7}};
    fill(all);
    EXPECT_EQ(files().size(), 6u);
    EXPECT_EQ(read(kMinTimestamp, kMaxTimestamp), all);
    EXPECT_EQ(read(utc(2024, 2), utc(2024, 12)), Samples(all.begin() + 2, all.begin() + 6));
}

TEST_F(Reading, NegativeTimesAreRead)
{
    const Samples all = {{utc(1900), 1}, {-1, 2}, {0, 3}};
    fill(all);
    EXPECT_EQ(read(kMinTimestamp, 0), all);
    EXPECT_EQ(read(utc(1960), -4), Samples{});
}

TEST_F(Reading, DuplicatesOfTheStartAreAllRead)
{
    for (int i = 0; i < 9; ++i)
        storage.writeDataRecordsInt(recordsOf({{kYear + (i < 2   ? 0
                                                         : i < 7 ? 10
                                                                 : 20),
                                                i}}),
                                    false, false, true);
    EXPECT_EQ(read(kYear + 10, kYear + 10),
              (Samples{{kYear + 10, 2}, {kYear + 10, 3}, {kYear + 10, 4}, {kYear + 10, 5}, {kYear + 10, 6}}));
    EXPECT_EQ(read(kYear + 20, kYear + 20).size(), 2u);
    EXPECT_EQ(read(kYear, kYear).size(), 2u);
}

TEST_F(Reading, ATornTailIsNeverDelivered)
{
    fill({{kYear, 1}, {kYear + 1, 2}});
    for (int torn = 1; torn < 13; ++torn) {
        appendToFile(at("D/2024"), QByteArray(1, '\0'));
        ASSERT_EQ(read(kMinTimestamp, kMaxTimestamp), (Samples{{kYear, 1}, {kYear + 1, 2}})) << torn;
        ASSERT_EQ(read(kYear + 1, kMaxTimestamp), (Samples{{kYear + 1, 2}})) << torn;
    }
}

TEST_F(Reading, AFileWithoutAWholeRecordGivesNothing)
{
    fill({{utc(2023), 1}, {utc(2025), 3}});
    writeFile(at("D/2024"), "torn");
    EXPECT_EQ(read(kMinTimestamp, kMaxTimestamp), (Samples{{utc(2023), 1}, {utc(2025), 3}}));
}

TEST_F(Reading, FloatsAreReadInTheBytesTheyTake)
{
    TSFileStorage series = makeStorage(QMetaType::Float);
    series.writeDataRecords({{kYear, 1.5f}, {kYear + 1, 2.5f}, {kYear + 2, 3.5f}}, false, false);
    EXPECT_EQ(textsOf(readRaw(series, kMinTimestamp, kYear + 1)),
              (Texts{std::to_string(kYear) + " float 1.5", std::to_string(kYear + 1) + " float 2.5"}));
}

TEST_F(Reading, EveryValueTypeComesBackAsItself)
{
    const struct {
        QMetaType::Type type;
        QVariant value;
        const char* text;
    } rows[] = {{QMetaType::Bool, true, "bool true"},
                {QMetaType::Int, -5, "int -5"},
                {QMetaType::UInt, 5u, "uint 5"},
                {QMetaType::LongLong, qlonglong{-5}, "qlonglong -5"},
                {QMetaType::ULongLong, qulonglong{5}, "qulonglong 5"},
                {QMetaType::Double, 2.5, "double 2.5"},
                {QMetaType::Short, -5, "int -5"},
                {QMetaType::Char, -5, "int -5"},
                {QMetaType::UShort, 65535, "int 65535"},
                {QMetaType::UChar, 255, "int 255"},
                {QMetaType::Float, 2.5f, "float 2.5"},
                {QMetaType::QString, "x", "QString x"},
                {QMetaType::QVariantList, QVariantList{1, "x"}, "[int 1, QString x]"}};
    for (const auto& row : rows) {
        const SeriesDirectory place;
        TSFileStorage series(place.base(), row.type, kNoSizeLimit);
        series.writeDataRecords({{kYear, row.value}}, false, false);
        EXPECT_EQ(textsOf(readRaw(series, kMinTimestamp, kMaxTimestamp)),
                  Texts{std::to_string(kYear) + " " + row.text});
    }
}

// --- Which files are opened ------------------------------------------------------------------------------

TEST_F(Reading, OnlyFilesOfTheRangeAreOpened)
{
    fill({{utc(2020), 1}, {utc(2021), 2}, {utc(2022), 3}, {utc(2023), 4}, {utc(2024), 5}});
    const Texts names = opened([&] { read(utc(2021, 6), utc(2022, 6)); });
    // The first and the last file for the range of the series, then those of the range and the one that ends
    // it.
    EXPECT_EQ(names, (Texts{"2020", "2024", "2021", "2022", "2023"}));
}

TEST_F(Reading, AFileThatDoesNotOpenIsSkippedWithALine)
{
    fill({{utc(2023), 1}, {utc(2024), 2}, {utc(2025), 3}});
    const UnopenableFile broken(at("D/2024"));
    EXPECT_EQ(read(kMinTimestamp, kMaxTimestamp), (Samples{{utc(2023), 1}, {utc(2025), 3}}));
    EXPECT_EQ(lines(4), attemptLines("Read,", at("D/2024")));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2024"), " for read (readDataRecords)")});
}

TEST_F(Reading, ASeriesWhoseFirstFileDoesNotOpenGivesNothing)
{
    fill({{utc(2023), 1}, {utc(2024), 2}});
    const UnopenableFile broken(at("D/2023"));
    EXPECT_EQ(read(utc(2024), kMaxTimestamp, 5), Samples{});
    EXPECT_EQ(m_limit, 0);
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2023"), " for read (getFirstDataRecord)")});
}

TEST_F(Reading, ValuesOfAMissingCompanionAreNullAndLogged)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    series.writeDataRecords({{kYear, "a"}, {kYear + 1, "b"}, {kYear + 2, "c"}}, false, false);
    QFile::remove(at("V/2024.var"));
    const Records records = readRaw(series, kYear, kYear + 2);
    ASSERT_EQ(records.size(), 3u);
    for (const Record& record : records)
        EXPECT_TRUE(record.value.isNull());
    // One for the first and one for the last record of the series, one for each of the three.
    EXPECT_EQ(lines(2),
              Texts(5, quoted("Could not open ", at("V/2024.var"), " for read (readCurrDataRecord)")));
}

// --- Limits ----------------------------------------------------------------------------------------------

TEST_F(Reading, ALimitEndsARawRead)
{
    Samples all;
    for (int i = 0; i < 100; ++i)
        all.push_back({kYear + i, i});
    fill(all);
    EXPECT_EQ(read(kYear, kYear + 200, 5), Samples(all.begin(), all.begin() + 5));
    EXPECT_EQ(m_limit, 5);
}

TEST_F(Reading, ALimitThatIsNotReachedComesBackAsZero)
{
    fill({{kYear, 1}, {kYear + 1, 2}});
    EXPECT_EQ(read(kYear, kYear + 9, 5).size(), 2u);
    EXPECT_EQ(m_limit, 0);
}

TEST_F(Reading, AReachedLimitOpensNoFurtherFile)
{
    fill({{utc(2023), 1}, {utc(2024), 2}, {utc(2025), 3}});
    const Texts names = opened([&] { EXPECT_EQ(read(utc(2023), utc(2025), 1).size(), 1u); });
    EXPECT_EQ(names, (Texts{"2023", "2025", "2023"}));
}

// --- Around the range ------------------------------------------------------------------------------------

TEST_F(Reading, AMethodGetsTheRecordBeforeItsRange)
{
    fill({{kYear, 1}, {kYear + 100'000, 2}, {kYear + 200'000, 3}});
    EXPECT_EQ(readMethod("prev align fill", 10, kYear + 50'000, kYear + 60'000),
              (Samples{{kYear + 50'000, 1}, {kYear + 60'000, 1}}));
}

TEST_F(Reading, AMethodGetsTheFirstRecordAfterItsRange)
{
    fill({{kYear, 1}, {kYear + 100'000, 2}, {kYear + 200'000, 3}});
    EXPECT_EQ(readMethod("next align fill", 10, kYear + 50'000, kYear + 60'000),
              (Samples{{kYear + 50'000, 2}, {kYear + 60'000, 2}}));
}

TEST_F(Reading, TheRecordAfterTheRangeMayLieInTheNextFile)
{
    fill({{utc(2024, 12, 31), 1}, {utc(2025, 6), 2}, {utc(2026), 3}});
    const qint64 newYear = utc(2025);
    Samples samples;
    const Texts names =
        opened([&] { samples = readMethod("next align fill", 10, newYear - 30'000, newYear - 20'000); });
    EXPECT_EQ(samples, (Samples{{newYear - 30'000, 2}, {newYear - 20'000, 2}}));
    EXPECT_EQ(std::count(names.begin(), names.end(), "2026"), 1); // only for the last record of the series
}

TEST_F(Reading, SeveralPreviousRecordsAreAskedForButOneIsThere)
{
    fill({{kYear, 1}, {kYear + 55'000, 4}, {kYear + 100'000, 9}});
    // Differences of previous values ask for two records before the range; one is stored.
    EXPECT_EQ(readMethod("diffprevfill", 10, kYear + 50'000, kYear + 60'000),
              (Samples{{kYear + 50'000, 0}, {kYear + 55'000, 3}}));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Reading, ASearchBeforeTheFirstRecordOfAFileFeedsThatRecordAgain)
{
    fill({{kYear + 5'000, 1}, {kYear + 55'000, 4}, {kYear + 100'000, 9}});
    EXPECT_EQ(readMethod("diffprevfill", 10, kYear + 50'000, kYear + 60'000),
              (Samples{{kYear + 5'000, 0}, {kYear + 55'000, 3}}));
}

TEST_F(Reading, ALimitCountsWhatTheVectorHeldBefore)
{
    fill({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}, {kYear + 3, 4}});
    struct Case {
        std::size_t before;
        int limit;
        std::size_t after;
        int limitAfter;
    };
    for (const Case& one : {Case{3, 5, 5, 5}, Case{3, 2, 4, 4}, Case{0, 1, 1, 1}, Case{0, 9, 4, 0}}) {
        Records records(one.before, Record(7, 7.0));
        int limit = one.limit;
        storage.readDataRecords({}, {}, -2, -3, records, false, limit, nullptr, nullptr);
        EXPECT_EQ(records.size(), one.after);
        EXPECT_EQ(limit, one.limitAfter);
    }
}

TEST_F(Reading, ManySmallReadsIntoOneVectorDoNotMoveItEachTime)
{
    fill({{kYear, 1}, {kYear + 1, 2}});
    Records records;
    int moveCount = 0;
    for (int i = 0; i < 1000; ++i) {
        const Record* const before = records.data();
        int limit = 0;
        storage.readDataRecords({}, {}, kYear, kYear, records, false, limit, nullptr, nullptr);
        moveCount += records.data() != before ? 1 : 0;
    }
    EXPECT_EQ(records.size(), 1000U);
    EXPECT_LE(moveCount, 12);
}

TEST_F(Reading, AWholeRawReadTakesNoMoreRoomThanItsRecords)
{
    TSFileStorage series(directory.base(), QMetaType::Double, 20'000);
    Samples samples;
    for (int i = 0; i < 20'000; ++i)
        samples.emplace_back(kYear + 57 + i * 60'000LL, i);
    for (int batch = 0; batch < 4; ++batch)
        ASSERT_TRUE(series.writeDataRecords(
            recordsOf({samples.begin() + batch * 5000, samples.begin() + (batch + 1) * 5000}), false, false));
    const Records all = readRaw(series, -2, -3);
    EXPECT_EQ(all.size(), samples.size());
    EXPECT_EQ(all.capacity(), samples.size());
    const Records some = readRaw(series, kYear + 1'000'000, kYear + 900'000'000);
    EXPECT_LT(some.capacity(), some.size() + some.size() / 10);
}

TEST_F(Reading, ARangeAtTheEndOfAllTimeBesideAStrayFileIsEmpty)
{
    fill({{kYear, 1}});
    writeFile(at("D/tmp1"), QByteArray(26, 'x'));
    EXPECT_EQ(read(kMaxTimestamp, kMaxTimestamp), Samples{});
}

TEST_F(Reading, AVariableSeriesIsReadRawWhateverTheInterval)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    series.writeDataRecords({{kYear, "a"}, {kYear + 1, "b"}}, false, false);
    Interpolate::InterpolateParam param;
    param.method = QStringLiteral("prev");
    param.interval = 10;
    Records records;
    int limit = 0;
    series.readDataRecords(param, {}, -2, -3, records, false, limit, nullptr, nullptr);
    EXPECT_EQ(records.size(), 2u);
    EXPECT_EQ(lines(4), Texts{"No interval support for variant"});
}

TEST_F(Reading, AnUnknownMarkerGivesNothingAndNoLimit)
{
    fill({{kYear, 1}});
    Records records;
    int limit = 7;
    EXPECT_TRUE(storage.readDataRecordsInt({}, {}, -2, -3, records, false, limit, "X", false));
    EXPECT_TRUE(records.empty());
    EXPECT_EQ(limit, 0);
}

} // namespace
} // namespace Kiv::Testing
