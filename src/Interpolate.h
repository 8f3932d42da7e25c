#pragma once

#include "KivTSFileStorageExport.h"

#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QTime>
#include <QVariant>

#include <deque>
#include <map>
#include <memory>
#include <vector>

class QJsonArray;
class QJsonDocument;

namespace Kiv
{

/// The interval engine: turns the raw records of a range, handed over in time order, into one result per
/// interval by a chosen method.
///
/// Built for one request: construct, getRange(), needsPreviousDataRecords(), then handleNextRawRecord() for
/// every record until it answers false, needsDataRecordAfterRangeEnd() at the first record beyond the range,
/// finalize(). The engine reads no files; it writes into the caller's vector and limit variable, which must
/// outlive it. Not thread safe.
///
/// All timestamps are milliseconds since the epoch (UTC); all time arithmetic saturates at 64 bits.
/// The data members are open so that the state can be inspected; only the engine changes them.
class KIVTSFILESTORAGE_EXPORT Interpolate
{
public:
    /// What reduces the records of an interval. The numbers are part of the interface.
    enum Method : qint32 {
        RAW = 0,       ///< the records as they are
        PREV_NEXT = 1, ///< the values before and after each boundary, or the line between them
        PREV = 2,      ///< the last value before each boundary
        NEXT = 3,      ///< the first value at or after each boundary
        MIN_MAX = 4,   ///< both extremes, or the middle of both
        MIN = 5,       ///< the least value
        MAX = 6,       ///< the greatest value
        SUM = 7,       ///< the sum, on request split at the boundaries
        MEAN_A = 8,    ///< the arithmetic mean
        MEAN_G = 9,    ///< the geometric mean
        MEAN_H = 10,   ///< the harmonic mean
        MEAN_S = 11,   ///< the quadratic mean
        MEDIAN = 12,   ///< the median
        MODE = 13,     ///< the greatest value: not the most frequent one
        COUNT = 14,    ///< the number of records
    };

    /// One sample.
    struct DataRecord {
        qint64 timestamp = 0; ///< milliseconds since the epoch (UTC)
        QVariant value;       ///< of the type of the series; null where there is none

        DataRecord() = default;
        /// A record as a batch or a result holds it.
        DataRecord(qint64 recordTimestamp, QVariant recordValue)
            : timestamp(recordTimestamp), value(std::move(recordValue))
        {
        }

        /// The order wherever records are sorted: by timestamp, then by value as double; a value that is
        /// no number counts as 0, NaN comes after every number and equals itself.
        KIVTSFILESTORAGE_EXPORT bool operator<(const DataRecord& other) const;
    };

    /// Conditions on a record; it passes when all that are present hold. Times of day, weekdays and months
    /// are those of the host's local time.
    struct FilterParam {
        QTime timeStart;              ///< start of a daily window; invalid: no window
        QTime timeEnd;                ///< its end, computed on first use; invalid until then
        qint64 duration = 0;          ///< length of the window in seconds
        std::vector<qint32> weekDays; ///< 1 Monday to 7 Sunday; empty: all
        std::vector<qint32> months;   ///< 1 to 12; empty: all
        QString valueCompare;         ///< "neq", "lt", "lte", "gt", "gte"; other text: equal; empty: no test
        double value = 0.0;           ///< what values are compared with
    };

    /// The request of one interpolation pass.
    struct InterpolateParam {
        QString method; ///< method and option words, for example "prevnextlinearfill"
        qint64 interval =
            0; ///< seconds; 0: raw; -1 day, -2 week, -3 month, -4 quarter, -5 half-year, -6 year
        std::vector<FilterParam> filterParams; ///< a record passes with any of them; empty: no filtering
        bool alignStartEndTimestamp = false;   ///< move both range ends to interval boundaries
        qint32 offsetMinFromUTC = 0;           ///< minutes by which calendar boundaries move earlier
    };

    /// A method's member function.
    using Handler = void (Interpolate::*)(DataRecord record, qint64 recordTimestamp);
    /// A difference's member function; it may rewrite the record.
    using DiffHandler = void (Interpolate::*)(DataRecord& record, qint64 recordTimestamp);

    /// \param param          the last (or only) pass; it alone writes to `output`
    /// \param passes         earlier passes, in the order in which they run
    /// \param start, end     requested range, both inclusive; -1 now, -2 first record, -3 last record
    /// \param firstRecordTs, lastRecordTs  timestamps of the series' first and last record
    /// \param output         receives the results
    /// \param targetType     type of the result values
    /// \param shiftIntervalForward  label results with the start of their interval instead of its end
    /// \param limit          in: most results wanted, below 1 for no limit; out: 0, or the number of results
    ///                       when the limit was reached. With earlier passes there is no limit.
    /// \param fastCountOnly  count results in one counter record instead of delivering them
    Interpolate(InterpolateParam param, std::vector<InterpolateParam> passes, qint64 start, qint64 end,
                qint64 firstRecordTs, qint64 lastRecordTs, std::vector<DataRecord>* output,
                QMetaType::Type targetType, bool shiftIntervalForward, int& limit, bool fastCountOnly);
    virtual ~Interpolate();

    Interpolate(const Interpolate&) = delete;
    Interpolate& operator=(const Interpolate&) = delete;

    /// Settles the effective range and prepares the first interval.
    /// \param start, end  out: the range of records to read
    /// \return false when the range is empty. Costs no time per interval.
    bool getRange(qint64& start, qint64& end);

    /// How many records before the read range the engine wants, oldest first.
    qint32 needsPreviousDataRecords();
    /// Whether the engine wants the first record beyond the read range.
    bool needsDataRecordAfterRangeEnd();

    /// Takes the next record. Never throws.
    /// \return false when no further record is wanted
    bool handleNextRawRecord(DataRecord record);

    /// Whether samples may come as numbers, many at a time: not for raw records, which keep their types, nor
    /// through a difference.
    bool takesSamples() const;

    /// Whether the records of the read range are the results, each as it is.
    bool deliversRecords() const;

    /// Takes samples in the order given, with the effect of handleNextRawRecord for each. Costs far less.
    /// \param timestamps, values  `count` of each
    /// \return false when no further sample is wanted; the rest of these is then not taken
    bool handleNextSamples(const qint64* timestamps, const double* values, std::size_t count);

    /// Bounds of some timestamps: none is below the one or above the other. They may be wider than needed.
    struct TimestampBounds {
        qint64 leastMs;    ///< milliseconds since the epoch (UTC)
        qint64 greatestMs; ///< likewise
    };

    /// The same, without looking for the end of an interval among samples whose bounds lie in it.
    /// \param bounds  of the timestamps; results are wrong where one lies outside
    /// \return as above
    bool handleNextSamples(const qint64* timestamps, const double* values, std::size_t count,
                           const TimestampBounds& bounds);

    /// Closes the last intervals. Never throws.
    void finalize();

    /// Emits one result: filters, converts, limits and stores it, or hands it to the next pass.
    /// \throws std::out_of_range "End reached" beyond the last result timestamp, "Limit reached"
    void pushIntervalValue(qint64 timestamp, double value, bool isNull);

    /// \throws std::out_of_range "Limit reached" when the output holds as many results as wanted
    void checkLimit();

    /// \return the number of results computed from the range alone, -1 when that is not possible
    qint64 getFastCount();

    /// \return true when the record passes at least one filter; false without filters
    bool filterMatch(DataRecord record);

    /// Steps a timestamp one interval forward; leaves it as it is for RAW. Stops at the 64-bit limit.
    void incTimestampByInterval(qint64& timestamp);
    /// Steps a timestamp one interval back; leaves it as it is for RAW and for an unknown calendar code.
    void decTimestampByInterval(qint64& timestamp);

    /// \return the start of the interval that holds the timestamp
    qint64 alignSpecialStartTimestamp(qint64 timestamp);

    /// Makes the next interval the current one.
    /// \throws std::out_of_range "End reached" when the 64 bits of a timestamp are used up
    void incIntervalNextTimestamp();

    /// Reads method, option words and difference word from a method string.
    /// \param intervalMs  milliseconds, or a calendar code; 0 selects RAW
    void interpolateParamsFromArgs(QString args, qint64 intervalMs);

    /// Binds the handler of the method and corrects the options that it does not support.
    void initHandlers();

    /// Replaces the filters of `param` by those of a JSON array. Missing or mistyped keys take their
    /// defaults. Never fails.
    static void parseFilterparams(QJsonArray filters, InterpolateParam& param);

    /// \return all templates of the installation's and the project's files as one array. Files that do not
    ///         exist are skipped, files that are no JSON are logged (level 2) and skipped. Reads up to four
    ///         files on every call.
    static QJsonDocument loadTemplates();

    /// \return the templates as compact JSON text
    static QString getTemplates();

    /// Applies every template of that name, in file order.
    /// \param name   a leading "!" is ignored
    /// \param param  receives the keys that the templates have
    /// \param passes receives the templates' earlier passes at its end
    /// \param defaultOffsetMinFromUTC  minutes, for passes that give none
    static void loadTemplateParams(QString name, InterpolateParam& param,
                                   std::vector<InterpolateParam>& passes, int defaultOffsetMinFromUTC);

    /// The value at `t` on the line through (t1, value1) and (t2, value2); value2 when there is no earlier
    /// point (t1 is 0) or no time between the two.
    double linearInterpolate(qint64 t1, double value1, qint64 t, qint64 t2, double value2);

    /// \name The methods
    /// Bound by initHandlers(), called once per record in time order, and by finalize() with a null value. Each first
    /// closes the intervals that end at or before the record, then takes it.
    /// Throw the signals of pushIntervalValue() and incIntervalNextTimestamp().
    /// @{
    void handle_raw(DataRecord record, qint64 recordTimestamp);       ///< RAW
    void handle_PREV_NEXT(DataRecord record, qint64 recordTimestamp); ///< PREV_NEXT
    void handle_PREV(DataRecord record, qint64 recordTimestamp);      ///< PREV
    void handle_NEXT(DataRecord record, qint64 recordTimestamp);      ///< NEXT
    void handle_MIN_MAX(DataRecord record, qint64 recordTimestamp);   ///< MIN_MAX
    void handle_MIN(DataRecord record, qint64 recordTimestamp);       ///< MIN
    void handle_MAX(DataRecord record, qint64 recordTimestamp);       ///< MAX
    /// What MIN and MAX share.
    void handle_MINorMAX(DataRecord record, qint64 recordTimestamp, bool isMin);
    void handle_SUM(DataRecord record, qint64 recordTimestamp);    ///< SUM
    void handle_MEAN_A(DataRecord record, qint64 recordTimestamp); ///< MEAN_A
    void handle_MEAN_G(DataRecord record, qint64 recordTimestamp); ///< MEAN_G
    void handle_MEAN_H(DataRecord record, qint64 recordTimestamp); ///< MEAN_H
    void handle_MEAN_S(DataRecord record, qint64 recordTimestamp); ///< MEAN_S
    void handle_MEDIAN(DataRecord record, qint64 recordTimestamp); ///< MEDIAN
    void handle_MODE(DataRecord record, qint64 recordTimestamp);   ///< MODE
    void handle_COUNT(DataRecord record, qint64 recordTimestamp);  ///< COUNT
    /// @}

    /// \name The differences
    /// Rewrite a record's value before the method sees it, or null it to drop the record.
    /// @{
    void handle_DIFF(DataRecord& record, qint64 recordTimestamp); ///< the difference to the reading before
    /// The increment of a counter that only counts up; jitter, overflows and resets are dropped.
    void handle_DIFF_CTRUPCLEANED(DataRecord& record, qint64 recordTimestamp);
    /// @}

    Method method = RAW;                       ///< from the method string
    qint64 intervalMs = 0;                     ///< milliseconds when positive, 0 raw, else a calendar code
    std::vector<FilterParam> filterParams;     ///< of the results (raw: of the records)
    bool alignStartEndTimestamp = false;       ///< from the request
    qint32 offsetMinFromUTC = 0;               ///< minutes, from the request
    std::vector<DataRecord>* output = nullptr; ///< the caller's results, not owned
    QMetaType::Type targetType = QMetaType::UnknownType; ///< of the result values
    bool shiftIntervalForward = false;                   ///< label results with the start of their interval
    qint32* limitRef = nullptr;                          ///< the caller's limit variable, not owned
    qint32 limit = 0;                                    ///< most results wanted, below 1 for no limit
    bool fastCountOnly = false;            ///< `output` holds one counter record instead of results
    bool linear = false;                   ///< option word: the line between two records
    bool align = false;                    ///< option word: label results with the boundary
    bool fill = false;                     ///< option word: results for intervals without records too
    bool fillNull = false;                 ///< option word: these results are null
    bool average = false;                  ///< option word: the middle of both extremes
    std::unique_ptr<Interpolate> nextPass; ///< receives the results; null for the last pass
    Handler handler = nullptr;             ///< of the method
    bool startClipped = false;             ///< the read start was raised to the first record
    bool endClipped = false;               ///< the read end was lowered to the last record
    qint64 intervalStart = 0;              ///< of the current interval, included
    qint64 intervalEnd = 0;                ///< its end, excluded; labels the results of the interval
    QDateTime createdAt;                   ///< when the engine was built, in local time
    qint64 requestedStart = 0;             ///< as given, -1 to -3 too
    qint64 requestedEnd = 0;               ///< likewise
    qint64 rangeStart = 0;                 ///< end of the first interval; raw: the first timestamp
    qint64 rangeEnd = 0;                   ///< no interval ends behind it; raw: the last timestamp
    qint64 lastResultTs = 0;               ///< the last timestamp that a result may carry
    qint64 firstRecordTs = 0;              ///< of the series
    qint64 lastRecordTs = 0;               ///< of the series
    qint64 readStart = -1;                 ///< first timestamp to read; -1 before getRange()
    qint64 readEnd = -1;                   ///< last timestamp to read; -1 before getRange()
    DataRecord prevRecord;                 ///< the last record remembered; timestamp 0: none
    DataRecord minRecord;                  ///< unset while its value is null
    DataRecord maxRecord;                  ///< unset while its value is null
    std::vector<double> medianValues;      ///< of the current interval
    std::map<double, qint32> modeCounts;   ///< how often each value of the current interval occurs
    double aggSum = 0.0;                   ///< what the sum and the means add up
    qint64 aggCount = 0;                   ///< records that they have added
    double sumAtPrevRecord = 0.0;          ///< `aggSum` when `prevRecord` was added
    double lastLinearValue = 0.0;          ///< the value at the boundary that was looked at last
    bool prevInInterval = false;           ///< `prevRecord` lies in the interval that was closed last
    DiffHandler diffHandler = nullptr;     ///< of the difference; null: none
    std::deque<QVariant> diffHistory;      ///< newest at the back
    std::vector<double> counterWrapLimits; ///< where counters may begin again at zero, ascending
    bool ctrWaitNonZero = false; ///< the counter was reset; zeros, and the first other reading, are dropped
    bool ctrSkipNext = false;    ///< the next reading is remembered and dropped

private:
    bool settleRange(qint64& start, qint64& end);
    void resolveRequestedRange();
    void raiseRangeToFirstRecord();
    void settleReadRange(qint64& start, qint64& end);
    bool isTwoResultMethod() const;
    qint32 ownPreviousDataRecords() const;

    void skipToIntervalOf(qint64 timestamp);
    void storeResult(qint64 timestamp, double value, bool isNull);
    QVariant toTargetType(double value) const;

    enum class PointSource { Previous, Next, PreviousThenNext };
    void handlePoint(const DataRecord& record, PointSource source);
    void handleLinearPoint(const DataRecord& record);
    void pushPoint(const DataRecord& record, PointSource source, qint64 timestamp);
    void rememberPrevious(const DataRecord& record);

    template <typename Kernel>
    void handleMean(const DataRecord& record);

    bool isInsideInterval(qint64 timestamp) const;
    bool takeRun(const qint64* timestamps, const double* values, std::size_t count);
    void addToAccumulators(const qint64* timestamps, const double* values, std::size_t count);
    template <typename Kernel>
    void addToMean(const double* values, std::size_t count);
    enum class Extreme { Min, Max };
    template <Extreme kind>
    void updateExtreme(DataRecord& extremeRecord, const qint64* timestamps, const double* values,
                       std::size_t count);

    /// Most values that MEDIAN and MODE keep of one interval.
    static constexpr std::size_t kMaxValuesPerInterval = 999'999;
    bool emitsEmptyInterval() const;
    bool canStillEmit() const;
    void fillEmptyIntervals(qint64 timestamp);
    void pushExtreme(qint64 timestamp);
    void pushMinMax();
    void handleSumPlain(const DataRecord& record);
    void handleSumLinear(const DataRecord& record);
    void handleCounterDrop(DataRecord& record, double last, double current);
};

} // namespace Kiv
