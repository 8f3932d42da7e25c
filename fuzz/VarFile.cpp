// Any bytes as the companion of a record file of variable-length values: the library answers, writes and deletes
// as the model does.
// Input: a line of dice (type, record file, operations), then the bytes of the companion.

#include "support/FuzzInput.h"
#include "support/RecordPlaces.h"

#include <QDataStream>

#include <algorithm>

using namespace Kiv::Testing;

namespace
{

/// Records that point into the companion: one after the other, anywhere, or beyond its end.
QByteArray recordsInto(Dice& dice, qint64 companionSizeBytes)
{
    QByteArray records;
    QDataStream stream(&records, QIODevice::WriteOnly);
    quint32 offset = 0;
    for (qint64 i = dice.between(1, 6); i > 0; --i) {
        offset += static_cast<quint32>(dice.between(0, 255));
        const qint64 position = dice.chance(95) ? dice.between(0, std::min<qint64>(companionSizeBytes, 255))
                                                : dice.between(-3, 2'147'483'647);
        stream << static_cast<quint8>(0) << offset << static_cast<qint32>(position);
    }
    if (!dice.chance(80))
        records.chop(dice.between(1, 8));
    return records;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    Dice dice = input.takeDice();
    const QByteArray companion = input.takeRest();
    StorageCase storageCase;
    const std::vector<ValueType>& types = valueTypes();
    const auto firstVariable = std::find_if(
        types.begin(), types.end(), [](const ValueType& type) { return type.type == QMetaType::QString; });
    storageCase.valueType = dice.pick(std::vector<ValueType>(firstVariable, types.end()));
    storageCase.maxFileSize = dice.pick(std::vector<int>{1'000'000, 60, 12, 0, 400});
    storageCase.nowUs = 1'700'000'000'123'456;
    const QByteArray records = recordsInto(dice, companion.size());
    const RecordPlace& place = recordPlaces().front();
    storageCase.steps = questionsAndChanges(dice, storageCase.valueType.type,
                                            timesOf(place, storageCase.valueType.type, records));
    storageCase.steps.insert(
        storageCase.steps.begin(),
        {placeFile(place.path, records), placeFile(place.path + QStringLiteral(".var"), companion)});
    expectSameAsModel(storageCase);
    return 0;
}
