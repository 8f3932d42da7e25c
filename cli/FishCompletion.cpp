#include "CompletionParts.h"
#include "CompletionScripts.h"

namespace Kiv::Cli
{

namespace
{

/// In single quotes, in which fish knows two escapes.
QString fishQuoted(QString text)
{
    return u'\'' + text.replace(u'\\', QStringLiteral("\\\\")).replace(u'\'', QStringLiteral("\\'")) + u'\'';
}

/// The cases in which a word that stands behind a command is a command below it, and those in which it is an option
/// that takes the next word.
QString wordCases(const CommandModel& program)
{
    QStringList commands;
    QStringList options;
    for (const CommandModel* const command : program.all()) {
        for (const CommandModel& below : command->commands)
            commands += fishQuoted(command->name() + u' ' + below.path.last());
        for (const OptionModel& option : command->options) {
            const QString before = command->path.isEmpty() ? QStringLiteral("*") : command->name();
            for (const QString& name : option.names) {
                if (option.kind != ValueKind::None)
                    options += fishQuoted(before + u' ' + name);
            }
        }
    }
    return QStringLiteral("            case %1\n"
                          "                set path (string trim -- \"$path $word\")\n"
                          "            case %2\n"
                          "                set skips yes\n")
        .arg(commands.join(u' '), options.join(u' '));
}

QString valueArguments(const OptionModel& option)
{
    switch (option.kind) {
    case ValueKind::None:
        return {};
    case ValueKind::Words:
        return QStringLiteral(" -x -a ") + fishQuoted(option.words.join(u' '));
    case ValueKind::File:
        return QStringLiteral(" -r -F");
    case ValueKind::Directory:
        return QStringLiteral(" -x -a '(__fish_complete_directories)'");
    case ValueKind::Other:
        break;
    }
    return QStringLiteral(" -x");
}

QString nameArguments(const OptionModel& option)
{
    QString text;
    for (const QString& name : option.names)
        text += name.startsWith(QLatin1String("--")) ? QStringLiteral(" -l ") + name.mid(2)
                                                     : QStringLiteral(" -s ") + name.mid(1);
    return text;
}

QString completionsOf(const CommandModel& command)
{
    const QString start = QStringLiteral("complete -c kivts");
    const QString here =
        start + QStringLiteral(" -n ") + fishQuoted(QStringLiteral("__kivts_is ") + command.name());
    QString text;
    for (const CommandModel& below : command.commands)
        text +=
            QStringLiteral("%1 -a %2 -d %3\n").arg(here, below.path.last(), fishQuoted(below.description));
    const PlaceModel place = placeOf(command);
    if (!place.words.isEmpty())
        text += QStringLiteral("%1 -a %2\n").arg(here, fishQuoted(place.words.join(u' ')));
    if (place.areFiles)
        text += here + QStringLiteral(" -F\n");
    else if (place.areDirectories)
        text += here + QStringLiteral(" -a '(__fish_complete_directories)'\n");
    for (const OptionModel& option : command.options) {
        // The program's own options may stand behind every command.
        const QString& where = command.path.isEmpty() ? start : here;
        const bool isOfEveryCommand = option.names.contains(QLatin1String("--help"));
        if (command.path.isEmpty() || !isOfEveryCommand)
            text += where + nameArguments(option) + valueArguments(option) + QStringLiteral(" -d ") +
                    fishQuoted(option.description) + u'\n';
    }
    return text;
}

constexpr const char* kHead = R"(# Completion of kivts for fish, printed by: kivts completion fish

# Prints the command of the line as far as it is written: "read", "templates ls".
function __kivts_command
    set -l path ''
    set -l skips no
    for word in (commandline -opc)[2..-1]
        if test $skips = yes
            set skips no
            continue
        end
        switch "$path $word"
)";

constexpr const char* kMiddle = R"(        end
    end
    echo $path
end

function __kivts_is
    set -l path (__kivts_command)
    test "$path" = "$argv"
end

complete -c kivts -f
)";

} // namespace

QString fishCompletion(const CommandModel& program)
{
    QString text = QString::fromLatin1(kHead) + wordCases(program) + QString::fromLatin1(kMiddle);
    for (const CommandModel* const command : program.all())
        text += completionsOf(*command);
    return text;
}

} // namespace Kiv::Cli
