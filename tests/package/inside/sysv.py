"""From the first start to the purge on a system with init scripts.

    sysv.py OLDER NEWER     folders with vesk.deb and vesk-reference.deb; the older ones are installed
"""

import os
import signal
import struct
import sys

from device import (PID_FILE, STARTUP_FILE, address, another_daemon, configure, daemon,
                    plug_in_hardware, programs, run, say, serves, set_address, wait_until)


def enter_runlevel(level):
    """As init notes it in its log of users."""
    record = struct.pack("=h2xi32s4s32s", 1, ord(level), b"~", b"~~", b"runlevel")
    with open("/run/utmp", "wb") as log:
        log.write(record.ljust(384, b"\0"))
    assert say("runlevel") == f"N {level}"


def apt(*arguments):
    assert run("apt-get", "-q", "-y", *arguments) == 0


def install(folder):
    apt("install", "--no-install-recommends", "--allow-downgrades", f"{folder}/vesk.deb",
        f"{folder}/vesk-reference.deb")
    return say("dpkg-query", "-W", "-f", "${Version}", "vesk")


older, newer = sys.argv[1:]
enter_runlevel("2")
plug_in_hardware()

# Without a decision of the administrator nothing starts it, and without files not even the script does.
run("invoke-rc.d", "vesk", "start")
assert daemon() == 0
assert run("/etc/init.d/vesk", "start") == 6 and daemon() == 0
configure()
run("invoke-rc.d", "vesk", "start")
assert daemon() == 0

# With one it sets up the system, and is started again whenever it ends.
assert run("update-rc.d", "vesk", "enable") == 0
assert run("invoke-rc.d", "vesk", "start") == 0
assert serves() and address() == "192.0.2.10/24"
wait_until(lambda: len(programs("dnsmasq")) == 1, "the DHCP server")
first = daemon()
os.kill(first, signal.SIGKILL)
second = another_daemon(first)
wait_until(lambda: len(programs("dnsmasq")) == 1, "its DHCP server")

# An upgrade starts it again with what was saved, and so does the way back.
set_address("192.0.2.77")
assert run("veskctl", "inform", "object=config", "action=save") == 0
assert "192.0.2.77" in say("veskctl", "show", "interface", "eth1", "address")
set_address("192.0.2.99")
version = say("dpkg-query", "-W", "-f", "${Version}", "vesk")
assert install(newer) != version
third = another_daemon(second)
assert address() == "192.0.2.77/24"
assert install(older) == version
another_daemon(third)
assert address() == "192.0.2.77/24"

# Removed, it has ended, and the configuration is still there; purged, that is gone as well.
apt("remove", "vesk")
wait_until(lambda: daemon() == 0 and not programs("dnsmasq"), "the end of the daemon")
assert STARTUP_FILE.exists() and not PID_FILE.exists()
apt("purge", "--auto-remove", "vesk", "vesk-reference", "veskctl")
assert not STARTUP_FILE.parent.exists()
print("done")
