#pragma once

// Owns the random requests that the engine and its model are compared on: making them from a seed, and
// writing one out so that a failure can be repeated by hand.

#include "Interpolate.h"

#include <functional>
#include <random>
#include <string>
#include <vector>

namespace Kiv::Testing
{

/// Random numbers that are the same for a seed with every standard library; or numbers made of given bytes, so
/// that whoever chooses the bytes chooses the case.
class Dice
{
public:
    explicit Dice(quint64 seed) : m_generator(seed) {}

    /// Each number takes as many bytes as its range needs; when they are used up, only zeros are thrown.
    explicit Dice(std::string bytes) : m_bytes(std::move(bytes)), m_usesBytes(true) {}

    qint64 between(qint64 lowest, qint64 highest);
    bool chance(int percent) { return between(0, 99) < percent; }
    double real(double lowest, double highest);
    /// Evenly spread over the orders of magnitude.
    double magnitude(double lowest, double highest);

    template <typename Container>
    const auto& pick(const Container& container)
    {
        return container[static_cast<size_t>(between(0, static_cast<qint64>(std::size(container)) - 1))];
    }

private:
    /// A random number whose low bits are good for `span` outcomes; 0 stands for 2^64 of them.
    quint64 drawn(quint64 span);
    quint64 takenFromBytes(quint64 span);

    std::mt19937_64 m_generator;
    std::string m_bytes;
    std::size_t m_position = 0;
    bool m_usesBytes = false;
};

struct EngineCase {
    quint64 seed = 0;
    std::vector<Interpolate::DataRecord> series; ///< not empty, ascending in time but for a few cases
    Interpolate::InterpolateParam param;
    std::vector<Interpolate::InterpolateParam> passes;
    qint64 start = 0;
    qint64 end = 0;
    qint64 nowMs = 0;
    QMetaType::Type targetType = QMetaType::Double;
    bool shiftIntervalForward = false;
    int limit = 0;
    bool fastCountOnly = false;
    std::vector<Interpolate::DataRecord> outputBefore;
    bool feedsWholeSeries = false; ///< hands over the records outside the range, too
    /// How the record before a timestamp is found; unset: it is the one before it in the series.
    std::function<bool(qint64 timestamp, Interpolate::DataRecord& record)> findPrevious;
};

EngineCase makeEngineCase(quint64 seed);
EngineCase makeEngineCase(Dice& dice);

/// A method string: mostly a method word with options, in random spelling, sometimes nonsense.
QString randomMethodString(Dice& dice);

std::string describe(const Interpolate::DataRecord& record);
std::string describe(const EngineCase& engineCase);

} // namespace Kiv::Testing
