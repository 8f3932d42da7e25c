#pragma once

// Owns the choice of the columns of an input: time, value or values, series.

#include "ImportOptions.h"
#include "RowReader.h"

#include <QByteArrayList>

#include <optional>
#include <vector>

namespace Kiv::Cli
{

/// A column as the user names it: by number or by the header's name.
struct ColumnChoice {
    QString name;          ///< empty when chosen by number
    std::size_t index = 0; ///< from 0; of a named column once the header is known
};

class ImportColumns
{
public:
    /// \param isKeyed  columns have names only, the keys of JSON objects
    /// \throws CommandError (usage)
    ImportColumns(const ImportOptions& options, bool isKeyed);

    /// Whether every value column is a series of its own.
    bool isWide() const { return m_isWide; }

    /// Whether a column names the series.
    bool hasSeries() const { return m_series.has_value(); }

    /// \return true when something can only be known from a header line
    bool needHeader() const;

    /// The names of all columns, when they are keys; empty when all keys of an object are wanted.
    QByteArrayList keys() const;

    /// Finds the named columns, and in wide inputs the names of all.
    /// \throws CommandError (usage) for a name that the header lacks or holds twice
    void resolve(const CsvRow& header, const QString& fileName);

    /// \return the time cells, joined by a blank; nothing when the row is too short. Valid until the next call and
    ///         as long as the row.
    std::optional<QByteArrayView> timeText(const CsvRow& row);

    /// \return the value cell (null when empty); nothing when the row is too short
    std::optional<QByteArrayView> valueText(const CsvRow& row, std::size_t value = 0) const;

    /// \return the cell with the name of the series; nothing when the row is too short
    std::optional<QByteArrayView> seriesText(const CsvRow& row) const;

    /// 1 unless the input is wide; of a wide one known after resolve().
    std::size_t valueCount() const { return m_values.size(); }

    /// The name of a value column of a wide input.
    const QString& valueName(std::size_t value) const { return m_values[value].name; }

    /// For messages: "column 2", "columns 1 and 2", "column 3 (Global_active_power)", "key value".
    QString timeLabel() const;
    QString valueLabel(std::size_t value = 0) const;
    QString seriesLabel() const;

private:
    void setDefaults(std::size_t columnCount);
    void takeAllValues(const QStringList& names, const QString& fileName);
    void nameValues(const QStringList& names, const QString& fileName);
    bool isTaken(std::size_t index) const;
    QString label(const ColumnChoice& column) const;

    bool m_isKeyed;
    bool m_isWide;
    bool m_hasDefaultTime;
    bool m_hasDefaultValue;
    std::optional<ColumnChoice> m_series;
    std::vector<ColumnChoice> m_time;
    std::vector<ColumnChoice> m_values; ///< empty as long as all others are meant
    QByteArray m_joinedTime;
};

} // namespace Kiv::Cli
