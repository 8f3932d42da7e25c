#include "TSDirControl.h"

#include "internal/TreeCursor.h"

#include <Poco/DateTime.h>

namespace Kiv
{

namespace
{

QString normalizedDirectory(QString dir)
{
    dir.replace(u'\\', u'/');
    return dir.endsWith(u'/') ? dir : dir + u'/';
}

TSFileInfo toFileInfo(const Internal::FilePlace& place)
{
    return place.path.isEmpty() ? TSFileInfo() : TSFileInfo(QFileInfo(place.path), place.subDir);
}

Internal::FilePlace toFilePlace(const TSFileInfo& info)
{
    if (info.filePath().isEmpty())
        return {};
    return {info.path() + u'/' + info.fileName(), info.getSubDir(), info.getDirDepth(), false};
}

} // namespace

TSDirControl::TSDirControl(QString dir) : m_dir(normalizedDirectory(dir)) {}

TSDirControl::~TSDirControl() = default;

TSFileInfo TSDirControl::findFile(qint64 ts) const
{
    return toFileInfo(Internal::TreeCursor(m_dir).locate(ts));
}

TSFileInfo TSDirControl::findFirstFile() const
{
    return findFirstLastFile(true);
}

TSFileInfo TSDirControl::findLastFile() const
{
    return findFirstLastFile(false);
}

TSFileInfo TSDirControl::findFirstLastFile(bool first) const
{
    Internal::TreeCursor cursor(m_dir);
    return toFileInfo(first ? cursor.first() : cursor.last());
}

TSFileInfo TSDirControl::findPrevFile(TSFileInfo info) const
{
    return findPrevNextFile(info, true);
}

TSFileInfo TSDirControl::findNextFile(TSFileInfo info) const
{
    return findPrevNextFile(info, false);
}

TSFileInfo TSDirControl::findPrevNextFile(TSFileInfo info, bool prev) const
{
    Internal::TreeCursor cursor(m_dir);
    const Internal::FilePlace place = toFilePlace(info);
    return toFileInfo(prev ? cursor.previous(place) : cursor.next(place));
}

QString TSDirControl::getFileNameForDepth(Poco::DateTime dateTime, TSFileInfo::DirDepth depth) const
{
    return Internal::entryName(
        {{dateTime.year(), dateTime.month(), dateTime.day()}, dateTime.hour(), dateTime.minute()}, depth);
}

} // namespace Kiv
