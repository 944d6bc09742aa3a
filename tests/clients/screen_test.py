"""What veskctl shows on a terminal: within its width, in colour only where that is wanted, and without a
byte that the terminal would obey."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time
import unicodedata

import pytest

from client import ENVIRONMENT, VESKCTL, output_of, start
from support import TIMEOUT, inform

BOLD, TITLE, PLAIN = "\033[1m", "\033[1;4m", "\033[0m"
LONG = "a name that is rather long for a narrow screen \u65e5\u672c\u8a9e and goes on and on and on and on"


def on_terminal(*words, columns=80, env=None, until=None):
    """What a call writes to a terminal of that width; with until, what it has written by then."""
    pid, fd = pty.fork()
    if pid == 0:
        fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        os.execve(VESKCTL, ["veskctl", *words], ENVIRONMENT | (env or {}))
    written = b""
    deadline = time.monotonic() + TIMEOUT
    while not (until and until(written.decode(errors="replace"))):
        assert time.monotonic() < deadline, written
        if not select.select([fd], [], [], 0.05)[0]:
            continue
        try:
            block = os.read(fd, 65536)
        except OSError:
            break
        if not block:
            break
        written += block
    if until:
        os.kill(pid, signal.SIGKILL)
    os.waitpid(pid, 0)
    os.close(fd)
    return written.decode().replace("\r\n", "\n")


def width(line):
    plain = re.sub(r"\033\[[0-9;]*m", "", line)
    return sum(0 if unicodedata.category(c) in ("Mn", "Me") else
               2 if unicodedata.east_asian_width(c) in "WF" else 1 for c in plain)


def assert_fits(text, columns):
    for line in text.splitlines():
        assert width(line) <= columns, line


@pytest.fixture
def daemon():
    started = start(schema=True)
    output_of("set", "radio", "r0", f"ssid={LONG}", "note=\u009b31m red \n\t\u202e")
    output_of("set", "radio", "r1", "ssid=e\u0301\u0302 \U0001F4F6 \u1112\u1161\u11ab")
    return started


@pytest.mark.parametrize("columns", [20, 40, 80, 132, 200])
@pytest.mark.parametrize("words", [["show"], ["show", "radio"], ["show", "radio", "r0"], ["schema"],
                                   ["startup", "-o", "table"], ["set", "radio", "state=up"],
                                   ["set", "radio", "state=up", "--dry-run"]], ids=" ".join)
def test_it_fits_the_screen(daemon, words, columns):
    text = on_terminal(*words, columns=columns)
    assert "radio" in text or "r0" in text
    assert_fits(text, columns)


def test_the_help_fits_the_screen(daemon):
    for words in ([], ["show"], ["set"], ["apply"], ["save"], ["watch"]):
        assert_fits(output_of(*words, "--help"), 80)


def test_a_table_is_cut_where_the_screen_is_narrow(daemon):
    assert on_terminal("show", "radio", "ssid", "channel", columns=40) == (
        f"{BOLD}NAME  ssid                       channel{PLAIN}\n"
        "r0    a name that is rather lo\u2026  1\n"
        "r1    e\u0301\u0302 \U0001F4F6 \u1112\u1161\u11ab                    6\n"
        "r 2\n")


def test_a_table_is_whole_where_it_goes_into_a_file(daemon):
    text = output_of("show", "radio", "ssid")
    assert LONG in text and "\033" not in text


def test_one_instance_is_shown_as_a_list(daemon):
    assert on_terminal("show", "radio", "r0", "ssid", "channel", "note", columns=40) == (
        "NAME     r0\n"
        "ssid     a name that is rather long for \n"
        "         a narrow screen \u65e5\u672c\u8a9e and \n"
        "         goes on and on and on and on\n"
        "channel  1\n"
        "note     \\u{9b}31m red \\n\\t\\u{202e}\n")


def test_many_columns_become_lists(daemon):
    text = on_terminal("show", "radio", columns=30)
    assert "\n\nNAME     r 2\nstate    up\nmode     sta\nclients  1\n" in text


def test_columns_without_a_value_make_room(daemon):
    output_of("set", "radio", "r0", "ssid=short", "note=")
    header = on_terminal("show", "radio", columns=80).splitlines()[0]
    assert header == f"{BOLD}NAME  state  ssid     channel  mode  key  clients  note{PLAIN}"
    header = on_terminal("show", "radio", columns=50).splitlines()[0]
    assert header == f"{BOLD}NAME  state  ssid     channel  mode  clients{PLAIN}"


@pytest.mark.parametrize("env", [{"NO_COLOR": "1"}, {"TERM": "dumb"}, {"TERM": ""}], ids=str)
def test_colour_can_be_declined(daemon, env):
    for words in (["show"], ["show", "radio"], ["schema"]):
        assert "\033" not in on_terminal(*words, env=env)
        assert "\033" in on_terminal(*words, env={"NO_COLOR": ""})


def test_titles_stand_out(daemon):
    assert f"{TITLE}radio{PLAIN}\n" in on_terminal("show")
    assert f"{TITLE}providers{PLAIN}\n" in on_terminal("schema")


@pytest.mark.parametrize("words", [
    ["show"], ["show", "radio"], ["show", "radio", "r0", "-o", "json"], ["show", "radio", "-o", "xml"],
    ["startup"], ["set", "radio", "r0", "channel=\u009b31m"], ["set", "radio", "r0", "channel=\033[31m"],
    ["set", "radio", "\033[31m", "channel=1"], ["delete", "\033[31m"], ["show", "radio", "\u009b"],
    ["show", "radio", "-w", "a='\033'"], ["show", "radio", "-w", "\033=1"], ["schema", "\033"],
    ["\033[31m"], ["show", "--\033[31m"], ["raw", "\033[31m"], ["inform", "\033[31m"],
    ["show", "--output", "\033[31m"], ["--timeout", "\033[31m", "show"],
], ids=repr)
def test_nothing_that_a_terminal_obeys_gets_there(daemon, words):
    text = on_terminal(*words, env={"NO_COLOR": "1"})
    assert text
    harmless = "\n\t" if "xml" in words else "\n"
    assert [c for c in text if unicodedata.category(c) in ("Cc", "Cf") and c not in harmless] == []


@pytest.mark.parametrize("columns", [40, 80, 200])
def test_notifications_fit_the_screen(daemon, columns):
    def is_whole(text):
        inform("object=change&class=radio&name=r0&property=ssid&origin=somebody far away&value="
               + LONG + "\x1b[31m\u009b")
        return text.count("far away)") >= 1

    text = on_terminal("watch", columns=columns, env={"NO_COLOR": "1"}, until=is_whole)
    first = re.match(r"\d\d:\d\d:\d\d  radio r0: ssid=a name", text)
    assert first, text
    assert_fits(text, columns)
    assert "\033" not in text and "\u009b" not in text
    assert bool(re.search(r"\n {10}\S", text)) == (columns < 200)
