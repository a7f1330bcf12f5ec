"""net-snmp's agent read by us and by snmpbulkwalk: the same rows of the same kinds with the same values; and what a long walk costs both."""
import os
import re
import subprocess
import time

import peer

os.environ["PATH"] += ":/usr/sbin"
TOOL = os.environ.get("KESTRELYNE_SNMP_TOOL", "build/release/Tests/Peers/SNMPTool")
SYSTEM, IF_TABLE, IF_X_TABLE = "1.3.6.1.2.1.1", "1.3.6.1.2.1.2.2.1", "1.3.6.1.2.1.31.1.1.1"
OWN = "1.3.6.1.4.1.99999"
LONG, LONG_ROWS = OWN + ".2.1", 10000
MOST_ROWS = 2 * LONG_ROWS
RUNS = 9
# Counts on while we look: what is read lies between what was read before and after.
MOVING = {"counter", "ticks"}
KINDS = {"INTEGER": "int", "Hex-STRING": "string", "OID": "oid", "IpAddress": "ip", "Counter32": "counter", "Counter64": "counter", "Gauge32": "gauge"}

SETTINGS = """agentAddress udp:127.0.0.1:%d
rocommunity public 127.0.0.1
sysName pn-switch
sysLocation Bühne links
sysContact technik
override %s.1.1.0 integer -5
override %s.1.2.0 octet_str "hallo"
override %s.1.3.0 object_id 1.3.6.1.4.1.8072.4294967295
override %s.1.4.0 uinteger 4294967295
override %s.1.5.0 counter 4294967295
override %s.1.6.0 octet_str ""
"""


def command(name, *options):
    return [name, "-v2c", "-c", "public", "-m", "", "-On", "-Ox", "-Ot", *options, "127.0.0.1:%d" % port]


def theirs(name, *words):
    """Rows of an answer by net-snmp's tools; values that take several lines are joined."""
    options = ["-Cr25"] if name == "snmpbulkwalk" else []
    output = subprocess.run(command(name, *options) + list(words), capture_output=True, text=True, check=True).stdout
    rows = []
    for entry in re.split(r"\n(?=\.1)", output.strip()):
        oid, value = entry.split(" = ", 1)
        if value.startswith("No Such") or value.startswith("No more"):
            rows.append((oid[1:], "nosuch", "–"))
        elif value == '""':
            rows.append((oid[1:], "string", ""))
        elif value.isdigit():
            rows.append((oid[1:], "ticks", value))
        else:
            kind, content = value.split(": ", 1)
            content = {"string": lambda: "".join(content.split()).lower(), "oid": lambda: content.strip()[1:]}.get(KINDS[kind], lambda: content)()
            rows.append((oid[1:], KINDS[kind], content))
    return rows


def ours(*words):
    output = subprocess.run(OURS + list(words), capture_output=True, text=True, check=True).stdout.splitlines()
    return [tuple(line.split(" ", 2)) for line in output[:-1]]


def between(before, value, after):
    """On a counter of 32 bits that may pass its end meanwhile; of 64, the difference is far below as well."""
    span = 1 << 32
    return (int(value) - int(before)) % span <= (int(after) - int(before)) % span


def agree(before, read, after):
    if [row[:2] for row in before] != [row[:2] for row in read]:
        return "other rows: %r" % (set(row[:2] for row in before) ^ set(row[:2] for row in read))
    for first, row, last in zip(before, read, after):
        if row[1] in MOVING and not between(first[2], row[2], last[2]):
            return "%s: %s, between %s and %s" % (row[0], row[2], first[2], last[2])
        if row[1] not in MOVING and row[2] != first[2] and first[2] == last[2]:
            return "%s: %r, not %r" % (row[0], row[2], first[2])
    return ""


def compare(name, base):
    # An adapter that comes or goes meanwhile changes the table; that is seen by both looks of the others differing.
    for _ in range(5):
        before = theirs("snmpbulkwalk", base)
        read = ours("walk", base, "2000")
        after = theirs("snmpbulkwalk", base)
        if [row[:2] for row in before] == [row[:2] for row in after]:
            break
    wrong = agree(before, read, after)
    kinds = sorted(set(row[1] for row in read))
    peer.check(read and not wrong, "%s: %d rows agree, kinds %s %s" % (name, len(read), " ".join(kinds), wrong))


def cost(words):
    """Seconds and CPU seconds of a process, from start to end."""
    begun = time.monotonic()
    process = subprocess.Popen(words, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode:
        raise SystemExit("wrong: %s ends with %d" % (words[0], process.returncode))
    return time.monotonic() - begun, usage.ru_utime + usage.ru_stime


def cpu_of(pid):
    with open("/proc/%d/stat" % pid) as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def compare_costs(agent):
    walks = {"snmpbulkwalk": command("snmpbulkwalk", "-Cr25") + [LONG], "ours": OURS + ["walk", LONG, str(MOST_ROWS)]}
    short = {"snmpbulkwalk": command("snmpbulkwalk", "-Cr25") + [OWN + ".1"], "ours": OURS + ["walk", OWN + ".1", "25"]}
    costs, starts, served = {name: [] for name in walks}, {name: [] for name in walks}, {name: 0 for name in walks}
    for _ in range(RUNS):
        for name in walks:
            starts[name].append(cost(short[name]))
            begun = cpu_of(agent)
            costs[name].append(cost(walks[name]))
            served[name] += cpu_of(agent) - begun
    best, spent = {}, {}
    for name in walks:
        # The quickest of all runs: what else the machine does only adds.
        seconds, cpu = (min(column) for column in zip(*costs[name]))
        start, start_cpu = (min(column) for column in zip(*starts[name]))
        best[name], spent[name] = seconds, cpu
        print("%-12s: %d rows in %.4f s, CPU %.1f ms; a single page %.4f s, CPU %.1f ms; so %.2f µs CPU a row; agent's CPU %.0f ms a walk"
              % (name, LONG_ROWS, seconds, cpu * 1e3, start, start_cpu * 1e3, (cpu - start_cpu) / LONG_ROWS * 1e6, served[name] / RUNS * 1e3), flush=True)
    if os.environ.get("KESTRELYNE_SANITIZERS"):
        print("built with sanitizers: the times are not compared")
    else:
        # The agent does most of the work of both, and the machine its own: the time of the clock is allowed to vary by more.
        peer.check(spent["ours"] <= spent["snmpbulkwalk"] * 1.2, "our walk costs no more")
        peer.check(best["ours"] <= best["snmpbulkwalk"] * 2, "and takes no longer")


for needed in ("snmpd", "snmpbulkwalk", "snmpget"):
    peer.need(needed)
if not os.path.exists(TOOL):
    peer.skip("there is no " + TOOL)
with peer.temporary_folder() as folder:
    port = peer.free_port()
    OURS = [TOOL, str(port), "public", "5"]
    # For the agent as for the tools: neither writes outside.
    os.environ["SNMP_PERSISTENT_DIR"] = os.path.join(folder, "state")
    os.environ["SNMPCONFPATH"] = folder
    with open(os.path.join(folder, "snmpd.conf"), "w") as file:
        file.write(SETTINGS % ((port,) + (OWN,) * 6))
        file.writelines("override %s.%d integer %d\n" % (LONG, row, row) for row in range(1, LONG_ROWS + 1))
    with peer.Child(["snmpd", "-f", "-Lf", os.path.join(folder, "log"), "-C", "-c", os.path.join(folder, "snmpd.conf")]) as agent:
        peer.wait_for("the agent", lambda: agent.alive() and subprocess.run(command("snmpget", "-t1", "-r0") + [SYSTEM + ".5.0"], capture_output=True).returncode == 0)
        for name, base in (("system", SYSTEM), ("ifTable", IF_TABLE), ("ifXTable", IF_X_TABLE), ("values of every kind", OWN + ".1")):
            compare(name, base)
        asked = [SYSTEM + ".5.0", SYSTEM + ".2.0", SYSTEM + ".5.7", OWN + ".7.0", OWN + ".1.4.0"]
        peer.check(sorted(ours("get", *asked)) == sorted(theirs("snmpget", *asked)), "a GET of present and missing objects agrees")
        name = dict((row[0], row[2]) for row in ours("get", SYSTEM + ".6.0"))[SYSTEM + ".6.0"]
        peer.check(bytes.fromhex(name).decode() == "Bühne links", "a text is its UTF-8 bytes")
        silent = subprocess.run([TOOL, str(port), "wrong", "0.3", "get", SYSTEM + ".5.0"], capture_output=True, text=True)
        peer.check((silent.returncode, silent.stderr) == (1, "Zeitüberschreitung\n"), "another community is not answered")
        compare_costs(agent.process.pid)
