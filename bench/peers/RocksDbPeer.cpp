// RocksDB with a large write buffer, a block cache that holds everything, and a Bloom filter.

#include "LogStructuredPeer.h"

#include <rocksdb/cache.h>
#include <rocksdb/db.h>
#include <rocksdb/filter_policy.h>
#include <rocksdb/table.h>
#include <rocksdb/write_batch.h>

namespace Bench
{

namespace
{

struct RocksDb {
    using Database = rocksdb::DB;
    using WriteBatch = rocksdb::WriteBatch;
    using Slice = rocksdb::Slice;
    using Iterator = rocksdb::Iterator;
    using Status = rocksdb::Status;
    using WriteOptions = rocksdb::WriteOptions;
    using ReadOptions = rocksdb::ReadOptions;

    static Status eraseRange(Database& database, const WriteOptions& options, const Slice& begin,
                             const Slice& end)
    {
        return database.DeleteRange(options, database.DefaultColumnFamily(), begin, end);
    }
};

std::unique_ptr<rocksdb::DB> openDatabase(const std::string& directory)
{
    rocksdb::BlockBasedTableOptions table;
    table.block_cache = rocksdb::NewLRUCache(kCacheBytes);
    table.filter_policy.reset(rocksdb::NewBloomFilterPolicy(kBloomBitsPerKey));
    rocksdb::Options options;
    options.create_if_missing = true;
    options.write_buffer_size = kWriteBufferBytes;
    options.compression = rocksdb::kNoCompression;
    options.table_factory.reset(rocksdb::NewBlockBasedTableFactory(table));
    rocksdb::DB* database = nullptr;
    const rocksdb::Status status = rocksdb::DB::Open(options, directory, &database);
    if (!status.ok())
        throw std::runtime_error(status.ToString());
    return std::unique_ptr<rocksdb::DB>(database);
}

} // namespace

std::unique_ptr<Peer> openRocksDb(const std::string& directory)
{
    return std::make_unique<LogStructuredPeer<RocksDb>>(openDatabase(directory));
}

} // namespace Bench
