#include "TemplateCheck.h"

#include "Errors.h"
#include "TemplateRules.h"

#include "Interpolate.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cctype>
#include <iterator>
#include <utility>

namespace Kiv::Cli
{

namespace
{

struct TemplateFile {
    const char* variable;
    const char* path; ///< behind the variable's value, without anything between
};

// The engine's files in the engine's order.
constexpr TemplateFile kTemplateFiles[] = {
    {"VELTAR_INSTALL_PATH", "cfg/dms/InterpolateTemplates.json"},
    {"VELTAR_INSTALL_PATH", "cfg/dms/InterpolateTemplates_User.json"},
    {"VELTAR_INSTALL_PATH", "proj/_ProcessManager/cfg/InterpolateTemplates_User.json"},
    {"VELTAR_CURRENT_PROJECT_LOCATION", "cfg/InterpolateTemplates_User.json"},
};

/// "line 2, column 7"
QString positionText(const QByteArray& json, qsizetype offset)
{
    const QByteArray before = json.left(offset);
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    return QStringLiteral("line %1, column %2")
        .arg(before.count('\n') + 1)
        .arg(QString::fromUtf8(before.mid(lineStart)).size() + 1);
}

/// \param json  an array, known to be valid
/// \return the lines on which its elements begin
std::vector<qint64> linesOfElements(const QByteArray& json)
{
    std::vector<qint64> lines;
    qint64 line = 1;
    int depth = 0;
    bool isInText = false;
    bool isExpected = false; // an element, from the next character on that is no blank
    for (qsizetype i = 0; i < json.size(); ++i) {
        const char character = json[i];
        if (character == '\n')
            ++line;
        if (isInText) {
            if (character == '\\')
                ++i;
            isInText = character != '"';
            continue;
        }
        if (std::isspace(static_cast<unsigned char>(character)) != 0)
            continue;
        if (isExpected && character != ']')
            lines.push_back(line);
        isExpected = (depth == 1 && character == ',') || (depth == 0 && character == '[');
        isInText = character == '"';
        if (character == '[' || character == '{')
            ++depth;
        if (character == ']' || character == '}')
            --depth;
    }
    return lines;
}

class TemplateChecker
{
public:
    TemplateReport run()
    {
        for (m_file = 0; m_file < std::size(kTemplateFiles); ++m_file)
            checkFile();
        // The engine logs what it cannot parse; that is said already.
        if (!m_hasBadJson)
            checkLaidTogether();
        for (FileState& file : m_files)
            report(file);
        return std::move(m_report);
    }

private:
    struct FileState {
        QString path;
        std::vector<TemplateFinding> findings;
        qint64 templateCount = 0;
        bool isRead = false;
    };

    /// Where a name stood last.
    struct Seen {
        std::size_t file = 0;
        qint64 line = 0;
    };

    FileState& current() { return m_files[m_file]; }

    void add(FindingLevel level, const QString& text, qint64 line = 0, const QString& name = {})
    {
        current().findings.push_back({current().path, line, name, level, text});
    }

    void checkFile();
    void checkPlace(const QString& variable, const QString& root, bool exists);
    void checkContents(const QByteArray& json);
    void checkTemplate(const QJsonValue& value, qint64 line, const QString& number);
    void checkName(const QString& name, qint64 line);
    void checkLaidTogether();
    void report(FileState& file);

    TemplateReport m_report;
    std::array<FileState, std::size(kTemplateFiles)> m_files;
    std::size_t m_file = 0;           ///< the one that findings are about
    QHash<QString, QString> m_places; ///< canonical path -> path as it was made
    QHash<QString, Seen> m_seen;
    QStringList m_names; ///< in their order
    bool m_hasBadJson = false;
};

void TemplateChecker::checkFile()
{
    const TemplateFile& place = kTemplateFiles[m_file];
    const QString root = qEnvironmentVariable(place.variable);
    const QString path = root + QLatin1String(place.path);
    current().path = path;
    const QFileInfo info(path);
    checkPlace(QLatin1String(place.variable), root, info.exists());
    if (!info.exists())
        return;
    ++m_report.fileCount;
    const QString canonical = info.canonicalFilePath();
    if (m_places.contains(canonical)) {
        add(FindingLevel::Warning,
            QStringLiteral("this is the file %1 again; it is read twice, and its passes are added twice")
                .arg(m_places.value(canonical)));
        return;
    }
    m_places.insert(canonical, path);
    QFile file(path);
    if (info.isDir())
        add(FindingLevel::Error, QStringLiteral("a directory; a JSON file is expected"));
    else if (!file.open(QIODevice::ReadOnly))
        add(FindingLevel::Error, QStringLiteral("cannot be read: ") + file.errorString());
    else
        checkContents(file.readAll());
}

void TemplateChecker::report(FileState& file)
{
    const bool isClean =
        std::none_of(file.findings.begin(), file.findings.end(),
                     [](const TemplateFinding& finding) { return finding.level > FindingLevel::Note; });
    if (isClean && file.isRead)
        file.findings.push_back({file.path, 0, QString(), FindingLevel::Good,
                                 counted(file.templateCount, QStringLiteral("template"))});
    std::move(file.findings.begin(), file.findings.end(), std::back_inserter(m_report.findings));
    m_report.templateCount += file.templateCount;
}

void TemplateChecker::checkPlace(const QString& variable, const QString& root, bool exists)
{
    if (!root.isEmpty() && !root.endsWith(u'/'))
        add(FindingLevel::Warning,
            QStringLiteral("%1 does not end with /; write %2").arg(variable, quoted(root + u'/')));
    if (!exists)
        add(FindingLevel::Note, root.isEmpty() ? QStringLiteral("no such file; %1 is not set").arg(variable)
                                               : QStringLiteral("no such file"));
    else if (root.isEmpty())
        add(FindingLevel::Warning,
            QStringLiteral("%1 is not set; the file of the working directory is read").arg(variable));
}

void TemplateChecker::checkContents(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        m_hasBadJson = true;
        const qsizetype offset = std::min<qsizetype>(error.offset, json.size());
        add(FindingLevel::Error,
            QStringLiteral("%1: no JSON: %2").arg(positionText(json, offset), error.errorString()),
            json.left(offset).count('\n') + 1);
        return;
    }
    if (!document.isArray()) {
        add(FindingLevel::Error, QStringLiteral("an object; write an array of templates: [{...}, ...]"), 1);
        return;
    }
    current().isRead = true;
    const QJsonArray templates = document.array();
    const std::vector<qint64> lines = linesOfElements(json);
    for (qsizetype i = 0; i < templates.size(); ++i) {
        const auto at = static_cast<std::size_t>(i);
        checkTemplate(templates[i], at < lines.size() ? lines[at] : 0, QStringLiteral("#%1").arg(i + 1));
    }
}

void TemplateChecker::checkTemplate(const QJsonValue& value, qint64 line, const QString& number)
{
    const QJsonValue nameValue = value.toObject().value(QStringLiteral("name"));
    const QString name = nameValue.isString() ? nameValue.toString() : number;
    ++current().templateCount;
    for (const TemplateDoubt& doubt : doubtsOfTemplate(value))
        add(doubt.isError ? FindingLevel::Error : FindingLevel::Warning, doubt.text, line, name);
    if (nameValue.isString())
        checkName(name, line);
}

void TemplateChecker::checkName(const QString& name, qint64 line)
{
    const auto seen = m_seen.constFind(name);
    if (seen == m_seen.constEnd())
        m_names += name;
    else if (seen->file == m_file)
        add(FindingLevel::Error,
            QStringLiteral("this file has the name already, on line %1; rename or remove one")
                .arg(seen->line),
            line, name);
    else
        add(FindingLevel::Note,
            QStringLiteral("laid over that of %1, line %2").arg(m_files[seen->file].path).arg(seen->line),
            line, name);
    m_seen.insert(name, {m_file, line});
}

void TemplateChecker::checkLaidTogether()
{
    for (const QString& name : std::as_const(m_names)) {
        Interpolate::InterpolateParam param;
        std::vector<Interpolate::InterpolateParam> passes;
        // A first "!" of the name itself would be taken for the mark.
        Interpolate::loadTemplateParams(u'!' + name, param, passes, 0);
        const Seen seen = m_seen.value(name);
        m_file = seen.file;
        passes.push_back(param);
        for (const Interpolate::InterpolateParam& pass : passes) {
            if (hasIdleMethod(pass))
                add(FindingLevel::Warning,
                    QStringLiteral("without an interval the method %1 gives raw records")
                        .arg(quoted(pass.method)),
                    seen.line, name);
        }
    }
}

} // namespace

qint64 TemplateReport::count(FindingLevel level) const
{
    return std::count_if(findings.begin(), findings.end(),
                         [level](const TemplateFinding& finding) { return finding.level == level; });
}

TemplateReport checkTemplates()
{
    return TemplateChecker().run();
}

} // namespace Kiv::Cli
