#pragma once

// Owns a slow and obvious in-memory model of the interval engine: one step at a time, no closed forms,
// calendar work by QDate. It shares nothing with the library but the plain record and parameter types, so
// that the library can be compared with it. Member names are the library's, so that one driver and one
// comparison serve both.

#include "Interpolate.h"

#include <stdexcept>
#include <vector>

namespace Kiv::Testing
{

/// Thrown when a case would take the model too long; no std::exception, so the model never catches it.
struct TooManySteps {
};

/// What the model and all its passes share.
struct ModelWorld {
    qint64 nowMs = 0;
    qint64 stepCount = 0;
    qint64 maxStepCount = 20'000;
    std::vector<QString> logLines; ///< "level text"
    bool isChain = false;
    /// No result can be delivered any more: a pass was asked for one beyond the end, or the last pass of a
    /// chain stands there. An engine may leave out the work that remains, so its inner state is its own.
    bool isBeyondEnd = false;
};

class EngineModel
{
public:
    using DataRecord = Interpolate::DataRecord;
    using InterpolateParam = Interpolate::InterpolateParam;
    using FilterParam = Interpolate::FilterParam;

    EngineModel(ModelWorld& modelWorld, InterpolateParam param, std::vector<InterpolateParam> passes,
                qint64 start, qint64 end, qint64 firstTs, qint64 lastTs, std::vector<DataRecord>* out,
                QMetaType::Type type, bool shift, int& limitVariable, bool countOnly);

    bool getRange(qint64& start, qint64& end);
    qint32 needsPreviousDataRecords() const;
    bool needsDataRecordAfterRangeEnd() const;
    bool handleNextRawRecord(DataRecord record);
    void finalize();
    qint64 getFastCount() const;
    bool filterMatch(const DataRecord& record);
    void incTimestampByInterval(qint64& timestamp);
    void decTimestampByInterval(qint64& timestamp);
    qint64 alignSpecialStartTimestamp(qint64 timestamp) const;

    int method = 0;
    qint64 intervalMs = 0;
    bool linear = false;
    bool align = false;
    bool fill = false;
    bool fillNull = false;
    bool average = false;
    bool startClipped = false;
    bool endClipped = false;
    qint64 intervalStart = 0;
    qint64 intervalEnd = 0;
    qint64 rangeStart = 0;
    qint64 rangeEnd = 0;
    qint64 lastResultTs = 0;
    qint64 readStart = -1;
    qint64 readEnd = -1;
    DataRecord prevRecord;
    double lastLinearValue = 0.0;
    bool prevInInterval = false;
    std::unique_ptr<EngineModel> nextPass;

private:
    enum class Difference { None, Plain, CounterUpCleaned };

    void readMethodString(const QString& text);
    void correctFlags();
    bool emitsTwoResults() const;

    void callHandler(const DataRecord& record);
    void callDifference(DataRecord& record);
    void differPlain(DataRecord& record);
    void differCounter(DataRecord& record);
    bool isJitter(double d) const;
    bool isWrap(double last, double current);

    void handleRaw(const DataRecord& record);
    void handlePoint(const DataRecord& record);
    void handleLinearPoint(const DataRecord& record);
    void pushPoint(const DataRecord& record, qint64 offsetMs);
    void handleMean(const DataRecord& record);
    void accumulate(double value);
    double meanResult() const;
    void handleMinOrMax(const DataRecord& record);
    void handleMinMax(const DataRecord& record);
    void pushMinMax();
    void handleSum(const DataRecord& record);
    void handleLinearSum(const DataRecord& record);
    void handleMedian(const DataRecord& record);
    void handleMode(const DataRecord& record);

    void push(qint64 timestamp, double value, bool isNull);
    void pushEmpty();
    QVariant convert(double value);
    void checkLimit();
    void nextInterval();
    void noteBeyondEnd(qint64 timestamp);
    void log(int level, const QString& text);

    ModelWorld& world;
    std::vector<FilterParam> filterParams;
    bool alignStartEndTimestamp = false;
    qint32 offsetMinFromUTC = 0;
    std::vector<DataRecord>* output;
    QMetaType::Type targetType;
    bool shiftIntervalForward;
    int* limitRef;
    int limit = 0;
    bool fastCountOnly;
    qint64 requestedStart;
    qint64 requestedEnd;
    qint64 firstRecordTs;
    qint64 lastRecordTs;

    Difference difference = Difference::None;
    std::vector<QVariant> history;
    bool waitNonZero = false;

    DataRecord minRecord;
    DataRecord maxRecord;
    std::vector<double> medianValues;
    std::map<double, int> modeCounts;
    double aggSum = 0.0;
    qint64 aggCount = 0;
    double sumAtPrevRecord = 0.0;
};

} // namespace Kiv::Testing
