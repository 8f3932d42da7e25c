// LMDB with a key per hour: all samples of the hour packed into one value, 4 bytes of offset and 8 of value
// each.

#include "Lmdb.h"
#include "Peer.h"

#include <algorithm>
#include <vector>

namespace Bench
{

namespace
{

constexpr std::size_t kPackedBytes = sizeof(quint32) + sizeof(double);

/// The packed samples of one hour, in time order.
class PackedHour
{
public:
    PackedHour(std::size_t hour, const MDB_val& value)
        : m_baseMs(static_cast<qint64>(hour) * kHourMs),
          m_bytes(static_cast<const char*>(value.mv_data)),
          m_count(value.mv_size / kPackedBytes)
    {
    }

    std::size_t size() const { return m_count; }
    qint64 timestamp(std::size_t i) const
    {
        quint32 offset;
        std::memcpy(&offset, m_bytes + i * kPackedBytes, sizeof offset);
        return m_baseMs + offset;
    }
    double value(std::size_t i) const
    {
        double value;
        std::memcpy(&value, m_bytes + i * kPackedBytes + sizeof(quint32), sizeof value);
        return value;
    }
    Sample at(std::size_t i) const { return {timestamp(i), value(i)}; }

    /// Index of the first sample at or after a timestamp.
    std::size_t place(qint64 wanted) const
    {
        std::size_t low = 0;
        for (std::size_t high = m_count; low < high;) {
            const std::size_t middle = low + (high - low) / 2;
            if (timestamp(middle) < wanted)
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    }
    std::vector<char> bytes(std::size_t begin, std::size_t end) const
    {
        return {m_bytes + begin * kPackedBytes, m_bytes + end * kPackedBytes};
    }

private:
    qint64 m_baseMs;
    const char* m_bytes;
    std::size_t m_count;
};

void pack(std::vector<char>& bytes, qint64 timestamp, double value)
{
    const quint32 offset = static_cast<quint32>(timestamp % kHourMs);
    const std::size_t at = bytes.size();
    bytes.resize(at + kPackedBytes);
    std::memcpy(bytes.data() + at, &offset, sizeof offset);
    std::memcpy(bytes.data() + at + sizeof offset, &value, sizeof value);
}

std::size_t hourOf(qint64 timestamp)
{
    return static_cast<std::size_t>(timestamp / kHourMs);
}

class LmdbHoursPeer : public Peer
{
public:
    explicit LmdbHoursPeer(const std::string& directory) : m_environment(directory) {}

    void append(const Columns& columns, std::size_t begin, std::size_t end) override
    {
        LmdbTransaction transaction(m_environment, 0);
        for (std::size_t i = begin; i < end;) {
            const std::size_t hour = hourOf(columns.timestamps[i]);
            std::vector<char> bytes = load(transaction, hour);
            for (; i < end && hourOf(columns.timestamps[i]) == hour; ++i)
                pack(bytes, columns.timestamps[i], columns.values[i]);
            transaction.put(hour, bytes.data(), bytes.size(), 0);
        }
        transaction.commit();
    }

    void insert(const Columns& batch) override
    {
        std::vector<std::size_t> order(batch.size());
        for (std::size_t i = 0; i < order.size(); ++i)
            order[i] = i;
        std::sort(order.begin(), order.end(),
                  [&](std::size_t a, std::size_t b) { return batch.timestamps[a] < batch.timestamps[b]; });
        LmdbTransaction transaction(m_environment, 0);
        for (auto i = order.begin(); i != order.end();) {
            const std::size_t hour = hourOf(batch.timestamps[*i]);
            const auto end = std::find_if(
                i, order.end(), [&](std::size_t other) { return hourOf(batch.timestamps[other]) != hour; });
            mergeIntoHour(transaction, hour, batch, {i, end});
            i = end;
        }
        transaction.commit();
    }

    void erase(Period period) override
    {
        LmdbTransaction transaction(m_environment, 0);
        std::size_t hour = hourOf(period.from);
        auto value = transaction.move(hour, MDB_SET_RANGE);
        while (value && hour <= hourOf(period.to)) {
            const PackedHour packed(hour, *value);
            std::vector<char> kept = packed.bytes(0, packed.place(period.from));
            const std::vector<char> behind = packed.bytes(packed.place(period.to + 1), packed.size());
            kept.insert(kept.end(), behind.begin(), behind.end());
            if (kept.empty()) {
                transaction.eraseCurrent();
                value = transaction.move(hour, MDB_GET_CURRENT);
            } else {
                transaction.put(hour, kept.data(), kept.size(), 0);
                value = transaction.move(hour, MDB_NEXT);
            }
        }
        transaction.commit();
    }

    void scan(Period period, const Take& take) override
    {
        BlockFiller filler(take);
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        std::size_t hour = hourOf(period.from);
        auto value = transaction.move(hour, MDB_SET_RANGE);
        for (; value && hour <= hourOf(period.to); value = transaction.move(hour, MDB_NEXT)) {
            const PackedHour packed(hour, *value);
            const std::size_t end = packed.place(period.to + 1);
            for (std::size_t i = packed.place(period.from); i < end; ++i)
                filler.add(packed.timestamp(i), packed.value(i));
        }
        filler.finish();
    }

    std::optional<double> find(qint64 timestamp) override
    {
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        std::size_t hour = hourOf(timestamp);
        const auto value = transaction.move(hour, MDB_SET);
        if (!value)
            return std::nullopt;
        const PackedHour packed(hour, *value);
        const std::size_t place = packed.place(timestamp);
        if (place == packed.size() || packed.timestamp(place) != timestamp)
            return std::nullopt;
        return packed.value(place);
    }

    Neighbours around(qint64 timestamp) override
    {
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        Neighbours found;
        std::size_t hour = hourOf(timestamp);
        auto value = transaction.move(hour, MDB_SET_RANGE);
        if (value) {
            const PackedHour packed(hour, *value);
            const std::size_t place = packed.place(timestamp);
            if (place > 0)
                found.before = packed.at(place - 1);
            if (place < packed.size())
                found.after = packed.at(place);
        }
        if (!found.before)
            found.before = lastOf(transaction, value ? MDB_PREV : MDB_LAST);
        else if (!found.after)
            found.after = firstOfNext(transaction);
        return found;
    }

    Sample last() override
    {
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        return lastOf(transaction, MDB_LAST).value();
    }

    qint64 count() override
    {
        qint64 count = 0;
        LmdbTransaction transaction(m_environment, MDB_RDONLY);
        std::size_t hour = 0;
        for (auto value = transaction.move(hour, MDB_FIRST); value; value = transaction.move(hour, MDB_NEXT))
            count += static_cast<qint64>(value->mv_size / kPackedBytes);
        return count;
    }

private:
    struct Run {
        std::vector<std::size_t>::const_iterator begin;
        std::vector<std::size_t>::const_iterator end;
    };

    static std::vector<char> load(LmdbTransaction& transaction, std::size_t hour)
    {
        const auto value = transaction.move(hour, MDB_SET);
        return value ? PackedHour(hour, *value).bytes(0, value->mv_size / kPackedBytes) : std::vector<char>();
    }

    static void mergeIntoHour(LmdbTransaction& transaction, std::size_t hour, const Columns& batch, Run run)
    {
        const std::vector<char> old = load(transaction, hour);
        const PackedHour packed(hour, {old.size(), const_cast<char*>(old.data())});
        std::vector<char> merged;
        merged.reserve(old.size() + static_cast<std::size_t>(run.end - run.begin) * kPackedBytes);
        std::size_t taken = 0;
        for (auto i = run.begin; i != run.end; ++i) {
            const qint64 timestamp = batch.timestamps[*i];
            // Of samples with one timestamp the last one stays.
            if (i + 1 != run.end && batch.timestamps[*(i + 1)] == timestamp)
                continue;
            const std::size_t place = packed.place(timestamp);
            merged.insert(merged.end(), old.data() + taken * kPackedBytes, old.data() + place * kPackedBytes);
            pack(merged, timestamp, batch.values[*i]);
            const bool isReplaced = place < packed.size() && packed.timestamp(place) == timestamp;
            taken = place + (isReplaced ? 1 : 0);
        }
        merged.insert(merged.end(), old.data() + taken * kPackedBytes, old.data() + old.size());
        transaction.put(hour, merged.data(), merged.size(), 0);
    }

    static std::optional<Sample> lastOf(LmdbTransaction& transaction, MDB_cursor_op operation)
    {
        std::size_t hour = 0;
        const auto value = transaction.move(hour, operation);
        if (!value)
            return std::nullopt;
        const PackedHour packed(hour, *value);
        return packed.at(packed.size() - 1);
    }

    static std::optional<Sample> firstOfNext(LmdbTransaction& transaction)
    {
        std::size_t hour = 0;
        const auto value = transaction.move(hour, MDB_NEXT);
        return value ? std::optional(PackedHour(hour, *value).at(0)) : std::nullopt;
    }

    LmdbEnvironment m_environment;
};

} // namespace

std::unique_ptr<Peer> openLmdbHours(const std::string& directory)
{
    return std::make_unique<LmdbHoursPeer>(directory);
}

} // namespace Bench
