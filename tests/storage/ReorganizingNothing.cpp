// Reorganising a pair of files in which no record stands, and new files that do not open.

#include "internal/VarReorganizer.h"
#include "storage/StorageTest.h"
#include "support/FaultsForTest.h"

namespace Kiv::Testing
{
namespace
{

using Failure = FaultsForTest::Failure;

/// A pair without a whole record: torn bytes, and values that nothing points at.
class ReorganizingNothing : public StorageTest
{
protected:
    Internal::FilePlace place{at("V/2024"), QString(), 0, true};

    ReorganizingNothing()
    {
        writeFile(at("V/2024"), "torn");
        writeFile(at("V/2024.var"), "dead values");
    }

    bool reorganize() const { return Internal::reorganizeVarFile(place, QMetaType::QString); }
};

TEST_F(ReorganizingNothing, EmptiesTheFileAndRemovesItsCompanion)
{
    EXPECT_TRUE(reorganize());
    EXPECT_EQ(files(), Texts{"V/2024"});
    EXPECT_EQ(readFile(at("V/2024")), "");
    TSFileStorage storage = makeStorage(QMetaType::QString);
    EXPECT_TRUE(storage.writeDataRecords({{kYear, "first"}}, false, false));
    EXPECT_EQ(storedTexts(storage), Texts{textOf(Record(kYear, "first"))});
}

TEST_F(ReorganizingNothing, OfAFileThatDoesNotOpenForWritingKeepsBoth)
{
    const UnopenableFile broken(at("V/2024"), QIODevice::WriteOnly);
    EXPECT_TRUE(reorganize());
    EXPECT_EQ(lines(4), attemptLines("Write,", at("V/2024")));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("V/2024"), " for write (reorgVarFile)")});
    EXPECT_EQ(readFile(at("V/2024")), "torn");
    EXPECT_EQ(readFile(at("V/2024.var")), "dead values");
}

TEST_F(ReorganizingNothing, WhoseCompanionCannotBeRemovedFails)
{
    FaultsForTest faults;
    faults.failCall(1, Failure::Once);
    EXPECT_FALSE(reorganize());
    EXPECT_EQ(readFile(at("V/2024")), "");
    EXPECT_EQ(readFile(at("V/2024.var")), "dead values");
}

TEST_F(ReorganizingNothing, IsNotDoneForANewCompanionThatDoesNotOpen)
{
    TSFileStorage storage = makeStorage(QMetaType::QString);
    EXPECT_TRUE(storage.writeDataRecords({{kYear, "a"}, {kYear + 1, "b"}}, false, false));
    const Texts before = storedTexts(storage);
    const UnopenableFile broken(at("V/2024.reorg.var"));
    EXPECT_TRUE(storage.writeDataRecords({{kYear, "a"}}, false, false));
    EXPECT_TRUE(reorganize());
    EXPECT_EQ(lines(4), attemptLines("Write,Append,", at("V/2024.reorg.var")));
    EXPECT_EQ(lines(2), Texts{quoted("Could not open ", at("V/2024"), " for write (reorgVarFile)")});
    EXPECT_EQ(storedTexts(storage), before);
    EXPECT_EQ(files(), (Texts{"V/2024", "V/2024.var"}));
}

} // namespace
} // namespace Kiv::Testing
