#pragma once

// Owns the check of the words of --method, which the engine itself would pass over.

#include <QString>

namespace Kiv::Cli
{

/// Brings the words of a method into the order in which the engine understands each of them: method, options,
/// difference. Words may be run together or separated by blanks and commas.
/// \throws CommandError for an unknown word, two methods, or options that need a method
QString checkedMethod(const QString& text);

/// \return true when the method gives a result for intervals without records
bool fillsEmptyIntervals(const QString& checkedMethodText);

} // namespace Kiv::Cli
