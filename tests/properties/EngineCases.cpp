#include "EngineCases.h"

#include <QDate>
#include <QDebug>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

namespace Kiv::Testing
{

namespace
{

using DataRecord = Interpolate::DataRecord;
using FilterParam = Interpolate::FilterParam;
using InterpolateParam = Interpolate::InterpolateParam;

constexpr qint64 kDayMs = 86'400'000;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

qint64 dayMs(int year, int month, int day)
{
    return QDate(1970, 1, 1).daysTo(QDate(year, month, day)) * kDayMs;
}

/// Roughly the length of an interval, to scale series and ranges with.
qint64 lengthMs(qint64 interval)
{
    switch (interval) {
    case 0:
        return 3'600'000;
    case -2:
        return 7 * kDayMs;
    case -3:
        return 30 * kDayMs;
    case -4:
        return 91 * kDayMs;
    case -5:
        return 182 * kDayMs;
    case -6:
        return 365 * kDayMs;
    default:
        return interval > 0 ? interval * 1000 : kDayMs;
    }
}

qint64 randomInterval(Dice& dice)
{
    if (dice.chance(6))
        return 0;
    if (dice.chance(4))
        return dice.pick(std::vector<qint64>{-7, -8, -100, -86'400});
    if (dice.chance(45))
        return dice.between(-6, -1);
    if (dice.chance(50))
        return dice.pick(std::vector<qint64>{1, 2, 7, 60, 900, 3600, 86'400, 604'800, 31'536'000});
    return static_cast<qint64>(dice.magnitude(1.0, 4e7));
}

/// An interval that is neither far shorter nor far longer than the given one.
qint64 relatedInterval(Dice& dice, qint64 interval)
{
    if (dice.chance(8))
        return 0;
    const double wantedMs = static_cast<double>(lengthMs(interval)) * dice.magnitude(0.1, 12.0);
    if (dice.chance(40)) {
        for (qint64 code = -6; code <= -1; ++code) {
            const double ratio = static_cast<double>(lengthMs(code)) / wantedMs;
            if (ratio > 0.4 && ratio < 2.5)
                return code;
        }
    }
    return std::max<qint64>(1, static_cast<qint64>(wantedMs / 1000.0));
}

qint64 randomBaseMs(Dice& dice, qint64 intervalLengthMs)
{
    const std::vector<qint64> anchors{
        0, // the epoch, where "no previous record" lives
        dayMs(1970, 1, 3),
        dayMs(1969, 12, 28),
        dayMs(1960, 2, 29),
        dayMs(1904, 1, 30),
        dayMs(1582, 10, 10),
        dayMs(2024, 2, 28),
        dayMs(2024, 1, 30),
        dayMs(2023, 8, 31),
        dayMs(2000, 2, 29),
        dayMs(2024, 12, 30),
        dayMs(2026, 3, 28),
        dayMs(9999, 12, 30),
        dayMs(9998, 11, 29),
    };
    if (dice.chance(8)) // around the epoch by whole intervals
        return intervalLengthMs * dice.between(-3, 1);
    qint64 base = dice.chance(50) ? dice.pick(anchors) : dice.between(dayMs(1965, 1, 1), dayMs(2100, 1, 1));
    if (dice.chance(60))
        base += static_cast<qint64>(dice.real(-2.0, 2.0) * static_cast<double>(intervalLengthMs));
    if (dice.chance(30))
        base = base / intervalLengthMs * intervalLengthMs;
    return base;
}

std::vector<qint64> randomTimestamps(Dice& dice, qint64 intervalLengthMs)
{
    const double density = dice.chance(80) ? dice.magnitude(0.02, 5.0) : dice.magnitude(5.0, 60.0);
    const qint64 stepMs =
        std::max<qint64>(1, static_cast<qint64>(static_cast<double>(intervalLengthMs) * density));
    const qint64 count = dice.chance(10) ? dice.between(1, 3) : dice.between(2, 40);
    const int jitterPercent = dice.chance(50) ? 70 : 0;
    const int gapPercent = dice.chance(40) ? 10 : 0;
    const int duplicatePercent = dice.chance(25) ? 20 : 0;

    std::vector<qint64> timestamps;
    qint64 timestamp = randomBaseMs(dice, intervalLengthMs);
    for (qint64 i = 0; i < count; ++i) {
        timestamps.push_back(timestamp);
        if (dice.chance(duplicatePercent))
            continue;
        timestamp += dice.chance(jitterPercent) ? dice.between(1, 2 * stepMs) : stepMs;
        if (dice.chance(gapPercent))
            timestamp += intervalLengthMs * dice.between(1, 60);
    }
    if (dice.chance(8)) { // a gap of years, as far as the number of intervals stays modest
        const qint64 gapMs = std::min(intervalLengthMs * 1500, 30 * 365 * kDayMs);
        for (size_t i = timestamps.size() / 2; i < timestamps.size(); ++i)
            timestamps[i] += gapMs;
    }
    return timestamps;
}

std::vector<QVariant> counterValues(Dice& dice, size_t count)
{
    const std::vector<double> limits{1e6, 1e7, 1e9, 2'147'483'647.0, 4'294'967'295.0, 9.2e18};
    const double limit = dice.pick(limits);
    const double stepHighest = limit * dice.magnitude(1e-6, 1e-2);
    const bool isWhole = dice.chance(60);
    double reading = dice.chance(50) ? 0.0 : limit * dice.real(0.99, 1.0);
    std::vector<QVariant> values;
    for (size_t i = 0; i < count; ++i) {
        values.push_back(QVariant(isWhole ? std::floor(reading) : reading));
        if (!dice.chance(10))
            reading += dice.chance(15) ? 0.0 : dice.real(0.0, stepHighest);
        else if (dice.chance(70)) // jitter or a small reset: they part at a thousandth of a third of a step
            reading -= stepHighest * dice.magnitude(1e-4, 1e-3);
        else
            reading -= stepHighest * dice.magnitude(1e-5, 1e-1);
        if (dice.chance(5))
            reading = dice.chance(60) ? 0.0 : dice.real(0.0, stepHighest);
        if (reading >= limit)
            reading -= limit;
    }
    return values;
}

QVariant oddValue(Dice& dice)
{
    const std::vector<QVariant> values{
        QVariant(),
        QVariant(QMetaType(QMetaType::Int)),
        QVariant(QMetaType(QMetaType::Double)),
        QVariant(kNaN),
        QVariant(kInfinity),
        QVariant(-kInfinity),
        QVariant(0.0),
        QVariant(1e300),
        QVariant(-1e300),
        QVariant(4.9e-324),
        QVariant(std::numeric_limits<qlonglong>::max()),
        QVariant(std::numeric_limits<qlonglong>::min()),
        QVariant(std::numeric_limits<qulonglong>::max()),
        QVariant(1.5F),
        QVariant(true),
        QVariant(-7),
        QVariant(QStringLiteral("12.5")),
        QVariant(QStringLiteral("no number")),
        QVariant(QString()),
        QVariant(QByteArray("3")),
        QVariant(QVariantMap{{QStringLiteral("1700000000000"), 4}}),
        QVariant(QVariantList{1, 2}),
    };
    return dice.pick(values);
}

std::vector<QVariant> randomValues(Dice& dice, size_t count)
{
    if (dice.chance(20))
        return counterValues(dice, count);
    const qint64 kind = dice.between(0, 5);
    const double scale = dice.magnitude(1e-3, 1e12);
    std::vector<QVariant> values;
    for (size_t i = 0; i < count; ++i) {
        if (kind == 0 || (kind == 1 && dice.chance(15)))
            values.push_back(oddValue(dice));
        else if (kind == 2)
            values.push_back(QVariant(static_cast<int>(dice.between(-3, 3))));
        else if (kind == 3)
            values.push_back(QVariant(static_cast<float>(dice.real(-scale, scale))));
        else if (kind == 4)
            values.push_back(QVariant(dice.between(0, 1) == 0));
        else
            values.push_back(QVariant(dice.real(kind == 5 ? 0.0 : -scale, scale)));
    }
    return values;
}

FilterParam randomFilter(Dice& dice)
{
    FilterParam filter;
    if (dice.chance(40)) {
        filter.timeStart = QTime(static_cast<int>(dice.between(0, 23)), static_cast<int>(dice.between(0, 59)),
                                 static_cast<int>(dice.between(0, 59)));
        filter.duration = dice.chance(80) ? dice.between(0, 86'400) : dice.between(-200'000, 400'000);
        if (dice.chance(20))
            filter.duration = dice.pick(std::vector<qint64>{0, 86'400, -86'400, 172'800});
        if (dice.chance(5))
            filter.timeEnd = QTime(12, 0);
    }
    if (dice.chance(25)) {
        for (qint64 i = dice.between(1, 6); i > 0; --i)
            filter.weekDays.push_back(static_cast<qint32>(dice.between(0, 8)));
    }
    if (dice.chance(25)) {
        for (qint64 i = dice.between(1, 11); i > 0; --i)
            filter.months.push_back(static_cast<qint32>(dice.between(0, 13)));
    }
    if (dice.chance(50)) {
        const std::vector<QString> words{QStringLiteral("neq"), QStringLiteral("LT"),  QStringLiteral("lte"),
                                         QStringLiteral("gt"),  QStringLiteral("Gte"), QStringLiteral("eq"),
                                         QStringLiteral("?")};
        filter.valueCompare = dice.pick(words);
        filter.value = dice.chance(70) ? static_cast<double>(dice.between(-2, 2)) : dice.real(-100.0, 100.0);
    }
    return filter;
}

InterpolateParam randomParam(Dice& dice, qint64 interval)
{
    const std::vector<qint32> offsets{0, 0, 60, -300, 330, 1439, -1440, 100'000};
    InterpolateParam param;
    param.method = randomMethodString(dice);
    param.interval = interval;
    if (dice.chance(25)) {
        for (qint64 i = dice.between(1, 3); i > 0; --i)
            param.filterParams.push_back(randomFilter(dice));
    }
    param.alignStartEndTimestamp = dice.chance(40);
    param.offsetMinFromUTC = dice.pick(offsets);
    return param;
}

qint64 randomRangeLimit(Dice& dice, const std::vector<DataRecord>& series, qint64 intervalLengthMs)
{
    const qint64 first = series.front().timestamp;
    const qint64 last = series.back().timestamp;
    if (dice.chance(15))
        return dice.between(-3, -1);
    if (dice.chance(4))
        return dice.between(-5, 2);
    if (dice.chance(35))
        return dice.pick(series).timestamp + dice.between(-1, 1);
    const qint64 marginMs = intervalLengthMs * (dice.chance(15) ? 300 : 3);
    qint64 limit = dice.between(first - marginMs, last + marginMs);
    if (dice.chance(30))
        limit = limit / intervalLengthMs * intervalLengthMs;
    return limit;
}

std::string text(const QString& value)
{
    return value.toStdString();
}

void describe(std::ostringstream& out, const FilterParam& filter)
{
    out << "    filter start " << text(filter.timeStart.toString(Qt::ISODateWithMs)) << " end "
        << text(filter.timeEnd.toString(Qt::ISODateWithMs)) << " duration " << filter.duration << " days";
    for (qint32 day : filter.weekDays)
        out << ' ' << day;
    out << " months";
    for (qint32 month : filter.months)
        out << ' ' << month;
    out << " compare '" << text(filter.valueCompare) << "' " << filter.value << '\n';
}

void describe(std::ostringstream& out, const InterpolateParam& param)
{
    out << "'" << text(param.method) << "' interval " << param.interval << " align "
        << param.alignStartEndTimestamp << " offset " << param.offsetMinFromUTC << '\n';
    for (const FilterParam& filter : param.filterParams)
        describe(out, filter);
}

} // namespace

qint64 Dice::between(qint64 lowest, qint64 highest)
{
    const quint64 span = static_cast<quint64>(highest) - static_cast<quint64>(lowest) + 1;
    const quint64 number = drawn(span);
    return static_cast<qint64>(static_cast<quint64>(lowest) + (span == 0 ? number : number % span));
}

quint64 Dice::drawn(quint64 span)
{
    return m_usesBytes ? takenFromBytes(span) : m_generator();
}

quint64 Dice::takenFromBytes(quint64 span)
{
    quint64 number = 0;
    for (quint64 rest = span - 1; rest > 0 && m_position < m_bytes.size(); rest >>= 8)
        number = number << 8 | static_cast<unsigned char>(m_bytes[m_position++]);
    return number;
}

double Dice::real(double lowest, double highest)
{
    return lowest + (highest - lowest) * (static_cast<double>(drawn(0) >> 11) / 9007199254740992.0);
}

double Dice::magnitude(double lowest, double highest)
{
    return std::exp(real(std::log(lowest), std::log(highest)));
}

QString randomMethodString(Dice& dice)
{
    const std::vector<const char*> methods{"prevnext", "prev",  "next",  "minmax", "min",   "max",
                                           "sum",      "meana", "meang", "meanh",  "means", "median",
                                           "mode",     "count", "",      "raw",    "mean",  "x"};
    const std::vector<const char*> options{"linear", "align", "fill", "fillnull", "average"};
    const std::vector<const char*> separators{"", " ", ",", "-", " ; ", "\xC3\xA4"};
    std::vector<QString> words{QString::fromLatin1(dice.pick(methods))};
    const int optionPercent = static_cast<int>(dice.between(0, 60));
    for (const char* option : options) {
        if (dice.chance(optionPercent))
            words.push_back(QString::fromLatin1(option));
    }
    if (dice.chance(5))
        std::swap(words.front(), words.back());
    if (dice.chance(25)) {
        const char* difference = dice.chance(50) ? "diff" : "diffCtrUpCleaned";
        const qint64 position = dice.chance(60) ? 0 : dice.between(0, static_cast<qint64>(words.size()));
        words.insert(words.begin() + position, QString::fromLatin1(difference));
    }
    QString result;
    for (const QString& word : words)
        result += word + QString::fromUtf8(dice.pick(separators));
    if (dice.chance(3)) // a difference word inside another word
        result.insert(dice.between(0, result.size()), QLatin1String("diff"));
    for (QChar& letter : result) {
        if (dice.chance(20))
            letter = letter.toUpper();
    }
    return result;
}

EngineCase makeEngineCase(quint64 seed)
{
    Dice dice(seed);
    EngineCase result = makeEngineCase(dice);
    result.seed = seed;
    return result;
}

EngineCase makeEngineCase(Dice& dice)
{
    const std::vector<QMetaType::Type> types{
        QMetaType::Double, QMetaType::Double,  QMetaType::Double,     QMetaType::Bool,      QMetaType::Int,
        QMetaType::UInt,   QMetaType::Float,   QMetaType::LongLong,   QMetaType::ULongLong, QMetaType::Short,
        QMetaType::Char,   QMetaType::UShort,  QMetaType::UChar,      QMetaType::SChar,     QMetaType::Long,
        QMetaType::ULong,  QMetaType::QString, QMetaType::QVariantMap};
    EngineCase result;
    const qint64 interval = randomInterval(dice);
    const qint64 intervalLengthMs = lengthMs(interval);
    const std::vector<qint64> timestamps = randomTimestamps(dice, intervalLengthMs);
    const std::vector<QVariant> values = randomValues(dice, timestamps.size());
    for (size_t i = 0; i < timestamps.size(); ++i)
        result.series.push_back({timestamps[i], values[i]});

    if (dice.chance(30)) {
        for (qint64 i = dice.between(1, 3); i > 0; --i)
            result.passes.push_back(randomParam(dice, relatedInterval(dice, interval)));
    }
    result.param = randomParam(dice, interval);
    result.start = randomRangeLimit(dice, result.series, intervalLengthMs);
    result.end = randomRangeLimit(dice, result.series, intervalLengthMs);
    if (result.end < result.start && dice.chance(85))
        std::swap(result.start, result.end);
    result.nowMs = std::max<qint64>(0, randomRangeLimit(dice, result.series, intervalLengthMs));
    result.targetType = dice.pick(types);
    result.shiftIntervalForward = dice.chance(25);
    if (dice.chance(25))
        result.limit = static_cast<int>(dice.chance(90) ? dice.between(1, 20) : dice.between(-5, 0));
    result.fastCountOnly = dice.chance(12);
    if (dice.chance(5))
        result.outputBefore = {{5, QVariant(1.0)}, {6, QVariant()}};
    result.feedsWholeSeries = dice.chance(4);
    if (dice.chance(3) && result.series.size() > 3) { // an engine is not told that records come in order
        const qint64 last = static_cast<qint64>(result.series.size()) - 2;
        for (qint64 i = dice.between(1, 5); i > 0; --i)
            std::swap(result.series[static_cast<size_t>(dice.between(1, last))],
                      result.series[static_cast<size_t>(dice.between(1, last))]);
    }
    return result;
}

std::string describe(const DataRecord& record)
{
    QString value;
    QDebug(&value).nospace() << record.value;
    std::ostringstream out;
    out << '(' << record.timestamp << ' ' << text(value);
    if (record.value.typeId() == QMetaType::Double) {
        quint64 bits = 0;
        const double number = record.value.toDouble();
        std::memcpy(&bits, &number, sizeof bits);
        out << " bits " << std::hex << bits;
    }
    out << ')';
    return out.str();
}

std::string describe(const EngineCase& engineCase)
{
    std::ostringstream out;
    out << "seed " << engineCase.seed << "\nstart " << engineCase.start << " end " << engineCase.end
        << " now " << engineCase.nowMs << " type " << QMetaType(engineCase.targetType).name() << " shift "
        << engineCase.shiftIntervalForward << " limit " << engineCase.limit << " countOnly "
        << engineCase.fastCountOnly << " whole series " << engineCase.feedsWholeSeries << " output before "
        << engineCase.outputBefore.size() << '\n';
    for (const InterpolateParam& pass : engineCase.passes) {
        out << "  pass ";
        describe(out, pass);
    }
    out << "  param ";
    describe(out, engineCase.param);
    for (const DataRecord& record : engineCase.series)
        out << "  " << describe(record) << '\n';
    return out.str();
}

} // namespace Kiv::Testing
