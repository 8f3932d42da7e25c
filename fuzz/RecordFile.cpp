// Any bytes as a record file: the library answers, writes and deletes as the model does.
// Input: a line of dice (type, place, operations), then the bytes of the file.

#include "support/FuzzInput.h"
#include "support/RecordPlaces.h"

using namespace Kiv::Testing;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    Dice dice = input.takeDice();
    StorageCase storageCase;
    storageCase.valueType = dice.pick(valueTypes());
    const RecordPlace place = dice.pick(recordPlaces());
    storageCase.maxFileSize = dice.pick(std::vector<int>{1'000'000, 60, 12, 0, 400});
    storageCase.nowUs = 1'700'000'000'123'456;
    const QByteArray records = input.takeRest();
    storageCase.steps = questionsAndChanges(dice, storageCase.valueType.type,
                                            timesOf(place, storageCase.valueType.type, records));
    storageCase.steps.insert(storageCase.steps.begin(), placeFile(place.path, records));
    expectSameAsModel(storageCase);
    return 0;
}
