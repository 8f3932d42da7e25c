#include "SeriesTail.h"

#include "RawRange.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <deque>
#include <utility>

namespace Kiv::Cli
{

namespace
{

// While files are moving, and while they are not: what bounds the memory.
constexpr std::size_t kMaxShownCount = 500'000;
constexpr std::size_t kMaxSettledShownCount = 20'000;
const QString kLogMarker = QStringLiteral("P");

TimeBound boundAt(qint64 timestampMs)
{
    return {timestampMs, false};
}

constexpr TimeBound kFromFirst{kFirstRecord, true};
constexpr TimeBound kToLast{kLastRecord, true};

/// Bytes of a record; floats are stored as doubles, whatever the store's own arithmetic says.
qint64 recordSizeBytes(const Series& series, const TSFileInfo& file)
{
    const qint64 valueSizeBytes = isFloat(series.type) ? 8 : series.storage->m_dataLength;
    return series.storage->getDataLengthForTimestampOffset(file.getDirDepth()) + valueSizeBytes;
}

/// The start of the file with which at least so many records begin, or of the first file.
TimeBound startOfLast(const Series& series, qint64 recordCount)
{
    TSFileInfo file = series.storage->findLastFile();
    TimeBound start = kFromFirst;
    while (file.found()) {
        start = boundAt(file.getBaseTsMs());
        recordCount -= file.size() / recordSizeBytes(series, file);
        if (recordCount <= 0)
            break;
        file = series.storage->findPrevFile(file);
    }
    return start;
}

/// The names that lead to the minute of a time; none for a time that no file name has.
QStringList namesOf(qint64 timestampMs)
{
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(timestampMs, Qt::UTC);
    constexpr int kMaxYear = 9999;
    if (time.date().year() < 0 || time.date().year() > kMaxYear)
        return {};
    return time.toString(QStringLiteral("yyyy/MM/dd/HH/mm")).split(u'/');
}

/// \param bounds  names before which nothing is wanted, from this directory on
void addNames(const QString& directory, const QStringList& bounds, QStringList& names)
{
    const QFileInfoList entries =
        QDir(directory).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries) {
        const QString period = bounds.isEmpty() ? QString() : entry.fileName().left(bounds.front().size());
        if (!bounds.isEmpty() && period < bounds.front())
            continue;
        const bool isOnBound = !bounds.isEmpty() && period == bounds.front();
        names += entry.isDir() ? entry.filePath() + u'/' : entry.filePath();
        if (entry.isDir())
            addNames(entry.filePath(), isOnBound ? bounds.sliced(1) : QStringList(), names);
    }
}

/// What the files and directories are called that may hold records behind a time.
QStringList fileNames(const Series& series, std::optional<qint64> afterMs)
{
    QStringList names;
    addNames(series.storage->m_dir, afterMs ? namesOf(*afterMs) : QStringList(), names);
    return names;
}

/// From the directory to the one above all others; the nearest one that exists when it does not.
void addChain(const QString& directory, const QString& top, QStringList& chain)
{
    QString place = QDir::cleanPath(directory);
    const QString end = QDir::cleanPath(top);
    while (place.size() > end.size() && place.startsWith(end)) {
        chain += place;
        place = QFileInfo(place).path();
    }
    while (!QFileInfo(place).isDir() && place != QFileInfo(place).path())
        place = QFileInfo(place).path();
    chain += place;
}

} // namespace

std::vector<Interpolate::DataRecord> SeriesTail::start(qint64 count)
{
    takeLogEntries(0);
    m_pendingLate.clear();
    // At least one is needed to know where the series ends.
    std::vector<Interpolate::DataRecord> records = lastRecords(std::max<qint64>(count, 1));
    if (!records.empty())
        m_lastMs = records.back().timestamp;
    m_settledMs = m_lastMs;
    m_names = fileNames(m_series, m_settledMs);
    if (count == 0)
        records.clear();
    return records;
}

std::vector<Interpolate::DataRecord> SeriesTail::lastRecords(qint64 count) const
{
    std::deque<Interpolate::DataRecord> last;
    visitRaw(m_series, {}, {startOfLast(m_series, count), kToLast},
             [&](const Interpolate::DataRecord& record) {
                 last.push_back(record);
                 if (last.size() > static_cast<std::size_t>(count))
                     last.pop_front();
                 return true;
             });
    return {last.begin(), last.end()};
}

/// \return whether entries can be read
bool SeriesTail::findLogEnd(const Series& log, qint64 nowMs)
{
    Interpolate::DataRecord last;
    const bool hasEntries = log.storage && log.last(last);
    const std::optional<qint64> lastMs = hasEntries ? std::optional(last.timestamp) : std::nullopt;
    const ShrunkEnd::Verdict verdict = m_logEnd.judge(m_logMs, lastMs, nowMs);
    m_isInDoubt = m_isInDoubt || verdict == ShrunkEnd::Verdict::InDoubt;
    if (verdict == ShrunkEnd::Verdict::Deleted) {
        m_logMs = m_logEnd.deletedFromMs();
        m_logCountAtMs = m_logMs ? std::numeric_limits<std::size_t>::max() : 0;
    }
    return hasEntries && verdict != ShrunkEnd::Verdict::InDoubt;
}

void SeriesTail::takeLogEntries(qint64 nowMs)
{
    const Series log = openCompanion(m_series, kLogMarker);
    if (!findLogEnd(log, nowMs))
        return;
    // Read at once: no block can begin between entries of one timestamp.
    std::vector<Interpolate::DataRecord> entries;
    log.read({}, m_logMs.value_or(kFirstRecord), kLastRecord, entries, 0);
    std::size_t countAtMs = 0;
    for (const Interpolate::DataRecord& entry : entries) {
        const bool isAtMs = m_logMs && entry.timestamp == *m_logMs;
        if (!isAtMs)
            countAtMs = 0;
        ++countAtMs;
        if (isAtMs && countAtMs <= m_logCountAtMs)
            continue;
        m_logMs = entry.timestamp;
        m_logCountAtMs = countAtMs;
        m_pendingLate.push_back({entry.value.toLongLong(), nowMs});
    }
}

void SeriesTail::look(qint64 nowMs, const Visitor& visit)
{
    m_isInDoubt = false;
    const QStringList names = fileNames(m_series, m_settledMs);
    // The store writes the log after the records: what an entry of it tells is there when the series is read next.
    takeLogEntries(nowMs);
    if (!findEnd(nowMs))
        return;
    lookForLate(nowMs, visit);
    lookForNew(visit);
    settle(nowMs, names);
}

/// \return whether records can be read
bool SeriesTail::findEnd(qint64 nowMs)
{
    Interpolate::DataRecord last;
    const std::optional<qint64> lastMs = m_series.last(last) ? std::optional(last.timestamp) : std::nullopt;
    const ShrunkEnd::Verdict verdict = m_end.judge(m_lastMs, lastMs, nowMs);
    if (verdict == ShrunkEnd::Verdict::InDoubt) {
        m_isInDoubt = true;
        for (LateEntry& entry : m_pendingLate)
            entry.sinceMs = nowMs;
        return false;
    }
    if (verdict == ShrunkEnd::Verdict::Deleted) {
        m_lastMs = m_end.deletedFromMs();
        m_settledMs = std::min(m_settledMs, m_lastMs);
        m_shown.erase(m_lastMs ? m_shown.upper_bound(*m_lastMs) : m_shown.begin(), m_shown.end());
    }
    return true;
}

void SeriesTail::lookForLate(qint64 nowMs, const Visitor& visit)
{
    std::vector<LateEntry> pending;
    for (const LateEntry& entry : std::exchange(m_pendingLate, {})) {
        // What lies behind the last one seen is shown as new.
        if (!m_lastMs || entry.timestampMs > *m_lastMs)
            continue;
        Interpolate::DataRecord record;
        if (m_series.at(entry.timestampMs, record))
            showLate(record, visit);
        else if (nowMs - entry.sinceMs < ShrunkEnd::kSettleMs)
            pending.push_back(entry); // its file may just be split
    }
    m_pendingLate = std::move(pending);
}

void SeriesTail::showLate(const Interpolate::DataRecord& record, const Visitor& visit)
{
    const auto shown = m_shown.find(record.timestamp);
    if (shown != m_shown.end() && shown->second == record.value)
        return;
    if (shown != m_shown.end() || record.timestamp > m_settledMs)
        m_shown[record.timestamp] = record.value;
    visit(record, TailKind::Late);
}

void SeriesTail::lookForNew(const Visitor& visit)
{
    // Late writes of the last look's records have been compared with them by now.
    if (m_settledMs == m_lastMs && m_shown.size() > kMaxSettledShownCount)
        m_shown.clear();
    const std::optional<qint64> seenMs = m_lastMs;
    const TimeRange range{m_settledMs ? boundAt(*m_settledMs + 1) : kFromFirst, kToLast};
    visitRaw(m_series, {}, range, [&](const Interpolate::DataRecord& record) {
        if (record.timestamp <= seenMs && m_shown.contains(record.timestamp))
            return true;
        m_shown.emplace(record.timestamp, record.value);
        m_lastMs = std::max(m_lastMs, std::optional(record.timestamp));
        if (m_shown.size() > kMaxShownCount) {
            m_shown.erase(m_shown.begin(), m_shown.upper_bound(record.timestamp));
            m_settledMs = record.timestamp;
        }
        visit(record, TailKind::New);
        return true;
    });
}

/// What was read is settled when the files have stayed as they are for long enough.
/// \param namesBefore  of the files before they were read
void SeriesTail::settle(qint64 nowMs, const QStringList& namesBefore)
{
    if (namesBefore != m_names || fileNames(m_series, m_settledMs) != namesBefore)
        m_changedMs = nowMs;
    if (m_changedMs && nowMs - *m_changedMs >= ShrunkEnd::kSettleMs)
        m_changedMs.reset();
    if (!m_changedMs)
        m_settledMs = m_lastMs;
    m_names = fileNames(m_series, m_settledMs);
}

QStringList SeriesTail::directories() const
{
    QStringList directories;
    const auto addSeries = [&](const Series& series) {
        const TSFileInfo last = series.storage->findLastFile();
        const QString directory = last.found() ? QFileInfo(last.filePath()).path() : series.storage->m_dir;
        addChain(directory, m_series.path, directories);
    };
    addSeries(m_series);
    const Series log = openCompanion(m_series, kLogMarker);
    if (log.storage)
        addSeries(log);
    directories.removeDuplicates();
    return directories;
}

} // namespace Kiv::Cli
