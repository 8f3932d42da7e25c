#include "internal/BatchWriter.h"

#include "TSFileStorage.h"

#include "internal/CivilTime.h"
#include "internal/FileSplitter.h"
#include "internal/LogTexts.h"
#include "internal/Seams.h"
#include "internal/TreeCursor.h"
#include "internal/VarReorganizer.h"

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <utility>

namespace Kiv::Internal
{

namespace
{

constexpr QChar kLateLogSuffix = u'P';
constexpr QChar kHistorySuffix = u'O';

QString isoText(qint64 timestampMs)
{
    const Poco::Timestamp timestamp(saturatingMultiply(timestampMs, 1000));
    return QString::fromStdString(
        Poco::DateTimeFormatter::format(timestamp, Poco::DateTimeFormat::ISO8601_FORMAT));
}

/// Range ends with a meaning of their own, which no read takes for a timestamp.
bool isSymbolic(qint64 timestampMs)
{
    return timestampMs >= -3 && timestampMs <= -1;
}

/// End of the records from `begin` on that share its file, which lies at that depth.
BatchWriter::Records::const_iterator endOfRun(BatchWriter::Records::const_iterator begin,
                                              BatchWriter::Records::const_iterator end, int depth)
{
    const qint64 lastMs = periodLastMs(begin->timestamp, depth);
    return std::partition_point(
        begin, end, [lastMs](const Interpolate::DataRecord& record) { return record.timestamp <= lastMs; });
}

void logOverwritten(const QString& seriesDirectory, qint64 timestampMs, const QVariant& oldValue,
                    const QVariant& newValue)
{
    try {
        logLine(LogTexts::kOverwritten, seriesDirectory, isoText(timestampMs), oldValue.toString(),
                newValue.toString());
    } catch (const std::exception& exception) {
        logLine(LogTexts::kOverwrittenException, QString::fromUtf8(exception.what()));
    }
}

} // namespace

BatchWriter::BatchWriter(TSFileStorage& storage, Options options) : m_storage(storage), m_options(options) {}

bool BatchWriter::write(Records records)
{
    if (records.empty())
        return true;
    Interpolate::DataRecord last;
    if (m_options.testFlag(Option::NoteLateWrites) && m_storage.getLastDataRecord(last))
        m_lastTimestampMs = last.timestamp;
    if (!std::is_sorted(records.begin(), records.end()))
        std::stable_sort(records.begin(), records.end());

    for (Iterator begin = records.cbegin(); begin != records.cend();) {
        const FilePlace place = TreeCursor(m_storage.m_dir).locate(begin->timestamp);
        const Iterator end = endOfRun(begin, records.cend(), place.depth);
        if (!writeRun(place, begin, end))
            return false;
        begin = end;
    }
    writeLateLog();
    writeOverwriteHistory();
    return m_isStored;
}

/// Merges records that all belong to one file.
bool BatchWriter::writeRun(const FilePlace& place, Iterator begin, Iterator end)
{
    RecordFileWriter writer(place, m_storage.m_valueType, m_options.testFlag(Option::AppendOnly));
    if (!writer.open(begin->timestamp))
        return false;
    const bool isTaken = putRun(writer, begin, end);
    const QString refusedPath = writer.failedPath();
    const bool isStored = writer.finish().ok();
    if (!isStored || !isTaken) {
        logLine(LogTexts::kWriteFailed, isStored ? refusedPath : writer.failedPath());
        return false;
    }
    FilePlace written = place;
    written.sizeBytes = writer.sizeBytes();
    limitFileSize(written, writer.hasOverwrittenVariable());
    return true;
}

/// \return false when a record was refused; those before it are merged
bool BatchWriter::putRun(RecordFileWriter& writer, Iterator begin, Iterator end)
{
    using Outcome = RecordFileWriter::Outcome;
    for (Iterator record = begin; record != end;) {
        const Iterator runEnd = writer.appendRun(record, end);
        for (; record != runEnd; ++record)
            noteLate(record->timestamp);
        if (record == end)
            break;
        const Outcome outcome = writer.put(*record, [&](const QVariant& oldValue) {
            noteOverwritten(record->timestamp, oldValue, record->value);
        });
        if (outcome == Outcome::Refused)
            return false;
        if (outcome != Outcome::Unchanged)
            noteLate(record->timestamp);
        ++record;
    }
    return true;
}

/// Splits the file when it has grown too large, else removes the values that were overwritten. What fails here
/// does not keep later records from being written.
void BatchWriter::limitFileSize(const FilePlace& place, bool hasOverwrittenVariable)
{
    using Result = FileSplitter::Result;
    const Result split = FileSplitter(m_storage.m_valueType, m_storage.m_maxFileSize).splitIfTooLarge(place);
    m_isStored = m_isStored && split != Result::WriteFailed;
    if (split != Result::Split && hasOverwrittenVariable)
        m_isStored = reorganizeVarFile(place, m_storage.m_valueType) && m_isStored;
}

void BatchWriter::noteOverwritten(qint64 timestampMs, const QVariant& oldValue, const QVariant& newValue)
{
    if (!m_storage.m_dir.endsWith(QLatin1String("/V/")))
        logOverwritten(m_storage.m_dir, timestampMs, oldValue, newValue);
    if (m_options.testFlag(Option::KeepOverwritten))
        m_overwritten.emplace_back(timestampMs, oldValue);
}

void BatchWriter::noteLate(qint64 timestampMs)
{
    if (!m_options.testFlag(Option::NoteLateWrites))
        return;
    if (timestampMs <= m_lastTimestampMs)
        m_late.push_back(timestampMs);
    else
        m_lastTimestampMs = timestampMs;
}

QString BatchWriter::companionPath(QChar suffix) const
{
    return m_storage.m_dir.left(m_storage.m_dir.size() - 1) + suffix + u'/';
}

void BatchWriter::writeLateLog()
{
    if (m_late.empty())
        return;
    TSFileStorage lateLog(companionPath(kLateLogSuffix), QMetaType::LongLong, m_storage.m_maxFileSize);
    const qint64 writeSecondMs = seams().nowMicroseconds() / 1'000'000 * 1000;
    Records logged;
    int limit = 0;
    lateLog.readDataRecords({}, {}, writeSecondMs, writeSecondMs, logged, false, limit, nullptr, nullptr);

    // Kept: the first entry looks whether the second is taken, all others share the millisecond after it.
    qint64 offsetMs = logged.empty() ? 0 : 1;
    Records entries;
    for (const qint64 lateTimestampMs : m_late) {
        entries.emplace_back(writeSecondMs + offsetMs, QVariant(qlonglong{lateTimestampMs}));
        offsetMs = 1;
    }
    lateLog.writeDataRecordsInt(std::move(entries), false, false, true);
}

/// Written record by record, since a later one of the same timestamp continues the map of the former.
void BatchWriter::writeOverwriteHistory()
{
    if (m_overwritten.empty())
        return;
    TSFileStorage history(companionPath(kHistorySuffix), QMetaType::QVariant, m_storage.m_maxFileSize);
    qint64 keyMs = seams().nowMicroseconds() / 1000;
    for (const Interpolate::DataRecord& old : m_overwritten) {
        QVariantMap values = historyAt(history, old.timestamp).toMap();
        while (values.contains(QString::number(keyMs, 10)))
            ++keyMs;
        values.insert(QString::number(keyMs, 10), old.value);
        history.writeDataRecordsInt({Interpolate::DataRecord(old.timestamp, values)}, false, false, false);
    }
}

QVariant BatchWriter::historyAt(TSFileStorage& history, qint64 timestampMs)
{
    if (isSymbolic(timestampMs)) {
        Interpolate::DataRecord record;
        return history.findDataRecord(timestampMs, record) ? record.value : QVariant();
    }
    Records found;
    int limit = 0;
    history.readDataRecords({}, {}, timestampMs, timestampMs, found, false, limit, nullptr, nullptr);
    return found.empty() ? QVariant() : found.front().value;
}

} // namespace Kiv::Internal
