"""The services that the daemon starts by itself and for plug-ins: start, death, end, their table."""

import os
import re
import signal
import time

from support import (SERVICES, TIMEOUT, Daemon, descriptors, inform, install_plugin, is_alive, log,
                     lsql, read, wait_until, write_script)

TKMIGRATE, VERSION = SERVICES
HEADER = "Service              State        PID\n"


def started(name):
    """The pid that the log, at level 1 at least, gives for the last start of that program."""
    return int(re.findall(rf'vesk: Running "{name}" -> pid = (\d+) \n', log())[-1])


def table(daemon):
    """The lines of the table that the daemon prints now."""
    before = log()
    daemon.send_signal(signal.SIGHUP)
    wait_until(lambda: HEADER in log().removeprefix(before), what="the table")
    lsql("<lsql/>")  # answered after the signal was handled
    lines = log().removeprefix(before).partition(HEADER)[2].splitlines()
    return [line for line in lines if re.fullmatch(r"\S+ +(stopped|running|stopping) +\d+", line)]


def run_forever(*paths):
    for path in paths:
        write_script(path, "exec sleep 1000")


def test_both_run_with_no_arguments_and_the_output_of_the_daemon():
    write_script(TKMIGRATE, "echo tkmigrate $#; echo $0 >&2")
    write_script(VERSION, "sleep 0.3; echo version $#; pwd; echo $0 >&2")
    daemon = Daemon(cwd="/usr")
    wait_until(lambda: daemon.stderr().count("\n") == 2, what="the output")
    assert daemon.stdout() == "tkmigrate 0\nversion 0\n/usr\n"
    assert daemon.stderr() == "/usr/sbin/tkmigrate\n/usr/sbin/version\n"


def test_each_has_its_own_session_and_no_descriptors_of_the_daemon():
    run_forever(TKMIGRATE, VERSION)
    daemon = Daemon(["-d"])
    expected = {0: "/dev/null", 1: str(daemon.stdout_file), 2: str(daemon.stderr_file)}
    for path in SERVICES:
        pid = started(path)
        wait_until(lambda: read(f"/proc/{pid}/cmdline") == "sleep\0" + "1000\0", what="sleep")
        # The loader of the new program has files of its own open for a moment.
        wait_until(lambda: descriptors(pid) == expected, what="no descriptors but the standard ones")
        assert os.getsid(pid) == pid


def test_missing_programs_do_no_harm():
    for path in SERVICES:
        path.unlink()
    daemon = Daemon()
    messages = [f'vesk: Unable to execute "{path}": No such file or directory' for path in (
        "/usr/sbin/tkmigrate", "/usr/sbin/version")]
    wait_until(lambda: sorted(daemon.stderr().splitlines()) == messages, what="the messages")
    wait_until(lambda: table(daemon) == [], what="the services to leave the table")


def test_table_shows_running_services():
    run_forever(TKMIGRATE, VERSION)
    daemon = Daemon(["-d"])
    first, second = started(TKMIGRATE), started(VERSION)
    assert table(daemon) == [f"tkmigrate            running    {first:5d}",
                             f"version              running    {second:5d}"]


def test_a_service_that_dies_leaves_the_table():
    run_forever(VERSION)
    daemon = Daemon(["-d"])
    dead, alive = started(TKMIGRATE), started(VERSION)
    message = f"vesk: Service tkmigrate with pid {dead} is no longer running. Running callback.\n"
    wait_until(lambda: message in log(), what="the death to be noticed")
    assert table(daemon) == [f"version              running    {alive:5d}"]
    assert is_alive(alive)


def test_no_actions_mode_starts_nothing_and_shows_pid_0():
    for path in SERVICES:
        write_script(path, "touch /tmp/started")
    daemon = Daemon(["-nd"])
    assert table(daemon) == ["tkmigrate            running        0",
                             "version              running        0"]
    assert ('vesk: Running "/usr/sbin/tkmigrate" -> (no actions) \n'
            'vesk: Running "/usr/sbin/version" -> (no actions) \n') in log()
    assert not os.path.exists("/tmp/started")


def test_sigterm_stops_running_services():
    write_script(TKMIGRATE, "trap 'echo stopped >> /tmp/stopped; exit' TERM; touch /tmp/ready\n"
                            "while :; do sleep 0.05; done")
    run_forever(VERSION)
    daemon = Daemon(["-d"])
    first, second = started(TKMIGRATE), started(VERSION)
    wait_until(lambda: os.path.exists("/tmp/ready"), what="the service")
    assert daemon.stop() == 0
    assert read("/tmp/stopped") == "stopped\n"
    assert not is_alive(first) and not is_alive(second)
    assert log().endswith(f"vesk: Stopping tkmigrate ({first})...\n"
                          f"vesk: Sending signal 15 to service tkmigrate with pid {first}.\n"
                          f"vesk: Stopping version ({second})...\n"
                          f"vesk: Sending signal 15 to service version with pid {second}.\n"
                          "vesk: Exit due to signal 15.\n")


def test_a_service_that_ignores_sigterm_is_killed_after_5_seconds():
    write_script(TKMIGRATE, "trap '' TERM; touch /tmp/ready; exec sleep 1000")
    run_forever(VERSION)
    daemon = Daemon(["-d"])
    stubborn, other = started(TKMIGRATE), started(VERSION)
    wait_until(lambda: os.path.exists("/tmp/ready"), what="the service")
    begin = time.monotonic()
    assert daemon.stop() == 0
    assert 5 <= time.monotonic() - begin < TIMEOUT
    assert not is_alive(stubborn) and not is_alive(other)
    assert log().endswith(f"vesk: Stopping tkmigrate ({stubborn})...\n"
                          f"vesk: Sending signal 15 to service tkmigrate with pid {stubborn}.\n"
                          "vesk: Timeout while sending signal 15 to service tkmigrate with pid "
                          f"{stubborn}.\n"
                          f"vesk: Sending signal 9 to service tkmigrate with pid {stubborn}.\n"
                          f"vesk: Stopping version ({other})...\n"
                          f"vesk: Sending signal 15 to service version with pid {other}.\n"
                          "vesk: Exit due to signal 15.\n")


def test_sigterm_while_the_configuration_is_loaded_stops_services_too():
    install_plugin("early_service")
    install_plugin("slow_commit")
    run_forever("/tmp/worker")
    daemon = Daemon(["-d"], ready=lambda: os.path.exists("/tmp/committing"))
    pid = started("/tmp/worker")
    assert daemon.stop() == 0
    assert not is_alive(pid)
    assert log().endswith(f"vesk: Stopping early ({pid})...\n"
                          f"vesk: Sending signal 15 to service early with pid {pid}.\n"
                          "vesk: Exit due to signal 15.\n")


def test_nothing_is_stopped_in_no_actions_mode():
    daemon = Daemon(["-nd"])
    assert daemon.stop() == 0
    assert log().endswith("vesk: Stopping tkmigrate (0)...\n"
                          "vesk: Sending signal 15 to service tkmigrate with pid 0.\n"
                          "vesk: (no actions)\n"
                          "vesk: Stopping version (0)...\n"
                          "vesk: Sending signal 15 to service version with pid 0.\n"
                          "vesk: (no actions)\n"
                          "vesk: Exit due to signal 15.\n")


# ------------------------------------------------------------------------------------------------
# Services of plug-ins

def ask(text):
    """What a message to the plug-in that runs services made it log last."""
    assert inform(text) == "OK\n"
    return log().splitlines()[-1]


def test_callback_runs_once_when_a_service_dies():
    install_plugin("services")
    Daemon(["-d"])
    ask("object=start&name=worker&program=/bin/true&callback=worker-died")
    pid = started("/bin/true")
    wait_until(lambda: "vesk: callback worker-died\n" in log(), what="the callback")
    assert (f"vesk: Service worker with pid {pid} is no longer running. "
            "Service has no callback.\nvesk: callback worker-died\n") in log()
    assert ask("object=ask&name=worker") == "vesk: running 0"
    assert log().count("callback worker-died") == 1


def test_running_service_is_stopped():
    install_plugin("services")
    write_script("/tmp/worker", "exec sleep 1000")
    daemon = Daemon(["-d"])
    ask("object=start&name=worker&program=/tmp/worker")
    pid = started("/tmp/worker")
    assert ask("object=ask&name=worker") == "vesk: running 1"
    assert ask("object=stop&name=worker&signal=15&timeout=20000000") == "vesk: stop 1"
    assert not is_alive(pid)
    assert ask("object=ask&name=worker") == "vesk: running 0"
    wait_until(lambda: f"worker               stopped    {pid:5d}" in table(daemon), what="the check")
    assert ask("object=stop&name=worker&signal=15&timeout=0") == "vesk: stop 0"


def test_stop_gives_up_when_the_time_is_over():
    install_plugin("services")
    write_script("/tmp/worker", "trap '' TERM; touch /tmp/ready; exec sleep 1000")
    Daemon()
    ask("object=start&name=worker&program=/tmp/worker")
    wait_until(lambda: os.path.exists("/tmp/ready"), what="the service")
    assert ask("object=stop&name=worker&signal=15&timeout=100000") == "vesk: stop -1"
    assert ask("object=stop&name=worker&signal=9&timeout=20000000") == "vesk: stop 1"


def test_stop_of_an_unknown_service_does_nothing():
    install_plugin("services")
    Daemon(["-d"])
    assert ask("object=stop&name=nobody&signal=15&timeout=0") == "vesk: stop 0"
    assert "Sending signal" not in log()


def test_service_of_no_actions_mode_is_not_running():
    install_plugin("services")
    daemon = Daemon(["-n"])
    assert ask("object=start&name=worker&program=/bin/true") == "vesk: start 0"
    assert ask("object=ask&name=worker") == "vesk: running 0"
    assert "worker               running        0" in table(daemon)
