"""How the daemon starts and ends: options, the order of things, what is fatal, signals."""

import os
import re
import shutil
import signal
import socket
from pathlib import Path

import pytest

from support import (DEFAULT_FILE, PANIC, PID_FILE, PLUGIN_DIR, POST_INIT, RESCUE_FILE, SERVICES,
                     STARTUP_FILE, Daemon, abstract_address, answers, connect_unix, descriptor_flags,
                     descriptors, has_input, inform, inform_message, init_events, initialized,
                     install_plugin, is_alive, log, lsql, process_status, read, receive_all,
                     wait_until, watchdog_texts, write_config, write_script)

USAGE = """\
Usage: vesk [-hfned]

Options:
   -h   show this usage
   -f   run in foreground (do not become a daemon)
   -n   no actions (executing processes, rebooting, watchdog, etc.)
   -e   exit on fatal errors
   -d   show debug messages - can be repeated up to 6 times for more messages
"""
GOES_ON = "vesk: Attempting to continue operation.\n"
GIVES_UP = "vesk: Exiting due to fatal error.\n"
READY = "vesk: Initialization complete.\r\n"
SELECT_NOTHING = "<lsql><select><nothing/></select></lsql>"
NOTHING = ('<?xml version="1.0"?>\n'
           "<lsql_result><dataset/><rc>0</rc><counter>0</counter></lsql_result>\n")


def run_to_the_end(*args):
    """The exit status and the daemon, of a start that ends by itself."""
    daemon = Daemon(args, foreground=False, ready=None)
    return daemon.wait_for_exit(), daemon


# ------------------------------------------------------------------------------------------------
# Options

@pytest.mark.parametrize("args", [
    ["-h"], ["-fh"], ["-x"], ["stray"], ["-f", "stray"], ["-f", "--", "-n"], ["-f"] + ["-d"] * 7,
    ["-fddddddd"], ["-ddd", "-f", "-dddd"],
], ids=" ".join)
def test_prints_the_usage_and_exits(args):
    status, daemon = run_to_the_end(*args)
    banner = daemon.stderr().removesuffix("\n" + USAGE)
    assert (status, daemon.stdout()) == (1, "")
    assert daemon.stderr().endswith("\n\n" + USAGE)
    assert banner.strip()
    assert not PID_FILE.exists()


def test_usage_has_nothing_before_the_banner():
    _, daemon = run_to_the_end("-h")
    assert daemon.stderr()[0] not in "\n "
    assert log() == ""


@pytest.mark.parametrize("args", [["-d"] * 6, ["-dddddd"], ["-ddd", "-n", "-ddd"]], ids=" ".join)
def test_six_d_give_level_6(args):
    Daemon(args)
    assert "vesk: Debug level is now 6.\n" in log()


def test_level_is_reported_once_and_first():
    Daemon(["-d", "-d"])
    assert log().startswith("vesk: Debug level is now 2.\n")
    assert log().count("Debug level") == 1


def test_level_0_is_not_reported():
    daemon = Daemon()
    assert log() == READY
    assert daemon.stderr() == ""


@pytest.mark.parametrize("args", [["-n", "-f"], ["-f", "-n"], ["-nf"], ["-fn"]], ids=" ".join)
def test_no_actions_stops_the_watchdog(args):
    Daemon(args, foreground=False)
    assert log() == "vesk: Watchdog stopped.\n" + READY
    assert watchdog_texts() == ["open", "settimeout 240", "keepalive", "write V", "close"]


def test_no_actions_takes_effect_before_a_later_option_is_refused():
    status, _ = run_to_the_end("-n", "-x")
    assert status == 1
    assert log() == "vesk: Watchdog stopped.\n"


def test_level_1_tells_what_happens():
    for service in SERVICES:
        write_script(service, "exec sleep 1000")
    Daemon(["-d"])
    assert re.sub(r"pid = \d+", "pid = N", log()) == (
        "vesk: Debug level is now 1.\n"
        "vesk: Reading plugins.\n"
        "Providers, in order (*** = not present):\n"
        "vesk: Initialization complete.\r\n"
        'vesk: Running "/usr/sbin/tkmigrate" -> pid = N \n'
        'vesk: Running "/usr/sbin/version" -> pid = N \n')


def test_level_1_prints_classes_and_providers():
    install_plugin("radio")
    Daemon(["-d"])
    assert ("Class: radio                Type: unique-named  Persistence: 1\n"
            "  Property: state                                         rw-p\n"
            "\n"
            "Class: system               Type: singleton     Persistence: 1\n"
            "  Property: contact                                       rw-p\n"
            "\n"
            "Providers, in order (*** = not present):\n"
            "     radio\n") in log()


# ------------------------------------------------------------------------------------------------
# Foreground and background

def test_in_the_foreground_nothing_of_the_process_changes():
    with open("/etc/passwd") as stdin:
        daemon = Daemon(stdin=stdin, cwd="/usr")
    assert daemon.process.poll() is None
    assert descriptors(daemon.pid)[0] == "/etc/passwd"
    assert os.readlink(f"/proc/{daemon.pid}/cwd") == "/usr"
    assert PID_FILE.read_text() == f"{daemon.process.pid}\n"


def test_becomes_a_daemon():
    install_plugin("hello")
    with open("/etc/passwd") as stdin:
        daemon = Daemon(foreground=False, stdin=stdin, cwd="/usr")
    assert daemon.wait_for_exit() == 0
    assert log() == "vesk: Hello from hello.so.\nvesk: Daemonizing...\nvesk: Daemonized.\n" + READY
    assert daemon.pid != daemon.process.pid
    assert os.getsid(daemon.pid) not in (daemon.process.pid, os.getsid(0))
    assert process_status(daemon.pid, "PPid") == "1"
    assert os.readlink(f"/proc/{daemon.pid}/cwd") == "/usr"
    assert lsql(SELECT_NOTHING) == NOTHING


def test_a_daemon_reads_from_dev_null_and_keeps_its_output():
    with open("/etc/passwd") as stdin:
        daemon = Daemon(foreground=False, stdin=stdin)
    opened = descriptors(daemon.pid)
    assert opened[0] == "/dev/null"
    assert descriptor_flags(daemon.pid, 0) & os.O_ACCMODE == os.O_RDWR
    assert (opened[1], opened[2]) == (str(daemon.stdout_file), str(daemon.stderr_file))


def test_a_daemon_ends_on_sigterm():
    daemon = Daemon(foreground=False)
    pid = daemon.pid
    assert daemon.stop() == 0
    assert log().endswith(READY + "vesk: Exit due to signal 15.\n")
    assert PID_FILE.read_text() == f"{pid}\n"


# ------------------------------------------------------------------------------------------------
# The order of the start

def test_writes_the_time_from_panic_to_reboot():
    Daemon()
    assert PANIC.read_text() == "5\n"


def test_pid_file_is_replaced():
    PID_FILE.write_text("an old and long text\n")
    daemon = Daemon()
    assert PID_FILE.read_text() == f"{daemon.pid}\n"


def test_post_init_runs_between_the_pid_file_and_the_loop():
    write_script(POST_INIT, "echo $# arguments >> /tmp/order; cp /var/run/vesk.pid /tmp/pid\n"
                            "while [ ! -e /tmp/go ]; do sleep 0.05; done; echo post-init >> /tmp/order")
    for service in SERVICES:
        write_script(service, "echo service >> /tmp/order")
    daemon = Daemon(ready=initialized)
    wait_until(lambda: read("/tmp/pid"), what="post-init")
    assert read("/tmp/pid") == f"{daemon.pid}\n"
    assert initialized()
    assert read("/tmp/order") == "0 arguments\n"
    with connect_unix("vesk_sock_inform") as client:
        client.sendall(inform_message("object=nobody"))
        assert not has_input(client)
        Path("/tmp/go").touch()
        assert receive_all(client) == b"ERR no handler\n"
    wait_until(lambda: read("/tmp/order").count("service") == 2, what="the services")
    assert read("/tmp/order") == "0 arguments\npost-init\nservice\nservice\n"


def test_post_init_is_silent_without_debugging():
    write_script(POST_INIT, "echo said; echo complained >&2; touch /tmp/done; exit 3")
    daemon = Daemon()
    assert Path("/tmp/done").exists()
    assert (daemon.stdout(), daemon.stderr(), log()) == ("", "", READY)


def test_post_init_is_heard_with_debugging():
    write_script(POST_INIT, "echo said; echo complained >&2; exit 3")
    daemon = Daemon(["-d"])
    assert (daemon.stdout(), daemon.stderr()) == ("said\n", "complained\n")
    assert re.search(r'vesk: Running "/etc/post-init" -> pid = \d+ -> status = 768\n', log())


def test_post_init_that_cannot_be_executed_is_passed_over():
    write_script(POST_INIT, "touch /tmp/done")
    POST_INIT.chmod(0o644)
    Daemon()
    assert not Path("/tmp/done").exists()


def test_post_init_does_not_run_in_no_actions_mode():
    write_script(POST_INIT, "touch /tmp/done")
    Daemon(["-nd"])
    assert 'vesk: Running "/etc/post-init" -> (no actions) -> errno = 10\n' in log()
    assert not Path("/tmp/done").exists()


# ------------------------------------------------------------------------------------------------
# What is fatal

def check_fatal(message, exits, *, in_log, in_stderr=""):
    """A daemon with and without -e where a step of the start fails."""
    if exits:
        status, daemon = run_to_the_end("-fe")
        assert status == 1
        assert log().endswith(f"{in_log}vesk: Fatal error: {message}\n{GIVES_UP}")
    else:
        daemon = Daemon(ready=initialized)
        assert f"{in_log}vesk: Fatal error: {message}\n{GOES_ON}" in log()
        assert log().endswith(READY)
    assert in_stderr in daemon.stderr()


with_and_without_e = pytest.mark.parametrize("exits", [False, True], ids=["goes on", "exits"])


@with_and_without_e
def test_no_plugin_directory(exits):
    shutil.rmtree(PLUGIN_DIR)
    check_fatal("Plugins were invalid.", exits, in_log="", in_stderr=(
        'vesk: Unable to open plugins directory "/usr/lib/vesk/plugins/": No such file or directory\n'))


@with_and_without_e
def test_invalid_class(exits):
    install_plugin("broken_class")
    check_fatal("Classes were invalid.", exits, in_log="")


@with_and_without_e
def test_loop_of_providers(exits):
    install_plugin("provider_loop")
    check_fatal("Providers were invalid.", exits, in_log="")


@with_and_without_e
def test_no_configuration_at_all(exits):
    shutil.rmtree(STARTUP_FILE.parent)
    STARTUP_FILE.parent.mkdir()
    check_fatal("Unable to read config.", exits, in_log=(
        "vesk: vesk_config_cp: Can't open /etc/rescueconfig.xml\n"
        "vesk: Config not parsed successfully.\n"
        "vesk: Unable to parse startup config - resetting to default.\n"
        "vesk: vesk_config_cp: Can't open /etc/rescueconfig.xml\n"
        "vesk: Config not parsed successfully.\n"
        "vesk: Unable to read the default either."))


def test_lives_without_a_configuration():
    STARTUP_FILE.unlink()
    daemon = Daemon()
    daemon.send_signal(signal.SIGHUP)
    lsql(SELECT_NOTHING)
    assert inform("object=nobody") == "ERR no handler\n"
    assert daemon.stop() == 0


def occupied(interface):
    if isinstance(interface, int):
        return socket.create_server(("127.0.0.1", interface))
    server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    server.bind(abstract_address(interface))
    server.listen()
    return server


@with_and_without_e
@pytest.mark.parametrize("interface, complaint, message", [
    ("vesk_sock_inform", "Unable to bind to domain vesk_sock_inform", "Unable to initialize inform interface."),
    (8001, "Unable to bind to port 8001", "Unable to initialize notify interface."),
    ("vesk_sock_lsql", "Unable to bind to domain vesk_sock_lsql", "Unable to initialize socket API."),
])
def test_occupied_interface(interface, complaint, message, exits):
    with occupied(interface):
        check_fatal(message, exits, in_log="", in_stderr=f"vesk: {complaint}: Address already in use\n")


def test_occupied_lsql_port_is_not_fatal():
    with occupied(8002):
        daemon = Daemon(["-e"])
    assert "Unable to open LSQL TCP socket - disabled.\n" in log() + daemon.stderr()
    assert "Fatal error" not in log()
    assert lsql(SELECT_NOTHING) == NOTHING


def test_second_daemon_gives_up():
    first = Daemon()
    status, second = run_to_the_end("-fe")
    assert status == 1
    assert second.stderr() == "vesk: Unable to bind to domain vesk_sock_inform: Address already in use\n"
    assert lsql(SELECT_NOTHING) == NOTHING
    assert PID_FILE.read_text() == f"{first.pid}\n"


@with_and_without_e
def test_pid_file_that_cannot_be_written(exits):
    PID_FILE.mkdir()
    check_fatal("Unable to create pid file", exits, in_log="")


def test_starts_from_the_rescue_file():
    STARTUP_FILE.unlink()
    RESCUE_FILE.write_text('<?xml version="1.0"?>\n<config><system><contact>ann</contact></system></config>\n')
    install_plugin("radio")
    Daemon(["-e"])
    assert STARTUP_FILE.read_text() == RESCUE_FILE.read_text()
    assert not DEFAULT_FILE.exists()
    assert lsql('<lsql><select><system properties="all"/></select></lsql>') == (
        '<?xml version="1.0"?>\n<lsql_result><dataset><system><contact>ann</contact></system></dataset>'
        '<rc>0</rc><counter>1</counter></lsql_result>\n')


# ------------------------------------------------------------------------------------------------
# Signals and the end

@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_exits_on_a_signal(number):
    daemon = Daemon()
    assert daemon.stop(number) == 0
    assert log() == READY + f"vesk: Exit due to signal {int(number)}.\n"
    assert PID_FILE.read_text() == f"{daemon.pid}\n"
    assert init_events("signal") == []


def test_exit_signals_the_process_group():
    install_plugin("child")
    daemon = Daemon()
    child = int(read("/tmp/child"))
    assert is_alive(child)
    assert daemon.stop() == 0
    wait_until(lambda: (child, -signal.SIGTERM) in init_events("exited"), what="the end of the child")


def test_children_of_plugins_inherit_an_ordinary_signal_mask():
    install_plugin("child")
    Daemon()
    assert int(process_status(int(read("/tmp/child")), "SigBlk"), 16) == 0


def test_exits_at_once_while_the_configuration_is_loaded():
    install_plugin("slow_commit")
    daemon = Daemon(ready=Path("/tmp/committing").exists)
    assert daemon.stop() == 0
    assert log() == "vesk: Exit due to signal 15.\n"
    assert Path("/tmp/committing").exists()
    assert not PID_FILE.exists()


def test_stops_the_watchdog_at_once_while_the_configuration_is_loaded():
    install_plugin("slow_commit")
    daemon = Daemon(ready=Path("/tmp/committing").exists)
    daemon.send_signal(signal.SIGUSR1)
    wait_until(lambda: watchdog_texts()[-2:] == ["write V", "close"], what="the end of the watchdog")
    assert not initialized()
    Path("/tmp/committing").unlink()
    wait_until(initialized, what="the end of the start")


def test_dumps_what_there_is_after_the_configuration_is_loaded():
    install_plugin("slow_commit")
    daemon = Daemon(ready=Path("/tmp/committing").exists)
    daemon.send_signal(signal.SIGHUP)
    Path("/tmp/committing").unlink()
    wait_until(answers, what="the loop")
    assert log().count("Service              State        PID\n") == 1


def test_exit_signal_before_the_loop_is_taken_after_post_init():
    write_script(POST_INIT, "touch /tmp/began; while [ ! -e /tmp/go ]; do sleep 0.05; done")
    daemon = Daemon(ready=Path("/tmp/began").exists)
    daemon.send_signal(signal.SIGTERM)
    daemon.send_signal(signal.SIGHUP)
    wait_until(lambda: int(process_status(daemon.pid, "ShdPnd"), 16) == 0, what="the signals to be taken")
    assert is_alive(daemon.pid)
    Path("/tmp/go").touch()
    assert daemon.wait() == 0
    assert log().endswith("vesk: Exit due to signal 15.\n")


def test_catches_and_ignores_signals():
    daemon = Daemon()
    def has(field, number):
        return bool(int(process_status(daemon.pid, field), 16) & 1 << number - 1)
    assert has("SigIgn", signal.SIGPIPE)
    for number in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM, signal.SIGUSR1, signal.SIGCHLD):
        assert has("SigCgt", number)


def test_sighup_dumps_classes_instances_and_services():
    for service in SERVICES:
        write_script(service, "exec sleep 1000")
    write_config('<?xml version="1.0"?>\n<config><radio name="r0"><state>up</state></radio></config>\n')
    install_plugin("radio")
    daemon = Daemon()
    before = log()
    daemon.send_signal(signal.SIGHUP)
    wait_until(lambda: re.search("^version .*\n", log(), re.MULTILINE), what="the dump")
    assert re.sub(r" +\d+$", " N", log().removeprefix(before), flags=re.MULTILINE) == (
        "Class: radio                Type: unique-named  Persistence: N\n"
        "  Property: state                                         rw-p\n"
        "\n"
        "Class: system               Type: singleton     Persistence: N\n"
        "  Property: contact                                       rw-p\n"
        "\n"
        "Instance name: r0\tclass: radio\n"
        "   state =\tup\n"
        "\n"
        "\n"
        "Instance name: n/a\tclass: system\n"
        "\n"
        "\n"
        "Service              State        PID\n"
        "tkmigrate            running N\n"
        "version              running N\n")


def test_sigterm_during_a_request_of_a_silent_client():
    daemon = Daemon()
    with connect_unix("vesk_sock_lsql"):
        assert lsql(SELECT_NOTHING) == NOTHING
        assert daemon.stop() == 0
