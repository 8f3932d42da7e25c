#include "internal/BatchWriter.h"

#include "internal/CivilTime.h"
#include "internal/FileSplitter.h"
#include "internal/LogTexts.h"
#include "internal/SampleBatch.h"
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

/// End of the samples from `begin` on that share its file, which lies at that depth.
template <typename Batch>
std::size_t endOfRun(const Batch& batch, std::size_t begin, int depth)
{
    const qint64 lastMs = periodLastMs(batch.timestampMs(begin), depth);
    std::size_t low = begin + 1;
    std::size_t high = batch.size();
    // Most batches lie in one file.
    if (batch.timestampMs(high - 1) <= lastMs)
        return high;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (batch.timestampMs(middle) <= lastMs)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

void add(BatchWriter::Summary& total, const BatchWriter::Summary& part)
{
    total.newCount += part.newCount;
    total.overwrittenCount += part.overwrittenCount;
    total.unchangedCount += part.unchangedCount;
    total.lateCount += part.lateCount;
}

qint64& countOf(BatchWriter::Summary& summary, RecordFileWriter::Outcome outcome)
{
    using Outcome = RecordFileWriter::Outcome;
    if (outcome == Outcome::Overwritten)
        return summary.overwrittenCount;
    return outcome == Outcome::Unchanged ? summary.unchangedCount : summary.newCount;
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

template <typename Batch>
bool BatchWriter::write(const Batch& batch)
{
    if (batch.size() == 0)
        return true;
    Interpolate::DataRecord last;
    if (watchesLate() && m_storage.getLastDataRecord(last))
        m_lastTimestampMs = last.timestamp;

    for (std::size_t begin = 0; begin != batch.size();) {
        const FilePlace place = TreeCursor(m_storage.m_dir).locate(batch.timestampMs(begin));
        const std::size_t end = endOfRun(batch, begin, place.depth);
        if (!writeRun(place, batch, begin, end))
            return false;
        begin = end;
    }
    writeLateLog();
    writeOverwriteHistory();
    return m_isStored;
}

template bool BatchWriter::write(const RecordBatch& batch);
template bool BatchWriter::write(const ColumnBatch& batch);

/// Merges samples that all belong to one file.
template <typename Batch>
bool BatchWriter::writeRun(const FilePlace& place, const Batch& batch, std::size_t begin, std::size_t end)
{
    RecordFileWriter writer(place, m_storage.m_valueType, m_options.testFlag(Option::AppendOnly));
    if (!writer.open(batch.timestampMs(begin)))
        return false;
    Summary summary;
    const bool isTaken = putRun(writer, batch, begin, end, summary);
    const QString refusedPath = writer.failedPath();
    const bool isStored = writer.finish().ok();
    if (isStored)
        add(m_summary, summary);
    if (!isStored || !isTaken) {
        logLine(LogTexts::kWriteFailed, isStored ? refusedPath : writer.failedPath());
        return false;
    }
    FilePlace written = place;
    written.sizeBytes = writer.sizeBytes();
    limitFileSize(written, writer.hasOverwrittenVariable());
    return true;
}

/// \return false when a sample was refused; those before it are merged
template <typename Batch>
bool BatchWriter::putRun(RecordFileWriter& writer, const Batch& batch, std::size_t begin, std::size_t end,
                         Summary& summary)
{
    using Outcome = RecordFileWriter::Outcome;
    for (std::size_t i = begin; i != end; ++i) {
        const std::size_t runEnd = writer.appendRun(batch, i, end);
        noteLateRun(batch, i, runEnd, summary);
        summary.newCount += static_cast<qint64>(runEnd - i);
        i = runEnd;
        if (i == end)
            break;
        const Interpolate::DataRecord& record = batch.record(i);
        const Outcome outcome = writer.put(record, [&](const QVariant& oldValue) {
            noteOverwritten(record.timestamp, oldValue, record.value);
        });
        if (outcome == Outcome::Refused)
            return false;
        ++countOf(summary, outcome);
        if (outcome != Outcome::Unchanged)
            noteLate(record.timestamp, summary);
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

/// Notes samples that were appended together.
template <typename Batch>
void BatchWriter::noteLateRun(const Batch& batch, std::size_t begin, std::size_t end, Summary& summary)
{
    for (std::size_t i = begin; i != end && watchesLate(); ++i)
        noteLate(batch.timestampMs(i), summary);
}

void BatchWriter::noteLate(qint64 timestampMs, Summary& summary)
{
    if (!watchesLate())
        return;
    if (timestampMs > m_lastTimestampMs) {
        m_lastTimestampMs = timestampMs;
        return;
    }
    ++summary.lateCount;
    if (m_options.testFlag(Option::NoteLateWrites))
        m_late.push_back(timestampMs);
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
