#pragma once

// Owns the way from the bytes of a CSV file to rows of cells that know their line.

#include "RowReader.h"

#include <csv.h>

class QIODevice;

namespace Kiv::Cli
{

/// Reads RFC 4180 CSV line by line in bounded memory. LF and CRLF end a line, quoted cells may span lines,
/// blanks around cells without quotes are dropped, empty lines are passed over, a byte order mark as well.
class CsvReader : public RowReader
{
public:
    CsvReader(QIODevice& device, char separator);
    ~CsvReader() override;

    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    bool next(CsvRow& row) override;
    qint64 readSizeBytes() const override { return m_lines.readSizeBytes(); }

private:
    bool splitPlainLine(CsvRow& row);
    bool nextParsed(CsvRow& row);
    bool readLine(QByteArray& line);
    void parseLine(const QByteArray& line);
    void parse(QByteArrayView bytes);
    void startParser();
    [[noreturn]] void failAtLine(const QString& text);
    static void takeCell(void* text, std::size_t sizeBytes, void* reader);
    static void takeRowEnd(int character, void* reader);

    InputLines m_lines;
    csv_parser m_parser{};
    char m_separator;
    qint64 m_lineNumber = 0;
    // The row that the parser is in.
    qint64 m_rowLineNumber = 0; ///< 0 before its first line
    qint64 m_rowSizeBytes = 0;
    int m_endedRowCount = 0;
    std::vector<QByteArray> m_cells;
};

} // namespace Kiv::Cli
