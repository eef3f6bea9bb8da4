"""Row 7: emptying tables of the kernel."""

import json
import statistics

from .place import Place
from .table import Line, at_most, times_faster


def _rounds(settings, place, table):
    """A new kex for each round: a flush may leave messages on the socket of the old one."""
    samples = {}
    for _ in range(settings.flush_rounds):
        place.start_kex_again()
        printed = place.program("flush_client", settings.entries, "eth1", table)
        for name, values in json.loads(printed).items():
            samples.setdefault(name, []).extend(values)
    return samples


def flushes(settings):
    with Place(settings) as place:
        place.add_veth("eth1", "eth2")
        for link in ("eth1", "eth2"):
            place.run("ip", "link", "set", link, "up")
        place.start_daemon()
        for table in ("addresses", "routes", "neighbours"):
            samples = _rounds(settings, place, table)
            details = {name: samples[name] for name in ("calls", "left")}
            work = (f"{settings.entries} {table}, flushed in "
                    f"{statistics.median(samples['calls']):g} calls")
            if any(samples["left"]):
                work += f", {max(samples['left']):g} left"
            yield Line(7, work, samples["kex"], "ip", samples["ip"], target=times_faster(1),
                       details=details)
            yield Line(7, work, samples["kex"], "bare dump and delete loop", samples["loop"],
                       target=at_most(1.2))
