#pragma once

// Owns what the names of the calendar tree mean: entry names, depths, base times. Reads no file system.

#include "internal/CivilTime.h"

#include <QString>

#include <optional>

namespace Kiv::Internal
{

inline constexpr int kMaxDepth = 4;

/// One place in the tree of a series, without the weight of a QFileInfo.
struct FilePlace {
    QString path;         ///< series directory + subDir + name; empty stands for no place
    QString subDir;       ///< below the series directory, "/" after every component
    int depth = 0;        ///< components of subDir
    bool found = false;   ///< a regular file was there when the place was looked up
    qint64 sizeBytes = 0; ///< of that file, then

    QString directory() const { return path.left(path.lastIndexOf(u'/')); }
    QString name() const { return path.mid(path.lastIndexOf(u'/') + 1); }
};

/// Components of a sub-directory; empty ones do not count.
int depthOfSubDir(const QString& subDir);

/// Name of the tree entry at a depth: the year with 4 digits (also for a depth outside 0 to 4), month,
/// day, hour and minute with 2, zero-padded.
QString entryName(const CivilFields& fields, int depth);

/// Start of the period of a file in milliseconds since the epoch (UTC), from its names alone; nothing when they
/// form no date in the years 0 to 9999.
std::optional<qint64> baseTimeIfValid(const QString& subDir, const QString& fileName);

/// Start of the period of a file in milliseconds since the epoch (UTC), from its names alone; 0 after a
/// level-2 log line when they form no date in the years 0 to 9999.
qint64 baseTimeMs(const QString& subDir, const QString& fileName);
qint64 baseTimeMs(const FilePlace& place);

} // namespace Kiv::Internal
