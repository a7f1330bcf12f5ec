"""Avahi: a service that a peer publishes gives its host a name in the program; without the service, and without a daemon, it has none."""
import os
import subprocess
import time

import namespaces
import packets
import peer

CONSOLE = "10.71.1.2"
NAME = "Pult „Große Bühne“"
BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN" "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=%s</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
    <allow user="*"/>
  </policy>
</busconfig>
"""
DAEMON = """[server]
host-name=%s
use-ipv4=yes
use-ipv6=no
allow-interfaces=e0
enable-dbus=yes
[publish]
publish-workstation=no
publish-hinfo=no
"""


class Bus(peer.Child):
    """A message bus of its own for one host, which takes the place of the system's there."""

    def __init__(self, folder, host, label):
        self.folder, self.host, self.label = folder, host, label
        path = os.path.join(folder, label)
        self.environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS="unix:path=" + path + ".bus")
        with open(path + ".conf", "w") as file:
            file.write(BUS % (path + ".bus"))
        with open(path + ".bus.log", "ab") as log:
            super().__init__(host.prefix + ["dbus-daemon", "--config-file=" + path + ".conf", "--nofork", "--nopidfile"], stdout=log, stderr=log)
        try:
            peer.wait_for("the bus", lambda: os.path.exists(path + ".bus"))
        except BaseException:
            self.__exit__()
            raise

    def avahi(self):
        path = os.path.join(self.folder, self.label)
        with open(path + ".avahi.conf", "w") as file:
            file.write(DAEMON % self.label)
        # Its pid file, and the services that packages of this computer announce, are one for the whole computer.
        private = ["unshare", "--mount", "sh", "-c", 'mount -t tmpfs none /run/avahi-daemon && mount -t tmpfs none /etc/avahi/services && exec "$@"', "sh"]
        return self.host.child(*private, "avahi-daemon", "-f", path + ".avahi.conf", "--no-drop-root", "--no-chroot", "--no-rlimits", log=path + ".log", env=self.environment)


def shown(program, device):
    """The name of the console that asks, as the program shows it."""
    device.sendto(packets.art_poll(), ("10.71.1.255", packets.ARTNET))
    time.sleep(0.3)
    return next((entry["name"] for entry in program.get("/api/network")["controllers"] if entry["ip"] == CONSOLE), None)


for command in ("dbus-daemon", "avahi-daemon", "avahi-publish"):
    peer.need(command)
os.makedirs("/run/avahi-daemon", exist_ok=True)
with peer.temporary_folder() as folder, namespaces.small_network("console") as (world, segment, station, console):
    with Bus(folder, station, "station") as bus, Bus(folder, console, "console") as far, console.udp(port=packets.ARTNET) as device:
        with far.avahi(), open(folder + "/program.log", "ab") as log:
            with peer.Program(folder, "--monitor", inside=station, env=bus.environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log) as program:
                peer.wait_for("the console", lambda: shown(program, device))
                peer.check(shown(program, device) == CONSOLE, "without a daemon a console has but its address")
                publish = lambda: console.child("avahi-publish", "-s", NAME, "_osc._udp", "8000", "version=2.1", "Sprache=de", env=far.environment, log=folder + "/publish.log")
                publisher = publish()
                with publisher:
                    time.sleep(1)
                    with bus.avahi():
                        begun = time.monotonic()
                        peer.wait_for("the service's name", lambda: shown(program, device) == NAME, 60)
                        print("found %.1f s after the daemon's start" % (time.monotonic() - begun), flush=True)
                        device.sendto(packets.art_dmx(7, bytes(512)), ("10.71.1.1", packets.ARTNET))
                        sources = peer.wait_for("its universe", lambda: program.get("/api/dmx?u=Art-Net:7")["sources"])
                        peer.check(sources[0]["name"] == NAME, "its universe is shown under that name")
                    peer.wait_for("the bare address without a daemon", lambda: shown(program, device) == CONSOLE, 10)
                    with bus.avahi():
                        begun = time.monotonic()
                        peer.wait_for("the name again", lambda: shown(program, device) == NAME, 60)
                        print("and %.1f s after its next start" % (time.monotonic() - begun), flush=True)
                        publisher.process.terminate()
                        begun = time.monotonic()
                        peer.wait_for("the bare address without a service", lambda: shown(program, device) == CONSOLE, 30)
                        print("gone %.1f s after the service's end" % (time.monotonic() - begun), flush=True)
                peer.check(program.alive(), "the daemon's comings and goings do no harm")
