#pragma once

// Owns the search for series below directories.

#include <QStringList>

namespace Kiv::Cli
{

/// The series in directories and below them, by their paths, sorted. A series is a directory with a series.json or with
/// records. A symbolic link is followed where it leads outside of the directories, and to each place once.
/// \throws CommandError (file error) when one of the directories does not exist
QStringList findSeries(const QStringList& directories);

} // namespace Kiv::Cli
