"""Feeds olad through its own client: olad_feeder.py RATE UNIVERSE..., so many frames a second on each, until it is ended."""
import array
import sys
import time

from ola.ClientWrapper import ClientWrapper

rate = float(sys.argv[1])
universes = [int(word) for word in sys.argv[2:]]
wrapper = ClientWrapper()
begun = time.monotonic()
frames = 0


def send():
    global frames
    frames += 1
    data = array.array("B", ((frames + slot) % 256 for slot in range(512)))
    for universe in universes:
        wrapper.Client().SendDmx(universe, data)
    # Against the start, so that the rate does not drift.
    wrapper.AddEvent(max(1, int((begun + frames / rate - time.monotonic()) * 1000)), send)


send()
wrapper.Run()
