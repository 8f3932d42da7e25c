#pragma once

// Owns the text form of lengths of time.

#include <QString>
#include <QtGlobal>

namespace Kiv::Cli
{

/// A length of time as --every takes it, without the words of the calendar, whose periods differ in length; also
/// milliseconds, "500ms".
/// \return milliseconds
/// \throws CommandError (usage) that names the option
qint64 parseDuration(const QString& option, const QString& text);

/// The shortest text that parseDuration reads back.
QString durationText(qint64 durationMs);

} // namespace Kiv::Cli
