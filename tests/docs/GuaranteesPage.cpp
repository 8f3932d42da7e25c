// Holds docs/guarantees.md to the tests that it names: every one exists, and every line of its tables names one.

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QString>

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

namespace Kiv::Testing
{
namespace
{

using Names = std::set<QString>;

QString inProject(const QString& path)
{
    return QStringLiteral(KIV_PROJECT_DIR) + u'/' + path;
}

QString contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString page()
{
    return contentOf(inProject(QStringLiteral("docs/guarantees.md")));
}

/// "Suite.Name" of every test in the sources of a folder.
Names testsOf(const QString& folder)
{
    static const QRegularExpression kTest(QStringLiteral(R"(\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\))"));
    Names names;
    QDirIterator sources(inProject(QStringLiteral("tests/") + folder), {QStringLiteral("*.cpp")}, QDir::Files,
                         QDirIterator::Subdirectories);
    while (sources.hasNext()) {
        QRegularExpressionMatchIterator tests = kTest.globalMatch(contentOf(sources.next()));
        while (tests.hasNext()) {
            const QRegularExpressionMatch test = tests.next();
            names.insert(test.captured(1) + u'.' + test.captured(2));
        }
    }
    return names;
}

/// The name of a test between backticks: folder.Suite.Name, or cli.case.
struct TestName {
    QString folder;
    QString suite; ///< or case
    QString name;

    bool exists() const
    {
        static std::map<QString, Names> tests;
        const QString directory = inProject(QStringLiteral("tests/") + folder);
        if (folder == QLatin1String("cli"))
            return QFile::exists(directory + QStringLiteral("/cases/") + suite + QStringLiteral(".case"));
        if (!QDir(directory).exists())
            return false;
        if (tests.count(folder) == 0)
            tests[folder] = testsOf(folder);
        return tests[folder].count(suite + u'.' + name) != 0;
    }
};

/// Every name of a test in a text. `series.json` and the like stand between backticks too.
std::vector<TestName> namesIn(const QString& text)
{
    static const QRegularExpression kName(QStringLiteral(R"(`([a-z]+)\.(\w+)(?:\.(\w+))?`)"));
    std::vector<TestName> names;
    QRegularExpressionMatchIterator matches = kName.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        if (match.captured(1) == QLatin1String("cli") || !match.captured(3).isEmpty())
            names.push_back({match.captured(1), match.captured(2), match.captured(3)});
    }
    return names;
}

TEST(GuaranteesPage, NamesOnlyTestsThatExist)
{
    const std::vector<TestName> names = namesIn(page());
    EXPECT_GT(names.size(), 40U);
    for (const TestName& name : names)
        EXPECT_TRUE(name.exists()) << qPrintable(name.folder + u'.' + name.suite + u'.' + name.name);
}

TEST(GuaranteesPage, NamesATestInEveryLineOfItsTables)
{
    int count = 0;
    bool isHead = true;
    for (const QString& line : page().split(u'\n')) {
        const bool isTable = line.startsWith(u'|');
        const bool isRule = line.startsWith(QLatin1String("|---"));
        isHead = isTable ? isHead && !isRule : true;
        if (!isTable || isRule || isHead)
            continue;
        ++count;
        EXPECT_FALSE(namesIn(line).empty()) << qPrintable(line);
    }
    EXPECT_GT(count, 25);
}

} // namespace
} // namespace Kiv::Testing
