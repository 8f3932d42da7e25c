// Results on their way into the caller's vector: conversion to the target type, NaN and infinity.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

#include <limits>

using namespace Kiv;
using namespace Kiv::Testing;
using ::testing::ElementsAre;

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

EngineRequest pushRequest(QMetaType::Type type)
{
    EngineRequest result = request("prev", 10, 100, samples({{0, 1.0}, {200, 2.0}}));
    result.targetType = type;
    return result;
}

QVariant converted(QMetaType::Type type, double value)
{
    EngineUnderTest engine(pushRequest(type));
    engine.settleRange();
    engine->pushIntervalValue(at(10), value, false);
    return engine.output.at(0).value;
}

template <typename Value>
void expectConverted(QMetaType::Type type, double value, Value expected)
{
    const QVariant result = converted(type, value);
    EXPECT_EQ(result.typeId(), QMetaType::fromType<Value>().id()) << QMetaType(type).name() << ' ' << value;
    EXPECT_EQ(result.value<Value>(), expected) << QMetaType(type).name() << ' ' << value;
}

TEST(Conversion, BoolIsTrueAboveOneHalf)
{
    expectConverted<bool>(QMetaType::Bool, 0.5, false);
    expectConverted<bool>(QMetaType::Bool, 0.500001, true);
    expectConverted<bool>(QMetaType::Bool, -1.0, false);
}

TEST(Conversion, IntTruncatesTowardsZeroAndSaturates)
{
    expectConverted<int>(QMetaType::Int, 2.9, 2);
    expectConverted<int>(QMetaType::Int, -2.9, -2);
    expectConverted<int>(QMetaType::Int, 1e10, 2'147'483'647);
    expectConverted<int>(QMetaType::Int, -1e10, -2'147'483'647 - 1);
    expectConverted<int>(QMetaType::Int, 2'147'483'647.5, 2'147'483'647);
}

TEST(Conversion, UIntSaturatesAtBothEnds)
{
    expectConverted<uint>(QMetaType::UInt, 4'000'000'000.7, 4'000'000'000U);
    expectConverted<uint>(QMetaType::UInt, -0.9, 0U);
    expectConverted<uint>(QMetaType::UInt, -5.0, 0U);
    expectConverted<uint>(QMetaType::UInt, 5e9, 4'294'967'295U);
}

TEST(Conversion, LongLongTruncatesAndSaturates)
{
    expectConverted<qlonglong>(QMetaType::LongLong, -9'007'199'254'740'993.0, -9'007'199'254'740'992);
    expectConverted<qlonglong>(QMetaType::LongLong, -7.9, -7);
    expectConverted<qlonglong>(QMetaType::LongLong, 1e30, std::numeric_limits<qlonglong>::max());
    expectConverted<qlonglong>(QMetaType::LongLong, -1e30, std::numeric_limits<qlonglong>::min());
    expectConverted<qlonglong>(QMetaType::LongLong, 9'223'372'036'854'775'808.0,
                               std::numeric_limits<qlonglong>::max());
}

TEST(Conversion, ULongLongSaturatesAtBothEnds)
{
    expectConverted<qulonglong>(QMetaType::ULongLong, 1e19, 10'000'000'000'000'000'000ULL);
    expectConverted<qulonglong>(QMetaType::ULongLong, -1.0, 0);
    expectConverted<qulonglong>(QMetaType::ULongLong, 1e30, std::numeric_limits<qulonglong>::max());
    expectConverted<qulonglong>(QMetaType::ULongLong, 18'446'744'073'709'551'616.0,
                                std::numeric_limits<qulonglong>::max());
}

TEST(Conversion, FloatsKeepTheirValue)
{
    expectConverted<double>(QMetaType::Double, 0.1, 0.1);
    expectConverted<double>(QMetaType::Double, -0.0, -0.0);
    expectConverted<float>(QMetaType::Float, 0.1, 0.1F);
}

TEST(Conversion, NarrowIntegersKeepTheLowBitsOfTheSaturatedWideOneAsInt)
{
    expectConverted<int>(QMetaType::Short, 32'768.0, -32'768);
    expectConverted<int>(QMetaType::Short, -1.9, -1);
    expectConverted<int>(QMetaType::Short, 1e30, -1);
    expectConverted<int>(QMetaType::Short, -1e30, 0);
    expectConverted<int>(QMetaType::Char, 200.0, -56);
    expectConverted<int>(QMetaType::Char, 256.0, 0);
    expectConverted<int>(QMetaType::UShort, 65'537.0, 1);
    expectConverted<int>(QMetaType::UShort, -1.0, 0);
    expectConverted<int>(QMetaType::UShort, 1e30, 65'535);
    expectConverted<int>(QMetaType::UChar, 255.9, 255);
    expectConverted<int>(QMetaType::UChar, 256.0, 0);
    expectConverted<int>(QMetaType::UChar, 1e30, 255);
}

TEST(Conversion, AnyOtherTypeIsLoggedAndGivesNull)
{
    LogCapture log;
    EXPECT_TRUE(converted(QMetaType::QString, 1.0).isNull());
    EXPECT_TRUE(converted(QMetaType::SChar, 1.0).isNull());
    EXPECT_THAT(log.texts(), ElementsAre("2 pushIntervalValue: Invalid target value type QString",
                                         "2 pushIntervalValue: Invalid target value type signed char"));
    EXPECT_EQ(log.lines.at(0).source, QStringLiteral("src/Interpolate"));
}

TEST(Conversion, AnUnconvertedNullStillCountsAgainstTheLimit)
{
    LogCapture log;
    EngineRequest limited = pushRequest(QMetaType::QString);
    limited.limit = 1;
    EngineUnderTest engine(limited);
    engine.settleRange();
    EXPECT_THROW(engine->pushIntervalValue(at(10), 1.0, false), std::out_of_range);
    EXPECT_EQ(engine.limit, 1);
}

TEST(Conversion, NaNAndInfinityBecomeZeroWithALine)
{
    LogCapture log;
    EngineUnderTest engine(pushRequest(QMetaType::Double));
    engine.settleRange();
    engine->pushIntervalValue(at(10), kNaN, false);
    engine->pushIntervalValue(at(20), kInfinity, false);
    engine->pushIntervalValue(at(30), -kInfinity, false);
    EXPECT_THAT(texts(engine.output), ElementsAre("10:0", "20:0", "30:0"));
    EXPECT_THAT(log.texts(), ElementsAre("4 Interval double value is NaN (TS:1000000010000",
                                         "4 Interval double value is Inf (TS:1000000020000",
                                         "4 Interval double value is Inf (TS:1000000030000"));
}

TEST(Conversion, TheLinesCarryTheShiftedTimestamp)
{
    LogCapture log;
    EngineRequest shifted = pushRequest(QMetaType::Double);
    shifted.shiftIntervalForward = true;
    EngineUnderTest engine(shifted);
    engine.settleRange();
    engine->pushIntervalValue(at(20), kNaN, false);
    EXPECT_EQ(engine.output.at(0).timestamp, at(10));
    EXPECT_THAT(log.texts(), ElementsAre("4 Interval double value is NaN (TS:1000000010000"));
}

TEST(Conversion, NullResultsAreNeitherConvertedNorLogged)
{
    LogCapture log;
    EngineUnderTest engine(pushRequest(QMetaType::QString));
    engine.settleRange();
    engine->pushIntervalValue(at(10), kNaN, true);
    EXPECT_THAT(texts(engine.output), ElementsAre("10:null"));
    EXPECT_THAT(log.texts(), ::testing::IsEmpty());
}

TEST(Conversion, RawRecordsAreNotConverted)
{
    EngineRequest raw = request("", 0, 100, samples({{10, QStringLiteral("text")}, {20, kNaN}}));
    raw.param.interval = 0;
    raw.targetType = QMetaType::Int;
    const EngineOutcome outcome = serve(raw);
    ASSERT_EQ(outcome.output.size(), 2U);
    EXPECT_EQ(outcome.output[0].value, QVariant(QStringLiteral("text")));
    EXPECT_TRUE(std::isnan(outcome.output[1].value.toDouble()));
}

} // namespace
