"""Writes a startup file with a number of objects to standard output: make_config.py OBJECTS

The objects are those of bench/objects.h: the first class has at most 1,000 of them, the other four
share the rest; each has ten values of twelve bytes.
"""

import sys

CLASSES = 5
PROPERTIES = 10
MOST_IN_FIRST_CLASS = 1000


def counts(total):
    """How many objects each class has; total is a multiple of five."""
    first = min(total // CLASSES, MOST_IN_FIRST_CLASS)
    return [first] + [(total - first) // (CLASSES - 1)] * (CLASSES - 1)


def write_object(write, cls, number, seed):
    write(f'  <obj{cls} name="n{number}">\n')
    for p in range(PROPERTIES):
        write(f"    <p{p}>{(seed + p) % 10**12:012}</p{p}>\n")
    write(f"  </obj{cls}>\n")


def write_config(write, total):
    write('<?xml version="1.0"?>\n')
    if total == 0:
        write("<config/>\n")
        return
    write("<config>\n")
    seed = 0
    for cls, count in enumerate(counts(total)):
        for number in range(count):
            write_object(write, cls, number, seed)
            seed += PROPERTIES
    write("</config>\n")


if __name__ == "__main__":
    if len(sys.argv) != 2 or not sys.argv[1].isdigit() or int(sys.argv[1]) % CLASSES:
        sys.exit("usage: make_config.py OBJECTS, a multiple of five")
    write_config(sys.stdout.write, int(sys.argv[1]))
