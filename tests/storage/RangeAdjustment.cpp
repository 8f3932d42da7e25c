// Ranges narrowed to the records of a storage, and the ends that stand for now, first and last.

#include "storage/StorageTest.h"

#include <memory>

namespace Kiv::Testing
{
namespace
{

struct Adjusted {
    qint64 from;
    qint64 to;
    bool fromAdjusted;
    bool toAdjusted;
    bool result;

    bool operator==(const Adjusted&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Adjusted& adjusted)
{
    return stream << adjusted.from << ".." << adjusted.to << (adjusted.fromAdjusted ? " from" : "")
                  << (adjusted.toAdjusted ? " to" : "") << (adjusted.result ? " true" : " false");
}

class RangeAdjustment : public StorageTest
{
protected:
    TSFileStorage storage{directory.base(), QMetaType::Double, kNoSizeLimit};

    void SetUp() override
    {
        storage.writeDataRecords(recordsOf({{1000, 1}, {3000, 2}, {5000, 3}}), false, false);
    }

    Adjusted adjust(qint64 from, qint64 to, TSFileStorage* target = nullptr)
    {
        Adjusted adjusted{from, to, true, true, false};
        adjusted.result = storage.adjustTimestamps(target ? target : &storage, adjusted.from, adjusted.to,
                                                   adjusted.fromAdjusted, adjusted.toAdjusted);
        return adjusted;
    }
};

TEST_F(RangeAdjustment, NarrowsARangeAroundAllRecords)
{
    EXPECT_EQ(adjust(0, 10'000), (Adjusted{1000, 5000, true, true, true}));
    EXPECT_EQ(adjust(kMinTimestamp, kMaxTimestamp), (Adjusted{1000, 5000, true, true, true}));
}

TEST_F(RangeAdjustment, LeavesARangeInside)
{
    EXPECT_EQ(adjust(2000, 3000), (Adjusted{2000, 3000, false, false, true}));
    EXPECT_EQ(adjust(1001, 4999), (Adjusted{1001, 4999, false, false, true}));
}

TEST_F(RangeAdjustment, CountsEqualEndsAsAdjusted)
{
    EXPECT_EQ(adjust(1000, 5000), (Adjusted{1000, 5000, true, true, true}));
    EXPECT_EQ(adjust(1000, 1000), (Adjusted{1000, 1000, true, false, true}));
    EXPECT_EQ(adjust(5000, 5000), (Adjusted{5000, 5000, false, true, true}));
}

TEST_F(RangeAdjustment, ResolvesFirstAndLast)
{
    EXPECT_EQ(adjust(-2, -3), (Adjusted{1000, 5000, true, true, true}));
    EXPECT_EQ(adjust(-3, -3), (Adjusted{5000, 5000, false, true, true}));
    EXPECT_EQ(adjust(-2, -2), (Adjusted{1000, 1000, true, false, true}));
    EXPECT_EQ(adjust(-3, -2), (Adjusted{5000, 1000, false, false, false}));
}

TEST_F(RangeAdjustment, ResolvesNowFromTheClock)
{
    seams.nowUs = 3'500'999;
    EXPECT_EQ(adjust(-1, 4000), (Adjusted{3500, 4000, false, false, true}));
    EXPECT_EQ(adjust(2000, -1), (Adjusted{2000, 3500, false, false, true}));
    EXPECT_EQ(adjust(-1, -1), (Adjusted{3500, 3500, false, false, true}));
}

TEST_F(RangeAdjustment, ReadsTheClockOncePerEnd)
{
    Internal::seams().nowMicroseconds = [now = qint64{2'000'000}]() mutable { return now += 1'000'000; };
    EXPECT_EQ(adjust(-1, -1), (Adjusted{3000, 4000, false, false, true}));
}

TEST_F(RangeAdjustment, ClampsNowBeyondTheLast)
{
    EXPECT_EQ(adjust(-1, -1), (Adjusted{1'700'000'000'123, 5000, false, true, false}));
}

TEST_F(RangeAdjustment, OfARangeAfterAllRecordsIsEmpty)
{
    EXPECT_EQ(adjust(6000, 7000), (Adjusted{6000, 5000, false, true, false}));
}

TEST_F(RangeAdjustment, OfARangeBeforeAllRecordsIsEmpty)
{
    EXPECT_EQ(adjust(0, 999), (Adjusted{1000, 999, true, false, false}));
}

TEST_F(RangeAdjustment, OfAReversedRangeIsEmpty)
{
    EXPECT_EQ(adjust(4000, 2000), (Adjusted{4000, 2000, false, false, false}));
}

TEST_F(RangeAdjustment, OfAnEmptyStorageChangesNothing)
{
    TSFileStorage empty(at("other"), QMetaType::Double, kNoSizeLimit);
    EXPECT_EQ(adjust(-1, -2, &empty), (Adjusted{-1, -2, false, false, false}));
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(RangeAdjustment, OfAStorageThatDoesNotOpenChangesNothing)
{
    const UnopenableFile broken(at("D/1970"));
    EXPECT_EQ(adjust(-2, -3), (Adjusted{-2, -3, false, false, false}));
    expectLine(2, quoted("Could not open ", at("D/1970"), " for read (getFirstDataRecord)"), 499);
}

TEST_F(RangeAdjustment, UsesTheStorageThatItIsGiven)
{
    TSFileStorage other(at("other"), QMetaType::Int, kNoSizeLimit);
    other.writeDataRecords({{kYear, 1}}, false, false);
    EXPECT_EQ(adjust(-2, -3, &other), (Adjusted{kYear, kYear, true, true, true}));
}

} // namespace
} // namespace Kiv::Testing
