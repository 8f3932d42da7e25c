// A program of somebody else that takes the log lines of the library: here that of a series below a file.

#include <Kiv/Logger.h>
#include <TSFileStorage.h>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    int lines = 0;
    Kiv::Logger::instance().setSink([&lines](unsigned char, const QString&, const char*, int) { ++lines; });
    Kiv::TSFileStorage series(QString::fromLocal8Bit(argv[1]) + "/series", QMetaType::Double, 1000000);
    const bool written = series.writeDataRecords({{1715953512000, 71.5}}, false, false);
    std::printf("%s, %s\n", written ? "written" : "not written", lines > 0 ? "logged" : "not logged");
    return 0;
}
