// Named templates from the installation's and the project's files.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gmock/gmock.h>

using namespace Kiv;
using namespace Kiv::Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

constexpr const char* kSystemFile = "cfg/dms/InterpolateTemplates.json";
constexpr const char* kUserFile = "cfg/dms/InterpolateTemplates_User.json";
constexpr const char* kManagerFile = "proj/_ProcessManager/cfg/InterpolateTemplates_User.json";
constexpr const char* kProjectFile = "cfg/InterpolateTemplates_User.json";

/// Sets an environment variable for the life of a test.
class VariableForTest
{
public:
    VariableForTest(const char* name, const QByteArray& value) : m_name(name), m_before(qgetenv(name))
    {
        qputenv(name, value);
    }

    ~VariableForTest()
    {
        if (m_before.isNull())
            qunsetenv(m_name);
        else
            qputenv(m_name, m_before);
    }

private:
    const char* m_name;
    QByteArray m_before;
};

class Templates : public ::testing::Test
{
protected:
    void installation(const char* file, const char* json) { write(m_installation, file, json); }
    void project(const char* file, const char* json) { write(m_project, file, json); }
    QString installationPath() const { return m_installation.path() + u'/'; }

    void load(const char* name, int defaultOffset = 60)
    {
        Interpolate::loadTemplateParams(QString::fromUtf8(name), param, passes, defaultOffset);
    }

    Param param = Testing::param("sum", 5);
    std::vector<Param> passes;
    LogCapture log;

private:
    static void write(const QTemporaryDir& directory, const char* file, const char* json)
    {
        const QString path = directory.filePath(QString::fromLatin1(file));
        QDir().mkpath(path.left(path.lastIndexOf(u'/')));
        QFile target(path);
        ASSERT_TRUE(target.open(QIODevice::WriteOnly));
        target.write(json);
    }

    QTemporaryDir m_installation;
    QTemporaryDir m_project;
    VariableForTest m_installationVariable{"VELTAR_INSTALL_PATH", (m_installation.path() + u'/').toUtf8()};
    VariableForTest m_projectVariable{"VELTAR_CURRENT_PROJECT_LOCATION", (m_project.path() + u'/').toUtf8()};
};

TEST_F(Templates, WithoutFilesThereAreNone)
{
    EXPECT_TRUE(Interpolate::loadTemplates().isArray());
    EXPECT_EQ(Interpolate::getTemplates(), QStringLiteral("[]"));
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(Templates, OfAllFilesAreListedInFileOrder)
{
    project(kProjectFile, R"([{"name":"four"}, 5])");
    installation(kManagerFile, R"([{"name":"three"}])");
    installation(kUserFile, R"([{"name":"two"}])");
    installation(kSystemFile, R"([ {"name": "one"} ])");
    EXPECT_EQ(Interpolate::getTemplates(),
              QStringLiteral(R"([{"name":"one"},{"name":"two"},{"name":"three"},{"name":"four"},5])"));
}

TEST_F(Templates, AreReadAgainOnEveryCall)
{
    installation(kSystemFile, R"([{"name":"one"}])");
    EXPECT_EQ(Interpolate::loadTemplates().array().size(), 1);
    installation(kSystemFile, R"([{"name":"one"},{"name":"two"}])");
    EXPECT_EQ(Interpolate::loadTemplates().array().size(), 2);
}

TEST_F(Templates, ThePathIsAppendedToTheVariableWithoutASeparator)
{
    installation(kSystemFile, R"([{"name":"one"}])");
    const VariableForTest unterminated("VELTAR_INSTALL_PATH", installationPath().chopped(1).toUtf8());
    EXPECT_EQ(Interpolate::getTemplates(), QStringLiteral("[]"));
}

TEST_F(Templates, AFileThatIsNoJsonIsLoggedOnceAndSkipped)
{
    installation(kSystemFile, R"([{"name":"one"}])");
    installation(kUserFile, "[{]");
    project(kProjectFile, R"([{"name":"four"}])");
    QJsonParseError error;
    QJsonDocument::fromJson("[{]", &error);
    EXPECT_EQ(Interpolate::loadTemplates().array().size(), 2);
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_EQ(log.lines[0].level, 2);
    EXPECT_EQ(log.lines[0].source, QStringLiteral("src/Interpolate"));
    EXPECT_EQ(log.lines[0].text,
              QStringLiteral("Interpolate template: Parse error on '%1': '%2' at offset %3")
                  .arg(installationPath() + QString::fromLatin1(kUserFile), error.errorString(),
                       QString::number(error.offset)));
}

TEST_F(Templates, AnEmptyFileIsAParseError)
{
    installation(kSystemFile, "");
    EXPECT_EQ(Interpolate::getTemplates(), QStringLiteral("[]"));
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST_F(Templates, AFileWhoseTopLevelIsNoArrayGivesNothing)
{
    installation(kSystemFile, R"({"name":"one"})");
    EXPECT_EQ(Interpolate::getTemplates(), QStringLiteral("[]"));
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(Templates, FillTheParameterFromTheirKeys)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":{"method":"meana","interval":-3,
        "alignStartEndTimestamp":true,"offsetMinFromUTC":-120,"filterParams":[{"value":3}]}}])");
    load("Energy");
    EXPECT_EQ(param.method, QStringLiteral("meana"));
    EXPECT_EQ(param.interval, -3);
    EXPECT_TRUE(param.alignStartEndTimestamp);
    EXPECT_EQ(param.offsetMinFromUTC, -120);
    ASSERT_EQ(param.filterParams.size(), 1U);
    EXPECT_EQ(param.filterParams[0].value, 3.0);
    EXPECT_THAT(passes, IsEmpty());
}

TEST_F(Templates, MissingKeysLeaveTheParameter)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":{}}])");
    param.alignStartEndTimestamp = true;
    param.offsetMinFromUTC = 7;
    param.filterParams.resize(2);
    load("Energy");
    EXPECT_EQ(param.method, QStringLiteral("sum"));
    EXPECT_EQ(param.interval, 5);
    EXPECT_TRUE(param.alignStartEndTimestamp);
    EXPECT_EQ(param.offsetMinFromUTC, 7);
    EXPECT_EQ(param.filterParams.size(), 2U);
}

TEST_F(Templates, MistypedKeysTakeTheDefaultOfTheirType)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":{"method":5,"interval":"3600",
        "alignStartEndTimestamp":1,"offsetMinFromUTC":"x","filterParams":{}}}])");
    param.alignStartEndTimestamp = true;
    param.filterParams.resize(2);
    load("Energy", 45);
    EXPECT_EQ(param.method, QString());
    EXPECT_EQ(param.interval, 0);
    EXPECT_FALSE(param.alignStartEndTimestamp);
    EXPECT_EQ(param.offsetMinFromUTC, 45);
    EXPECT_THAT(param.filterParams, IsEmpty());
}

TEST_F(Templates, AnOffsetThatIsNoWholeNumberIsTheCallersDefault)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":{"offsetMinFromUTC":1.5}}])");
    load("Energy", 45);
    EXPECT_EQ(param.offsetMinFromUTC, 45);
}

TEST_F(Templates, ALeadingExclamationMarkIsIgnored)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":{"interval":60}},
                                 {"name":"!Energy","interpolateParam":{"interval":61}}])");
    load("!Energy");
    EXPECT_EQ(param.interval, 60);
    load("!!Energy");
    EXPECT_EQ(param.interval, 61);
}

TEST_F(Templates, NamesAreComparedExactly)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":{"interval":60},"normalizeParams":[{}]},
                                 {"interpolateParam":{"interval":61}}, 7])");
    load("energy");
    load("Energy ");
    load("unknown");
    EXPECT_EQ(param.interval, 5);
    EXPECT_THAT(passes, IsEmpty());
}

TEST_F(Templates, AnEmptyPassTakesItsDefaults)
{
    installation(kSystemFile, R"([{"name":"Energy","normalizeParams":[{}]}])");
    load("Energy", 45);
    ASSERT_EQ(passes.size(), 1U);
    EXPECT_EQ(passes[0].method, QStringLiteral("prevNextLinearFill"));
    EXPECT_EQ(passes[0].interval, 900);
    EXPECT_FALSE(passes[0].alignStartEndTimestamp);
    EXPECT_EQ(passes[0].offsetMinFromUTC, 45);
    EXPECT_THAT(passes[0].filterParams, IsEmpty());
    EXPECT_EQ(param.method, QStringLiteral("sum"));
}

TEST_F(Templates, PassesAreReadInOrderAndAppended)
{
    installation(kSystemFile, R"([{"name":"Energy","normalizeParams":[
        {"method":"diff","interval":0,"filterParams":[{"value":1},{"value":2}]},
        {"method":"next","interval":-1,"alignStartEndTimestamp":true,"offsetMinFromUTC":0}]}])");
    passes.push_back(Testing::param("count", 1));
    load("Energy");
    ASSERT_EQ(passes.size(), 3U);
    EXPECT_EQ(passes[0].method, QStringLiteral("count"));
    EXPECT_EQ(passes[1].method, QStringLiteral("diff"));
    EXPECT_EQ(passes[1].interval, 0);
    ASSERT_EQ(passes[1].filterParams.size(), 2U);
    EXPECT_EQ(passes[1].filterParams[1].value, 2.0);
    EXPECT_EQ(passes[2].interval, -1);
    EXPECT_TRUE(passes[2].alignStartEndTimestamp);
    EXPECT_EQ(passes[2].offsetMinFromUTC, 0);
}

TEST_F(Templates, MistypedKeysOfAPassTakeThePassDefaults)
{
    installation(kSystemFile, R"([{"name":"Energy","normalizeParams":[
        {"method":1,"interval":"60","alignStartEndTimestamp":"yes","offsetMinFromUTC":[],"filterParams":1}, 9]}])");
    load("Energy", 45);
    ASSERT_EQ(passes.size(), 2U);
    for (const Param& pass : passes) {
        EXPECT_EQ(pass.method, QStringLiteral("prevNextLinearFill"));
        EXPECT_EQ(pass.interval, 900);
        EXPECT_FALSE(pass.alignStartEndTimestamp);
        EXPECT_EQ(pass.offsetMinFromUTC, 45);
        EXPECT_THAT(pass.filterParams, IsEmpty());
    }
}

TEST_F(Templates, LaterFilesAreLaidOverEarlierOnes)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":{"method":"meana","interval":900},
                                  "normalizeParams":[{"interval":1}]}])");
    installation(kUserFile, R"([{"name":"Energy","interpolateParam":{"interval":3600},
                                "normalizeParams":[{"interval":2}]}])");
    project(kProjectFile, R"([{"name":"Energy","normalizeParams":[{"interval":3}]}])");
    load("Energy");
    EXPECT_EQ(param.method, QStringLiteral("meana"));
    EXPECT_EQ(param.interval, 3600);
    ASSERT_EQ(passes.size(), 3U);
    EXPECT_EQ(passes[0].interval, 1);
    EXPECT_EQ(passes[1].interval, 2);
    EXPECT_EQ(passes[2].interval, 3);
}

TEST_F(Templates, PartsOfAnotherTypeAreIgnored)
{
    installation(kSystemFile, R"([{"name":"Energy","interpolateParam":[1],"normalizeParams":{"a":1}}])");
    load("Energy");
    EXPECT_EQ(param.method, QStringLiteral("sum"));
    EXPECT_THAT(passes, IsEmpty());
}

TEST_F(Templates, WithoutTheVariablesAreLookedForBelowTheCurrentDirectory)
{
    QTemporaryDir current;
    const QString before = QDir::currentPath();
    installation(kSystemFile, R"([{"name":"Elsewhere"}])");
    ASSERT_TRUE(QDir().mkpath(current.filePath(QStringLiteral("cfg/dms"))));
    for (const char* file : {kSystemFile, kProjectFile}) {
        QFile target(current.filePath(QString::fromLatin1(file)));
        ASSERT_TRUE(target.open(QIODevice::WriteOnly));
        target.write(R"([{"name":"Here"}])");
    }
    qunsetenv("VELTAR_INSTALL_PATH");
    qunsetenv("VELTAR_CURRENT_PROJECT_LOCATION");
    ASSERT_TRUE(QDir::setCurrent(current.path()));
    EXPECT_EQ(Interpolate::getTemplates(), QStringLiteral(R"([{"name":"Here"},{"name":"Here"}])"));
    ASSERT_TRUE(QDir::setCurrent(before));
}

TEST_F(Templates, ADirectoryInThePlaceOfAFileIsPassedOver)
{
    ASSERT_TRUE(QDir().mkpath(installationPath() + QString::fromLatin1(kSystemFile)));
    installation(kUserFile, R"([{"name":"Energy"}])");
    EXPECT_EQ(Interpolate::getTemplates(), QStringLiteral(R"([{"name":"Energy"}])"));
    EXPECT_THAT(log.texts(), IsEmpty());
}

} // namespace
