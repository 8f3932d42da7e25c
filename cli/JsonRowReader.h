#pragma once

// Owns the way from lines of JSON to rows of cells.

#include "JsonMembers.h"
#include "RowReader.h"

#include <QByteArrayList>

namespace Kiv::Cli
{

/// Reads one JSON object a line in bounded memory, in the manner of a file with a header: the first row holds the names
/// of the wanted members, every other one their values, null cells for null and for what an object lacks. Empty lines
/// are passed over, a byte order mark as well.
class JsonRowReader : public RowReader
{
public:
    /// \param names  of the members; empty wants those of the first object, and nothing else may follow then
    JsonRowReader(QIODevice& device, QByteArrayList names);

    bool next(CsvRow& row) override;
    qint64 readSizeBytes() const override { return m_lines.readSizeBytes(); }

private:
    bool readObject();
    void takeNames();
    void fillRow(CsvRow& row) const;
    qsizetype cellOf(const QByteArray& name, qsizetype expected) const;

    InputLines m_lines;
    QByteArrayList m_names;
    bool m_wantsAll;
    bool m_isBeforeHeader = true;
    bool m_isWaiting = false; ///< for the next row, the present object
    QByteArray m_line;
    qint64 m_lineNumber = 0;
    std::vector<JsonMember> m_members; ///< of the present object
};

} // namespace Kiv::Cli
