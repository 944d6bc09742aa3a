"""The servers that are measured, and what is to be seen of them from outside."""

import os
import shutil
import signal
import socket
import struct
import subprocess
import time
from pathlib import Path

from make_config import write_config

WORK = Path("/tmp/bench")
STARTUP_FILE = Path("/etc/config/config.xml")
SERVICES = (Path("/usr/sbin/tkmigrate"), Path("/usr/sbin/version"))
CONSOLE = Path("/dev/console")
OUTPUT = WORK / "output"  # of the server that was started last
PATIENCE = 60  # seconds; far more than any start or stop takes
LOCAL_NAMES = {"daemon": "vesk_sock_lsql", "E": "vesk_bench_echo", "X": "vesk_bench_tree"}


class Failure(Exception):
    """Something could not be measured."""


def output_of(*command):
    """What a program prints."""
    ended = subprocess.run([str(part) for part in command], capture_output=True, check=False)
    if ended.returncode != 0:
        raise Failure(f"{Path(command[0]).name} ended with {ended.returncode}: "
                      + ended.stderr.decode(errors="replace").strip()[-300:])
    return ended.stdout


def config_file(objects):
    return WORK / f"config-{objects}.xml"


def make_files(sizes):
    WORK.mkdir()
    for objects in sizes:
        with open(config_file(objects), "w") as file:
            write_config(file.write, objects)
    STARTUP_FILE.parent.mkdir()
    for service in SERVICES:
        service.symlink_to("/bin/true")


def use_startup_file(objects):
    shutil.copy(config_file(objects), STARTUP_FILE)
    os.truncate(CONSOLE, 0)


def local_connection(name):
    """A connection to an abstract local address; the whole address counts."""
    client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    try:
        client.connect(b"\0" + name.encode().ljust(107, b"\0"))
    except OSError:
        client.close()
        raise
    return client


def is_listening(server):
    """At its local socket, which is opened last."""
    try:
        local_connection(LOCAL_NAMES[server]).close()
    except ConnectionRefusedError:
        return False
    return True


def answer_over(name, message):
    """All that comes back before the connection is closed."""
    with local_connection(name) as client:
        client.sendall(message)
        received = b""
        while block := client.recv(65536):
            received += block
        return received


def answer_to(request):
    """The daemon's answer to a request."""
    return answer_over(LOCAL_NAMES["daemon"], struct.pack("=I", len(request)) + request.encode())


def give_memory_back():
    """Has the plug-in return what the daemon has free, so that what it uses next is seen."""
    message = b"object=trim"
    answer = answer_over("vesk_sock_inform", struct.pack("=II", 0, len(message)) + message)
    if answer != b"OK\n":
        raise Failure(f"memory is not given back: {answer}")


class Process:
    """A process that runs while the block does."""

    def __init__(self, command, **arguments):
        self.process = subprocess.Popen([str(part) for part in command], stdin=subprocess.DEVNULL,
                                        start_new_session=True, **arguments)
        self.pid = self.process.pid

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(PATIENCE)
        finally:
            self.process.kill()

    def _kilobytes(self, file, field):
        for line in Path(f"/proc/{self.pid}/{file}").read_text().splitlines():
            if line.startswith(field + ":"):
                return int(line.split()[1])
        raise Failure(f"/proc shows no {field}")

    def resident_bytes(self):
        return self._kilobytes("smaps_rollup", "Rss") * 1024

    def peak_bytes(self):
        """The most that was resident since the start, or since forget_peak()."""
        return self._kilobytes("status", "VmHWM") * 1024

    def forget_peak(self):
        Path(f"/proc/{self.pid}/clear_refs").write_text("5")


class Server(Process):
    """A process that listens."""

    def __init__(self, name, command):
        if is_listening(name):
            raise Failure(f"{name} runs already")
        with open(OUTPUT, "w") as output:
            super().__init__(command, stdout=output, stderr=output)
        limit = time.monotonic() + PATIENCE
        while not is_listening(name):
            if self.process.poll() is not None or time.monotonic() > limit:
                self.process.kill()
                raise Failure(f"{name} does not listen: " + OUTPUT.read_text(errors="replace")
                              + CONSOLE.read_text(errors="replace"))
            time.sleep(0.001)
