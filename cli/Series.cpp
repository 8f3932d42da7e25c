#include "Series.h"

#include "Errors.h"
#include "FloatSeries.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <dirent.h>

namespace Kiv::Cli
{

namespace
{

void checkCanBeListed(const QString& directory)
{
    if (DIR* const listing = ::opendir(QFile::encodeName(directory).constData()))
        ::closedir(listing);
    else if (errno != ENOENT)
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot read the directory %1: %2")
                               .arg(directory, QString::fromLocal8Bit(std::strerror(errno))));
}

/// The store takes what it cannot look into for empty.
void checkIsReadable(const QString& directory)
{
    checkCanBeListed(directory);
    QDirIterator below(directory, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (below.hasNext())
        checkCanBeListed(below.next());
}

CommandError typeChoiceError(const QString& path, const QStringList& choices)
{
    return {ExitCode::Usage,
            QStringLiteral("%1 has no series.json and its directories leave the type open; give "
                           "--type with one of: %2")
                .arg(path, choices.join(QStringLiteral(", ")))};
}

void checkIsDirectory(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("no series at %1: no such directory").arg(path));
    if (!info.isDir())
        throw CommandError(ExitCode::FileError, QStringLiteral("no series at %1: not a directory").arg(path));
}

} // namespace

bool Series::first(Interpolate::DataRecord& record) const
{
    return storage->getFirstDataRecord(record);
}

bool Series::last(Interpolate::DataRecord& record) const
{
    return isFloat(type) ? lastFloatRecord(*storage, record) : storage->getLastDataRecord(record);
}

bool Series::at(qint64 timestampMs, Interpolate::DataRecord& record) const
{
    return isFloat(type) ? findFloatRecord(*storage, timestampMs, record)
                         : storage->findDataRecord(timestampMs, record);
}

void Series::read(const Request& request, qint64 from, qint64 to,
                  std::vector<Interpolate::DataRecord>& result, int limit) const
{
    readWithCompanions(request, from, to, result, limit, nullptr, nullptr);
}

void Series::readWithCompanions(const Request& request, qint64 from, qint64 to,
                                std::vector<Interpolate::DataRecord>& result, int limit,
                                std::vector<Interpolate::DataRecord>* late,
                                std::unordered_map<qint64, QVariant>* overwritten) const
{
    if (!isFloat(type)) {
        storage->readDataRecords(request.param, request.passes, from, to, result, request.shift, limit, late,
                                 overwritten);
        return;
    }
    readFloatRecords(*storage, request, from, to, result, limit);
    if (late)
        *late = lateFloatRecords(*storage, from, to, result);
    if (overwritten)
        *overwritten = overwrittenFloatValues(*storage, from, to);
}

QStringList existingMarkers(const QString& path)
{
    QStringList markers;
    for (const SeriesType& type : allTypes()) {
        if (!markers.contains(type.marker) && QFileInfo(path + u'/' + type.marker).isDir())
            markers += type.marker;
    }
    return markers;
}

const SeriesType* findType(const QString& path, const QString& typeWord, const Sidecar& sidecar)
{
    if (!typeWord.isEmpty())
        return &typeOfWord(QStringLiteral("--type"), typeWord);
    if (sidecar.exists())
        return &typeOfWord(QStringLiteral("series.json"), sidecar.typeWord());
    QStringList choices;
    for (const QString& marker : existingMarkers(path))
        choices += typeWordsOfMarker(marker);
    if (choices.size() > 1)
        throw typeChoiceError(path, choices);
    return choices.isEmpty() ? nullptr : &typeOfWord(QStringLiteral("--type"), choices.first());
}

Series openSeries(const QString& path, const QString& typeWord)
{
    checkSeriesPath(QStringLiteral("SERIES"), path);
    checkIsDirectory(path);
    const Sidecar sidecar = Sidecar::load(path);
    const SeriesType* const type = findType(path, typeWord, sidecar);
    if (!type)
        checkCanBeListed(path);
    if (!type)
        throw CommandError(ExitCode::NothingFound, QStringLiteral("%1 holds no series").arg(path));
    return {path, *type, std::make_unique<TSFileStorage>(path, type->metaType, sidecar.maxFileSizeBytes())};
}

Series openCompanion(const Series& series, const QString& marker)
{
    const QString typeWord = marker == QLatin1String("P") ? QStringLiteral("int64") : QStringLiteral("map");
    return {series.path, typeOfWord(QStringLiteral("--type"), typeWord),
            std::unique_ptr<TSFileStorage>(series.storage->getReadFilestorageForMarker(marker))};
}

void checkSeriesPath(const QString& option, const QString& path)
{
    if (path.isEmpty())
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1: the path is empty; write . for this directory").arg(option));
    if (path.contains(u'\\'))
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1: %2 holds a backslash; directories are separated by /")
                               .arg(option, quoted(path)));
}

void failWithoutRecords(const Series& series)
{
    checkIsReadable(series.path + u'/' + series.type.marker);
    throw CommandError(ExitCode::NothingFound,
                       QStringLiteral("%1 holds no records of type %2").arg(series.path, series.type.word));
}

} // namespace Kiv::Cli
