// Any text as a method: the engine serves it as the model does, and what the command line accepts is understood by
// the engine word for word.
// Input: a line of text, then the dice of a request.

#include "Errors.h"
#include "MethodText.h"
#include "properties/EngineDriver.h"
#include "support/FuzzInput.h"

#include <QStringList>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

struct MethodWord {
    const char* word;
    Interpolate::Method method;
};

constexpr MethodWord kMethodWords[] = {
    {"prevnext", Interpolate::PREV_NEXT},
    {"prev", Interpolate::PREV},
    {"next", Interpolate::NEXT},
    {"minmax", Interpolate::MIN_MAX},
    {"min", Interpolate::MIN},
    {"max", Interpolate::MAX},
    {"sum", Interpolate::SUM},
    {"meana", Interpolate::MEAN_A},
    {"meang", Interpolate::MEAN_G},
    {"meanh", Interpolate::MEAN_H},
    {"means", Interpolate::MEAN_S},
    {"median", Interpolate::MEDIAN},
    {"mode", Interpolate::MODE},
    {"count", Interpolate::COUNT},
};

/// What the engine must make of words that the command line has checked; empty when it does.
std::string misunderstanding(const QString& checked)
{
    int limit = 0;
    std::vector<Interpolate::DataRecord> output;
    Interpolate engine({}, {}, 0, 0, 0, 0, &output, QMetaType::Double, false, limit, false);
    engine.interpolateParamsFromArgs(checked, 1000);
    const QStringList words = checked.split(u' ');
    const auto has = [&words](const char* word) { return words.contains(QLatin1String(word)); };
    const bool isDifference = has("diff") || has("diffctrupcleaned");
    int method = isDifference ? Interpolate::SUM : Interpolate::PREV_NEXT;
    bool isNamed = false;
    for (const MethodWord& candidate : kMethodWords) {
        if (has(candidate.word)) {
            method = candidate.method;
            isNamed = true;
        }
    }
    if (engine.method != method)
        return "the method is not understood";
    if (isDifference != (engine.diffHandler != nullptr))
        return "the difference is not understood";
    const bool fills = isNamed ? has("fill") || has("fillnull") : true;
    if (engine.linear != (!isNamed || has("linear")) || engine.fill != fills ||
        engine.align != has("align") || engine.fillNull != has("fillnull") ||
        engine.average != has("average"))
        return "an option is not understood";
    return {};
}

void checkCommandLine(const QString& text)
{
    QString checked;
    try {
        checked = Cli::checkedMethod(QString(), text);
    } catch (const Cli::CommandError&) {
        return;
    }
    expectNone(misunderstanding(checked), checked.toStdString());
    if (Cli::checkedMethod(QString(), checked) != checked)
        expectNone("checked text changes when it is checked again", checked.toStdString());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    const QString text = QString::fromUtf8(input.takeLine().left(200));
    checkCommandLine(text);
    Dice dice(input.takeRest().toStdString());
    EngineCase engineCase = makeEngineCase(dice);
    engineCase.param.method = text;
    expectSameAsModel(engineCase);
    return 0;
}
