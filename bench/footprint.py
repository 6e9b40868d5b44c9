#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""What this library costs while it does nothing, and until it does something.

Sizes of both libraries without symbols; memory, threads and wake-ups of an idle service (one
participant, one handler), and of one that has been asked; times from exec to "ready" and to the
first answer, both with all that a process does before main().
"""

import os
import shutil
import statistics
import subprocess
import sys
import time

import commandline
import runs
import tables
import usage

LIBRARIES = ("libvelpframework.so", "libvelpmsg.so")
IDLE_SECONDS, QUICK_IDLE_SECONDS = 5, 0.1
REQUESTS = 10000


def stripped_sizes(folder):
    """{library: bytes}; empty when they are not there"""
    sizes = {}
    with runs.place() as scratch:
        for name in LIBRARIES:
            source, copy = os.path.join(folder, name), os.path.join(scratch, name)
            if not os.path.exists(source):
                return {}
            shutil.copyfile(source, copy)
            subprocess.run(["strip", copy], check=True)
            sizes[name] = os.path.getsize(copy)
    return sizes


def state(pid, seconds):
    """What the process holds, and how often it wakes up while nobody asks it."""
    before = usage.switches(pid), usage.cpu_ns(pid)
    time.sleep(seconds)
    after = usage.switches(pid), usage.cpu_ns(pid)
    return {
        "resident_kib": usage.status(pid, "VmRSS"),
        "proportional_kib": usage.proportional_kib(pid),
        "anonymous_kib": usage.status(pid, "RssAnon"),
        "threads": usage.status(pid, "Threads"),
        "wakeups_per_second": (after[0] - before[0]) / seconds,
        "cpu_ns_per_second": (after[1] - before[1]) / seconds,
    }


def idle(options, seconds):
    """The smallest service there is, and one that has been asked many times."""
    states = {}
    smallest = os.path.join(options.bin, "minimal-service")
    with runs.place() as folder:
        if os.path.exists(smallest):
            with runs.started(smallest, f"local:{folder}") as service:
                service.until(lambda line: "joined" in line)
                time.sleep(seconds / 2)  # the last steps of joining
                states["minimal-service"] = state(service.pid, seconds)
    program = os.path.join(options.bin, "bench-ours-local")
    with runs.bus(None) as (address, _), runs.started(program, "serve", address) as service:
        service.ready()
        with runs.started(program, "ask", address, "--count", REQUESTS) as client:
            runs.checked(client.result())
        time.sleep(seconds / 2)
        states["bench-ours-local, asked"] = state(service.pid, seconds)
        service.end()
    return states


def start_times(program):
    """Milliseconds of a service until it is ready, then of a client until it has an answer."""
    with runs.bus(None) as (address, _):
        begin = time.monotonic_ns()
        with runs.started(program, "serve", address) as service:
            service.ready()
            ready = time.monotonic_ns() - begin
            begin = time.monotonic_ns()
            with runs.started(program, "ask", address, "--count", 1) as client:
                answered = runs.checked(client.result())["end_ns"] - begin
            service.end()
    return {"ready_ms": ready / 1e6, "answered_ms": answered / 1e6}


def measure(options):
    program = os.path.join(options.bin, "bench-ours-local")
    seconds = QUICK_IDLE_SECONDS if options.quick else IDLE_SECONDS
    return {
        "stripped_bytes": {"64 bit": stripped_sizes(options.lib),
                           "32 bit": stripped_sizes(options.lib32)},
        "idle": idle(options, seconds),
        "start": [start_times(program) for _ in range(1 if options.quick else options.rounds)],
    }


def size_rows(sizes):
    for width, found in sizes.items():
        if found:
            yield [f"both libraries, {width}", f"{sum(found.values()) / 1024:.0f} KiB",
                   ", ".join(f"{name} {size / 1024:.0f}" for name, size in found.items())]
        else:
            yield [f"both libraries, {width}", "missing", "not built"]


def idle_rows(states):
    for name, found in states.items():
        yield [f"idle: {name}", f"{found['resident_kib']} KiB",
               f"shared parts divided {found['proportional_kib']}, its own memory "
               f"{found['anonymous_kib']}; {found['threads']} threads, "
               f"{found['wakeups_per_second']:.1f} wake-ups/s, "
               f"{found['cpu_ns_per_second'] / 1000:.0f} µs of CPU/s"]


def start_rows(starts):
    for key, title in (("ready_ms", "service: exec to ready"),
                       ("answered_ms", "client: exec to first answer")):
        values = [start[key] for start in starts]
        yield [title, f"{statistics.median(values):.1f} ms",
               f"{min(values):.1f}..{max(values):.1f} in {len(values)} starts"]


def main():
    parser = commandline.parser(__doc__, "footprint")
    parser.add_argument("--lib", default="build/release/lib", help="where the libraries are")
    parser.add_argument("--lib32", default="build/release-m32/lib", help="those of 32 bits")
    parser.add_argument("--rounds", type=int, default=25, help="starts")
    options = parser.parse_args()
    found = measure(options)
    commandline.save(options, found)
    body = [*size_rows(found["stripped_bytes"]), *idle_rows(found["idle"]),
            *start_rows(found["start"])]
    print("\n".join(tables.lines(["what", "figure", "more"], body)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
