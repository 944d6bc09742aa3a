"""The manual names all that veskctl takes, and its examples work on the reference access point."""

import re
import subprocess

import pytest

import reference_device
from client import ENVIRONMENT, HERE, output_of
from support import TIMEOUT, Daemon, read

ROOT = HERE.parents[1]
MANUAL = ROOT / "docs/man/veskctl.1"


def commands():
    listed = output_of("--help").partition("Commands:")[2]
    return re.findall(r"^  (\w+) ", listed, re.MULTILINE)


def examples():
    """The commands of the examples, each with the lines that belong to it."""
    section = read(MANUAL).partition(".Sh EXAMPLES\n")[2].partition(".Sh ")[0]
    text = re.sub(r"^\.Dl ", "", section, flags=re.MULTILINE)
    return re.findall(r"^\$ (.*<<'END'\n(?:.*\n)*?END|.*)$", text, re.MULTILINE)


def test_it_names_every_command_and_option():
    text = read(MANUAL)
    for command in commands():
        assert re.search(rf"^\.It Cm {command}\b", text, re.MULTILINE), command
        for option in re.findall(r"--([\w-]+)", output_of(command, "--help")):
            assert f"Fl -{option}" in text, option


@pytest.mark.parametrize("document", ["docs/man/veskctl.1", "README.md"])
def test_its_examples_work(document):
    reference_device.install()
    Daemon(watchdog=False)
    shown = examples() if document.endswith(".1") else \
        re.findall(r"^    (veskctl .*)$", read(ROOT / document), re.MULTILINE)
    assert len(shown) >= 4
    for command in shown:
        plain = command.partition(" | jq")[0]
        ended = subprocess.run(["bash", "-c", plain], env=ENVIRONMENT, capture_output=True, text=True,
                               timeout=TIMEOUT)
        assert (ended.returncode, ended.stderr) == (0, ""), plain
        assert ended.stdout
