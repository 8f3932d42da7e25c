#include "FilterText.h"

#include "Errors.h"
#include "Words.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace Kiv::Cli
{

namespace
{

const QStringList kWeekdays = {QStringLiteral("monday"),    QStringLiteral("tuesday"),
                               QStringLiteral("wednesday"), QStringLiteral("thursday"),
                               QStringLiteral("friday"),    QStringLiteral("saturday"),
                               QStringLiteral("sunday")};
const QStringList kMonths = {
    QStringLiteral("january"), QStringLiteral("february"), QStringLiteral("march"),
    QStringLiteral("april"),   QStringLiteral("may"),      QStringLiteral("june"),
    QStringLiteral("july"),    QStringLiteral("august"),   QStringLiteral("september"),
    QStringLiteral("october"), QStringLiteral("november"), QStringLiteral("december")};

/// One condition of a filter: its name, its operator and what stands behind it.
struct Condition {
    QString option; ///< for messages
    QString name;
    QString comparison;
    QString text;
};

CommandError badCondition(const Condition& condition, const QString& expected)
{
    return {
        ExitCode::Usage,
        QStringLiteral("%1: %2 is no condition; write %3")
            .arg(condition.option, quoted(condition.name + condition.comparison + condition.text), expected)};
}

/// A name or its first letters, three at least; or a number from 1.
std::optional<qint32> listEntry(const QString& text, const QStringList& names)
{
    constexpr qsizetype kLeastLetters = 3;
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    if (isNumber)
        return number >= 1 && number <= names.size() ? std::optional<qint32>(number) : std::nullopt;
    for (qsizetype i = 0; i < names.size() && text.size() >= kLeastLetters; ++i) {
        if (names[i].startsWith(text))
            return static_cast<qint32>(i + 1);
    }
    return {};
}

std::vector<qint32> parseList(const Condition& condition, const QStringList& names, const QString& example)
{
    const CommandError error = badCondition(condition, example);
    if (condition.comparison != QLatin1String("="))
        throw error;
    std::vector<qint32> entries;
    const auto count = static_cast<qint32>(names.size());
    for (const QString& part : condition.text.split(u',')) {
        const QStringList ends = part.split(u'-');
        const std::optional<qint32> first = listEntry(ends.first(), names);
        const std::optional<qint32> last = listEntry(ends.last(), names);
        if (ends.size() > 2 || !first || !last)
            throw error;
        // A range that ends before it begins runs over the end of the week or the year.
        const qint32 length = (*last - *first + count) % count;
        for (qint32 step = 0; step <= length; ++step) {
            const qint32 entry = (*first - 1 + step) % count + 1;
            if (std::find(entries.begin(), entries.end(), entry) == entries.end())
                entries.push_back(entry);
        }
    }
    return entries;
}

/// Seconds of the day; 24:00 is allowed.
std::optional<int> parseTimeOfDay(const QString& text)
{
    static const QRegularExpression kForm(QStringLiteral("^(\\d{1,2}):(\\d{2})(?::(\\d{2}))?$"));
    const QRegularExpressionMatch match = kForm.match(text);
    if (!match.hasMatch())
        return {};
    const int minute = match.captured(2).toInt();
    const int second = match.captured(3).toInt();
    const int seconds = match.captured(1).toInt() * 3600 + minute * 60 + second;
    const bool isTime = minute < 60 && second < 60 && seconds <= 86'400;
    return isTime ? std::optional<int>(seconds) : std::nullopt;
}

void addTimeWindow(const Condition& condition, Interpolate::FilterParam& filter)
{
    constexpr int kSecondsPerDay = 86'400;
    const QStringList ends = condition.text.split(u'-');
    const std::optional<int> start = parseTimeOfDay(ends.first());
    const std::optional<int> end = parseTimeOfDay(ends.last());
    if (condition.comparison != QLatin1String("=") || ends.size() > 2 || !start || !end)
        throw badCondition(condition, QStringLiteral("time=08:00-16:30 or time=22:00-06:00"));
    if (*start % kSecondsPerDay == *end % kSecondsPerDay && *start != *end)
        throw badCondition(condition, QStringLiteral("no time window for the whole day"));
    filter.timeStart = QTime::fromMSecsSinceStartOfDay(*start % kSecondsPerDay * 1000);
    filter.duration = (*end - *start + kSecondsPerDay) % kSecondsPerDay;
}

void addComparison(const Condition& condition, Interpolate::FilterParam& filter)
{
    struct Operator {
        const char* text;
        const char* name; ///< as the engine calls it
    };
    constexpr std::array<Operator, 6> kOperators = {
        {{"=", "eq"}, {"!=", "neq"}, {"<", "lt"}, {"<=", "lte"}, {">", "gt"}, {">=", "gte"}}};
    bool isNumber = false;
    filter.value = condition.text.toDouble(&isNumber);
    if (!isNumber || std::isnan(filter.value))
        throw badCondition(condition, QStringLiteral("a number behind the comparison, as value>=5.5"));
    for (const Operator& known : kOperators) {
        if (condition.comparison == QLatin1String(known.text))
            filter.valueCompare = QLatin1String(known.name);
    }
}

void addCondition(const Condition& condition, Interpolate::FilterParam& filter)
{
    if (condition.name == QLatin1String("weekdays"))
        filter.weekDays = parseList(condition, kWeekdays, QStringLiteral("weekdays=mon-fri or weekdays=6,7"));
    else if (condition.name == QLatin1String("months"))
        filter.months = parseList(condition, kMonths, QStringLiteral("months=nov-mar or months=1,2,12"));
    else if (condition.name == QLatin1String("time"))
        addTimeWindow(condition, filter);
    else if (condition.name == QLatin1String("value"))
        addComparison(condition, filter);
    else
        throw unknownWord(condition.option, condition.name,
                          {QStringLiteral("weekdays"), QStringLiteral("months"), QStringLiteral("time"),
                           QStringLiteral("value")});
}

} // namespace

Interpolate::FilterParam parseFilter(const QString& option, const QString& text)
{
    static const QRegularExpression kBlanksInside(QStringLiteral("\\s*(<=|>=|!=|=|<|>|,)\\s*"));
    static const QRegularExpression kBetween(QStringLiteral("[\\s;]+"));
    static const QRegularExpression kForm(QStringLiteral("^([^<>=!]+)(<=|>=|!=|=|<|>)([^<>=!]+)$"));
    const QString tight = text.toLower().replace(kBlanksInside, QStringLiteral("\\1"));
    Interpolate::FilterParam filter;
    QStringList names;
    for (const QString& term : tight.split(kBetween, Qt::SkipEmptyParts)) {
        const QRegularExpressionMatch match = kForm.match(term);
        const Condition condition{option, match.captured(1), match.captured(2), match.captured(3)};
        if (!match.hasMatch())
            throw badCondition({option, term, {}, {}},
                               QStringLiteral("for example weekdays=mon-fri, time=08:00-16:00 or value>=5"));
        if (names.contains(condition.name))
            throw CommandError(ExitCode::Usage,
                               QStringLiteral("%1: '%2' stands twice in %3; give one of them, or "
                                              "two filters, of which one must hold")
                                   .arg(option, condition.name, quoted(text)));
        names += condition.name;
        addCondition(condition, filter);
    }
    if (names.isEmpty())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: no condition given; write for example weekdays=mon-fri").arg(option));
    return filter;
}

} // namespace Kiv::Cli
