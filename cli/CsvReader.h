#pragma once

// Owns the way from the bytes of a CSV file to rows of cells that know their line.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <csv.h>

#include <exception>
#include <vector>

class QIODevice;

namespace Kiv::Cli
{

/// What is wrong with a line; the caller adds the file's name.
class BadLine : public std::exception
{
public:
    BadLine(qint64 lineNumber, QString text) : m_lineNumber(lineNumber), m_text(std::move(text)) {}

    qint64 lineNumber() const { return m_lineNumber; }
    const QString& text() const { return m_text; }
    const char* what() const noexcept override { return "bad line"; }

private:
    qint64 m_lineNumber;
    QString m_text;
};

/// The cells lie in the reader's memory, until it reads the next row.
struct CsvRow {
    qint64 lineNumber = 0;             ///< where the row begins, from 1
    std::vector<QByteArrayView> cells; ///< a null view for an empty cell without quotes
};

/// Reads RFC 4180 CSV line by line in bounded memory. LF and CRLF end a line, quoted cells may span lines,
/// blanks around cells without quotes are dropped, empty lines are passed over, a byte order mark as well.
class CsvReader
{
public:
    CsvReader(QIODevice& device, char separator);
    ~CsvReader();

    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    /// \return false at the end of the file
    /// \throws BadLine; the reader cannot go on afterwards
    bool next(CsvRow& row);

private:
    bool splitPlainLine(CsvRow& row);
    bool nextParsed(CsvRow& row);
    bool readLine(QByteArray& line);
    QByteArray takeLine();
    bool readBlock();
    void parseLine(const QByteArray& line);
    void parse(QByteArrayView bytes);
    void checkEncoding(QByteArray& firstLine) const;
    static void takeCell(void* text, std::size_t sizeBytes, void* reader);
    static void takeRowEnd(int character, void* reader);

    QIODevice& m_device;
    csv_parser m_parser{};
    char m_separator;
    QByteArray m_block; ///< bytes of the device that are read ahead
    qsizetype m_blockPosition = 0;
    qint64 m_lineNumber = 0;
    // The row that the parser is in.
    qint64 m_rowLineNumber = 0; ///< 0 before its first line
    qint64 m_rowSizeBytes = 0;
    int m_endedRowCount = 0;
    std::vector<QByteArray> m_cells;
};

} // namespace Kiv::Cli
