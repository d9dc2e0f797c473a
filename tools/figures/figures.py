# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The figures of the page: each is a table, a picture, or both, of the results."""

from collections.abc import Callable
from dataclasses import dataclass

from . import words
from .plots import Bars, Lines, Plot
from .records import Key, Results, Spread

SPEEDS = ("9600", "38400", "115200")
BUILDS = {"spinning": "quorra.so", "sleeping": "waits that sleep"}
CALLS = {"spinning": "spinning calls", "sleeping": "sleeping calls"}
LIBRARIES = ("quorra", "OpenSSL", "libgcrypt", "nettle")
LINE = 115200.0
BITS = 11


def exchange_table(results: Results) -> list[str]:
    rows = []
    for build, name in BUILDS.items():
        ours = results.key("exchange", line="0", who="quorra", build=build)
        floor = results.key("exchange", line="0", who=CALLS[build], build=build)
        modbus = results.key("exchange", line="0", who="libmodbus", build=build)
        rows.append([name, *(words.time(results.spread(key)) for key in (ours, floor, modbus)),
                     words.with_spread(results.ratio(ours, floor)),
                     words.with_spread(results.ratio(ours, modbus))])
    return words.table(["Library", "Exchange", "Bare calls", "libmodbus", "Beside bare calls",
                        "Beside libmodbus"], rows)


def exchange_plot(results: Results) -> Plot:
    shown: dict[str, Spread] = {}
    for build, name in BUILDS.items():
        calls = CALLS[build]
        shown[calls] = results.spread(results.key("exchange", line="0", who=calls, build=build)).times(1e6)
        shown[name] = results.spread(results.key("exchange", line="0", who="quorra", build=build)).times(1e6)
    shown["libmodbus"] = results.spread(
        results.key("exchange", line="0", who="libmodbus", build="sleeping")).times(1e6)
    return Bars("microseconds", list(shown), {"exchange": list(shown.values())})


def paced_table(results: Results) -> list[str]:
    rows = []
    for speed in SPEEDS:
        for build, name in BUILDS.items():
            for who, title in (("quorra", name), (CALLS[build], f"bare calls, {build}"),
                               *[("libmodbus", "libmodbus")] * (build == "sleeping")):
                labels = {"line": speed, "who": who, "build": build}
                time, share, work = (results.key(figure, **labels) for figure in
                                     ("exchange", "exchange line", "exchange processor"))
                rows.append([f"{title} at {int(speed):,}", words.time(results.spread(time)),
                             words.per_cent(results.spread(share)),
                             words.per_cent(results.ratio(work, time))])
    return words.table(["", "Exchange", "Of it, the line is busy", "Of it, a processor is busy"], rows)


def paced_plot(results: Results) -> Plot:
    contestants = [("bare calls, spinning", "spinning calls", "spinning"), ("quorra.so", "quorra", "spinning"),
                   ("bare calls, sleeping", "sleeping calls", "sleeping"),
                   ("waits that sleep", "quorra", "sleeping"), ("libmodbus", "libmodbus", "sleeping")]
    return Bars("part of the time the line is busy, %", [f"{int(speed):,}" for speed in SPEEDS],
                {title: [results.spread(results.key("exchange line", line=speed, who=who, build=build)).times(100)
                         for speed in SPEEDS] for title, who, build in contestants})


def _transfers(results: Results) -> list[Key]:
    return results.keys("line use", build="spinning")


def line_use_table(results: Results) -> list[str]:
    rows = []
    for key in _transfers(results):
        labels = {"kind": key["kind"], "what": key["what"]}
        count = results.spread(results.key("line bytes", build="spinning", **labels))
        rows.append([f"{key['kind']}, {key['what']}", words.count(count),
                     *(words.per_cent(results.spread(results.key("line use", build=build, **labels)))
                       for build in BUILDS)])
    return words.table(["Card", "Bytes on the line", *BUILDS.values()], rows)


def line_use_plot(results: Results) -> Plot:
    keys = _transfers(results)
    return Bars("part of the time the line is busy, %", [f"{key['kind']} {key['what']}" for key in keys],
                {name: [results.spread(results.key("line use", build=build, kind=key["kind"],
                                                   what=key["what"])).times(100) for key in keys]
                 for build, name in BUILDS.items()}, slanted=True, height=480)


def count_table(results: Results) -> list[str]:
    rows = []
    for count in results.choices("bytes", "count"):
        ours, floor, whole = (results.key("count", build="spinning", bytes=count, who=who)
                              for who in ("quorra", "spinning calls", "virtual reader"))
        rows.append([f"{int(count):,}", *(words.time(results.spread(key)) for key in (floor, ours, whole)),
                     words.with_spread(results.ratio(ours, floor)),
                     words.with_spread(results.ratio(whole, floor))])
    return words.table(["Bytes", "Bare calls", "quorra.so", "With the virtual reader", "Library beside calls",
                        "All beside calls"], rows)


def count_plot(results: Results) -> Plot:
    def line(who: str, build: str) -> list[tuple[float, Spread]]:
        return [(float(count), results.spread(results.key("count", build=build, bytes=count, who=who)))
                for count in results.choices("bytes", "count")]

    return Lines("bytes read", "time", {
        "bare calls": line("spinning calls", "spinning"),
        "quorra.so": line("quorra", "spinning"),
        "quorra.so, virtual reader": line("virtual reader", "spinning"),
        "waits that sleep": line("quorra", "sleeping"),
    }, logarithmic="xy", unit="s")


def _rates(results: Results, line: str, build: str) -> list[tuple[str, Key]]:
    return [(key["processes"], key) for key in results.keys("processes", line=line, build=build)]


def processes_table(results: Results) -> list[str]:
    rows = []
    for count, _ in _rates(results, "0", "spinning"):
        cells = [count]
        for line in ("0", "115200"):
            for build in BUILDS:
                cells.append(words.count(results.spread(
                    results.key("processes", line=line, build=build, processes=count))))
        rows.append(cells)
    return words.table(["Processes", "quorra.so, unpaced", "Waits that sleep, unpaced", "quorra.so, 115,200",
                        "Waits that sleep, 115,200"], rows)


def processes_plot(results: Results) -> Plot:
    series = {}
    for build, name in BUILDS.items():
        series[name] = [(float(count), results.spread(key)) for count, key in _rates(results, "115200", build)]
    # 12 bytes of request and 25 of reply.
    alone = LINE / BITS / (12 + 25)
    series["what the lines can carry"] = [(x, Spread(x * alone, x * alone, x * alone))
                                          for x, _ in series[BUILDS["spinning"]]]
    return Lines("processes", "exchanges in a second, at 115,200", series, dashed={"what the lines can carry"})


def des_table(results: Results) -> list[str]:
    rows = []
    for size in results.choices("bytes", "des"):
        keys = {who: results.key("des", bytes=size, who=who) for who in LIBRARIES}
        rate = words.with_spread(_rate(results, keys["quorra"]))
        rows.append([f"{int(size):,}", rate,
                     *(words.with_spread(results.ratio(keys[who], keys["quorra"])) for who in LIBRARIES[1:])])
    return words.table(["Bytes", "quorra.so, MB/s", *(f"Times as fast as {who}" for who in LIBRARIES[1:])], rows)


def _rate(results: Results, key: Key) -> Spread:
    """Megabytes in a second, of nanoseconds for a call."""
    spread = results.spread(key)
    size = float(key["bytes"]) * 1000
    return Spread(size / spread.middle, size / spread.high, size / spread.low)


def des_plot(results: Results) -> Plot:
    return Lines("bytes in a call", "million bytes in a second", {
        {"quorra": "quorra.so"}.get(who, who):
            [(float(key["bytes"]), _rate(results, key)) for key in results.keys("des", who=who)]
        for who in LIBRARIES}, logarithmic="xy")


def size_table(results: Results) -> list[str]:
    rows = []
    for what in results.choices("what", "size"):
        ours, theirs = (results.key("size", what=what, who=who) for who in ("quorra", "libmodbus"))
        rows.append([what, *(words.count(results.spread(key)) for key in (ours, theirs))])
    load = {who: results.key("load", who=who) for who in ("quorra", "libmodbus", "empty library")}
    rows.append(["loading it", words.time(results.spread(load["quorra"])),
                 words.time(results.spread(load["libmodbus"]))])
    rows.append(["beside an empty library", *(words.with_spread(results.ratio(load[who], load["empty library"]))
                                              for who in ("quorra", "libmodbus"))])
    return words.table(["", "quorra.so", "libmodbus"], rows)


def cost_table(results: Results) -> list[str]:
    rows = []
    for operation in results.choices("operation", "stack"):
        calls = [(key["call"], results.spread(key).middle)
                 for key in results.keys("system calls", operation=operation) if key["call"] != "all"]
        rows.append([operation, *(words.count(results.spread(results.key(figure, operation=operation)))
                                  for figure in ("stack", "allocations")),
                     ", ".join(f"{count:.0f} {name}" for name, count in calls) or "none"])
    return words.table(["Operation", "Bytes of stack", "Allocations", "System calls"], rows)


def request_table(results: Results) -> list[str]:
    rows = []
    for kind in results.choices("kind", "request"):
        read, write = (results.key("request", kind=kind, what=what) for what in ("read", "write"))
        # Either way one frame has the data, and 17 or 15 bytes are without.
        line = (float(read["bytes"]) + 17) * BITS / LINE
        share = results.spread(read).times(1 / line)
        rows.append([kind, read["bytes"], *(words.time(results.spread(key)) for key in (read, write)),
                     words.per_cent(share)])
    return words.table(["Card", "Bytes", "Read", "Write", "Read, of the line's time at 115,200"], rows)


def request_plot(results: Results) -> Plot:
    kinds = results.choices("kind", "request")
    return Bars("microseconds for a request", kinds, {
        what: [results.spread(results.key("request", kind=kind, what=what)).times(1e6) for kind in kinds]
        for what in ("read", "write")})


def image_table(results: Results) -> list[str]:
    rows = []
    for what in ("load", "save"):
        for kind in results.choices("kind", "image"):
            ours, floor = (results.key("image", kind=kind, what=what, who=who)
                           for who in ("virtual reader", "bare calls"))
            rows.append([f"{what} {kind}", f"{int(ours['bytes']):,}",
                         *(words.time(results.spread(key)) for key in (ours, floor)),
                         words.with_spread(results.ratio(ours, floor))])
    return words.table(["Image", "Bytes of file", "Virtual reader", "Bare calls", "Beside them"], rows)


def start_table(results: Results) -> list[str]:
    floor = results.key("start", who="true")
    return words.table(["Program", "Time", "Beside `true`"], [
        [f"`{key['who']}`", words.time(results.spread(key)), words.with_spread(results.ratio(key, floor))]
        for key in results.keys("start")])


def start_plot(results: Results) -> Plot:
    keys = results.keys("start")
    return Bars("milliseconds", [key["who"] for key in keys],
                {"start": [results.spread(key).times(1e3) for key in keys]})


TABLES: dict[str, Callable[[Results], list[str]]] = {
    "exchange": exchange_table, "paced": paced_table, "line-use": line_use_table, "count": count_table,
    "processes": processes_table, "des": des_table, "size": size_table, "cost": cost_table,
    "request": request_table, "image": image_table, "start": start_table,
}

PLOTS: dict[str, Callable[[Results], Plot]] = {
    "exchange": exchange_plot, "paced": paced_plot, "line-use": line_use_plot, "count": count_plot,
    "processes": processes_plot, "des": des_plot, "request": request_plot, "start": start_plot,
}


@dataclass(frozen=True)
class Comparison:
    """Ours, and what of a neighbour it is set beside."""

    ours: Key
    theirs: Key
    more_is_better: bool = False

    def is_behind(self, results: Results) -> bool:
        ours, theirs = results.spread(self.ours).middle, results.spread(self.theirs).middle
        if self.more_is_better:
            ours, theirs = theirs, ours
        return ours > theirs * words.BEHIND


def comparisons(results: Results) -> dict[str, list[Comparison]]:
    """What is set beside what. For each name at which we are behind, the page has to say why."""
    found: dict[str, list[Comparison]] = {"exchange-calls": [], "exchange-libmodbus": [], "paced-calls": [],
                                          "paced-libmodbus": []}
    for build in BUILDS:
        for who, name in ((CALLS[build], "calls"), ("libmodbus", "libmodbus")):
            found[f"exchange-{name}"].append(Comparison(
                results.key("exchange", line="0", who="quorra", build=build),
                results.key("exchange", line="0", who=who, build=build)))
            found[f"paced-{name}"] += [Comparison(
                results.key("exchange line", line=speed, who="quorra", build=build),
                results.key("exchange line", line=speed, who=who, build=build), more_is_better=True)
                for speed in SPEEDS]
    found["count-calls"] = [Comparison(
        key, results.key("count", build="spinning", bytes=key["bytes"], who="spinning calls"))
        for key in results.keys("count", build="spinning", who="quorra")]
    found["virtual-calls"] = [Comparison(
        key, results.key("count", build="spinning", bytes=key["bytes"], who="spinning calls"))
        for key in results.keys("count", build="spinning", who="virtual reader")]
    for who in LIBRARIES[1:]:
        found[f"des-{who}"] = [Comparison(key, results.key("des", bytes=key["bytes"], who=who))
                               for key in results.keys("des", who="quorra")]
    found["size-libmodbus"] = [Comparison(key, results.key("size", what=key["what"], who="libmodbus"))
                               for key in results.keys("size", who="quorra")]
    found["load-empty"] = [Comparison(results.key("load", who="quorra"), results.key("load", who="empty library"))]
    found["load-libmodbus"] = [Comparison(results.key("load", who="quorra"), results.key("load", who="libmodbus"))]
    twenty, modbus = "read of 20 bytes", "libmodbus, read of 20 bytes"
    for figure in ("stack", "allocations"):
        found[f"{figure}-libmodbus"] = [Comparison(results.key(figure, operation=twenty),
                                                   results.key(figure, operation=modbus))]
    found["calls-libmodbus"] = [Comparison(results.key("system calls", operation=twenty, call="all"),
                                           results.key("system calls", operation=modbus, call="all"))]
    for what in ("load", "save"):
        found[f"image-{what}"] = [
            Comparison(key, results.key("image", kind=key["kind"], what=what, who="bare calls"))
            for key in results.keys("image", what=what, who="virtual reader")]
    found["start-true"] = [Comparison(key, results.key("start", who="true"))
                           for key in results.keys("start") if key["who"].startswith("quorra")]
    found["start-python"] = [Comparison(key, results.key("start", who="python3 -c pass"))
                             for key in results.keys("start") if key["who"].startswith("quorra")]
    return found
