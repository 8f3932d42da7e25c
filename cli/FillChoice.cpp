#include "FillChoice.h"

#include "MethodText.h"
#include "Words.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>

namespace Kiv::Cli
{

namespace
{

using Results = std::vector<Interpolate::DataRecord>;

/// Methods with two results for an interval give the second one a millisecond after the first.
std::size_t placeInInterval(const Results& results, std::size_t index)
{
    return index > 0 && results[index].timestamp == results[index - 1].timestamp + 1 ? 1 : 0;
}

/// The engine marks an empty interval twice for every minmax, although an average is one result.
void dropSecondMarks(Results& results)
{
    Results kept;
    kept.reserve(results.size());
    for (std::size_t i = 0; i < results.size(); ++i) {
        if (!results[i].value.isNull() || placeInInterval(results, i) == 0)
            kept.push_back(std::move(results[i]));
    }
    results = std::move(kept);
}

/// Truncates towards zero and saturates.
template <typename Integer>
Integer saturated(double value)
{
    // 2^bits is exact as a double, the greatest integer itself may not be.
    if (value >= std::ldexp(1.0, std::numeric_limits<Integer>::digits))
        return std::numeric_limits<Integer>::max();
    if (value <= static_cast<double>(std::numeric_limits<Integer>::min()))
        return std::numeric_limits<Integer>::min();
    return static_cast<Integer>(value);
}

/// Calls `fill(null, before, after)` with indexes for every null; one of the neighbours may not exist.
template <typename Fill>
void visitNulls(Results& results, const Fill& fill)
{
    std::array<std::optional<std::size_t>, 2> before;
    std::array<std::vector<std::size_t>, 2> pending;
    for (std::size_t i = 0; i < results.size(); ++i) {
        const std::size_t place = placeInInterval(results, i);
        if (results[i].value.isNull()) {
            pending[place].push_back(i);
            continue;
        }
        for (const std::size_t null : pending[place])
            fill(null, before[place], std::optional<std::size_t>(i));
        pending[place].clear();
        before[place] = i;
    }
    for (std::size_t place = 0; place < pending.size(); ++place) {
        for (const std::size_t null : pending[place])
            fill(null, before[place], std::optional<std::size_t>());
    }
}

} // namespace

const QStringList& fillWords()
{
    static const QStringList words = {QStringLiteral("engine"), QStringLiteral("prev"),
                                      QStringLiteral("linear"), QStringLiteral("null"),
                                      QStringLiteral("none")};
    return words;
}

FillChoice parseFillChoice(const QString& word)
{
    const qsizetype index = fillWords().indexOf(word);
    if (index < 0)
        throw unknownWord(QStringLiteral("--fill"), word, fillWords());
    return static_cast<FillChoice>(index);
}

QVariant engineValue(double value, QMetaType::Type type)
{
    switch (type) {
    case QMetaType::Bool:
        return value > 0.5;
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Char:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return saturated<qint32>(value);
    case QMetaType::UInt:
        return saturated<quint32>(value);
    case QMetaType::LongLong:
        return saturated<qint64>(value);
    case QMetaType::ULongLong:
        return saturated<quint64>(value);
    case QMetaType::Float:
        return static_cast<float>(value);
    default:
        return value;
    }
}

QVariant valueBetween(const Interpolate::DataRecord& before, const Interpolate::DataRecord& after,
                      qint64 timestampMs)
{
    if (before.value == after.value)
        return before.value;
    const double from = before.value.toDouble();
    const double share = static_cast<double>(timestampMs - before.timestamp) /
                         static_cast<double>(after.timestamp - before.timestamp);
    return engineValue(from + (after.value.toDouble() - from) * share,
                       static_cast<QMetaType::Type>(before.value.typeId()));
}

bool isFilledHere(FillChoice choice)
{
    return choice != FillChoice::Engine && choice != FillChoice::None;
}

QString methodForFill(const Interpolate::InterpolateParam& param, FillChoice choice)
{
    if (choice == FillChoice::Engine)
        return param.method;
    EngineMethod method = understoodMethod(param);
    // The engine's own line runs through the records, not through the results.
    const bool isFilledByEngine = choice == FillChoice::Linear && method.linear;
    method.fill = choice != FillChoice::None;
    method.fillNull = method.fill && !isFilledByEngine;
    method.align = method.align || method.fill;
    return method.text();
}

void finishFill(const Interpolate::InterpolateParam& param, FillChoice choice, Results& results)
{
    if (!isFilledHere(choice))
        return;
    if (understoodMethod(param).average)
        dropSecondMarks(results);
    if (choice == FillChoice::Null)
        return;
    visitNulls(results, [&](std::size_t null, std::optional<std::size_t> before,
                            std::optional<std::size_t> after) {
        if (choice == FillChoice::Previous && before)
            results[null].value = results[*before].value;
        else if (choice == FillChoice::Linear && before && after)
            results[null].value = valueBetween(results[*before], results[*after], results[null].timestamp);
    });
}

} // namespace Kiv::Cli
