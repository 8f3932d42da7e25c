#include "SeriesName.h"

#include "SeriesLock.h"
#include "SeriesType.h"

#include <QDir>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

constexpr const char* kSidecarPath = "/series.json";

/// The directories in which a series and those beside it keep their records.
const QStringList& recordDirectories()
{
    static const QStringList kNames = [] {
        QStringList names;
        for (const SeriesType& type : allTypes()) {
            for (const char* const suffix : {"", "P", "O"}) {
                const QString name = type.marker + QLatin1String(suffix);
                if (!names.contains(name))
                    names += name;
            }
        }
        return names;
    }();
    return kNames;
}

bool hasControls(const QString& text)
{
    return std::any_of(text.begin(), text.end(), [](QChar character) {
        return character.unicode() < 0x20 || character.unicode() == 0x7f || character == u'\\' ||
               character == QChar::ReplacementCharacter;
    });
}

bool isOwnFile(const QString& part)
{
    return part == QLatin1String(kSidecarPath + 1) || part == SeriesLock::fileName();
}

QString ownFileProblem()
{
    return QStringLiteral("has a part that is the name of a file of every series");
}

/// Without points, but with symbolic links.
QString absolutePath(const QString& path)
{
    return QDir::cleanPath(QDir::current().absoluteFilePath(path));
}

} // namespace

QString problemOfSeriesName(const QString& name)
{
    constexpr qsizetype kMaxPartSizeBytes = 255;
    if (name.isEmpty())
        return QStringLiteral("is empty");
    if (name.startsWith(u'/'))
        return QStringLiteral("is an absolute path; it must lie below --series");
    if (hasControls(name))
        return QStringLiteral("holds a character that no directory should have");
    for (const QString& part : name.split(u'/')) {
        if (part.isEmpty())
            return QStringLiteral("has an empty part");
        if (isOwnFile(part))
            return ownFileProblem();
        if (part.startsWith(u'.'))
            return QStringLiteral("has a part that begins with a point");
        if (part.toUtf8().size() > kMaxPartSizeBytes)
            return QStringLiteral("has a part longer than %1 bytes").arg(kMaxPartSizeBytes);
    }
    return {};
}

QString problemOfSeriesPlace(const QString& directory, const QString& name, const NameTest& isKnown)
{
    const QString here = QDir::currentPath() + u'/';
    QString above = absolutePath(directory);
    if (above.endsWith(u'/'))
        above.chop(1);
    const QString place = name.isEmpty() ? above : above + u'/' + name;
    const auto isSeries = [&](const QString& other) {
        const bool isBelow = other.startsWith(above + u'/');
        return QFileInfo::exists(other + QLatin1String(kSidecarPath)) ||
               (isBelow && isKnown && isKnown(other.mid(above.size() + 1)));
    };
    const auto shown = [&](const QString& other) {
        return other.startsWith(here) ? other.mid(here.size()) : other;
    };
    for (qsizetype end = place.indexOf(u'/', 1); end > 0; end = place.indexOf(u'/', end + 1)) {
        const QString next = place.mid(end + 1).section(u'/', 0, 0);
        if (recordDirectories().contains(next) && isSeries(place.left(end)))
            return QStringLiteral("names the records of the series %1").arg(shown(place.left(end)));
    }
    for (const QString& part : recordDirectories()) {
        const QString other = place + u'/' + part;
        if (isSeries(other))
            return QStringLiteral("would keep its records among those of the series %1").arg(shown(other));
    }
    return {};
}

QString problemOfSeriesDirectory(const QString& path)
{
    if (hasControls(path))
        return QStringLiteral("holds a character that no directory should have");
    for (const QString& part : path.split(u'/')) {
        if (isOwnFile(part))
            return ownFileProblem();
    }
    return {};
}

} // namespace Kiv::Cli
