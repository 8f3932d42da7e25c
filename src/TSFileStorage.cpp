// The public operations of a series, each handed over to the class that does it, and the record operations on
// data streams.

#include "TSFileStorage.h"

#include "internal/BatchWriter.h"
#include "internal/CivilTime.h"
#include "internal/ColumnResults.h"
#include "internal/FileAccess.h"
#include "internal/FileSplitter.h"
#include "internal/LogTexts.h"
#include "internal/RangeCounter.h"
#include "internal/RangeEraser.h"
#include "internal/RangeReader.h"
#include "internal/RecordEncoder.h"
#include "internal/RecordFile.h"
#include "internal/SampleBatch.h"
#include "internal/Seams.h"
#include "internal/SwapFiles.h"
#include "internal/TreeCursor.h"
#include "internal/VarReorganizer.h"

#include <QDataStream>
#include <QFile>

#include <algorithm>
#include <memory>
#include <unordered_set>
#include <utility>

namespace Kiv
{

using namespace Internal;

using DataRecord = Interpolate::DataRecord;

namespace
{

constexpr char kLateLogMarker[] = "P";
constexpr char kHistoryMarker[] = "O";

QString withSlash(const QString& path)
{
    return path.endsWith(u'/') ? path : path + u'/';
}

QString markerText(QMetaType::Type type)
{
    return QString(QLatin1Char(markerForType(type)));
}

FilePlace placeOf(const TSFileInfo& info)
{
    return {info.filePath(), info.getSubDir(), info.getDirDepth(), info.found()};
}

QString recordPathOf(const QDataStream& stream)
{
    const auto* file = qobject_cast<const QFileDevice*>(stream.device());
    return file != nullptr ? file->fileName() : QString();
}

/// Reads bytes at the stream's position. \return false, the stream past its end, when there are fewer
bool readBytes(QDataStream& stream, char* bytes, int countBytes)
{
    if (stream.readRawData(bytes, countBytes) == countBytes)
        return true;
    stream.setStatus(QDataStream::ReadPastEnd);
    return false;
}

/// Hands a record over, unless the file could not be read where it should lie.
bool deliver(const RecordFile& file, const LogText& failureText, const FilePlace& place, DataRecord&& found,
             DataRecord& record)
{
    if (file.hasReadError()) {
        logLine(failureText, place.path);
        return false;
    }
    record = std::move(found);
    return true;
}

/// A range end that stands for a time to be looked up.
qint64 resolvedTimestamp(qint64 timestampMs, const DataRecord& first, const DataRecord& last)
{
    switch (timestampMs) {
    case -1:
        return seams().nowMicroseconds() / 1000;
    case -2:
        return first.timestamp;
    case -3:
        return last.timestamp;
    default:
        return timestampMs;
    }
}

BatchWriter::Options batchOptions(bool noteLateWrites, bool keepOverwritten,
                                  const TSFileStorage::WriteSummary* summary)
{
    BatchWriter::Options options;
    options.setFlag(BatchWriter::Option::CountLate, summary != nullptr);
    options.setFlag(BatchWriter::Option::NoteLateWrites, noteLateWrites);
    options.setFlag(BatchWriter::Option::KeepOverwritten, keepOverwritten);
    return options;
}

/// The storage to read for a marker: the caller's own, or a companion that lives as long as this.
class StorageForMarker
{
public:
    StorageForMarker(TSFileStorage& series, const QString& marker)
        : m_series(series), m_stored(series.getReadFilestorageForMarker(marker))
    {
    }
    ~StorageForMarker()
    {
        if (m_stored != &m_series)
            delete m_stored;
    }
    StorageForMarker(const StorageForMarker&) = delete;
    StorageForMarker& operator=(const StorageForMarker&) = delete;

    TSFileStorage* get() const { return m_stored; }

private:
    TSFileStorage& m_series;
    TSFileStorage* m_stored;
};

} // namespace

TSFileStorage::TSFileStorage(QString path, QMetaType::Type valueType, int maxFileSize)
    : TSDirControl(withSlash(path) + markerText(valueType) + u'/'),
      m_path(withSlash(path)),
      m_valueType(valueType),
      m_dataLength(dataLengthForType(valueType)),
      m_maxFileSize(maxFileSize),
      m_tsOffsetLength{offsetWidthForDepth(0), offsetWidthForDepth(1), offsetWidthForDepth(2),
                       offsetWidthForDepth(3), offsetWidthForDepth(4)}
{
}

TSFileStorage::~TSFileStorage() = default;

// --- Writing -----------------------------------------------------------------------------------------------

bool TSFileStorage::writeDataRecords(std::vector<DataRecord> records, bool noteLateWrites,
                                     bool keepOverwritten)
{
    return writeDataRecordsInt(std::move(records), noteLateWrites, keepOverwritten, false);
}

bool TSFileStorage::writeDataRecordsInt(std::vector<DataRecord> records, bool noteLateWrites,
                                        bool keepOverwritten, bool appendOnly)
{
    BatchWriter::Options options;
    options.setFlag(BatchWriter::Option::NoteLateWrites, noteLateWrites);
    options.setFlag(BatchWriter::Option::KeepOverwritten, keepOverwritten);
    options.setFlag(BatchWriter::Option::AppendOnly, appendOnly);
    return BatchWriter(*this, options).write(RecordBatch(std::move(records)));
}

bool TSFileStorage::writeDataRecords(std::vector<DataRecord> records, bool noteLateWrites,
                                     bool keepOverwritten, WriteSummary* summary)
{
    BatchWriter writer(*this, batchOptions(noteLateWrites, keepOverwritten, summary));
    const bool isStored = writer.write(RecordBatch(std::move(records)));
    if (summary != nullptr)
        *summary = writer.summary();
    return isStored;
}

bool TSFileStorage::writeDataColumns(const TSFileColumns& columns, bool noteLateWrites, bool keepOverwritten,
                                     WriteSummary* summary)
{
    if (!columns.isConsistent()) {
        logLine(LogTexts::kColumnsDiffer);
        if (summary != nullptr)
            *summary = {};
        return false;
    }
    BatchWriter writer(*this, batchOptions(noteLateWrites, keepOverwritten, summary));
    const bool isStored = writer.write(ColumnBatch(columns, m_valueType));
    if (summary != nullptr)
        *summary = writer.summary();
    return isStored;
}

// --- Reading -----------------------------------------------------------------------------------------------

bool TSFileStorage::readDataRecords(Interpolate::InterpolateParam param,
                                    std::vector<Interpolate::InterpolateParam> params, qint64 start,
                                    qint64 end, std::vector<DataRecord>& result, bool shiftIntervalForward,
                                    int& limit, std::vector<DataRecord>* lateRecords,
                                    std::unordered_map<qint64, QVariant>* overwrittenValues)
{
    const auto readCompanion = [&](std::vector<DataRecord>& records, const char* marker) {
        int noLimit = 0;
        return readDataRecordsInt(param, params, start, end, records, shiftIntervalForward, noLimit,
                                  QLatin1String(marker), false);
    };
    if (!readDataRecordsInt(param, params, start, end, result, shiftIntervalForward, limit, QString(), false))
        return false;
    if (lateRecords != nullptr) {
        if (!readCompanion(*lateRecords, kLateLogMarker))
            return false;
        std::sort(lateRecords->begin(), lateRecords->end());
        std::unordered_set<qint64> delivered;
        for (const DataRecord& record : result)
            delivered.insert(record.timestamp);
        const auto isDelivered = [&](const DataRecord& record) {
            return delivered.count(record.timestamp) != 0;
        };
        lateRecords->erase(std::remove_if(lateRecords->begin(), lateRecords->end(), isDelivered),
                           lateRecords->end());
    }
    if (overwrittenValues != nullptr) {
        std::vector<DataRecord> history;
        if (!readCompanion(history, kHistoryMarker))
            return false;
        for (DataRecord& record : history)
            overwrittenValues->emplace(record.timestamp, std::move(record.value));
    }
    return true;
}

bool TSFileStorage::readDataColumns(Interpolate::InterpolateParam param,
                                    std::vector<Interpolate::InterpolateParam> params, qint64 start,
                                    qint64 end, TSFileColumns& columns, bool shiftIntervalForward, int& limit)
{
    columns.clear();
    columns.kind = TSFileColumns::Kind::Doubles;
    if (RecordShape(m_valueType, 0).isVariable()) {
        limit = 0;
        return false;
    }
    std::vector<DataRecord> results;
    RangeReader reader(*this, *this, RangeReader::Source::Samples, results);
    reader.deliverTo(columns, RangeReader::Room::ForAll);
    reader.read({std::move(param), std::move(params), start, end, shiftIntervalForward, false}, limit);
    for (const DataRecord& record : results)
        appendResult(record, columns);
    return true;
}

bool TSFileStorage::readDataRecordsInt(Interpolate::InterpolateParam param,
                                       std::vector<Interpolate::InterpolateParam> params, qint64 start,
                                       qint64 end, std::vector<DataRecord>& result, bool shiftIntervalForward,
                                       int& limit, QString marker, bool fastCountOnly)
{
    const StorageForMarker stored(*this, marker);
    if (stored.get() == nullptr) {
        limit = 0;
        return true;
    }
    checkValidInterval(param.interval, marker);
    const auto source =
        marker == QLatin1String(kLateLogMarker) ? RangeReader::Source::LateLog : RangeReader::Source::Samples;
    RangeReader(*this, *stored.get(), source, result)
        .read({std::move(param), std::move(params), start, end, shiftIntervalForward, fastCountOnly}, limit);
    return true;
}

bool TSFileStorage::getFirstDataRecord(DataRecord& record)
{
    const FilePlace place = TreeCursor(m_dir).first();
    RecordFile file(place, m_valueType);
    if (!place.found || !file.open(LogTexts::kOpenGetFirst))
        return false;
    DataRecord first = file.first();
    return deliver(file, LogTexts::kOpenGetFirst, place, std::move(first), record);
}

bool TSFileStorage::getLastDataRecord(DataRecord& record)
{
    const FilePlace place = TreeCursor(m_dir).last();
    RecordFile file(place, m_valueType);
    if (!place.found || !file.open(LogTexts::kOpenGetLast))
        return false;
    DataRecord last = file.last();
    return deliver(file, LogTexts::kOpenGetLast, place, std::move(last), record);
}

bool TSFileStorage::findDataRecord(qint64 ts, DataRecord& record)
{
    const FilePlace place = TreeCursor(m_dir).locate(ts);
    RecordFile file(place, m_valueType);
    if (!place.found || !file.open(LogTexts::kOpenFind))
        return false;
    qint64 endBytes = 0;
    DataRecord found = file.readAt(file.search(ts), endBytes);
    return deliver(file, LogTexts::kOpenFind, place, std::move(found), record) && record.timestamp == ts;
}

bool TSFileStorage::findPrevDataRecord(qint64 ts, DataRecord& record)
{
    const qint64 beforeTs = saturatingSubtract(ts, 1);
    TreeCursor cursor(m_dir);
    FilePlace place = cursor.locate(beforeTs);
    if (!place.found)
        place = cursor.previous(place);
    RecordFile file(place, m_valueType);
    if (!place.found || !file.open(LogTexts::kOpenFindPrev))
        return false;

    qint64 endBytes = 0;
    DataRecord found = file.readAt(file.search(beforeTs), endBytes);
    const qint64 twoRecords = 2 * file.shape().recordSize();
    if (found.timestamp > beforeTs && endBytes >= twoRecords) {
        // Kept: the record before replaces the one found only when it too is not below the time asked for.
        DataRecord previous = file.readAt(endBytes - twoRecords, endBytes);
        if (previous.timestamp >= beforeTs)
            found = std::move(previous);
    }
    return deliver(file, LogTexts::kOpenFindPrev, place, std::move(found), record);
}

// --- Counting and deleting ---------------------------------------------------------------------------------

qint64 TSFileStorage::getCount(Interpolate::InterpolateParam param,
                               std::vector<Interpolate::InterpolateParam> passes, qint64 start, qint64 end,
                               bool countMain, bool countP, bool countO)
{
    qint64 count = 0;
    if (countMain)
        count += getCountInt(param, passes, start, end, QString());
    if (countP)
        count += getCountInt(param, passes, start, end, QLatin1String(kLateLogMarker));
    if (countO)
        count += getCountInt(param, passes, start, end, QLatin1String(kHistoryMarker));
    return count;
}

qint64 TSFileStorage::getCountInt(Interpolate::InterpolateParam param,
                                  std::vector<Interpolate::InterpolateParam> passes, qint64 start, qint64 end,
                                  QString marker)
{
    const StorageForMarker stored(*this, marker);
    if (stored.get() == nullptr)
        return 0;
    if (param.interval == 0) {
        bool startIsFirst = false;
        bool endIsLast = false;
        if (!adjustTimestamps(stored.get(), start, end, startIsFirst, endIsLast))
            return 0;
        return RangeCounter(*stored.get(), start, end, endIsLast).count();
    }
    checkValidInterval(param.interval, marker);
    std::vector<DataRecord> counter;
    int noLimit = 0;
    readDataRecordsInt(std::move(param), std::move(passes), start, end, counter, false, noLimit, marker,
                       true);
    return counter.empty() ? 0 : counter.front().value.toLongLong();
}

bool TSFileStorage::deleteDataRecords(qint64 from, qint64 to)
{
    deleteDataRecords(from, to, QString());
    deleteDataRecords(from, to, QLatin1String(kLateLogMarker));
    deleteDataRecords(from, to, QLatin1String(kHistoryMarker));
    return true;
}

bool TSFileStorage::deleteDataRecords(qint64 from, qint64 to, QString marker)
{
    const StorageForMarker stored(*this, marker);
    bool fromIsFirst = false;
    bool toIsLast = false;
    if (stored.get() == nullptr || !adjustTimestamps(stored.get(), from, to, fromIsFirst, toIsLast))
        return true;
    RangeEraser eraser(*stored.get());
    if (fromIsFirst && toIsLast)
        eraser.eraseSeries();
    else
        eraser.eraseRange(fromIsFirst ? 0 : from, to, toIsLast);
    return true;
}

bool TSFileStorage::adjustTimestamps(TSFileStorage* storage, qint64& from, qint64& to, bool& fromAdjusted,
                                     bool& toAdjusted)
{
    fromAdjusted = false;
    toAdjusted = false;
    DataRecord first;
    DataRecord last;
    if (!storage->getFirstDataRecord(first) || !storage->getLastDataRecord(last))
        return false;
    from = resolvedTimestamp(from, first, last);
    to = resolvedTimestamp(to, first, last);
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

// --- Files -------------------------------------------------------------------------------------------------

bool TSFileStorage::checkMaxFileSize(QFile* file, TSFileInfo info)
{
    FilePlace place = placeOf(info);
    place.path = file->fileName();
    place.sizeBytes = fileSizeBytes(currentRecordPath(place.path));
    const FileSplitter splitter(m_valueType, m_maxFileSize);
    return splitter.splitIfTooLarge(place) == FileSplitter::Result::Split;
}

void TSFileStorage::reorgVarFile(QFile* file, TSFileInfo info)
{
    FilePlace place = placeOf(info);
    place.path = file->fileName();
    reorganizeVarFile(place, m_valueType);
}

bool TSFileStorage::openFile(QFile& file, QIODevice::OpenMode mode)
{
    return Internal::openFile(file, mode);
}

void TSFileStorage::checkDirectory(QDir dir)
{
    if (!dir.exists())
        dir.mkpath(QStringLiteral("."));
}

void TSFileStorage::checkValidInterval(qint64& interval, QString marker)
{
    if (interval == 0)
        return;
    if (marker.isEmpty()) {
        if (valueCodingForType(m_valueType) != ValueCoding::VarPosition)
            return;
        logLine(LogTexts::kNoIntervalSupport);
    }
    interval = 0;
}

TSFileStorage* TSFileStorage::getReadFilestorageForMarker(QString marker)
{
    if (marker.isEmpty())
        return QDir(m_dir).exists() ? this : nullptr;
    const bool isLateLog = marker == QLatin1String(kLateLogMarker);
    if (!isLateLog && marker != QLatin1String(kHistoryMarker))
        return nullptr;
    const QString directory = m_dir.left(m_dir.size() - 1) + marker + u'/';
    if (!QDir(directory).exists())
        return nullptr;
    return new TSFileStorage(directory, isLateLog ? QMetaType::LongLong : QMetaType::QVariant, m_maxFileSize);
}

// --- Records -----------------------------------------------------------------------------------------------

QString TSFileStorage::getMarkerForValueType(QMetaType::Type type) const
{
    return markerText(type);
}

int TSFileStorage::getDataLengthForValueType(QMetaType::Type type) const
{
    return dataLengthForType(type);
}

int TSFileStorage::getDataLengthForTimestampOffset(TSFileInfo::DirDepth depth) const
{
    return depth >= 0 && depth <= TSFileInfo::DirDepthMinute ? m_tsOffsetLength[depth] : 0;
}

qint64 TSFileStorage::readCurrTsOffset(QDataStream& stream, TSFileInfo::DirDepth depth)
{
    char bytes[kMaxRecordBytes] = {};
    const int width = getDataLengthForTimestampOffset(depth);
    return readBytes(stream, bytes, width) ? decodeOffset(bytes, width) : 0;
}

void TSFileStorage::writeDataRecord(QDataStream& stream, DataRecord record, qint64 baseTs,
                                    TSFileInfo::DirDepth depth)
{
    // A stream that once read past its end refuses to write until it is told to go on.
    stream.resetStatus();
    const RecordShape shape(m_valueType, depth);
    VarFile values(varPathOf(recordPathOf(stream)));
    char bytes[kMaxRecordBytes];
    const IoResult encoded = encodeRecord(shape, baseTs, record, values, bytes);
    if (!encoded.ok() || !values.flush().ok() || !values.close().ok()) {
        logLine(LogTexts::kWriteFailed, values.path());
        stream.setStatus(QDataStream::WriteFailed);
        return;
    }
    stream.writeRawData(bytes, shape.strideBytes());
}

DataRecord TSFileStorage::readCurrDataRecord(QDataStream& stream, qint64 baseTs, TSFileInfo::DirDepth depth)
{
    const RecordShape shape(m_valueType, depth);
    const qint64 timestamp = saturatingAdd(baseTs, readCurrTsOffset(stream, depth));
    char bytes[kMaxRecordBytes] = {};
    if (!readBytes(stream, bytes, shape.valueBytes()))
        return {timestamp, zeroValue(shape.coding)};
    if (!shape.isVariable())
        return {timestamp, decodeValue(bytes, shape.coding)};
    VarFile values(varPathOf(recordPathOf(stream)));
    return {timestamp, values.read(decodeVarPosition(bytes)).value};
}

DataRecord TSFileStorage::readLastDataRecord(QDataStream& stream, qint64 fileSize, qint64 baseTs,
                                             TSFileInfo::DirDepth depth)
{
    const RecordShape shape(m_valueType, depth);
    const qint64 recordSize = shape.recordSize();
    if (shape.isExact() && fileSize < recordSize)
        return {baseTs, zeroValue(shape.coding)};
    stream.device()->seek(shape.isExact() ? (fileSize / recordSize - 1) * recordSize : fileSize - recordSize);
    return readCurrDataRecord(stream, baseTs, depth);
}

qint64 TSFileStorage::seekToTsOffsetPos(QDataStream& stream, qint64 fileSize, qint64 tsOffset,
                                        int tsOffsetLength, TSFileInfo::DirDepth depth)
{
    QIODevice& device = *stream.device();
    const qint64 recordSize = m_dataLength + tsOffsetLength;
    if (recordSize >= 1 && fileSize >= recordSize) {
        searchRecords(fileSize / recordSize, recordSize, tsOffset, [&](qint64 positionBytes, qint64, qint64) {
            device.seek(positionBytes);
            return readCurrTsOffset(stream, depth);
        });
    }
    // A position before the start is refused and leaves the stream where it is.
    device.seek(device.pos() - tsOffsetLength);
    return device.pos();
}

} // namespace Kiv
