"""Rows 1 to 4: commands over the bus, from call to reply."""

from .place import Place
from .table import Line, at_most, times_faster

_IP = "/usr/bin/ip"

# The same change for both: (name, command of kex, words of ip). Repeated, each finds its work
# done, which is the least that the kernel can have to do and so the hardest for kex.
_CHANGES = [
    ("LINK_CTRL", ("LINK_CTRL", "up", "eth1"), ("link", "set", "eth1", "up")),
    ("SET_STATIC_ADDRESS",
     ("SET_STATIC_ADDRESS", "eth1", "192.0.2.1", "24", "192.0.2.255"),
     ("address", "replace", "192.0.2.1/24", "broadcast", "192.0.2.255", "dev", "eth1")),
    ("SET_STATIC_ROUTE",
     ("SET_STATIC_ROUTE", "enable", "ipv4", "eth1", "198.51.100.0/24", "192.0.2.2"),
     ("route", "replace", "198.51.100.0/24", "via", "192.0.2.2", "dev", "eth1", "proto", "static",
      "onlink")),
]


def _network_place(settings):
    place = Place(settings)
    place.add_veth("eth1", "eth2")
    for link in ("eth1", "eth2"):
        place.run("ip", "link", "set", link, "up")
    place.run("ip", "address", "add", "192.0.2.1/24", "broadcast", "192.0.2.255", "dev", "eth1")
    place.start_daemon()
    return place


def empty_command(settings):
    with _network_place(settings) as place:
        place.start_plain_service()
        times = place.time(settings.rounds, [
            ("kex", settings.calls, "kex", "TERMINATE"),
            ("plain", settings.calls, "plain", "TERMINATE")])
    yield Line(1, "TERMINATE, round trip", times["kex"], "empty method of a plain C service",
               times["plain"], target=at_most(1.25))


def link_command(settings):
    with _network_place(settings) as place:
        place.start_plain_service()
        times = place.time(settings.rounds, [
            ("kex", settings.calls, "kex", "LINK_CTRL", "up", "eth1"),
            ("plain", settings.calls, "plain", "LINK_CTRL", "up", "eth1"),
            ("netlink", settings.calls, "setlink", "eth1")])
    bare = [call + request for call, request in zip(times["plain"], times["netlink"])]
    yield Line(2, "LINK_CTRL, round trip", times["kex"],
               "that empty method and a bare netlink exchange", bare, target=at_most(2),
               details={"plain": times["plain"], "netlink": times["netlink"]})


def beside_ip(settings):
    lines = settings.batch_lines
    with _network_place(settings) as place:
        for name, command, words in _CHANGES:
            place.put_file("/tmp/batch", (" ".join(words) + "\n") * lines)
            times = place.time(settings.rounds, [
                ("kex", settings.calls, "kex", *command),
                ("ip", settings.spawns, "spawn", _IP, *words),
                ("batch", 1, "spawn", _IP, "-batch", "/tmp/batch")])
            yield Line(3, name, times["kex"], "ip, started for it", times["ip"],
                       target=times_faster(8))
            yield Line(3, name, times["kex"], f"ip -batch, one of {lines}",
                       [time / lines for time in times["batch"]])


def host_name(settings):
    with _network_place(settings) as place:
        place.start_hostnamed()
        # Another name each time: hostnamed has nothing to do for the one that is set.
        times = place.time(settings.rounds, [
            ("kex", settings.calls, "kex", "SET_HOSTNAME", "kex-{n}"),
            ("hostnamed", settings.spawns, "method", "org.freedesktop.hostname1",
             "/org/freedesktop/hostname1", "org.freedesktop.hostname1", "SetHostname",
             "peer-{n}")])
    yield Line(4, "SET_HOSTNAME", times["kex"], "SetHostname of systemd-hostnamed",
               times["hostnamed"], target=times_faster(2))
