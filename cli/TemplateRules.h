#pragma once

// Owns the rules that one template of a file has to keep.

#include "Interpolate.h"

#include <QJsonValue>
#include <QString>

#include <vector>

namespace Kiv::Cli
{

struct TemplateDoubt {
    bool isError = false;
    QString text; ///< begins with the part of the template that it is about
};

/// Everything about an element of a file that the engine would pass over or take for something else.
std::vector<TemplateDoubt> doubtsOfTemplate(const QJsonValue& value);

/// Whether a request has a method that does nothing, because raw records are asked for.
bool hasIdleMethod(const Interpolate::InterpolateParam& pass);

} // namespace Kiv::Cli
