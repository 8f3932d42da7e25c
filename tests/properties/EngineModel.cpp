// The model's set-up, calendar and range.

#include "EngineModel.h"

#include <QDate>
#include <QDateTime>

namespace Kiv::Testing
{

namespace
{

constexpr qint64 kDayMs = 86'400'000;

QDateTime utc(qint64 timestamp)
{
    return QDateTime::fromMSecsSinceEpoch(timestamp, Qt::UTC);
}

/// The calendar step of a code in one direction; false for a code that is none.
bool stepCalendar(qint64& timestamp, qint64 code, int direction)
{
    const QDateTime from = utc(timestamp);
    QDateTime to;
    switch (code) {
    case -6:
        to = from.addYears(direction);
        break;
    case -5:
        to = from.addMonths(6 * direction);
        break;
    case -4:
        to = from.addMonths(3 * direction);
        break;
    case -3:
        to = from.addMonths(direction);
        break;
    case -2:
        to = from.addDays(7 * direction);
        break;
    case -1:
        to = from.addDays(direction);
        break;
    default:
        return false;
    }
    timestamp = to.toMSecsSinceEpoch();
    return true;
}

} // namespace

EngineModel::EngineModel(ModelWorld& modelWorld, InterpolateParam param, std::vector<InterpolateParam> passes,
                         qint64 start, qint64 end, qint64 firstTs, qint64 lastTs,
                         std::vector<DataRecord>* out, QMetaType::Type type, bool shift, int& limitVariable,
                         bool countOnly)
    : rangeStart(start),
      rangeEnd(end),
      world(modelWorld),
      output(out),
      targetType(type),
      shiftIntervalForward(shift),
      limitRef(&limitVariable),
      limit(limitVariable),
      fastCountOnly(countOnly),
      requestedStart(start),
      requestedEnd(end),
      firstRecordTs(firstTs),
      lastRecordTs(lastTs)
{
    limitVariable = 0;
    if (!passes.empty()) {
        world.isChain = true;
        passes.push_back(param);
        param = passes.front();
        passes.erase(passes.begin());
        EngineModel* previous = this;
        for (size_t i = 0; i < passes.size(); ++i) {
            const bool isLast = i + 1 == passes.size();
            previous->nextPass = std::make_unique<EngineModel>(
                world, passes[i], std::vector<InterpolateParam>(), start, end, firstTs, lastTs, out, type,
                isLast && shift, limitVariable, countOnly);
            previous = previous->nextPass.get();
        }
        shiftIntervalForward = false;
    }
    intervalMs = param.interval >= 1 ? param.interval * 1000 : param.interval;
    filterParams = param.filterParams;
    alignStartEndTimestamp = param.alignStartEndTimestamp;
    offsetMinFromUTC = param.offsetMinFromUTC;
    readMethodString(param.method);
    correctFlags();
}

void EngineModel::readMethodString(const QString& text)
{
    QString words = text.toLower();
    if (words.contains(QLatin1String("diffctrupcleaned"))) {
        words.remove(QLatin1String("diffctrupcleaned"));
        difference = Difference::CounterUpCleaned;
    } else if (words.contains(QLatin1String("diff"))) {
        words.remove(QLatin1String("diff"));
        difference = Difference::Plain;
    }
    if (intervalMs == 0)
        return;
    linear = words.contains(QLatin1String("linear"));
    align = words.contains(QLatin1String("align"));
    fill = words.contains(QLatin1String("fill"));
    fillNull = words.contains(QLatin1String("fillnull"));
    average = words.contains(QLatin1String("average"));

    struct Prefix {
        const char* word;
        Interpolate::Method method;
    };
    const Prefix prefixes[] = {
        {"prevnext", Interpolate::PREV_NEXT},
        {"prev", Interpolate::PREV},
        {"next", Interpolate::NEXT},
        {"minmax", Interpolate::MIN_MAX},
        {"min", Interpolate::MIN},
        {"max", Interpolate::MAX},
        {"sum", Interpolate::SUM},
        {"meana", Interpolate::MEAN_A},
        {"meang", Interpolate::MEAN_G},
        {"meanh", Interpolate::MEAN_H},
        {"means", Interpolate::MEAN_S},
        {"median", Interpolate::MEDIAN},
        {"mode", Interpolate::MODE},
        {"count", Interpolate::COUNT},
    };
    for (const Prefix& prefix : prefixes) {
        if (words.startsWith(QLatin1String(prefix.word))) {
            method = prefix.method;
            return;
        }
    }
    method = difference == Difference::None ? Interpolate::PREV_NEXT : Interpolate::SUM;
    linear = true;
    align = false;
    fill = true;
    fillNull = false;
}

void EngineModel::correctFlags()
{
    if (method == Interpolate::RAW) {
        linear = align = fill = fillNull = false;
    } else {
        const bool isExtreme = method >= Interpolate::MIN_MAX && method <= Interpolate::MAX;
        const bool isMean = method >= Interpolate::MEAN_A;
        if (isExtreme || isMean)
            linear = false;
        if (isMean)
            align = true;
        if (fillNull)
            fill = true;
    }
    if (fastCountOnly)
        output->push_back({-1, QVariant(0)});
}

bool EngineModel::emitsTwoResults() const
{
    return (method == Interpolate::PREV_NEXT && !linear) || (method == Interpolate::MIN_MAX && !average);
}

void EngineModel::incTimestampByInterval(qint64& timestamp)
{
    if (++world.stepCount > world.maxStepCount)
        throw TooManySteps();
    if (method == Interpolate::RAW)
        return;
    if (intervalMs > 0)
        timestamp += intervalMs;
    else if (!stepCalendar(timestamp, intervalMs, 1))
        timestamp += kDayMs;
}

void EngineModel::decTimestampByInterval(qint64& timestamp)
{
    if (method == Interpolate::RAW)
        return;
    if (intervalMs > 0)
        timestamp -= intervalMs;
    else
        stepCalendar(timestamp, intervalMs, -1);
}

qint64 EngineModel::alignSpecialStartTimestamp(qint64 timestamp) const
{
    if (method == Interpolate::RAW)
        return timestamp;
    if (intervalMs > 0)
        return timestamp / intervalMs * intervalMs;
    QDate date = utc(timestamp).date();
    switch (intervalMs) {
    case -6:
        date = QDate(date.year(), 1, 1);
        break;
    case -5:
    case -4:
    case -3:
        date = QDate(date.year(), date.month(), 1);
        break;
    case -2:
        date = date.addDays(1 - date.dayOfWeek());
        break;
    case -1:
        break;
    default:
        return timestamp;
    }
    return QDateTime(date, QTime(0, 0), Qt::UTC).toMSecsSinceEpoch() - 60'000LL * offsetMinFromUTC;
}

void EngineModel::noteBeyondEnd(qint64 timestamp)
{
    if (!nextPass && !fastCountOnly && timestamp > lastResultTs)
        world.isBeyondEnd = true;
}

void EngineModel::nextInterval()
{
    noteBeyondEnd(intervalEnd);
    intervalStart = intervalEnd;
    incTimestampByInterval(intervalEnd);
    if (world.isChain)
        noteBeyondEnd(intervalEnd);
}

bool EngineModel::getRange(qint64& start, qint64& end)
{
    if (nextPass && !nextPass->getRange(start, end))
        return false;

    if (requestedStart == -1)
        rangeStart = alignSpecialStartTimestamp(world.nowMs);
    else if (requestedStart == -2)
        rangeStart = alignSpecialStartTimestamp(firstRecordTs);
    else if (requestedStart == -3)
        rangeStart = alignSpecialStartTimestamp(lastRecordTs);
    if (requestedEnd == -1)
        rangeEnd = world.nowMs;
    else if (requestedEnd == -2)
        rangeEnd = firstRecordTs;
    else if (requestedEnd == -3)
        rangeEnd = lastRecordTs;

    if (alignStartEndTimestamp && method != Interpolate::RAW) {
        rangeStart = alignSpecialStartTimestamp(rangeStart);
        incTimestampByInterval(rangeStart);
        rangeEnd = alignSpecialStartTimestamp(rangeEnd);
        incTimestampByInterval(rangeEnd);
    }

    if (rangeStart < firstRecordTs && method == Interpolate::RAW)
        rangeStart = firstRecordTs;
    while (rangeStart < firstRecordTs)
        incTimestampByInterval(rangeStart);

    start = rangeStart;
    end = rangeEnd;
    lastResultTs = rangeEnd;
    if (method != Interpolate::RAW) {
        if (shiftIntervalForward) {
            incTimestampByInterval(end);
            incTimestampByInterval(rangeStart);
            incTimestampByInterval(rangeEnd);
            lastResultTs = rangeEnd;
        } else {
            decTimestampByInterval(start);
        }
        if (emitsTwoResults())
            lastResultTs = rangeEnd + 1;
    }

    if (start < firstRecordTs) {
        start = firstRecordTs;
        startClipped = true;
    }
    if (lastRecordTs < end) {
        end = lastRecordTs;
        endClipped = true;
    }
    if (rangeEnd < rangeStart)
        return false;

    intervalEnd = rangeStart;
    intervalStart = rangeStart;
    decTimestampByInterval(intervalStart);
    readStart = start;
    readEnd = end;
    if (fastCountOnly) {
        const qint64 count = getFastCount();
        if (count >= 0)
            output->at(0) = {0, QVariant(count)};
    }
    return true;
}

qint32 EngineModel::needsPreviousDataRecords() const
{
    if (startClipped)
        return 0;
    qint32 count = nextPass ? nextPass->needsPreviousDataRecords() : 0;
    if (difference != Difference::None)
        ++count;
    if (method == Interpolate::PREV_NEXT || method == Interpolate::PREV)
        ++count;
    if ((method == Interpolate::NEXT || method == Interpolate::SUM) && linear)
        ++count;
    return count;
}

bool EngineModel::needsDataRecordAfterRangeEnd() const
{
    if (endClipped)
        return false;
    if (nextPass && nextPass->needsDataRecordAfterRangeEnd())
        return true;
    if (method == Interpolate::RAW)
        return false;
    return method == Interpolate::PREV_NEXT || method == Interpolate::NEXT || linear;
}

qint64 EngineModel::getFastCount() const
{
    if (!filterParams.empty() || method == Interpolate::RAW || !fill)
        return -1;
    const QDate from = utc(rangeStart).date();
    const QDate to = utc(rangeEnd).date();
    const int years = to.year() - from.year();
    const int months = years * 12 + to.month() - from.month();
    const qint64 days = from.daysTo(to);
    qint64 intervals = 0;
    if (intervalMs > 0)
        intervals = (rangeEnd - rangeStart) / intervalMs + 1;
    else if (intervalMs == -6)
        intervals = years + 1;
    else if (intervalMs == -5)
        intervals = months / 6 + 1;
    else if (intervalMs == -4)
        intervals = months / 3 + 1;
    else if (intervalMs == -3)
        intervals = months + 1;
    else if (intervalMs == -2)
        intervals = days / 7 + 1;
    else if (intervalMs == -1)
        intervals = days + 1;
    return intervals * (emitsTwoResults() ? 2 : 1);
}

} // namespace Kiv::Testing
