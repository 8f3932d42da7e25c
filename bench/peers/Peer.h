#pragma once

// Owns what the rows ask of another embedded store. A store stays open between calls; a batch is one
// transaction, and none is synced. Stores that fail throw.

#include "Workload.h"

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>

namespace Bench
{

struct Sample {
    qint64 timestamp;
    double value;
};

/// The samples before and at or after a time, where they exist.
struct Neighbours {
    std::optional<Sample> before;
    std::optional<Sample> after;
};

inline constexpr Period kAllTime = {0, std::numeric_limits<qint64>::max() - 1};

class Peer
{
public:
    /// Receives the next samples of a scan.
    using Take = std::function<void(const Columns& block)>;

    Peer() = default;
    virtual ~Peer() = default;
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// Stores a batch that is in order and newer than all that is stored.
    virtual void append(const Columns& columns, std::size_t begin, std::size_t end) = 0;
    /// Stores a batch in any order; what has the same timestamp is replaced.
    virtual void insert(const Columns& batch) = 0;
    virtual void erase(Period period) = 0;

    virtual void scan(Period period, const Take& take) = 0;
    virtual std::optional<double> find(qint64 timestamp) = 0;
    virtual Neighbours around(qint64 timestamp) = 0;
    virtual Sample last() = 0;

    /// What a store can do better than by scanning.
    virtual qint64 count();
    virtual Columns hourlyMeans();
    /// The sum of the minima, maxima and means of the days.
    virtual double dailyResults(Period period);
};

/// A batch of samples on its way to Peer::Take.
class BlockFiller
{
public:
    explicit BlockFiller(const Peer::Take& take) : m_take(take) { m_block.reserve(kBlockSize); }

    void add(qint64 timestamp, double value)
    {
        m_block.add(timestamp, value);
        if (m_block.size() == kBlockSize)
            finish();
    }
    void finish()
    {
        m_take(m_block);
        m_block.timestamps.clear();
        m_block.values.clear();
    }

private:
    static constexpr std::size_t kBlockSize = 1024;

    const Peer::Take& m_take;
    Columns m_block;
};

using OpenPeer = std::unique_ptr<Peer> (*)(const std::string& directory);

std::unique_ptr<Peer> openSqliteNormal(const std::string& directory);
std::unique_ptr<Peer> openSqliteOff(const std::string& directory);
std::unique_ptr<Peer> openLmdbRows(const std::string& directory);
std::unique_ptr<Peer> openLmdbHours(const std::string& directory);
std::unique_ptr<Peer> openLevelDb(const std::string& directory);
std::unique_ptr<Peer> openRocksDb(const std::string& directory);

/// RRDtool holds no time of its own per sample, so it has few rows.
void addRrdRows();

} // namespace Bench
