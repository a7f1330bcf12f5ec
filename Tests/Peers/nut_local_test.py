"""NUT's server with its dummy driver, read by our own asking: a UPS with all that is told of it, its change, its end, its return."""
import nut
import peer
import ups

NOWHERE = "unix:path=/nonexistent/bus"
DEVICE = """ups.status: OL CHRG
ups.mfr: Firma
ups.model: Modell
battery.charge: 88
battery.charge.low: 20
battery.runtime: 1860
battery.voltage: 13.60
"""


def one(status):
    return lambda entries: len(entries) == 1 and all(entries[0]["status"][key] == value for key, value in status.items())


ups.need_tool()
nut.need()
with peer.temporary_folder() as path:
    folder = nut.Folder(path, "[rack]\n driver = dummy-ups\n port = rack.dev\n mode = dummy-once\n")
    folder.write("rack.dev", DEVICE)
    with ups.Tool("local", NOWHERE, str(folder.port)) as local:
        peer.check(local.line() == [], "without a server there is no UPS")
        with folder.server():
            with folder.driver("dummy-ups", "rack"):
                entries = local.wait_line("on mains", one({"source": "Netzbetrieb", "battery": "normal"}))
                status = entries[0]["status"]
                peer.check(entries[0]["id"] == "usb-0", "the first one is number 0")
                peer.check((status["protocol"], status["charge"], status["minutes"], status["batteryVoltage"]) == ("NUT", 88, 31, 13.6), "charge, minutes and voltage: %r" % status)
                variables = folder.variables("rack")
                peer.check((status["manufacturer"], status["model"], entries[0]["name"]) == (variables["ups.mfr"], variables["ups.model"], variables["ups.model"]),
                           "maker and model are those that upsc reads: %(manufacturer)s, %(model)s" % status)
                folder.set_variable("rack", "ups.status", "OB DISCHRG LB")
                local.wait_line("on battery, and low", one({"source": "Batteriebetrieb", "battery": "schwach"}))
                folder.set_variable("rack", "ups.status", "OL RB")
                local.wait_line("to be replaced", one({"source": "Netzbetrieb", "battery": "Fehler / tauschen"}))
                folder.set_variable("rack", "ups.status", "OL")
                local.wait_line("normal", one({"battery": "normal"}))
                folder.set_variable("rack", "battery.charge", "20")
                local.wait_line("low by its charge", one({"battery": "schwach", "charge": 20}))
            local.wait_line("a driver that has ended has no UPS", lambda entries: entries == [], 40)
            with folder.driver("dummy-ups", "rack"):
                local.wait_line("back under its number", lambda entries: len(entries) == 1 and entries[0]["id"] == "usb-0", 40)
        local.wait_line("a server that has ended has no UPS", lambda entries: entries == [])
