#include <Kiv/Logger.h>

#include <QLoggingCategory>

#include <utility>

namespace Kiv
{

namespace
{

Q_LOGGING_CATEGORY(storageCategory, "kiv.tsfilestorage")

void writeToQtCategory(unsigned char level, const QString& text, const char* file, int line)
{
    const QMessageLogger logger(file, line, nullptr, storageCategory().categoryName());
    if (level <= 2) {
        if (storageCategory().isCriticalEnabled())
            logger.critical("%s", qUtf8Printable(text));
    } else if (level <= 4) {
        if (storageCategory().isWarningEnabled())
            logger.warning("%s", qUtf8Printable(text));
    } else if (storageCategory().isDebugEnabled()) {
        logger.debug("%s", qUtf8Printable(text));
    }
}

/// Number of the placeholder whose digits start at `index` (after the percent sign), 0 for none.
int placeholderNumber(const QString& format, qsizetype index, qsizetype& digits)
{
    int number = 0;
    digits = 0;
    while (digits < 2 && index + digits < format.size()) {
        const ushort unit = format.at(index + digits).unicode();
        if (unit < '0' || unit > '9')
            break;
        number = number * 10 + (unit - '0');
        ++digits;
    }
    return number;
}

QString fillPlaceholders(const QString& format, const std::vector<QString>& values)
{
    QString text;
    text.reserve(format.size());
    for (qsizetype i = 0; i < format.size(); ++i) {
        qsizetype digits = 0;
        const int number = format.at(i) == u'%' ? placeholderNumber(format, i + 1, digits) : 0;
        if (number >= 1 && static_cast<std::size_t>(number) <= values.size()) {
            text += values[static_cast<std::size_t>(number) - 1];
            i += digits;
        } else {
            text += format.at(i);
        }
    }
    return text;
}

} // namespace

Logger& Logger::instance()
{
    // Never destroyed: a destructor of another static object may still log.
    static Logger* const logger = new Logger;
    return *logger;
}

void Logger::out(unsigned char level, const QString& text, const char* file, int line)
{
    Sink sink;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        sink = m_sink;
    }
    // Called without the lock, so that a sink may itself log or replace the sink.
    if (sink)
        sink(level, text, file, line);
    else
        writeToQtCategory(level, text, file, line);
}

void Logger::setSink(Sink sink)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sink = std::move(sink);
}

LogMessage::LogMessage(unsigned char level, QString format, const char* file, int line)
    : m_level(level), m_format(std::move(format)), m_file(file), m_line(line)
{
}

LogMessage& LogMessage::arg(const QVariant& value)
{
    m_values.push_back(value.toString());
    return *this;
}

void LogMessage::endl()
{
    Logger::instance().out(m_level, fillPlaceholders(m_format, m_values), m_file, m_line);
}

} // namespace Kiv
