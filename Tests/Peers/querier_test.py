"""The IGMP querier of the Linux bridge: found with its version, missed when it falls silent, and the warning when there are two."""
import time

import namespaces
import peer

LIMIT = 8  # s instead of 260
QUERY_EVERY = "200"  # 1/100 s
QUERIER, RIVAL = "10.71.1.254", "10.71.1.253"


def turn_on(segment, address, version):
    segment.set_address("br0", address + "/24")
    segment.ip("link", "set", "br0", "type", "bridge", "mcast_snooping", "1", "mcast_query_use_ifaddr", "1", "mcast_igmp_version", str(version), "mcast_query_interval", QUERY_EVERY,
               "mcast_startup_query_interval", QUERY_EVERY, "mcast_querier_interval", "1000", "mcast_querier", "1")


with peer.temporary_folder() as folder, namespaces.small_network("other") as (world, segment, station, other):
    namespaces.settings(folder, sacnUniverses="1-4")
    peer.set_key(folder, "debug.igmpTimeout", LIMIT, "number")
    turn_on(segment, QUERIER, 2)
    with namespaces.watch(folder, station) as program:
        program.wait_event("info", "IGMP-Querier auf Licht: %s (IGMPv2)" % QUERIER)
        time.sleep(LIMIT + 3)
        missing = "Kein IGMP-Querier auf Licht"
        peer.check(not any(text.startswith(missing) for text in program.texts()), "as long as it asks, nobody misses it")

        segment.ip("link", "set", "br0", "type", "bridge", "mcast_querier", "0")
        silent = time.monotonic()
        alarms = peer.wait_for("the alarm", lambda: [text for text in program.texts("alarm") if text.startswith(missing)])
        took = time.monotonic() - silent
        tail = " s – bei aktivem IGMP-Snooping kann sACN/Dante-Multicast ausfallen"
        peer.check(alarms[0] in ["%s seit %d%s" % (missing, age, tail) for age in (LIMIT, LIMIT + 1)], alarms[0])
        peer.check(LIMIT - 3 < took < LIMIT + 3, "%.1f s after it was switched off" % took)
        problems = program.get("/api/network")["problems"]
        peer.check({"level": "warning", "area": "light", "text": "Kein IGMP-Querier auf Licht"} in problems, "it stands under the problems: %r" % problems)
        time.sleep(3)
        peer.check(len([text for text in program.texts() if text.startswith(missing)]) == 1, "said once")
        segment.ip("link", "set", "br0", "type", "bridge", "mcast_querier", "1")
        program.wait_event("info", "IGMP-Querier auf Licht wieder aktiv")

        # A second switch with a lower address is plugged in. It wins the election, so both are heard for the length of the limit.
        second = world.segment("second")
        turn_on(second, RIVAL, 3)
        time.sleep(1)
        segment.ip("link", "add", "uplink", "type", "veth", "peer", "name", "downlink", "netns", second.name)
        segment.ip("link", "set", "uplink", "master", "br0", "up")
        second.ip("link", "set", "downlink", "master", "br0", "up")
        program.wait_event("info", "IGMP-Querier auf Licht: %s (IGMPv3)" % RIVAL)
        several = "Mehrere IGMP-Querier auf Licht: %s, %s – die niedrigste IP gewinnt die Wahl" % (RIVAL, QUERIER)
        program.wait_event("warning", several)
        time.sleep(2)
        peer.check(program.texts().count(several) == 1, "said once")
