#include "Commands.h"
#include "CompletionScripts.h"
#include "Words.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>

namespace Kiv::Cli
{

namespace
{

const QStringList& shellWords()
{
    static const QStringList words = {QStringLiteral("bash"), QStringLiteral("zsh"), QStringLiteral("fish")};
    return words;
}

ExitCode printCompletion(const std::string& shell, CLI::App& program)
{
    using Script = QString (*)(const CommandModel& program);
    static constexpr Script kScripts[] = {&bashCompletion, &zshCompletion, &fishCompletion};
    const QString word = QString::fromStdString(shell);
    const qsizetype index = shellWords().indexOf(word);
    if (index < 0)
        throw unknownWord(QStringLiteral("SHELL"), word, shellWords());
    std::fputs(kScripts[index](modelOf(program)).toUtf8().constData(), stdout);
    return ExitCode::Good;
}

} // namespace

Command addCompletionCommand(CLI::App& program)
{
    const auto shell = std::make_shared<std::string>();
    CLI::App* const parser =
        program.add_subcommand("completion", "Print the script that completes kivts in a shell");
    CLI::Option* const option = parser->add_option("SHELL", *shell, "bash, zsh or fish");
    offerWords(*option->required()->type_name(""), shellWords());
    parser->footer("\nFor fish, write it to ~/.config/fish/completions/kivts.fish.\n"
                   "\nExamples:\n"
                   "  kivts completion bash > ~/.local/share/bash-completion/completions/kivts\n"
                   "  kivts completion zsh > ~/.zfunc/_kivts\n");
    return {parser, [shell, &program] { return printCompletion(*shell, program); }};
}

} // namespace Kiv::Cli
