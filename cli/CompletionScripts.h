#pragma once

// Owns the scripts that complete the program's command line in shells.

#include "ProgramModel.h"

namespace Kiv::Cli
{

QString bashCompletion(const CommandModel& program);
QString zshCompletion(const CommandModel& program);
QString fishCompletion(const CommandModel& program);

} // namespace Kiv::Cli
