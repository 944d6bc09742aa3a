"""The log as it is seen from outside: levels, time stamps, and where it goes."""

import os
import re

import pytest

from support import CONSOLE, Daemon, install_plugin, log, lsql

READY = "vesk: Initialization complete.\r\n"
STAMP = r"\[[A-Z][a-z]{2} [A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d \d{4}\]"


@pytest.mark.parametrize("level", [0, 1, 3, 6])
def test_each_message_is_printed_from_its_level_on(level):
    install_plugin("diagnostics")
    Daemon(["-d"] * level)
    begin, end = log().index("vesk: printf\n"), log().index("vesk: level ")
    expected = ["printf", "eprintf"] + ["1printf"] * (level > 0)
    expected += [f"lprintf {i}" for i in range(level + 1)]
    assert log()[begin:end] == "".join(f"vesk: {text}\n" for text in expected)


@pytest.mark.parametrize("args, switches", [
    ([], "level 0 of 6, override 0, no actions 0"),
    (["-d"], "level 1 of 6, override 1, no actions 0"),
    (["-dddn"], "level 3 of 6, override 1, no actions 1"),
])
def test_options_reach_the_plugins(args, switches):
    install_plugin("diagnostics")
    Daemon(args)
    assert f"vesk: {switches}\n" in log()


def test_bad_settings_are_refused():
    install_plugin("diagnostics")
    Daemon(["-dd"])
    assert "vesk: set 1 1, timestamp 1 1, exit 1\nvesk: level 2, timestamp 0\n" in log()


def test_time_stamps_and_system_errors():
    install_plugin("diagnostics")
    daemon = Daemon()
    assert re.search(rf"^vesk: {STAMP} stamped$", log(), re.MULTILINE)
    assert log().endswith(READY)
    plain, stamped = daemon.stderr().splitlines()
    assert plain == "vesk: perror: No such file or directory"
    assert re.fullmatch(rf"vesk: {STAMP} stamped perror: Permission denied", stamped)


def test_fatal_system_error_goes_on():
    install_plugin("fatal")
    daemon = Daemon()
    assert daemon.stderr() == "vesk: Fatal error: probe: Input/output error\n"
    assert log() == "vesk: Attempting to continue operation.\nvesk: went on\n" + READY


def test_fatal_system_error_exits():
    install_plugin("fatal")
    daemon = Daemon(["-e"], ready=None)
    assert daemon.wait() == 1
    assert daemon.stderr() == "vesk: Fatal error: probe: Input/output error\n"
    assert log() == "vesk: Exiting due to fatal error.\n"


def test_console_that_cannot_be_opened_leaves_standard_error():
    CONSOLE.unlink()
    CONSOLE.mkdir()
    daemon = Daemon()
    assert daemon.stderr() == READY
    assert daemon.stop() == 0
    assert daemon.stderr() == READY + "vesk: Exit due to signal 15.\n"


def fill(descriptor):
    try:
        while True:
            os.write(descriptor, b"-")
    except BlockingIOError:
        pass


def test_stopped_console_does_not_stop_the_daemon():
    CONSOLE.unlink()
    os.mkfifo(CONSOLE)
    reader = os.open(CONSOLE, os.O_RDONLY | os.O_NONBLOCK)
    writer = os.open(CONSOLE, os.O_WRONLY | os.O_NONBLOCK)
    try:
        fill(writer)
        daemon = Daemon(["-d"])
        assert lsql("<lsql/>") != ""
        assert daemon.stop() == 0
    finally:
        os.close(reader)
        os.close(writer)


def test_log_is_complete_after_each_message():
    daemon = Daemon(["-d"])
    assert lsql("<lsql/>") != ""
    seen = log()
    daemon.kill9()
    assert log() == seen
