#!/usr/bin/python3
"""Draws the ratios that velajpeg_bench has measured.

    bench/chart.py comparison.json > comparison.svg

One bar for each format and quality: the geometric mean over the pictures, with a tick at the least of them.
Baseline on the left, progressive on the right. The chart ends with the checksum of the measurements, by which a test
sees that the two belong together.
"""

import hashlib
import json
import math
import sys

# All in SVG's pixels.
LABEL, PANEL, GAP, TOP, BOTTOM, PITCH, BAR = 150, 420, 30, 54, 30, 17, 12


def mean(ratios):
    return math.exp(sum(map(math.log, ratios)) / len(ratios))


def panel(left, mode, rows):
    """The lines of one mode's bars, and how many bars there are."""
    bars = {}
    for row in rows:
        bars.setdefault(f"{row['format']} q{row['quality']}", []).append(row["ratio"])
    longest = 1.1 * max(1, *map(mean, bars.values()))  # room for the numbers after the bars

    def at(ratio):
        return round(left + LABEL + ratio / longest * (PANEL - LABEL), 2)

    end = TOP + PITCH * len(bars)
    yield (f"<text x='{left + LABEL}' y='24' class='head'>{mode}, geometric mean "
           f"{mean([row['ratio'] for row in rows]):.2f}</text>")
    for i, (label, ratios) in enumerate(bars.items()):
        y, value, least = TOP + PITCH * i, mean(ratios), at(min(ratios))
        yield (f"<text x='{at(0) - 6}' y='{y + BAR - 2}' class='end'>{label}</text>"
               f"<rect x='{at(0)}' y='{y}' width='{at(value) - at(0):.2f}' height='{BAR}' "
               f"fill='{'#d88' if value < 1 else '#58a'}'/>"
               f"<line x1='{least}' x2='{least}' y1='{y}' y2='{y + BAR}' stroke='#fff' stroke-width='2'/>"
               f"<text x='{at(value) + 4}' y='{y + BAR - 2}'>{value:.2f}</text>")
    yield (f"<line x1='{at(1)}' x2='{at(1)}' y1='{TOP - 6}' y2='{end}' stroke='#000' stroke-dasharray='4 3'/>"
           f"<text x='{at(1)}' y='40' class='mid'>1.0: as fast as TurboJPEG</text>")


def chart(results):
    modes = [summary["mode"] for summary in results["summaries"]]
    lines, most = [], 0
    for i, mode in enumerate(modes):
        rows = [row for row in results["rows"] if row["mode"] == mode]
        most = max(most, len({(row["format"], row["quality"]) for row in rows}))
        lines += panel(i * (PANEL + GAP), mode, rows)
    width, height = len(modes) * (PANEL + GAP), TOP + PITCH * most + BOTTOM
    return "\n".join([
        f"<svg xmlns='http://www.w3.org/2000/svg' width='{width}' height='{height}' font-family='sans-serif' "
        "font-size='11'>",
        "<style>.head{font-size:14px;font-weight:bold}.end{text-anchor:end}.mid{text-anchor:middle}</style>",
        "<rect width='100%' height='100%' fill='#fff'/>",
        *lines,
        f"<text x='6' y='{height - 10}'>Speed against TurboJPEG with its faster transform; bars: geometric mean over "
        f"the pictures, white tick: the least picture. Instruction set: {results['instruction_set']}.</text>",
        "</svg>"])


def main():
    with open(sys.argv[1], "rb") as file:
        measured = file.read()
    print(chart(json.loads(measured)))
    print(f"<!-- {hashlib.sha256(measured).hexdigest()} -->")


if __name__ == "__main__":
    main()
