#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""Ratios of CPU times from one run: ratios.py RESULT.json (Google Benchmark's JSON output).

Benchmarks are named WORK/WHO. Each work has a row for each WHO but "ours": plain implementations,
which should take many times our time, and the bounds memcpy and copy, of which ours takes a
multiple. Shown are the ratio of the medians over all repetitions, and the smallest and the largest
that any two repetitions give: a range that noise can widen, never narrow.
"""

import collections
import json
import statistics
import sys

BOUNDS = ("memcpy", "copy")
ORDER = ("plain", "streams", *reversed(BOUNDS))
AIMS = {"encode": 10, "decode": 20}


def times(results):
    """{work: {who: [CPU time of each repetition]}}"""
    works = collections.defaultdict(lambda: collections.defaultdict(list))
    for run in results["benchmarks"]:
        if run["run_type"] == "iteration":
            work, who = run["run_name"].rsplit("/", 1)
            works[work][who.split(":")[0]].append(run["cpu_time"])
    return works


def ratio(above, below):
    return (statistics.median(above) / statistics.median(below), min(above) / max(below),
            max(above) / min(below))


def verdict(work, who, median):
    if who in BOUNDS:
        return ""
    aim = next(times for word, times in AIMS.items() if word in work)
    return f"{aim}: {'reached' if median >= aim else 'missed'}"


def rows(works):
    for work, by in sorted(works.items()):  # the run had them in random order
        for who in sorted(by.keys() - {"ours"}, key=ORDER.index):
            pair = ("ours", who) if who in BOUNDS else (who, "ours")
            values = ratio(*(by[name] for name in pair))
            yield (work, " / ".join(pair), f"{values[0]:.1f}", f"{values[1]:.1f}..{values[2]:.1f}",
                   verdict(work, who, values[0]))


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        works = times(json.load(file))
    table = [("work", "ratio", "median", "min..max", "aim"), *rows(works)]
    widths = [max(map(len, column)) for column in zip(*table)]
    table.insert(1, tuple("-" * width for width in widths))
    for row in table:
        print("|", " | ".join(cell.ljust(width) for cell, width in zip(row, widths)), "|")


main()
