// The model's way of a record in, through the filters, and of a result out.

#include "EngineModel.h"

#include <QDateTime>

#include <cmath>
#include <limits>

namespace Kiv::Testing
{

namespace
{

/// Truncates towards zero and saturates at both ends of the type.
template <typename Integer>
Integer saturate(double value)
{
    if (std::isnan(value))
        return 0;
    if (value <= static_cast<double>(std::numeric_limits<Integer>::min()))
        return std::numeric_limits<Integer>::min();
    // The double of a 64-bit maximum is one above it, hence not "greater than".
    if (value >= static_cast<double>(std::numeric_limits<Integer>::max()))
        return std::numeric_limits<Integer>::max();
    return static_cast<Integer>(value);
}

bool valuePasses(const QString& comparison, double recordValue, double value)
{
    const QString word = comparison.toLower();
    if (word == QLatin1String("neq"))
        return std::fabs(recordValue - value) > 1e-15;
    if (word == QLatin1String("lt"))
        return recordValue < value;
    if (word == QLatin1String("lte"))
        return recordValue <= value;
    if (word == QLatin1String("gt"))
        return recordValue > value;
    if (word == QLatin1String("gte"))
        return recordValue >= value;
    return std::fabs(recordValue - value) <= 1e-15;
}

bool contains(const std::vector<qint32>& numbers, int number)
{
    for (qint32 candidate : numbers) {
        if (candidate == number)
            return true;
    }
    return false;
}

} // namespace

bool EngineModel::handleNextRawRecord(DataRecord record)
{
    try {
        callDifference(record);
        if (difference != Difference::None && record.value.isNull())
            return true;
        if (method != Interpolate::RAW && linear && !nextPass && prevRecord.timestamp < readStart) {
            prevRecord = record;
            return true;
        }
        callHandler(record);
        return true;
    } catch (const std::exception& exception) {
        const QString text = QString::fromLatin1(exception.what());
        if (text == QLatin1String("End reached"))
            return true;
        if (!text.startsWith(QLatin1String("Limit reached")))
            log(4, QLatin1String("Interpolate exception '") + text + QLatin1String("'"));
        return false;
    }
}

void EngineModel::finalize()
{
    try {
        if (method != Interpolate::RAW && !linear)
            callHandler({rangeEnd, QVariant()});
        if (nextPass)
            nextPass->finalize();
    } catch (const std::exception& exception) {
        const QString text = QString::fromLatin1(exception.what());
        if (text != QLatin1String("End reached") && !text.startsWith(QLatin1String("Limit reached")))
            log(4, QLatin1String("Interpolate finalize exception '") + text + QLatin1String("'"));
    }
}

bool EngineModel::filterMatch(const DataRecord& record)
{
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(record.timestamp);
    for (FilterParam& filter : filterParams) {
        if (!filter.months.empty() && !contains(filter.months, local.date().month()))
            continue;
        if (!filter.weekDays.empty() && !contains(filter.weekDays, local.date().dayOfWeek()))
            continue;
        if (!filter.valueCompare.isEmpty() &&
            !valuePasses(filter.valueCompare, record.value.toDouble(), filter.value))
            continue;
        if (filter.timeStart.isValid()) {
            if (!filter.timeEnd.isValid())
                filter.timeEnd = filter.timeStart.addSecs(static_cast<int>(filter.duration % 86'400));
            const QTime time = local.time();
            const bool afterStart = time >= filter.timeStart;
            const bool beforeEnd = time <= filter.timeEnd;
            const bool overMidnight = filter.timeEnd < filter.timeStart;
            if (overMidnight ? !(afterStart || beforeEnd) : !(afterStart && beforeEnd))
                continue;
        }
        return true;
    }
    return false;
}

void EngineModel::push(qint64 timestamp, double value, bool isNull)
{
    noteBeyondEnd(timestamp);
    if (!filterParams.empty() && !filterMatch({timestamp, QVariant(value)}))
        return;
    if (difference == Difference::CounterUpCleaned && value < 0.0)
        value = 0.0;
    if (nextPass) {
        if (!isNull)
            nextPass->handleNextRawRecord({timestamp, QVariant(value)});
        return;
    }
    if (fastCountOnly) {
        output->at(0).value = QVariant(output->at(0).value.toLongLong() + 1);
        return;
    }
    if (lastResultTs < timestamp)
        throw std::out_of_range("End reached");
    if (shiftIntervalForward)
        decTimestampByInterval(timestamp);
    if (isNull) {
        output->push_back({timestamp, QVariant()});
        return;
    }
    if (std::isnan(value)) {
        log(4, QStringLiteral("Interval double value is NaN (TS:%1").arg(timestamp));
        value = 0.0;
    }
    if (std::isinf(value)) {
        log(4, QStringLiteral("Interval double value is Inf (TS:%1").arg(timestamp));
        value = 0.0;
    }
    output->push_back({timestamp, convert(value)});
    checkLimit();
}

QVariant EngineModel::convert(double value)
{
    const qint32 asInt = saturate<qint32>(value);
    const quint32 asUInt = saturate<quint32>(value);
    switch (targetType) {
    case QMetaType::Bool:
        return QVariant(value > 0.5);
    case QMetaType::Int:
        return QVariant(asInt);
    case QMetaType::UInt:
        return QVariant(asUInt);
    case QMetaType::LongLong:
        return QVariant(saturate<qint64>(value));
    case QMetaType::ULongLong:
        return QVariant(saturate<quint64>(value));
    case QMetaType::Double:
        return QVariant(value);
    case QMetaType::Short:
        return QVariant(static_cast<int>(static_cast<qint16>(asInt & 0xffff)));
    case QMetaType::Char:
        return QVariant(static_cast<int>(static_cast<qint8>(asInt & 0xff)));
    case QMetaType::UShort:
        return QVariant(static_cast<int>(asUInt & 0xffffU));
    case QMetaType::UChar:
        return QVariant(static_cast<int>(asUInt & 0xffU));
    case QMetaType::Float:
        return QVariant(static_cast<float>(value));
    default:
        log(2, QLatin1String("pushIntervalValue: Invalid target value type ") +
                   QString::fromLatin1(QMetaType(targetType).name()));
        return {};
    }
}

void EngineModel::checkLimit()
{
    if (limit < 1 || static_cast<qint64>(output->size()) < limit)
        return;
    *limitRef = static_cast<int>(output->size());
    throw std::out_of_range("Limit reached");
}

void EngineModel::log(int level, const QString& text)
{
    world.logLines.push_back(QString::number(level) + QLatin1Char(' ') + text);
}

} // namespace Kiv::Testing
