# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""One run of a benchmark program: its processes, their broker, and their folder."""

import contextlib
import json
import os
import queue
import shutil
import subprocess
import tempfile
import threading

from brokers import BROKERS

PATIENCE = 120  # seconds until a program that says nothing counts as broken


class Failed(Exception):
    """A program did not do what it should."""


class Program:
    """A running program whose lines are read as they come."""

    def __init__(self, *command):
        self.command = command
        self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.pid = self.process.pid
        self.lines = queue.Queue()
        self.errors = []
        self.readers = [threading.Thread(target=work, daemon=True)
                        for work in (self.read_lines, self.read_errors)]
        for reader in self.readers:
            reader.start()

    def read_lines(self):
        for line in self.process.stdout:
            self.lines.put(line)
        self.lines.put(None)

    def read_errors(self):
        self.errors.extend(self.process.stderr)

    def until(self, accept):
        """The first line that is accepted; the library's log may stand before it."""
        while True:
            try:
                line = self.lines.get(timeout=PATIENCE)
            except queue.Empty:
                raise self.failed(f"said nothing for {PATIENCE} seconds") from None
            if line is None:
                raise self.failed("ended early")
            if accept(line):
                return line

    def ready(self):
        self.until(lambda line: line.strip() == "ready")
        return self

    def result(self):
        result = json.loads(self.until(lambda line: line.startswith("{")))
        self.end()
        return result

    def failed(self, what):
        self.kill()
        for reader in self.readers:
            reader.join(1)
        last = self.errors[-1].strip() if self.errors else "no word on standard error"
        return Failed(f"{' '.join(os.path.basename(str(w)) for w in self.command[:2])} {what}: "
                      f"{last}")

    def end(self):
        with contextlib.suppress(BrokenPipeError):
            self.process.stdin.close()
        try:
            code = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            raise self.failed("did not end") from None
        if code != 0:
            raise self.failed(f"ended with {code}")

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


@contextlib.contextmanager
def place():
    """A new folder with a short name, as sockets' paths are short."""
    folder = tempfile.mkdtemp(prefix="vb-", dir="/tmp")
    try:
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)


@contextlib.contextmanager
def started(*command):
    program = Program(*command)
    try:
        yield program
    finally:
        program.kill()


@contextlib.contextmanager
def bus(broker_name):
    """The address of a bus of its own, and the processes that belong to it."""
    with place() as folder:
        if broker_name is None:
            yield os.path.join(folder, "bus"), []
            return
        broker = BROKERS[broker_name]()
        broker.start(os.path.join(folder, "broker"))
        try:
            yield broker.address, list(broker.pids)
        finally:
            broker.end()


def watching(pids):
    return ("--watch", ",".join(map(str, pids))) if pids else ()


def ask(program, broker, answer, count, warm_up):
    """Requests to a service in another process. What the service's side used counts too."""
    options = ("--answer", answer)
    with bus(broker) as (address, pids):
        with started(program, "serve", address, *options) as service:
            service.ready()
            with started(program, "ask", address, *options, "--count", count, "--warm-up", warm_up,
                         *watching([service.pid, *pids])) as client:
                result = client.result()
            service.end()
            return checked(result)


def ask_alone(program, answer, count, warm_up):
    """Requests to a service in the same process."""
    with bus(None) as (address, _):
        with started(program, "ask", address, "--answer", answer, "--count", count, "--warm-up",
                     warm_up) as client:
            return checked(client.result())


def checked(result):
    if result["errors"] != 0:
        raise Failed(f"{result['errors']} wrong answers")
    return result


def send(program, broker, count):
    """One-way messages to a process that counts them."""
    with bus(broker) as (address, pids):
        with started(program, "count", address, "--count", count) as receiver:
            receiver.ready()
            with started(program, "send", address, "--count", count, *watching(pids)) as sender:
                sent = sender.result()
                got = receiver.result()
    return joined(sent, got)


def send_alone(program, count):
    with bus(None) as (address, _):
        with started(program, "send", address, "--count", count) as sender:
            sent = sender.result()
    return joined(sent, dict(sent, cpu_ns=0, voluntary=0, involuntary=0))


def joined(sent, got):
    return {
        "count": sent["sent"], "received": got["received"], "retries": sent["retries"],
        "elapsed_ns": got["end_ns"] - sent["begin_ns"],
        **{key: sent[key] + got[key] for key in ("cpu_ns", "voluntary", "involuntary")},
    }
