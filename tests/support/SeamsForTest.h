#pragma once

#include "internal/Seams.h"

#include <QString>

#include <vector>

namespace Kiv::Testing
{

/// Replaces clock and retry sleep for the life of a test: no test waits, none sees the wall clock.
/// The clock stands at `nowUs` until it is moved; the sleep only counts.
class SeamsForTest
{
public:
    SeamsForTest();
    ~SeamsForTest();

    qint64 nowUs = 1'700'000'000'123'456; ///< microseconds since the epoch
    int sleptSeconds = 0;
};

/// One line as the logger's sink received it.
struct LogLine {
    int level;
    QString text;
    QString source;
    int line;

    bool operator==(const LogLine&) const = default;
};

/// Collects all log lines for the life of a test, instead of printing them.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    std::vector<LogLine> lines;

    /// Level and text of every line, for short comparisons: "2 Could not open ...".
    std::vector<std::string> texts() const;
};

} // namespace Kiv::Testing
