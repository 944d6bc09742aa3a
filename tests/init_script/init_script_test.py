"""The init script, as it starts, supervises and stops the real daemon: with the tools of Debian, and
with those of a small device."""

import os
import shutil
import signal
import subprocess
from pathlib import Path

import pytest

from support import (DEFAULT_FILE, PID_FILE, RESCUE_FILE, STARTUP_FILE, answers, init_events,
                     is_alive, log, read, wait_until, write_script)

SOURCE = Path(__file__).resolve().parents[2] / "debian/vesk.init"
SCRIPT = Path("/etc/init.d/vesk")
STATE_FILE = Path("/var/run/vesk-supervisor")
DEFAULTS = Path("/etc/default/vesk")
TOOLS = Path("/usr/sbin")
APPLETS = ("sh", "setsid", "readlink", "tr", "rm")


@pytest.fixture(params=["debian", "busybox"], autouse=True)
def script(request):
    for path in (SCRIPT, DEFAULTS):
        path.parent.mkdir(exist_ok=True)
    shutil.copy(SOURCE, SCRIPT)
    STATE_FILE.unlink(missing_ok=True)
    DEFAULTS.write_text("")
    links = {"vesk": os.environ["VESK_BINARY"]}
    if request.param == "busybox":
        links |= {applet: shutil.which("busybox") for applet in APPLETS}
    for name, target in links.items():
        (TOOLS / name).symlink_to(target)
    write_script(TOOLS / "sleep", "exec /bin/sleep 0.$1")  # the script's seconds are a tenth as long
    yield
    for name in (*links, "sleep"):
        (TOOLS / name).unlink()


def call(action):
    """The exit status and the words of the script."""
    shell = next(path for path in (TOOLS / "sh", Path("/bin/sh")) if path.exists())
    done = subprocess.run([shell, SCRIPT, action], stdin=subprocess.DEVNULL, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
    return done.returncode, done.stdout


def start():
    status, words = call("start")
    assert status == 0, words
    return supervised()


def supervised():
    """The process ids of the supervisor and of the daemon."""
    return tuple(int(word) for word in read(STATE_FILE).split())


def daemon_pids():
    """The processes that run the daemon's program."""
    found = []
    for exe in Path("/proc").glob("[0-9]*/exe"):
        try:
            found += [int(exe.parent.name)] if os.readlink(exe).endswith("/vesk") else []
        except FileNotFoundError:
            pass
    return found


def next_daemon(before):
    """The daemon that was started in place of another one, when it takes requests."""
    wait_until(lambda: not is_alive(before), what="the end of the daemon")
    wait_until(answers, what="another daemon")
    return daemon_pids()[0]


def test_a_start_is_over_when_the_daemon_has_started():
    status, words = call("start")
    assert (status, answers()) == (0, True)
    supervisor, daemon = supervised()
    assert words == f"vesk: started as process {daemon}\n"
    assert daemon_pids() == [daemon] == [int(read(PID_FILE))]
    assert call("status") == (
        0, f"vesk: runs as process {daemon}, supervised by process {supervisor}\n")


def test_supervisor_and_daemon_each_lead_a_session():
    supervisor, daemon = start()
    assert os.getsid(supervisor) == supervisor != os.getsid(0)
    assert os.getsid(daemon) == os.getpgid(daemon) == daemon


def test_a_second_start_changes_nothing():
    before = start()
    assert call("start") == (0, "vesk: runs already\n")
    assert supervised() == before and daemon_pids() == [before[1]]


def test_a_killed_daemon_is_started_again():
    supervisor, daemon = start()
    os.kill(daemon, signal.SIGKILL)
    wait_until(lambda: "vesk: the daemon has ended with status 137\n" in log(), what="the news")
    another = next_daemon(daemon)
    assert supervised() == (supervisor, another)


def test_a_daemon_that_was_told_to_end_is_started_again():
    """It signals its whole process group, and the supervisor is not in it."""
    supervisor, daemon = start()
    os.kill(daemon, signal.SIGTERM)
    another = next_daemon(daemon)
    assert supervised() == (supervisor, another)


def test_stop_ends_both_in_order():
    supervisor, daemon = start()
    assert call("stop") == (0, "vesk: stopped\n")
    assert not is_alive(supervisor) and daemon_pids() == []
    assert "vesk: Exit due to signal 15.\n" in log()
    assert not PID_FILE.exists() and not STATE_FILE.exists()
    assert call("status") == (3, "vesk: does not run\n")
    assert call("stop") == (0, "vesk: does not run\n")


def test_a_restart_makes_another_daemon():
    supervisor, daemon = start()
    status, words = call("restart")
    assert (status, words.splitlines()[0]) == (0, "vesk: stopped")
    assert not is_alive(supervisor) and not is_alive(daemon)
    assert daemon_pids() == [supervised()[1]] and answers()


@pytest.mark.parametrize("action", ["try-restart", "force-reload"])
def test_only_what_runs_is_restarted_on_condition(action):
    assert call(action) == (0, "") and daemon_pids() == []
    _, daemon = start()
    assert call(action)[0] == 0
    assert not is_alive(daemon) and daemon_pids() == [supervised()[1]]


def test_a_daemon_that_hangs_is_killed():
    DEFAULTS.write_text("STOP_TIMEOUT=1\n")
    supervisor, daemon = start()
    os.kill(daemon, signal.SIGSTOP)
    assert call("stop") == (0, "vesk: does not end and is killed\nvesk: stopped\n")
    assert not is_alive(supervisor) and daemon_pids() == []
    assert not PID_FILE.exists() and not STATE_FILE.exists()


def test_a_daemon_that_cannot_start_is_tried_again_until_it_is_stopped():
    DEFAULTS.write_text("START_TIMEOUT=1\nVESK_OPTIONS='-d -x'\n")
    assert call("start") == (1, "vesk: the start takes longer than 1 s\n")
    supervisor, first = supervised()
    wait_until(lambda: read(STATE_FILE) and supervised()[1] != first, what="another attempt")
    assert supervised()[0] == supervisor
    assert call("stop")[0] == 0
    assert not is_alive(supervisor) and daemon_pids() == []


def test_without_a_configuration_nothing_is_started():
    STARTUP_FILE.unlink()
    status, words = call("start")
    assert status == 6 and str(STARTUP_FILE) in words
    assert daemon_pids() == [] and not STATE_FILE.exists()


@pytest.mark.parametrize("stand_in", [DEFAULT_FILE, RESCUE_FILE])
def test_a_file_that_stands_behind_the_startup_file_is_enough(stand_in):
    STARTUP_FILE.unlink()
    stand_in.write_text("<config/>")
    start()


def test_without_the_program_nothing_is_started():
    (TOOLS / "vesk").rename(TOOLS / "elsewhere")
    try:
        assert call("start") == (5, "vesk: there is no /usr/sbin/vesk\n")
    finally:
        (TOOLS / "elsewhere").rename(TOOLS / "vesk")


def test_a_daemon_without_supervisor_is_seen_and_stopped():
    supervisor, daemon = start()
    os.kill(supervisor, signal.SIGKILL)
    wait_until(lambda: not is_alive(supervisor), what="the end of the supervisor")
    assert call("status") == (0, f"vesk: runs as process {daemon}, without supervision\n")
    status, words = call("start")
    assert status == 1 and "stop it first" in words and daemon_pids() == [daemon]
    assert call("stop") == (0, "vesk: stopped\n")
    assert daemon_pids() == [] and (daemon, 0) in init_events("exited")


def test_process_ids_that_now_belong_to_others_are_left_alone():
    """As after a power cut, where the folder of the pid file is not emptied."""
    other = subprocess.Popen(["/bin/sleep", "100"])
    STATE_FILE.write_text(f"{other.pid} {other.pid}\n")
    PID_FILE.write_text(f"{other.pid}\n")
    assert call("status") == (1, "vesk: does not run, and did not end in an orderly way\n")
    assert call("stop") == (0, "vesk: does not run\n")
    start()
    assert call("stop") == (0, "vesk: stopped\n")
    assert other.poll() is None
    other.kill()
    other.wait()


def test_options_reach_the_daemon():
    DEFAULTS.write_text("VESK_OPTIONS='-d -d'\n")
    start()
    assert "vesk: Debug level is now 2.\n" in log()


def test_the_caller_is_not_kept_waiting_by_what_it_started():
    """The daemon holds none of the caller's descriptors."""
    write_script("/tmp/caller", f"exec sh {SCRIPT} start")
    done = subprocess.run(["/tmp/caller"], capture_output=True, text=True, timeout=20)
    assert done.stdout.startswith("vesk: started") and answers()
