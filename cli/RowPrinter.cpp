#include "RowPrinter.h"

#include "Errors.h"
#include "Terminal.h"
#include "ValueText.h"

#include <algorithm>

namespace Kiv::Cli
{

QByteArray separatedCell(const QVariant& value, char separator)
{
    if (value.isNull())
        return {};
    QByteArray cell = valueText(value).toUtf8();
    const bool isSplit = std::any_of(cell.begin(), cell.end(), [separator](char character) {
        return character == separator || QByteArrayView("\"\r\n").contains(character);
    });
    if (!cell.isEmpty() && !isSplit && cell.trimmed().size() == cell.size())
        return cell;
    return '"' + cell.replace('"', "\"\"") + '"';
}

RowPrinter::RowPrinter(OutputFormat format, std::vector<RowColumn> columns)
    : m_format(format), m_columns(std::move(columns))
{
}

QString RowPrinter::cellText(std::size_t column, const QVariant& cell) const
{
    if (cell.isNull())
        return {};
    return m_columns[column].kind == CellKind::Time ? formatTime(cell.toLongLong()) : valueText(cell);
}

QByteArray RowPrinter::cellJson(std::size_t column, const QVariant& cell) const
{
    if (cell.isNull())
        return "null";
    switch (m_columns[column].kind) {
    case CellKind::Time:
        return '"' + formatTime(cell.toLongLong()).toLatin1() + '"';
    case CellKind::Text:
        return jsonString(cell.toString());
    case CellKind::Number:
    case CellKind::Value:
        break;
    }
    return valueJson(cell);
}

void RowPrinter::begin()
{
    if (m_format == OutputFormat::Json)
        m_output.put("[");
    if (!isSeparated(m_format))
        return;
    QByteArray head;
    for (const RowColumn& column : m_columns)
        head += (head.isEmpty() ? QByteArray() : QByteArray(1, separatorOf(m_format))) +
                separatedCell(column.name, separatorOf(m_format));
    m_output.put(head + '\n');
}

void RowPrinter::print(const QVariantList& cells)
{
    constexpr std::size_t kMaxWaitingCount = 1000;
    if (++m_rowCount == 1)
        begin();
    if (isSeparated(m_format)) {
        printSeparated(cells);
        return;
    }
    if (isJson(m_format)) {
        printJson(cells);
        return;
    }
    QStringList texts;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const QVariant& cell = cells[static_cast<qsizetype>(i)];
        texts += cell.isNull() ? QStringLiteral("-") : escapedControls(cellText(i, cell));
    }
    if (!m_widths.empty()) {
        printTableRow(texts, false);
        return;
    }
    m_waiting.push_back(texts);
    if (m_waiting.size() >= kMaxWaitingCount)
        printWaitingRows();
}

void RowPrinter::printSeparated(const QVariantList& cells)
{
    QByteArray row;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const QVariant& cell = cells[static_cast<qsizetype>(i)];
        if (i > 0)
            row += separatorOf(m_format);
        row += separatedCell(cell.isNull() ? cell : QVariant(cellText(i, cell)), separatorOf(m_format));
    }
    m_output.put(row + '\n');
}

void RowPrinter::printJson(const QVariantList& cells)
{
    QByteArray row = m_format == OutputFormat::Ndjson ? "{" : m_rowCount == 1 ? "\n{" : ",\n{";
    for (std::size_t i = 0; i < m_columns.size(); ++i)
        row += (i > 0 ? QByteArray(",") : QByteArray()) + jsonString(m_columns[i].name) + ':' +
               cellJson(i, cells[static_cast<qsizetype>(i)]);
    m_output.put(row + (m_format == OutputFormat::Ndjson ? "}\n" : "}"));
}

void RowPrinter::printTableRow(const QStringList& texts, bool isHead)
{
    QByteArray row;
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        const QString& text = texts[static_cast<qsizetype>(i)];
        const QByteArray padding(std::max(0, m_widths[i] - textWidth(text)), ' ');
        const QByteArray bytes = isHead ? styled(Stream::Output, Style::Bold, text.toUtf8()) : text.toUtf8();
        const bool isLast = i + 1 == m_columns.size();
        if (m_columns[i].kind == CellKind::Number)
            row += padding + bytes;
        else
            row += bytes + (isLast ? QByteArray() : padding);
        if (!isLast)
            row += "  ";
    }
    m_output.put(row + '\n');
}

void RowPrinter::printWaitingRows()
{
    QStringList head;
    for (const RowColumn& column : m_columns)
        head += column.tableName.isEmpty() ? column.name : column.tableName;
    m_widths.assign(m_columns.size(), 0);
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        m_widths[i] = textWidth(head[static_cast<qsizetype>(i)]);
        for (const QStringList& texts : m_waiting)
            m_widths[i] = std::max(m_widths[i], textWidth(texts[static_cast<qsizetype>(i)]));
    }
    printTableRow(head, true);
    for (const QStringList& texts : m_waiting)
        printTableRow(texts, false);
    m_waiting.clear();
}

void RowPrinter::flush()
{
    if (!m_waiting.empty())
        printWaitingRows();
    m_output.flush();
}

void RowPrinter::finish()
{
    if (m_rowCount == 0)
        begin();
    if (!m_waiting.empty())
        printWaitingRows();
    if (m_format == OutputFormat::Json)
        m_output.put(m_rowCount == 0 ? "]\n" : "\n]\n");
    m_output.flush();
}

} // namespace Kiv::Cli
