"""Row 13: many clients, many links, many addresses."""

from .place import Place
from .table import Line, Target

_IN_FLIGHT = 64
_FLAT = 0.15


def _rate(settings, place, connections, command, in_flight=_IN_FLIGHT):
    return float(place.program("load_client", settings.load_ms, in_flight, connections, *command))


def clients(settings):
    """The same number of commands in flight, over more and more connections."""
    with Place(settings) as place:
        place.add_veth("eth1", "eth2")
        place.start_daemon()
        command = ("LINK_CTRL", "up", "eth1")
        rates = {}
        for _ in range(settings.load_rounds):
            for connections in (1, 8, 64):
                rates.setdefault(connections, []).append(
                    _rate(settings, place, connections, command))
            rates.setdefault("alone", []).append(_rate(settings, place, 1, command, 1))
    for connections in (8, 64):
        yield Line(13, f"LINK_CTRL per second, {connections} clients", rates[connections],
                   "1 client, as many in flight", rates[1], unit="/s",
                   target=Target("within 15 %", 1 + _FLAT, "slowdown"))
    yield Line(13, "LINK_CTRL per second, one at a time", rates["alone"],
               "1 client, 64 in flight", rates[1], unit="/s")


def _add_links(place, first, last):
    if first == last:
        return
    place.put_file("/tmp/batch", "".join(f"link add ifb{n} type ifb\n"
                                         for n in range(first, last)))
    place.run("ip", "-batch", "/tmp/batch", timeout=600)


def _add_addresses(place, first, last):
    place.put_file("/tmp/batch", "".join(
        f"address add 10.1.{n // 250}.{n % 250 + 1}/32 dev eth1\n" for n in range(first, last)))
    if first != last:
        place.run("ip", "-batch", "/tmp/batch", timeout=600)


def links_and_addresses(settings):
    changes = {"LINK_CTRL": ("LINK_CTRL", "up", "eth1"),
               "SET_STATIC_ADDRESS": ("SET_STATIC_ADDRESS", "eth1", "192.0.2.1", "24",
                                      "192.0.2.255")}
    for what, add in (("links", _add_links), ("addresses", _add_addresses)):
        with Place(settings) as place:
            place.add_veth("eth1", "eth2")
            place.run("ip", "link", "set", "eth1", "up")
            place.run("ip", "address", "add", "192.0.2.1/24", "broadcast", "192.0.2.255",
                      "dev", "eth1")
            place.start_daemon()
            there, none = 0, {}
            for number in (0, *settings.scales):
                add(place, there, number)
                there = number
                for name, command in changes.items():
                    times = place.time(settings.rounds,
                                       [("kex", settings.calls, "kex", *command)])["kex"]
                    none.setdefault(name, times)
                    if number:
                        yield Line(13, f"{name}, {number} {what}", times, f"with no {what}",
                                   none[name])
