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
    m_row = CsvRow();
    m_rowSizeBytes = 0;
    m_endedRowCount = 0;
    while (m_endedRowCount == 0) {
        QByteArray line;
        if (!readLine(line)) {
            if (m_row.lineNumber == 0)
                return false;
            throw BadLine(m_row.lineNumber,
                          QStringLiteral("a quoted cell that begins in this row has no end; "
                                         "close the quotes"));
        }
        if (m_row.lineNumber != 0 || !isBlank(line, m_separator))
            parseLine(line);
    }
    row = std::move(m_row);
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
        throw BadLine(m_row.lineNumber != 0 ? m_row.lineNumber : m_lineNumber,
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
    if (m_row.lineNumber == 0)
        m_row.lineNumber = m_lineNumber;
    const auto sizeBytes = static_cast<std::size_t>(line.size());
    if (csv_parse(&m_parser, line.constData(), sizeBytes, takeCell, takeRowEnd, this) != sizeBytes) {
        if (csv_error(&m_parser) != CSV_EPARSE)
            throw std::bad_alloc();
        throw BadLine(m_lineNumber,
                      QStringLiteral("column %1: a quote stands where none may be; put the whole cell "
                                     "into quotes and double the quotes inside it")
                          .arg(m_row.cells.size() + 1));
    }
    if (m_endedRowCount > 1)
        throw BadLine(m_lineNumber,
                      QStringLiteral("a carriage return ends a row inside the line; convert the line "
                                     "ends to LF or CRLF"));
}

void CsvReader::takeCell(void* text, std::size_t sizeBytes, void* reader)
{
    auto& self = *static_cast<CsvReader*>(reader);
    if (!text)
        self.m_row.cells.emplace_back();
    else
        self.m_row.cells.emplace_back(static_cast<const char*>(text), static_cast<qsizetype>(sizeBytes));
}

void CsvReader::takeRowEnd(int, void* reader)
{
    ++static_cast<CsvReader*>(reader)->m_endedRowCount;
}

} // namespace Kiv::Cli
