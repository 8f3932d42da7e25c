#include "ImportColumns.h"

#include "Errors.h"

#include <QStringList>

#include <algorithm>
#include <limits>

namespace Kiv::Cli
{

namespace
{

const QString kTimeOption = QStringLiteral("--time-col");
const QString kValueOption = QStringLiteral("--value-col");
const QString kSeriesOption = QStringLiteral("--series-col");

ColumnChoice parseColumn(const QString& option, const QString& text, bool isKeyed)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: a column is missing; write a number from 1 or a name").arg(option));
    const bool isNumber = std::all_of(trimmed.begin(), trimmed.end(),
                                      [](QChar digit) { return digit >= u'0' && digit <= u'9'; });
    if (isKeyed || !isNumber)
        return {trimmed, 0};
    const uint number = trimmed.toUInt();
    if (number < 1)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: there is no column %2; columns count from 1").arg(option, trimmed));
    return {QString(), number - 1};
}

std::vector<ColumnChoice> parseColumns(const QString& option, const QString& text, bool isKeyed)
{
    std::vector<ColumnChoice> columns;
    for (const QString& part : text.split(u','))
        columns.push_back(parseColumn(option, part, isKeyed));
    return columns;
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

std::optional<QByteArrayView> cellAt(const CsvRow& row, std::size_t index)
{
    if (index >= row.cells.size())
        return std::nullopt;
    return row.cells[index];
}

} // namespace

ImportColumns::ImportColumns(const ImportOptions& options, bool isKeyed)
    : m_isKeyed(isKeyed),
      m_isWide(options.isWide || options.valueColumns.contains(u',')),
      m_hasDefaultTime(options.timeColumns.isEmpty() && !isKeyed),
      m_hasDefaultValue(options.valueColumns.isEmpty() && !isKeyed && !m_isWide)
{
    const auto textOf = [isKeyed](const QString& given, const char* key) {
        return given.isEmpty() && isKeyed ? QString::fromLatin1(key) : given;
    };
    if (!m_hasDefaultTime)
        m_time = parseColumns(kTimeOption, textOf(options.timeColumns, "timestamp"), isKeyed);
    if (m_time.size() > 2)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--time-col: %1 are %2 columns; two at most can be joined")
                               .arg(quoted(options.timeColumns), QString::number(m_time.size())));
    if (!m_hasDefaultValue && !(m_isWide && options.valueColumns.isEmpty()))
        m_values = parseColumns(kValueOption, textOf(options.valueColumns, "value"), isKeyed);
    if (!options.seriesColumn.isEmpty())
        m_series = parseColumn(kSeriesOption, options.seriesColumn, isKeyed);
    if (m_series && m_isWide)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--series-col: the columns of a wide file are series already; "
                                          "give either --series-col or several --value-col"));
    if (!needHeader())
        setDefaults(std::numeric_limits<std::size_t>::max());
}

bool ImportColumns::needHeader() const
{
    const auto isNamed = [](const ColumnChoice& column) { return !column.name.isEmpty(); };
    return m_isWide || (m_series && isNamed(*m_series)) ||
           std::any_of(m_time.begin(), m_time.end(), isNamed) ||
           std::any_of(m_values.begin(), m_values.end(), isNamed);
}

QByteArrayList ImportColumns::keys() const
{
    QByteArrayList keys;
    if (m_values.empty())
        return keys;
    const auto add = [&keys](const ColumnChoice& column) {
        if (!keys.contains(column.name.toUtf8()))
            keys += column.name.toUtf8();
    };
    std::for_each(m_time.begin(), m_time.end(), add);
    std::for_each(m_values.begin(), m_values.end(), add);
    if (m_series)
        add(*m_series);
    return keys;
}

bool ImportColumns::isTaken(std::size_t index) const
{
    return (m_series && m_series->index == index) ||
           std::any_of(m_time.begin(), m_time.end(),
                       [index](const ColumnChoice& column) { return column.index == index; });
}

/// The first column that nothing else is, is the time, and the next one the value.
void ImportColumns::setDefaults(std::size_t columnCount)
{
    const auto firstFree = [this, columnCount] {
        std::size_t index = 0;
        while (isTaken(index) && index < columnCount)
            ++index;
        return ColumnChoice{QString(), index};
    };
    if (m_hasDefaultTime)
        m_time = {firstFree()};
    if (m_hasDefaultValue)
        m_values = {firstFree()};
}

void ImportColumns::resolve(const CsvRow& header, const QString& fileName)
{
    const QStringList names = headerNames(header);
    if (m_series)
        resolveColumn(*m_series, kSeriesOption, names, fileName);
    for (ColumnChoice& column : m_time)
        resolveColumn(column, kTimeOption, names, fileName);
    for (ColumnChoice& column : m_values)
        resolveColumn(column, kValueOption, names, fileName);
    setDefaults(header.cells.size());
    if (m_isWide && m_values.empty())
        takeAllValues(names, fileName);
    if (m_isWide)
        nameValues(names, fileName);
}

void ImportColumns::takeAllValues(const QStringList& names, const QString& fileName)
{
    for (std::size_t i = 0; i < static_cast<std::size_t>(names.size()); ++i) {
        if (!isTaken(i))
            m_values.push_back({QString(), i});
    }
    if (m_values.empty())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--wide: the header of %1 has no column beside the time").arg(fileName));
}

void ImportColumns::nameValues(const QStringList& names, const QString& fileName)
{
    QStringList seen;
    for (ColumnChoice& column : m_values) {
        if (column.index >= static_cast<std::size_t>(names.size()))
            throw CommandError(ExitCode::Usage,
                               QStringLiteral("--value-col: the header of %1 has %2, none is number %3")
                                   .arg(fileName, counted(names.size(), QStringLiteral("column")),
                                        QString::number(column.index + 1)));
        column.name = names[static_cast<qsizetype>(column.index)];
        if (seen.contains(column.name))
            throw CommandError(ExitCode::Usage,
                               QStringLiteral("%1: two columns are named %2; no two series can have one name")
                                   .arg(fileName, quoted(column.name)));
        seen += column.name;
    }
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

std::optional<QByteArrayView> ImportColumns::valueText(const CsvRow& row, std::size_t value) const
{
    return cellAt(row, m_values[value].index);
}

std::optional<QByteArrayView> ImportColumns::seriesText(const CsvRow& row) const
{
    return cellAt(row, m_series->index);
}

QString ImportColumns::label(const ColumnChoice& column) const
{
    const QString number = QString::number(column.index + 1);
    if (m_isKeyed)
        return quoted(column.name);
    return column.name.isEmpty() ? number : QStringLiteral("%1 (%2)").arg(number, column.name);
}

QString ImportColumns::timeLabel() const
{
    const QString noun = m_isKeyed ? QStringLiteral("key") : QStringLiteral("column");
    if (m_time.size() == 1)
        return noun + u' ' + label(m_time[0]);
    return QStringLiteral("%1s %2 and %3").arg(noun, label(m_time[0]), label(m_time[1]));
}

QString ImportColumns::valueLabel(std::size_t value) const
{
    return (m_isKeyed ? QStringLiteral("key ") : QStringLiteral("column ")) + label(m_values[value]);
}

QString ImportColumns::seriesLabel() const
{
    return (m_isKeyed ? QStringLiteral("key ") : QStringLiteral("column ")) + label(*m_series);
}

} // namespace Kiv::Cli
