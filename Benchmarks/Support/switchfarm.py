"""Many SNMP v2c agents on loopback, each a switch of 52 ports that answers after a set time: switchfarm.py FIRST_PORT COUNT DELAY_MS [SILENT].

The agent with the position SILENT never answers. On SIGTERM one line of JSON: the readings as lists of [agent, begin, end, requests], a
reading being what an agent is asked without a pause of three seconds. For measurements: answers GET and GETBULK only.
"""
import bisect
import json
import os
import select
import signal
import socket
import sys
import time

PORTS = 52
PAUSE = 3.0  # s


def length(n):
    if n < 128:
        return bytes((n,))
    digits = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes((0x80 | len(digits),)) + digits


def element(tag, content):
    return bytes((tag,)) + length(len(content)) + content


def integer(value, tag=2):
    return element(tag, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def oid(numbers):
    content = bytearray((numbers[0] * 40 + numbers[1],))
    for number in numbers[2:]:
        septets = [number & 0x7F]
        while number > 0x7F:
            number >>= 7
            septets.append(0x80 | number & 0x7F)
        content.extend(reversed(septets))
    return element(6, bytes(content))


def table():
    rows = {}

    def put(text, value):
        rows[tuple(int(part) for part in text.split("."))] = value

    put("1.3.6.1.2.1.1.1.0", element(4, b"Switch of the farm, 52 ports"))
    put("1.3.6.1.2.1.1.2.0", oid((1, 3, 6, 1, 4, 1, 99999)))
    put("1.3.6.1.2.1.1.3.0", integer(123456, 0x43))
    put("1.3.6.1.2.1.1.5.0", element(4, b"farm"))
    for port in range(1, PORTS + 1):
        for column, value in ((2, element(4, b"gi%d" % port)), (3, integer(6)), (7, integer(1)), (8, integer(1)), (14, integer(0, 0x41))):
            put("1.3.6.1.2.1.2.2.1.%d.%d" % (column, port), value)
        for column, value in ((1, element(4, b"gi%d" % port)), (6, integer(10**12 + port, 0x46)), (10, integer(10**11 + port, 0x46)), (15, integer(1000, 0x42)), (18, element(4, b""))):
            put("1.3.6.1.2.1.31.1.1.1.%d.%d" % (column, port), value)
        put("1.3.6.1.2.1.17.1.4.1.2.%d" % port, integer(port))
        put("1.3.6.1.2.1.105.1.1.1.6.1.%d" % port, integer(3))
        for device in range(2):
            put("1.3.6.1.2.1.17.7.1.2.2.1.2.1.2.0.0.0.%d.%d" % (port, device), integer(port))
    put("1.3.6.1.2.1.99.1.1.1.1.1", integer(8))
    put("1.3.6.1.2.1.99.1.1.1.4.1", integer(45))
    put("1.3.6.1.2.1.105.1.3.1.1.2.1", integer(740, 0x42))
    put("1.3.6.1.2.1.105.1.3.1.1.4.1", integer(312, 0x42))
    keys = sorted(rows)
    return keys, [element(0x30, oid(key) + rows[key]) for key in keys], {oid(key): element(0x30, oid(key) + rows[key]) for key in keys}


KEYS, BINDINGS, BY_OID = table()


def read(data, at):
    """Tag, content, and where the next element begins."""
    tag, size, at = data[at], data[at + 1], at + 2
    if size & 0x80:
        count = size & 0x7F
        size, at = int.from_bytes(data[at : at + count], "big"), at + count
    return tag, data[at : at + size], at + size


def numbers(content):
    result, value = [content[0] // 40, content[0] % 40], 0
    for byte in content[1:]:
        value = value << 7 | byte & 0x7F
        if not byte & 0x80:
            result.append(value)
            value = 0
    return tuple(result)


def answer(packet):
    message = read(packet, 0)[1]
    _, version, at = read(message, 0)
    _, community, at = read(message, at)
    kind, pdu, _ = read(message, at)
    _, request, at = read(pdu, 0)
    _, _, at = read(pdu, at)
    _, repetitions, at = read(pdu, at)
    asked, at, found = read(pdu, at)[1], 0, []
    while at < len(asked):
        _, binding, at = read(asked, at)
        _, name, _ = read(binding, 0)
        encoded = element(6, name)
        if kind == 0xA0:
            found.append(BY_OID.get(encoded, element(0x30, encoded + b"\x80\x00")))
        else:
            first = bisect.bisect_right(KEYS, numbers(name))
            found.extend(BINDINGS[first : first + int.from_bytes(repetitions, "big")] or [element(0x30, encoded + b"\x82\x00")])
    body = element(2, request) + integer(0) + integer(0) + element(0x30, b"".join(found))
    return element(0x30, element(2, version) + element(4, community) + element(0xA2, body))


def main():
    first, count, delay = int(sys.argv[1]), int(sys.argv[2]), float(sys.argv[3]) / 1000
    silent = int(sys.argv[4]) if len(sys.argv) > 4 else -1
    readings, sockets = [], {}
    for agent in range(count):
        listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        listener.bind(("127.0.0.1", first + agent))
        sockets[listener] = agent

    def stop(*_):
        print(json.dumps(readings), flush=True)
        os._exit(0)

    signal.signal(signal.SIGTERM, stop)
    print("ready", flush=True)
    latest = {}
    while True:
        for listener in select.select(list(sockets), [], [])[0]:
            packet, sender = listener.recvfrom(65535)
            agent, now = sockets[listener], time.monotonic()
            if agent not in latest or now - latest[agent][2] > PAUSE:
                latest[agent] = [agent, now, now, 0]
                readings.append(latest[agent])
            latest[agent][2], latest[agent][3] = now, latest[agent][3] + 1
            if agent == silent:
                continue
            reply = answer(packet)
            time.sleep(delay)
            listener.sendto(reply, sender)


if __name__ == "__main__":
    main()
