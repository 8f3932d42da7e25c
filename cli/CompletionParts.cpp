#include "CompletionParts.h"

#include <algorithm>

namespace Kiv::Cli
{

std::vector<OptionModel> allOptions(const CommandModel& program, const CommandModel& command)
{
    std::vector<OptionModel> all = command.options;
    for (const OptionModel& option : program.options) {
        if (command.option(option.names.first()) == nullptr)
            all.push_back(option);
    }
    return all;
}

PlaceModel placeOf(const CommandModel& command)
{
    PlaceModel place;
    for (const OptionModel& positional : command.positionals) {
        place.words += positional.words;
        place.areDirectories = place.areDirectories || positional.kind == ValueKind::Directory;
        place.areFiles = place.areFiles || positional.kind == ValueKind::File;
    }
    return place;
}

QStringList commandWords(const CommandModel& command)
{
    QStringList words;
    for (const CommandModel& below : command.commands)
        words += below.path.last();
    return words;
}

QString shellQuoted(const QString& text)
{
    QString inner = text;
    return u'\'' + inner.replace(u'\'', QStringLiteral("'\\''")) + u'\'';
}

} // namespace Kiv::Cli
