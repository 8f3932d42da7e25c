"""What the rows are called, how their figures read, and what is wanted of them."""

from dataclasses import dataclass, field

LAYOUTS = ("month", "day", "hour")


@dataclass(frozen=True)
class Wanted:
    """`rate`: samples per second; `speed`: at least this share of the limit's speed; `time`: at most this many
    times the limit's time; `mebibytes`: peak memory."""

    kind: str
    value: float

    def __str__(self):
        return {
            "rate": f"{self.value / 1e6:g} M/s" if self.value >= 1e6 else f"{self.value / 1e3:g} k/s",
            "speed": f"{self.value:g} of the limit",
            "time": f"{self.value:g} × the limit's time",
            "mebibytes": f"{self.value:g} MiB",
        }[self.kind]


@dataclass(frozen=True)
class Row:
    name: str
    work: str
    unit: str  # "samples/s", "calls/s", "ms" or "MiB"
    wanted: dict = field(default_factory=dict)  # by (variant, layout); "*" stands for any

    @property
    def is_rate(self):
        return self.unit.endswith("/s")

    def wanted_of(self, variant, layout):
        for key in ((variant, layout), (variant, "*"), ("*", layout), ("*", "*")):
            if key in self.wanted:
                return self.wanted[key]
        return None


def every(kind, value):
    return {("*", "*"): Wanted(kind, value)}


ROWS = [
    Row("W1", "append all in batches of 10,000, the file complete after each", "samples/s",
        {("*", "day"): Wanted("rate", 30e6), ("*", "hour"): Wanted("rate", 10e6)}),
    Row("W2", "20,000 appends of one sample, a storage object each time", "samples/s", every("rate", 120e3)),
    Row("W3", "2,000 batches of 100 late samples anywhere", "samples/s", every("speed", 0.8)),
    Row("W3c", "the same, each batch inside one hour", "samples/s", {("*", "hour"): Wanted("rate", 1e6)}),
    Row("R1q", "raw scan into a vector of records", "samples/s", every("speed", 0.95)),
    Row("R1", "raw scan into columns: the whole, or block by block", "samples/s", every("speed", 0.95)),
    Row("R2", "an hourly aggregate of everything", "samples/s",
        {(name, "*"): Wanted("speed", 0.8) for name in ("mean", "sum", "min", "max", "count")}),
    Row("R3", "daily min, max and mean of one month", "ms", every("speed", 0.8)),
    Row("R4", "count of everything", "ms", every("time", 1.2)),
    Row("R5", "10,000 random exact look-ups", "calls/s", every("rate", 200e3)),
    Row("R6", "last value", "calls/s", every("time", 1.3)),
    Row("R7", "the value at every quarter of an hour", "ms", every("time", 1.5)),
    Row("D1", "delete one month in the middle", "ms", every("time", 1.5)),
    Row("M", "peak memory of one read in a process of its own", "MiB",
        {("R1q", "*"): Wanted("mebibytes", 205), ("R2", "*"): Wanted("mebibytes", 10)}),
]

LIMITS = {
    "limit": "limit",
    "limit_each": "limit sample by sample",
    "limit_two_passes": "limit in two passes",
    "limit_probes": "limit by binary search",
}

PEERS = {
    "sqlite_normal": "SQLite, synchronous=NORMAL",
    "sqlite_off": "SQLite, synchronous=OFF",
    "lmdb_rows": "LMDB, a key per sample",
    "lmdb_hours": "LMDB, a key per hour",
    "leveldb": "LevelDB",
    "rocksdb": "RocksDB",
    "rrdtool": "RRDtool",
}

DURABILITY = {
    "ours": "with the operating system when the call returns; never synced (a delete syncs the files that it renews)",
    "sqlite_normal": "WAL, one transaction per batch; synced at checkpoints only",
    "sqlite_off": "WAL, one transaction per batch; never synced",
    "lmdb_rows": "one transaction per batch, MDB_NOSYNC; never synced",
    "lmdb_hours": "one transaction per batch, MDB_NOSYNC; never synced",
    "leveldb": "write-ahead log, sync=false; never synced",
    "rocksdb": "write-ahead log, sync=false; never synced",
    "rrdtool": "memory-mapped; never synced. One value per whole second, without the jitter; keeps hourly means",
}

# Measured elsewhere, on other machines: for orientation only.
QUOTED = [("DuckDB", "51 M/s"), ("ClickHouse", "34 M/s"), ("InfluxDB", "22 ms")]
