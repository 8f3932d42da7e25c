#include "CompletionParts.h"
#include "CompletionScripts.h"

namespace Kiv::Cli
{

namespace
{

QString escaped(QString text, const QString& special)
{
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        if (text[i] == u'\\' || special.contains(text[i]))
            text.insert(i, u'\\');
    }
    return text;
}

/// What stands behind the last colon of an argument.
QString actionOf(const OptionModel& option)
{
    switch (option.kind) {
    case ValueKind::Words:
        return u'(' + option.words.join(u' ') + u')';
    case ValueKind::File:
        return QStringLiteral("_files");
    case ValueKind::Directory:
        return QStringLiteral("_files -/");
    default:
        return {};
    }
}

QString optionArgument(const OptionModel& option, const QString& name)
{
    QString text = option.isRepeated ? QStringLiteral("*") : QString();
    text += name;
    if (option.kind != ValueKind::None && name.startsWith(QLatin1String("--")))
        text += u'=';
    text += u'[' + escaped(option.description, QStringLiteral("[]")) + u']';
    if (option.kind != ValueKind::None)
        text += u':' + escaped(option.valueName, QStringLiteral(":")) + u':' + actionOf(option);
    return shellQuoted(text);
}

QString positionalArgument(const OptionModel& positional)
{
    return shellQuoted((positional.isRepeated ? QStringLiteral("*:") : QStringLiteral(":")) +
                       positional.names.first() + u':' + actionOf(positional));
}

QString functionName(const CommandModel& command)
{
    return (QStringList(QStringLiteral("_kivts")) + command.path).join(u'_').replace(u'-', u'_');
}

QStringList argumentsOf(const CommandModel& program, const CommandModel& command)
{
    QStringList arguments;
    for (const OptionModel& option : allOptions(program, command)) {
        for (const QString& name : option.names)
            arguments += optionArgument(option, name);
    }
    for (const OptionModel& positional : command.positionals)
        arguments += positionalArgument(positional);
    if (!command.commands.empty()) {
        arguments += QStringLiteral("'1:command:->command'");
        arguments += QStringLiteral("'*::argument:->argument'");
    }
    return arguments;
}

QString statesOf(const CommandModel& command)
{
    QString described;
    QString called;
    for (const CommandModel& below : command.commands) {
        described +=
            QStringLiteral("            %1\n")
                .arg(shellQuoted(escaped(below.path.last(), QStringLiteral(":")) + u':' + below.description));
        called += QStringLiteral("        %1) %2 ;;\n").arg(below.path.last(), functionName(below));
    }
    return QStringLiteral("    case $state in\n"
                          "    command)\n"
                          "        commands=(\n%1        )\n"
                          "        _describe command commands ;;\n"
                          "    argument)\n"
                          "        case $words[1] in\n%2        esac ;;\n"
                          "    esac\n")
        .arg(described, called);
}

QString functionOf(const CommandModel& program, const CommandModel& command)
{
    const QString arguments = argumentsOf(program, command).join(QStringLiteral(" \\\n        "));
    QString text = functionName(command) + QStringLiteral("() {\n");
    if (command.commands.empty())
        return text + QStringLiteral("    _arguments -s \\\n        %1\n}\n\n").arg(arguments);
    text += QStringLiteral("    local curcontext=$curcontext state line\n"
                           "    local -a commands\n"
                           "    typeset -A opt_args\n"
                           "    _arguments -C -s \\\n        %1\n")
                .arg(arguments);
    return text + statesOf(command) + QStringLiteral("}\n\n");
}

} // namespace

QString zshCompletion(const CommandModel& program)
{
    QString text = QStringLiteral("#compdef kivts\n"
                                  "# Completion of kivts for zsh, printed by: kivts completion zsh\n\n");
    for (const CommandModel* const command : program.all())
        text += functionOf(program, *command);
    // Either loaded by name, then called at once, or read as a script.
    return text + QStringLiteral("if [[ $funcstack[1] == _kivts ]]; then\n"
                                 "    _kivts \"$@\"\n"
                                 "else\n"
                                 "    compdef _kivts kivts\n"
                                 "fi\n");
}

} // namespace Kiv::Cli
