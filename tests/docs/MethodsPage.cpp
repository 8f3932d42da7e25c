// Holds docs/methods.md: every table below a command is what the methods answer.

#include "EnginePage.h"

#include "analytics/SeriesReduction.h"

#include "support/SeriesForTest.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

namespace Kiv::Testing
{
namespace
{

using namespace Analytics;

struct MethodTable {
    int line = 0; ///< of the header, from 1
    QString series;
    Words options; ///< of the command above: "every" is "1h"
    QStringList header;
    Rows rows;
};

/// The tables of the page in their order: those of series have a name and no options.
struct MethodsPage {
    std::vector<MethodTable> series;
    std::vector<MethodTable> answers;
    QStringList methods; ///< of the list of methods
};

QStringList cellsOf(const QString& line)
{
    QStringList cells = line.trimmed().mid(1).chopped(1).split(u'|');
    for (QString& cell : cells)
        cell = cell.trimmed().remove(u'`');
    return cells;
}

/// "--every 1h --tz Europe/Berlin".
Words optionsOf(const QStringList& words)
{
    Words options;
    for (qsizetype i = 0; i + 1 < words.size(); i += 2)
        options[words[i].mid(2)] = words[i + 1];
    return options;
}

MethodsPage readPage()
{
    QFile file(pathOfDocs() + QStringLiteral("methods.md"));
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read docs/methods.md");
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    MethodsPage page;
    MethodTable next;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString& line = lines[i];
        if (line.startsWith(QLatin1String("kivts read "))) {
            const QStringList words = line.split(u' ');
            next.series = words[2];
            next.options = optionsOf(words.mid(3));
        } else if (line.startsWith(u'`') && line.endsWith(u':')) {
            next.series = line.section(u'`', 1, 1);
        } else if (line.startsWith(u'|')) {
            next.line = static_cast<int>(i) + 1;
            next.header = cellsOf(line);
            for (i += 2; i < lines.size() && lines[i].startsWith(u'|'); ++i)
                next.rows.push_back(cellsOf(lines[i]));
            if (next.header.front() == QLatin1String("method"))
                for (const QStringList& row : next.rows)
                    page.methods += row.front();
            else
                (next.options.empty() ? page.series : page.answers).push_back(next);
            next = {};
        }
    }
    return page;
}

const MethodsPage& page()
{
    static const MethodsPage read = readPage();
    return read;
}

const MethodTable& seriesOf(const MethodTable& table)
{
    const auto isMeant = [&table](const MethodTable& series) { return series.series == table.series; };
    const auto series = std::find_if(page().series.begin(), page().series.end(), isMeant);
    if (series == page().series.end())
        throw std::runtime_error("no series " + table.series.toStdString());
    return *series;
}

/// Milliseconds of "1h" and "90s".
qint64 durationOf(const QString& text)
{
    const qint64 number = text.chopped(1).toLongLong();
    return text.endsWith(u'h') ? number * 3'600'000 : number * 1000;
}

std::unique_ptr<Intervals> intervalsOf(const Words& options, const MethodTable& series)
{
    const auto timeOfOption = [&options](const char* option) {
        return timeOf(QString(options.at(QLatin1String(option))).replace(u'T', u' '));
    };
    if (options.contains(QStringLiteral("tz")))
        return std::make_unique<CalendarIntervals>(QTimeZone(options.at(QStringLiteral("tz")).toUtf8()),
                                                   Period::Day, timeOfOption("from"), timeOfOption("to"),
                                                   LabelAt::End);
    Interpolate::InterpolateParam param;
    param.interval = durationOf(options.at(QStringLiteral("every"))) / 1000;
    return std::make_unique<EngineIntervals>(param, timeOfOption("from"), timeOfOption("to"),
                                             timeOf(series.rows.front()[0]), timeOf(series.rows.back()[0]),
                                             LabelAt::End);
}

QString labelOf(const Interval& interval, const Words& options)
{
    if (!options.contains(QStringLiteral("tz")))
        return textOfTime(interval.labelMs);
    const QTimeZone zone(options.at(QStringLiteral("tz")).toUtf8());
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(interval.labelMs, zone);
    return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODate);
}

/// The answers to one column, by label.
std::map<QString, QString> answersOf(TSFileStorage& storage, const MethodTable& table, const QString& heading,
                                     QStringList& labels)
{
    const QStringList words = heading.split(u' ');
    Words options = optionsOf(words.mid(1));
    options.insert(table.options.begin(), table.options.end());
    const std::optional<Method> method = Method::parse(words.front());
    if (!method)
        throw std::runtime_error("no method: " + heading.toStdString());
    const auto gap = options.find(QStringLiteral("max-gap"));
    const std::unique_ptr<Intervals> intervals = intervalsOf(options, seriesOf(table));
    std::map<QString, QString> answers;
    reduceSeries(storage, *method, *intervals, gap == options.end() ? 0 : durationOf(gap->second),
                 [&](const Result& result) {
                     const QString label = labelOf(result.interval, options);
                     if (!labels.contains(label))
                         labels += label;
                     answers[label] =
                         result.value.isNull() ? QString() : textOfNumber(result.value.toDouble());
                     return true;
                 });
    return answers;
}

Rows answerRows(const MethodTable& table)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    Samples samples;
    for (const QStringList& row : seriesOf(table).rows)
        samples.emplace_back(timeOf(row[0]), row[1].toDouble());
    storage.writeDataRecords(recordsOf(samples), false, false);

    QStringList labels;
    std::vector<std::map<QString, QString>> columns;
    for (const QString& heading : table.header.mid(1))
        columns.push_back(answersOf(storage, table, heading, labels));
    Rows rows;
    for (const QString& label : labels) {
        QStringList row(label);
        for (std::map<QString, QString>& column : columns)
            row += column[label];
        rows.push_back(row);
    }
    return rows;
}

/// A cell is the answer, or after "≈" the answer rounded to the digits that the cell has.
bool says(const QString& cell, const QString& answer)
{
    if (!cell.startsWith(u'≈'))
        return cell == answer;
    const QString digits = cell.mid(1).trimmed();
    const auto decimals = static_cast<int>(digits.section(u'.', 1).size());
    return QString::number(answer.toDouble(), 'f', decimals) == digits;
}

bool sayRows(const Rows& rows, const Rows& answers)
{
    return std::equal(rows.begin(), rows.end(), answers.begin(), answers.end(),
                      [](const QStringList& row, const QStringList& answer) {
                          return std::equal(row.begin(), row.end(), answer.begin(), answer.end(), says);
                      });
}

TEST(MethodsPage, EveryTableIsWhatTheMethodsAnswer)
{
    EXPECT_GE(page().answers.size(), 6U);
    for (const MethodTable& table : page().answers) {
        const Rows rows = answerRows(table);
        EXPECT_TRUE(!rows.empty() && sayRows(table.rows, rows))
            << "docs/methods.md:" << table.line << ": the table should be\n"
            << markdownOf(table.header, rows).toStdString();
    }
}

TEST(MethodsPage, ListsAndShowsEveryMethod)
{
    QStringList names = Method::names();
    QStringList listed = page().methods;
    names.sort();
    listed.sort();
    EXPECT_EQ(listed, names) << listed.join(u' ').toStdString();

    std::set<QString> shown;
    for (const MethodTable& table : page().answers) {
        for (const QString& heading : table.header)
            shown.insert(heading.section(u' ', 0, 0).section(u':', 0, 0));
    }
    for (const QString& name : names)
        EXPECT_TRUE(shown.contains(name.section(u':', 0, 0))) << name.toStdString();
}

} // namespace
} // namespace Kiv::Testing
