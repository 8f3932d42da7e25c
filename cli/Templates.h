#pragma once

// Owns the templates as the program sees them: their names and what a name stands for.

#include "Request.h"

#include <QJsonObject>
#include <QStringList>

#include <vector>

namespace Kiv::Cli
{

/// \return every name once, in the order of the files
QStringList templateNames();

/// Fills a request from all templates of a name, later files over earlier ones. A leading "!" is ignored.
/// \throws CommandError (nothing found) for an unknown name
void applyTemplate(const QString& name, qint32 offsetMinutes, Request& request);

/// A request in the form that template files have.
QJsonObject templateJson(const QString& name, const Request& request);

/// For the message when there are none: where templates are looked for.
QString templatePlaces();

} // namespace Kiv::Cli
