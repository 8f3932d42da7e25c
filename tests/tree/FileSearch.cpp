// Searches in an orderly tree: the file of a timestamp, the outermost files, the neighbours of a place.

#include "TSDirControl.h"
#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <gtest/gtest.h>

#include <limits>

namespace Kiv::Testing
{
namespace
{

class FileSearch : public testing::Test
{
protected:
    SeriesDirectory directory;
    QString series = directory.at("D/");
    TSDirControl tree{series};
    LogCapture log;

    void addFiles(std::initializer_list<const char*> names)
    {
        for (const char* name : names)
            writeFile(series + name);
    }

    /// "2024/05" for a found file, "(2024/05)" for a place without a file, "" for no place.
    std::string text(const TSFileInfo& info) const
    {
        if (info.filePath().isEmpty())
            return info.getSubDir().isEmpty() ? "" : "sub-directory without a path";
        EXPECT_TRUE(info.filePath().startsWith(series));
        const std::string name = info.filePath().mid(series.size()).toStdString();
        if (info.filePath() != series + info.getSubDir() + info.fileName())
            return "path " + name + " with sub-directory " + info.getSubDir().toStdString();
        return info.found() ? name : "(" + name + ")";
    }

    std::string fileOf(qint64 ts) const { return text(tree.findFile(ts)); }
    std::string next(const TSFileInfo& info) const { return text(tree.findNextFile(info)); }
    std::string previous(const TSFileInfo& info) const { return text(tree.findPrevFile(info)); }

    Texts walkForward() const
    {
        Texts names;
        for (TSFileInfo info = tree.findFirstFile(); info.found(); info = tree.findNextFile(info))
            names.push_back(text(info));
        return names;
    }

    Texts walkBackward() const
    {
        Texts names;
        for (TSFileInfo info = tree.findLastFile(); info.found(); info = tree.findPrevFile(info))
            names.insert(names.begin(), text(info));
        return names;
    }
};

// --- The series directory --------------------------------------------------------------------------------

TEST(SeriesDirectoryName, EndsWithASlash)
{
    EXPECT_EQ(TSDirControl(QStringLiteral("/data/tag1/D")).m_dir, "/data/tag1/D/");
    EXPECT_EQ(TSDirControl(QStringLiteral("/data/tag1/D/")).m_dir, "/data/tag1/D/");
}

TEST(SeriesDirectoryName, HasSlashesInPlaceOfBackslashes)
{
    EXPECT_EQ(TSDirControl(QStringLiteral("C:\\data\\tag1")).m_dir, "C:/data/tag1/");
    EXPECT_EQ(TSDirControl(QStringLiteral("C:\\data\\")).m_dir, "C:/data/");
}

// --- The file of a timestamp -----------------------------------------------------------------------------

TEST_F(FileSearch, InAMissingSeriesGivesTheYearToCreate)
{
    EXPECT_EQ(fileOf(utc(2024, 5, 17)), "(2024)");
    EXPECT_EQ(text(tree.findFirstFile()), "");
    EXPECT_EQ(text(tree.findLastFile()), "");
}

TEST_F(FileSearch, FindsTheFileOfEveryDepth)
{
    addFiles({"2020", "2021/05", "2022/05/17", "2023/05/17/13", "2024/05/17/13/45"});
    EXPECT_EQ(fileOf(utc(2020, 5, 17, 13, 45, 12)), "2020");
    EXPECT_EQ(fileOf(utc(2021, 5, 17, 13, 45, 12)), "2021/05");
    EXPECT_EQ(fileOf(utc(2022, 5, 17, 13, 45, 12)), "2022/05/17");
    EXPECT_EQ(fileOf(utc(2023, 5, 17, 13, 45, 12)), "2023/05/17/13");
    EXPECT_EQ(fileOf(utc(2024, 5, 17, 13, 45, 12)), "2024/05/17/13/45");
}

TEST_F(FileSearch, GivesTheShallowestPlaceThatDoesNotExist)
{
    addFiles({"2023", "2024/05", "2024/06", "2022/01/01/00/00"});
    EXPECT_EQ(fileOf(utc(2025, 3)), "(2025)");
    EXPECT_EQ(fileOf(utc(2024, 7, 9)), "(2024/07)");
    EXPECT_EQ(tree.findFile(utc(2024, 7, 9)).getDirDepth(), TSFileInfo::DirDepthMonth);
    EXPECT_EQ(fileOf(utc(2024, 5, 9)), "2024/05");
    EXPECT_EQ(fileOf(utc(2022, 2)), "(2022/02)");
    EXPECT_EQ(fileOf(utc(2022, 1, 2)), "(2022/01/02)");
    EXPECT_EQ(fileOf(utc(2022, 1, 1, 1)), "(2022/01/01/01)");
    EXPECT_EQ(fileOf(utc(2022, 1, 1, 0, 1)), "(2022/01/01/00/01)");
}

TEST_F(FileSearch, PeriodsIncludeTheirFirstAndLastMillisecond)
{
    addFiles({"2023", "2024/05/17/13/45"});
    EXPECT_EQ(fileOf(utc(2023)), "2023");
    EXPECT_EQ(fileOf(utc(2024) - 1), "2023");
    EXPECT_EQ(fileOf(utc(2024, 5, 17, 13, 45)), "2024/05/17/13/45");
    EXPECT_EQ(fileOf(utc(2024, 5, 17, 13, 46) - 1), "2024/05/17/13/45");
    EXPECT_EQ(fileOf(utc(2024, 5, 17, 13, 46)), "(2024/05/17/13/46)");
    EXPECT_EQ(fileOf(utc(2024, 5, 17, 13, 45) - 1), "(2024/05/17/13/44)");
}

TEST_F(FileSearch, BeforeTheEpochUsesTheEarlierCalendarTime)
{
    EXPECT_EQ(fileOf(-1), "(1969)");
    makeDirectory(series + "1969/12/31/23");
    EXPECT_EQ(fileOf(-1), "(1969/12/31/23/59)");
    EXPECT_EQ(fileOf(0), "(1970)");
}

TEST_F(FileSearch, WithDirectoriesDownToTheMinuteGivesTheYearPath)
{
    makeDirectory(series + "2024/05/17/13/45");
    const TSFileInfo info = tree.findFile(utc(2024, 5, 17, 13, 45, 12));
    EXPECT_EQ(text(info), "(2024)");
    EXPECT_EQ(info.getSubDir(), "");
    EXPECT_EQ(fileOf(utc(2024, 5, 17, 13, 46)), "(2024/05/17/13/46)");
}

TEST_F(FileSearch, AcceptsEveryTimestamp)
{
    EXPECT_EQ(fileOf(std::numeric_limits<qint64>::max()), "(292278994)");
    EXPECT_EQ(fileOf(std::numeric_limits<qint64>::min()), "(-292275055)");
    makeDirectory(series + "292278994/08/17/07");
    EXPECT_EQ(fileOf(std::numeric_limits<qint64>::max()), "(292278994/08/17/07/12)");
    makeDirectory(series + "-292275055/05/16/16");
    EXPECT_EQ(fileOf(std::numeric_limits<qint64>::min()), "(-292275055/05/16/16/47)");
}

TEST_F(FileSearch, KnowsYearsBelow1000AndAbove9999)
{
    EXPECT_EQ(fileOf(utc(999, 12, 31)), "(0999)");
    EXPECT_EQ(fileOf(utc(1)), "(0001)");
    EXPECT_EQ(fileOf(utc(1) - 1), "(0000)");
    EXPECT_EQ(fileOf(utc(10000)), "(10000)");
    EXPECT_EQ(fileOf(utc(10000) - 1), "(9999)");
    EXPECT_EQ(fileOf(utc(32768, 6)), "(32768)");
}

// --- First, last, previous, next -------------------------------------------------------------------------

class SmallTree : public FileSearch
{
protected:
    SmallTree() { addFiles({"2023", "2024/05", "2024/06"}); }
};

TEST_F(SmallTree, HasAFirstAndALastFile)
{
    EXPECT_EQ(text(tree.findFirstFile()), "2023");
    EXPECT_EQ(tree.findFirstFile().getSubDir(), "");
    EXPECT_EQ(text(tree.findLastFile()), "2024/06");
    EXPECT_EQ(tree.findLastFile().getSubDir(), "2024/");
}

TEST_F(SmallTree, OperationsWithADirectionAgreeWithTheirNames)
{
    EXPECT_EQ(text(tree.findFirstLastFile(true)), "2023");
    EXPECT_EQ(text(tree.findFirstLastFile(false)), "2024/06");
    EXPECT_EQ(text(tree.findPrevNextFile(tree.findFile(utc(2024, 6)), true)), "2024/05");
    EXPECT_EQ(text(tree.findPrevNextFile(tree.findFile(utc(2023)), false)), "2024/05");
}

TEST_F(SmallTree, StepsIntoADirectoryAtItsNearestFile)
{
    EXPECT_EQ(next(tree.findFile(utc(2023))), "2024/05");
    writeFile(series + "2025");
    EXPECT_EQ(previous(tree.findFile(utc(2025))), "2024/06");
}

TEST_F(SmallTree, StepsOutOfADirectory)
{
    EXPECT_EQ(previous(tree.findFile(utc(2024, 5))), "2023");
    writeFile(series + "2025");
    EXPECT_EQ(next(tree.findFile(utc(2024, 6))), "2025");
}

TEST_F(SmallTree, EndsAtItsOutermostFiles)
{
    EXPECT_EQ(next(tree.findFile(utc(2024, 6))), "");
    EXPECT_EQ(previous(tree.findFile(utc(2023))), "");
}

TEST_F(SmallTree, StepsFromPlacesWithoutAFile)
{
    EXPECT_EQ(next(tree.findFile(utc(2024, 7))), "");
    EXPECT_EQ(previous(tree.findFile(utc(2024, 7))), "2024/06");
    EXPECT_EQ(next(tree.findFile(utc(2024, 1))), "2024/05");
    EXPECT_EQ(previous(tree.findFile(utc(2024, 1))), "2023");
    EXPECT_EQ(next(tree.findFile(utc(2022))), "2023");
    EXPECT_EQ(previous(tree.findFile(utc(2025))), "2024/06");
    EXPECT_EQ(previous(tree.findFile(utc(2022))), "");
    EXPECT_EQ(next(tree.findFile(utc(2025))), "");
}

TEST_F(SmallTree, NoPlaceHasNoNeighbour)
{
    EXPECT_EQ(next(TSFileInfo()), "");
    EXPECT_EQ(previous(TSFileInfo()), "");
}

TEST_F(SmallTree, SeesWhatOthersChangedAMomentBefore)
{
    EXPECT_EQ(text(tree.findLastFile()), "2024/06");
    writeFile(series + "2024/07");
    EXPECT_EQ(text(tree.findLastFile()), "2024/07");
    QFile::remove(series + "2024/07");
    EXPECT_EQ(text(tree.findLastFile()), "2024/06");
}

TEST_F(FileSearch, NeverGivesACompanionFile)
{
    addFiles({"2023", "2023.var", "2024.var", "2025/05", "2025/05.var", "2022.var"});
    EXPECT_EQ(walkForward(), (Texts{"2023", "2025/05"}));
    EXPECT_EQ(walkBackward(), (Texts{"2023", "2025/05"}));
}

TEST_F(FileSearch, AnEmptyDirectoryAtTheEndHidesTheOthers)
{
    addFiles({"2023"});
    makeDirectory(series + "2024");
    EXPECT_EQ(text(tree.findLastFile()), "");
    EXPECT_EQ(text(tree.findFirstFile()), "2023");
    makeDirectory(series + "2022");
    EXPECT_EQ(text(tree.findFirstFile()), "");
}

TEST_F(FileSearch, AnEmptyDirectoryOnTheWayEndsAStep)
{
    addFiles({"2023", "2025"});
    makeDirectory(series + "2024");
    EXPECT_EQ(next(tree.findFile(utc(2023))), "");
    EXPECT_EQ(previous(tree.findFile(utc(2025))), "");
}

TEST_F(FileSearch, InAnEmptySeriesDirectoryFindsNothing)
{
    makeDirectory(series);
    EXPECT_EQ(text(tree.findFirstFile()), "");
    EXPECT_EQ(text(tree.findLastFile()), "");
    EXPECT_EQ(next(tree.findFile(utc(2023))), "");
}

TEST_F(FileSearch, WalksAllDepthsInTimeOrderBothWays)
{
    const Texts inOrder = {
        "2019",          "2020/01/31", "2020/02/01/00/00", "2020/02/01/00/59", "2020/02/01/23/00",
        "2020/02/29/07", "2020/03",    "2020/12/31/23/59", "2021/01/01/00/00", "2022"};
    for (auto name = inOrder.rbegin(); name != inOrder.rend(); ++name)
        writeFile(series + QString::fromStdString(*name));
    EXPECT_EQ(walkForward(), inOrder);
    EXPECT_EQ(walkBackward(), inOrder);
}

TEST_F(FileSearch, CrossesFromTheDeepestToTheShallowestLevel)
{
    addFiles({"2019/12/31/23/59", "2020", "2021/01/01/00/00"});
    EXPECT_EQ(next(tree.findFile(utc(2020) - 1)), "2020");
    EXPECT_EQ(previous(tree.findFile(utc(2021))), "2020");
    EXPECT_EQ(next(tree.findFile(utc(2020))), "2021/01/01/00/00");
    EXPECT_EQ(previous(tree.findFile(utc(2020))), "2019/12/31/23/59");
}

TEST_F(FileSearch, NeverLogs)
{
    addFiles({"2023", "2024/ab", "tmp1"});
    walkForward();
    walkBackward();
    fileOf(std::numeric_limits<qint64>::max());
    EXPECT_TRUE(log.lines.empty());
}

} // namespace
} // namespace Kiv::Testing
