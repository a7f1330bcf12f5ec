"""The test light and OLA: its inputs see the frames, the end is black and said, and a desk that begins has the universe within two seconds."""
import json
import os
import socket
import struct
import subprocess
import threading
import time
import uuid

import namespaces
import olad
import packets
import peer

READER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "olad_reader.py")
STATION, NODE, DESK = "10.71.1.1", "10.71.1.2", "10.71.1.3"
UNIVERSE = 6  # as the console counts: 0:0:5 on Art-Net
ALL_PROTOCOLS, OPTIONS, TERMINATED = 3, 112, 0x40
SO_TIMESTAMPNS = 35
BUSY = " sendet bereits ein Pult/eine andere Quelle – Testausgabe nicht gestartet."
TAKEN = "Testausgabe gestoppt: auf Universum %d sendet jetzt eine andere Quelle." % UNIVERSE


def lamp(number, address, **fields):
    return dict({"id": str(uuid.uuid4()).upper(), "fixtureID": number, "name": "Lampe " + number, "universe": UNIVERSE, "address": address, "footprint": 4}, **fields)


class Wire:
    """All DMX frames that pass a host's adapter, with the system's time of each: (when, sender, protocol, universe, slots, terminated)."""

    def __init__(self, host, device="e0"):
        with host.entered():
            self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(ALL_PROTOCOLS))
            self.socket.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
            self.socket.bind((device, ALL_PROTOCOLS))
        self.socket.settimeout(0.2)
        self.frames = []
        self.ended = False
        self.thread = threading.Thread(target=self.read, daemon=True)
        self.thread.start()

    def read(self):
        while not self.ended:
            try:
                packet, extra, _, _ = self.socket.recvmsg(2048, 128)
            except TimeoutError:
                continue
            except OSError:
                return  # the adapter is gone
            seconds, nanoseconds = struct.unpack("ll", extra[0][2])
            when = seconds + nanoseconds / 1e9
            header = (packet[0] & 15) * 4
            if packet[0] >> 4 != 4 or packet[9] != socket.IPPROTO_UDP:
                continue
            sender, port, data = socket.inet_ntoa(packet[12:16]), struct.unpack(">H", packet[header + 2 : header + 4])[0], packet[header + 8 :]
            if port == packets.ARTNET and data[:10] == packets.art(0x5000):
                self.frames.append((when, sender, "Art-Net", struct.unpack("<H", data[14:16])[0], data[18:], False))
            if port == packets.SACN and len(data) > 125 and data[18:22] == bytes([0, 0, 0, 4]):
                self.frames.append((when, sender, "sACN", struct.unpack(">H", data[113:115])[0], data[126:], bool(data[OPTIONS] & TERMINATED)))

    def of(self, sender, since=0.0):
        return [frame for frame in list(self.frames) if frame[1] == sender and frame[0] >= since]

    def close(self):
        self.ended = True
        self.thread.join()
        self.socket.close()


def dmx(folder, *words, fails=None):
    """The command; `fails` is the exit code that is expected then, and its complaint is answered."""
    done = subprocess.run([peer.PROGRAM, "dmx", *words, "--data", folder], capture_output=True, text=True, timeout=20)
    if done.returncode != (fails or 0):
        raise SystemExit("dmx %s: %d, %s" % (" ".join(words), done.returncode, done.stderr))
    return done.stderr if fails else done.stdout


def status(folder):
    return json.loads(dmx(folder, "status", "--json"))


def held(node, universe):
    """What OLA holds, as a map of slots that are lit."""
    values = json.loads(node.host.run("/usr/bin/python3", READER, str(universe), capture_output=True).stdout or "[]")
    return {slot + 1: value for slot, value in enumerate(values) if value}


def dark(frame):
    return not any(frame[4])


def check_end(wire, since, proto, universe):
    """What we send behind `since` ends with three black frames 30 ms apart, and on sACN with the end of the stream behind them."""
    time.sleep(0.4)
    ours = wire.of(STATION, since)
    count = 4 if proto == "sACN" else 3
    end = [frame for frame in ours if dark(frame)]
    peer.check([frame[2:4] for frame in end] == [(proto, universe)] * count, "%d black frames on %s %d at the end" % (count, proto, universe))
    peer.check(ours[-count:] == end, "and nothing behind them")
    peer.check([frame[5] for frame in end] == [False] * 3 + [True] * (count - 3), "the end of the stream is said on sACN alone, and last")
    gaps = [b[0] - a[0] for a, b in zip(end, end[1:])]
    peer.check(all(0.02 < gap < 0.2 for gap in gaps), "with %s ms between them" % ", ".join("%.0f" % (gap * 1000) for gap in gaps))


olad.need()
with peer.temporary_folder() as folder, namespaces.small_network("node", "desk") as (world, segment, station, node_host, desk_host):
    namespaces.settings(folder)
    fixtures = [lamp("101", 10, highlight=[{"offset": 0, "value": 255}, {"offset": 2, "value": 255, "fixed": True}, {"offset": 3, "value": 40}]), lamp("102", 20)]
    patch = os.path.join(folder, "data", "Patch")
    os.makedirs(patch)
    with open(os.path.join(patch, "patch.json"), "w") as file:
        json.dump({"fixtures": fixtures, "settings": {}}, file)
    peer.check("Es läuft kein Programm" in dmx(folder, "status", fails=4), "without a program there is no test light")
    with olad.Olad(folder, node_host, NODE) as node, olad.Olad(folder, desk_host, DESK) as desk:
        node.patch("artnet", 0, UNIVERSE - 1, is_input=True)
        node.patch("sacn", 0, UNIVERSE, is_input=True)
        desk.patch("sacn", 0, UNIVERSE)
        wire = Wire(node_host)
        with namespaces.watch(folder, station) as program:
            listed = lambda: [entry for entry in program.get("/api/network")["nodeList"] if entry["ip"] == NODE and entry["outputs"] == "0:0:5"]
            peer.wait_for("the node", listed)
            peer.check("Es gibt keine Lampe „999“" in dmx(folder, "start", "fixtures", "999", fails=2), "an unknown lamp is said")
            refused = dmx(folder, "start", "raw", "9", "1", "255", fails=1)
            peer.check("Kein Art-Net-Node gibt Universum 9 (0:0:8) aus – Testausgabe nicht gestartet." in refused, "a universe that no node puts out is refused")
            peer.check(status(folder)["blockedBy"] in refused, "and stands in the status")

            # Art-Net
            dmx(folder, "start", "fixtures", "101", "--level", "0,5")
            expected = {10: 128, 12: 255, 13: 40}
            peer.wait_for("the lamp on OLA's Art-Net input", lambda: held(node, UNIVERSE - 1) == expected)
            peer.check(held(node, UNIVERSE) == {}, "nothing comes on sACN")
            program.wait_event("info", "DMX-Testausgabe gestartet (Art-Net, Universum 6)")
            dmx(folder, "start", "all", "--level", "1")
            peer.wait_for("both lamps", lambda: held(node, UNIVERSE - 1) == {10: 255, 12: 255, 13: 40, 20: 255})
            begun = time.time()
            time.sleep(3)
            rate = len(wire.of(STATION, begun)) / (time.time() - begun)
            # A busy machine leaves ticks out, and none makes up for them.
            peer.check(15 < rate < 31.5, "%.1f frames a second" % rate)
            dmx(folder, "start", "raw", str(UNIVERSE), "100", "77")
            peer.wait_for("the raw channel", lambda: held(node, UNIVERSE - 1) == {100: 77})
            begun = time.time()
            dmx(folder, "stop")
            check_end(wire, begun, "Art-Net", UNIVERSE - 1)
            peer.check(held(node, UNIVERSE - 1) == {}, "OLA is dark")

            # sACN
            dmx(folder, "start", "chase", "--proto", "sacn", "--priority", "120", "--step", "0.3", "--level", "1")
            pictures = ({10: 255, 12: 255, 13: 40}, {20: 255})
            for picture in pictures * 2:
                peer.wait_for("the chase at %r" % picture, lambda: held(node, UNIVERSE) == picture)
            time.sleep(5)
            peer.check(status(folder)["sending"], "our own frames, which we hear, end nothing")
            begun = time.time()
            dmx(folder, "stop")
            check_end(wire, begun, "sACN", UNIVERSE)

            # A desk begins.
            dmx(folder, "start", "all", "--proto", "sacn", "--universes", "1-6")
            time.sleep(3.3)
            begun = time.time()
            desk.feed(40, UNIVERSE)
            peer.wait_for("the end", lambda: not status(folder)["sending"], 6)
            check_end(wire, begun, "sACN", UNIVERSE)
            first = wire.of(DESK, begun)[0][0]
            left = [frame[0] for frame in wire.of(STATION, begun) if dark(frame)][0] - first
            peer.check(left < 2.2, "the universe is left %.2f s after the desk's first frame" % left)
            peer.check(status(folder)["blockedBy"] == TAKEN, TAKEN)
            program.wait_event("warning", TAKEN)
            program.wait_event("info", "DMX-Testausgabe beendet")

            # While it sends on sACN, Art-Net is refused as well.
            begun = time.time()
            refused = dmx(folder, "start", "fixtures", "101", "--proto", "artnet", fails=1)
            peer.check("(sACN)" + BUSY in refused, refused.strip())
            time.sleep(0.3)
            peer.check(wire.of(STATION, begun) == [], "and nothing is sent")
            desk.stop_feeding()
            desk.process.__exit__()
            peer.wait_for("the desk's end", lambda: subprocess.run([peer.PROGRAM, "dmx", "start", "all", "--proto", "sacn", "--data", folder], capture_output=True, timeout=20).returncode == 0)

            # The program's end is an end of the test light as well.
            time.sleep(0.5)
            begun = time.time()
        check_end(wire, begun, "sACN", UNIVERSE)
        wire.close()
