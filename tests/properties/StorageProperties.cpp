// A series against its model, on random sequences of operations: files byte by byte, answers and log lines.
// KIV_TEST_SCALE multiplies the number of cases; KIV_TEST_SEED runs the cases of one seed only.

#include "properties/StoragePair.h"
#include "properties/StorageScale.h"

#include <gtest/gtest.h>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

/// Damaged values make Qt print warnings; they are what the tests want to see.
void dropMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

class StorageAgainstModel : public ::testing::TestWithParam<std::size_t>
{
protected:
    StorageAgainstModel() : m_messageHandler(qInstallMessageHandler(dropMessage)) {}
    ~StorageAgainstModel() override { qInstallMessageHandler(m_messageHandler); }

    const ValueType& valueType() const { return valueTypes()[GetParam()]; }

    template <typename Check>
    void forEachSeed(int caseCount, Check check) const
    {
        const QString single = qEnvironmentVariable("KIV_TEST_SEED");
        if (!single.isEmpty()) {
            check(single.toULongLong());
            return;
        }
        for (quint64 i = 0; i < scaledCaseCount(caseCount) && !HasFailure(); ++i)
            check(GetParam() * 1'000'000 + i);
    }

    void compare(quint64 seed, StorageCaseKind kind) const
    {
        const StorageCase storageCase = makeStorageCase(seed, valueType(), kind);
        const std::string difference = firstDifference(storageCase);
        if (difference.empty())
            return;
        const StorageCase small = shrunken(storageCase);
        ADD_FAILURE() << "KIV_TEST_SEED=" << seed << "\n"
                      << difference << "\n\nin short:\n"
                      << describe(small) << firstDifference(small);
    }

private:
    QtMessageHandler m_messageHandler;
};

TEST_P(StorageAgainstModel, batchesLeaveTheSameBytesAndLines)
{
    forEachSeed(110, [this](quint64 seed) { compare(seed, StorageCaseKind::Writing); });
}

TEST_P(StorageAgainstModel, questionsAndDeletionsAgree)
{
    forEachSeed(90, [this](quint64 seed) { compare(seed, StorageCaseKind::Queries); });
}

TEST_P(StorageAgainstModel, damagedAndForeignFilesAreTreatedAlike)
{
    forEachSeed(120, [this](quint64 seed) { compare(seed, StorageCaseKind::OddFiles); });
}

StorageStep stepOf(StorageStep::Kind kind, qint64 from = 0, qint64 to = 0)
{
    StorageStep step;
    step.kind = kind;
    step.from = from;
    step.to = to;
    return step;
}

/// A series of one month file in 1975, with a file "00" beside it.
StorageCase caseWithImpossibleMonth(const ValueType& valueType)
{
    StorageCase storageCase;
    storageCase.valueType = valueType;
    storageCase.nowUs = 1'700'000'000'000'000;
    StorageStep write = stepOf(StorageStep::Kind::Write);
    write.records = {{187'417'814'500, QVariant(3)}};
    StorageStep stray = stepOf(StorageStep::Kind::StrayEntry);
    stray.pick = 1;
    stray.amount = 6;
    stray.garbage = QByteArray(40, '\1');
    storageCase.steps = {write, stray};
    return storageCase;
}

TEST_P(StorageAgainstModel, aFileNameThatIsNoDateIsNotedOncePerUse)
{
    using Kind = StorageStep::Kind;
    for (const Kind kind : {Kind::Read, Kind::Count, Kind::Delete, Kind::First, Kind::FindPrevious}) {
        for (const qint64 end : {157'766'400'000, 187'417'814'499, 187'417'814'500}) {
            StorageCase storageCase = caseWithImpossibleMonth(valueType());
            storageCase.steps.push_back(stepOf(kind, 103'626'105'250, end));
            EXPECT_EQ(firstDifference(storageCase), "") << describe(storageCase);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(ValueTypes, StorageAgainstModel,
                         ::testing::Range(std::size_t(0), valueTypes().size()),
                         [](const auto& typeCase) { return valueTypes()[typeCase.param].name; });

} // namespace
