"""tshark reads what we send: ArtPoll and ArtPollReply of the running watch on a veth, and the simulator's ArtDmx, sACN and ArtTimeCode on
loopback. Nothing is malformed, and the fields are the same."""
import time

import namespaces
import packets
import peer

STATION, NODE = "10.71.1.1", "10.71.1.2"


def whole(capture, display):
    peer.check(capture.fields("(%s) && _ws.malformed" % display, "frame.number") == [], "nothing is malformed of " + display)


def watch_on_the_wire(folder):
    with namespaces.small_network("node") as (world, segment, station, node):
        namespaces.settings(folder, artnetSubscribe=True)
        with peer.Capture(folder, "udp port 6454", adapter="e0", inside=node) as capture, namespaces.watch(folder, station) as program, node.udp(port=packets.ARTNET) as device:
            # Three binds of one node: 0:0:1 to 0:0:4, 0:0:5 and 18:3:4.
            for bind, (net, sub_net, outputs) in enumerate([(0, 0, [1, 2, 3, 4]), (0, 0, [5]), (0x12, 3, [4])], start=1):
                device.sendto(packets.art_poll_reply(NODE, "Dimmer", net, sub_net, outputs, bind), ("10.71.1.255", packets.ARTNET))
            program.wait_event("info", "Art-Net-Node gefunden: Dimmer (%s)" % NODE)
            time.sleep(1.5)
            device.sendto(packets.art_poll(), ("10.71.1.255", packets.ARTNET))
            time.sleep(5)
            mac = station.mac("e0").lower()
        whole(capture, "ip.src == " + STATION)
        polls = capture.fields("artnet.poll && ip.src == " + STATION, "frame.time_epoch", "ip.dst", "artnet.header.id", "artnet.header.opcode", "artnet.header.protver", "artnet.poll.talktome_reply_change", "udp.length", "udp.dstport")
        peer.check({words[1] for words in polls} == {"10.71.1.255", "255.255.255.255"}, "ArtPoll goes to both broadcast addresses")
        peer.check({tuple(words[2:]) for words in polls} == {("Art-Net", "0x2000", "14", "1", "22", "6454")}, "opcode, version 14 and the wish to be told of changes: %r" % polls[0])
        rounds = [float(words[0]) for words in polls if words[1] == "10.71.1.255"]
        pauses = [later - sooner for sooner, later in zip(rounds, rounds[1:])]
        peer.check(len(rounds) >= 3 and all(abs(pause - 3) < 0.3 for pause in pauses), "every three seconds: " + ", ".join("%.2f s" % pause for pause in pauses))

        replies = capture.fields("artnet.poll_reply && ip.src == " + STATION, "ip.dst", "udp.dstport", "artnet.poll_reply.ip_address", "artnet.poll_reply.port_nr", "artnet.poll_reply.netswitch",
                                 "artnet.poll_reply.subswitch", "artnet.poll_reply.num_ports", "artnet.poll_reply.swout_1", "artnet.poll_reply.swout_2", "artnet.poll_reply.swout_3", "artnet.poll_reply.swout_4",
                                 "artnet.poll_reply.bind_index", "artnet.poll_reply.mac", "artnet.poll_reply.bind_ip_address", "artnet.poll_reply.short_name", "artnet.poll_reply.node_report",
                                 "artnet.poll_reply.style", "artnet.poll_reply.port_types_1", "udp.srcport")
        peer.check(len(replies) == 3, "one poll, three replies: %d" % len(replies))
        number = lambda text: int(text, 0)
        ports = [[number(word) for word in words[4:12]] for words in replies]
        peer.check(ports == [[0, 0, 4, 1, 2, 3, 4, 1], [0, 0, 1, 5, 0, 0, 0, 2], [0x12, 3, 1, 4, 0, 0, 0, 3]], "at most four ports of one Net and Sub-Net each, counted by the bind index: %r" % ports)
        rest = {(words[0], words[1], words[2], number(words[3]), *words[12:16], number(words[16]) & 0xFF, number(words[17]) & 0xC0, words[18]) for words in replies}
        name = ("Brantholme", "#0001 [0000] Brantholme ok")
        peer.check(rest == {(NODE, "6454", STATION, 6454, mac, STATION, *name, 6, 0x80, "6454")}, "addresses, names, style and port types: %r" % rest)
        # tshark shows the long name as ASCII, which it is not.
        payloads = capture.fields("artnet.poll_reply && ip.src == " + STATION, "udp.payload")
        peer.check(all("Brantholme – Überwachung (nur Empfang)\0".encode().hex() in words[0].replace(":", "") for words in payloads), "the long name is UTF-8")


def simulator_on_loopback(folder):
    with namespaces.World() as world:
        station = world.host("demo")
        # The demo's addresses are those of loopback.
        with peer.Capture(folder, "udp port 6454 or udp port 5568", adapter="lo", inside=station) as capture:
            with open(folder + "/demo.log", "wb") as log:
                with peer.Child(station.prefix + [peer.PROGRAM, "run", "--demo", "--no-lan", "--port", "8080"], stdout=log, stderr=log) as child:
                    demo = Demo(child.process, station, 8080)
                    peer.wait_for("the demo", demo.open)
                    listed = peer.wait_for("its universes", lambda: (lambda found: found if len(found) >= 8 else None)([entry for entry in demo.get("/api/network")["universeList"] if entry["status"] == "ok"]))
                    views = {proto: demo.get("/api/dmx?u=%s:%d" % (proto, universe)) for proto, universe in (("Art-Net", 1792), ("sACN", 60001))}
                    timecode = peer.wait_for("its timecode", lambda: demo.get("/api/network")["timecode"])
                    time.sleep(2)
        whole(capture, "artnet || acn")
        artnet = capture.fields("artnet.output", "artnet.output.universe", "artnet.output.length", "artnet.header.protver", "artnet.output.physical")
        peer.check({tuple(words) for words in artnet} == {(str(universe), "512", "14", "0") for universe in range(1792, 1796)}, "ArtDmx of 512 slots on 1792 to 1795")
        sequences = [int(words[0], 0) for words in capture.fields("artnet.output.universe == 1792", "artnet.output.sequence")]
        peer.check(all((later - sooner) % 256 == 1 for sooner, later in zip(sequences, sequences[1:])), "its sequence counts every packet")
        sacn = capture.fields("acn.dmx.universe", "acn.dmx.universe", "acn.dmx.source_name", "acn.dmx.priority", "acn.dmx.start_code", "acn.dmx.count", "acn.dmx.option_p", "acn.dmx.option_s")
        peer.check({tuple(words[:3]) for words in sacn} == {(str(universe), "SIM Pult sACN", "100") for universe in range(60001, 60005)}, "sACN on 60001 to 60004 with name and priority")
        peer.check({words[4] for words in sacn} == {"513"} and {(words[5], words[6]) for words in sacn} == {("0", "0")}, "513 values with the start code, neither preview nor end")
        shown = {(entry["proto"], str(entry["universe"])) for entry in listed}
        peer.check(shown == {("Art-Net", words[0]) for words in artnet} | {("sACN", words[0]) for words in sacn}, "the watch lists the universes that tshark sees")

        # The slots of one frame, byte by byte.
        frames = {words[0].replace(":", "") for words in capture.fields("artnet.output.universe == 1792", "udp.payload")}
        peer.check(any(frame.endswith(bytes(views["Art-Net"]["data"]).hex()) for frame in frames), "the slots shown of Art-Net 1792 were on the wire")
        frames = {words[0].replace(":", "") for words in capture.fields("acn.dmx.universe == 60001", "udp.payload")}
        peer.check(any(frame.endswith(bytes(views["sACN"]["data"]).hex()) for frame in frames), "and those of sACN 60001")
        codes = [bytes.fromhex(words[0].replace(":", "")) for words in capture.fields("artnet.header.opcode == 0x9700", "udp.payload")]
        peer.check(len(codes) > 25 and {len(code) for code in codes} == {19}, "%d timecodes of 19 bytes" % len(codes))
        spoken = {"%02d:%02d:%02d:%02d" % (code[17], code[16], code[15], code[14]) for code in codes}
        peer.check(timecode[0]["tc"] in spoken, "the timecode shown, %s, was on the wire" % timecode[0]["tc"])
        print("read by tshark: %d ArtDmx, %d sACN, %d ArtTimeCode" % (len(artnet), len(sacn), len(codes)))


class Demo(peer.Program):
    """The demo picks its own folder; here it is only asked."""

    def __init__(self, process, inside, port):
        self.process, self.inside, self.port = process, inside, port


with peer.temporary_folder() as folder:
    watch_on_the_wire(folder)
    simulator_on_loopback(folder)
