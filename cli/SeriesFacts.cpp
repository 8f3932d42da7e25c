#include "SeriesFacts.h"

#include "Errors.h"
#include "RawRange.h"
#include "SeriesFiles.h"
#include "TimeText.h"
#include "ValueFiles.h"

#include <QDateTime>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

qint64 countCompanion(const Series& series, const char* marker)
{
    const Series companion = openCompanion(series, QLatin1String(marker));
    if (!companion.storage)
        return 0;
    return countRecords(companion, {{kFirstRecord, true}, {kLastRecord, true}});
}

QString relativePath(const Series& series, const SeriesFile& file)
{
    return series.type.marker + u'/' + calendarNames(file.place).join(u'/');
}

/// One line about all paths with the same trouble, which names the first of them.
void warnAbout(const QStringList& paths, const QString& text, QStringList& warnings)
{
    if (paths.size() == 1)
        warnings += QStringLiteral("%1: %2").arg(paths.first(), text);
    else if (!paths.isEmpty())
        warnings += QStringLiteral("%1, the first is %2: %3")
                        .arg(counted(paths.size(), QStringLiteral("path")), paths.first(), text);
}

QStringList pathsWhere(const Series& series, const SeriesFiles& files,
                       const std::function<bool(const SeriesFile& file)>& isMeant)
{
    QStringList paths;
    for (const SeriesFile& file : files.records) {
        if (isMeant(file))
            paths += relativePath(series, file);
    }
    return paths;
}

void warnAboutFiles(const Series& series, const SeriesFiles& files, QStringList& warnings)
{
    const auto hasTornEnd = [](const SeriesFile& file) { return file.tornBytes() > 0; };
    const auto isEmpty = [](const SeriesFile& file) { return file.sizeBytes == 0; };
    const auto lacksValues = [&](const SeriesFile& file) {
        return isVariableLength(series.type) && !isLastValueReadable(series, file);
    };
    QStringList empty = pathsWhere(series, files, isEmpty) + files.emptyDirectories;
    empty.sort();
    warnAbout(pathsWhere(series, files, hasTornEnd),
              QStringLiteral("the last bytes make no whole record and are ignored"), warnings);
    warnAbout(empty, QStringLiteral("empty; remove it, or what lies beside it may not be found"), warnings);
    // Until the next write the records may be those of another file.
    if (files.unfinished.isEmpty())
        warnAbout(pathsWhere(series, files, lacksValues),
                  QStringLiteral("its .var is missing or ends before the last value"), warnings);
    warnAbout(files.unfinished, QStringLiteral("left by a write or delete that was interrupted"), warnings);
    warnAbout(files.foreign, QStringLiteral("no part of the series; move it elsewhere"), warnings);
}

void warnAboutTimes(const SeriesFacts& facts, QStringList& warnings)
{
    constexpr qint64 kDayMs = 86'400'000;
    const qint64 nowMs = QDateTime::currentMSecsSinceEpoch();
    if (facts.last && facts.last->timestamp > nowMs + kDayMs)
        warnings += QStringLiteral("the last record lies in the future, %1 ahead of %2")
                        .arg(counted((facts.last->timestamp - nowMs) / kDayMs, QStringLiteral("day")),
                             formatTime(nowMs));
}

} // namespace

std::optional<double> SeriesFacts::bytesPerRecord() const
{
    if (recordCount == 0)
        return std::nullopt;
    return static_cast<double>(sizeBytes) / static_cast<double>(recordCount);
}

SeriesFacts describe(const Series& series)
{
    SeriesFacts facts;
    const Sidecar sidecar = Sidecar::load(series.path);
    facts.unit = sidecar.unit();
    facts.description = sidecar.description();
    facts.otherMarkers = existingMarkers(series.path);
    facts.otherMarkers.removeAll(series.type.marker);
    Interpolate::DataRecord record;
    if (series.first(record))
        facts.first = record;
    if (series.last(record))
        facts.last = record;

    const SeriesFiles files = listFiles(series);
    for (const SeriesFile& file : files.records)
        ++facts.fileCounts.at(static_cast<std::size_t>(file.place.getDirDepth()));
    facts.fileCount = static_cast<qint64>(files.records.size());
    facts.recordCount = files.recordCount();
    facts.sizeBytes = files.sizeBytes();
    facts.lateCount = countCompanion(series, "P");
    facts.overwrittenCount = countCompanion(series, "O");
    warnAboutFiles(series, files, facts.warnings);
    warnAboutTimes(facts, facts.warnings);
    if (isFloat(series.type))
        facts.warnings += QStringLiteral("float series cannot be added to, or deleted from, exactly; "
                                         "a double series can");
    return facts;
}

} // namespace Kiv::Cli
