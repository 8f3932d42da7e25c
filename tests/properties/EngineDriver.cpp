#include "EngineDriver.h"

#include <algorithm>
#include <sstream>

namespace Kiv::Testing
{

namespace
{

template <typename Number>
bool sameNumber(Number a, Number b, bool zeroSignMatters)
{
    if (a != a)
        return b != b;
    if (!zeroSignMatters && a == Number(0) && b == Number(0))
        return true;
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::string recordsDifference(const char* name, const std::vector<Interpolate::DataRecord>& expected,
                              const std::vector<Interpolate::DataRecord>& actual, bool zeroSignMatters)
{
    std::ostringstream out;
    const size_t count = std::max(expected.size(), actual.size());
    for (size_t i = 0; i < count; ++i) {
        const bool isSame = i < expected.size() && i < actual.size() &&
                            expected[i].timestamp == actual[i].timestamp &&
                            sameValue(expected[i].value, actual[i].value, zeroSignMatters);
        if (isSame)
            continue;
        out << name << " record " << i << " of " << expected.size() << ": expected "
            << (i < expected.size() ? describe(expected[i]) : "none") << ", got "
            << (i < actual.size() ? describe(actual[i]) : "none") << " of " << actual.size();
        return out.str();
    }
    return {};
}

std::string numbersDifference(const std::vector<EngineTrace::Number>& expected,
                              const std::vector<EngineTrace::Number>& actual)
{
    std::ostringstream out;
    for (size_t i = 0; i < std::max(expected.size(), actual.size()); ++i) {
        if (i >= expected.size() || i >= actual.size()) {
            out << "number of observations: expected " << expected.size() << ", got " << actual.size();
            return out.str();
        }
        const EngineTrace::Number& wanted = expected[i];
        const EngineTrace::Number& seen = actual[i];
        if (std::strcmp(wanted.name, seen.name) == 0 && wanted.value == seen.value)
            continue;
        out << "observation " << i << " '" << wanted.name << "': expected " << wanted.value << ", got '"
            << seen.name << "' " << seen.value;
        return out.str();
    }
    return {};
}

} // namespace

bool sameValue(const QVariant& a, const QVariant& b, bool zeroSignMatters)
{
    if (a.typeId() != b.typeId() || a.isValid() != b.isValid() || a.isNull() != b.isNull())
        return false;
    if (a.typeId() == QMetaType::Double)
        return sameNumber(a.toDouble(), b.toDouble(), zeroSignMatters);
    if (a.typeId() == QMetaType::Float)
        return sameNumber(a.toFloat(), b.toFloat(), zeroSignMatters);
    return a == b;
}

std::string difference(const EngineTrace& expected, const EngineTrace& actual, bool zeroSignMatters)
{
    std::string result = recordsDifference("output", expected.output, actual.output, zeroSignMatters);
    if (result.empty() && expected.logLines != actual.logLines) {
        result = "log lines: expected";
        for (const QString& line : expected.logLines)
            result += "\n  " + line.toStdString();
        result += "\ngot";
        for (const QString& line : actual.logLines)
            result += "\n  " + line.toStdString();
    }
    if (result.empty())
        result = numbersDifference(expected.numbers, actual.numbers);
    if (!expected.comparesProgress)
        return result;
    if (result.empty())
        result = numbersDifference(expected.progress, actual.progress);
    if (result.empty())
        result = recordsDifference("prevRecord", expected.remembered, actual.remembered, zeroSignMatters);
    return result;
}

bool findRecordBefore(const EngineCase& engineCase, qint64 timestamp, Interpolate::DataRecord& record)
{
    if (engineCase.findPrevious)
        return engineCase.findPrevious(timestamp, record);
    bool isFound = false;
    for (const Interpolate::DataRecord& candidate : engineCase.series) {
        if (candidate.timestamp >= timestamp)
            continue;
        record = candidate;
        isFound = true;
    }
    return isFound;
}

} // namespace Kiv::Testing
