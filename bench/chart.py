#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""A chart of a comparison: chart.py RESULT.json > CHART.svg.

One panel for each work: a bar for the median ratio to floor-local, a line from the smallest to the
largest over all rounds. Requests show their p50, one-way messages their rate.
"""

import json
import sys
from xml.sax.saxutils import escape

import tables

WIDTH, NAMES, NUMBERS, LINE, HEAD, GAP = 720, 120, 60, 22, 34, 18
COLOURS = {"ours": "#c2410c", "floor": "#475569", "raw": "#475569"}
OTHERS = "#94a3b8"


def colour(system):
    return COLOURS.get(system.split("-")[0], OTHERS)


def element(name, content=None, **attributes):
    head = name + "".join(f' {key.replace("_", "-")}="{value}"'
                          for key, value in attributes.items())
    return f"<{head}/>" if content is None else f"<{head}>{content}</{name}>"


def label(text, x, y, **attributes):
    return element("text", escape(text), x=f"{x:.0f}", y=f"{y:.0f}", **attributes)


def bars(work, table, top):
    """The panel's elements and its height."""
    first = next(iter(tables.columns_of(work)))
    order = sorted(table, key=lambda system: table[system][first].median, reverse=work == "C")
    longest = max(table[system][first].most for system in order)
    scale = (WIDTH - NAMES - NUMBERS) / longest
    better = "more is better" if work == "C" else "less is better"
    yield label(f"{tables.TITLES[work]} ({first}, {better})", 0, top + 16, font_weight="bold")
    for index, system in enumerate(order):
        ratio = table[system][first]
        y = top + HEAD + index * LINE
        yield label(system, NAMES - 8, y + 12, text_anchor="end")
        yield element("rect", x=NAMES, y=y, width=f"{ratio.median * scale:.1f}", height=LINE - 6,
                      fill=colour(system))
        yield element("line", x1=f"{NAMES + ratio.least * scale:.1f}", y1=y + 8,
                      x2=f"{NAMES + ratio.most * scale:.1f}", y2=y + 8, stroke="#0f172a")
        yield label(f"{ratio.median:.2f}", NAMES + ratio.most * scale + 6, y + 12)
    bottom = top + HEAD + len(order) * LINE
    yield element("line", x1=f"{NAMES + scale:.1f}", y1=top + HEAD - 6, x2=f"{NAMES + scale:.1f}",
                  y2=bottom, stroke="#475569", stroke_dasharray="3 3")


def svg(record):
    parts, top = [], 8
    for work in tables.works_of(record):
        table = tables.ratios(record, work)
        if table:
            parts += bars(work, table, top)
            top += HEAD + len(table) * LINE + GAP
    background = element("rect", width=WIDTH + 16, height=top, fill="white")
    body = element("g", "\n".join(parts), transform="translate(8 0)", fill="#0f172a")
    return element("svg", "\n".join(("", background, body, "")), font_size="13",
                   xmlns="http://www.w3.org/2000/svg", viewBox=f"0 0 {WIDTH + 16} {top}",
                   font_family="sans-serif") + "\n"


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        sys.stdout.write(svg(json.load(file)))


if __name__ == "__main__":
    main()
