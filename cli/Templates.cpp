#include "Templates.h"

#include "Errors.h"
#include "MethodText.h"
#include "TemplateRules.h"
#include "Words.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace Kiv::Cli
{

namespace
{

QJsonArray numbersJson(const std::vector<qint32>& numbers)
{
    QJsonArray array;
    for (const qint32 number : numbers)
        array.append(number);
    return array;
}

QJsonObject filterJson(const Interpolate::FilterParam& filter)
{
    QJsonObject json;
    if (filter.timeStart.isValid()) {
        json.insert(QStringLiteral("timeStart"), filter.timeStart.toString(Qt::ISODateWithMs));
        json.insert(QStringLiteral("duration"), filter.duration);
    }
    if (!filter.weekDays.empty())
        json.insert(QStringLiteral("weekDays"), numbersJson(filter.weekDays));
    if (!filter.months.empty())
        json.insert(QStringLiteral("months"), numbersJson(filter.months));
    if (!filter.valueCompare.isEmpty()) {
        json.insert(QStringLiteral("valueCompare"), filter.valueCompare);
        json.insert(QStringLiteral("value"), filter.value);
    }
    return json;
}

QJsonObject paramJson(const Interpolate::InterpolateParam& param)
{
    QJsonArray filters;
    for (const Interpolate::FilterParam& filter : param.filterParams)
        filters.append(filterJson(filter));
    QJsonObject json{{QStringLiteral("method"), param.method},
                     {QStringLiteral("interval"), param.interval},
                     {QStringLiteral("alignStartEndTimestamp"), param.alignStartEndTimestamp},
                     {QStringLiteral("offsetMinFromUTC"), param.offsetMinFromUTC}};
    if (!filters.isEmpty())
        json.insert(QStringLiteral("filterParams"), filters);
    return json;
}

QString withoutMark(const QString& name)
{
    return name.startsWith(u'!') ? name.mid(1) : name;
}

CommandError unknownTemplate(const QString& name, const QStringList& names)
{
    QString advice;
    if (names.isEmpty())
        advice = QStringLiteral("there are none %1").arg(templatePlaces());
    else if (names.contains(name))
        advice = QStringLiteral("the first ! does not count; write %1").arg(quoted(u'!' + name));
    else
        advice = QStringLiteral("did you mean %1? kivts templates ls lists them")
                     .arg(quoted(nearestWord(name, names)));
    return {ExitCode::NothingFound, QStringLiteral("no template %1; %2").arg(quoted(name), advice)};
}

/// The engine makes something of every template; not always what its author meant.
void warnOfDoubts(const QString& name, const Interpolate::InterpolateParam& pass)
{
    const QString place = QStringLiteral("template %1").arg(quoted(name));
    try {
        if (!pass.method.trimmed().isEmpty())
            static_cast<void>(checkedMethod(place, pass.method));
    } catch (const CommandError& error) {
        printWarning(error.text());
    }
    if (hasIdleMethod(pass))
        printWarning(QStringLiteral("%1: without an interval the method %2 gives raw records")
                         .arg(place, quoted(pass.method)));
    constexpr qint64 kLastCalendarCode = -6;
    if (pass.interval < kLastCalendarCode)
        printWarning(QStringLiteral("%1: the interval %2 means nothing; it is taken for days")
                         .arg(place, QString::number(pass.interval)));
}

} // namespace

QStringList templateNames()
{
    QStringList names;
    const QJsonArray templates = Interpolate::loadTemplates().array();
    for (const QJsonValue& entry : templates) {
        const QJsonValue name = entry.toObject().value(QStringLiteral("name"));
        if (name.isString() && !names.contains(name.toString()))
            names += name.toString();
    }
    return names;
}

void applyTemplate(const QString& name, qint32 offsetMinutes, Request& request)
{
    const QStringList names = templateNames();
    if (!names.contains(withoutMark(name)))
        throw unknownTemplate(name, names);
    Interpolate::loadTemplateParams(name, request.param, request.passes, offsetMinutes);
    for (const Interpolate::InterpolateParam& pass : request.passes)
        warnOfDoubts(name, pass);
    warnOfDoubts(name, request.param);
}

QJsonObject templateJson(const QString& name, const Request& request)
{
    QJsonArray passes;
    for (const Interpolate::InterpolateParam& pass : request.passes)
        passes.append(paramJson(pass));
    QJsonObject json{{QStringLiteral("name"), withoutMark(name)},
                     {QStringLiteral("interpolateParam"), paramJson(request.param)}};
    if (!passes.isEmpty())
        json.insert(QStringLiteral("normalizeParams"), passes);
    return json;
}

QString templatePlaces()
{
    return QStringLiteral("in the files below VELTAR_INSTALL_PATH and VELTAR_CURRENT_PROJECT_LOCATION "
                          "(each must end with /)");
}

} // namespace Kiv::Cli
