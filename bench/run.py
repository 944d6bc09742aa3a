"""Runs all benchmarks, in rounds, and prints the table of goals and then the details.

Runs inside the sandbox, on one processor: run.py BUILD_DIR RELEASE_DAEMON [--quick]. Every figure
is the median of the rounds. A ratio is the median of what the figure was in each round to its
baseline in the same round, so that a machine that slows down for a while slows down both.
"""

import sys
import time
from pathlib import Path

import details
import goals
from rounds import SIZES, Plan, Rounds
from servers import make_files


def main(build, release, quick):
    plan = Plan(quick)
    start = time.monotonic()
    make_files((0, *SIZES))
    rounds = Rounds(build, release, plan)
    rounds.run()
    for line in goals.lines(rounds.figures):
        print(line)
    for line in details.lines(rounds.figures, build, plan, time.monotonic() - start):
        print(line)


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]), "--quick" in sys.argv[3:])
