"""ptp4l as grandmaster, with software time stamps: its domain, a second grandmaster that does not hear the first, and the end of both."""
import os
import time

import namespaces
import peer

DOMAIN = 7
LABEL = "PTPv2 · Domäne %d" % DOMAIN
CONFIGURATION = """[global]
time_stamping software
network_transport UDPv4
free_running 1
domainNumber %d
logAnnounceInterval 0
announceReceiptTimeout 2
uds_address %s
"""


def identity(host):
    """Clock identity of an adapter: its hardware address with FF FE between the halves."""
    mac = host.mac("e0").lower().split(":")
    return ":".join(mac[:3] + ["ff", "fe"] + mac[3:])


def grandmaster(folder, host, label):
    path = os.path.join(folder, label)
    with open(path + ".cfg", "w") as file:
        file.write(CONFIGURATION % (DOMAIN, path + ".uds"))
    return host.child("ptp4l", "-f", path + ".cfg", "-i", "e0", "-m", "--masterOnly", "1", log=path + ".log")


def domain(program):
    return next((entry for entry in program.get("/api/network")["ptp"] if entry["label"] == LABEL), None)


peer.need("ptp4l")
with peer.temporary_folder() as folder, namespaces.World() as world:
    station, left, right = (world.host(label) for label in ("station", "left", "right"))
    # Two segments: the grandmasters do not hear each other, only the station hears both.
    for number, host in enumerate((left, right), start=1):
        segment = world.segment("switch%d" % number)
        segment.attach(station, "a%d" % number, "10.71.%d.1/24" % number)
        segment.attach(host, "e0", "10.71.%d.2/24" % number)
    with namespaces.watch(folder, station) as program:
        with grandmaster(folder, left, "left"):
            first = identity(left)
            program.wait_event("info", "%s: Grandmaster %s" % (LABEL, first), 30)
            entry = domain(program)
            peer.check((entry["grandmaster"], entry["version"], entry["conflict"]) == (first, 2, False), "one clock, no conflict")
            with grandmaster(folder, right, "right"):
                both = sorted((first, identity(right)), key=peer.natural)
                program.wait_event("alarm", "%s: mehrere Grandmaster aktiv (%s) – Takt instabil" % (LABEL, ", ".join(both)), 30)
                peer.check(domain(program)["conflict"], "the domain is in conflict")
                problems = program.get("/api/network")["problems"]
                peer.check({"level": "alarm", "area": "light", "text": LABEL + ": mehrere Grandmaster"} in problems, "it stands under the problems")
                time.sleep(3)
        ended = time.monotonic()
        text = "PTP-Takt %s nicht mehr zu sehen" % LABEL
        program.wait_event("warning", text, 75)
        took = time.monotonic() - ended
        peer.check(58 < took < 66, "the domain has gone %.1f s after the last grandmaster's end" % took)
        peer.check(domain(program) is None, "it is listed no more")
        texts = program.texts()
        peer.check(texts.count(text) == 1 and sum("mehrere Grandmaster aktiv" in each for each in texts) == 1, "each was said once")
