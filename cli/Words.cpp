#include "Words.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace Kiv::Cli
{

int editDistance(const QString& from, const QString& to)
{
    std::vector<int> beforePrevious;
    std::vector<int> previous;
    std::vector<int> current(static_cast<std::size_t>(to.size()) + 1);
    for (std::size_t i = 0; i < current.size(); ++i)
        current[i] = static_cast<int>(i);
    for (qsizetype row = 1; row <= from.size(); ++row) {
        beforePrevious = std::exchange(previous, current);
        current[0] = static_cast<int>(row);
        for (qsizetype column = 1; column <= to.size(); ++column) {
            const auto at = static_cast<std::size_t>(column);
            const bool equal = from[row - 1] == to[column - 1];
            current[at] =
                std::min({previous[at] + 1, current[at - 1] + 1, previous[at - 1] + (equal ? 0 : 1)});
            const bool swapped =
                row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1];
            if (swapped)
                current[at] = std::min(current[at], beforePrevious[at - 2] + 1);
        }
    }
    return current.back();
}

QString nearestWord(const QString& text, const QStringList& words)
{
    QString nearest;
    int nearestDistance = std::numeric_limits<int>::max();
    for (const QString& word : words) {
        const int distance = editDistance(text.toLower(), word);
        if (distance < nearestDistance) {
            nearestDistance = distance;
            nearest = word;
        }
    }
    return nearest;
}

CommandError unknownWord(const QString& option, const QString& text, const QStringList& words)
{
    return {ExitCode::Usage,
            QStringLiteral("%1: unknown word %2; did you mean '%3'? Choose from: %4")
                .arg(option, quoted(text), nearestWord(text, words), words.join(QStringLiteral(", ")))};
}

} // namespace Kiv::Cli
