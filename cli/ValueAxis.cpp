#include "ValueAxis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Kiv::Cli
{

namespace
{

constexpr double kGreatest = std::numeric_limits<double>::max();

// Spans below are taken for none: steps between so near numbers are not exact, or denormal.
constexpr double kLeastRelativeSpan = 1e-13;
constexpr double kLeastHalfSpan = 1e-290;

// From here on labels have exponents.
constexpr double kGreatestPlain = 1e7;

double clamped(double value)
{
    return std::clamp(value, -kGreatest, kGreatest);
}

double powerOfTen(int exponent)
{
    return std::pow(10.0, exponent);
}

/// The count-th multiple of a step, as near as a double is to it.
double multiple(double count, int mantissa, int exponent)
{
    const double units = count * mantissa;
    return clamped(exponent < 0 ? units / powerOfTen(-exponent) : units * powerOfTen(exponent));
}

/// "1e300" instead of "1.0e+300", "1e-7" instead of "1e-07".
QString exponentText(double value, int digitCount)
{
    const QString text = QString::number(value, 'e', digitCount);
    const qsizetype mark = text.indexOf(u'e');
    QString digits = text.left(mark);
    while (digits.contains(u'.') && (digits.endsWith(u'0') || digits.endsWith(u'.')))
        digits.chop(1);
    return digits + u'e' + QString::number(text.mid(mark + 1).toInt());
}

/// \param exponent  of the decimal place in which ticks differ
QString tickLabel(double value, double greatestSize, int exponent)
{
    constexpr int kMaxDecimals = 6;
    constexpr int kMaxDigits = 15;
    if (value == 0.0)
        return QStringLiteral("0");
    if (greatestSize < kGreatestPlain && -exponent <= kMaxDecimals)
        return QString::number(value, 'f', std::max(0, -exponent));
    const int digitCount = static_cast<int>(std::floor(std::log10(std::abs(value)))) - exponent;
    return exponentText(value, std::clamp(digitCount, 0, kMaxDigits));
}

} // namespace

ValueAxis::ValueAxis(double least, double greatest, int maxTickCount, TickNumbers numbers)
{
    const double size = std::max(std::abs(least), std::abs(greatest));
    // Halves, since the whole span may be beyond the doubles.
    double halfSpan = greatest / 2 - least / 2;
    if (halfSpan < std::max(size * kLeastRelativeSpan, kLeastHalfSpan)) {
        const bool isSmallInteger = numbers == TickNumbers::Integers && size < kGreatestPlain;
        const double padding = size == 0.0 || isSmallInteger ? 1.0 : size / 10;
        least = clamped(least - std::max(padding, 4 * kLeastHalfSpan));
        greatest = clamped(greatest + std::max(padding, 4 * kLeastHalfSpan));
        halfSpan = greatest / 2 - least / 2;
    }
    const int tickCount = std::max(2, maxTickCount);
    int exponent = static_cast<int>(std::floor(std::log10(halfSpan / tickCount * 2)));
    if (numbers == TickNumbers::Integers)
        exponent = std::max(exponent, 0);
    constexpr std::array<int, 3> kMantissas = {1, 2, 5};
    // A step of the span's own size needs at most three ticks; the next decades do where rounding wants a fourth.
    for (int tries = 0; tries < 4; ++tries, ++exponent) {
        for (const int mantissa : kMantissas) {
            if (tryStep(least, greatest, mantissa, exponent, tickCount))
                return;
        }
    }
}

bool ValueAxis::tryStep(double least, double greatest, int mantissa, int exponent, int maxTickCount)
{
    constexpr double kRounding = 1e-9;
    const double step = multiple(1, mantissa, exponent);
    const double first = std::floor(least / step + kRounding);
    const double last = std::ceil(greatest / step - kRounding);
    const bool mustFit = maxTickCount > 3;
    if (last - first + 1 > (mustFit ? maxTickCount : 3))
        return false;
    m_low = multiple(first, mantissa, exponent);
    m_high = multiple(last, mantissa, exponent);
    const double size = std::max(std::abs(m_low), std::abs(m_high));
    const int stepCount = static_cast<int>(last - first);
    for (int i = 0; i <= stepCount; ++i) {
        const double value = multiple(first + i, mantissa, exponent);
        if (m_ticks.empty() || value > m_ticks.back().value)
            m_ticks.push_back({value, tickLabel(value, size, exponent)});
    }
    return true;
}

double ValueAxis::fractionOf(double value) const
{
    return (value / 2 - m_low / 2) / (m_high / 2 - m_low / 2);
}

} // namespace Kiv::Cli
