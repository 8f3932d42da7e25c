#pragma once

// A slow model of the store, written record by record: one file search per record, one whole-file rewrite per
// insert, one open of the ".var" file per value, every record through QDataStream. It is the yardstick for
// the library's files, results and log lines, and shares no code with it except the logger, the clock and the
// record type.

#include "Interpolate.h"
#include "properties/PlainStorageTree.h"

#include <QDataStream>
#include <QFile>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <initializer_list>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace Kiv::Testing
{

using Record = Interpolate::DataRecord;
using Records = std::vector<Record>;

/// A log line of the model whose number is not fixed.
constexpr int kAnyLine = 0;

void plainLog(unsigned char level, const QString& format, std::initializer_list<QVariant> values,
              int line = kAnyLine);

class PlainStorage : public PlainStorageTree
{
public:
    PlainStorage(QString path, QMetaType::Type valueType, int maxFileSize);

    bool writeDataRecords(Records records, bool noteLateWrites, bool keepOverwritten);
    bool writeDataRecordsInt(Records records, bool noteLateWrites, bool keepOverwritten, bool appendOnly);

    /// Raw reading only: no interval, no filters, no earlier passes.
    bool readDataRecords(qint64 start, qint64 end, Records& result, int& limit, Records* lateRecords,
                         std::map<qint64, QVariant>* overwrittenValues);
    bool readDataRecordsInt(qint64 start, qint64 end, Records& result, int& limit, const QString& marker,
                            bool countOnly);

    bool getFirstDataRecord(Record& record);
    bool getLastDataRecord(Record& record);
    bool findDataRecord(qint64 timestamp, Record& record);
    bool findPrevDataRecord(qint64 timestamp, Record& record);

    /// \param interval  only for series and companions that cannot serve one
    qint64 getCount(qint64 interval, qint64 start, qint64 end, bool countMain, bool countP, bool countO);
    qint64 getCountInt(qint64 interval, qint64 start, qint64 end, const QString& marker);

    bool deleteDataRecords(qint64 from, qint64 to, const QString& marker);
    bool deleteDataRecords(qint64 from, qint64 to);
    bool adjustTimestamps(PlainStorage& storage, qint64& from, qint64& to, bool& fromAdjusted,
                          bool& toAdjusted);

    bool checkMaxFileSize(const PlainPlace& place);
    void reorgVarFile(const PlainPlace& place);

    /// This storage for "", a new one for "P" and "O"; `owned` keeps it alive.
    PlainStorage* storageForMarker(const QString& marker, std::unique_ptr<PlainStorage>& owned);
    PlainStorage lateWriteLog() const;
    PlainStorage overwriteHistory() const;

    bool isVariable() const { return m_marker == u'V'; }
    bool isFloat() const { return m_valueType == QMetaType::Float; }
    int recordSize(int depth) const; ///< bytes as position arithmetic counts them
    int storedSize(int depth) const; ///< bytes as the stream moves

    bool openFile(QFile& file, QIODevice::OpenMode mode);
    qint64 readOffset(QDataStream& stream, int depth) const;
    Record readRecord(QDataStream& stream, qint64 baseMs, int depth);
    Record readLastRecord(QDataStream& stream, qint64 fileSize, qint64 baseMs, int depth);
    void writeRecord(QDataStream& stream, const Record& record, qint64 baseMs, int depth);
    qint64 seekToOffset(QDataStream& stream, qint64 fileSize, qint64 offsetMs, int depth) const;
    /// Puts the stream on the first record at or after a time, or shortly before it.
    void seekToStart(QDataStream& stream, qint64 fileSize, qint64 offsetMs, int depth) const;
    /// Reads on to the end of the file; `intact` tells whether every value could be read back.
    Records readAllRecords(QDataStream& stream, qint64 baseMs, int depth, bool& intact);

    const QMetaType::Type m_valueType;
    const QString m_marker;
    const int m_dataLength;
    const int m_maxFileSize;

    /// Set by readRecord: the value came back as it was stored.
    bool m_valueIntact = true;

    /// Companion files whose six attempts are used up; belongs to one operation.
    std::set<QString> m_exhausted;

    /// Gives an operation its own memory of exhausted companions.
    class Operation
    {
    public:
        explicit Operation(PlainStorage& storage) : m_storage(storage)
        {
            m_storage.m_exhausted.swap(m_outer);
        }
        ~Operation() { m_storage.m_exhausted.swap(m_outer); }
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;

    private:
        PlainStorage& m_storage;
        std::set<QString> m_outer;
    };

private:
    bool openCompanion(QFile& file, QIODevice::OpenMode mode);
    bool tryOpen(QFile& file, QIODevice::OpenMode mode, int attempt);
    QVariant readFixedValue(QDataStream& stream) const;
    void writeFixedValue(QDataStream& stream, const QVariant& value) const;
    QVariant readCompanionValue(QDataStream& stream);
    void writeCompanionValue(QDataStream& stream, const QVariant& value);
    bool writeSplit(const PlainPlace& place, const Records& records);
    bool openForQuery(QFile& file, const char* operation, int line);

    qint64 countRaw(qint64 start, qint64 end);
    bool countFile(const PlainPlace& place, bool wholeFiles, qint64 start, qint64 end, qint64& count);
    bool readFile(const PlainPlace& place, qint64 start, qint64 end, bool lateLog, PlainStorage& storage,
                  class PlainRawEngine& engine, Records& result);

    void removeWholeSeries();
    bool eraseFromFile(const PlainPlace& place, qint64 from, qint64 to, bool toAdjusted,
                       std::vector<PlainPlace>& emptied);
    void rewriteWithout(const PlainPlace& place, qint64 baseMs, const Records& kept);
};

bool plainOrder(const Record& left, const Record& right);
qint64 plainNowUs();

} // namespace Kiv::Testing
