"""Recordings of agents (a row a line: OID, tag and value apart by bars), and what stands in them, found without any of our readers.

Every function here looks at the rows by the numbers of the standards alone: IF-MIB (RFC 2863), ENTITY-SENSOR-MIB (RFC 3433), POWER-ETHERNET-MIB
(RFC 3621), BRIDGE-MIB (RFC 4188), Q-BRIDGE-MIB (RFC 4363), LLDP-MIB (IEEE 802.1AB-2005), UPS-MIB (RFC 1628).
"""
import os
import pathlib
import re
import select
import subprocess
import sys

import peer

SAMPLES = pathlib.Path(os.environ.get("KESTRELYNE_SAMPLES") or pathlib.Path(os.environ.get("KESTRELYNE_SOURCE_DIR", ".")).resolve().parent / "shared" / "samples")
AGENT = SAMPLES / "snmprec_agent.py"

TEXT, OBJECT = 4, 6
NUMBERS = (2, 65, 66, 67, 70)
ETHERNET, UP, DELIVERING, CELSIUS, UNITS = 6, 1, 3, 8, 9
IF_TYPE, IF_OPER, IF_ERRORS, IF_PHYS = ("1.3.6.1.2.1.2.2.1.%d" % column for column in (3, 8, 14, 6))
IF_IN, IF_OUT = "1.3.6.1.2.1.31.1.1.1.6", "1.3.6.1.2.1.31.1.1.1.10"
ENTITY_SENSORS, CISCO_SENSORS, CISCO_ENVIRONMENT = "1.3.6.1.2.1.99.1.1.1", "1.3.6.1.4.1.9.9.91.1.1.1.1", "1.3.6.1.4.1.9.9.13.1.3.1.3"
POE_NOMINAL, POE_USED, POE_STATE = "1.3.6.1.2.1.105.1.3.1.1.2", "1.3.6.1.2.1.105.1.3.1.1.4", "1.3.6.1.2.1.105.1.1.1.6"
BASE_PORTS, LEARNT_BY_VLAN, LEARNT, BRIDGE = "1.3.6.1.2.1.17.1.4.1.2", "1.3.6.1.2.1.17.7.1.2.2.1.2", "1.3.6.1.2.1.17.4.3.1.2", "1.3.6.1.2.1.17.1.1.0"
LLDP, LLDP_ADDRESSES = "1.0.8802.1.1.2.1.4.1.1", "1.0.8802.1.1.2.1.4.2.1.4"
UPS, APC = "1.3.6.1.2.1.33.1.", "1.3.6.1.4.1.318.1.1.1."


def need():
    if not AGENT.exists():
        peer.skip("there are no recordings in %s" % SAMPLES)


def served(name, *options):
    """An agent that plays the recording, as a child with its `port`."""
    child = peer.Child([sys.executable, str(AGENT), str(SAMPLES / "snmp" / name), "--port", "0", *options], stdout=subprocess.PIPE, text=True)
    ready = child.process.stdout.readline().split() if select.select([child.process.stdout], [], [], 30)[0] else []
    if ready[:1] != ["ready"]:
        child.__exit__()
        raise SystemExit("wrong: the agent of %s says %r" % (name, ready))
    child.port = int(ready[1])
    return child


def mac(numbers):
    return ":".join("%02X" % number for number in numbers)


class Recording:
    def __init__(self, name):
        self.rows = {}
        for line in (SAMPLES / "snmp" / name).read_bytes().splitlines():
            oid, tag, value = (line.split(b"|", 2) + [b"", b""])[:3]
            found = re.fullmatch(rb"(\d+)(x?)(:.*)?", tag.strip())
            if not found:
                continue
            if found[2]:
                value = bytes.fromhex(value.decode())
            kind = int(found[1])
            if kind in NUMBERS:
                initial = re.search(rb"initial=(\d+)", value)
                value = int(initial[1] if initial else value or 0)
                # An Integer32 recorded without its sign.
                value -= (1 << 32) * (kind == 2 and value >= 1 << 31)
            self.rows.setdefault(oid.decode().strip().lstrip("."), (kind, value))

    def column(self, base):
        """What follows the base, as numbers, to the value."""
        found = {tuple(map(int, oid[len(base) + 1:].split("."))): value for oid, (_, value) in self.rows.items() if oid.startswith(base + ".")}
        return dict(sorted(found.items()))

    def numbers(self, base):
        """By the last number."""
        found = {tuple(map(int, oid[len(base) + 1:].split("."))): value for oid, (kind, value) in self.rows.items() if oid.startswith(base + ".") and kind in NUMBERS}
        return {index[-1]: value for index, value in sorted(found.items())}

    def text(self, oid):
        kind, value = self.rows.get(oid, (0, b""))
        return value.decode("utf-8", "replace").strip() if kind == TEXT else ""

    def number(self, oid):
        kind, value = self.rows.get(oid, (0, None))
        return value if kind in NUMBERS else None

    def ports(self):
        ethernet = [index for index, kind in self.numbers(IF_TYPE).items() if kind == ETHERNET]
        state, incoming, outgoing, errors = (self.numbers(base) for base in (IF_OPER, IF_IN, IF_OUT, IF_ERRORS))
        return {"ports": len(ethernet), "up": sum(state.get(index) == UP for index in ethernet),
                "in": sum(incoming.get(index, 0) for index in ethernet), "out": sum(outgoing.get(index, 0) for index in ethernet),
                "errors": sum(errors.get(index, 0) for index in ethernet)}

    def sensors(self, base):
        kinds, scales, digits, values = (self.numbers("%s.%d" % (base, column)) for column in (1, 2, 3, 4))
        return sorted(values[index] * 1000.0 ** (scales.get(index, UNITS) - UNITS) / 10 ** digits.get(index, 0)
                      for index, kind in kinds.items() if kind == CELSIUS and index in values)

    def poe(self):
        nominal = self.numbers(POE_NOMINAL)
        return {"budget": sum(nominal.values()), "used": sum(self.numbers(POE_USED).values()),
                "delivering": sum(state == DELIVERING for state in self.numbers(POE_STATE).values())} if nominal else None

    def learnt(self):
        ports = {index[-1]: port for index, port in self.column(BASE_PORTS).items()}
        found = {}
        for base in (LEARNT_BY_VLAN, LEARNT):
            for index, port in self.column(base).items():
                if port:
                    found[mac(index[-6:])] = ports.get(port, port)
            if found:
                break
        return found

    def own(self):
        addresses = [value for value in self.column(IF_PHYS).values()] + [self.rows.get(BRIDGE, (0, b""))[1]]
        return {mac(value) for value in addresses if len(value) == 6 and any(value) and not value[0] & 1}

    def neighbors(self):
        """Local port and remote index, the whole index, and the columns chassis (5), port (7) and name (9). An index has three numbers: time mark, port, neighbor."""
        found = {}
        for column in (5, 7, 9):
            for index, value in self.column("%s.%d" % (LLDP, column)).items():
                if len(index) == 3:
                    found.setdefault(index, {})[column] = value
        return [(index[1:], ".".join(map(str, index)), columns) for index, columns in found.items()]

    def managed(self):
        """Local port and remote index of neighbours that have told an IPv4 address; it is the subtype 1 of four bytes."""
        return {(index[1], index[2]): ".".join(map(str, index[5:])) for index in self.column(LLDP_ADDRESSES) if len(index) == 9 and index[3:5] == (1, 4)}
