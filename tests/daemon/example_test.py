"""The example access point does what its plug-ins say, on its own startup file."""

import os
import re
from pathlib import Path

import pytest

from example_device import install
from support import Daemon, NotifyClient, inform, is_alive, log, lsql, read, wait_until

OK = "<rc>0</rc><counter>1</counter>"


@pytest.fixture(autouse=True)
def access_point():
    install()


def update(element, transaction=False):
    request = f"<update>{element}</update>"
    if transaction:
        request = f"<write-transaction>{request}</write-transaction>"
    return lsql(f'<lsql origin="test">{request}</lsql>')


def heartbeats():
    return [int(pid) for pid in re.findall(r'Running "/bin/sh .* heartbeat .*" -> pid = (\d+)',
                                           log())]


def test_the_startup_file_is_loaded_without_a_complaint():
    Daemon()
    assert log() == "vesk: Initialization complete.\r\n"


def test_the_heartbeat_beats_and_is_restarted_once_for_two_changes():
    Daemon(["-d"])
    wait_until(lambda: read("/tmp/heartbeat").strip().isdigit(), what="a beat")
    answer = update("<heartbeat><file>/tmp/other-beat</file><interval>2</interval></heartbeat>",
                    transaction=True)
    assert OK in answer
    first, second = heartbeats()
    wait_until(lambda: not is_alive(first), what="the end of the old heartbeat")
    wait_until(lambda: read("/tmp/other-beat").strip().isdigit(), what="a beat elsewhere")
    assert is_alive(second)


def test_a_heartbeat_that_dies_beats_again():
    daemon = Daemon(["-d"])
    os.kill(heartbeats()[0], 9)
    wait_until(lambda: len(heartbeats()) == 2, what="the heartbeat to be started again")
    assert daemon.stop() == 0
    assert not is_alive(heartbeats()[1])


def test_a_commit_without_a_change_of_the_heartbeat_leaves_it_alone():
    Daemon(["-d"])
    assert OK in update('<radio name="r0"><power>50</power></radio>')
    assert len(heartbeats()) == 1


def test_a_radio_is_written_and_its_state_reported():
    Daemon()
    with NotifyClient() as subscriber:
        assert OK in update('<radio name="r1"><state>off</state><power>10</power></radio>')
        assert '<radio name="r1"><state>off</state></radio>' in subscriber.recv_message()
    assert "power=10\nstate=off\n" in read("/etc/radios.conf").partition("[r1]")[2]


def test_a_radio_comes_and_goes():
    Daemon(["-d"])
    assert OK in lsql('<lsql><insert><radio name="r9"><ssid>new</ssid></radio></insert></lsql>')
    assert OK in lsql('<lsql><delete><radio name="r9"/></delete></lsql>')
    assert log().index("Radio r9 is new.") < log().index("Radio r9 is gone.")
    assert "[r9]" not in read("/etc/radios.conf")


@pytest.mark.parametrize("radio, channel, accepted", [
    ("r0", "13", True), ("r0", "14", False), ("r0", "36", False),
    ("r2", "100", True), ("r2", "149", False), ("r2", "6", False),
    ("r5", "6", True), ("r5", "140", True), ("r5", "15", False), ("r0", "0", False),
])
def test_a_channel_must_be_one_of_the_band(radio, channel, accepted):
    Daemon()
    answer = update(f'<radio name="{radio}"><channel>{channel}</channel></radio>')
    assert (OK in answer) == accepted


@pytest.mark.parametrize("element", [
    '<radio name="r0"><rate>7</rate></radio>', '<radio name="r0"><band>n</band></radio>',
    '<radio name="r0"><ssid/></radio>', '<radio name="r0"><power>101</power></radio>',
    '<radio name="r0"><passphrase>short</passphrase></radio>',
    '<system><hostname>-ap</hostname></system>', '<dns_server><address>1.2.3</address></dns_server>',
    '<access_list name="staff"><mac>00-11-22-33-44-55</mac></access_list>',
    '<interface name="eth0"><mtu>67</mtu></interface>',
    '<heartbeat><file>/etc/passwd</file></heartbeat>',
])
def test_bad_values_are_refused(element):
    Daemon()
    assert "<rc>1</rc>" in update(element)


def test_an_access_list_has_a_file_while_it_has_entries():
    Daemon()
    assert read("/etc/access-blocked.conf").count("deny ") == 8
    lsql('<lsql><delete><access_list name="blocked"/></delete></lsql>')
    assert not Path("/etc/access-blocked.conf").exists()
    assert read("/etc/access-staff.conf").count("allow ") == 24


def test_the_load_is_read_from_the_kernel_when_it_is_asked_for():
    Daemon()
    answer = lsql("<lsql><select><system><load1/><load15/><tasks/></system></select></lsql>")
    assert re.search(r"<load1>[\d.]+</load1><load15>[\d.]+</load15><tasks>\d+/\d+</tasks>", answer)


def test_a_save_keeps_what_is_persistent_only():
    Daemon()
    lsql("<lsql><select><system><load1/></system></select></lsql>")
    lsql("<lsql><update><system><hostname>attic-ap</hostname></system></update></lsql>")
    assert inform("object=save") == "OK\n"
    saved = read("/etc/config/config.xml")
    assert "<hostname>attic-ap</hostname>" in saved and "load1" not in saved
    assert read("/etc/hostname") == "attic-ap\n"
