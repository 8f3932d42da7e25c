#pragma once

// Owns the text form of filters: "weekdays=mon-fri time=08:00-16:00 value>=5".

#include "Interpolate.h"

#include <QString>

namespace Kiv::Cli
{

/// Reads the conditions of one filter, separated by blanks or semicolons: "weekdays" and "months" are lists of
/// names, numbers and ranges, which may wrap around; "time" is a time of day or a window, which may pass midnight;
/// "value" is compared with = != < <= > >=. All conditions given must hold.
/// \param option  what the text stands for in an error, for example "--filter"
/// \throws CommandError (usage)
Interpolate::FilterParam parseFilter(const QString& option, const QString& text);

} // namespace Kiv::Cli
