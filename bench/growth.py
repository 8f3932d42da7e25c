"""Turns the JSON of kivts_growth into line charts and their part of the page."""

import json
import statistics
from collections import defaultdict

import charts

AXES = {
    "samples": ("How cost grows with the samples", "samples in the series (files of at most 2,000,000 bytes)"),
    "files": ("How cost grows with the files", "record files of the series (100 samples each)"),
}
WORKS = {
    "append": "append of one batch of 1,000",
    "late": "100 late samples in one hour",
    "scan": "raw scan, per sample",
    "mean": "hourly mean, per sample",
    "lookup": "exact look-up",
    "last": "last value",
}


def read(path):
    """{axis: {work: [(x, microseconds)]}}"""
    rounds = defaultdict(list)
    for benchmark in json.loads(path.read_text(encoding="utf-8"))["benchmarks"]:
        if benchmark.get("run_type", "iteration") == "iteration" and not benchmark.get("error_occurred"):
            axis, work, size = benchmark["run_name"].split("/")[:3]
            rounds[axis, work, int(size)].append(benchmark["real_time"] * 1e3 / benchmark["items"])
    curves = defaultdict(lambda: defaultdict(list))
    for (axis, work, size), values in sorted(rounds.items()):
        curves[axis][work].append((size, statistics.median(values)))
    return curves


def section(path, chart_directory, link):
    curves = read(path)
    for axis, (title, x_name) in AXES.items():
        works = curves[axis]
        if not works:
            continue
        chart = chart_directory / f"growth_{axis}.svg"
        series = [(name, works[work]) for work, name in WORKS.items() if work in works]
        chart.write_text(charts.lines(title, "microseconds each", x_name, series), encoding="utf-8")
        yield f"## {title}\n\n![{title}]({link}/{chart.name})\n"
        sizes = [size for size, _ in series[0][1]]
        yield f"| µs each | {' | '.join(f'{size:,}' for size in sizes)} |\n|---|{'---|' * len(sizes)}"
        for name, points in series:
            cells = dict(points)
            yield f"| {name} | " + " | ".join(charts.number(cells[s]) if s in cells else "" for s in sizes) + " |"
        yield ""
