#include "ProgramModel.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

// The validator checks nothing: it is the one place where an option can carry more than its help prints.
constexpr const char* kWordsName = "offered words";

QStringList offeredWords(CLI::Option& option)
{
    try {
        const std::string words = option.get_validator(kWordsName)->active(true).get_description();
        option.get_validator(kWordsName)->active(false);
        return QString::fromStdString(words).split(u'\n');
    } catch (const CLI::OptionNotFound&) {
        return {};
    }
}

ValueKind kindOf(const OptionModel& model, bool isFlag)
{
    if (isFlag)
        return ValueKind::None;
    if (!model.words.isEmpty())
        return ValueKind::Words;
    const QString& name = model.valueName.isEmpty() ? model.names.first() : model.valueName;
    if (name == QLatin1String("SERIES") || name == QLatin1String("DIR"))
        return ValueKind::Directory;
    return name == QLatin1String("FILE") ? ValueKind::File : ValueKind::Other;
}

QString singleLine(const std::string& text)
{
    return QString::fromStdString(text).simplified();
}

OptionModel modelOf(CLI::Option& option)
{
    OptionModel model;
    if (option.get_positional()) {
        model.names += QString::fromStdString(option.get_name(true));
    } else {
        for (const std::string& name : option.get_lnames())
            model.names += QStringLiteral("--") + QString::fromStdString(name);
        for (const std::string& name : option.get_snames())
            model.names += u'-' + QString::fromStdString(name);
        model.valueName = QString::fromStdString(option.get_type_name());
    }
    const bool isFlag = option.get_items_expected_max() == 0;
    if (isFlag)
        model.valueName.clear();
    model.description = singleLine(option.get_description());
    model.words = offeredWords(option);
    model.kind = kindOf(model, isFlag);
    model.isRequired = option.get_required();
    model.isRepeated = option.get_items_expected_max() > 1;
    return model;
}

CommandModel modelBelow(CLI::App& parser, const QStringList& path)
{
    CommandModel model;
    model.path = path;
    model.description = singleLine(parser.get_description());
    model.footer = QString::fromStdString(parser.get_footer());
    for (CLI::Option* const option : parser.get_options()) {
        if (!option->get_group().empty())
            (option->get_positional() ? model.positionals : model.options).push_back(modelOf(*option));
    }
    for (CLI::App* const command : parser.get_subcommands(nullptr)) {
        if (!command->get_group().empty())
            model.commands.push_back(
                modelBelow(*command, path + QStringList(QString::fromStdString(command->get_name()))));
    }
    return model;
}

void collect(const CommandModel& command, std::vector<const CommandModel*>& found)
{
    found.push_back(&command);
    for (const CommandModel& below : command.commands)
        collect(below, found);
}

} // namespace

const OptionModel* CommandModel::option(const QString& optionName) const
{
    const auto found = std::find_if(options.begin(), options.end(), [&optionName](const OptionModel& model) {
        return model.names.contains(optionName);
    });
    return found == options.end() ? nullptr : &*found;
}

std::vector<const CommandModel*> CommandModel::all() const
{
    std::vector<const CommandModel*> found;
    collect(*this, found);
    return found;
}

void offerWords(CLI::Option& option, const QStringList& words)
{
    const std::string text = words.join(u'\n').toStdString();
    option.check(CLI::Validator([](std::string&) { return std::string(); }, text, kWordsName).active(false));
}

CommandModel modelOf(CLI::App& program)
{
    return modelBelow(program, {});
}

} // namespace Kiv::Cli
