// LMDB with a key per sample: the timestamp as an integer key, the value as 8 bytes.

#include "Lmdb.h"
#include "Peer.h"

namespace Bench
{

namespace
{

double asDouble(const MDB_val& value)
{
    double result;
    std::memcpy(&result, value.mv_data, sizeof result);
    return result;
}

class LmdbRowsPeer : public Peer
{
public:
    explicit LmdbRowsPeer(const std::string& directory) : m_environment(directory) {}

    void append(const Columns& columns, std::size_t begin, std::size_t end) override
    {
        put(columns, begin, end, MDB_APPEND);
    }

    void insert(const Columns& batch) override { put(batch, 0, batch.size(), 0); }

    void erase(Period period) override
    {
        LmdbTransaction transaction(m_environment, 0);
        auto key = static_cast<std::size_t>(period.from);
        auto value = transaction.move(key, MDB_SET_RANGE);
        while (value && key <= static_cast<std::size_t>(period.to)) {
            transaction.eraseCurrent();
            value = transaction.move(key, MDB_GET_CURRENT);
        }
        transaction.commit();
    }

    void scan(Period period, const Take& take) override
    {
        BlockFiller filler(take);
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        auto key = static_cast<std::size_t>(period.from);
        auto value = transaction.move(key, MDB_SET_RANGE);
        for (; value && key <= static_cast<std::size_t>(period.to); value = transaction.move(key, MDB_NEXT))
            filler.add(static_cast<qint64>(key), asDouble(*value));
        filler.finish();
    }

    std::optional<double> find(qint64 timestamp) override
    {
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        auto key = static_cast<std::size_t>(timestamp);
        const auto value = transaction.move(key, MDB_SET);
        return value ? std::optional(asDouble(*value)) : std::nullopt;
    }

    Neighbours around(qint64 timestamp) override
    {
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        Neighbours found;
        auto key = static_cast<std::size_t>(timestamp);
        auto value = transaction.move(key, MDB_SET_RANGE);
        if (value)
            found.after = Sample{static_cast<qint64>(key), asDouble(*value)};
        value = transaction.move(key, value ? MDB_PREV : MDB_LAST);
        if (value)
            found.before = Sample{static_cast<qint64>(key), asDouble(*value)};
        return found;
    }

    Sample last() override
    {
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        std::size_t key = 0;
        const auto value = transaction.move(key, MDB_LAST);
        return {static_cast<qint64>(key), asDouble(value.value())};
    }

    qint64 count() override
    {
        MDB_stat status;
        requireLmdb(mdb_env_stat(m_environment.handle(), &status));
        return static_cast<qint64>(status.ms_entries);
    }

private:
    void put(const Columns& columns, std::size_t begin, std::size_t end, unsigned flags)
    {
        LmdbTransaction transaction(m_environment, 0);
        for (std::size_t i = begin; i < end; ++i)
            transaction.put(static_cast<std::size_t>(columns.timestamps[i]), &columns.values[i],
                            sizeof(double), flags);
        transaction.commit();
    }

    LmdbEnvironment m_environment;
};

} // namespace

std::unique_ptr<Peer> openLmdbRows(const std::string& directory)
{
    return std::make_unique<LmdbRowsPeer>(directory);
}

} // namespace Bench
