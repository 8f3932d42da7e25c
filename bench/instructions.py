#!/usr/bin/env python3
"""Counts the instructions per sample of a few rows of kivts_bench, and holds them against the kept ones.

usage: instructions.py PROGRAM KEPT.json [--update]

Callgrind counts between the start and the stop of a row's watch. Unlike a time, the count hardly depends on the
machine or on what else runs there. A row that takes more than 10 % more than was kept is an error.
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

ROWS = ("W1/records/day", "W1/columns/day", "W3c/-/hour", "R1q/-/day", "R1/whole/day", "R2/mean/day", "R2/min/day",
        "R2/count/day")
SAMPLES = 500_000
ALLOWED_RISE = 0.10


# So that machines agree: the C library copies with the instructions that every x86-64 has (callgrind counts `rep movsb`
# once per byte), and what a row calls first does not carry the look-up of its symbols.
ENVIRONMENT = {
    "KIV_BENCH_SAMPLES": str(SAMPLES),
    "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-ERMS,-FSRM,-AVX,-AVX2,-AVX_Fast_Unaligned_Load",
    "LD_BIND_NOW": "1",
}


def per_sample(callgrind_text, rounds):
    """What callgrind counted, over the samples that Google Benchmark says were worked on."""
    (benchmark,) = rounds["benchmarks"]
    if benchmark.get("error_occurred"):
        raise RuntimeError(f"{benchmark['name']}: {benchmark['error_message']}")
    instructions = int(re.search(r"^totals: (\d+)", callgrind_text, re.MULTILINE)[1])
    return instructions / (benchmark["items"] * benchmark["iterations"])


def count(program, row):
    with tempfile.TemporaryDirectory() as directory:
        counts, rounds = pathlib.Path(directory, "counts"), pathlib.Path(directory, "rounds.json")
        done = subprocess.run(
            ["valgrind", "--tool=callgrind", "--instr-atstart=no", f"--callgrind-out-file={counts}", program,
             f"--benchmark_filter=^{row}/ours(/.*)?$", "--benchmark_min_time=0", f"--benchmark_out={rounds}",
             "--benchmark_out_format=json"],
            env=os.environ | ENVIRONMENT | {"KIV_BENCH_DIR": directory},
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{row}: valgrind failed\n{done.stdout}")
        return per_sample(counts.read_text(), json.loads(rounds.read_text()))


def compare(kept, counted):
    """Lines for people, and whether no row rose too far."""
    lines, good = [], True
    for row, now in counted.items():
        if row not in kept:
            lines.append(f"{row:14} {now:9.2f}  is not kept yet")
            good = False
            continue
        change = now / kept[row] - 1
        line = f"{row:14} {now:9.2f}  kept {kept[row]:9.2f}  {change:+7.1%}"
        if change > ALLOWED_RISE:
            line += f"  FAILED: more than {ALLOWED_RISE:.0%} above what was kept"
            good = False
        elif change < -ALLOWED_RISE:
            line += "  lower: keep it, so that a later rise is seen"
        lines.append(line)
    return lines, good


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("kept", type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    arguments = parser.parse_args()
    with ThreadPoolExecutor(2) as pool:
        counts = pool.map(lambda row: count(arguments.program, row), ROWS)
        counted = dict(zip(ROWS, (round(value, 2) for value in counts)))
    kept = json.loads(arguments.kept.read_text()) if arguments.kept.exists() else {}
    lines, good = compare(kept, counted)
    print("instructions per sample", *lines, sep="\n")
    if arguments.update:
        arguments.kept.write_text(json.dumps(counted, indent=4) + "\n")
        return 0
    if not good:
        print("If this is wanted: ./dev instructions --update, and say why in the commit.", file=sys.stderr)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
