#pragma once

// Owns the forecast of a deletion: which records and files a range takes.

#include "Series.h"
#include "TimeBound.h"

#include <QStringList>

#include <vector>

namespace Kiv::Cli
{

/// What becomes of one record file.
struct FileFate {
    QString path;
    qint64 deletedCount = 0;
    qint64 recordCount = 0;

    bool isRemoved() const { return deletedCount == recordCount; }
    bool operator==(const FileFate&) const = default;
};

struct DeletePlan {
    TimeRange range; ///< as the store takes it: symbols are resolved where a timestamp says the same
    qint64 fromMs = 0;
    qint64 toMs = 0;
    qint64 recordCount = 0;
    std::vector<FileFate> files; ///< in time order
    QString removedDirectory;    ///< when every record goes, the directory that goes with everything in it
    QStringList foreignFiles;    ///< below that directory, not the store's

    bool operator==(const DeletePlan&) const = default;
};

/// \param range  ends that the store takes as they are
/// \throws CommandError (refused) for a range that the store cannot delete
DeletePlan planDeletion(const Series& series, const TimeRange& range);

} // namespace Kiv::Cli
