#pragma once

// Owns the forecast of a deletion: which records and files a range takes.

#include "Series.h"
#include "TimeText.h"

#include <vector>

namespace Kiv::Cli
{

/// What becomes of one record file.
struct FileFate {
    QString path;
    qint64 deletedCount = 0;
    qint64 recordCount = 0;

    bool isRemoved() const { return deletedCount == recordCount; }
};

struct DeletePlan {
    qint64 fromMs = 0; ///< the range, symbols resolved
    qint64 toMs = 0;
    qint64 recordCount = 0;
    std::vector<FileFate> files; ///< in time order

    qint64 removedFileCount() const;
};

/// \param range  ends that the store takes as they are
DeletePlan planDeletion(const Series& series, const TimeRange& range);

} // namespace Kiv::Cli
