#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""How this library's requests behave as there is more of everything.

"clients" of one service, all asking at once; "services" that one client asks in turn; "ids", kinds
of request that one service knows and one client uses in turn; "participants", idle ones on the bus.
The points of a row are measured in random order, round after round; figures are ratios to the first
point of the same round, memory is KiB.
"""

import collections
import contextlib
import os
import random
import statistics
import sys

import commandline
import runs
import tables
import usage

Point = collections.namedtuple("Point", "clients services ids participants",
                               defaults=(1, 1, 2, 0))

SERIES = {
    "clients": (1, 2, 4, 16, 64),
    "services": (1, 4, 16, 64),
    "ids": (10, 100, 1000, 10000),
    "participants": (0, 20, 200),
}
QUICK_SERIES = {"clients": (1, 3), "services": (1, 3), "ids": (2, 20), "participants": (0, 3)}
# Requests of all clients together.
REQUESTS, QUICK_REQUESTS = 60000, 60

Figure = collections.namedtuple("Figure", "heading get")
FIGURES = [
    Figure("p50", lambda result: result["p50_ns"]),
    Figure("p99", lambda result: result["p99_ns"]),
    Figure("requests/s", lambda result: result["count"] / result["elapsed_ns"]),
    Figure("CPU/request", lambda result: result["cpu_ns"] / result["count"]),
]


def point_of(series, value):
    return Point(**{series: value})


@contextlib.contextmanager
def many(count, start):
    """So many programs; they end when the block does."""
    programs = []
    try:
        for number in range(count):
            programs.append(start(number))
        yield programs
        for program in programs:
            program.end()
    finally:
        for program in programs:
            program.kill()


def measure(point, program, requests):
    with runs.bus(None) as (address, _):
        def serve(number):
            return runs.Program(program, "serve", address, "--number", number, "--ids",
                                point.ids * point.clients).ready()

        # Whoever idles is a service that nobody asks.
        with many(point.services + point.participants, serve) as participants:
            services = participants[:point.services]
            before = sum(usage.cpu_ns(service.pid) for service in services)
            results = asked(point, program, address, requests // point.clients)
            served = sum(usage.cpu_ns(service.pid) for service in services) - before
            memory = statistics.mean(usage.status(s.pid, "VmRSS") for s in services)
    return summary(results, served, memory)


def asked(point, program, address, count):
    """Every client has kinds of request of its own, as a service takes one of each kind at a
    time."""
    def ask(number):
        return runs.Program(program, "ask", address, "--count", count, "--services",
                            point.services, "--ids", point.ids, "--first-id", number * point.ids)

    with many(point.clients, ask) as clients:
        return [runs.checked(client.result()) for client in clients]


def summary(results, served, memory):
    """Latencies are the median client's; the time runs from the first begin to the last end."""
    begin = min(result["end_ns"] - result["elapsed_ns"] for result in results)
    return {
        "count": sum(result["count"] for result in results),
        "elapsed_ns": max(result["end_ns"] for result in results) - begin,
        "cpu_ns": sum(result["cpu_ns"] for result in results) + served,
        "p50_ns": statistics.median(result["p50_ns"] for result in results),
        "p99_ns": statistics.median(result["p99_ns"] for result in results),
        "service_rss_kib": memory,
    }


def rounds(series, options, requests, order):
    program = os.path.join(options.bin, "bench-ours-local")
    for number in range(1, options.rounds + 1):
        for name, values in series.items():
            for value in order.sample(values, len(values)):
                yield {"round": number, "series": name, "value": value,
                       **measure(point_of(name, value), program, requests)}


def row(results, first, value):
    """`results` is {(round, value): result}."""
    numbers = sorted({number for number, _ in results})
    ratios = [tables.over(get, [(results[n, value], results[n, first]) for n in numbers])
              for _, get in FIGURES]
    memory = statistics.median(results[n, value]["service_rss_kib"] for n in numbers)
    return [str(value), *map(tables.cell, ratios), f"{memory:.0f}"]


def text(found):
    parts = []
    for name in dict.fromkeys(result["series"] for result in found):
        results = {(r["round"], r["value"]): r for r in found if r["series"] == name}
        values = sorted({value for _, value in results})
        headings = [name, *(figure.heading for figure in FIGURES), "service's RSS"]
        parts += [*tables.lines(headings, [row(results, values[0], v) for v in values]), ""]
    return "\n".join(parts)


def arguments():
    parser = commandline.parser(__doc__, "scale")
    commandline.add_rounds(parser)
    parser.add_argument("--only", action="append", choices=SERIES, help="this one; repeatable")
    return parser.parse_args()


def main():
    options = arguments()
    if options.quick:
        options.rounds = 1
    series = {name: values for name, values in (QUICK_SERIES if options.quick else SERIES).items()
              if name in (options.only or SERIES)}
    print(f"seed {options.seed}")
    found = list(rounds(series, options, QUICK_REQUESTS if options.quick else REQUESTS,
                        random.Random(options.seed)))
    commandline.save(options, {"seed": options.seed, "results": found})
    print(text(found))
    return 0


if __name__ == "__main__":
    sys.exit(main())
