#pragma once

// Owns how a record file and its companion are replaced together. The new pair is written beside the old one,
// under names that no search takes for record files, and renamed into place, companion first. A left-over new
// record file without its companion therefore says that the second rename is still due, and is the one to
// read.

#include "internal/FileAccess.h"

#include <QString>

namespace Kiv::Internal
{

/// Path under which the replacement of a record file is written; that of its companion follows from it.
QString swapPathOf(const QString& recordPath);

/// Path of the record file to read: the replacement while its rename is due.
QString currentRecordPath(const QString& recordPath);

/// Renames a replacement whose rename is due into place. \return the path to open
QString completeSwap(const QString& recordPath);

/// Renames a complete new pair into place. After a failure the old or the new pair is what is read.
IoResult swapPair(const QString& recordPath);

/// The same for a record file without a companion.
IoResult swapFile(const QString& recordPath);

/// Removes what an interrupted replacement left behind.
void removeSwapFiles(const QString& recordPath);

} // namespace Kiv::Internal
