"""Datagrams as devices send them, written from the standards: Art-Net 4, ANSI E1.31-2018, IEEE 1588-2008."""
import struct

ARTNET, SACN, MA3, PTP_EVENT, PTP_GENERAL = 6454, 5568, 30020, 319, 320


def art(opcode, *fields):
    return b"Art-Net\0" + struct.pack("<H", opcode) + b"".join(fields)


def art_poll():
    return art(0x2000, bytes([0, 14, 0x02, 0]))


def art_poll_reply(ip, name, net, sub_net, outputs, bind_index):
    """A node with at most four outputs; `outputs` are the lower parts of their Port-Addresses."""
    four = lambda values: bytes(values) + bytes(4 - len(values))
    address = bytes(map(int, ip.split(".")))
    body = address + struct.pack("<H", ARTNET) + bytes([1, 2, net, sub_net, 0, 0xFF, 0, 0xD0]) + struct.pack("<H", 0x7FF0)
    body += name.encode().ljust(18, b"\0") + (name + " for tests").encode().ljust(64, b"\0") + b"#0001 [1] ok".ljust(64, b"\0")
    body += bytes([0, len(outputs)]) + four([0x80] * len(outputs)) + bytes(4) + four([0x80] * len(outputs)) + bytes(4) + four(outputs)
    body += bytes(7) + bytes([2, 0, 0, 0, 0, 1]) + address + bytes([bind_index, 8]) + bytes(26)
    return art(0x2100, body)


def art_dmx(universe, data, sequence=1):
    return art(0x5000, bytes([0, 14, sequence, 0]), struct.pack("<H", universe), struct.pack(">H", len(data)), data)


def art_timecode(hours, minutes, seconds, frames, kind=1):
    return art(0x9700, bytes([0, 14, 0, 0, frames, seconds, minutes, hours, kind]))


def pdu(body):
    return struct.pack(">H", 0x7000 | (len(body) + 2)) + body


def sacn(universe, data, cid, name="Pult", priority=100, sequence=1, options=0):
    dmp = pdu(bytes([0x02, 0xA1, 0, 0, 0, 1]) + struct.pack(">H", len(data) + 1) + b"\0" + data)
    framing = pdu(struct.pack(">I", 2) + name.encode().ljust(64, b"\0") + bytes([priority, 0, 0, sequence, options]) + struct.pack(">H", universe) + dmp)
    return struct.pack(">HH", 16, 0) + b"ASC-E1.17\0\0\0" + pdu(struct.pack(">I", 4) + cid + framing)


def sacn_discovery(universes, cid, name="Pult"):
    listed = pdu(struct.pack(">I", 1) + bytes([0, 0]) + b"".join(struct.pack(">H", universe) for universe in universes))
    framing = pdu(struct.pack(">I", 2) + name.encode().ljust(64, b"\0") + bytes(4) + listed)
    return struct.pack(">HH", 16, 0) + b"ASC-E1.17\0\0\0" + pdu(struct.pack(">I", 8) + cid + framing)


def ptp_announce(domain, identity):
    header = bytes([0x0B, 0x02]) + struct.pack(">H", 64) + bytes([domain, 0]) + bytes(2 + 8 + 4) + identity + struct.pack(">HHBb", 1, 1, 5, 1)
    return header + bytes(10) + struct.pack(">HBB", 37, 0, 128) + bytes([248, 0xFE, 0xFF, 0xFF, 128]) + identity + struct.pack(">HB", 0, 0xA0)


def ma3(text):
    return b"MAv3" + bytes(12) + text.encode() + b"\0" * 20
