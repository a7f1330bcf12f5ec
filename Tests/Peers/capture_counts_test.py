"""What we read in recordings of others equals what tshark reads there.

Each stated rule of ours is a display filter: frames it leaves out are left out by the filter, nothing is corrected afterwards.
"""
import collections
import concurrent.futures
import os
import pathlib
import subprocess

import peer

TOOL = os.environ.get("KESTRELYNE_CAPTURE_COUNT", "")
MOST_PLAYED = 500  # frames of one file, played at 50 a second

# Rules for all: IPv4 or ARP over Ethernet, at most one VLAN tag, whole headers, no later fragment.
ARP = ("(eth.type == 0x0806 && frame.cap_len >= 42 && frame[28:4] != 00:00:00:00) || "
       "(eth.type == 0x8100 && frame[16:2] == 08:06 && frame.cap_len >= 46 && frame[32:4] != 00:00:00:00)")
IGMP = "ip && igmp.type in {0x11, 0x12, 0x16, 0x17, 0x22} && ip.frag_offset == 0 && ip.len - ip.hdr_len >= 8"
PTP2 = "ip && udp && ptp.v2.messagetype == 0xb && udp.length >= 72"
PTP1 = "ip && udp && ptp.versionptp == 1 && ptp.controlfield == 0 && udp.length >= 88"
DMX = "ip && artnet.header.opcode == 0x5000 && udp.dstport == 6454"
# Lengths inside the packet are not looked at (some of the recordings have none): the identifier, then the vectors of the layers.
SACN = ("ip && udp.dstport == 5568 && udp.length >= 134 && udp.payload[4:9] == 41:53:43:2d:45:31:2e:31:37 && "
        "udp.payload[18:4] == 00:00:00:04 && udp.payload[40:4] == 00:00:00:02")

FIELDS = ["arp.src.proto_ipv4", "arp.src.hw_mac", "arp.opcode", "arp.hw.type", "arp.proto.type", "arp.hw.size", "arp.proto.size", "ip.src", "igmp.type", "igmp.version", "igmp.maddr",
          "igmp.record_type", "igmp.num_src", "ptp.v2.domainnumber", "ptp.v2.clockidentity", "ptp.v2.an.grandmasterclockidentity",
          "ptp.v2.an.priority1", "ptp.v2.an.priority2", "ptp.v2.an.grandmasterclockclass", "ptp.v2.an.localstepsremoved", "ptp.subdomain",
          "ptp.sourceuuid", "ptp.sdr.grandmasterclockuuid", "artnet.output.universe", "artnet.output.sequence", "artnet.output.length",
          "udp.dstport", "udp.payload"]


def tshark(file, display, fields):
    command = ["tshark", "-r", str(file), "-Y", display, "-T", "fields", "-E", "separator=/t"]
    for name in fields:
        command += ["-e", name]
    # A recording that is cut in its last frame is an error for tshark at its end.
    return [dict(zip(fields, line.split("\t"))) for line in subprocess.run(command, capture_output=True, text=True).stdout.splitlines()]


def identity(number):
    digits = number.removeprefix("0x").zfill(16)
    return ":".join(digits[i:i + 2] for i in range(0, 16, 2))


def arp_line(row):
    return "arp %s %s %s" % (row["arp.src.proto_ipv4"], row["arp.src.hw_mac"].upper(), "request" if row["arp.opcode"] == "1" else "other")


def igmp_line(row):
    kind, sender, groups = int(row["igmp.type"], 0), row["ip.src"], row["igmp.maddr"]
    if kind == 0x11:
        return "query %s %s %s" % (sender, groups, row["igmp.version"])
    if kind != 0x22:
        return "%s %s %s" % ("leave" if kind == 0x17 else "report", sender, groups)
    records = list(zip(row["igmp.record_type"].split(","), row["igmp.num_src"].split(","), groups.split(",")))
    left = [group for what, sources, group in records if what in ("1", "3") and sources == "0"]
    joined = [group for what, sources, group in records if not (what in ("1", "3") and sources == "0")]
    if joined:
        return "report %s %s" % (sender, ",".join(joined))
    return "leave %s %s" % (sender, ",".join(left)) if left else None


def ptp2_line(row):
    return "ptp 2 Domäne %s %s %s %s %s %s %s" % (
        row["ptp.v2.domainnumber"], identity(row["ptp.v2.clockidentity"]), identity(row["ptp.v2.an.grandmasterclockidentity"]),
        row["ptp.v2.an.priority1"], row["ptp.v2.an.priority2"], row["ptp.v2.an.grandmasterclockclass"], row["ptp.v2.an.localstepsremoved"])


def ptp1_line(row):
    return "ptp 1 %s %s %s - - - -" % (row["ptp.subdomain"] or "_DFLT", row["ptp.sourceuuid"], row["ptp.sdr.grandmasterclockuuid"])


def dmx_line(row):
    return "artnet dmx %d %d %d" % (int(row["artnet.output.universe"], 0), int(row["artnet.output.sequence"], 0), int(row["artnet.output.length"], 0))


def sacn_line(row):
    # ANSI E1.31-2018, table 4-1: universe, priority, sequence number.
    payload = bytes.fromhex(row["udp.payload"].replace(":", ""))
    return "sacn data %d %d %d" % (int.from_bytes(payload[113:115], "big"), payload[108], payload[111])


def expected(file, also=""):
    """Lines of ARP frames that are whole, the number of all ARP frames, and the lines of everything else."""
    rules = " || ".join("(%s)" % rule for rule in (ARP, IGMP, PTP2, PTP1, DMX, SACN))
    rows = tshark(file, "(%s)%s" % (rules, also), FIELDS)
    whole, arps, others = collections.Counter(), 0, collections.Counter()
    for row in rows:
        if row["udp.dstport"] == "5568":
            others[sacn_line(row)] += 1
        elif row["artnet.output.universe"]:
            others[dmx_line(row)] += 1
        elif row["ptp.v2.an.priority1"]:
            others[ptp2_line(row)] += 1
        elif row["ptp.sourceuuid"]:
            others[ptp1_line(row)] += 1
        elif row["igmp.type"]:
            line = igmp_line(row)
            others.update([line] if line else [])
        else:
            arps += 1
            # Of a frame that declares other kinds or sizes of addresses, only the fixed places are read.
            if [int(row["arp." + name] or "0", 0) for name in ("hw.type", "proto.type", "hw.size", "proto.size")] == [1, 0x0800, 6, 4]:
                whole[arp_line(row)] += 1
    return whole, arps, others


def ours(mode, files):
    lines = {str(file): collections.Counter() for file in files}
    output = subprocess.run([TOOL, mode] + [str(file) for file in files], capture_output=True, text=True, check=True).stdout
    for line in output.splitlines():
        file, _, what = line.partition(" ")
        lines[file][what] += 1
    return lines


COMPARED = ("query", "report", "leave", "ptp 1", "ptp 2", "artnet dmx", "sacn data")


def compare(file, what, theirs, lines, kinds):
    whole, arps, others = theirs
    own_arps = collections.Counter({line: count for line, count in lines.items() if line.startswith("arp ")})
    own = collections.Counter({line: count for line, count in lines.items() if line.startswith(kinds)})
    others = collections.Counter({line: count for line, count in others.items() if line.startswith(kinds)})
    problems = []
    if sum(own_arps.values()) != arps:
        problems.append("%d ARP frames, tshark reads %d" % (sum(own_arps.values()), arps))
    problems += ["missing: " + line for line in whole - own_arps] + ["missing: " + line for line in others - own]
    problems += ["too much: " + line for line in own - others]
    for problem in problems:
        print("%s (%s): %s" % (file, what, problem))
    return not problems, sum(own.values()) + sum(own_arps.values())


def main():
    peer.need("tshark")
    if not TOOL:
        peer.skip("KESTRELYNE_CAPTURE_COUNT names no program")
    samples = pathlib.Path(os.environ.get("KESTRELYNE_SAMPLES") or pathlib.Path(os.environ["KESTRELYNE_SOURCE_DIR"]).parent / "shared" / "samples")
    if not samples.is_dir():
        peer.skip("no recordings: KESTRELYNE_SAMPLES names no folder, and none lies beside the project")
    files = sorted(file for folder in ("pcap", "ptp", "artnet") for file in (samples / folder).rglob("*.pcap*"))
    with concurrent.futures.ThreadPoolExecutor(2) as pool, peer.temporary_folder() as folder:
        theirs = dict(zip(files, pool.map(expected, files)))
        good, total = True, 0
        for file, lines in ours("parse", files).items():
            fine, count = compare(file, "parsed", theirs[pathlib.Path(file)], lines, COMPARED)
            good, total = good and fine, total + count
        # A capture's filter reads no tags and hands on no datagrams; long files are played in part.
        interesting = [file for file in files if theirs[file][1] or any(line.startswith(COMPARED[:3]) for line in theirs[file][2])]
        played = []
        for number, file in enumerate(interesting):
            played.append(pathlib.Path(folder) / ("%d.pcap" % number))
            subprocess.run(["tshark", "-r", str(file), "-Y", "frame.number <= %d" % MOST_PLAYED, "-F", "pcap", "-w", str(played[-1])],
                           stderr=subprocess.DEVNULL)
        theirs = dict(zip(played, pool.map(lambda file: expected(file, " && !vlan"), played)))
        names = dict(zip(played, interesting))
        events = 0
        for file, lines in ours("play", played).items():
            fine, count = compare(names[pathlib.Path(file)], "played", theirs[pathlib.Path(file)], lines, COMPARED[:3])
            good, events = good and fine, events + count
    print("%d files, %d readings; %d files played, %d events" % (len(files), total, len(played), events))
    if not good or total < 100 or events < 100:
        raise SystemExit("we and tshark differ")


main()
