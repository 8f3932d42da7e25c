#include "RecordPrinter.h"

#include "Errors.h"
#include "RowPrinter.h"
#include "Terminal.h"
#include "ValueText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace Kiv::Cli
{

namespace
{

constexpr qsizetype kKindWidth = 13;
constexpr const char* kTimeKey = "\"timestamp\":\"";

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
    case OutputFormat::Tsv:
        return {"", "", "\t", "\n", ""};
    case OutputFormat::Json:
        return {"\n{", ",\n{", "\",\"value\":", "}", "null"};
    case OutputFormat::Ndjson:
        break;
    }
    return {"{", "{", "\",\"value\":", "}\n", "null"};
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

QByteArray tableCell(const QVariant& value)
{
    return value.isNull() ? QByteArray("-") : escapedControls(valueText(value)).toUtf8();
}

} // namespace

void RecordPrinter::showSeries(const QString& longestName)
{
    m_showsSeries = true;
    m_seriesWidth = std::max(textWidth(longestName), static_cast<int>(qstrlen("series")));
}

void RecordPrinter::setSeries(const QString& name)
{
    if (!m_showsSeries)
        return;
    if (isSeparated(m_format))
        m_series = separatedCell(name, separatorOf(m_format)) + separatorOf(m_format);
    else if (isJson(m_format))
        m_series = "\"series\":" + valueJson(name) + ',';
    else
        m_series = name.toUtf8() + QByteArray(std::max(0, m_seriesWidth - textWidth(name)) + 2, ' ');
}

void RecordPrinter::describe(const QString& unit, const QString& description)
{
    m_unit = unit;
    m_description = description;
}

void RecordPrinter::begin()
{
    if (m_format == OutputFormat::Table && m_recordCount > 0)
        beginTable();
    if (m_format == OutputFormat::Json)
        m_output.put("[");
    if (!isSeparated(m_format))
        return;
    QByteArray head = m_showsSeries ? "series,timestamp,value" : "timestamp,value";
    if (m_showsKinds)
        head += ",kind,overwritten";
    m_output.put(head.replace(',', separatorOf(m_format)) + '\n');
}

void RecordPrinter::beginTable()
{
    // As long as the times of the zone are at present.
    const qsizetype timeWidth = formatTime(0).size();
    if (!m_description.isEmpty())
        m_output.put(escapedControls(m_description).toUtf8() + '\n');
    QByteArray head;
    if (m_showsSeries)
        head += QByteArray("series").leftJustified(m_seriesWidth + 2);
    head += QByteArray("timestamp").leftJustified(timeWidth + 2);
    if (m_showsKinds)
        head += QByteArray("kind").leftJustified(kKindWidth) +
                QByteArray("overwritten").leftJustified(timeWidth + 2);
    head += "value";
    if (!m_unit.isEmpty())
        head += " [" + escapedControls(m_unit).toUtf8() + ']';
    m_output.put(styled(Stream::Output, Style::Bold, head) + '\n');
}

void RecordPrinter::putTime(qint64 timestampMs)
{
    m_output.commit(m_times.write(timestampMs, m_output.room()));
}

void RecordPrinter::printTableRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                  const QByteArray& overwrittenAt)
{
    m_output.put(m_series);
    putTime(record.timestamp);
    m_output.put("  ");
    if (m_showsKinds)
        m_output.put(kind.leftJustified(kKindWidth) +
                     (overwrittenAt.isEmpty() ? QByteArray("-") : overwrittenAt)
                         .leftJustified(formatTime(0).size() + 2));
    m_output.put(tableCell(record.value) + '\n');
}

void RecordPrinter::printSeparatedRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                      const QByteArray& overwrittenAt)
{
    const char separator = separatorOf(m_format);
    m_output.put(m_series);
    putTime(record.timestamp);
    m_output.put(separator + separatedCell(record.value, separator));
    m_output.put(m_showsKinds ? separator + kind + separator + overwrittenAt + '\n' : QByteArray("\n"));
}

void RecordPrinter::printJsonRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                 const QByteArray& overwrittenAt)
{
    const RowFrame frame = frameOf(m_format);
    m_output.put(m_recordCount == 1 ? frame.firstStart : frame.start);
    m_output.put(m_series);
    m_output.put(kTimeKey);
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
    case OutputFormat::Tsv:
        printSeparatedRow(record, kindName, overwrittenAt);
        break;
    case OutputFormat::Json:
    case OutputFormat::Ndjson:
        printJsonRow(record, kindName, overwrittenAt);
        break;
    }
}

/// \param writeValue  writes the value of an index that is not null, and returns the end of its text
template <typename WriteValue>
void RecordPrinter::printRows(const TSFileColumns& block, std::size_t count, const WriteValue& writeValue)
{
    const RowFrame frame = frameOf(m_format);
    const QByteArray prefix = m_series + (isJson(m_format) ? kTimeKey : "");
    const QByteArray firstStart = frame.firstStart.toByteArray() + prefix;
    const QByteArray start = frame.start.toByteArray() + prefix;
    for (std::size_t i = 0; i < count; ++i) {
        if (++m_recordCount == 1)
            begin();
        m_output.put(m_recordCount == 1 ? firstStart : start);
        char* to = m_output.room();
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
    else if (isJson(m_format))
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
