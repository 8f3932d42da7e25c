"""Draws bar charts and line charts as SVG texts; knows nothing of benchmarks."""

import math
from html import escape

WIDTH = 800
LABEL_RIGHT = 230
BAR_LEFT, BAR_RIGHT = 240, 690
BAR_HEIGHT, BAR_STEP, GROUP_GAP = 14, 18, 14
TOP = 48

STYLE = """<style>
text { font-family: "DejaVu Sans", Verdana, sans-serif; font-size: 11px; fill: #1f2328; }
.title { font-size: 13px; font-weight: bold; }
.quiet { fill: #57606a; }
.grid { stroke: #d0d7de; }
.axis { stroke: #afb8c1; }
</style>"""

COLORS = ["#0969da", "#8c959f", "#bf8700", "#1a7f37", "#8250df", "#cf222e", "#0a7b83", "#953800"]
FIRST_COLOR, SECOND_COLOR, OTHER_COLOR = "#0969da", "#8c959f", "#d4a72c"


def number(value):
    """Three digits that count, without an exponent."""
    if value == 0:
        return "0"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{value:,.{digits}f}" if digits else f"{round(value, 2 - math.floor(math.log10(abs(value)))):,.0f}"


def text(x, y, content, classes="", anchor="start"):
    kind = f' class="{classes}"' if classes else ""
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}"{kind}>{escape(content)}</text>'


def document(height, title, description, body):
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height:.0f}" '
            f'viewBox="0 0 {WIDTH} {height:.0f}" role="img">')
    parts = [head, f"<title>{escape(title)}</title>", f"<desc>{escape(description)}</desc>", STYLE,
             f'<rect width="{WIDTH}" height="{height:.0f}" fill="#ffffff"/>', *body, "</svg>", ""]
    return "\n".join(parts)


def bars(title, subtitle, groups):
    """One horizontal bar per (label, value, kind) of each (name, bars) group; kind 0 is ours, 1 a limit."""
    largest = max(value for _, entries in groups for _, value, _ in entries)
    body = [text(16, 22, title, "title"), text(16, 38, subtitle, "quiet")]
    y = TOP + 8
    for name, entries in groups:
        if name:
            body.append(text(16, y + BAR_HEIGHT - 3, name))
        for label, value, kind in entries:
            width = max(1.0, (BAR_RIGHT - BAR_LEFT) * value / largest)
            color = (FIRST_COLOR, SECOND_COLOR, OTHER_COLOR)[kind]
            body.append(text(LABEL_RIGHT, y + BAR_HEIGHT - 3, label, "quiet", "end"))
            body.append(f'<rect x="{BAR_LEFT}" y="{y}" width="{width:.1f}" height="{BAR_HEIGHT}" fill="{color}"/>')
            body.append(text(BAR_LEFT + width + 6, y + BAR_HEIGHT - 3, number(value)))
            y += BAR_STEP
        y += GROUP_GAP
    description = "; ".join(f"{name} {label}: {number(value)}".strip()
                            for name, entries in groups for label, value, _ in entries)
    return document(y, title, description, body)


class LogAxis:
    """Decades between two positions."""

    def __init__(self, values, start, end):
        self.low = math.floor(math.log10(min(values)) + 1e-9)
        self.high = max(self.low + 1, math.ceil(math.log10(max(values)) - 1e-9))
        self.start, self.end = start, end

    def at(self, value):
        share = (math.log10(value) - self.low) / (self.high - self.low)
        return self.start + share * (self.end - self.start)

    def decades(self):
        return [10.0 ** exponent for exponent in range(self.low, self.high + 1)]


def compact(value):
    """A power of ten as an axis names it."""
    for size, suffix in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
        if value >= size:
            return f"{value / size:g}{suffix}"
    return f"{value:g}"


def lines(title, subtitle, x_name, series):
    """One line per (name, [(x, y), ...]); both axes are logarithmic."""
    left, right, top, bottom = 70, 600, 56, 330
    x_axis = LogAxis([x for _, points in series for x, _ in points], left, right)
    y_axis = LogAxis([y for _, points in series for _, y in points], bottom, top)
    body = [text(16, 22, title, "title"), text(16, 38, subtitle, "quiet")]
    for x in x_axis.decades():
        at = x_axis.at(x)
        body.append(f'<line class="grid" x1="{at:.1f}" y1="{top}" x2="{at:.1f}" y2="{bottom}"/>')
        body.append(text(at, bottom + 16, compact(x), "quiet", "middle"))
    for y in y_axis.decades():
        at = y_axis.at(y)
        body.append(f'<line class="grid" x1="{left}" y1="{at:.1f}" x2="{right}" y2="{at:.1f}"/>')
        body.append(text(left - 8, at + 4, compact(y), "quiet", "end"))
    body.append(text((left + right) / 2, bottom + 36, x_name, "quiet", "middle"))
    for index, (name, points) in enumerate(series):
        color = COLORS[index % len(COLORS)]
        path = " ".join(f"{x_axis.at(x):.1f},{y_axis.at(y):.1f}" for x, y in points)
        body.append(f'<polyline points="{path}" fill="none" stroke="{color}" stroke-width="2"/>')
        body.extend(f'<circle cx="{x_axis.at(x):.1f}" cy="{y_axis.at(y):.1f}" r="3" fill="{color}"/>'
                    for x, y in points)
        body.append(f'<rect x="{right + 20}" y="{top + 20 * index}" width="12" height="12" fill="{color}"/>')
        body.append(text(right + 38, top + 20 * index + 10, name))
    description = "; ".join(f"{name}: " + ", ".join(f"{x:g} {number(y)}" for x, y in points)
                            for name, points in series)
    return document(bottom + 50, title, description, body)
