#pragma once

// Owns the words of methods: checks those of a user, which the engine itself would pass over, and writes out what
// the engine understood.

#include "Interpolate.h"

#include "analytics/Method.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace Kiv::Cli
{

/// The methods of the engine, its differences and the methods of the analytics: what can stand alone.
QStringList methodWords();

/// Brings the words of a method into the order in which the engine understands each of them: method, options,
/// difference. Words may be run together or separated by blanks and commas.
/// \param option      names the text in an error, for example "--method"
/// \param otherWords  that may stand in the place of all this, for the suggestion in an error
/// \throws CommandError for an unknown word, two methods, or options that need a method
QString checkedMethod(const QString& option, const QString& text, const QStringList& otherWords = {});

/// The names of the methods that the engine has not.
const QStringList& analysisNames();

/// The method of the program's own analytics that a text names; the engine's word wins where both have one.
/// \throws CommandError when the name is one of them and its parameter is wrong
std::optional<Analytics::Method> parseAnalysis(const QString& option, const QString& text);

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
