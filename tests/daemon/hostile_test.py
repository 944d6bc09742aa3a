"""Bytes that no client should send and files that no save has written: the daemon lives on."""

import hashlib
import random
import resource
import socket
import struct

import pytest

from access_point import CHECK, assert_answers, config, counts, dataset, radio, result, start
from support import (DEFAULT_FILE, DELIMITER, RESCUE_FILE, STARTUP_FILE, TIMEOUT, Daemon,
                     abstract_address, connect_tcp, inform, install_plugin, lsql, pack, wait_until)

SEED = 20261121
ANSWER = result(dataset('<radio name="r0"><state>up</state></radio>'), counts(0, 1))
PORTS = {"tcp": 8002, "notify": 8001}
NAMES = {"local": "vesk_sock_lsql", "inform": "vesk_sock_inform"}
SOCKETS = [*NAMES, *PORTS]

REQUESTS = [
    CHECK,
    '<lsql origin="web"><update><radio name="r0"><ssid>lab</ssid></radio></update><where><eq>'
    "<property>state</property><value>up</value></eq></where></lsql>",
    '<lsql><insert><radio name="x"><state>up</state><channel>6</channel></radio><dns_server>'
    "<address>10.0.0.1</address></dns_server></insert></lsql>",
    '<lsql><write-transaction><delete><radio name="x"/></delete><insert><interface name="e">'
    "<kind>ethernet</kind><mtu>1</mtu></interface></insert><select><interface properties=\"all\"/>"
    "</select></write-transaction></lsql>",
    '<lsql><select><radio properties="all"/></select><where><or><and><not>'
    "<property>ssid</property></not><metadata>name</metadata></and><value>1</value></or>"
    "</where></lsql>",
    "<get_conf/>",
]
INFORMS = ["object=radio&state=up", "object=change&class=radio&name=r0&property=state&value=up",
           "object=two", "object=fail&a=b&c=d", "object=nosuch"]
CONFIG = config(radio("r0", ssid="lab", channel="6"), "<system><contact>admin</contact></system>",
                "<dns_server><address>10.0.0.1</address></dns_server>",
                '<access_list name="g"><mac>00:01</mac></access_list>',
                '<interface name="e"><kind>ethernet</kind><mtu>1500</mtu></interface>')


SPLINTERS = [b"<", b">", b"&", b'"', b"]]>", b"<![CDATA[", b"<!--", b"\0", b"\x13", b"<!DOCTYPE x>",
             b"&#0;", b"&#x1F600;", b"\xff", b"<where>", b"</radio>", b"<write-transaction>", b"="]


def connect(kind):
    """A client that waits until it is accepted, with patience for answers."""
    if kind in PORTS:
        return connect_tcp(PORTS[kind])
    client = socket.socket(socket.AF_UNIX)
    client.connect(abstract_address(NAMES[kind]))
    client.settimeout(TIMEOUT)
    return client


def throw(kind, data):
    """Sends these bytes, says that there are no more, and drops what is answered."""
    with connect(kind) as client:
        try:
            client.sendall(data)
            client.shutdown(socket.SHUT_WR)
            while client.recv(65536):
                pass
        except (BrokenPipeError, ConnectionResetError, OSError) as error:
            if isinstance(error, TimeoutError):
                raise


def framed(kind, data):
    """The bytes as the socket takes them."""
    return {"local": pack("I", len(data)) + data,
            "inform": pack("II", 0, len(data)) + data,
            "tcp": data + DELIMITER, "notify": data}[kind]


def check_alive():
    """The daemon answers a fresh request, whatever it holds by now."""
    throw("local", framed("local", b'<lsql><delete><radio name="check"/></delete></lsql>'))
    assert lsql('<lsql><insert><radio name="check"><state>up</state></radio></insert>'
                '<select><radio name="check"><state/></radio></select></lsql>') == result(
                    counts(0, 1), dataset('<radio name="check"><state>up</state></radio>'),
                    counts(0, 1))
    assert inform("object=two") == "OK\n"


def mutated(rng, data):
    """The bytes with a few things done to them."""
    data = bytearray(data)
    for _ in range(rng.choice((1, 1, 1, 2, 3, 8))):
        place = rng.randrange(len(data) + 1)
        length = rng.choice((1, 1, 2, 5, 20))
        what = rng.randrange(6)
        if what == 0:
            data[place:place + length] = b""
        elif what == 1:
            data[place:place] = rng.randbytes(length)
        elif what == 2 and place < len(data):
            data[place] ^= 1 << rng.randrange(8)
        elif what == 3:
            data[place:place] = data[place:place + length] * rng.choice((1, 2, 50))
        elif what == 4:
            data[place:place] = rng.choice(SPLINTERS)
        else:
            del data[place:]
    return bytes(data)


def save_is_sound():
    inform("object=save")
    text = STARTUP_FILE.read_text()
    assert text.startswith('<?xml version="1.0"?>\n<config') and text.endswith(">\n")


# ---- Many bytes on every socket ------------------------------------------------------------------

@pytest.mark.parametrize("kind", SOCKETS)
def test_random_bytes(kind):
    start(radio())
    rng = random.Random(SEED)
    for _ in range(1000):
        throw(kind, rng.randbytes(rng.choice((1, 3, 4, 8, 9, 50, 1000))))
    for _ in range(1000):
        throw(kind, framed(kind, rng.randbytes(rng.choice((1, 10, 100)))))
    check_alive()
    assert ANSWER.split("<dataset>")[0] in lsql(CHECK)


@pytest.mark.parametrize("kind", SOCKETS)
def test_mutated_requests(kind):
    start(radio())
    rng = random.Random(SEED)
    requests = [text.encode() for text in (INFORMS if kind == "inform" else REQUESTS)]
    for _ in range(4000):
        throw(kind, framed(kind, mutated(rng, rng.choice(requests))))
    check_alive()
    save_is_sound()


@pytest.mark.parametrize("kind", SOCKETS)
def test_mutated_frames(kind):
    start(radio())
    rng = random.Random(SEED + 1)
    texts = INFORMS if kind == "inform" else REQUESTS
    for _ in range(1000):
        throw(kind, mutated(rng, framed(kind, rng.choice(texts).encode())))
    check_alive()


def test_mutated_requests_on_one_connection():
    start(radio())
    rng = random.Random(SEED)
    with connect("tcp") as client:
        client.settimeout(None)
        for _ in range(2000):
            data = mutated(rng, rng.choice(REQUESTS).encode()) + DELIMITER
            try:
                client.sendall(data)
                client.setblocking(False)
                while client.recv(1 << 20):
                    pass
                break
            except BlockingIOError:
                client.setblocking(True)
            except ConnectionError:
                break
    check_alive()


@pytest.mark.parametrize("kind", SOCKETS)
def test_truncated_requests(kind):
    start(radio())
    data = framed(kind, (INFORMS[1] if kind == "inform" else REQUESTS[3]).encode())
    for length in range(len(data)):
        throw(kind, data[:length])
    check_alive()


@pytest.mark.parametrize("kind", SOCKETS)
def test_clients_that_vanish(kind):
    start(radio())
    data = framed(kind, (INFORMS[0] if kind == "inform" else CHECK).encode())
    for place in range(0, len(data) + 1, 3):
        with connect(kind) as client:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            try:
                client.sendall(data[:place])
            except ConnectionError:
                pass
    check_alive()


@pytest.mark.parametrize("prefix", [1, 0x7f, 0xffff, 4 << 20, (4 << 20) + 1, 0x7fffffff, 0x80000000,
                                    0xfffffffe, 0xffffffff])
def test_promised_lengths(prefix):
    daemon = start(radio())
    for data in (pack("I", prefix), pack("I", prefix) + CHECK.encode()):
        throw("local", data)
        throw("inform", pack("I", 0) + data)
    check_alive()
    assert daemon.runs()


# ---- Documents -----------------------------------------------------------------------------------

def deep(element, depth):
    return f"<{element}>" * depth + f"</{element}>" * depth


def nested_where(element, depth):
    return (f"<lsql><select><radio/></select><where>{f'<{element}>' * depth}<value>1</value>"
            f"{f'</{element}>' * depth}</where></lsql>")


@pytest.mark.parametrize("text", [
    deep("lsql", 100), deep("lsql", 100000), deep("a", 500000), "<lsql>" * 100000, "<" * 100000,
    nested_where("not", 100), nested_where("not", 250), nested_where("not", 50000),
    nested_where("and", 50000), nested_where("eq", 50000), nested_where("or", 200),
    "<lsql><insert>" + deep("radio", 200) + "</insert></lsql>",
    "<lsql>" + "<write-transaction>" * 200 + "</write-transaction>" * 200 + "</lsql>",
], ids=lambda text: f"{text[:40]}-{len(text)}".replace("/", ""))
def test_deep_nesting(text):
    start(radio())
    for kind in ("local", "tcp"):
        throw(kind, framed(kind, text.encode()))
    check_alive()


def test_nesting_that_is_reasonable_is_evaluated():
    start(radio())
    assert lsql(nested_where("and", 100)) == result(dataset('<radio name="r0"/>'), counts(0, 1))
    assert lsql(nested_where("not", 100)) == result(dataset('<radio name="r0"/>'), counts(0, 1))
    assert lsql(nested_where("not", 101)) == result(dataset(), counts(0, 0))


@pytest.mark.parametrize("text", [
    f"<lsql><select><{'x' * 1000000}/></select></lsql>",
    f"<{'x' * 1000000}/>",
    f'<lsql origin="{"x" * 3000000}"><select><radio/></select></lsql>',
    f'<lsql><select><radio name="{"x" * 3000000}"/></select></lsql>',
    f"<lsql><update><radio><ssid>{'x' * 3000000}</ssid></radio></update></lsql>",
    f"<lsql><update><radio><note>{'x' * 3000000}</note></radio></update></lsql>",
    f"<lsql><select><radio>{'<ssid/>' * 300000}</radio></select></lsql>",
    f"<lsql>{'<select><radio/></select>' * 100000}</lsql>",
    f"<lsql>{'<a/>' * 900000}</lsql>",
    "<lsql><select><radio/></select><where><or>" + "<value/>" * 400000 + "</or></where></lsql>",
    f"<!--{'x' * 3000000}--><lsql/>",
    f"<lsql><![CDATA[{'x' * 3000000}]]></lsql>",
    "<lsql>" + "&#65;" * 700000 + "</lsql>",
    f"<lsql {' '.join(f'a{i}=_1_' for i in range(100000)).replace('_', chr(34))}/>",
], ids=lambda text: f"{text[:40]}-{len(text)}".replace("/", ""))
def test_huge_documents(text):
    start(radio())
    for kind in ("local", "tcp"):
        throw(kind, framed(kind, text.encode()))
    check_alive()


def test_error_for_a_huge_origin_in_a_notification():
    start(radio())
    with connect("notify") as subscriber:
        subscriber.sendall(b"x")
        throw("local", framed("local", b'<lsql origin="' + b"&lt;" * 900000 + b'"/>'))
        inform("object=save")
        check_alive()


@pytest.mark.parametrize("data", [
    b"\xff\xfe<\0l\0s\0q\0l\0/\0>\0", b"\xef\xbb\xbf<lsql/>", b"<lsql>\xff</lsql>", b"<\xc3\x28/>",
    b'<lsql origin="\x80\xff"/>', b"<lsql>\xed\xa0\x80</lsql>", b"<lsql>\xf4\x90\x80\x80</lsql>",
    b"<lsql>\xc0\x80</lsql>", b"<lsql>\0</lsql>", b"<lsql>\x01</lsql>",
    b"<lsql>&#0;&#1;&#xFFFF;</lsql>", b'<?xml version="1.0" encoding="UTF-16"?><lsql/>',
    b'<?xml version="1.0" encoding="nosuch"?><lsql/>',
    b'<?xml version="9.9"?><lsql/>', b"<lsql xmlns='x' xmlns:a='y' a:b='c'><a:select/></lsql>",
    b"<lsql><?x y?></lsql>", b"<lsql><select><?x y?></select></lsql>",
    b"<lsql><select><radio/></select><where><?x y?></where></lsql>",
    b"<lsql><select><radio/></select><where><![CDATA[x]]></where></lsql>",
    b"<lsql><![CDATA[x]]></lsql>", b"<lsql><select><radio><![CDATA[x]]></radio></select></lsql>",
    b"<lsql><update><radio><![CDATA[x]]></radio></update></lsql>",
    b"<lsql><update><radio><!--x--></radio></update></lsql>",
    b"<lsql><insert><![CDATA[x]]></insert></lsql>", b"<lsql><insert>text</insert></lsql>",
    b"<lsql><insert><radio name='x'>text</radio></insert></lsql>",
    b"<lsql><select><radio/></select><where><eq><![CDATA[x]]><![CDATA[x]]></eq></where></lsql>",
    b"<lsql><select><radio properties='all'><a/></radio></select><where>text</where></lsql>",
    b"<!DOCTYPE lsql [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;'><!ENTITY c "
    b"'&b;&b;&b;&b;&b;&b;&b;&b;'><!ENTITY d '&c;&c;&c;&c;&c;&c;&c;&c;'>]><lsql>&d;&d;&d;</lsql>",
], ids=lambda data: repr(data[:50])[2:-1].replace("/", ""))
def test_odd_documents(data):
    start(radio())
    for kind in ("local", "tcp"):
        throw(kind, framed(kind, data))
    check_alive()


# ---- Very many connections -----------------------------------------------------------------------

@pytest.mark.parametrize("kind", SOCKETS)
def test_more_connections_than_the_loop_can_hold(kind):
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    if 0 <= hard < 4000:
        pytest.skip(f"only {hard} descriptors")
    resource.setrlimit(resource.RLIMIT_NOFILE, (4000, hard))
    daemon = start(radio())
    clients = []
    try:
        for _ in range(1500):
            client = socket.socket(socket.AF_INET if kind in PORTS else socket.AF_UNIX)
            client.setblocking(False)
            try:
                client.connect(("127.0.0.1", PORTS[kind]) if kind in PORTS
                               else abstract_address(NAMES[kind]))
            except BlockingIOError:
                pass
            clients.append(client)
        assert daemon.runs()
    finally:
        for client in clients:
            client.close()
    wait_until(answers_or_refuses, what="an answer")
    check_alive()


def answers_or_refuses():
    try:
        return lsql(CHECK) == ANSWER
    except OSError:
        return False


# ---- Files ---------------------------------------------------------------------------------------

def start_quickly():
    """The daemon on whatever files there are."""
    for daemon in Daemon.started:
        if daemon.runs():
            daemon.stop()
    Daemon.started.clear()
    Daemon()


@pytest.mark.parametrize("make", [
    lambda rng: rng.randbytes(rng.choice((0, 1, 10, 1000))),
    lambda rng: mutated(rng, CONFIG.encode()),
], ids=["random", "mutated"])
def test_startup_files(make):
    install_plugin("access_point")
    RESCUE_FILE.write_text(config(radio("rescued")))
    rng = random.Random(SEED)
    for _ in range(200):
        STARTUP_FILE.write_bytes(make(rng))
        start_quickly()
        assert_answers()
    check_alive()
    save_is_sound()


def image(body):
    digest = hashlib.md5(body).hexdigest()
    return f"Version: 1\nLength: {len(body)}\nMD5sum: {digest}\n\n".encode() + body


@pytest.mark.parametrize("make", [
    lambda rng: rng.randbytes(rng.choice((0, 1, 10, 1000))),
    lambda rng: mutated(rng, image(CONFIG.encode())[:90]) + CONFIG.encode(),
    lambda rng: image(mutated(rng, CONFIG.encode())),
], ids=["random", "mutated header", "mutated body"])
def test_default_images(make):
    install_plugin("access_point")
    RESCUE_FILE.write_text(config(radio("rescued")))
    rng = random.Random(SEED)
    Daemon()
    for turn in range(200):
        DEFAULT_FILE.write_bytes(make(rng))
        if turn % 10:
            assert inform("object=reset") in ("OK\n", "ERR returned by handler\n")
            continue
        STARTUP_FILE.unlink(missing_ok=True)
        start_quickly()
        assert_answers()
    assert_answers()


@pytest.mark.parametrize("length", ["-1", "-9223372036854775808", "9223372036854775807",
                                    "99999999999999999999999", "4294967296", "2147483647",
                                    "0", "+5", " 5", "0x10", ""])
def test_lengths_of_an_image(length):
    RESCUE_FILE.write_text(config(radio("rescued")))
    start(radio())
    DEFAULT_FILE.write_text(f"Version: 1\nLength: {length}\nMD5sum: {'0' * 32}\n\n<config/>\n")
    assert inform("object=reset") == "ERR returned by handler\n"
    assert "rescued" in STARTUP_FILE.read_text()
    assert_answers()


@pytest.mark.parametrize("text", [
    "<config>" * 100000, deep("config", 100000), "<config>" + deep("radio", 300) + "</config>",
    f"<config><radio name='{'x' * 100000}'><state>up</state></radio></config>",
    "<!DOCTYPE config [<!ENTITY e 'x'>]><config><radio name='&e;'><state>up</state></radio>"
    "</config>",
    "<!DOCTYPE config [<!ENTITY e SYSTEM '/etc/passwd'>]><config><system><contact>&e;</contact>"
    "</system></config>",
    "<config>" + radio() * 1000 + "</config>",
    "<config>" + "<system/>" * 1000 + "</config>",
    "<config><system><contact>" + "x" * 9000000 + "</contact></system></config>",
], ids=lambda text: f"{text[:40]}-{len(text)}".replace("/", ""))
def test_odd_startup_files(text):
    RESCUE_FILE.write_text(config(radio("rescued")))
    STARTUP_FILE.write_text(text)
    start()
    assert_answers()
    check_alive()
    assert "root:" not in lsql("<lsql><select><system properties=\"all\"/></select></lsql>")

