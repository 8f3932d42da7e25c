#include "analytics/Value.h"

#include <QLocale>
#include <QMetaType>
#include <QVariant>

#include <cmath>
#include <utility>

namespace Kiv::Analytics
{

namespace
{

template <typename IntegerA, typename IntegerB>
std::weak_ordering orderOfIntegers(IntegerA a, IntegerB b)
{
    if (std::cmp_equal(a, b))
        return std::weak_ordering::equivalent;
    return std::cmp_less(a, b) ? std::weak_ordering::less : std::weak_ordering::greater;
}

/// Compares with the integer below the number, so that neither is rounded.
template <typename Integer>
std::weak_ordering orderOfMixed(Integer integer, double number)
{
    if (number < -0x1p63)
        return std::weak_ordering::greater;
    if (number >= 0x1p64)
        return std::weak_ordering::less;
    const double below = std::floor(number);
    const std::weak_ordering order = below < 0.0 ? orderOfIntegers(integer, static_cast<qint64>(below))
                                                 : orderOfIntegers(integer, static_cast<quint64>(below));
    return std::is_eq(order) && number > below ? std::weak_ordering::less : order;
}

std::weak_ordering reversed(std::weak_ordering order)
{
    if (std::is_eq(order))
        return order;
    return std::is_lt(order) ? std::weak_ordering::greater : std::weak_ordering::less;
}

QString textOfDouble(double number)
{
    // In between every double is an integer: the shortest digits would be read as another integer.
    const double size = std::fabs(number);
    if (size >= 0x1p53 && size < 0x1p64)
        return QString::number(number, 'f', 0);
    return QString::number(number, 'g', QLocale::FloatingPointShortest);
}

} // namespace

Value Value::ofDouble(double number)
{
    return std::isnan(number) ? Value() : Value(Kind::Double, std::bit_cast<quint64>(number));
}

Value Value::fromVariant(const QVariant& variant)
{
    if (variant.isNull())
        return {};
    switch (variant.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        return ofDouble(variant.toDouble());
    case QMetaType::ULongLong:
    case QMetaType::ULong:
        return ofUnsigned(variant.toULongLong());
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return ofSigned(variant.toLongLong());
    default:
        return {};
    }
}

std::optional<Value> Value::parse(const QString& text)
{
    const QString word = text.trimmed().toLower();
    if (word == QLatin1String("true") || word == QLatin1String("false"))
        return ofSigned(word == QLatin1String("true") ? 1 : 0);
    bool isNumber = false;
    const qint64 signedNumber = word.toLongLong(&isNumber);
    if (isNumber)
        return ofSigned(signedNumber);
    const quint64 unsignedNumber = word.toULongLong(&isNumber);
    if (isNumber)
        return ofUnsigned(unsignedNumber);
    const double number = word.toDouble(&isNumber);
    if (isNumber && std::isfinite(number))
        return ofDouble(number);
    return std::nullopt;
}

double Value::toDouble() const
{
    switch (m_kind) {
    case Kind::Double:
        return number();
    case Kind::Signed:
        return static_cast<double>(static_cast<qint64>(m_bits));
    case Kind::Unsigned:
        return static_cast<double>(m_bits);
    case Kind::Null:
        break;
    }
    return 0.0;
}

QString Value::text() const
{
    switch (m_kind) {
    case Kind::Double:
        return textOfDouble(number());
    case Kind::Signed:
        return QString::number(static_cast<qint64>(m_bits));
    case Kind::Unsigned:
        return QString::number(m_bits);
    case Kind::Null:
        break;
    }
    return QStringLiteral("null");
}

std::weak_ordering Value::orderOfKinds(const Value& other) const
{
    if (isNull() || other.isNull())
        return orderOf(!isNull(), !other.isNull());
    if (m_kind == Kind::Double || (m_kind == Kind::Unsigned && other.m_kind == Kind::Signed))
        return reversed(other.orderOfKinds(*this));
    if (other.m_kind == Kind::Double)
        return m_kind == Kind::Signed ? orderOfMixed(bitsOfInteger(), other.number())
                                      : orderOfMixed(m_bits, other.number());
    return orderOfIntegers(bitsOfInteger(), other.m_bits);
}

} // namespace Kiv::Analytics
