#include "RecordPrinter.h"

#include "Errors.h"
#include "ValueText.h"
#include "Words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

/// What stands around time and value in a row without kinds.
struct RowFrame {
    QByteArrayView firstStart;
    QByteArrayView start; ///< of all rows but the first
    QByteArrayView middle;
    QByteArrayView end;
    QByteArrayView null; ///< in the place of a value
};

RowFrame frameOf(OutputFormat format)
{
    switch (format) {
    case OutputFormat::Table:
        return {"", "", "  ", "\n", "-"};
    case OutputFormat::Csv:
        return {"", "", ",", "\n", ""};
    case OutputFormat::Json:
        break;
    }
    return {"\n{\"timestamp\":\"", ",\n{\"timestamp\":\"", "\",\"value\":", "}", "null"};
}

char* writeBytes(QByteArrayView bytes, char* to)
{
    return std::copy(bytes.begin(), bytes.end(), to);
}

template <typename Integer>
char* writeInteger(Integer value, char* to)
{
    return std::to_chars(to, to + kMaxNumberLength, value).ptr;
}

/// JSON has no word for what is no finite number.
char* writeJsonNumber(double value, char* to)
{
    if (std::isfinite(value))
        return writeNumber(value, to);
    *to++ = '"';
    to = writeNumber(value, to);
    *to++ = '"';
    return to;
}

/// Quotes what the CSV reader would split, trim, or take for a missing value.
QByteArray csvCell(const QVariant& value)
{
    if (value.isNull())
        return {};
    QByteArray cell = valueText(value).toUtf8();
    const bool isSplit = std::any_of(cell.begin(), cell.end(), [](char character) {
        return QByteArrayView(",\"\r\n").contains(character);
    });
    if (!cell.isEmpty() && !isSplit && cell.trimmed().size() == cell.size())
        return cell;
    return '"' + cell.replace('"', "\"\"") + '"';
}

QByteArray tableCell(const QVariant& value)
{
    return value.isNull() ? QByteArray("-") : escapedControls(valueText(value)).toUtf8();
}

} // namespace

OutputFormat parseOutputFormat(const QString& word)
{
    if (word.isEmpty())
        return ::isatty(STDOUT_FILENO) ? OutputFormat::Table : OutputFormat::Csv;
    if (word == QLatin1String("table"))
        return OutputFormat::Table;
    if (word == QLatin1String("csv"))
        return OutputFormat::Csv;
    if (word == QLatin1String("json"))
        return OutputFormat::Json;
    throw unknownWord(QStringLiteral("--format"), word,
                      {QStringLiteral("table"), QStringLiteral("csv"), QStringLiteral("json")});
}

void RecordPrinter::begin()
{
    if (m_format == OutputFormat::Csv)
        m_output.put(m_showsKinds ? "timestamp,value,kind,overwritten\n" : "timestamp,value\n");
    else if (m_format == OutputFormat::Json)
        m_output.put("[");
    else if (m_recordCount > 0)
        m_output.put(m_showsKinds ? "timestamp                 kind         overwritten               value\n"
                                  : "timestamp                 value\n");
}

void RecordPrinter::putTime(qint64 timestampMs)
{
    m_output.commit(m_times.write(timestampMs, m_output.room()));
}

void RecordPrinter::printTableRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                  const QByteArray& overwrittenAt)
{
    constexpr qsizetype kKindWidth = 13;
    constexpr qsizetype kTimeWidth = 26;
    putTime(record.timestamp);
    m_output.put("  ");
    if (m_showsKinds)
        m_output.put(kind.leftJustified(kKindWidth) +
                     (overwrittenAt.isEmpty() ? QByteArray("-") : overwrittenAt).leftJustified(kTimeWidth));
    m_output.put(tableCell(record.value) + '\n');
}

void RecordPrinter::printCsvRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                const QByteArray& overwrittenAt)
{
    putTime(record.timestamp);
    m_output.put(',' + csvCell(record.value));
    m_output.put(m_showsKinds ? ',' + kind + ',' + overwrittenAt + '\n' : QByteArray("\n"));
}

void RecordPrinter::printJsonRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                 const QByteArray& overwrittenAt)
{
    const RowFrame frame = frameOf(m_format);
    m_output.put(m_recordCount == 1 ? frame.firstStart : frame.start);
    putTime(record.timestamp);
    m_output.put(frame.middle);
    m_output.put(valueJson(record.value));
    if (m_showsKinds)
        m_output.put(",\"kind\":\"" + kind + '"');
    if (!overwrittenAt.isEmpty())
        m_output.put(",\"overwritten\":\"" + overwrittenAt + '"');
    m_output.put(frame.end);
}

void RecordPrinter::print(const Interpolate::DataRecord& record, RowKind kind,
                          std::optional<qint64> overwrittenAtMs)
{
    constexpr std::array<const char*, 3> kKindNames = {"record", "late", "overwritten"};
    if (++m_recordCount == 1)
        begin();
    const QByteArray kindName = kKindNames[static_cast<std::size_t>(kind)];
    const QByteArray overwrittenAt = overwrittenAtMs ? formatTime(*overwrittenAtMs).toLatin1() : QByteArray();
    switch (m_format) {
    case OutputFormat::Table:
        printTableRow(record, kindName, overwrittenAt);
        break;
    case OutputFormat::Csv:
        printCsvRow(record, kindName, overwrittenAt);
        break;
    case OutputFormat::Json:
        printJsonRow(record, kindName, overwrittenAt);
        break;
    }
}

/// \param writeValue  writes the value of an index that is not null, and returns the end of its text
template <typename WriteValue>
void RecordPrinter::printRows(const TSFileColumns& block, std::size_t count, const WriteValue& writeValue)
{
    const RowFrame frame = frameOf(m_format);
    for (std::size_t i = 0; i < count; ++i) {
        if (++m_recordCount == 1)
            begin();
        char* to = m_output.room();
        to = writeBytes(m_recordCount == 1 ? frame.firstStart : frame.start, to);
        to = m_times.write(block.timestamps[i], to);
        to = writeBytes(frame.middle, to);
        to = block.isNull[i] != 0 ? writeBytes(frame.null, to) : writeValue(i, to);
        m_output.commit(writeBytes(frame.end, to));
    }
}

void RecordPrinter::print(const TSFileColumns& block, std::size_t count, QMetaType::Type type)
{
    const auto integerAt = [&block](std::size_t i) {
        return block.kind == TSFileColumns::Kind::Integers ? block.integers[i]
                                                           : static_cast<qint64>(block.doubles[i]);
    };
    if (type == QMetaType::Bool)
        printRows(block, count, [&](std::size_t i, char* to) {
            return writeBytes(integerAt(i) != 0 ? "true" : "false", to);
        });
    else if (type == QMetaType::ULongLong)
        printRows(block, count, [&](std::size_t i, char* to) {
            return writeInteger(static_cast<quint64>(integerAt(i)), to);
        });
    else if (type != QMetaType::Double)
        printRows(block, count, [&](std::size_t i, char* to) { return writeInteger(integerAt(i), to); });
    else if (m_format == OutputFormat::Json)
        printRows(block, count,
                  [&](std::size_t i, char* to) { return writeJsonNumber(block.doubles[i], to); });
    else
        printRows(block, count, [&](std::size_t i, char* to) { return writeNumber(block.doubles[i], to); });
}

void RecordPrinter::finish()
{
    if (m_recordCount == 0)
        begin();
    if (m_format == OutputFormat::Json)
        m_output.put(m_recordCount == 0 ? "]\n" : "\n]\n");
    m_output.flush();
}

} // namespace Kiv::Cli
