// The rows as other embedded stores do them, named row/variant/any/store. Appends, late samples and deletes
// start from copies of one filled store, like those of the series.

#include "Peer.h"
#include "Rows.h"

#include <filesystem>
#include <map>
#include <stdexcept>

namespace Bench
{

namespace
{

struct Store {
    const char* name;
    OpenPeer open;
};

constexpr Store kStores[] = {
    {"sqlite_normal", openSqliteNormal}, {"sqlite_off", openSqliteOff}, {"lmdb_rows", openLmdbRows},
    {"lmdb_hours", openLmdbHours},       {"leveldb", openLevelDb},      {"rocksdb", openRocksDb},
};

void appendAll(Peer& peer)
{
    for (std::size_t begin = 0; begin < samples().size(); begin += kBatchSize)
        peer.append(samples(), begin, std::min(begin + kBatchSize, samples().size()));
}

double checksumOf(Peer& peer)
{
    Checksum checksum;
    peer.scan(kAllTime, [&](const Columns& block) { checksum.add(block); });
    return checksum.value();
}

/// A store with all samples, built at first use and closed, so that its files can be copied.
const std::string& filledDirectory(const Store& store)
{
    static std::map<std::string, std::unique_ptr<Directory>> all;
    std::unique_ptr<Directory>& directory = all[store.name];
    if (!directory) {
        directory = std::make_unique<Directory>();
        appendAll(*store.open(directory->path()));
    }
    return directory->path();
}

/// A copy of a filled store, open, that goes with the object.
class CopiedPeer
{
public:
    explicit CopiedPeer(const Store& store)
    {
        std::filesystem::copy(filledDirectory(store), m_directory.path(),
                              std::filesystem::copy_options::recursive);
        m_peer = store.open(m_directory.path());
    }

    Peer& operator*() { return *m_peer; }
    Peer* operator->() { return m_peer.get(); }

private:
    Directory m_directory;
    std::unique_ptr<Peer> m_peer;
};

std::map<std::string, std::unique_ptr<CopiedPeer>>& openPeers()
{
    static std::map<std::string, std::unique_ptr<CopiedPeer>> all;
    return all;
}

/// The store that reading rows share, open.
Peer& sharedPeer(const Store& store)
{
    std::unique_ptr<CopiedPeer>& peer = openPeers()[store.name];
    if (!peer)
        peer = std::make_unique<CopiedPeer>(store);
    return **peer;
}

double asItems(std::size_t count)
{
    return static_cast<double>(count);
}

template <typename Body>
auto addPeerRow(const std::string& rowAndVariant, const Store& store, Body body)
{
    return addRow(rowAndVariant + "/any/" + store.name,
                  [&store, body](Stopwatch& watch) -> Outcome { return body(store, watch); });
}

Outcome append(const Store& store, Stopwatch& watch)
{
    const Directory directory;
    const std::unique_ptr<Peer> peer = store.open(directory.path());
    samples();
    watch.start();
    appendAll(*peer);
    watch.stop();
    return {asItems(samples().size()), checksumOf(*peer)};
}

Outcome appendSingles(const Store& store, Stopwatch& watch)
{
    CopiedPeer peer(store);
    const Columns newer = makeNewerSamples(kSingleAppendCount);
    watch.start();
    for (std::size_t i = 0; i < newer.size(); ++i)
        peer->append(newer, i, i + 1);
    watch.stop();
    return {asItems(newer.size()), checksumOf(*peer)};
}

template <std::vector<Columns> (*makeBatches)(std::size_t)>
Outcome insertLate(const Store& store, Stopwatch& watch)
{
    CopiedPeer peer(store);
    const std::vector<Columns> batches = makeBatches(kLateBatchCount);
    watch.start();
    for (const Columns& batch : batches)
        peer->insert(batch);
    watch.stop();
    return {asItems(batches.size() * kLateBatchSize), checksumOf(*peer)};
}

Outcome erase(const Store& store, Stopwatch& watch)
{
    CopiedPeer peer(store);
    watch.start();
    peer->erase(periodToDelete());
    watch.stop();
    return {1.0, checksumOf(*peer)};
}

Outcome scan(const Store& store, Stopwatch& watch)
{
    Peer& peer = sharedPeer(store);
    Columns all;
    watch.start();
    all.reserve(samples().size());
    peer.scan(kAllTime, [&](const Columns& block) {
        all.timestamps.insert(all.timestamps.end(), block.timestamps.begin(), block.timestamps.end());
        all.values.insert(all.values.end(), block.values.begin(), block.values.end());
    });
    watch.stop();
    Checksum checksum;
    checksum.add(all);
    return {asItems(all.size()), checksum.value()};
}

Outcome hourlyMeans(const Store& store, Stopwatch& watch)
{
    Peer& peer = sharedPeer(store);
    watch.start();
    const Columns hours = peer.hourlyMeans();
    watch.stop();
    Checksum checksum;
    checksum.add(hours);
    return {asItems(samples().size()), checksum.value()};
}

Outcome dailyResults(const Store& store, Stopwatch& watch)
{
    Peer& peer = sharedPeer(store);
    watch.start();
    const double sum = peer.dailyResults(periodToRead());
    watch.stop();
    return {1.0, sum};
}

Outcome count(const Store& store, Stopwatch& watch)
{
    Peer& peer = sharedPeer(store);
    watch.start();
    const qint64 count = peer.count();
    watch.stop();
    return {1.0, static_cast<double>(count)};
}

Outcome find(const Store& store, Stopwatch& watch)
{
    Peer& peer = sharedPeer(store);
    const std::vector<qint64> timestamps = makeLookups(kLookupCount);
    double sum = 0.0;
    watch.start();
    for (const qint64 timestamp : timestamps)
        sum += peer.find(timestamp).value();
    watch.stop();
    return {asItems(timestamps.size()), sum};
}

Outcome last(const Store& store, Stopwatch& watch)
{
    Peer& peer = sharedPeer(store);
    Sample sample{};
    watch.start();
    for (std::size_t i = 0; i < kLastCount; ++i)
        sample = peer.last();
    watch.stop();
    Checksum checksum;
    checksum.add(sample.timestamp, sample.value);
    return {asItems(kLastCount), checksum.value()};
}

Outcome readGrid(const Store& store, Stopwatch& watch)
{
    Peer& peer = sharedPeer(store);
    Columns points;
    watch.start();
    for (qint64 boundary = kStartMs + kGridMs;; boundary += kGridMs) {
        const Neighbours found = peer.around(boundary);
        if (!found.after)
            break;
        const double share = static_cast<double>(boundary - found.before->timestamp) /
                             static_cast<double>(found.after->timestamp - found.before->timestamp);
        points.add(boundary, found.before->value + (found.after->value - found.before->value) * share);
    }
    watch.stop();
    Checksum checksum;
    checksum.add(points);
    return {1.0, checksum.value()};
}

} // namespace

void addPeerRows()
{
    for (const Store& store : kStores) {
        addPeerRow("W1/records", store, append)->Iterations(1);
        addPeerRow("W2/-", store, appendSingles)->Iterations(1);
        addPeerRow("W3/-", store, insertLate<makeLateBatches>)->Iterations(1);
        addPeerRow("W3c/-", store, insertLate<makeLateBatchesWithinHours>)->Iterations(1);
        addPeerRow("D1/-", store, erase)->Iterations(1);
        addPeerRow("R1/whole", store, scan);
        addPeerRow("R2/mean", store, hourlyMeans);
        addPeerRow("R3/-", store, dailyResults);
        addPeerRow("R4/-", store, count);
        addPeerRow("R5/-", store, find);
        addPeerRow("R6/-", store, last);
        addPeerRow("R7/linear", store, readGrid);
    }
    addRrdRows();
}

void releasePeers()
{
    openPeers().clear();
}

} // namespace Bench
