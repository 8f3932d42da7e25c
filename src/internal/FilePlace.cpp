#include "internal/FilePlace.h"

#include "internal/LogTexts.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace Kiv::Internal
{

namespace
{

constexpr int kFieldCount = kMaxDepth + 1;

QString padded(qint64 number, int width)
{
    return QString::number(number).rightJustified(width, u'0');
}

bool isValidDate(const std::array<int, kFieldCount>& fields)
{
    const auto [year, month, day, hour, minute] = fields;
    return year >= 0 && year <= 9999 && month >= 1 && month <= 12 && day >= 1 &&
           day <= daysInMonth(year, month) && hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59;
}

} // namespace

int depthOfSubDir(const QString& subDir)
{
    return static_cast<int>(subDir.split(u'/', Qt::SkipEmptyParts).size());
}

QString entryName(const CivilFields& fields, int depth)
{
    switch (depth) {
    case 1:
        return padded(fields.date.month, 2);
    case 2:
        return padded(fields.date.day, 2);
    case 3:
        return padded(fields.hour, 2);
    case 4:
        return padded(fields.minute, 2);
    default:
        return padded(fields.date.year, 4);
    }
}

std::optional<qint64> baseTimeIfValid(const QString& subDir, const QString& fileName)
{
    std::array<int, kFieldCount> fields = {1970, 1, 1, 0, 0};
    const QStringList parts = subDir.split(u'/', Qt::SkipEmptyParts);
    const std::size_t partCount = static_cast<std::size_t>(parts.size());
    for (std::size_t i = 0; i < std::min(partCount, fields.size()); ++i)
        fields[i] = parts[static_cast<qsizetype>(i)].toInt();
    if (partCount < fields.size() && !fileName.isEmpty())
        fields[partCount] = fileName.toInt();

    if (!isValidDate(fields))
        return {};
    return msFromCivil({{fields[0], fields[1], fields[2]}, fields[3], fields[4]});
}

qint64 baseTimeMs(const QString& subDir, const QString& fileName)
{
    const std::optional<qint64> baseMs = baseTimeIfValid(subDir, fileName);
    if (!baseMs)
        logLine(LogTexts::kInvalidBaseTime);
    return baseMs.value_or(0);
}

qint64 baseTimeMs(const FilePlace& place)
{
    return baseTimeMs(place.subDir, place.name());
}

} // namespace Kiv::Internal
