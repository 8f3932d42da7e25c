#include "internal/SwapFiles.h"

#include "internal/VarFile.h"

namespace Kiv::Internal
{

namespace
{

bool isSwapDue(const QString& recordPath)
{
    const QString replacement = swapPathOf(recordPath);
    return isRegularFile(replacement) && !fileExists(varPathOf(replacement));
}

} // namespace

QString swapPathOf(const QString& recordPath)
{
    return recordPath + QLatin1String(".reorg");
}

QString currentRecordPath(const QString& recordPath)
{
    return isSwapDue(recordPath) ? swapPathOf(recordPath) : recordPath;
}

QString completeSwap(const QString& recordPath)
{
    if (!isSwapDue(recordPath))
        return recordPath;
    const QString replacement = swapPathOf(recordPath);
    return renameFile(replacement, recordPath).ok() ? recordPath : replacement;
}

IoResult swapPair(const QString& recordPath)
{
    const QString replacement = swapPathOf(recordPath);
    if (const IoResult result = renameFile(varPathOf(replacement), varPathOf(recordPath)); !result.ok()) {
        removeSwapFiles(recordPath);
        return result;
    }
    return renameFile(replacement, recordPath);
}

IoResult swapFile(const QString& recordPath)
{
    const QString replacement = swapPathOf(recordPath);
    const IoResult result = renameFile(replacement, recordPath);
    if (!result.ok() && fileExists(recordPath))
        removeSwapFiles(recordPath);
    return result;
}

void removeSwapFiles(const QString& recordPath)
{
    // The record file goes first: alone it would be taken for a rename that is due.
    const QString replacement = swapPathOf(recordPath);
    if (removeFile(replacement).ok())
        static_cast<void>(removeFile(varPathOf(replacement)).ok());
}

} // namespace Kiv::Internal
