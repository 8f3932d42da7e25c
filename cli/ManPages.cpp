#include "ManPages.h"

#include <QRegularExpression>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

/// Text in which scdoc finds none of its marks.
QString plain(const QString& text)
{
    static const QRegularExpression kMarks(QStringLiteral("([\\\\_*`#\\[\\]|<>~])"));
    // At the start of a line these would begin a list or a request.
    static const QRegularExpression kStarts(QStringLiteral("^([-.'])"), QRegularExpression::MultilineOption);
    QString escaped = text;
    escaped.replace(kMarks, QStringLiteral("\\\\1"));
    return escaped.replace(kStarts, QStringLiteral("\\\\1"));
}

QString bold(const QString& text)
{
    return u'*' + plain(text) + u'*';
}

QString underlined(const QString& text)
{
    return u'_' + plain(text) + u'_';
}

/// Lines as they are, without the blanks that all of them begin with.
QString literal(const QStringList& lines)
{
    qsizetype indent = lines.first().size();
    for (const QString& line : lines) {
        qsizetype blanks = 0;
        while (blanks < line.size() && line[blanks] == u' ')
            ++blanks;
        indent = std::min(indent, blanks);
    }
    QString text = QStringLiteral("```\n");
    for (const QString& line : lines)
        text += line.mid(indent).replace(u'\\', QStringLiteral("\\\\")) + u'\n';
    return text + QStringLiteral("```\n\n");
}

/// Text of a help: paragraphs, and lines with blanks before them that stay as they are.
QString paragraphs(const QString& text)
{
    QString page;
    QStringList filled;
    QStringList literals;
    const auto flush = [&] {
        if (!filled.isEmpty())
            page += plain(filled.join(u'\n')) + QStringLiteral("\n\n");
        if (!literals.isEmpty())
            page += literal(literals);
        filled.clear();
        literals.clear();
    };
    for (const QString& line : text.split(u'\n')) {
        const bool isLiteral = line.startsWith(u' ');
        if (line.isEmpty() || isLiteral != filled.isEmpty())
            flush();
        if (!line.isEmpty())
            (isLiteral ? literals : filled) += line;
    }
    flush();
    return page;
}

QString section(const QString& title, const QString& text)
{
    if (text.isEmpty() || title.isEmpty())
        return text;
    return QStringLiteral("# %1\n\n%2").arg(title, text);
}

QString optionEntry(const OptionModel& option)
{
    QStringList names;
    for (const QString& name : option.names)
        names += bold(name);
    QString head = names.join(QStringLiteral(", "));
    if (!option.valueName.isEmpty())
        head += u' ' + underlined(option.valueName);
    return QStringLiteral("%1\n\t%2\n\n").arg(head, plain(option.description));
}

QString positionalEntry(const OptionModel& positional)
{
    const QString more = positional.isRepeated ? QStringLiteral("...") : QString();
    return QStringLiteral("%1%2\n\t%3\n\n")
        .arg(underlined(positional.names.first()), more, plain(positional.description));
}

QString entriesOf(const CommandModel& command)
{
    QString text;
    for (const OptionModel& positional : command.positionals)
        text += positionalEntry(positional);
    for (const OptionModel& option : command.options)
        text += optionEntry(option);
    return text;
}

QString synopsis(const CommandModel& command)
{
    const QString words = (QStringList(QStringLiteral("kivts")) + command.path).join(u' ');
    QString text = bold(words) + QStringLiteral(" \\[_OPTIONS_\\]");
    for (const OptionModel& positional : command.positionals)
        text += u' ' + underlined(positional.names.first()) +
                (positional.isRepeated ? QStringLiteral("...") : QString());
    if (!command.commands.empty())
        text += QStringLiteral(" _COMMAND_");
    return text + QStringLiteral("\n\n");
}

QString beforeExamples(const CommandModel& command)
{
    return command.footer.section(QStringLiteral("Examples:\n"), 0, 0).trimmed();
}

QString examplesSection(const CommandModel& command)
{
    const QStringList lines =
        command.footer.section(QStringLiteral("Examples:\n"), 1).split(u'\n', Qt::SkipEmptyParts);
    return lines.isEmpty() ? QString() : literal(lines);
}

QString pageName(const CommandModel& command)
{
    return (QStringList(QStringLiteral("kivts")) + command.path).join(u'-');
}

QString seeAlso(const CommandModel& program, const CommandModel& page)
{
    QStringList pages;
    if (!page.path.isEmpty())
        pages += QStringLiteral("*kivts*(1)");
    for (const CommandModel& command : program.commands) {
        if (command.path != page.path)
            pages += bold(pageName(command)) + QStringLiteral("(1)");
    }
    return pages.join(QStringLiteral(", ")) + QStringLiteral("\n");
}

QString head(const CommandModel& command)
{
    return QStringLiteral("%1(1)\n\n# NAME\n\n%1 - %2\n\n")
        .arg(pageName(command), plain(command.description));
}

/// A command below the one that the page is about.
QString subcommand(const CommandModel& command)
{
    return QStringLiteral("## %1\n\n%2%3.\n\n%4%5%6")
        .arg(plain(command.name()), synopsis(command), plain(command.description),
             paragraphs(beforeExamples(command)), entriesOf(command), examplesSection(command));
}

QString commandPage(const CommandModel& program, const CommandModel& command)
{
    QString text = head(command) + section(QStringLiteral("SYNOPSIS"), synopsis(command));
    const QString description = paragraphs(beforeExamples(command));
    text +=
        section(QStringLiteral("DESCRIPTION"),
                description.isEmpty() ? plain(command.description) + QStringLiteral(".\n\n") : description);
    text += section(QStringLiteral("OPTIONS"),
                    entriesOf(command) +
                        QStringLiteral("The options of every command, the forms of times and the exit codes "
                                       "are described in *kivts*(1).\n\n"));
    QString below;
    for (const CommandModel& next : command.commands)
        below += subcommand(next);
    text += section(QStringLiteral("COMMANDS"), below);
    text += section(QStringLiteral("EXAMPLES"), examplesSection(command));
    return text + section(QStringLiteral("SEE ALSO"), seeAlso(program, command));
}

/// The program's help explains some things in paragraphs that begin with their name and a colon. What stands before
/// the first of them is about the options.
QString namedSections(const QString& text)
{
    static const QRegularExpression kName(QStringLiteral("^([A-Z][a-z]+(?: [a-z]+)?): "));
    QStringList lines;
    QString title;
    QString sections;
    const auto flush = [&] {
        sections += section(title, paragraphs(lines.join(u'\n').trimmed()));
        lines.clear();
    };
    for (QString line : text.split(u'\n')) {
        const QRegularExpressionMatch match = kName.match(line);
        if (match.hasMatch()) {
            flush();
            title = match.captured(1).toUpper();
            if (title == QLatin1String("EXIT CODES"))
                title = QStringLiteral("EXIT STATUS");
            line = line.mid(match.capturedEnd());
        }
        lines += line;
    }
    flush();
    return sections;
}

constexpr const char* kFormats = R"(# FORMATS

What a command lists is a table on a terminal and CSV elsewhere, unless *--format* or the ending of the file of
*--output* says otherwise.

*table*
	Columns for people; *-* stands for no value.

*csv*, *tsv*
	A header and one line a row, as *kivts-import*(1) reads it. No value is an empty cell.

*json*
	One array of objects. No value is null; NaN and infinities are the strings "nan", "inf" and "-inf".

*ndjson*
	One object a line.

Timestamps are ISO 8601 with milliseconds, numbers as short as they can be without a loss.

)";

constexpr const char* kEnvironment = R"(# ENVIRONMENT

*NO\_COLOR*
	No colours when it is set, unless *--color* asks for them.

*VELTAR\_INSTALL\_PATH*, *VELTAR\_CURRENT\_PROJECT\_LOCATION*
	Where templates are looked for, see *kivts-templates*(1). Both end with /.

*TMPDIR*
	The directory for temporary files, */tmp* without it.

)";

QString programPage(const CommandModel& program)
{
    QString text = head(program) + section(QStringLiteral("SYNOPSIS"), synopsis(program));
    text += section(QStringLiteral("DESCRIPTION"), plain(program.description) + QStringLiteral("\n\n"));
    QString commands;
    for (const CommandModel& command : program.commands)
        commands +=
            QStringLiteral("%1(1)\n\t%2\n\n").arg(bold(pageName(command)), plain(command.description));
    text += section(QStringLiteral("COMMANDS"), commands);
    text += section(QStringLiteral("OPTIONS"), entriesOf(program));
    text += namedSections(beforeExamples(program));
    text += QString::fromLatin1(kFormats) + QString::fromLatin1(kEnvironment);
    text += section(QStringLiteral("EXAMPLES"), examplesSection(program));
    return text + section(QStringLiteral("SEE ALSO"), seeAlso(program, program));
}

} // namespace

QString manPage(const CommandModel& program, const CommandModel& command)
{
    return command.path.isEmpty() ? programPage(program) : commandPage(program, command);
}

} // namespace Kiv::Cli
