#pragma once

// Owns what the engine's tests share: a request with defaults, the reading loop around it, results as text.
// Times are seconds after kBaseMs, so that a test reads like a drawing of its series.

#include "Interpolate.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Kiv::Testing
{

using Record = Interpolate::DataRecord;
using Records = std::vector<Record>;
using Filter = Interpolate::FilterParam;
using Param = Interpolate::InterpolateParam;
using Texts = std::vector<std::string>;

inline constexpr qint64 kBaseMs = 1'000'000'000'000; ///< 2001-09-09 01:46:40, a multiple of 10 seconds
inline constexpr qint64 kHourMs = 3'600'000;
inline constexpr qint64 kDayMs = 86'400'000;

// Codes of calendar intervals.
inline constexpr qint64 kDayCode = -1;
inline constexpr qint64 kWeekCode = -2;
inline constexpr qint64 kMonthCode = -3;
inline constexpr qint64 kQuarterCode = -4;
inline constexpr qint64 kHalfYearCode = -5;
inline constexpr qint64 kYearCode = -6;
inline constexpr qint64 kUnknownCode = -7;

/// Milliseconds since the epoch of a calendar time in UTC.
qint64 utcMs(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);

/// The time `seconds` after the base.
qint64 at(double seconds);

/// Records at seconds after the base.
Records samples(const std::vector<std::pair<double, QVariant>>& values);

Param param(const char* method, qint64 interval = 10);

struct EngineRequest {
    Param param;
    std::vector<Param> passes;
    qint64 start = 0;
    qint64 end = 0;
    Records series; ///< ascending, not empty
    QMetaType::Type targetType = QMetaType::Double;
    bool shiftIntervalForward = false;
    int limit = 0;
    bool fastCountOnly = false;
};

/// A request over seconds after the base with intervals of 10 seconds.
EngineRequest request(const char* method, double startSeconds, double endSeconds, Records series);

/// A request over a series that reaches far beyond both ends of the range.
EngineRequest wideRequest(const char* method, qint64 interval, qint64 start, qint64 end);

/// An engine with the vector and the limit that it writes to.
class EngineUnderTest
{
public:
    explicit EngineUnderTest(const EngineRequest& request);

    Interpolate* operator->() { return m_engine.get(); }
    Interpolate& operator*() { return *m_engine; }

    bool settleRange();

    Records output;
    int limit;
    qint64 readStart = 0;
    qint64 readEnd = 0;

private:
    std::unique_ptr<Interpolate> m_engine;
};

struct EngineOutcome {
    bool isRange = false;
    Records output;
    int limit = 0;
    int handedOverCount = 0; ///< records of the range until the engine wanted no more
    int previousCount = 0;
    int afterCount = 0;
};

/// Reads the series through an engine as a storage does.
EngineOutcome serve(const EngineRequest& request);

/// "10:2.5" for a double 2.5 ten seconds after the base, "20:null" for a null value.
std::string text(const Record& record);
Texts texts(const Records& records);

/// The results of a request as text.
Texts resultsOf(const EngineRequest& request);

/// Sets the host's time zone for the life of a test.
class ZoneForTest
{
public:
    explicit ZoneForTest(const char* zone);
    ~ZoneForTest();

private:
    QByteArray m_before;
};

} // namespace Kiv::Testing
