#pragma once

// Owns the choice between known words and the suggestion of the nearest one.

#include "Errors.h"

#include <QStringList>

namespace Kiv::Cli
{

/// \return the number of letters to insert, remove, replace or swap with a neighbour to get from one to the
/// other
int editDistance(const QString& from, const QString& to);

/// \return the word with the least distance, the first of several
QString nearestWord(const QString& text, const QStringList& words);

/// \param option  what the user wrote the word for, for example "--type"
CommandError unknownWord(const QString& option, const QString& text, const QStringList& words);

} // namespace Kiv::Cli
