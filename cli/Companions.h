#pragma once

// Owns the words of the series beside a series.

#include "TSFileStorage.h"

#include <QString>

#include <vector>

namespace Kiv::Cli
{

struct Companion {
    QString word;   ///< of --companion
    QString marker; ///< as the store calls it
    QString label;  ///< for messages
};

/// \param text  of --companion: words separated by commas
/// \throws CommandError (usage)
std::vector<Companion> parseCompanions(const QString& text);

} // namespace Kiv::Cli
