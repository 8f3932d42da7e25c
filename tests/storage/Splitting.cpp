// Files that outgrow the size limit: when they are split, into what, and what a split keeps.

#include "storage/StorageTest.h"
#include "support/FaultsForTest.h"

#include <QDataStream>
#include <QFile>

#include <algorithm>
#include <cerrno>

namespace Kiv::Testing
{
namespace
{

class Splitting : public StorageTest
{
protected:
    /// Splits the file that holds a timestamp, with a limit in bytes.
    bool split(QMetaType::Type type, int limitBytes, qint64 timestamp)
    {
        TSFileStorage storage = makeStorage(type, limitBytes);
        const TSFileInfo info = storage.findFile(timestamp);
        EXPECT_TRUE(info.found());
        QFile file(info.filePath());
        return storage.checkMaxFileSize(&file, info);
    }

    Samples fill(const Samples& samples)
    {
        TSFileStorage storage = makeStorage();
        EXPECT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
        return samples;
    }

    Samples stored() const
    {
        TSFileStorage storage = makeStorage();
        return storedSamples(storage);
    }

    /// One record whose value makes the companion exactly as large as wanted.
    void fillVar(qint64 varBytes)
    {
        TSFileStorage storage = makeStorage(QMetaType::QByteArray);
        storage.writeDataRecords({{kYear, QByteArray(varBytes - 9, 'x')}}, false, false);
        EXPECT_EQ(readFile(at("V/2024.var")).size(), varBytes);
    }
};

// --- When ------------------------------------------------------------------------------------------------

TEST_F(Splitting, AFileAtTheLimitIsLeft)
{
    const Samples samples = fill({{kYear, 1}, {kYear + 1, 2}});
    EXPECT_FALSE(split(QMetaType::Double, 26, kYear));
    EXPECT_EQ(files(), Texts{"D/2024"});
}

TEST_F(Splitting, AFileOneByteOverTheLimitIsSplit)
{
    const Samples samples = fill({{kYear, 1}, {kYear + 1, 2}});
    EXPECT_TRUE(split(QMetaType::Double, 25, kYear));
    EXPECT_EQ(files(), Texts{"D/2024/01"});
    EXPECT_EQ(stored(), samples);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Splitting, ACompanionUpToTenTimesTheLimitIsLeft)
{
    fillVar(10 * 100 + 9);
    EXPECT_FALSE(split(QMetaType::QByteArray, 100, kYear));
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
}

TEST_F(Splitting, ACompanionBeyondTenTimesTheLimitIsSplit)
{
    fillVar(10 * (100 + 1));
    EXPECT_TRUE(split(QMetaType::QByteArray, 100, kYear));
    EXPECT_EQ(files(), (Texts{"V/2024/01", "V/2024/01.var"}));
}

TEST_F(Splitting, AMinuteFileIsNeverSplit)
{
    makeDirectory(at("D/2024/01/01/00"));
    fill({{kYear, 1}, {kYear + 1, 2}});
    EXPECT_FALSE(split(QMetaType::Double, 1, kYear));
    EXPECT_EQ(files(), Texts{"D/2024/01/01/00/00"});
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Splitting, ALimitOfZeroSplitsEveryFileThatHoldsAnything)
{
    fill({{kYear, 1}});
    EXPECT_TRUE(split(QMetaType::Double, 0, kYear));
    EXPECT_EQ(files(), Texts{"D/2024/01"});
    writeFile(at("D/2025"));
    EXPECT_FALSE(split(QMetaType::Double, 0, utc(2025)));
}

// --- Into what -------------------------------------------------------------------------------------------

TEST_F(Splitting, EachDepthSplitsIntoTheNext)
{
    const Samples samples = fill({{utc(2024, 5, 17, 13, 45, 12), 1}, {utc(2024, 5, 17, 13, 46), 2}});
    const Texts names = {"D/2024", "D/2024/05", "D/2024/05/17", "D/2024/05/17/13"};
    for (size_t depth = 0; depth < names.size(); ++depth) {
        EXPECT_EQ(files(), Texts{names[depth]});
        EXPECT_TRUE(split(QMetaType::Double, 1, samples.front().first));
        EXPECT_EQ(stored(), samples);
    }
    EXPECT_EQ(files(), (Texts{"D/2024/05/17/13/45", "D/2024/05/17/13/46"}));
    EXPECT_EQ(readFile(at("D/2024/05/17/13/45")).size(), 10);
}

TEST_F(Splitting, AMonthGivesOneFilePerDay)
{
    makeDirectory(at("D/2024"));
    const Samples samples = fill({{utc(2024, 2, 1), 1},
                                  {utc(2024, 2, 1, 23, 59, 59, 999), 2},
                                  {utc(2024, 2, 2), 3},
                                  {utc(2024, 2, 29, 12), 4}});
    EXPECT_TRUE(split(QMetaType::Double, 10, utc(2024, 2)));
    EXPECT_EQ(files(), (Texts{"D/2024/02/01", "D/2024/02/02", "D/2024/02/29"}));
    EXPECT_EQ(stored(), samples);
    EXPECT_TRUE(QFileInfo(at("D/2024/02")).isDir());
}

TEST_F(Splitting, VariableValuesMoveIntoNewCompanions)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    storage.writeDataRecords({{utc(2024, 1), "a"}, {utc(2024, 2), 5}, {utc(2024, 2) + 1, QVariant()}}, false,
                             false);
    const Texts before = storedTexts(storage);
    EXPECT_TRUE(split(QMetaType::QString, 20, kYear));
    EXPECT_EQ(files(), (Texts{"V/2024/01", "V/2024/01.var", "V/2024/02", "V/2024/02.var"}));
    EXPECT_EQ(storedTexts(storage), before);
    EXPECT_EQ(hexOf(at("V/2024/02")), "0000000000000000"
                                      "0000000100000009");
}

TEST_F(Splitting, ValuesThatNoRecordPointsAtAreLeftBehind)
{
    writeFile(at("V/2024"), fromHex("000000000000000004"));
    writeFile(at("V/2024.var"), "dead" + fromHex("000000020000000005") + "dead");
    EXPECT_TRUE(split(QMetaType::QString, 1, kYear));
    EXPECT_EQ(hexOf(at("V/2024/01")), "0000000000000000");
    EXPECT_EQ(hexOf(at("V/2024/01.var")), "000000020000000005");
}

TEST_F(Splitting, ATornTailIsDropped)
{
    const Samples samples = fill({{kYear, 1}, {utc(2024, 2), 2}});
    appendToFile(at("D/2024"), "torn");
    EXPECT_TRUE(split(QMetaType::Double, 1, kYear));
    EXPECT_EQ(stored(), samples);
    EXPECT_EQ(readFile(at("D/2024/02")).size(), 12);
}

TEST_F(Splitting, OfAnUnsortedFileContinuesAPeriodThatWasBegun)
{
    TSFileStorage storage = makeStorage();
    const Samples samples = {{utc(2024, 5), 1}, {utc(2024, 6), 2}};
    storage.writeDataRecordsInt(recordsOf(samples), false, false, true);
    storage.writeDataRecordsInt(recordsOf({{utc(2024, 5) + 7, 3}}), false, false, true);
    storage.writeDataRecordsInt(recordsOf({{utc(2024, 6) + 7, 4}}), false, false, true);
    EXPECT_TRUE(split(QMetaType::Double, 1, kYear));
    EXPECT_EQ(stored(),
              (Samples{{utc(2024, 5), 1}, {utc(2024, 5) + 7, 3}, {utc(2024, 6), 2}, {utc(2024, 6) + 7, 4}}));
}

TEST_F(Splitting, OfAnUnsortedFileContinuesAPeriodOfMoreThanIsHeldInMemory)
{
    // A new file is written in pieces of 1 MiB: 100,000 records of 12 bytes are more than one.
    constexpr qint64 kCount = 100'000;
    const qint64 may = utc(2024, 5);
    const Samples before = {{utc(2024, 6), 2}};
    const Samples after = {{may + kCount, 3}};
    Samples large;
    for (qint64 i = 0; i < kCount; ++i)
        large.emplace_back(may + i, static_cast<double>(i % 1000));
    TSFileStorage storage = makeStorage();
    for (const Samples& samples : {large, before, after})
        storage.writeDataRecordsInt(recordsOf(samples), false, false, true);
    ASSERT_TRUE(split(QMetaType::Double, 1, kYear));

    Samples expected = large;
    expected.insert(expected.end(), after.begin(), after.end());
    expected.insert(expected.end(), before.begin(), before.end());
    EXPECT_EQ(stored(), expected);
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    for (const Record& record : recordsOf(expected))
        if (record.timestamp < utc(2024, 6))
            storage.writeDataRecord(stream, record, may, TSFileInfo::DirDepthMonth);
    EXPECT_EQ(readFile(at("D/2024/05")), bytes);
}

TEST_F(Splitting, OfFloatsKeepsTheirRecords)
{
    TSFileStorage storage = makeStorage(QMetaType::Float);
    storage.writeDataRecords({{utc(2024, 1), 1.5f}, {utc(2024, 2), 2.5f}}, false, false);
    const Texts before = storedTexts(storage);
    EXPECT_TRUE(split(QMetaType::Float, 25, kYear));
    EXPECT_EQ(files(), (Texts{"F/2024/01", "F/2024/02"}));
    EXPECT_EQ(storedTexts(storage), before);
}

// --- By writing ------------------------------------------------------------------------------------------

TEST_F(Splitting, FollowsTheWriteThatOutgrowsTheLimit)
{
    TSFileStorage storage = makeStorage(QMetaType::Double, 26);
    storage.writeDataRecords(recordsOf({{kYear, 1}, {utc(2024, 2), 2}}), false, false);
    EXPECT_EQ(files(), Texts{"D/2024"});
    storage.writeDataRecords(recordsOf({{utc(2024, 3), 3}}), false, false);
    EXPECT_EQ(files(), (Texts{"D/2024/01", "D/2024/02", "D/2024/03"}));
}

TEST_F(Splitting, ChecksEveryFileOfABatch)
{
    TSFileStorage storage = makeStorage(QMetaType::Double, 13);
    EXPECT_TRUE(storage.writeDataRecords(
        recordsOf({{utc(2022), 1}, {utc(2022, 7), 2}, {utc(2023), 3}, {utc(2024), 4}, {utc(2024, 7), 5}}),
        false, false));
    EXPECT_EQ(files(), (Texts{"D/2022/01", "D/2022/07", "D/2023", "D/2024/01", "D/2024/07"}));
}

TEST_F(Splitting, DoesNotCheckTheNewFilesUntilTheyAreWritten)
{
    TSFileStorage storage = makeStorage(QMetaType::Double, 30);
    storage.writeDataRecords(recordsOf({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}}), false, false);
    EXPECT_EQ(files(), Texts{"D/2024/01"}); // 36 bytes
    storage.writeDataRecords(recordsOf({{kYear + 3, 4}}), false, false);
    EXPECT_EQ(files(), Texts{"D/2024/01/01"});
    EXPECT_EQ(storedSamples(storage), (Samples{{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}, {kYear + 3, 4}}));
}

TEST_F(Splitting, EndsWithTheSameSamplesHoweverOftenItHappens)
{
    TSFileStorage storage = makeStorage(QMetaType::Double, 40);
    Samples all;
    for (int i = 0; i < 300; ++i) {
        all.push_back({kYear + i * 7'000'001LL % 90'000'000, i});
        storage.writeDataRecords(recordsOf({all.back()}), false, false);
    }
    std::sort(all.begin(), all.end());
    EXPECT_EQ(storedSamples(storage), all);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Splitting, AVariableOverwriteThatSplitsIsNotReorganised)
{
    TSFileStorage storage = makeStorage(QMetaType::QByteArray, 100);
    storage.writeDataRecords({{kYear, "a"}}, false, false);
    storage.writeDataRecords({{kYear, QByteArray(2000, 'x')}}, false, false);
    EXPECT_EQ(files(), (Texts{"V/2024/01", "V/2024/01.var"}));
    EXPECT_EQ(readFile(at("V/2024/01.var")).size(), 2009);
    EXPECT_TRUE(lines(7).empty());
}

// --- Failures --------------------------------------------------------------------------------------------

TEST_F(Splitting, OfAFileThatDoesNotOpenLeavesIt)
{
    const Samples samples = fill({{kYear, 1}, {utc(2024, 2), 2}});
    {
        const UnopenableFile broken(at("D/2024"));
        EXPECT_FALSE(split(QMetaType::Double, 1, kYear));
    }
    EXPECT_EQ(lines(4), attemptLines("Read,", at("D/2024")));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2024"), " for read (checkMaxFileSize)")});
    EXPECT_EQ(stored(), samples);
}

TEST_F(Splitting, WithAValueThatCannotBeReadLeavesTheFile)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    storage.writeDataRecords({{kYear, "a"}, {utc(2024, 2), "b"}}, false, false);
    QFile::remove(at("V/2024.var"));
    const QByteArray before = readFile(at("V/2024"));
    EXPECT_FALSE(split(QMetaType::QString, 1, kYear));
    EXPECT_EQ(files(), Texts{"V/2024"});
    EXPECT_EQ(readFile(at("V/2024")), before);
    expectLine(2, quoted("Could not open ", at("V/2024.var"), " for read (readCurrDataRecord)"), 388);
}

TEST_F(Splitting, WithADamagedValueLeavesTheFile)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    storage.writeDataRecords({{kYear, "a"}, {utc(2024, 2), "b"}}, false, false);
    writeFile(at("V/2024.var"), readFile(at("V/2024.var")).chopped(1));
    const QByteArray before = readFile(at("V/2024"));
    EXPECT_FALSE(split(QMetaType::QString, 1, kYear));
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
    EXPECT_EQ(readFile(at("V/2024")), before);
}

TEST_F(Splitting, WhoseNewFileDoesNotOpenEndsThere)
{
    fill({{kYear, 1}, {utc(2024, 2), 2}, {utc(2024, 3), 3}});
    const UnopenableFile broken(at("D/2024/02"));
    EXPECT_FALSE(split(QMetaType::Double, 1, kYear));
    EXPECT_EQ(lines(4), attemptLines("Write,", at("D/2024/02")));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2024/02"), " for write (checkMaxFileSize)")});
    EXPECT_EQ(files(), Texts{"D/2024/01"});
}

TEST_F(Splitting, ThatTheSystemRefusesFailsTheWrite)
{
    TSFileStorage storage = makeStorage(QMetaType::Double, 26);
    storage.writeDataRecords(recordsOf({{kYear, 1}, {utc(2024, 2), 2}}), false, false);
    FaultsForTest faults;
    faults.failCall(0, FaultsForTest::Failure::Once);
    int writes = 0;
    const auto real = Internal::seams().write;
    Internal::seams().write = [&](int fd, const char* bytes, size_t count, off_t position) -> ssize_t {
        errno = ENOSPC;
        return ++writes == 2 ? -1 : real(fd, bytes, count, position); // the first one appends the record
    };
    EXPECT_FALSE(storage.writeDataRecords(recordsOf({{utc(2024, 3), 3}}), false, false));
    ASSERT_EQ(lines(2).size(), 1u);
    EXPECT_TRUE(lines(2).front().starts_with("Could not write '" + at("D/2024").toStdString()));
    EXPECT_TRUE(lines(2).front().ends_with("' (checkMaxFileSize)"));
}

} // namespace
} // namespace Kiv::Testing
