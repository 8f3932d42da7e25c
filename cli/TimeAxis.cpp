#include "TimeAxis.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kMsPerSecond = 1000;
constexpr qint64 kMsPerMinute = 60'000;
constexpr qint64 kMsPerHour = 3'600'000;
constexpr qint64 kMsPerDay = 86'400'000;

enum class StepUnit { Clock, Day, Month };

/// What a label shows.
enum class LabelForm { Milliseconds, Seconds, Minutes, Day, Month, Year };

struct Step {
    StepUnit unit;
    qint64 count; ///< milliseconds, days or months
    LabelForm form;
};

std::vector<Step> makeSteps()
{
    std::vector<Step> steps;
    for (const qint64 ms : {1, 2, 5, 10, 20, 50, 100, 200, 500})
        steps.push_back({StepUnit::Clock, ms, LabelForm::Milliseconds});
    for (const qint64 seconds : {1, 2, 5, 10, 15, 30})
        steps.push_back({StepUnit::Clock, seconds * kMsPerSecond, LabelForm::Seconds});
    for (const qint64 minutes : {1, 2, 5, 10, 15, 30, 60, 120, 180, 360, 720})
        steps.push_back({StepUnit::Clock, minutes * kMsPerMinute, LabelForm::Minutes});
    for (const qint64 days : {1, 2, 7, 14})
        steps.push_back({StepUnit::Day, days, LabelForm::Day});
    for (const qint64 months : {1, 2, 3, 6})
        steps.push_back({StepUnit::Month, months, LabelForm::Month});
    for (const qint64 years : {1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000})
        steps.push_back({StepUnit::Month, years * 12, LabelForm::Year});
    return steps;
}

int labelWidth(LabelForm form)
{
    constexpr std::array<int, 6> kWidths = {12, 8, 5, 5, 7, 4};
    return kWidths[static_cast<std::size_t>(form)];
}

qint64 floorDivided(qint64 number, qint64 divisor)
{
    const qint64 quotient = number / divisor;
    return number % divisor < 0 ? quotient - 1 : quotient;
}

/// The first multiple at or after a number.
qint64 roundedUp(qint64 number, qint64 step)
{
    return -floorDivided(-number, step) * step;
}

std::chrono::year_month_day dateOf(qint64 localMs)
{
    return std::chrono::sys_days(std::chrono::days(floorDivided(localMs, kMsPerDay)));
}

QString padded(qint64 number, int width)
{
    return QString::number(number).rightJustified(width, u'0');
}

QString yearText(const std::chrono::year_month_day& date)
{
    const int year = static_cast<int>(date.year());
    return (year < 0 ? QStringLiteral("-") : QString()) + padded(std::abs(year), 4);
}

QString monthDayText(const std::chrono::year_month_day& date)
{
    return padded(static_cast<unsigned>(date.month()), 2) + u'-' +
           padded(static_cast<unsigned>(date.day()), 2);
}

QString clockText(qint64 localMs, LabelForm form)
{
    const qint64 ofDayMs = localMs - floorDivided(localMs, kMsPerDay) * kMsPerDay;
    QString text = padded(ofDayMs / kMsPerHour, 2) + u':' + padded(ofDayMs / kMsPerMinute % 60, 2);
    if (form != LabelForm::Minutes)
        text += u':' + padded(ofDayMs / kMsPerSecond % 60, 2);
    if (form == LabelForm::Milliseconds)
        text += u'.' + padded(ofDayMs % kMsPerSecond, 3);
    return text;
}

TimeTick makeTick(qint64 timestampMs, qint64 localMs, LabelForm form)
{
    const std::chrono::year_month_day date = dateOf(localMs);
    switch (form) {
    case LabelForm::Day:
        return {timestampMs, monthDayText(date), yearText(date)};
    case LabelForm::Month:
        return {timestampMs, yearText(date) + u'-' + padded(static_cast<unsigned>(date.month()), 2), {}};
    case LabelForm::Year:
        return {timestampMs, yearText(date), {}};
    default:
        return {timestampMs, clockText(localMs, form), yearText(date) + u'-' + monthDayText(date)};
    }
}

/// Collects the ticks of one step until there are too many.
class TickList
{
public:
    TickList(qint64 fromMs, qint64 toMs, const Zone& zone, const Step& step, std::size_t maxCount)
        : m_fromMs(fromMs), m_toMs(toMs), m_zone(zone), m_step(step), m_maxCount(maxCount)
    {
    }

    /// \return false when there were too many
    bool fill()
    {
        if (m_step.unit == StepUnit::Clock)
            return fillByClock();
        return m_step.unit == StepUnit::Day ? fillByDays() : fillByMonths();
    }

    std::vector<TimeTick> take() { return std::move(m_ticks); }

private:
    /// In each stretch between changes of the clocks on its own.
    bool fillByClock()
    {
        for (qint64 startMs = m_fromMs; startMs <= m_toMs;) {
            const OffsetSpan span = m_zone.offsetAt(startMs);
            const qint64 endMs = std::min(span.endMs, m_toMs + 1);
            qint64 localMs = roundedUp(startMs + span.eastMs, m_step.count);
            for (; localMs - span.eastMs < endMs; localMs += m_step.count) {
                if (!add(localMs - span.eastMs, localMs))
                    return false;
            }
            startMs = endMs;
        }
        return true;
    }

    bool fillByDays()
    {
        // Day 0, 1970-01-01, was a Thursday; counted from a Monday, weeks begin on Mondays.
        constexpr qint64 kDaysSinceMonday = 3;
        const qint64 firstDay = floorDivided(m_zone.toLocal(m_fromMs), kMsPerDay);
        qint64 day = roundedUp(firstDay + kDaysSinceMonday, m_step.count) - kDaysSinceMonday;
        for (;; day += m_step.count) {
            const qint64 timestampMs = m_zone.startOfDay(day * kMsPerDay);
            if (timestampMs > m_toMs)
                return true;
            if (timestampMs >= m_fromMs && !add(timestampMs, day * kMsPerDay))
                return false;
        }
    }

    bool fillByMonths()
    {
        const std::chrono::year_month_day first = dateOf(m_zone.toLocal(m_fromMs));
        const qint64 firstMonth =
            static_cast<int>(first.year()) * 12LL + static_cast<unsigned>(first.month()) - 1;
        for (qint64 month = floorDivided(firstMonth, m_step.count) * m_step.count;; month += m_step.count) {
            const qint64 year = floorDivided(month, 12);
            const auto monthOfYear = static_cast<unsigned>(month - year * 12 + 1);
            const std::chrono::sys_days day = std::chrono::year(static_cast<int>(year)) /
                                              std::chrono::month(monthOfYear) / std::chrono::day(1);
            const qint64 localMs = day.time_since_epoch().count() * kMsPerDay;
            const qint64 timestampMs = m_zone.startOfDay(localMs);
            if (timestampMs > m_toMs)
                return true;
            if (timestampMs >= m_fromMs && !add(timestampMs, localMs))
                return false;
        }
    }

    bool add(qint64 timestampMs, qint64 localMs)
    {
        if (m_ticks.size() >= m_maxCount)
            return false;
        m_ticks.push_back(makeTick(timestampMs, localMs, m_step.form));
        return true;
    }

    qint64 m_fromMs;
    qint64 m_toMs;
    const Zone& m_zone;
    const Step& m_step;
    std::size_t m_maxCount;
    std::vector<TimeTick> m_ticks;
};

/// Leaves a context where it changes only.
void dropRepeatedContexts(std::vector<TimeTick>& ticks)
{
    QString last;
    for (TimeTick& tick : ticks) {
        if (tick.context == last)
            tick.context.clear();
        else
            last = tick.context;
    }
}

} // namespace

std::vector<TimeTick> timeTicks(qint64 fromMs, qint64 toMs, const Zone& zone, int widthCharacters)
{
    constexpr int kBetweenLabels = 3;
    static const std::vector<Step> steps = makeSteps();
    for (const Step& step : steps) {
        const int maxCount = std::max(1, widthCharacters / (labelWidth(step.form) + kBetweenLabels));
        TickList list(fromMs, toMs, zone, step, static_cast<std::size_t>(maxCount));
        if (!list.fill())
            continue;
        std::vector<TimeTick> ticks = list.take();
        dropRepeatedContexts(ticks);
        return ticks;
    }
    return {};
}

} // namespace Kiv::Cli
