// What operations make of files that open and cannot be read: which result and log line that gives, and that
// no stored byte changes for it.

#include "storage/StorageTest.h"
#include "support/FaultsForTest.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>

namespace Kiv::Testing
{
namespace
{

using Failure = FaultsForTest::Failure;
using FileBytes = std::map<std::string, QByteArray>;

class FailingRead : public StorageTest
{
protected:
    FaultsForTest faults;
    TSFileStorage numbers{directory.base(), QMetaType::Double, kNoSizeLimit};
    TSFileStorage strings{directory.base(), QMetaType::QString, kNoSizeLimit};

    static QVariant valueOf(QMetaType::Type type, int number)
    {
        return type == QMetaType::Double ? QVariant(number + 0.5)
                                         : QVariant(QStringLiteral("v%1").arg(number));
    }

    /// Three years with four records each, ten milliseconds apart.
    static Records threeYears(QMetaType::Type type)
    {
        Records records;
        for (int number = 0; number < 12; ++number)
            records.emplace_back(utc(2023 + number / 4) + number % 4 * 10, valueOf(type, number));
        return records;
    }

    void fill()
    {
        for (TSFileStorage* series : {&numbers, &strings})
            ASSERT_TRUE(series->writeDataRecords(threeYears(series->m_valueType), false, false));
        log.lines.clear();
    }

    FileBytes bytes() const
    {
        FileBytes result;
        for (const std::string& name : files())
            result[name] = readFile(directory.base() + QString::fromStdString(name));
        return result;
    }

    static std::string textAt(const Records& records, qint64 timestamp)
    {
        for (const Record& record : records) {
            if (record.timestamp == timestamp)
                return textOf(record);
        }
        return {};
    }
};

// --- Reading operations ----------------------------------------------------------------------------------

TEST_F(FailingRead, OfTheFirstFileGivesNoFirstRecord)
{
    fill();
    faults.failReadsOf("D/2023");
    Record record(7, 8.0);
    EXPECT_FALSE(numbers.getFirstDataRecord(record));
    EXPECT_EQ(textOf(record), "7 double 8");
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2023"), " for read (getFirstDataRecord)")});
    EXPECT_TRUE(numbers.getLastDataRecord(record));
}

TEST_F(FailingRead, OfTheLastFileGivesNoLastRecord)
{
    fill();
    faults.failReadsOf("D/2025");
    Record record(7, 8.0);
    EXPECT_FALSE(numbers.getLastDataRecord(record));
    EXPECT_EQ(textOf(record), "7 double 8");
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2025"), " for read (getLastDataRecord)")});
}

TEST_F(FailingRead, OfAFileFindsNoRecordInIt)
{
    fill();
    faults.failReadsOf("D/2024");
    Record record;
    EXPECT_FALSE(numbers.findDataRecord(kYear + 10, record));
    EXPECT_TRUE(numbers.findDataRecord(utc(2023) + 10, record));
}

TEST_F(FailingRead, OfAProbeLeavesNoRecordOut)
{
    Samples samples;
    for (int i = 0; i < 2000; ++i)
        samples.emplace_back(kYear + i, i);
    ASSERT_TRUE(numbers.writeDataRecords(recordsOf(samples), false, false));
    // The first two reads are those of the first and the last record, the third is the search's first probe.
    faults.failRead(3, Failure::Once);
    EXPECT_EQ(readRaw(numbers, kYear + 10, kYear + 1999).size(), 1990U);
    // A count looks at the file's last record before it searches.
    faults.failRead(4, Failure::Once);
    EXPECT_EQ(numbers.getCount({}, {}, kYear + 10, kYear + 1999, true, false, false), 1990);
}

TEST_F(FailingRead, OfAFileInAMiddleOfARangeCountsTheOthersAndSaysSo)
{
    fill();
    faults.failReadsOf("D/2024");
    EXPECT_EQ(numbers.getCount({}, {}, utc(2023) + 10, utc(2025), true, false, false), 4);
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2024"), " for read (getCount)")});
    log.lines.clear();
    EXPECT_EQ(readRaw(numbers, utc(2023) + 10, utc(2025)).size(), 4U);
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2024"), " for read (readDataRecords)")});
}

TEST_F(FailingRead, OfTheFirstOrTheLastFileGivesAnEmptyRange)
{
    fill();
    for (const char* path : {"D/2023", "D/2025"}) {
        faults.failReadsOf(path);
        EXPECT_TRUE(readRaw(numbers, utc(2023), utc(2026)).empty());
        EXPECT_EQ(numbers.getCount({}, {}, utc(2023), utc(2026), true, false, false), 0);
    }
    EXPECT_EQ(lines(2).size(), 4u);
}

TEST_F(FailingRead, OfAFileInTheMidstLeavesTheOthersReadable)
{
    fill();
    Records expected = threeYears(QMetaType::Double);
    expected.erase(expected.begin() + 4, expected.begin() + 8);
    faults.failReadsOf("D/2024");
    EXPECT_EQ(textsOf(readRaw(numbers, utc(2023), utc(2026))), textsOf(expected));
}

TEST_F(FailingRead, OfACompanionGivesNullValuesAtTheRightTimes)
{
    fill();
    faults.failReadsOf("V/2024.var");
    const Records found = readRaw(strings, utc(2023), utc(2026));
    const Records stored = threeYears(QMetaType::QString);
    ASSERT_EQ(found.size(), stored.size());
    for (std::size_t i = 0; i < stored.size(); ++i) {
        EXPECT_EQ(found[i].timestamp, stored[i].timestamp);
        EXPECT_EQ(found[i].value, i / 4 == 1 ? QVariant() : stored[i].value);
    }
    Record record;
    EXPECT_TRUE(strings.findDataRecord(kYear + 10, record));
    EXPECT_FALSE(record.value.isValid());
    EXPECT_EQ(strings.getCount({}, {}, utc(2023), utc(2026), true, false, false), 12);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(FailingRead, AnywhereInARangeGivesStoredRecordsOnlyAndChangesNothing)
{
    fill();
    const FileBytes before = bytes();
    const Records stored = threeYears(QMetaType::Double);
    for (const Failure failure : {Failure::Once, Failure::Crash}) {
        for (int number = 1; number == 1 || faults.hasFailed; ++number) {
            faults.failRead(number, failure);
            for (const Record& record : readRaw(numbers, utc(2023) + 10, utc(2025) + 20))
                EXPECT_EQ(textOf(record), textAt(stored, record.timestamp)) << number;
        }
    }
    EXPECT_EQ(bytes(), before);
}

// --- Writing ---------------------------------------------------------------------------------------------

TEST_F(FailingRead, OfTheRecordFileRefusesAppendInsertAndOverwrite)
{
    fill();
    const FileBytes before = bytes();
    for (TSFileStorage* series : {&numbers, &strings}) {
        const QString path = series->m_dir + "2024";
        for (const qint64 offset : {100, 15, 10}) {
            log.lines.clear();
            faults.failReadsOf("/2024");
            EXPECT_FALSE(
                series->writeDataRecords({{kYear + offset, valueOf(series->m_valueType, 99)}}, true, true));
            EXPECT_EQ(lines(2), Texts{quoted("Could not open ", path, " for read/write (writeDataRecords)")});
            EXPECT_TRUE(faults.calls.empty());
        }
    }
    EXPECT_EQ(bytes(), before);
}

TEST_F(FailingRead, BehindTheLastRecordRefusesInsertAndOverwriteAndTakesValuesBack)
{
    fill();
    const FileBytes before = bytes();
    for (TSFileStorage* series : {&numbers, &strings}) {
        const QString path = series->m_dir + "2024";
        for (const qint64 offset : {15, 10}) {
            log.lines.clear();
            faults.failRead(2, Failure::Crash);
            EXPECT_FALSE(
                series->writeDataRecords({{kYear + offset, valueOf(series->m_valueType, 99)}}, false, false));
            EXPECT_EQ(lines(2), Texts{quoted("Could not write ", path, " (writeDataRecords)")});
        }
    }
    EXPECT_EQ(bytes(), before);
}

TEST_F(FailingRead, OfACompanionDoesNotKeepAppendsAndInsertsFromBeingStored)
{
    fill();
    faults.failReadsOf(".var");
    EXPECT_TRUE(strings.writeDataRecords({{kYear + 15, "late"}, {kYear + 100, "last"}}, false, false));
    EXPECT_TRUE(lines(2).empty());
    faults.noFaults();
    const Records found = readRaw(strings, kYear, kYear + 100);
    EXPECT_EQ(found.size(), 6u);
    EXPECT_EQ(textAt(found, kYear + 15), textOf(Record(kYear + 15, "late")));
    EXPECT_EQ(textAt(found, kYear + 10), textOf(Record(kYear + 10, "v5")));
}

TEST_F(FailingRead, OfACompanionStoresAnOverwriteAndKeepsEveryOtherValue)
{
    fill();
    const QByteArray values = readFile(at("V/2024.var"));
    faults.failReadsOf(".var");
    EXPECT_TRUE(strings.writeDataRecords({{kYear + 10, "new"}}, false, false));
    EXPECT_EQ(lines(7), Texts{quoted("Reorganize .var file ", at("V/2024.var"), "")});
    faults.noFaults();
    EXPECT_TRUE(readFile(at("V/2024.var")).startsWith(values));
    Records expected = threeYears(QMetaType::QString);
    expected[5].value = "new";
    EXPECT_EQ(storedTexts(strings), textsOf(expected));
}

/// Runs a change with one read failing, for every read, and with all reads from one on failing: whatever the
/// result, nothing else is read back than before the change or after it.
class FailingReadOfAChange : public FailingRead
{
protected:
    using Change = std::function<bool(TSFileStorage&)>;

    Texts found(TSFileStorage& series) { return textsOf(readRaw(series, utc(2022), utc(2027))); }

    void runEveryRead(QMetaType::Type type, const Change& change)
    {
        for (const Failure failure : {Failure::Once, Failure::Crash}) {
            faults.noFaults();
            const Texts complete = runOnce(type, change);
            for (int number = 1;; ++number) {
                const SeriesDirectory place;
                TSFileStorage series(place.base(), type, kNoSizeLimit);
                series.writeDataRecords(threeYears(type), false, false);
                const Texts before = found(series);
                const QByteArray recordsBefore = readFile(series.m_dir + "2024");
                faults.failRead(number, failure);
                const bool isStored = change(series);
                if (!faults.hasFailed)
                    break;
                faults.noFaults();
                SCOPED_TRACE("read " + std::to_string(number));
                const Texts after = found(series);
                EXPECT_TRUE(after == complete || after == before) << testing::PrintToString(after);
                if (!isStored) {
                    EXPECT_EQ(readFile(series.m_dir + "2024"), recordsBefore);
                }
                EXPECT_TRUE(change(series));
                EXPECT_EQ(found(series), complete);
            }
        }
    }

private:
    Texts runOnce(QMetaType::Type type, const Change& change)
    {
        const SeriesDirectory place;
        TSFileStorage series(place.base(), type, kNoSizeLimit);
        series.writeDataRecords(threeYears(type), false, false);
        EXPECT_TRUE(change(series));
        return found(series);
    }
};

TEST_F(FailingReadOfAChange, AnAppendInsertOrOverwriteIsDoneOrNot)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        for (const qint64 offset : {100, 15, 10}) {
            runEveryRead(type, [type, offset](TSFileStorage& series) {
                return series.writeDataRecords({{kYear + offset, valueOf(type, 99)}}, false, false);
            });
        }
    }
}

TEST_F(FailingReadOfAChange, ASplitIsDoneOrNot)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        runEveryRead(type, [](TSFileStorage& series) {
            TSFileStorage small(series.m_path, series.m_valueType, 1);
            const TSFileInfo info = small.findFile(kYear);
            QFile file(info.filePath());
            small.checkMaxFileSize(&file, info);
            return true;
        });
    }
}

TEST_F(FailingReadOfAChange, AReorganisationIsDoneOrNot)
{
    runEveryRead(QMetaType::QString, [](TSFileStorage& series) {
        const TSFileInfo info = series.findFile(kYear);
        QFile file(info.filePath());
        series.reorgVarFile(&file, info);
        return true;
    });
}

TEST_F(FailingReadOfAChange, ADeleteInOneFileIsDoneOrNot)
{
    for (const QMetaType::Type type : {QMetaType::Double, QMetaType::QString}) {
        runEveryRead(type, [](TSFileStorage& series) {
            return series.deleteDataRecords(kYear + 10, kYear + 20, QString());
        });
    }
}

// --- Deleting, splitting, reorganising -------------------------------------------------------------------

TEST_F(FailingRead, OfAFileKeepsItFromBeingDeleted)
{
    fill();
    faults.failReadsOf("D/2024");
    EXPECT_TRUE(numbers.deleteDataRecords(utc(2023) + 10, utc(2025), QString()));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2024"), " for read (deleteDataRecords)")});
    faults.noFaults();
    const Records all = threeYears(QMetaType::Double);
    EXPECT_EQ(storedTexts(numbers),
              textsOf({all[0], all[4], all[5], all[6], all[7], all[9], all[10], all[11]}));
}

TEST_F(FailingRead, OfTheFirstFileKeepsEverythingFromBeingDeleted)
{
    fill();
    const FileBytes before = bytes();
    faults.failReadsOf("D/2023");
    EXPECT_TRUE(numbers.deleteDataRecords(utc(2024), utc(2025), QString()));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("D/2023"), " for read (getFirstDataRecord)")});
    EXPECT_EQ(bytes(), before);
}

TEST_F(FailingRead, OfACompanionKeepsAFileFromBeingDeletedInPart)
{
    fill();
    const FileBytes before = bytes();
    faults.failReadsOf("V/2024.var");
    EXPECT_TRUE(strings.deleteDataRecords(kYear + 10, kYear + 20, QString()));
    EXPECT_EQ(bytes(), before);
    EXPECT_TRUE(strings.deleteDataRecords(kYear, kYear + 30, QString()));
    EXPECT_EQ(files(), (Texts{"D/2023", "D/2024", "D/2025", "V/2023", "V/2023.var", "V/2025", "V/2025.var"}));
}

TEST_F(FailingRead, OfEitherFileLeavesASplitUndoneAndTheWriteGood)
{
    fill();
    TSFileStorage smallNumbers = makeStorage(QMetaType::Double, 1);
    TSFileStorage smallStrings = makeStorage(QMetaType::QString, 1);
    const FileBytes before = bytes();
    const auto split = [](TSFileStorage& series) {
        const TSFileInfo info = series.findFile(kYear);
        QFile file(info.filePath());
        return series.checkMaxFileSize(&file, info);
    };
    faults.failReadsOf("D/2024");
    EXPECT_FALSE(split(smallNumbers));
    faults.failReadsOf("V/2024");
    EXPECT_FALSE(split(smallStrings));
    faults.failReadsOf("V/2024.var");
    EXPECT_FALSE(split(smallStrings));
    EXPECT_EQ(bytes(), before);
    EXPECT_TRUE(lines(2).empty());
    EXPECT_TRUE(smallStrings.writeDataRecords({{kYear + 100, "stored all the same"}}, false, false));
    EXPECT_EQ(files(), Texts({"D/2023", "D/2024", "D/2025", "V/2023", "V/2023.var", "V/2024", "V/2024.var",
                              "V/2025", "V/2025.var"}));
}

TEST_F(FailingRead, OfEitherFileLeavesThePairAsItIsWhenReorganising)
{
    fill();
    const FileBytes before = bytes();
    for (const char* path : {"V/2024", "V/2024.var"}) {
        log.lines.clear();
        faults.failReadsOf(path);
        const TSFileInfo info = strings.findFile(kYear);
        QFile file(info.filePath());
        strings.reorgVarFile(&file, info);
        EXPECT_EQ(log.texts(), Texts{"7 " + quoted("Reorganize .var file ", at("V/2024.var"), "")});
    }
    EXPECT_EQ(bytes(), before);
}

} // namespace
} // namespace Kiv::Testing
