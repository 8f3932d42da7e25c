#include "analytics/Intervals.h"

#include "support/SeriesForTest.h"

#include <gtest/gtest.h>

namespace Kiv::Analytics
{

void PrintTo(const Interval& interval, std::ostream* out)
{
    *out << interval.startMs << " to " << interval.endMs << " at " << interval.labelMs;
}

namespace
{

using Testing::utc;
using List = std::vector<Interval>;

List all(Intervals&& intervals)
{
    List list;
    while (const std::optional<Interval> interval = intervals.next())
        list.push_back(*interval);
    return list;
}

Interpolate::InterpolateParam requestOf(qint64 interval)
{
    Interpolate::InterpolateParam param;
    param.interval = interval;
    return param;
}

constexpr qint64 kHour = 3'600'000;
const qint64 kFirst = utc(2024, 5, 17, 8, 10);
const qint64 kLast = utc(2024, 5, 17, 13, 15);

TEST(EngineIntervals, AreCountedFromTheStartWhichIsTheFirstLabel)
{
    const qint64 start = utc(2024, 5, 17, 9, 20);
    EXPECT_EQ(
        all(EngineIntervals(requestOf(3600), start, utc(2024, 5, 17, 11, 50), kFirst, kLast, LabelAt::End)),
        (List{{start - kHour, start, start},
              {start, start + kHour, start + kHour},
              {start + kHour, start + 2 * kHour, start + 2 * kHour}}));
}

TEST(EngineIntervals, LabelledWithTheirStartBeginAtTheStart)
{
    const qint64 start = utc(2024, 5, 17, 9, 20);
    EXPECT_EQ(
        all(EngineIntervals(requestOf(3600), start, utc(2024, 5, 17, 10, 50), kFirst, kLast, LabelAt::Start)),
        (List{{start, start + kHour, start}, {start + kHour, start + 2 * kHour, start + kHour}}));
}

TEST(EngineIntervals, BeginNoEarlierThanTheFirstSample)
{
    const List list =
        all(EngineIntervals(requestOf(3600), utc(2000), utc(2024, 5, 17, 10), kFirst, kLast, LabelAt::End));
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list.front(), (Interval{utc(2024, 5, 17, 8), utc(2024, 5, 17, 9), utc(2024, 5, 17, 9)}));
}

TEST(EngineIntervals, KnowTheFirstAndTheLastSample)
{
    EXPECT_EQ(all(EngineIntervals(requestOf(3600), -2, -3, kFirst, kLast, LabelAt::End)).size(), 5U);
    Interpolate::InterpolateParam aligned = requestOf(3600);
    aligned.alignStartEndTimestamp = true;
    const List list = all(EngineIntervals(aligned, -2, -3, kFirst, kLast, LabelAt::End));
    ASSERT_EQ(list.size(), 6U);
    EXPECT_EQ(list.back().labelMs, utc(2024, 5, 17, 14));
}

TEST(EngineIntervals, OfMonthsStepByTheEnginesCalendar)
{
    EXPECT_EQ(all(EngineIntervals(requestOf(-3), utc(2024, 2, 1), utc(2024, 3, 15), utc(2023), utc(2025),
                                  LabelAt::End)),
              (List{{utc(2024, 1, 1), utc(2024, 2, 1), utc(2024, 2, 1)},
                    {utc(2024, 2, 1), utc(2024, 3, 1), utc(2024, 3, 1)}}));
}

TEST(EngineIntervals, AreNoneOfRawRequestsAndEmptyRanges)
{
    EXPECT_EQ(all(EngineIntervals(requestOf(0), kFirst, kLast, kFirst, kLast, LabelAt::End)), List());
    EXPECT_EQ(all(EngineIntervals(requestOf(3600), kLast, kFirst, kFirst, kLast, LabelAt::End)), List());
}

/// The labels and counts of the engine's own answer are those of the intervals.
TEST(EngineIntervals, AreThoseOfTheEnginesAnswers)
{
    for (const qint64 interval : {7, 60, 3600, 5000, -1, -2, -3, -4, -5, -6}) {
        for (const bool isAligned : {false, true}) {
            for (const LabelAt labelAt : {LabelAt::End, LabelAt::Start}) {
                const qint64 span = interval > 0 ? interval * 9000 : 400 * 24 * kHour;
                const qint64 start = utc(2024, 1, 31, 11, 30);
                Interpolate::InterpolateParam param = requestOf(interval);
                param.method = QStringLiteral("count fill");
                param.alignStartEndTimestamp = isAligned;
                std::vector<Interpolate::DataRecord> results;
                int limit = 0;
                Interpolate engine(param, {}, start, start + span, start - 100, start + 2 * span, &results,
                                   QMetaType::Double, labelAt == LabelAt::Start, limit, false);
                qint64 from = 0;
                qint64 to = 0;
                ASSERT_TRUE(engine.getRange(from, to));
                engine.handleNextRawRecord({start - 100, QVariant(1.0)});
                engine.finalize();
                std::vector<qint64> expected;
                for (const Interpolate::DataRecord& result : results)
                    expected.push_back(result.timestamp);
                std::vector<qint64> labels;
                for (const Interval& found :
                     all(EngineIntervals(param, start, start + span, start - 100, start + 2 * span, labelAt)))
                    labels.push_back(found.labelMs);
                EXPECT_EQ(labels, expected) << interval << ' ' << isAligned;
            }
        }
    }
}

TEST(CalendarIntervals, AreAllPeriodsThatTheRangeTouches)
{
    const QTimeZone berlin("Europe/Berlin");
    const qint64 saturday = utc(2024, 3, 29, 23);
    const qint64 sunday = utc(2024, 3, 30, 23);
    const qint64 monday = utc(2024, 3, 31, 22);
    EXPECT_EQ(all(CalendarIntervals(berlin, Period::Day, saturday + kHour, sunday, LabelAt::End)),
              (List{{saturday, sunday, sunday}, {sunday, monday, monday}}));
    EXPECT_EQ(all(CalendarIntervals(berlin, Period::Day, saturday, sunday - 1, LabelAt::Start)),
              (List{{saturday, sunday, saturday}}));
}

TEST(CalendarIntervals, LeaveOutADayThatTheZoneSkips)
{
    const List days = all(CalendarIntervals(QTimeZone("Pacific/Apia"), Period::Day, utc(2011, 12, 29, 12),
                                            utc(2011, 12, 31, 12), LabelAt::Start));
    ASSERT_EQ(days.size(), 3U);
    for (const Interval& day : days)
        EXPECT_EQ(day.endMs - day.startMs, 24 * kHour);
}

TEST(CalendarIntervals, OfTwentyYearsOfDays)
{
    const List days =
        all(CalendarIntervals(QTimeZone("Europe/Berlin"), Period::Day, utc(2004), utc(2024), LabelAt::End));
    EXPECT_EQ(days.size(), 7306U);
    qint64 shortDays = 0;
    qint64 longDays = 0;
    for (const Interval& day : days) {
        shortDays += day.endMs - day.startMs == 23 * kHour ? 1 : 0;
        longDays += day.endMs - day.startMs == 25 * kHour ? 1 : 0;
    }
    EXPECT_EQ(shortDays, 20);
    EXPECT_EQ(longDays, 20);
}

TEST(CalendarIntervals, OfAnEmptyRangeAreNone)
{
    EXPECT_EQ(all(CalendarIntervals(QTimeZone("UTC"), Period::Day, utc(2024, 1, 2), utc(2024), LabelAt::End)),
              List());
    EXPECT_EQ(
        all(CalendarIntervals(QTimeZone("UTC"), Period::Year, utc(2024, 1, 2), utc(2024), LabelAt::End)),
        List());
}

} // namespace
} // namespace Kiv::Analytics
