#pragma once

// Owns the exit codes, the error that ends a command, and the wording of messages on stderr.

#include <QString>

#include <exception>

namespace Kiv::Cli
{

enum class ExitCode : int {
    Good = 0,
    NothingFound = 1,
    Usage = 2,
    FileError = 3,
    BadData = 4,
    Refused = 5,
    Interrupted = 130,
    NoReader = 141, ///< what a shell says of who died from writing into a closed pipe
};

/// Ends a command: its text, if any, goes to stderr, its code is the exit code of the program.
class CommandError : public std::exception
{
public:
    CommandError(ExitCode code, QString text) : m_code(code), m_text(std::move(text)) {}

    ExitCode code() const { return m_code; }
    const QString& text() const { return m_text; }
    const char* what() const noexcept override { return "command failed"; }

private:
    ExitCode m_code;
    QString m_text;
};

/// What --quiet asks for: no messages but warnings and errors.
void setQuiet();
bool isQuiet();

/// Writes "kivts: text" and a line end to stderr.
void printMessage(const QString& text);
void printWarning(const QString& text);
void printError(const QString& text);

/// Lets a write into a closed pipe fail instead of ending the program, perhaps amid a write to a series.
void ignoreBrokenPipes();

/// What is to be thrown when stdout does not take everything, for the reason in errno; nothing is to be said when the
/// reader has had enough.
CommandError outputError();

/// Sends what was printed to stdout on its way.
/// \throws CommandError when stdout does not take everything
void flushOutput();

/// "1 row", "2 rows"
QString counted(qint64 count, const QString& noun);

/// Makes control characters visible, so that data cannot steer the terminal.
QString escapedControls(const QString& text);

/// Foreign text for a message: in single quotes, at most 60 characters, control characters made visible.
QString quoted(const QString& text);

} // namespace Kiv::Cli
