#pragma once

// Owns the text of a length of time as people say it.

#include <QString>

namespace Kiv::Cli
{

/// The two greatest units of a length of time, such as "3 d 4 h", "12 min 5 s"; a negative one as "in 3 d 4 h".
QString ageText(qint64 seconds);

} // namespace Kiv::Cli
