#pragma once

// Owns the axis of values of a chart: its ends and its ticks at round numbers.

#include <QString>

#include <vector>

namespace Kiv::Cli
{

struct ValueTick {
    double value = 0.0;
    QString label;
};

/// Which numbers may be ticks.
enum class TickNumbers { Any, Integers };

/// Reaches from a round number at or below the values to one at or above them. Any finite values, also a single one.
class ValueAxis
{
public:
    /// \param least, greatest  finite, in order
    /// \param maxTickCount     at least 2
    ValueAxis(double least, double greatest, int maxTickCount, TickNumbers numbers);

    /// 0 at the lower end, 1 at the upper end.
    double fractionOf(double value) const;

    /// Ascending.
    const std::vector<ValueTick>& ticks() const { return m_ticks; }

    double low() const { return m_low; }
    double high() const { return m_high; }

private:
    bool tryStep(double least, double greatest, int mantissa, int exponent, int maxTickCount);

    double m_low = 0.0;
    double m_high = 1.0;
    std::vector<ValueTick> m_ticks;
};

} // namespace Kiv::Cli
