"""Hosts of a small network: network namespaces on Linux bridges, made and removed by the test itself.

Their names hold the test's process id, so that runs beside each other do not meet; what a killed run has left is removed by the next one.
"""
import contextlib
import ctypes
import os
import re
import socket
import subprocess

import peer

PREFIX = "kestrelyne-peer-"
CLONE_NEWNET = 0x40000000
NOBODY = 65534


def ip(*words):
    subprocess.run(["ip", *words], check=True, capture_output=True, text=True, timeout=20)


def set_namespace(descriptor):
    if ctypes.CDLL(None, use_errno=True).setns(descriptor, CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "setns")


class Host:
    """One namespace with its loopback up."""

    def __init__(self, world, label):
        self.name = "%s%d-%s" % (PREFIX, os.getpid(), label)
        self.world = world
        self.prefix = ["ip", "netns", "exec", self.name]
        self.adapters = 0
        ip("netns", "add", self.name)
        self.ip("link", "set", "lo", "up")

    def ip(self, *words):
        ip("-n", self.name, *words)

    def run(self, *words, seconds=20, **options):
        return subprocess.run(self.prefix + list(words), check=True, text=True, timeout=seconds, **options)

    def child(self, *words, nobody=False, log=None, **options):
        """A process in here, its output in the file `log`; without rights when asked."""
        drop = ["setpriv", "--reuid", str(NOBODY), "--regid", str(NOBODY), "--clear-groups", "--pdeathsig", "KILL"] if nobody else []
        with open(log or os.devnull, "ab") as output:
            return peer.Child(self.prefix + drop + list(words), stdin=subprocess.DEVNULL, stdout=output, stderr=output, **options)

    @contextlib.contextmanager
    def entered(self):
        """Sockets made meanwhile belong to this host for good."""
        with open("/proc/self/ns/net") as before, open("/run/netns/" + self.name) as here:
            set_namespace(here.fileno())
            try:
                yield
            finally:
                set_namespace(before.fileno())

    def udp(self, address="", port=0):
        with self.entered():
            made = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            made.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
            made.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            made.bind((address, port))
            return made

    def mac(self, device):
        text = subprocess.run(self.prefix + ["ip", "-o", "link", "show", device], check=True, capture_output=True, text=True, timeout=20).stdout
        return re.search(r"link/ether ([0-9a-f:]+)", text)[1].upper()

    def set_address(self, device, address):
        """`address` with its prefix, "10.71.1.2/24"."""
        self.ip("addr", "add", address, "brd", "+", "dev", device)


class Segment(Host):
    """A switch: a namespace that holds nothing but the bridge "br0". It floods multicast until it is told to snoop."""

    def __init__(self, world, label):
        super().__init__(world, label)
        self.ports = 0
        self.ip("link", "add", "br0", "type", "bridge", "stp_state", "0", "mcast_snooping", "0")
        self.ip("link", "set", "br0", "up")

    def attach(self, host, device, address=None, alias=None):
        """Plugs the host in; its adapter comes up last, with everything set."""
        self.ports += 1
        host.adapters += 1
        port = "p%d" % self.ports
        self.ip("link", "add", port, "type", "veth", "peer", "name", device, "netns", host.name)
        self.ip("link", "set", port, "master", "br0", "up")
        if alias:
            host.ip("link", "set", device, "alias", alias)
        if address:
            host.set_address(device, address)
        host.ip("link", "set", device, "up")
        # A group is reached without a default route.
        host.ip("route", "add", "224.0.0.0/4", "dev", device, "metric", str(100 + host.adapters))
        return port


class World:
    """All hosts of a test; whatever still runs in them must have ended before."""

    def __init__(self):
        peer.need("ip")
        peer.need("setpriv")
        if os.geteuid() != 0:
            peer.skip("network namespaces need root")
        self.hosts = []

    def __enter__(self):
        sweep_leftovers()
        return self

    def __exit__(self, *_):
        for host in self.hosts:
            subprocess.run(["ip", "netns", "del", host.name], capture_output=True, timeout=20)

    def add(self, kind, label):
        try:
            host = kind(self, label)
        except subprocess.CalledProcessError as error:
            subprocess.run(["ip", "netns", "del", "%s%d-%s" % (PREFIX, os.getpid(), label)], capture_output=True, timeout=20)
            peer.skip("network namespaces cannot be made here: " + error.stderr.strip())
        self.hosts.append(host)
        return host

    def host(self, label):
        return self.add(Host, label)

    def segment(self, label):
        return self.add(Segment, label)


def sweep_leftovers():
    for name in os.listdir("/run/netns") if os.path.isdir("/run/netns") else []:
        found = re.fullmatch(re.escape(PREFIX) + r"(\d+)-.*", name)
        if found and not os.path.exists("/proc/" + found[1]):
            subprocess.run(["ip", "netns", "del", name], capture_output=True, timeout=20)


@contextlib.contextmanager
def small_network(*labels):
    """A station and further hosts on one segment: 10.71.1.1 and upwards, adapters called "e0"; the station's is shown as "Licht"."""
    with World() as world:
        segment = world.segment("switch")
        hosts = [world.host(label) for label in ("station", *labels)]
        for number, host in enumerate(hosts, start=1):
            segment.attach(host, "e0", "10.71.1.%d/24" % number, alias="Licht" if number == 1 else None)
        yield (world, segment, *hosts)


def settings(folder, **fields):
    """The stored settings of the network side."""
    peer.set_key(folder, "network.v1", dict({"liveDefaults": True}, **fields))


def watch(folder, station, *words, log=None):
    """The program in the station's namespace, watching the network."""
    with open(log or os.path.join(folder, "program.log"), "ab") as output:
        return peer.Program(folder, "--monitor", *words, inside=station, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
