# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""What a process uses, as the kernel tells."""

import os
import time


def cpu_ns(pid):
    """Of all its threads, also those that have ended: the process's own clock."""
    return time.clock_gettime_ns((~pid << 3) | 2)


def status(pid, key):
    """A number from the process's status, such as VmRSS in KiB, or Threads."""
    with open(f"/proc/{pid}/status", encoding="utf-8") as file:
        return next(int(line.split()[1]) for line in file if line.startswith(f"{key}:"))


def proportional_kib(pid):
    """Resident memory with what is shared divided among those who share it."""
    with open(f"/proc/{pid}/smaps_rollup", encoding="utf-8") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("Pss:"))


def switches(pid):
    """How often its threads have stopped running, which is once more than they woke up."""
    total = 0
    for thread in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{thread}/status", encoding="utf-8") as file:
            total += sum(int(line.split()[1]) for line in file if "ctxt_switches" in line)
    return total
