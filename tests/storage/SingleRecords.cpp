// The four queries of one record: first, last, exact, previous.

#include "storage/StorageTest.h"

#include <QFile>

namespace Kiv::Testing
{
namespace
{

class SingleRecord : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};

    void fill(const Samples& samples)
    {
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
    }

    static Sample sampleOf(bool found, const Record& record)
    {
        return found ? Sample{record.timestamp, record.value.toDouble()} : Sample{-1, -1};
    }

    Sample first()
    {
        Record record;
        return sampleOf(storage.getFirstDataRecord(record), record);
    }
    Sample last()
    {
        Record record;
        return sampleOf(storage.getLastDataRecord(record), record);
    }
    Sample find(qint64 ts)
    {
        Record record;
        return sampleOf(storage.findDataRecord(ts, record), record);
    }
    Sample findPrevious(qint64 ts)
    {
        Record record;
        return sampleOf(storage.findPrevDataRecord(ts, record), record);
    }

    const Sample m_none = {-1, -1};
};

class ThreeRecords : public SingleRecord
{
protected:
    ThreeRecords() { fill({{kYear + 1000, 1}, {kYear + 2000, 2}, {kYear + 3000, 3}}); }

    const Sample m_one = {kYear + 1000, 1};
    const Sample m_two = {kYear + 2000, 2};
    const Sample m_three = {kYear + 3000, 3};
};

TEST_F(SingleRecord, OfAnEmptySeriesIsNotFound)
{
    Record record(42, 7);
    EXPECT_FALSE(storage.getFirstDataRecord(record));
    EXPECT_FALSE(storage.getLastDataRecord(record));
    EXPECT_FALSE(storage.findDataRecord(kYear, record));
    EXPECT_FALSE(storage.findPrevDataRecord(kYear, record));
    EXPECT_EQ(textOf(record), "42 int 7");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ThreeRecords, HaveAFirstAndALast)
{
    EXPECT_EQ(first(), m_one);
    EXPECT_EQ(last(), m_three);
}

TEST_F(ThreeRecords, AreFoundByTheirExactTime)
{
    EXPECT_EQ(find(kYear + 1000), m_one);
    EXPECT_EQ(find(kYear + 2000), m_two);
    EXPECT_EQ(find(kYear + 3000), m_three);
    for (const int offset : {0, 999, 1001, 2500, 3001})
        EXPECT_EQ(find(kYear + offset), m_none) << offset;
}

TEST_F(ThreeRecords, ThePreviousIsWhereTheSearchEnds)
{
    EXPECT_EQ(findPrevious(kYear + 2001), m_two);
    EXPECT_EQ(findPrevious(kYear + 1500), m_one);
    EXPECT_EQ(findPrevious(kYear + 2500), m_three); // stepping back meets 2000, which is below 2499
    EXPECT_EQ(findPrevious(kYear + 3001), m_three);
    EXPECT_EQ(findPrevious(kYear + 9000), m_three);
    EXPECT_EQ(findPrevious(kYear + 2000), m_one);
    EXPECT_EQ(findPrevious(kYear + 1001), m_one);
}

TEST_F(ThreeRecords, BeforeTheFirstOfAFileThePreviousIsThatFirst)
{
    EXPECT_EQ(findPrevious(kYear + 1000), m_one);
    EXPECT_EQ(findPrevious(kYear + 1), m_one);
}

TEST_F(ThreeRecords, BeforeTheFileThereIsNoPrevious)
{
    EXPECT_EQ(findPrevious(kYear), m_none);
    EXPECT_EQ(findPrevious(utc(2020)), m_none);
}

TEST_F(ThreeRecords, AfterTheFileThePreviousIsItsLast)
{
    EXPECT_EQ(findPrevious(utc(2025)), m_three);
    EXPECT_EQ(findPrevious(utc(2025) + 1), m_three);
    EXPECT_EQ(findPrevious(utc(2031)), m_three);
}

TEST_F(ThreeRecords, OfOtherTimesTouchNoFile)
{
    const UnopenableFile broken(at("D/2024"));
    EXPECT_EQ(find(utc(2025)), m_none);
    EXPECT_EQ(find(utc(2023)), m_none);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SingleRecord, OfAnUnsortedFileIsWhereTheSearchEnds)
{
    for (const Sample& sample : Samples{{kYear + 5, 1}, {kYear + 20, 2}, {kYear + 10, 3}})
        storage.writeDataRecordsInt(recordsOf({sample}), false, false, true);
    EXPECT_EQ(findPrevious(kYear + 8), (Sample{kYear + 5, 1}));   // probes 20, 5
    EXPECT_EQ(findPrevious(kYear + 15), (Sample{kYear + 5, 1}));  // probes 20, 5
    EXPECT_EQ(findPrevious(kYear + 25), (Sample{kYear + 10, 3})); // probes 20, 10
    EXPECT_EQ(find(kYear + 20), (Sample{kYear + 20, 2}));
    EXPECT_EQ(find(kYear + 10), m_none);
}

TEST_F(SingleRecord, FirstAndLastLieInTheOutermostFiles)
{
    fill({{utc(2023, 6), 1}, {utc(2024), 2}, {utc(2025, 6), 3}});
    EXPECT_EQ(first(), (Sample{utc(2023, 6), 1}));
    EXPECT_EQ(last(), (Sample{utc(2025, 6), 3}));
}

TEST_F(SingleRecord, TheFileOfTheTimeIsTriedBeforeThePreviousOne)
{
    fill({{utc(2023, 6), 1}, {utc(2024, 6), 2}});
    EXPECT_EQ(findPrevious(utc(2024, 3)), (Sample{utc(2024, 6), 2}));
    EXPECT_EQ(findPrevious(utc(2024)), (Sample{utc(2023, 6), 1}));
}

TEST_F(SingleRecord, AMonthWithoutAFileHasItsPreviousInTheMonthBefore)
{
    makeDirectory(at("D/2024"));
    fill({{utc(2023, 6), 1}, {utc(2024, 2), 2}, {utc(2024, 5), 3}});
    EXPECT_EQ(findPrevious(utc(2024, 3, 9)), (Sample{utc(2024, 2), 2}));
    EXPECT_EQ(findPrevious(utc(2024, 1, 9)), (Sample{utc(2023, 6), 1}));
    EXPECT_EQ(findPrevious(utc(2026)), (Sample{utc(2024, 5), 3}));
}

TEST_F(SingleRecord, ATornTailIsNotTheLast)
{
    fill({{kYear, 1}, {kYear + 1, 2}});
    appendToFile(at("D/2024"), "torn");
    EXPECT_EQ(last(), (Sample{kYear + 1, 2}));
    EXPECT_EQ(findPrevious(kYear + 100), (Sample{kYear + 1, 2}));
}

TEST_F(SingleRecord, OfAnEmptyFileIsItsBaseTimeAndZero)
{
    writeFile(at("D/2024"));
    EXPECT_EQ(first(), (Sample{kYear, 0}));
    EXPECT_EQ(last(), (Sample{kYear, 0}));
}

TEST_F(SingleRecord, OfAnEmptyVariableFileHasNoValueAndOpensNoCompanion)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    writeFile(at("V/2024"));
    Record record;
    EXPECT_TRUE(series.getFirstDataRecord(record));
    EXPECT_EQ(textOf(record), std::to_string(kYear) + " invalid");
    EXPECT_TRUE(series.getLastDataRecord(record));
    EXPECT_EQ(textOf(record), std::to_string(kYear) + " invalid");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(SingleRecord, OfAVariableSeriesHasItsValue)
{
    TSFileStorage series = makeStorage(QMetaType::QString);
    series.writeDataRecords({{kYear, "a"}, {kYear + 1, "b"}}, false, false);
    Record record;
    EXPECT_TRUE(series.getLastDataRecord(record));
    EXPECT_EQ(textOf(record), std::to_string(kYear + 1) + " QString b");
    EXPECT_TRUE(series.findDataRecord(kYear, record));
    EXPECT_EQ(textOf(record), std::to_string(kYear) + " QString a");
}

TEST_F(SingleRecord, OfFloatsIsTakenFromSlotsOfFourByteValues)
{
    TSFileStorage series = makeStorage(QMetaType::Float);
    series.writeDataRecords({{kYear + 1, 1.5f}, {kYear + 2, 0.0f}}, false, false);
    Record record;
    EXPECT_TRUE(series.getFirstDataRecord(record));
    EXPECT_EQ(textOf(record), std::to_string(kYear + 1) + " float 1.5");
    // 26 bytes on disk: the last slot of nine starts at 17, on the last byte of the second offset.
    EXPECT_TRUE(series.getLastDataRecord(record));
    EXPECT_EQ(record.timestamp, kYear + (qint64{2} << 32));
    EXPECT_EQ(record.value.toDouble(), 0.0);
}

TEST_F(ThreeRecords, InAFileThatDoesNotOpenAreNotFound)
{
    const UnopenableFile broken(at("D/2024"));
    const struct {
        Sample result;
        const char* operation;
        int line;
    } rows[] = {
        {first(), " for read (getFirstDataRecord)", 499},
        {last(), " for read (getLastDataRecord)", 526},
        {findPrevious(kYear + 2500), " for read (findPrevDataRecord)", 559},
        {find(kYear + 2000), " for read (findDataRecord)", 605},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.result, m_none);
        expectLine(2, quoted("Could not open ", at("D/2024"), row.operation), row.line);
    }
    EXPECT_EQ(lines(2).size(), 4u);
    EXPECT_EQ(lines(4).size(), 24u);
    EXPECT_EQ(seams.sleptSeconds, 20);
}

TEST_F(SingleRecord, AreFoundForNegativeAndSymbolicLookingTimes)
{
    fill({{-3, 3}, {-2, 2}, {-1, 1}, {0, 9}});
    EXPECT_EQ(find(-1), (Sample{-1, 1}));
    EXPECT_EQ(find(-2), (Sample{-2, 2}));
    EXPECT_EQ(find(-3), (Sample{-3, 3}));
    EXPECT_EQ(find(0), (Sample{0, 9}));
    EXPECT_EQ(findPrevious(0), (Sample{-1, 1}));
}

TEST_F(SingleRecord, OfTheSmallestTimestampNeedsNoEarlierOne)
{
    fill({{kYear, 1}});
    EXPECT_EQ(find(kMinTimestamp), m_none);
    EXPECT_EQ(findPrevious(kMinTimestamp), m_none);
    EXPECT_EQ(findPrevious(kMaxTimestamp), (Sample{kYear, 1}));
}

} // namespace
} // namespace Kiv::Testing
