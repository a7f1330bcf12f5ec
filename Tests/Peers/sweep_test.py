"""Our sweep beside fping, over the same addresses at the same rate in one run: what answers, how long it takes, what it costs."""
import os
import shutil
import tempfile
import time

import namespaces
import peer

# 250 addresses a second. The machine's one neighbour table holds 1024 entries, and keeps each that does not answer for three seconds.
RANGE, PERIOD = 200, 0.8
# One fping alone is held up by its socket's send buffer, where requests wait for hardware addresses.
FPINGS = 3
LIVE = 50
TOOL = os.environ.get("KESTRELYNE_SWEEP_TOOL", "build/release/Tests/Peers/SweepTool")


class Run:
    """A tool with addresses on its standard input, to its end: what it writes, how long it takes, what it costs."""

    def __init__(self, command, host, addresses, folder, nobody=False):
        with tempfile.TemporaryFile("w+", dir=folder) as given:
            given.write("".join(address + "\n" for address in addresses))
            given.seek(0)
            self.out, self.err = (tempfile.TemporaryFile("w+", dir=folder) for _ in range(2))
            drop = ["setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"] if nobody else []
            self.begun = time.monotonic()
            self.child = peer.Child(host.prefix + drop + command, stdin=given, stdout=self.out, stderr=self.err)

    def finish(self):
        with self.child:
            _, status, usage = os.wait4(self.child.process.pid, 0)
            self.child.process.returncode = os.waitstatus_to_exitcode(status)
        self.seconds = time.monotonic() - self.begun
        self.cpu = usage.ru_utime + usage.ru_stime
        for file in (self.out, self.err):
            file.seek(0)
        self.output, self.errors = self.out.read(), self.err.read()
        return self


def fresh(station):
    """No hardware address is known, and none is being looked for."""
    time.sleep(3.2)
    station.ip("neigh", "flush", "dev", "e0", "nud", "all")


def fping(station, addresses, live, folder):
    fresh(station)
    command = ["fping", "-a", "-r", "0", "-t", "720", "-i", str(int(1000 * FPINGS * PERIOD / RANGE)), "-f", "-"]
    runs = [Run(command, station, addresses[first::FPINGS], folder) for first in range(FPINGS)]
    runs = [run.finish() for run in runs]
    heard = {word for run in runs for word in run.output.split()} & set(live)
    print("fping x%d : %d of %d live addresses of %d, %d lines of errors, %.1f s, %.3f s CPU" % (FPINGS, len(heard), len(live), len(addresses), sum(len(run.errors.splitlines()) for run in runs),
          max(run.seconds for run in runs), sum(run.cpu for run in runs)), flush=True)
    return heard


def ours(station, addresses, live, folder, nobody):
    fresh(station)
    run = Run([tool, str(RANGE), str(PERIOD)], station, addresses, folder, nobody).finish()
    lines = [line.split() for line in run.output.splitlines()]
    peer.check(run.child.process.returncode == 0 and run.errors == "", "our sweep comes to its end " + run.errors)
    answers = {words[0]: float(words[1]) for words in lines[:-1]}
    print("our sweep: %d of %d live addresses of %d, %s socket, %.1f s, %.3f s CPU, slowest answer %.1f ms" % (len(set(answers) & set(live)), len(live), len(addresses),
          "datagram" if nobody else "raw", run.seconds, run.cpu, max(answers.values(), default=0) * 1000), flush=True)
    peer.check(set(answers) == set(live), "no answer of a live address is lost, and none is invented: %r" % sorted(set(answers) ^ set(live)))


peer.need("fping")
if not os.path.exists(TOOL):
    peer.skip("there is no " + TOOL)
with peer.temporary_folder() as folder, namespaces.World() as world:
    segment, station, crowd = world.segment("switch"), world.host("station"), world.host("crowd")
    segment.attach(station, "e0", "10.71.0.1/16")
    segment.attach(crowd, "e0", "10.71.0.2/16")
    ranges = ["10.71.%d." % third for third in range(16, 32)]
    small = [ranges[0] + str(last) for last in range(1, 255)]
    large = [prefix + str(last) for prefix in ranges for last in range(1, 255)]
    near = [small[number * 5 + 2] for number in range(LIVE)]
    far = [large[number * 81 + 7] for number in range(LIVE)]
    for address in sorted(set(near + far)):
        crowd.set_address("e0", address + "/16")
    # Who has no rights pings over a datagram socket, where the system's owner allows it.
    station.run("sysctl", "-q", "-w", "net.ipv4.ping_group_range=65534 65534")
    os.chmod(folder, 0o755)
    tool = shutil.copy(TOOL, folder)
    for addresses in (small, large):
        live = [address for address in addresses if address in near + far]
        fping(station, addresses, live, folder)
        ours(station, addresses, live, folder, nobody=addresses is large)
    ours(station, small, [address for address in small if address in near + far], folder, nobody=True)
