#include "internal/FilePlace.h"

#include "internal/LogTexts.h"

#include <QStringList>
#include <QStringTokenizer>
#include <QStringView>

#include <algorithm>
#include <array>

namespace Kiv::Internal
{

namespace
{

constexpr int kFieldCount = kMaxDepth + 1;

QString padded(qint64 number, int width)
{
    constexpr qint64 kLimits[] = {1, 10, 100, 1000, 10'000};
    if (number >= 0 && number < kLimits[width]) {
        QString digits(width, Qt::Uninitialized);
        for (int i = width - 1; i >= 0; --i, number /= 10)
            digits[i] = QChar(static_cast<char16_t>(u'0' + number % 10));
        return digits;
    }
    return QString::number(number).rightJustified(width, u'0');
}

/// The number that a name in the tree stands for; 0 for a name that is none.
int numberOf(QStringView name)
{
    constexpr qsizetype kMaxDigits = 4;
    const auto isDigit = [](QChar unit) { return unit >= u'0' && unit <= u'9'; };
    if (name.size() > kMaxDigits || !std::all_of(name.begin(), name.end(), isDigit))
        return name.toInt();
    int number = 0;
    for (const QChar unit : name)
        number = 10 * number + (unit.unicode() - u'0');
    return number;
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
    std::size_t count = 0;
    for (const QStringView part : QStringView(subDir).tokenize(u'/', Qt::SkipEmptyParts)) {
        if (count < fields.size())
            fields[count] = numberOf(part);
        ++count;
    }
    if (count < fields.size() && !fileName.isEmpty())
        fields[count] = numberOf(fileName);

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
