#include "support/RecordPlaces.h"

#include "properties/PlainStorage.h"
#include "support/SeriesForTest.h"

#include <algorithm>
#include <array>

namespace Kiv::Testing
{

const std::vector<RecordPlace>& recordPlaces()
{
    static const std::vector<RecordPlace> places{
        {QStringLiteral("2024"), 0, utc(2024)},
        {QStringLiteral("2024/05"), 1, utc(2024, 5)},
        {QStringLiteral("2024/05/17"), 2, utc(2024, 5, 17)},
        {QStringLiteral("2024/05/17/13"), 3, utc(2024, 5, 17, 13)},
        {QStringLiteral("2024/05/17/13/45"), 4, utc(2024, 5, 17, 13, 45)},
        {QStringLiteral("1969"), 0, utc(1969)},
        {QStringLiteral("1969/12/31/23/59"), 4, utc(1969, 12, 31, 23, 59)},
        {QStringLiteral("9999/12"), 1, utc(9999, 12)},
        {QStringLiteral("2023/02/29"), 2, 0},
    };
    return places;
}

std::vector<qint64> timesOf(const RecordPlace& place, QMetaType::Type type, const QByteArray& records)
{
    constexpr std::array<qint64, 5> kPeriodsMs{365 * 86'400'000LL, 30 * 86'400'000LL, 86'400'000, 3'600'000,
                                               60'000};
    constexpr qsizetype kMostTimes = 20;
    const PlainStorage layout(QString(), type, 0);
    const qsizetype strideBytes = layout.storedSize(place.depth);
    const qsizetype widthBytes = layout.recordSize(place.depth) - layout.m_dataLength;
    std::vector<qint64> times{place.baseMs,
                              place.baseMs + kPeriodsMs[static_cast<std::size_t>(place.depth)] - 1};
    const qsizetype end = std::min(records.size(), kMostTimes * strideBytes);
    for (qsizetype at = 0; at + widthBytes <= end; at += strideBytes) {
        qint64 offset = 0;
        for (qsizetype i = 0; i < widthBytes; ++i)
            offset = offset << 8 | static_cast<quint8>(records[at + i]);
        times.push_back(place.baseMs + offset);
    }
    return times;
}

} // namespace Kiv::Testing
