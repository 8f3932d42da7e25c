#include "analytics/Holes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace Kiv::Analytics
{

void PrintTo(const Hole& hole, std::ostream* out)
{
    *out << hole.startMs << " to " << hole.endMs;
}

namespace
{

using Found = std::vector<Hole>;

Found holesOf(qint64 maxGapMs, const std::vector<std::vector<qint64>>& blocks)
{
    Found found;
    Holes holes(maxGapMs, [&found](const Hole& hole) {
        found.push_back(hole);
        return true;
    });
    for (const std::vector<qint64>& block : blocks)
        holes.take(block);
    return found;
}

TEST(Holes, AreDistancesAboveTheLimit)
{
    EXPECT_EQ(holesOf(10, {{0, 10, 21, 22, 40}}), (Found{{10, 21}, {22, 40}}));
}

TEST(Holes, AreFoundBetweenBlocksToo)
{
    EXPECT_EQ(holesOf(10, {{0, 5}, {}, {20}, {25}}), (Found{{5, 20}}));
}

TEST(Holes, NeedTwoTimestamps)
{
    EXPECT_EQ(holesOf(10, {}), Found());
    EXPECT_EQ(holesOf(10, {{1000}}), Found());
}

TEST(Holes, AreNoneWithoutALimit)
{
    EXPECT_EQ(holesOf(0, {{0, 1'000'000'000}}), Found());
}

TEST(Holes, AtTheEdgesAreFoundWhenTheEndsOfTheRangeAreTaken)
{
    EXPECT_EQ(holesOf(10, {{0}, {50, 60}, {100}}), (Found{{0, 50}, {60, 100}}));
}

TEST(Holes, MayBeLongerThanSixtyThreeBits)
{
    constexpr qint64 kFirst = std::numeric_limits<qint64>::min();
    constexpr qint64 kLast = std::numeric_limits<qint64>::max();
    EXPECT_EQ(holesOf(kLast, {{kFirst, kLast}}), (Found{{kFirst, kLast}}));
}

TEST(Holes, EndWithTheVisitorsInterest)
{
    Found found;
    Holes holes(10, [&found](const Hole& hole) {
        found.push_back(hole);
        return false;
    });
    EXPECT_FALSE(holes.take({0, 20, 40}));
    EXPECT_FALSE(holes.take(60));
    EXPECT_EQ(found, (Found{{0, 20}}));
}

} // namespace
} // namespace Kiv::Analytics
