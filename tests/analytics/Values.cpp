#include "analytics/Value.h"

#include <QVariant>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Kiv::Analytics
{
namespace
{

constexpr qint64 kGreatest = std::numeric_limits<qint64>::max();
constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
constexpr quint64 kGreatestUnsigned = std::numeric_limits<quint64>::max();

TEST(Values, NeighbouringIntegersDifferWhereDoublesDoNot)
{
    EXPECT_NE(Value::ofSigned(kGreatest), Value::ofSigned(kGreatest - 1));
    EXPECT_NE(Value::ofUnsigned(kGreatestUnsigned), Value::ofUnsigned(kGreatestUnsigned - 1));
    EXPECT_LT(Value::ofSigned(kGreatest), Value::ofDouble(0x1p63));
    EXPECT_LT(Value::ofUnsigned(kGreatestUnsigned), Value::ofDouble(0x1p64));
}

TEST(Values, OfEveryKindAreOrderedByTheirNumbers)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const std::vector<Value> ascending = {
        Value(),
        Value::ofDouble(-infinity),
        Value::ofDouble(-0x1p64),
        Value::ofSigned(kLeast),
        Value::ofSigned(kLeast + 1),
        Value::ofDouble(-1.5),
        Value::ofSigned(-1),
        Value::ofDouble(-0.5),
        Value::ofUnsigned(0),
        Value::ofDouble(0.5),
        Value::ofSigned(1),
        Value::ofDouble(1.5),
        Value::ofUnsigned(2),
        Value::ofSigned(kGreatest),
        Value::ofUnsigned(0x8000000000000000),
        Value::ofUnsigned(kGreatestUnsigned),
        Value::ofDouble(0x1p64),
        Value::ofDouble(infinity),
    };
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << ' ' << j;
            EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << ' ' << j;
        }
    }
}

TEST(Values, OfDifferentKindsAreEqualWhenTheirNumbersAre)
{
    EXPECT_EQ(Value::ofSigned(3), Value::ofDouble(3.0));
    EXPECT_EQ(Value::ofUnsigned(3), Value::ofSigned(3));
    EXPECT_EQ(Value::ofUnsigned(0x8000000000000000), Value::ofDouble(0x1p63));
    EXPECT_EQ(Value::ofSigned(kLeast), Value::ofDouble(-0x1p63));
    EXPECT_EQ(Value::ofDouble(0.0), Value::ofDouble(-0.0));
}

TEST(Values, NaNIsNothing)
{
    EXPECT_TRUE(Value::ofDouble(std::nan("")).isNull());
    EXPECT_EQ(Value::ofDouble(std::nan("")), Value());
}

TEST(Values, OfVariantsKeepAllBits)
{
    EXPECT_EQ(Value::fromVariant(QVariant(qlonglong{kGreatest})), Value::ofSigned(kGreatest));
    EXPECT_EQ(Value::fromVariant(QVariant(qulonglong{kGreatestUnsigned})),
              Value::ofUnsigned(kGreatestUnsigned));
    EXPECT_EQ(Value::fromVariant(QVariant(true)), Value::ofSigned(1));
    EXPECT_EQ(Value::fromVariant(QVariant(2.5F)), Value::ofDouble(2.5));
    EXPECT_EQ(Value::fromVariant(QVariant::fromValue(static_cast<signed char>(-7))), Value::ofSigned(-7));
}

TEST(Values, OfVariantsThatAreNoNumbersAreNull)
{
    EXPECT_TRUE(Value::fromVariant(QVariant()).isNull());
    EXPECT_TRUE(Value::fromVariant(QVariant(QStringLiteral("5"))).isNull());
    EXPECT_TRUE(Value::fromVariant(QVariant(QVariantList{1, 2})).isNull());
    EXPECT_TRUE(Value::fromVariant(QVariant(std::nan(""))).isNull());
}

TEST(Values, AreReadBackFromTheirText)
{
    for (const Value& value : {Value::ofSigned(kLeast), Value::ofUnsigned(kGreatestUnsigned),
                               Value::ofDouble(0.1), Value::ofDouble(1e300), Value::ofDouble(0x1p63),
                               Value::ofDouble(-0x1p63), Value::ofDouble(0x1.8p60)})
        EXPECT_EQ(Value::parse(value.text()), value) << value.text().toStdString();
    EXPECT_EQ(Value::parse(QStringLiteral("FALSE")), Value::ofSigned(0));
    EXPECT_EQ(Value::parse(QStringLiteral("inf")), std::nullopt);
    EXPECT_EQ(Value::parse(QStringLiteral("")), std::nullopt);
}

} // namespace
} // namespace Kiv::Analytics
