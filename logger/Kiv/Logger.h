#pragma once

#include <Kiv/LoggerExport.h>

#include <QString>
#include <QVariant>

#include <functional>
#include <mutex>
#include <vector>

namespace Kiv
{

/// Process-wide outlet for log lines. Thread safe.
///
/// Levels: 2 error, 4 warning or notice, 7 debug.
class KIVLOGGER_EXPORT Logger
{
public:
    /// Receives every line. `file` is a source name such as "src/TSFileStorage", `line` a line number.
    using Sink = std::function<void(unsigned char level, const QString& text, const char* file, int line)>;

    /// \return the one logger of the process; never fails.
    static Logger& instance();

    /// Hands one finished line to the sink. What the sink throws reaches the caller.
    void out(unsigned char level, const QString& text, const char* file, int line);

    /// Replaces the receiver of all further lines. An empty function restores the default, which
    /// writes through the Qt logging category "kiv.tsfilestorage" (2 critical, 4 warning, 7 debug).
    /// A line that is being delivered on another thread may still reach the former sink.
    void setSink(Sink sink);

private:
    Logger() = default;

    std::mutex m_mutex;
    Sink m_sink;
};

/// Builds one log line from a format with the placeholders %1 to %99 and sends it.
///
/// Placeholders are filled in one pass when the line is sent, so a "%2" inside a value stays text.
/// A placeholder without a value stays as it is.
class KIVLOGGER_EXPORT LogMessage
{
public:
    /// \param file  source name; must outlive the message (a string literal)
    LogMessage(unsigned char level, QString format, const char* file, int line);

    /// Adds the value of the next placeholder, as `value.toString()` gives it.
    LogMessage& arg(const QVariant& value);

    /// Sends the line to `Logger::instance()`. What the sink throws reaches the caller.
    void endl();

private:
    unsigned char m_level;
    QString m_format;
    const char* m_file;
    int m_line;
    std::vector<QString> m_values;
};

} // namespace Kiv
