"""The unit under the real systemd as process 1, from the first start to a reboot that the daemon
asks for.
"""

import os
import signal
import time
from pathlib import Path

from device import (PID_FILE, STARTUP_FILE, address, another_daemon, configure, daemon, inform,
                    plug_in_hardware, programs, run, say, serves, wait_until)


def unit(*names):
    """Properties of the unit."""
    lines = say("systemctl", "show", "vesk").splitlines()
    values = dict(line.split("=", 1) for line in lines if "=" in line)
    return tuple(values[name] for name in names)


def main():
    plug_in_hardware()

    # Installed is not enabled, and without files there is no start.
    assert say("systemctl", "is-enabled", "vesk") == "disabled"
    assert run("systemctl", "start", "vesk") == 0
    assert daemon() == 0 and unit("ConditionResult") == ("no",)
    configure()

    # The start is over when the system is set up and clients are served.
    assert run("systemctl", "enable", "--now", "vesk") == 0
    assert say("systemctl", "is-enabled", "vesk") == "enabled"
    assert serves() and address() == "192.0.2.10/24"
    first = daemon()
    assert unit("ActiveState", "MainPID") == ("active", str(first))
    assert os.getpgid(first) == first and os.getsid(first) == first
    wait_until(lambda: len(programs("dnsmasq")) == 1, "the DHCP server")

    # Killed, it leaves nothing behind, and another one comes. So it does when it was told to end.
    os.kill(first, signal.SIGKILL)
    wait_until(lambda: unit("SubState") == ("auto-restart",), "the pause before the next start")
    assert not programs("dnsmasq")
    second = another_daemon(first)
    wait_until(lambda: len(programs("dnsmasq")) == 1, "another DHCP server")
    os.kill(second, signal.SIGTERM)
    another_daemon(second)
    assert unit("NRestarts") == ("2",)

    # Stopped, it ends in order and stays so.
    wait_until(lambda: unit("ActiveState") == ("active",), "the end of the start")
    assert run("systemctl", "stop", "vesk") == 0
    assert daemon() == 0 and not programs("dnsmasq") and not PID_FILE.exists()
    assert unit("ActiveState", "Result") == ("inactive", "success")

    # A start with an option that there is not fails, and is no reason for a reboot.
    Path("/etc/default/vesk").write_text("VESK_OPTIONS=-x\n")
    assert run("systemctl", "start", "vesk") == 1
    assert unit("SubState") == ("auto-restart",)
    Path("/etc/default/vesk").write_text("VESK_OPTIONS=-d\n")
    another_daemon(0)
    wait_until(lambda: unit("ActiveState") == ("active",), "the end of the start")
    assert say("systemctl", "list-jobs") == "No jobs running."

    # What the daemon asks init for, systemd does not take as a request.
    print("asks for a reboot", flush=True)
    inform("object=reboot")
    time.sleep(20)
    print("not rebooted")


try:
    main()
finally:
    run("systemctl", "--force", "--force", "exit", "1")
