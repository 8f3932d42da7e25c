#pragma once

// Owns the words of methods: checks those of a user, which the engine itself would pass over, and writes out what
// the engine understood.

#include "Interpolate.h"

#include <QString>

namespace Kiv::Cli
{

/// Brings the words of a method into the order in which the engine understands each of them: method, options,
/// difference. Words may be run together or separated by blanks and commas.
/// \param option  names the text in an error, for example "--method"
/// \throws CommandError for an unknown word, two methods, or options that need a method
QString checkedMethod(const QString& option, const QString& text);

/// Whether a checked method has nothing but a difference word, which works without intervals.
bool isDifferenceOnly(const QString& checkedMethodText);

/// What the engine makes of a method string.
struct EngineMethod {
    QString methodWord; ///< empty for raw records
    bool linear = false;
    bool align = false;
    bool fill = false;
    bool fillNull = false;
    bool average = false;
    QString differenceWord;

    /// \return the words that the engine understands in the same way
    QString text() const;
};

EngineMethod understoodMethod(const Interpolate::InterpolateParam& param);

} // namespace Kiv::Cli
