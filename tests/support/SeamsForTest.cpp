#include "support/SeamsForTest.h"

#include <Kiv/Logger.h>

namespace Kiv::Testing
{

SeamsForTest::SeamsForTest()
{
    Internal::seams().nowMicroseconds = [this] { return nowUs; };
    Internal::seams().sleep = [this](unsigned seconds) { sleptSeconds += static_cast<int>(seconds); };
}

SeamsForTest::~SeamsForTest()
{
    Internal::seams() = Internal::realSeams();
}

LogCapture::LogCapture()
{
    Logger::instance().setSink([this](unsigned char level, const QString& text, const char* file, int line) {
        lines.push_back({level, text, QString::fromLatin1(file), line});
    });
}

LogCapture::~LogCapture()
{
    Logger::instance().setSink({});
}

std::vector<std::string> LogCapture::texts() const
{
    std::vector<std::string> result;
    for (const LogLine& entry : lines)
        result.push_back(std::to_string(entry.level) + " " + entry.text.toStdString());
    return result;
}

} // namespace Kiv::Testing
