#include "ImportFormat.h"

#include "Errors.h"
#include "TimeText.h"
#include "Words.h"

#include <QDateTime>
#include <QRegularExpression>

namespace Kiv::Cli
{

namespace
{

std::string_view viewOf(QByteArrayView bytes)
{
    return {bytes.data(), static_cast<std::size_t>(bytes.size())};
}

} // namespace

QStringList inputFormatWords()
{
    return {QStringLiteral("csv"), QStringLiteral("tsv"), QStringLiteral("ndjson")};
}

InputFormat inputFormatOf(const QString& word, const QString& fileName)
{
    const QStringList words = inputFormatWords();
    const auto hasEnding = [&fileName](const char* ending) {
        return fileName.endsWith(QLatin1String(ending), Qt::CaseInsensitive);
    };
    if (!word.isEmpty() && !words.contains(word))
        throw unknownWord(QStringLiteral("--format"), word, words);
    if (word == words[1] || (word.isEmpty() && hasEnding(".tsv")))
        return InputFormat::Tsv;
    if (word == words[2] || (word.isEmpty() && (hasEnding(".ndjson") || hasEnding(".jsonl"))))
        return InputFormat::Ndjson;
    return InputFormat::Csv;
}

TimeFormat::TimeFormat(const QString& text)
{
    static const QRegularExpression kLiteralText(QStringLiteral("'[^']*'"));
    static const QRegularExpression kShortYear(QStringLiteral("(?<!y)yy(?!y)"));
    if (text == QLatin1String("auto")) {
        m_kind = Kind::Auto;
    } else if (text == QLatin1String("iso")) {
        m_kind = Kind::Iso;
    } else if (text == QLatin1String("ms")) {
        m_kind = Kind::Milliseconds;
    } else if (text == QLatin1String("s")) {
        m_kind = Kind::Seconds;
    } else {
        m_kind = Kind::Pattern;
        m_pattern = text;
        const QString fields = QString(text).remove(kLiteralText);
        m_hasShortYear = fields.contains(kShortYear);
        if (!fields.contains(QLatin1String("yy")) || !fields.contains(u'd') || !fields.contains(u'M'))
            throw CommandError(
                ExitCode::Usage,
                QStringLiteral(
                    "--time-format: %1 is none of auto, iso, ms, s, and no pattern with day, month and "
                    "year such as d/M/yyyy H:mm:ss")
                    .arg(quoted(text)));
    }
}

std::optional<qint64> TimeFormat::parse(QByteArrayView cell) const
{
    switch (m_kind) {
    case Kind::Iso:
        return parseIsoTime(viewOf(cell));
    case Kind::Milliseconds:
        return parseMilliseconds(viewOf(cell));
    case Kind::Seconds:
        return parseSeconds(viewOf(cell));
    case Kind::Pattern:
        return parsePattern(cell);
    case Kind::Auto:
        break;
    }
    return parseTime(viewOf(cell));
}

std::optional<qint64> TimeFormat::parsePattern(QByteArrayView cell) const
{
    // The program's host zone is UTC, so a pattern without a zone reads UTC.
    QDateTime time = QDateTime::fromString(QString::fromUtf8(cell), m_pattern);
    constexpr int kFirstShortYear = 1970;
    // Qt reads two digits as 19yy.
    if (m_hasShortYear && time.isValid() && time.date().year() < kFirstShortYear)
        time = time.addYears(100);
    if (!time.isValid())
        return std::nullopt;
    return time.toMSecsSinceEpoch();
}

bool TimeFormat::mayMeanSeconds(QByteArrayView cell, qint64 timestampMs) const
{
    // As milliseconds these are days of early 1970, as seconds they are 1973 to 2286.
    constexpr qint64 kShortestMs = 100'000'000;
    constexpr qint64 kLongestMs = 9'999'999'999;
    return m_kind == Kind::Auto && timestampMs >= kShortestMs && timestampMs <= kLongestMs &&
           parseMilliseconds(viewOf(cell)) == timestampMs;
}

QString TimeFormat::description() const
{
    switch (m_kind) {
    case Kind::Iso:
        return QStringLiteral("ISO 8601 time (2024-05-17T13:45:12Z)");
    case Kind::Milliseconds:
        return QStringLiteral("number of milliseconds");
    case Kind::Seconds:
        return QStringLiteral("number of seconds");
    case Kind::Pattern:
        return QStringLiteral("time of the form '%1'").arg(m_pattern);
    case Kind::Auto:
        break;
    }
    return QStringLiteral("time (ISO 8601, @seconds or milliseconds; see --time-format)");
}

char parseSeparator(const QString& text, InputFormat format)
{
    if (text.isEmpty())
        return format == InputFormat::Tsv ? '\t' : ',';
    if (format == InputFormat::Ndjson)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--separator: one JSON object a line has no separator"));
    if (text == QLatin1String("tab") || text == QLatin1String("\\t") || text == QLatin1String("\t"))
        return '\t';
    const bool isUsable =
        text.size() == 1 && text[0].unicode() > 0x20 && text[0].unicode() < 0x7f && text[0] != u'"';
    if (!isUsable)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--separator: %1 is no single character such as , or ; "
                                          "(a tab is written tab)")
                               .arg(quoted(text)));
    return text[0].toLatin1();
}

} // namespace Kiv::Cli
