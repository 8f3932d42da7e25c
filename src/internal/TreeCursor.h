#pragma once

// Owns the walk over the record files of one series in time order. Reads directories, never file contents;
// keeps the listings of the directories it stands in for as long as it lives, so that a walk reads each
// directory once. A new cursor sees the file system afresh.

#include "internal/FilePlace.h"

#include <QString>

#include <dirent.h>

#include <array>
#include <memory>
#include <vector>

namespace Kiv::Internal
{

class TreeCursor
{
public:
    /// \param seriesDirectory  ends with "/"
    explicit TreeCursor(QString seriesDirectory);

    /// The file whose period holds the timestamp, or the place where it would be created.
    FilePlace locate(qint64 timestampMs) const;

    FilePlace first();
    FilePlace last();

    /// The file after or before a place, found or not; no place where the series or the known depths end.
    FilePlace next(const FilePlace& place);
    FilePlace previous(const FilePlace& place);

private:
    enum class Direction { Forward, Backward };

    struct Entry {
        QString name;
        bool isDirectory;
    };

    using DirectoryStream = std::unique_ptr<DIR, int (*)(DIR*)>;

    struct Listing {
        QString directory;
        DirectoryStream stream{nullptr, nullptr}; ///< stays open for looking at the entries
        std::vector<Entry> entries;               ///< by name, ascending
        bool isRead = false;
    };

    const Listing& listingOf(const QString& directory, int depth);
    const std::vector<Entry>& entriesOf(const QString& directory, int depth);
    const Entry* neighbour(const std::vector<Entry>& entries, const QString& name, Direction direction) const;
    FilePlace descend(QString directory, QString subDir, int depth, const Entry* entry, Direction direction);
    FilePlace step(FilePlace place, Direction direction);
    FilePlace outermost(Direction direction);

    QString m_seriesDirectory;
    std::array<Listing, kMaxDepth + 1> m_listings;
};

} // namespace Kiv::Internal
