"""veskctl where a transcript does not reach: odd values, large answers, a daemon that goes away, notifications."""

import contextlib
import json
import os
import re
import shlex
import signal
import socket
import struct
import subprocess
import threading
import time

import pytest

import reference_device
from client import ENVIRONMENT, VESKCTL, output_of, run, start
from support import (BYTE_ORDER, STARTUP_FILE, TIMEOUT, Daemon, NotifyClient, abstract_address,
                     inform, install_plugin, log, lsql, read, wait_until)

MEGABYTE = 1024 * 1024
COMMITTING = "/tmp/committing"
ODD_VALUES = [
    "a<b>&\"c\"'d'",
    "first\nsecond\r\n\tthird",
    "Caf\u00e9 \u65e5\u672c \U0001F4F6 e\u0301 \u202e\u009b31m",
    "  blanks  ",
    "]]> <![CDATA[x]]> <!-- --> &amp; &#65;",
    "\\ \\n %s $HOME `id`",
    "a=b",
    "\ufffd\u00a0",
]


def values_of(*words):
    """The properties of the one instance that show finds."""
    instance, = json.loads(output_of("show", *words, "--output", "json"))
    return instance["properties"]


def in_shell(command):
    return subprocess.run(["bash", "-c", command], text=True, env=ENVIRONMENT, capture_output=True,
                          timeout=TIMEOUT)


def log_says(text):
    return wait_until(lambda: text in log(), what=f"{text!r} in the log")


# ------------------------------------------------------------------------------------------------
# Values

@pytest.mark.parametrize("value", ODD_VALUES)
def test_a_value_comes_back_after_save_and_restart(value):
    daemon = start()
    output_of("set", "system", f"contact={value}")
    assert values_of("system", "contact") == {"contact": value}
    output_of("save")
    daemon.stop()
    Daemon()
    assert values_of("system", "contact") == {"contact": value}
    saved = json.loads(output_of("startup", "-o", "json"))
    assert [one["properties"] for one in saved if one["class"] == "system"] == [{"contact": value}]


@pytest.mark.parametrize("name", ODD_VALUES)
def test_a_name_comes_back_after_save_and_restart(name):
    daemon = start()
    output_of("add", "radio", "--name", name, "state=up", "ssid=odd")
    output_of("save")
    daemon.stop()
    Daemon()
    instance, = json.loads(output_of("show", "radio", "--name", name, "ssid", "-o", "json"))
    assert (instance["name"], instance["properties"]) == (name, {"ssid": "odd"})
    assert json.loads(output_of("delete", "radio", "--name", name, "-o", "json"))["changes"] == [
        {"operation": "delete", "class": "radio", "count": 1, "instances": [name]}]


def test_a_value_comes_back_on_the_reference_access_point():
    network = "<a> & \"b\" 'c'\n\t\\ Caf\u00e9 \u65e5\U0001F4F6"
    reference_device.install()
    daemon = Daemon(watchdog=False)
    output_of("set", "ssid", "lobby", f"ssid={network}")
    output_of("save")
    daemon.stop()
    Daemon(watchdog=False)
    assert values_of("ssid", "lobby", "ssid") == {"ssid": network}
    assert '<a> & "b" ' in output_of("show", "ssid", "lobby", "ssid")
    assert len(json.loads(output_of("show", "-o", "json"))) == 219


@pytest.mark.parametrize("value", ODD_VALUES)
def test_a_condition_finds_a_value(value):
    start()
    output_of("set", "radio", "r1", f"ssid={value}")
    quoted = "".join(f"\\u{{{ord(character):x}}}" for character in value)
    for condition in (f'ssid="{quoted}"', 'ssid="' + re.sub(r'(["\\])', r"\\\1", value) + '"'):
        found = json.loads(output_of("show", "radio", "ssid", "-w", condition, "-o", "json"))
        assert [(radio["name"], radio["properties"]["ssid"]) for radio in found] == [("r1", value)]


def test_json_holds_nothing_that_a_terminal_obeys():
    start()
    output_of("set", "system", "contact=\u009b31m\x7f\u202e\U000e0041")
    text = output_of("show", "system", "contact", "-o", "json")
    assert r'"\u009b31m\u007f\u202e\udb40\udc41"' in text
    assert values_of("system", "contact") == {"contact": "\u009b31m\x7f\u202e\U000e0041"}


def test_a_batch_sets_what_its_quotes_say():
    start()
    output_of("apply", "-", stdin="set system contact=$'a\\n\\'b\\u00e9\\x41'\"\\\"\\\\ \n\"' $x # y'\n")
    assert values_of("system", "contact") == {"contact": "a\n'b\u00e9A\"\\ \n $x # y"}


def test_a_dry_run_leaves_the_device_alone():
    reference_device.install()
    Daemon(watchdog=False)
    wait_until(reference_device.dnsmasq_pids, what="the DHCP server")

    def state():
        values = [reference_device.persistent(name) for name in reference_device.CLASSES]
        return reference_device.system_state(), values, read(STARTUP_FILE)
    before = state()
    for words in (["set", "interface", "state=down"], ["set", "system", "hostname=other"], ["delete", "ssid"],
                  ["set", "dhcp", "state=off"], ["add", "dns_server", "address=192.0.2.1"]):
        output_of(*words, "--dry-run")
    output_of("apply", "-", "--dry-run", stdin="delete mac_filter\ndelete dns_server\n")
    output_of("raw", "-", "--dry-run", stdin="<lsql><delete><radio/></delete></lsql>")
    assert state() == before
    output_of("set", "system", "hostname=other")
    assert state() != before


# ------------------------------------------------------------------------------------------------
# Who is told

def test_changes_have_an_origin():
    start()
    with NotifyClient() as subscriber:
        output_of("set", "radio", "r0", "ssid=x")
        output_of("save")
        assert 'origin="veskctl"' in subscriber.recv_message()
        output_of("set", "radio", "r0", "ssid=y", "--origin", "a \"b\"")
        output_of("save")
        assert 'origin="a &quot;b&quot;"' in subscriber.recv_message()


def test_a_save_needs_no_free_place_among_the_subscribers():
    start()
    with contextlib.ExitStack() as stack:
        for _ in range(8):
            stack.enter_context(NotifyClient())
        output_of("set", "radio", "r0", "ssid=crowded")
        assert output_of("save") == "saved\n"
    assert "<ssid>crowded</ssid>" in read(STARTUP_FILE)


def notify(value):
    return inform(f"object=change&origin=web&class=radio&name=r2&property=state&value={value}")


@contextlib.contextmanager
def watching(*options):
    """veskctl watch, subscribed, with the file that its output goes to."""
    with open("/run/watched", "w") as output:
        process = subprocess.Popen([VESKCTL, "watch", *options], stdout=output,
                                   stderr=subprocess.PIPE, text=True, env=ENVIRONMENT)
    try:
        wait_until(lambda: notify("first") and read("/run/watched"), what="a notification")
        yield process
    finally:
        process.kill()
        process.wait()


def watched():
    """What was shown so far, but for what was sent until the subscription was there."""
    return [line for line in read("/run/watched").splitlines() if "first" not in line]


def test_watch_shows_notifications():
    start()
    with watching():
        notify("<off> \u009b31m")
        inform("object=change&class=system&property=contact&value=")
        lsql('<lsql origin="web"><select><radio/></select></lsql>')
        inform("object=config&action=save")
        lines = wait_until(lambda: len(watched()) == 3 and watched(), what="three lines")
    assert [re.fullmatch(r"\d\d:\d\d:\d\d  (.*)", line)[1] for line in lines] == [
        r"radio r2: state=<off> \u{9b}31m  (web)",
        "system: contact=",
        "startup configuration replaced, number 2  (web)"]


def test_watch_writes_an_object_a_line():
    start()
    with watching("-o", "json"):
        notify("a\nb")
        inform("object=change&class=system&property=contact&value=x")
        inform("object=config&action=save")
        lines = wait_until(lambda: len(watched()) == 3 and watched(), what="three lines")
    assert [json.loads(line) for line in lines] == [
        {"event": "object_changed", "origin": "web", "class": "radio", "name": "r2",
         "property": "state", "value": "a\nb"},
        {"event": "object_changed", "origin": None, "class": "system", "name": None,
         "property": "contact", "value": "x"},
        {"event": "conf_changed", "origin": None, "number": 2}]


def test_watch_shows_messages_as_they_are():
    start()
    with watching("-o", "xml"):
        notify("<off>")
        line, = wait_until(lambda: watched(), what="a line")
    assert line == ('<?xml version="1.0"?><object_changed origin="web"><radio name="r2"><state>&lt;off&gt;'
                    "</state></radio></object_changed>")


def test_watch_ends_after_a_number_of_messages():
    start()
    with watching("--count", "1") as process:
        assert process.wait(TIMEOUT) == 0
        assert len(read("/run/watched").splitlines()) == 1


def test_watch_goes_on_after_a_stop():
    start()
    with watching() as process:
        process.send_signal(signal.SIGSTOP)
        notify("stopped")
        process.send_signal(signal.SIGCONT)
        wait_until(lambda: "stopped" in read("/run/watched"), what="what came meanwhile")
        notify("<later>")
        wait_until(lambda: "<later>" in read("/run/watched"), what="what came later")


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_watch_ends_on_a_signal(number):
    start()
    with watching() as process:
        process.send_signal(number)
        assert process.wait(TIMEOUT) == -number
        assert process.stderr.read() == ""


def test_watch_bears_any_text_and_any_blocks():
    """Where there is no daemon something else may speak for it, or a plug-in write no XML."""
    blocks = [b'<?xml version="1.0"?><object_changed><radio name="r0"><no', b"te>1</note></radio></object_changed>\n",
              b'\0<object_changed><radio><note>\x01\xff\x1b[31m</note></radio></object_changed>\0\0',
              b'<conf_changed>7</conf_changed>\0<object_changed/>\0<conf_changed/']
    with socket.create_server(("127.0.0.1", 8001)) as server:
        with open("/run/watched", "w") as output:
            process = subprocess.Popen([VESKCTL, "watch"], stdout=output, stderr=subprocess.PIPE, text=True,
                                       env=ENVIRONMENT)
        client, _ = server.accept()
        with client:
            client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            client.recv(1)
            for block in blocks:
                client.sendall(block)
                time.sleep(0.02)
        assert process.wait(TIMEOUT) == 3
    assert [line[10:] for line in read("/run/watched").splitlines()] == [
        "radio r0: note=1", "startup configuration replaced, number 7", ""]
    complaints = process.stderr.read().splitlines()
    assert complaints[0] == ("veskctl: a notification that is no XML: <object_changed><radio><note>"
                             r"\x01\xff\x1b[31m</note></radio></object_changed>")
    assert complaints[1] == "veskctl: a notification that is no XML: "
    assert complaints[2].startswith("veskctl: the daemon closed the connection")


def test_watch_ends_with_the_daemon():
    daemon = start()
    with watching() as process:
        daemon.stop()
        assert process.wait(TIMEOUT) == 3
        assert "the daemon closed the connection" in process.stderr.read()


def test_watch_ends_where_there_is_no_place():
    start()
    with contextlib.ExitStack() as stack:
        for _ in range(8):
            stack.enter_context(NotifyClient())
        ended = run("watch")
    assert ended.returncode == 3
    assert "no room for another subscriber" in ended.stderr


# ------------------------------------------------------------------------------------------------
# Much, and too much

def set_notes(size, count=1):
    """Radios with long notes, which are not saved."""
    for number in range(count):
        name = f"big{number}"
        lsql(f'<lsql><insert><radio name="{name}"><state>up</state><note>{"x" * size}</note></radio>'
             "</insert></lsql>")


def test_an_answer_of_many_megabytes_is_shown():
    start()
    set_notes(3 * MEGABYTE, 5)
    radios = json.loads(output_of("show", "radio", "note", "-o", "json"))
    assert [len(radio["properties"]["note"]) for radio in radios] == [0] * 3 + [3 * MEGABYTE] * 5
    text = output_of("show", "radio", "note")
    assert text.count("x" * 3 * MEGABYTE) == 5


def test_an_answer_over_the_limit_is_told():
    start()
    set_notes(3 * MEGABYTE, 5)
    request = "<lsql>" + "<select><radio><note/></radio></select>" * 5 + "</lsql>"
    ended = run("raw", "-", stdin=request)
    assert (ended.returncode, ended.stdout) == (3, "")
    assert ended.stderr == ("veskctl: the daemon closed the connection without an answer: the request or its "
                            "answer is over a limit, or the daemon has ended\n")
    log_says("LSQL result is longer than")


def test_a_request_just_within_the_limit_is_carried_out():
    start()
    wrapped = '<lsql><update><system><contact></contact></system></update></lsql>'
    value = "x" * (4 * MEGABYTE - len(wrapped))
    output_of("raw", "-", stdin=wrapped.replace("></contact>", f">{value}</contact>"))
    assert len(values_of("system", "contact")["contact"]) == len(value)


@pytest.mark.parametrize("size", [4 * MEGABYTE + 1, 16 * MEGABYTE])
def test_a_request_over_the_limit_is_told(size):
    start()
    request = "<lsql><select><radio/></select></lsql>".ljust(size)
    ended = run("raw", "-", stdin=request)
    assert (ended.returncode, ended.stdout) == (3, "")
    assert f"the request has {size} bytes, more than the {4 * MEGABYTE} that the daemon takes" in ended.stderr


def test_a_batch_over_the_limit_changes_nothing():
    start()
    batch = "".join(f"add dns_server address={number:06}\n" for number in range(80000))
    ended = run("apply", "-", stdin=batch)
    assert (ended.returncode, ended.stdout) == (3, "")
    assert "more than the" in ended.stderr
    assert len(json.loads(output_of("show", "dns_server", "-o", "json"))) == 2


def test_an_input_without_an_end_is_refused():
    start()
    for command in ("raw", "apply"):
        ended = in_shell(f"yes 'delete radio' | veskctl {command} -")
        assert (ended.returncode, ended.stderr) == (2, "veskctl: standard input is too long\n")


@pytest.mark.parametrize("is_default, status, complaint", [
    (True, -signal.SIGPIPE, ""), (False, 1, "veskctl: cannot write: Broken pipe\n")])
def test_a_reader_that_goes_away_is_noticed(is_default, status, complaint):
    start()
    reader, writer = os.pipe()
    os.close(reader)
    ended = subprocess.run([VESKCTL, "show", "radio"], stdout=writer, stderr=subprocess.PIPE, text=True,
                           restore_signals=is_default, env=ENVIRONMENT, timeout=TIMEOUT)
    os.close(writer)
    assert (ended.returncode, ended.stderr) == (status, complaint)


def test_the_daemon_is_not_sent_what_is_meant_for_the_user():
    start()
    for words in (["show", "radio"], ["set", "radio", "r0", "ssid=x"], ["save"]):
        ended = in_shell(shlex.join(["veskctl", *words]) + " >&-")
        assert (ended.returncode, ended.stderr) == (1, "veskctl: cannot write: Bad file descriptor\n")
    assert "<ssid>x</ssid>" in read(STARTUP_FILE)


def test_a_full_disk_is_told():
    start()
    with open("/dev/full", "w") as full:
        ended = subprocess.run([VESKCTL, "show", "radio"], stdout=full, stderr=subprocess.PIPE, text=True,
                               env=ENVIRONMENT, timeout=TIMEOUT)
    assert (ended.returncode, ended.stderr) == (1, "veskctl: cannot write: No space left on device\n")


# ------------------------------------------------------------------------------------------------
# A daemon that goes away

def test_a_daemon_that_does_not_answer_is_given_up():
    daemon = start()
    daemon.send_signal(signal.SIGSTOP)
    calls = [subprocess.Popen([VESKCTL, *words, "--timeout", "1"], stderr=subprocess.PIPE, text=True,
                              env=ENVIRONMENT)
             for words in (["show", "radio"], ["set", "radio", "r0", "ssid=x"], ["inform", "object=radio"],
                           ["save"])]
    for call in calls:
        assert call.communicate(timeout=TIMEOUT) == (None, "veskctl: no answer from the daemon for 1 s\n")
        assert call.returncode == 3
    daemon.send_signal(signal.SIGCONT)


def finish_commit():
    """Lets the plug-in slow_commit go on."""
    wait_until(lambda: os.path.exists(COMMITTING), what="a commit")
    os.unlink(COMMITTING)


def test_a_daemon_that_is_killed_at_work_is_told():
    install_plugin("slow_commit")
    first_commit = threading.Thread(target=finish_commit)
    first_commit.start()
    daemon = start()
    first_commit.join()
    process = subprocess.Popen([VESKCTL, "set", "radio", "r0", "ssid=x"], stderr=subprocess.PIPE, text=True,
                               env=ENVIRONMENT)
    wait_until(lambda: os.path.exists(COMMITTING), what="the commit")
    daemon.kill9()
    assert process.wait(TIMEOUT) == 3
    assert "the daemon closed the connection without an answer" in process.stderr.read()


@contextlib.contextmanager
def impostor(name, *replies, pause=0):
    """Stands in for a daemon that fails while it answers, or takes its time."""
    def serve():
        while True:
            try:
                client, _ = server.accept()
            except OSError:
                return
            with client:
                header = client.recv(4 if name == "vesk_sock_lsql" else 8, socket.MSG_WAITALL)
                client.recv(struct.unpack(BYTE_ORDER + "I", header[-4:])[0], socket.MSG_WAITALL)
                for reply in replies:
                    client.sendall(reply)
                    time.sleep(pause)
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as server:
        server.bind(abstract_address(name))
        server.listen()
        thread = threading.Thread(target=serve)
        thread.start()
        yield
        server.shutdown(socket.SHUT_RDWR)
        thread.join()


WHOLE = b'<?xml version="1.0"?>\n<lsql_result><dataset><radio name="r0"><ssid>x</ssid></radio></dataset>' \
        b"<rc>0</rc><counter>1</counter></lsql_result>\n"
COMMANDS = [["show", "radio"], ["show", "radio", "r0"], ["show"], ["set", "radio", "r0", "ssid=x"],
            ["set", "radio", "r0", "ssid=x", "--dry-run"], ["add", "radio", "r0"], ["delete", "radio", "r0"],
            ["apply", "-"], ["raw", "-"], ["startup"], ["schema"]]


@pytest.mark.parametrize("length", [1, 20, len(WHOLE) // 2, len(WHOLE) - 3])
@pytest.mark.parametrize("words", COMMANDS, ids=" ".join)
def test_an_answer_that_is_cut_off_is_told(words, length):
    stdin = {"apply": "set radio r0 ssid=x\n", "raw": "<lsql/>"}.get(words[0])
    with impostor("vesk_sock_lsql", WHOLE[:length]):
        ended = run(*words, stdin=stdin)
    assert (ended.returncode, ended.stdout) == (3, "")
    assert re.fullmatch(r"veskctl: the .* of the daemon ends in the middle\n", ended.stderr)


def test_a_daemon_that_answers_slowly_is_waited_for():
    with impostor("vesk_sock_lsql", WHOLE[:9], WHOLE[9:60], WHOLE[60:80], WHOLE[80:], pause=0.4):
        assert values_of("radio", "--timeout", "1") == {"ssid": "x"}


@pytest.mark.parametrize("reply", [b"", b"O", b"OK"])
def test_a_reply_that_is_cut_off_is_told(reply):
    with impostor("vesk_sock_inform", reply):
        ended = run("inform", "object=radio")
    assert (ended.returncode, ended.stdout) == (3, "")
    assert ended.stderr == "veskctl: the daemon closed the connection without a reply\n"


@pytest.mark.parametrize("words", COMMANDS, ids=" ".join)
def test_an_answer_that_is_something_else_is_told(words):
    stdin = {"apply": "set radio r0 ssid=x\n", "raw": "<lsql/>"}.get(words[0])
    with impostor("vesk_sock_lsql", b"<html><body>hello</body></html>"):
        ended = run(*words, stdin=stdin)
    assert ended.returncode == 1
    assert ended.stderr
