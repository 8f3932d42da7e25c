#pragma once

// Owns what can be said about a series from its files, and what is to be looked after in them.

#include "Series.h"

#include <QStringList>

#include <array>
#include <optional>

namespace Kiv::Cli
{

struct SeriesFacts {
    QString unit;
    QString description;
    QStringList otherMarkers; ///< directories of other types in the base directory
    std::optional<Interpolate::DataRecord> first;
    std::optional<Interpolate::DataRecord> last;
    std::array<qint64, 5> fileCounts{}; ///< record files by their depth, years first
    qint64 fileCount = 0;
    qint64 recordCount = 0;
    qint64 sizeBytes = 0;        ///< record files and the files of their values
    qint64 lateCount = 0;        ///< entries of the late-write log
    qint64 overwrittenCount = 0; ///< timestamps in the overwrite history
    QStringList warnings;

    std::optional<double> bytesPerRecord() const;
};

SeriesFacts describe(const Series& series);

} // namespace Kiv::Cli
