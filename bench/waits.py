#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""What it brings that a wait yields for a moment before it sleeps, and where it does harm.

Two builds of the library, with brief waits and without, do the same work in turn, in random order,
round after round; figures are ratios to the build without in the same round.
"""

import collections
import os
import random
import sys

import commandline
import runs
import scale
import tables

Setting = collections.namedtuple("Setting", "system clients processors")

# The name says what asks whom, and on how many processors.
SETTINGS = {
    "local, 1 client": Setting("ours-local", 1, None),
    "local, 1 client, 1 processor": Setting("ours-local", 1, 1),
    "local, 16 clients": Setting("ours-local", 16, None),
    "local, 16 clients, 1 processor": Setting("ours-local", 16, 1),
    "inproc, 1 client": Setting("ours-inproc", 1, None),
    "inproc, 1 client, 1 processor": Setting("ours-inproc", 1, 1),
}
# For each client: enough for what each learns at first not to count.
REQUESTS, QUICK_REQUESTS = 10000, 2
FIGURES = scale.FIGURES


def measure(setting, bin_folder, requests):
    everything = os.sched_getaffinity(0)
    if setting.processors is not None:
        os.sched_setaffinity(0, sorted(everything)[:setting.processors])
    try:
        program = os.path.join(bin_folder, f"bench-{setting.system}")
        if setting.system == "ours-inproc":
            return runs.ask_alone(program, 64, requests, requests // 10)
        return scale.measure(scale.Point(clients=setting.clients), program,
                             requests * setting.clients)
    finally:
        os.sched_setaffinity(0, everything)


def rounds(options, requests, order):
    builds = {"with": options.bin, "without": options.asleep}
    for number in range(1, options.rounds + 1):
        for name, setting in SETTINGS.items():
            for build in order.sample(list(builds), len(builds)):
                yield {"round": number, "setting": name, "build": build,
                       **measure(setting, builds[build], requests)}


def row(name, found):
    results = {(r["round"], r["build"]): r for r in found if r["setting"] == name}
    numbers = sorted({number for number, _ in results})
    ratios = [tables.over(get, [(results[n, "with"], results[n, "without"]) for n in numbers])
              for _, get in FIGURES]
    return [name, *map(tables.cell, ratios)]


def arguments():
    parser = commandline.parser(__doc__, "waits")
    commandline.add_rounds(parser)
    parser.add_argument("--asleep", default="build/release-asleep/bin",
                        help="programs built with VELP_BRIEF_WAITS=OFF")
    return parser.parse_args()


def main():
    options = arguments()
    if options.quick:
        options.rounds = 1
    print(f"seed {options.seed}")
    requests = QUICK_REQUESTS if options.quick else REQUESTS
    found = list(rounds(options, requests, random.Random(options.seed)))
    commandline.save(options, {"seed": options.seed, "results": found})
    headings = ["with / without", *(figure.heading for figure in FIGURES)]
    print("\n".join(tables.lines(headings, [row(name, found) for name in SETTINGS])))
    return 0


if __name__ == "__main__":
    sys.exit(main())
