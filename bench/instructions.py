#!/usr/bin/env -S python3 -B
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""Instructions in user space for one request, both processes together, counted by callgrind.

Counted is the difference of two runs that differ in the number of requests, so that start and end
cancel. How long a thread waits, and how often it looks meanwhile, differs from run to run:
"waiting" stands apart, and the rest repeats within some percent, however busy the machine is.
"""

import collections
import os
import re
import shutil
import sys

import commandline
import runs
import tables

SYSTEMS = ("ours-local", "ours-inproc", "floor-local", "floor-inproc")
FEW, MANY = 1000, 3000
QUICK_FEW, QUICK_MANY = 10, 20

# The first pattern that a function's name begins with decides where its instructions belong.
GROUPS = [
    ("waiting", r"Condition::|velp::BriefWait|(__)?sched_yield|.*clock_gettime"
                r"|.*futex|(__)?pthread_cond|__condvar|.*lll_lock|_?_?pthread_cleanup"
                r"|std::condition_variable"),
    ("locks", r".*pthread_(mutex|rwlock)|Mutex|.*SignalLocker"),
    ("allocation", r"malloc|free|calloc|realloc|operator (new|delete)|_int_|arena|tcache|unlink_"),
    ("copying", r"__mem|std::__cxx11::basic_string|(void )?std::(vector|deque)"),
    ("system calls", r"(__)?(libc_)?(send|recv|read|write|close|fcntl|epoll|pread|memfd)"
                     r"|__pthread_(en|dis)able_async"),
    ("this program", r"velp::bench|std::thread|std::_Function|void std::__intro|boost::detail::func"
                     r"|\(anonymous namespace\)::(ask|serve|receive|answer)"),
    ("messages", r"MessageBase|VelpClientMessage|SystemMessage|velp::(Byte|encode|decode|describe)"
                 r"|boost::detail::sp_|operator<<"),
    ("bus", r"(non-virtual thunk to )?velp::|VelpBusProxy|(__cxxabiv1|__dynamic_cast)"),
    ("sender, handler", r"VelpMsg|Singleton|Thread"),
]
OTHERS = "the rest"

NAME = re.compile(r"^c?fn=\((\d+)\)(?: (.*))?$")
COST = re.compile(r"^[+\-*]?\d*\s+(\d+)$")


def self_costs(path):
    """{function: its own instructions}"""
    names, costs, function, called = {}, collections.Counter(), None, False
    with open(path, encoding="utf-8", errors="replace") as file:
        for line in file:
            name = NAME.match(line)
            if name:
                if name.group(2):
                    names[name.group(1)] = name.group(2)
                if line.startswith("fn"):
                    function = names[name.group(1)]
            elif line.startswith("calls="):
                called = True
            elif (cost := COST.match(line)) and function:
                if not called:
                    costs[function] += int(cost.group(1))
                called = False
    return costs


def group_of(function):
    return next((group for group, pattern in GROUPS if re.match(pattern, function)), OTHERS)


def callgrind(folder, role, program):
    return ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/{role}", program, role]


def count_once(system, program, requests):
    """{function: instructions} of all processes together"""
    with runs.place() as folder:
        address = os.path.join(folder, "bus")
        roles = ["ask"] if system.endswith("-inproc") else ["serve", "ask"]
        programs = []
        for role in roles:
            options = ["--count", requests] if role == "ask" else []
            programs.append(runs.Program(*callgrind(folder, role, program), address, *options))
            if role == "serve":
                programs[-1].ready()
        programs[-1].result()
        for other in programs[:-1]:
            other.end()
        return sum((self_costs(os.path.join(folder, role)) for role in roles),
                   collections.Counter())


def for_one_request(system, program, quick):
    counts = (QUICK_FEW, QUICK_MANY) if quick else (FEW, MANY)
    few, many = (count_once(system, program, count) for count in counts)
    return {name: (many[name] - few[name]) / (counts[1] - counts[0]) for name in many
            if many[name] != few[name]}


def grouped(functions):
    groups = collections.Counter()
    for function, cost in functions.items():
        groups[group_of(function)] += cost
    return groups


def largest(functions, count):
    found = sorted((item for item in functions.items() if group_of(item[0]) != "waiting"),
                   key=lambda item: -item[1])
    return [(f"{cost:.0f}", group_of(name), shortened(name)) for name, cost in found[:count]]


def shortened(name):
    """Without the file and without what the standard library adds to every name."""
    name = re.sub(r"std::__cxx11::basic_string<char.*?std::allocator<char> >", "string", name)
    return name if len(name) <= 90 else name[:87] + "..."


def row(system, functions):
    groups = grouped(functions)
    headings = [group for group, _ in GROUPS] + [OTHERS]
    total = sum(cost for group, cost in groups.items() if group != "waiting")
    return [system, f"{total:.0f}", *(f"{groups[group]:.0f}" for group in headings)]


def main():
    parser = commandline.parser(__doc__, "instructions")
    parser.add_argument("--systems", default="", help="these only: words that names begin with")
    parser.add_argument("--functions", type=int, default=0, help="also so many costliest functions")
    options = parser.parse_args()
    if shutil.which("valgrind") is None:
        print("missing: valgrind (Debian: valgrind)")
        return 0
    chosen = [s for s in SYSTEMS if s.startswith(tuple(options.systems.split(",")))]
    costs = {system: for_one_request(system, os.path.join(options.bin, f"bench-{system}"),
                                     options.quick) for system in chosen}
    commandline.save(options, costs)
    headings = ["system", "all but waiting", *(group for group, _ in GROUPS), OTHERS]
    print("\n".join(tables.lines(headings, [row(*item) for item in costs.items()])))
    for system in costs if options.functions else ():
        body = largest(costs[system], options.functions)
        print("\n".join(["", *tables.lines(["instructions", "group", system], body)]))
    return 0


if __name__ == "__main__":
    sys.exit(main())
