#include "FloatSeries.h"

#include "Errors.h"

#include <QDataStream>
#include <QFile>

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <set>

namespace Kiv::Cli
{

namespace
{

using RecordVisitor = std::function<bool(const Interpolate::DataRecord& record)>;

/// Hands every whole record of a file to the visitor until that answers false.
/// \return false when the visitor did
bool visitFile(TSFileStorage& storage, const TSFileInfo& info, const RecordVisitor& visit)
{
    QFile file(info.filePath());
    if (!storage.openFile(file, QIODevice::ReadOnly))
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot read %1: %2").arg(info.filePath(), file.errorString()));
    QDataStream stream(&file);
    stream.setVersion(QDataStream::Qt_5_15);
    const TSFileInfo::DirDepth depth = info.getDirDepth();
    const qint64 baseTs = info.getBaseTsMs();
    const auto recordSizeBytes =
        storage.getDataLengthForTimestampOffset(depth) + static_cast<qint64>(sizeof(double));
    for (qint64 left = file.size() / recordSizeBytes; left > 0; --left) {
        if (!visit(storage.readCurrDataRecord(stream, baseTs, depth)))
            return false;
    }
    return true;
}

/// The file to begin with, so that `recordCount` records before the time are among those visited.
TSFileInfo fileBefore(const TSFileStorage& storage, qint64 timestampMs, qint32 recordCount)
{
    TSFileInfo file = storage.findFile(timestampMs);
    if (!file.found()) {
        const TSFileInfo next = storage.findNextFile(file);
        file = next.found() ? next : storage.findPrevFile(file);
    }
    for (qint32 i = 0; i < recordCount; ++i) {
        const TSFileInfo previous = storage.findPrevFile(file);
        if (!previous.found())
            break;
        file = previous;
    }
    return file;
}

/// Hands records to the engine as a read of the range does.
class EngineFeed
{
public:
    EngineFeed(Interpolate& engine, qint64 from, qint64 to)
        : m_engine(engine), m_from(from), m_to(to), m_wantedBefore(engine.needsPreviousDataRecords())
    {
    }

    qint32 wantedBefore() const { return m_wantedBefore; }

    bool take(const Interpolate::DataRecord& record)
    {
        if (record.timestamp < m_from) {
            m_before.push_back(record);
            if (m_before.size() > static_cast<std::size_t>(m_wantedBefore))
                m_before.pop_front();
            return true;
        }
        flushBefore();
        if (record.timestamp <= m_to)
            return m_engine.handleNextRawRecord(record);
        if (m_engine.needsDataRecordAfterRangeEnd())
            m_engine.handleNextRawRecord(record);
        return false;
    }

    void flushBefore()
    {
        for (const Interpolate::DataRecord& record : m_before)
            m_engine.handleNextRawRecord(record);
        m_before.clear();
    }

private:
    Interpolate& m_engine;
    qint64 m_from;
    qint64 m_to;
    qint32 m_wantedBefore;
    std::deque<Interpolate::DataRecord> m_before;
};

/// The raw records of a companion series, whose own values are no floats.
std::vector<Interpolate::DataRecord> companionRecords(TSFileStorage& storage, const QString& marker,
                                                      qint64 from, qint64 to)
{
    std::vector<Interpolate::DataRecord> records;
    const std::unique_ptr<TSFileStorage> companion(storage.getReadFilestorageForMarker(marker));
    int limit = 0;
    if (companion)
        companion->readDataRecordsInt({}, {}, from, to, records, false, limit, QString(), false);
    return records;
}

} // namespace

bool lastFloatRecord(TSFileStorage& storage, Interpolate::DataRecord& record)
{
    bool isFound = false;
    const TSFileInfo file = storage.findLastFile();
    if (!file.found())
        return false;
    visitFile(storage, file, [&](const Interpolate::DataRecord& visited) {
        record = visited;
        isFound = true;
        return true;
    });
    return isFound;
}

bool findFloatRecord(TSFileStorage& storage, qint64 timestampMs, Interpolate::DataRecord& record)
{
    const TSFileInfo file = storage.findFile(timestampMs);
    if (!file.found())
        return false;
    const auto isElsewhere = [&](const Interpolate::DataRecord& visited) {
        record = visited;
        return visited.timestamp != timestampMs;
    };
    return !visitFile(storage, file, isElsewhere);
}

void readFloatRecords(TSFileStorage& storage, const Request& request, qint64 from, qint64 to,
                      std::vector<Interpolate::DataRecord>& result, int& limit)
{
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    if (!storage.getFirstDataRecord(first) || !lastFloatRecord(storage, last))
        return;
    Interpolate engine(request.param, request.passes, from, to, first.timestamp, last.timestamp, &result,
                       QMetaType::Float, request.shift, limit, false);
    if (!engine.getRange(from, to))
        return;
    EngineFeed feed(engine, from, to);
    for (TSFileInfo file = fileBefore(storage, from, feed.wantedBefore()); file.found();
         file = storage.findNextFile(file)) {
        if (!visitFile(storage, file,
                       [&feed](const Interpolate::DataRecord& record) { return feed.take(record); }))
            break;
    }
    feed.flushBefore();
    engine.finalize();
}

std::vector<Interpolate::DataRecord> lateFloatRecords(TSFileStorage& storage, qint64 from, qint64 to,
                                                      const std::vector<Interpolate::DataRecord>& result)
{
    std::set<qint64> known;
    for (const Interpolate::DataRecord& record : result)
        known.insert(record.timestamp);
    std::vector<Interpolate::DataRecord> late;
    for (const Interpolate::DataRecord& entry : companionRecords(storage, QStringLiteral("P"), from, to)) {
        const qint64 timestampMs = entry.value.toLongLong();
        Interpolate::DataRecord record;
        if (known.insert(timestampMs).second && findFloatRecord(storage, timestampMs, record))
            late.push_back(record);
    }
    std::sort(late.begin(), late.end());
    return late;
}

std::unordered_map<qint64, QVariant> overwrittenFloatValues(TSFileStorage& storage, qint64 from, qint64 to)
{
    std::unordered_map<qint64, QVariant> histories;
    for (const Interpolate::DataRecord& record : companionRecords(storage, QStringLiteral("O"), from, to))
        histories.emplace(record.timestamp, record.value);
    return histories;
}

} // namespace Kiv::Cli
