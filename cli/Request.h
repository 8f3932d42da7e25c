#pragma once

// Owns what a user asks of the engine: method, interval, earlier passes, filters, filling. The same options in
// every command that reads by intervals.

#include "FillChoice.h"
#include "Interpolate.h"

#include "analytics/Method.h"

#include <QString>

#include <optional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace Kiv::Cli
{

/// The options as given.
struct RequestOptions {
    std::optional<std::string> method;
    std::optional<std::string> every;
    std::optional<std::string> templateName;
    std::vector<std::string> passes;
    std::vector<std::string> filters;
    std::string fill = "engine";
    std::optional<std::string> maxGap;
    std::optional<qint32> offsetMinutes;
    bool shift = false;
    bool alignRange = false;
};

void addRequestOptions(CLI::App& parser, RequestOptions& options);

struct Request {
    Interpolate::InterpolateParam param;               ///< the last pass, which gives the results
    std::vector<Interpolate::InterpolateParam> passes; ///< those before it
    /// A method that the engine has not, in the place of that of `param`.
    std::optional<Analytics::Method> analysis;
    FillChoice fill = FillChoice::Engine;
    qint64 maxGapMs =
        0; ///< nothing is held or filled across a longer hole in the records; 0 for no such limit
    bool shift = false; ///< label results with the start of their interval

    /// Whether the results are the stored records themselves, each alone: they can be read in blocks.
    bool isPlainRaw() const;

    /// Whether the program has to do something to the engine's results, or gives them itself.
    bool isFinishedHere() const { return isFilledHere(fill) || analysis || maxGapMs > 0; }

    /// Whether a difference word stands in one of the passes.
    bool hasDifference() const;

    /// Whether one of the passes leaves results or records out.
    bool hasFilters() const;
};

/// What the results of a request are in, when the records are in `unit`; empty when they have none.
QString resultUnit(const Request& request, const QString& unit);

/// \throws CommandError (usage)
Request makeRequest(const RequestOptions& options);

} // namespace Kiv::Cli
