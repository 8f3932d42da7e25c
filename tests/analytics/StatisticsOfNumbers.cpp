#include "analytics/Statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace Kiv::Analytics
{
namespace
{

Statistics statisticsOf(const std::vector<double>& numbers)
{
    Statistics statistics;
    for (const double number : numbers)
        statistics.add(number);
    return statistics;
}

double percentileOf(std::vector<double> numbers, double percent)
{
    return percentile(numbers, percent).value();
}

TEST(Statistics, OfNothingAreNothing)
{
    const Statistics none;
    EXPECT_EQ(none.count(), 0);
    for (const auto& figure : {none.min(), none.max(), none.mean(), none.sum(), none.variance(),
                               none.variancePopulation(), none.standardDeviation()})
        EXPECT_EQ(figure, std::nullopt);
}

TEST(Statistics, OfOneNumberHaveNoSampleVariance)
{
    const Statistics one = statisticsOf({4.5});
    EXPECT_EQ(one.mean(), 4.5);
    EXPECT_EQ(one.variance(), std::nullopt);
    EXPECT_EQ(one.standardDeviation(), std::nullopt);
    EXPECT_EQ(one.variancePopulation(), 0.0);
    EXPECT_EQ(one.standardDeviationPopulation(), 0.0);
}

TEST(Statistics, OfEightNumbers)
{
    const Statistics statistics = statisticsOf({2, 4, 4, 4, 5, 5, 7, 9});
    EXPECT_EQ(statistics.count(), 8);
    EXPECT_EQ(statistics.min(), 2.0);
    EXPECT_EQ(statistics.max(), 9.0);
    EXPECT_EQ(statistics.mean(), 5.0);
    EXPECT_EQ(statistics.sum(), 40.0);
    EXPECT_DOUBLE_EQ(statistics.variance().value(), 32.0 / 7.0);
    EXPECT_DOUBLE_EQ(statistics.variancePopulation().value(), 4.0);
    EXPECT_DOUBLE_EQ(statistics.standardDeviationPopulation().value(), 2.0);
}

TEST(Statistics, OfEqualNumbersDoNotScatter)
{
    const Statistics statistics = statisticsOf(std::vector<double>(1000, 0.1));
    EXPECT_EQ(statistics.mean(), 0.1);
    EXPECT_EQ(statistics.variance(), 0.0);
}

TEST(Statistics, KeepTheVarianceOfSmallDifferencesFarFromZero)
{
    EXPECT_DOUBLE_EQ(statisticsOf({1e9 + 4, 1e9 + 7, 1e9 + 13, 1e9 + 16}).variance().value(), 30.0);
}

TEST(Statistics, KeepTheDigitsOfAVarianceThatIsTinyBesideTheMean)
{
    // The steps are multiples of what doubles near 1e9 can tell apart, so that the numbers are exact.
    constexpr double kStep = 1.0 / (1 << 20);
    std::vector<double> numbers;
    std::vector<double> offsets;
    for (int i = 0; i < 1000; ++i) {
        offsets.push_back((i * 389 % 1000 - 500) * 2 * kStep);
        numbers.push_back(1e9 + offsets.back());
    }
    // Of the numbers from -500 to 499 steps, each once: (n^2 - 1) / 12 squares of a step.
    const double variance = (1000.0 * 1000.0 - 1.0) / 12.0 * 4 * kStep * kStep;
    EXPECT_NEAR(statisticsOf(numbers).variancePopulation().value(), variance, variance * 1e-13);
    EXPECT_NEAR(statisticsOf(offsets).variancePopulation().value(), variance, variance * 1e-13);
}

TEST(Statistics, SumKeepsSmallTermsBesideGreatOnes)
{
    EXPECT_EQ(statisticsOf({1.0, 1e100, 1.0, -1e100}).sum(), 2.0);
}

TEST(Statistics, InfinitiesStayInfinite)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(statisticsOf({1.0, infinity, 2.0}).sum(), infinity);
    EXPECT_EQ(statisticsOf({infinity, 1.0}).mean(), infinity);
    EXPECT_EQ(statisticsOf({1.0, infinity}).mean(), infinity);
}

TEST(WeightedMean, OfEqualNumbersIsTheNumber)
{
    WeightedMean mean;
    for (const double weight : {0.1, 7.0, 1e-3, 12345.678})
        mean.add(0.3, weight);
    EXPECT_EQ(mean.value(), 0.3);
}

TEST(Percentile, LiesBetweenTheClosestRanks)
{
    const std::vector<double> numbers = {15, 20, 35, 40, 50};
    EXPECT_EQ(percentileOf(numbers, 0), 15.0);
    EXPECT_DOUBLE_EQ(percentileOf(numbers, 5), 16.0);
    EXPECT_DOUBLE_EQ(percentileOf(numbers, 30), 23.0);
    EXPECT_DOUBLE_EQ(percentileOf(numbers, 40), 29.0);
    EXPECT_EQ(percentileOf(numbers, 50), 35.0);
    EXPECT_EQ(percentileOf(numbers, 100), 50.0);
}

TEST(Percentile, OfOneNumberIsTheNumber)
{
    EXPECT_EQ(percentileOf({3.5}, 0), 3.5);
    EXPECT_EQ(percentileOf({3.5}, 99.9), 3.5);
}

TEST(Percentile, OfNothingIsNothing)
{
    std::vector<double> none;
    EXPECT_EQ(percentile(none, 50), std::nullopt);
}

TEST(Percentile, BetweenEqualInfinitiesIsInfinite)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(percentileOf({1, infinity, infinity}, 75), infinity);
}

TEST(Percentile, IsThatOfTheSortedNumbers)
{
    std::mt19937 random(3);
    for (int i = 0; i < 300; ++i) {
        std::vector<double> numbers(1 + random() % 50);
        std::generate(numbers.begin(), numbers.end(),
                      [&random] { return static_cast<double>(random() % 20); });
        const double percent = static_cast<double>(random() % 1001) / 10.0;
        std::vector<double> sorted = numbers;
        std::sort(sorted.begin(), sorted.end());
        const double rank = static_cast<double>(sorted.size() - 1) * percent / 100.0;
        const auto below = static_cast<std::size_t>(rank);
        const std::size_t above = std::min(below + 1, sorted.size() - 1);
        const double share = rank - static_cast<double>(below);
        EXPECT_NEAR(percentileOf(numbers, percent), sorted[below] * (1 - share) + sorted[above] * share,
                    1e-12);
    }
}

} // namespace
} // namespace Kiv::Analytics
