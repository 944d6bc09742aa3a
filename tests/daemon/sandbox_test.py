"""The sandbox and the harness themselves, without the daemon where that will do."""

import errno
import os
import signal
import socket
import subprocess
from pathlib import Path

import pytest

import support
from support import (CAPTURED, CONSOLE, PANIC, PLUGIN_DIR, STARTUP_FILE, Daemon, LsqlTcp,
                     NotifyClient, inform, init_events, install_plugin, is_alive, log, lsql, read,
                     wait_until, write_config, write_script)


def output_of(script):
    return subprocess.run(script, shell=True, stdout=subprocess.PIPE, check=True).stdout


def orphan(last_command):
    """The pid of a process that runs a command once its parent has ended."""
    write_script("/tmp/orphan", "while read -r _ _ _ parent _ < /proc/$$/stat; [ $parent != 1 ]\n"
                                f"do sleep 0.01; done; {last_command}")
    return int(output_of("/tmp/orphan >/dev/null & echo $!"))


def test_process_1_reaps_orphans():
    pid = orphan("exit 7")
    wait_until(lambda: (pid, 7) in init_events("exited"), what="the orphan to be reaped")
    assert not Path(f"/proc/{pid}").exists()


def test_process_1_survives_a_signal():
    os.kill(1, signal.SIGTERM)
    seen = wait_until(lambda: init_events("signal"), what="the event")
    assert seen == [(signal.SIGTERM, os.getpid())]
    assert is_alive(1)


@pytest.mark.parametrize("path", ["/proc/sys/kernel/hostname", "/proc/sys/kernel/core_pattern"])
def test_kernel_settings_are_read_only(path):
    with pytest.raises(OSError) as raised:
        os.close(os.open(path, os.O_WRONLY))
    assert raised.value.errno in (errno.EROFS, errno.EACCES)


def test_panic_setting_is_a_private_file():
    PANIC.write_text("77\n")
    mounts = [line.split() for line in read("/proc/self/mountinfo").splitlines()]
    assert [line[line.index("-") + 1] for line in mounts if line[4] == str(PANIC)] == ["tmpfs"]
    assert PANIC.read_text() == "77\n"


@pytest.mark.parametrize("directory", ["/", "/usr", "/usr/lib", os.path.dirname(__file__)])
def test_the_system_is_read_only(directory):
    with pytest.raises(OSError) as raised:
        Path(directory, "a new file").touch()
    assert raised.value.errno == errno.EROFS


@pytest.mark.parametrize("directory", [
    "/etc", "/etc/config", "/tmp", "/run", "/var/run", "/dev", "/usr/sbin", str(PLUGIN_DIR),
])
def test_the_places_of_the_daemon_are_writable(directory):
    file = Path(directory, "new")
    file.touch()
    file.unlink()


def test_console_is_an_empty_file():
    assert CONSOLE.is_file() and read(CONSOLE) == ""


def test_network_is_the_loopback_alone():
    assert [name for _, name in socket.if_nameindex()] == ["lo"]
    with socket.create_server(("127.0.0.1", 8001)):
        socket.create_connection(("127.0.0.1", 8001)).close()


LEFT = []


@pytest.mark.parametrize("turn", [1, 2])
def test_nothing_is_left_of_the_test_before(turn):
    for pid in LEFT:
        assert not Path(f"/proc/{pid}").exists()
    assert not Path("/tmp/left").exists()
    assert os.listdir(PLUGIN_DIR) == []
    assert read(STARTUP_FILE) == '<?xml version="1.0"?>\n<config/>\n'
    write_script("/tmp/left", "exec sleep 1000")
    (PLUGIN_DIR / "left.so").touch()
    STARTUP_FILE.unlink()
    LEFT.append(int(output_of("setsid /tmp/left >/dev/null & echo $!")))


@pytest.mark.parametrize("report", [
    "==3==ERROR: AddressSanitizer: heap-use-after-free", "==3==ERROR: LeakSanitizer: detected",
    "model/class.cpp:3:4: runtime error: shift exponent",
])
def test_sanitizer_reports_are_found(report):
    assert support.crashes() == []
    file = CAPTURED / "0.stderr"
    file.write_text(f"some text\n{report}\n")
    assert support.crashes() == [f"{file}:\nsome text\n{report}\n"]
    file.unlink()


def test_crashes_are_found():
    pid = orphan("kill -SEGV $$")
    wait_until(support.crashes, what="the crash to be seen")
    assert support.crashes() == [f"process {pid} was ended by signal 11"]
    support.INIT_EVENTS.unlink()


# ------------------------------------------------------------------------------------------------
# The clients

SELECT = '<lsql><select><radio name="r0" properties="all"/></select></lsql>'
SELECTED = ('<?xml version="1.0"?>\n<lsql_result><dataset><radio name="r0"><state>up</state></radio>'
            '</dataset><rc>0</rc><counter>1</counter></lsql_result>\n')


@pytest.fixture
def radio():
    write_config('<config><radio name="r0"><state>up</state></radio></config>')
    install_plugin("radio")
    return Daemon()


def test_lsql_clients(radio):
    assert lsql(SELECT) == SELECTED
    with LsqlTcp() as client:
        assert client.request(SELECT) == SELECTED
        client.send((SELECT + "\x13") * 2)
        assert [client.receive(), client.receive()] == [SELECTED] * 2
        assert not client.has_input()


def test_inform_client(radio):
    assert inform("object=nobody") == "ERR no handler\n"
    assert inform("object=nobody", version=1) == ""
    assert "vesk: Inform version number unrecognized.\n" in log() + radio.stderr()


def test_notify_client(radio):
    with NotifyClient() as client, NotifyClient(subscribe=False) as deaf:
        assert inform("object=save") == "OK\n"
        assert inform("object=change&name=r0&state=up&origin=web") == "OK\n"
        assert client.recv_message() == '<?xml version="1.0"?><conf_changed>2</conf_changed>\n'
        assert client.recv_message() == (
            '<?xml version="1.0"?><object_changed origin="web"><radio name="r0"><state>up</state>'
            "</radio></object_changed>\n")
        assert not client.has_input() and not deaf.has_input()
