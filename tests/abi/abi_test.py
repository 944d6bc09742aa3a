"""A plug-in in C that uses every family of the interface, in the real daemon."""

import os
from pathlib import Path

import pytest

from support import Daemon, NotifyClient, inform, install_plugin, log, lsql, wait_until

PLUGIN = Path(os.environ["VESK_TEST_PLUGINS"]).parents[1] / "abi" / "plugins" / "families.so"


@pytest.fixture
def daemon():
    install_plugin(PLUGIN)
    return Daemon(["-e"])


def test_every_family_does_as_it_says(daemon):
    assert "vesk: Every family was used.\n" in log()
    assert "Wrong:" not in log()


def test_the_timeout_and_the_end_of_the_service_come_later(daemon):
    wait_until(lambda: "vesk: The timeout came.\n" in log(), what="the timeout")
    wait_until(lambda: 'vesk: The service "abi" ended.\n' in log(), what="the end of the service")
    assert "Wrong:" not in log()


def test_the_provider_is_told_of_changes_and_asked_for_values(daemon):
    lsql('<lsql><insert><abi name="a"><value>1</value></abi></insert></lsql>')
    lsql('<lsql><update><abi name="a"><value>2</value></abi></update></lsql>')
    assert "vesk: Changed: value of a from nothing to 1.\n" in log()
    assert "vesk: Changed: value of a from 1 to 2.\n" in log()
    answer = lsql('<lsql><select><abi name="a"><value/><status/></abi></select></lsql>')
    assert '<abi name="a"><value>2</value><status>up</status></abi>' in answer
    assert "Wrong:" not in log()


def test_inform_messages_reach_the_handler(daemon):
    with NotifyClient() as client:
        assert inform("object=abi&value=4") == "OK\n"
        assert "<abi name=\"a\"><value>4</value></abi>" in client.recv_message()
        assert "conf_changed" in client.recv_message()
    assert "Wrong:" not in log()
