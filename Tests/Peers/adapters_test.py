"""An adapter that comes up, gets a second address and goes away while the program runs: what is said, and when the watch begins anew."""
import time

import namespaces
import peer

STOPPED = "Überwachung gestoppt"


def started(*addresses):
    return "Überwachung gestartet auf " + ", ".join(addresses)


def follow(program, before, expected, what):
    """The events since `before`, which must be exactly these and come soon."""
    begun = time.monotonic()
    peer.wait_for(what, lambda: len(program.texts()) >= before + len(expected), 8)
    took = time.monotonic() - begun
    # Anything more would follow at once.
    time.sleep(1.5)
    news = program.texts()[before:]
    peer.check(news == expected, "%s, after %.1f s: %r" % (what, took, news))
    peer.check(took < 5, "within seconds")
    return before + len(expected)


with peer.temporary_folder() as folder, namespaces.small_network("other") as (world, segment, station, other):
    with namespaces.watch(folder, station) as program:
        home = "Licht 10.71.1.0/24"
        program.wait_event("info", started(home))
        time.sleep(1)
        said = len(program.texts())

        stage = world.segment("stage")
        stage.attach(station, "b0", "10.71.2.1/24")
        said = follow(program, said, ["Adapter verfügbar: b0 10.71.2.1 (10.71.2.0/24)", STOPPED, started("b0 10.71.2.0/24", home)], "an adapter comes up")
        station.ip("addr", "add", "10.71.3.1/24", "brd", "+", "dev", "b0")
        said = follow(program, said, ["Adapter verfügbar: b0 10.71.3.1 (10.71.3.0/24)", STOPPED, started("b0 10.71.2.0/24", "b0 10.71.3.0/24", home)], "it gets a second address")
        station.ip("link", "set", "b0", "down")
        said = follow(program, said, ["Adapter weg: b0 10.71.2.1", "Adapter weg: b0 10.71.3.1", STOPPED, started(home)], "it goes down")
        station.ip("link", "del", "b0")
        time.sleep(2)
        peer.check(len(program.texts()) == said, "one that was down before may vanish unnoticed")
        peer.check(set(program.texts("warning")) == {"Adapter weg: b0 10.71.2.1", "Adapter weg: b0 10.71.3.1"}, "what has gone is a warning")

    # With a choice of adapters the others are told of, and nothing begins anew.
    namespaces.settings(folder, interfaces=["e0"])
    with namespaces.watch(folder, station) as program:
        program.wait_event("info", started(home))
        said = len(program.texts())
        stage.attach(station, "c0", "10.71.2.1/24")
        said = follow(program, said, ["Adapter verfügbar: c0 10.71.2.1 (10.71.2.0/24)"], "an adapter that is not used comes up")
        station.ip("link", "del", "c0")
        said = follow(program, said, ["Adapter weg: c0 10.71.2.1"], "and is pulled out")
