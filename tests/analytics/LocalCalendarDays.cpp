#include "analytics/LocalCalendar.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace Kiv::Analytics
{
namespace
{

constexpr qint64 kMsPerMinute = 60'000;
constexpr qint64 kMsPerHour = 3'600'000;

/// Milliseconds of an ISO 8601 text, which ends with Z.
qint64 at(const char* text)
{
    const QDateTime time = QDateTime::fromString(QString::fromLatin1(text), Qt::ISODateWithMs);
    EXPECT_TRUE(time.isValid()) << text;
    return time.toMSecsSinceEpoch();
}

std::string textOf(qint64 timestampMs)
{
    return QDateTime::fromMSecsSinceEpoch(timestampMs, Qt::UTC).toString(Qt::ISODateWithMs).toStdString();
}

struct Bounds {
    std::string start;
    std::string next;

    bool operator==(const Bounds&) const = default;
};

void PrintTo(const Bounds& bounds, std::ostream* out)
{
    *out << bounds.start << " to " << bounds.next;
}

Bounds boundsOf(const char* zone, Period period, const char* time)
{
    LocalCalendar calendar{QTimeZone(zone)};
    return {textOf(calendar.startOf(period, at(time))), textOf(calendar.startOfNext(period, at(time)))};
}

TEST(LocalCalendar, InUtcHasTheDaysOfUtc)
{
    EXPECT_EQ(boundsOf("UTC", Period::Day, "2024-05-17T13:45:12.345Z"),
              (Bounds{"2024-05-17T00:00:00.000Z", "2024-05-18T00:00:00.000Z"}));
}

TEST(LocalCalendar, PeriodIncludesItsFirstInstantAndExcludesItsEnd)
{
    const Bounds day{"2024-05-16T22:00:00.000Z", "2024-05-17T22:00:00.000Z"};
    EXPECT_EQ(boundsOf("Europe/Berlin", Period::Day, "2024-05-16T22:00:00.000Z"), day);
    EXPECT_EQ(boundsOf("Europe/Berlin", Period::Day, "2024-05-17T21:59:59.999Z"), day);
}

TEST(LocalCalendar, DayHas23HoursInSpringAnd25InAutumn)
{
    EXPECT_EQ(boundsOf("Europe/Berlin", Period::Day, "2024-03-31T12:00:00Z"),
              (Bounds{"2024-03-30T23:00:00.000Z", "2024-03-31T22:00:00.000Z"}));
    EXPECT_EQ(boundsOf("Europe/Berlin", Period::Day, "2024-10-27T12:00:00Z"),
              (Bounds{"2024-10-26T22:00:00.000Z", "2024-10-27T23:00:00.000Z"}));
}

TEST(LocalCalendar, WeeksBeginOnMonday)
{
    const Bounds week{"2024-03-24T23:00:00.000Z", "2024-03-31T22:00:00.000Z"};
    EXPECT_EQ(boundsOf("Europe/Berlin", Period::Week, "2024-03-24T23:00:00.000Z"), week);
    EXPECT_EQ(boundsOf("Europe/Berlin", Period::Week, "2024-03-31T21:59:59.999Z"), week);
}

TEST(LocalCalendar, QuartersBeginInJanuaryAprilJulyAndOctober)
{
    EXPECT_EQ(boundsOf("UTC", Period::Quarter, "2024-03-31T23:59:59.999Z"),
              (Bounds{"2024-01-01T00:00:00.000Z", "2024-04-01T00:00:00.000Z"}));
    EXPECT_EQ(boundsOf("UTC", Period::Quarter, "2024-05-17T00:00:00Z"),
              (Bounds{"2024-04-01T00:00:00.000Z", "2024-07-01T00:00:00.000Z"}));
    EXPECT_EQ(boundsOf("UTC", Period::Quarter, "2024-12-31T00:00:00Z"),
              (Bounds{"2024-10-01T00:00:00.000Z", "2025-01-01T00:00:00.000Z"}));
}

TEST(LocalCalendar, HalfYearsBeginInJanuaryAndJuly)
{
    EXPECT_EQ(boundsOf("UTC", Period::HalfYear, "2024-06-30T00:00:00Z"),
              (Bounds{"2024-01-01T00:00:00.000Z", "2024-07-01T00:00:00.000Z"}));
    EXPECT_EQ(boundsOf("UTC", Period::HalfYear, "2024-07-01T00:00:00Z"),
              (Bounds{"2024-07-01T00:00:00.000Z", "2025-01-01T00:00:00.000Z"}));
}

TEST(LocalCalendar, MonthsAndYearsAreTheZonesOwn)
{
    EXPECT_EQ(boundsOf("America/New_York", Period::Month, "2024-03-10T12:00:00Z"),
              (Bounds{"2024-03-01T05:00:00.000Z", "2024-04-01T04:00:00.000Z"}));
    EXPECT_EQ(boundsOf("America/New_York", Period::Year, "2025-01-01T04:59:59.999Z"),
              (Bounds{"2024-01-01T05:00:00.000Z", "2025-01-01T05:00:00.000Z"}));
}

TEST(LocalCalendar, DayBeginsAtOneWhereMidnightDoesNotExist)
{
    EXPECT_EQ(boundsOf("America/Sao_Paulo", Period::Day, "2018-11-04T12:00:00Z"),
              (Bounds{"2018-11-04T03:00:00.000Z", "2018-11-05T02:00:00.000Z"}));
    EXPECT_EQ(boundsOf("America/Sao_Paulo", Period::Day, "2018-11-04T02:59:59.999Z"),
              (Bounds{"2018-11-03T03:00:00.000Z", "2018-11-04T03:00:00.000Z"}));
}

TEST(LocalCalendar, DayBeginsOnceWhereClocksGoBackAtMidnight)
{
    // At midnight of 2018-02-18 they went back to 23:00 of the 17th.
    EXPECT_EQ(boundsOf("America/Sao_Paulo", Period::Day, "2018-02-18T02:30:00Z"),
              (Bounds{"2018-02-17T02:00:00.000Z", "2018-02-18T03:00:00.000Z"}));
}

TEST(LocalCalendar, DayThatHasBegunStaysWhereClocksGoBackBehindMidnight)
{
    // At 00:01 of 2010-11-07 they went back to 23:01 of the 6th.
    const Bounds sunday{"2010-11-07T02:30:00.000Z", "2010-11-08T03:30:00.000Z"};
    EXPECT_EQ(boundsOf("America/St_Johns", Period::Day, "2010-11-07T02:30:00Z"), sunday);
    EXPECT_EQ(boundsOf("America/St_Johns", Period::Day, "2010-11-07T03:00:00Z"), sunday);
    EXPECT_EQ(boundsOf("America/St_Johns", Period::Day, "2010-11-07T02:29:59.999Z").next, sunday.start);
}

TEST(LocalCalendar, SkippedDayDoesNotExist)
{
    EXPECT_EQ(boundsOf("Pacific/Apia", Period::Day, "2011-12-30T09:59:59.999Z"),
              (Bounds{"2011-12-29T10:00:00.000Z", "2011-12-30T10:00:00.000Z"}));
    EXPECT_EQ(boundsOf("Pacific/Apia", Period::Day, "2011-12-30T10:00:00.000Z"),
              (Bounds{"2011-12-30T10:00:00.000Z", "2011-12-31T10:00:00.000Z"}));
}

TEST(LocalCalendar, KnowsOffsetsOfQuarterHours)
{
    EXPECT_EQ(boundsOf("Asia/Kathmandu", Period::Day, "2024-05-17T12:00:00Z"),
              (Bounds{"2024-05-16T18:15:00.000Z", "2024-05-17T18:15:00.000Z"}));
}

TEST(LocalCalendar, KnowsTimesBefore1970)
{
    EXPECT_EQ(boundsOf("UTC", Period::Day, "1969-12-31T23:59:59.999Z"),
              (Bounds{"1969-12-31T00:00:00.000Z", "1970-01-01T00:00:00.000Z"}));
    EXPECT_EQ(boundsOf("Asia/Kathmandu", Period::Day, "1969-12-31T23:59:59.999Z"),
              (Bounds{"1969-12-31T18:30:00.000Z", "1970-01-01T18:30:00.000Z"}));
    // Double summer time.
    EXPECT_EQ(boundsOf("Europe/London", Period::Month, "1944-06-15T12:00:00Z"),
              (Bounds{"1944-05-31T22:00:00.000Z", "1944-06-30T22:00:00.000Z"}));
    EXPECT_EQ(boundsOf("UTC", Period::Year, "1600-02-29T00:00:00Z"),
              (Bounds{"1600-01-01T00:00:00.000Z", "1601-01-01T00:00:00.000Z"}));
}

TEST(LocalCalendar, KnowsTheFirstAndTheLastYearOfASeries)
{
    constexpr qint64 kFirstMs = -62'167'219'200'000; // 0000-01-01
    constexpr qint64 kLastMs = 253'402'300'799'999;  // 9999-12-31
    LocalCalendar calendar{QTimeZone("Europe/Berlin")};
    EXPECT_LE(calendar.startOf(Period::Year, kFirstMs), kFirstMs);
    EXPECT_EQ(
        calendar.startOfNext(Period::Year, calendar.startOfNext(Period::Day, kFirstMs)),
        LocalCalendar{QTimeZone("Europe/Berlin")}.startOf(Period::Year, kFirstMs + 370 * 24 * kMsPerHour));
    EXPECT_EQ(textOf(calendar.startOf(Period::Day, kLastMs)), "9999-12-31T23:00:00.000Z");
    EXPECT_EQ(calendar.startOfNext(Period::Day, kLastMs) - calendar.startOf(Period::Day, kLastMs),
              24 * kMsPerHour);
}

TEST(LocalCalendar, FollowsTheRulesBehindTheLastTabledChange)
{
    LocalCalendar calendar{QTimeZone("Europe/Berlin")};
    EXPECT_EQ(textOf(calendar.startOf(Period::Day, at("2037-10-25T01:00:00Z"))), "2037-10-24T22:00:00.000Z");
    EXPECT_EQ(textOf(calendar.startOf(Period::Day, at("2038-07-01T12:00:00Z"))), "2038-06-30T22:00:00.000Z");
}

TEST(LocalCalendar, IntervalCodesOfTheEngineNamePeriods)
{
    EXPECT_EQ(periodOfInterval(-1), Period::Day);
    EXPECT_EQ(periodOfInterval(-2), Period::Week);
    EXPECT_EQ(periodOfInterval(-3), Period::Month);
    EXPECT_EQ(periodOfInterval(-4), Period::Quarter);
    EXPECT_EQ(periodOfInterval(-5), Period::HalfYear);
    EXPECT_EQ(periodOfInterval(-6), Period::Year);
    EXPECT_EQ(periodOfInterval(-7), std::nullopt);
    EXPECT_EQ(periodOfInterval(0), std::nullopt);
    EXPECT_EQ(periodOfInterval(3600), std::nullopt);
}

/// The day begins at the first minute whose clock shows it or a later one, found minute by minute.
qint64 slowStartOfDay(const QTimeZone& zone, const QDate& day)
{
    const qint64 midnightMs = QDateTime(day, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    for (qint64 timeMs = midnightMs - 24 * kMsPerHour;; timeMs += kMsPerMinute) {
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(timeMs, Qt::UTC);
        if (timeMs + zone.offsetFromUtc(time) * qint64{1000} >= midnightMs)
            return timeMs;
    }
}

TEST(LocalCalendar, DaysAreThoseFoundMinuteByMinute)
{
    std::mt19937 random(1);
    for (const char* name : {"Europe/Berlin", "America/Sao_Paulo", "America/St_Johns", "Pacific/Apia",
                             "Asia/Kathmandu", "Australia/Lord_Howe", "Africa/Casablanca",
                             "Pacific/Kiritimati", "America/Havana", "Asia/Tehran", "Antarctica/Troll"}) {
        const QTimeZone zone(name);
        ASSERT_TRUE(zone.isValid()) << name;
        LocalCalendar calendar(zone);
        // The days on which clocks change, and some others; offsets in whole minutes since 1972.
        std::vector<QDate> days;
        for (const QTimeZone::OffsetData& change :
             zone.transitions(QDateTime(QDate(1973, 1, 1), QTime(0, 0), Qt::UTC),
                              QDateTime(QDate(2040, 1, 1), QTime(0, 0), Qt::UTC)))
            days.push_back(change.atUtc.date());
        for (int i = 0; i < 20; ++i)
            days.push_back(QDate(1973, 1, 1).addDays(static_cast<int>(random() % 24'000)));
        for (const QDate& day : days) {
            const qint64 startMs = slowStartOfDay(zone, day);
            const qint64 nextMs = slowStartOfDay(zone, day.addDays(1));
            if (nextMs == startMs)
                continue;
            const qint64 insideMs = startMs + static_cast<qint64>(random()) % (nextMs - startMs);
            EXPECT_EQ(textOf(calendar.startOf(Period::Day, insideMs)), textOf(startMs)) << name;
            EXPECT_EQ(textOf(calendar.startOfNext(Period::Day, insideMs)), textOf(nextMs)) << name;
        }
    }
}

TEST(LocalCalendar, PeriodsFollowEachOtherWithoutHoleOrOverlap)
{
    std::mt19937_64 random(2);
    for (const char* name :
         {"Europe/Berlin", "America/St_Johns", "Pacific/Apia", "UTC", "America/New_York"}) {
        LocalCalendar calendar{QTimeZone(name)};
        for (int i = 0; i < 2000; ++i) {
            const auto period = static_cast<Period>(random() % 6);
            const qint64 timeMs =
                at("1900-01-01T00:00:00Z") + static_cast<qint64>(random() % 6'000'000'000'000);
            const qint64 startMs = calendar.startOf(period, timeMs);
            const qint64 nextMs = calendar.startOfNext(period, timeMs);
            ASSERT_LE(startMs, timeMs);
            ASSERT_LT(timeMs, nextMs);
            ASSERT_EQ(calendar.startOf(period, startMs), startMs);
            ASSERT_EQ(calendar.startOf(period, nextMs - 1), startMs);
            ASSERT_EQ(calendar.startOf(period, nextMs), nextMs);
        }
    }
}

} // namespace
} // namespace Kiv::Analytics
