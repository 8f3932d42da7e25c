#pragma once

// Owns the question before something that cannot be undone by itself.

#include <QString>

namespace Kiv::Cli
{

/// Asks on the terminal.
/// \param question  without "[y/N]"
/// \param refusal   what is said when the answer is not yes, for example "nothing deleted"
/// \throws CommandError (refused) unless somebody says yes, or (interrupted)
void askForConsent(const QString& question, const QString& refusal);

} // namespace Kiv::Cli
