#pragma once

// Owns what a user asks of the engine: method, interval, earlier passes, filters, filling. The same options in
// every command that reads by intervals.

#include "FillChoice.h"
#include "Interpolate.h"

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
    std::optional<qint32> offsetMinutes;
    bool shift = false;
    bool alignRange = false;
};

void addRequestOptions(CLI::App& parser, RequestOptions& options);

struct Request {
    Interpolate::InterpolateParam param;               ///< the last pass, which gives the results
    std::vector<Interpolate::InterpolateParam> passes; ///< those before it
    FillChoice fill = FillChoice::Engine;
    bool shift = false; ///< label results with the start of their interval

    /// Whether the results are the stored records themselves, each alone: they can be read in blocks.
    bool isPlainRaw() const;

    /// Whether a difference word stands in one of the passes.
    bool hasDifference() const;

    /// Whether one of the passes leaves results or records out.
    bool hasFilters() const;
};

/// \throws CommandError (usage)
Request makeRequest(const RequestOptions& options);

} // namespace Kiv::Cli
