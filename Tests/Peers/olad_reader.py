"""What olad holds of a universe: olad_reader.py UNIVERSE, the slot values as a JSON list."""
import json
import sys

from ola.ClientWrapper import ClientWrapper

wrapper = ClientWrapper()


def show(status, universe, data):
    print(json.dumps(list(data) if status.Succeeded() else []))
    wrapper.Stop()


wrapper.Client().FetchDmx(int(sys.argv[1]), show)
wrapper.Run()
