#pragma once

// Owns what a sample or a result holds: nothing, a double, or a 64-bit integer that is never rounded.

#include <QString>
#include <QtGlobal>

#include <bit>
#include <compare>
#include <optional>

class QVariant;

namespace Kiv::Analytics
{

/// A number or nothing. NaN is nothing, so a value that is not null has a place in the order of numbers.
class Value
{
public:
    enum class Kind : quint8 { Null, Double, Signed, Unsigned };

    constexpr Value() = default;
    static Value ofDouble(double number);
    static constexpr Value ofSigned(qint64 number)
    {
        return Value(Kind::Signed, static_cast<quint64>(number));
    }
    static constexpr Value ofUnsigned(quint64 number) { return Value(Kind::Unsigned, number); }

    /// Null for everything that is no number; a bool is 0 or 1.
    static Value fromVariant(const QVariant& variant);

    /// A decimal integer, a decimal number, or "true" and "false"; neither NaN nor infinite.
    static std::optional<Value> parse(const QString& text);

    Kind kind() const { return m_kind; }
    bool isNull() const { return m_kind == Kind::Null; }

    double toDouble() const; ///< the nearest double; 0 where null
    /// Of Signed the integer, of Unsigned the one with the same 64 bits.
    qint64 bitsOfInteger() const { return static_cast<qint64>(m_bits); }

    /// The text that parse() reads as the same number; "null".
    QString text() const;

    /// Both compare the numbers themselves, also an integer with a double, and round nothing; null equals null and is
    /// below every number.
    bool operator==(const Value& other) const { return std::is_eq(*this <=> other); }
    std::weak_ordering operator<=>(const Value& other) const
    {
        if (m_kind != other.m_kind)
            return orderOfKinds(other);
        switch (m_kind) {
        case Kind::Double:
            return orderOf(number(), other.number());
        case Kind::Signed:
            return orderOf(bitsOfInteger(), other.bitsOfInteger());
        default:
            return orderOf(m_bits, other.m_bits);
        }
    }

private:
    constexpr Value(Kind kind, quint64 bits) : m_kind(kind), m_bits(bits) {}

    template <typename Number>
    static std::weak_ordering orderOf(Number a, Number b)
    {
        if (a == b)
            return std::weak_ordering::equivalent;
        return a < b ? std::weak_ordering::less : std::weak_ordering::greater;
    }

    std::weak_ordering orderOfKinds(const Value& other) const;
    double number() const { return std::bit_cast<double>(m_bits); }

    Kind m_kind = Kind::Null;
    quint64 m_bits = 0; ///< of the double or the integer
};

} // namespace Kiv::Analytics
