"""Measures everything, in rounds, and keeps the figures."""

import filecmp
import json
import random
import statistics
import subprocess
import sys
import time
from contextlib import ExitStack

from servers import (WORK, Failure, Process, Server, answer_to, config_file, give_memory_back,
                     output_of, use_startup_file)

SMALL = 100  # the objects of a device
SIZES = (100, 1_000, 10_000, 100_000)
LARGE = SIZES[-1]
THOUSAND = 1000

# name: the arguments of load_client, and the echo servers beside the daemon
LOADS = {
    "select, Unix": (("unix", 1, "select"), ("E", "X")),
    "select, TCP": (("tcp", 1, "select"), ("E", "X")),
    "select, Unix, 8": (("unix", 8, "select"), ("E",)),
    "select, TCP, 8": (("tcp", 8, "select"), ("E",)),
    "update, Unix": (("unix", 1, "update"), ("E",)),
}
GROWTH = {"select": ("unix", 1, "select"), "update": ("unix", 1, "update")}

# Benchmarks of micro, and those of baseline that run right behind them, at the sizes where they
# count.
EDITS = ("insert_one", "delete_one", "update_passive", "changes_new")
SCANS = ("where_scan", "scan_by_hand")
IN_PROCESS = (
    (EDITS, (), (SMALL, LARGE)),
    (SCANS, (), (10_000, LARGE)),
    (("insert_thousand",), ("parse_insert_thousand",), (SMALL, LARGE)),
    (("load",), ("parse_file",), SIZES),
    (("save",), ("save_tree",), SIZES[1:]),
)


class Plan:
    """How much is measured."""

    def __init__(self, quick):
        self.rounds = 2 if quick else 5
        self.slices = 1 if quick else 3  # of what is quickly measured against another, in a round
        self.load_seconds = 0.1 if quick else 0.25  # of each slice of a load
        self.min_time = 0.02 if quick else 0.05  # of each benchmark in a process, in seconds
        self.starts = 5 if quick else 10  # in a round


class Figures:
    """What was measured: for each key, in each round, one value or several."""

    def __init__(self, rounds):
        self.rounds = rounds
        self.values = {}
        self.failures = []

    def add(self, number, key, value):
        self.values.setdefault(key, [[] for _ in range(self.rounds)])[number].append(value)

    def by_round(self, key):
        """A list for each round; all empty for a key that some round gave no value for."""
        in_rounds = self.values.get(key, [])
        return in_rounds if in_rounds and all(in_rounds) else [[]] * self.rounds

    def of(self, key):
        return [value for values in self.by_round(key) for value in values]

    def median(self, key):
        values = self.of(key)
        return statistics.median(values) if values else None


class Rounds:
    """Runs the programs. A step that fails leaves nothing, and the others go on."""

    def __init__(self, build, release, plan):
        self.build = build
        self.release = release
        self.plan = plan
        self.figures = Figures(plan.rounds)
        self.pending = []

    def run(self):
        for number in range(self.plan.rounds):
            print(f"round {number + 1} of {self.plan.rounds}", file=sys.stderr)
            for what, step, *arguments in self.steps():
                self.attempt(number, what, step, arguments)

    def steps(self):
        for measured, baselines, sizes in IN_PROCESS:
            for objects in sizes:
                yield (f"{', '.join(measured)} at {objects:,}", self.in_process, measured,
                       baselines, objects)
        for objects in SIZES[1:]:
            yield f"comparing what was saved, {objects:,}", self.compare_saved, objects
        for name in LOADS:
            yield name, self.load, name
        for objects in (10_000, LARGE):
            yield f"growth to {objects:,}", self.growth, objects
            yield f"select of 1,000 of {objects:,}", self.thousand, objects
        yield "memory", self.memory
        yield "memory of nothing", self.idle
        yield "start", self.start
        yield "size", self.size

    def attempt(self, number, what, step, arguments):
        self.pending = []
        try:
            step(*arguments)
        except (Failure, OSError, subprocess.SubprocessError, ValueError, KeyError) as error:
            failure = f"round {number + 1}, {what}: {error}"
            print(failure, file=sys.stderr)
            self.figures.failures.append(failure)
            return
        for key, value in self.pending:
            self.figures.add(number, key, value)

    def add(self, key, value):
        self.pending.append((key, value))

    def program(self, name):
        return self.build / "bench" / name

    def daemon(self, objects):
        use_startup_file(objects)
        return Server("daemon", [self.build / "vesk", "-f"])

    def echo(self, name):
        return Server(name, [self.program("echo_server"), name])

    # --------------------------------------------------------------------------------------------
    # In a process of the benchmarks, in seconds of processor time

    def in_process(self, measured, baselines, objects):
        """With baselines the two take turns, unless it is long to load what is measured."""
        for _ in range(self.plan.slices if baselines and objects < LARGE else 1):
            self.google_benchmark("micro", measured, objects)
            if baselines:
                self.google_benchmark("baseline", baselines, objects)

    def google_benchmark(self, program, names, objects):
        output = output_of(self.program(program), "--benchmark_format=json",
                           f"--benchmark_min_time={self.plan.min_time}",
                           f"--benchmark_filter=^({'|'.join(names)})(/|$)", WORK, objects)
        results = json.loads(output)["benchmarks"]
        if len(results) != len(names):
            raise Failure(f"{program} has not all of {', '.join(names)}")
        for result in results:
            self.keep(result, objects)

    def keep(self, result, objects):
        if result.get("error_occurred"):
            raise Failure(f"{result['name']}: {result['error_message']}")
        name = result["name"].split("/")[0]
        is_manual = result["name"].endswith("/manual_time")
        unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}[result["time_unit"]]
        self.add((name, objects), result["real_time" if is_manual else "cpu_time"] * unit)
        for part in ("text", "text_and_write", "verify", "syncs"):
            if part in result:
                self.add((name, objects, part), result[part])

    def compare_saved(self, objects):
        file = config_file(objects)
        self.add(("saved alike", objects), filecmp.cmp(f"{file}.saved", f"{file}.tree", False))
        for suffix in ("saved", "tree"):  # the next round is to write its own
            (WORK / f"{file.name}.{suffix}").unlink()

    # --------------------------------------------------------------------------------------------
    # At the sockets

    def client(self, name, server, arguments, objects, expected):
        """One slice of a load: rate, p50, p99 and the processor time of the server for each."""
        transport, clients, work = arguments
        output = output_of(self.program("load_client"), name, server.pid, transport, clients, work,
                           objects, self.plan.load_seconds, expected)
        rate, p50, p99, cpu = map(float, output.split())
        return {"rate": rate, "p50": p50 / 1e6, "p99": p99 / 1e6, "cpu": cpu / 1e6}

    def load(self, name):
        """The servers take turns, so that they meet the same machine."""
        arguments, others = LOADS[name]
        with ExitStack() as running:
            servers = {"daemon": running.enter_context(self.daemon(SMALL))}
            for other in others:
                servers[other] = running.enter_context(self.echo(other))
            for _ in range(self.plan.slices):
                for server_name, server in servers.items():
                    expected = "<lsql>" if server_name == "E" else "<rc>0</rc><counter>1</counter>"
                    measured = self.client(server_name, server, arguments, SMALL, expected)
                    for what, value in measured.items():
                        self.add((name, server_name, what), value)

    def slices(self, objects):
        """Of each work that may not grow, the time to the answer at so many objects."""
        with self.daemon(objects) as daemon:
            found = {}
            for work, arguments in GROWTH.items():
                several = [self.client("daemon", daemon, arguments, objects,
                                       "<rc>0</rc><counter>1</counter>")
                           for _ in range(self.plan.slices)]
                found[work] = {what: statistics.median(one[what] for one in several)
                               for what in ("p50", "p99", "cpu")}
            return found

    def growth(self, objects):
        """The small configuration before and behind the large one."""
        before, large, behind = map(self.slices, (SMALL, objects, SMALL))
        for work in GROWTH:
            for what, value in large[work].items():
                small = (before[work][what] + behind[work][what]) / 2
                self.add((work, objects, what), value)
                self.add((work, f"{SMALL} beside {objects}", what), small)

    def thousand(self, objects):
        expected = output_of(self.program("baseline"), "answer")
        with self.daemon(objects) as daemon:
            answer = answer_to('<lsql><select><obj0 properties="all"/></select></lsql>')
            self.add(("answered alike", objects), answer == expected)
            for _ in range(self.plan.slices):
                measured = self.client("daemon", daemon, ("unix", 1, "thousand"), objects,
                                       f"<rc>0</rc><counter>{THOUSAND}</counter>")
                self.add(("thousand", objects), measured["cpu"])
                self.google_benchmark("baseline", ("result_thousand",), objects)

    # --------------------------------------------------------------------------------------------
    # The process

    def memory(self):
        """Of the daemon, less what it takes without objects."""
        with self.daemon(0) as daemon:
            time.sleep(0.1)
            empty = daemon.resident_bytes()
        with self.daemon(LARGE) as daemon:
            peak = daemon.peak_bytes() - empty
            time.sleep(0.1)
            held = daemon.resident_bytes() - empty
            self.add("held", held)
            self.add("held each", held / LARGE)
            self.add("loading peak", peak)
            peaks = [self.peak_of_update(daemon) for _ in range(5)]
            self.add("transaction peak", max(peaks))
            give_memory_back()
            self.add("in use", daemon.resident_bytes() - empty)
        tree = output_of(self.program("baseline"), "memory", config_file(LARGE))
        self.add("tree each", int(tree) / LARGE)

    @staticmethod
    def peak_of_update(daemon):
        """What an update of one value needs at its height, beyond what is in use before."""
        cls, number = random.randrange(1, 5), random.randrange(LARGE // 5)
        value = random.randrange(10**12)
        give_memory_back()
        daemon.forget_peak()
        before = daemon.peak_bytes()
        answer = answer_to(f'<lsql><write-transaction><update><obj{cls} name="n{number}">'
                           f"<p0>{value:012}</p0></obj{cls}></update></write-transaction></lsql>")
        if b"<rc>0</rc><counter>1</counter>" not in answer:
            raise Failure(f"the update was answered {answer}")
        return daemon.peak_bytes() - before

    def idle(self):
        with Process([self.program("empty_program")], stdout=subprocess.PIPE) as empty:
            empty.process.stdout.readline()
            self.add("empty program", empty.resident_bytes())
        with self.daemon(0) as daemon:
            time.sleep(0.1)
            self.add("idle", daemon.resident_bytes())

    def start(self):
        """The fastest of several: whatever else goes on can only make a start longer."""
        use_startup_file(SMALL)
        commands = {"daemon": (self.build / "vesk", "-f"), "E": (self.program("echo_server"), "E")}
        taken = [{name: float(output_of(self.program("start_time"), name, *command))
                  for name, command in commands.items()} for _ in range(self.plan.starts)]
        for name in commands:
            self.add(("start", name), min(one[name] for one in taken))

    def size(self):
        self.add(("size", "this build"), stripped_size(self.build / "vesk"))
        self.add(("size", "release"), stripped_size(self.release))


def stripped_size(program):
    stripped = WORK / "stripped"
    output_of("strip", "-o", stripped, program)
    return stripped.stat().st_size
