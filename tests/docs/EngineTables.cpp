// Holds docs/engine.md: every table of the page is what the library answers, every picture shows its table.

#include "EngineAnswers.h"
#include "EnginePage.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <set>
#include <string>

namespace Kiv::Testing
{
namespace
{

const EnginePage& page()
{
    static const EnginePage read = readEnginePage();
    return read;
}

std::string placeOf(const PageTable& table)
{
    return "docs/engine.md:" + std::to_string(table.line);
}

/// A cell is the answer, or after "≈" the answer rounded to the digits that the cell has.
bool says(const QString& cell, const QString& answer)
{
    if (!cell.startsWith(u'≈'))
        return cell == answer;
    const QString digits = cell.mid(1).trimmed();
    const qsizetype point = digits.indexOf(u'.');
    const int decimals = point < 0 ? 0 : static_cast<int>(digits.size() - point - 1);
    return QString::number(answer.toDouble(), 'f', decimals) == digits;
}

bool sayRows(const Rows& rows, const Rows& answers)
{
    return std::equal(rows.begin(), rows.end(), answers.begin(), answers.end(),
                      [](const QStringList& row, const QStringList& answer) {
                          return std::equal(row.begin(), row.end(), answer.begin(), answer.end(), says);
                      });
}

bool hasDigit(const PageTable& table)
{
    static const QRegularExpression digit(QStringLiteral("[0-9]"));
    return std::any_of(table.rows.begin(), table.rows.end(),
                       [](const QStringList& row) { return row.join(u' ').contains(digit); });
}

QString plainText(QString cell)
{
    return cell.remove(u'`');
}

/// What a picture tells in words about a column of its table.
QString descriptionOf(const QString& title, const Rows& rows, qsizetype column)
{
    QStringList results;
    for (const QStringList& row : rows) {
        if (!row.at(column).isEmpty())
            results.push_back(row.front() + u' ' + row.at(column));
    }
    return (title + QStringLiteral(": ") + results.join(u", "))
        .toHtmlEscaped()
        .replace(QLatin1String("&quot;"), QLatin1String("\""));
}

/// Empty when the table is what the library answers; else what it should be.
std::string faultOf(const PageTable& table, EngineAnswers& answers)
{
    try {
        const Rows rows = answers.rowsFor(table);
        if (!rows.empty() && sayRows(table.rows, rows))
            return {};
        return "the table should be\n" + markdownOf(table.header, rows).toStdString();
    } catch (const std::exception& exception) {
        return exception.what();
    }
}

TEST(EnginePage, EveryTableIsWhatTheLibraryAnswers)
{
    EngineAnswers answers(page());
    for (const PageTable& table : page().tables) {
        if (table.verb.isEmpty() || table.verb == u"series")
            continue;
        const std::string fault = faultOf(table, answers);
        EXPECT_TRUE(fault.empty()) << placeOf(table) << ": " << fault;
    }
}

TEST(EnginePage, NoTableWithNumbersGoesUnchecked)
{
    for (const PageTable& table : page().tables)
        EXPECT_TRUE(!table.verb.isEmpty() || !hasDigit(table)) << placeOf(table);
}

TEST(EnginePage, ShowsEveryMethod)
{
    std::set<QString> shown;
    for (const PageTable& table : page().tables) {
        for (const QString& cell : table.header) {
            if (table.verb == u"readDataRecords")
                shown.insert(table.wordsWith(cell)[QStringLiteral("method")].section(u' ', 0, 0));
        }
    }
    for (const char* method :
         {"", "prev", "next", "prevnext", "linear", "min", "max", "minmax", "sum", "count", "meana", "meang",
          "meanh", "means", "median", "mode", "diff", "diffctrupcleaned"})
        EXPECT_EQ(shown.count(QString::fromLatin1(method)), 1U) << method;
}

TEST(EnginePage, EveryPictureShowsTheTableAboveIt)
{
    for (const PageTable& table : page().tables) {
        if (table.picture.isEmpty())
            continue;
        SCOPED_TRACE(placeOf(table));
        QFile file(pathOfDocs() + table.picture);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << table.picture.toStdString();
        const QString picture = QString::fromUtf8(file.readAll());
        Words words = table.words;
        const QString series = words.try_emplace(QStringLiteral("series"), "plant").first->second;
        QStringList expected = {descriptionOf(series, page().series(series).rows, 1)};
        for (qsizetype i = 1; i < table.header.size(); ++i)
            expected.push_back(descriptionOf(plainText(table.header.at(i)), table.rows, i));
        EXPECT_TRUE(picture.contains(QStringLiteral("<desc>%1</desc>").arg(expected.join(u'\n'))))
            << "run docs/engine_pictures.py to draw " << table.picture.toStdString() << " anew";
    }
}

TEST(EnginePage, EveryFamilyHasAPictureAndEveryPictureIsShown)
{
    std::set<QString> sections;
    QStringList named;
    for (const PageTable& table : page().tables) {
        if (table.picture.isEmpty())
            continue;
        sections.insert(table.section);
        named.push_back(table.picture.section(u'/', -1));
    }
    for (const char* family : {"Point methods", "Extremes", "Sum and count", "Means", "Median and mode",
                               "Differences and counters"})
        EXPECT_EQ(sections.count(QString::fromLatin1(family)), 1U) << family;
    named.sort();
    EXPECT_EQ(QDir(pathOfDocs() + QStringLiteral("engine")).entryList(QDir::Files, QDir::Name), named);
}

} // namespace
} // namespace Kiv::Testing
