// Deletes copy the stretches of records that stay; the model reads and writes record by record. Both must leave the
// same bytes of files whose records lie in any order, share timestamps, lie beyond their period or are torn.

#include "TSFileStorage.h"
#include "properties/PlainStorage.h"
#include "properties/StoragePair.h"
#include "properties/StorageScale.h"
#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Kiv::Testing
{
namespace
{

constexpr int kCaseCount = 60;
constexpr int kFileCount = 3;

/// Three files that follow each other, in the directory of their depth.
struct Layout {
    const char* directory;
    int firstNumber;
    qint64 startMs;
    qint64 periodMs;
};

const Layout kLayouts[] = {
    {"", 2023, utc(2023), 365 * 86'400'000LL},
    {"2024/", 1, utc(2024), 31 * 86'400'000LL},
    {"2024/05/", 7, utc(2024, 5, 7), 86'400'000},
    {"2024/05/07/", 10, utc(2024, 5, 7, 10), 3'600'000},
    {"2024/05/07/10/", 20, utc(2024, 5, 7, 10, 20), 60'000},
};

class DeletedBytes : public testing::TestWithParam<QMetaType::Type>
{
protected:
    using Files = std::vector<std::pair<QString, QByteArray>>;

    qint64 between(qint64 least, qint64 most)
    {
        return std::uniform_int_distribution<qint64>(least, most)(m_random);
    }

    /// Few times, so that many records share one; some beyond the period of the file.
    qint64 randomOffset(const Layout& layout) { return between(0, 44) * (layout.periodMs / 41); }

    QByteArray randomBytes(qint64 count)
    {
        QByteArray bytes;
        for (qint64 i = 0; i < count; ++i)
            bytes.append(static_cast<char>(between(-128, 127)));
        return bytes;
    }

    QByteArray randomFile(const Layout& layout, const PlainStorage& model, int depth, qint64 count)
    {
        std::vector<qint64> offsets;
        for (qint64 i = 0; i < count; ++i)
            offsets.push_back(randomOffset(layout));
        if (between(0, 2) > 0)
            std::sort(offsets.begin(), offsets.end());
        constexpr int kWidths[] = {5, 4, 4, 3, 2};
        QByteArray bytes;
        for (const qint64 offset : offsets) {
            for (int i = kWidths[depth] - 1; i >= 0; --i)
                bytes.append(static_cast<char>(offset >> (8 * i)));
            bytes.append(randomBytes(model.storedSize(depth) - kWidths[depth]));
        }
        const bool isTorn = between(0, 2) == 0;
        return isTorn ? bytes + randomBytes(between(1, model.storedSize(depth) - 1)) : bytes;
    }

    /// \param count  records of each file; negative: few, and as many as it happens
    Files randomFiles(const Layout& layout, const PlainStorage& model, int depth, qint64 count)
    {
        Files files;
        for (int i = 0; i < kFileCount; ++i) {
            const QString name = QString::number(layout.firstNumber + i);
            const qint64 recordCount = count < 0 ? between(0, 30) : count;
            files.emplace_back(QStringLiteral("base/%1/").arg(model.m_marker) +
                                   QString::fromLatin1(layout.directory) + name.rightJustified(2, u'0'),
                               randomFile(layout, model, depth, recordCount));
        }
        return files;
    }

    /// Paths, bytes and log lines that a delete leaves.
    template <typename Storage>
    Texts left(Storage& storage, const QString& root, const Files& files, qint64 from, qint64 to)
    {
        for (const auto& [name, bytes] : files)
            writeFile(root + name, bytes);
        m_log.lines.clear();
        storage.deleteDataRecords(from, to);
        Texts texts;
        for (const LogLine& line : m_log.lines)
            texts.push_back(QString(line.text).replace(root, QString()).toStdString());
        for (const std::string& name : filesBelow(root))
            texts.push_back(name + ' ' + hexOf(root + QString::fromStdString(name)));
        return texts;
    }

    void compare(int number, int depth, qint64 count)
    {
        const Layout& layout = kLayouts[depth];
        const QString libraryRoot = m_directory.filePath(QStringLiteral("%1/library/").arg(number));
        const QString modelRoot = m_directory.filePath(QStringLiteral("%1/model/").arg(number));
        TSFileStorage library(libraryRoot + QStringLiteral("base/"), GetParam(), kNoSizeLimit);
        PlainStorage model(modelRoot + QStringLiteral("base/"), GetParam(), kNoSizeLimit);
        const Files files = randomFiles(layout, model, depth, count);
        const auto randomTime = [&] {
            return layout.startMs + between(0, kFileCount - 1) * layout.periodMs + randomOffset(layout) +
                   between(-1, 1);
        };
        const auto [from, to] = std::minmax({randomTime(), randomTime()});
        ASSERT_EQ(left(library, libraryRoot, files, from, to), left(model, modelRoot, files, from, to))
            << "case " << number << ", depth " << depth << ", from " << from - layout.startMs << " to "
            << to - layout.startMs;
    }

    QTemporaryDir m_directory{temporaryPattern()};
    SeamsForTest m_seams;
    LogCapture m_log;
    std::mt19937_64 m_random{20'240'507};
};

TEST_P(DeletedBytes, AreThoseOfTheModelInSmallFiles)
{
    const int caseCount = static_cast<int>(scaledCaseCount(kCaseCount));
    for (int number = 0; number < caseCount; ++number) {
        for (int depth = 0; depth < 5; ++depth)
            ASSERT_NO_FATAL_FAILURE(compare(number * 5 + depth, depth, -1));
    }
}

/// Blocks have 256 KiB: so many records of these lengths are a little less and a little more than one or two.
TEST_P(DeletedBytes, AreThoseOfTheModelAtTheEdgesOfBlocks)
{
    int number = 0;
    for (const int depth : {0, 3}) {
        const PlainStorage model(QString(), GetParam(), kNoSizeLimit);
        const qint64 blockRecords = 256 * 1024 / model.storedSize(depth);
        for (const qint64 count : {blockRecords - 1, blockRecords, blockRecords + 1})
            ASSERT_NO_FATAL_FAILURE(compare(number++, depth, count));
    }
}

INSTANTIATE_TEST_SUITE_P(Types, DeletedBytes,
                         testing::Values(QMetaType::Bool, QMetaType::Short, QMetaType::UShort, QMetaType::Int,
                                         QMetaType::ULongLong, QMetaType::Double, QMetaType::Float),
                         [](const auto& tested) { return std::string(QMetaType(tested.param).name()); });

} // namespace
} // namespace Kiv::Testing
