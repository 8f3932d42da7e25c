#pragma once

// Owns what the completions of all shells need of the program's model.

#include "ProgramModel.h"

namespace Kiv::Cli
{

/// The options of a command, then those of the program that it does not have itself.
std::vector<OptionModel> allOptions(const CommandModel& program, const CommandModel& command);

/// What the positionals of a command can be, taken together.
struct PlaceModel {
    QStringList words;
    bool areDirectories = false;
    bool areFiles = false;
};

PlaceModel placeOf(const CommandModel& command);

/// The names of the commands below a command.
QStringList commandWords(const CommandModel& command);

/// In single quotes, as sh and its kin read them back.
QString shellQuoted(const QString& text);

} // namespace Kiv::Cli
