# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""The command line and the results file, as all benchmarks have them."""

import argparse
import json
import os
import random


def parser(doc, name):
    """With what every benchmark takes; `doc` is the module's, whose first line is shown."""
    made = argparse.ArgumentParser(description=doc.split("\n", maxsplit=1)[0])
    made.add_argument("--bin", default="build/release/bin", help="where the programs are")
    made.add_argument("--out", default=f"build/bench-{name}.json", help="all results as JSON")
    made.add_argument("--quick", action="store_true", help="one tiny round, to see that it works")
    return made


def add_rounds(made):
    """For a benchmark that goes round after round, in random order."""
    made.add_argument("--rounds", type=int, default=9)
    made.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10**6))


def save(options, record):
    os.makedirs(os.path.dirname(os.path.abspath(options.out)), exist_ok=True)
    with open(options.out, "w", encoding="utf-8") as file:
        json.dump(record, file, indent=1)
