// Holds the layers of the source tree: who may include whom. Reads the include lines of all sources.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Kiv::Testing
{
namespace
{

namespace fs = std::filesystem;
using Names = std::set<std::string>;

fs::path projectRoot()
{
    return KIV_PROJECT_DIR;
}

/// Every source below a folder of the project; none when the folder does not exist.
std::vector<fs::path> sourcesBelow(const char* folder)
{
    std::vector<fs::path> paths;
    const fs::path root = projectRoot() / folder;
    if (!fs::exists(root))
        return paths;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp")
            paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

/// What the include lines of a file name, without quotes or angle brackets.
Names includesOf(const fs::path& path)
{
    Names names;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with("#include "))
            continue;
        const size_t start = line.find_first_of("\"<", 8);
        const size_t end = line.find_first_of("\">", start + 1);
        names.insert(line.substr(start + 1, end - start - 1));
    }
    return names;
}

/// A header and its sources are one unit: "internal/VarFile.h" and "Interpolate_point.cpp" belong to VarFile
/// and Interpolate.
std::string unitOf(const fs::path& path)
{
    const std::string stem = path.stem().string();
    return stem.substr(0, stem.find('_'));
}

enum class Layer { Pure, Edge, Tree, Files, Engine, Operations };

/// The layer of every unit below src/. A new unit gets its line here.
const std::map<std::string, Layer> kLayers = {
    {"CivilTime", Layer::Pure},
    {"MeanKernels", Layer::Pure},
    {"RecordLayout", Layer::Pure},
    {"VarValue", Layer::Pure},
    {"KivTSFileStorageExport", Layer::Pure},

    {"LogTexts", Layer::Edge},
    {"Seams", Layer::Edge},

    {"FilePlace", Layer::Tree},
    {"TreeCursor", Layer::Tree},
    {"TSFileInfo", Layer::Tree},
    {"TSDirControl", Layer::Tree},

    {"BlockScan", Layer::Files},
    {"FileAccess", Layer::Files},
    {"FileImage", Layer::Files},
    {"SwapFiles", Layer::Files},
    {"VarFile", Layer::Files},

    {"Interpolate", Layer::Engine},

    {"BatchWriter", Layer::Operations},
    {"ColumnResults", Layer::Operations},
    {"FileReplacement", Layer::Operations},
    {"FileSplitter", Layer::Operations},
    {"NewRecordFile", Layer::Operations},
    {"RangeCounter", Layer::Operations},
    {"RangeEraser", Layer::Operations},
    {"RangeReader", Layer::Operations},
    {"RecordEncoder", Layer::Operations},
    {"RecordFile", Layer::Operations},
    {"RecordFileWriter", Layer::Operations},
    {"RecordRuns", Layer::Operations},
    {"SampleBatch", Layer::Operations},
    {"ShapeDispatch", Layer::Operations},
    {"TSFileColumns", Layer::Operations},
    {"TSFileStorage", Layer::Operations},
    {"VarReorganizer", Layer::Operations},
};

/// What a unit of a layer may include beside itself.
bool mayUse(Layer user, const std::string& used)
{
    const Layer layer = kLayers.at(used);
    switch (user) {
    case Layer::Pure:
    case Layer::Edge:
        return used == "KivTSFileStorageExport";
    case Layer::Tree:
        return layer == Layer::Tree || layer == Layer::Edge || used == "CivilTime" ||
               used == "KivTSFileStorageExport";
    case Layer::Files:
        return layer == Layer::Files || layer == Layer::Edge || used == "RecordLayout" || used == "VarValue";
    case Layer::Engine:
        return layer == Layer::Edge || used == "CivilTime" || used == "MeanKernels" ||
               used == "KivTSFileStorageExport";
    case Layer::Operations:
        return true;
    }
    return false;
}

bool isOwnHeader(const std::string& include)
{
    return fs::exists(projectRoot() / "src" / include);
}

const Names kPublicHeaders = {"Interpolate.h",  "KivTSFileStorageExport.h",
                              "TSDirControl.h", "TSFileColumns.h",
                              "TSFileInfo.h",   "TSFileStorage.h"};

/// Headers that read or write files.
const Names kFileHeaders = {"QDir",           "QDirIterator", "QFile",      "QFileInfo", "QSaveFile",
                            "QTemporaryFile", "fstream",      "filesystem", "dirent.h",  "fcntl.h",
                            "sys/mman.h",     "sys/stat.h",   "unistd.h"};

Names intersection(const Names& a, const Names& b)
{
    Names both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(both, both.begin()));
    return both;
}

TEST(Layers, TheSourcesAreFound)
{
    EXPECT_GT(sourcesBelow("src").size(), 20u);
    EXPECT_GT(sourcesBelow("logger").size(), 1u);
}

TEST(Layers, EveryUnitHasItsPlace)
{
    Names units;
    for (const fs::path& path : sourcesBelow("src")) {
        units.insert(unitOf(path));
        EXPECT_TRUE(kLayers.contains(unitOf(path))) << path << " is in no layer";
    }
    for (const auto& [unit, layer] : kLayers)
        EXPECT_TRUE(units.contains(unit)) << unit << " has a layer but no source";
}

TEST(Layers, IncludesPointDownOnly)
{
    for (const fs::path& path : sourcesBelow("src")) {
        if (!kLayers.contains(unitOf(path)))
            continue;
        for (const std::string& include : includesOf(path)) {
            const std::string used = unitOf(include);
            if (!isOwnHeader(include) || used == unitOf(path) || !kLayers.contains(used))
                continue;
            EXPECT_TRUE(mayUse(kLayers.at(unitOf(path)), used)) << path << " must not include " << include;
        }
    }
}

TEST(Layers, TheLoggerKnowsNothingOfTheStore)
{
    for (const fs::path& path : sourcesBelow("logger")) {
        for (const std::string& include : includesOf(path))
            EXPECT_FALSE(isOwnHeader(include)) << path << " includes " << include;
    }
}

TEST(Layers, OnlyLogTextsKnowsTheLogger)
{
    for (const fs::path& path : sourcesBelow("src")) {
        if (unitOf(path) == "LogTexts")
            continue;
        EXPECT_FALSE(includesOf(path).contains("Kiv/Logger.h")) << path;
    }
}

TEST(Layers, PureUnitsDoNoInputOrOutput)
{
    for (const fs::path& path : sourcesBelow("src")) {
        const auto layer = kLayers.find(unitOf(path));
        if (layer != kLayers.end() && layer->second == Layer::Pure) {
            EXPECT_THAT(intersection(includesOf(path), kFileHeaders), testing::IsEmpty()) << path;
        }
    }
}

TEST(Layers, TheEngineSeesFilesForItsTemplatesOnly)
{
    for (const fs::path& path : sourcesBelow("src")) {
        if (unitOf(path) == "Interpolate" && path.stem() != "Interpolate_templates") {
            EXPECT_THAT(intersection(includesOf(path), kFileHeaders), testing::IsEmpty()) << path;
        }
    }
}

TEST(Layers, PublicHeadersShowNothingInternal)
{
    for (const std::string& header : kPublicHeaders) {
        for (const std::string& include : includesOf(projectRoot() / "src" / header)) {
            EXPECT_FALSE(include.starts_with("internal/")) << header << " includes " << include;
            EXPECT_FALSE(include.starts_with("Kiv/")) << header << " includes " << include;
            EXPECT_FALSE(include.starts_with("Poco/")) << header << " includes " << include;
        }
    }
}

TEST(Layers, EveryHeaderBesideTheSourcesIsPublic)
{
    for (const fs::path& path : sourcesBelow("src")) {
        if (path.extension() == ".h" && path.parent_path().filename() == "src") {
            EXPECT_TRUE(kPublicHeaders.contains(path.filename().string())) << path;
        }
    }
}

TEST(Layers, AnalyticsAndToolsUseThePublicHeadersOnly)
{
    for (const char* folder : {"analytics", "cli"}) {
        for (const fs::path& path : sourcesBelow(folder)) {
            for (const std::string& include : includesOf(path)) {
                EXPECT_EQ(include.find("internal/"), std::string::npos) << path << " includes " << include;
                if (fs::exists(path.parent_path() / include) || !isOwnHeader(include))
                    continue;
                EXPECT_TRUE(kPublicHeaders.contains(include)) << path << " includes " << include;
            }
        }
    }
}

TEST(Layers, AnalyticsUseThreePublicHeadersAndTheirOwn)
{
    const Names kMayUse = {"Interpolate.h", "TSFileColumns.h", "TSFileStorage.h"};
    EXPECT_GT(sourcesBelow("analytics").size(), 10u);
    for (const fs::path& path : sourcesBelow("analytics")) {
        for (const std::string& include : includesOf(path)) {
            // Headers of Qt and of the standard library have no ending.
            if (!include.ends_with(".h") || kMayUse.contains(include))
                continue;
            EXPECT_TRUE(include.starts_with("analytics/") && fs::exists(projectRoot() / include))
                << path << " includes " << include;
        }
    }
}

TEST(Layers, TheLibraryDoesNotKnowTheAnalytics)
{
    for (const char* folder : {"src", "logger"}) {
        for (const fs::path& path : sourcesBelow(folder)) {
            for (const std::string& include : includesOf(path))
                EXPECT_FALSE(include.starts_with("analytics/")) << path << " includes " << include;
        }
    }
}

TEST(Layers, AnalyticsDoNotKnowTheTools)
{
    for (const fs::path& path : sourcesBelow("analytics")) {
        for (const std::string& include : includesOf(path)) {
            EXPECT_EQ(include.find("cli/"), std::string::npos) << path << " includes " << include;
            EXPECT_FALSE(fs::exists(projectRoot() / "cli" / include) &&
                         !fs::exists(path.parent_path() / include))
                << path << " includes " << include;
        }
    }
}

/// True when a header reaches itself again.
bool isInCircle(const std::string& header, const std::map<std::string, Names>& includes)
{
    Names reached;
    std::vector<std::string> open(includes.at(header).begin(), includes.at(header).end());
    while (!open.empty()) {
        const std::string next = open.back();
        open.pop_back();
        if (next == header)
            return true;
        if (reached.insert(next).second && includes.contains(next))
            open.insert(open.end(), includes.at(next).begin(), includes.at(next).end());
    }
    return false;
}

TEST(Layers, HeadersDoNotIncludeInCircles)
{
    std::map<std::string, Names> includes;
    for (const fs::path& path : sourcesBelow("src")) {
        if (path.extension() == ".h")
            includes[fs::relative(path, projectRoot() / "src").generic_string()] = includesOf(path);
    }
    for (const auto& [header, names] : includes)
        EXPECT_FALSE(isInCircle(header, includes)) << header;
}

TEST(Layers, EveryHeaderIsGuarded)
{
    for (const char* folder : {"src", "logger", "cli", "analytics"}) {
        for (const fs::path& path : sourcesBelow(folder)) {
            if (path.extension() != ".h")
                continue;
            std::ifstream file(path);
            std::string text((std::istreambuf_iterator<char>(file)), {});
            EXPECT_NE(text.find("#pragma once"), std::string::npos) << path;
        }
    }
}

TEST(Style, FunctionsHaveAtMostSeventyLines)
{
    constexpr int kMaxLines = 70;
    for (const char* folder : {"src", "logger", "cli", "analytics"}) {
        for (const fs::path& path : sourcesBelow(folder)) {
            std::ifstream file(path);
            int number = 0;
            int start = 0;
            std::string before;
            for (std::string line; std::getline(file, line); before = line) {
                ++number;
                // A body outside a class stands between braces at the start of a line.
                if (line == "{" && !before.starts_with("namespace"))
                    start = number;
                if (line == "}" && start > 0) {
                    EXPECT_LE(number - start - 1, kMaxLines) << path << ":" << start;
                    start = 0;
                }
            }
        }
    }
}

} // namespace
} // namespace Kiv::Testing
