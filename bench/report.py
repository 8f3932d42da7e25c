#!/usr/bin/env python3
"""Turns the JSON of kivts_bench into a page and charts.

usage: report.py BENCH.json [GROWTH.json] --page RESULTS.md --charts DIRECTORY

A figure is the median of its rounds. Subjects of a row that do not agree on the result are an error.
"""

import argparse
import json
import os
import pathlib
import statistics
import sys
from collections import defaultdict

import charts
import growth
from rows import DURABILITY, LAYOUTS, LIMITS, PEERS, QUOTED, ROWS

ANY_LAYOUT = "any"  # peers have no layout
COMPARED_LAYOUT = "day"  # what they are compared with


class Subject:
    """The rounds of one benchmark."""

    def __init__(self, rounds):
        first = rounds[0]
        self.seconds = [round_["real_time"] / 1e3 for round_ in rounds]
        self.items = first.get("items", 1.0)
        self.check = first.get("check")
        self.mebibytes = [round_["peak_mib"] for round_ in rounds if "peak_mib" in round_]

    def values(self, row):
        if row.unit == "MiB":
            return self.mebibytes
        if row.unit == "ms":
            return [seconds * 1e3 for seconds in self.seconds]
        return [self.items / seconds for seconds in self.seconds]

    def figure(self, row):
        return statistics.median(self.values(row))

    def spread(self, row):
        """Half the width of the rounds, as a share of the median."""
        values = self.values(row)
        return (max(values) - min(values)) / 2 / statistics.median(values)


class Results:
    """Subjects by row, variant, layout and name."""

    def __init__(self, benchmarks):
        rounds, self.failed = defaultdict(list), []
        for benchmark in benchmarks:
            if benchmark.get("run_type", "iteration") != "iteration":
                continue
            key = tuple(benchmark["run_name"].split("/")[:4])
            if benchmark.get("error_occurred"):
                self.failed.append(f'{"/".join(key)}: {benchmark["error_message"]}')
            else:
                rounds[key].append(benchmark)
        self.cells = defaultdict(dict)
        for (row, variant, layout, subject), found in rounds.items():
            self.cells[row, variant, layout][subject] = Subject(found)
        self.round_count = min((len(found) for found in rounds.values()), default=0)

    def of_row(self, row):
        """(variant, layout, subjects) by variant and layout; the rounds come in no order."""
        found = [(variant, layout, subjects) for (name, variant, layout), subjects in self.cells.items()
                 if name == row.name]
        return sorted(found, key=lambda place: (place[0], (*LAYOUTS, ANY_LAYOUT).index(place[1])))

    def disagreements(self):
        reference = {}
        for (row, variant, layout), subjects in self.cells.items():
            for name, subject in subjects.items():
                # RRDtool moves samples to whole seconds, so its results differ.
                if subject.check is None or name == "rrdtool":
                    continue
                place = row, variant, COMPARED_LAYOUT if layout == ANY_LAYOUT else layout
                expected = reference.setdefault(place, subject.check)
                if abs(subject.check - expected) > 1e-9 * max(abs(expected), 1.0):
                    yield f"{'/'.join(place)}: {name} gives {subject.check}, another one {expected}"


def with_unit(value, row):
    if not row.is_rate:
        return f"{charts.number(value)} {row.unit}"
    for size, prefix in ((1e6, "M"), (1e3, "k")):
        if value >= size:
            return f"{charts.number(value / size)} {prefix}/s"
    return f"{charts.number(value)} /s"


def speed(ours, other, row):
    """How many times as fast (or small) ours is."""
    return ours / other if row.is_rate else other / ours


def verdict(wanted, ours, limit, row):
    if wanted is None:
        return ""
    if wanted.kind == "rate":
        reaches_share = wanted.share and limit is not None and speed(ours, limit, row) >= wanted.share
        return "yes" if ours >= wanted.value or reaches_share else "no"
    if wanted.kind == "mebibytes":
        return "yes" if ours <= wanted.value else "no"
    if limit is None:
        return ""
    share = speed(ours, limit, row)
    return "yes" if (share >= wanted.value if wanted.kind == "speed" else 1 / share <= wanted.value) else "no"


def ratio_text(wanted, ours, limit, row):
    share = speed(ours, limit, row)
    if row.unit == "MiB" or (wanted and wanted.kind == "time"):
        return f"{1 / share:.2f} ×"
    return f"{share:.2f}"


def place_name(variant, layout):
    return layout if variant == "-" else f"{variant}, {layout}"


def figure_text(subject, row):
    spread = f" ± {100 * subject.spread(row):.0f} %" if len(subject.values(row)) > 1 else ""
    return with_unit(subject.figure(row), row) + spread


def limit_lines(row, variant, layout, subjects):
    wanted = row.wanted_of(variant, layout)
    ours = subjects.get("ours")
    for name, title in LIMITS.items():
        if name not in subjects:
            continue
        limit = subjects[name]
        cells = [place_name(variant, layout), "no operation for it yet", f"{figure_text(limit, row)}", "", "", ""]
        if name != "limit":
            cells[2] += f" ({title.removeprefix('limit ')})"
        if ours:
            cells[1] = figure_text(ours, row)
            cells[3] = ratio_text(wanted, ours.figure(row), limit.figure(row), row)
        if wanted and name == wanted.judge:
            cells[4] = str(wanted)
            cells[5] = verdict(wanted, ours.figure(row), limit.figure(row), row) if ours else ""
        yield "| " + " | ".join(cells) + " |"


def peer_lines(row, results):
    by_place = {(variant, layout): subjects for variant, layout, subjects in results.of_row(row)}
    for (variant, layout), subjects in by_place.items():
        if layout != ANY_LAYOUT:
            continue
        ours = by_place.get((variant, COMPARED_LAYOUT), {}).get("ours")
        for name, title in PEERS.items():
            if name in subjects:
                share = ours and speed(ours.figure(row), subjects[name].figure(row), row)
                what = title if variant == "-" else f"{title} ({variant})"
                yield f"| {what} | {figure_text(subjects[name], row)} | {f'{share:.2g} ×' if share else ''} |"


def chart_of(row, results):
    titles = {"ours": "this library", **LIMITS, **PEERS}
    groups = []
    for variant, layout, subjects in results.of_row(row):
        entries = [(title, subjects[name].figure(row) / (1e6 if row.is_rate else 1.0),
                    0 if name == "ours" else 1 if name in LIMITS else 2)
                   for name, title in titles.items() if name in subjects]
        name = "" if layout == ANY_LAYOUT and variant == "-" else place_name(variant, layout).replace(
            f", {ANY_LAYOUT}", "")
        groups.append((name, entries))
    unit = "million per second; longer is better" if row.is_rate else f"{row.unit}; shorter is better"
    return charts.bars(f"{row.name}: {row.work}", unit, groups)


def section(row, results, chart_directory, link):
    yield f"## {row.name}: {row.work}\n"
    yield "| files | this library | limit | ratio | wanted | met |\n|---|---|---|---|---|---|"
    for variant, layout, subjects in results.of_row(row):
        yield from limit_lines(row, variant, layout, subjects)
    if row.rest:
        yield f"\nThe rest: {row.rest}"
    peers = list(peer_lines(row, results))
    if peers:
        yield "\n| peer | figure | this library with day files is |\n|---|---|---|"
        yield from peers
    chart = chart_directory / f"{row.name}.svg"
    chart.write_text(chart_of(row, results), encoding="utf-8")
    yield f"\n![{row.name}]({link}/{chart.name})\n"


def head(results, context):
    samples = int(context["samples"])
    yield "# Results\n"
    yield ("What the rows cost here, and the limit that plain system calls on the same files set in the same process; "
           "[README.md](README.md) explains both. Written by `./dev bench`; do not edit.\n")
    yield (f"{samples:,} samples; medians of {results.round_count} interleaved rounds, ± half of what they span; "
           "warm cache.\n")
    yield (f"Machine: {context['num_cpus']} processors of {context['mhz_per_cpu']} MHz, {context['system']}, "
           f"{context['file_system']}, compiler {context['compiler']}, Qt {context['qt']}; {context['date'][:10]}.\n")


def durability_lines(results):
    present = {name for subjects in results.cells.values() for name in subjects}
    yield "## Durability\n\n| store | after a batch |\n|---|---|"
    for name, what in DURABILITY.items():
        if name in present:
            yield f"| {PEERS.get(name, 'this library')} | {what} |"
    yield "\nNo subject syncs after every batch.\n"
    yield "Measured elsewhere, outside this harness, and only quoted here:\n"
    yield "| store | work | figure |\n|---|---|---|"
    yield from (f"| {store} | {work} | {figure} |" for store, work, figure in QUOTED)
    yield ""


def page_of(results, context, chart_directory, link):
    lines = list(head(results, context))
    for row in ROWS:
        if results.of_row(row):
            lines.extend(section(row, results, chart_directory, link))
    lines.extend(durability_lines(results))
    return lines


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("bench", type=pathlib.Path)
    parser.add_argument("growth", type=pathlib.Path, nargs="?")
    parser.add_argument("--page", type=pathlib.Path, required=True)
    parser.add_argument("--charts", type=pathlib.Path, required=True)
    arguments = parser.parse_args()

    measured = json.loads(arguments.bench.read_text(encoding="utf-8"))
    results = Results(measured["benchmarks"])
    problems = results.failed + list(results.disagreements())
    for problem in problems:
        print(f"report.py: {problem}", file=sys.stderr)

    arguments.charts.mkdir(parents=True, exist_ok=True)
    link = os.path.relpath(arguments.charts, arguments.page.parent)
    lines = page_of(results, measured["context"], arguments.charts, link)
    if arguments.growth:
        lines.extend(growth.section(arguments.growth, arguments.charts, link))
    arguments.page.write_text("\n".join(lines), encoding="utf-8")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
