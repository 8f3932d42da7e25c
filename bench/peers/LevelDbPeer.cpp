// LevelDB with a large write buffer, a block cache that holds everything, and a Bloom filter.

#include "LogStructuredPeer.h"

#include <leveldb/cache.h>
#include <leveldb/db.h>
#include <leveldb/filter_policy.h>
#include <leveldb/write_batch.h>

namespace Bench
{

namespace
{

struct LevelDb {
    using Database = leveldb::DB;
    using WriteBatch = leveldb::WriteBatch;
    using Slice = leveldb::Slice;
    using Iterator = leveldb::Iterator;
    using Status = leveldb::Status;
    using WriteOptions = leveldb::WriteOptions;
    using ReadOptions = leveldb::ReadOptions;

    /// There is no range deletion: every key gets its tombstone.
    static Status eraseRange(Database& database, const WriteOptions& options, const Slice& begin,
                             const Slice& end)
    {
        const std::unique_ptr<Iterator> iterator(database.NewIterator({}));
        iterator->Seek(begin);
        Status status;
        while (status.ok() && iterator->Valid() && iterator->key().compare(end) < 0) {
            WriteBatch batch;
            for (std::size_t i = 0; i < kBatchSize && iterator->Valid() && iterator->key().compare(end) < 0;
                 ++i) {
                batch.Delete(iterator->key());
                iterator->Next();
            }
            status = database.Write(options, &batch);
        }
        return status;
    }
};

/// Cache and filter must outlive the database.
struct LevelDbParts {
    std::unique_ptr<leveldb::Cache> cache{leveldb::NewLRUCache(kCacheBytes)};
    std::unique_ptr<const leveldb::FilterPolicy> filter{leveldb::NewBloomFilterPolicy(kBloomBitsPerKey)};
};

std::unique_ptr<leveldb::DB> openDatabase(const std::string& directory, const LevelDbParts& parts)
{
    leveldb::Options options;
    options.create_if_missing = true;
    options.write_buffer_size = kWriteBufferBytes;
    options.block_cache = parts.cache.get();
    options.filter_policy = parts.filter.get();
    options.compression = leveldb::kNoCompression;
    leveldb::DB* database = nullptr;
    const leveldb::Status status = leveldb::DB::Open(options, directory, &database);
    if (!status.ok())
        throw std::runtime_error(status.ToString());
    return std::unique_ptr<leveldb::DB>(database);
}

class LevelDbPeer : private LevelDbParts, public LogStructuredPeer<LevelDb>
{
public:
    explicit LevelDbPeer(const std::string& directory) : LogStructuredPeer(openDatabase(directory, *this)) {}
};

} // namespace

std::unique_ptr<Peer> openLevelDb(const std::string& directory)
{
    return std::make_unique<LevelDbPeer>(directory);
}

} // namespace Bench
