"""OLA's devices of Remote Device Management behind its Art-Net node: found, read, changed where that is allowed, refused, gone and back; tshark reads every request."""
import json
import subprocess
import time

import namespaces
import olad
import peer

NODE = "10.71.1.2"
# OLA counts its devices up from here, in this order.
PLAIN, DIMMER, MOVING, LATE, ADVANCED, SENSORS, NETWORK = ("7A70:FFFFFF0%d" % number for number in range(7))
GET, SET = "0x20", "0x30"
ADDRESS, PERSONALITY, LABEL, LAMP, RESET, IDENTIFY = "0x00f0", "0x00e0", "0x0082", "0x0403", "0x1001", "0x1000"


def wire(uid):
    return uid.replace(":", "").lower()


def rdm(folder, *words, code=0):
    """A command beside the program; its output, or what it complains of when it is to fail."""
    ended = subprocess.run([peer.PROGRAM, "rdm", *words, "--data", folder], capture_output=True, text=True, timeout=180)
    if ended.returncode != code:
        raise SystemExit("rdm %s ended with %d: %s%s" % (" ".join(words), ended.returncode, ended.stdout, ended.stderr))
    return ended.stdout if code == 0 else ended.stderr.splitlines()[-1].removeprefix("kestrelyne: ")


def devices(folder, *words):
    return {device["uid"]: device for device in json.loads(rdm(folder, *(words or ("list",)), "--json"))["devices"]}


def ola(host, *words):
    return host.run(*words, capture_output=True).stdout.strip()


def ola_get(host, uid, parameter, *words):
    return ola(host, "ola_rdm_get", "-u", "1", "--uid", uid, parameter, *words)


def field(text, name):
    return next(line.split(": ", 1)[1] for line in text.splitlines() if line.startswith(name + ": "))


def requests(capture, display=""):
    names = ["rdm.dst", "rdm.src", "rdm.tn", "rdm.cc", "rdm.pid", "rdm.pdl", "rdm.len", "rdm.checksum.status", "rdm.port_id", "rdm.mc", "rdm.sd", "artnet.rdm.net", "artnet.rdm.address", "udp.dstport",
             "rdm.pd.dmx_start_address", "rdm.pd.device_label"]
    rows = capture.fields("artnet.rdm && ip.src == 10.71.1.1" + display, *names)
    return [dict(zip(names, row)) for row in rows]


olad.need()
peer.need("ola_rdm_get")
with peer.temporary_folder() as folder, namespaces.small_network("fixtures") as (world, segment, station, fixtures):
    namespaces.settings(folder)
    with olad.Olad(folder, fixtures, NODE, rdm=True) as node, namespaces.watch(folder, station) as program:
        node.patch("artnet", 0, 1, is_input=True)
        node.patch("dummy", 0, 1)
        program.wait_event("info", "Art-Net-Node gefunden: Pult %s (%s)" % (NODE, NODE))
        peer.wait_for("OLA's devices", lambda: ola(fixtures, "ola_rdm_discover", "-u", "1").lower().count("7a70:") == 7)
        with peer.Capture(folder, "udp port 6454", adapter="e0", inside=fixtures) as capture:
            # Found and read
            begun = time.monotonic()
            found = devices(folder, "scan")
            took = time.monotonic() - begun
            peer.check(set(found) == {PLAIN, DIMMER, MOVING, LATE, ADVANCED, SENSORS, NETWORK}, "all devices are found")
            peer.check(4 <= took < 15, "after %.1f s" % took)
            peer.check("RDM-Scan: 7 Geräte an 1 Nodes" in program.texts("info"), "which is said")
            peer.check(all(device["responding"] for device in found.values()), "all of them answer")
            peer.check({(device["nodeIP"], device["nodeName"], device["universe"]) for device in found.values()} == {(NODE, "Pult " + NODE, 1)}, "through the node, on its universe")
            for uid, device in found.items():
                info = ola_get(fixtures, uid, "device_info")
                theirs = [int(field(info, name)) for name in ("Device Model", "Software Version", "DMX Footprint", "Current Personality", "Personality Count", "Sensor Count")]
                ours = [device["info"][name] for name in ("modelID", "softwareVersionID", "footprint", "personality", "personalityCount", "sensorCount")]
                peer.check(ours == theirs, "%s: OLA's own reading is %r" % (uid, theirs))
                labels = [ola_get(fixtures, uid, parameter) for parameter in ("manufacturer_label", "device_model_description", "device_label", "software_version_label")]
                peer.check([device[name] for name in ("manufacturer", "model", "label", "software")] == labels, "and its labels: " + ", ".join(labels))
            sensor = found[SENSORS]["sensors"][0]
            peer.check((sensor["name"], sensor["unit"], sensor["max"], sensor["isTemperature"]) == ("Fake Temperature", "°C", 20, True), "a sensor tells of its limit")
            # OLA draws its value anew each time.
            warned = [text for text in program.texts("warning") if "Fake Temperature" in text]
            expected = ["Sensor Device (%s): Fake Temperature %d °C über 20 °C" % (SENSORS, sensor["value"])] if sensor["value"] >= 20 else []
            peer.check(warned == expected, "and is warned of beyond it, once: %r" % warned)
            shown = json.loads(rdm(folder, "show", MOVING, "--json"))["device"]
            peer.check([(mode["number"], mode["name"], mode["footprint"]) for mode in shown["personalities"]] == [(1, "Full", 17), (2, "Basic", 5), (3, "No Channels", 0), (4, "Quirks Mode", 3)], "its modes are read")
            peer.check((shown["lampState"], shown["atFactoryDefaults"], shown["identifying"]) == (1, True, False), "and lamp, factory defaults, identify")

            # Locked
            for words in (("identify", MOVING, "on"), ("address", MOVING, "5"), ("sequential", MOVING, "--start", "1")):
                peer.check(rdm(folder, *words, code=1) == "Schreiben ist gesperrt", "%s is refused at first" % words[0])
            time.sleep(1)
            sent = requests(capture)
            peer.check(sent and {request["rdm.cc"] for request in sent} == {GET}, "and none of %d requests was a SET" % len(sent))

            # Changed, each time with what the device now says and what OLA says of it
            rdm(folder, "write", "on")
            rdm(folder, "identify", MOVING, "on")
            theirs = ola_get(fixtures, MOVING, "identify_device")
            peer.check(devices(folder)[MOVING]["identifying"] and theirs == "Identify State: true", "it identifies, OLA says: " + theirs)
            rdm(folder, "identify", MOVING, "off")
            peer.check(not devices(folder)[MOVING]["identifying"], "and ends it")
            rdm(folder, "address", MOVING, "301")
            peer.check(devices(folder)[MOVING]["info"]["startAddress"] == 301 and ola_get(fixtures, MOVING, "dmx_start_address") == "DMX Address: 301", "it has a new address")
            rdm(folder, "mode", MOVING, "2")
            info = devices(folder)[MOVING]["info"]
            peer.check((info["personality"], info["footprint"]) == (2, 5), "a new mode with its footprint")
            rdm(folder, "label", MOVING, "Küche 1")
            peer.check(devices(folder)[MOVING]["label"] == "Küche 1", "a new name")
            rdm(folder, "lamp", MOVING, "0")
            peer.check(devices(folder)[MOVING]["lampState"] == 0, "its lamp is off")
            rdm(folder, "reset", MOVING)
            peer.check(program.texts("info")[-7:] == ["RDM " + text for text in ("Identify an", "Identify aus", "DMX-Adresse 301", "Modus 2", "Gerätename → „Küche 1“", "Lampe 0", "Warmstart")], "all of which is said")

            # One behind the other
            plan = json.loads(rdm(folder, "sequential", PLAIN, ADVANCED, "--start", "101", "--gap", "2", "--dry-run", "--json"))["plan"]
            peer.check([(row["name"], row["first"], row["last"]) for row in plan] == [("Dummy RDM Device", 101, 105), ("Dummy Adv Dimmer", 108, 119)], "a plan is shown")
            peer.check(ola_get(fixtures, PLAIN, "dmx_start_address") == "DMX Address: 1", "and not carried out")
            rdm(folder, "sequential", PLAIN, ADVANCED, "--start", "101", "--gap", "2")
            peer.check([ola_get(fixtures, uid, "dmx_start_address") for uid in (PLAIN, ADVANCED)] == ["DMX Address: 101", "DMX Address: 108"], "until it is asked for")

            # Refused
            for words, text, line in ((("address", MOVING, "600"), "Wert außerhalb des gültigen Bereichs", "RDM DMX-Adresse 600"),
                                      (("lamp", SENSORS, "1"), "Parameter wird nicht unterstützt", "RDM Lampe 1"),
                                      (("label", PLAIN, "x"), "Befehl wird nicht unterstützt", "RDM Gerätename → „x“"),
                                      (("identify", LATE, "on"), "unerwartete Antwort", "RDM Identify an")):
                peer.check(rdm(folder, *words, code=1) == text, "%s: %s" % (" ".join(words), text))
                peer.check(program.texts("warning")[-1] == line + " fehlgeschlagen – " + text, "which is said")
            peer.check(devices(folder)[MOVING]["info"]["startAddress"] == 301, "and the address stays")

            # Gone and back
            before = devices(folder, "sensors")
            peer.check(before[SENSORS]["responding"] and before[SENSORS]["sensors"][0]["value"] is not None, "its sensors are read again")
            node.unpatch("dummy", 0)
            begun = time.monotonic()
            gone = devices(folder, "sensors")
            peer.check(not gone[SENSORS]["responding"] and gone[SENSORS]["sensors"][0]["value"] is None, "a device that has gone does not respond (after %.1f s)" % (time.monotonic() - begun))
            peer.check(gone[SENSORS]["lastUpdate"] == before[SENSORS]["lastUpdate"], "its age tells since when")
            peer.check(rdm(folder, "identify", ADVANCED, "on", code=1) == "keine Antwort", "a write gets no answer")
            node.patch("dummy", 0, 1)
            peer.wait_for("OLA's devices", lambda: ola(fixtures, "ola_rdm_discover", "-u", "1").lower().count("7a70:") == 7)
            peer.check(devices(folder, "sensors")[SENSORS]["responding"], "and does again when it is back")
            again = devices(folder, "scan")
            peer.check(set(again) == set(found) and again[MOVING]["label"] == "Küche 1" and all(device["responding"] for device in again.values()), "a second scan finds the same")
            for _ in range(2):
                devices(folder, "sensors")
            rdm(folder, "write", "off")
            peer.check(rdm(folder, "identify", ADVANCED, "on", code=1) == "Schreiben ist gesperrt", "writing is locked again")

            # On the wire
            time.sleep(1)
            sent = requests(capture)
            for request in sent:
                fits = (request["rdm.dst"] in map(wire, found) and request["rdm.src"] == sent[0]["rdm.src"] and request["rdm.cc"] in (GET, SET) and request["rdm.checksum.status"] == "1" and
                        int(request["rdm.len"]) == 24 + int(request["rdm.pdl"]) and (request["rdm.port_id"], request["rdm.mc"], int(request["rdm.sd"], 0)) == ("1", "0", 0) and
                        (int(request["artnet.rdm.net"], 0), int(request["artnet.rdm.address"], 0), request["udp.dstport"]) == (0, 1, "6454"))
                if not fits:
                    raise SystemExit("wrong: %r" % request)
            peer.check(len(sent) > 256, "tshark finds %d requests in order, with good checksums" % len(sent))
            peer.check(sent[0]["rdm.src"].startswith("7ff0") and sent[0]["rdm.src"] != "7ff000000000", "all of them from one controller, " + sent[0]["rdm.src"])
            numbers = [int(request["rdm.tn"]) for request in sent]
            peer.check(all(later == (earlier + 1) % 256 for earlier, later in zip(numbers, numbers[1:])) and 0 in numbers, "their transactions go up by one and round")
            peer.check(not capture.fields("artnet && ip.src == 10.71.1.1 && _ws.malformed", "frame.number"), "none is malformed")
            peer.check(len(capture.fields("artnet.tod_request && ip.src == 10.71.1.1 && artnet.tod_request.address == 01", "frame.number")) == 2, "the table of the universe was asked for by each scan")
            writes = [(request["rdm.dst"], request["rdm.pid"], int(request["rdm.pdl"]), request["rdm.pd.dmx_start_address"] or request["rdm.pd.device_label"]) for request in sent if request["rdm.cc"] == SET]
            # tshark reads labels as ASCII.
            label = "Küche 1".encode().decode("ascii", "replace")
            moving = [(IDENTIFY, 1, ""), (IDENTIFY, 1, ""), (ADDRESS, 2, "301"), (PERSONALITY, 1, ""), (LABEL, 8, label), (LAMP, 1, ""), (RESET, 1, "")]
            expected = [(wire(MOVING), *write) for write in moving]
            expected += [(wire(PLAIN), ADDRESS, 2, "101"), (wire(ADVANCED), ADDRESS, 2, "108"), (wire(MOVING), ADDRESS, 2, "600"), (wire(SENSORS), LAMP, 1, ""), (wire(PLAIN), LABEL, 1, "x"), (wire(LATE), IDENTIFY, 1, "")]
            # Twice, as nobody answered.
            expected += [(wire(ADVANCED), IDENTIFY, 1, "")] * 2
            peer.check(writes == expected, "and what was written is what was asked for: %r" % writes)
