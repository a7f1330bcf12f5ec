"""tshark dissects what our own server answers: the demo polls its simulated meter over loopback, nothing is malformed."""
import os
import subprocess

import peer

SIMULATOR_PORT = 1502

with peer.temporary_folder() as folder:
    try:
        peer.port_open(SIMULATOR_PORT)
        peer.skip("port %d is taken" % SIMULATOR_PORT)
    except OSError:
        pass
    with peer.ModbusCapture(folder, SIMULATOR_PORT) as capture:
        port = peer.free_port()
        with peer.Child([peer.PROGRAM, "run", "--demo", "--no-lan", "--port", str(port)], stdout=subprocess.DEVNULL):
            peer.wait_for("the web interface", lambda: peer.port_open(port))
            peer.time.sleep(3)
    answers = [words[0] for words in capture.fields("mbtcp && tcp.srcport==%d" % SIMULATOR_PORT, "modbus.func_code")]
    malformed = capture.fields("_ws.malformed", "frame.number")
    print("answers: %d, malformed: %r" % (len(answers), malformed))
    if len(answers) < 6 or set(answers) != {"3"} or malformed:
        raise SystemExit("wrong")
