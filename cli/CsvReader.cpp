#include "CsvReader.h"

#include "Errors.h"

#include <QFileDevice>
#include <QIODevice>

#include <algorithm>
#include <new>

namespace Kiv::Cli
{

namespace
{

// More than any sensible row; what exceeds it is a missing quote, or no text file at all.
constexpr qint64 kMaxRowSizeBytes = 16'777'216;

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

CsvReader::CsvReader(QIODevice& device, char separator) : m_device(device), m_separator(separator)
{
    // Strict: a lone quote inside a cell would otherwise swallow the rows up to the next quote.
    if (csv_init(&m_parser, CSV_STRICT | CSV_EMPTY_IS_NULL) != 0)
        throw std::bad_alloc();
    csv_set_delim(&m_parser, static_cast<unsigned char>(separator));
    // Its buffer grows by this step each time, which makes long cells quadratic with the small default.
    csv_set_blk_size(&m_parser, 1'048'576);
}

CsvReader::~CsvReader()
{
    csv_free(&m_parser);
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
    const char* const blockEnd = m_block.constData() + m_block.size();
    const char* at = m_block.constData() + m_blockPosition;
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
    m_blockPosition = at - m_block.constData();
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
            throw BadLine(m_rowLineNumber, QStringLiteral("a quoted cell that begins in this row has no end; "
                                                          "close the quotes"));
        }
        if (m_rowLineNumber != 0 || !isBlank(line, m_separator))
            parseLine(line);
    }
    row.lineNumber = m_rowLineNumber;
    row.cells.assign(m_cells.begin(), m_cells.end());
    return true;
}

/// The next line with its end, cut off soon after the size that no row may have; empty at the end of the
/// file.
QByteArray CsvReader::takeLine()
{
    QByteArray line;
    while (!line.endsWith('\n') && line.size() <= kMaxRowSizeBytes) {
        if (m_blockPosition == m_block.size() && !readBlock())
            break;
        const qsizetype lineEnd = m_block.indexOf('\n', m_blockPosition);
        const qsizetype end = lineEnd < 0 ? m_block.size() : lineEnd + 1;
        line.append(m_block.constData() + m_blockPosition, end - m_blockPosition);
        m_blockPosition = end;
    }
    return line;
}

bool CsvReader::readBlock()
{
    constexpr qint64 kBlockSizeBytes = 65'536;
    m_block = m_device.read(kBlockSizeBytes);
    m_blockPosition = 0;
    const auto* const file = qobject_cast<const QFileDevice*>(&m_device);
    if (file && file->error() != QFileDevice::NoError)
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot read the input: %1").arg(file->errorString()));
    return !m_block.isEmpty();
}

bool CsvReader::readLine(QByteArray& line)
{
    line = takeLine();
    if (line.isEmpty())
        return false;
    if (++m_lineNumber == 1)
        checkEncoding(line);
    m_rowSizeBytes += line.size();
    if (m_rowSizeBytes > kMaxRowSizeBytes)
        throw BadLine(m_rowLineNumber != 0 ? m_rowLineNumber : m_lineNumber,
                      QStringLiteral("the row is longer than %1 bytes; a closing quote may be missing, or "
                                     "this is no CSV file")
                          .arg(kMaxRowSizeBytes));
    if (!line.endsWith('\n'))
        line += '\n';
    return true;
}

void CsvReader::checkEncoding(QByteArray& firstLine) const
{
    if (firstLine.startsWith("\xff\xfe") || firstLine.startsWith("\xfe\xff"))
        throw BadLine(1, QStringLiteral("the file is UTF-16; convert it to UTF-8 first"));
    if (firstLine.startsWith("\xef\xbb\xbf"))
        firstLine.remove(0, 3);
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
        throw BadLine(m_lineNumber,
                      QStringLiteral("a carriage return ends a row inside the line; convert the line "
                                     "ends to LF or CRLF"));
}

void CsvReader::parse(QByteArrayView bytes)
{
    const auto sizeBytes = static_cast<std::size_t>(bytes.size());
    if (csv_parse(&m_parser, bytes.data(), sizeBytes, takeCell, takeRowEnd, this) == sizeBytes)
        return;
    if (csv_error(&m_parser) != CSV_EPARSE)
        throw std::bad_alloc();
    throw BadLine(m_lineNumber,
                  QStringLiteral("column %1: a quote stands where none may be; put the whole cell "
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
