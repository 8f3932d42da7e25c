#pragma once

// Owns the manual pages, as text that scdoc turns into roff.

#include "ProgramModel.h"

namespace Kiv::Cli
{

/// The page of the program, or of one of its commands with all commands below that.
QString manPage(const CommandModel& program, const CommandModel& command);

} // namespace Kiv::Cli
