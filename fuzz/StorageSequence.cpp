// Any sequence of operations on a series, odd and damaged files among them, leaves the same files, answers and
// log lines as the model.

#include "support/FuzzInput.h"

using namespace Kiv::Testing;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    Dice dice(input.takeRest().toStdString());
    const ValueType type = dice.pick(valueTypes());
    const auto kind = dice.chance(50) ? StorageCaseKind::OddFiles : StorageCaseKind::Queries;
    expectSameAsModel(makeStorageCase(dice, type, kind));
    return 0;
}
