// The storage object itself: its directories, opening with retries, refused intervals, companions.

#include "storage/StorageTest.h"

#include <QFile>

#include <memory>

namespace Kiv::Testing
{
namespace
{

TSFileStorage storageAt(const char* path, QMetaType::Type type = QMetaType::Double)
{
    return TSFileStorage(QString::fromLatin1(path), type, 1'000'000);
}

// --- Directories -----------------------------------------------------------------------------------------

TEST(StorageDirectory, IsTheMarkerBelowTheBase)
{
    EXPECT_EQ(storageAt("/data/tag1").m_dir, "/data/tag1/D/");
    EXPECT_EQ(storageAt("/data/tag1/").m_dir, "/data/tag1/D/");
    EXPECT_EQ(storageAt("/data/tag1", QMetaType::QString).m_dir, "/data/tag1/V/");
    EXPECT_EQ(storageAt("/data/tag1", QMetaType::Long).m_dir, "/data/tag1/V/");
    EXPECT_EQ(storageAt("/data/tag1", QMetaType::UShort).m_dir, "/data/tag1/W/");
}

TEST(StorageDirectory, HasSlashesInPlaceOfBackslashes)
{
    EXPECT_EQ(storageAt("C:\\data\\tag1").m_dir, "C:/data/tag1/D/");
    EXPECT_EQ(storageAt("C:\\data\\").m_dir, "C:/data//D/");
}

TEST(StorageDirectory, TheBaseIsKeptAsGivenButForItsLastSlash)
{
    EXPECT_EQ(storageAt("/data/tag1").m_path, "/data/tag1/");
    EXPECT_EQ(storageAt("/data/tag1/").m_path, "/data/tag1/");
    EXPECT_EQ(storageAt("C:\\data").m_path, "C:\\data/");
    EXPECT_EQ(storageAt("").m_path, "/");
}

TEST(StorageDirectory, OfARelativeBaseStaysRelative)
{
    EXPECT_EQ(storageAt("tag1").m_dir, "tag1/D/");
}

TEST(StorageFields, AreThoseGiven)
{
    const TSFileStorage storage(QStringLiteral("/data"), QMetaType::Short, 4711);
    EXPECT_EQ(storage.m_valueType, QMetaType::Short);
    EXPECT_EQ(storage.m_dataLength, 2);
    EXPECT_EQ(storage.m_maxFileSize, 4711);
}

TEST_F(StorageTest, ConstructionDoesNotTouchTheFileSystem)
{
    makeStorage();
    EXPECT_FALSE(QFileInfo::exists(directory.base()));
}

TEST_F(StorageTest, ReadersDoNotCreateDirectories)
{
    TSFileStorage storage = makeStorage();
    Record record;
    EXPECT_FALSE(storage.getFirstDataRecord(record));
    readRaw(storage, 0, kMaxTimestamp);
    storage.getCount({}, {}, 0, kMaxTimestamp, true, true, true);
    EXPECT_FALSE(QFileInfo::exists(directory.base()));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(StorageTest, CheckDirectoryCreatesAllParents)
{
    TSFileStorage storage = makeStorage();
    storage.checkDirectory(QDir(at("a/b/c")));
    EXPECT_TRUE(QFileInfo(at("a/b/c")).isDir());
    storage.checkDirectory(QDir(at("a/b/c")));
    EXPECT_TRUE(QFileInfo(at("a/b/c")).isDir());
}

TEST_F(StorageTest, CheckDirectoryDoesNotReportAFailure)
{
    writeFile(at("a"));
    TSFileStorage storage = makeStorage();
    storage.checkDirectory(QDir(at("a/b")));
    EXPECT_TRUE(log.lines.empty());
    EXPECT_FALSE(QFileInfo::exists(at("a/b")));
}

// --- Opening ---------------------------------------------------------------------------------------------

class OpenFile : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};
};

TEST_F(OpenFile, ThatOpensAtOnceCostsNothing)
{
    writeFile(at("file"), "x");
    QFile file(at("file"));
    EXPECT_TRUE(storage.openFile(file, QIODevice::ReadOnly));
    EXPECT_TRUE(file.isOpen());
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(seams.sleptSeconds, 0);
}

TEST_F(OpenFile, InAMissingDirectoryFailsAfterSixAttemptsInFiveSeconds)
{
    QFile file(at("missing/file"));
    EXPECT_FALSE(storage.openFile(file, QIODevice::ReadOnly));
    EXPECT_EQ(seams.sleptSeconds, 5);
    ASSERT_EQ(log.lines.size(), 6u);
    for (int i = 0; i < 6; ++i) {
        const LogLine expected = {
            4,
            QStringLiteral("File open failed (Read,) on '%1', attempt %2").arg(at("missing/file")).arg(i + 1),
            kStorageSource, 140};
        EXPECT_EQ(log.lines[static_cast<size_t>(i)], expected) << i;
    }
}

TEST_F(OpenFile, ThatBecomesAvailableIsOpenedByARetry)
{
    writeFile(at("file"));
    int failures = 2;
    Internal::seams().open = [&failures](QFile& file, QIODevice::OpenMode mode) {
        return failures-- <= 0 && file.open(mode);
    };
    QFile file(at("file"));
    EXPECT_TRUE(storage.openFile(file, QIODevice::ReadWrite));
    EXPECT_EQ(seams.sleptSeconds, 2);
    EXPECT_EQ(lines(4).size(), 2u);
    EXPECT_EQ(lines(4).back(), quoted("File open failed (Read,Write,) on ", at("file"), ", attempt 2"));
}

TEST_F(OpenFile, NamesTheModesFromTheLowestBitUp)
{
    const struct {
        QIODevice::OpenMode mode;
        const char* text;
    } rows[] = {
        {QIODevice::ReadOnly, "Read,"},
        {QIODevice::WriteOnly, "Write,"},
        {QIODevice::ReadWrite, "Read,Write,"},
        {QIODevice::WriteOnly | QIODevice::Append, "Write,Append,"},
        {QIODevice::WriteOnly | QIODevice::Truncate, "Write,Truncate,"},
        {QIODevice::OpenMode(0xff), "Read,Write,Append,Truncate,Text,Unbuffered,NewOnly,ExistingOnly,"},
        {QIODevice::NotOpen, ""},
    };
    Internal::seams().open = [](QFile&, QIODevice::OpenMode) { return false; };
    for (const auto& row : rows) {
        log.lines.clear();
        QFile file(QStringLiteral("name"));
        EXPECT_FALSE(storage.openFile(file, row.mode));
        EXPECT_EQ(lines(4), attemptLines(row.text, "name"));
    }
}

TEST_F(OpenFile, KeepsPlaceholdersInANameAsText)
{
    QFile file(at("missing/%3%2%1"));
    EXPECT_FALSE(storage.openFile(file, QIODevice::ReadOnly));
    EXPECT_EQ(lines(4).front(), quoted("File open failed (Read,) on ", at("missing/%3%2%1"), ", attempt 1"));
}

TEST_F(OpenFile, NeverOpensADirectory)
{
    makeDirectory(at("dir"));
    QFile file(at("dir"));
    EXPECT_FALSE(storage.openFile(file, QIODevice::ReadOnly));
    EXPECT_EQ(lines(4).size(), 6u);
}

// --- Intervals -------------------------------------------------------------------------------------------

class ValidInterval : public StorageTest
{
protected:
    qint64 checked(QMetaType::Type type, qint64 interval, const QString& marker)
    {
        makeStorage(type).checkValidInterval(interval, marker);
        return interval;
    }
};

TEST_F(ValidInterval, OfANumericSeriesIsKept)
{
    EXPECT_EQ(checked(QMetaType::Double, 60'000, ""), 60'000);
    EXPECT_EQ(checked(QMetaType::Bool, -3, ""), -3);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ValidInterval, OfAVariableSeriesIsClearedWithALine)
{
    for (const QMetaType::Type type : {QMetaType::QString, QMetaType::Long, QMetaType::QVariant}) {
        log.lines.clear();
        EXPECT_EQ(checked(type, 60'000, ""), 0);
        const LogLine expected = {4, "No interval support for variant", kStorageSource, 677};
        ASSERT_EQ(log.lines.size(), 1u);
        EXPECT_EQ(log.lines.front(), expected);
    }
}

TEST_F(ValidInterval, OfACompanionIsClearedSilently)
{
    EXPECT_EQ(checked(QMetaType::Double, 60'000, "P"), 0);
    EXPECT_EQ(checked(QMetaType::QString, 60'000, "O"), 0);
    EXPECT_EQ(checked(QMetaType::Double, -1, "anything"), 0);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ValidInterval, OfZeroStaysWithoutALine)
{
    EXPECT_EQ(checked(QMetaType::QString, 0, ""), 0);
    EXPECT_EQ(checked(QMetaType::Double, 0, "P"), 0);
    EXPECT_TRUE(log.lines.empty());
}

// --- Companions ------------------------------------------------------------------------------------------

class CompanionOf : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, 4711};
    std::unique_ptr<TSFileStorage> companion(const char* marker)
    {
        TSFileStorage* found = storage.getReadFilestorageForMarker(QString::fromLatin1(marker));
        EXPECT_NE(found, &storage);
        return std::unique_ptr<TSFileStorage>(found);
    }
};

TEST_F(CompanionOf, AnEmptyMarkerIsTheStorageItself)
{
    EXPECT_EQ(storage.getReadFilestorageForMarker(""), nullptr);
    EXPECT_EQ(storage.getReadFilestorageForMarker(QString()), nullptr);
    makeDirectory(at("D"));
    EXPECT_EQ(storage.getReadFilestorageForMarker(""), &storage);
    EXPECT_EQ(storage.getReadFilestorageForMarker(QString()), &storage);
}

TEST_F(CompanionOf, TheLateWriteMarkerIsALongLongSeries)
{
    makeDirectory(at("DP"));
    const auto lateLog = companion("P");
    ASSERT_NE(lateLog, nullptr);
    EXPECT_EQ(lateLog->m_dir, at("DP/L/"));
    EXPECT_EQ(lateLog->m_valueType, QMetaType::LongLong);
    EXPECT_EQ(lateLog->m_maxFileSize, 4711);
}

TEST_F(CompanionOf, TheHistoryMarkerIsAVariableSeries)
{
    makeDirectory(at("DO"));
    const auto history = companion("O");
    ASSERT_NE(history, nullptr);
    EXPECT_EQ(history->m_dir, at("DO/V/"));
    EXPECT_EQ(history->m_valueType, QMetaType::QVariant);
    EXPECT_EQ(history->m_maxFileSize, 4711);
}

TEST_F(CompanionOf, AMissingDirectoryIsNone)
{
    makeDirectory(at("D"));
    EXPECT_EQ(companion("P"), nullptr);
    EXPECT_EQ(companion("O"), nullptr);
    writeFile(at("DP"));
    EXPECT_EQ(companion("P"), nullptr);
}

TEST_F(CompanionOf, AnotherMarkerIsNone)
{
    makeDirectory(at("D"));
    makeDirectory(at("DP"));
    makeDirectory(at("DO"));
    makeDirectory(at("Dp"));
    for (const char* marker : {"p", "o", "PO", " ", "D", "P/"})
        EXPECT_EQ(companion(marker), nullptr) << marker;
}

TEST_F(CompanionOf, ASeriesWithoutItsOwnDirectoryStillHasCompanions)
{
    makeDirectory(at("DP"));
    EXPECT_EQ(storage.getReadFilestorageForMarker(""), nullptr);
    EXPECT_NE(companion("P"), nullptr);
}

} // namespace
} // namespace Kiv::Testing
