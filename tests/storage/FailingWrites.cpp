// What a series holds after the system refused a call: every write scenario is run once for every call that
// changes a file, with just that call failing, with everything from it on failing, and on full disks.

#include "storage/StorageTest.h"
#include "support/FaultsForTest.h"

#include <QDir>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <memory>

namespace Kiv::Testing
{
namespace
{

using Failure = FaultsForTest::Failure;

/// A write onto a prepared series.
struct Scenario {
    const char* name;
    QMetaType::Type type;
    Records before;
    Records batch;
};

QVariant blob(char letter, int size = 40)
{
    return QByteArray(size, letter);
}

std::vector<Scenario> scenarios()
{
    return {
        {"first batch", QMetaType::Double, {}, {{kYear, 1.0}, {kYear + 1, 2.0}}},
        {"append",
         QMetaType::Double,
         {{kYear, 1.0}, {kYear + 10, 2.0}},
         {{kYear + 20, 3.0}, {kYear + 30, 4.0}}},
        {"insert at the start", QMetaType::Double, {{kYear + 10, 1.0}, {kYear + 20, 2.0}}, {{kYear, 3.0}}},
        {"insert in the middle",
         QMetaType::Double,
         {{kYear, 1.0}, {kYear + 10, 2.0}, {kYear + 20, 3.0}, {kYear + 30, 4.0}},
         {{kYear + 5, 5.0}, {kYear + 15, 6.0}}},
        {"overwrite", QMetaType::Double, {{kYear, 1.0}, {kYear + 10, 2.0}}, {{kYear, 3.0}}},
        {"overwrite, insert and append",
         QMetaType::Double,
         {{kYear, 1.0}, {kYear + 10, 2.0}},
         {{kYear, 3.0}, {kYear + 5, 4.0}, {kYear + 20, 5.0}}},
        {"three files",
         QMetaType::Int,
         {{utc(2024), 1}},
         {{utc(2023), 2}, {utc(2024) + 1, 3}, {utc(2025), 4}}},
        {"first variable batch", QMetaType::QByteArray, {}, {{kYear, blob('a')}, {kYear + 1, blob('b')}}},
        {"variable append",
         QMetaType::QByteArray,
         {{kYear, blob('a')}},
         {{kYear + 1, blob('b')}, {kYear + 2, blob('c')}}},
        {"variable insert",
         QMetaType::QByteArray,
         {{kYear, blob('a')}, {kYear + 9, blob('b')}},
         {{kYear + 5, blob('c')}}},
        {"variable overwrite",
         QMetaType::QByteArray,
         {{kYear, blob('a')}, {kYear + 9, blob('b')}},
         {{kYear, blob('c')}}},
    };
}

/// What may stand at a timestamp after a failure: nothing or a new value where there was none, the old or the
/// new value where there was one.
class Expectation
{
public:
    explicit Expectation(const Scenario& scenario)
    {
        for (const Record& record : scenario.before)
            m_old[record.timestamp] = textOf(record);
        for (const Record& record : scenario.batch)
            m_new[record.timestamp] = textOf(record);
    }

    void check(const Records& found) const
    {
        std::map<qint64, std::string> texts;
        for (const Record& record : found)
            texts[record.timestamp] = textOf(record);
        for (const auto& [timestamp, text] : m_old) {
            ASSERT_TRUE(texts.contains(timestamp)) << "lost " << text;
            if (texts[timestamp] != text) {
                ASSERT_TRUE(m_new.contains(timestamp)) << "was " << text << ", is " << texts[timestamp];
                ASSERT_EQ(texts[timestamp], m_new.at(timestamp));
            }
        }
        for (const auto& [timestamp, text] : texts) {
            if (!m_old.contains(timestamp)) {
                ASSERT_TRUE(m_new.contains(timestamp)) << "out of nowhere: " << text;
                ASSERT_EQ(text, m_new.at(timestamp));
            }
        }
    }

    void checkComplete(const Records& found) const
    {
        ASSERT_NO_FATAL_FAILURE(check(found));
        for (const auto& [timestamp, text] : m_new) {
            ASSERT_TRUE(std::any_of(found.begin(), found.end(),
                                    [&text](const Record& record) { return textOf(record) == text; }))
                << "missing " << text;
        }
    }

private:
    std::map<qint64, std::string> m_old;
    std::map<qint64, std::string> m_new;
};

class FailingWrite : public testing::Test
{
protected:
    SeamsForTest seams;
    LogCapture log;
    std::unique_ptr<SeriesDirectory> directory;
    std::unique_ptr<TSFileStorage> storage;

    void prepare(const Scenario& scenario)
    {
        directory = std::make_unique<SeriesDirectory>();
        storage = std::make_unique<TSFileStorage>(directory->base(), scenario.type, kNoSizeLimit);
        ASSERT_TRUE(storage->writeDataRecords(scenario.before, false, false));
        log.lines.clear();
    }

    std::vector<LogLine> errors() const
    {
        std::vector<LogLine> lines;
        for (const LogLine& line : log.lines) {
            if (line.level == 2)
                lines.push_back(line);
        }
        return lines;
    }

    /// The one line of a refused write, about a file of the series.
    void expectOneError(std::initializer_list<const char*> operations) const
    {
        const std::vector<LogLine> lines = errors();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines.front().source, kStorageSource);
        const QString text = lines.front().text;
        EXPECT_TRUE(text.startsWith(QStringLiteral("Could not write '") + storage->m_dir))
            << text.toStdString();
        EXPECT_TRUE(std::any_of(operations.begin(), operations.end(), [&text](const char* operation) {
            return text.endsWith(QStringLiteral("' (%1)").arg(QLatin1String(operation)));
        })) << text.toStdString();
    }

    /// Every record file is whole records, so that no later append hides a torn one.
    void expectWholeRecords() const
    {
        for (TSFileInfo info = storage->findFirstFile(); info.found(); info = storage->findNextFile(info)) {
            const qint64 sizeBytes = QFile(info.filePath()).size();
            EXPECT_EQ(sizeBytes % (5 + storage->m_dataLength), 0) << info.filePath().toStdString();
        }
    }

    /// What a reader of the whole series gets.
    Records found() { return readRaw(*storage, kYear - 100'000'000'000, kYear + 100'000'000'000); }

    void expectAscending()
    {
        const Records records = found();
        for (size_t i = 1; i < records.size(); ++i)
            EXPECT_LT(records[i - 1].timestamp, records[i].timestamp);
    }

    /// Runs the body with call 1, 2, 3 and so on failing, until none fails any more.
    void forEveryCall(const Scenario& scenario, Failure failure,
                      const std::function<void(FaultsForTest&, bool written)>& check)
    {
        for (int number = 1;; ++number) {
            ASSERT_NO_FATAL_FAILURE(prepare(scenario));
            FaultsForTest faults;
            faults.failCall(number, failure);
            const bool written = storage->writeDataRecords(scenario.batch, false, false);
            SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(number));
            if (!faults.hasFailed) {
                EXPECT_TRUE(written);
                EXPECT_GT(number, 1) << "nothing went through the system";
                break;
            }
            const std::string failed = faults.calls[static_cast<size_t>(number) - 1];
            SCOPED_TRACE(failed);
            check(faults, written);
        }
    }
};

TEST_F(FailingWrite, OfOneCallLosesNothingAndLeavesWholeRecords)
{
    for (const Scenario& scenario : scenarios()) {
        forEveryCall(scenario, Failure::Once, [&](FaultsForTest& faults, bool written) {
            faults.noFaults();
            expectWholeRecords();
            expectAscending();
            Expectation(scenario).check(found());
            if (!written)
                expectOneError({"writeDataRecords", "reorgVarFile"});
        });
    }
}

TEST_F(FailingWrite, OfBytesIsAlwaysReported)
{
    for (const Scenario& scenario : scenarios()) {
        for (int number = 1;; ++number) {
            prepare(scenario);
            FaultsForTest faults;
            faults.failCall(number, Failure::Once);
            const bool written = storage->writeDataRecords(scenario.batch, false, false);
            if (!faults.hasFailed)
                break;
            SCOPED_TRACE(std::string(scenario.name) + ", call " + std::to_string(number));
            if (faults.calls[static_cast<size_t>(number) - 1] == "write") {
                EXPECT_FALSE(written);
                EXPECT_EQ(errors().size(), 1u);
            }
        }
    }
}

TEST_F(FailingWrite, ThatIsRepeatedCompletesTheBatch)
{
    for (const Scenario& scenario : scenarios()) {
        forEveryCall(scenario, Failure::Once, [&](FaultsForTest& faults, bool) {
            faults.noFaults();
            EXPECT_TRUE(storage->writeDataRecords(scenario.batch, false, false));
            expectWholeRecords();
            expectAscending();
            Expectation(scenario).checkComplete(found());
        });
    }
}

TEST_F(FailingWrite, InACrashLosesNoRecord)
{
    for (const Scenario& scenario : scenarios()) {
        forEveryCall(scenario, Failure::Crash, [&](FaultsForTest& faults, bool) {
            faults.noFaults();
            Expectation(scenario).check(found());
        });
    }
}

TEST_F(FailingWrite, InACrashIsCompletedByTheSameWrite)
{
    for (const Scenario& scenario : scenarios()) {
        if (std::string(scenario.name).find("insert") != std::string::npos)
            continue; // an insert moves records in place; half-moved ones may stand twice
        forEveryCall(scenario, Failure::Crash, [&](FaultsForTest& faults, bool) {
            faults.noFaults();
            EXPECT_TRUE(storage->writeDataRecords(scenario.batch, false, false));
            Expectation(scenario).checkComplete(found());
        });
    }
}

TEST_F(FailingWrite, OnAFullDiskChangesNothingOfTheFile)
{
    for (const Scenario& scenario : scenarios()) {
        for (qint64 freeBytes = 0;; ++freeBytes) {
            prepare(scenario);
            FaultsForTest faults;
            faults.limitGrowth(freeBytes);
            const bool written = storage->writeDataRecords(scenario.batch, false, false);
            SCOPED_TRACE(std::string(scenario.name) + ", free bytes " + std::to_string(freeBytes));
            if (!faults.hasFailed) {
                EXPECT_TRUE(written);
                break;
            }
            EXPECT_FALSE(written);
            expectOneError({"writeDataRecords", "reorgVarFile"});
            faults.noFaults();
            expectWholeRecords();
            expectAscending();
            ASSERT_NO_FATAL_FAILURE(Expectation(scenario).check(found()));
        }
    }
}

TEST_F(FailingWrite, OfAnAppendPutsTheFileBack)
{
    const Scenario scenario = {"", QMetaType::Double, {{kYear, 1.0}}, {{kYear + 1, 2.0}, {kYear + 2, 3.0}}};
    prepare(scenario);
    const QString path = directory->base() + "D/2024";
    const QByteArray before = readFile(path);
    FaultsForTest faults;
    faults.limitGrowth(20);
    EXPECT_FALSE(storage->writeDataRecords(scenario.batch, true, true));
    EXPECT_EQ(readFile(path), before);
    const LogLine expected = {2, QStringLiteral("Could not write '%1' (writeDataRecords)").arg(path),
                              kStorageSource, errors().front().line};
    EXPECT_EQ(errors(), std::vector<LogLine>{expected});
}

TEST_F(FailingWrite, OfAnAppendToATornFileKeepsItsWholeRecords)
{
    const Scenario scenario = {"", QMetaType::Double, {{kYear, 1.0}}, {{kYear + 1, 2.0}}};
    prepare(scenario);
    appendToFile(directory->base() + "D/2024", "torn");
    FaultsForTest faults;
    faults.failCall(1, Failure::Crash);
    EXPECT_FALSE(storage->writeDataRecords(scenario.batch, false, false));
    EXPECT_EQ(storedSamples(*storage), (Samples{{kYear, 1}}));
}

TEST_F(FailingWrite, OfALaterFileKeepsTheEarlierOnesAndWritesNoCompanions)
{
    const Scenario scenario = {"", QMetaType::Double, {{kYear, 1.0}}, {}};
    prepare(scenario);
    FaultsForTest faults;
    faults.limitGrowth(13);
    EXPECT_FALSE(storage->writeDataRecords(recordsOf({{utc(2022), 1}, {utc(2023), 2}}), true, true));
    EXPECT_EQ(storedSamples(*storage), (Samples{{utc(2022), 1}, {kYear, 1}}));
    for (const std::string& name : filesBelow(directory->base()))
        EXPECT_TRUE(name.starts_with("D/")) << name;
}

TEST_F(FailingWrite, OfACompanionSeriesOnlyLogs)
{
    const Scenario scenario = {"", QMetaType::Double, {{kYear, 1.0}, {kYear + 10, 2.0}}, {}};
    prepare(scenario);
    FaultsForTest faults;
    faults.limitGrowth(0); // the overwrite itself needs no room, both companions do
    EXPECT_TRUE(storage->writeDataRecords({{kYear, 3.0}}, true, true));
    EXPECT_EQ(storedSamples(*storage), (Samples{{kYear, 3}, {kYear + 10, 2}}));
    const std::vector<LogLine> lines = errors();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[0].text.startsWith("Could not write '" + directory->base() + "DP/L/2023"));
    EXPECT_TRUE(lines[1].text.startsWith("Could not write '" + directory->base() + "DO/V/2024"));
}

TEST_F(FailingWrite, OfAVariableValueLeavesNoDeadBytes)
{
    const Scenario scenario = {"", QMetaType::QByteArray, {{kYear, blob('a')}}, {{kYear + 1, blob('b')}}};
    prepare(scenario);
    const QByteArray before = readFile(directory->base() + "V/2024.var");
    FaultsForTest faults;
    faults.limitGrowth(49 + 3); // the value fits, its record does not
    EXPECT_FALSE(storage->writeDataRecords(scenario.batch, false, false));
    EXPECT_EQ(readFile(directory->base() + "V/2024.var"), before);
}

TEST_F(FailingWrite, ThatIsOnlyShortOrInterruptedIsContinued)
{
    for (const Scenario& scenario : scenarios()) {
        prepare(scenario);
        storage->writeDataRecords(scenario.batch, false, false);
        std::map<std::string, QByteArray> expected;
        for (const std::string& name : filesBelow(directory->base()))
            expected[name] = readFile(directory->base() + QString::fromStdString(name));

        prepare(scenario);
        const FaultsForTest restoresTheSeams;
        const auto real = Internal::seams().write;
        Internal::seams().write = [real, calls = 0](int fd, const char* bytes, size_t,
                                                    off_t position) mutable -> ssize_t {
            errno = EINTR;
            return ++calls % 3 == 0 ? -1 : real(fd, bytes, 1, position);
        };
        EXPECT_TRUE(storage->writeDataRecords(scenario.batch, false, false)) << scenario.name;
        EXPECT_TRUE(errors().empty());
        for (const auto& [name, bytes] : expected)
            EXPECT_EQ(readFile(directory->base() + QString::fromStdString(name)), bytes)
                << scenario.name << name;
    }
}

TEST_F(FailingWrite, OfAVariableValueBeyondTwoGigabytesIsRefused)
{
    const Scenario scenario = {"", QMetaType::QByteArray, {{kYear, blob('a')}}, {{kYear + 1, blob('b')}}};
    prepare(scenario);
    const QString varPath = directory->base() + "V/2024.var";
    QFile companion(varPath);
    ASSERT_TRUE(companion.open(QIODevice::ReadWrite));
    ASSERT_TRUE(companion.resize(qint64{1} << 31)); // sparse
    companion.close();
    EXPECT_FALSE(storage->writeDataRecords(scenario.batch, false, false));
    expectOneError({"writeDataRecords"});
    EXPECT_EQ(QFile(varPath).size(), qint64{1} << 31);
    EXPECT_EQ(storedRecords(*storage).size(), 1u);
}

TEST_F(FailingWrite, OfAVariableValueThatStartsAtTheLastPositionIsStored)
{
    const Scenario scenario = {"", QMetaType::QByteArray, {{kYear, blob('a')}}, {{kYear + 1, blob('b')}}};
    prepare(scenario);
    const QString varPath = directory->base() + "V/2024.var";
    QFile companion(varPath);
    ASSERT_TRUE(companion.open(QIODevice::ReadWrite));
    ASSERT_TRUE(companion.resize((qint64{1} << 31) - 1));
    companion.close();
    storage->writeDataRecords(scenario.batch, false, false);
    EXPECT_TRUE(errors().empty());
    Expectation(scenario).checkComplete(found());
}

} // namespace
} // namespace Kiv::Testing
