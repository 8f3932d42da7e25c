#pragma once

// How many random cases the storage properties run: KIV_TEST_SCALE multiplies, instrumented builds run a
// tenth.

#include <QString>

#include <cmath>

namespace Kiv::Testing
{

inline quint64 scaledCaseCount(int caseCount)
{
#if defined(__SANITIZE_ADDRESS__)
    double scale = 0.1;
#else
    double scale = 1.0;
#endif
    bool isNumber = false;
    const double wanted = qEnvironmentVariable("KIV_TEST_SCALE").toDouble(&isNumber);
    if (isNumber && wanted >= 0)
        scale = wanted;
    return static_cast<quint64>(std::ceil(caseCount * scale));
}

} // namespace Kiv::Testing
