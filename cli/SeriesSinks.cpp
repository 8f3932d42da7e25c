#include "SeriesSinks.h"

#include "SeriesName.h"

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

constexpr std::size_t kBatchSampleCount = 10'000;
constexpr std::size_t kMaxWaitingCount = 200'000;
constexpr qsizetype kMaxWaitingSizeBytes = 16'000'000;

void checkDirectory(const QString& path, const QString& problem)
{
    if (!problem.isEmpty())
        throw CommandError(ExitCode::Usage, QStringLiteral("--series: %1 %2").arg(quoted(path), problem));
}

} // namespace

SeriesSink& SeriesSinks::only()
{
    Entry& entry = m_open[std::string()];
    if (!entry.sink) {
        checkSeriesPath(QStringLiteral("--series"), m_options.seriesPath);
        checkDirectory(m_options.seriesPath, problemOfSeriesDirectory(m_options.seriesPath));
        checkDirectory(m_options.seriesPath, problemOfSeriesPlace(m_options.seriesPath, QString()));
        entry.sink = std::make_unique<SeriesSink>(m_options.seriesPath, m_options);
        m_seen.insert(0);
        m_newCount = entry.sink->isNew() ? 1 : 0;
    }
    return *entry.sink;
}

SeriesSink* SeriesSinks::find(QByteArrayView name, QString& problem)
{
    const std::string_view wanted(name.data(), static_cast<std::size_t>(name.size()));
    if (m_present && wanted == m_presentName)
        return m_present;
    const auto found = m_open.find(wanted);
    if (found == m_open.end())
        return open(std::string(wanted), problem);
    found->second.lastUse = ++m_useCount;
    m_presentName = wanted;
    m_present = found->second.sink.get();
    return m_present;
}

SeriesSink* SeriesSinks::open(const std::string& name, QString& problem)
{
    const QString seriesName = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    checkSeriesPath(QStringLiteral("--series"), m_options.seriesPath);
    checkDirectory(m_options.seriesPath, problemOfSeriesDirectory(m_options.seriesPath));
    problem = problemOfSeriesName(seriesName);
    const auto isKnown = [this](const QString& other) {
        return m_seen.count(std::hash<std::string>()(other.toStdString())) > 0;
    };
    if (problem.isEmpty())
        problem = problemOfSeriesPlace(m_options.seriesPath, seriesName, isKnown);
    if (!problem.isEmpty())
        return nullptr;
    if (m_open.size() >= kMaxOpenCount)
        closeOldest();
    auto sink = std::make_unique<SeriesSink>(m_options.seriesPath + u'/' + seriesName, m_options);
    if (m_seen.insert(std::hash<std::string>()(name)).second && sink->isNew())
        ++m_newCount;
    m_present = sink.get();
    m_presentName = name;
    m_open[name] = {std::move(sink), ++m_useCount};
    return m_present;
}

void SeriesSinks::closeOldest()
{
    auto oldest = m_open.end();
    for (auto entry = m_open.begin(); entry != m_open.end(); ++entry) {
        const bool mayClose = m_options.isDryRun || !entry->second.sink->isWrittenAtOnce();
        if (mayClose && (oldest == m_open.end() || entry->second.lastUse < oldest->second.lastUse))
            oldest = entry;
    }
    if (oldest == m_open.end())
        throw CommandError(ExitCode::Refused,
                           QStringLiteral("more than %1 float series, which are written at once, cannot be "
                                          "imported together; split the input or use --type double")
                               .arg(kMaxOpenCount));
    store(*oldest->second.sink);
    addTo(m_closedSummary, oldest->second.sink->summary());
    m_present = nullptr;
    m_open.erase(oldest);
}

void SeriesSinks::add(SeriesSink& sink, qint64 timestampMs, qsizetype sizeBytes)
{
    if (!sink.isWrittenAtOnce()) {
        if (sink.waitingCount() >= kBatchSampleCount)
            store(sink);
        else if (m_waitingCount >= kMaxWaitingCount || m_waitingSizeBytes >= kMaxWaitingSizeBytes)
            storeWaiting();
        ++m_waitingCount;
        // Columns of numbers are bounded by their count.
        if (isVariableLength(sink.type()))
            m_waitingSizeBytes += sizeBytes;
    }
    sink.add(timestampMs);
}

void SeriesSinks::store(SeriesSink& sink)
{
    const std::size_t count = sink.waitingCount();
    if (!sink.store(m_log))
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("the import into %1 stopped").arg(sink.path()));
    m_storedCount += static_cast<qint64>(count);
    if (!sink.isWrittenAtOnce())
        m_waitingCount -= count;
    if (m_waitingCount == 0 || m_open.size() == 1)
        m_waitingSizeBytes = 0;
}

void SeriesSinks::storeWaiting()
{
    for (auto& [name, entry] : m_open) {
        if (!entry.sink->isWrittenAtOnce())
            store(*entry.sink);
    }
    m_waitingSizeBytes = 0;
}

void SeriesSinks::storeAll()
{
    for (auto& [name, entry] : m_open)
        store(*entry.sink);
}

void SeriesSinks::addTo(TSFileStorage::WriteSummary& total, const TSFileStorage::WriteSummary& part)
{
    total.newCount += part.newCount;
    total.overwrittenCount += part.overwrittenCount;
    total.unchangedCount += part.unchangedCount;
    total.lateCount += part.lateCount;
}

TSFileStorage::WriteSummary SeriesSinks::summary() const
{
    TSFileStorage::WriteSummary total = m_closedSummary;
    for (const auto& [name, entry] : m_open)
        addTo(total, entry.sink->summary());
    return total;
}

} // namespace Kiv::Cli
