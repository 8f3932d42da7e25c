#include "JsonRowReader.h"

#include "Errors.h"

#include <utility>

namespace Kiv::Cli
{

JsonRowReader::JsonRowReader(QIODevice& device, QByteArrayList names)
    : m_lines(device), m_names(std::move(names)), m_wantsAll(m_names.isEmpty())
{
}

bool JsonRowReader::next(CsvRow& row)
{
    if (m_isBeforeHeader) {
        if (m_wantsAll) {
            if (!readObject())
                return false;
            takeNames();
            m_isWaiting = true;
        }
        m_isBeforeHeader = false;
        row.lineNumber = m_lineNumber;
        row.cells.assign(m_names.begin(), m_names.end());
        return true;
    }
    if (!std::exchange(m_isWaiting, false) && !readObject())
        return false;
    fillRow(row);
    return true;
}

bool JsonRowReader::readObject()
{
    do {
        m_line = m_lines.takeLine();
        if (m_line.isEmpty())
            return false;
        if (++m_lineNumber == 1)
            InputLines::checkEncoding(m_line);
        if (m_line.size() > InputLines::kMaxRowSizeBytes)
            throw BadLine::last(m_lineNumber,
                                QStringLiteral("the line is longer than %1 bytes; write one object a line")
                                    .arg(InputLines::kMaxRowSizeBytes));
    } while (QByteArrayView(m_line).trimmed().isEmpty());
    const QString problem = splitJsonObject(m_line, m_members);
    if (!problem.isEmpty())
        throw BadLine(m_lineNumber,
                      QStringLiteral("%1 %2").arg(quoted(QString::fromUtf8(m_line.trimmed())), problem));
    return true;
}

void JsonRowReader::takeNames()
{
    for (const JsonMember& member : m_members)
        m_names += member.name;
}

void JsonRowReader::fillRow(CsvRow& row) const
{
    row.lineNumber = m_lineNumber;
    row.cells.assign(static_cast<std::size_t>(m_names.size()), QByteArrayView());
    qsizetype expected = 0;
    for (const JsonMember& member : m_members) {
        const qsizetype cell = cellOf(member.name, expected);
        if (cell >= 0)
            row.cells[static_cast<std::size_t>(cell)] = member.value;
        else if (m_wantsAll)
            throw BadLine(m_lineNumber,
                          QStringLiteral("key %1 is not in the first object; name the keys with --value-col")
                              .arg(quoted(QString::fromUtf8(member.name))));
        expected = cell + 1;
    }
}

/// Objects hold their members in the same order as a rule.
qsizetype JsonRowReader::cellOf(const QByteArray& name, qsizetype expected) const
{
    return expected < m_names.size() && m_names[expected] == name ? expected : m_names.indexOf(name);
}

} // namespace Kiv::Cli
