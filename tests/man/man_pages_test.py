"""The pages are well-formed, refer to each other, and vesk(8) names what the daemon takes."""

import re
import subprocess

import pytest

from page import MANUAL, ROOT, section, source
from support import Daemon, read

PAGES = sorted(page.name for page in MANUAL.iterdir())
OURS = ("vesk", "vesk-plugin", "vesk-config", "vesk-lsql", "veskctl")


@pytest.mark.parametrize("page", PAGES)
def test_it_is_well_formed(page):
    ended = subprocess.run(["mandoc", "-T", "lint", "-W", "style", MANUAL / page], text=True,
                           stdout=subprocess.PIPE)
    # Whether a page is installed is another matter.
    complaints = [line for line in ended.stdout.splitlines() if "referenced manual not found" not in line]
    assert complaints == []


@pytest.mark.parametrize("page", [page for page in PAGES if page[:-2] in OURS])
def test_it_fits_a_terminal(page):
    shown = subprocess.run(["mandoc", "-T", "utf8", "-O", "width=78", MANUAL / page], text=True, check=True,
                           stdout=subprocess.PIPE).stdout
    assert max(len(line) for line in re.sub(".\b", "", shown).splitlines()) <= 80


@pytest.mark.parametrize("page", PAGES)
def test_the_pages_that_it_names_exist(page):
    named = re.findall(r"^\.Xr ([\w-]+) (\d)", source(page), re.MULTILINE)
    missing = [f"{name}.{number}" for name, number in named
               if name in OURS and f"{name}.{number}" not in PAGES]
    assert missing == []


def test_the_options_are_those_of_the_daemon():
    documented = re.findall(r"^\.It Fl (\w)$", section("vesk.8", "DESCRIPTION"), re.MULTILINE)
    synopsis = re.search(r"^\.Op Fl (\w+)$", section("vesk.8", "SYNOPSIS"), re.MULTILINE)[1]
    daemon = Daemon(["-h"], ready=None)
    assert daemon.wait() == 1
    usage = daemon.stderr()
    assert documented == list(synopsis) == sorted(re.findall(r"^   -(\w) ", usage, re.MULTILINE))
    assert documented == sorted(re.search(r"\[-(\w+)\]", usage)[1])
    taken = re.search(r'getopt\(argc, argv, "(\w+)"\)', (ROOT / "core/options.cpp").read_text())[1]
    assert documented == sorted(taken)


def test_the_fatal_errors_are_those_of_the_daemon():
    documented = re.findall(r"^\.It Li Fatal error: (.*)$", source("vesk.8"), re.MULTILINE)
    written = re.findall(r'vesk_debug_fatal\("(.*)"\)', (ROOT / "core/startup.cpp").read_text())
    assert sorted(documented) == sorted(set(written) - {"vesk_config_init() failed."})


def test_the_replies_to_informs_are_those_of_the_daemon():
    shown = re.search(r"^OK\n(?:ERR .*\n)*", source("vesk.8"), re.MULTILINE)[0].splitlines()
    written = re.findall(r'"(OK|ERR [^"]*)"', (ROOT / "query/inform.cpp").read_text())
    assert sorted(shown) == sorted(written)


def test_the_pid_file_is_where_it_says():
    daemon = Daemon()
    named, = re.findall(r"^\.It Pa (/var/run/\S+)$", section("vesk.8", "FILES"), re.MULTILINE)
    assert read(named) == f"{daemon.pid}\n"
