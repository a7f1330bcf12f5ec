"""A hundred thousand broken and invented datagrams on the ports that are listened on: the program goes on answering, hears what is right
among them, and its memory stays bounded."""
import os
import random
import time

import namespaces
import packets
import peer

WAVES, WAVE = int(os.environ.get("KESTRELYNE_GARBAGE_WAVES", 4)), 25000
MOST_GROWTH = 64  # MiB, the limits of sources, nodes and stations included
SANITIZED = 8  # times that with a sanitizer's shadow memory


def seeds(rng):
    cid = rng.randbytes(16)
    frame = rng.randbytes(512)
    return [
        (packets.ARTNET, packets.art_poll()),
        (packets.ARTNET, packets.art_poll_reply("10.71.1.%d" % rng.randrange(256), "<b>Node\x1b[31m", rng.randrange(128), rng.randrange(16), [0, 1, 2, 3], rng.randrange(256))),
        (packets.ARTNET, packets.art_dmx(rng.randrange(0x8000), frame)),
        (packets.ARTNET, packets.art_timecode(*(rng.randrange(256) for _ in range(5)))),
        (packets.SACN, packets.sacn(rng.randrange(65536), frame, cid, "Pult \u202e<script>")),
        (packets.SACN, packets.sacn_discovery(range(1, 500), cid)),
        (packets.MA3, packets.ma3("grandMA3 2.%d.%d.0" % (rng.randrange(100), rng.randrange(100)))),
        (packets.PTP_GENERAL, packets.ptp_announce(rng.randrange(256), rng.randbytes(8))),
        (packets.PTP_EVENT, packets.ptp_announce(rng.randrange(256), rng.randbytes(8))),
    ]


def broken(rng, datagram):
    kind = rng.randrange(6)
    if kind == 0:
        return datagram
    if kind == 1:
        return datagram[: rng.randrange(len(datagram) + 1)]
    if kind == 2:
        return datagram + rng.randbytes(rng.randrange(200))
    if kind == 3:
        return rng.randbytes(rng.randrange(700))
    changed = bytearray(datagram)
    for _ in range(rng.randrange(1, 8)):
        changed[rng.randrange(len(changed))] = rng.choice((0, 1, 0x7F, 0x80, 0xFF, rng.randrange(256)))
    return bytes(changed)


def sanitized():
    with open(peer.PROGRAM, "rb") as program:
        content = program.read()
    return b"__asan_init" in content or b"__tsan_init" in content


with peer.temporary_folder() as folder, namespaces.small_network("attacker", "console") as (world, segment, station, attacker, console):
    with namespaces.watch(folder, station) as program, attacker.udp() as sender, console.udp() as honest:
        rng = random.Random(20)
        time.sleep(2)
        before = program.resident()
        slowest, sent, memory = 0.0, 0, []
        for _ in range(WAVES):
            offered = time.monotonic()
            for _ in range(WAVE // 9 + 1):
                for port, datagram in seeds(rng):
                    sender.sendto(broken(rng, datagram), ("10.71.1.1", port))
                    sent += 1
            offered = time.monotonic() - offered
            begun = time.monotonic()
            program.get("/api/network")
            slowest = max(slowest, time.monotonic() - begun)
            time.sleep(1)
            memory.append(program.resident())
        print("%d datagrams, the last %d at %.0f a second; slowest answer %.0f ms; resident %.0f MiB before, %s after each wave" % (
            sent, WAVE, WAVE / offered, slowest * 1000, before, ", ".join("%.0f" % each for each in memory)), flush=True)
        peer.check(sent >= 100000 and program.alive(), "it lives on")
        peer.check(slowest < 3, "it answers meanwhile")
        limit = MOST_GROWTH * (SANITIZED if sanitized() else 1)
        peer.check(memory[-1] - before < limit, "its memory has grown by %.0f MiB, less than %d" % (memory[-1] - before, limit))

        frame = bytes(range(256)) * 2
        honest.sendto(packets.art_dmx(0x1234, frame), ("10.71.1.1", packets.ARTNET))

        def heard():
            honest.sendto(packets.art_dmx(0x1234, frame), ("10.71.1.1", packets.ARTNET))
            time.sleep(0.2)
            view = program.get("/api/dmx?u=Art-Net:%d" % 0x1234)
            return any(source["ip"] == "10.71.1.3" for source in view["sources"])

        peer.wait_for("what is right", heard)
        told = [text for text in program.texts("warning") if text.startswith("Zu viele Absender im Netz")]
        dropped = [text for text in program.texts("warning") if text.startswith("Eigener Empfangspuffer")]
        print("a console is heard among them; limits told %d times, own losses %r" % (len(told), dropped))
        peer.check(len(told) <= 1, "that limits were reached is told once at most")
        program.process.terminate()
        peer.check(program.process.wait(10) == 0, "it ends as it should")
