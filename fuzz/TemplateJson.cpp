// Any texts as the files of templates: loading them never fails, and the engine serves the request that they make as
// the model does.
// Input: the name of a template, a line of dice of a request, then the files, separated by lines "---".

#include "support/FuzzInput.h"
#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

constexpr const char* kFiles[] = {
    "install/cfg/dms/InterpolateTemplates.json",
    "install/cfg/dms/InterpolateTemplates_User.json",
    "install/proj/_ProcessManager/cfg/InterpolateTemplates_User.json",
    "project/cfg/InterpolateTemplates_User.json",
};

QByteArray takeFile(FuzzInput& input)
{
    QByteArray text;
    while (!input.isAtEnd()) {
        const QByteArray line = input.takeLine();
        if (line == "---")
            break;
        text += line + '\n';
    }
    return text;
}

/// The files of templates of one input, where the engine looks for them.
class TemplateFiles
{
public:
    explicit TemplateFiles(FuzzInput& input)
    {
        for (const char* file : kFiles) {
            const QByteArray text = takeFile(input);
            if (!text.isEmpty())
                writeFile(m_directory.at(QLatin1String(file)), text);
        }
        qputenv("VELTAR_INSTALL_PATH", m_directory.at(QStringLiteral("install/")).toUtf8());
        qputenv("VELTAR_CURRENT_PROJECT_LOCATION", m_directory.at(QStringLiteral("project/")).toUtf8());
    }

private:
    SeriesDirectory m_directory;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    const QString name = QString::fromUtf8(input.takeLine());
    Dice dice = input.takeDice();
    EngineCase engineCase = makeEngineCase(dice);
    const TemplateFiles files(input);
    LogCapture log;
    const QJsonArray templates = Interpolate::loadTemplates().array();
    if (QJsonDocument::fromJson(Interpolate::getTemplates().toUtf8()).array() != templates)
        expectNone("the templates as text are others", Interpolate::getTemplates().toStdString());
    Interpolate::loadTemplateParams(name, engineCase.param, engineCase.passes,
                                    static_cast<int>(dice.between(-1500, 1500)));
    // Each pass is one engine inside the other; chains of sensible length are compared.
    engineCase.passes.resize(std::min<std::size_t>(engineCase.passes.size(), 4));
    expectSameAsModel(engineCase);
    return 0;
}
