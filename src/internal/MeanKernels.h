#pragma once

// Owns the arithmetic of the mean family, one sample at a time. Pure.

#include <cmath>

namespace Kiv::Internal
{

// What a record adds to the accumulator of the mean family, when an interval has a result, and which.

struct CountKernel {
    static void add(double&, double) {}
    static bool hasResult(double) { return true; }
    static double result(double, double count) { return count; }
};

struct ArithmeticMeanKernel {
    static void add(double& sum, double value) { sum += value; }
    static bool hasResult(double) { return true; }
    static double result(double sum, double count) { return sum / count; }
};

struct GeometricMeanKernel {
    // Kept: a zero is counted but adds nothing, so it weighs like a sample of 1.
    static void add(double& sum, double value)
    {
        if (value != 0.0)
            sum += std::log(value);
    }
    static bool hasResult(double) { return true; }
    static double result(double sum, double count) { return std::exp(sum / count); }
};

struct HarmonicMeanKernel {
    // Kept: a zero is counted but adds nothing.
    static void add(double& sum, double value)
    {
        if (value != 0.0)
            sum += 1.0 / value;
    }
    // Kept: reciprocals that sum to exactly zero make an empty interval.
    static bool hasResult(double sum) { return sum != 0.0; }
    static double result(double sum, double count) { return count / sum; }
};

struct QuadraticMeanKernel {
    static void add(double& sum, double value) { sum += value * value; }
    static bool hasResult(double) { return true; }
    static double result(double sum, double count) { return std::sqrt(sum / count); }
};

} // namespace Kiv::Internal
