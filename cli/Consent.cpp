#include "Consent.h"

#include "Errors.h"
#include "Interrupt.h"

#include <QByteArray>

#include <cstdio>
#include <unistd.h>

namespace Kiv::Cli
{

void askForConsent(const QString& question, const QString& refusal)
{
    if (!::isatty(STDIN_FILENO))
        throw CommandError(ExitCode::Refused,
                           refusal + QStringLiteral(": there is no terminal to ask on; add --yes"));
    std::fprintf(stderr, "%s [y/N] ", question.toUtf8().constData());
    QByteArray answer;
    char character = 0;
    while (character != '\n' && waitForInput(STDIN_FILENO) && ::read(STDIN_FILENO, &character, 1) == 1)
        answer += character;
    if (character != '\n')
        std::fputc('\n', stderr);
    if (isInterrupted())
        throw CommandError(ExitCode::Interrupted, QStringLiteral("interrupted; ") + refusal);
    answer = answer.trimmed().toLower();
    if (answer != "y" && answer != "yes")
        throw CommandError(ExitCode::Refused, refusal);
}

} // namespace Kiv::Cli
