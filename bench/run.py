"""Runs all benchmarks, in rounds, and prints one table.

Runs inside the sandbox, on one processor: run.py BUILD_DIR RELEASE_DAEMON [--quick]. Every figure
is the median of the rounds. A ratio is the median of what the figure was in each round to its
baseline in the same round, so that a machine that slows down for a while slows down both.
"""

import json
import os
import shutil
import signal
import socket
import statistics
import struct
import subprocess
import sys
import time
from collections import defaultdict
from pathlib import Path

from make_config import write_config

ROUNDS = 5
SMALL = 100  # the objects of a device
WORK = Path("/tmp/bench")
STARTUP_FILE = Path("/etc/config/config.xml")
SERVICES = (Path("/usr/sbin/tkmigrate"), Path("/usr/sbin/version"))
CONSOLE = Path("/dev/console")
OUTPUT = WORK / "output"  # of the server that was started last
PATIENCE = 60  # seconds; far more than any start or stop takes

LOADS = (
    ("select of one, Unix, a connection each", ("unix", "1", "select")),
    ("select of one, TCP, one connection", ("tcp", "1", "select")),
    ("select of one, Unix, 8 clients", ("unix", "8", "select")),
    ("select of one, TCP, 8 clients", ("tcp", "8", "select")),
    ("update in a transaction, Unix", ("unix", "1", "update")),
)
SERVERS = ("E", "X", "daemon")


class Plan:
    """How much is measured."""

    def __init__(self, quick):
        self.sizes = (100, 1_000, 10_000) if quick else (100, 1_000, 10_000, 100_000)
        self.largest = self.sizes[-1]
        self.min_time = 0.02 if quick else 0.1  # of each micro-benchmark, in seconds
        self.load_seconds = 0.2 if quick else 0.7


# ------------------------------------------------------------------------------------------------
# Servers

def config_file(objects):
    return WORK / f"config-{objects}.xml"


def make_files(plan):
    WORK.mkdir()
    for objects in (0, *plan.sizes):
        with open(config_file(objects), "w") as file:
            write_config(file.write, objects)
    STARTUP_FILE.parent.mkdir()
    for service in SERVICES:
        service.symlink_to("/bin/true")


def is_listening():
    """Whether the local socket, which is opened last, takes connections."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as client:
        return client.connect_ex(b"\0vesk_sock_lsql".ljust(108, b"\0")) == 0


def answer_to(request):
    """The daemon's answer to a request over the local socket."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as client:
        client.connect(b"\0vesk_sock_lsql".ljust(108, b"\0"))
        client.sendall(struct.pack("=I", len(request)) + request.encode())
        received = b""
        while block := client.recv(65536):
            received += block
        return received.decode()


class Server:
    """A running server; start_seconds is how long it took to listen."""

    def __init__(self, command):
        start = time.monotonic()
        with open(OUTPUT, "w") as output:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output,
                                            stderr=output, start_new_session=True)
        while not is_listening():
            if self.process.poll() is not None or time.monotonic() > start + PATIENCE:
                sys.exit(f"{command} does not listen:\n" + OUTPUT.read_text(errors="replace")
                         + CONSOLE.read_text(errors="replace"))
            time.sleep(0.0002)
        self.start_seconds = time.monotonic() - start

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(PATIENCE)
        finally:
            self.process.kill()

    def resident_bytes(self):
        for line in Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) * 1024
        raise ValueError("no VmRSS")


class Rounds:
    """Runs the programs and keeps what each round gave: figures[key] is a list, a value each."""

    def __init__(self, build, plan):
        self.build = build
        self.plan = plan
        self.figures = defaultdict(list)

    def run(self):
        for number in range(ROUNDS):
            print(f"round {number + 1} of {ROUNDS}", file=sys.stderr)
            self.google_benchmark("micro")
            self.google_benchmark("baseline")
            for server in SERVERS:
                self.loads(server)
            self.memory()

    def add(self, key, value):
        self.figures[key].append(value)

    def program(self, name):
        return str(self.build / "bench" / name)

    def daemon(self, objects):
        shutil.copy(config_file(objects), STARTUP_FILE)
        os.truncate(CONSOLE, 0)
        return Server([str(self.build / "vesk"), "-f"])

    def server(self, name):
        if name == "daemon":
            return self.daemon(SMALL)
        return Server([self.program("echo_server"), name])

    def google_benchmark(self, name):
        """Processor time, in seconds, of all benchmarks of a program."""
        output = subprocess.check_output(
            [self.program(name), "--benchmark_format=json",
             f"--benchmark_min_time={self.plan.min_time}", WORK, *map(str, self.plan.sizes)])
        for result in json.loads(output)["benchmarks"]:
            if result.get("error_occurred"):
                sys.exit(f"{result['name']}: {result['error_message']}")
            benchmark, _, manual = result["name"].partition("/manual_time")
            time_name = "real_time" if result["name"] != benchmark else "cpu_time"
            unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}[result["time_unit"]]
            self.add(benchmark, result[time_name] * unit)

    def loads(self, name):
        expected = "<lsql>" if name == "E" else "<rc>0</rc><counter>1</counter>"
        with self.server(name) as server:
            self.add(("start", name), server.start_seconds)
            for work, arguments in LOADS:
                output = subprocess.check_output(
                    [self.program("load_client"), *arguments, str(SMALL),
                     str(self.plan.load_seconds), expected], text=True)
                rate, median, p99 = map(float, output.split())
                self.add((work, name, "rate"), rate)
                self.add((work, name, "median"), median / 1e6)
                self.add((work, name, "p99"), p99 / 1e6)

    def memory(self):
        """Bytes per object: of the daemon, and of a tree of the same file."""
        objects = self.plan.largest
        with self.daemon(0) as daemon:
            empty = daemon.resident_bytes()
        with self.daemon(objects) as daemon:
            self.add("memory", (daemon.resident_bytes() - empty) / objects)
            answer = answer_to('<lsql><write-transaction><update><obj1 name="n0"><p0>1</p0></obj1>'
                               "</update></write-transaction></lsql>")
            if "<rc>0</rc>" not in answer:
                sys.exit(f"The update was refused: {answer}")
            self.add("memory after", (daemon.resident_bytes() - empty) / objects)
        tree = subprocess.check_output([self.program("baseline"), "memory", config_file(objects)])
        self.add("tree memory", int(tree) / objects)


# ------------------------------------------------------------------------------------------------
# The table

def seconds_text(seconds):
    for unit, factor in (("s", 1), ("ms", 1e3), ("us", 1e6)):
        if seconds * factor >= 0.9995:
            return f"{seconds * factor:.3g} {unit}"
    return f"{seconds * 1e9:.3g} ns"


def bytes_text(count):
    return f"{count:,.0f} B"


def count_text(count):
    return f"{count:,}"


class Table:
    """The rows: work, figure, baseline, ratio."""

    def __init__(self, figures):
        self.figures = figures
        self.rows = []

    def section(self, title):
        self.rows += [None, (title, "", "", "")]

    def median(self, key, per=1):
        return statistics.median(self.figures[key]) / per

    def ratio(self, key, base):
        pairs = zip(self.figures[key], self.figures[base], strict=True)
        ratio = statistics.median(figure / baseline for figure, baseline in pairs)
        return f"{ratio:,.0f}" if ratio >= 100 else f"{ratio:.2f}"

    def row(self, work, key, base, *, per=1, text=seconds_text, base_name=""):
        base_text = text(self.median(base, per))
        self.rows.append((work, text(self.median(key, per)), f"{base_name} {base_text}".strip(),
                          self.ratio(key, base)))

    def load_row(self, work, base):
        measures = ("rate", "median", "p99")

        def describe(name):
            return (f"{self.median((work, name, 'rate')):,.0f}/s "
                    f"{seconds_text(self.median((work, name, 'median')))} "
                    f"{seconds_text(self.median((work, name, 'p99')))}")
        ratios = " / ".join(self.ratio((work, "daemon", m), (work, base, m)) for m in measures)
        self.rows.append((work, describe("daemon"), f"{base}: {describe(base)}", ratios))

    def print(self):
        rows = [("work", "figure", "baseline", "ratio"), *self.rows]
        widths = [max(len(row[i]) for row in rows if row and row[1]) for i in range(4)]
        for row in rows:
            if not row:
                print()
            elif not row[1]:
                print(row[0])
            else:
                print("  ".join([row[0].ljust(widths[0]), *(cell.rjust(width) for cell, width
                                                            in zip(row[1:], widths[1:]))]))


def add_loads(table):
    table.section(f"Requests to {SMALL} objects, against an echo (E) and an echo that parses and "
                  "builds a tree (X): rate, median, p99")
    for work, _ in LOADS:
        for base in ("E", "X"):
            table.load_row(work, base)


def add_growth(table, plan):
    table.section(f"Growth with the number of objects, against {plan.sizes[0]}")
    for work, name in (("select of one", "select_one"),
                       ("update in a transaction", "update_transaction"),
                       ("passive update", "update_passive"), ("insert of one", "insert_one"),
                       ("delete of one", "delete_one"), ("change set", "changes_new")):
        for objects in plan.sizes[1:]:
            table.row(f"{work}, {count_text(objects)}", f"{name}/{objects}",
                      f"{name}/{plan.sizes[0]}")


def add_bulk(table, plan):
    table.section("Per object, against a scan by hand, a bare tree and bare parsing")
    for objects in plan.sizes[1:]:
        table.row(f"where without a match, {count_text(objects)}", f"where_scan/{objects}",
                  f"scan_by_hand/{objects}", per=objects, base_name="hand")
    for work, name, base, base_name in (
            ("select of 1,000 of", "select_thousand", "result_thousand", "tree"),
            ("insert of 1,000 into", "insert_thousand", "parse_insert_thousand", "parse")):
        for objects in plan.sizes[1:]:
            table.row(f"{work} {count_text(objects)}", f"{name}/{objects}", base, per=1000,
                      base_name=base_name)


def add_files(table, plan):
    table.section("Files, against bare parsing and bare saving of a ready tree")
    for work, name, base in (("load", "load", "parse_file"), ("save, checked", "save", "save_tree"),
                             ("text alone", "config_text", "save_tree")):
        for objects in plan.sizes[1:]:
            table.row(f"{work}, {count_text(objects)}", f"{name}/{objects}", f"{base}/{objects}",
                      base_name=base.partition("_")[0])


def add_process(table, plan, sizes):
    table.section("The process")
    of = f"of {count_text(plan.largest)}"
    table.row(f"memory per object {of}", "memory", "tree memory", text=bytes_text,
              base_name="tree")
    table.row("the same after a transaction", "memory after", "tree memory", text=bytes_text,
              base_name="tree")
    table.row(f"start to listening, {SMALL} objects", ("start", "daemon"), ("start", "E"),
              base_name="E")
    daemon, release = sizes
    if release:
        table.figures.update({"release": [release], "this build": [daemon]})
        table.row("release daemon, stripped", "release", "this build", text=bytes_text,
                  base_name="this build")
    else:
        table.rows.append(("release daemon, stripped", "not built",
                           f"this build {bytes_text(daemon)}", "-"))


def stripped_size(program):
    stripped = WORK / "stripped"
    subprocess.run(["strip", "-o", stripped, program], check=True)
    return stripped.stat().st_size


def main(build, release, quick):
    plan = Plan(quick)
    start = time.monotonic()
    make_files(plan)
    rounds = Rounds(build, plan)
    rounds.run()
    table = Table(rounds.figures)
    add_loads(table)
    add_growth(table, plan)
    add_bulk(table, plan)
    add_files(table, plan)
    add_process(table, plan, (stripped_size(build / "vesk"),
                              stripped_size(release) if release.exists() else 0))
    table.print()
    print(f"\nMedians of {ROUNDS} rounds, {time.monotonic() - start:.0f} s, one processor; times "
          "but for requests and start are processor time.")


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]), "--quick" in sys.argv[3:])
