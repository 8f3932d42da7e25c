#include "Progress.h"

#include "Errors.h"
#include "Terminal.h"

#include <algorithm>
#include <cstdio>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kQuietMs = 1000;
constexpr qint64 kBetweenMs = 200;

QString barText(double share)
{
    constexpr int kWidth = 20;
    const int filled = static_cast<int>(share * kWidth);
    return u'[' + QString(filled, u'#') + QString(kWidth - filled, u'.') + u']';
}

/// "0:07", "1:02:03"
QString durationText(double seconds)
{
    constexpr double kLongest = 359'999;
    const auto whole = static_cast<qint64>(std::min(seconds, kLongest) + 0.5);
    const QString minutes =
        QStringLiteral("%1:%2").arg(whole / 60 % 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
    return whole < 3600 ? minutes
                        : QStringLiteral("%1:%2").arg(whole / 3600).arg(minutes.rightJustified(5, u'0'));
}

} // namespace

QString shortNumber(double number)
{
    if (number >= 1e6)
        return QString::number(number / 1e6, 'f', 1) + QStringLiteral(" M");
    if (number >= 1e4)
        return QString::number(number / 1e3, 'f', 1) + QStringLiteral(" k");
    return QString::number(number, 'f', 0);
}

bool Progress::isWanted(Where where)
{
    return isTerminal(Stream::Error) && !isQuiet() &&
           (where == Where::Anywhere || !isTerminal(Stream::Output));
}

Progress::Progress(QString noun, qint64 total, Where where)
    : m_noun(std::move(noun)), m_total(total), m_isWanted(isWanted(where)), m_nextMs(kQuietMs)
{
    m_elapsed.start();
}

Progress::~Progress()
{
    clear();
}

void Progress::update(qint64 count, qint64 done)
{
    if (!m_isWanted || m_elapsed.elapsed() < m_nextMs)
        return;
    m_nextMs = m_elapsed.elapsed() + kBetweenMs;
    m_isShown = true;
    std::fprintf(stderr, "\r\x1b[K%s", lineText(count, done).left(terminalWidth() - 1).toUtf8().constData());
    std::fflush(stderr);
}

QString Progress::lineText(qint64 count, qint64 done) const
{
    const double seconds = elapsedSeconds();
    const QString rate = shortNumber(static_cast<double>(count) / seconds);
    const QString counts = QStringLiteral("%1, %2/s").arg(counted(count, m_noun), rate);
    if (m_total <= 0 || done <= 0)
        return QStringLiteral("kivts: ") + counts;
    const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(m_total));
    return QStringLiteral("kivts: %1 %2 %, %3, %4 left")
        .arg(barText(share), QString::number(static_cast<int>(share * 100)), counts,
             durationText(seconds / share - seconds));
}

void Progress::clear()
{
    if (!m_isShown)
        return;
    std::fputs("\r\x1b[K", stderr);
    std::fflush(stderr);
    m_isShown = false;
}

} // namespace Kiv::Cli
