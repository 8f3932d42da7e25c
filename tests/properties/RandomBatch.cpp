#include "properties/RandomBatch.h"

#include <QVariantList>
#include <QVariantMap>

#include <Poco/DateTime.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Kiv::Testing
{

namespace
{

constexpr qint64 kSecondMs = 1000;
constexpr qint64 kMinuteMs = 60 * kSecondMs;
constexpr qint64 kHourMs = 60 * kMinuteMs;
constexpr qint64 kDayMs = 24 * kHourMs;

qint64 utcMs(int year, int month, int day, int hour = 0, int minute = 0)
{
    return Poco::DateTime(year, month, day, hour, minute).timestamp().epochMicroseconds() / 1000;
}

qint64 floorTo(qint64 timestamp, qint64 period)
{
    const qint64 remainder = timestamp % period;
    return timestamp - (remainder < 0 ? remainder + period : remainder);
}

bool fitsVariable(QMetaType::Type type)
{
    return type == QMetaType::QString || type == QMetaType::QByteArray || type == QMetaType::QVariantMap ||
           type == QMetaType::QVariantList || type == QMetaType::Long;
}

} // namespace

const std::vector<ValueType>& valueTypes()
{
    static const std::vector<ValueType> types{
        {QMetaType::Bool, "Bool"},
        {QMetaType::Int, "Int"},
        {QMetaType::UInt, "UInt"},
        {QMetaType::LongLong, "LongLong"},
        {QMetaType::ULongLong, "ULongLong"},
        {QMetaType::Double, "Double"},
        {QMetaType::Short, "Short"},
        {QMetaType::Char, "Char"},
        {QMetaType::UShort, "UShort"},
        {QMetaType::UChar, "UChar"},
        {QMetaType::Float, "Float"},
        {QMetaType::QString, "String"},
        {QMetaType::QByteArray, "ByteArray"},
        {QMetaType::QVariantMap, "VariantMap"},
        {QMetaType::QVariantList, "VariantList"},
        {QMetaType::Long, "Long"},
    };
    return types;
}

RandomBatch::RandomBatch(Dice& dice, QMetaType::Type valueType)
    : m_dice(dice), m_variable(fitsVariable(valueType))
{
    const std::array<qint64, 10> anchors{
        utcMs(2024, 5, 17, 13, 45),  utcMs(2023, 12, 31, 23, 59), utcMs(2024, 2, 29, 12), utcMs(2000, 1, 1),
        utcMs(1970, 1, 1),           utcMs(1969, 12, 31, 23, 59), utcMs(1905, 7, 3, 5),   utcMs(1700, 3, 1),
        utcMs(2031, 11, 30, 22, 58), utcMs(9970, 2, 28, 23)};
    const std::array<qint64, 6> spans{kMinuteMs,   3 * kHourMs,  kDayMs,
                                      40 * kDayMs, 400 * kDayMs, 9 * 365 * kDayMs};
    const std::array<qint64, 5> steps{1, 250, kSecondMs, kMinuteMs, kHourMs};
    m_anchorMs = m_dice.pick(anchors);
    m_spanMs = m_dice.pick(spans);
    m_stepMs = m_dice.pick(steps);
}

qint64 RandomBatch::clusterMs()
{
    return m_anchorMs + m_dice.between(0, m_spanMs) / m_stepMs * m_stepMs;
}

qint64 RandomBatch::boundaryMs()
{
    const qint64 inside = clusterMs();
    const Poco::DateTime fields{Poco::Timestamp(inside * 1000)};
    const std::array<qint64, 5> starts{floorTo(inside, kMinuteMs), floorTo(inside, kHourMs),
                                       floorTo(inside, kDayMs), utcMs(fields.year(), fields.month(), 1),
                                       utcMs(fields.year(), 1, 1)};
    return m_dice.pick(starts) - m_dice.between(0, 1);
}

qint64 RandomBatch::timestampMs()
{
    const qint64 roll = m_dice.between(0, 99);
    if (roll < 25 && !m_drawnMs.empty())
        return m_dice.pick(m_drawnMs);
    if (roll < 32 && !m_drawnMs.empty())
        return m_dice.pick(m_drawnMs) + m_dice.between(-3, 3);
    if (roll < 40)
        return boundaryMs();
    if (roll < 42)
        return m_dice.between(-4, 1);
    return clusterMs();
}

qint64 RandomBatch::rangeEndMs()
{
    const qint64 roll = m_dice.between(0, 99);
    if (roll < 15)
        return m_dice.between(-3, -1);
    if (roll < 20)
        return m_anchorMs - 20 * 365 * kDayMs;
    if (roll < 25)
        return m_anchorMs + 20 * 365 * kDayMs;
    if (roll < 27)
        return std::numeric_limits<qint64>::min();
    if (roll < 29)
        return std::numeric_limits<qint64>::max();
    return timestampMs();
}

Records RandomBatch::next()
{
    const std::array<qint64, 6> sizes{0, 1, 2, 8, 25, 60};
    const qint64 most = m_dice.chance(2) ? 200 : m_dice.pick(sizes);
    Records records;
    for (qint64 i = m_dice.between(0, most); i > 0; --i) {
        const qint64 timestamp = timestampMs();
        m_drawnMs.push_back(timestamp);
        records.emplace_back(timestamp, value());
    }
    const qint64 order = m_dice.between(0, 3);
    if (order == 1)
        std::sort(records.begin(), records.end(), plainOrder);
    if (order == 2)
        std::sort(records.begin(), records.end(),
                  [](const Record& a, const Record& b) { return plainOrder(b, a); });
    return records;
}

QVariant RandomBatch::value()
{
    if (m_variable && m_dice.chance(85))
        return variableValue(2);
    return m_dice.chance(85) ? numericValue() : extremeValue();
}

QVariant RandomBatch::numericValue()
{
    const qint64 small = m_dice.between(-3, 9);
    switch (m_dice.between(0, 7)) {
    case 0:
        return QVariant::fromValue<qlonglong>(small);
    case 1:
        return QVariant::fromValue<double>(static_cast<double>(small) + 0.5);
    case 2:
        return QVariant(small > 2);
    case 3:
        return QVariant::fromValue<short>(static_cast<short>(small));
    case 4:
        return QVariant::fromValue<uint>(static_cast<uint>(m_dice.between(0, 70'000)));
    case 5:
        return QVariant::fromValue<double>(static_cast<double>(m_dice.between(-4'000'000, 4'000'000)) /
                                           1000.0);
    default:
        return QVariant(static_cast<int>(small));
    }
}

QVariant RandomBatch::extremeValue()
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    static const QVariantList values{
        QVariant(std::nan("")),
        QVariant(kInfinity),
        QVariant(-kInfinity),
        QVariant(-0.0),
        QVariant(0.0),
        QVariant(1e300),
        QVariant(-1e20),
        QVariant(2147483647.5),
        QVariant(4294967295.0),
        QVariant(std::numeric_limits<int>::min()),
        QVariant(std::numeric_limits<int>::max()),
        QVariant(std::numeric_limits<uint>::max()),
        QVariant::fromValue<qlonglong>(std::numeric_limits<qint64>::min()),
        QVariant::fromValue<qlonglong>(std::numeric_limits<qint64>::max()),
        QVariant::fromValue<qulonglong>(std::numeric_limits<quint64>::max()),
        QVariant::fromValue<float>(1.1F),
        QVariant(QStringLiteral("12")),
        QVariant(QStringLiteral("-7.25")),
        QVariant(QStringLiteral("%2 %1")),
        QVariant(QString()),
        QVariant(),
        QVariant(QMetaType(QMetaType::Int)),
        QVariant(QVariantMap{{QStringLiteral("a"), 1}}),
    };
    return values[m_dice.between(0, values.size() - 1)];
}

QVariant RandomBatch::variableValue(int levels)
{
    const qint64 length = m_dice.between(0, m_dice.chance(5) ? 300 : 12);
    switch (m_dice.between(0, levels > 0 ? 7 : 3)) {
    case 0:
        return QString(length, QChar(static_cast<char16_t>(m_dice.between(u'a', u'c'))));
    case 1:
        return QByteArray(length, static_cast<char>(m_dice.between('0', '2')));
    case 2:
        return QVariant::fromValue<long>(static_cast<long>(m_dice.between(-2, 2)));
    case 3:
        return numericValue();
    case 4:
        return extremeValue();
    case 5:
    case 6:
        return QVariantList{variableValue(levels - 1), variableValue(levels - 1)};
    default:
        return QVariantMap{{QStringLiteral("k"), variableValue(levels - 1)},
                           {QStringLiteral("v%1"), variableValue(levels - 1)}};
    }
}

} // namespace Kiv::Testing
