// Names of tree entries, depths of places and the base times that names stand for.

#include "TSDirControl.h"
#include "TSFileInfo.h"
#include "internal/FilePlace.h"
#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <Poco/DateTime.h>

#include <gtest/gtest.h>

namespace Kiv::Testing
{
namespace
{

TSFileInfo place(const QString& subDir, const QString& name)
{
    return TSFileInfo(QFileInfo(QStringLiteral("/series/D/") + subDir + name), subDir);
}

QString nameAt(const Poco::DateTime& time, int depth)
{
    return TSDirControl(QStringLiteral("/series/D/"))
        .getFileNameForDepth(time, static_cast<TSFileInfo::DirDepth>(depth));
}

// --- Names -----------------------------------------------------------------------------------------------

TEST(EntryName, IsTheCalendarFieldOfItsDepth)
{
    const Poco::DateTime time(2024, 5, 17, 13, 45, 12);
    EXPECT_EQ(nameAt(time, 0), "2024");
    EXPECT_EQ(nameAt(time, 1), "05");
    EXPECT_EQ(nameAt(time, 2), "17");
    EXPECT_EQ(nameAt(time, 3), "13");
    EXPECT_EQ(nameAt(time, 4), "45");
}

TEST(EntryName, IsTheYearForAnUnknownDepth)
{
    const Poco::DateTime time(987, 5, 17);
    EXPECT_EQ(nameAt(time, 5), "0987");
    EXPECT_EQ(nameAt(time, -1), "0987");
}

TEST(EntryName, IsPaddedWithZeros)
{
    const Poco::DateTime time(7, 1, 2, 3, 4);
    EXPECT_EQ(nameAt(time, 0), "0007");
    EXPECT_EQ(nameAt(time, 1), "01");
    EXPECT_EQ(nameAt(time, 2), "02");
    EXPECT_EQ(nameAt(time, 3), "03");
    EXPECT_EQ(nameAt(time, 4), "04");
}

TEST(EntryName, OfMidnightIsZeroZero)
{
    const Poco::DateTime time(2024, 1, 1);
    EXPECT_EQ(nameAt(time, 3), "00");
    EXPECT_EQ(nameAt(time, 4), "00");
}

TEST(EntryName, KeepsAllDigitsOfALongYear)
{
    Internal::CivilFields fields;
    fields.date.year = 292278994;
    EXPECT_EQ(Internal::entryName(fields, 0), "292278994");
    fields.date.year = -292275055;
    EXPECT_EQ(Internal::entryName(fields, 0), "-292275055");
    fields.date.year = -100;
    EXPECT_EQ(Internal::entryName(fields, 0), "-100");
}

// --- Depths ----------------------------------------------------------------------------------------------

TEST(DirDepth, CountsTheComponentsOfTheSubDirectory)
{
    EXPECT_EQ(place("", "2024").getDirDepth(), TSFileInfo::DirDepthYear);
    EXPECT_EQ(place("2024/", "05").getDirDepth(), TSFileInfo::DirDepthMonth);
    EXPECT_EQ(place("2024/05/", "17").getDirDepth(), TSFileInfo::DirDepthDay);
    EXPECT_EQ(place("2024/05/17/", "13").getDirDepth(), TSFileInfo::DirDepthHour);
    EXPECT_EQ(place("2024/05/17/13/", "45").getDirDepth(), TSFileInfo::DirDepthMinute);
}

TEST(DirDepth, SkipsEmptyComponents)
{
    EXPECT_EQ(place("2024//05/", "17").getDirDepth(), 2);
    EXPECT_EQ(place("//", "2024").getDirDepth(), 0);
}

TEST(DirDepth, IsNotRangeChecked)
{
    EXPECT_EQ(static_cast<int>(place("2024/05/17/13/45/", "00").getDirDepth()), 5);
    EXPECT_EQ(static_cast<int>(place("2024/05/17/13/45/00/00/", "00").getDirDepth()), 7);
}

// --- File infos ------------------------------------------------------------------------------------------

TEST(FileInfo, WithoutAPathIsNoFile)
{
    const TSFileInfo none;
    EXPECT_FALSE(none.found());
    EXPECT_TRUE(none.filePath().isEmpty());
    EXPECT_EQ(none.getSubDir(), "");
    EXPECT_EQ(none.getDirDepth(), 0);
}

TEST(FileInfo, IsFoundOnlyForARegularFile)
{
    const SeriesDirectory directory;
    writeFile(directory.at("2024"));
    makeDirectory(directory.at("2025"));
    EXPECT_TRUE(TSFileInfo(QFileInfo(directory.at("2024")), "").found());
    EXPECT_FALSE(TSFileInfo(QFileInfo(directory.at("2025")), "").found());
    EXPECT_FALSE(TSFileInfo(QFileInfo(directory.at("2026")), "").found());
}

TEST(FileInfo, GivesThePathOfItsPlace)
{
    const TSFileInfo info = place("2024/05/", "17");
    EXPECT_EQ(info.filePath(), "/series/D/2024/05/17");
    EXPECT_EQ(info.fileName(), "17");
    EXPECT_EQ(info.getSubDir(), "2024/05/");
}

TEST(FileInfo, CopiesKeepPathAndSubDirectory)
{
    TSFileInfo copy;
    copy = place("2024/", "05");
    EXPECT_EQ(copy.filePath(), "/series/D/2024/05");
    EXPECT_EQ(copy.getSubDir(), "2024/");
}

// --- Base times ------------------------------------------------------------------------------------------

class BaseTime : public testing::Test
{
protected:
    LogCapture log;

    void expectInvalid(const QString& subDir, const QString& name)
    {
        log.lines.clear();
        EXPECT_EQ(place(subDir, name).getBaseTsMs(), 0) << subDir.toStdString() << name.toStdString();
        const LogLine line = {2, "Exception on getBaseTsMs - DateTime", "src/TSFileInfo", 68};
        ASSERT_EQ(log.lines.size(), 1u) << subDir.toStdString() << name.toStdString();
        EXPECT_EQ(log.lines.front(), line);
    }

    void expectBase(const QString& subDir, const QString& name, qint64 baseMs)
    {
        log.lines.clear();
        EXPECT_EQ(place(subDir, name).getBaseTsMs(), baseMs) << subDir.toStdString() << name.toStdString();
        EXPECT_TRUE(log.lines.empty()) << subDir.toStdString() << name.toStdString();
    }
};

TEST_F(BaseTime, IsTheStartOfThePeriodOfEveryDepth)
{
    expectBase("", "2024", 1704067200000);
    expectBase("2024/", "02", utc(2024, 2));
    expectBase("2024/05/", "17", utc(2024, 5, 17));
    expectBase("2024/05/17/", "13", utc(2024, 5, 17, 13));
    expectBase("2024/05/17/13/", "45", utc(2024, 5, 17, 13, 45));
}

TEST_F(BaseTime, KnowsLeapDays)
{
    expectBase("2024/02/", "29", utc(2024, 2, 29));
    expectInvalid("2023/02/", "29");
    expectBase("2000/02/", "29", utc(2000, 2, 29));
    expectInvalid("1900/02/", "29");
}

TEST_F(BaseTime, BeforeTheEpochIsNegative)
{
    expectBase("", "1969", -31536000000);
    expectBase("1969/12/31/23/", "59", -60000);
}

TEST_F(BaseTime, CoversTheYears0To9999)
{
    expectBase("", "0000", -62167219200000);
    expectBase("", "0001", -62135596800000);
    expectBase("9999/12/31/23/", "59", 253402300740000);
    expectInvalid("", "10000");
    expectInvalid("", "-1");
}

TEST_F(BaseTime, OfAnImpossibleFieldIsZeroAndLogged)
{
    expectInvalid("2024/", "00");
    expectInvalid("2024/", "13");
    expectInvalid("2024/04/", "31");
    expectInvalid("2024/04/", "00");
    expectInvalid("2024/05/17/", "24");
    expectInvalid("2024/05/17/13/", "60");
    expectInvalid("2024/05/17/", "-1");
    expectInvalid("2024/13/01/00/", "00");
}

TEST_F(BaseTime, ReadsANameThatIsNoNumberAsZero)
{
    expectBase("", "tmp1", -62167219200000);
    expectInvalid("2024/", "ab");
    expectInvalid("2024/0x05/", "17");
    expectInvalid("2024/", "5.");
    expectBase("2024/05/17/", "ab", utc(2024, 5, 17));
}

TEST_F(BaseTime, ReadsANumberBeyond32BitsAsZero)
{
    expectBase("", "99999999999", -62167219200000);
    expectInvalid("2024/", "4294967297");
}

TEST_F(BaseTime, AcceptsSignsAndSurroundingBlanks)
{
    expectBase("", "+999", utc(999));
    expectBase("2024/", " 5", utc(2024, 5));
    expectBase("2024/", "5 ", utc(2024, 5));
    expectBase("2024/", "+5", utc(2024, 5));
    expectBase("2024/05/17/", "-0", utc(2024, 5, 17));
}

TEST_F(BaseTime, SkipsEmptyComponents)
{
    expectBase("2024//05/", "17", utc(2024, 5, 17));
}

TEST_F(BaseTime, TakesAtMostFiveFieldsFromTheSubDirectory)
{
    expectBase("2024/05/17/13/45/", "99", utc(2024, 5, 17, 13, 45));
    expectBase("2024/05/17/13/45/77/88/", "99", utc(2024, 5, 17, 13, 45));
}

TEST_F(BaseTime, WithoutAnyNameIsTheEpoch)
{
    EXPECT_EQ(TSFileInfo().getBaseTsMs(), 0);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(BaseTime, WithoutAFileNameComesFromTheSubDirectory)
{
    EXPECT_EQ(TSFileInfo(QFileInfo(), "2024/05/").getBaseTsMs(), utc(2024, 5));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(BaseTime, EveryDayOfFourCenturiesRoundTrips)
{
    for (QDate day(1799, 12, 31); day < QDate(2200, 1, 2); day = day.addDays(1)) {
        const QString subDir = day.toString(QStringLiteral("yyyy/MM/"));
        ASSERT_EQ(place(subDir, day.toString(QStringLiteral("dd"))).getBaseTsMs(),
                  day.startOfDay(Qt::UTC).toMSecsSinceEpoch())
            << day.toString(Qt::ISODate).toStdString();
    }
    EXPECT_TRUE(log.lines.empty());
}

} // namespace
} // namespace Kiv::Testing
