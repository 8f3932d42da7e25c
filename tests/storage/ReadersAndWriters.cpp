// What a reader finds while a writer is at work, and what two writers do to each other: the other one gets its
// turn at every call that changes a file.

#include "storage/StorageTest.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <utility>

namespace Kiv::Testing
{
namespace
{

class TakingTurns : public StorageTest
{
protected:
    using Turn = std::function<void()>;

    /// Gives the other side a turn before and after every call that changes a file.
    /// \param bytesPerWrite  a write stores so many bytes, then the other side is on
    void interrupt(Turn turn, size_t bytesPerWrite = SIZE_MAX)
    {
        m_turn = std::move(turn);
        Internal::Seams& hooks = Internal::seams();
        hooks.write = [this, bytesPerWrite](int fd, const char* bytes, size_t count, off_t position) {
            return around([&] { return m_real.write(fd, bytes, std::min(count, bytesPerWrite), position); });
        };
        hooks.truncate = [this](int fd, off_t size) {
            return around([&] { return m_real.truncate(fd, size); });
        };
        hooks.synchronize = [this](int fd) { return around([&] { return m_real.synchronize(fd); }); };
        hooks.rename = [this](const char* from, const char* to) {
            return around([&] { return m_real.rename(from, to); });
        };
        hooks.remove = [this](const char* path) { return around([&] { return m_real.remove(path); }); };
    }

    void endInterrupting() { m_turn = {}; }

    static QVariant valueOf(QMetaType::Type type, int number)
    {
        return type == QMetaType::Double ? QVariant(number + 0.5)
                                         : QVariant(QStringLiteral("v%1").arg(number));
    }

    static Records series(QMetaType::Type type, qint64 startMs, int count, qint64 stepMs = 10)
    {
        Records records;
        for (int number = 0; number < count; ++number)
            records.emplace_back(startMs + number * stepMs, valueOf(type, number));
        return records;
    }

    static Texts found(TSFileStorage& storage) { return textsOf(readRaw(storage, utc(1990), utc(2090))); }

    int turns = 0;

private:
    template <typename Call>
    auto around(Call call) -> decltype(call())
    {
        takeTurn();
        const auto result = call();
        const int error = errno;
        takeTurn();
        errno = error;
        return result;
    }

    void takeTurn()
    {
        if (!m_turn)
            return;
        // What the other side does is not interrupted itself.
        const Turn turn = std::exchange(m_turn, Turn());
        ++turns;
        turn();
        m_turn = turn;
    }

    const Internal::Seams m_real = Internal::seams();
    Turn m_turn;
};

// --- Readers ---------------------------------------------------------------------------------------------

class ReaderDuringAWrite : public TakingTurns
{
};

TEST_F(ReaderDuringAWrite, ThatAppendsFindsTheOldSamplesAndTheFirstOfTheNewOnes)
{
    const qint64 aYearMs = qint64{366} * 24 * 3600 * 1000;
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        TSFileStorage storage = makeStorage(type);
        Records all = series(type, kYear, 3);
        ASSERT_TRUE(storage.writeDataRecords(all, false, false));
        const Records batch = series(type, kYear + 1000, 4, aYearMs);
        all.insert(all.end(), batch.begin(), batch.end());
        const Texts expected = textsOf(all);
        std::size_t least = 3;
        const auto read = [&] {
            const Texts texts = found(storage);
            ASSERT_GE(texts.size(), least);
            ASSERT_EQ(texts, Texts(expected.begin(), expected.begin() + std::ptrdiff_t(texts.size())));
            least = texts.size();
        };
        interrupt(read, 1);
        EXPECT_TRUE(storage.writeDataRecords(batch, false, false));
        endInterrupting();
        EXPECT_EQ(found(storage), expected);
    }
    EXPECT_GT(turns, 100);
}

TEST_F(ReaderDuringAWrite, ThatInsertsFindsEveryOldSampleBetweenTwoCalls)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        TSFileStorage storage = makeStorage(type);
        const Records before = series(type, kYear, 1000);
        const Texts old = textsOf(before);
        ASSERT_TRUE(storage.writeDataRecords(before, false, false));
        interrupt([&] {
            const Texts texts = found(storage);
            for (const std::string& text : old)
                ASSERT_TRUE(std::find(texts.begin(), texts.end(), text) != texts.end()) << text;
        });
        EXPECT_TRUE(storage.writeDataRecords(series(type, kYear + 5, 30, 20), false, false));
        endInterrupting();
        EXPECT_EQ(found(storage).size(), 1030u);
    }
    EXPECT_GT(turns, 10);
}

TEST_F(ReaderDuringAWrite, ThatDeletesInsideAFileFindsAllSamplesOrAllButTheDeleted)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        TSFileStorage storage = makeStorage(type);
        const Records before = series(type, kYear, 4);
        ASSERT_TRUE(storage.writeDataRecords(before, false, false));
        interrupt([&] {
            const Texts texts = found(storage);
            ASSERT_TRUE(texts == textsOf(before) || texts == textsOf({before[0], before[3]}));
        });
        EXPECT_TRUE(storage.deleteDataRecords(kYear + 10, kYear + 20, QString()));
        endInterrupting();
        EXPECT_EQ(found(storage), textsOf({before[0], before[3]}));
    }
    EXPECT_GT(turns, 10);
}

TEST_F(ReaderDuringAWrite, ThatReorganisesFindsTheOldOrTheNewValues)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    const Records before = series(QMetaType::QString, kYear, 4);
    ASSERT_TRUE(storage.writeDataRecords(before, false, false));
    Records after = before;
    after[1].value = "a longer value";
    interrupt([&] {
        const Texts texts = found(storage);
        ASSERT_TRUE(texts == textsOf(before) || texts == textsOf(after)) << testing::PrintToString(texts);
    });
    EXPECT_TRUE(storage.writeDataRecords({after[1]}, false, false));
    endInterrupting();
    EXPECT_EQ(lines(7).size(), 1u);
    EXPECT_EQ(found(storage), textsOf(after));
}

TEST_F(ReaderDuringAWrite, ThatHasOpenedAFileWhichIsReplacedMayGetWrongValuesOfItAndEndsWell)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    const Records before = series(QMetaType::QString, kYear, 4);
    ASSERT_TRUE(storage.writeDataRecords(before, false, false));
    const auto real = Internal::seams().open;
    int opened = 0;
    Internal::seams().open = [&](QFile& file, QIODevice::OpenMode mode) {
        // After the first and the last record, the range: its record file is open, its companion not yet.
        if (mode == QIODevice::ReadOnly && file.fileName().endsWith(QLatin1String(".var")) && ++opened == 3)
            storage.deleteDataRecords(kYear, kYear + 5, QString());
        return real(file, mode);
    };
    const Records records = readRaw(storage, kYear, kYear + 100);
    Internal::seams().open = real;
    ASSERT_EQ(records.size(), 4u);
    for (std::size_t i = 0; i < records.size(); ++i)
        EXPECT_EQ(records[i].timestamp, before[i].timestamp);
    EXPECT_NE(textsOf(records), textsOf(before));
    EXPECT_EQ(found(storage), textsOf({before[1], before[2], before[3]}));
}

TEST_F(ReaderDuringAWrite, ThatSplitsMayMissSamplesOfThatFileButFindsNoWrongOne)
{
    const qint64 aMonthMs = qint64{31} * 24 * 3600 * 1000;
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        const Records before = series(type, kYear, 5, aMonthMs);
        const Records others = series(type, utc(2025), 2);
        TSFileStorage storage = makeStorage(type);
        ASSERT_TRUE(storage.writeDataRecords(before, false, false));
        ASSERT_TRUE(storage.writeDataRecords(others, false, false));
        Records all = before;
        all.emplace_back(kYear + 1, valueOf(type, 9));
        all.insert(all.end(), others.begin(), others.end());
        const Texts allowed = textsOf(all);
        std::size_t fewest = all.size();
        interrupt([&] {
            const Texts texts = found(storage);
            for (const std::string& text : texts)
                ASSERT_TRUE(std::find(allowed.begin(), allowed.end(), text) != allowed.end()) << text;
            fewest = std::min(fewest, texts.size());
        });
        TSFileStorage small = makeStorage(type, 20);
        EXPECT_TRUE(small.writeDataRecords({{kYear + 1, valueOf(type, 9)}}, false, false));
        endInterrupting();
        EXPECT_EQ(found(storage).size(), all.size());
        EXPECT_EQ(fewest, 2u);
    }
}

// --- Two writers -----------------------------------------------------------------------------------------

class TwoWriters : public TakingTurns
{
};

TEST_F(TwoWriters, OfDifferentSeriesDoNotDisturbEachOther)
{
    TSFileStorage first = makeStorage(QMetaType::QString);
    TSFileStorage second(at("other"), QMetaType::QString, kNoSizeLimit);
    int number = 0;
    interrupt([&] {
        ++number;
        ASSERT_TRUE(
            second.writeDataRecords({{kYear + number % 7, valueOf(QMetaType::QString, number)}}, true, true));
    });
    for (int round = 0; round < 2; ++round)
        EXPECT_TRUE(
            first.writeDataRecords(series(QMetaType::QString, kYear, 3 + round, 3 - round % 2), true, true));
    endInterrupting();
    EXPECT_GT(number, 7);
    EXPECT_EQ(found(second).size(), 7u);
    Records records = readRaw(second, kYear, kYear + 10);
    EXPECT_EQ(records[static_cast<std::size_t>(number % 7)].value, valueOf(QMetaType::QString, number));
    EXPECT_TRUE(lines(2).empty());
}

TEST_F(TwoWriters, OfDifferentFilesOfASeriesDoNotDisturbEachOther)
{
    TSFileStorage first = makeStorage();
    TSFileStorage second = makeStorage();
    int number = 0;
    interrupt([&] {
        ++number;
        ASSERT_TRUE(second.writeDataRecords({{utc(2025) + number, 1.0 * number}}, false, false));
    });
    EXPECT_TRUE(first.writeDataRecords(recordsOf({{kYear, 1}, {kYear + 10, 2}}), false, false));
    EXPECT_TRUE(first.writeDataRecords(recordsOf({{kYear + 5, 3}, {kYear + 10, 4}}), false, false));
    EXPECT_TRUE(first.deleteDataRecords(kYear + 5, kYear + 5, QString()));
    endInterrupting();
    EXPECT_GT(number, 5);
    EXPECT_EQ(found(first).size(), std::size_t(2 + number));
}

TEST_F(TwoWriters, OfOneFileMayLoseABatchThoughBothSayItIsStored)
{
    TSFileStorage first = makeStorage();
    TSFileStorage second = makeStorage();
    const Records before = series(QMetaType::Double, kYear, 3);
    ASSERT_TRUE(first.writeDataRecords(before, false, false));
    bool isDone = false;
    interrupt([&] {
        if (!std::exchange(isDone, true)) {
            EXPECT_TRUE(second.writeDataRecords({{kYear + 100, 1.5}}, false, false));
        }
    });
    EXPECT_TRUE(first.writeDataRecords({{kYear + 200, 2.5}}, false, false));
    endInterrupting();
    Records expected = before;
    expected.emplace_back(kYear + 200, 2.5);
    EXPECT_EQ(found(first), textsOf(expected));
}

} // namespace
} // namespace Kiv::Testing
