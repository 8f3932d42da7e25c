#include "ImportFormat.h"

#include "Errors.h"
#include "TimeText.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

ColumnChoice parseColumn(const QString& option, const QString& text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: a column is missing; write a number from 1 or a name").arg(option));
    const bool isNumber = std::all_of(trimmed.begin(), trimmed.end(),
                                      [](QChar digit) { return digit >= u'0' && digit <= u'9'; });
    if (!isNumber)
        return {trimmed, 0};
    const uint number = trimmed.toUInt();
    if (number < 1)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: there is no column %2; columns count from 1").arg(option, trimmed));
    return {QString(), number - 1};
}

QStringList headerNames(const CsvRow& header)
{
    QStringList names;
    for (const QByteArrayView cell : header.cells)
        names += QString::fromUtf8(cell).trimmed();
    return names;
}

void resolveColumn(ColumnChoice& column, const QString& option, const QStringList& names,
                   const QString& fileName)
{
    if (column.name.isEmpty())
        return;
    const qsizetype count = names.count(column.name);
    if (count == 0)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1: the header of %2 has no column %3; its columns are: %4")
                               .arg(option, fileName, quoted(column.name),
                                    escapedControls(names.join(QStringLiteral(", ")))));
    if (count > 1)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1: the header of %2 has %3 columns %4; choose one by its number")
                               .arg(option, fileName, QString::number(count), quoted(column.name)));
    column.index = static_cast<std::size_t>(names.indexOf(column.name));
}

QString columnLabel(const ColumnChoice& column)
{
    const QString number = QString::number(column.index + 1);
    return column.name.isEmpty() ? number : QStringLiteral("%1 (%2)").arg(number, column.name);
}

std::string_view viewOf(QByteArrayView bytes)
{
    return {bytes.data(), static_cast<std::size_t>(bytes.size())};
}

} // namespace

ImportColumns::ImportColumns(const QString& timeText, const QString& valueText)
    : m_value(parseColumn(QStringLiteral("--value-col"), valueText))
{
    const QStringList parts = timeText.split(u',');
    if (parts.size() > 2)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--time-col: %1 are %2 columns; two at most can be joined")
                               .arg(quoted(timeText), QString::number(parts.size())));
    for (const QString& part : parts)
        m_time.push_back(parseColumn(QStringLiteral("--time-col"), part));
}

bool ImportColumns::needHeader() const
{
    return !m_value.name.isEmpty() ||
           std::any_of(m_time.begin(), m_time.end(),
                       [](const ColumnChoice& column) { return !column.name.isEmpty(); });
}

void ImportColumns::resolve(const CsvRow& header, const QString& fileName)
{
    const QStringList names = headerNames(header);
    for (ColumnChoice& column : m_time)
        resolveColumn(column, QStringLiteral("--time-col"), names, fileName);
    resolveColumn(m_value, QStringLiteral("--value-col"), names, fileName);
}

std::optional<QByteArrayView> ImportColumns::timeText(const CsvRow& row)
{
    for (const ColumnChoice& column : m_time) {
        if (column.index >= row.cells.size())
            return std::nullopt;
    }
    const QByteArrayView first = row.cells[m_time.front().index].trimmed();
    if (m_time.size() == 1)
        return first;
    m_joinedTime = first.toByteArray() + ' ' + row.cells[m_time.back().index].trimmed().toByteArray();
    return m_joinedTime;
}

std::optional<QByteArrayView> ImportColumns::valueText(const CsvRow& row) const
{
    if (m_value.index >= row.cells.size())
        return std::nullopt;
    return row.cells[m_value.index];
}

QString ImportColumns::timeLabel() const
{
    if (m_time.size() == 1)
        return QStringLiteral("column ") + columnLabel(m_time[0]);
    return QStringLiteral("columns %1 and %2").arg(columnLabel(m_time[0]), columnLabel(m_time[1]));
}

QString ImportColumns::valueLabel() const
{
    return QStringLiteral("column ") + columnLabel(m_value);
}

TimeFormat::TimeFormat(const QString& text)
{
    static const QRegularExpression kLiteralText(QStringLiteral("'[^']*'"));
    static const QRegularExpression kShortYear(QStringLiteral("(?<!y)yy(?!y)"));
    if (text == QLatin1String("auto")) {
        m_kind = Kind::Auto;
    } else if (text == QLatin1String("iso")) {
        m_kind = Kind::Iso;
    } else if (text == QLatin1String("ms")) {
        m_kind = Kind::Milliseconds;
    } else if (text == QLatin1String("s")) {
        m_kind = Kind::Seconds;
    } else {
        m_kind = Kind::Pattern;
        m_pattern = text;
        const QString fields = QString(text).remove(kLiteralText);
        m_hasShortYear = fields.contains(kShortYear);
        if (!fields.contains(QLatin1String("yy")) || !fields.contains(u'd') || !fields.contains(u'M'))
            throw CommandError(
                ExitCode::Usage,
                QStringLiteral(
                    "--time-format: %1 is none of auto, iso, ms, s, and no pattern with day, month and "
                    "year such as d/M/yyyy H:mm:ss")
                    .arg(quoted(text)));
    }
}

std::optional<qint64> TimeFormat::parse(QByteArrayView cell) const
{
    switch (m_kind) {
    case Kind::Iso:
        return parseIsoTime(viewOf(cell));
    case Kind::Milliseconds:
        return parseMilliseconds(viewOf(cell));
    case Kind::Seconds:
        return parseSeconds(viewOf(cell));
    case Kind::Pattern:
        return parsePattern(cell);
    case Kind::Auto:
        break;
    }
    return parseTime(viewOf(cell));
}

std::optional<qint64> TimeFormat::parsePattern(QByteArrayView cell) const
{
    // The program's host zone is UTC, so a pattern without a zone reads UTC.
    QDateTime time = QDateTime::fromString(QString::fromUtf8(cell), m_pattern);
    constexpr int kFirstShortYear = 1970;
    // Qt reads two digits as 19yy.
    if (m_hasShortYear && time.isValid() && time.date().year() < kFirstShortYear)
        time = time.addYears(100);
    if (!time.isValid())
        return std::nullopt;
    return time.toMSecsSinceEpoch();
}

bool TimeFormat::mayMeanSeconds(QByteArrayView cell, qint64 timestampMs) const
{
    // As milliseconds these are days of early 1970, as seconds they are 1973 to 2286.
    constexpr qint64 kShortestMs = 100'000'000;
    constexpr qint64 kLongestMs = 9'999'999'999;
    return m_kind == Kind::Auto && timestampMs >= kShortestMs && timestampMs <= kLongestMs &&
           parseMilliseconds(viewOf(cell)) == timestampMs;
}

QString TimeFormat::description() const
{
    switch (m_kind) {
    case Kind::Iso:
        return QStringLiteral("ISO 8601 time (2024-05-17T13:45:12Z)");
    case Kind::Milliseconds:
        return QStringLiteral("number of milliseconds");
    case Kind::Seconds:
        return QStringLiteral("number of seconds");
    case Kind::Pattern:
        return QStringLiteral("time of the form '%1'").arg(m_pattern);
    case Kind::Auto:
        break;
    }
    return QStringLiteral("time (ISO 8601, @seconds or milliseconds; see --time-format)");
}

char parseSeparator(const QString& text)
{
    if (text == QLatin1String("tab") || text == QLatin1String("\\t") || text == QLatin1String("\t"))
        return '\t';
    const bool isUsable =
        text.size() == 1 && text[0].unicode() > 0x20 && text[0].unicode() < 0x7f && text[0] != u'"';
    if (!isUsable)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--separator: %1 is no single character such as , or ; "
                                          "(a tab is written tab)")
                               .arg(quoted(text)));
    return text[0].toLatin1();
}

} // namespace Kiv::Cli
