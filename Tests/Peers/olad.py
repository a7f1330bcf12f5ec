"""OLA's daemon in a host of namespaces.py: Art-Net and sACN through its own plugins."""
import os
import subprocess

import namespaces
import peer

PLUGINS = ["artnet", "dummy", "e131", "espnet", "ftdidmx", "gpio", "karate", "kinet", "milinst", "nanoleaf", "opendmx", "openpixelcontrol", "osc", "pathport", "renard",
           "sandnet", "shownet", "spi", "stageprofi", "uartdmx", "usbdmx", "usbpro", "usbserial"]
FEEDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "olad_feeder.py")


def need():
    for command in ("olad", "ola_patch", "ola_dev_info"):
        peer.need(command)
    if subprocess.run(["/usr/bin/python3", "-c", "import ola.ClientWrapper"], capture_output=True).returncode != 0:
        peer.skip("OLA's Python client is not installed")


class Olad:
    """Runs as nobody, as it refuses root. Universe n goes out as Art-Net 0:0:n and as sACN n. With `rdm` it has devices of Remote Device Management, its "dummy" device."""

    def __init__(self, folder, host, address, rdm=False):
        self.host = host
        self.folder = os.path.join(folder, "ola-" + address)
        os.makedirs(self.folder)
        # A folder of the test is closed to others.
        os.chmod(folder, 0o755)
        settings = {name: ["enabled = false"] for name in PLUGINS}
        settings["artnet"] = ["enabled = true", "ip = " + address, "short_name = Pult " + address, "long_name = Lichtpult auf " + address, "net = 0", "subnet = 0",
                              "output_ports = 4", "always_broadcast = true", "use_loopback = false"]
        settings["e131"] = ["enabled = true", "ip = " + address, "draft_discovery = true", "input_ports = 4", "output_ports = 4", "revision = 0.46"]
        if rdm:
            settings["dummy"] = ["enabled = true", "dummy_device_count = 1", "dimmer_count = 1", "dimmer_subdevice_count = 4", "moving_light_count = 1", "ack_timer_count = 1",
                                 "advanced_dimmer_count = 1", "sensor_device_count = 1", "network_device_count = 1"]
        self.wanted = {"artnet", "sacn"} | ({"dummy"} if rdm else set())
        for name, lines in settings.items():
            with open(os.path.join(self.folder, "ola-%s.conf" % name), "w") as file:
                file.write("\n".join(lines) + "\n")
        for path in [self.folder] + [os.path.join(self.folder, name) for name in os.listdir(self.folder)]:
            os.chown(path, namespaces.NOBODY, namespaces.NOBODY)
        self.log = os.path.join(folder, "ola-%s.log" % address)
        self.process = host.child("olad", "-c", self.folder, "-p", "9090", "-r", "9010", "-l", "1", "--no-http-quit", nobody=True, log=self.log)
        self.feeder = None

    def __enter__(self):
        try:
            self.devices = peer.wait_for("olad", self.read_devices)
        except BaseException:
            self.process.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.stop_feeding()
        self.process.__exit__()

    def read_devices(self):
        """Name of a plugin's device to its number, once both are there."""
        if not self.process.alive():
            with open(self.log) as log:
                raise SystemExit("olad has ended: " + log.read())
        listed = subprocess.run(self.host.prefix + ["ola_dev_info"], capture_output=True, text=True, timeout=10).stdout
        found = {}
        for line in listed.splitlines():
            if line.startswith("Device "):
                number, name = line[len("Device "):].split(":", 1)
                found["artnet" if "Art-Net" in name or "ArtNet" in name else "sacn" if "E1.31" in name else "dummy" if "Dummy" in name else name] = number
        return found if self.wanted <= set(found) else None

    def patch(self, kind, port, universe, is_input=False):
        self.host.run("ola_patch", "-d", self.devices[kind], "-p", str(port), *(["-i"] if is_input else []), "-u", str(universe), capture_output=True)

    def unpatch(self, kind, port):
        self.host.run("ola_patch", "-d", self.devices[kind], "-p", str(port), "-r", capture_output=True)

    def feed(self, rate, *universes):
        """Sends a moving picture on its universes until told otherwise."""
        self.feeder = self.host.child("/usr/bin/python3", FEEDER, str(rate), *map(str, universes), nobody=True, log=self.log)

    def stop_feeding(self):
        if self.feeder:
            self.feeder.__exit__()
            self.feeder = None
