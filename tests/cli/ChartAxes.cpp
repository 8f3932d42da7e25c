// The ticks of charts: round numbers, and round times of a zone's clocks.

#include "TimeAxis.h"
#include "TimeText.h"
#include "ValueAxis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace Kiv::Cli
{
namespace
{

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Gt;
using ::testing::IsEmpty;

std::vector<std::string> labels(const ValueAxis& axis)
{
    std::vector<std::string> labels;
    for (const ValueTick& tick : axis.ticks())
        labels.push_back(tick.label.toStdString());
    return labels;
}

std::vector<std::string> labels(double least, double greatest, int maxTickCount = 6)
{
    return labels(ValueAxis(least, greatest, maxTickCount, TickNumbers::Any));
}

qint64 timeOf(const char* text)
{
    return parseTime(text).value();
}

std::vector<std::string> tickTexts(const char* from, const char* to, const Zone& zone, int width)
{
    std::vector<std::string> texts;
    for (const TimeTick& tick : timeTicks(timeOf(from), timeOf(to), zone, width)) {
        const QString context = tick.context.isEmpty() ? QString() : u' ' + tick.context;
        texts.push_back((tick.label + context).toStdString());
    }
    return texts;
}

const Zone kBerlin = Zone::named(QStringLiteral("--tz"), QStringLiteral("Europe/Berlin"));

TEST(ValueAxisTicks, AreRoundNumbersAroundTheValues)
{
    EXPECT_THAT(labels(0, 10), ElementsAre("0", "2", "4", "6", "8", "10"));
    EXPECT_THAT(labels(9.7, 31.2, 7), ElementsAre("5", "10", "15", "20", "25", "30", "35"));
    EXPECT_THAT(labels(9.7, 31.2, 6), ElementsAre("0", "10", "20", "30", "40"));
}

TEST(ValueAxisTicks, HaveTheDecimalsOfTheirStep)
{
    EXPECT_THAT(labels(0.1, 0.3), ElementsAre("0.10", "0.15", "0.20", "0.25", "0.30"));
    EXPECT_THAT(labels(-1, 1), ElementsAre("-1.0", "-0.5", "0", "0.5", "1.0"));
    EXPECT_THAT(labels(0, 1e-9, 3), ElementsAre("0", "5e-10", "1e-9"));
}

TEST(ValueAxisTicks, SurroundAConstantSeries)
{
    EXPECT_THAT(labels(20, 20, 4), ElementsAre("18", "20", "22"));
    EXPECT_THAT(labels(0, 0, 4), ElementsAre("-1", "0", "1"));
    const ValueAxis integers(7, 7, 4, TickNumbers::Integers);
    EXPECT_THAT(labels(integers), ElementsAre("6", "7", "8"));
    EXPECT_EQ(0.5, integers.fractionOf(7));
    EXPECT_THAT(labels(ValueAxis(1e19, 1e19, 4, TickNumbers::Integers)),
                ElementsAre("9e18", "1e19", "1.1e19"));
}

TEST(ValueAxisTicks, OfIntegersAreIntegers)
{
    EXPECT_THAT(labels(ValueAxis(0, 1, 10, TickNumbers::Integers)), ElementsAre("0", "1"));
}

TEST(ValueAxisTicks, ReachTheGreatestAndTheLeastNumbers)
{
    constexpr double kGreatest = std::numeric_limits<double>::max();
    EXPECT_THAT(labels(0, 1e300, 3), ElementsAre("0", "5e299", "1e300"));
    for (const double value : {1e300, kGreatest, 5e-324, 1e-320, 1e-290}) {
        for (const double other : {value, -value, 0.0}) {
            const ValueAxis axis(std::min(value, other), std::max(value, other), 5, TickNumbers::Any);
            EXPECT_GE(axis.ticks().size(), 2u) << value << ' ' << other;
            EXPECT_LE(axis.low(), std::min(value, other));
            EXPECT_GE(axis.high(), std::max(value, other));
            EXPECT_TRUE(std::isfinite(axis.low()) && std::isfinite(axis.high()));
            EXPECT_THAT(axis.fractionOf(value), ::testing::AllOf(::testing::Ge(0.0), ::testing::Le(1.0)));
        }
    }
}

TEST(ValueAxisTicks, AreFewAscendAndHoldTheValuesForAnyTwoNumbers)
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> exponents(-30, 30);
    for (int i = 0; i < 20'000; ++i) {
        double least = std::pow(10.0, exponents(random)) * (random() % 2 == 0 ? 1 : -1);
        double greatest = random() % 4 == 0 ? least * (1 + 1e-9) : std::pow(10.0, exponents(random));
        if (least > greatest)
            std::swap(least, greatest);
        const int maxCount = 2 + static_cast<int>(random() % 20);
        const ValueAxis axis(least, greatest, maxCount, TickNumbers::Any);
        ASSERT_LE(static_cast<int>(axis.ticks().size()), std::max(3, maxCount)) << least << ' ' << greatest;
        ASSERT_GE(axis.ticks().size(), 2u) << least << ' ' << greatest;
        // What lies beyond by less than rounding is not seen.
        ASSERT_GE(axis.fractionOf(least), -1e-8) << least << ' ' << greatest;
        ASSERT_LE(axis.fractionOf(greatest), 1 + 1e-8) << least << ' ' << greatest;
        for (std::size_t t = 1; t < axis.ticks().size(); ++t)
            ASSERT_GT(axis.ticks()[t].value, axis.ticks()[t - 1].value);
    }
}

TEST(TimeAxisTicks, AreAtRoundHoursWithTheDayWhereItChanges)
{
    EXPECT_THAT(tickTexts("2024-05-17T20:10Z", "2024-05-18T04:00Z", Zone(), 40),
                ElementsAre("22:00 2024-05-17", "00:00 2024-05-18", "02:00", "04:00"));
}

TEST(TimeAxisTicks, GetFinerWithMoreRoom)
{
    EXPECT_THAT(tickTexts("2024-05-17T20:10Z", "2024-05-17T20:12Z", Zone(), 80),
                ElementsAre("20:10:00 2024-05-17", "20:10:30", "20:11:00", "20:11:30", "20:12:00"));
    EXPECT_THAT(tickTexts("2024-05-17T20:10:00.001Z", "2024-05-17T20:10:00.004Z", Zone(), 60),
                ElementsAre("20:10:00.001 2024-05-17", "20:10:00.002", "20:10:00.003", "20:10:00.004"));
}

TEST(TimeAxisTicks, OfDaysWeeksMonthsAndYearsBeginThese)
{
    EXPECT_THAT(tickTexts("2023-12-30T12:00Z", "2024-01-02T12:00Z", Zone(), 30),
                ElementsAre("12-31 2023", "01-01 2024", "01-02"));
    EXPECT_THAT(tickTexts("2024-05-14T00:00Z", "2024-06-14T00:00Z", Zone(), 48),
                ElementsAre("05-20 2024", "05-27", "06-03", "06-10"));
    EXPECT_THAT(tickTexts("2024-01-15T00:00Z", "2024-12-15T00:00Z", Zone(), 45),
                ElementsAre("2024-04", "2024-07", "2024-10"));
    EXPECT_THAT(tickTexts("1850-06-01T00:00Z", "2024-12-15T00:00Z", Zone(), 40),
                ElementsAre("1900", "1950", "2000"));
}

TEST(TimeAxisTicks, ShowAnHourTwiceThatTheClockRepeats)
{
    const std::vector<TimeTick> ticks =
        timeTicks(timeOf("2024-10-26T22:00Z"), timeOf("2024-10-27T03:00Z"), kBerlin, 60);
    std::vector<std::string> texts;
    for (const TimeTick& tick : ticks)
        texts.push_back(tick.label.toStdString());
    EXPECT_THAT(texts, ElementsAre("00:00", "01:00", "02:00", "02:00", "03:00", "04:00"));
    EXPECT_EQ(3'600'000, ticks[3].timestampMs - ticks[2].timestampMs);
}

TEST(TimeAxisTicks, LeaveOutAnHourThatTheClockSkips)
{
    EXPECT_THAT(tickTexts("2024-03-30T23:00Z", "2024-03-31T03:00Z", kBerlin, 60),
                ElementsAre("00:00 2024-03-31", "01:00", "03:00", "04:00", "05:00"));
}

TEST(TimeAxisTicks, KeepTheClocksHoursAfterAChange)
{
    EXPECT_THAT(tickTexts("2024-03-30T11:00Z", "2024-04-01T10:00Z", kBerlin, 50),
                ElementsAre("12:00 2024-03-30", "00:00 2024-03-31", "12:00", "00:00 2024-04-01", "12:00"));
}

TEST(TimeAxisTicks, BeginADayWithoutMidnightWhereItBegins)
{
    const Zone zone = Zone::named(QStringLiteral("--tz"), QStringLiteral("America/Sao_Paulo"));
    const std::vector<TimeTick> ticks =
        timeTicks(timeOf("2018-11-03T12:00Z"), timeOf("2018-11-05T12:00Z"), zone, 20);
    ASSERT_EQ(2u, ticks.size());
    EXPECT_EQ(timeOf("2018-11-04T03:00Z"), ticks[0].timestampMs);
    EXPECT_EQ("11-04", ticks[0].label);
}

TEST(TimeAxisTicks, GoBackBeforeTheEpoch)
{
    EXPECT_THAT(tickTexts("1969-12-31T23:59:58Z", "1970-01-01T00:00:01Z", Zone(), 50),
                ElementsAre("23:59:58 1969-12-31", "23:59:59", "00:00:00 1970-01-01", "00:00:01"));
    EXPECT_THAT(tickTexts("0000-01-01T00:00Z", "9999-12-31T00:00Z", Zone(), 20), ElementsAre("0000", "5000"));
}

TEST(TimeAxisTicks, FitTheirWidthAndLieInTheRange)
{
    std::mt19937_64 random(1);
    for (int i = 0; i < 2000; ++i) {
        const qint64 spanMs = 1 + static_cast<qint64>(random() % (1ULL << (random() % 46)));
        const qint64 fromMs = timeOf("1900-01-01T00:00Z") + static_cast<qint64>(random() % (1ULL << 42));
        const int width = 10 + static_cast<int>(random() % 200);
        qint64 previousMs = fromMs - 1;
        std::size_t labelWidth = 0;
        const std::vector<TimeTick> ticks = timeTicks(fromMs, fromMs + spanMs, kBerlin, width);
        for (const TimeTick& tick : ticks) {
            ASSERT_GT(tick.timestampMs, previousMs);
            previousMs = tick.timestampMs;
            labelWidth += static_cast<std::size_t>(tick.label.size()) + 1;
        }
        ASSERT_LE(previousMs, fromMs + spanMs);
        ASSERT_TRUE(ticks.size() < 2 || labelWidth <= static_cast<std::size_t>(width))
            << fromMs << ' ' << spanMs;
    }
}

} // namespace
} // namespace Kiv::Cli
