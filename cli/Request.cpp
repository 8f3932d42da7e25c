#include "Request.h"

#include "DurationText.h"
#include "Errors.h"
#include "FilterText.h"
#include "IntervalText.h"
#include "MethodText.h"
#include "ProgramModel.h"
#include "Templates.h"
#include "Zone.h"

#include <CLI/CLI.hpp>

#include <QRegularExpression>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

/// Raw records are the one thing that a pass can have instead of an interval.
qint64 parsePassInterval(const QString& option, const QString& text)
{
    return text == QLatin1String("raw") ? 0 : parseInterval(option, text);
}

/// Reads "METHOD@INTERVAL" or "METHOD@INTERVAL where CONDITIONS".
Interpolate::InterpolateParam parsePass(const QString& text, qint32 offsetMinutes)
{
    static const QRegularExpression kForm(QStringLiteral("^([^@]*)@\\s*(\\S+)(?:\\s+where\\s+(.*))?\\s*$"));
    const QString option = QStringLiteral("--pass");
    const QRegularExpressionMatch match = kForm.match(text);
    if (!match.hasMatch())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: %2 is no pass; write METHOD@INTERVAL, for example 'meana@15m' or "
                           "'@raw where value>0'")
                .arg(option, quoted(text)));
    Interpolate::InterpolateParam pass;
    pass.interval = parsePassInterval(option, match.captured(2));
    pass.offsetMinFromUTC = offsetMinutes;
    if (!match.captured(1).trimmed().isEmpty())
        pass.method = checkedMethod(option, match.captured(1));
    if (pass.interval == 0 && !pass.method.isEmpty() && !isDifferenceOnly(pass.method))
        throw CommandError(ExitCode::Usage, QStringLiteral("%1: raw records have no method but diff and "
                                                           "diffctrupcleaned; write an interval in %2")
                                                .arg(option, quoted(text)));
    if (match.hasCaptured(3))
        pass.filterParams.push_back(parseFilter(option, match.captured(3)));
    return pass;
}

void applyMethod(const QString& text, Request& request)
{
    const QString option = QStringLiteral("--method");
    request.analysis = parseAnalysis(option, text);
    request.param.method = request.analysis ? QString() : checkedMethod(option, text, analysisNames());
}

void applyOptions(const RequestOptions& options, Request& request)
{
    Interpolate::InterpolateParam& param = request.param;
    if (options.method)
        applyMethod(QString::fromStdString(*options.method), request);
    if (options.every)
        param.interval = parseInterval(QStringLiteral("--every"), QString::fromStdString(*options.every));
    if (options.maxGap)
        request.maxGapMs =
            parseDuration(QStringLiteral("--max-gap"), QString::fromStdString(*options.maxGap));
    if (options.alignRange)
        param.alignStartEndTimestamp = true;
    if (options.offsetMinutes)
        param.offsetMinFromUTC = *options.offsetMinutes;
    if (!options.filters.empty())
        param.filterParams.clear();
    for (const std::string& filter : options.filters)
        param.filterParams.push_back(parseFilter(QStringLiteral("--filter"), QString::fromStdString(filter)));
}

CommandError needsInterval(const QString& option)
{
    return {ExitCode::Usage, QStringLiteral("%1 needs an interval; add for example --every 1h").arg(option)};
}

void checkRawRequest(const RequestOptions& options, const Request& request)
{
    if (options.method && !request.analysis && !isDifferenceOnly(request.param.method))
        throw needsInterval(QStringLiteral("--method"));
    if (options.alignRange)
        throw needsInterval(QStringLiteral("--align-range"));
    if (options.shift && !request.analysis)
        throw needsInterval(QStringLiteral("--shift"));
    if (options.maxGap && !request.analysis)
        throw needsInterval(QStringLiteral("--max-gap"));
    if (request.fill != FillChoice::Engine)
        throw needsInterval(QStringLiteral("--fill"));
}

bool isCalendar(const Interpolate::InterpolateParam& pass)
{
    return pass.interval < 0;
}

void checkOffset(const RequestOptions& options, const Request& request)
{
    const bool hasCalendar =
        isCalendar(request.param) || std::any_of(request.passes.begin(), request.passes.end(), isCalendar);
    if (options.offsetMinutes && !hasCalendar)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--offset-minutes moves the intervals of the calendar only; "
                                          "add for example --every day"));
}

/// The calendar of a zone is the program's, that of the engine knows an offset only.
void checkZone(const RequestOptions& options, const Request& request)
{
    if (programZone().isUtc())
        return;
    if (options.offsetMinutes)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--offset-minutes and --tz %1 exclude each other; the zone has its "
                                          "own days, weeks, months and years")
                               .arg(programZone().name()));
    if (std::any_of(request.passes.begin(), request.passes.end(), isCalendar))
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--pass: an earlier pass has the calendar of UTC "
                                          "only; take a fixed interval such as 1d, or leave --tz out"));
}

/// What the engine has to do so that the program can do its part.
void prepareMethod(Request& request)
{
    if (request.analysis)
        return;
    request.param.method = methodForFill(request.param, request.fill);
    if (request.maxGapMs == 0)
        return;
    // Only a label at the end of its interval says in which interval a result is.
    EngineMethod method = understoodMethod(request.param);
    method.align = true;
    request.param.method = method.text();
}

} // namespace

void addRequestOptions(CLI::App& parser, RequestOptions& options)
{
    CLI::Option* const method =
        parser.add_option("--method", options.method,
                          "What makes one result of an interval, see below; needs --every, but for diff,\n"
                          "diffctrupcleaned and the methods of the second list");
    offerWords(*method->type_name("M"), methodWords());
    CLI::Option* const every =
        parser.add_option("--every", options.every,
                          "Interval: 90s, 15m, 1h, 1d, 1w, plain seconds, or day, week, month,\n"
                          "quarter, halfyear, year of the calendar");
    offerWords(*every->type_name("INTERVAL"), usualIntervals());
    parser
        .add_option("--template", options.templateName,
                    "Take the request from a template; other options change it")
        ->type_name("NAME");
    parser
        .add_option("--pass", options.passes,
                    "Earlier pass METHOD@INTERVAL, its results go to the next; may be repeated.\n"
                    "@raw passes records on; 'where CONDITIONS' behind it filters")
        ->type_name("PASS")
        ->allow_extra_args(false);
    parser
        .add_option("--filter", options.filters,
                    "Keep rows with CONDITIONS, for example 'weekdays=mon-fri time=06:00-22:00',\n"
                    "'months=jun-aug' or 'value>=5'; of several filters one must hold")
        ->type_name("CONDITIONS")
        ->allow_extra_args(false);
    CLI::Option* const fill =
        parser.add_option("--fill", options.fill,
                          "Intervals without records: engine (as the method says), prev, linear,\n"
                          "null or none (default engine)");
    offerWords(*fill->type_name("FILL"), fillWords());
    parser
        .add_option("--max-gap", options.maxGap,
                    "Hold, fill or draw nothing across a hole in the records longer than this,\n"
                    "for example 15m: results there are null, or left out without --fill")
        ->type_name("LENGTH");
    parser
        .add_option("--offset-minutes", options.offsetMinutes,
                    "Minutes by which days, weeks, months and years begin before those of UTC")
        ->type_name("N");
    parser.add_flag("--shift", options.shift, "Label results with the start of their interval");
    parser.add_flag("--align-range", options.alignRange,
                    "Move both ends of the range to interval boundaries");
}

bool Request::isPlainRaw() const
{
    return param.interval == 0 && !analysis && passes.empty() &&
           understoodMethod(param).differenceWord.isEmpty();
}

bool Request::hasDifference() const
{
    const auto isDifference = [](const Interpolate::InterpolateParam& pass) {
        return !understoodMethod(pass).differenceWord.isEmpty();
    };
    return isDifference(param) || std::any_of(passes.begin(), passes.end(), isDifference);
}

bool Request::hasFilters() const
{
    const auto isFiltered = [](const Interpolate::InterpolateParam& pass) {
        return !pass.filterParams.empty();
    };
    return isFiltered(param) || std::any_of(passes.begin(), passes.end(), isFiltered);
}

QString resultUnit(const Request& request, const QString& unit)
{
    using Kind = Analytics::Method::Kind;
    if (!request.analysis)
        return understoodMethod(request.param).methodWord == QLatin1String("count") ? QString() : unit;
    switch (request.analysis->kind) {
    case Kind::Count:
    case Kind::Transitions:
        return {};
    case Kind::InState:
        return QStringLiteral("s");
    case Kind::Integral:
    case Kind::IntegralLinear:
        return unit.isEmpty() ? unit : unit + QStringLiteral("·s");
    case Kind::Variance:
    case Kind::VariancePopulation:
        return unit.isEmpty() ? unit : u'(' + unit + QStringLiteral(")²");
    default:
        return unit;
    }
}

Request makeRequest(const RequestOptions& options)
{
    Request request;
    const qint32 offsetMinutes = options.offsetMinutes.value_or(0);
    request.param.offsetMinFromUTC = offsetMinutes;
    if (options.templateName)
        applyTemplate(QString::fromStdString(*options.templateName), offsetMinutes, request);
    applyOptions(options, request);
    for (const std::string& pass : options.passes)
        request.passes.push_back(parsePass(QString::fromStdString(pass), offsetMinutes));
    request.fill = parseFillChoice(QString::fromStdString(options.fill));
    request.shift = options.shift;
    checkOffset(options, request);
    checkZone(options, request);
    if (request.param.interval == 0)
        checkRawRequest(options, request);
    else
        prepareMethod(request);
    return request;
}

} // namespace Kiv::Cli
