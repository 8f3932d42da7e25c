#pragma once

// Owns the handles of LMDB: one environment with one database of integer keys. Nothing is synced.

#include <lmdb.h>

#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

namespace Bench
{

inline void requireLmdb(int result)
{
    if (result != MDB_SUCCESS)
        throw std::runtime_error(mdb_strerror(result));
}

class LmdbEnvironment
{
public:
    explicit LmdbEnvironment(const std::string& directory)
    {
        constexpr std::size_t kMapBytes = std::size_t{4} << 30;
        requireLmdb(mdb_env_create(&m_environment));
        requireLmdb(mdb_env_set_mapsize(m_environment, kMapBytes));
        requireLmdb(mdb_env_open(m_environment, directory.c_str(), MDB_NOSYNC | MDB_NORDAHEAD, 0644));
        MDB_txn* transaction = nullptr;
        requireLmdb(mdb_txn_begin(m_environment, nullptr, 0, &transaction));
        requireLmdb(mdb_dbi_open(transaction, nullptr, MDB_INTEGERKEY, &m_database));
        requireLmdb(mdb_txn_commit(transaction));
    }
    ~LmdbEnvironment() { mdb_env_close(m_environment); }
    LmdbEnvironment(const LmdbEnvironment&) = delete;
    LmdbEnvironment& operator=(const LmdbEnvironment&) = delete;

    MDB_env* handle() const { return m_environment; }
    MDB_dbi database() const { return m_database; }

private:
    MDB_env* m_environment = nullptr;
    MDB_dbi m_database = 0;
};

/// A transaction with a cursor; ends without effect unless committed.
class LmdbTransaction
{
public:
    LmdbTransaction(const LmdbEnvironment& environment, unsigned flags)
    {
        requireLmdb(mdb_txn_begin(environment.handle(), nullptr, flags, &m_transaction));
        requireLmdb(mdb_cursor_open(m_transaction, environment.database(), &m_cursor));
    }
    ~LmdbTransaction()
    {
        if (m_cursor)
            mdb_cursor_close(m_cursor);
        if (m_transaction)
            mdb_txn_abort(m_transaction);
    }
    LmdbTransaction(const LmdbTransaction&) = delete;
    LmdbTransaction& operator=(const LmdbTransaction&) = delete;

    void commit()
    {
        mdb_cursor_close(m_cursor);
        m_cursor = nullptr;
        MDB_txn* const transaction = m_transaction;
        m_transaction = nullptr;
        requireLmdb(mdb_txn_commit(transaction));
    }

    /// Moves the cursor; `key` is where it starts and receives where it stands.
    /// \return the value there, nothing where there is none
    std::optional<MDB_val> move(std::size_t& key, MDB_cursor_op operation)
    {
        MDB_val keyBytes{sizeof key, &key};
        MDB_val value{};
        const int result = mdb_cursor_get(m_cursor, &keyBytes, &value, operation);
        if (result == MDB_NOTFOUND)
            return std::nullopt;
        requireLmdb(result);
        std::memcpy(&key, keyBytes.mv_data, sizeof key);
        return value;
    }

    void put(std::size_t key, const void* data, std::size_t bytes, unsigned flags)
    {
        MDB_val keyBytes{sizeof key, &key};
        MDB_val value{bytes, const_cast<void*>(data)};
        requireLmdb(mdb_cursor_put(m_cursor, &keyBytes, &value, flags));
    }

    void eraseCurrent() { requireLmdb(mdb_cursor_del(m_cursor, 0)); }

private:
    MDB_txn* m_transaction = nullptr;
    MDB_cursor* m_cursor = nullptr;
};

} // namespace Bench
