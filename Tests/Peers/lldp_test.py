"""Two switches made of net-snmp and lldpd with a cable between them: each tells of the other through our readers, the program draws one link
between them, and a pulled plug is an alarm on both sides.

A Linux bridge does not pass LLDP on: the cable is a pair of adapters without anything between.
"""
import json
import os
import uuid

import namespaces
import peer

os.environ["PATH"] += ":/usr/sbin"
TOOL = os.environ.get("KESTRELYNE_SNMP_TOOL", "build/release/Tests/Peers/SNMPTool")
SNMP = 161
PLUG = "u1"
INTERVAL = 5  # s between rounds
# net-snmp looks at the adapters again only now and then.
AGENT_DELAY = 30

AGENT = """agentAddress udp:%d
rocommunity public
sysName %s
master agentx
agentXSocket %s
agentXPerms 0777 0777
dontLogTCPWrappersConnects yes
"""
NEIGHBORS = """configure system hostname %s
configure lldp tx-interval 1
"""
# What lldpd wants below /run is its own alone.
START = "mount -t tmpfs tmpfs /run && mkdir /run/lldpd && exec lldpd -dd -u %s -O %s -I %s -C %s -m %s -x -X %s"


class Switch:
    def __init__(self, folder, host, name, address):
        self.folder, self.host, self.name, self.address = os.path.join(folder, name), host, name, address
        os.mkdir(self.folder)
        self.children = []

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "w") as file:
            file.write(content)
        return self.path(name)

    def __enter__(self):
        environment = dict(os.environ, SNMP_PERSISTENT_DIR=self.path("state"), SNMPCONFPATH=self.folder, MIBS="")
        settings = self.write("snmpd.conf", AGENT % (SNMP, self.name, self.path("agentx")))
        neighbors = self.write("lldpd.conf", NEIGHBORS % self.name)
        log = self.path("log")
        self.children.append(self.host.child("snmpd", "-f", "-Lf", log, "-C", "-c", settings, env=environment))
        try:
            peer.wait_for("the agent of " + self.name, lambda: os.path.exists(self.path("agentx")))
            self.children.append(self.host.child("sh", "-c", START % (self.path("socket"), neighbors, PLUG, PLUG, self.address, self.path("agentx")), log=log, env=environment))
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for child in reversed(self.children):
            child.__exit__()

    def read(self, what):
        """Our reading of it, made on itself."""
        output = self.host.run(TOOL, str(SNMP), "public", "3", what, capture_output=True).stdout
        return json.loads(output)

    def plugged(self):
        """The port with the cable, once both agents know of it."""
        ports = [port for port in self.read("switch")["ports"] if port["name"] == PLUG]
        return ports[0] if ports and ports[0]["neighbor"] and ports[0]["up"] else None

    def device(self):
        return {"id": str(uuid.uuid4()).upper(), "name": "Switch " + self.name, "ip": self.address, "role": "networkSwitch", "snmp": True, "community": "public", "snmpPort": SNMP}


def logs(*switches):
    for switch in switches:
        if os.path.exists(switch.path("log")):
            with open(switch.path("log"), errors="replace") as file:
                print("%s:\n%s" % (switch.name, "".join(file.readlines()[-40:])), flush=True)


def check_readings(switch, other):
    port = peer.wait_for("the neighbor of " + switch.name, switch.plugged, AGENT_DELAY)
    peer.check((port["neighbor"], port["admin"]) == (other.name, True), "%s: %s is up and leads to %s" % (switch.name, PLUG, port["neighbor"]))
    topology = switch.read("topology")
    mac = other.host.mac(PLUG)
    wanted = {"port": port["index"], "name": other.name, "portID": topology["neighbors"][0]["portID"], "chassisMAC": mac, "managementIP": other.address}
    peer.check(topology["neighbors"] == [wanted], "%s: its only neighbor is %r" % (switch.name, topology["neighbors"]))
    peer.check(wanted["portID"] in (mac, PLUG), "its port is named by its address or its name")
    peer.check(topology["ownMACs"] == sorted({switch.host.mac(PLUG), switch.host.mac("e0")}), "%s: its own addresses" % switch.name)
    peer.check(topology["macPorts"] == {}, "without a bridge table nothing is learnt")


def check_program(folder, station, left, right):
    namespaces.settings(folder, devices=[left.device(), right.device()], snmpInterval=INTERVAL)
    with namespaces.watch(folder, station) as program:
        names = sorted(("Switch " + left.name, "Switch " + right.name))

        def drawn():
            """Once both have told what they see; until then the far port is what its neighbor calls it."""
            detail = program.get("/api/netdetail")
            links = detail["map"]["links"]
            return detail if len(links) == 1 and sorted((links[0]["a"], links[0]["b"])) == names and (links[0]["aPort"], links[0]["bPort"]) == (PLUG, PLUG) else None

        detail = peer.wait_for("the link on the map", drawn, 3 * INTERVAL)
        print("right: the cable is one link: %r" % detail["map"]["links"], flush=True)
        peer.check(sorted(len(level) for level in detail["map"]["levels"]) == [1, 1], "one hangs below the other: %r" % detail["map"]["levels"])
        for switch, other in ((left, right), (right, left)):
            shown = next(each for each in detail["switches"] if each["ip"] == switch.address)
            peer.check(shown["error"] is None and [port["neighbor"] for port in shown["ports"] if port["name"] == PLUG] == [other.name], "%s: %s stands at its port" % (shown["name"], other.name))
            ports = next(each for each in detail["map"]["switches"] if each["ip"] == switch.address)["ports"]
            peer.check([(port["uplink"], port["lldp"]) for port in ports if port["name"] == PLUG] == [(True, other.name)], "%s: the port is an uplink" % shown["name"])
        peer.check(program.texts("alarm") == [], "no alarm until then: %r" % program.texts("alarm"))

        left.host.ip("link", "set", PLUG, "down")
        for switch, other in ((left, right), (right, left)):
            program.wait_event("alarm", "Switch %s: Port %s ist ausgefallen (war: %s)" % (switch.name, PLUG, other.name), AGENT_DELAY + 2 * INTERVAL)
        peer.check(len(program.texts("alarm")) == 2, "one alarm each: %r" % program.texts("alarm"))


for needed in ("snmpd", "lldpd", "lldpcli"):
    peer.need(needed)
if not os.path.exists(TOOL):
    peer.skip("there is no " + TOOL)
with peer.temporary_folder() as folder, namespaces.small_network("left", "right") as (world, segment, station, left_host, right_host):
    # lldpd gives up its rights.
    os.chmod(folder, 0o755)
    left_host.ip("link", "add", PLUG, "type", "veth", "peer", "name", PLUG, "netns", right_host.name)
    for host in (left_host, right_host):
        host.ip("link", "set", PLUG, "up")
    left, right = Switch(folder, left_host, "links", "10.71.1.2"), Switch(folder, right_host, "rechts", "10.71.1.3")
    try:
        with left, right:
            check_readings(left, right)
            check_readings(right, left)
            if os.path.exists(peer.PROGRAM):
                data = os.path.join(folder, "data")
                os.mkdir(data)
                check_program(data, station, left, right)
            else:
                print("the program is not there: the map is not looked at")
    except BaseException:
        logs(left, right)
        raise
