#include "Companions.h"

#include "Words.h"

#include <algorithm>

namespace Kiv::Cli
{

std::vector<Companion> parseCompanions(const QString& text)
{
    static const std::vector<Companion> kAll = {
        {QStringLiteral("late"), QStringLiteral("P"), QStringLiteral("late-write log")},
        {QStringLiteral("history"), QStringLiteral("O"), QStringLiteral("overwrite history")}};
    std::vector<Companion> companions;
    for (const QString& word : text.split(u',')) {
        const auto hasWord = [&word](const Companion& companion) { return companion.word == word.trimmed(); };
        const auto found = std::find_if(kAll.begin(), kAll.end(), hasWord);
        if (found == kAll.end())
            throw unknownWord(QStringLiteral("--companion"), word, {kAll[0].word, kAll[1].word});
        if (std::none_of(companions.begin(), companions.end(), hasWord))
            companions.push_back(*found);
    }
    return companions;
}

} // namespace Kiv::Cli
