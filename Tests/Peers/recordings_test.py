"""Recordings of switches and UPSs of ten makers, read whole by our readers: what is found equals the file kept of it, and what can be counted
in the recording without any reader.

With --write the files are made anew; what they say of values that no reader looks for is kept.
"""
import json
import os
import pathlib
import subprocess
import sys
import time

import peer
import recording
import ups

TOOL = os.environ.get("KESTRELYNE_SNMP_TOOL", "build/release/Tests/Peers/SNMPTool")
EXPECTED = pathlib.Path(__file__).parent / "Expected"
# A whole reading of the longest of them takes a tenth of it.
MOST_SECONDS = 5
CHASSIS_IS_MAC = 4


def read(agent, what):
    output = subprocess.run([TOOL, str(agent.port), "public", "3", what], capture_output=True, text=True, timeout=60)
    if output.returncode:
        raise SystemExit("wrong: %s: %s" % (what, output.stderr))
    return json.loads(output.stdout)


def whole(value):
    return int(value) if isinstance(value, float) and value.is_integer() else value


def joined(*pieces):
    return " ".join(str(piece) for piece in pieces if piece not in (None, ""))


# Switches

def totals(status):
    ports = status["ports"]
    found = {"ports": len(ports), "up": sum(port["up"] for port in ports)}
    found.update({key: sum(port[key] for port in ports) for key in ("in", "out", "errors")})
    return found


def port_line(port):
    neighbor = "" if port["neighbor"] is None else "→ %r" % port["neighbor"]
    return joined(port["index"], port["name"], "(%s)" % port["alias"] if port["alias"] else "", "up" if port["up"] else "down", "" if port["admin"] else "off", port["speed"],
                  {None: "", True: "PoE", False: "no PoE"}[port["poe"]], neighbor)


def switch_summary(status, topology):
    worth = [port for port in status["ports"] if port["up"] or port["poe"] or port["neighbor"] is not None]
    return {
        "name": status["name"], "description": status["description"].split("\r")[0].split("\n")[0], "vendor": status["vendor"], "software": status["software"],
        "serial": status["serial"], "uptime": whole(status["uptime"]), "cpu": whole(status["cpu"]), "totals": totals(status),
        "ports": [port_line(port) for port in worth],
        "temperatures": ["%s: %s" % (sensor["name"], whole(sensor["celsius"])) for sensor in status["temperatures"]],
        "fans": ["%s: %s" % (each["name"], each["state"]) for each in status["fans"]],
        "powerSupplies": ["%s: %s" % (each["name"], each["state"]) for each in status["powerSupplies"]],
        "poe": None if status["poeBudget"] is None else {"budget": whole(status["poeBudget"]), "used": whole(status["poeUsed"]), "delivering": sum(bool(port["poe"]) for port in status["ports"])},
        "addresses": {"own": len(topology["ownMACs"]), "learnt": len(topology["macPorts"]), "perPort": " ".join("%s:%d" % pair for pair in sorted(topology["macCountPerPort"].items(), key=lambda pair: int(pair[0])))},
        "neighbors": [joined(each["port"], repr(each["name"]), each["portID"], each["chassisMAC"], each["managementIP"]) for each in topology["neighbors"]],
    }


def temperatures(record, vendor):
    """Every source in turn, the first that has any."""
    box = [value for value in record.column("1.3.6.1.4.1.4526.10.43.1.8.1.5").values() if value > 0] if vendor == "Netgear" else []
    case = record.number("1.3.6.1.4.1.9.6.1.101.53.15.1.10.1") if vendor == "Cisco Business" else 0
    return (record.sensors(recording.ENTITY_SENSORS) or sorted(record.numbers(recording.CISCO_ENVIRONMENT).values())
            or (record.sensors(recording.CISCO_SENSORS) if vendor == "Cisco" else []) or ([case] if case else []) or sorted(box))


def check_switch(record, status, topology):
    """What the recording itself tells, row by row; answers the first difference."""
    sides = {
        "ports": (totals(status), record.ports()),
        "temperatures": (sorted(round(sensor["celsius"], 6) for sensor in status["temperatures"]), [round(value, 6) for value in temperatures(record, status["vendor"])]),
        "PoE": (None if status["poeBudget"] is None else {"budget": status["poeBudget"], "used": status["poeUsed"], "delivering": sum(bool(port["poe"]) for port in status["ports"])}, record.poe()),
        "learnt addresses": (topology["macPorts"], record.learnt()),
        "own addresses": (set(topology["ownMACs"]), record.own()),
        "fans of boxes": (len(status["fans"]), sum(state != 1 for state in record.column("1.3.6.1.4.1.4526.10.43.1.6.1.3").values())),
    }
    theirs = [(port, columns.get(9, b"").replace(b"\0", b"").decode().strip(), recording.mac(columns[5]) if record.number("%s.4.%s" % (recording.LLDP, index)) == CHASSIS_IS_MAC else None)
              for (port, _), index, columns in record.neighbors()]
    ours = [(each["port"], each["name"], each["chassisMAC"]) for each in topology["neighbors"]]
    sides["neighbors"] = (sorted(ours, key=repr), sorted(theirs, key=repr))
    managed = record.managed()
    sides["managed"] = (sorted(each["managementIP"] for each in topology["neighbors"] if each["managementIP"]), sorted(address for key, address in managed.items()))
    # Of several behind one port the last row counts.
    named = {}
    for (port, _), _, columns in record.neighbors():
        if 9 in columns:
            named[port] = columns[9].decode().strip()
    by_index = {port["index"]: port for port in status["ports"]}
    sides["neighbors at ports"] = ({port: by_index[port]["neighbor"] for port in named if port in by_index}, {port: name for port, name in named.items() if port in by_index})
    for what, (found, wanted) in sides.items():
        if found != wanted:
            return "%s: %r, in the recording %r" % (what, found, wanted)
    return ""


# UPSs

STANDARD = {"charge": ("2.4.0", 1), "minutes": ("2.3.0", 1), "secondsOnBattery": ("2.2.0", 1), "batteryVoltage": ("2.5.0", 10), "batteryTemperature": ("2.7.0", 1), "outputFrequency": ("4.2.0", 10)}
STANDARD_PHASES = {"inputVoltage": ("3.3.1.3", 1), "outputVoltage": ("4.4.1.2", 1), "outputCurrent": ("4.4.1.3", 10), "outputPowerW": ("4.4.1.4", 1), "load": ("4.4.1.5", 1)}
APC = {"charge": ("2.2.1.0", 1), "minutes": ("2.2.3.0", 6000), "batteryTemperature": ("2.2.2.0", 1), "inputFrequency": ("3.2.4.0", 1), "outputFrequency": ("4.2.2.0", 1)}


def check_ups(record, status):
    if status["protocol"].startswith("UPS-MIB"):
        base, fields, phases = recording.UPS, STANDARD, STANDARD_PHASES
    else:
        base, fields, phases = recording.APC, APC, {}
    for name, (place, divisor) in fields.items():
        value = record.number(base + place)
        if status[name] != (None if value is None else value / divisor):
            return "%s: %r, in the recording %r" % (name, status[name], value)
    for name, (place, divisor) in phases.items():
        values = [value / divisor for value in record.column(base + place).values()]
        if status[name] != values:
            return "%s: %r, in the recording %r" % (name, status[name], values)
    maker = record.text(base + "1.1.0") if base == recording.UPS else "APC"
    model = record.text(base + ("1.2.0" if base == recording.UPS else "1.1.1.0"))
    return "" if (status["manufacturer"], status["model"]) == (maker, model) else "maker and model: %r" % status


def read_ups(agent):
    output = subprocess.run([ups.TOOL, "read", str(agent.port)], capture_output=True, text=True, timeout=30)
    return {"error": output.stderr.strip()} if output.returncode else json.loads(output.stdout)


# All

def lines(value):
    """One line an entry."""
    return json.dumps(value, indent=1, sort_keys=True, ensure_ascii=False) + "\n"


def compare(name, found, wanted):
    for key in sorted(set(found) | set(wanted)):
        if found.get(key) != wanted.get(key):
            raise SystemExit("wrong: %s, %s: %s, expected %s" % (name, key, json.dumps(found.get(key), ensure_ascii=False), json.dumps(wanted.get(key), ensure_ascii=False)))


def main():
    recording.need()
    ups.need_tool()
    if not os.path.exists(TOOL):
        peer.skip("there is no " + TOOL)
    write = "--write" in sys.argv
    names = sorted(str(file.relative_to(recording.SAMPLES / "snmp")) for file in (recording.SAMPLES / "snmp").glob("*/*.snmprec"))
    read_names = set()
    for name in names:
        record, file = recording.Recording(name), EXPECTED / (pathlib.Path(name).stem + ".json")
        read_names.add(file.name)
        with recording.served(name) as agent:
            begun = time.monotonic()
            if name.startswith("switch/"):
                status, topology = read(agent, "switch"), read(agent, "topology")
                found, wrong = switch_summary(status, topology), check_switch(record, status, topology)
            else:
                status = read_ups(agent)
                found = {key: [whole(each) for each in value] if isinstance(value, list) else whole(value) for key, value in status.items()}
                # Without this the device is no UPS of the standard.
                wrong = check_ups(record, status) if "error" not in status else ("it has a battery" if record.number(recording.UPS + "2.1.0") is not None else "")
            took = time.monotonic() - begun
        wanted = json.loads(file.read_text()) if file.exists() else {}
        # What is there and no reader looks for: a place in the recording for each.
        unread = wanted.pop("notRead", {})
        if wrong:
            raise SystemExit("wrong: %s: %s" % (name, wrong))
        for what, place in unread.items():
            if not any(oid == place or oid.startswith(place + ".") for oid in record.rows):
                raise SystemExit("wrong: %s: %s is not in the recording" % (name, place))
        if write:
            file.parent.mkdir(exist_ok=True)
            file.write_text(lines(dict(found, **({"notRead": unread} if unread else {}))))
            continue
        compare(name, found, wanted)
        peer.check(took < MOST_SECONDS, "%s: %d rows, in %.2f s%s" % (name, len(record.rows), took, "; not read: " + ", ".join(sorted(unread)) if unread else ""))
    peer.check({file.name for file in EXPECTED.glob("*.json")} == read_names, "each file belongs to a recording, and each recording has one")


main()
