#include "CsvReader.h"

#include "Errors.h"

#include <algorithm>
#include <new>

namespace Kiv::Cli
{

namespace
{

bool isBlank(const QByteArray& line, char separator)
{
    return std::all_of(line.begin(), line.end(), [separator](char character) {
        return character != separator &&
               (character == ' ' || character == '\t' || character == '\r' || character == '\n');
    });
}

/// A cell without the blanks around it, as the parser trims it.
QByteArrayView trimmedCell(const char* begin, const char* end)
{
    const auto isCellBlank = [](char character) { return character == ' ' || character == '\t'; };
    while (begin != end && isCellBlank(*begin))
        ++begin;
    while (begin != end && isCellBlank(end[-1]))
        --end;
    return begin == end ? QByteArrayView() : QByteArrayView(begin, end);
}

} // namespace

CsvReader::CsvReader(QIODevice& device, char separator) : m_lines(device), m_separator(separator)
{
    startParser();
}

void CsvReader::startParser()
{
    // Strict: a lone quote inside a cell would otherwise swallow the rows up to the next quote.
    if (csv_init(&m_parser, CSV_STRICT | CSV_EMPTY_IS_NULL) != 0)
        throw std::bad_alloc();
    csv_set_delim(&m_parser, static_cast<unsigned char>(m_separator));
    // Its buffer grows by this step each time, which makes long cells quadratic with the small default.
    csv_set_blk_size(&m_parser, 1'048'576);
}

CsvReader::~CsvReader()
{
    csv_free(&m_parser);
}

/// The parser is in the middle of something that is no row, and begins anew with the next line.
void CsvReader::failAtLine(const QString& text)
{
    csv_free(&m_parser);
    startParser();
    throw BadLine(m_lineNumber, text);
}

bool CsvReader::next(CsvRow& row)
{
    while (splitPlainLine(row)) {
        const bool isBlankLine = row.cells.size() == 1 && row.cells.front().isNull();
        if (!isBlankLine)
            return true;
    }
    return nextParsed(row);
}

/// Splits the next line where it lies, when it lies there as a whole and without anything that needs the parser.
/// \return false, with nothing taken, for any other line and for the first one
bool CsvReader::splitPlainLine(CsvRow& row)
{
    row.cells.clear();
    const char* const blockEnd = m_lines.end();
    const char* at = m_lines.begin();
    const auto isPlain = [separator = m_separator](char character) {
        return character != separator && character != '\n' && character != '"' && character != '\r';
    };
    for (bool isInLine = m_lineNumber > 0; isInLine; ++at) {
        const char* const begin = at;
        while (at != blockEnd && isPlain(*at))
            ++at;
        const bool isCrLf = blockEnd - at > 1 && at[0] == '\r' && at[1] == '\n';
        if (at == blockEnd || *at == '"' || (*at == '\r' && !isCrLf))
            return false;
        row.cells.push_back(trimmedCell(begin, at));
        isInLine = *at == m_separator;
        if (isCrLf)
            ++at;
    }
    if (row.cells.empty())
        return false;
    m_lines.takeTo(at);
    row.lineNumber = ++m_lineNumber;
    return true;
}

/// The next row by way of the parser.
bool CsvReader::nextParsed(CsvRow& row)
{
    m_cells.clear();
    m_rowLineNumber = 0;
    m_rowSizeBytes = 0;
    m_endedRowCount = 0;
    while (m_endedRowCount == 0) {
        QByteArray line;
        if (!readLine(line)) {
            if (m_rowLineNumber == 0)
                return false;
            throw BadLine::last(m_rowLineNumber,
                                QStringLiteral("a quoted cell that begins in this row has no end; "
                                               "close the quotes"));
        }
        if (m_rowLineNumber != 0 || !isBlank(line, m_separator))
            parseLine(line);
    }
    row.lineNumber = m_rowLineNumber;
    row.cells.assign(m_cells.begin(), m_cells.end());
    return true;
}

bool CsvReader::readLine(QByteArray& line)
{
    line = m_lines.takeLine();
    if (line.isEmpty())
        return false;
    if (++m_lineNumber == 1)
        InputLines::checkEncoding(line);
    m_rowSizeBytes += line.size();
    if (m_rowSizeBytes > InputLines::kMaxRowSizeBytes)
        throw BadLine::last(
            m_rowLineNumber != 0 ? m_rowLineNumber : m_lineNumber,
            QStringLiteral("the row is longer than %1 bytes; a closing quote may be missing, or "
                           "this is no CSV file")
                .arg(InputLines::kMaxRowSizeBytes));
    if (!line.endsWith('\n'))
        line += '\n';
    return true;
}

void CsvReader::parseLine(const QByteArray& line)
{
    if (m_rowLineNumber == 0)
        m_rowLineNumber = m_lineNumber;
    const QByteArrayView bytes(line);
    const auto textEnd = std::find_if_not(bytes.rbegin(), bytes.rend(), [](char character) {
        return QByteArrayView(" \t\r\n").contains(character);
    });
    const qsizetype textSizeBytes = std::distance(bytes.begin(), textEnd.base());
    parse(bytes.first(textSizeBytes));
    const bool isEndedInside = m_endedRowCount > 0;
    parse(bytes.sliced(textSizeBytes));
    if (isEndedInside || m_endedRowCount > 1)
        failAtLine(QStringLiteral("a carriage return ends a row inside the line; convert the line "
                                  "ends to LF or CRLF"));
}

void CsvReader::parse(QByteArrayView bytes)
{
    const auto sizeBytes = static_cast<std::size_t>(bytes.size());
    if (csv_parse(&m_parser, bytes.data(), sizeBytes, takeCell, takeRowEnd, this) == sizeBytes)
        return;
    if (csv_error(&m_parser) != CSV_EPARSE)
        throw std::bad_alloc();
    failAtLine(QStringLiteral("column %1: a quote stands where none may be; put the whole cell "
                              "into quotes and double the quotes inside it")
                   .arg(m_cells.size() + 1));
}

void CsvReader::takeCell(void* text, std::size_t sizeBytes, void* reader)
{
    auto& self = *static_cast<CsvReader*>(reader);
    if (!text)
        self.m_cells.emplace_back();
    else
        self.m_cells.emplace_back(static_cast<const char*>(text), static_cast<qsizetype>(sizeBytes));
}

void CsvReader::takeRowEnd(int, void* reader)
{
    ++static_cast<CsvReader*>(reader)->m_endedRowCount;
}

} // namespace Kiv::Cli
