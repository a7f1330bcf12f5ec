"""NUT's SNMP driver as judge of our simulated UPS: it reads from it what our own reader reads, in each of its states."""
import nut
import peer
import ups

# The driver asks this often, in seconds.
DRIVER = """[sim]
 driver = snmp-ups
 port = 127.0.0.1:%d
 community = public
 snmp_version = v2c
 mibs = ietf
 pollfreq = 1
 pollinterval = 1
"""


def same(folder, simulator, names):
    """The driver's figures beside ours, as soon as it has asked again."""
    def attempt():
        ours, theirs = ups.read(simulator.port), folder.variables("sim")
        return theirs if all(float(theirs.get(name, "nan")) == value(ours) for name, value in names.items()) else None
    theirs = peer.wait_for("the figures of " + ", ".join(names), attempt, 30)
    print("right: " + ", ".join("%s %s" % (name, theirs[name]) for name in names), flush=True)


FIGURES = {
    "battery.charge": lambda status: status["charge"],
    "battery.runtime": lambda status: status["minutes"] * 60,
    "battery.voltage": lambda status: status["batteryVoltage"],
    "battery.temperature": lambda status: status["batteryTemperature"],
    "output.frequency": lambda status: status["outputFrequency"],
}

ups.need_tool()
nut.need()
with peer.temporary_folder() as path, ups.Simulator() as simulator:
    folder = nut.Folder(path, DRIVER % simulator.port)
    with folder.server(), folder.driver("snmp-ups", "sim") as driver:
        try:
            variables = peer.wait_for("the driver", lambda: (lambda told: told if "ups.mfr" in told else None)(folder.variables("sim")), 30)
        except SystemExit:
            with open(folder.path + "/snmp-ups.log") as log:
                print(log.read(), flush=True)
            raise
        print("\n".join("%s: %s" % pair for pair in sorted(variables.items())), flush=True)
        peer.check((variables["ups.mfr"], variables["ups.model"]) == ("Simulator", "SIM USV 10 kVA"), "maker and model")
        peer.check(variables["ups.status"] == "OL", "on mains")
        same(folder, simulator, FIGURES)

        def status_becomes(*words):
            peer.wait_for("the status " + " ".join(words), lambda: set(words) == set(folder.variables("sim").get("ups.status", "").split()), 30)
            print("right: status " + " ".join(words), flush=True)

        simulator.set_faults("onBattery")
        status_becomes("OB")
        simulator.set_faults("onBattery", "lowBattery")
        status_becomes("OB", "LB")
        same(folder, simulator, FIGURES)
        simulator.set_faults("bypass")
        status_becomes("OL", "BYPASS")
        simulator.set_faults()
        status_becomes("OL")
        simulator.set_faults("offline")
        peer.wait_for("a driver that hears nothing", lambda: not folder.variables("sim"), 60)
        print("right: offline, the driver's data are stale", flush=True)
