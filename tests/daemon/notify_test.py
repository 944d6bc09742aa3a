"""Change notifications: who gets them, and how they read."""

import re
import socket
import xml.etree.ElementTree as ElementTree

import pytest

from access_point import assert_answers, radio, start
from support import NotifyClient, inform, log, lsql, wait_until


class Client(NotifyClient):
    def __init__(self):
        super().__init__(subscribe=False)


def conf_changed(counter, origin=None):
    attribute = f' origin="{origin}"' if origin is not None else ""
    return f'<?xml version="1.0"?><conf_changed{attribute}>{counter}</conf_changed>\n'


def save(origin=None):
    attribute = f' origin="{origin}"' if origin is not None else ""
    lsql(f"<lsql{attribute}><select><radio/></select></lsql>")
    assert inform("object=save") == "OK\n"


def change(**parameters):
    text = "&".join(f"{name}={value}" for name, value in parameters.items())
    assert inform(f"object=change&{text}") == "OK\n"


def test_subscriber_receives_the_first_change_with_its_origin():
    start(radio())
    with NotifyClient() as client:
        save("web")
        assert client.recv_message() == (
            '<?xml version="1.0"?><conf_changed origin="web">2</conf_changed>\n')


def test_message_ends_in_a_line_feed_and_a_nul():
    start(radio())
    with NotifyClient() as client:
        save("web")
        wait_until(client.has_input)
        assert client.socket.recv(1000) == conf_changed(2, "web").encode() + b"\0"


def test_ninth_subscriber_is_closed_on_its_first_send():
    start(radio())
    clients = [NotifyClient() for _ in range(8)]
    ninth = Client()
    save()
    assert [client.recv_message() for client in clients] == [conf_changed(2)] * 8
    assert not ninth.has_input()
    ninth.send("x")
    assert ninth.recv_message() is None
    assert "vesk: Unable to add notify connection.\n" in log()
    save()
    assert [client.recv_message() for client in clients] == [conf_changed(3)] * 8
    clients.pop().close()
    wait_until(subscribes, what="a free slot")
    for client in clients:
        client.close()


def subscribes():
    """Whether another subscriber is taken."""
    with NotifyClient() as client:
        inform("object=change&class=c&property=p&value=v")
        return client.recv_message() is not None


def test_without_an_origin_there_is_no_attribute():
    start(radio())
    with NotifyClient() as client:
        save()
        assert client.recv_message() == conf_changed(2)
        change(**{"class": "radio", "name": "r0", "property": "state", "value": "up"})
        assert client.recv_message() == (
            '<?xml version="1.0"?><object_changed><radio name="r0"><state>up</state></radio>'
            "</object_changed>\n")


def test_empty_origin_is_an_empty_attribute():
    start(radio())
    with NotifyClient() as client:
        save("")
        assert client.recv_message() == conf_changed(2, "")


def test_object_change_with_and_without_its_optional_texts():
    start(radio())
    with NotifyClient() as client:
        change(origin="web", **{"class": "radio"}, name="r0", property="state", value="up")
        assert client.recv_message() == (
            '<?xml version="1.0"?><object_changed origin="web"><radio name="r0"><state>up</state>'
            "</radio></object_changed>\n")
        change(origin="web", **{"class": "system"}, property="contact", value="admin")
        assert client.recv_message() == (
            '<?xml version="1.0"?><object_changed origin="web"><system><contact>admin</contact>'
            "</system></object_changed>\n")
        change(**{"class": "system"}, property="contact", value="")
        assert client.recv_message() == (
            '<?xml version="1.0"?><object_changed><system><contact></contact></system>'
            "</object_changed>\n")


@pytest.mark.parametrize("text", ['<"&\'>', "é\U0001F600", "a]]>b", "&amp;", "--"])
def test_texts_are_escaped(text):
    start(radio())
    text_in_inform = text.replace("&", "") if text != "&amp;" else ";amp;"
    with NotifyClient() as client:
        change(origin=text_in_inform, **{"class": "radio"}, name=text_in_inform, property="ssid",
               value=text_in_inform)
        root = ElementTree.fromstring(client.recv_message())
        assert root.attrib == {"origin": text_in_inform}
        assert root[0].attrib == {"name": text_in_inform}
        assert root[0][0].text == text_in_inform
        escaped = text.replace("&", "&amp;").replace("<", "&lt;").replace('"', "&quot;")
        save(escaped)
        root = ElementTree.fromstring(client.recv_message())
        assert root.attrib == {"origin": text}


def test_counter_grows_with_every_change_of_the_configuration_only():
    start(radio())
    save()
    save()
    with NotifyClient() as client:
        save()
        assert client.recv_message() == conf_changed(4)
        change(**{"class": "c"}, property="p", value="v")
        assert "object_changed" in client.recv_message()
        lsql("<lsql><update><radio><ssid>x</ssid></radio></update></lsql>")
        save()
        assert client.recv_message() == conf_changed(5)


def test_client_that_never_sends_receives_nothing():
    start(radio())
    with Client() as silent, NotifyClient() as client:
        save()
        assert client.recv_message() == conf_changed(2)
        assert not silent.has_input()
        silent.send("x")
        silent.subscribe()
        save()
        assert silent.recv_message() == conf_changed(3)


@pytest.mark.parametrize("data", [b"\0", b"x" * 100000, b"<lsql/>\x13", bytes(range(256)) * 50])
def test_what_subscribers_send_is_ignored(data):
    start(radio())
    with NotifyClient() as client:
        client.send(data)
        client.subscribe()
        save()
        assert client.recv_message() == conf_changed(2)


def test_sending_again_does_not_subscribe_twice():
    start(radio())
    with NotifyClient() as client:
        for _ in range(5):
            client.subscribe()
        save()
        assert client.recv_message() == conf_changed(2)
        save()
        assert client.recv_message() == conf_changed(3)


def test_connections_are_logged_when_debugging():
    start(radio(), args=["-d"])
    client = NotifyClient()
    line = re.compile(r"vesk: Notify connection started \(fd (\d+)\)\.\n")
    started = wait_until(lambda: line.search(log()))
    assert "Notify connection ended" not in log()
    client.close()
    wait_until(lambda: f"vesk: Notify connection ended (fd {started[1]}).\n" in log())


def test_client_that_leaves_without_a_word_is_forgotten():
    start(radio(), args=["-d"])
    for _ in range(20):
        Client().close()
    wait_until(lambda: log().count("Notify connection ended") == 20)
    assert subscribes()


def test_half_closed_subscriber_is_ended():
    start(radio(), args=["-d"])
    with NotifyClient() as client:
        client.socket.shutdown(socket.SHUT_WR)
        assert client.recv_message() is None
    wait_until(lambda: "Notify connection ended" in log())


def test_subscribers_come_and_go():
    start(radio())
    for counter in range(2, 52):
        with NotifyClient() as client:
            save()
            assert client.recv_message() == conf_changed(counter)


def test_messages_come_in_order():
    start(radio())
    with NotifyClient() as client:
        for i in range(300):
            change(**{"class": "c"}, property="p", value=i)
        for i in range(300):
            assert f"<p>{i}</p>" in client.recv_message()


def test_subscriber_that_does_not_read_costs_the_others_nothing():
    start(radio())
    with NotifyClient() as idle, NotifyClient() as client:
        for i in range(400):
            change(**{"class": "c"}, property="p", value=f"{i}-" + "x" * 50000)
            assert f"<p>{i}-x" in client.recv_message()
        assert_answers()
        whole = (r'<\?xml version="1\.0"\?><object_changed><c><p>\d+-x{50000}</p></c>'
                 r"</object_changed>\n")
        message = idle.recv_message()
        assert re.fullmatch(whole, message)


@pytest.mark.parametrize("size", [1000, 65536, 200000])
def test_large_message_arrives_whole(size):
    start(radio())
    with NotifyClient() as client:
        change(**{"class": "c"}, property="p", value="x" * size)
        assert "x" * size in client.recv_message(5)


def test_changes_without_a_subscriber_are_dropped():
    start(radio())
    for _ in range(10):
        save()
        change(**{"class": "c"}, property="p", value="v")
    assert subscribes()


