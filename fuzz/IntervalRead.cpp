// Any request on a stored series gives what the engine's model makes of the series' raw records.
// Input: dice of the request, its series among them, and of the store.

#include "properties/EngineComparison.h"
#include "support/FuzzInput.h"
#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <limits>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

std::string differenceOf(const Records& expected, const Records& actual)
{
    EngineTrace ofModel;
    ofModel.output = expected;
    EngineTrace ofStore;
    ofStore.output = actual;
    return difference(ofModel, ofStore, false);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    Dice dice(input.takeRest().toStdString());
    const QMetaType::Type type = dice.pick(std::vector<QMetaType::Type>{
        QMetaType::Double, QMetaType::Int, QMetaType::LongLong, QMetaType::Bool, QMetaType::UShort});
    const int maxFileSize = dice.pick(std::vector<int>{1'000'000, 100, 13, 400});
    EngineCase engineCase = makeEngineCase(dice);
    const SeriesDirectory directory;
    TSFileStorage storage(directory.base(), type, maxFileSize);
    const LogCapture log;
    storage.writeDataRecords(engineCase.series, false, false);
    engineCase.series =
        readRaw(storage, std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max());
    if (engineCase.series.empty())
        return 0;
    engineCase.targetType = type;
    engineCase.fastCountOnly = false;
    engineCase.feedsWholeSeries = false;
    engineCase.outputBefore.clear();
    // A store's search may end on a record beside the one before the range.
    engineCase.findPrevious = [&storage](qint64 timestamp, Record& record) {
        return storage.findPrevDataRecord(timestamp, record);
    };
    const EngineComparison model = compareWithModel(engineCase);
    if (model.isTooLong)
        return 0;
    SeamsForTest seams;
    seams.nowUs = engineCase.nowMs * 1000;
    Records results;
    int limit = engineCase.limit;
    storage.readDataRecords(engineCase.param, engineCase.passes, engineCase.start, engineCase.end, results,
                            engineCase.shiftIntervalForward, limit, nullptr, nullptr);
    const std::string found = differenceOf(model.expected.output, results);
    if (!found.empty())
        expectNone("stored: " + found, describe(engineCase));
    return 0;
}
