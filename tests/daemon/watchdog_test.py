"""The hardware watchdog, and the way to a reboot."""

import os
import signal

from support import (PID_FILE, WATCHDOG, Daemon, descriptor_flags, descriptors, inform, init_events,
                     install_plugin, is_alive, log, lsql, process_status, read, wait_until,
                     watchdog_events, watchdog_texts)

READY = "vesk: Initialization complete.\r\n"
OPENED = ["open", "settimeout 240", "keepalive"]
STOPPED = ["write V", "close"]


def wait_for_housekeeping(daemon):
    """Returns when an idle daemon has woken up a few times."""
    def wakes():
        return int(process_status(daemon.pid, "voluntary_ctxt_switches"))
    before = wakes()
    wait_until(lambda: wakes() >= before + 3, what="the housekeeping of the daemon")


def test_is_opened_before_the_options_are_read():
    daemon = Daemon(["-h"], ready=None)
    assert daemon.wait() == 1
    assert watchdog_texts() == OPENED


def test_is_fed_again_when_the_interfaces_are_up():
    Daemon()
    assert watchdog_texts()[:4] == OPENED + ["keepalive"]


def test_is_fed_every_two_seconds():
    Daemon()
    wait_until(lambda: len(watchdog_events("keepalive")) >= 5, what="the feeding")
    times = [seconds for seconds, _ in watchdog_events("keepalive")[1:5]]
    pauses = [after - before for before, after in zip(times, times[1:])]
    assert all(1.9 < pause < 4 for pause in pauses), pauses


def test_is_fed_by_a_daemon_in_the_background():
    daemon = Daemon(foreground=False)
    assert log().endswith(READY)
    wait_until(lambda: len(watchdog_events("keepalive")) >= 3, what="the feeding")
    assert watchdog_texts()[:2] == OPENED[:2]
    assert watchdog_texts().count("open") == 1
    daemon.send_signal(signal.SIGUSR1)
    wait_until(lambda: watchdog_texts()[-2:] == STOPPED, what="the end of the watchdog")


def test_is_open_for_writing_only_and_not_inherited():
    daemon = Daemon()
    device = [fd for fd, name in descriptors(daemon.pid).items() if "memfd:watchdog" in name]
    assert len(device) == 1
    flags = descriptor_flags(daemon.pid, device[0])
    assert flags & os.O_ACCMODE == os.O_WRONLY
    assert flags & os.O_CLOEXEC


def test_sigusr1_stops_it_once():
    daemon = Daemon()
    daemon.send_signal(signal.SIGUSR1)
    once = READY + "vesk: Watchdog stopped.\n"
    wait_until(lambda: log() == once, what="the first message")
    daemon.send_signal(signal.SIGUSR1)
    wait_until(lambda: log() == once + "vesk: Watchdog already stopped.\n", what="the second message")
    assert watchdog_texts()[-2:] == STOPPED
    wait_for_housekeeping(daemon)
    assert watchdog_texts()[-2:] == STOPPED


def test_is_not_fed_in_no_actions_mode():
    daemon = Daemon(["-n"])
    wait_for_housekeeping(daemon)
    assert watchdog_texts() == OPENED + STOPPED
    assert log() == "vesk: Watchdog stopped.\n" + READY


def test_is_not_disarmed_by_an_exit():
    daemon = Daemon()
    assert daemon.stop() == 0
    assert "write V" not in watchdog_texts()


def test_missing_device_is_reported_once():
    daemon = Daemon(watchdog=False)
    wait_for_housekeeping(daemon)
    assert log() == "vesk: Watchdog stopped (before start).\n" + READY
    assert daemon.stderr() == "vesk: vesk_watchdog_ack fopen: No such file or directory\n"
    daemon.send_signal(signal.SIGUSR1)
    wait_until(lambda: "vesk: Watchdog already stopped.\n" in log(), what="the message")


def test_missing_device_in_no_actions_mode():
    Daemon(["-n"], watchdog=False)
    assert log() == ("vesk: Watchdog stopped (before start).\n"
                     "vesk: Watchdog already stopped.\n" + READY)


def test_device_without_the_requests_of_a_watchdog():
    WATCHDOG.touch()
    daemon = Daemon(watchdog=False)
    first = ("vesk: vesk_watchdog_ack ioctl[WDIOC_SETTIMEOUT]: Inappropriate ioctl for device\n"
             "vesk: vesk_watchdog_ack ioctl[WDIOC_KEEPALIVE]: Inappropriate ioctl for device\n")
    again = "vesk: vesk_watchdog_ack ioctl[WDIOC_KEEPALIVE]: Inappropriate ioctl for device\n"
    wait_until(lambda: daemon.stderr().startswith(first + again + again), what="the feeding to go on")
    daemon.send_signal(signal.SIGUSR1)
    wait_until(lambda: "vesk: Watchdog stopped.\n" in log(), what="the end of the watchdog")
    assert read(WATCHDOG) == "V"


def test_reboot_ends_the_loop_and_tells_process_1():
    install_plugin("reboot")
    daemon = Daemon()
    assert inform("object=reboot") == "OK\n"
    assert daemon.wait() == 1
    assert log() == READY + "vesk: Rebooting the system.\n"
    assert not PID_FILE.exists()
    seen = wait_until(lambda: init_events("signal"), what="the signal to process 1")
    assert seen == [(signal.SIGTERM, daemon.pid)]


def test_reboot_of_a_daemon_in_the_background():
    install_plugin("reboot")
    daemon = Daemon(foreground=False)
    pid = daemon.pid
    assert inform("object=reboot") == "OK\n"
    assert daemon.wait(pid=pid) == 1
    wait_until(lambda: (signal.SIGTERM, pid) in init_events("signal"), what="the signal to process 1")
    assert not PID_FILE.exists()


def test_reboot_is_only_logged_in_no_actions_mode():
    install_plugin("reboot")
    daemon = Daemon(["-n"])
    assert inform("object=reboot") == "OK\n"
    assert log().endswith(READY + "vesk: Rebooting the system is disabled.\n")
    assert "<rc>0</rc>" in lsql("<lsql><select><nothing/></select></lsql>")
    assert is_alive(daemon.pid)
    assert PID_FILE.exists()
    assert init_events("signal") == []
