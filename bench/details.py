"""What is worth knowing beside the numbered table."""

from pathlib import Path

import text
from rounds import GROWTH, LARGE, LOADS, SIZES, SMALL
from servers import WORK


def shown(figures, key, unit, per=1):
    value = figures.median(key)
    return "?" if value is None else unit(value / per)


def load_lines(figures):
    rows = [f"\nRequests to {SMALL} objects",
            ("", "", "rate", "p50", "p99", "CPU of server")]
    for name, (_, others) in LOADS.items():
        for server in ("daemon", *others):
            rows.append((name, server, shown(figures, (name, server, "rate"), text.rate),
                         *(shown(figures, (name, server, what), text.seconds)
                           for what in ("p50", "p99", "cpu"))))
    return text.table(rows, "<<>>>>")


def growth_lines(figures):
    rows = ["\nThe time to the answer over the Unix socket", ("", "objects", "p50", "p99", "CPU")]
    for work in GROWTH:
        for objects in (10_000, LARGE):
            for size in (f"{SMALL} beside {objects}", objects):
                label = size if isinstance(size, str) else f"{size:,}"
                rows.append((work, label, *(shown(figures, (work, size, what), text.seconds)
                                            for what in ("p50", "p99", "cpu"))))
    return text.table(rows, "<>>>>")


def save_lines(figures):
    """The text is made once more by itself; what writing it takes is the difference."""
    rows = ["\nSaving, for each object, and both syncs of the file as a whole",
            ("objects", "text", "write", "verify", "S", "P", "syncs")]
    for objects in SIZES[1:]:
        parts = [figures.median(("save", objects, part)) for part in ("text", "text_and_write")]
        write = "?" if None in parts else text.seconds(max(parts[1] - parts[0], 0) / objects)
        rows.append((f"{objects:,}",
                     shown(figures, ("save", objects, "text"), text.seconds, objects), write,
                     shown(figures, ("save", objects, "verify"), text.seconds, objects),
                     shown(figures, ("save_tree", objects), text.seconds, objects),
                     shown(figures, ("parse_file", objects), text.seconds, objects),
                     shown(figures, ("save", objects, "syncs"), text.seconds)))
    return text.table(rows, ">>>>>>>")


def other_lines(figures):
    rows = ["\nBesides",
            (f"memory of each of {LARGE:,} in use", shown(figures, "in use", text.size, LARGE))]
    for objects in (SMALL, LARGE):
        rows.append((f"change set on {objects:,}, made and deleted",
                     shown(figures, ("changes_new", objects), text.seconds)))
    return text.table(rows, "<>")


def file_system_of(path):
    """The type of the file system that a path is on."""
    mounts = [line.split()[1:3] for line in Path("/proc/self/mounts").read_text().splitlines()]
    above = [(point, kind) for point, kind in mounts
             if Path(path).is_relative_to(point)]
    return max(above, key=lambda mount: len(mount[0]))[1]


def build_type(build):
    for line in (build / "CMakeCache.txt").read_text().splitlines():
        if line.startswith("CMAKE_BUILD_TYPE:"):
            return line.partition("=")[2]
    return "?"


def notes(build, plan, elapsed):
    kind = file_system_of(WORK)
    disk = "which has no disk: a sync costs next to nothing" if kind == "tmpfs" else "a disk"
    return f"""
Medians of {plan.rounds} rounds; "now" is the median of the ratios within each round.
{elapsed:.0f} s on one processor; load average at the end: {Path("/proc/loadavg").read_text()[:4]}.
The daemon is {build.name}/vesk ({build_type(build)}), that of row 16 the release build.
E echoes; X also parses the request, builds the answer as a tree and writes it; P parses and frees
the file; S writes the ready tree into a file; T builds, writes and frees the answer as a tree.
Rows 1 to 5 and 15b are time at the socket. Row 9 is processor time of the daemon, kernel included,
with its whole answer compared with T's. Rows 6, 8, 10, 11, 12a and 13 are processor time within a
process. Row 8 asks in every class for another property; it includes the request.
Row 13 ends unverified in front of the first sync and verified at the end. Syncs are left out; the
files are on {kind}, {disk}.
Rows 12b and 14: "held" is what is resident behind the start, less what it is without objects; so
is the peak. Row 7 is the largest of five; free memory is given back to the system before each,
because a daemon that has much of it free could copy everything and show nothing. "In use" is what
is resident then, less the same.
Row 15b is the fastest of {plan.starts} starts in a round."""


def lines(figures, build, plan, elapsed):
    yield from load_lines(figures)
    yield from growth_lines(figures)
    yield from save_lines(figures)
    yield from other_lines(figures)
    yield notes(build, plan, elapsed)
