"""OLA's daemon on the segment: its universes with their rates, its node, a second sender's conflict, and our answer to its ArtPoll."""
import time

import namespaces
import olad
import peer

RATE = 40
FIRST, SECOND = "10.71.1.2", "10.71.1.3"


def universes(program):
    return {(entry["proto"], entry["universe"]): entry for entry in program.get("/api/network")["universeList"]}


def mean_rates(program, seconds):
    """What the monitor shows on average, by protocol and universe; a second's count alone is a frame off now and then."""
    shown = {}
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        for key, entry in universes(program).items():
            for sender in entry["senders"]:
                if sender["active"]:
                    shown.setdefault(key, []).append(sender["fps"])
        time.sleep(0.5)
    return {key: sum(rates) / len(rates) for key, rates in shown.items()}


def captured_rate(capture, proto, universe):
    display = "artnet.output.universe == %d" if proto == "Art-Net" else "acn.dmx.universe == %d"
    times = [float(words[0]) for words in capture.fields(display % universe, "frame.time_epoch")]
    return (len(times) - 1) / (times[-1] - times[0])


olad.need()
with peer.temporary_folder() as folder, namespaces.small_network("console", "backup") as (world, segment, station, console, backup):
    namespaces.settings(folder, artnetSubscribe=True)
    with olad.Olad(folder, console, FIRST) as first, olad.Olad(folder, backup, SECOND) as second, namespaces.watch(folder, station) as program:
        for port, universe in enumerate((5, 6, 7)):
            first.patch("artnet", port, universe)
            first.patch("sacn", port, universe)
        first.patch("artnet", 0, 9, is_input=True)
        second.patch("artnet", 0, 5)
        second.patch("sacn", 0, 5)
        expected = {(proto, universe) for proto in ("Art-Net", "sACN") for universe in (5, 6, 7)}

        with peer.Capture(folder, "udp and (port 6454 or port 5568)", adapter="e0", inside=console) as answers:
            begun = time.monotonic()
            first.feed(RATE, 5, 6, 7)
            peer.wait_for("the universes", lambda: expected <= set(universes(program)))
            peer.check(time.monotonic() - begun < 3.5, "all universes are there after %.1f s" % (time.monotonic() - begun))
            listed = universes(program)
            peer.check({listed[key]["status"] for key in expected} == {"ok"}, "all of them are in order")
            peer.check(listed["Art-Net", 5]["label"] == "5 (0:0:5)" and listed["sACN", 5]["label"] == "5", "their labels tell of the protocol's way to count")
            sender = listed["sACN", 6]["senders"][0]
            peer.check((sender["ip"], sender["priority"], sender["active"]) == (FIRST, 100, True), "sACN's sender has OLA's address and priority")
            source = sender["name"]
            peer.check(source.endswith("OLA Server"), "and its name, " + source)
            peer.check(listed["Art-Net", 6]["senders"][0]["priority"] is None, "Art-Net knows no priority")
            program.wait_event("info", "Quelle aktiv: sACN 6 · %s (%s)" % (source, FIRST))

            # Rates, beside a capture of the same seconds.
            time.sleep(2)
            with peer.Capture(folder, "udp and (port 6454 or port 5568)", adapter="e0", inside=station) as counted:
                shown = mean_rates(program, 8)
            for proto, universe in sorted(expected):
                true = captured_rate(counted, proto, universe)
                off = shown[proto, universe] / true - 1
                peer.check(abs(off) < 0.05, "%s %d: %.2f/s shown, %.2f/s captured (%+.1f %%)" % (proto, universe, shown[proto, universe], true, off * 100))

            # OLA as a node: its input port is an output of the node's.
            node = peer.wait_for("the node", lambda: [entry for entry in program.get("/api/network")["nodeList"] if entry["ip"] == FIRST and entry["outputs"]])[0]
            peer.check(node["name"] == "Pult " + FIRST, "its short name is OLA's")
            peer.check(node["interface"] == "Licht (10.71.1.0/24)", "it is heard on the adapter by its name")
            peer.check(node["outputs"] == "0:0:9", "its input port is an active output")
            program.wait_event("info", "Art-Net-Node gefunden: Pult %s (%s)" % (FIRST, FIRST))
            idle = peer.wait_for("the output that nobody feeds", lambda: universes(program).get(("Art-Net", 9)))
            peer.check((idle["status"], idle["sources"], idle["receivers"], idle["nodeOutput"]) == ("none", 0, 1, True), "which is listed with its receiver though nobody feeds it")

            # OLA polls by itself every ten seconds, and we answer as a receiver of what the nodes put out.
            controller = peer.wait_for("OLA as a controller", lambda: [entry for entry in program.get("/api/network")["controllers"] if entry["ip"] == FIRST], 25)[0]
            peer.check(controller["subscribed"], "we are registered with it")
            program.wait_event("info", "Art-Net-Controller erkannt: Pult %s (%s)" % (FIRST, FIRST))

            def reply():
                return answers.fields("artnet.poll_reply && ip.src == 10.71.1.1 && ip.dst == " + FIRST, "artnet.poll_reply.short_name", "artnet.poll_reply.ip_address", "artnet.poll_reply.mac",
                                      "artnet.poll_reply.num_ports", *("artnet.poll_reply.swout_%d" % port for port in (1, 2, 3, 4)))

            mac = station.mac("e0").lower()
            words = peer.wait_for("our ArtPollReply", reply, 25)[-1]
            peer.check(words[:3] == ["Brantholme", "10.71.1.1", mac], "our ArtPollReply names us: %r" % words)
            peer.check(9 in [int(word, 0) for word in words[4 : 4 + int(words[3])]], "it asks for the universe that OLA puts out")

        # A second sender of the same priority: a conflict, once.
        conflicts = ["Konflikt auf Art-Net-Universum 5 (0:0:5)", "Konflikt auf sACN-Universum 5"]
        second.feed(RATE, 5)
        names = {"Art-Net": None, "sACN": None}
        for proto in names:
            entry = peer.wait_for("the conflict of " + proto, lambda: (lambda found: found if found["status"] == "conflict" and len(found["senders"]) == 2 else None)(universes(program)[proto, 5]))
            names[proto] = ", ".join(sender["name"] for sender in entry["senders"])
        peer.check(set(names["sACN"].split(", ")) == {source}, "both senders call themselves " + source)
        raised = ["%s: mehrere Quellen gleicher Priorität (%s)" % (conflict, names[proto]) for conflict, proto in zip(conflicts, ("Art-Net", "sACN"))]
        for text in raised:
            program.wait_event("alarm", text)
        problems = [problem["text"] for problem in program.get("/api/network")["problems"]]
        peer.check(problems == ["Art-Net 5 (0:0:5): Konflikt %s ↔ %s" % (SECOND, FIRST), "sACN 5: Konflikt %s ↔ %s" % (source, source)], "they stand under the problems: %r" % problems)
        time.sleep(4)
        second.stop_feeding()
        # olad goes on repeating what it has; only its end is the sender's.
        second.process.__exit__()
        cleared = [program.wait_event("info", conflict + " behoben") for conflict in conflicts]
        time.sleep(3)
        texts = program.texts()
        for text in raised + [conflict + " behoben" for conflict in conflicts]:
            peer.check(texts.count(text) == 1, "said once: " + text)
        program.wait_event("warning", "Quelle verloren: Art-Net 5 · %s (%s)" % (SECOND, SECOND))
        print("conflict cleared %.1f s after the second sender's end" % max(cleared))
