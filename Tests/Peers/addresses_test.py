"""Two hosts with one IP address on one segment: the conflict is told once, and that it is over when one of them has gone."""
import time

import namespaces
import peer

SHARED = "10.71.1.50"


def speak(host):
    """The kernel asks for the station's hardware address anew, which tells everyone the host's own."""
    host.ip("neigh", "flush", "dev", "e0")
    sender = host.udp()
    sender.sendto(b"hello", ("10.71.1.1", 9))
    sender.close()


with peer.temporary_folder() as folder, namespaces.small_network() as (world, segment, station):
    left, right = world.host("left"), world.host("right")
    for host in (left, right):
        segment.attach(host, "e0", SHARED + "/24")
    macs = sorted((left.mac("e0"), right.mac("e0")), key=peer.natural)
    conflict = "IP-Konflikt: %s wird von 2 Geräten benutzt (%s)" % (SHARED, ", ".join(macs))
    over = "IP-Konflikt %s nicht mehr sichtbar" % SHARED
    with namespaces.watch(folder, station) as program:
        speak(left)
        time.sleep(2)
        peer.check(not any("IP-Konflikt" in text for text in program.texts()), "one host is no conflict")
        for _ in range(3):
            speak(left)
            speak(right)
            time.sleep(1)
        program.wait_event("alarm", conflict)
        listed = program.get("/api/network")["conflicts"]
        peer.check(len(listed) == 1 and SHARED in str(listed), "it is listed: %r" % listed)
        right.ip("link", "set", "e0", "down")
        gone = time.monotonic()
        while over not in program.texts() and time.monotonic() - gone < 75:
            speak(left)
            time.sleep(1)
        took = time.monotonic() - gone
        program.wait_event("info", over, 1)
        peer.check(57 < took < 64, "over %.1f s after one of them has gone" % took)
        peer.check(program.texts().count(conflict) == 1 and program.texts().count(over) == 1, "each was said once")
        peer.check(program.get("/api/network")["conflicts"] == [], "nothing is listed any more")
