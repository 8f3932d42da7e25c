// Companions rewritten without dead values, and what is left and read after a crash on the way.

#include "storage/StorageTest.h"
#include "support/FaultsForTest.h"

#include <QFile>

#include <algorithm>

namespace Kiv::Testing
{
namespace
{

using Failure = FaultsForTest::Failure;

class Reorganizing : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::QVariant, kNoSizeLimit};
    QString path = at("V/2024");
    QString varPath = at("V/2024.var");
    QString newPath = at("V/2024.reorg");
    QString newVarPath = at("V/2024.reorg.var");

    bool write(const Records& records) { return storage.writeDataRecords(records, false, false); }

    void reorganize()
    {
        const TSFileInfo info = storage.findFile(kYear);
        QFile file(info.filePath());
        storage.reorgVarFile(&file, info);
    }

    std::string noticeLine() const { return quoted("Reorganize .var file ", varPath, ""); }
    Texts read() { return textsOf(readRaw(storage, kYear - 1000, kYear + 1000)); }

    static std::string text(int offset, const char* value)
    {
        return std::to_string(kYear + offset) + " " + value;
    }

    /// The state between the two renames: the new companion in place, the new record file still beside.
    /// The old records hold positions that the new companion does not have.
    void leaveSecondRenameDue()
    {
        writeFile(path, fromHex("000000000000000009"
                                "000000000200000012"));
        writeFile(newPath, fromHex("000000000000000000"
                                   "000000000200000009"));
        writeFile(varPath, fromHex("000000020000000005"
                                   "000000020000000006"));
    }
};

// --- Without failures ------------------------------------------------------------------------------------

TEST_F(Reorganizing, DropsValuesThatNoRecordPointsAt)
{
    write({{kYear, 1}, {kYear + 2, 2}});
    EXPECT_TRUE(write({{kYear, 7}}));
    EXPECT_EQ(hexOf(path), "000000000000000000"
                           "000000000200000009");
    EXPECT_EQ(hexOf(varPath), "000000020000000007"
                              "000000020000000002");
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
    EXPECT_EQ(log.texts(), Texts{"7 " + noticeLine()});
    EXPECT_EQ(log.lines.front().source, kStorageSource);
}

TEST_F(Reorganizing, HappensOnceForManyOverwritesOfACall)
{
    write({{kYear, 1}, {kYear + 1, 2}, {kYear + 2, 3}});
    EXPECT_TRUE(write({{kYear, 4}, {kYear + 1, 5}, {kYear + 2, 6}}));
    EXPECT_EQ(lines(7), Texts{noticeLine()});
    EXPECT_EQ(read(), (Texts{text(0, "int 4"), text(1, "int 5"), text(2, "int 6")}));
    EXPECT_EQ(readFile(varPath).size(), 27);
}

TEST_F(Reorganizing, DoesNotFollowAppendsInsertsOrEqualValues)
{
    write({{kYear, 1}, {kYear + 2, 2}});
    write({{kYear + 1, 3}, {kYear + 2, 2}, {kYear + 3, 4}});
    EXPECT_TRUE(lines(7).empty());
}

TEST_F(Reorganizing, HappensForEveryFileWithAnOverwrite)
{
    write({{utc(2023), 1}, {utc(2024), 2}, {utc(2025), 3}});
    write({{utc(2023), 4}, {utc(2024) + 1, 5}, {utc(2025), 6}});
    EXPECT_EQ(lines(7), (Texts{quoted("Reorganize .var file ", at("V/2023.var"), ""),
                               quoted("Reorganize .var file ", at("V/2025.var"), "")}));
}

TEST_F(Reorganizing, PutsValuesInTheOrderOfTheRecords)
{
    writeFile(path, fromHex("000000000000000009"
                            "000000000200000000"));
    writeFile(varPath, fromHex("000000020000000005"
                               "000000020000000006"
                               "0000000200000000ff"));
    reorganize();
    EXPECT_EQ(hexOf(path), "000000000000000000"
                           "000000000200000009");
    EXPECT_EQ(hexOf(varPath), "000000020000000006"
                              "000000020000000005");
}

TEST_F(Reorganizing, StoresAValueForEveryRecordThatSharesOne)
{
    writeFile(path, fromHex("000000000000000000"
                            "000000000200000000"));
    writeFile(varPath, fromHex("000000020000000005"));
    reorganize();
    EXPECT_EQ(hexOf(path), "000000000000000000"
                           "000000000200000009");
    EXPECT_EQ(read(), (Texts{text(0, "int 5"), text(2, "int 5")}));
}

TEST_F(Reorganizing, DropsATornTail)
{
    write({{kYear, 1}});
    appendToFile(path, "torn");
    reorganize();
    EXPECT_EQ(hexOf(path), "000000000000000000");
}

TEST_F(Reorganizing, KeepsTheDepthOfTheFile)
{
    makeDirectory(at("V/2024/01/01/00"));
    write({{kYear + 5, 1}});
    write({{kYear + 5, 2}});
    EXPECT_EQ(hexOf(at("V/2024/01/01/00/00")), "000500000000");
    EXPECT_EQ(hexOf(at("V/2024/01/01/00/00.var")), "000000020000000002");
}

// --- Files that do not open or do not read ---------------------------------------------------------------

TEST_F(Reorganizing, OfAFileThatDoesNotOpenDoesNothing)
{
    write({{kYear, 1}});
    const Texts before = read();
    {
        const UnopenableFile broken(path);
        reorganize();
    }
    EXPECT_EQ(lines(7), Texts{noticeLine()});
    EXPECT_EQ(lines(4), attemptLines("Read,", path));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", path, " for read (reorgVarFile)")});
    EXPECT_EQ(read(), before);
}

TEST_F(Reorganizing, WhoseNewFileDoesNotOpenKeepsTheOldPair)
{
    write({{kYear, 1}, {kYear + 1, 2}});
    const Texts before = read();
    {
        const UnopenableFile broken(newPath);
        reorganize();
    }
    EXPECT_EQ(lines(4), attemptLines("Write,", newPath));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", path, " for write (reorgVarFile)")});
    EXPECT_EQ(read(), before);
}

TEST_F(Reorganizing, WithAValueThatCannotBeReadKeepsTheOldPair)
{
    write({{kYear, 1}, {kYear + 1, 2}});
    writeFile(varPath, readFile(varPath).chopped(1));
    const QByteArray records = readFile(path);
    const QByteArray values = readFile(varPath);
    reorganize();
    EXPECT_EQ(readFile(path), records);
    EXPECT_EQ(readFile(varPath), values);
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
}

TEST_F(Reorganizing, WithoutACompanionKeepsTheRecordFile)
{
    write({{kYear, 1}, {kYear + 1, 2}});
    QFile::remove(varPath);
    const QByteArray records = readFile(path);
    log.lines.clear();
    reorganize();
    EXPECT_EQ(readFile(path), records);
    EXPECT_EQ(files(), Texts{"V/2024"});
    expectLine(7, noticeLine());
    expectLine(2, quoted("Could not open ", varPath, " for read (readCurrDataRecord)"), 388);
}

// --- A rename that is due --------------------------------------------------------------------------------

TEST_F(Reorganizing, ALeftOverRecordFileWithoutItsCompanionIsRead)
{
    leaveSecondRenameDue();
    EXPECT_EQ(read(), (Texts{text(0, "int 5"), text(2, "int 6")}));
    Record record;
    EXPECT_TRUE(storage.getFirstDataRecord(record));
    EXPECT_EQ(textOf(record), text(0, "int 5"));
    EXPECT_TRUE(storage.getLastDataRecord(record));
    EXPECT_EQ(textOf(record), text(2, "int 6"));
    EXPECT_TRUE(storage.findDataRecord(kYear + 2, record));
    EXPECT_EQ(textOf(record), text(2, "int 6"));
    EXPECT_TRUE(storage.findPrevDataRecord(kYear + 1, record));
    EXPECT_EQ(textOf(record), text(0, "int 5"));
    EXPECT_EQ(storage.getCount({}, {}, kYear, kYear + 10, true, false, false), 2);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(Reorganizing, AWriterCompletesARenameThatIsDue)
{
    leaveSecondRenameDue();
    EXPECT_TRUE(write({{kYear + 3, 8}}));
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
    EXPECT_EQ(read(), (Texts{text(0, "int 5"), text(2, "int 6"), text(3, "int 8")}));
}

TEST_F(Reorganizing, ASplitTakesTheLeftOver)
{
    leaveSecondRenameDue();
    TSFileStorage small = makeStorage(QMetaType::QVariant, 1);
    const TSFileInfo info = small.findFile(kYear);
    QFile file(info.filePath());
    EXPECT_TRUE(small.checkMaxFileSize(&file, info));
    EXPECT_EQ(read(), (Texts{text(0, "int 5"), text(2, "int 6")}));
    EXPECT_EQ(files(), (Texts{"V/2024/01", "V/2024/01.var"}));
}

TEST_F(Reorganizing, AReorganisationTakesTheLeftOver)
{
    leaveSecondRenameDue();
    reorganize();
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
    EXPECT_EQ(read(), (Texts{text(0, "int 5"), text(2, "int 6")}));
}

TEST_F(Reorganizing, DeletingTakesTheLeftOver)
{
    leaveSecondRenameDue();
    EXPECT_TRUE(storage.deleteDataRecords(kYear + 1, kYear + 1));
    EXPECT_EQ(read(), (Texts{text(0, "int 5"), text(2, "int 6")}));
    EXPECT_TRUE(storage.deleteDataRecords(kYear + 2, kYear + 1000));
    EXPECT_EQ(read(), Texts{text(0, "int 5")});
}

TEST_F(Reorganizing, ALeftOverPairIsNotRead)
{
    write({{kYear, 1}});
    writeFile(newPath, fromHex("000000000000000000"));
    writeFile(newVarPath, fromHex("0000000200000000ff"));
    EXPECT_EQ(read(), Texts{text(0, "int 1")});
    EXPECT_TRUE(write({{kYear + 1, 2}}));
    EXPECT_EQ(read(), (Texts{text(0, "int 1"), text(1, "int 2")}));
    EXPECT_TRUE(write({{kYear, 3}}));
    EXPECT_EQ(read(), (Texts{text(0, "int 3"), text(1, "int 2")}));
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
}

TEST_F(Reorganizing, ALeftOverCompanionAloneIsNotRead)
{
    write({{kYear, 1}});
    writeFile(newVarPath, fromHex("0000000200000000ff"));
    EXPECT_EQ(read(), Texts{text(0, "int 1")});
    EXPECT_TRUE(write({{kYear, 3}}));
    EXPECT_EQ(read(), Texts{text(0, "int 3")});
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
}

// --- Crashes ---------------------------------------------------------------------------------------------

class ReorganizingWithFaults : public Reorganizing
{
protected:
    const Texts m_expected = {text(0, "int 7"), text(1, "QString some text"), text(2, "int 3")};

    void prepare()
    {
        QDir(at("V")).removeRecursively();
        write({{kYear, 7}, {kYear + 1, 2}, {kYear + 2, 3}});
        write({{kYear + 1, "some text"}});
        // Dead bytes in front of every value, so that the new positions differ from the old ones.
        writeFile(path, fromHex("000000000000000004"
                                "00000000010000000d"
                                "000000000200000038"));
        writeFile(varPath, "dead" +
                               fromHex("000000020000000007"
                                       "0000000a0000000012") +
                               QByteArray::fromHex("0073006f006d006500200074006500780074") +
                               "deaddeaddeaddead" + fromHex("000000020000000003"));
        log.lines.clear();
        ASSERT_EQ(read(), m_expected);
    }

    /// Calls that a reorganisation makes without faults.
    int callCount()
    {
        prepare();
        FaultsForTest faults;
        reorganize();
        return static_cast<int>(faults.calls.size());
    }
};

TEST_F(ReorganizingWithFaults, ACrashAtAnyCallLosesNothing)
{
    const int count = callCount();
    ASSERT_GE(count, 4); // at least two writes and two renames
    for (int number = 1; number <= count; ++number) {
        SCOPED_TRACE(number);
        ASSERT_NO_FATAL_FAILURE(prepare());
        {
            FaultsForTest faults;
            faults.failCall(number, Failure::Crash);
            reorganize();
            ASSERT_TRUE(faults.hasFailed);
        }
        EXPECT_EQ(read(), m_expected);
    }
}

TEST_F(ReorganizingWithFaults, AfterACrashAtAnyCallAnAppendAndAnOverwriteWork)
{
    const int count = callCount();
    for (int number = 1; number <= count; ++number) {
        SCOPED_TRACE(number);
        ASSERT_NO_FATAL_FAILURE(prepare());
        {
            FaultsForTest faults;
            faults.failCall(number, Failure::Crash);
            reorganize();
        }
        EXPECT_TRUE(write({{kYear + 3, 9}}));
        EXPECT_EQ(read(), (Texts{m_expected[0], m_expected[1], m_expected[2], text(3, "int 9")}));
        EXPECT_TRUE(write({{kYear, 1}}));
        EXPECT_EQ(read(), (Texts{text(0, "int 1"), m_expected[1], m_expected[2], text(3, "int 9")}));
        EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
    }
}

TEST_F(ReorganizingWithFaults, OneFailureAtAnyCallLosesNothing)
{
    const int count = callCount();
    for (int number = 1; number <= count; ++number) {
        SCOPED_TRACE(number);
        ASSERT_NO_FATAL_FAILURE(prepare());
        {
            FaultsForTest faults;
            faults.failCall(number, Failure::Once);
            reorganize();
        }
        EXPECT_EQ(read(), m_expected);
        EXPECT_TRUE(write({{kYear + 3, 9}}));
        EXPECT_EQ(read().size(), 4u);
    }
}

TEST_F(ReorganizingWithFaults, ARefusedCallIsReportedOnceWithTheRecordFile)
{
    const int count = callCount();

    for (int number = 1; number <= count; ++number) {
        ASSERT_NO_FATAL_FAILURE(prepare());
        FaultsForTest faults;
        faults.failCall(number, Failure::Once);
        reorganize();
        EXPECT_LE(lines(2).size(), 1u) << number;
        if (faults.calls[static_cast<size_t>(number) - 1] != "remove") {
            EXPECT_EQ(lines(2), Texts{quoted("Could not write ", path, " (reorgVarFile)")}) << number;
        }
    }
}

TEST_F(ReorganizingWithFaults, ARefusedCallFailsTheWrite)
{
    const int count = callCount();
    for (int fromTheEnd = 0; fromTheEnd < count; ++fromTheEnd) {
        ASSERT_NO_FATAL_FAILURE(prepare());
        int all = 0;
        {
            FaultsForTest faults;
            write({{kYear, 8}});
            all = static_cast<int>(faults.calls.size());
        }
        ASSERT_NO_FATAL_FAILURE(prepare());
        FaultsForTest faults;
        faults.failCall(all - fromTheEnd, Failure::Once);
        const bool written = write({{kYear, 8}});
        ASSERT_TRUE(faults.hasFailed);
        if (faults.calls[static_cast<size_t>(all - fromTheEnd) - 1] != "remove") {
            EXPECT_FALSE(written) << fromTheEnd;
        }
        faults.noFaults();
        EXPECT_EQ(read().size(), 3u);
    }
}

TEST_F(ReorganizingWithFaults, NewFilesAreSyncedBeforeTheyAreRenamed)
{
    prepare();
    FaultsForTest faults;
    reorganize();
    const auto firstRename = std::find(faults.calls.begin(), faults.calls.end(), "rename");
    ASSERT_NE(firstRename, faults.calls.end());
    EXPECT_GE(std::count(faults.calls.begin(), firstRename, "synchronize"), 2);
    EXPECT_EQ(std::count(firstRename, faults.calls.end(), "write"), 0);
}

TEST_F(ReorganizingWithFaults, RenamesTheCompanionFirst)
{
    prepare();
    std::vector<std::string> renamed;
    const auto real = Internal::seams().rename;
    Internal::seams().rename = [&](const char* from, const char* to) {
        renamed.push_back(from);
        return real(from, to);
    };
    reorganize();
    EXPECT_EQ(renamed, (Texts{newVarPath.toStdString(), newPath.toStdString()}));
    EXPECT_EQ(read(), m_expected);
}

} // namespace
} // namespace Kiv::Testing
