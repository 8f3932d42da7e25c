#include "AgeText.h"

#include <gtest/gtest.h>

namespace Kiv::Cli
{
namespace
{

TEST(AgeText, HasTheTwoGreatestUnits)
{
    EXPECT_EQ(ageText(3 * 86'400 + 4 * 3'600 + 59 * 60), "3 d 4 h");
    EXPECT_EQ(ageText(86'399), "23 h 59 min");
    EXPECT_EQ(ageText(725), "12 min 5 s");
    EXPECT_EQ(ageText(59), "59 s");
}

TEST(AgeText, LeavesOutAUnitOfWhichThereIsNone)
{
    EXPECT_EQ(ageText(86'400), "1 d");
    EXPECT_EQ(ageText(86'400 + 59 * 60), "1 d");
    EXPECT_EQ(ageText(3'600 + 59), "1 h");
    EXPECT_EQ(ageText(0), "0 s");
}

TEST(AgeText, SaysThatATimeLiesAhead)
{
    EXPECT_EQ(ageText(-1), "in 1 s");
    EXPECT_EQ(ageText(-90'000), "in 1 d 1 h");
}

} // namespace
} // namespace Kiv::Cli
