#pragma once

// Owns what an import's options say about the writing of its input: format, time format, separator.

#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <optional>

namespace Kiv::Cli
{

/// How the rows of an input are written.
enum class InputFormat { Csv, Tsv, Ndjson };

/// The words of --format.
QStringList inputFormatWords();

/// \param word  of --format; empty goes by the ending of the file's name
/// \throws CommandError (usage)
InputFormat inputFormatOf(const QString& word, const QString& fileName);

/// How the time cells are read.
class TimeFormat
{
public:
    /// \param text  "auto", "iso", "ms", "s" or a Qt date-time pattern
    /// \throws CommandError (usage) for what can be none of these
    explicit TimeFormat(const QString& text);

    /// \return milliseconds since the epoch
    std::optional<qint64> parse(QByteArrayView cell) const;

    /// Whether a cell is read as milliseconds by default although it looks like a count of seconds.
    /// \param timestampMs  what it is read as
    bool mayMeanSeconds(QByteArrayView cell, qint64 timestampMs) const;

    /// What a cell should have been, for messages.
    QString description() const;

private:
    enum class Kind { Auto, Iso, Milliseconds, Seconds, Pattern };

    std::optional<qint64> parsePattern(QByteArrayView cell) const;

    Kind m_kind = Kind::Auto;
    QString m_pattern;
    bool m_hasShortYear = false;
};

/// \param text  one character, or "tab" or "\t"; empty for what the format has
/// \throws CommandError (usage)
char parseSeparator(const QString& text, InputFormat format = InputFormat::Csv);

} // namespace Kiv::Cli
