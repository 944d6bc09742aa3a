"""Inform messages and their one-line answers."""

import socket

import pytest

from access_point import assert_answers, commits, radio, start
from support import (connect_unix, inform, inform_message, log, pack, read, receive_all, wait_until)

OK = "OK\n"
NO_OBJECT = "ERR no object parameter\n"
NO_HANDLER = "ERR no handler\n"
BY_HANDLER = "ERR returned by handler\n"


def raw(data, half_close=True):
    """What is answered to these bytes."""
    with connect_unix("vesk_sock_inform") as client:
        client.sendall(data)
        if half_close:
            client.shutdown(socket.SHUT_WR)
        return receive_all(client)


def state():
    return read("/tmp/state")


def test_handler_that_succeeds_answers_ok():
    start(radio())
    assert inform("object=radio") == OK
    assert state() == "(null)"


def test_empty_object_has_no_handler_unless_one_has_the_empty_name():
    start(radio())
    assert inform("object=") == NO_HANDLER
    assert inform("object=register&name=") == OK
    assert inform("object=") == OK


def test_message_without_an_object():
    start(radio())
    assert inform("state=up") == NO_OBJECT
    assert inform("Object=radio") == NO_OBJECT


def test_piece_without_equals_is_reported_and_the_rest_before_it_dispatched():
    start(radio())
    assert inform("object=radio&state") == OK
    assert "vesk: Bad inform request.\n" in log()
    assert state() == "(null)"


def test_version_1_gets_no_reply():
    start(radio())
    assert inform("object=radio", version=1) == ""
    assert "vesk: Inform version number unrecognized.\n" in log()
    assert state() == ""


@pytest.mark.parametrize("version", [1, 2, 0x01000000, 0x00010000, 0xffffffff])
def test_other_versions_get_no_reply(version):
    start(radio())
    assert inform("object=radio", version=version) == ""
    assert log().count("Inform version number unrecognized.\n") == 1


@pytest.mark.parametrize("name, reply", [
    ("radio", OK), ("two", OK), ("fail", BY_HANDLER), ("nosuch", NO_HANDLER), ("radi", NO_HANDLER),
    ("radio ", NO_HANDLER), ("Radio", NO_HANDLER), ("%72adio", NO_HANDLER),
])
def test_replies(name, reply):
    start(radio())
    assert inform(f"object={name}") == reply


@pytest.mark.parametrize("text, expected", [
    ("object=radio&state=up", "up"),
    ("state=up&object=radio", "up"),
    ("state=&object=radio", ""),
    ("object=radio&other=1", "(null)"),
    ("object=radio&state=first&state=second", "first"),
    ("object=radio&state=a=b=c", "a=b=c"),
    ("object=radio&state=%20+%41", "%20+%41"),
    ("object=radio&state= a  b ", " a  b "),
    ("object=radio&state=é\U0001F600", "é\U0001F600"),
    ("object=radio&state=a\nb", "a\nb"),
    ("object=radio&state=<x y=\"1\"/>", '<x y="1"/>'),
    ("object=radio&=x&state=up", "up"),
    ("object=radio&state=up&", "up"),
])
def test_parameters_are_taken_as_they_are(text, expected):
    start(radio())
    assert inform(text) == OK
    assert state() == expected


def test_first_object_decides():
    start(radio())
    assert inform("object=fail&object=radio") == BY_HANDLER
    assert state() == ""


@pytest.mark.parametrize("text", ["radio", "&", "state", "radio&state"])
def test_message_without_any_pair_is_reported(text):
    start(radio())
    assert inform(text) == NO_OBJECT
    assert log().count("vesk: Bad inform request.\n") == 1


@pytest.mark.parametrize("text, reply", [
    ("radio&object=radio", NO_OBJECT), ("&object=radio", NO_OBJECT),
    ("object=radio&state&state=up", OK),
])
def test_name_reaches_to_the_next_equals(text, reply):
    start(radio())
    assert inform(text) == reply
    assert state() == ("(null)" if reply == OK else "")


def test_trailing_ampersand():
    start(radio())
    assert inform("object=radio&") == OK


def test_text_ends_at_a_nul():
    start(radio())
    assert inform("object=radio\0&state=up") == OK
    assert state() == "(null)"
    assert inform("object=radio\0") == OK


def test_length_of_zero_gets_no_reply():
    start(radio())
    assert raw(pack("II", 0, 0), half_close=False) == b""
    assert_answers()


def test_length_longer_than_the_message_dispatches_what_arrived():
    start(radio())
    assert raw(pack("II", 0, 1000) + b"object=radio&state=up") == OK.encode()
    assert state() == "up"


def test_length_shorter_than_the_message_cuts_it():
    start(radio())
    assert raw(pack("II", 0, len("object=radio")) + b"object=radio&state=up") in (
        OK.encode(), b"")
    wait_until(lambda: state() == "(null)")


def test_huge_length_is_harmless():
    start(radio())
    for length in (0xffffffff, 0x7fffffff, 0x80000000, 64 << 20):
        raw(pack("II", 0, length) + b"object=radio")
        assert_answers()


@pytest.mark.parametrize("data", [
    b"", b"\0", b"\0\0\0", b"\0\0\0\0", b"\0\0\0\0\5", b"\1", b"x" * 7,
])
def test_message_that_ends_early_gets_no_reply(data):
    start(radio())
    assert raw(data) == b""
    assert_answers()


def test_message_split_byte_by_byte():
    start(radio())
    with connect_unix("vesk_sock_inform") as client:
        for byte in inform_message("object=radio&state=slow"):
            client.sendall(bytes([byte]))
        assert receive_all(client) == OK.encode()
    assert state() == "slow"


def test_one_message_per_connection():
    start(radio())
    message = inform_message("object=radio&state=1") + inform_message("object=radio&state=2")
    with connect_unix("vesk_sock_inform") as client:
        client.sendall(message)
        try:
            assert receive_all(client) == OK.encode()
        except ConnectionResetError:
            pass
    assert_answers()
    assert state() == "1"


def test_half_closed_client_is_answered():
    start(radio())
    assert raw(inform_message("object=radio&state=half")) == OK.encode()
    assert state() == "half"


def test_client_that_does_not_wait_is_served():
    start(radio())
    for _ in range(20):
        with connect_unix("vesk_sock_inform") as client:
            client.sendall(inform_message("object=radio&state=gone"))
    wait_until(lambda: state() == "gone")
    assert_answers()


def test_registration_is_refused_for_a_name_that_is_taken_or_missing():
    start(radio(), args=["-d"])
    assert inform("object=register&name=new") == OK
    assert inform("object=new") == OK
    assert inform("object=register&name=new") == BY_HANDLER
    assert inform("object=register&name=fail") == BY_HANDLER
    assert inform("object=fail") == BY_HANDLER
    assert inform("object=register") == BY_HANDLER
    assert "vesk: Name is null.\n" in log()
    assert inform("object=register&name=other&null=1") == BY_HANDLER
    assert "vesk: inform_fn is null.\n" in log()
    assert inform("object=other") == NO_HANDLER


def test_refused_registrations_are_silent_without_debugging():
    start(radio())
    before = log()
    inform("object=register")
    inform("object=register&name=other&null=1")
    assert log() == before


def test_many_handlers_are_found():
    start(radio())
    for i in range(200):
        assert inform(f"object=register&name=handler{i}") == OK
    for i in range(200):
        assert inform(f"object=handler{i}") == OK
    assert inform("object=handler200") == NO_HANDLER


def test_many_parameters():
    start(radio())
    text = "&".join(f"p{i}={i}" for i in range(2000)) + "&state=last&object=radio"
    assert inform(text) == OK
    assert state() == "last"


def test_handler_may_evaluate_and_commit():
    start(radio())
    inform("object=eval&request=<lsql><delete><radio/></delete></lsql>")
    assert commits()[-1] == "deleted radio r0"
