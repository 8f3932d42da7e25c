#include "EngineAnswers.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <ctime>
#include <set>
#include <stdexcept>
#include <utility>

namespace Kiv::Testing
{

namespace
{

using Param = Interpolate::InterpolateParam;

constexpr qint64 kFarFutureMs = 4'000'000'000'000; ///< beyond every time of the page

[[noreturn]] void refuse(const QString& what)
{
    throw std::runtime_error(what.toStdString());
}

QString wordOf(const Words& words, const char* key, const QString& fallback = {})
{
    const auto word = words.find(QString::fromLatin1(key));
    return word == words.end() ? fallback : word->second;
}

bool isYes(const Words& words, const char* key)
{
    const QString text = wordOf(words, key, QStringLiteral("no"));
    if (text != u"yes" && text != u"no")
        refuse(QStringLiteral("neither yes nor no: ") + text);
    return text == u"yes";
}

qint64 numberOf(const Words& words, const char* key)
{
    bool isNumber = false;
    const qint64 number = wordOf(words, key, QStringLiteral("0")).toLongLong(&isNumber);
    if (!isNumber)
        refuse(QString::fromLatin1(key) + QStringLiteral(" is no number"));
    return number;
}

/// -1, -2 and -3 stand for themselves.
qint64 rangeEndOf(const Words& words, const char* key)
{
    const QString text = wordOf(words, key);
    return text.startsWith(u'-') ? text.toLongLong() : timeOf(text);
}

QJsonArray arrayOf(const QString& json)
{
    if (json.isEmpty())
        return {};
    const QJsonDocument document = QJsonDocument::fromJson(json.toUtf8());
    if (!document.isArray())
        refuse(QStringLiteral("no JSON array: ") + json);
    return document.array();
}

void refuseUnknownWords(const Words& words)
{
    static const std::set<QString> known = {"series",
                                            "type",
                                            "method",
                                            "interval",
                                            "start",
                                            "end",
                                            "now",
                                            "limit",
                                            "limitAfter",
                                            "filterParams",
                                            "passes",
                                            "template",
                                            "shiftIntervalForward",
                                            "offsetMinFromUTC",
                                            "alignStartEndTimestamp"};
    for (const auto& [key, value] : words) {
        if (known.count(key) == 0)
            refuse(QStringLiteral("unknown word ") + key);
    }
}

Param paramOf(const Words& words)
{
    refuseUnknownWords(words);
    Param param;
    param.method = wordOf(words, "method");
    param.interval = numberOf(words, "interval");
    param.alignStartEndTimestamp = isYes(words, "alignStartEndTimestamp");
    param.offsetMinFromUTC = static_cast<qint32>(numberOf(words, "offsetMinFromUTC"));
    Interpolate::parseFilterparams(arrayOf(wordOf(words, "filterParams")), param);
    return param;
}

std::vector<Param> passesOf(const Words& words)
{
    std::vector<Param> passes;
    for (const QJsonValue& element : arrayOf(wordOf(words, "passes"))) {
        Param& pass = passes.emplace_back();
        pass.method = element[u"method"].toString();
        pass.interval = element[u"interval"].toInteger();
        Interpolate::parseFilterparams(element[u"filterParams"].toArray(), pass);
    }
    return passes;
}

QMetaType::Type typeOf(const Words& words)
{
    static const std::map<QString, QMetaType::Type> types = {
        {"double", QMetaType::Double}, {"longlong", QMetaType::LongLong}, {"ulonglong", QMetaType::ULongLong},
        {"int", QMetaType::Int},       {"uint", QMetaType::UInt},         {"short", QMetaType::Short},
        {"ushort", QMetaType::UShort}, {"char", QMetaType::Char},         {"uchar", QMetaType::UChar},
        {"bool", QMetaType::Bool}};
    return types.at(wordOf(words, "type", QStringLiteral("double")));
}

QString textOfValue(const QVariant& value)
{
    if (value.isNull())
        return QStringLiteral("null");
    return value.typeId() == QMetaType::Double ? textOfNumber(value.toDouble()) : value.toString();
}

QString yesOrNo(bool value)
{
    return value ? QStringLiteral("yes") : QStringLiteral("no");
}

/// An engine in the midst of a long series, so that it may ask for records on both sides of its range.
struct LoneEngine {
    explicit LoneEngine(Param param)
        : engine(std::move(param), {}, kFarFutureMs / 2, kFarFutureMs / 2, 0, kFarFutureMs, &output,
                 QMetaType::Double, false, limit, false)
    {
    }

    Records output;
    int limit = 0;
    Interpolate engine;
};

QString methodCell(Interpolate& engine, const QString& column)
{
    qint64 start = 0;
    qint64 end = 0;
    engine.getRange(start, end);
    if (column == u"number")
        return QString::number(engine.method);
    if (column == u"linear")
        return yesOrNo(engine.linear);
    if (column == u"align")
        return yesOrNo(engine.align);
    if (column == u"fill")
        return yesOrNo(engine.fill);
    if (column == u"fillNull")
        return yesOrNo(engine.fillNull);
    if (column == u"average")
        return yesOrNo(engine.average);
    if (column == u"before")
        return QString::number(engine.needsPreviousDataRecords());
    if (column == u"after")
        return QString::number(engine.needsDataRecordAfterRangeEnd() ? 1 : 0);
    if (column == u"difference") {
        if (engine.diffHandler == nullptr)
            return QStringLiteral("no");
        const bool isPlain = engine.diffHandler == &Interpolate::handle_DIFF;
        return isPlain ? QStringLiteral("diff") : QStringLiteral("diffctrupcleaned");
    }
    refuse(QStringLiteral("unknown column ") + column);
}

/// True when the engine takes a drop from `reading` to 1 for an overflow.
bool overflowsAt(double reading)
{
    LoneEngine lone(Param{QStringLiteral("diffctrupcleaned"), 0, {}, false, 0});
    lone.engine.diffHistory = {QVariant(reading)};
    Record record(1, QVariant(1.0));
    lone.engine.handle_DIFF_CTRUPCLEANED(record, record.timestamp);
    return lone.engine.diffHistory.size() == 2;
}

/// Merges results of several columns by their labels. A column keeps its order.
Rows mergedByLabel(std::vector<Records> columns)
{
    Rows rows;
    std::vector<std::size_t> taken(columns.size(), 0);
    for (;;) {
        qint64 label = kFarFutureMs;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (taken[i] < columns[i].size())
                label = std::min(label, columns[i][taken[i]].timestamp);
        }
        if (label == kFarFutureMs)
            return rows;
        QStringList row = {textOfTime(label)};
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const bool isHere = taken[i] < columns[i].size() && columns[i][taken[i]].timestamp == label;
            row.push_back(isHere ? textOfValue(columns[i][taken[i]++].value) : QString());
        }
        rows.push_back(row);
    }
}

} // namespace

EngineAnswers::EngineAnswers(EnginePage page) : m_page(std::move(page)), m_zoneBefore(qgetenv("TZ"))
{
    qputenv("TZ", "UTC");
    tzset();
    const QString templates = m_directory.at(QStringLiteral("cfg/dms/InterpolateTemplates.json"));
    writeFile(templates, m_page.templates);
    qputenv("VELTAR_INSTALL_PATH", m_directory.at(QString()).toUtf8());
}

EngineAnswers::~EngineAnswers()
{
    qunsetenv("VELTAR_INSTALL_PATH");
    if (m_zoneBefore.isNull())
        qunsetenv("TZ");
    else
        qputenv("TZ", m_zoneBefore);
    tzset();
}

Rows EngineAnswers::rowsFor(const PageTable& table)
{
    if (table.verb == u"readDataRecords")
        return table.header.front() == u"request" ? requestRows(table) : labelRows(table);
    if (table.verb == u"getCount")
        return countRows(table);
    if (table.verb == u"method")
        return methodRows(table);
    if (table.verb == u"alignSpecialStartTimestamp")
        return alignRows(table);
    if (table.verb == u"incTimestampByInterval")
        return stepRows(table, 1);
    if (table.verb == u"decTimestampByInterval")
        return stepRows(table, -1);
    if (table.verb == u"findPrevDataRecord")
        return previousRows(table);
    if (table.verb == u"counterWrapLimits")
        return wrapLimitRows();
    refuse(QStringLiteral("unknown request ") + table.verb);
}

/// One column for each request, one row for each label.
Rows EngineAnswers::labelRows(const PageTable& table)
{
    std::vector<Records> columns;
    for (const QString& cell : table.header.mid(1))
        columns.push_back(read(table.wordsWith(cell)));
    return mergedByLabel(std::move(columns));
}

/// A request with a single result in each cell.
Rows EngineAnswers::requestRows(const PageTable& table)
{
    Rows rows;
    for (const QStringList& asked : table.rows) {
        QStringList& row = rows.emplace_back(QStringList{asked.front()});
        PageTable ofRow = table;
        ofRow.words = table.wordsWith(asked.front());
        for (const QString& cell : table.header.mid(1)) {
            const Records records = read(ofRow.wordsWith(cell));
            row.push_back(records.size() == 1 ? textOfValue(records.front().value)
                                              : QStringLiteral("%1 results").arg(records.size()));
        }
    }
    return rows;
}

Rows EngineAnswers::countRows(const PageTable& table)
{
    Rows rows;
    for (const QStringList& asked : table.rows)
        rows.push_back({asked.front(), QString::number(count(table.wordsWith(asked.front())))});
    return rows;
}

Rows EngineAnswers::previousRows(const PageTable& table)
{
    Rows rows;
    for (const QStringList& asked : table.rows) {
        Record record;
        const bool isFound = storageFor(table.words).findPrevDataRecord(timeOf(asked.front()), record);
        rows.push_back({asked.front(), isFound ? textOfTime(record.timestamp) : QStringLiteral("none")});
    }
    return rows;
}

Rows EngineAnswers::methodRows(const PageTable& table)
{
    Rows rows;
    for (const QStringList& asked : table.rows) {
        QStringList& row = rows.emplace_back(QStringList{asked.front()});
        for (const QString& column : table.header.mid(1)) {
            LoneEngine lone(paramOf(table.wordsWith(asked.front())));
            row.push_back(methodCell(lone.engine, column));
        }
    }
    return rows;
}

Rows EngineAnswers::alignRows(const PageTable& table)
{
    Rows rows;
    for (const QStringList& asked : table.rows) {
        QStringList& row = rows.emplace_back(QStringList{asked.front()});
        for (const QString& cell : table.header.mid(1)) {
            LoneEngine lone(paramOf(table.wordsWith(cell)));
            row.push_back(textOfTime(lone.engine.alignSpecialStartTimestamp(timeOf(asked.front()))));
        }
    }
    return rows;
}

/// A timestamp, its step, and where one, two, three... steps lead.
Rows EngineAnswers::stepRows(const PageTable& table, int direction)
{
    Rows rows;
    for (const QStringList& asked : table.rows) {
        QStringList& row = rows.emplace_back(asked.mid(0, 2));
        LoneEngine lone(paramOf(table.wordsWith(asked.at(1))));
        qint64 timestamp = timeOf(asked.front());
        while (row.size() < table.header.size()) {
            if (direction > 0)
                lone.engine.incTimestampByInterval(timestamp);
            else
                lone.engine.decTimestampByInterval(timestamp);
            row.push_back(textOfTime(timestamp));
        }
    }
    return rows;
}

Rows EngineAnswers::wrapLimitRows()
{
    Rows rows;
    LoneEngine lone(Param{});
    for (const double limit : lone.engine.counterWrapLimits) {
        const double within = limit * 0.002;
        if (!overflowsAt(limit - 0.99 * within) || overflowsAt(limit - 1.01 * within))
            refuse(QStringLiteral("no overflow within %1 of %2").arg(within).arg(limit));
        rows.push_back({textOfNumber(limit), textOfNumber(within)});
    }
    return rows;
}

Records EngineAnswers::read(const Words& words)
{
    Param param = paramOf(words);
    std::vector<Param> passes = passesOf(words);
    const QString name = wordOf(words, "template");
    if (!name.isEmpty())
        Interpolate::loadTemplateParams(name, param, passes, 0);
    if (words.count(QStringLiteral("now")) != 0)
        m_seams.nowUs = timeOf(wordOf(words, "now")) * 1000;
    Records results;
    int limit = static_cast<int>(numberOf(words, "limit"));
    const qint64 limitAfter = numberOf(words, "limitAfter");
    storageFor(words).readDataRecords(param, passes, rangeEndOf(words, "start"), rangeEndOf(words, "end"),
                                      results, isYes(words, "shiftIntervalForward"), limit, nullptr, nullptr);
    if (limit != limitAfter)
        refuse(QStringLiteral("the limit afterwards is %1, not %2").arg(limit).arg(limitAfter));
    return results;
}

qint64 EngineAnswers::count(const Words& words)
{
    return storageFor(words).getCount(paramOf(words), passesOf(words), rangeEndOf(words, "start"),
                                      rangeEndOf(words, "end"), true, false, false);
}

/// A store with the series of the request, written once.
TSFileStorage& EngineAnswers::storageFor(const Words& words)
{
    const QString name = wordOf(words, "series", QStringLiteral("plant"));
    const QString key = name + u'-' + wordOf(words, "type", QStringLiteral("double"));
    std::unique_ptr<TSFileStorage>& storage = m_storages[key];
    if (storage)
        return *storage;
    storage = std::make_unique<TSFileStorage>(m_directory.base() + key, typeOf(words), kNoSizeLimit);
    Records samples;
    for (const QStringList& row : m_page.series(name).rows)
        samples.emplace_back(timeOf(row.at(0)), QVariant(row.at(1).toDouble()));
    if (!storage->writeDataRecords(samples, false, false))
        refuse(QStringLiteral("cannot write ") + key);
    return *storage;
}

} // namespace Kiv::Testing
