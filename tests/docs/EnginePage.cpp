#include "EnginePage.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>

#include <cmath>
#include <stdexcept>
#include <utility>

namespace Kiv::Testing
{

namespace
{

/// The day of times without a date.
const QDate kPageDay(2024, 5, 17);

[[noreturn]] void refuse(const QString& what)
{
    throw std::runtime_error(what.toStdString());
}

/// key=value, the value in quotes, a JSON array, or everything up to the next blank; a word without "=" is a
/// key without a value.
Words wordsOf(const QString& text)
{
    static const QRegularExpression word(R"re((\w+)(?:=("[^"]*"|\[.*?\](?=\s|$)|\S+))?(?:\s+|$))re");
    Words words;
    qsizetype position = 0;
    const QString trimmed = text.trimmed();
    while (position < trimmed.size()) {
        const QRegularExpressionMatch match = word.match(trimmed, position, QRegularExpression::NormalMatch,
                                                         QRegularExpression::AnchorAtOffsetMatchOption);
        if (!match.hasMatch())
            refuse(QStringLiteral("no request: ") + text);
        QString value = match.captured(2);
        if (value.startsWith(u'"'))
            value = value.mid(1, value.size() - 2);
        words[match.captured(1)] = value;
        position = match.capturedEnd();
    }
    return words;
}

QStringList cellsOf(const QString& line)
{
    QStringList cells = line.trimmed().mid(1).chopped(1).split(u'|');
    for (QString& cell : cells)
        cell = cell.trimmed();
    return cells;
}

/// Takes the page line by line; a request waits for its table.
class PageReader
{
public:
    explicit PageReader(QStringList lines) : m_lines(std::move(lines)) {}

    EnginePage read()
    {
        for (; m_line < m_lines.size(); ++m_line) {
            const QString& line = m_lines.at(m_line);
            if (line.startsWith(u"```"))
                readBlock(line.mid(3));
            else if (line.startsWith(u"## "))
                m_section = line.mid(3);
            else if (line.startsWith(u'|'))
                readTable();
            else if (line.startsWith(u"!["))
                readPicture(line);
        }
        if (!m_request.isEmpty())
            refuse(QStringLiteral("a request without a table: ") + m_request);
        return m_page;
    }

private:
    void readBlock(const QString& language)
    {
        QStringList block;
        for (++m_line; m_line < m_lines.size() && !m_lines.at(m_line).startsWith(u"```"); ++m_line)
            block.push_back(m_lines.at(m_line));
        if (language == u"json")
            m_page.templates = block.join(u'\n').toUtf8();
        if (language != u"engine")
            return;
        if (!m_request.isEmpty())
            refuse(QStringLiteral("a request without a table: ") + m_request);
        m_request = block.join(u' ');
    }

    void readTable()
    {
        PageTable table;
        table.line = static_cast<int>(m_line) + 1;
        table.section = m_section;
        table.header = cellsOf(m_lines.at(m_line));
        const QString request = std::exchange(m_request, QString()).trimmed();
        table.verb = request.section(u' ', 0, 0);
        table.words = wordsOf(request.section(u' ', 1));
        for (m_line += 2; m_line < m_lines.size() && m_lines.at(m_line).startsWith(u'|'); ++m_line)
            table.rows.push_back(cellsOf(m_lines.at(m_line)));
        --m_line;
        m_page.tables.push_back(table);
    }

    void readPicture(const QString& line)
    {
        if (m_page.tables.empty())
            refuse(QStringLiteral("a picture without a table: ") + line);
        m_page.tables.back().picture = line.section(QStringLiteral("]("), 1).section(u')', 0, 0);
    }

    QStringList m_lines;
    qsizetype m_line = 0;
    QString m_section;
    QString m_request; ///< of the table to come
    EnginePage m_page;
};

} // namespace

Words PageTable::wordsWith(const QString& cell) const
{
    Words merged = words;
    if (!cell.contains(u'`'))
        return merged;
    const QString inner = cell.section(u'`', 1, 1);
    const Words own = inner.contains(u'=') ? wordsOf(inner) : Words{{QStringLiteral("method"), inner}};
    for (const auto& [key, value] : own)
        merged[key] = value;
    return merged;
}

const PageTable& EnginePage::series(const QString& name) const
{
    for (const PageTable& table : tables) {
        const auto word = table.words.find(QStringLiteral("name"));
        if (table.verb == u"series" && word != table.words.end() && word->second == name)
            return table;
    }
    refuse(QStringLiteral("no series ") + name);
}

QString pathOfDocs()
{
    return QStringLiteral(KIV_PROJECT_DIR "/docs/");
}

EnginePage readEnginePage()
{
    QFile file(pathOfDocs() + QStringLiteral("engine.md"));
    if (!file.open(QIODevice::ReadOnly))
        refuse(QStringLiteral("cannot read ") + file.fileName());
    return PageReader(QString::fromUtf8(file.readAll()).split(u'\n')).read();
}

qint64 timeOf(const QString& text)
{
    const bool isTimeOnly = text.indexOf(u':') == 2;
    const QString date = isTimeOnly ? QString() : text.section(u' ', 0, 0);
    const QString time = isTimeOnly ? text : text.section(u' ', 1);
    const QDateTime parsed(isTimeOnly ? kPageDay : QDate::fromString(date, Qt::ISODate),
                           time.isEmpty() ? QTime(0, 0) : QTime::fromString(time, Qt::ISODateWithMs),
                           Qt::UTC);
    if (!parsed.isValid())
        refuse(QStringLiteral("no time: ") + text);
    return parsed.toMSecsSinceEpoch();
}

QString textOfTime(qint64 timestampMs)
{
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(timestampMs, Qt::UTC);
    const int lastDigitsMs = static_cast<int>(((timestampMs % 60'000) + 60'000) % 60'000);
    const QString clock = time.toString(lastDigitsMs % 1000 != 0 ? QStringLiteral("HH:mm:ss.zzz")
                                        : lastDigitsMs != 0      ? QStringLiteral("HH:mm:ss")
                                                                 : QStringLiteral("HH:mm"));
    if (time.date() == kPageDay)
        return clock;
    const QString date = time.toString(QStringLiteral("yyyy-MM-dd"));
    return time.time() == QTime(0, 0) ? date : date + u' ' + clock;
}

QString textOfNumber(double number)
{
    // Beyond that every double is an integer, which the shortest text would round.
    constexpr double kIntegersOnly = 0x1p53;
    return QString::number(number, 'f',
                           std::fabs(number) < kIntegersOnly ? QLocale::FloatingPointShortest : 0);
}

QString markdownOf(const QStringList& header, const Rows& rows)
{
    QString text = QStringLiteral("| ") + header.join(u" | ") + QStringLiteral(" |\n|");
    for (qsizetype i = 0; i < header.size(); ++i)
        text += QStringLiteral("---|");
    for (const QStringList& row : rows) {
        text += QStringLiteral("\n|");
        for (const QString& cell : row)
            text += cell.isEmpty() ? QStringLiteral(" |") : u' ' + cell + QStringLiteral(" |");
    }
    return text;
}

} // namespace Kiv::Testing
