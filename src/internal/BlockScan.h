#pragma once

// Owns the reading of a file in blocks of whole records. Knows only their length.

#include "internal/FileAccess.h"

#include <QByteArrayView>

#include <algorithm>
#include <memory>

namespace Kiv::Internal
{

inline constexpr qint64 kScanBlockBytes = 256 * 1024;

enum class ScanEnd {
    AtEnd,
    ByVisit,    ///< a visit wanted no more
    ReadFailed, ///< whole records were there that could not be read
};

/// Reads the whole records from a position to the end of a file, block by block.
///
/// \param visit  called as visit(QByteArrayView records) -> bool with one or more whole records of `strideBytes`
///               bytes, in file order; false ends the scan
/// \return how the scan ended. A partial record at the end is never visited.
template <typename Visit>
ScanEnd scanBlocks(int fd, qint64 positionBytes, qint64 endBytes, qint64 strideBytes, Visit visit)
{
    const qint64 blockBytes =
        std::min(kScanBlockBytes / strideBytes * strideBytes,
                 std::max<qint64>(endBytes - positionBytes, 0) / strideBytes * strideBytes);
    const auto block = std::make_unique_for_overwrite<char[]>(static_cast<std::size_t>(blockBytes));
    while (endBytes - positionBytes >= strideBytes) {
        const qint64 wanted = std::min(blockBytes, endBytes - positionBytes);
        const qint64 got = readAt(fd, block.get(), wanted, positionBytes) / strideBytes * strideBytes;
        if (got == 0)
            return ScanEnd::ReadFailed;
        if (!visit(QByteArrayView(block.get(), static_cast<qsizetype>(got))))
            return ScanEnd::ByVisit;
        positionBytes += got;
    }
    return ScanEnd::AtEnd;
}

/// The same record by record.
///
/// \param visit  called as visit(const char* bytes) -> bool with the `strideBytes` bytes of each record
template <typename Visit>
ScanEnd scanRecords(int fd, qint64 positionBytes, qint64 endBytes, qint64 strideBytes, Visit visit)
{
    const auto visitEach = [&visit, strideBytes](QByteArrayView records) {
        for (const char* bytes = records.begin(); bytes != records.end(); bytes += strideBytes) {
            if (!visit(bytes))
                return false;
        }
        return true;
    };
    return scanBlocks(fd, positionBytes, endBytes, strideBytes, visitEach);
}

} // namespace Kiv::Internal
