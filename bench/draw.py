#!/usr/bin/env python3
"""draw.py RESULTS FOLDER: draws the results of bench/run.sh as SVG pictures, readable on light and dark pages."""
import os
import sys

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402

# Placeholder colors. The finished picture uses the page's colors instead, to fit a light or dark theme.
INK, LINES, OURS, OTHER = "#010101", "#020202", "#030303", "#040404"
THEMES = {
    INK: ("ink", "#24292f", "#d0d7de"),
    LINES: ("lines", "#d0d7de", "#3d444d"),
    OURS: ("ours", "#0969da", "#58a6ff"),
    OTHER: ("other", "#bc4c00", "#f0883e"),
}
# The questions worth a line of their own. The tables have all of them.
GROWTH = {
    "50 by date, time, reversed": "newest 50",
    "50 by time, date": "50 by time of day",
    "count": "count",
    "50 of a user that 1 % have, exactly": "50 of a user with 1 % of the entries",
    "50 of a period with times": "50 of a period with times, none there",
    "50 with a text": "50 with a text, none there",
}


def sections(path):
    """The tables of each section, a table as a list of rows of cells."""
    found, title = {}, None
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.startswith("## "):
                title = line[3:].strip()
                found[title] = [[]]
            elif line.startswith("|") and title:
                found[title][-1].append([cell.strip() for cell in line.strip().strip("|").split("|")])
            elif title and found[title][-1]:
                found[title].append([])
    return {
        title: [[row for row in table if not set("".join(row)) <= set("-:")] for table in tables if table]
        for title, tables in found.items()
    }


def prepare(width, height):
    figure, axes = pyplot.subplots(figsize=(width, height), layout="constrained")
    for side in axes.spines.values():
        side.set_color(LINES)
    axes.tick_params(colors=INK, which="both", length=0)
    axes.grid(color=LINES, linewidth=0.6)
    axes.set_axisbelow(True)
    return figure, axes


def label(axes, x="", y=""):
    axes.set_xlabel(x, color=INK)
    axes.set_ylabel(y, color=INK)


def legend(axes, **place):
    axes.legend(frameon=False, labelcolor=INK, **place)


def amount(microseconds):
    if microseconds >= 1e6:
        return f"{microseconds / 1e6:g} s"
    return f"{microseconds / 1e3:g} ms" if microseconds >= 1e3 else f"{microseconds:g} us"


def by_time(axis):
    axis.set_major_formatter(matplotlib.ticker.FuncFormatter(lambda value, _: amount(value)))
    axis.set_minor_formatter(matplotlib.ticker.NullFormatter())


def pairs(rows):
    """What was measured, our median, the other's, and the ratio."""
    return [(row[0], float(row[1]), float(row[4]), float(row[7])) for row in rows]


def draw_pairs(measured, ours, other):
    """A line for each pair of medians, on one scale of time."""
    figure, axes = prepare(8, 1.1 + 0.26 * len(measured))
    axes.set_xscale("log")
    places = range(len(measured), 0, -1)
    for place, (_, by_us, by_other, _) in zip(places, measured):
        axes.plot([by_us, by_other], [place, place], color=LINES, linewidth=3, zorder=1)
    axes.scatter([row[2] for row in measured], places, s=64, color=OTHER, label=other, zorder=2)
    axes.scatter([row[1] for row in measured], places, s=22, color=OURS, label=ours, zorder=3)
    axes.set_yticks(places, [row[0] for row in measured])
    ratios = axes.secondary_yaxis("right")
    ratios.set_yticks(places, [f"{row[3]:.2f}" for row in measured])
    ratios.tick_params(colors=INK, length=0)
    ratios.spines["right"].set_color(LINES)
    ratios.set_ylabel("ratio", color=INK)
    axes.set_ylim(0.4, len(measured) + 0.6)
    axes.margins(x=0.05)
    by_time(axes.xaxis)
    axes.grid(visible=False, axis="y")
    label(axes, x="median of a call")
    legend(axes, loc="lower center", bbox_to_anchor=(0.5, 1), ncols=2)
    return figure


def draw_floor(found):
    rows = [row for row in pairs(found["Beside bare SQLite: time"][0][1:]) if row[0].endswith(", 10000 rows")]
    return draw_pairs([(row[0].removesuffix(", 10000 rows"), *row[1:]) for row in rows], "this library", "bare SQLite")


def draw_peers(found):
    rows = pairs(found["Beside a logging library"][0][1:]) + pairs(found["Beside the system journal"][0][1:])
    return draw_pairs(rows, "this library", "the other")


def draw_caller(found):
    figure, axes = prepare(8, 3.2)
    measured = [(int(row[0].split()[-2]), row[1] / 1000, row[2] / 1000)
                for row in pairs(found["By the caller's memory"][0][1:])]
    for column, color, name in ((1, OURS, "this library"), (2, OTHER, "popen and fork")):
        axes.plot([row[0] for row in measured], [row[column] for row in measured], color=color, marker="o", label=name)
        axes.annotate(f"{measured[-1][column]:.0f} ms", (measured[-1][0], measured[-1][column]), color=INK,
                      xytext=(0, 6), textcoords="offset points", ha="right")
    axes.set_ylim(0, 1.12 * max(row[2] for row in measured))
    axes.set_xticks([row[0] for row in measured])
    label(axes, "memory of the caller, MiB", "adding an event, ms")
    legend(axes, loc="upper left")
    return figure


def draw_growth(found):
    head, *rows = next(table for table in found["Growth with rows"] if table[0][0].startswith("event log"))
    sizes = [int(size) for size in head[1:-2]]
    figure, axes = prepare(8, 4)
    axes.set_xscale("log")
    axes.set_yscale("log")
    ends = []
    for row in rows:
        if row[0] in GROWTH:
            times = [float(time) for time in row[1:1 + len(sizes)]]
            axes.plot(sizes, times, color=OURS, marker="o", markersize=4)
            ends.append((times[-1], GROWTH[row[0]]))
    low = 0.0
    for time, name in sorted(ends):
        low = max(time, low * 1.55)  # names of neighbouring lines one below the other
        axes.annotate(name, (sizes[-1], low), color=INK, xytext=(8, 0), textcoords="offset points", va="center",
                      annotation_clip=False)
    axes.set_xticks(sizes, [f"{size:,}" for size in sizes])
    axes.xaxis.set_minor_formatter(matplotlib.ticker.NullFormatter())
    by_time(axes.yaxis)
    label(axes, "rows in the event log", "a call")
    return figure


def save(figure, path):
    figure.savefig(path, transparent=True, metadata={"Date": None, "Creator": None})
    pyplot.close(figure)
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for color, (name, _, _) in THEMES.items():
        text = text.replace(color, f"var(--{name})")
    themes = ["".join(f"--{name}: {colors[theme]}; " for name, *colors in THEMES.values()) for theme in (0, 1)]
    style = f"svg {{ {themes[0]}}} @media (prefers-color-scheme: dark) {{ svg {{ {themes[1]}}} }}"
    head = text.index(">", text.index("<svg ")) + 1
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{text[:head]}\n <style>{style}</style>{text[head:]}")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    # Keep texts as text, for search and screen readers, and make equal results give equal pictures.
    matplotlib.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "results", "font.family": "sans-serif",
                                "font.size": 9})
    found = sections(sys.argv[1])
    for name, draw in (("floor", draw_floor), ("caller", draw_caller), ("growth", draw_growth), ("peers", draw_peers)):
        save(draw(found), os.path.join(sys.argv[2], f"{name}.svg"))


if __name__ == "__main__":
    main()
