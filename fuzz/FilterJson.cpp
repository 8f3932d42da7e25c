// Any text as a JSON array of filters: each element becomes one filter, and the engine applies them as the model
// does.
// Input: a line of dice of a request, then the JSON text.

#include "support/FuzzInput.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Kiv;
using namespace Kiv::Testing;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    Dice dice = input.takeDice();
    const QJsonArray filters = QJsonDocument::fromJson(input.takeRest()).array();
    EngineCase engineCase = makeEngineCase(dice);
    Interpolate::parseFilterparams(filters, engineCase.param);
    if (engineCase.param.filterParams.size() != static_cast<std::size_t>(filters.size()))
        expectNone("an element was lost", describe(engineCase));
    expectSameAsModel(engineCase);
    return 0;
}
