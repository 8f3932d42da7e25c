#include "TemplateRules.h"

#include "Errors.h"
#include "MethodText.h"
#include "Words.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTime>

#include <cmath>
#include <span>

namespace Kiv::Cli
{

namespace
{

enum class JsonKind { Text, Whole, Number, Bool, Object, WholeList, ObjectList };

struct KnownKey {
    const char* name;
    JsonKind kind;
};

constexpr KnownKey kTemplateKeys[] = {
    {"name", JsonKind::Text},
    {"interpolateParam", JsonKind::Object},
    {"normalizeParams", JsonKind::ObjectList},
};
constexpr KnownKey kParamKeys[] = {
    {"method", JsonKind::Text},
    {"interval", JsonKind::Whole},
    {"alignStartEndTimestamp", JsonKind::Bool},
    {"offsetMinFromUTC", JsonKind::Whole},
    {"filterParams", JsonKind::ObjectList},
};
constexpr KnownKey kFilterKeys[] = {
    {"timeStart", JsonKind::Text},   {"duration", JsonKind::Whole},    {"weekDays", JsonKind::WholeList},
    {"months", JsonKind::WholeList}, {"valueCompare", JsonKind::Text}, {"value", JsonKind::Number},
};
const QStringList kComparisons = {QStringLiteral("eq"),  QStringLiteral("neq"), QStringLiteral("lt"),
                                  QStringLiteral("lte"), QStringLiteral("gt"),  QStringLiteral("gte")};

bool isWhole(const QJsonValue& value)
{
    return value.isDouble() && std::trunc(value.toDouble()) == value.toDouble();
}

bool hasKind(const QJsonValue& value, JsonKind kind)
{
    switch (kind) {
    case JsonKind::Text:
        return value.isString();
    case JsonKind::Whole:
        return isWhole(value);
    case JsonKind::Number:
        return value.isDouble();
    case JsonKind::Bool:
        return value.isBool();
    case JsonKind::Object:
        return value.isObject();
    case JsonKind::WholeList:
    case JsonKind::ObjectList:
        return value.isArray();
    }
    return false;
}

QString kindText(JsonKind kind)
{
    static const QString texts[] = {QStringLiteral("a text"),
                                    QStringLiteral("a whole number"),
                                    QStringLiteral("a number"),
                                    QStringLiteral("true or false"),
                                    QStringLiteral("an object"),
                                    QStringLiteral("an array of whole numbers"),
                                    QStringLiteral("an array of objects")};
    return texts[static_cast<int>(kind)];
}

QString foundText(const QJsonValue& value)
{
    if (value.isArray())
        return QStringLiteral("an array");
    if (value.isObject())
        return QStringLiteral("an object");
    if (value.isString())
        return QStringLiteral("the text ") + quoted(value.toString());
    return value.isNull() ? QStringLiteral("null") : value.toVariant().toString();
}

/// The known key that is nearest, capitals aside; empty when none is near.
QString nearestKey(const QString& key, std::span<const KnownKey> known)
{
    constexpr int kFarDistance = 4;
    QString nearest;
    int nearestDistance = kFarDistance;
    for (const KnownKey& candidate : known) {
        const QString name = QLatin1String(candidate.name);
        const int distance = editDistance(key.toLower(), name.toLower());
        if (distance < nearestDistance) {
            nearestDistance = distance;
            nearest = name;
        }
    }
    return nearest;
}

class TemplateRules
{
public:
    std::vector<TemplateDoubt> check(const QJsonValue& value)
    {
        if (!value.isObject()) {
            addError(QString(), QStringLiteral("%1 where an object is expected").arg(foundText(value)));
            return std::move(m_doubts);
        }
        const QJsonObject object = value.toObject();
        checkKeys(object, kTemplateKeys, QString());
        if (!object.contains(QStringLiteral("name")))
            addError(QString(), QStringLiteral("name is missing; nobody can ask for this template"));
        checkParam(object.value(QStringLiteral("interpolateParam")).toObject(),
                   QStringLiteral("interpolateParam."));
        const QJsonArray passes = object.value(QStringLiteral("normalizeParams")).toArray();
        for (qsizetype i = 0; i < passes.size(); ++i)
            checkParam(passes[i].toObject(), QStringLiteral("normalizeParams[%1].").arg(i));
        return std::move(m_doubts);
    }

private:
    void addError(const QString& where, const QString& text) { m_doubts.push_back({true, where + text}); }
    void addWarning(const QString& where, const QString& text) { m_doubts.push_back({false, where + text}); }

    void checkKeys(const QJsonObject& object, std::span<const KnownKey> known, const QString& where)
    {
        for (auto entry = object.begin(); entry != object.end(); ++entry) {
            const auto found = std::find_if(known.begin(), known.end(), [&entry](const KnownKey& key) {
                return entry.key() == QLatin1String(key.name);
            });
            if (found != known.end()) {
                checkKind(entry.value(), found->kind, where + entry.key());
                continue;
            }
            const QString nearest = nearestKey(entry.key(), known);
            const QString advice =
                nearest.isEmpty() ? QString() : QStringLiteral("; did you mean %1?").arg(quoted(nearest));
            addWarning(
                where,
                QStringLiteral("%1: unknown key without effect%2").arg(escapedControls(entry.key()), advice));
        }
    }

    void checkKind(const QJsonValue& value, JsonKind kind, const QString& where)
    {
        const bool isList = kind == JsonKind::WholeList || kind == JsonKind::ObjectList;
        if (!isList || !value.isArray()) {
            if (isList || !hasKind(value, kind))
                addError(where,
                         QStringLiteral(": %1 where %2 is expected").arg(foundText(value), kindText(kind)));
            return;
        }
        const QJsonArray array = value.toArray();
        for (qsizetype i = 0; i < array.size(); ++i)
            checkKind(array[i], kind == JsonKind::WholeList ? JsonKind::Whole : JsonKind::Object,
                      QStringLiteral("%1[%2]").arg(where).arg(i));
    }

    void checkParam(const QJsonObject& object, const QString& where)
    {
        checkKeys(object, kParamKeys, where);
        checkMethod(object.value(QStringLiteral("method")).toString(), where + QStringLiteral("method"));
        constexpr qint64 kLastCalendarCode = -6;
        const qint64 interval = object.value(QStringLiteral("interval")).toInteger();
        if (interval < kLastCalendarCode)
            addWarning(where,
                       QStringLiteral("interval: %1 means nothing and is taken for days; write seconds, or "
                                      "-1 day, -2 week, -3 month, -4 quarter, -5 halfyear, -6 year")
                           .arg(interval));
        const QJsonArray filters = object.value(QStringLiteral("filterParams")).toArray();
        for (qsizetype i = 0; i < filters.size(); ++i)
            checkFilter(filters[i].toObject(), where + QStringLiteral("filterParams[%1].").arg(i));
    }

    void checkMethod(const QString& text, const QString& where)
    {
        if (text.trimmed().isEmpty())
            return;
        Interpolate::InterpolateParam written;
        // What the method means; without an interval the engine would not look at it.
        written.interval = 1;
        Interpolate::InterpolateParam meant = written;
        written.method = text;
        try {
            meant.method = checkedMethod(where, text);
        } catch (const CommandError& error) {
            addError(QString(), error.text());
            return;
        }
        const QString understood = understoodMethod(written).text();
        if (understood != understoodMethod(meant).text())
            addWarning(where, QStringLiteral(": %1 is taken for %2; write %3")
                                  .arg(quoted(text), quoted(understood), quoted(meant.method)));
    }

    void checkFilter(const QJsonObject& object, const QString& where)
    {
        checkKeys(object, kFilterKeys, where);
        const QString start = object.value(QStringLiteral("timeStart")).toString();
        if (!start.isEmpty() && !QTime::fromString(start, Qt::ISODateWithMs).isValid())
            addError(where, QStringLiteral("timeStart: %1 is no time of day; write for example '06:00'")
                                .arg(quoted(start)));
        constexpr int kWeekdayCount = 7;
        constexpr int kMonthCount = 12;
        checkNumbers(object, QStringLiteral("weekDays"), kWeekdayCount, where);
        checkNumbers(object, QStringLiteral("months"), kMonthCount, where);
        const QString comparison = object.value(QStringLiteral("valueCompare")).toString();
        if (!comparison.isEmpty() && !kComparisons.contains(comparison.toLower()))
            addError(where, unknownWord(QStringLiteral("valueCompare"), comparison, kComparisons).text());
        needs(object, QStringLiteral("value"), QStringLiteral("valueCompare"), where);
        needs(object, QStringLiteral("duration"), QStringLiteral("timeStart"), where);
    }

    void checkNumbers(const QJsonObject& object, const QString& key, int last, const QString& where)
    {
        const QJsonArray numbers = object.value(key).toArray();
        for (const QJsonValue& element : numbers) {
            if (isWhole(element) && (element.toDouble() < 1 || element.toDouble() > last))
                addWarning(where, QStringLiteral("%1: %2 never comes; they count from 1 to %3")
                                      .arg(key, foundText(element))
                                      .arg(last));
        }
    }

    void needs(const QJsonObject& object, const QString& key, const QString& other, const QString& where)
    {
        if (object.contains(key) && !object.contains(other))
            addWarning(where, QStringLiteral("%1: has no effect without %2").arg(key, other));
    }

    std::vector<TemplateDoubt> m_doubts;
};

} // namespace

std::vector<TemplateDoubt> doubtsOfTemplate(const QJsonValue& value)
{
    return TemplateRules().check(value);
}

bool hasIdleMethod(const Interpolate::InterpolateParam& pass)
{
    return pass.interval == 0 && !pass.method.isEmpty() && understoodMethod(pass).differenceWord.isEmpty();
}

} // namespace Kiv::Cli
