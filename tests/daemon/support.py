"""Runs the daemon in a sandbox, at its real paths, and speaks to it.

Everything here acts on the system that it runs on, so it refuses to run outside a sandbox. What a
test writes is removed before the next one, together with every process that it left behind: a
conftest.py imports fresh_system and pytest_runtest_makereport for all tests of its folder.
"""

import os
import re
import select
import shutil
import signal
import socket
import struct
import subprocess
import time
from pathlib import Path

import pytest

CONSOLE = Path("/dev/console")
PID_FILE = Path("/var/run/vesk.pid")
STARTUP_FILE = Path("/etc/config/config.xml")
DEFAULT_FILE = Path("/etc/defaultconfig.xml")
RESCUE_FILE = Path("/etc/rescueconfig.xml")
POST_INIT = Path("/etc/post-init")
PLUGIN_DIR = Path("/usr/lib/vesk/plugins")
SERVICES = (Path("/usr/sbin/tkmigrate"), Path("/usr/sbin/version"))
WATCHDOG = Path("/dev/watchdog")
WATCHDOG_LOG = Path("/tmp/watchdog.log")
PANIC = Path("/proc/sys/kernel/panic")
INIT_EVENTS = Path("/run/init.events")
CAPTURED = Path("/run/captured")

EMPTY_CONFIG = '<?xml version="1.0"?>\n<config/>\n'
TIMEOUT = 20  # seconds; far more than anything here takes on a busy machine
DELIMITER = b"\x13"
BYTE_ORDER = os.environ.get("VESK_BYTE_ORDER", "=")  # of the daemon's machine
SANITIZER_REPORT = re.compile(r"ERROR: AddressSanitizer|LeakSanitizer|runtime error:")
CRASHES = {-signal.SIGSEGV, -signal.SIGABRT, -signal.SIGBUS, -signal.SIGILL, -signal.SIGFPE}


if socket.gethostname() != "vesk" or not Path("/host/usr/sbin").is_dir():
    raise RuntimeError("these tests run in a sandbox: scripts/daemon-test BUILD_DIR TEST_FILE.py")


def wait_until(predicate, timeout=TIMEOUT, what="a condition"):
    """The first true result of predicate, which is called every few milliseconds."""
    deadline = time.monotonic() + timeout
    while True:
        result = predicate()
        if result:
            return result
        assert time.monotonic() < deadline, f"waited {timeout} s for {what}"
        time.sleep(0.01)


# ------------------------------------------------------------------------------------------------
# Files

def read(path):
    """The text of a regular file, line ends as they are; nothing where there is none."""
    path = Path(path)
    try:
        return path.read_bytes().decode(errors="replace") if path.is_file() else ""
    except (FileNotFoundError, ProcessLookupError):
        return ""


def log():
    """What was logged since the daemon that was started last opened the console."""
    return read(CONSOLE).replace("\0", "")


def write_config(xml):
    STARTUP_FILE.parent.mkdir(parents=True, exist_ok=True)
    STARTUP_FILE.write_text(xml)


def write_script(path, body):
    """An executable shell script."""
    path = Path(path)
    path.unlink(missing_ok=True)
    path.write_text(f"#!/bin/sh\n{body}\n")
    path.chmod(0o755)


def built_plugin(name):
    """The file of a plug-in that was built from tests/daemon/plugins."""
    return Path(os.environ["VESK_TEST_PLUGINS"], f"{name}.so")


def install_plugin(source, name=None):
    """Copies a library, or the test plug-in called source, into the plug-in directory as name."""
    source = source if isinstance(source, Path) else built_plugin(source)
    return shutil.copy(source, PLUGIN_DIR / (name or source.name))


def compile_plugin(command, *options, cwd):
    """Runs the command that a document shows, with the checkout's headers and the compiler of the
    daemon's machine."""
    include = Path(__file__).resolve().parents[2] / "include"
    command = command.replace("-I include", f"-I {include}").split()
    command[0] = os.environ.get("VESK_CC", command[0])
    subprocess.run([*command, *options], cwd=cwd, check=True)


def watchdog_events(event=""):
    """(seconds, text) of what was done with the watchdog, or only of one kind of event."""
    lines = [line.split(" ", 1) for line in read(WATCHDOG_LOG).splitlines()]
    return [(float(seconds), text) for seconds, text in lines if text.startswith(event)]


def watchdog_texts():
    return [text for _, text in watchdog_events()]


# ------------------------------------------------------------------------------------------------
# Processes

def init_events(kind):
    """The numbers behind each event of that kind ("signal", "exited") that process 1 has seen."""
    lines = [line.split() for line in read(INIT_EVENTS).splitlines()]
    return [tuple(int(number) for number in line[1:]) for line in lines if line[0] == kind]


def is_alive(pid):
    """Whether the process exists and is no zombie."""
    stat = read(f"/proc/{pid}/stat")
    return bool(stat) and stat.rpartition(")")[2].split()[0] not in "ZX"


def process_status(pid, field):
    """A line of /proc/PID/status, such as "SigIgn" or "voluntary_ctxt_switches"."""
    return re.search(rf"^{field}:\s*(.*)$", read(f"/proc/{pid}/status"), re.MULTILINE)[1]


def descriptors(pid):
    """What the open descriptors of a process are, by number."""
    directory = f"/proc/{pid}/fd"
    return {int(number): os.readlink(f"{directory}/{number}") for number in os.listdir(directory)}


def descriptor_flags(pid, fd):
    return int(re.search(r"^flags:\s*(\d+)$", read(f"/proc/{pid}/fdinfo/{fd}"), re.MULTILINE)[1], 8)


def initialized():
    """Whether the start is over but for /etc/post-init and the services."""
    return "Initialization complete.\r\n" in log()


def answers():
    """Whether the event loop runs, so that the start is over and the services are started."""
    try:
        return inform("object=") == "ERR no handler\n"
    except ConnectionRefusedError:
        return False


class Daemon:
    """The daemon, running when the constructor returns: it waits for ready(), if that is not None.

    With foreground it gets -f. Otherwise it becomes a daemon, and its pid is that of the pid file.
    Without watchdog there is no stand-in for the device.
    """

    started = []  # in this test

    def __init__(self, args=(), *, foreground=True, watchdog=True, env=None, cwd="/",
                 stdin=subprocess.DEVNULL, ready=answers):
        self.args = [*(["-f"] if foreground else []), *args]
        self.foreground = any(arg.startswith("-") and "f" in arg for arg in self.args)
        number = len(self.started)
        self.stdout_file = CAPTURED / f"{number}.stdout"
        self.stderr_file = CAPTURED / f"{number}.stderr"
        if CONSOLE.is_file():
            os.truncate(CONSOLE, 0)
        with open(self.stdout_file, "ab") as stdout, open(self.stderr_file, "ab") as stderr:
            self.process = subprocess.Popen(
                [os.environ["VESK_BINARY"], *self.args], stdin=stdin, stdout=stdout, stderr=stderr,
                cwd=cwd, env=self._environment(watchdog, env or {}), start_new_session=True)
        self.started.append(self)
        if ready:
            wait_until(lambda: ready() or self._check_not_ended(), what="the daemon to be ready")

    def __str__(self):
        return " ".join(["vesk", *self.args])

    @staticmethod
    def _environment(watchdog, extra):
        environment = os.environ | extra
        options = ["detect_leaks=1", "quarantine_size_mb=64", environment.get("ASAN_OPTIONS", "")]
        if watchdog:
            preload = environment.get("VESK_PRELOAD_VARIABLE", "LD_PRELOAD")
            environment[preload] = environment["VESK_WATCHDOG_STANDIN"]
            options.append("verify_asan_link_order=0")
        environment["ASAN_OPTIONS"] = ":".join(filter(None, options))
        return environment

    def _check_not_ended(self):
        status = self.process.poll()
        expected = (None,) if self.foreground else (None, 0)
        assert status in expected, f"{self} ended with status {status} before it was ready"

    @property
    def pid(self):
        return self.process.pid if self.foreground else int(PID_FILE.read_text())

    def stdout(self):
        return read(self.stdout_file)

    def stderr(self):
        return read(self.stderr_file)

    def send_signal(self, number):
        os.kill(self.pid, number)

    def runs(self):
        if self.foreground:
            return self.process.poll() is None
        return self.process.poll() is None or (PID_FILE.is_file() and is_alive(self.pid))

    def wait_for_exit(self, timeout=TIMEOUT):
        """The exit status of the process that was started, even if that is not the daemon."""
        return self.process.wait(timeout)

    def wait(self, timeout=TIMEOUT, pid=None):
        """The exit status of the daemon, or minus the signal that ended it."""
        if self.foreground:
            return self.wait_for_exit(timeout)
        pid = pid or self.pid
        wait_until(lambda: pid in dict(init_events("exited")), timeout, f"the end of {self}")
        return dict(init_events("exited"))[pid]

    def stop(self, number=signal.SIGTERM, timeout=TIMEOUT):
        """Sends a signal and waits for the end; the exit status."""
        pid = self.pid
        os.kill(pid, number)
        return self.wait(timeout, pid)

    def kill9(self):
        return self.stop(signal.SIGKILL)


# ------------------------------------------------------------------------------------------------
# Clients

def abstract_address(name):
    """An address of the abstract namespace, padded: the daemon binds with all of its 108 bytes."""
    return b"\0" + name.encode() + b"\0" * (107 - len(name))


def connect_unix(name, timeout=TIMEOUT):
    client = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    client.settimeout(timeout)
    client.connect(abstract_address(name))
    return client


def connect_tcp(port, timeout=TIMEOUT):
    return socket.create_connection(("127.0.0.1", port), timeout)


def has_input(client):
    """Whether there is something to receive at this moment, the end of the connection included."""
    return bool(select.select([client], [], [], 0)[0])


def receive_all(client):
    """What the daemon sends until it closes."""
    received = b""
    while block := client.recv(65536):
        received += block
    return received


def pack(numbers, *values):
    """Numbers as the daemon's machine has them in its memory."""
    return struct.pack(BYTE_ORDER + numbers, *values)


def lsql(text, timeout=TIMEOUT):
    """One request over the local socket; the answer, empty when there is none."""
    request = text.encode()
    with connect_unix("vesk_sock_lsql", timeout) as client:
        client.sendall(pack("I", len(request)) + request)
        return receive_all(client).decode()


def inform_message(parameters, version=0):
    text = parameters.encode()
    return pack("II", version, len(text)) + text


def inform(parameters, version=0, timeout=TIMEOUT):
    """One inform message; the reply with its line feed, empty when there is none."""
    with connect_unix("vesk_sock_inform", timeout) as client:
        client.sendall(inform_message(parameters, version))
        return receive_all(client).decode()


class Messages:
    """A TCP connection on which the daemon sends texts, each ended by the same byte."""

    def __init__(self, port, end):
        self.end = end
        self.received = b""
        self.socket = connect_tcp(port)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data if isinstance(data, bytes) else data.encode())

    def receive(self, timeout=TIMEOUT):
        """The next text, without its end; None when the daemon has closed the connection."""
        self.socket.settimeout(timeout)
        while self.end not in self.received:
            block = self.socket.recv(65536)
            if not block:
                return None
            self.received += block
        text, _, self.received = self.received.partition(self.end)
        return text.decode()

    def has_input(self):
        return bool(self.received) or has_input(self.socket)


class LsqlTcp(Messages):
    """An LSQL connection that takes any number of requests."""

    def __init__(self):
        super().__init__(8002, DELIMITER)

    def request(self, text, timeout=TIMEOUT):
        self.send(text.encode() + DELIMITER)
        return self.receive(timeout)


class NotifyClient(Messages):
    """A subscriber to change notifications, subscribed when the constructor returns."""

    def __init__(self, subscribe=True):
        super().__init__(8001, b"\0")
        if subscribe:
            self.subscribe()

    def subscribe(self):
        self.send(b"x")
        wait_until(self._sent_is_acknowledged, what="the subscription to arrive")
        wait_until(self._sent_is_read, what="the subscription to be read")

    def recv_message(self, timeout=TIMEOUT):
        return self.receive(timeout)

    def _sent_is_acknowledged(self):
        queues = self._queues(self.socket.getsockname()[1], 8001)
        return queues is None or queues[0] == 0

    def _sent_is_read(self):
        queues = self._queues(8001, self.socket.getsockname()[1])
        return queues is None or queues[1] == 0

    @staticmethod
    def _queues(port, peer):
        """How many bytes the side of the connection with this port has not sent and not read."""
        for line in read("/proc/net/tcp").splitlines()[1:]:
            _, local, remote, _, queues = line.split()[:5]
            if int(local[-4:], 16) == port and int(remote[-4:], 16) == peer:
                sent, received = queues.split(":")
                return int(sent, 16), int(received, 16)
        return None


# ------------------------------------------------------------------------------------------------
# Between tests

def end_daemons():
    """Lets every daemon of this test end, so that leaks are found; a list of what went wrong."""
    problems = []
    for daemon in Daemon.started:
        try:
            if daemon.runs():
                daemon.stop()
        except (AssertionError, OSError, ValueError, subprocess.TimeoutExpired) as problem:
            problems.append(f"{daemon} did not end on SIGTERM: {problem}")
    return problems


def crashes():
    """A list of the sanitizer reports and crashes of this test."""
    problems = [f"{source}:\n{read(source)}" for source in (CONSOLE, *sorted(CAPTURED.iterdir()))
                if source.is_file() and SANITIZER_REPORT.search(read(source))]
    statuses = [(daemon.process.pid, daemon.process.poll()) for daemon in Daemon.started]
    statuses += init_events("exited")
    return problems + [f"process {pid} was ended by signal {-status}"
                       for pid, status in statuses if status in CRASHES]


def kill_everything():
    """Ends every process of the sandbox except process 1 and this one."""
    def nothing_left():
        pids = {int(name) for name in os.listdir("/proc") if name.isdigit()} - {1, os.getpid()}
        for pid in pids:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        for daemon in Daemon.started:
            daemon.process.poll()
        return not pids
    wait_until(nothing_left, what="all processes to end")
    Daemon.started.clear()


def temporary_files():
    """What is in /tmp but for what is mounted there: checkout and build may lie below it."""
    mount_points = [line.split()[4] for line in read("/proc/self/mountinfo").splitlines()]
    return [path for path in Path("/tmp").iterdir()
            if not any(f"{point}/".startswith(f"{path}/") for point in mount_points)]


def remove(path):
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    else:
        path.unlink(missing_ok=True)


def reset_files():
    """Makes a device without plug-ins, with an empty configuration and services that end at once."""
    for path in (PID_FILE, INIT_EVENTS, WATCHDOG, CONSOLE, CAPTURED, PLUGIN_DIR, STARTUP_FILE.parent,
                 DEFAULT_FILE, RESCUE_FILE, POST_INIT, *SERVICES, *temporary_files()):
        remove(path)
    CONSOLE.touch()
    PANIC.write_text("")
    CAPTURED.mkdir()
    PLUGIN_DIR.mkdir()
    write_config(EMPTY_CONFIG)
    for service in SERVICES:
        service.symlink_to("/bin/true")


@pytest.fixture(autouse=True)
def fresh_system():
    """A fresh system for each test, which fails when a daemon of it crashed or does not end."""
    kill_everything()
    reset_files()
    yield
    problems = end_daemons() + crashes()
    kill_everything()
    assert not problems, "\n".join(problems)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    """Shows with a failed test what the daemon said."""
    report = (yield).get_result()
    if report.when == "call" and report.failed:
        report.sections.append(("log", log()))
        for daemon in Daemon.started:
            report.sections.append((str(daemon), daemon.stdout() + daemon.stderr()))
