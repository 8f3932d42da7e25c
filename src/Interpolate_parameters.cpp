// The request: method strings, handler binding, filters from JSON.

#include "Interpolate.h"

#include <QJsonArray>
#include <QJsonObject>

#include <iterator>

namespace Kiv
{

namespace
{

struct MethodWord {
    const char* word;
    Interpolate::Method method;
};

// Tried in this order: a word stands before every word that it begins with.
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

constexpr Interpolate::Handler kHandlers[] = {
    &Interpolate::handle_raw,    &Interpolate::handle_PREV_NEXT, &Interpolate::handle_PREV,
    &Interpolate::handle_NEXT,   &Interpolate::handle_MIN_MAX,   &Interpolate::handle_MIN,
    &Interpolate::handle_MAX,    &Interpolate::handle_SUM,       &Interpolate::handle_MEAN_A,
    &Interpolate::handle_MEAN_G, &Interpolate::handle_MEAN_H,    &Interpolate::handle_MEAN_S,
    &Interpolate::handle_MEDIAN, &Interpolate::handle_MODE,      &Interpolate::handle_COUNT,
};

std::vector<qint32> integersOf(const QJsonValue& value)
{
    std::vector<qint32> numbers;
    for (const QJsonValue& element : value.toArray())
        numbers.push_back(element.toInt());
    return numbers;
}

Interpolate::FilterParam filterOf(const QJsonObject& object)
{
    Interpolate::FilterParam filter;
    const QString timeStart = object.value(QLatin1String("timeStart")).toString();
    if (!timeStart.isEmpty())
        filter.timeStart = QTime::fromString(timeStart, Qt::ISODateWithMs);
    filter.duration = object.value(QLatin1String("duration")).toInteger();
    filter.weekDays = integersOf(object.value(QLatin1String("weekDays")));
    filter.months = integersOf(object.value(QLatin1String("months")));
    filter.valueCompare = object.value(QLatin1String("valueCompare")).toString();
    filter.value = object.value(QLatin1String("value")).toDouble();
    return filter;
}

} // namespace

void Interpolate::interpolateParamsFromArgs(QString args, qint64 intervalLengthMs)
{
    args = args.toLower();
    if (args.contains(QLatin1String("diffctrupcleaned"))) {
        args.remove(QLatin1String("diffctrupcleaned"));
        diffHandler = &Interpolate::handle_DIFF_CTRUPCLEANED;
    } else if (args.contains(QLatin1String("diff"))) {
        args.remove(QLatin1String("diff"));
        diffHandler = &Interpolate::handle_DIFF;
    }
    if (intervalLengthMs == 0) {
        method = RAW;
        return;
    }
    linear = args.contains(QLatin1String("linear"));
    align = args.contains(QLatin1String("align"));
    fill = args.contains(QLatin1String("fill"));
    fillNull = args.contains(QLatin1String("fillnull"));
    average = args.contains(QLatin1String("average"));
    for (const MethodWord& candidate : kMethodWords) {
        if (args.startsWith(QLatin1String(candidate.word))) {
            method = candidate.method;
            return;
        }
    }
    // Kept: without a method word at the start the options are set here, whatever the string says.
    method = diffHandler != nullptr ? SUM : PREV_NEXT;
    linear = true;
    align = false;
    fill = true;
    fillNull = false;
}

void Interpolate::initHandlers()
{
    const bool isIntervalMethod = method >= PREV_NEXT && method <= COUNT;
    handler = isIntervalMethod ? kHandlers[method] : kHandlers[RAW];
    if (isIntervalMethod) {
        const bool isExtreme = method == MIN_MAX || method == MIN || method == MAX;
        const bool isMeanFamily = method >= MEAN_A;
        linear = linear && !isExtreme && !isMeanFamily;
        align = align || isMeanFamily;
        fill = fill || fillNull;
    } else {
        linear = align = fill = fillNull = false;
    }
    if (fastCountOnly)
        output->emplace_back(-1, QVariant(0));
}

void Interpolate::parseFilterparams(QJsonArray filters, InterpolateParam& param)
{
    param.filterParams.clear();
    for (const QJsonValue& element : std::as_const(filters))
        param.filterParams.push_back(filterOf(element.toObject()));
}

} // namespace Kiv
