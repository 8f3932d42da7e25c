#include "properties/PlainStorage.h"

#include <algorithm>
#include <limits>

namespace Kiv::Testing
{

bool PlainStorage::openForQuery(QFile& file, const char* operation, int line)
{
    if (openFile(file, QIODevice::ReadOnly))
        return true;
    plainLog(2, QStringLiteral("Could not open '%1' for read (") + QLatin1String(operation) + u')',
             {file.fileName()}, line);
    return false;
}

bool PlainStorage::getFirstDataRecord(Record& record)
{
    const Operation operation(*this);
    const PlainPlace place = findFirstLastFile(true);
    QFile file(place.path);
    if (!place.found() || !openForQuery(file, "getFirstDataRecord", 499))
        return false;
    QDataStream stream(&file);
    stream.setVersion(19);
    record = readRecord(stream, place.baseMs(), place.depth());
    return true;
}

bool PlainStorage::getLastDataRecord(Record& record)
{
    const Operation operation(*this);
    const PlainPlace place = findFirstLastFile(false);
    QFile file(place.path);
    if (!place.found() || !openForQuery(file, "getLastDataRecord", 526))
        return false;
    QDataStream stream(&file);
    stream.setVersion(19);
    record = readLastRecord(stream, file.size(), place.baseMs(), place.depth());
    return true;
}

bool PlainStorage::findDataRecord(qint64 timestamp, Record& record)
{
    const Operation operation(*this);
    const PlainPlace place = findFile(timestamp);
    QFile file(place.path);
    if (!place.found() || !openForQuery(file, "findDataRecord", 605))
        return false;
    QDataStream stream(&file);
    stream.setVersion(19);
    const qint64 baseMs = place.baseMs();
    seekToOffset(stream, file.size(), timestamp - baseMs, place.depth());
    record = readRecord(stream, baseMs, place.depth());
    return record.timestamp == timestamp;
}

bool PlainStorage::findPrevDataRecord(qint64 timestamp, Record& record)
{
    const Operation operation(*this);
    const qint64 wantedMs = timestamp - 1;
    PlainPlace place = findFile(wantedMs);
    if (!place.found())
        place = findPrevFile(place);
    QFile file(place.path);
    if (!place.found() || !openForQuery(file, "findPrevDataRecord", 559))
        return false;
    QDataStream stream(&file);
    stream.setVersion(19);
    const qint64 baseMs = place.baseMs();
    const int depth = place.depth();
    seekToOffset(stream, file.size(), wantedMs - baseMs, depth);
    record = readRecord(stream, baseMs, depth);
    if (record.timestamp > wantedMs && file.pos() >= 2 * recordSize(depth)) {
        file.seek(file.pos() - 2 * recordSize(depth));
        const Record before = readRecord(stream, baseMs, depth);
        if (before.timestamp >= wantedMs)
            record = before;
    }
    return true;
}

/// The interval engine without an interval: records inside the range go to the output until the limit.
class PlainRawEngine
{
public:
    PlainRawEngine(qint64 start, qint64 end, qint64 firstMs, qint64 lastMs, Records& output, int& limit,
                   bool countOnly)
        : m_start(start),
          m_end(end),
          m_firstMs(firstMs),
          m_lastMs(lastMs),
          m_output(output),
          m_limitVariable(limit),
          m_limit(limit),
          m_countOnly(countOnly)
    {
        m_limitVariable = 0;
        if (m_countOnly)
            m_output.emplace_back(-1, QVariant(0));
    }

    bool range(qint64& start, qint64& end)
    {
        m_start = std::max(resolved(m_start), m_firstMs);
        m_end = resolved(m_end);
        start = m_start;
        end = std::min(m_end, m_lastMs);
        return m_end >= m_start;
    }

    bool take(const Record& record)
    {
        if (record.timestamp < m_start || record.timestamp > m_end)
            return true;
        if (m_countOnly) {
            m_output.front().value = QVariant::fromValue<qlonglong>(m_output.front().value.toLongLong() + 1);
            return true;
        }
        m_output.push_back(record);
        if (m_limit < 1 || m_output.size() < static_cast<std::size_t>(m_limit))
            return true;
        m_limitVariable = static_cast<int>(m_output.size());
        return false;
    }

private:
    qint64 resolved(qint64 timestamp) const
    {
        if (timestamp == -1)
            return plainNowUs() / 1000;
        if (timestamp == -2)
            return m_firstMs;
        return timestamp == -3 ? m_lastMs : timestamp;
    }

    qint64 m_start;
    qint64 m_end;
    qint64 m_firstMs;
    qint64 m_lastMs;
    Records& m_output;
    int& m_limitVariable;
    int m_limit;
    bool m_countOnly;
};

namespace
{

/// From a file's base to a later time, however late.
qint64 distanceMs(qint64 baseMs, qint64 laterMs)
{
    qint64 distance = 0;
    const bool overflows = __builtin_sub_overflow(laterMs, baseMs, &distance);
    return overflows ? std::numeric_limits<qint64>::max() : distance;
}

bool holds(const Records& records, qint64 timestamp)
{
    return std::any_of(records.begin(), records.end(),
                       [=](const Record& record) { return record.timestamp == timestamp; });
}

} // namespace

bool PlainStorage::readDataRecordsInt(qint64 start, qint64 end, Records& result, int& limit,
                                      const QString& marker, bool countOnly)
{
    std::unique_ptr<PlainStorage> owned;
    PlainStorage* storage = storageForMarker(marker, owned);
    Record first;
    Record last;
    const bool hasFirst = storage && storage->getFirstDataRecord(first);
    const bool hasLast = storage && storage->getLastDataRecord(last);
    if (!hasFirst || !hasLast) {
        limit = 0;
        return true;
    }
    PlainRawEngine engine(start, end, first.timestamp, last.timestamp, result, limit, countOnly);
    if (!engine.range(start, end))
        return true;
    const Operation operation(*storage);
    PlainPlace place = storage->findFile(start);
    if (!place.found())
        place = storage->findNextFile(place);
    while (place.found() && readFile(place, start, end, marker == u'P', *storage, engine, result))
        place = storage->findNextFile(place);
    return true;
}

/// \return false when the read is over
bool PlainStorage::readFile(const PlainPlace& place, qint64 start, qint64 end, bool lateLog,
                            PlainStorage& storage, PlainRawEngine& engine, Records& result)
{
    QFile file(place.path);
    if (!storage.openForQuery(file, "readDataRecords", kAnyLine))
        return true;
    QDataStream stream(&file);
    stream.setVersion(19);
    const qint64 baseMs = place.baseMs();
    const int depth = place.depth();
    if (baseMs < start)
        storage.seekToStart(stream, file.size(), distanceMs(baseMs, start), depth);
    while (file.bytesAvailable() >= storage.storedSize(depth)) {
        const Record record = storage.readRecord(stream, baseMs, depth);
        if (record.timestamp < start)
            continue;
        if (record.timestamp > end)
            return false;
        if (!lateLog) {
            if (!engine.take(record))
                return false;
            continue;
        }
        Record found;
        const qint64 lateMs = record.value.toLongLong();
        if (!holds(result, lateMs) && findDataRecord(lateMs, found))
            result.push_back(found);
    }
    return true;
}

bool PlainStorage::readDataRecords(qint64 start, qint64 end, Records& result, int& limit,
                                   Records* lateRecords, std::map<qint64, QVariant>* overwrittenValues)
{
    readDataRecordsInt(start, end, result, limit, {}, false);
    if (lateRecords) {
        int noLimit = 0;
        readDataRecordsInt(start, end, *lateRecords, noLimit, QStringLiteral("P"), false);
        std::sort(lateRecords->begin(), lateRecords->end(), plainOrder);
        const auto isInResult = [&](const Record& record) { return holds(result, record.timestamp); };
        lateRecords->erase(std::remove_if(lateRecords->begin(), lateRecords->end(), isInResult),
                           lateRecords->end());
    }
    if (overwrittenValues) {
        int noLimit = 0;
        Records history;
        readDataRecordsInt(start, end, history, noLimit, QStringLiteral("O"), false);
        for (const Record& record : history)
            overwrittenValues->emplace(record.timestamp, record.value);
    }
    return true;
}

qint64 PlainStorage::getCount(qint64 interval, qint64 start, qint64 end, bool countMain, bool countP,
                              bool countO)
{
    qint64 count = 0;
    if (countMain)
        count += getCountInt(interval, start, end, {});
    if (countP)
        count += getCountInt(interval, start, end, QStringLiteral("P"));
    if (countO)
        count += getCountInt(interval, start, end, QStringLiteral("O"));
    return count;
}

qint64 PlainStorage::getCountInt(qint64 interval, qint64 start, qint64 end, const QString& marker)
{
    std::unique_ptr<PlainStorage> owned;
    PlainStorage* storage = storageForMarker(marker, owned);
    if (!storage)
        return 0;
    if (interval == 0)
        return storage->countRaw(start, end);
    if (marker.isEmpty())
        plainLog(4, QStringLiteral("No interval support for variant"), {}, 677);
    Records counter;
    int limit = 0;
    readDataRecordsInt(start, end, counter, limit, marker, true);
    return counter.empty() ? 0 : counter.front().value.toLongLong();
}

qint64 PlainStorage::countRaw(qint64 start, qint64 end)
{
    bool startAdjusted = false;
    bool wholeFiles = false;
    if (!adjustTimestamps(*this, start, end, startAdjusted, wholeFiles))
        return 0;
    PlainPlace place = findFile(start);
    if (!place.found())
        place = findNextFile(place);
    qint64 count = 0;
    while (place.found() && countFile(place, wholeFiles, start, end, count))
        place = findNextFile(place);
    return count;
}

/// \return false when a record beyond the end was met
bool PlainStorage::countFile(const PlainPlace& place, bool wholeFiles, qint64 start, qint64 end,
                             qint64& count)
{
    QFile file(place.path);
    const qint64 baseMs = place.baseMs();
    const int depth = place.depth();
    const qint64 recordCount = file.size() / recordSize(depth);
    if (wholeFiles && baseMs >= start) {
        count += recordCount;
        return true;
    }
    if (!openForQuery(file, "getCount", kAnyLine))
        return true;
    QDataStream stream(&file);
    stream.setVersion(19);
    const qint64 lastSlot =
        isFloat() ? file.size() - recordSize(depth) : (recordCount - 1) * recordSize(depth);
    if (lastSlot >= 0)
        file.seek(lastSlot);
    const qint64 lastMs = baseMs + (recordCount > 0 ? readOffset(stream, depth) : 0);
    if (lastMs <= end && baseMs >= start) {
        count += recordCount;
        return true;
    }
    file.seek(0);
    if (baseMs < start)
        seekToStart(stream, file.size(), distanceMs(baseMs, start), depth);
    while (file.bytesAvailable() >= storedSize(depth)) {
        const qint64 nextPosition = file.pos() + storedSize(depth);
        const qint64 timestamp = baseMs + readOffset(stream, depth);
        file.seek(nextPosition);
        if (timestamp > end)
            return false;
        if (timestamp >= start)
            ++count;
    }
    return true;
}

bool PlainStorage::adjustTimestamps(PlainStorage& storage, qint64& from, qint64& to, bool& fromAdjusted,
                                    bool& toAdjusted)
{
    fromAdjusted = false;
    toAdjusted = false;
    Record first;
    Record last;
    if (!storage.getFirstDataRecord(first) || !storage.getLastDataRecord(last))
        return false;
    for (qint64* symbolic : {&from, &to}) {
        if (*symbolic == -1)
            *symbolic = plainNowUs() / 1000;
        else if (*symbolic == -2)
            *symbolic = first.timestamp;
        else if (*symbolic == -3)
            *symbolic = last.timestamp;
    }
    if (first.timestamp >= from) {
        from = first.timestamp;
        fromAdjusted = true;
    }
    if (to >= last.timestamp) {
        to = last.timestamp;
        toAdjusted = true;
    }
    return to >= from;
}

} // namespace Kiv::Testing
