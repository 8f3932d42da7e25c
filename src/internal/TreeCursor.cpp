#include "internal/TreeCursor.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace Kiv::Internal
{

namespace
{

enum class EntryKind { Missing, File, Directory, Other };

EntryKind kindOfMode(mode_t mode)
{
    if (S_ISREG(mode))
        return EntryKind::File;
    return S_ISDIR(mode) ? EntryKind::Directory : EntryKind::Other;
}

struct Status {
    EntryKind kind = EntryKind::Missing;
    qint64 sizeBytes = 0;
};

/// \param name  below the directory, or a whole path with AT_FDCWD; links count as what they point at
Status statusOf(int directoryFd, const char* name)
{
    struct stat status = {};
    if (::fstatat(directoryFd, name, &status, 0) != 0)
        return {};
    return {kindOfMode(status.st_mode), status.st_size};
}

/// Kind of a directory entry as a listing of files and directories sees it: links count as what they
/// point at, dangling links and special files do not count.
EntryKind kindOfEntry(int directoryFd, const dirent& entry)
{
    if (entry.d_type == DT_REG)
        return EntryKind::File;
    if (entry.d_type == DT_DIR)
        return EntryKind::Directory;
    const EntryKind kind = statusOf(directoryFd, entry.d_name).kind;
    return kind == EntryKind::Other && entry.d_type != DT_LNK ? EntryKind::Missing : kind;
}

/// Only names of two or four characters belong to the tree; that also keeps companion files out.
bool isTreeName(const QString& name)
{
    if (name.startsWith(u'.'))
        return false;
    qsizetype characters = 0;
    for (const QChar unit : name)
        characters += unit.isLowSurrogate() ? 0 : 1;
    return characters == 2 || characters == 4;
}

/// The text of an entry's name if it belongs to the tree, else an empty one.
QString treeNameOf(const char* bytes)
{
    const std::string_view view(bytes);
    const bool isAscii = std::all_of(view.begin(), view.end(),
                                     [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
    // Most entries are ASCII, and more than four bytes of it are no tree name; nothing of those is to be decoded.
    if (isAscii && view.size() != 2 && view.size() != 4)
        return {};
    const QString name =
        isAscii ? QString::fromLatin1(bytes, static_cast<qsizetype>(view.size())) : QFile::decodeName(bytes);
    // A name that is no text could not be opened under its decoded form.
    if (!isTreeName(name) || (!isAscii && QFile::encodeName(name) != bytes))
        return {};
    return name;
}

} // namespace

TreeCursor::TreeCursor(QString seriesDirectory) : m_seriesDirectory(std::move(seriesDirectory)) {}

FilePlace TreeCursor::locate(qint64 timestampMs) const
{
    const CivilFields fields = civilFromMs(timestampMs);
    QString subDir;
    QByteArray systemPath = QFile::encodeName(m_seriesDirectory);
    for (int depth = 0; depth <= kMaxDepth; ++depth) {
        const QString name = entryName(fields, depth);
        systemPath += name.toLatin1();
        const Status status = statusOf(AT_FDCWD, systemPath.constData());
        if (status.kind == EntryKind::Missing || status.kind == EntryKind::File) {
            QString path = m_seriesDirectory + subDir + name;
            return {std::move(path), std::move(subDir), depth, status.kind == EntryKind::File,
                    status.sizeBytes};
        }
        systemPath += '/';
        subDir += name + u'/';
    }
    // Kept: with directories down to the minute the year's path is given, where every write fails openly.
    return {m_seriesDirectory + entryName(fields, 0), QString(), 0, false, 0};
}

FilePlace TreeCursor::first()
{
    return outermost(Direction::Forward);
}

FilePlace TreeCursor::last()
{
    return outermost(Direction::Backward);
}

FilePlace TreeCursor::next(const FilePlace& place)
{
    return step(place, Direction::Forward);
}

FilePlace TreeCursor::previous(const FilePlace& place)
{
    return step(place, Direction::Backward);
}

FilePlace TreeCursor::outermost(Direction direction)
{
    const QString directory = m_seriesDirectory.left(m_seriesDirectory.size() - 1);
    const auto& entries = entriesOf(directory, 0);
    if (entries.empty())
        return {};
    const Entry* entry = direction == Direction::Forward ? &entries.front() : &entries.back();
    return descend(directory, QString(), 0, entry, direction);
}

/// From an entry down to the nearest file in the direction of the walk.
FilePlace TreeCursor::descend(QString directory, QString subDir, int depth, const Entry* entry,
                              Direction direction)
{
    while (entry->isDirectory) {
        if (++depth > kMaxDepth)
            return {};
        subDir += entry->name + u'/';
        directory += u'/' + entry->name;
        const auto& entries = entriesOf(directory, depth);
        // An empty directory ends the search; its siblings are not tried.
        if (entries.empty())
            return {};
        entry = direction == Direction::Forward ? &entries.front() : &entries.back();
    }
    DIR* const stream = listingOf(directory, depth).stream.get();
    const Status status = statusOf(::dirfd(stream), QFile::encodeName(entry->name).constData());
    return {directory + u'/' + entry->name, subDir, depth, status.kind == EntryKind::File, status.sizeBytes};
}

FilePlace TreeCursor::step(FilePlace place, Direction direction)
{
    if (place.path.isEmpty())
        return {};
    while (place.depth <= kMaxDepth) {
        const QString directory = place.directory();
        if (const Entry* entry = neighbour(entriesOf(directory, place.depth), place.name(), direction))
            return descend(directory, place.subDir, place.depth, entry, direction);
        if (place.depth == 0)
            return {};
        // Nothing further in this directory: it becomes the current entry of its parent. Its name is the
        // one it was entered by, so that a stray name cannot lead the walk in circles.
        const QString leftName = place.subDir.section(u'/', -1, -1, QString::SectionSkipEmpty);
        place.subDir = place.subDir.section(u'/', 0, -2, QString::SectionSkipEmpty);
        if (!place.subDir.isEmpty())
            place.subDir += u'/';
        const QString parent = directory.left(directory.lastIndexOf(u'/'));
        place.path = parent + u'/' + leftName;
        --place.depth;
    }
    return {};
}

const TreeCursor::Entry* TreeCursor::neighbour(const std::vector<Entry>& entries, const QString& name,
                                               Direction direction) const
{
    const auto byName = [](const Entry& entry, const QString& other) { return entry.name < other; };
    auto position = std::lower_bound(entries.begin(), entries.end(), name, byName);
    if (direction == Direction::Backward)
        return position == entries.begin() ? nullptr : &*std::prev(position);
    if (position != entries.end() && position->name == name)
        ++position;
    return position == entries.end() ? nullptr : &*position;
}

const std::vector<TreeCursor::Entry>& TreeCursor::entriesOf(const QString& directory, int depth)
{
    return listingOf(directory, depth).entries;
}

const TreeCursor::Listing& TreeCursor::listingOf(const QString& directory, int depth)
{
    Listing& listing = m_listings[static_cast<std::size_t>(depth)];
    if (listing.isRead && listing.directory == directory)
        return listing;
    listing.directory = directory;
    listing.entries.clear();
    listing.isRead = true;
    listing.stream = DirectoryStream(::opendir(QFile::encodeName(directory + u'/').constData()), &::closedir);
    DIR* const stream = listing.stream.get();
    if (stream == nullptr)
        return listing;
    while (const dirent* entry = ::readdir(stream)) {
        QString name = treeNameOf(entry->d_name);
        if (name.isEmpty())
            continue;
        const EntryKind kind = kindOfEntry(::dirfd(stream), *entry);
        if (kind != EntryKind::Missing)
            listing.entries.push_back({std::move(name), kind == EntryKind::Directory});
    }
    std::sort(listing.entries.begin(), listing.entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return listing;
}

} // namespace Kiv::Internal
