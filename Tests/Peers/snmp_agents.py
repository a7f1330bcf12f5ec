"""Small SNMP v2c agents in a thread: a switch as it should be, and some that are not; and a line between an agent and its reader that loses and
delays datagrams.

Messages are those of RFC 3416 with the encoding of X.690.
"""
import bisect
import heapq
import random
import select
import socket
import threading
import time

GET, RESPONSE, GETBULK = 0xA0, 0xA2, 0xA5
INTEGER, TEXT, OID, COUNTER64, GAUGE, TICKS, END = 2, 4, 6, 0x46, 0x42, 0x43, 0x82
SYSTEM_GROUP = "1.3.6.1.2.1.1.%d.0"
IF_TABLE, IF_X_TABLE, SENSORS = "1.3.6.1.2.1.2.2.1.%d", "1.3.6.1.2.1.31.1.1.1.%d", "1.3.6.1.2.1.99.1.1.1.%d"
MOST_DATAGRAM = 65535


def tlv(tag, content):
    size = len(content)
    if size < 128:
        return bytes((tag, size)) + content
    length = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes((tag, 128 | len(length))) + length + content


def integer(value, tag=INTEGER):
    return tlv(tag, value.to_bytes(value.bit_length() // 8 + 1, "big", signed=True))


def oid_bytes(numbers):
    content = bytearray([numbers[0] * 40 + numbers[1]])
    for number in numbers[2:]:
        piece = [number & 127]
        while number := number >> 7:
            piece.append(128 | number & 127)
        content += bytes(reversed(piece))
    return bytes(content)


def numbers_of(oid):
    return tuple(map(int, oid.split(".")))


def parts(data):
    """The elements of a constructed one, as tag and content."""
    found, place = [], 0
    while place < len(data):
        tag, size, place = data[place], data[place + 1], place + 2
        if size & 128:
            count = size & 127
            size, place = int.from_bytes(data[place:place + count], "big"), place + count
        found.append((tag, data[place:place + size]))
        place += size
    return found


def decoded_oid(content):
    numbers, number = [], 0
    for byte in content:
        number = number << 7 | byte & 127
        if not byte & 128:
            numbers.append(number)
            number = 0
    return (numbers[0] // 40, numbers[0] % 40) + tuple(numbers[1:])


class Thread:
    """Runs `work` inside a host of namespaces.py until the end of the with block; it looks at `ended`."""

    def __init__(self, host, work):
        self.ended = False
        self.thread = threading.Thread(target=self.inside, args=(host, work), daemon=True)

    def inside(self, host, work):
        with host.entered():
            work()

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.ended = True
        self.thread.join(5)


class Agent(Thread):
    """Answers on a port of 127.0.0.1 inside the host."""

    def __init__(self, host):
        super().__init__(host, self.serve)
        self.socket = host.udp("127.0.0.1")
        self.port = self.socket.getsockname()[1]
        self.begun = time.monotonic()
        self.requests = self.rounds = 0

    def serve(self):
        while not self.ended:
            if not select.select([self.socket], [], [], 0.1)[0]:
                continue
            data, client = self.socket.recvfrom(MOST_DATAGRAM)
            _, community, (pdu, body) = parts(parts(data)[0][1])
            request = parts(body)
            number, count = (int.from_bytes(request[place][1], "big") for place in (0, 2))
            oids = [decoded_oid(parts(binding)[0][1]) for _, binding in parts(request[3][1])]
            self.requests += 1
            self.rounds += oids[0] == numbers_of(SYSTEM_GROUP % 1)
            answer = self.answer(pdu, number, oids, count)
            if answer is not None:
                number, rows = answer
                bindings = b"".join(tlv(0x30, tlv(OID, oid_bytes(oid)) + value) for oid, value in rows)
                body = tlv(RESPONSE, integer(number) + integer(0) + integer(0) + tlv(0x30, bindings))
                self.socket.sendto(tlv(0x30, integer(1) + tlv(*community) + body), client)

    def system(self):
        """The system group; the time since its start runs on."""
        return {numbers_of(SYSTEM_GROUP % 1): tlv(TEXT, b"Pr\xc3\xbcfling"), numbers_of(SYSTEM_GROUP % 2): tlv(OID, oid_bytes((1, 3, 6, 1, 4, 1, 9, 1, 1))),
                numbers_of(SYSTEM_GROUP % 3): integer(int((time.monotonic() - self.begun) * 100), TICKS), numbers_of(SYSTEM_GROUP % 5): tlv(TEXT, type(self).__name__.encode())}

    def get(self, number, oids):
        system = self.system()
        return number, [(oid, system.get(oid, tlv(END, b""))) for oid in oids]

    def answer(self, pdu, number, oids, count):
        """The request's number and rows, or None for silence."""
        return self.get(number, oids) if pdu == GET else (number, self.page(oids[0], count))


class Switch(Agent):
    """Eight ports that are up, two sensors whose values need their scale and precision, an address table."""

    ports = 8

    def __init__(self, host):
        super().__init__(host)
        rows = {}
        for port in range(1, self.ports + 1):
            rows.update({IF_TABLE % 2 + ".%d" % port: tlv(TEXT, b"Port %d" % port), IF_TABLE % 3 + ".%d" % port: integer(6), IF_TABLE % 7 + ".%d" % port: integer(1),
                         IF_TABLE % 8 + ".%d" % port: integer(1), IF_TABLE % 14 + ".%d" % port: integer(0), IF_X_TABLE % 1 + ".%d" % port: tlv(TEXT, b"g%d" % port),
                         IF_X_TABLE % 15 + ".%d" % port: integer(1000, GAUGE), IF_X_TABLE % 18 + ".%d" % port: tlv(TEXT, b""),
                         "1.3.6.1.2.1.17.1.4.1.2.%d" % port: integer(port)})
        # Tenths of a degree in one, thousandths in the other: 41.5 and 38 °C.
        for place, (scale, precision, value) in enumerate(((9, 1, 415), (8, 0, 38000)), start=1):
            rows.update({SENSORS % column + ".%d" % place: integer(content) for column, content in ((1, 8), (2, scale), (3, precision), (4, value))})
        self.rows = {numbers_of(oid): value for oid, value in rows.items()}

    def page(self, cursor, count):
        rows = dict(self.rows)
        octets = int((time.monotonic() - self.begun) * 125000)
        for port in range(1, self.ports + 1):
            rows.update({numbers_of(IF_X_TABLE % column + ".%d" % port): integer(octets, COUNTER64) for column in (6, 10)})
        rows.update(self.system())
        order = sorted(rows)
        following = order[bisect.bisect_right(order, cursor):][:count]
        return [(oid, rows[oid]) for oid in following] or [(cursor, tlv(END, b""))]


def below(cursor, place=0):
    """A row of the column that is asked for: every column here has eleven numbers or less."""
    return cursor[:11] + (place,)


class Repeating(Agent):
    """The same row for ever."""

    def page(self, cursor, count):
        return [(below(cursor, 1), integer(6))] * count


class Backwards(Agent):
    """Rows in falling order and no end of them, counters that fall."""

    def page(self, cursor, count):
        place = cursor[-1] if len(cursor) > 11 else 100000
        return [(below(cursor, max(place - step, 1)), integer(6) if cursor[:7] != numbers_of("1.3.6.1.2.1.31") else integer(1 << 40 - self.rounds, COUNTER64)) for step in range(1, count + 1)]


class Huge(Agent):
    """Answers with one row as long as a datagram may be, for ever."""

    def page(self, cursor, count):
        place = cursor[-1] if len(cursor) > 11 else 0
        return [(below(cursor, place + 1), tlv(TEXT, b"\xff" * 65000))]


class WrongNumber(Switch):
    """Answers what was never asked."""

    def answer(self, pdu, number, oids, count):
        number, rows = super().answer(pdu, number, oids, count)
        return (number ^ 1) or 2, rows


class FallsSilent(Switch):
    """Says nothing after the first page of its ports' states; first in its second reading, then in every other one."""

    ports = 40

    def answer(self, pdu, number, oids, count):
        if pdu == GETBULK and self.rounds % 2 == 0 and oids[0][:10] == numbers_of(IF_TABLE % 8) and len(oids[0]) > 10:
            return None
        return super().answer(pdu, number, oids, count)


class Line(Thread):
    """Stands between a reader and the agent: loses a part of the exchanges, the request or the answer, and delays all by up to `jitter` seconds.

    What asks for one of the columns in `cut` is lost always.
    """

    def __init__(self, host, agent_port, loss=0.0, jitter=0.0, seed=1):
        super().__init__(host, self.carry)
        self.agent_port, self.jitter = agent_port, jitter
        self.loss_each_way = 1 - (1 - loss) ** 0.5
        self.random = random.Random(seed)
        self.socket = host.udp("127.0.0.1")
        self.port = self.socket.getsockname()[1]
        self.cut = []
        self.carried = self.lost = self.cut_off = 0

    def carry(self):
        waiting, order, upstream = [], 0, {}  # what is on its way; by the agent's side of each exchange, its client
        while not self.ended:
            now = time.monotonic()
            while waiting and waiting[0][0] <= now:
                _, _, carrier, data, target = heapq.heappop(waiting)
                if carrier.fileno() >= 0:
                    carrier.sendto(data, target)
            for old in [each for each, (_, born) in upstream.items() if now - born > 5]:
                del upstream[old]
                old.close()
            pause = min(0.1, max(0, waiting[0][0] - now)) if waiting else 0.1
            for ready in select.select([self.socket, *upstream], [], [], pause)[0]:
                data, sender = ready.recvfrom(MOST_DATAGRAM)
                if ready is self.socket:
                    made = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
                    made.bind(("127.0.0.1", 0))
                    upstream[made] = (sender, now)
                    carrier, target = made, ("127.0.0.1", self.agent_port)
                    self.cut_off += (gone := any(column in data for column in self.cut))
                else:
                    carrier, target, gone = self.socket, upstream[ready][0], False
                if gone or self.random.random() < self.loss_each_way:
                    self.lost += 1
                    continue
                self.carried += 1
                order += 1
                heapq.heappush(waiting, (now + self.random.uniform(0, self.jitter / 2), order, carrier, data, target))


def column_bytes(oid):
    """As a request for that column holds it."""
    return oid_bytes(numbers_of(oid))
