// The interval engine against its model, on random requests. KIV_TEST_SCALE multiplies the number of cases;
// KIV_ENGINE_SEED runs one case only.

#include "EngineComparison.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

constexpr qint64 kBlockCount = 10;
constexpr qint64 kCasesPerBlock = 10'000;

qint64 scaled(qint64 count)
{
    bool isNumber = false;
    double scale = qEnvironmentVariable("KIV_TEST_SCALE").toDouble(&isNumber);
    if (!isNumber)
        scale = 1.0;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    scale /= 10.0;
#endif
    return std::max<qint64>(1, static_cast<qint64>(static_cast<double>(count) * scale));
}

/// What a run of cases reached, so that a generator that has gone stale is noticed.
struct Coverage {
    qint64 caseCount = 0;
    qint64 tooLongCount = 0;
    qint64 withOutputCount = 0;
    qint64 withLogCount = 0;
    qint64 withProgressCount = 0;
    qint64 failureCount = 0;
};

void compareOne(quint64 seed, Coverage& coverage)
{
    const EngineCase engineCase = makeEngineCase(seed);
    ++coverage.caseCount;
    const EngineComparison comparison = compareWithModel(engineCase);
    if (comparison.isTooLong) {
        ++coverage.tooLongCount;
        return;
    }
    const EngineTrace& expected = comparison.expected;
    coverage.withOutputCount += expected.output.size() > engineCase.outputBefore.size() ? 1 : 0;
    coverage.withLogCount += expected.logLines.empty() ? 0 : 1;
    coverage.withProgressCount += expected.comparesProgress ? 1 : 0;
    if (comparison.difference.empty())
        return;
    ++coverage.failureCount;
    ADD_FAILURE() << comparison.difference << '\n' << describe(engineCase);
}

Coverage compareSeeds(quint64 firstSeed, qint64 count)
{
    constexpr qint64 kFailuresShown = 3;
    Coverage coverage;
    for (qint64 i = 0; i < count && coverage.failureCount < kFailuresShown; ++i)
        compareOne(firstSeed + static_cast<quint64>(i), coverage);
    return coverage;
}

class EngineAgainstModel : public ::testing::TestWithParam<qint64>
{
};

/// Sets the host's time zone for the life of a test.
class ZoneForTest
{
public:
    explicit ZoneForTest(const char* zone) : m_before(qgetenv("TZ"))
    {
        qputenv("TZ", zone);
        tzset();
    }

    ~ZoneForTest()
    {
        if (m_before.isNull())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_before);
        tzset();
    }

private:
    QByteArray m_before;
};

TEST_P(EngineAgainstModel, AgreesOnRandomRequestsToTheLastBit)
{
    bool isSeed = false;
    const quint64 onlySeed = qEnvironmentVariable("KIV_ENGINE_SEED").toULongLong(&isSeed);
    if (isSeed) {
        compareSeeds(onlySeed, 1);
        return;
    }
    const qint64 count = scaled(kCasesPerBlock);
    const Coverage coverage = compareSeeds(static_cast<quint64>(GetParam()) * 1'000'000'000, count);
    if (coverage.failureCount == 0 && count >= 1000) {
        EXPECT_LT(coverage.tooLongCount, coverage.caseCount / 25);
        EXPECT_GT(coverage.withOutputCount, coverage.caseCount / 2);
        EXPECT_GT(coverage.withLogCount, coverage.caseCount / 100);
        EXPECT_GT(coverage.withProgressCount, coverage.caseCount / 2);
    }
}

INSTANTIATE_TEST_SUITE_P(SeedBlock, EngineAgainstModel, ::testing::Range<qint64>(0, kBlockCount));

TEST(EngineInAnotherTimeZone, AgreesOnRandomRequestsToTheLastBit)
{
    const ZoneForTest zone("CET-1CEST,M3.5.0,M10.5.0/3");
    compareSeeds(900'000'000'000, scaled(kCasesPerBlock / 5));
}

} // namespace
