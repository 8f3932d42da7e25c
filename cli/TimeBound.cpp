#include "TimeBound.h"

#include "IntervalText.h"
#include "TimeText.h"
#include "Words.h"

#include <QDateTime>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <chrono>

namespace Kiv::Cli
{

namespace
{

using namespace std::chrono;

struct PeriodWord {
    const char* word;
    char unit; ///< 'd', 'w', 'm' or 'y'
    int back;  ///< how many of them before the present one
};

constexpr std::array<PeriodWord, 8> kPeriodWords = {{{"today", 'd', 0},
                                                     {"yesterday", 'd', 1},
                                                     {"thisweek", 'w', 0},
                                                     {"lastweek", 'w', 1},
                                                     {"thismonth", 'm', 0},
                                                     {"lastmonth", 'm', 1},
                                                     {"thisyear", 'y', 0},
                                                     {"lastyear", 'y', 1}}};

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

TimePeriod periodOfWord(const PeriodWord& word)
{
    const sys_days today = floor<days>(sys_time<milliseconds>(milliseconds(programZone().toLocal(nowMs()))));
    const year_month_day date(today);
    if (word.unit == 'd')
        return periodOfDays(today - days(word.back), today - days(word.back - 1));
    if (word.unit == 'w') {
        const sys_days monday = today - (weekday(today) - Monday) - weeks(word.back);
        return periodOfDays(monday, monday + weeks(1));
    }
    if (word.unit == 'm') {
        const year_month month = date.year() / date.month() - months(word.back);
        return periodOfDays(month / 1, (month + months(1)) / 1);
    }
    const year year = date.year() - years(word.back);
    return periodOfDays(year / January / 1, (year + years(1)) / January / 1);
}

std::optional<TimePeriod> periodNamed(const QString& text)
{
    for (const PeriodWord& word : kPeriodWords) {
        if (text.compare(QLatin1String(word.word), Qt::CaseInsensitive) == 0)
            return periodOfWord(word);
    }
    return std::nullopt;
}

/// "now-7d", "now+1h"
std::optional<qint64> parseFromNow(const QString& option, const QString& text)
{
    static const QRegularExpression kForm(QStringLiteral("^now([+-])([0-9]+[smhdw])$"));
    const QRegularExpressionMatch match = kForm.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const qint64 distanceMs = parseInterval(option, match.captured(2)) * 1000;
    return match.captured(1) == QLatin1String("-") ? nowMs() - distanceMs : nowMs() + distanceMs;
}

CommandError badTime(const QString& option, const QString& text)
{
    const QStringList words = timeWords();
    const QString nearest = nearestWord(text, words);
    constexpr int kNearDistance = 2;
    const QString guess = editDistance(text.toLower(), nearest) <= kNearDistance
                              ? QStringLiteral("did you mean '%1'? Write").arg(nearest)
                              : QStringLiteral("write");
    return {ExitCode::Usage, QStringLiteral("%1: %2 is no time; %3 a year, month or day (2024, 2024-05, "
                                            "2024-05-17), a time such as 2024-05-17T13:45:12, @seconds, "
                                            "milliseconds, or one of %4")
                                 .arg(option, quoted(text), guess, words.join(QStringLiteral(", ")))};
}

std::optional<qint64> parseTimestamp(const QString& option, const QString& text, RangeEnd end)
{
    const QByteArray bytes = text.toUtf8();
    const std::string_view view(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    std::optional<TimePeriod> period = periodNamed(text);
    if (!period)
        period = parsePeriod(view);
    if (period)
        return end == RangeEnd::From ? period->startMs : period->endMs;
    const std::optional<qint64> fromNowMs = parseFromNow(option, text);
    return fromNowMs ? fromNowMs : parseTime(view);
}

} // namespace

QStringList timeWords()
{
    QStringList words = {QStringLiteral("first"), QStringLiteral("last"), QStringLiteral("now"),
                         QStringLiteral("now-7d")};
    for (const PeriodWord& word : kPeriodWords)
        words += QLatin1String(word.word);
    return words;
}

bool looksSymbolic(qint64 timestampMs)
{
    return timestampMs > kBeforeSymbols && timestampMs < kAfterSymbols;
}

TimeBound parseTimeBound(const QString& option, const QString& text, RangeEnd end)
{
    if (text == QLatin1String("first"))
        return {kFirstRecord, true};
    if (text == QLatin1String("last"))
        return {kLastRecord, true};
    if (text == QLatin1String("now"))
        return {kNow, true};
    const std::optional<qint64> timestampMs = parseTimestamp(option, text, end);
    if (!timestampMs)
        throw badTime(option, text);
    if (!isStorableTimestamp(*timestampMs))
        throw CommandError(ExitCode::BadData,
                           QStringLiteral("%1: %2 is outside the years 0 to 9999").arg(option, quoted(text)));
    return {*timestampMs, false};
}

} // namespace Kiv::Cli
