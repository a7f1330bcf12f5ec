"""What the tests against foreign programs share: the program under test, a wait with a limit, a skip with a reason.

Everything stays on the loopback address or in network namespaces of the test (namespaces.py); every process that is started is ended by
its own handle.
"""
import contextlib
import ctypes
import http.client
import json
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time

PROGRAM = os.environ.get("KESTRELYNE_BINARY", "build/release/kestrelyne")


def skip(reason):
    print("skipped: " + reason)
    sys.exit(77)


def need(command):
    if shutil.which(command) is None:
        skip(command + " is not installed")


def check(condition, what):
    if not condition:
        raise SystemExit("wrong: " + what)
    print("right: " + what, flush=True)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(what, attempt, seconds=20):
    """Calls attempt() until it answers something true, at most this long."""
    end = time.monotonic() + seconds
    last = None
    while time.monotonic() < end:
        try:
            last = attempt()
            if last:
                return last
        except OSError as error:
            last = error
        time.sleep(0.05)
    raise SystemExit("waited in vain for " + what + ": " + repr(last))


def port_open(port):
    with socket.create_connection(("127.0.0.1", port), timeout=1):
        return True


def end_with_parent():
    """In a child before it starts: the test that ctest kills takes its children with it."""
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


class Child:
    """A process of this test; ended by its handle, hard after five seconds."""

    def __init__(self, words, **options):
        self.process = subprocess.Popen(words, preexec_fn=end_with_parent, **options)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()

    def alive(self):
        return self.process.poll() is None


class Program(Child):
    """The program with a folder of its own and the web interface on a free port; `inside` is a host of namespaces.py."""

    def __init__(self, folder, *words, inside=None, **options):
        self.inside = inside
        with self.place():
            self.port = free_port()
        command = [PROGRAM, "run", "--data", folder, "--web", "--no-lan", "--port", str(self.port), *words]
        super().__init__((inside.prefix if inside else []) + command, **options)
        try:
            wait_for("the web interface", self.open)
        except BaseException:
            self.__exit__()
            raise

    def place(self):
        return self.inside.entered() if self.inside else contextlib.nullcontext()

    def open(self):
        if not self.alive():
            raise SystemExit("the program has ended with %d" % self.process.returncode)
        with self.place():
            return port_open(self.port)

    def get(self, path):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=5)
        try:
            with self.place():
                connection.connect()
            connection.request("GET", path)
            return json.load(connection.getresponse())
        finally:
            connection.close()

    def texts(self, level=None, source="Netzwerk"):
        """The events of the network side, oldest first."""
        events = reversed(self.get("/api/events")["events"])
        return [event["text"] for event in events if event["source"] == source and level in (None, event["level"])]

    def wait_event(self, level, text, seconds=20):
        """Waits for an event with exactly this text; answers after how many seconds it was seen."""
        begun = time.monotonic()
        try:
            wait_for(repr(text), lambda: text in self.texts(level), seconds)
        except SystemExit:
            print("events: " + json.dumps(self.get("/api/events")["events"], ensure_ascii=False, indent=1), flush=True)
            raise
        print("right: %s: %s" % (level, text), flush=True)
        return time.monotonic() - begun

    def resident(self):
        """Resident memory in MiB."""
        with open("/proc/%d/status" % self.process.pid) as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:")) / 1024


def set_key(folder, key, value, kind="json"):
    subprocess.run([PROGRAM, "settings", "set", key, "-", "--type", kind, "--data", folder], input=json.dumps(value), text=True, check=True, stdout=subprocess.DEVNULL)


def meter(identifier, port, **fields):
    return dict({"id": identifier, "name": "Prüfling", "kind": "Modbus TCP (Ethernet)", "host": "127.0.0.1", "port": port, "pollInterval": 0.2, "timeout": 1.0, "autoConnect": True}, **fields)


def float_registers(value):
    return list(struct.unpack(">HH", struct.pack(">f", value)))


def single(value):
    """A number as a 32-bit float holds it."""
    return struct.unpack(">f", struct.pack(">f", value))[0]


class Capture(Child):
    """tshark on one adapter, written to a file; needs the right to capture."""

    options = ["-o", "acn.dmx_enable:TRUE", "--enable-heuristic", "acn"]

    def __init__(self, folder, wanted, adapter="lo", inside=None):
        need("tshark")
        if os.geteuid() != 0:
            skip("capturing needs root")
        handle, self.file = tempfile.mkstemp(prefix="capture.", suffix=".pcap", dir=folder)
        os.close(handle)
        command = ["tshark", "-q", "-i", adapter, "-f", wanted, "-a", "duration:120", "-w", self.file]
        super().__init__((inside.prefix if inside else []) + command, stderr=subprocess.PIPE, text=True)
        # It says so once the capture stands.
        line = self.process.stderr.readline()
        while line and "Capturing on" not in line:
            line = self.process.stderr.readline()
        if not line:
            skip("tshark cannot capture here")
        time.sleep(0.5)

    def fields(self, display, *names):
        """One list a packet, one text a field; several values of one field are joined by a comma."""
        command = ["tshark", "-n", "-r", self.file, *self.options, "-Y", display, "-T", "fields"]
        for name in names:
            command += ["-e", name]
        read = subprocess.run(command, capture_output=True, text=True, timeout=60)
        # The capture may still be going on, with its last packet half in the file; all before it are read.
        if read.returncode != 0 and "cut short" not in read.stderr:
            raise SystemExit("tshark: " + read.stderr)
        return [line.split("\t") for line in read.stdout.splitlines()]


class ModbusCapture(Capture):
    """Modbus on loopback, on any port."""

    def __init__(self, folder, port):
        super().__init__(folder, "tcp port %d" % port)
        self.options = ["-o", "mbtcp.tcp.port:%d" % port]


def natural(text):
    """The order in which the program names addresses and clocks, as a key: digits compare as numbers."""
    return [(0, int(piece), "") if piece.isdigit() else (1, 0, piece.lower()) for piece in re.findall(r"\d+|\D+", text)]


def temporary_folder():
    return tempfile.TemporaryDirectory(prefix="peer.")
