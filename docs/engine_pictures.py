#!/usr/bin/env python3
"""Draws the pictures of engine.md into docs/engine/.

A picture shows the table right above it: the samples of the table's series on top, then one panel for each
column of results. All numbers are read from the page. Run it after a change of such a table; with --check it
writes nothing and fails when a picture is not what the page says.
"""

import pathlib
import re
import sys
from datetime import datetime, timedelta, timezone
from html import escape

DOCS = pathlib.Path(__file__).parent
PAGE = DOCS / "engine.md"
PAGE_DAY = "2024-05-17"

WIDTH = 800
LEFT, RIGHT = 30, 770
PANEL_HEIGHT = 124
PLOT_TOP, PLOT_BOTTOM = 46, 96  # values lie between these, counted from the top of a panel
FRAME_TOP, FRAME_BOTTOM = 24, 106

BACKGROUND = "#ffffff"
FRAME = "#d0d7de"
BOUNDARY = "#afb8c1"
TEXT = "#1f2328"
QUIET_TEXT = "#57606a"
SAMPLE = "#8c959f"
RESULT = "#0969da"


# --- The page ----------------------------------------------------------------------------------------------


def words_of(text):
    pattern = r'(\w+)=("[^"]*"|\[.*?\](?=\s|$)|\S+)'
    return {key: value.strip('"') for key, value in re.findall(pattern, text)}


def cells_of(line):
    return [cell.strip() for cell in line.strip()[1:-1].split("|")]


def time_of(text):
    """A time of the page in milliseconds since 1970."""
    if re.match(r"\d\d:", text):
        text = PAGE_DAY + " " + text
    moment = datetime.fromisoformat(text).replace(tzinfo=timezone.utc)
    return round(moment.timestamp() * 1000)


class Table:
    def __init__(self, request, header, rows):
        self.words = words_of(request)
        self.is_series = request.startswith("series ")
        self.header = header
        self.rows = rows

    def words_with(self, cell):
        inner = re.search("`(.*?)`", cell)
        if not inner:
            return self.words
        own = words_of(inner[1]) if "=" in inner[1] else {"method": inner[1]}
        return {**self.words, **own}

    def column(self, index):
        """(label, value) texts of the results of a column."""
        return [(row[0], row[index]) for row in self.rows if row[index]]


def read_page():
    """The series by their name, and (alternative text, path, table) of every picture."""
    series, pictures = {}, []
    request, table = "", None
    lines = iter(PAGE.read_text(encoding="utf-8").split("\n"))
    for line in lines:
        if line == "```engine":
            request = next(lines)
        elif line.startswith("|"):
            header, rows = cells_of(line), []
            next(lines)
            for row in lines:
                if not row.startswith("|"):
                    break
                rows.append(cells_of(row))
            table = Table(request, header, rows)
            request = ""
            if table.is_series:
                series[table.words["name"]] = table
        elif match := re.match(r"!\[(.*)\]\((.*)\)", line):
            pictures.append((match[1], match[2], table))
    return series, pictures


# --- Boundaries of intervals -------------------------------------------------------------------------------

MONTHS_OF_CODE = {-3: 1, -4: 3, -5: 6, -6: 12}
DAYS_OF_CODE = {-1: 1, -2: 7}


def step(ms, interval, direction):
    if interval > 0:
        return ms + direction * interval * 1000
    moment = datetime.fromtimestamp(ms / 1000, timezone.utc)
    if interval in DAYS_OF_CODE:
        moment += direction * timedelta(days=DAYS_OF_CODE[interval])
    else:
        month = moment.year * 12 + moment.month - 1 + direction * MONTHS_OF_CODE[interval]
        moment = moment.replace(year=month // 12, month=month % 12 + 1)
    return round(moment.timestamp() * 1000)


def boundaries_of(words, labels):
    """Every boundary from the start of the first interval to the end of the last one."""
    interval = int(words["interval"])
    if interval == 0:
        return []
    is_special = words["start"].startswith("-")
    first = labels[0] if is_special else time_of(words["start"])
    last = max(labels + ([] if words["end"].startswith("-") else [time_of(words["end"])]))
    if words.get("shiftIntervalForward") == "yes":
        last = step(last, interval, 1)
    else:
        first = step(first, interval, -1)
    boundaries = [first]
    while step(boundaries[-1], interval, 1) <= last:
        boundaries.append(step(boundaries[-1], interval, 1))
    return boundaries


# --- Drawing -----------------------------------------------------------------------------------------------


def short(text):
    """A value with two decimals at most."""
    if text == "null":
        return text
    return f"{float(text.strip('≈ ')):.2f}".rstrip("0").rstrip(".")


def number_of(text):
    return None if text == "null" else float(text.strip("≈ "))


def axis_text(ms, is_calendar):
    moment = datetime.fromtimestamp(ms // 1000, timezone.utc)
    if not is_calendar:
        return moment.strftime("%H:%M")
    return moment.strftime("%Y" if (moment.month, moment.day) == (1, 1) else "%m-%d")


class Panel:
    """One row of a picture: dots or diamonds over time, each with its value."""

    def __init__(self, top, time_span, boundaries, values):
        self.top = top
        self.first, self.last = time_span
        self.boundaries = boundaries
        self.is_calendar = self.last - self.first > 14 * 86_400_000
        numbers = [value for value in values if value is not None]
        self.low, self.high = min(numbers), max(numbers)
        self.taken = []  # boxes of marks and texts
        self.parts = []

    def x(self, ms):
        return LEFT + 20 + (RIGHT - LEFT - 40) * (ms - self.first) / (self.last - self.first)

    def y(self, value):
        if value is None:
            return self.top + PLOT_BOTTOM
        share = (value - self.low) / (self.high - self.low) if self.high > self.low else 0.5
        return self.top + PLOT_BOTTOM - share * (PLOT_BOTTOM - PLOT_TOP)

    def frame(self, title):
        top, bottom = self.top + FRAME_TOP, self.top + FRAME_BOTTOM
        self.parts.append(f'<text x="{LEFT}" y="{self.top + 17}" class="title">{escape(title, False)}</text>')
        self.parts.append(
            f'<rect x="{LEFT}" y="{top}" width="{RIGHT - LEFT}" height="{bottom - top}" class="frame"/>'
        )
        for ms in self.boundaries:
            x = self.x(ms)
            self.parts.append(f'<line x1="{x:.1f}" y1="{top}" x2="{x:.1f}" y2="{bottom}" class="boundary"/>')
        hour = 3_600_000
        ticks = self.boundaries or range(-(-self.first // hour) * hour, self.last + 1, hour)
        for ms in ticks:
            text = axis_text(ms, self.is_calendar)
            self.parts.append(f'<text x="{self.x(ms):.1f}" y="{bottom + 12}" class="axis">{text}</text>')

    def dot(self, ms, value):
        x, y = self.x(ms), self.y(value)
        self.taken.append((x - 4, y - 4, x + 4, y + 4))
        self.parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" class="sample"/>')

    def diamond(self, ms, value):
        x, y = self.x(ms), self.y(value)
        self.taken.append((x - 6, y - 6, x + 6, y + 6))
        look = "null" if value is None else "result"
        self.parts.append(
            f'<path d="M{x:.1f} {y - 5.5:.1f} l5.5 5.5 l-5.5 5.5 l-5.5 -5.5 z" class="{look}"/>'
        )

    def value_text(self, ms, value, text, look):
        """Puts a text beside its mark where nothing else is."""
        x, y = self.x(ms), self.y(value)
        width = 7.0 * len(text)
        places = [(x + 8, y + 4, "start"), (x, y - 9, "middle"), (x - 8, y + 4, "end"), (x, y + 17, "middle")]
        places += [(x + 8, y - 8, "start"), (x - 8, y - 8, "end"), (x + 8, y + 16, "start")]
        places += [(x, y - 20, "middle"), (x, y + 28, "middle")]

        def box(place):
            left = place[0] - {"start": 0, "middle": width / 2, "end": width}[place[2]]
            return left - 1, place[1] - 9, left + width + 1, place[1] + 1

        def is_free(place):
            a = box(place)
            if a[0] < LEFT + 2 or a[2] > RIGHT - 2:
                return False
            if a[1] < self.top + FRAME_TOP + 1 or a[3] > self.top + FRAME_BOTTOM - 1:
                return False
            return not any(a[0] < b[2] and b[0] < a[2] and a[1] < b[3] and b[1] < a[3] for b in self.taken)

        place = next(filter(is_free, places), places[0])
        self.taken.append(box(place))
        self.parts.append(
            f'<text x="{place[0]:.1f}" y="{place[1]:.1f}" text-anchor="{place[2]}" class="{look}">'
            f"{text}</text>"
        )


STYLE = f"""
text {{ font-family: "DejaVu Sans", Verdana, sans-serif; font-size: 11px; fill: {TEXT}; }}
.title {{ font-family: "DejaVu Sans Mono", Menlo, Consolas, monospace; font-size: 12px; font-weight: bold; }}
.axis {{ font-size: 10px; fill: {QUIET_TEXT}; text-anchor: middle; }}
.quiet {{ fill: {QUIET_TEXT}; }}
.strong {{ fill: {RESULT}; font-weight: bold; }}
.frame {{ fill: none; stroke: {FRAME}; }}
.boundary {{ stroke: {BOUNDARY}; }}
.sample {{ fill: {SAMPLE}; }}
.result {{ fill: {RESULT}; }}
.null {{ fill: {BACKGROUND}; stroke: {RESULT}; stroke-width: 1.5; }}
""".strip()


def description(title, column):
    return f"{title}: " + ", ".join(f"{label} {value}" for label, value in column)


class Picture:
    def __init__(self, title, table, series):
        self.title = title
        self.table = table
        self.name = table.words.get("series", "plant")
        self.samples = series[self.name].column(1)
        self.points = [(time_of(time), float(value)) for time, value in self.samples]
        self.is_difference = any("diff" in cell for cell in table.header)
        self.columns = [table.column(index) for index in range(1, len(table.header))]
        self.labels = [[time_of(label) for label, _ in column] for column in self.columns]
        self.boundaries = [
            boundaries_of(table.words_with(cell), labels)
            for cell, labels in zip(table.header[1:], self.labels)
        ]

    def time_span(self):
        times = [ms for ms, _ in self.points]
        times += [ms for part in self.labels + self.boundaries for ms in part]
        return min(times), max(times)

    def sample_panel(self, top):
        common = self.boundaries[0] if all(b == self.boundaries[0] for b in self.boundaries) else []
        panel = Panel(top, self.time_span(), common, [value for _, value in self.points])
        if not common and panel.is_calendar:
            panel.boundaries = self.boundaries[0]
        panel.frame(f"samples of {self.name}")
        for ms, value in self.points:
            panel.dot(ms, value)
        for (ms, value), (_, text) in zip(self.points, self.samples):
            panel.value_text(ms, value, text, "quiet")
        return panel.parts

    def result_panel(self, top, index):
        texts = [text for _, text in self.columns[index]]
        results = [(ms, number_of(text), short(text)) for ms, text in zip(self.labels[index], texts)]
        samples = [] if self.is_difference else self.points
        values = [value for _, value, _ in results] + [value for _, value in samples]
        panel = Panel(top, self.time_span(), self.boundaries[index], values)
        panel.frame(self.table.header[index + 1].replace("`", ""))
        for ms, value in samples:
            panel.dot(ms, value)
        for ms, value, _ in results:
            panel.diamond(ms, value)
        for ms, value, text in results:
            panel.value_text(ms, value, text, "strong")
        return panel.parts

    def svg(self):
        texts = [description(self.name, self.samples)]
        titles = [cell.replace("`", "") for cell in self.table.header[1:]]
        texts += [description(title, column) for title, column in zip(titles, self.columns)]
        height = PANEL_HEIGHT * (len(self.columns) + 1) + 8
        parts = self.sample_panel(0)
        for index in range(len(self.columns)):
            parts += self.result_panel(PANEL_HEIGHT * (index + 1), index)
        head = f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}"'
        return "\n".join(
            [
                f'{head} viewBox="0 0 {WIDTH} {height}" role="img">',
                f"<title>{escape(self.title, False)}</title>",
                "<desc>" + escape("\n".join(texts), False) + "</desc>",
                f"<style>\n{STYLE}\n</style>",
                f'<rect width="{WIDTH}" height="{height}" rx="6" fill="{BACKGROUND}"/>',
                *parts,
                "</svg>\n",
            ]
        )


def main():
    is_check = sys.argv[1:] == ["--check"]
    series, pictures = read_page()
    stale = []
    for title, path, table in pictures:
        svg = Picture(title, table, series).svg()
        file = DOCS / path
        if is_check:
            if not file.exists() or file.read_text(encoding="utf-8") != svg:
                stale.append(path)
            continue
        file.parent.mkdir(exist_ok=True)
        file.write_text(svg, encoding="utf-8")
    for path in stale:
        print(f"{path} is not what engine.md says", file=sys.stderr)
    return 1 if stale else 0


if __name__ == "__main__":
    sys.exit(main())
