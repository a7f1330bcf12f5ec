"""NUT's server and drivers in a folder of their own."""
import os
import pwd
import shutil
import subprocess

import peer

# Not the wrappers in the path, which refuse to start without a configuration of the system.
PROGRAMS = "/lib/nut"


def need():
    peer.need("upsc")
    if not os.path.exists(os.path.join(PROGRAMS, "upsd")):
        peer.skip("nut-server is not installed")
    if os.geteuid() != 0:
        peer.skip("NUT changes its user, which needs root")


class Folder:
    """Its configuration and its sockets; NUT's user may write there."""

    def __init__(self, path, drivers):
        self.path = os.path.join(path, "nut")
        os.mkdir(self.path)
        os.chmod(path, 0o755)
        self.port = peer.free_port()
        self.write("ups.conf", drivers)
        self.write("upsd.conf", "LISTEN 127.0.0.1 %d\nSTATEPATH %s\n" % (self.port, self.path))
        self.write("upsd.users", "[tester]\n password = geheim\n actions = SET\n instcmds = ALL\n")
        shutil.chown(self.path, "nut", "nut")
        self.environment = dict(os.environ, NUT_CONFPATH=self.path, NUT_STATEPATH=self.path, NUT_ALTPIDPATH=self.path, LC_ALL="C")

    def write(self, name, text):
        path = os.path.join(self.path, name)
        with open(path, "w") as file:
            file.write(text)
        os.chmod(path, 0o640)
        os.chown(path, 0, pwd.getpwnam("nut").pw_gid)

    def start(self, *words):
        log = open(os.path.join(self.path, words[0] + ".log"), "a")
        with log:
            return peer.Child([os.path.join(PROGRAMS, words[0]), *words[1:]], env=self.environment, stdin=subprocess.DEVNULL, stdout=log, stderr=log)

    def driver(self, program, name):
        return self.start(program, "-a", name, "-F")

    def server(self):
        return self.start("upsd", "-F")

    def variables(self, name):
        """What upsc reads; empty while the driver is not connected."""
        run = subprocess.run(["upsc", "%s@127.0.0.1:%d" % (name, self.port)], capture_output=True, text=True, timeout=20, env=self.environment)
        return dict(line.split(": ", 1) for line in run.stdout.splitlines() if ": " in line)

    def set_variable(self, name, variable, value):
        subprocess.run(["upsrw", "-s", "%s=%s" % (variable, value), "-u", "tester", "-p", "geheim", "%s@127.0.0.1:%d" % (name, self.port)],
                       check=True, capture_output=True, timeout=20, env=self.environment)
