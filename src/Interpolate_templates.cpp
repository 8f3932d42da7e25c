// Named recipes: parameters and earlier passes from the installation's and the project's JSON files. The one
// part of the engine that reads files.

#include "Interpolate.h"

#include "internal/LogTexts.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <utility>

namespace Kiv
{

namespace
{

struct TemplateFile {
    const char* variable; ///< environment variable; its value ends with a path separator
    const char* path;     ///< appended to it directly
};

// In this order: later files are layered over earlier ones.
constexpr TemplateFile kTemplateFiles[] = {
    {"VELTAR_INSTALL_PATH", "cfg/dms/InterpolateTemplates.json"},
    {"VELTAR_INSTALL_PATH", "cfg/dms/InterpolateTemplates_User.json"},
    {"VELTAR_INSTALL_PATH", "proj/_ProcessManager/cfg/InterpolateTemplates_User.json"},
    {"VELTAR_CURRENT_PROJECT_LOCATION", "cfg/InterpolateTemplates_User.json"},
};

constexpr QLatin1String kMethod("method");
constexpr QLatin1String kInterval("interval");
constexpr QLatin1String kAlign("alignStartEndTimestamp");
constexpr QLatin1String kOffset("offsetMinFromUTC");
constexpr QLatin1String kFilters("filterParams");

QVariantList templatesOfFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError)
        Internal::logLine(Internal::LogTexts::kTemplateParseError, path, error.errorString(), error.offset);
    return document.array().toVariantList();
}

void applyPresentKeys(const QJsonObject& keys, Interpolate::InterpolateParam& param, int defaultOffsetMinutes)
{
    if (keys.contains(kMethod))
        param.method = keys.value(kMethod).toString();
    if (keys.contains(kInterval))
        param.interval = keys.value(kInterval).toInteger();
    if (keys.contains(kAlign))
        param.alignStartEndTimestamp = keys.value(kAlign).toBool();
    if (keys.contains(kOffset))
        param.offsetMinFromUTC = keys.value(kOffset).toInt(defaultOffsetMinutes);
    if (keys.contains(kFilters))
        Interpolate::parseFilterparams(keys.value(kFilters).toArray(), param);
}

Interpolate::InterpolateParam passOf(const QJsonObject& keys, int defaultOffsetMinutes)
{
    constexpr qint64 kDefaultIntervalSeconds = 900;
    Interpolate::InterpolateParam pass;
    pass.method = keys.value(kMethod).toString(QStringLiteral("prevNextLinearFill"));
    pass.interval = keys.value(kInterval).toInteger(kDefaultIntervalSeconds);
    pass.alignStartEndTimestamp = keys.value(kAlign).toBool(false);
    pass.offsetMinFromUTC = keys.value(kOffset).toInt(defaultOffsetMinutes);
    Interpolate::parseFilterparams(keys.value(kFilters).toArray(), pass);
    return pass;
}

} // namespace

QJsonDocument Interpolate::loadTemplates()
{
    QVariantList templates;
    for (const TemplateFile& file : kTemplateFiles)
        templates += templatesOfFile(qEnvironmentVariable(file.variable) + QLatin1String(file.path));
    return QJsonDocument(QJsonArray::fromVariantList(templates));
}

QString Interpolate::getTemplates()
{
    return QString::fromUtf8(loadTemplates().toJson(QJsonDocument::Compact));
}

void Interpolate::loadTemplateParams(QString name, InterpolateParam& param,
                                     std::vector<InterpolateParam>& passes, int defaultOffsetMinFromUTC)
{
    if (name.startsWith(u'!'))
        name.remove(0, 1);
    const QJsonArray templates = loadTemplates().array();
    // Every match is applied, so that a user's template of the same name refines the system's.
    for (const QJsonValue& element : templates) {
        const QJsonObject candidate = element.toObject();
        const QJsonValue candidateName = candidate.value(QLatin1String("name"));
        if (!candidateName.isString() || candidateName.toString() != name)
            continue;
        applyPresentKeys(candidate.value(QLatin1String("interpolateParam")).toObject(), param,
                         defaultOffsetMinFromUTC);
        for (const QJsonValue& pass : candidate.value(QLatin1String("normalizeParams")).toArray())
            passes.push_back(passOf(pass.toObject(), defaultOffsetMinFromUTC));
    }
}

} // namespace Kiv
