#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""Compares this library with its floors and with other people's systems.

All systems do the same work, one after the other in random order, round after round; figures are
ratios to floor-local of the same round. Works: A, requests of 32 bytes with answers of 64; B64K and
B1M, with large answers; C, one-way messages of 64 bytes.
"""

import collections
import os
import platform
import random
import sys

import chart
import commandline
import runs
import tables
from brokers import BROKERS

System = collections.namedtuple("System", "name program broker package alone",
                                defaults=(None, None, False))

SYSTEMS = [
    System("ours-local", "ours-local"),
    System("ours-inproc", "ours-inproc", alone=True),
    System("floor-local", "floor-local"),
    System("floor-inproc", "floor-inproc", alone=True),
    System("raw-local", "raw-local"),
    System("dbus-broker", "sdbus", "dbus-broker", "libsystemd-dev"),
    System("dbus-daemon", "sdbus", "dbus-daemon", "libsystemd-dev"),
    System("zeromq", "zeromq", None, "libzmq3-dev"),
    System("nng", "nng", None, "libnng-dev"),
    System("nats", "nats", "nats-server", "libnats-dev"),
    System("grpc", "grpc", None, "libgrpc++-dev, protobuf-compiler-grpc"),
    System("mosquitto", "mqtt", "mosquitto", "libmosquitto-dev"),
]

# Answer's size (None: one way), measured requests or messages, requests before them.
Work = collections.namedtuple("Work", "answer count warm_up")
WORKS = {
    "A": Work(64, 20000, 2000),
    "B64K": Work(64 * 1024, 5000, 500),
    "B1M": Work(1024 * 1024, 400, 40),
    "C": Work(None, 200000, 0),
}
QUICK = {name: work._replace(count=20, warm_up=2) for name, work in WORKS.items()}


def program_of(system, folder):
    return os.path.join(folder, f"bench-{system.program}")


def what_is_missing(system, folder):
    """What to install, or None when the system can run."""
    if not os.access(program_of(system, folder), os.X_OK):
        return f"bench-{system.program} is not built" + (
            f" (Debian: {system.package})" if system.package else "")
    broker = BROKERS[system.broker]() if system.broker else None
    return None if broker is None or broker.available() else f"no {broker.missing}"


def run(system, work, folder):
    program = program_of(system, folder)
    if work.answer is None:
        if system.alone:
            return runs.send_alone(program, work.count)
        return runs.send(program, system.broker, work.count)
    if system.alone:
        return runs.ask_alone(program, work.answer, work.count, work.warm_up)
    return runs.ask(program, system.broker, work.answer, work.count, work.warm_up)


def rounds(systems, works, count, folder, order):
    """All results, as {round, work, system, ...}; a failure has an error instead of figures."""
    for number in range(1, count + 1):
        for name, work in works.items():
            for system in order.sample(systems, len(systems)):
                place = {"round": number, "work": name, "system": system.name}
                say(f"round {number}: {name} {system.name}")
                try:
                    yield {**place, **run(system, work, folder)}
                except (runs.Failed, OSError, RuntimeError) as error:
                    print(f"{name} {system.name}: {error}", file=sys.stderr)
                    yield {**place, "error": str(error)}
    say("")


def say(text):
    """On a terminal only: what is being measured."""
    if sys.stderr.isatty():
        print(f"\r{text:<40}\r", end="", file=sys.stderr, flush=True)


def arguments():
    parser = commandline.parser(__doc__, "compare")
    commandline.add_rounds(parser)
    parser.add_argument("--only", action="append", choices=WORKS, help="this work only; repeatable")
    parser.add_argument("--systems", default="", help="these only: words that names begin with")
    parser.add_argument("--count-factor", type=float, default=1, help="so many times the work")
    parser.add_argument("--chart", default="", help="an SVG chart of the medians")
    return parser.parse_args()


def chosen_works(options):
    works = QUICK if options.quick else WORKS
    return {name: work._replace(count=max(1, int(work.count * options.count_factor)))
            for name, work in works.items() if name in (options.only or works)}


def main():
    options = arguments()
    words = tuple(options.systems.split(","))
    systems = [system for system in SYSTEMS if system.name.startswith(words)]
    missing = {system.name: why for system in systems
               if (why := what_is_missing(system, options.bin))}
    present = [system for system in systems if system.name not in missing]
    print(f"seed {options.seed}")
    results = list(rounds(present, chosen_works(options), 1 if options.quick else options.rounds,
                          options.bin, random.Random(options.seed)))
    record = {"seed": options.seed, "machine": platform.uname()._asdict(), "cpus": os.cpu_count(),
              "missing": missing, "results": results}
    commandline.save(options, record)
    print(tables.text(record))
    if options.chart:
        with open(options.chart, "w", encoding="utf-8") as file:
            file.write(chart.svg(record))
    return 1 if any("error" in result for result in results) else 0


if __name__ == "__main__":
    sys.exit(main())
