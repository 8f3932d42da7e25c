// SQLite: one table keyed by the timestamp, WITHOUT ROWID, in WAL mode; every statement is prepared once.

#include "Peer.h"

#include <sqlite3.h>

#include <stdexcept>

namespace Bench
{

namespace
{

class Statement
{
public:
    Statement(sqlite3* database, const char* text) : m_database(database)
    {
        if (sqlite3_prepare_v3(database, text, -1, SQLITE_PREPARE_PERSISTENT, &m_statement, nullptr) !=
            SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(database));
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int index, qint64 value)
    {
        sqlite3_bind_int64(m_statement, index, value);
        return *this;
    }
    Statement& bind(int index, double value)
    {
        sqlite3_bind_double(m_statement, index, value);
        return *this;
    }

    /// \return true while there are rows
    bool step()
    {
        const int result = sqlite3_step(m_statement);
        if (result == SQLITE_ROW)
            return true;
        if (result != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(m_database));
        return false;
    }
    void reset() { sqlite3_reset(m_statement); }
    void run()
    {
        step();
        reset();
    }

    qint64 integer(int column) const { return sqlite3_column_int64(m_statement, column); }
    double real(int column) const { return sqlite3_column_double(m_statement, column); }

    /// The one row (timestamp, value) of a query, if there is one.
    std::optional<Sample> sample()
    {
        std::optional<Sample> found;
        if (step())
            found = Sample{integer(0), real(1)};
        reset();
        return found;
    }

private:
    sqlite3* m_database;
    sqlite3_stmt* m_statement = nullptr;
};

class Database
{
public:
    Database(const std::string& path, const std::string& synchronous)
    {
        if (sqlite3_open(path.c_str(), &m_handle) != SQLITE_OK)
            throw std::runtime_error("SQLite cannot open its file");
        run("PRAGMA page_size=8192; PRAGMA journal_mode=WAL; PRAGMA cache_size=-262144; PRAGMA "
            "mmap_size=1073741824;"
            "PRAGMA temp_store=MEMORY; PRAGMA synchronous=" +
            synchronous +
            ";"
            "CREATE TABLE IF NOT EXISTS samples(t INTEGER PRIMARY KEY, v REAL) WITHOUT ROWID;");
    }
    ~Database() { sqlite3_close(m_handle); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void run(const std::string& text)
    {
        if (sqlite3_exec(m_handle, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(m_handle));
    }
    sqlite3* handle() { return m_handle; }

private:
    sqlite3* m_handle = nullptr;
};

class SqlitePeer : public Peer
{
public:
    SqlitePeer(const std::string& directory, const std::string& synchronous)
        : m_database(directory + "/samples.db", synchronous)
    {
    }

    void append(const Columns& columns, std::size_t begin, std::size_t end) override
    {
        m_begin.run();
        for (std::size_t i = begin; i < end; ++i)
            m_insert.bind(1, columns.timestamps[i]).bind(2, columns.values[i]).run();
        m_commit.run();
    }

    void insert(const Columns& batch) override { append(batch, 0, batch.size()); }

    void erase(Period period) override { m_erase.bind(1, period.from).bind(2, period.to).run(); }

    void scan(Period period, const Take& take) override
    {
        BlockFiller filler(take);
        m_scan.bind(1, period.from).bind(2, period.to);
        while (m_scan.step())
            filler.add(m_scan.integer(0), m_scan.real(1));
        m_scan.reset();
        filler.finish();
    }

    std::optional<double> find(qint64 timestamp) override
    {
        const std::optional<Sample> found = m_find.bind(1, timestamp).sample();
        return found ? std::optional(found->value) : std::nullopt;
    }

    Neighbours around(qint64 timestamp) override
    {
        return {m_before.bind(1, timestamp).sample(), m_after.bind(1, timestamp).sample()};
    }

    Sample last() override { return m_last.sample().value(); }

    qint64 count() override
    {
        m_count.step();
        const qint64 count = m_count.integer(0);
        m_count.reset();
        return count;
    }

    Columns hourlyMeans() override
    {
        Columns hours;
        while (m_hours.step())
            hours.add(m_hours.integer(0), m_hours.real(1));
        m_hours.reset();
        return hours;
    }

    double dailyResults(Period period) override
    {
        double sum = 0.0;
        m_days.bind(1, period.from).bind(2, period.to);
        while (m_days.step())
            sum += m_days.real(0) + m_days.real(1) + m_days.real(2);
        m_days.reset();
        return sum;
    }

private:
    Database m_database;
    Statement m_begin{m_database.handle(), "BEGIN"};
    Statement m_commit{m_database.handle(), "COMMIT"};
    Statement m_insert{m_database.handle(), "INSERT OR REPLACE INTO samples VALUES(?, ?)"};
    Statement m_erase{m_database.handle(), "DELETE FROM samples WHERE t BETWEEN ? AND ?"};
    Statement m_scan{m_database.handle(), "SELECT t, v FROM samples WHERE t BETWEEN ? AND ? ORDER BY t"};
    Statement m_find{m_database.handle(), "SELECT t, v FROM samples WHERE t = ?"};
    Statement m_before{m_database.handle(), "SELECT t, v FROM samples WHERE t < ? ORDER BY t DESC LIMIT 1"};
    Statement m_after{m_database.handle(), "SELECT t, v FROM samples WHERE t >= ? ORDER BY t LIMIT 1"};
    Statement m_last{m_database.handle(), "SELECT t, v FROM samples ORDER BY t DESC LIMIT 1"};
    Statement m_count{m_database.handle(), "SELECT count(*) FROM samples"};
    Statement m_hours{
        m_database.handle(),
        "SELECT (t / 3600000 + 1) * 3600000 AS hour, avg(v) FROM samples GROUP BY hour ORDER BY hour"};
    Statement m_days{m_database.handle(),
                     "SELECT min(v), max(v), avg(v) FROM samples WHERE t BETWEEN ? AND ? "
                     "GROUP BY t / 86400000"};
};

} // namespace

std::unique_ptr<Peer> openSqliteNormal(const std::string& directory)
{
    return std::make_unique<SqlitePeer>(directory, "NORMAL");
}

std::unique_ptr<Peer> openSqliteOff(const std::string& directory)
{
    return std::make_unique<SqlitePeer>(directory, "OFF");
}

} // namespace Bench
