"""UPSTool as a child: what it says, line by line."""
import json
import os
import select
import subprocess
import time

import peer

TOOL = os.environ.get("KESTRELYNE_UPS_TOOL", "build/release/Tests/Peers/UPSTool")


def need_tool():
    if not os.path.exists(TOOL):
        peer.skip("there is no " + TOOL)


class Tool(peer.Child):
    def __init__(self, *words):
        super().__init__([TOOL, *words], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)

    def say(self, line):
        self.process.stdin.write(line + "\n")

    def line(self, seconds=10):
        """The next line as a value; absent when none comes."""
        if not select.select([self.process.stdout], [], [], seconds)[0]:
            return None
        return json.loads(self.process.stdout.readline())

    def wait_line(self, what, holds, seconds=20):
        """The first line for which holds() is true."""
        end = time.monotonic() + seconds
        last = None
        while time.monotonic() < end:
            line = self.line(max(0.01, end - time.monotonic()))
            if line is None:
                break
            last = line
            if holds(line):
                print("right: " + what, flush=True)
                return line
        raise SystemExit("waited in vain for %s: %r" % (what, last))


class Simulator(Tool):
    def __init__(self):
        super().__init__("simulate", "0")
        self.port = self.line()["port"]

    def set_faults(self, *names):
        self.say(" ".join(names))
        self.line()


def read(port):
    """Our own reading of an agent."""
    return json.loads(subprocess.run([TOOL, "read", str(port)], check=True, capture_output=True, text=True, timeout=30).stdout)
