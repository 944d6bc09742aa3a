"""The manual pages, and what stands in them.

An example that is run has a comment in front of its display, which says what it is.
"""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
MANUAL = ROOT / "docs/man"
CHARACTERS = {"\\e": "\\", "\\&": "", "\\(dq": '"', "\\-": "-"}


def source(page):
    return (MANUAL / page).read_text()


def section(page, title):
    """The text of a section, up to the next one."""
    return source(page).partition(f"\n.Sh {title}\n")[2].partition("\n.Sh ")[0] + "\n"


def plain(text):
    """What a page shows of a text without macros."""
    return re.sub(r"\\\(dq|\\.", lambda escape: CHARACTERS[escape[0]], text)


def examples(page):
    """(mark, content) of each example that is run."""
    marked = re.findall(r'^\.\\" (\w.*)\n\.Bd .*\n((?:.*\n)*?)\.Ed$', source(page), re.MULTILINE)
    return [(mark, plain(content)) for mark, content in marked]


def only_example(page, mark):
    content, = [content for found, content in examples(page) if found == mark]
    return content
