#pragma once

// Owns the text form of intervals.

#include <QString>
#include <QStringList>

namespace Kiv::Cli
{

/// Intervals that are often wanted, those of the calendar among them.
QStringList usualIntervals();

/// The interval that a user gives: "90", "90s", "15m", "1h", "1d", "1w", or "day" to "year".
/// \return seconds, or the store's code of a calendar interval
/// \throws CommandError that names the option
qint64 parseInterval(const QString& option, const QString& text);

/// The shortest text that parseInterval reads back: "90s", "1h", "day"; "raw" for 0.
QString intervalText(qint64 interval);

} // namespace Kiv::Cli
