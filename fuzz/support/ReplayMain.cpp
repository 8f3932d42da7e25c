// Takes saved inputs once: every file named on the command line, and every file of every directory named there.

#include "support/FuzzInput.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace
{

namespace fs = std::filesystem;

std::vector<fs::path> filesOf(const fs::path& path)
{
    if (!fs::is_directory(path))
        return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), {});
    // Said before, so that after a crash the last line names the input.
    std::printf("%s (%zu bytes)\n", path.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argumentCount, char** arguments)
{
    int fileCount = 0;
    for (int i = 1; i < argumentCount; ++i) {
        for (const fs::path& path : filesOf(arguments[i])) {
            if (!fs::is_regular_file(path)) {
                std::fprintf(stderr, "no such input: %s\n", path.c_str());
                return 2;
            }
            replay(path);
            ++fileCount;
        }
    }
    if (fileCount == 0)
        std::fputs("no inputs\n", stderr);
    return fileCount == 0 ? 2 : 0;
}
