"""The plug-in that docs/plugins.md builds compiles and does what the guide says."""

import re
import subprocess
from pathlib import Path

import pytest

from support import PLUGIN_DIR, Daemon, NotifyClient, compile_plugin, inform, is_alive, log, lsql, \
    read, wait_until, write_config

ROOT = Path(__file__).resolve().parents[2]
GUIDE = (ROOT / "docs/plugins.md").read_text()
CONFIG = """<config><beacon name="b1"><host>192.0.2.1</host><interval>5</interval>
<message>hello</message><state>on</state></beacon><beacon name="b2"/></config>"""


@pytest.fixture(autouse=True)
def plug_in(tmp_path):
    (tmp_path / "beacon.c").write_text("".join(re.findall(r"```c\n(.*?)```", GUIDE, re.DOTALL)))
    command = re.search(r"^    (cc .*)$", GUIDE, re.MULTILINE)[1]
    compile_plugin(command, "-std=c99", "-Wall", "-Wextra", "-Werror", cwd=tmp_path)
    (PLUGIN_DIR / "beacon.so").write_bytes((tmp_path / "beacon.so").read_bytes())
    write_config(CONFIG)


def starts():
    return [int(pid) for pid in re.findall(r'Running "/bin/sh .*" -> pid = (\d+)', log())]


def test_the_startup_file_is_applied_and_the_service_runs():
    Daemon(["-d"])
    assert read("/tmp/beacons.conf") == "b1 192.0.2.1 5 hello\n"
    assert len(starts()) == 1 and is_alive(starts()[0])


def test_a_request_that_changes_two_beacons_restarts_the_service_once():
    Daemon(["-d"])
    answer = lsql("<lsql><update><beacon><host>example.org</host><state>on</state></beacon>"
                  "</update></lsql>")
    assert "<counter>2</counter>" in answer
    assert read("/tmp/beacons.conf") == "b1 example.org 5 hello\nb2 example.org 60 \n"
    first, second = starts()
    wait_until(lambda: not is_alive(first), what="the end of the old service")
    assert is_alive(second)


def test_the_validators_refuse():
    Daemon()
    for name, values in {"interval": ["0", "3601", "x"], "host": ["a.b", "256.1.1.1"],
                         "state": ["maybe"], "message": ["x" * 81, "caf\u00e9"]}.items():
        for value in values:
            answer = lsql(f'<lsql><update><beacon name="b1"><{name}>{value}</{name}></beacon>'
                          '</update></lsql>')
            assert "<rc>1</rc>" in answer, (name, value)


def test_a_beacon_without_a_host_cannot_be_switched_on():
    Daemon()
    request = '<lsql><update><beacon name="b2"><state>{}</state></beacon></update></lsql>'
    assert "<rc>1</rc>" in lsql(request.format("on"))
    assert "<rc>0</rc>" in lsql(request.format("off"))


def test_a_change_of_state_is_pushed_to_subscribers():
    Daemon()
    with NotifyClient() as subscriber:
        lsql('<lsql origin="web"><update><beacon name="b1"><state>off</state></beacon></update>'
             "</lsql>")
        assert subscriber.recv_message() == (
            '<?xml version="1.0"?><object_changed origin="web"><beacon name="b1"><state>off</state>'
            "</beacon></object_changed>\n")


def test_readings_come_from_the_statistics_file():
    Path("/tmp/beacon-b1.stat").write_text("sent=17\nother=1\nfailed=a <b> & c\n")
    Daemon()
    answer = lsql('<lsql><select><beacon name="b1"><sent/><failed/></beacon></select></lsql>')
    assert "<sent>17</sent><failed>a &lt;b&gt; &amp; c</failed>" in answer


def test_a_service_that_dies_is_started_again():
    daemon = Daemon(["-d"])
    first = starts()[0]
    subprocess.run(["kill", "-9", str(first)], check=True)
    wait_until(lambda: len(starts()) == 2, what="the service to be started again")
    assert daemon.stop() == 0
    assert not is_alive(starts()[1])


def test_the_inform_handler_answers():
    Daemon()
    with NotifyClient() as subscriber:
        assert inform("object=beacon&name=b1&event=lost") == "OK\n"
        assert '<beacon name="b1"><event>lost</event></beacon>' in subscriber.recv_message()
    assert inform("object=beacon&name=none&event=lost") == "ERR returned by handler\n"
