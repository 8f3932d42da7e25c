// The operations of the library decode and encode whole blocks; the operations on single records work through
// a data stream. Both must agree on the same bytes, on well-formed files and on torn and odd ones.

#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <QDataStream>
#include <QFile>

#include <gtest/gtest.h>

#include <random>

namespace Kiv::Testing
{

namespace
{

constexpr QMetaType::Type kTypes[] = {
    QMetaType::Bool,      QMetaType::Int,    QMetaType::UInt,  QMetaType::LongLong,
    QMetaType::ULongLong, QMetaType::Double, QMetaType::Short, QMetaType::Char,
    QMetaType::UShort,    QMetaType::UChar,  QMetaType::Float, QMetaType::QString,
};

/// One series with files of every depth, written by the library.
class StreamEquivalence : public testing::TestWithParam<QMetaType::Type>
{
protected:
    /// Bytes small enough to split a busy file down to the wanted depth.
    TSFileStorage storageOfDepth(int depth, const QString& name = {})
    {
        return TSFileStorage(m_directory.at(QString::number(depth) + name), GetParam(),
                             depth == 0 ? kNoSizeLimit : 40);
    }

    QVariant randomValue()
    {
        const int number = std::uniform_int_distribution<int>(-300, 70'000)(m_random);
        return GetParam() == QMetaType::QString ? QVariant(QString::number(number)) : QVariant(number * 0.25);
    }

    /// Samples of one minute, so that a small limit leads to a minute file.
    Records randomSamples(int count, qint64 spreadMs)
    {
        Records records;
        std::uniform_int_distribution<qint64> offset(0, spreadMs);
        for (int i = 0; i < count; ++i)
            records.emplace_back(utc(2024, 2, 29, 23, 59) + offset(m_random), randomValue());
        return records;
    }

    void fill(TSFileStorage& storage, int depth)
    {
        for (int batch = 0; batch < 5; ++batch)
            ASSERT_TRUE(
                storage.writeDataRecords(randomSamples(8, depth == 4 ? 59'999 : 40'000'000), false, false));
    }

    void expectSameRecords(TSFileStorage& storage);

    SeriesDirectory m_directory;
    SeamsForTest m_seams;
    LogCapture m_log;
    std::mt19937 m_random{static_cast<unsigned>(GetParam())};
};

/// Whole records of one file, read one by one from the start.
Records streamedRecords(TSFileStorage& storage, const TSFileInfo& info, qint64 bytesPerRecord)
{
    QFile file(info.filePath());
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_15);
    Records records;
    while (file.size() - file.pos() >= bytesPerRecord)
        records.push_back(storage.readCurrDataRecord(stream, info.getBaseTsMs(), info.getDirDepth()));
    return records;
}

void StreamEquivalence::expectSameRecords(TSFileStorage& storage)
{
    Records streamed;
    Records lastOfFiles;
    for (TSFileInfo info = storage.findFirstFile(); info.found(); info = storage.findNextFile(info)) {
        const TSFileInfo::DirDepth depth = info.getDirDepth();
        const qint64 valueBytes =
            GetParam() == QMetaType::Float ? 8 : storage.getDataLengthForValueType(GetParam());
        const qint64 bytesPerRecord = storage.getDataLengthForTimestampOffset(depth) + valueBytes;
        const Records ofFile = streamedRecords(storage, info, bytesPerRecord);
        streamed.insert(streamed.end(), ofFile.begin(), ofFile.end());

        QFile file(info.filePath());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        QDataStream stream(&file);
        stream.setVersion(QDataStream::Qt_5_15);
        lastOfFiles.push_back(storage.readLastDataRecord(stream, file.size(), info.getBaseTsMs(), depth));
        for (const Record& record : ofFile) {
            // A float file that was added to holds misaligned records, whose times belong elsewhere.
            if (storage.findFile(record.timestamp).filePath() != info.filePath())
                continue;
            // The stream is told nothing of the file's end but its size, as the search inside the library.
            stream.resetStatus();
            storage.seekToTsOffsetPos(stream, file.size(), record.timestamp - info.getBaseTsMs(),
                                      storage.getDataLengthForTimestampOffset(depth), depth);
            const Record bySearch = storage.readCurrDataRecord(stream, info.getBaseTsMs(), depth);
            Record found;
            EXPECT_EQ(storage.findDataRecord(record.timestamp, found),
                      bySearch.timestamp == record.timestamp);
            EXPECT_EQ(textOf(found), textOf(bySearch));
        }
    }
    Record last;
    ASSERT_TRUE(storage.getLastDataRecord(last));
    EXPECT_EQ(textOf(last), textOf(lastOfFiles.back()));
    if (GetParam() == QMetaType::Float)
        return; // the range of a read comes from the first and last record, which a float's arithmetic misses
    EXPECT_EQ(textsOf(readRaw(storage, -2, -3)), textsOf(streamed));
}

} // namespace

TEST_P(StreamEquivalence, ReadsTheSameRecordsOfWellFormedFilesOfEveryDepth)
{
    for (int depth = 0; depth <= 4; ++depth) {
        TSFileStorage storage = storageOfDepth(depth);
        fill(storage, depth);
        expectSameRecords(storage);
    }
}

TEST_P(StreamEquivalence, ReadsTheSameRecordsOfTornFiles)
{
    const int recordSize = storageOfDepth(4).getDataLengthForValueType(GetParam()) + 2;
    for (int tornBytes = 1; tornBytes < recordSize; ++tornBytes) {
        TSFileStorage storage = storageOfDepth(4, QStringLiteral("torn") + QString::number(tornBytes));
        fill(storage, 4);
        appendToFile(storage.findLastFile().filePath(), QByteArray(tornBytes, '\x5a'));
        expectSameRecords(storage);
    }
}

TEST_P(StreamEquivalence, WritesTheSameBytes)
{
    TSFileStorage storage = storageOfDepth(0);
    Records records;
    for (int i = 0; i < 50; ++i)
        records.emplace_back(utc(2024, 2, 29) + i * 1000, randomValue());
    ASSERT_TRUE(storage.writeDataRecords(records, false, false));
    const TSFileInfo info = storage.findFirstFile();

    const QString path = m_directory.at(QStringLiteral("streamed"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_15);
    for (const Record& record : records)
        storage.writeDataRecord(stream, record, info.getBaseTsMs(), info.getDirDepth());
    file.close();
    EXPECT_EQ(hexOf(path), hexOf(info.filePath()));
    EXPECT_EQ(hexOf(path + QStringLiteral(".var")), hexOf(info.filePath() + QStringLiteral(".var")));
}

INSTANTIATE_TEST_SUITE_P(Types, StreamEquivalence, testing::ValuesIn(kTypes),
                         [](const auto& type) { return std::string(QMetaType(type.param).name()); });

} // namespace Kiv::Testing
