#include "CompletionParts.h"
#include "CompletionScripts.h"

#include <map>
#include <utility>

namespace Kiv::Cli
{

namespace
{

QString placeWord(bool areDirectories, bool areFiles)
{
    if (areFiles)
        return QStringLiteral("files");
    return areDirectories ? QStringLiteral("directories") : QStringLiteral("nothing");
}

QString commandBranch(const CommandModel& program, const CommandModel& command)
{
    QStringList options;
    QStringList valued;
    for (const OptionModel& option : allOptions(program, command)) {
        options += option.names;
        if (option.kind != ValueKind::None)
            valued += option.names;
    }
    const PlaceModel place = placeOf(command);
    return QStringLiteral("    %1)\n        commands=%2 options=%3\n        valued=%4 place=%5 ;;\n")
        .arg(shellQuoted(command.name()), shellQuoted((commandWords(command) + place.words).join(u' ')),
             shellQuoted(options.join(u' ')), shellQuoted(valued.join(u' ')),
             placeWord(place.areDirectories, place.areFiles));
}

/// Options of the same values share a branch.
class ValueBranches
{
public:
    void add(const QString& pattern, const OptionModel& option)
    {
        const QString place = placeWord(option.kind == ValueKind::Directory, option.kind == ValueKind::File);
        if (option.kind != ValueKind::None && option.kind != ValueKind::Other)
            m_patterns[{option.words.join(u' '), place}] += pattern;
    }

    QString text() const
    {
        QString text;
        for (const auto& [values, patterns] : m_patterns)
            text += QStringLiteral("    %1) words=%2 place=%3 ;;\n")
                        .arg(patterns.join(QStringLiteral(" | ")), shellQuoted(values.first), values.second);
        return text;
    }

private:
    std::map<std::pair<QString, QString>, QStringList> m_patterns;
};

QString valueBranches(const CommandModel& program)
{
    ValueBranches ofCommands;
    ValueBranches ofProgram;
    for (const CommandModel* const command : program.all()) {
        const bool isProgram = command->path.isEmpty();
        const QString before = isProgram ? QStringLiteral("*") : QString();
        for (const OptionModel& option : command->options) {
            for (const QString& name : option.names)
                (isProgram ? ofProgram : ofCommands)
                    .add(before + shellQuoted(command->name() + u' ' + name), option);
        }
    }
    // A command's own option goes before one of the program that has the same name.
    return ofCommands.text() + ofProgram.text();
}

constexpr const char* kHead = R"(# Completion of kivts for bash, printed by: kivts completion bash

# Sets what may stand behind the command $1; of its options those in "valued" take a value.
_kivts_command() {
    case $1 in
)";

constexpr const char* kMiddle = R"(    esac
}

# Sets what may be the value of the option $2 of the command $1.
_kivts_value() {
    words='' place=nothing
    case "$1 $2" in
)";

constexpr const char* kTail = R"(    esac
}

_kivts() {
    local commands='' options='' valued='' place=nothing words=''
    local path='' word='' value_of='' i
    local current=${COMP_WORDS[COMP_CWORD]}
    _kivts_command ''
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ -n $value_of ]]; then
            # --option=value comes as three words.
            [[ $word == = ]] || value_of=''
        elif [[ $word == -- ]]; then
            options='' valued=''
        elif [[ -n $word && " $valued " == *" $word "* ]]; then
            value_of=$word
        elif [[ -n $word && " $commands " == *" $word "* ]]; then
            path=${path:+$path }$word
            _kivts_command "$path"
        fi
    done
    [[ $current != = ]] || current=''
    words=$commands
    if [[ -n $value_of ]]; then
        _kivts_value "$path" "$value_of"
    elif [[ $current == -* ]]; then
        words=$options place=nothing
    fi
    mapfile -t COMPREPLY < <(
        compgen -W "$words" -- "$current"
        case $place in
        directories) compgen -d -- "$current" ;;
        files) compgen -f -- "$current" ;;
        esac
    )
    [[ $place == nothing ]] || compopt -o filenames 2>/dev/null
    return 0
}

complete -F _kivts kivts
)";

} // namespace

QString bashCompletion(const CommandModel& program)
{
    QString commands;
    for (const CommandModel* const command : program.all())
        commands += commandBranch(program, *command);
    return QString::fromLatin1(kHead) + commands + QString::fromLatin1(kMiddle) + valueBranches(program) +
           QString::fromLatin1(kTail);
}

} // namespace Kiv::Cli
