#include "AgeText.h"

#include <QStringList>

#include <array>

namespace Kiv::Cli
{

namespace
{

struct Unit {
    qint64 seconds;
    const char* name;
};

} // namespace

QString ageText(qint64 seconds)
{
    constexpr std::array<Unit, 4> kUnits = {{{86'400, "d"}, {3'600, "h"}, {60, "min"}, {1, "s"}}};
    qint64 rest = seconds < 0 ? -seconds : seconds;
    QStringList parts;
    for (std::size_t i = 0; i < kUnits.size(); ++i) {
        const qint64 count = rest / kUnits[i].seconds;
        rest %= kUnits[i].seconds;
        if (count == 0 && parts.isEmpty() && i + 1 < kUnits.size())
            continue;
        if (count > 0 || parts.isEmpty())
            parts += QStringLiteral("%1 %2").arg(QString::number(count), QLatin1String(kUnits[i].name));
        // Of a length with a great unit the next smaller one is all that matters.
        if (count == 0 || parts.size() == 2)
            break;
    }
    const QString text = parts.join(u' ');
    return seconds < 0 ? QStringLiteral("in ") + text : text;
}

} // namespace Kiv::Cli
