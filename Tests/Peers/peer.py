"""What the tests against foreign programs share: the program under test, a wait with a limit, a skip with a reason.

Everything stays on the loopback address; every process that is started is ended by its own handle.
"""
import json
import os
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import urllib.request

PROGRAM = os.environ.get("KESTRELYNE_BINARY", "build/release/kestrelyne")


def skip(reason):
    print("skipped: " + reason)
    sys.exit(77)


def need(command):
    if shutil.which(command) is None:
        skip(command + " is not installed")


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


class Child:
    """A process of this test; ended by its handle, hard after five seconds."""

    def __init__(self, words, **options):
        self.process = subprocess.Popen(words, **options)

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


class Program(Child):
    """The program with a folder of its own and the web interface on a free port."""

    def __init__(self, folder, *words):
        self.port = free_port()
        super().__init__([PROGRAM, "run", "--data", folder, "--web", "--no-lan", "--port", str(self.port), *words])
        wait_for("the web interface", lambda: port_open(self.port))

    def get(self, path):
        with urllib.request.urlopen("http://127.0.0.1:%d%s" % (self.port, path), timeout=5) as answer:
            return json.load(answer)


def set_key(folder, key, value):
    subprocess.run([PROGRAM, "settings", "set", key, "-", "--type", "json", "--data", folder], input=json.dumps(value), text=True, check=True)


def meter(identifier, port, **fields):
    return dict({"id": identifier, "name": "Prüfling", "kind": "Modbus TCP (Ethernet)", "host": "127.0.0.1", "port": port, "pollInterval": 0.2, "timeout": 1.0, "autoConnect": True}, **fields)


def float_registers(value):
    return list(struct.unpack(">HH", struct.pack(">f", value)))


def single(value):
    """A number as a 32-bit float holds it."""
    return struct.unpack(">f", struct.pack(">f", value))[0]


class Capture(Child):
    """tshark on the loopback adapter, written to a file; needs the right to capture."""

    def __init__(self, folder, port):
        need("tshark")
        if os.geteuid() != 0:
            skip("capturing needs root")
        self.file = os.path.join(folder, "capture.pcap")
        self.port = port
        super().__init__(["tshark", "-q", "-i", "lo", "-f", "tcp port %d" % port, "-a", "duration:60", "-w", self.file], stderr=subprocess.PIPE, text=True)
        # It says so once the capture stands.
        line = self.process.stderr.readline()
        while line and "Capturing on" not in line:
            line = self.process.stderr.readline()
        if not line:
            skip("tshark cannot capture here")
        time.sleep(0.5)

    def fields(self, display, *names):
        command = ["tshark", "-r", self.file, "-o", "mbtcp.tcp.port:%d" % self.port, "-Y", display, "-T", "fields"]
        for name in names:
            command += ["-e", name]
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()


def temporary_folder():
    return tempfile.TemporaryDirectory(prefix="peer.")
