#pragma once

// Owns one record file opened for reading, with its companion: positions, single records, scans. Never
// writes.

#include "Interpolate.h"

#include "internal/BlockScan.h"
#include "internal/FileAccess.h"
#include "internal/FilePlace.h"
#include "internal/LogTexts.h"
#include "internal/RecordLayout.h"
#include "internal/VarFile.h"

#include <QByteArray>
#include <QFile>
#include <QMetaType>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Kiv::Internal
{

class RecordFile
{
public:
    RecordFile(const FilePlace& place, QMetaType::Type type);

    /// Opens the file read-only, with retries. A failure is one further line: `failureText` with the path.
    /// \param baseMs  the base time when it is known; taking it from names that form no date is a log line
    bool open(const LogText& failureText, std::optional<qint64> baseMs = std::nullopt);

    const QString& path() const { return m_place.path; }
    const RecordShape& shape() const { return m_shape; }
    qint64 baseMs() const { return m_baseMs; }
    qint64 sizeBytes() const { return m_sizeBytes; }
    int handle() const { return m_file.handle(); }
    VarFile& values() { return m_values; }

    /// Whole records as position arithmetic counts them.
    qint64 recordCount() const { return m_sizeBytes / m_shape.recordSize(); }

    /// True once bytes that are in the file could not be read; positions and records are then no basis for
    /// removing anything.
    bool hasReadError() const { return m_hasReadError; }

    /// Position at which a binary search for the timestamp ends.
    qint64 search(qint64 timestampMs) const;

    /// The same, on the first of the records there whose offsets are equal.
    qint64 searchFirst(qint64 timestampMs) const;

    /// The record at a position; bytes beyond the end of the file read as zero, a value that is not all
    /// there as null or zero.
    /// \param endBytes  out: where the read ended
    Interpolate::DataRecord readAt(qint64 positionBytes, qint64& endBytes);

    /// The first record, the last record; (base time, zero or null) in a file without a whole record.
    Interpolate::DataRecord first();
    Interpolate::DataRecord last();

    /// Appends every whole record whose timestamp is wanted, in file order. All values are read, so that each
    /// one that cannot be read shows in the log.
    /// \param isWanted  called as isWanted(qint64 timestampMs) -> bool
    /// \return false when not all records, or not all wanted values, could be read back
    template <typename IsWanted>
    bool readAll(std::vector<Interpolate::DataRecord>& records, IsWanted isWanted);
    bool readAll(std::vector<Interpolate::DataRecord>& records);

    /// The bytes of all whole records. \return false when not all could be read
    bool readAllBytes(QByteArray& bytes) const;

private:
    struct Decoded {
        Interpolate::DataRecord record;
        bool isIntact;
    };
    Decoded decode(const char* bytes);
    qint64 offsetAt(qint64 positionBytes) const;
    /// A copy of more bytes costs more than the probes it saves.
    static constexpr qint64 kWindowBytes = 8192;

    void readWindow(qint64 lowBytes, qint64 highBytes) const;
    qint64 readBytes(char* bytes, qint64 countBytes, qint64 positionBytes) const;

    FilePlace m_place;
    RecordShape m_shape;
    QFile m_file;
    VarFile m_values;
    qint64 m_baseMs = 0;
    qint64 m_sizeBytes = 0;
    mutable bool m_hasReadError = false;
    mutable std::unique_ptr<char[]> m_window; ///< bytes of the file from m_windowStart on
    mutable qint64 m_windowStart = 0;
    mutable qint64 m_windowBytes = 0;
};

template <typename IsWanted>
bool RecordFile::readAll(std::vector<Interpolate::DataRecord>& records, IsWanted isWanted)
{
    bool areIntact = true;
    const ScanEnd end = scanRecords(handle(), 0, m_sizeBytes, m_shape.strideBytes(), [&](const char* bytes) {
        Decoded decoded = decode(bytes);
        if (isWanted(decoded.record.timestamp)) {
            areIntact = areIntact && decoded.isIntact;
            records.push_back(std::move(decoded.record));
        }
        return true;
    });
    return areIntact && end == ScanEnd::AtEnd;
}

} // namespace Kiv::Internal
