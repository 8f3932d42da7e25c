#pragma once

// Owns the one way in which LevelDB and RocksDB, whose interfaces are alike, are used: the timestamp as 8
// big-endian bytes for a key, the value as 8 bytes, a write batch per transaction.

#include "Peer.h"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace Bench
{

/// \tparam Api  the types of the store, and eraseRange(database, writeOptions, beginKey, endKey)
template <typename Api>
class LogStructuredPeer : public Peer
{
public:
    explicit LogStructuredPeer(std::unique_ptr<typename Api::Database> database)
        : m_database(std::move(database))
    {
    }

    void append(const Columns& columns, std::size_t begin, std::size_t end) override
    {
        typename Api::WriteBatch batch;
        for (std::size_t i = begin; i < end; ++i) {
            const Key key(columns.timestamps[i]);
            batch.Put(key.slice(), Slice(reinterpret_cast<const char*>(&columns.values[i]), sizeof(double)));
        }
        require(m_database->Write(m_writeOptions, &batch));
    }

    void insert(const Columns& batch) override { append(batch, 0, batch.size()); }

    void erase(Period period) override
    {
        require(Api::eraseRange(*m_database, m_writeOptions, Key(period.from).slice(),
                                Key(period.to + 1).slice()));
    }

    void scan(Period period, const Take& take) override
    {
        BlockFiller filler(take);
        const auto iterator = newIterator();
        const Key end(period.to + 1);
        for (iterator->Seek(Key(period.from).slice());
             iterator->Valid() && iterator->key().compare(end.slice()) < 0; iterator->Next())
            filler.add(timestampOf(iterator->key()), valueOf(iterator->value()));
        filler.finish();
    }

    std::optional<double> find(qint64 timestamp) override
    {
        std::string value;
        if (!m_database->Get(m_readOptions, Key(timestamp).slice(), &value).ok())
            return std::nullopt;
        return valueOf(value);
    }

    Neighbours around(qint64 timestamp) override
    {
        Neighbours found;
        const auto iterator = newIterator();
        iterator->Seek(Key(timestamp).slice());
        if (iterator->Valid()) {
            found.after = sampleOf(*iterator);
            iterator->Prev();
        } else {
            iterator->SeekToLast();
        }
        if (iterator->Valid())
            found.before = sampleOf(*iterator);
        return found;
    }

    Sample last() override
    {
        const auto iterator = newIterator();
        iterator->SeekToLast();
        return sampleOf(*iterator);
    }

private:
    using Slice = typename Api::Slice;
    using Iterator = typename Api::Iterator;

    class Key
    {
    public:
        explicit Key(qint64 timestamp) : m_bytes(__builtin_bswap64(static_cast<quint64>(timestamp))) {}
        Slice slice() const { return Slice(reinterpret_cast<const char*>(&m_bytes), sizeof m_bytes); }

    private:
        quint64 m_bytes;
    };

    std::unique_ptr<Iterator> newIterator()
    {
        return std::unique_ptr<Iterator>(m_database->NewIterator(m_readOptions));
    }

    static qint64 timestampOf(const Slice& key)
    {
        quint64 bytes;
        std::memcpy(&bytes, key.data(), sizeof bytes);
        return static_cast<qint64>(__builtin_bswap64(bytes));
    }

    static double valueOf(const Slice& bytes)
    {
        double value;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }

    static Sample sampleOf(const Iterator& iterator)
    {
        return {timestampOf(iterator.key()), valueOf(iterator.value())};
    }

    static void require(const typename Api::Status& status)
    {
        if (!status.ok())
            throw std::runtime_error(status.ToString());
    }

    std::unique_ptr<typename Api::Database> m_database;
    typename Api::WriteOptions m_writeOptions;
    typename Api::ReadOptions m_readOptions;
};

inline constexpr std::size_t kCacheBytes = std::size_t{256} << 20;
inline constexpr std::size_t kWriteBufferBytes = std::size_t{64} << 20;
inline constexpr int kBloomBitsPerKey = 10;

} // namespace Bench
