#pragma once

// Owns what an import's options say about its input: columns, time format, separator.

#include "CsvReader.h"

#include <QString>

#include <optional>
#include <vector>

namespace Kiv::Cli
{

/// A column as the user names it: by number or by the header's name.
struct ColumnChoice {
    QString name;          ///< empty when chosen by number
    std::size_t index = 0; ///< from 0; of a named column once the header is known
};

/// Which columns hold time and value.
class ImportColumns
{
public:
    /// \param timeText   "N" or "name", or two of them separated by a comma
    /// \param valueText  "N" or "name"
    /// \throws CommandError (usage)
    ImportColumns(const QString& timeText, const QString& valueText);

    /// \return true when a name asks for a header line
    bool needHeader() const;

    /// Finds the named columns.
    /// \throws CommandError (usage) for a name that the header lacks or holds twice
    void resolve(const CsvRow& header, const QString& fileName);

    /// \return the time cells, joined by a blank; nothing when the row is too short. Valid until the next call and
    ///         as long as the row.
    std::optional<QByteArrayView> timeText(const CsvRow& row);

    /// \return the value cell (null when empty); nothing when the row is too short
    std::optional<QByteArrayView> valueText(const CsvRow& row) const;

    /// For messages: "column 2", "columns 1 and 2", "column 3 (Global_active_power)".
    QString timeLabel() const;
    QString valueLabel() const;

private:
    std::vector<ColumnChoice> m_time;
    ColumnChoice m_value;
    QByteArray m_joinedTime;
};

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

/// \param text  one character, or "tab" or "\t"
/// \throws CommandError (usage)
char parseSeparator(const QString& text);

} // namespace Kiv::Cli
