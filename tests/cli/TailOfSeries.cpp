// What follow shows of a series that is written, deleted and split between two looks.

#include "SeriesTail.h"

#include <QDir>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Kiv::Cli
{
namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr qint64 kHourMs = 3'600'000;
constexpr qint64 kStartMs = 1'715'932'800'000;

class Tail : public ::testing::Test
{
protected:
    Tail()
    {
        write({0});
        m_tail.start(1);
    }

    /// Writes a record at each hour.
    void write(const std::vector<qint64>& hours, bool noteLate = false)
    {
        std::vector<Interpolate::DataRecord> records;
        for (const qint64 hour : hours)
            records.push_back({kStartMs + hour * kHourMs, static_cast<double>(hour)});
        ASSERT_TRUE(m_series.storage->writeDataRecords(records, noteLate, false));
    }

    /// The hours of what is new; of late records less 1000.
    std::vector<qint64> look()
    {
        std::vector<qint64> hours;
        m_tail.look(m_nowMs, [&hours](const Interpolate::DataRecord& record, TailKind kind) {
            hours.push_back((record.timestamp - kStartMs) / kHourMs - (kind == TailKind::Late ? 1000 : 0));
        });
        return hours;
    }

    /// Looks once more when the end has stayed away for long enough.
    std::vector<qint64> lookLater()
    {
        m_nowMs += ShrunkEnd::kSettleMs;
        return look();
    }

    qint64 m_nowMs = 1;
    QTemporaryDir m_directory;
    Series m_series{m_directory.path(), typeOfWord(QStringLiteral("--type"), QStringLiteral("double")),
                    std::make_unique<TSFileStorage>(m_directory.path(), QMetaType::Double, 400)};
    SeriesTail m_tail{m_series};
};

TEST_F(Tail, ShowsEveryRecordOnce)
{
    EXPECT_THAT(look(), IsEmpty());
    write({1, 2});
    EXPECT_THAT(look(), ElementsAre(1, 2));
    EXPECT_THAT(look(), IsEmpty());
}

TEST_F(Tail, GoesOnWhenFilesAreSplit)
{
    for (qint64 hour = 1; hour < 500; ++hour) {
        write({hour});
        ASSERT_THAT(look(), ElementsAre(hour));
    }
}

TEST_F(Tail, BeginsAnewWhenTheSeriesIsDeleted)
{
    write({5});
    EXPECT_THAT(look(), ElementsAre(5));
    QDir(m_directory.filePath(QStringLiteral("D"))).removeRecursively();
    EXPECT_THAT(look(), IsEmpty());
    EXPECT_TRUE(m_tail.isInDoubt());
    write({1, 2});
    EXPECT_THAT(lookLater(), ElementsAre(1, 2));
    EXPECT_FALSE(m_tail.isInDoubt());
}

TEST_F(Tail, ShowsWhatTakesThePlaceOfADeletedEnd)
{
    write({5, 6});
    EXPECT_THAT(look(), ElementsAre(5, 6));
    m_series.storage->deleteDataRecords(kStartMs + 5 * kHourMs, kStartMs + 6 * kHourMs);
    EXPECT_THAT(look(), IsEmpty());
    write({5});
    EXPECT_THAT(lookLater(), ElementsAre(5));
}

/// A file in the middle of being split: away, or back in part.
class TailOfSplitFile : public Tail
{
protected:
    TailOfSplitFile()
    {
        write({1, 2, 4});
        EXPECT_THAT(look(), ElementsAre(1, 2, 4));
    }

    void takeAway(const QString& marker)
    {
        ASSERT_TRUE(QDir(m_directory.path()).rename(marker, QStringLiteral("away")));
    }

    void putBack(const QString& marker)
    {
        QDir(m_directory.filePath(marker)).removeRecursively();
        ASSERT_TRUE(QDir(m_directory.path()).rename(QStringLiteral("away"), marker));
    }
};

TEST_F(TailOfSplitFile, ShowsNothingAgainWhenItsRecordsAreBack)
{
    const QString marker = QStringLiteral("D");
    takeAway(marker);
    EXPECT_THAT(look(), IsEmpty());
    write({0, 1});
    m_nowMs += ShrunkEnd::kSettleMs - 1;
    EXPECT_THAT(look(), IsEmpty());
    EXPECT_TRUE(m_tail.isInDoubt());
    putBack(marker);
    write({5});
    EXPECT_THAT(lookLater(), ElementsAre(5));
}

TEST_F(TailOfSplitFile, ShowsALateRecordWhenItIsBack)
{
    const QString marker = QStringLiteral("D");
    write({3}, true);
    takeAway(marker);
    write({5});
    EXPECT_THAT(look(), ElementsAre(5));
    EXPECT_TRUE(m_tail.isInDoubt()) << "the log tells of a record that is not there";
    putBack(marker);
    write({5});
    EXPECT_THAT(look(), ElementsAre(3 - 1000));
    EXPECT_FALSE(m_tail.isInDoubt());
}

TEST_F(TailOfSplitFile, ShowsTheLogOfLateWritesOnce)
{
    const QString marker = QStringLiteral("DP");
    write({3}, true);
    EXPECT_THAT(look(), ElementsAre(3 - 1000));
    takeAway(marker);
    EXPECT_THAT(look(), IsEmpty());
    EXPECT_TRUE(m_tail.isInDoubt());
    putBack(marker);
    write({-1}, true);
    EXPECT_THAT(look(), ElementsAre(-1 - 1000));
}

TEST_F(TailOfSplitFile, ShowsWhatItMissedBeforeAnotherFile)
{
    // Far enough apart for files of their own.
    constexpr qint64 kYearHours = 366 * 24;
    write({kYearHours, 2 * kYearHours});
    const QString split = QStringLiteral("D/2025");
    takeAway(split);
    EXPECT_THAT(look(), ElementsAre(2 * kYearHours));
    EXPECT_TRUE(m_tail.isInDoubt());
    putBack(split);
    EXPECT_THAT(look(), ElementsAre(kYearHours));
    EXPECT_THAT(look(), IsEmpty());
    EXPECT_THAT(lookLater(), IsEmpty());
    EXPECT_FALSE(m_tail.isInDoubt());
}

TEST_F(TailOfSplitFile, ShowsNothingOldAgainWhenASplitFollowsADelete)
{
    const QString marker = QStringLiteral("D");
    m_series.storage->deleteDataRecords(kStartMs + 4 * kHourMs, kStartMs + 4 * kHourMs);
    EXPECT_THAT(look(), IsEmpty());
    takeAway(marker);
    EXPECT_THAT(look(), IsEmpty());
    putBack(marker);
    write({3});
    EXPECT_THAT(lookLater(), ElementsAre(3));
}

TEST_F(Tail, ShowsLateRecordsThatAreNoted)
{
    write({5}, true);
    write({3}, true);
    EXPECT_THAT(look(), ElementsAre(3, 5)) << "behind the last one seen they are new";
    write({2}, true);
    write({1}, true);
    write({4}, false);
    write({6}, true);
    EXPECT_THAT(look(), ElementsAre(2 - 1000, 1 - 1000, 6));
    EXPECT_THAT(look(), IsEmpty());
}

TEST_F(Tail, WatchesTheDirectoriesDownToTheLastFile)
{
    const QStringList directories = m_tail.directories();
    EXPECT_TRUE(directories.contains(m_directory.path()));
    EXPECT_TRUE(directories.contains(m_directory.filePath(QStringLiteral("D"))));
    QDir(m_directory.path()).removeRecursively();
    EXPECT_TRUE(m_tail.directories().contains(QDir::tempPath())) << "to see the series come again";
}

} // namespace
} // namespace Kiv::Cli
