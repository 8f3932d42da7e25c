// Searches in trees that no writer of this library makes: stray names, special files, links, odd depths.

#include "TSDirControl.h"
#include "internal/TreeCursor.h"
#include "support/SeriesForTest.h"

#include <QDir>

#include <gtest/gtest.h>

#include <unistd.h>

#include <set>

namespace Kiv::Testing
{
namespace
{

class StrangeTree : public testing::Test
{
protected:
    SeriesDirectory directory;
    QString series = directory.at("D/");
    TSDirControl tree{series};

    void addFiles(std::initializer_list<const char*> names)
    {
        for (const char* name : names)
            writeFile(series + name);
    }

    void addLink(const QString& target, const QString& name)
    {
        ASSERT_EQ(
            ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(series + name).constData()),
            0);
    }

    std::string text(const TSFileInfo& info) const
    {
        return info.filePath().mid(series.size()).toStdString();
    }

    /// Every place that a walk gives; ends where a place comes twice.
    Texts walk(bool backward) const
    {
        Texts names;
        std::set<std::string> seen;
        for (TSFileInfo info = tree.findFirstLastFile(!backward); !info.filePath().isEmpty();
             info = tree.findPrevNextFile(info, backward)) {
            names.push_back(text(info));
            if (!seen.insert(names.back()).second)
                return {"in circles"};
        }
        return names;
    }

    Texts reversed(Texts names) const { return Texts(names.rbegin(), names.rend()); }
};

// --- Names -----------------------------------------------------------------------------------------------

TEST_F(StrangeTree, StrayNamesOfTwoOrFourCharactersTakePart)
{
    addFiles({"2023", "2024/05", "2024/ab", "tmp1", "zz"});
    EXPECT_EQ(walk(false), (Texts{"2023", "2024/05", "2024/ab", "tmp1", "zz"}));
    EXPECT_EQ(walk(true), reversed(walk(false)));
}

TEST_F(StrangeTree, NamesOfOtherLengthsDoNot)
{
    addFiles({"2023", "1", "123", "20245", "2024-old", "2022/5", "2022/05", "2022/005"});
    EXPECT_EQ(walk(false), (Texts{"2022/05", "2023"}));
    EXPECT_EQ(walk(true), (Texts{"2023", "2022/05"}));
}

TEST_F(StrangeTree, AWalkLeavesAStrayDirectoryByItsName)
{
    addFiles({"2023", "2024/ab/01", "2024/ab/02", "2025"});
    EXPECT_EQ(walk(false), (Texts{"2023", "2024/ab/01", "2024/ab/02", "2025"}));
    EXPECT_EQ(walk(true), (Texts{"2025", "2024/ab/02", "2024/ab/01", "2023"}));
}

TEST_F(StrangeTree, AWalkWithNamesThatAreNoDatesEnds)
{
    addFiles({"0000/00", "2024/13/99", "2024/14", "99/99", "abcd/ef/gh/ij/kl", "abcd/ef/gh/zz", "zz/00"});
    EXPECT_EQ(walk(false), (Texts{"0000/00", "2024/13/99", "2024/14", "99/99", "abcd/ef/gh/ij/kl",
                                  "abcd/ef/gh/zz", "zz/00"}));
    EXPECT_EQ(walk(true), reversed(walk(false)));
}

TEST_F(StrangeTree, SortsNamesByTheirCharactersNotByLanguage)
{
    addFiles({"aa", "AB", "BA", "ba", "Zz", "_1", "\xc3\xa4\x62"});
    EXPECT_EQ(walk(false), (Texts{"AB", "BA", "Zz", "_1", "aa", "ba", "\xc3\xa4\x62"}));
}

TEST_F(StrangeTree, TwoDigitYearsAndFourDigitMonthsAreWalkedByName)
{
    addFiles({"20", "2024/0005", "2024/05", "2024/1"});
    EXPECT_EQ(walk(false), (Texts{"20", "2024/0005", "2024/05"}));
}

TEST_F(StrangeTree, NeighboursOfAPlaceWhoseDirectoryIsMissing)
{
    addFiles({"2023", "2025"});
    const TSFileInfo gone(QFileInfo(series + "2024/05"), "2024/");
    EXPECT_EQ(text(tree.findNextFile(gone)), "2025");
    EXPECT_EQ(text(tree.findPrevFile(gone)), "2023");
}

// --- Special entries -------------------------------------------------------------------------------------

TEST_F(StrangeTree, HiddenEntriesAreNotSeen)
{
    addFiles({".a", ".abc", "2023", ".dir/05"});
    makeDirectory(series + ".1");
    EXPECT_EQ(walk(false), Texts{"2023"});
    EXPECT_EQ(walk(true), Texts{"2023"});
}

TEST_F(StrangeTree, ADirectoryWithHiddenEntriesOnlyIsEmptyForAWalk)
{
    addFiles({"2023", "2024/.x"});
    EXPECT_EQ(text(tree.findLastFile()), "");
    EXPECT_EQ(text(tree.findNextFile(tree.findFirstFile())), "");
}

TEST_F(StrangeTree, FifosAreNotSeen)
{
    addFiles({"2023", "2025"});
    makeFifo(series + "2024");
    makeFifo(series + "2022");
    makeFifo(series + "2026");
    EXPECT_EQ(walk(false), (Texts{"2023", "2025"}));
    EXPECT_EQ(walk(true), (Texts{"2025", "2023"}));
}

TEST_F(StrangeTree, DanglingLinksAreNotSeen)
{
    addFiles({"2023", "2025"});
    addLink(series + "nowhere", "2024");
    addLink("2026", "2026");
    EXPECT_EQ(walk(false), (Texts{"2023", "2025"}));
}

TEST_F(StrangeTree, LinksToFilesAndDirectoriesCountAsTheirTargets)
{
    addFiles({"elsewhere/05", "2023"});
    addLink("elsewhere", "2024");
    addLink("2023", "2025");
    EXPECT_EQ(walk(false), (Texts{"2023", "2024/05", "2025"}));
    EXPECT_TRUE(tree.findLastFile().found());
}

TEST_F(StrangeTree, AFileInPlaceOfTheSeriesDirectoryIsAnEmptySeries)
{
    writeFile(series.chopped(1));
    EXPECT_EQ(text(tree.findFirstFile()), "");
    EXPECT_EQ(text(tree.findLastFile()), "");
}

/// What a listing of files and directories with the two name patterns shows; the model of all searches.
Texts listing(const QString& path)
{
    Texts names;
    const QDir dir(path);
    for (const QFileInfo& entry :
         dir.entryInfoList({"??", "????"}, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
        names.push_back(entry.fileName().toStdString());
    return names;
}

TEST_F(StrangeTree, AWalkSeesExactlyWhatADirectoryListingSees)
{
    addFiles({"2023",
              "20",
              "abcd",
              "ab",
              "AB",
              "a",
              "abc",
              "abcde",
              ".a",
              ".abc",
              "a b",
              "a  b",
              "\n\n",
              "\xc3\xa4\xc3\xb6",
              "\xf0\x9f\x98\x80z",
              "\xf0\x9f\x98\x80\xf0\x9f\x98\x80",
              "\xe4\xb8\xad\xe6\x96\x87",
              "e\xcc\x81",
              "??",
              "[a]b",
              "*.va"});
    makeFifo(series + "fifo");
    addLink("nowhere", "lost");
    addLink("2023", "link");
    addLink("fifo", "pipe");
    EXPECT_EQ(walk(false), listing(series));
    EXPECT_EQ(walk(true), reversed(listing(series)));
}

TEST_F(StrangeTree, NamesThatAreNoTextAreNotSeen)
{
    addFiles({"2023"});
    std::vector<QByteArray> paths;
    for (const char* name : {"\xe4\xf6", "\xff\xfe\xfd\xfc", "20\xe4\xe4"}) {
        paths.push_back(QFile::encodeName(series) + name);
        FILE* file = std::fopen(paths.back().constData(), "w");
        ASSERT_NE(file, nullptr);
        std::fclose(file);
    }
    EXPECT_EQ(walk(false), listing(series));
    EXPECT_EQ(walk(true), reversed(listing(series)));
    for (const QByteArray& path : paths)
        ::unlink(path.constData()); // the temporary directory cannot name them
}

// --- Depth -----------------------------------------------------------------------------------------------

TEST_F(StrangeTree, AWalkDoesNotGoBelowTheMinute)
{
    addFiles({"2023", "2024/05/17/13/45/00", "2025"});
    EXPECT_EQ(text(tree.findNextFile(tree.findFile(utc(2023)))), "");
    EXPECT_EQ(text(tree.findPrevFile(tree.findFile(utc(2025)))), "");
}

TEST_F(StrangeTree, AWalkFromBelowTheMinuteEnds)
{
    addFiles({"2023", "2024/05/17/13/45/00", "2024/05/17/13/45/01"});
    const TSFileInfo deep(QFileInfo(series + "2024/05/17/13/45/00"), "2024/05/17/13/45/");
    TSFileInfo info = deep;
    int steps = 0;
    for (; !info.filePath().isEmpty() && steps < 10; ++steps)
        info = tree.findNextFile(info);
    EXPECT_LT(steps, 10);
}

TEST_F(StrangeTree, ADirectoryLoopThroughALinkEnds)
{
    addFiles({"2023"});
    makeDirectory(series + "2024");
    addLink("..", "2024/05");
    Texts names = walk(false);
    EXPECT_NE(names, Texts{"in circles"});
    EXPECT_EQ(names.front(), "2023");
}

TEST_F(StrangeTree, ManyLeadingSlashesInASubDirectoryDoNotMislead)
{
    addFiles({"2023", "2024/05/17", "2024/06"});
    const TSFileInfo info(QFileInfo(series + "2024/05/17"), "2024//05/");
    EXPECT_EQ(text(tree.findNextFile(info)), "2024/06");
    EXPECT_EQ(text(tree.findPrevFile(info)), "2023");
}

// --- The cursor of one operation -------------------------------------------------------------------------

TEST_F(StrangeTree, ACursorGivesTheSameWalkAsSingleSearches)
{
    addFiles({"2019/12/31/23/59", "2020/02/01/00/00", "2020/02/29/07", "2020/03", "2024/ab/01", "zz"});
    Internal::TreeCursor cursor(series);
    Texts names;
    for (Internal::FilePlace at = cursor.first(); at.found; at = cursor.next(at))
        names.push_back(at.path.mid(series.size()).toStdString());
    EXPECT_EQ(names, walk(false));
    names.clear();
    for (Internal::FilePlace at = cursor.last(); at.found; at = cursor.previous(at))
        names.push_back(at.path.mid(series.size()).toStdString());
    EXPECT_EQ(names, walk(true));
}

TEST_F(StrangeTree, ANewCursorSeesTheFileSystemAfresh)
{
    addFiles({"2023"});
    EXPECT_EQ(Internal::TreeCursor(series).last().name(), "2023");
    addFiles({"2024"});
    EXPECT_EQ(Internal::TreeCursor(series).last().name(), "2024");
}

} // namespace
} // namespace Kiv::Testing
