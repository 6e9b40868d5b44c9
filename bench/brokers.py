# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""Message brokers that a benchmark starts for itself, in a folder of its own, and ends by pid.

    broker = BROKERS["mosquitto"]()
    if not broker.available(): print(broker.missing)   # what to install
    broker.start(folder)                               # returns when it can be asked
    run(..., broker.address, watch=broker.pids)
    broker.end()

Each is set up for few and short waits on one machine: nothing stored, nothing logged, limits far
away. A broker ends with the thread that started it, even if that never gets to call end().
"""

import array
import getpass
import json
import os
import shutil
import signal
import socket
import struct
import subprocess
import time

PATIENCE = 20  # seconds until a broker that is not ready counts as broken


class Broker:
    """pid, pids and address hold once start() has returned."""

    program = ""
    package = ""

    def __init__(self):
        self.process = None
        self.pid = None
        self.pids = []
        self.address = ""

    @property
    def missing(self):
        return f"{self.program} (Debian: {self.package})"

    def available(self):
        return shutil.which(self.program) is not None

    def start(self, directory):
        directory = os.path.abspath(directory)
        os.makedirs(directory, exist_ok=True)
        try:
            self.launch(directory)
            self.until(self.ready)
        except BaseException:
            self.end()
            raise
        return self.pid, self.address

    def end(self):
        if self.process is None:
            return
        self.process.terminate()
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        self.process, self.pid, self.pids = None, None, []

    def run(self, *arguments, pass_fds=()):
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", self.program, *arguments], pass_fds=pass_fds,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.pid = self.process.pid
        self.pids = [self.pid]

    def until(self, ready):
        end = time.monotonic() + PATIENCE
        while not ready():
            if self.process.poll() is not None:
                raise RuntimeError(f"{self.program} ended with {self.process.returncode}")
            if time.monotonic() > end:
                raise RuntimeError(f"{self.program} is not ready after {PATIENCE} seconds")
            self.pause()

    def pause(self):
        """For 10 ms, or until the broker ends."""
        try:
            self.process.wait(0.01)
        except subprocess.TimeoutExpired:
            pass

    def launch(self, directory):
        """Starts the process and sets the address."""
        raise NotImplementedError

    def ready(self):
        raise NotImplementedError


class DBusDaemon(Broker):
    """The reference bus, with the limits of a session bus."""

    program = "dbus-daemon"
    package = "dbus-daemon"

    def launch(self, directory):
        self.path = os.path.join(directory, "bus")
        self.address = f"unix:path={self.path}"
        config = write(directory, "bus.conf", f"""
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>{self.address}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  {"".join(f'<limit name="{name}">{value}</limit>' for name, value in self.LIMITS.items())}
</busconfig>""".lstrip())
        self.run(f"--config-file={config}", "--nofork", "--nopidfile", "--nosyslog")

    LIMITS = {
        "max_incoming_bytes": 1000000000, "max_outgoing_bytes": 1000000000,
        "max_message_size": 1000000000, "max_completed_connections": 100000,
        "max_incomplete_connections": 10000, "max_connections_per_user": 100000,
        "max_names_per_connection": 50000, "max_match_rules_per_connection": 50000,
        "max_replies_per_connection": 50000, "service_start_timeout": 120000,
    }

    def ready(self):
        return answers_dbus(self.path)


class DBusBroker(Broker):
    """The bus alone. Its usual launcher needs systemd, so this plays its part: it hands the broker
    a listening socket and a policy that allows everything, over the socket pair they share."""

    program = "dbus-broker"
    package = "dbus-broker"
    POLICY = "a(u({0}))a(buu({0}))a(ss)bs".format("bta(btbs)a(btssssuutt)a(btssssuutt)")

    def launch(self, directory):
        self.path = os.path.join(directory, "bus")
        self.address = f"unix:path={self.path}"
        self.controller, theirs = socket.socketpair()
        with theirs:
            theirs.setblocking(False)
            self.run("--controller", str(theirs.fileno()), "--machine-id", "0" * 31 + "1",
                     "--max-bytes", "1000000000000", "--max-fds", "100000",
                     pass_fds=[theirs.fileno()])
        if os.path.exists(self.path):
            os.unlink(self.path)
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind(self.path)
            listener.listen(128)
            listener.setblocking(False)
            self.hand_over(listener)

    def hand_over(self, listener):
        self.controller.settimeout(PATIENCE)
        self.controller.sendall(b"\0AUTH EXTERNAL\r\nDATA\r\nNEGOTIATE_UNIX_FD\r\nBEGIN\r\n")
        message = dbus_call("/org/bus1/DBus/Broker", "org.bus1.DBus.Broker", "AddListener",
                            "ohv",
                            ["/org/bus1/DBus/Listener/0", 0, (f"({self.POLICY})", allow_all())])
        self.controller.sendmsg([message], [(socket.SOL_SOCKET, socket.SCM_RIGHTS,
                                             array.array("i", [listener.fileno()]))])

    def ready(self):
        return answers_dbus(self.path)

    def end(self):
        if self.process is not None:
            self.controller.close()
        super().end()


class NatsServer(Broker):
    """A port that is free, and messages of up to 8 MiB."""

    program = "nats-server"
    package = "nats-server"

    def launch(self, directory):
        self.directory = directory
        config = write(directory, "nats.conf", f"""
listen: "127.0.0.1:-1"
ports_file_dir: "{directory}"
max_payload: 8MB
max_pending: 1GB
write_deadline: "60s"
""")
        self.run("-c", config)

    def ready(self):
        try:
            with open(os.path.join(self.directory, f"nats-server_{self.pid}.ports"),
                      encoding="utf-8") as file:
                self.address = json.load(file)["nats"][0]
        except (OSError, ValueError, KeyError, IndexError):
            return False
        return True


class Mosquitto(Broker):
    """A socket in the file system instead of a port, and no limit to what waits."""

    program = "mosquitto"
    package = "mosquitto"

    def launch(self, directory):
        self.address = os.path.join(directory, "mqtt")
        config = write(directory, "mosquitto.conf", f"""
user {getpass.getuser()}
listener 0 {self.address}
allow_anonymous true
persistence false
log_type none
sys_interval 0
max_inflight_messages 0
max_queued_messages 0
set_tcp_nodelay true
""")
        self.run("-c", config)

    def ready(self):
        with socket.socket(socket.AF_UNIX) as client:
            return client.connect_ex(self.address) == 0


BROKERS = {kind.program: kind for kind in (DBusDaemon, DBusBroker, NatsServer, Mosquitto)}


def write(directory, name, text):
    path = os.path.join(directory, name)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    return path


# --- D-Bus ---------------------------------------------------------------------------------------

def answers_dbus(path):
    with socket.socket(socket.AF_UNIX) as client:
        client.settimeout(1)
        try:
            client.connect(path)
            client.sendall(b"\0AUTH EXTERNAL\r\nDATA\r\n")
            return bool(client.recv(1))
        except OSError:
            return False


def allow_all():
    """A policy: everybody may connect, own every name, and send and receive everything."""
    yes = (True, 1)
    own = [(*yes, True, "")]
    every = [(*yes, "", "", "", "", 0, 0, 0, 2**64 - 1)]
    return ([(2**32 - 1, (*yes, own, every, every))], [], [], False, "session")


def dbus_call(path, interface, member, signature, body):
    """A method call, number 1, that brings one descriptor."""
    content = marshal(signature, body)
    fields = [(1, ("o", path)), (2, ("s", interface)), (3, ("s", member)), (8, ("g", signature)),
              (9, ("u", 1))]
    head = marshal("yyyyuua(yv)", [ord("l"), 1, 0, 1, len(content), 1, fields])
    return padded(head, 8) + content


def marshal(signature, values):
    out = bytearray()
    for kind, value in zip(complete_types(signature), values):
        out = put(out, kind, value)
    return bytes(out)


ALIGNMENTS = {"y": 1, "g": 1, "v": 1, "t": 8, "(": 8}  # everything else: 4
NUMBERS = {"y": "<B", "b": "<I", "u": "<I", "h": "<I", "t": "<Q"}


def put(out, kind, value):
    out = padded(out, ALIGNMENTS.get(kind[0], 4))
    if kind in NUMBERS:
        return out + struct.pack(NUMBERS[kind], value)
    if kind in "so":
        return out + struct.pack("<I", len(value)) + value.encode() + b"\0"
    if kind == "g":
        return out + struct.pack("<B", len(value)) + value.encode() + b"\0"
    if kind == "v":
        return put(put(out, "g", value[0]), value[0], value[1])
    if kind[0] == "(":
        for inner, element in zip(complete_types(kind[1:-1]), value):
            out = put(out, inner, element)
        return out
    return put_array(out, kind[1:], value)


def put_array(out, kind, elements):
    """The length counts from the first element, so without what aligns that."""
    at = len(out)
    out = padded(out + b"\0\0\0\0", ALIGNMENTS.get(kind[0], 4))
    begin = len(out)
    for element in elements:
        out = put(out, kind, element)
    out[at:at + 4] = struct.pack("<I", len(out) - begin)
    return out


def padded(out, alignment):
    return out + bytes(-len(out) % alignment)


def complete_types(signature):
    begin = depth = 0
    for here, character in enumerate(signature):
        depth += {"(": 1, ")": -1}.get(character, 0)
        if depth == 0 and character != "a":
            yield signature[begin:here + 1]
            begin = here + 1
