#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""Tables of a comparison: tables.py RESULT.json.

Each figure is the median over all rounds, and the smallest and largest, of the ratio to floor-local
of the same round. Rates are better when larger, everything else when smaller.
"""

import collections
import json
import statistics
import sys

BASE = "floor-local"
TITLES = {
    "A": "A: request of 32 bytes, answer of 64",
    "B64K": "B64K: request of 32 bytes, answer of 64 KiB",
    "B1M": "B1M: request of 32 bytes, answer of 1 MiB",
    "C": "C: one-way messages of 64 bytes",
}


def rate(result):
    return result["count"] / result["elapsed_ns"]


def cpu(result):
    return result["cpu_ns"] / result["count"]


def switches(result):
    return (result["voluntary"] + result["involuntary"]) / result["count"]


def figure(key):
    return lambda result: result[key]


# Heading and how to get the figure; the first one sorts the table.
REQUEST_COLUMNS = {
    "p50": figure("p50_ns"), "p99": figure("p99_ns"), "requests/s": rate, "CPU/request": cpu,
    "switches/request": switches,
}
MESSAGE_COLUMNS = {"messages/s": rate, "CPU/message": cpu, "switches/message": switches}

Ratio = collections.namedtuple("Ratio", "median least most")


def columns_of(work):
    return MESSAGE_COLUMNS if work == "C" else REQUEST_COLUMNS


def by_round(record, work):
    """{system: {round: result}}, of the runs that succeeded"""
    found = collections.defaultdict(dict)
    for result in record["results"]:
        if result["work"] == work and "error" not in result:
            found[result["system"]][result["round"]] = result
    return found


def ratios(record, work):
    """{system: {heading: Ratio}}"""
    found = by_round(record, work)
    base = found.get(BASE, {})
    table = {}
    for system, results in found.items():
        common = sorted(results.keys() & base.keys())
        if common:
            table[system] = {
                heading: over(get, [(results[number], base[number]) for number in common])
                for heading, get in columns_of(work).items()}
    return table


def over(get, pairs):
    """None where the floor has nothing to compare with."""
    values = [get(result) / get(base) for result, base in pairs if get(base)]
    return Ratio(statistics.median(values), min(values), max(values)) if values else None


def cell(ratio):
    return "" if ratio is None else f"{ratio.median:.2f} ({ratio.least:.2f}..{ratio.most:.2f})"


def works_of(record):
    return [work for work in TITLES if any(r["work"] == work for r in record["results"])]


def rows(record, work):
    first = next(iter(columns_of(work)))
    table = ratios(record, work)
    order = sorted(table, key=lambda system: table[system][first].median, reverse=work == "C")
    for system in order:
        yield [system, *map(cell, table[system].values())]
    failed = {r["system"] for r in record["results"] if r["work"] == work and "error" in r}
    for system in sorted(failed - table.keys()):
        yield [system, "failed"]
    for system in record["missing"]:
        yield [system, "missing"]


def lines(heading, body):
    table = [heading, *([*row, *[""] * (len(heading) - len(row))] for row in body)]
    widths = [max(map(len, column)) for column in zip(*table)]
    table.insert(1, ["-" * width for width in widths])
    return ["| " + " | ".join(c.ljust(w) for c, w in zip(row, widths)) + " |" for row in table]


def floor_line(record, work):
    """What the ratios stand on, to be read with a grain of salt."""
    results = by_round(record, work).get(BASE, {}).values()
    if not results:
        return f"{BASE} has no results: there are no ratios."
    middle = {heading: statistics.median(map(get, results))
              for heading, get in columns_of(work).items()}
    shown = f"{middle['p50'] / 1000:.1f} µs p50, " if "p50" in middle else ""
    thousands = statistics.median(map(rate, results)) * 1e6
    each = statistics.median(map(cpu, results)) / 1000
    return (f"{BASE}: {shown}{thousands:.1f} thousand/s, {each:.1f} µs of CPU each, "
            f"{len(results)} rounds")


def text(record):
    parts = []
    for work in works_of(record):
        parts += [TITLES[work], "", *lines(["system", *columns_of(work)], rows(record, work)), "",
                  floor_line(record, work), ""]
    parts += [f"missing: {system}: {why}" for system, why in record["missing"].items()]
    return "\n".join(parts)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        print(text(json.load(file)))


if __name__ == "__main__":
    main()
