#include "analytics/Statistics.h"

#include <algorithm>
#include <cmath>

namespace Kiv::Analytics
{

void CompensatedSum::add(double term)
{
    const double sum = m_sum + term;
    // Of infinite sums nothing is lost, and asking would give no number.
    if (std::isfinite(sum))
        m_lost += std::fabs(m_sum) >= std::fabs(term) ? (m_sum - sum) + term : (term - sum) + m_sum;
    m_sum = sum;
}

double CompensatedSum::value() const
{
    return std::isfinite(m_sum) ? m_sum + m_lost : m_sum;
}

void WeightedMean::add(double number, double weight)
{
    if (m_weight == 0.0 && std::isfinite(number))
        m_base = number;
    m_weight += weight;
    m_sum.add((number - m_base) * weight);
}

std::optional<double> WeightedMean::value() const
{
    if (m_weight == 0.0)
        return std::nullopt;
    return m_base + m_sum.value() / m_weight;
}

void Statistics::add(double number)
{
    m_min = m_count == 0 ? number : std::min(m_min, number);
    m_max = m_count == 0 ? number : std::max(m_max, number);
    if (m_count == 0 && std::isfinite(number))
        m_base = number;
    ++m_count;
    const double fromBase = number - m_base;
    const double difference = fromBase - m_runningMean;
    m_runningMean += difference / static_cast<double>(m_count);
    m_squares += difference * (fromBase - m_runningMean);
    m_mean.add(number, 1.0);
    m_sum.add(number);
}

std::optional<double> Statistics::min() const
{
    return m_count > 0 ? std::optional(m_min) : std::nullopt;
}

std::optional<double> Statistics::max() const
{
    return m_count > 0 ? std::optional(m_max) : std::nullopt;
}

std::optional<double> Statistics::mean() const
{
    return m_mean.value();
}

std::optional<double> Statistics::sum() const
{
    return m_count > 0 ? std::optional(m_sum.value()) : std::nullopt;
}

std::optional<double> Statistics::variance() const
{
    return m_count > 1 ? std::optional(m_squares / static_cast<double>(m_count - 1)) : std::nullopt;
}

std::optional<double> Statistics::variancePopulation() const
{
    return m_count > 0 ? std::optional(m_squares / static_cast<double>(m_count)) : std::nullopt;
}

std::optional<double> Statistics::standardDeviation() const
{
    const std::optional<double> square = variance();
    return square ? std::optional(std::sqrt(*square)) : std::nullopt;
}

std::optional<double> Statistics::standardDeviationPopulation() const
{
    const std::optional<double> square = variancePopulation();
    return square ? std::optional(std::sqrt(*square)) : std::nullopt;
}

std::optional<double> percentile(std::vector<double>& numbers, double percent)
{
    if (numbers.empty())
        return std::nullopt;
    const double rank = static_cast<double>(numbers.size() - 1) * percent / 100.0;
    const double below = std::floor(rank);
    const auto lower = numbers.begin() + static_cast<std::ptrdiff_t>(below);
    std::nth_element(numbers.begin(), lower, numbers.end());
    if (rank == below)
        return *lower;
    const double upper = *std::min_element(lower + 1, numbers.end());
    // A line between equal infinities would give no number.
    return *lower == upper ? upper : std::lerp(*lower, upper, rank - below);
}

} // namespace Kiv::Analytics
