"""The startup file is whole, old or new, wherever in a save the power may fail."""

import os
import random
import signal
import time

import pytest

from access_point import assert_answers, radio, select, start, startup
from support import (DEFAULT_FILE, RESCUE_FILE, STARTUP_FILE, Daemon, inform, is_alive, lsql, read,
                     wait_until)

KILLS = 1000
RADIOS = [radio(f"r{i}", ssid=f"network {i}") for i in range(20)]


def saved_with(contact):
    """The startup file as it is with this contact."""
    lsql(f"<lsql><update><system><contact>{contact}</contact></system></update></lsql>")
    assert inform("object=save") == "OK\n"
    assert f"<contact>{contact}</contact>" in startup()
    return startup()


def saver(what):
    """The process id of a child of the daemon that writes the startup file over and over."""
    assert inform(f"object=save_loop&do={what}") == "OK\n"
    return int(read("/tmp/saver"))


def kill_a_saver(what, delay):
    pid = saver(what)
    time.sleep(delay)
    os.kill(pid, signal.SIGKILL)
    wait_until(lambda: not is_alive(pid), what="the end of the child")


def saves():
    return os.path.getsize("/tmp/saves")


def kill_savers(what, kills, whole, longest):
    """Kills children at random moments; how often each whole text was found in the file."""
    random.seed(20261121)
    found = dict.fromkeys(whole, 0)
    for number in range(kills):
        kill_a_saver(what, random.uniform(0, longest))
        text = startup()
        assert text in found, f"after {number + 1} kills: {text!r}"
        found[text] += 1
    return found


def leftovers():
    return [name for name in os.listdir(STARTUP_FILE.parent) if name != STARTUP_FILE.name]


def test_startup_file_is_whole_after_each_of_1000_kills(capsys):
    daemon = start(*RADIOS)
    whole = [saved_with("new"), saved_with("old")]
    found = kill_savers("save", KILLS, whole, 0.006)
    with capsys.disabled():
        print(f"\n{KILLS} kills, {saves()} saves between them, old {found[whole[1]]}, "
              f"new {found[whole[0]]}, {len(leftovers())} unfinished files left", flush=True)
    assert saves() > KILLS // 4
    assert min(found.values()) > KILLS // 20
    assert saved_with("again") == startup()
    daemon.stop()
    Daemon()
    assert "<contact>again</contact>" in lsql(select("<system><contact/></system>"))


def test_unfinished_files_do_not_pile_up():
    start(*RADIOS)
    whole = [saved_with("new"), saved_with("old")]
    kill_savers("save", 300, whole, 0.004)
    Daemon.started[-1].stop()
    Daemon()
    saved_with("again")
    assert len(leftovers()) <= 3


@pytest.mark.parametrize("what, source", [
    ("reset", "/tmp/defaultconfig.xml"), ("rescue", RESCUE_FILE),
])
def test_startup_file_is_whole_after_kills_within_a_copy(what, source):
    RESCUE_FILE.write_text("<?xml version='1.0'?>\n<config>" + "".join(RADIOS) + "</config>\n")
    start(*RADIOS)
    saved_with("default")
    assert inform("object=default") == "OK\n"
    whole = [saved_with("new"), saved_with("old"), read(source), read(RESCUE_FILE)]
    found = kill_savers(what, 100, whole, 0.02 if what == "reset" else 0.006)
    assert found[read(source)] > 0 and found[whole[0]] > 0
    assert DEFAULT_FILE.exists()
    assert_answers()


def test_startup_file_behind_a_link_is_whole_after_kills():
    target = STARTUP_FILE.parent / "flash" / "real.xml"
    target.parent.mkdir()
    STARTUP_FILE.rename(target)
    STARTUP_FILE.symlink_to(target)
    start()
    whole = [saved_with("new"), saved_with("old")]
    kill_savers("save", 100, whole, 0.006)
    assert STARTUP_FILE.is_symlink()


def test_daemon_that_is_killed_while_it_saves_starts_again():
    daemon = start(*RADIOS)
    random.seed(5)
    counter = 0
    for _ in range(20):
        saver("save")
        known = startup()
        assert known.startswith("<?xml") and known.endswith("</config>\n")
        time.sleep(random.uniform(0, 0.01))
        daemon.kill9()
        os.kill(int(read("/tmp/saver")), signal.SIGKILL)
        daemon = Daemon()
        assert lsql("<lsql><select><radio/></select></lsql>").count("<radio ") == len(RADIOS)
        counter += 1
        saved_with(f"start {counter}")
