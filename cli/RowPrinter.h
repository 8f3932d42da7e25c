#pragma once

// Owns the printing of rows of named cells, in every output format.

#include "OutputBuffer.h"
#include "OutputFormat.h"
#include "TimeText.h"

#include <QStringList>
#include <QVariant>

#include <vector>

namespace Kiv::Cli
{

enum class CellKind {
    Text,
    Number,
    Time,  ///< a cell holds milliseconds since the epoch
    Value, ///< of a series, of any type
};

struct RowColumn {
    QString name; ///< in heads and as the key in JSON
    CellKind kind = CellKind::Text;
    QString tableName = {}; ///< of a table's head, when it is another
};

/// Quotes what the CSV reader would split, trim, or take for a missing value; empty for null.
QByteArray separatedCell(const QVariant& value, char separator);

/// Writes rows to stdout as they come; a table waits for its first rows to know how wide its columns are. Every print
/// throws CommandError when stdout does not take everything, or when the command is interrupted.
class RowPrinter
{
public:
    RowPrinter(OutputFormat format, std::vector<RowColumn> columns);

    /// \param cells  one for each column; null for none
    void print(const QVariantList& cells);

    /// Sends the rows on their way; a table then knows its widths by those that came.
    void flush();

    /// Writes what stands before and after the rows, also when there was none.
    void finish();

    qint64 rowCount() const { return m_rowCount; }

private:
    QString cellText(std::size_t column, const QVariant& cell) const;
    QByteArray cellJson(std::size_t column, const QVariant& cell) const;
    void begin();
    void printSeparated(const QVariantList& cells);
    void printJson(const QVariantList& cells);
    void printTableRow(const QStringList& texts, bool isHead);
    void printWaitingRows();

    OutputFormat m_format;
    std::vector<RowColumn> m_columns;
    std::vector<int> m_widths;          ///< of a table's columns, once they are known
    std::vector<QStringList> m_waiting; ///< rows of a table whose widths are not yet known
    OutputBuffer m_output;
    qint64 m_rowCount = 0;
};

} // namespace Kiv::Cli
