#include "Terminal.h"

#include "Words.h"

#include <array>
#include <optional>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

std::optional<bool>& storedChoice()
{
    static std::optional<bool> choice;
    return choice;
}

bool hasColors(Stream stream)
{
    if (storedChoice())
        return *storedChoice();
    return isTerminal(stream) && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
}

winsize terminalSize()
{
    for (const int file : {STDOUT_FILENO, STDERR_FILENO}) {
        winsize size{};
        if (::ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0)
            return size;
    }
    winsize usual{};
    usual.ws_col = 80;
    usual.ws_row = 24;
    return usual;
}

/// Marks that stand on the letter before them.
bool isCombining(QChar character)
{
    return character.category() == QChar::Mark_NonSpacing || character.category() == QChar::Mark_Enclosing;
}

/// Letters that take two columns.
bool isWide(QChar character)
{
    const ushort unit = character.unicode();
    return (unit >= 0x1100 && unit <= 0x115f) || (unit >= 0x2e80 && unit <= 0xa4cf) ||
           (unit >= 0xac00 && unit <= 0xd7a3) || (unit >= 0xf900 && unit <= 0xfaff) ||
           (unit >= 0xff00 && unit <= 0xff60) || (unit >= 0xffe0 && unit <= 0xffe6);
}

} // namespace

bool isTerminal(Stream stream)
{
    return ::isatty(stream == Stream::Output ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

int terminalWidth()
{
    return terminalSize().ws_col;
}

int terminalHeight()
{
    return terminalSize().ws_row;
}

void setColorChoice(const QString& word)
{
    static const QStringList kWords = {QStringLiteral("auto"), QStringLiteral("always"),
                                       QStringLiteral("never")};
    if (!kWords.contains(word))
        throw unknownWord(QStringLiteral("--color"), word, kWords);
    if (word == QLatin1String("auto"))
        storedChoice().reset();
    else
        storedChoice() = word == QLatin1String("always");
}

QByteArray styled(Stream stream, Style style, const QByteArray& text)
{
    static constexpr std::array<const char*, 8> kCodes = {"", "1", "2", "31", "32", "33", "34", "36"};
    if (style == Style::Plain || text.isEmpty() || !hasColors(stream))
        return text;
    return QByteArray("\x1b[") + kCodes[static_cast<std::size_t>(style)] + 'm' + text + "\x1b[0m";
}

int textWidth(const QString& text)
{
    int width = 0;
    for (const QChar character : text) {
        // Characters beyond the basic plane are mostly pictures of two columns: one for each of their halves.
        if (!isCombining(character))
            width += isWide(character) ? 2 : 1;
    }
    return width;
}

} // namespace Kiv::Cli
