#include "properties/PlainStorageTree.h"

#include <Kiv/Logger.h>

#include <QDir>
#include <QFileInfo>
#include <QStringList>

#include <Poco/DateTime.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <array>
#include <exception>

namespace Kiv::Testing
{

namespace
{

QStringList components(const QString& subDir)
{
    return subDir.split(u'/', Qt::SkipEmptyParts);
}

QStringList listing(const QString& directory, bool ascending)
{
    QStringList names =
        QDir(directory).entryList({QStringLiteral("??"), QStringLiteral("????")},
                                  QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::NoSort);
    std::sort(names.begin(), names.end());
    if (!ascending)
        std::reverse(names.begin(), names.end());
    return names;
}

QString padded(int number, int width)
{
    return QString::number(number).rightJustified(width, u'0');
}

/// The entry that follows `name` in the listing; empty when there is none.
QString entryBeyond(const QStringList& names, const QString& name, bool prev)
{
    for (const QString& entry : names) {
        if (prev ? entry < name : entry > name)
            return entry;
    }
    return {};
}

} // namespace

bool PlainPlace::found() const
{
    const QFileInfo info(path);
    return !path.isEmpty() && info.exists() && info.isFile();
}

int PlainPlace::depth() const
{
    return static_cast<int>(components(subDir).size());
}

QString PlainPlace::fileName() const
{
    return path.mid(path.lastIndexOf(u'/') + 1);
}

QString PlainPlace::directory() const
{
    return path.left(path.lastIndexOf(u'/') + 1);
}

qint64 PlainPlace::baseMs() const
{
    std::array<int, 5> fields{1970, 1, 1, 0, 0};
    QStringList names = components(subDir);
    if (names.size() < 5 && !fileName().isEmpty())
        names.append(fileName());
    for (qsizetype i = 0; i < names.size() && i < 5; ++i)
        fields[static_cast<std::size_t>(i)] = names[i].toInt();
    try {
        const Poco::DateTime date(fields[0], fields[1], fields[2], fields[3], fields[4]);
        return date.timestamp().epochMicroseconds() / 1000;
    } catch (const std::exception&) {
        LogMessage(2, QStringLiteral("Exception on getBaseTsMs - DateTime"), "src/TSFileInfo", 68).endl();
        return 0;
    }
}

QString plainNameForDepth(qint64 timestampMs, int depth)
{
    // Ends of ranges may lie where microseconds do not fit any more; no series has a file there.
    constexpr qint64 kFarMs = 9'000'000'000'000'000;
    const Poco::DateTime fields{Poco::Timestamp(std::clamp(timestampMs, -kFarMs, kFarMs) * 1000)};
    switch (depth) {
    case 1:
        return padded(fields.month(), 2);
    case 2:
        return padded(fields.day(), 2);
    case 3:
        return padded(fields.hour(), 2);
    case 4:
        return padded(fields.minute(), 2);
    default:
        return padded(fields.year(), 4);
    }
}

PlainStorageTree::PlainStorageTree(QString dir) : m_dir(std::move(dir)) {}

PlainPlace PlainStorageTree::findFile(qint64 timestampMs) const
{
    QString subDir;
    for (int depth = 0; depth < 5; ++depth) {
        const QString name = plainNameForDepth(timestampMs, depth);
        const QString path = m_dir + subDir + name;
        const QFileInfo info(path);
        if (!info.exists() || info.isFile())
            return {path, subDir};
        subDir += name + u'/';
    }
    // Every level is a directory: the year's path, where an open fails, instead of a place elsewhere.
    return {m_dir + plainNameForDepth(timestampMs, 0), {}};
}

PlainPlace PlainStorageTree::descend(QString directory, QString subDir, bool ascending) const
{
    while (components(subDir).size() <= 4) {
        const QStringList names = listing(directory, ascending);
        if (names.isEmpty())
            return {};
        const QString path = directory + names.first();
        if (QFileInfo(path).isFile())
            return {path, subDir};
        subDir += names.first() + u'/';
        directory = path + u'/';
    }
    return {};
}

PlainPlace PlainStorageTree::findFirstLastFile(bool first) const
{
    if (!QDir(m_dir).exists())
        return {};
    return descend(m_dir, {}, first);
}

PlainPlace PlainStorageTree::findPrevNextFile(const PlainPlace& place, bool prev) const
{
    if (place.path.isEmpty())
        return {};
    const QString directory = place.directory();
    const QString candidate = entryBeyond(listing(directory, !prev), place.fileName(), prev);
    if (!candidate.isEmpty()) {
        const QString path = directory + candidate;
        if (QFileInfo(path).isFile())
            return {path, place.subDir};
        return descend(path + u'/', place.subDir + candidate + u'/', !prev);
    }
    QStringList parents = components(place.subDir);
    if (parents.isEmpty())
        return {};
    const QString leftName = parents.takeLast();
    const QString parentSubDir = parents.isEmpty() ? QString() : parents.join(u'/') + u'/';
    const QString parentDir = directory.left(directory.lastIndexOf(u'/', -2) + 1);
    return findPrevNextFile({parentDir + leftName, parentSubDir}, prev);
}

} // namespace Kiv::Testing
