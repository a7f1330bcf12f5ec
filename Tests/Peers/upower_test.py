"""UPower as python3-dbusmock plays it, on a bus of our own: a UPS, its changes, a laptop's battery that is none, the end of the service."""
import os
import subprocess

import peer
import ups

BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN" "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=%s</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""
PATH = "/org/freedesktop/UPower"
DEVICE = "org.freedesktop.UPower.Device"


class Bus:
    def __init__(self, address):
        self.environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=address)

    def mock(self):
        return peer.Child(["/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "upower"], env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)

    def call(self, path, method, *arguments):
        subprocess.run(["gdbus", "call", "--system", "--dest", "org.freedesktop.UPower", "--object-path", path, "--method", method, *arguments],
                       env=self.environment, check=True, capture_output=True, text=True, timeout=20)

    def add(self, name, **properties):
        values = ", ".join("'%s': <%s>" % pair for pair in properties.items())
        self.call(PATH, "org.freedesktop.DBus.Mock.AddObject", "%s/devices/%s" % (PATH, name), DEVICE, "@a{sv} {%s}" % values, "@a(ssss) []")

    def change(self, name, **properties):
        values = ", ".join("'%s': <%s>" % pair for pair in properties.items())
        self.call("%s/devices/%s" % (PATH, name), "org.freedesktop.DBus.Mock.UpdateProperties", DEVICE, "@a{sv} {%s}" % values)


ups.need_tool()
for command in ("dbus-daemon", "gdbus"):
    peer.need(command)
if subprocess.run(["/usr/bin/python3", "-c", "import dbusmock"], capture_output=True).returncode:
    peer.skip("python3-dbusmock is not installed")
with peer.temporary_folder() as folder:
    socket = os.path.join(folder, "bus")
    configuration = os.path.join(folder, "bus.conf")
    with open(configuration, "w") as file:
        file.write(BUS % socket)
    bus = Bus("unix:path=" + socket)
    with ups.Tool("local", "unix:path=" + socket, str(peer.free_port())) as local:
        peer.check(local.line() == [], "without a bus there is no UPS")
        with peer.Child(["dbus-daemon", "--config-file=" + configuration, "--nofork"], stderr=subprocess.DEVNULL):
            peer.wait_for("the bus", lambda: os.path.exists(socket))
            peer.check(local.line(2) is None, "a bus without the service has none")
            with bus.mock():
                peer.wait_for("the service", lambda: subprocess.run(["gdbus", "introspect", "--system", "--dest", "org.freedesktop.UPower", "--object-path", PATH], env=bus.environment, capture_output=True).returncode == 0)
                bus.add("battery_BAT0", Type="uint32 2", State="uint32 2", Percentage="55.0", TimeToEmpty="int64 3000", WarningLevel="uint32 1", Model="'Akku'", PowerSupply="true")
                peer.check(local.line(3) is None, "a laptop's battery is no UPS")
                bus.add("ups_hiddev0", Type="uint32 3", State="uint32 4", Percentage="88.0", TimeToEmpty="int64 1830", Voltage="13.6", WarningLevel="uint32 1", Vendor="'Firma'",
                        Model="'Modell 700'", Serial="'7'")
                entries = local.wait_line("a UPS", lambda entries: len(entries) == 1)
                status = entries[0]["status"]
                peer.check((entries[0]["id"], entries[0]["name"]) == ("usb-0", "Modell 700"), "its number and name")
                peer.check((status["protocol"], status["manufacturer"], status["charge"], status["minutes"], status["batteryVoltage"], status["source"], status["battery"])
                           == ("USB (UPower)", "Firma", 88, 30.5, 13.6, "Netzbetrieb", "normal"), "what is told of it: %r" % status)
                bus.change("ups_hiddev0", State="uint32 2", WarningLevel="uint32 2", TimeToEmpty="int64 0", Percentage="60.0")
                local.wait_line("on battery, its time still being estimated", lambda entries: entries and entries[0]["status"]["source"] == "Batteriebetrieb"
                                and entries[0]["status"]["minutes"] is None and entries[0]["status"]["battery"] == "normal")
                bus.change("ups_hiddev0", WarningLevel="uint32 3")
                local.wait_line("low", lambda entries: entries and entries[0]["status"]["battery"] == "schwach")
            local.wait_line("a service that has ended has no UPS", lambda entries: entries == [], 40)
            with bus.mock():
                peer.wait_for("the service", lambda: subprocess.run(["gdbus", "introspect", "--system", "--dest", "org.freedesktop.UPower", "--object-path", PATH], env=bus.environment, capture_output=True).returncode == 0)
                bus.add("ups_hiddev0", Type="uint32 3", State="uint32 4", Percentage="90.0", Model="'Modell 700'")
                local.wait_line("back under its number", lambda entries: len(entries) == 1 and entries[0]["id"] == "usb-0", 40)
        local.wait_line("a bus that has ended has no UPS", lambda entries: entries == [], 40)
