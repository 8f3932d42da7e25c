"""What the rows are called, how their figures read, and what is wanted of them."""

from dataclasses import dataclass, field

LAYOUTS = ("month", "day", "hour")


@dataclass(frozen=True)
class Wanted:
    """`rate`: samples per second, or, on another machine, at least that share of the limit's speed; `speed`: at least
    this share of the limit's speed; `time`: at most this many times the limit's time; `mebibytes`: peak memory.
    `judge` is the limit that is compared with."""

    kind: str
    value: float
    share: float = 0.0
    judge: str = "limit"

    def __str__(self):
        rate = f"{self.value / 1e6:g} M/s" if self.value >= 1e6 else f"{self.value / 1e3:g} k/s"
        return {
            "rate": f"{rate}, or {self.share:.2f} of the limit" if self.share else rate,
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
    rest: str = ""  # what the difference to the limit is spent on

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
        {("*", "day"): Wanted("rate", 30e6, 30 / 108), ("*", "hour"): Wanted("rate", 10e6, 10 / 14)},
        rest="Records carry a QVariant each, whose conversion is a third of the instructions; in columns it "
             "falls away. A split reads the file back and writes its records again as the files of a "
             "directory, and nothing of the old file goes before all of it is read."),
    Row("W2", "20,000 appends of one sample, a storage object each time", "samples/s",
        {("*", "*"): Wanted("rate", 120e3, 120 / 280)},
        rest="The kernel has 83 % of the time. A writer that knows nothing makes nine system calls, the limit "
             "five: beside those it looks for the file by year, month and day, and whether a companion has "
             "grown too large."),
    Row("W3", "2,000 batches of 100 late samples anywhere", "samples/s", every("speed", 0.8),
        rest="The limit writes what moved in one call. A process that is killed in such a call can lose old "
             "samples, so the file is written page by page towards its start, up to two calls a page: [the "
             "decision](../docs/decisions/late-inserts-move-backwards.md). The profile is those calls: copying "
             "31 %, their way through the kernel 35 %, our own code below 10 %."),
    Row("W3c", "the same, each batch inside one hour", "samples/s", {("*", "hour"): Wanted("rate", 1e6, 1 / 1.33)},
        rest="The same on small files: the page-wise writing and the searches."),
    Row("R1q", "raw scan into a vector of records", "samples/s", every("speed", 0.95),
        rest="Most of the time of both is the memory of the vector, 200 MB that the kernel clears page by "
             "page."),
    Row("R1", "raw scan into columns: the whole, or block by block", "samples/s", every("speed", 0.95),
        rest="The columns also say which values are null. Hour files: opening them, and walking the tree."),
    Row("R2", "an hourly aggregate of everything", "samples/s",
        {(name, "*"): Wanted("speed", 0.8, judge="limit_each") for name in ("mean", "sum", "min", "max", "count")},
        rest="The limit that only looks for the ends of the hours trusts that records ascend; a read looks at "
             "every timestamp, as does the limit sample by sample. Hour files: opening 1,389 of them."),
    Row("R3", "daily min, max and mean of one month", "ms",
        {("*", "*"): Wanted("speed", 0.8, judge="limit_two_passes")},
        rest="Two requests, minmax and meana, are two passes."),
    Row("R4", "count of everything", "ms", every("time", 1.2),
        rest="The range begins with the first sample, some milliseconds after its file begins, so that this "
             "file counts record by record, a month file as a whole; all others count by their size."),
    Row("R5", "10,000 random exact look-ups", "calls/s",
        {("*", "*"): Wanted("rate", 200e3, 200 / 330)},
        rest="The guess is exact only in a file whose records all ascend, which nobody has looked at: [the "
             "decision](../docs/decisions/searches-do-not-guess.md). The kernel has 81 % of the time: 15 calls "
             "a look-up, three to find the file, eight probes, opening, closing; the limit makes four."),
    Row("R6", "last value", "calls/s", every("time", 1.3),
        rest="The kernel has three quarters of the time."),
    Row("R7", "the value at every quarter of an hour", "ms", every("time", 1.5),
        rest="The limit seeks; a read looks at every timestamp, since records may be out of order. The kernel "
             "has 61 % of its time, copying all bytes once; that alone is longer than the limit."),
    Row("D1", "delete one month in the middle", "ms", every("time", 1.5),
        rest="Each file at the ends is read twice, to see whether anything goes and to copy; every file to be "
             "removed is opened first, since one that cannot be opened stays."),
    Row("M", "peak memory of one read in a process of its own", "MiB",
        {("R1q", "*"): Wanted("mebibytes", 205), ("R2", "*"): Wanted("mebibytes", 10)},
        rest="The process itself with the library loaded; the limit's is smaller by the same share before it "
             "reads."),
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
QUOTED = [
    ("DuckDB, two threads", "R2, hourly mean", "51 M/s"),
    ("DuckDB, two threads", "R3", "32 M/s"),
    ("DuckDB, two threads", "R4", "0.83 ms"),
    ("ClickHouse", "R2, hourly mean", "34 M/s"),
    ("InfluxDB", "D1", "22 ms"),
]
