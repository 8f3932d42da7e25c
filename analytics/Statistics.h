#pragma once

// Owns the statistics of numbers that come one by one, and percentiles.

#include <QtGlobal>

#include <optional>
#include <vector>

namespace Kiv::Analytics
{

/// A sum whose error does not grow with the number of terms (Neumaier).
class CompensatedSum
{
public:
    void add(double term);
    double value() const;

private:
    double m_sum = 0.0;
    double m_lost = 0.0; ///< low bits that the sum had no room for
};

/// A mean that is exact for equal values, whatever their weights.
class WeightedMean
{
public:
    /// \param weight  above 0
    void add(double number, double weight);
    /// Nothing without a number.
    std::optional<double> value() const;

private:
    double m_base = 0.0; ///< the first number, from which the others are counted
    double m_weight = 0.0;
    CompensatedSum m_sum;
};

/// Count, extremes, mean and variance in one pass (Welford).
class Statistics
{
public:
    /// \param number  no NaN
    void add(double number);

    qint64 count() const { return m_count; }
    // Without a number there is none of these; the sample forms need two.
    std::optional<double> min() const;
    std::optional<double> max() const;
    std::optional<double> mean() const;
    std::optional<double> sum() const;
    std::optional<double> variance() const; ///< of a sample: divided by n - 1
    std::optional<double> variancePopulation() const;
    std::optional<double> standardDeviation() const;
    std::optional<double> standardDeviationPopulation() const;

private:
    qint64 m_count = 0;
    double m_min = 0.0;
    double m_max = 0.0;
    double m_base = 0.0; ///< the first number: beside a great mean small differences would lose their digits
    double m_runningMean = 0.0; ///< from the base
    double m_squares = 0.0;     ///< sum of squared differences from the mean
    WeightedMean m_mean;
    CompensatedSum m_sum;
};

/// Linear between the closest ranks: type 7 of Hyndman and Fan (1996).
/// \param numbers  without NaN; reordered
/// \param percent  0 to 100
/// \return nothing without a number
std::optional<double> percentile(std::vector<double>& numbers, double percent);

} // namespace Kiv::Analytics
