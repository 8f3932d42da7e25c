#include "analytics/Method.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Kiv::Analytics
{
namespace
{

bool isMethod(const char* text)
{
    return Method::parse(QString::fromLatin1(text)).has_value();
}

TEST(Method, EveryNameIsReadBack)
{
    for (QString name : Method::names()) {
        name.replace(QLatin1String(":N"), QLatin1String(":99.5"))
            .replace(QLatin1String(":V"), QLatin1String(":-3"));
        const std::optional<Method> method = Method::parse(name);
        ASSERT_TRUE(method) << name.toStdString();
        EXPECT_EQ(method->text(), name);
    }
}

TEST(Method, CaseAndBlanksDoNotMatter)
{
    EXPECT_EQ(Method::parse(QStringLiteral(" Twa-Linear "))->kind, Method::Kind::TimeWeightedMeanLinear);
    EXPECT_EQ(Method::parse(QStringLiteral("Percentile: 50 "))->percent, 50.0);
}

TEST(Method, UnknownNamesAreNone)
{
    for (const char* text : {"", "twaa", "tw", "prev", "mean a", "percentile50", ":", ":50"})
        EXPECT_FALSE(isMethod(text)) << text;
}

TEST(Method, PercentileNeedsANumberFrom0To100)
{
    for (const char* text : {"percentile:0", "percentile:100", "percentile:99.9", "percentile:5e1"})
        EXPECT_TRUE(isMethod(text)) << text;
    for (const char* text : {"percentile", "percentile:", "percentile:-0.1", "percentile:100.1",
                             "percentile:x", "percentile:nan", "percentile:inf", "percentile:1:2"})
        EXPECT_FALSE(isMethod(text)) << text;
}

TEST(Method, InStateNeedsAValue)
{
    EXPECT_EQ(Method::parse(QStringLiteral("in-state:true"))->state, Value::ofSigned(1));
    EXPECT_EQ(Method::parse(QStringLiteral("in-state:2.5"))->state, Value::ofDouble(2.5));
    for (const char* text : {"in-state", "in-state:", "in-state:on", "in-state:nan"})
        EXPECT_FALSE(isMethod(text)) << text;
}

TEST(Method, WithoutParameterTakesNone)
{
    EXPECT_FALSE(isMethod("twa:1"));
    EXPECT_FALSE(isMethod("max:"));
}

TEST(Method, ThoseThatReckonWithTimeUseNeighbours)
{
    for (const char* text : {"twa", "twa-linear", "integral", "integral-linear", "in-state:1", "transitions"})
        EXPECT_TRUE(Method::parse(QString::fromLatin1(text))->usesNeighbours()) << text;
    for (const char* text : {"first", "last", "delta", "percentile:50", "most-frequent", "mean", "count"})
        EXPECT_FALSE(Method::parse(QString::fromLatin1(text))->usesNeighbours()) << text;
}

} // namespace
} // namespace Kiv::Analytics
