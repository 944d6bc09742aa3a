"""What the tests do in a Debian system that has become an access point."""

import os
import re
import socket
import struct
import subprocess
import time
from pathlib import Path

PID_FILE = Path("/run/vesk.pid")
STARTUP_FILE = Path("/etc/config/config.xml")
FILES = Path("/usr/share/vesk-reference")


def wait_until(predicate, what, timeout=30):
    deadline = time.monotonic() + timeout
    while not predicate():
        assert time.monotonic() < deadline, f"waited {timeout} s for {what}"
        time.sleep(0.02)


def run(*command):
    """The exit status of a command; what it says goes to the log of the test."""
    print("$", *command, flush=True)
    return subprocess.run(command, stdin=subprocess.DEVNULL).returncode


def say(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout.strip()


def plug_in_hardware():
    for name in ("eth0", "eth1", "wlan0", "wlan1"):
        assert run("ip", "link", "add", "dev", name,
                   "type", "veth", "peer", "name", f"{name}-port") == 0


def configure():
    """The decision of the administrator, first half: the files come into their places."""
    for name, place in (("config.xml", STARTUP_FILE), ("defaultconfig.xml", "/etc"),
                        ("rescueconfig.xml", "/etc")):
        assert run("install", "-m", "600", FILES / name, place) == 0


def programs(name):
    """The processes that run a program, by process id; each with that of its parent."""
    found = {}
    for stat in Path("/proc").glob("[0-9]*/stat"):
        try:
            match = re.match(rf"(\d+) \({name}\) [^ZX] (\d+)", stat.read_text())
        except (FileNotFoundError, ProcessLookupError):
            continue
        if match:
            found[int(match[1])] = int(match[2])
    return found


def daemon():
    """The one process of the daemon, 0 where there is none."""
    found = programs("vesk")
    # Not the script of that name, nor a child that is yet to become another program.
    leaders = [pid for pid, parent in found.items() if parent not in found and is_binary(pid)]
    assert len(leaders) <= 1, leaders
    return leaders[0] if leaders else 0


def is_binary(pid):
    try:
        return os.readlink(f"/proc/{pid}/exe").removesuffix(" (deleted)") == "/usr/sbin/vesk"
    except (FileNotFoundError, ProcessLookupError):
        return False


def another_daemon(before):
    wait_until(lambda: daemon() not in (0, before) and serves(), "another daemon")
    return daemon()


def exchange(name, data):
    with socket.socket(socket.AF_UNIX) as client:
        client.settimeout(20)
        client.connect(b"\0" + name.encode() + b"\0" * (107 - len(name)))
        client.sendall(data)
        return b"".join(iter(lambda: client.recv(65536), b"")).decode()


def lsql(request):
    return exchange("vesk_sock_lsql", struct.pack("=I", len(request)) + request.encode())


def inform(parameters):
    return exchange("vesk_sock_inform", struct.pack("=II", 0, len(parameters)) + parameters.encode())


def serves():
    try:
        return inform("object=") == "ERR no handler\n"
    except OSError:
        return False


def address():
    """The address of eth1 in the kernel."""
    found = re.search(r"inet (\S+)", say("ip", "-4", "address", "show", "dev", "eth1"))
    return found and found[1]


def set_address(wanted):
    answer = lsql(f'<lsql><update><interface name="eth1"><address>{wanted}</address></interface>'
                  "</update></lsql>")
    assert "<rc>0</rc>" in answer, answer

