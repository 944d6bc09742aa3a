"""The numbered table: what was measured, against what, the goal, and whether it is met.

Nothing here is a figure but the goals.
"""

import statistics
from dataclasses import dataclass

import text
from rounds import LARGE, SIZES, SMALL, THOUSAND

RELATIONS = {"<=": lambda value: value <= 1, ">=": lambda value: value >= 1}
HEADER = ("", "work", "figure", "baseline", "goal", "now", "verdict")
ALIGN = "<<>><><"


@dataclass
class Row:
    """A figure against a limit: a constant and multiples of baselines, of the same round each."""

    number: str
    work: str
    key: object
    relation: str
    parts: tuple = ()  # of the limit: factor, name of the baseline, its key
    constant: float = 0
    goal: str = ""  # as text, where it is not made from the parts
    unit: object = text.seconds
    per: int = 1  # figure and baselines are divided by it
    base_per: int = 0  # the baselines, where it is another number
    alike: object = None  # the key of comparisons that must all have shown equal bytes
    beside: tuple = ()  # name and key of a figure that is shown as the baseline of a mere constant

    def baselines(self):
        return [(name, key) for _, name, key in self.parts] or [self.beside] * bool(self.beside)

    def quotients(self, figures):
        """Figure by limit; none when something is missing in some round."""
        found = []
        keys = [self.key, *(key for _, _, key in self.parts)]
        for columns in zip(*map(figures.by_round, keys)):
            if not all(columns):
                return []
            if len(set(map(len, columns))) > 1:  # not measured in turns
                columns = [[statistics.median(column)] for column in columns]
            found += [self.quotient(value, bases) for value, *bases in zip(*columns)]
        return found

    def quotient(self, value, bases):
        base_per = self.base_per or self.per
        limit = self.constant + sum(factor * base / base_per
                                    for (factor, _, _), base in zip(self.parts, bases))
        return value / self.per / limit

    def goal_text(self):
        if self.goal:
            return f"{self.relation} {self.goal}"
        return f"{self.relation} " + " + ".join(f"{factor:.2f} {name}".strip()
                                                for factor, name, _ in self.parts)

    def baseline_text(self, figures):
        shown = []
        for name, key in self.baselines():
            value = figures.median(key)
            shown.append("?" if value is None
                         else f"{name} {self.unit(value / (self.base_per or self.per))}")
        return " ".join(shown).strip() or "-"

    def now_text(self, quotient):
        """Against one baseline: the factor that is reached. Else how many times the goal."""
        if len(self.parts) == 1 and not self.constant:
            factor, name, _ = self.parts[0]
            if self.goal.endswith("%"):
                return f"{100 * quotient * factor:.3g} %"
            return f"{text.ratio(quotient * factor)} {name or 'x'}"
        return f"{text.ratio(quotient)} x goal"

    def cells(self, figures):
        quotients = self.quotients(figures)
        if not quotients:
            shown, now, verdict = "NOT MEASURED", "", "MISSED"
        else:
            quotient = statistics.median(quotients)
            shown = self.unit(figures.median(self.key) / self.per)
            now = self.now_text(quotient)
            verdict = "ok" if RELATIONS[self.relation](quotient) else "MISSED"
        if self.alike:
            comparisons = figures.of(self.alike)
            if not comparisons:
                verdict = "MISSED: bytes not compared"
            elif not all(comparisons):
                verdict = "MISSED: BYTES DIFFER"
        return (self.number, self.work, shown, self.baseline_text(figures), self.goal_text(), now,
                verdict)


def letters():
    return iter("abcdefghijklmnopqrstuvwxyz")


def load_row(number, work, name, relation_to, factor):
    return Row(number, work, (name, "daemon", "rate"), ">=",
               ((factor, relation_to, (name, relation_to, "rate")),), unit=text.rate)


def load_rows():
    return [
        load_row("1a", "select of 1, Unix, a connection each", "select, Unix", "E", 0.82),
        load_row("1b", "select of 1, Unix, a connection each", "select, Unix", "X", 1.05),
        load_row("2a", "select of 1, TCP, one connection", "select, TCP", "E", 0.80),
        load_row("2b", "select of 1, TCP, one connection", "select, TCP", "X", 1.15),
        load_row("3a", "select of 1, Unix, 8 clients", "select, Unix, 8", "E", 0.80),
        load_row("3b", "select of 1, TCP, 8 clients", "select, TCP, 8", "E", 0.75),
        load_row("4", "update in a transaction, Unix", "update, Unix", "E", 0.80),
    ]


def growth_rows():
    rows = []
    works = (("select", "select of 1"), ("update", "update in a transaction"))
    pairs = [(work, name, objects, factor) for work, name in works
             for objects, factor in ((10_000, 1.10), (LARGE, 1.25))]
    for letter, (work, name, objects, factor) in zip(letters(), pairs):
        rows.append(Row(f"5{letter}", f"p50 of {name}, {objects:,}", (work, objects, "p50"), "<=",
                        ((factor, "", (work, f"{SMALL} beside {objects}", "p50")),),
                        goal=f"{factor:.2f} x at {SMALL}"))
    for letter, (name, key) in zip(letters(), (("insert of 1", "insert_one"),
                                               ("delete of 1", "delete_one"),
                                               ("passive update of 1", "update_passive"))):
        rows.append(Row(f"6{letter}", f"{name}, {LARGE:,}", (key, LARGE), "<=",
                        ((1.5, "", (key, SMALL)),), goal=f"1.50 x at {SMALL}"))
    rows.append(Row("7", f"peak of an update's transaction, {LARGE:,}", "transaction peak", "<=",
                    ((0.01, "in use", "in use"),), goal="1 %", unit=text.size))
    return rows


def bulk_rows():
    rows = []
    for letter, objects in zip(letters(), (10_000, LARGE)):
        rows.append(Row(f"8{letter}", f"where without a match, each of {objects:,}",
                        ("where_scan", objects), "<=", constant=60e-9, goal="60 ns", per=objects,
                        beside=("by hand", ("scan_by_hand", objects))))
    for letter, objects in zip(letters(), (10_000, LARGE)):
        rows.append(Row(f"9{letter}", f"select of 1,000 of {objects:,}, CPU of server, each",
                        ("thousand", objects), "<=", ((0.20, "T", ("result_thousand", objects)),),
                        per=THOUSAND, alike=("answered alike", objects)))
    for letter, objects in zip(letters(), (SMALL, LARGE)):
        rows.append(Row(f"10{letter}", f"insert of 1,000 into {objects:,}, each",
                        ("insert_thousand", objects), "<=",
                        ((1.4, "parse", ("parse_insert_thousand", objects)),), per=THOUSAND))
    return rows


def file_rows():
    rows = []
    letter = letters()
    for objects in SIZES[1:]:
        rows.append(Row(f"11{next(letter)}", f"load of {objects:,}, each", ("load", objects), "<=",
                        ((0.50, "P", ("parse_file", objects)),), per=objects))
    rows.append(Row(f"11{next(letter)}", f"load of {LARGE:,} against {1000:,}, each",
                    ("load", LARGE), "<=", ((1.3, "", ("load", 1000)),), goal="1.30 x at 1,000",
                    per=LARGE, base_per=1000))
    rows.append(Row("12a", f"load of {SMALL}, each", ("load", SMALL), "<=",
                    ((0.65, "P", ("parse_file", SMALL)),), per=SMALL))
    rows.append(Row("12b", f"peak memory of loading {LARGE:,}", "loading peak", "<=",
                    ((1.3, "held", "held"),), unit=text.size))
    letter = letters()
    for objects in SIZES[1:]:
        saved = ("save_tree", objects)
        rows.append(Row(f"13{next(letter)}", f"save of {objects:,}, unverified, each",
                        ("save", objects, "text_and_write"), "<=", ((0.30, "S", saved),),
                        per=objects, alike=("saved alike", objects)))
    for objects in SIZES[1:]:
        saved = ("save_tree", objects)
        rows.append(Row(f"13{next(letter)}", f"save of {objects:,}, verified, each",
                        ("save", objects), "<=",
                        ((0.30, "S", saved), (0.50, "P", ("parse_file", objects))),
                        per=objects, alike=("saved alike", objects)))
    return rows


def process_rows():
    return [
        Row("14", f"memory of each of {LARGE:,}", "held each", "<=", constant=390, goal="390 B",
            unit=text.size, beside=("tree", "tree each")),
        Row("15a", "memory without objects", "idle", "<=", ((1, "empty", "empty program"),),
            constant=1e6, goal="empty + 1 MB", unit=text.size),
        Row("15b", f"start to listening, {SMALL} objects", ("start", "daemon"), "<=",
            constant=6e-3, goal="6 ms", beside=("E", ("start", "E"))),
        Row("16", "release daemon, stripped", ("size", "release"), "<=", constant=300e3,
            goal="300 kB", unit=text.size, beside=("this build", ("size", "this build"))),
    ]


def lines(figures):
    """The table, and how many of its rows are met."""
    rows = [row.cells(figures) for row in (*load_rows(), *growth_rows(), *bulk_rows(),
                                           *file_rows(), *process_rows())]
    yield from text.table([HEADER, *rows], ALIGN)
    met = sum(row[-1] == "ok" for row in rows)
    yield f"{met} of {len(rows)} ok"
    if figures.failures:
        yield "\nFAILED WHILE MEASURING:"
        yield from figures.failures
