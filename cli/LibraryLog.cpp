#include "LibraryLog.h"

#include <Kiv/Logger.h>

namespace Kiv::Cli
{

namespace
{

constexpr unsigned char kErrorLevel = 2;
constexpr unsigned char kWarningLevel = 4;

bool isOverwriteNotice(const QString& text)
{
    return text.startsWith(QLatin1String("Value on '")) &&
           text.contains(QLatin1String("' overwritten on time stamp "));
}

/// What the engine caught, out of memory for example: its results end there.
bool isEngineFailure(const QString& text)
{
    return text.startsWith(QLatin1String("Interpolate exception '")) ||
           text.startsWith(QLatin1String("Interpolate finalize exception '"));
}

bool isNotFiniteNotice(const QString& text)
{
    return text.startsWith(QLatin1String("Interval double value is "));
}

} // namespace

LibraryLog::LibraryLog()
{
    Logger::instance().setSink(
        [this](unsigned char level, const QString& text, const char*, int) { receive(level, text); });
}

LibraryLog::~LibraryLog()
{
    Logger::instance().setSink({});
}

void LibraryLog::receive(unsigned char level, const QString& text)
{
    if (level <= kErrorLevel || isEngineFailure(text)) {
        ++m_errorCount;
        if (text != m_lastError)
            printError(QStringLiteral("error: ") + escapedControls(text));
        m_lastError = text;
    } else if (level > kWarningLevel || isOverwriteNotice(text)) {
        return;
    } else if (isNotFiniteNotice(text)) {
        ++m_notFiniteCount;
    } else {
        printWarning(escapedControls(text));
    }
}

void LibraryLog::printSummary() const
{
    if (m_notFiniteCount > 0)
        printWarning(counted(m_notFiniteCount, QStringLiteral("result")) +
                     (m_notFiniteCount == 1 ? QStringLiteral(" was NaN or infinite and is given as 0")
                                            : QStringLiteral(" were NaN or infinite and are given as 0")));
}

} // namespace Kiv::Cli
