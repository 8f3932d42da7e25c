// Filters: their JSON form, and which records pass.

#include "EngineForTest.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gmock/gmock.h>

#include <limits>

using namespace Kiv;
using namespace Kiv::Testing;
using ::testing::ElementsAre;

namespace
{

std::vector<Filter> parsed(const char* json)
{
    Param result;
    result.filterParams.resize(3); // to be replaced
    Interpolate::parseFilterparams(QJsonDocument::fromJson(json).array(), result);
    return result.filterParams;
}

/// Filters see the host's local time, so the tests choose it.
class FilterMatch : public ::testing::Test
{
private:
    ZoneForTest m_zone{"UTC0"};
};

bool passes(const std::vector<Filter>& filters, qint64 timestamp, const QVariant& value = 0.0)
{
    EngineRequest request;
    request.param.filterParams = filters;
    request.series = {{0, QVariant(1.0)}};
    EngineUnderTest engine(request);
    return engine->filterMatch({timestamp, value});
}

Filter comparing(const char* word, double value)
{
    Filter filter;
    filter.valueCompare = QString::fromLatin1(word);
    filter.value = value;
    return filter;
}

Filter window(const QTime& start, qint64 durationSeconds)
{
    Filter filter;
    filter.timeStart = start;
    filter.duration = durationSeconds;
    return filter;
}

TEST(FilterJson, ReadsEveryKey)
{
    const std::vector<Filter> filters = parsed(
        R"([{"timeStart":"08:00:00.250","duration":3600,"weekDays":[1,5],"months":[12,1],
             "valueCompare":"GT","value":2.5}])");
    ASSERT_EQ(filters.size(), 1U);
    EXPECT_EQ(filters[0].timeStart, QTime(8, 0, 0, 250));
    EXPECT_FALSE(filters[0].timeEnd.isValid());
    EXPECT_EQ(filters[0].duration, 3600);
    EXPECT_THAT(filters[0].weekDays, ElementsAre(1, 5));
    EXPECT_THAT(filters[0].months, ElementsAre(12, 1));
    EXPECT_EQ(filters[0].valueCompare, QStringLiteral("GT"));
    EXPECT_EQ(filters[0].value, 2.5);
}

TEST(FilterJson, AnEmptyArrayRemovesAllFilters)
{
    EXPECT_TRUE(parsed("[]").empty());
}

TEST(FilterJson, MissingKeysTakeTheirDefaults)
{
    const std::vector<Filter> filters = parsed(R"([{}, {"unknown":1}, 7])");
    ASSERT_EQ(filters.size(), 3U);
    for (const Filter& filter : filters) {
        EXPECT_FALSE(filter.timeStart.isValid());
        EXPECT_EQ(filter.duration, 0);
        EXPECT_TRUE(filter.weekDays.empty());
        EXPECT_TRUE(filter.months.empty());
        EXPECT_TRUE(filter.valueCompare.isEmpty());
        EXPECT_EQ(filter.value, 0.0);
    }
}

TEST(FilterJson, MistypedKeysTakeTheirDefaults)
{
    const std::vector<Filter> filters = parsed(
        R"([{"timeStart":8,"duration":"3600","weekDays":3,"months":["x",2.5,4],"valueCompare":1,"value":"5"}])");
    ASSERT_EQ(filters.size(), 1U);
    EXPECT_FALSE(filters[0].timeStart.isValid());
    EXPECT_EQ(filters[0].duration, 0);
    EXPECT_TRUE(filters[0].weekDays.empty());
    EXPECT_THAT(filters[0].months, ElementsAre(0, 0, 4));
    EXPECT_TRUE(filters[0].valueCompare.isEmpty());
    EXPECT_EQ(filters[0].value, 0.0);
}

TEST(FilterJson, DurationTakesWholeNumbersInAnySpelling)
{
    const std::vector<Filter> filters =
        parsed(R"([{"duration":3600.0},{"duration":1e3},{"duration":3600.5},{"duration":1e30},
                   {"duration":10000000000}])");
    ASSERT_EQ(filters.size(), 5U);
    EXPECT_EQ(filters[0].duration, 3600);
    EXPECT_EQ(filters[1].duration, 1000);
    EXPECT_EQ(filters[2].duration, 0);
    EXPECT_EQ(filters[3].duration, 0);
    EXPECT_EQ(filters[4].duration, 10'000'000'000);
}

TEST(FilterJson, TimeStartTakesIsoTimes)
{
    const std::vector<Filter> filters = parsed(
        R"([{"timeStart":"08:00"},{"timeStart":"08:00:00"},{"timeStart":"08:00:00.000"},
            {"timeStart":"8 o'clock"},{"timeStart":"8:00"},{"timeStart":""}])");
    ASSERT_EQ(filters.size(), 6U);
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(filters[i].timeStart, QTime(8, 0)) << i;
    for (size_t i = 3; i < 6; ++i)
        EXPECT_FALSE(filters[i].timeStart.isValid()) << i;
}

TEST_F(FilterMatch, IsFalseWithoutFilters)
{
    EXPECT_FALSE(passes({}, kBaseMs));
}

TEST_F(FilterMatch, IsTrueForAFilterWithoutConditions)
{
    EXPECT_TRUE(passes({Filter()}, kBaseMs));
}

TEST_F(FilterMatch, ComparesValuesInEveryWay)
{
    const auto passesValue = [](const char* word, double recordValue) {
        return passes({comparing(word, 5.0)}, kBaseMs, recordValue);
    };
    EXPECT_TRUE(passesValue("lt", 4.9));
    EXPECT_FALSE(passesValue("lt", 5.0));
    EXPECT_TRUE(passesValue("LTE", 5.0));
    EXPECT_FALSE(passesValue("lte", 5.1));
    EXPECT_TRUE(passesValue("gt", 5.1));
    EXPECT_FALSE(passesValue("Gt", 5.0));
    EXPECT_TRUE(passesValue("gte", 5.0));
    EXPECT_FALSE(passesValue("gte", 4.9));
    EXPECT_TRUE(passesValue("neq", 4.0));
    EXPECT_FALSE(passesValue("NEQ", 5.0));
}

TEST_F(FilterMatch, AnyOtherComparisonWordMeansEqual)
{
    for (const char* word : {"EQ", "eq", "==", " lt"}) {
        EXPECT_TRUE(passes({comparing(word, 5.0)}, kBaseMs, 5.0)) << word;
        EXPECT_TRUE(passes({comparing(word, 5.0)}, kBaseMs, 5)) << word;
        EXPECT_FALSE(passes({comparing(word, 5.0)}, kBaseMs, 5.0 + 2e-15)) << word;
    }
}

TEST_F(FilterMatch, EqualMeansWithinATolerance)
{
    EXPECT_TRUE(passes({comparing("eq", 0.0)}, kBaseMs, 1e-15));
    EXPECT_FALSE(passes({comparing("eq", 0.0)}, kBaseMs, 1.1e-15));
    EXPECT_FALSE(passes({comparing("neq", 0.0)}, kBaseMs, 1e-15));
    EXPECT_TRUE(passes({comparing("neq", 0.0)}, kBaseMs, 1.1e-15));
}

TEST_F(FilterMatch, NaNPassesNoComparison)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const char* word : {"eq", "neq", "lt", "lte", "gt", "gte"})
        EXPECT_FALSE(passes({comparing(word, 5.0)}, kBaseMs, nan)) << word;
}

TEST_F(FilterMatch, ValuesThatAreNoNumberCountAsZero)
{
    EXPECT_TRUE(passes({comparing("eq", 0.0)}, kBaseMs, QStringLiteral("x")));
    EXPECT_TRUE(passes({comparing("eq", 0.0)}, kBaseMs, QVariant()));
    EXPECT_TRUE(passes({comparing("eq", 7.0)}, kBaseMs, QStringLiteral("7")));
}

TEST_F(FilterMatch, SelectsWeekDaysFromMondayToSunday)
{
    Filter filter;
    filter.weekDays = {1, 7};
    const qint64 monday = utcMs(2024, 2, 26);
    EXPECT_TRUE(passes({filter}, monday));
    EXPECT_FALSE(passes({filter}, monday - kDayMs - 1));
    EXPECT_TRUE(passes({filter}, monday - 1));
    EXPECT_FALSE(passes({filter}, monday + kDayMs));
}

TEST_F(FilterMatch, SelectsMonths)
{
    Filter filter;
    filter.months = {2, 12};
    EXPECT_TRUE(passes({filter}, utcMs(2024, 2, 29, 23, 59, 59)));
    EXPECT_FALSE(passes({filter}, utcMs(2024, 3, 1)));
    EXPECT_TRUE(passes({filter}, utcMs(1969, 12, 31, 23, 59, 59)));
}

TEST_F(FilterMatch, AWindowIncludesBothEnds)
{
    const std::vector<Filter> filters{window(QTime(8, 0), 3600)};
    EXPECT_FALSE(passes(filters, utcMs(2024, 5, 5, 8) - 1));
    EXPECT_TRUE(passes(filters, utcMs(2024, 5, 5, 8)));
    EXPECT_TRUE(passes(filters, utcMs(2024, 5, 5, 9)));
    EXPECT_FALSE(passes(filters, utcMs(2024, 5, 5, 9) + 1));
}

TEST_F(FilterMatch, AWindowMayRunOverMidnight)
{
    const std::vector<Filter> filters{window(QTime(22, 0), 4 * 3600)};
    EXPECT_TRUE(passes(filters, utcMs(2024, 5, 5, 22)));
    EXPECT_TRUE(passes(filters, utcMs(2024, 5, 5, 23, 59, 59)));
    EXPECT_TRUE(passes(filters, utcMs(2024, 5, 6, 2)));
    EXPECT_FALSE(passes(filters, utcMs(2024, 5, 6, 2) + 1));
    EXPECT_FALSE(passes(filters, utcMs(2024, 5, 6, 21, 59, 59)));
}

TEST_F(FilterMatch, ADurationCountsModuloOneDay)
{
    EXPECT_FALSE(passes({window(QTime(8, 0), 86'400 + 3600)}, utcMs(2024, 5, 5, 10)));
    EXPECT_TRUE(passes({window(QTime(8, 0), 86'400 + 3600)}, utcMs(2024, 5, 5, 9)));
    EXPECT_TRUE(passes({window(QTime(8, 0), 86'400LL * 100'000'000 + 3600)}, utcMs(2024, 5, 5, 9)));
    EXPECT_FALSE(passes({window(QTime(8, 0), 86'400LL * 100'000'000 + 3600)}, utcMs(2024, 5, 5, 9) + 1));
    // A whole day ends where it starts, so only that instant is left.
    EXPECT_TRUE(passes({window(QTime(8, 0), 86'400)}, utcMs(2024, 5, 5, 8)));
    EXPECT_FALSE(passes({window(QTime(8, 0), 86'400)}, utcMs(2024, 5, 5, 8) + 1));
}

TEST_F(FilterMatch, ANegativeDurationEndsBeforeTheStartAndRunsOverMidnight)
{
    const std::vector<Filter> filters{window(QTime(8, 0), -3600)};
    EXPECT_TRUE(passes(filters, utcMs(2024, 5, 5, 7)));
    EXPECT_FALSE(passes(filters, utcMs(2024, 5, 5, 7, 30)));
    EXPECT_TRUE(passes(filters, utcMs(2024, 5, 5, 8)));
}

TEST_F(FilterMatch, AnEndThatIsAlreadySetIsKept)
{
    Filter filter = window(QTime(8, 0), 3600);
    filter.timeEnd = QTime(12, 0);
    EXPECT_TRUE(passes({filter}, utcMs(2024, 5, 5, 12)));
}

TEST_F(FilterMatch, KeepsTheComputedEndInTheFilter)
{
    EngineRequest request;
    request.param.filterParams = {window(QTime(8, 0), 3600)};
    request.series = {{0, QVariant(1.0)}};
    EngineUnderTest engine(request);
    EXPECT_FALSE(engine->filterParams[0].timeEnd.isValid());
    engine->filterMatch({kBaseMs, QVariant(1.0)});
    EXPECT_EQ(engine->filterParams[0].timeEnd, QTime(9, 0));
}

TEST_F(FilterMatch, ARecordPassesWithAllConditionsOfOneFilter)
{
    Filter strict = comparing("gt", 5.0);
    strict.months = {3};
    const std::vector<Filter> filters{strict, comparing("lt", -5.0)};
    EXPECT_TRUE(passes(filters, utcMs(2024, 3, 3), 6.0));
    EXPECT_FALSE(passes(filters, utcMs(2024, 4, 3), 6.0));
    EXPECT_TRUE(passes(filters, utcMs(2024, 4, 3), -6.0));
    EXPECT_FALSE(passes(filters, utcMs(2024, 3, 3), 0.0));
}

TEST_F(FilterMatch, UsesTheLocalTimeOfTheHost)
{
    const ZoneForTest zone("CET-1CEST,M3.5.0,M10.5.0/3");
    const std::vector<Filter> filters{window(QTime(8, 0), 3600)};
    EXPECT_TRUE(passes(filters, utcMs(2024, 1, 15, 7)));
    EXPECT_FALSE(passes(filters, utcMs(2024, 1, 15, 6, 30)));
    EXPECT_TRUE(passes(filters, utcMs(2024, 7, 15, 6)));
    EXPECT_FALSE(passes(filters, utcMs(2024, 7, 15, 7, 30)));

    Filter march;
    march.months = {3};
    EXPECT_TRUE(passes({march}, utcMs(2024, 2, 29, 23)));
    Filter friday;
    friday.weekDays = {5};
    EXPECT_TRUE(passes({friday}, utcMs(2024, 2, 29, 23)));
}

TEST_F(FilterMatch, ComparesWithResultsThatArePushedNotWithRawRecords)
{
    EngineRequest sums = request("sum align", 10, 30, samples({{0, 3.0}, {5, 4.0}, {12, 5.0}, {30, 0.0}}));
    sums.param.filterParams = {comparing("gt", 6.0)};
    EXPECT_THAT(resultsOf(sums), ElementsAre("10:7"));
}

TEST_F(FilterMatch, AlsoDropsNullResultsByTheValueTheyWouldHave)
{
    EngineRequest counts = request("count fillnull", 10, 40, samples({{0, 3.0}, {35, 4.0}, {50, 1.0}}));
    EXPECT_THAT(resultsOf(counts), ElementsAre("10:1", "20:null", "30:null", "40:1"));
    counts.param.filterParams = {comparing("gt", 0.0)};
    EXPECT_THAT(resultsOf(counts), ElementsAre("10:1", "40:1"));
}

} // namespace
