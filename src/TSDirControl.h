#pragma once

#include "KivTSFileStorageExport.h"
#include "TSFileInfo.h"

#include <QString>

namespace Poco
{
class DateTime;
}

namespace Kiv
{

/// Finds the record files in the calendar tree of one series directory.
///
/// Every search reads the file system afresh, so it sees what others created or removed a moment before.
/// No search logs or fails: without a result it returns a TSFileInfo whose `found()` is false. Names are
/// taken as they are; only entries with names of two or four characters take part.
class KIVTSFILESTORAGE_EXPORT TSDirControl
{
public:
    /// \param dir  the series directory; "\" becomes "/", a missing "/" at the end is added
    explicit TSDirControl(QString dir);
    ~TSDirControl();

    /// The file whose period holds a timestamp, or the place where it would be created: the shallowest
    /// level that does not exist yet. Costs one look-up per level.
    ///
    /// \param ts  milliseconds since the epoch (UTC)
    /// \return the place; when even the minute entry is a directory, the year's path with an empty
    ///         sub-directory, not found, so that a write there fails instead of going astray
    TSFileInfo findFile(qint64 ts) const;

    /// The earliest file of the series. An empty directory on the way hides its siblings.
    /// Costs one directory listing per level.
    TSFileInfo findFirstFile() const;
    /// The latest file of the series, found likewise.
    TSFileInfo findLastFile() const;
    /// The earliest (`first`) or the latest file.
    TSFileInfo findFirstLastFile(bool first) const;

    /// The file before a place in time order; the place itself need not exist.
    /// Costs a directory listing for every level that is left or entered.
    TSFileInfo findPrevFile(TSFileInfo info) const;
    /// The file after a place, found likewise.
    TSFileInfo findNextFile(TSFileInfo info) const;
    /// The file before (`prev`) or after a place.
    TSFileInfo findPrevNextFile(TSFileInfo info, bool prev) const;

    /// \return the name of the tree entry for a date-time: the year with 4 digits, all other fields
    ///         with 2, zero-padded; the year for a depth outside 0 to 4
    QString getFileNameForDepth(Poco::DateTime dateTime, TSFileInfo::DirDepth depth) const;

    const QString m_dir; ///< series directory, "/" only and at its end
};

} // namespace Kiv
