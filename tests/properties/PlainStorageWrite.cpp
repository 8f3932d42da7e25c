#include "properties/PlainStorage.h"

#include <QDir>
#include <QFileInfo>
#include <QVariantMap>

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <memory>
#include <optional>

namespace Kiv::Testing
{

namespace
{

/// The record file that a batch is writing to at the moment.
struct OpenRecordFile {
    explicit OpenRecordFile(const PlainPlace& filePlace)
        : place(filePlace), file(place.path), stream(&file), depth(place.depth()), baseMs(place.baseMs())
    {
        stream.setVersion(19);
    }

    PlainPlace place;
    QFile file;
    QDataStream stream;
    int depth;
    qint64 baseMs;
    qint64 trackedSize = 0;
    bool appendMode = true;
    bool varOverwritten = false;
};

/// One batch on its way into the series.
class PlainBatch
{
public:
    PlainBatch(PlainStorage& storage, bool noteLateWrites, bool keepOverwritten, bool appendOnly)
        : m_storage(storage),
          m_noteLate(noteLateWrites),
          m_keepOverwritten(keepOverwritten),
          m_appendOnly(appendOnly)
    {
        Record last;
        if (m_noteLate && m_storage.getLastDataRecord(last))
            m_referenceMs = last.timestamp;
    }

    bool write(const Record& record);
    void closeFile();

    std::vector<qint64> late;
    Records overwritten;

private:
    bool takeUp(const PlainPlace& place, const Record& record);
    bool openNew();
    bool openExisting(const Record& record);
    void append(const Record& record);
    bool searchAndWrite(const Record& record);
    void insert(const Record& record, qint64 foundMs, qint64 positionBytes);
    void overwrite(const Record& record, const Record& old);
    void logOverwritten(const Record& record, const Record& old);
    void noteLate(qint64 timestampMs);

    PlainStorage& m_storage;
    bool m_noteLate;
    bool m_keepOverwritten;
    bool m_appendOnly;
    qint64 m_referenceMs = 0;
    std::optional<qint64> m_previousMs;
    std::unique_ptr<OpenRecordFile> m_open;
};

void PlainBatch::closeFile()
{
    if (!m_open)
        return;
    m_open->file.close();
    const bool split = m_storage.checkMaxFileSize(m_open->place);
    if (m_open->varOverwritten && !split)
        m_storage.reorgVarFile(m_open->place);
    m_open.reset();
}

bool PlainBatch::openNew()
{
    QDir directory(m_open->place.directory());
    if (!directory.exists())
        directory.mkpath(QStringLiteral("."));
    if (m_storage.openFile(m_open->file, QIODevice::ReadWrite))
        return true;
    plainLog(2, QStringLiteral("Could not open '%1' for write (writeDataRecords)"), {m_open->place.path});
    return false;
}

bool PlainBatch::openExisting(const Record& record)
{
    OpenRecordFile& open = *m_open;
    if (!m_storage.openFile(open.file, QIODevice::ReadWrite)) {
        plainLog(2, QStringLiteral("Could not open '%1' for read/write (writeDataRecords)"),
                 {open.place.path});
        return false;
    }
    const qint64 sizeBytes = open.file.size();
    const qint64 recordBytes = m_storage.recordSize(open.depth);
    if (sizeBytes < recordBytes)
        return true; // nothing whole in it: as good as new
    const Record last = m_storage.readLastRecord(open.stream, sizeBytes, open.baseMs, open.depth);
    open.appendMode = last.timestamp < record.timestamp;
    open.trackedSize = sizeBytes;
    if (open.appendMode && !m_storage.isFloat())
        open.trackedSize -= sizeBytes % recordBytes; // the torn bytes are about to be overwritten
    return true;
}

bool PlainBatch::takeUp(const PlainPlace& place, const Record& record)
{
    if (m_open && m_open->place.path == place.path)
        return true;
    closeFile();
    m_open = std::make_unique<OpenRecordFile>(place);
    const bool opened = place.found() ? openExisting(record) : openNew();
    if (!opened)
        m_open.reset();
    return opened;
}

bool PlainBatch::write(const Record& record)
{
    if (!takeUp(m_storage.findFile(record.timestamp), record))
        return false;
    const bool repeats = m_previousMs && *m_previousMs == record.timestamp;
    if (m_appendOnly || (m_open->appendMode && !repeats))
        append(record);
    else if (!searchAndWrite(record))
        return true;
    if (m_noteLate)
        noteLate(record.timestamp);
    return true;
}

void PlainBatch::append(const Record& record)
{
    m_storage.writeRecord(m_open->stream, record, m_open->baseMs, m_open->depth);
    m_open->trackedSize += m_storage.recordSize(m_open->depth);
    m_previousMs = record.timestamp;
}

/// \return false when the stored value equals the new one
bool PlainBatch::searchAndWrite(const Record& record)
{
    OpenRecordFile& open = *m_open;
    const qint64 position =
        m_storage.seekToOffset(open.stream, open.trackedSize, record.timestamp - open.baseMs, open.depth);
    const Record found = m_storage.readRecord(open.stream, open.baseMs, open.depth);
    if (found.timestamp != record.timestamp) {
        insert(record, found.timestamp, position);
        return true;
    }
    if (found.value == record.value)
        return false;
    overwrite(record, found);
    return true;
}

void PlainBatch::insert(const Record& record, qint64 foundMs, qint64 positionBytes)
{
    OpenRecordFile& open = *m_open;
    const qint64 recordBytes = m_storage.recordSize(open.depth);
    open.file.seek(0);
    QByteArray buffer = open.file.readAll();
    open.file.seek(0);
    const qint64 cut = foundMs > record.timestamp ? positionBytes : positionBytes + recordBytes;
    const qsizetype headBytes = std::min<qsizetype>(cut, buffer.size());
    open.file.write(buffer.left(headBytes));
    buffer.remove(0, headBytes);
    m_storage.writeRecord(open.stream, record, open.baseMs, open.depth);
    if (!buffer.isEmpty())
        open.file.write(buffer);
    open.trackedSize += recordBytes;
}

void PlainBatch::overwrite(const Record& record, const Record& old)
{
    OpenRecordFile& open = *m_open;
    if (!m_storage.m_dir.endsWith(QStringLiteral("/V/")))
        logOverwritten(record, old);
    if (m_keepOverwritten)
        overwritten.push_back(old);
    open.file.seek(open.file.pos() - m_storage.recordSize(open.depth));
    m_storage.writeRecord(open.stream, record, open.baseMs, open.depth);
    if (open.appendMode)
        open.file.seek(open.trackedSize);
    if (m_storage.isVariable())
        open.varOverwritten = true;
}

void PlainBatch::logOverwritten(const Record& record, const Record& old)
{
    const std::string when = Poco::DateTimeFormatter::format(Poco::Timestamp(record.timestamp * 1000),
                                                             Poco::DateTimeFormat::ISO8601_FORMAT);
    plainLog(4, QStringLiteral("Value on '%1' overwritten on time stamp %2 old:%3, new:%4"),
             {m_storage.m_dir, QString::fromStdString(when), old.value.toString(), record.value.toString()});
}

void PlainBatch::noteLate(qint64 timestampMs)
{
    if (timestampMs <= m_referenceMs)
        late.push_back(timestampMs);
    else
        m_referenceMs = timestampMs;
}

void writeLateLog(PlainStorage log, const std::vector<qint64>& late)
{
    const qint64 writeSecondMs = plainNowUs() / 1'000'000 * 1000;
    Records entries;
    for (const qint64 timestamp : late) {
        qint64 shiftMs = 1;
        if (entries.empty()) {
            Records inThatSecond;
            int limit = 0;
            log.readDataRecords(writeSecondMs, writeSecondMs, inThatSecond, limit, nullptr, nullptr);
            shiftMs = inThatSecond.empty() ? 0 : 1;
        }
        entries.emplace_back(writeSecondMs + shiftMs, QVariant::fromValue<qlonglong>(timestamp));
    }
    log.writeDataRecordsInt(entries, false, false, true);
}

/// The history entry of exactly that timestamp, also for the times that otherwise mean first, last and now.
QVariantMap historyOf(PlainStorage& history, qint64 timestampMs)
{
    Records found;
    int limit = 0;
    if (timestampMs >= -3 && timestampMs <= -1) {
        Record record;
        if (!history.findDataRecord(timestampMs, record))
            return {};
        return record.value.toMap();
    }
    history.readDataRecords(timestampMs, timestampMs, found, limit, nullptr, nullptr);
    return found.empty() ? QVariantMap() : found.front().value.toMap();
}

void writeHistory(PlainStorage history, const Records& overwritten)
{
    qint64 counter = plainNowUs() / 1000;
    for (const Record& old : overwritten) {
        QVariantMap map = historyOf(history, old.timestamp);
        while (map.contains(QString::number(counter, 10)))
            ++counter;
        map.insert(QString::number(counter, 10), old.value);
        history.writeDataRecordsInt({{old.timestamp, map}}, false, false, false);
    }
}

} // namespace

bool PlainStorage::writeDataRecords(Records records, bool noteLateWrites, bool keepOverwritten)
{
    return writeDataRecordsInt(std::move(records), noteLateWrites, keepOverwritten, false);
}

bool PlainStorage::writeDataRecordsInt(Records records, bool noteLateWrites, bool keepOverwritten,
                                       bool appendOnly)
{
    if (records.empty())
        return true;
    const Operation operation(*this);
    PlainBatch batch(*this, noteLateWrites, keepOverwritten, appendOnly);
    std::stable_sort(records.begin(), records.end(), plainOrder);
    for (const Record& record : records) {
        if (!batch.write(record))
            return false;
    }
    batch.closeFile();
    if (!batch.late.empty())
        writeLateLog(lateWriteLog(), batch.late);
    if (!batch.overwritten.empty())
        writeHistory(overwriteHistory(), batch.overwritten);
    return true;
}

bool PlainStorage::checkMaxFileSize(const PlainPlace& place)
{
    const Operation operation(*this);
    QFile file(place.path);
    const QString varPath = place.varPath();
    if (file.size() <= m_maxFileSize) {
        if (!QFile::exists(varPath) || QFileInfo(varPath).size() / 10 <= m_maxFileSize)
            return false;
    }
    const int depth = place.depth();
    if (depth > 3)
        return false;
    if (!openFile(file, QIODevice::ReadOnly)) {
        plainLog(2, QStringLiteral("Could not open '%1' for read (checkMaxFileSize)"), {place.path});
        return false;
    }
    QDataStream stream(&file);
    stream.setVersion(19);
    bool intact = true;
    const Records records = readAllRecords(stream, place.baseMs(), depth, intact);
    file.close();
    if (!intact)
        return false;
    file.remove();
    if (QFile::exists(varPath))
        QFile::remove(varPath);
    QDir(place.directory()).mkdir(place.fileName());
    return writeSplit(place, records);
}

bool PlainStorage::writeSplit(const PlainPlace& place, const Records& records)
{
    const int depth = place.depth() + 1;
    std::set<QString> begun;
    std::unique_ptr<OpenRecordFile> output;
    for (const Record& record : records) {
        const QString name = plainNameForDepth(record.timestamp, depth);
        if (!output || output->place.fileName() != name) {
            const PlainPlace target{place.path + u'/' + name, place.subDir + place.fileName() + u'/'};
            output = std::make_unique<OpenRecordFile>(target);
            // A period that comes up again, in a log that is not sorted, is continued.
            const bool again = !begun.insert(name).second;
            const auto mode = again ? QIODevice::WriteOnly | QIODevice::Append : QIODevice::WriteOnly;
            if (!openFile(output->file, mode)) {
                plainLog(2, QStringLiteral("Could not open '%1' for write (checkMaxFileSize)"),
                         {target.path});
                return false;
            }
        }
        writeRecord(output->stream, record, output->baseMs, depth);
    }
    return true;
}

void PlainStorage::reorgVarFile(const PlainPlace& place)
{
    const Operation operation(*this);
    plainLog(7, QStringLiteral("Reorganize .var file '%1'"), {place.varPath()});
    if (!isVariable())
        return; // the same bytes again
    QFile file(place.path);
    if (!openFile(file, QIODevice::ReadOnly)) {
        plainLog(2, QStringLiteral("Could not open '%1' for read (reorgVarFile)"), {place.path});
        return;
    }
    QDataStream stream(&file);
    stream.setVersion(19);
    const qint64 baseMs = place.baseMs();
    const int depth = place.depth();
    bool intact = true;
    const Records records = readAllRecords(stream, baseMs, depth, intact);
    file.close();
    if (!intact)
        return;
    file.remove();
    if (QFile::exists(place.varPath()))
        QFile::remove(place.varPath());
    if (!openFile(file, QIODevice::WriteOnly)) {
        plainLog(2, QStringLiteral("Could not open '%1' for write (reorgVarFile)"), {place.path});
        return;
    }
    for (const Record& record : records)
        writeRecord(stream, record, baseMs, depth);
}

} // namespace Kiv::Testing
