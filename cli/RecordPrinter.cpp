#include "RecordPrinter.h"

#include "Errors.h"
#include "TimeText.h"
#include "ValueText.h"
#include "Words.h"

#include <algorithm>
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
        put("timestamp,value\n");
    else if (m_format == OutputFormat::Json)
        put("[");
    else if (m_recordCount > 0)
        put("timestamp                 value\n");
}

void RecordPrinter::print(const Interpolate::DataRecord& record)
{
    if (++m_recordCount == 1)
        begin();
    const QByteArray time = formatTime(record.timestamp).toLatin1();
    switch (m_format) {
    case OutputFormat::Table:
        put(time + "  " + tableCell(record.value) + '\n');
        break;
    case OutputFormat::Csv:
        put(time + ',' + csvCell(record.value) + '\n');
        break;
    case OutputFormat::Json:
        put(QByteArray(m_recordCount == 1 ? "\n" : ",\n") + "{\"timestamp\":\"" + time +
            "\",\"value\":" + valueJson(record.value) + '}');
        break;
    }
}

void RecordPrinter::finish()
{
    if (m_recordCount == 0)
        begin();
    if (m_format == OutputFormat::Json)
        put(m_recordCount == 0 ? "]\n" : "\n]\n");
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw CommandError(ExitCode::FileError, QStringLiteral("cannot write to standard output"));
}

} // namespace Kiv::Cli
