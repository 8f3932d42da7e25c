#pragma once

// Owns the reading loop that stands between a series and an engine, as a storage runs it, and the record of
// everything that can be seen from outside on the way. One template serves the library and the model.

#include "EngineCases.h"

#include <cstring>
#include <string>
#include <vector>

namespace Kiv::Testing
{

/// Everything that was seen while an engine served one request.
struct EngineTrace {
    struct Number {
        const char* name;
        qint64 value;
    };

    std::vector<Number> numbers;
    std::vector<Number> progress;
    std::vector<Interpolate::DataRecord> remembered;
    std::vector<Interpolate::DataRecord> output;
    std::vector<QString> logLines;
    bool comparesProgress = true;

    void note(const char* name, qint64 value) { numbers.push_back({name, value}); }

    void noteProgress(const char* name, qint64 value) { progress.push_back({name, value}); }
};

bool sameValue(const QVariant& a, const QVariant& b, bool zeroSignMatters = true);

/// The bits of a double, 0 for every NaN: its payload carries no meaning.
inline qint64 bitsOf(double value)
{
    qint64 bits = 0;
    if (value == value)
        std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// \return an empty text, or what differs first; the progress counts where `expected` says so
std::string difference(const EngineTrace& expected, const EngineTrace& actual, bool zeroSignMatters);

template <typename Engine>
void noteRequest(const Engine& engine, EngineTrace& trace)
{
    trace.note("method", engine.method);
    trace.note("intervalMs", engine.intervalMs);
    trace.note("linear", engine.linear);
    trace.note("align", engine.align);
    trace.note("fill", engine.fill);
    trace.note("fillNull", engine.fillNull);
    trace.note("average", engine.average);
    if (engine.nextPass)
        noteRequest(*engine.nextPass, trace);
}

template <typename Engine>
void noteRange(const Engine& engine, EngineTrace& trace)
{
    trace.note("rangeStart", engine.rangeStart);
    trace.note("rangeEnd", engine.rangeEnd);
    trace.note("lastResultTs", engine.lastResultTs);
    trace.note("startClipped", engine.startClipped);
    trace.note("endClipped", engine.endClipped);
    trace.note("intervalStart", engine.intervalStart);
    trace.note("intervalEnd", engine.intervalEnd);
    trace.note("readStart", engine.readStart);
    trace.note("readEnd", engine.readEnd);
    if (engine.nextPass)
        noteRange(*engine.nextPass, trace);
}

template <typename Engine>
void noteProgress(const Engine& engine, EngineTrace& trace)
{
    trace.noteProgress("intervalStart", engine.intervalStart);
    trace.noteProgress("intervalEnd", engine.intervalEnd);
    trace.noteProgress("prevInInterval", engine.prevInInterval);
    trace.noteProgress("lastLinearValue", bitsOf(engine.lastLinearValue));
    trace.remembered.push_back(engine.prevRecord);
    if (engine.nextPass)
        noteProgress(*engine.nextPass, trace);
}

/// The record before a timestamp, as a storage would find it.
/// \return false when there is none
bool findRecordBefore(const EngineCase& engineCase, qint64 timestamp, Interpolate::DataRecord& record);

template <typename Engine>
void feedPreviousRecords(Engine& engine, const EngineCase& engineCase, qint64 rangeStart, EngineTrace& trace)
{
    const qint32 count = engine.needsPreviousDataRecords();
    trace.note("needsPreviousDataRecords", count);
    std::vector<Interpolate::DataRecord> previous;
    qint64 timestamp = rangeStart;
    for (qint32 i = 0; i < count; ++i) {
        Interpolate::DataRecord record;
        if (findRecordBefore(engineCase, timestamp, record)) {
            previous.insert(previous.begin(), record);
            timestamp = record.timestamp;
        }
    }
    for (const Interpolate::DataRecord& record : previous)
        trace.note("previous record accepted", engine.handleNextRawRecord(record));
}

template <typename Engine>
void feedRange(Engine& engine, const EngineCase& engineCase, qint64 rangeStart, qint64 rangeEnd,
               EngineTrace& trace)
{
    for (const Interpolate::DataRecord& record : engineCase.series) {
        const bool isOutside =
            !engineCase.feedsWholeSeries && (record.timestamp < rangeStart || record.timestamp > rangeEnd);
        if (isOutside && record.timestamp < rangeStart)
            continue;
        if (isOutside) {
            const bool isWanted = engine.needsDataRecordAfterRangeEnd();
            trace.note("needsDataRecordAfterRangeEnd", isWanted);
            if (isWanted)
                trace.note("record after the range accepted", engine.handleNextRawRecord(record));
            return;
        }
        const bool goesOn = engine.handleNextRawRecord(record);
        trace.note("record accepted", goesOn);
        if (!goesOn)
            return;
    }
}

/// Runs one request from the constructed engine to the end. `output` is the vector the engine writes to.
template <typename Engine>
void driveEngine(Engine& engine, const EngineCase& engineCase,
                 const std::vector<Interpolate::DataRecord>& output, EngineTrace& trace)
{
    noteRequest(engine, trace);
    qint64 rangeStart = engineCase.start;
    qint64 rangeEnd = engineCase.end;
    const bool isRange = engine.getRange(rangeStart, rangeEnd);
    trace.note("getRange", isRange);
    trace.note("start", rangeStart);
    trace.note("end", rangeEnd);
    noteRange(engine, trace);
    trace.note("getFastCount", engine.getFastCount());
    if (!isRange || (engineCase.fastCountOnly && output.front().timestamp == 0))
        return;
    feedPreviousRecords(engine, engineCase, rangeStart, trace);
    feedRange(engine, engineCase, rangeStart, rangeEnd, trace);
    noteProgress(engine, trace);
    engine.finalize();
    noteProgress(engine, trace);
}

} // namespace Kiv::Testing
