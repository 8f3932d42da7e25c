// Method strings: method words, option words, difference words, and what each method makes of the options.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

EngineUnderTest engineFor(const char* method, qint64 interval = 10)
{
    EngineRequest request;
    request.param = param(method, interval);
    request.series = samples({{0, 1.0}, {100, 2.0}});
    return EngineUnderTest(request);
}

/// The options that are set, in alphabetical order.
std::string options(const Interpolate& engine)
{
    std::string result;
    const std::pair<bool, const char*> flags[] = {{engine.align, "align "},
                                                  {engine.average, "average "},
                                                  {engine.fill, "fill "},
                                                  {engine.fillNull, "fillNull "},
                                                  {engine.linear, "linear "}};
    for (const auto& [isSet, name] : flags)
        result += isSet ? name : "";
    return result;
}

TEST(Parameters, DefaultConstructedTypesAreEmpty)
{
    const Param empty;
    EXPECT_TRUE(empty.method.isEmpty());
    EXPECT_EQ(empty.interval, 0);
    EXPECT_TRUE(empty.filterParams.empty());
    EXPECT_FALSE(empty.alignStartEndTimestamp);
    EXPECT_EQ(empty.offsetMinFromUTC, 0);
    const Filter filter;
    EXPECT_FALSE(filter.timeStart.isValid());
    EXPECT_FALSE(filter.timeEnd.isValid());
    EXPECT_EQ(filter.duration, 0);
    EXPECT_TRUE(filter.weekDays.empty());
    EXPECT_TRUE(filter.months.empty());
    EXPECT_TRUE(filter.valueCompare.isEmpty());
    EXPECT_EQ(filter.value, 0.0);
}

struct MethodWord {
    const char* text;
    Interpolate::Method method;
    Interpolate::Handler handler;
    const char* options;
};

class MethodWords : public ::testing::TestWithParam<MethodWord>
{
};

TEST_P(MethodWords, SelectMethodHandlerAndOptions)
{
    EngineUnderTest engine = engineFor(GetParam().text);
    EXPECT_EQ(engine->method, GetParam().method);
    EXPECT_TRUE(engine->handler == GetParam().handler);
    EXPECT_EQ(options(*engine), GetParam().options);
}

INSTANTIATE_TEST_SUITE_P(
    Known, MethodWords,
    ::testing::Values(MethodWord{"PrevNext", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT, ""},
                      MethodWord{"prev", Interpolate::PREV, &Interpolate::handle_PREV, ""},
                      MethodWord{"previous", Interpolate::PREV, &Interpolate::handle_PREV, ""},
                      MethodWord{"next", Interpolate::NEXT, &Interpolate::handle_NEXT, ""},
                      MethodWord{"minmax", Interpolate::MIN_MAX, &Interpolate::handle_MIN_MAX, ""},
                      MethodWord{"min", Interpolate::MIN, &Interpolate::handle_MIN, ""},
                      MethodWord{"max", Interpolate::MAX, &Interpolate::handle_MAX, ""},
                      MethodWord{"sum", Interpolate::SUM, &Interpolate::handle_SUM, ""},
                      MethodWord{"meana", Interpolate::MEAN_A, &Interpolate::handle_MEAN_A, "align "},
                      MethodWord{"meang", Interpolate::MEAN_G, &Interpolate::handle_MEAN_G, "align "},
                      MethodWord{"meanh", Interpolate::MEAN_H, &Interpolate::handle_MEAN_H, "align "},
                      MethodWord{"means", Interpolate::MEAN_S, &Interpolate::handle_MEAN_S, "align "},
                      MethodWord{"median", Interpolate::MEDIAN, &Interpolate::handle_MEDIAN, "align "},
                      MethodWord{"mode", Interpolate::MODE, &Interpolate::handle_MODE, "align "},
                      MethodWord{"count", Interpolate::COUNT, &Interpolate::handle_COUNT, "align "}));

INSTANTIATE_TEST_SUITE_P(
    WithOptions, MethodWords,
    ::testing::Values(MethodWord{"prevnextlinearfill", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT,
                                 "fill linear "},
                      MethodWord{"prevnext linear fill", Interpolate::PREV_NEXT,
                                 &Interpolate::handle_PREV_NEXT, "fill linear "},
                      MethodWord{"prevnext,fill,linear", Interpolate::PREV_NEXT,
                                 &Interpolate::handle_PREV_NEXT, "fill linear "},
                      MethodWord{"NEXT-ALIGN-FILLNULL", Interpolate::NEXT, &Interpolate::handle_NEXT,
                                 "align fill fillNull "},
                      MethodWord{"meana fillnull", Interpolate::MEAN_A, &Interpolate::handle_MEAN_A,
                                 "align fill fillNull "},
                      MethodWord{"maxlinear", Interpolate::MAX, &Interpolate::handle_MAX, ""},
                      MethodWord{"minlinearalign", Interpolate::MIN, &Interpolate::handle_MIN, "align "},
                      MethodWord{"minmaxlinearaverage", Interpolate::MIN_MAX, &Interpolate::handle_MIN_MAX,
                                 "average "},
                      MethodWord{"countlinear", Interpolate::COUNT, &Interpolate::handle_COUNT, "align "},
                      MethodWord{"sumlinear", Interpolate::SUM, &Interpolate::handle_SUM, "linear "}));

INSTANTIATE_TEST_SUITE_P(
    FallingBack, MethodWords,
    ::testing::Values(
        MethodWord{"", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT, "fill linear "},
        MethodWord{"mean", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT, "fill linear "},
        MethodWord{"linearprevnext", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT, "fill linear "},
        MethodWord{" sum", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT, "fill linear "},
        MethodWord{"alignfillnull", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT, "fill linear "},
        MethodWord{"averagemin", Interpolate::PREV_NEXT, &Interpolate::handle_PREV_NEXT,
                   "average fill linear "},
        MethodWord{"diff", Interpolate::SUM, &Interpolate::handle_SUM, "fill linear "},
        MethodWord{"DiffCtrUpCleaned align", Interpolate::SUM, &Interpolate::handle_SUM, "fill linear "}));

TEST(Parameters, AnyStringWithoutAnIntervalIsRawWithoutOptions)
{
    for (const char* text : {"", "prevnextlinearfill", "meana align fillnull average", "raw"}) {
        EngineUnderTest engine = engineFor(text, 0);
        EXPECT_EQ(engine->method, Interpolate::RAW) << text;
        EXPECT_TRUE(engine->handler == &Interpolate::handle_raw) << text;
        EXPECT_EQ(options(*engine), "") << text;
        EXPECT_TRUE(engine->diffHandler == nullptr) << text;
    }
}

TEST(Parameters, ADifferenceWordIsBoundWithoutAnIntervalToo)
{
    EngineUnderTest plain = engineFor("diff", 0);
    EXPECT_EQ(plain->method, Interpolate::RAW);
    EXPECT_TRUE(plain->diffHandler == &Interpolate::handle_DIFF);
    EngineUnderTest cleaned = engineFor("DIFFCTRUPCLEANED", 0);
    EXPECT_TRUE(cleaned->diffHandler == &Interpolate::handle_DIFF_CTRUPCLEANED);
}

TEST(Parameters, ADifferenceWordIsRemovedBeforeTheMethodIsLookedUp)
{
    EngineUnderTest cleaned = engineFor("DiffCtrUpCleanedMax");
    EXPECT_EQ(cleaned->method, Interpolate::MAX);
    EXPECT_TRUE(cleaned->diffHandler == &Interpolate::handle_DIFF_CTRUPCLEANED);
    EngineUnderTest plain = engineFor("diffmax");
    EXPECT_EQ(plain->method, Interpolate::MAX);
    EXPECT_TRUE(plain->diffHandler == &Interpolate::handle_DIFF);
    EngineUnderTest inside = engineFor("sdiffumDIFF");
    EXPECT_EQ(inside->method, Interpolate::SUM);
    EXPECT_TRUE(inside->diffHandler == &Interpolate::handle_DIFF);
}

TEST(Parameters, OptionWordsAreLookedUpAfterTheDifferenceWordIsRemoved)
{
    EngineUnderTest engine = engineFor("prev fidiffll");
    EXPECT_EQ(engine->method, Interpolate::PREV);
    EXPECT_EQ(options(*engine), "fill ");
}

TEST(Parameters, SecondsBecomeMillisecondsAndCodesStay)
{
    EXPECT_EQ(engineFor("prev", 1)->intervalMs, 1000);
    EXPECT_EQ(engineFor("prev", 3600)->intervalMs, 3'600'000);
    EXPECT_EQ(engineFor("prev", -3)->intervalMs, -3);
    EXPECT_EQ(engineFor("prev", -77)->intervalMs, -77);
}

TEST(Parameters, AMethodNumberOutsideTheTableBindsRawAndKeepsAverage)
{
    EngineUnderTest engine = engineFor("minmax average align fillnull");
    engine->method = static_cast<Interpolate::Method>(15);
    engine->initHandlers();
    EXPECT_TRUE(engine->handler == &Interpolate::handle_raw);
    EXPECT_EQ(options(*engine), "average ");
}

TEST(Parameters, FillNullSwitchesFillOn)
{
    EngineUnderTest engine = engineFor("prev");
    engine->fillNull = true;
    engine->initHandlers();
    EXPECT_TRUE(engine->fill);
}

TEST(Parameters, CountOnlyModeAddsOneCounterPerPass)
{
    EngineRequest request;
    request.param = param("prev");
    request.series = samples({{0, 1.0}});
    request.fastCountOnly = true;
    EngineUnderTest single(request);
    ASSERT_EQ(single.output.size(), 1U);
    EXPECT_EQ(single.output[0].timestamp, -1);
    EXPECT_EQ(single.output[0].value, QVariant(0));
    EXPECT_EQ(single.output[0].value.typeId(), QMetaType::Int);
    request.passes = {param("prev"), param("meana")};
    EXPECT_EQ(EngineUnderTest(request).output.size(), 3U);
}

TEST(Parameters, TheFirstPassGoesToTheFrontAndTheParameterIsTheLastPass)
{
    EngineRequest request;
    request.param = param("count", 60);
    request.passes = {param("prev", 1), param("sum", 10)};
    request.series = samples({{0, 1.0}});
    EngineUnderTest engine(request);
    EXPECT_EQ(engine->method, Interpolate::PREV);
    EXPECT_EQ(engine->intervalMs, 1000);
    ASSERT_TRUE(engine->nextPass);
    EXPECT_EQ(engine->nextPass->method, Interpolate::SUM);
    ASSERT_TRUE(engine->nextPass->nextPass);
    EXPECT_EQ(engine->nextPass->nextPass->method, Interpolate::COUNT);
    EXPECT_FALSE(engine->nextPass->nextPass->nextPass);
}

TEST(Parameters, AFreshEngineIsEmpty)
{
    EngineRequest request;
    request.param = param("prev");
    request.start = 5;
    request.end = 7;
    request.series = samples({{0, 1.0}, {1, 1.0}});
    EngineUnderTest engine(request);
    EXPECT_EQ(engine->readStart, -1);
    EXPECT_EQ(engine->readEnd, -1);
    EXPECT_EQ(engine->requestedStart, 5);
    EXPECT_EQ(engine->rangeStart, 5);
    EXPECT_EQ(engine->rangeEnd, 7);
    EXPECT_EQ(engine->prevRecord.timestamp, 0);
    EXPECT_TRUE(engine->prevRecord.value.isNull());
    EXPECT_FALSE(engine->ctrSkipNext);
    EXPECT_FALSE(engine->ctrWaitNonZero);
    EXPECT_THAT(engine->counterWrapLimits,
                ::testing::ElementsAre(1e6, 1e7, 1e8, 1e9, 2147483647.0, 4294967295.0, 9223372036854775808.0,
                                       18446744073709551616.0));
}

TEST(Parameters, RecordsAreOrderedByTimeThenByNumberWithNaNLast)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_LT(Record(1, 9.0), Record(2, 1.0));
    EXPECT_LT(Record(1, -1.0), Record(1, QStringLiteral("no number")));
    EXPECT_LT(Record(1, QVariant()), Record(1, 0.5));
    EXPECT_LT(Record(1, 1e300), Record(1, nan));
    EXPECT_FALSE(Record(1, nan) < Record(1, nan));
    EXPECT_FALSE(Record(1, nan) < Record(1, 1.0));
    EXPECT_FALSE(Record(1, 1.0) < Record(1, 1.0));
}

} // namespace
