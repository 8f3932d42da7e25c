#pragma once

#include "KivTSFileStorageExport.h"

#include <QFileInfo>
#include <QString>

namespace Kiv
{

/// One place in the calendar tree of a series, whether a record file exists there or not.
///
/// A value: copies share their contents and are cheap. As a QFileInfo it may remember what it once asked
/// the file system; after a write ask the file itself.
class KIVTSFILESTORAGE_EXPORT TSFileInfo : public QFileInfo
{
public:
    /// Depth of a record file in the tree; it fixes the period that the file covers.
    enum DirDepth : qint32 {
        DirDepthYear = 0,   ///< `2024`
        DirDepthMonth = 1,  ///< `2024/05`
        DirDepthDay = 2,    ///< `2024/05/17`
        DirDepthHour = 3,   ///< `2024/05/17/13`
        DirDepthMinute = 4, ///< `2024/05/17/13/45`; never split
    };

    /// The value that stands for no file: empty path, empty sub-directory.
    TSFileInfo();

    /// \param fileInfo  the full path of the place
    /// \param subDir    its directory below the series directory, "/" after every component
    TSFileInfo(QFileInfo fileInfo, QString subDir);

    ~TSFileInfo();

    /// Shares the contents.
    TSFileInfo(const TSFileInfo&) = default;
    /// Shares the contents of the other one from now on.
    TSFileInfo& operator=(const TSFileInfo&) = default;

    /// \return true when the path exists and is a regular file. Asks the file system at most once.
    bool found() const;

    /// \return the directory below the series directory: "" for a year file, "2024/05/17/13/" for a
    ///         minute file
    QString getSubDir() const;

    /// \return the number of components of the sub-directory; above 4 for a place that no series has
    DirDepth getDirDepth() const;

    /// \return the start of the file's period in milliseconds since the epoch (UTC), taken from its names
    ///         alone; 0 after a level-2 log line when they form no date in the years 0 to 9999
    qint64 getBaseTsMs() const;

private:
    QString subDir;
};

} // namespace Kiv
