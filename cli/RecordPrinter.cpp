#include "RecordPrinter.h"

#include "Errors.h"
#include "TimeText.h"
#include "ValueText.h"
#include "Words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

void put(const QByteArray& bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
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
        put(m_showsKinds ? "timestamp,value,kind,overwritten\n" : "timestamp,value\n");
    else if (m_format == OutputFormat::Json)
        put("[");
    else if (m_recordCount > 0)
        put(m_showsKinds ? "timestamp                 kind         overwritten               value\n"
                         : "timestamp                 value\n");
}

void RecordPrinter::printTableRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                  const QByteArray& overwrittenAt) const
{
    constexpr qsizetype kKindWidth = 13;
    constexpr qsizetype kTimeWidth = 26;
    put(formatTime(record.timestamp).toLatin1() + "  ");
    if (m_showsKinds)
        put(kind.leftJustified(kKindWidth) +
            (overwrittenAt.isEmpty() ? QByteArray("-") : overwrittenAt).leftJustified(kTimeWidth));
    put(tableCell(record.value) + '\n');
}

void RecordPrinter::printCsvRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                const QByteArray& overwrittenAt) const
{
    put(formatTime(record.timestamp).toLatin1() + ',' + csvCell(record.value));
    put(m_showsKinds ? ',' + kind + ',' + overwrittenAt + '\n' : QByteArray("\n"));
}

void RecordPrinter::printJsonRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                                 const QByteArray& overwrittenAt) const
{
    put(QByteArray(m_recordCount == 1 ? "\n" : ",\n") + "{\"timestamp\":\"" +
        formatTime(record.timestamp).toLatin1() + "\",\"value\":" + valueJson(record.value));
    if (m_showsKinds)
        put(",\"kind\":\"" + kind + '"');
    if (!overwrittenAt.isEmpty())
        put(",\"overwritten\":\"" + overwrittenAt + '"');
    put("}");
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

void RecordPrinter::finish()
{
    if (m_recordCount == 0)
        begin();
    if (m_format == OutputFormat::Json)
        put(m_recordCount == 0 ? "]\n" : "\n]\n");
    flushOutput();
}

} // namespace Kiv::Cli
