#pragma once

// Owns the comparison of the engine with its model on one request.

#include "EngineDriver.h"

#include <string>

namespace Kiv::Testing
{

/// What the two engines made of a request.
struct EngineComparison {
    bool isTooLong = false; ///< the model gave up; nothing was compared
    EngineTrace expected;
    std::string difference; ///< the first one; empty when there is none
};

EngineComparison compareWithModel(const EngineCase& engineCase);

} // namespace Kiv::Testing
