#pragma once

// Owns what the program knows of its own commands and options, for everything that is generated from them: the
// completions of shells and the manual pages.

#include <QString>
#include <QStringList>

#include <vector>

namespace CLI
{
class App;
class Option;
} // namespace CLI

namespace Kiv::Cli
{

enum class ValueKind {
    None, ///< a flag
    Words,
    File,
    Directory,
    Other,
};

struct OptionModel {
    QStringList names; ///< "--help", "-h"; of a positional the one that the help gives it
    QString description;
    QString valueName; ///< "FORMAT"; empty for flags and positionals
    ValueKind kind = ValueKind::None;
    QStringList words; ///< to choose from, or the most usual of many
    bool isRequired = false;
    bool isRepeated = false;
};

struct CommandModel {
    QStringList path; ///< empty for the program itself, {"templates", "ls"}
    QString description;
    QString footer;
    std::vector<OptionModel> options;
    std::vector<OptionModel> positionals;
    std::vector<CommandModel> commands; ///< without hidden ones

    /// "templates ls"
    QString name() const { return path.join(u' '); }
    /// \return null when there is none
    const OptionModel* option(const QString& optionName) const;
    /// Itself and everything below it, in the order of the help.
    std::vector<const CommandModel*> all() const;
};

/// Lets completions offer words for the values of an option; the option still takes others.
void offerWords(CLI::Option& option, const QStringList& words);

/// \param program  with all its commands
CommandModel modelOf(CLI::App& program);

} // namespace Kiv::Cli
