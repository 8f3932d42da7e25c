#pragma once

#include "Interpolate.h"
#include "KivTSFileStorageExport.h"
#include "TSDirControl.h"
#include "TSFileColumns.h"

#include <QDir>
#include <QIODevice>
#include <QMetaType>
#include <QString>
#include <QVariant>

#include <unordered_map>
#include <vector>

class QDataStream;
class QFile;

namespace Kiv
{

/// One time series on disk: samples of one value type, written in batches and read back raw or interpolated.
///
/// The series lives in `<base>/<marker>/`, the marker being one letter for the value type, in a calendar tree
/// of record files. Two companion series may stand beside it: the late-write log in `<base>/<marker>P/` and
/// the overwrite history in `<base>/<marker>O/`.
///
/// Immutable; holds no open file and no cache. Every operation works on the caller's thread and closes its
/// files before it returns. Nothing is locked: one writer at a time, and a reader during a write may see a
/// partly rewritten file.
/// Failures are log lines and a false or empty result; an open that fails is tried six times, a second apart.
/// Timestamps are milliseconds since the epoch (UTC).
class KIVTSFILESTORAGE_EXPORT TSFileStorage : public TSDirControl
{
public:
    /// Does not touch the file system.
    /// \param path         base directory of the series
    /// \param valueType    type of its values; a type without a fixed-size encoding goes to ".var" files
    /// \param maxFileSize  bytes above which a record file is split one calendar level deeper; a ".var" file
    ///                     may be ten times as large
    TSFileStorage(QString path, QMetaType::Type valueType, int maxFileSize);
    ~TSFileStorage();

    TSFileStorage(const TSFileStorage&) = delete;
    TSFileStorage& operator=(const TSFileStorage&) = delete;

    /// \name Writing
    /// @{

    /// Merges a batch into the series: appends, inserts, or overwrites a sample of the same timestamp. Of
    /// several samples with one timestamp the greatest value stays, or the last one given when values are
    /// no numbers. Merging reads and writes each file at most once; a file that grows too large is then split.
    /// \param records          in any order
    /// \param noteLateWrites   log every sample written at or before the series' last one in the late-write log
    /// \param keepOverwritten  keep every overwritten value in the overwrite history
    /// \return false when a file could not be opened or a byte could not be stored; earlier files keep what was
    ///         written. Failures in the companion series are only logged.
    bool writeDataRecords(std::vector<Interpolate::DataRecord> records, bool noteLateWrites,
                          bool keepOverwritten);

    /// \param appendOnly  write at the end of the files without looking for equal timestamps; the caller
    ///                    guarantees ascending timestamps
    bool writeDataRecordsInt(std::vector<Interpolate::DataRecord> records, bool noteLateWrites,
                             bool keepOverwritten, bool appendOnly);

    /// What became of the samples of a batch.
    struct WriteSummary {
        qint64 newCount = 0;         ///< timestamps that were not there before
        qint64 overwrittenCount = 0; ///< values that replaced another one
        qint64 unchangedCount = 0;   ///< values that were there already
        qint64 lateCount = 0; ///< new or overwritten at or before what was then the series' last record
    };

    /// The same as writeDataRecords, telling what became of the samples.
    /// \param summary  may be null; replaced; counts what was stored, also when the write fails on the way. Finding
    ///                 the late ones costs a look at the series' last record.
    bool writeDataRecords(std::vector<Interpolate::DataRecord> records, bool noteLateWrites,
                          bool keepOverwritten, WriteSummary* summary);

    /// Merges a batch in columns into the series, as writeDataRecords merges records of the same values: doubles, or
    /// integers as qlonglong (qulonglong for a series of that type), or an invalid value where `isNull` is set. A
    /// value of its own is built only of a sample that is not simply appended; best when the columns' kind is that
    /// of the series and their timestamps ascend.
    /// \param columns  in any order; `isNull` may be empty when nothing is null
    /// \param summary  as for writeDataRecords
    /// \return false, with a log line and nothing written, also when the columns differ in length
    bool writeDataColumns(const TSFileColumns& columns, bool noteLateWrites, bool keepOverwritten,
                          WriteSummary* summary = nullptr);

    /// @}
    /// \name Reading
    /// @{

    /// Reads a range, raw or interpolated. Opens the series' first and last file, then those that cover the
    /// range and the one before it if the method asks for it, one at a time.
    /// \param param   the (last) interpolation pass
    /// \param params  earlier passes
    /// \param start, end  range, both inclusive; -1 now, -2 first record, -3 last record
    /// \param result  results are appended
    /// \param shiftIntervalForward  label results with the start of their interval
    /// \param limit   in: most results wanted, below 1 for no limit; out: the number of results when the limit
    ///                was reached, else 0
    /// \param lateRecords       may be null; receives this series' records that were written late during the
    ///                          range and are not in `result`, in order
    /// \param overwrittenValues may be null; receives per timestamp of the range a map of overwrite times
    ///                          (milliseconds as decimal text) to the values that were overwritten
    /// \return true, also when nothing was found; files that cannot be opened are logged and skipped
    bool readDataRecords(Interpolate::InterpolateParam param,
                         std::vector<Interpolate::InterpolateParam> params, qint64 start, qint64 end,
                         std::vector<Interpolate::DataRecord>& result, bool shiftIntervalForward, int& limit,
                         std::vector<Interpolate::DataRecord>* lateRecords,
                         std::unordered_map<qint64, QVariant>* overwrittenValues);

    /// The same read as readDataRecords, with its results in columns.
    /// \param columns  replaced; its memory is used again
    /// \param limit    as for readDataRecords
    /// \return false, with empty columns, for a series of variable-length values
    bool readDataColumns(Interpolate::InterpolateParam param,
                         std::vector<Interpolate::InterpolateParam> passes, qint64 start, qint64 end,
                         TSFileColumns& columns, bool shiftIntervalForward, int& limit);

    /// One read of one series: "" this one, "P" its late-write log (delivers the records written late), "O"
    /// its overwrite history.
    bool readDataRecordsInt(Interpolate::InterpolateParam param,
                            std::vector<Interpolate::InterpolateParam> params, qint64 start, qint64 end,
                            std::vector<Interpolate::DataRecord>& result, bool shiftIntervalForward,
                            int& limit, QString marker, bool fastCountOnly);

    /// The first record of the series. Opens one file.
    /// \return false, `record` untouched, when there is none or its file cannot be opened
    bool getFirstDataRecord(Interpolate::DataRecord& record);
    /// The last record of the series. Opens one file.
    /// \return false, `record` untouched, when there is none or its file cannot be opened
    bool getLastDataRecord(Interpolate::DataRecord& record);

    /// The record at exactly a timestamp. One binary search.
    /// \return false when there is none; `record` may then hold a neighbour
    bool findDataRecord(qint64 ts, Interpolate::DataRecord& record);

    /// The record that a search for the time before `ts` ends on: the greatest below `ts`, or the smallest
    /// at or after it. One binary search in one file.
    /// \return false when no file holds or precedes that time
    bool findPrevDataRecord(qint64 ts, Interpolate::DataRecord& record);

    /// Counts the samples of a range or, with an interval, the results that a read would give, in the chosen
    /// series together. Whole files are counted by their size.
    qint64 getCount(Interpolate::InterpolateParam param, std::vector<Interpolate::InterpolateParam> passes,
                    qint64 start, qint64 end, bool countMain, bool countP, bool countO);
    /// Counts in one series: "" this one, "P" its late-write log, "O" its overwrite history.
    /// \return 0 also when there is no such series
    qint64 getCountInt(Interpolate::InterpolateParam param, std::vector<Interpolate::InterpolateParam> passes,
                       qint64 start, qint64 end, QString marker);

    /// @}
    /// \name Deleting
    /// @{

    /// Deletes the records from `from` to `to`, both inclusive and possibly -1, -2 or -3, and removes files
    /// and directories that become empty, upwards without end.
    /// A file that holds a value which is to be kept and cannot be read back is left as it is.
    /// \return true; failures are logged
    bool deleteDataRecords(qint64 from, qint64 to, QString marker);

    /// Deletes from the series and both companions.
    bool deleteDataRecords(qint64 from, qint64 to);

    /// Resolves -1 (now), -2 (first record), -3 (last record) and narrows a range to the records of `storage`.
    /// \param fromAdjusted, toAdjusted  out: that end was at or beyond the records
    /// \return false when nothing of the range exists
    bool adjustTimestamps(TSFileStorage* storage, qint64& from, qint64& to, bool& fromAdjusted,
                          bool& toAdjusted);

    /// @}
    /// \name Files
    /// @{

    /// Splits a closed record file that is over the size limit into a directory of files one level deeper. The
    /// file is removed first: when a new file then cannot be opened, what is not yet written is lost and logged.
    /// \return true when it was split
    bool checkMaxFileSize(QFile* file, TSFileInfo info);

    /// Rewrites a closed record file of variable-length values so that its companion holds only values that
    /// a record points at. A crash leaves the old or the new pair of files.
    void reorgVarFile(QFile* file, TSFileInfo info);

    /// Opens a file with up to six attempts, a second apart, each failure a level-4 log line.
    bool openFile(QFile& file, QIODevice::OpenMode mode);

    /// Creates a directory and its parents when it does not exist.
    void checkDirectory(QDir dir);

    /// Clears an interval that the series cannot serve: for companions silently, for variable-length values
    /// with a level-4 log line.
    void checkValidInterval(qint64& interval, QString marker);

    /// \return this storage for "", a new storage that the caller deletes for "P" and "O", null when the
    ///         directory does not exist or the marker is unknown
    TSFileStorage* getReadFilestorageForMarker(QString marker);

    /// @}
    /// \name Records
    /// The streams stand on an open record file of this series. Bytes beyond the end of the file read as zero; a
    /// companion that cannot be opened is logged.
    /// @{

    /// \return the letter of the series directory: "B", "W", "I", "L", "F", "D" or "V"
    QString getMarkerForValueType(QMetaType::Type type) const;
    /// \return bytes of a value as position arithmetic counts them
    int getDataLengthForValueType(QMetaType::Type type) const;
    /// \return bytes of a timestamp offset; 0 for a depth outside 0 to 4
    int getDataLengthForTimestampOffset(TSFileInfo::DirDepth depth) const;

    /// \return the offset at the stream's position in milliseconds
    qint64 readCurrTsOffset(QDataStream& stream, TSFileInfo::DirDepth depth);

    /// Writes a record at the stream's position; a variable-length value is first appended to the companion. A
    /// value that cannot be stored is logged and leaves the stream in the state WriteFailed.
    /// \param baseTs  base time of the file in milliseconds
    void writeDataRecord(QDataStream& stream, Interpolate::DataRecord record, qint64 baseTs,
                         TSFileInfo::DirDepth depth);

    /// Reads the record at the stream's position.
    Interpolate::DataRecord readCurrDataRecord(QDataStream& stream, qint64 baseTs,
                                               TSFileInfo::DirDepth depth);

    /// Reads the last whole record of a file.
    /// \param fileSize  bytes
    Interpolate::DataRecord readLastDataRecord(QDataStream& stream, qint64 fileSize, qint64 baseTs,
                                               TSFileInfo::DirDepth depth);

    /// Puts the stream on a record next to the wanted time offset by binary search.
    ///
    /// \param fileSize        bytes; a remainder that is no whole record is ignored
    /// \param tsOffset        milliseconds since the file's base time
    /// \param tsOffsetLength  bytes of one stored offset
    /// \return byte position of the record examined last: an exact match if there is one (any of several),
    ///         else a direct neighbour of the insertion point on either side. Without a whole record no probe
    ///         is made; the position after the step back (or where the stream was) is returned.
    /// Never fails, writes or logs; a short read counts as offset 0. At most floor(log2 n) + 1 probes.
    /// Example: offsets 10 20 30 -> 20 gives record 1, 25 record 2, 5 record 0, 35 record 2.
    qint64 seekToTsOffsetPos(QDataStream& stream, qint64 fileSize, qint64 tsOffset, int tsOffsetLength,
                             TSFileInfo::DirDepth depth);

    /// @}

    const QString m_path;              ///< base directory as given, "/" at its end
    const QMetaType::Type m_valueType; ///< type of the values
    const int m_dataLength;            ///< bytes of a value in position arithmetic
    const int m_maxFileSize;           ///< bytes
    const int m_tsOffsetLength[5];     ///< bytes of a timestamp offset by depth
};

} // namespace Kiv
