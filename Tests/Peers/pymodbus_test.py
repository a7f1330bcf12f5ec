"""The program polls a meter that pymodbus serves; what arrives at the JSON interface is what the registers say. tshark watches the line."""
import sys

import peer
import pymodbus_server

IDENTIFIER = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"


def group_rows(detail, name):
    return next(group["rows"] for group in detail["groups"] if group["name"] == name)


with peer.temporary_folder() as folder:
    port = peer.free_port()
    peer.set_key(folder, "devices.v1", [peer.meter(IDENTIFIER, port)])
    rule = {"id": "E621E1F8-C36C-495A-93FC-0C247A3E6E60", "enabled": True, "address": 19000, "condition": "größer als", "threshold": 253, "hysteresis": 2, "delay": 0.3, "severity": "Alarm", "notify": True, "sound": True, "note": "", "displayScale": 1}
    peer.set_key(folder, "alarms." + IDENTIFIER, {"rules": [rule], "commLossEnabled": True, "commLossDelay": 1})
    with peer.Child([sys.executable, pymodbus_server.__file__, str(port)]):
        peer.wait_for("pymodbus", lambda: peer.port_open(port))
        with peer.ModbusCapture(folder, port) as capture, peer.Program(folder) as program:
            path = "/api/device/" + IDENTIFIER
            peer.wait_for("the first reading", lambda: program.get(path)["status"] == "verbunden")
            peer.wait_for("a second reading", lambda: len(program.get(path)["trendP"]) >= 3)
            detail = program.get(path)
            power = program.get("/api/power")["devices"][0]

            value = lambda address: peer.single(pymodbus_server.value_at(address))
            peer.check(detail["p"] == value(19026), "the sum of power is that of register 19026")
            peer.check(detail["i"] == [value(19012), value(19014), value(19016)], "the currents are those of 19012, 19014 and 19016")
            peer.check(power["u"] == [value(19000), value(19002), value(19004)], "the voltages are those of 19000, 19002 and 19004")
            peer.check(power["ull"] == [value(19006), value(19008), value(19010)], "the voltages between lines are those of 19006 to 19010")
            peer.check(power["f"] == 50.0, "the frequency is 50 Hz")
            peer.check(power["star"] == value(802), "the star point is that of 802, from an extended block")
            share = value(802) / value(806) * 100
            peer.check(abs(power["starPct"] - share) < 1e-9, "its share is 802 over 806")
            peer.check(power["energy"] == value(19068), "the energy is that of 19068")
            peer.check(power["thdU"] == [value(19110), value(19112), value(19114)], "the distortions are those of 19110 to 19114")
            grid = {row["label"]: row["value"] for row in group_rows(detail, "Netz")}
            peer.check(grid == {"Frequenz": "50,000 Hz", "Drehfeld": "links"}, "frequency and rotation read as words and numbers")
            thd = group_rows(detail, "THD Strom")
            peer.check(thd[2]["value"] == "–", "a value that is no number shows as missing")
            neutral = group_rows(detail, "N-Leiter / Differenzstrom")
            peer.check(all(row["value"] == "–" for row in neutral), "blocks that the meter refuses leave their values missing")
            crest = group_rows(detail, "Crest-Faktor")
            peer.check(crest[0]["value"] != "–", "the block behind a refused one is read")
            peer.check(all(point == value(19026) for point in detail["trendP"]), "the trend holds what was read")
            summary = "Spannung L-N L1 > 253,0 V"
            peer.wait_for("the alarm", lambda: program.get("/api/power")["devices"][0]["alarms"])
            peer.check(program.get("/api/power")["devices"][0]["alarms"] == [{"text": summary, "severity": "alarm"}], "a violated rule is an active alarm")
            newest = program.get("/api/events")["events"][0]
            peer.check((newest["source"], newest["level"], newest["text"]) == ("Prüfling", "alarm", summary + " – aktuell 2375 V"), "and the newest event")
        requests = capture.fields("mbtcp && tcp.dstport==%d" % port, "modbus.func_code", "modbus.reference_num")
        peer.check(len(requests) >= 8, "tshark dissects %d requests" % len(requests))
        peer.check(capture.fields("_ws.malformed && tcp.dstport==%d" % port, "frame.number") == [], "no request is malformed")
        refused = [words for words in requests if words[1] in ("10873", "10085")]
        peer.check(len(refused) == 2, "each refused block was asked for once: " + repr(refused))

    # The server is gone: the meter shows an error, and its values stay.
    with peer.Program(folder) as program:
        path = "/api/device/" + IDENTIFIER
        peer.wait_for("the error", lambda: program.get(path)["status"].startswith("Fehler: Verbindung fehlgeschlagen: "))
        lost = {"text": "Kommunikationsausfall", "severity": "alarm"}
        peer.wait_for("the loss of communication", lambda: lost in program.get("/api/power")["devices"][0]["alarms"])
        with peer.Child([sys.executable, pymodbus_server.__file__, str(port)]):
            peer.wait_for("the return of the meter", lambda: program.get(path)["status"] == "verbunden")
            peer.check(True, "a meter that comes back is polled again by itself")
            texts = [event["text"] for event in program.get("/api/events")["events"]]
            peer.check("Behoben: Kommunikation wiederhergestellt" in texts, "its return is an event")
            peer.check("Kommunikationsausfall – keine Antwort seit 1 s" in texts, "so was its loss")
