#include "Errors.h"

#include "OutputFile.h"
#include "Terminal.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

bool& storedQuiet()
{
    static bool quiet = false;
    return quiet;
}

void printLine(const QByteArray& start, const QString& text)
{
    std::fprintf(stderr, "%s%s\n", start.constData(), text.toUtf8().constData());
}

/// Whether stdout is a pipe whose other end is closed.
bool hasNoReader()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

} // namespace

void setQuiet()
{
    storedQuiet() = true;
}

bool isQuiet()
{
    return storedQuiet();
}

void printMessage(const QString& text)
{
    if (!isQuiet())
        printLine("kivts: ", text);
}

void printWarning(const QString& text)
{
    printLine("kivts: " + styled(Stream::Error, Style::Yellow, "warning:") + ' ', text);
}

void printError(const QString& text)
{
    printLine(styled(Stream::Error, Style::Red, "kivts:") + ' ', text);
}

void ignoreBrokenPipes()
{
    std::signal(SIGPIPE, SIG_IGN);
}

CommandError outputError()
{
    const int error = errno;
    if (error == EPIPE || hasNoReader())
        return {ExitCode::NoReader, QString()};
    const QString reason =
        error == 0 ? QString() : QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(error));
    const QString target = OutputFile::openOption()
                               ? QStringLiteral("%1: cannot write %2")
                                     .arg(QLatin1String(OutputFile::openOption()), OutputFile::openPath())
                               : QStringLiteral("cannot write to standard output");
    return {ExitCode::FileError, target + reason};
}

void flushOutput()
{
    // An earlier failure has left a mark, but no reason.
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw outputError();
}

QString counted(qint64 count, const QString& noun)
{
    return QString::number(count) + u' ' + noun + (count == 1 ? QString() : QStringLiteral("s"));
}

QString escapedControls(const QString& text)
{
    QString visible;
    visible.reserve(text.size());
    for (const QChar character : text) {
        const ushort unit = character.unicode();
        const bool isControl = unit < 0x20 || (unit >= 0x7f && unit < 0xa0);
        if (!isControl)
            visible += character;
        else if (unit == '\n')
            visible += QStringLiteral("\\n");
        else if (unit == '\r')
            visible += QStringLiteral("\\r");
        else if (unit == '\t')
            visible += QStringLiteral("\\t");
        else
            visible += QStringLiteral("\\x%1").arg(unit, 2, 16, QLatin1Char('0'));
    }
    return visible;
}

QString quoted(const QString& text)
{
    constexpr qsizetype kMaxLength = 60;
    QString shown = text.left(kMaxLength);
    if (shown.size() < text.size())
        shown += QStringLiteral("...");
    return u'\'' + escapedControls(shown) + u'\'';
}

} // namespace Kiv::Cli
