#include "EngineForTest.h"

#include <QDate>

#include <cstdio>
#include <ctime>

namespace Kiv::Testing
{

qint64 utcMs(int year, int month, int day, int hour, int minute, int second)
{
    const qint64 days = QDate(1970, 1, 1).daysTo(QDate(year, month, day));
    return days * kDayMs + hour * kHourMs + minute * 60'000LL + second * 1000LL;
}

qint64 at(double seconds)
{
    return kBaseMs + static_cast<qint64>(seconds * 1000.0);
}

Records samples(const std::vector<std::pair<double, QVariant>>& values)
{
    Records result;
    for (const auto& [seconds, value] : values)
        result.push_back({at(seconds), value});
    return result;
}

Param param(const char* method, qint64 interval)
{
    Param result;
    result.method = QString::fromLatin1(method);
    result.interval = interval;
    return result;
}

EngineRequest request(const char* method, double startSeconds, double endSeconds, Records series)
{
    EngineRequest result;
    result.param = param(method);
    result.start = at(startSeconds);
    result.end = at(endSeconds);
    result.series = std::move(series);
    return result;
}

EngineRequest wideRequest(const char* method, qint64 interval, qint64 start, qint64 end)
{
    EngineRequest result;
    result.param = param(method, interval);
    result.start = start;
    result.end = end;
    result.series = {{utcMs(1900, 1, 1), QVariant(1.0)}, {utcMs(2900, 1, 1), QVariant(2.0)}};
    return result;
}

EngineUnderTest::EngineUnderTest(const EngineRequest& request)
    : limit(request.limit),
      readStart(request.start),
      readEnd(request.end),
      m_engine(std::make_unique<Interpolate>(request.param, request.passes, request.start, request.end,
                                             request.series.front().timestamp,
                                             request.series.back().timestamp, &output, request.targetType,
                                             request.shiftIntervalForward, limit, request.fastCountOnly))
{
}

bool EngineUnderTest::settleRange()
{
    return m_engine->getRange(readStart, readEnd);
}

namespace
{

void feedPrevious(EngineUnderTest& engine, const Records& series, EngineOutcome& outcome)
{
    Records before;
    for (const Record& record : series) {
        if (record.timestamp < engine.readStart)
            before.push_back(record);
    }
    const size_t wanted = static_cast<size_t>(engine->needsPreviousDataRecords());
    const size_t first = before.size() > wanted ? before.size() - wanted : 0;
    for (size_t i = first; i < before.size(); ++i) {
        engine->handleNextRawRecord(before[i]);
        ++outcome.previousCount;
    }
}

void feedRange(EngineUnderTest& engine, const Records& series, EngineOutcome& outcome)
{
    for (const Record& record : series) {
        if (record.timestamp < engine.readStart)
            continue;
        if (record.timestamp > engine.readEnd) {
            if (engine->needsDataRecordAfterRangeEnd()) {
                engine->handleNextRawRecord(record);
                ++outcome.afterCount;
            }
            return;
        }
        ++outcome.handedOverCount;
        if (!engine->handleNextRawRecord(record))
            return;
    }
}

} // namespace

EngineOutcome serve(const EngineRequest& request)
{
    EngineOutcome outcome;
    EngineUnderTest engine(request);
    outcome.isRange = engine.settleRange();
    const bool isCounted = request.fastCountOnly && engine.output.front().timestamp == 0;
    if (outcome.isRange && !isCounted) {
        feedPrevious(engine, request.series, outcome);
        feedRange(engine, request.series, outcome);
        engine->finalize();
    }
    outcome.output = engine.output;
    outcome.limit = engine.limit;
    return outcome;
}

std::string text(const Record& record)
{
    char time[64];
    std::snprintf(time, sizeof time, "%.10g:", static_cast<double>(record.timestamp - kBaseMs) / 1000.0);
    if (record.value.isNull())
        return std::string(time) + "null";
    if (record.value.typeId() == QMetaType::Double) {
        char number[64];
        std::snprintf(number, sizeof number, "%.15g", record.value.toDouble());
        return std::string(time) + number;
    }
    return time + record.value.toString().toStdString();
}

Texts texts(const Records& records)
{
    Texts result;
    for (const Record& record : records)
        result.push_back(text(record));
    return result;
}

Texts resultsOf(const EngineRequest& request)
{
    return texts(serve(request).output);
}

ZoneForTest::ZoneForTest(const char* zone) : m_before(qgetenv("TZ"))
{
    qputenv("TZ", zone);
    tzset();
}

ZoneForTest::~ZoneForTest()
{
    if (m_before.isNull())
        qunsetenv("TZ");
    else
        qputenv("TZ", m_before);
    tzset();
}

} // namespace Kiv::Testing
