#include "EngineComparison.h"

#include "EngineModel.h"
#include "support/SeamsForTest.h"

#include <algorithm>

namespace Kiv::Testing
{

namespace
{

bool sortsValues(const EngineCase& engineCase)
{
    const auto isMedian = [](const Interpolate::InterpolateParam& param) {
        return param.method.contains(QLatin1String("median"), Qt::CaseInsensitive);
    };
    return isMedian(engineCase.param) ||
           std::any_of(engineCase.passes.begin(), engineCase.passes.end(), isMedian);
}

EngineTrace traceOfModel(const EngineCase& engineCase)
{
    EngineTrace trace;
    ModelWorld world;
    world.nowMs = engineCase.nowMs;
    trace.output = engineCase.outputBefore;
    int limit = engineCase.limit;
    EngineModel model(world, engineCase.param, engineCase.passes, engineCase.start, engineCase.end,
                      engineCase.series.front().timestamp, engineCase.series.back().timestamp, &trace.output,
                      engineCase.targetType, engineCase.shiftIntervalForward, limit,
                      engineCase.fastCountOnly);
    trace.note("limit after construction", limit);
    driveEngine(model, engineCase, trace.output, trace);
    trace.note("limit", limit);
    trace.logLines = world.logLines;
    trace.comparesProgress = !world.isBeyondEnd;
    return trace;
}

/// "level text"; the source is named only where it is not the engine.
QString lineText(const LogLine& line)
{
    const QString text = QString::number(line.level) + QLatin1Char(' ') + line.text;
    return line.source == QLatin1String("src/Interpolate") ? text : line.source + QLatin1Char(' ') + text;
}

EngineTrace traceOfLibrary(const EngineCase& engineCase)
{
    EngineTrace trace;
    SeamsForTest clock;
    clock.nowUs = engineCase.nowMs * 1000 + 999;
    LogCapture log;
    trace.output = engineCase.outputBefore;
    int limit = engineCase.limit;
    Interpolate engine(engineCase.param, engineCase.passes, engineCase.start, engineCase.end,
                       engineCase.series.front().timestamp, engineCase.series.back().timestamp, &trace.output,
                       engineCase.targetType, engineCase.shiftIntervalForward, limit,
                       engineCase.fastCountOnly);
    trace.note("limit after construction", limit);
    driveEngine(engine, engineCase, trace.output, trace);
    trace.note("limit", limit);
    for (const LogLine& line : log.lines)
        trace.logLines.push_back(lineText(line));
    return trace;
}

} // namespace

EngineComparison compareWithModel(const EngineCase& engineCase)
{
    EngineComparison comparison;
    try {
        comparison.expected = traceOfModel(engineCase);
    } catch (const TooManySteps&) {
        comparison.isTooLong = true;
        return comparison;
    }
    const EngineTrace actual = traceOfLibrary(engineCase);
    comparison.difference = difference(comparison.expected, actual, !sortsValues(engineCase));
    return comparison;
}

} // namespace Kiv::Testing
