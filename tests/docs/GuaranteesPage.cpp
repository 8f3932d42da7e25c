// Holds docs/guarantees.md to the tests that it names: every one exists, and every line of its tables names one.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace Kiv::Testing
{
namespace
{

namespace fs = std::filesystem;
using Names = std::set<std::string>;

std::string contentOf(const fs::path& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string page()
{
    return contentOf(fs::path(KIV_PROJECT_DIR) / "docs/guarantees.md");
}

/// "Suite.Name" of every test in the sources of a folder.
Names testsOf(const std::string& folder)
{
    static const std::regex kTest(R"(\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\))");
    Names names;
    for (const fs::directory_entry& entry :
         fs::recursive_directory_iterator(fs::path(KIV_PROJECT_DIR) / "tests" / folder)) {
        if (entry.path().extension() != ".cpp")
            continue;
        const std::string source = contentOf(entry.path());
        for (std::sregex_iterator test(source.begin(), source.end(), kTest), end; test != end; ++test)
            names.insert((*test)[1].str() + "." + (*test)[2].str());
    }
    return names;
}

/// Names of tests between backticks: folder.Suite.Name, or cli.case.
const std::regex kTestName(R"(`([a-z]+)\.(\w+)(?:\.(\w+))?`)");

bool exists(const std::smatch& name)
{
    static std::map<std::string, Names> tests;
    const fs::path folder = fs::path(KIV_PROJECT_DIR) / "tests" / name[1].str();
    if (name[1] == "cli")
        return fs::exists(folder / "cases" / (name[2].str() + ".case"));
    if (!fs::is_directory(folder))
        return false;
    if (!tests.contains(name[1]))
        tests[name[1]] = testsOf(name[1]);
    return tests[name[1]].contains(name[2].str() + "." + name[3].str());
}

/// `series.json` and the like stand between backticks too.
bool isTestName(const std::smatch& name)
{
    return name[1] == "cli" || name[3].matched;
}

/// Every name of a test in a text.
std::vector<std::smatch> namesIn(const std::string& text)
{
    std::vector<std::smatch> names;
    for (std::sregex_iterator name(text.begin(), text.end(), kTestName), end; name != end; ++name) {
        if (isTestName(*name))
            names.push_back(*name);
    }
    return names;
}

TEST(GuaranteesPage, NamesOnlyTestsThatExist)
{
    const std::string text = page();
    const std::vector<std::smatch> names = namesIn(text);
    EXPECT_GT(names.size(), 40u);
    for (const std::smatch& name : names)
        EXPECT_TRUE(exists(name)) << name.str();
}

TEST(GuaranteesPage, NamesATestInEveryLineOfItsTables)
{
    std::ifstream file(fs::path(KIV_PROJECT_DIR) / "docs/guarantees.md");
    int count = 0;
    bool isHead = true;
    for (std::string line; std::getline(file, line);) {
        const bool isTable = line.starts_with("|");
        const bool isRule = line.starts_with("|---");
        isHead = isTable ? isHead && !isRule : true;
        if (!isTable || isRule || isHead)
            continue;
        ++count;
        EXPECT_FALSE(namesIn(line).empty()) << line;
    }
    EXPECT_GT(count, 25);
}

} // namespace
} // namespace Kiv::Testing
