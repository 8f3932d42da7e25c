#pragma once

// Owns the position up to which a series, and its log of late writes, was seen.

#include "Series.h"
#include "ShrunkEnd.h"

#include <QStringList>

#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <vector>

namespace Kiv::Cli
{

/// Why a record is shown.
enum class TailKind {
    New,  ///< behind the last one seen
    Late, ///< written at or before it, as the log of late writes tells
};

/// Finds what came since the last look. A series that is deleted begins anew; when its end is deleted, what is written
/// there again is new, once the end has stayed away for a while. While files are split or begun, records may be missed
/// that a writer is just moving: what was read meanwhile is read again once the files have stayed as they are.
class SeriesTail
{
public:
    using Visitor = std::function<void(const Interpolate::DataRecord& record, TailKind kind)>;

    /// \param series  must outlive this
    explicit SeriesTail(const Series& series) : m_series(series) {}

    /// Takes all present records for seen.
    /// \return the last ones of them
    std::vector<Interpolate::DataRecord> start(qint64 count);

    /// Hands out what came since.
    /// \param nowMs  milliseconds on a clock that never goes back
    void look(qint64 nowMs, const Visitor& visit);

    /// Whether another look is due after ShrunkEnd::kSettleMs, also when nothing changes.
    bool isInDoubt() const { return m_isInDoubt || m_changedMs || !m_pendingLate.empty(); }

    /// The directories in which a change can mean new or late records.
    QStringList directories() const;

    const Series& series() const { return m_series; }

private:
    /// Of the log: the timestamp of a late write whose record is still to be shown.
    struct LateEntry {
        qint64 timestampMs = 0;
        qint64 sinceMs = 0; ///< when it was found in the log
    };

    std::vector<Interpolate::DataRecord> lastRecords(qint64 count) const;
    bool findLogEnd(const Series& log, qint64 nowMs);
    void takeLogEntries(qint64 nowMs);
    bool findEnd(qint64 nowMs);
    void lookForLate(qint64 nowMs, const Visitor& visit);
    void showLate(const Interpolate::DataRecord& record, const Visitor& visit);
    void lookForNew(const Visitor& visit);
    void settle(qint64 nowMs, const QStringList& namesBefore);

    const Series& m_series;
    std::optional<qint64> m_lastMs;     ///< of the last record seen
    std::optional<qint64> m_settledMs;  ///< up to here nothing can have been missed
    std::map<qint64, QVariant> m_shown; ///< all behind m_settledMs, and some before
    QStringList m_names;                ///< of the files from m_settledMs on, as the last look left them
    std::optional<qint64> m_changedMs;  ///< when they were last found changed, while that matters

    // Entries of the log share timestamps; it only grows.
    std::optional<qint64> m_logMs;
    std::size_t m_logCountAtMs = 0; ///< entries of that timestamp that were seen
    std::vector<LateEntry> m_pendingLate;

    ShrunkEnd m_end;
    ShrunkEnd m_logEnd;
    bool m_isInDoubt = false;
};

} // namespace Kiv::Cli
