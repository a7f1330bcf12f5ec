"""Agents behind a line that loses three of ten exchanges and delays the others, and agents that answer nonsense: no false alarm, the others are
read meanwhile, and the program lives on.

Programs in hosts of their own, at the same time: two behind lossy lines, one whose switch loses just those columns without which a reading could be
taken for a failure, and one with bad agents.
"""
import concurrent.futures
import contextlib
import os
import sys
import time
import uuid

import namespaces
import peer
import snmp_agents as agents
import ups

LOSS, JITTER = 0.3, 0.2  # of all exchanges; s
SECONDS = 60
INTERVAL = 5  # s between rounds
ROWS = 2000 + 24  # after which a table is left
MOST_GROWTH = 128  # MiB: of the longest answers, a few tables are held at once
SANITIZED = 8  # times that with a sanitizer's shadow memory


def device(name, port, role="networkSwitch"):
    return {"id": str(uuid.uuid4()).upper(), "name": name, "ip": "127.0.0.1", "role": role, "snmp": True, "community": "public", "snmpPort": port}


@contextlib.contextmanager
def program(folder, host, *devices):
    data = os.path.join(folder, host.name)
    os.mkdir(data)
    namespaces.settings(data, devices=list(devices), snmpInterval=INTERVAL)
    with namespaces.watch(data, host) as running:
        yield running


def switches(running):
    return {each["name"]: each for each in running.get("/api/netdetail")["switches"]}


def alarms(running):
    return running.texts("alarm") + running.texts("alarm", "Strom")


class Watch:
    """Looks at the program for so long, or until it has seen enough: the times since their start that switches have told, the last state of UPSs,
    the slowest answer and the most memory."""

    def __init__(self, running, seconds, enough=lambda: False):
        self.told, self.ups, self.slowest, self.memory = {}, [], 0, 0
        end = time.monotonic() + seconds
        while time.monotonic() < end and not enough():
            begun = time.monotonic()
            for name, each in switches(running).items():
                if each["uptime"] is not None:
                    self.told.setdefault(name, set()).add(each["uptime"])
            self.ups = running.get("/api/network")["ups"]
            self.slowest, self.memory = max(self.slowest, time.monotonic() - begun), max(self.memory, running.resident())
            time.sleep(0.3)

    def readings(self, name):
        return len(self.told.get(name, ()))


def lossy_switch(folder, host):
    with agents.Switch(host) as agent, agents.Line(host, agent.port, LOSS, JITTER, seed=7) as line, program(folder, host, device("Bühne", line.port)) as running:
        seen = Watch(running, SECONDS)
        peer.check(seen.readings("Bühne") >= 2, "lossy line: a switch is read %d times in %d s, %d datagrams carried, %d lost" % (seen.readings("Bühne"), SECONDS, line.carried, line.lost))
        peer.check(alarms(running) == [], "lossy line, switch: no alarm %r" % alarms(running))


def lossy_ups(folder, host):
    with host.entered():
        simulator = ups.Simulator()
    with simulator, agents.Line(host, simulator.port, LOSS, JITTER, seed=11) as line, program(folder, host, device("USV Bühne", line.port, "ups")) as running:
        seen, charges, carried = None, [], []
        for _ in range(3):
            seen = Watch(running, SECONDS / 3)
            charges.append([each.get("charge") for each in seen.ups])
            carried.append(line.carried)
        peer.check(carried[0] < carried[1] < carried[2], "lossy line: a UPS is asked on and on, %r datagrams carried after each third, %d lost" % (carried, line.lost))
        peer.check(all(len(each) == 1 and each[0] is not None for each in charges), "lossy line: it is read, %r" % charges)
        peer.check(alarms(running) == [], "lossy line, UPS: no alarm %r" % alarms(running))


def unlucky_switch(folder, host):
    """Without the states of ports none is up; without scale or precision a temperature is a thousand degrees. That they were not answered says nothing."""
    with agents.Switch(host) as agent, agents.Line(host, agent.port) as line, program(folder, host, device("Tribüne", line.port)) as running:
        first = peer.wait_for("the first reading", lambda: switches(running)["Tribüne"]["ports"] and switches(running)["Tribüne"])
        temperatures = sorted(sensor["c"] for sensor in first["temps"])
        peer.check([port["up"] for port in first["ports"]] == [True] * agent.ports and temperatures == [38, 41.5], "all columns: ports are up, %r °C" % temperatures)
        for columns in ((agents.IF_TABLE % 8,), (agents.SENSORS % 2, agents.SENSORS % 3), ()):
            line.cut, cut_off, rounds = [agents.column_bytes(column) for column in columns], line.cut_off, agent.rounds
            # One reading may have begun before.
            peer.wait_for("readings with %r cut off" % (columns,), lambda: agent.rounds >= rounds + 3 - (not columns), 45)
            if columns:
                peer.check(line.cut_off >= cut_off + 4, "%d requests for %s lost" % (line.cut_off - cut_off, " and ".join(columns)))
        last = switches(running)["Tribüne"]
        peer.check(last["error"] is None and all(port["up"] for port in last["ports"]) and sorted(sensor["c"] for sensor in last["temps"]) == temperatures, "all columns again: as before")
        peer.check(alarms(running) == [], "lost columns: no alarm %r" % alarms(running))


def sanitized():
    with open(peer.PROGRAM, "rb") as file:
        content = file.read()
    return b"__asan_init" in content or b"__tsan_init" in content


def bad_agents(folder, host):
    kinds = (agents.WrongNumber, agents.Repeating, agents.Backwards, agents.Huge, agents.FallsSilent, agents.Switch)
    with contextlib.ExitStack() as stack:
        served = {kind.__name__: stack.enter_context(kind(host)) for kind in kinds}
        running = stack.enter_context(program(folder, host, *(device(name, agent.port) for name, agent in served.items())))
        before = running.resident()
        seen = Watch(running, SECONDS, enough=lambda: served["Switch"].rounds >= 4)
        rounds = {name: agent.rounds for name, agent in served.items()}
        peer.check(running.alive() and seen.readings("Switch") >= 3, "bad agents: the good one at the end of the list is read %d times; asked %r, requests %r" % (seen.readings("Switch"), rounds, {name: agent.requests for name, agent in served.items()}))
        shown = switches(running)
        peer.check(shown["WrongNumber"]["error"] == "SNMP: falsche Antwort-ID" and shown["WrongNumber"]["ports"] == [], "another request's number: " + str(shown["WrongNumber"]["error"]))
        peer.check(shown["Repeating"]["error"] is None and len(shown["Repeating"]["ports"]) == 1, "the same row for ever: one port")
        peer.check(shown["Huge"]["error"] is None and shown["Huge"]["ports"] == [], "65,000 bytes for ever: no port")
        peer.check(shown["Backwards"]["error"] is None and len(shown["Backwards"]["ports"]) <= ROWS, "falling rows: %d ports" % len(shown["Backwards"]["ports"]))
        peer.check(all(port["inBps"] is None for port in shown["Backwards"]["ports"]), "falling counters: no rate")
        # Every other reading is broken off: either it counts for nothing, or what was not answered is left as it was.
        silent = shown["FallsSilent"]
        peer.check(silent["error"] in (None, "Zeitüberschreitung") and [port["up"] for port in silent["ports"]] == [True] * agents.FallsSilent.ports, "silence within a table: its ports stay as they were, error %s" % silent["error"])
        good = shown["Switch"]
        peer.check(good["error"] is None and [port["up"] for port in good["ports"]] == [True] * agents.Switch.ports and all(port["inBps"] for port in good["ports"]), "the good one: all ports up, with rates")
        peer.check(alarms(running) == [], "bad agents: no alarm %r" % alarms(running)[:5])
        growth = seen.memory - before
        peer.check(growth < MOST_GROWTH * (SANITIZED if sanitized() else 1), "bad agents: memory has grown by %.0f MiB at most" % growth)
        peer.check(seen.slowest < 2, "bad agents: two answers of the program took %.0f ms at most" % (seen.slowest * 1000))


CASES = (lossy_switch, lossy_ups, unlucky_switch, bad_agents)

ups.need_tool()
wanted = [case for case in CASES if len(sys.argv) < 2 or case.__name__ in sys.argv[1:]]
with peer.temporary_folder() as folder, namespaces.World() as world, concurrent.futures.ThreadPoolExecutor(len(wanted)) as pool:
    running = [pool.submit(case, folder, world.host(case.__name__.replace("_", "-"))) for case in wanted]
    failures = [future.exception() for future in running]
    for failure in filter(None, failures):
        print(failure if isinstance(failure, SystemExit) else repr(failure), flush=True)
    if any(failures):
        raise SystemExit("wrong: %d of %d" % (sum(map(bool, failures)), len(failures)))
