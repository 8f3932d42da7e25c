#pragma once

// Owns the list of the files of a series, those that are no records included.

#include "Series.h"

#include <QStringList>

#include <array>
#include <optional>
#include <vector>

namespace Kiv::Cli
{

/// One record file as it lies on the disk.
struct SeriesFile {
    TSFileInfo place;
    qint64 sizeBytes = 0;
    qint64 recordSizeBytes = 0;
    std::optional<qint64> varSizeBytes; ///< of the file of its values, when there is one

    qint64 recordCount() const { return sizeBytes / recordSizeBytes; }
    qint64 tornBytes() const { return sizeBytes % recordSizeBytes; }
    qint64 allBytes() const { return sizeBytes + varSizeBytes.value_or(0); }
};

/// Paths of others are relative to the base directory of the series.
struct SeriesFiles {
    std::vector<SeriesFile> records; ///< in time order
    QStringList foreign;             ///< files and directories that no series has
    QStringList unfinished;          ///< what a write or delete left that was interrupted
    QStringList emptyDirectories;    ///< of the calendar; they hide what lies beside them

    qint64 recordCount() const;
    qint64 sizeBytes() const; ///< record files and the files of their values
};

/// Looks at names and sizes only. Symbolic links are followed as the store follows them.
SeriesFiles listFiles(const Series& series);

/// The names from the year on that lead to a record file: 2024, 05, 17.
QStringList calendarNames(const TSFileInfo& place);

/// "2024", "2024-05", "2024-05-17", "2024-05-17T13", "2024-05-17T13:45"
QString periodText(const QStringList& calendarNames);

/// What the depths of the calendar are called: year, month, day, hour, minute.
inline constexpr std::array<const char*, 5> kDepthWords = {"year", "month", "day", "hour", "minute"};

} // namespace Kiv::Cli
