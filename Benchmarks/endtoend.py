"""What the whole program costs, measured from outside: endtoend.py BUILD_FOLDER [load] [http] [idle] [start] [soak] [universes[:MINUTES]] [pings]
[switches]; all but soak, universes, pings and switches when none is named.

Everything runs on the loopback address of this machine; the meters, the lighting data and the judges (nginx, wrk) are processes of their
own, and only the program's own times are counted. Bounded: about two and a half minutes in all.
"""
import json
import os
import re
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request
import uuid

TICKS = os.sysconf("SC_CLK_TCK")
BUILD = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "build/release")
PROGRAM = os.path.join(BUILD, "kestrelyne")
FARM = os.path.join(BUILD, "Benchmarks", "meterfarm")
LIGHT = os.path.join(BUILD, "Benchmarks", "lightload")
METERS, FIRST_PORT = 64, 16200
UNIVERSES, FRAMES = 500, 44  # of each protocol, a second


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_port(port, seconds=10):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=1):
                return
        except OSError:
            time.sleep(0.005)
    raise SystemExit("nobody listens on %d" % port)


def cpu_seconds(pid):
    fields = open("/proc/%d/stat" % pid).read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def resident_mb(pid):
    return int(re.search(r"VmRSS:\s+(\d+)", open("/proc/%d/status" % pid).read()).group(1)) / 1000


def switches(pid):
    total = 0
    for task in os.listdir("/proc/%d/task" % pid):
        text = open("/proc/%d/task/%s/status" % (pid, task)).read()
        total += sum(int(n) for n in re.findall(r"ctxt_switches:\s+(\d+)", text))
    return total


def get(port, path):
    with urllib.request.urlopen("http://127.0.0.1:%d%s" % (port, path), timeout=10) as answer:
        return answer.read()


class Running:
    def __init__(self, words, folder=None):
        self.process = subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, cwd=folder)
        self.pid = self.process.pid

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()


def program(folder, port, *words):
    return Running([PROGRAM, "run", "--data", folder, "--web", "--no-lan", "--port", str(port), *words])


def status(folder):
    return json.loads(subprocess.run([PROGRAM, "status", "--json", "--data", folder], capture_output=True, text=True, check=True).stdout)


def store_meters(folder):
    devices = [
        {"id": str(uuid.uuid4()).upper(), "name": "Meter %02d" % n, "kind": "Modbus TCP (Ethernet)", "host": "127.0.0.1", "port": FIRST_PORT + n, "pollInterval": 0.1, "autoConnect": True}
        for n in range(METERS)
    ]
    subprocess.run([PROGRAM, "settings", "set", "devices.v1", "-", "--type", "json", "--data", folder], input=json.dumps(devices), text=True, check=True, stderr=subprocess.DEVNULL)


def asked(port, path, seconds):
    """Fifty requests a second, whether or not the previous one is answered: what they took, as text."""
    times, failed = [], []

    def ask(due):
        time.sleep(max(0, due - time.monotonic()))
        sent = time.monotonic()
        try:
            get(port, path)
            times.append(time.monotonic() - sent)
        except OSError as error:
            failed.append(error)

    start = time.monotonic() + 0.2
    workers = [threading.Thread(target=lambda k=k: [ask(start + i / 50) for i in range(k, int(seconds * 50), 8)]) for k in range(8)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    times.sort()
    return "median %.1f ms, 99th percentile %.1f ms, longest %.1f ms, failed %d" % (statistics.median(times) * 1000, times[int(len(times) * 0.99)] * 1000, times[-1] * 1000, len(failed))


def load():
    print("## 64 meters, ten readings a second")
    with tempfile.TemporaryDirectory() as folder, Running([FARM, str(FIRST_PORT), str(METERS)]):
        wait_port(FIRST_PORT + METERS - 1)
        store_meters(folder)
        port = free_port()
        with program(folder, port) as running:
            wait_port(port)
            time.sleep(3)
            readings = lambda: [meter["readings"] for meter in status(folder)["meters"]]
            before, cpu, turned, begun = readings(), cpu_seconds(running.pid), switches(running.pid), time.monotonic()
            time.sleep(60)
            cpu, turned, after, took = cpu_seconds(running.pid) - cpu, switches(running.pid) - turned, readings(), time.monotonic() - begun
            done = [b - a for a, b in zip(before, after)]
            cycles = sum(done)
            print("cycles %d in %.1f s, fewest of one meter %d of %d; CPU %.1f %% of one core; %.1f thread switches a cycle; resident %.0f MB" % (cycles, took, min(done), int(took * 10), cpu / took * 100, turned / cycles, resident_mb(running.pid)))
            print("/api/power, 50 a second for 20 s under that load: " + asked(port, "/api/power", 20))
            loop = status(folder)["loop"]
            print("main thread: longest turn %.1f ms; turns below %s ms and longer: %s" % (loop["longestMs"], loop["limitsMs"], loop["turns"]))


NGINX = """worker_processes 1; pid %(folder)s/nginx.pid; error_log /dev/null; daemon off;
events { worker_connections 1024; }
http { access_log off; keepalive_timeout 0; client_body_temp_path %(folder)s/b; proxy_temp_path %(folder)s/p; fastcgi_temp_path %(folder)s/f;
uwsgi_temp_path %(folder)s/u; scgi_temp_path %(folder)s/s; server { listen 127.0.0.1:%(port)d; root %(folder)s/web; } }
"""


def wrk(port):
    out = subprocess.run(["wrk", "-t1", "-c32", "-d5s", "-H", "Connection: close", "http://127.0.0.1:%d/file.js" % port], capture_output=True, text=True, check=True).stdout
    errors = re.search(r"Socket errors:.*", out)
    return float(re.search(r"Requests/sec:\s+([\d.]+)", out).group(1)), errors.group(0) if errors else ""


def http():
    print("## a static file of 20 kB, 32 connections, Connection: close")
    for tool in ("nginx", "wrk"):
        if not shutil.which(tool) and not os.path.exists("/usr/sbin/" + tool):
            raise SystemExit(tool + " is missing: scripts/setup --bench")
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        os.mkdir(folder + "/web")
        with open(folder + "/web/file.js", "wb") as file:
            file.write(os.urandom(20000))
        os.environ["KESTRELYNE_WEB_ROOT"] = folder + "/web"
        nginx_port, port = free_port(), free_port()
        with open(folder + "/nginx.conf", "w") as file:
            file.write(NGINX % {"folder": folder, "port": nginx_port})
        with Running(["/usr/sbin/nginx", "-c", folder + "/nginx.conf"]), program(folder + "/data", port):
            wait_port(nginx_port)
            wait_port(port)
            ratios = []
            for turn in range(3):
                theirs, their_errors = wrk(nginx_port)
                ours, our_errors = wrk(port)
                ratios.append(ours / theirs)
                print("turn %d: nginx %.0f/s %s, ours %.0f/s %s, ratio %.2f" % (turn + 1, theirs, their_errors, ours, our_errors, ours / theirs))
            print("ratio, median of three: %.2f" % statistics.median(ratios))
        del os.environ["KESTRELYNE_WEB_ROOT"]


def idle():
    print("## the demo with one simulated meter, a minute at rest")
    port = free_port()
    with Running([PROGRAM, "run", "--demo", "--no-lan", "--port", str(port)]) as running:
        wait_port(port)
        time.sleep(3)
        cpu = cpu_seconds(running.pid)
        time.sleep(60)
        print("resident %.1f MB, CPU %.2f %% of one core" % (resident_mb(running.pid), (cpu_seconds(running.pid) - cpu) / 60 * 100))


def soak():
    print("## 64 meters, ten readings a second, until the histories are full and beyond (eight minutes)")
    with tempfile.TemporaryDirectory() as folder, Running([FARM, str(FIRST_PORT), str(METERS)]):
        wait_port(FIRST_PORT + METERS - 1)
        store_meters(folder)
        port = free_port()
        with program(folder, port) as running:
            wait_port(port)
            for minute in range(8):
                time.sleep(60)
                print("minute %d: resident %.0f MB, fewest readings of one meter %d" % (minute + 1, resident_mb(running.pid), min(meter["readings"] for meter in status(folder)["meters"])), flush=True)


def in_own_network(words):
    """False when the measurement has been run in a network of its own, so that nothing is sent to a real one."""
    if "KESTRELYNE_OWN_NETWORK" in os.environ:
        return True
    links = "ip link set lo up && ip link add rig0 type veth peer name rig1 && ip address add 10.77.0.1/24 dev rig0 && ip link set rig0 up && ip link set rig1 up"
    command = ["unshare", "-n"] if os.geteuid() == 0 else ["unshare", "-rn"]
    command += ["sh", "-c", links + ' && exec "$@"', "sh", sys.executable, sys.argv[0], BUILD, words]
    sys.stdout.flush()
    subprocess.run(command, env=dict(os.environ, KESTRELYNE_OWN_NETWORK="1"), check=True)
    return False


def pings():
    if not in_own_network("pings"):
        return
    devices, seconds = 500, 60
    print("## %d devices pinged every second, for %d seconds" % (devices, seconds), flush=True)

    def heard():  # what this network's own kernel was asked
        names, values = [line.split()[1:] for line in open("/proc/net/snmp") if line.startswith("Icmp:")]
        return int(values[names.index("InEchos")])

    with tempfile.TemporaryDirectory() as folder:
        watched = [{"id": str(uuid.uuid4()).upper(), "name": "Device %03d" % n, "ip": "127.9.%d.%d" % (n // 250, n % 250 + 1), "role": "node", "alarmOnOffline": True} for n in range(devices)]
        subprocess.run([PROGRAM, "settings", "set", "network.v1", "-", "--type", "json", "--data", folder], input=json.dumps({"devices": watched, "pingInterval": 1.0}), text=True, check=True, stderr=subprocess.DEVNULL)
        port = free_port()
        with program(folder, port, "--monitor") as running:
            wait_port(port)
            time.sleep(3)
            before, cpu, begun = heard(), cpu_seconds(running.pid), time.monotonic()
            time.sleep(seconds)
            asked_for, used, took = heard() - before, cpu_seconds(running.pid) - cpu, time.monotonic() - begun
            picture = json.loads(get(port, "/api/network"))
            print("rounds %.1f in %.1f s; CPU %.1f %% of one core; resident %.0f MB; online %d of %d; alarms %d" % (asked_for / devices, took, used / took * 100, resident_mb(running.pid), picture["online"], picture["total"], len(picture["problems"])))
            loop = status(folder)["loop"]
            print("main thread: longest turn %.1f ms" % loop["longestMs"])


def universes(minutes="10"):
    if not in_own_network("universes:" + minutes):
        return
    minutes = int(minutes)
    print("## %d universes at %d frames a second, half of them Art-Net, half sACN, for %d minutes" % (2 * UNIVERSES, FRAMES, minutes), flush=True)
    with tempfile.TemporaryDirectory() as folder:
        port = free_port()
        with program(folder, port, "--monitor") as running:
            wait_port(port)
            time.sleep(2)
            with Running([LIGHT, "6454", str(UNIVERSES), "5568", str(UNIVERSES), str(FRAMES), str(minutes * 60 + 60)]) as sender:
                time.sleep(5)
                for minute in range(minutes):
                    cpu, sent, begun = cpu_seconds(running.pid), cpu_seconds(sender.pid), time.monotonic()
                    # Its own figures without anybody asking, then with fifty questions a second.
                    time.sleep(30)
                    quiet, offered, took = cpu_seconds(running.pid) - cpu, cpu_seconds(sender.pid) - sent, time.monotonic() - begun
                    cpu, begun = cpu_seconds(running.pid), time.monotonic()
                    answers = asked(port, "/api/network", 28)
                    busy = (cpu_seconds(running.pid) - cpu) / (time.monotonic() - begun)
                    picture = json.loads(get(port, "/api/network"))
                    rates = [source["fps"] for universe in picture["universeList"] for source in universe["senders"]]
                    print("minute %d: dropped %d, refused %d; universes %d, rates %.1f to %.1f; CPU %.1f %% of one core (sender %.1f %%), %.1f %% while asked; resident %.0f MB; /api/network %s" % (minute + 1, picture["health"]["dropped"], picture["health"]["refused"], picture["universes"], min(rates), max(rates), quiet / took * 100, offered / took * 100, busy * 100, resident_mb(running.pid), answers), flush=True)
                loop = status(folder)["loop"]
                print("main thread: longest turn %.1f ms; turns below %s ms and longer: %s" % (loop["longestMs"], loop["limitsMs"], loop["turns"]))


def switches_asked():
    if not in_own_network("switches"):
        return
    count, silent, interval, first = 40, 17, 5.0, 26100
    for delay in (1, 20):
        print("## %d switches of 52 ports asked over SNMP, each answer after %d ms, one of them silent" % (count, delay), flush=True)
        with tempfile.TemporaryDirectory() as folder:
            watched = [{"id": str(uuid.uuid4()).upper(), "name": "Switch %02d" % n, "ip": "127.0.0.1", "role": "networkSwitch", "snmp": True, "snmpPort": first + n} for n in range(count)]
            subprocess.run([PROGRAM, "settings", "set", "network.v1", "-", "--type", "json", "--data", folder], input=json.dumps({"devices": watched, "snmpInterval": interval}), text=True, check=True, stderr=subprocess.DEVNULL)
            port = free_port()
            farm = subprocess.Popen([sys.executable, os.path.join(os.path.dirname(os.path.abspath(__file__)), "Support", "switchfarm.py"), str(first), str(count), str(delay), str(silent)], stdout=subprocess.PIPE, text=True)
            try:
                farm.stdout.readline()
                with program(folder, port, "--monitor") as running:
                    wait_port(port)
                    cpu, begun = cpu_seconds(running.pid), time.monotonic()
                    time.sleep(40 if delay == 1 else 120)
                    used, took = cpu_seconds(running.pid) - cpu, time.monotonic() - begun
                    answers, resident = asked(port, "/api/netdetail", 5), resident_mb(running.pid)
                    loop = status(folder)["loop"]
            finally:
                farm.terminate()
                readings = json.loads(farm.communicate(timeout=10)[0])
            rounds, latest = [], None
            for reading in sorted(readings, key=lambda reading: reading[1]):
                if reading[0] == 0:
                    rounds.append([])
                rounds[-1].append(reading)
            whole = [one for one in rounds if len(one) == count]
            for number, one in enumerate(whole):
                requests = statistics.median(reading[3] for reading in one if reading[0] != silent)
                single = statistics.median(reading[2] - reading[1] for reading in one if reading[0] != silent)
                waited = one[silent + 1][1] - one[silent][1]
                print("round %d: %.1f s; one switch %.0f questions, %.2f s; the silent one held the others up for %.1f s" % (number + 1, one[-1][2] - one[0][1], requests, single, waited))
            print("CPU %.1f %% of one core; resident %.0f MB; main thread: longest turn %.1f ms; /api/netdetail %s" % (used / took * 100, resident, loop["longestMs"], answers))


def start():
    print("## from start to the first answer")
    times = []
    for _ in range(5):
        with tempfile.TemporaryDirectory() as folder:
            port, begun = free_port(), time.monotonic()
            with program(folder, port):
                wait_port(port)
                get(port, "/api/info")
                times.append((time.monotonic() - begun) * 1000)
    print("median %.0f ms of %s" % (statistics.median(times), ", ".join("%.0f" % t for t in times)))


if __name__ == "__main__":
    known = {"load": load, "http": http, "idle": idle, "start": start, "soak": soak, "universes": universes, "pings": pings, "switches": switches_asked}
    for word in sys.argv[2:] or ["load", "http", "idle", "start"]:
        name, _, argument = word.partition(":")
        known[name](*([argument] if argument else []))
