"""LSQL over the local socket and over TCP: how requests begin and end, and who waits for whom."""

import re
import signal
import socket
import threading
import time
from contextlib import contextmanager

import pytest

from access_point import (CHECK, assert_answers, counts, dataset, error, radio, result, select,
                          start, startup)
from support import (DELIMITER, TIMEOUT, LsqlTcp, Messages, NotifyClient, abstract_address,
                     connect_tcp, connect_unix, has_input, inform, inform_message, log, lsql,
                     pack, process_status, receive_all, wait_until, watchdog_events)

ANSWER = result(dataset('<radio name="r0"><state>up</state></radio>'), counts(0, 1))


def update(ssid):
    return f"<lsql><update><radio><ssid>{ssid}</ssid></radio></update></lsql>"


def local(data, half_close=True):
    """What is answered to these bytes on the local socket."""
    with connect_unix("vesk_sock_lsql") as client:
        client.sendall(data)
        if half_close:
            client.shutdown(socket.SHUT_WR)
        return receive_all(client).decode()


def prefixed(text, length=None):
    data = text.encode()
    return pack("I", len(data) if length is None else length) + data


# ---- The local socket ----------------------------------------------------------------------------

def test_length_of_zero_closes_without_an_answer():
    start(radio())
    assert local(prefixed(""), half_close=False) == ""
    assert local(prefixed(CHECK, 0), half_close=False) == ""
    assert_answers(ANSWER)


def test_length_longer_than_the_data_evaluates_what_arrived():
    start(radio())
    assert local(prefixed(CHECK, 100000)) == ANSWER
    assert local(prefixed(CHECK, len(CHECK) + 1)) == ANSWER
    assert local(prefixed(CHECK[:-1], len(CHECK))) == ""


def test_length_shorter_than_the_data_evaluates_that_much():
    start(radio())
    assert local(prefixed(CHECK + "<junk", len(CHECK))) == ANSWER
    assert local(prefixed(CHECK, len(CHECK) - 1)) == ""


def test_request_ends_at_a_nul():
    start(radio())
    assert local(prefixed(CHECK + "\0<junk")) == ANSWER


@pytest.mark.parametrize("data", [b"", b"\0", b"\1\0", b"\0\0\0", b"\0\0\0\1", b"\1\0\0\0"])
def test_incomplete_request_closes_without_an_answer(data):
    start(radio())
    assert local(data) == ""
    assert_answers(ANSWER)


def test_each_connection_carries_one_request():
    start(radio())
    try:
        assert local(prefixed(CHECK) + prefixed(update("x"))) == ANSWER
    except ConnectionResetError:
        pass
    assert "<ssid/>" in lsql(select("<radio><ssid/></radio>"))


def test_request_split_byte_by_byte():
    start(radio())
    with connect_unix("vesk_sock_lsql") as client:
        for byte in prefixed(CHECK):
            client.sendall(bytes([byte]))
        assert receive_all(client).decode() == ANSWER


def test_half_closed_client_is_answered():
    start(radio())
    assert local(prefixed(CHECK)) == ANSWER


def test_request_of_a_client_that_is_gone_is_carried_out():
    start(radio())
    with connect_unix("vesk_sock_lsql") as client:
        client.sendall(prefixed(update("gone")))
    wait_until(lambda: "<ssid>gone</ssid>" in lsql(select("<radio><ssid/></radio>")))


def test_get_conf_is_answered_on_both_sockets():
    start(radio())
    with LsqlTcp() as client:
        assert lsql("<get_conf/>") == client.request("<get_conf/>") == startup()


def test_large_answer_arrives_whole():
    start(*(radio(f"r{i}", ssid="s" * 200) for i in range(5000)))
    answer = lsql(select("<radio><ssid/></radio>"))
    assert answer.count("<radio ") == 5000 and answer.endswith("</lsql_result>\n")
    with LsqlTcp() as client:
        assert client.request(select("<radio><ssid/></radio>")) == answer
        one = select('<radio name="r7"><state/></radio>')
        assert client.request(one) == ANSWER.replace("r0", "r7")


# ---- TCP -----------------------------------------------------------------------------------------

def test_bytes_before_the_first_bracket_and_after_a_delimiter_are_ignored():
    start(radio())
    with LsqlTcp() as client:
        for junk in (b"", b"\r\n", b"junk > & \0 \x13\x13\x13", b"\xff\xfe" * 1000):
            client.send(junk + CHECK.encode() + DELIMITER)
            assert client.receive() == ANSWER
        client.send(b"junk\x13junk\x13")
        assert client.request(CHECK) == ANSWER
        assert not client.has_input()


def test_two_requests_in_one_packet_get_two_answers():
    start(radio())
    with LsqlTcp() as client:
        client.send((CHECK.encode() + DELIMITER) * 2)
        data = b""
        while data.count(DELIMITER) < 2:
            data += client.socket.recv(65536)
        assert data == (ANSWER.encode() + DELIMITER) * 2


def test_ninth_client_is_closed_at_once():
    start(radio())
    clients = [LsqlTcp() for _ in range(8)]
    assert [client.request(CHECK) for client in clients] == [ANSWER] * 8
    with connect_tcp(8002) as ninth:
        try:
            assert ninth.recv(100) == b""
        except ConnectionResetError:
            pass
    assert [client.request(CHECK) for client in clients] == [ANSWER] * 8
    clients.pop().close()
    wait_until(another_client_is_served, what="a free slot")
    for client in clients:
        client.close()


def another_client_is_served():
    try:
        with LsqlTcp() as client:
            return client.request(CHECK) == ANSWER
    except (BrokenPipeError, ConnectionResetError):
        return False


def test_ninth_client_is_logged():
    daemon = start(radio())
    clients = [LsqlTcp() for _ in range(9)]
    wait_until(lambda: "vesk: vesk_lsql_new_connection add_connection" in daemon.stderr() + log())
    for client in clients:
        client.close()


def test_many_pipelined_requests_are_answered_in_order():
    start(radio())
    with LsqlTcp() as client:
        def send():
            for i in range(1000):
                client.send(update(f"n{i}").encode() + DELIMITER +
                            select("<radio><ssid/></radio>").encode() + DELIMITER)
        sender = threading.Thread(target=send)
        sender.start()
        for i in range(1000):
            assert client.receive() == result(counts(0, 1))
            assert f"<ssid>n{i}</ssid>" in client.receive()
        sender.join()


def test_tcp_request_split_byte_by_byte():
    start(radio())
    with LsqlTcp() as client:
        client.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for _ in range(3):
            for byte in CHECK.encode() + DELIMITER:
                client.send(bytes([byte]))
            assert client.receive() == ANSWER


def test_request_split_at_every_place():
    start(radio())
    data = CHECK.encode() + DELIMITER
    with LsqlTcp() as client:
        client.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        for place in range(1, len(data)):
            client.send(data[:place])
            client.send(data[place:])
            assert client.receive() == ANSWER


def test_invalid_request_gets_no_answer_and_the_next_one_does():
    start(radio())
    with LsqlTcp() as client:
        client.send(b"<lsql>\x13<lsql><\x13< \x13")
        assert client.request(CHECK) == ANSWER
        assert not client.has_input()
        assert client.request("<lsql/>") == result(error("Incomplete lsql request."))
    assert log().count("vesk: Invalid LSQL request: ") == 3


def test_half_closed_tcp_client_is_answered():
    start(radio())
    with LsqlTcp() as client:
        client.send((CHECK.encode() + DELIMITER) * 3 + b"<lsql>")
        client.socket.shutdown(socket.SHUT_WR)
        assert receive_all(client.socket) == (ANSWER.encode() + DELIMITER) * 3


def test_unfinished_request_is_dropped_when_the_connection_ends():
    start(radio())
    with LsqlTcp() as client:
        client.send(update("unfinished"))
        client.socket.shutdown(socket.SHUT_WR)
        assert receive_all(client.socket) == b""
    assert "<ssid/>" in lsql(select("<radio><ssid/></radio>"))


def test_tcp_connections_are_logged_when_debugging():
    start(radio(), args=["-d"])
    client = LsqlTcp()
    line = re.compile(r"vesk: LSQL connection started \(fd (\d+)\)\.\n")
    started = wait_until(lambda: line.search(log()))
    client.close()
    wait_until(lambda: f"vesk: Notify connection ended (fd {started[1]}).\n" in log())


def test_tcp_clients_come_and_go():
    start(radio())
    for _ in range(300):
        wait_until(another_client_is_served, what="a free slot")


def test_request_too_long_for_tcp_closes_that_connection_only():
    start(radio())
    before = log()
    with LsqlTcp() as client, LsqlTcp() as other:
        try:
            for _ in range(80):
                client.send(b"<" + b"x" * 65536)
            client.send(DELIMITER)
            assert receive_all(client.socket) == b""
        except (BrokenPipeError, ConnectionResetError):
            pass
        assert other.request(CHECK) == ANSWER
    assert log() != before


def test_too_many_attributes_close_the_tcp_connection_without_an_answer():
    start(radio())
    with LsqlTcp() as client:
        client.send(b"<lsql " + b" ".join(b'a%d="1"' % i for i in range(65)) + b"/>" + DELIMITER)
        client.socket.settimeout(5)
        try:
            assert receive_all(client.socket) == b""
        except ConnectionResetError:
            pass
    assert_answers(ANSWER)


# ---- What has been sent before the daemon looks --------------------------------------------------

@contextmanager
def stopped(daemon):
    """The daemon stands still: what is sent meanwhile is there when it accepts the connection."""
    daemon.send_signal(signal.SIGSTOP)
    wait_until(lambda: process_status(daemon.pid, "State").startswith("T"))
    try:
        yield
    finally:
        daemon.send_signal(signal.SIGCONT)


@pytest.mark.parametrize("half_close", [False, True], ids=["open", "half-closed"])
def test_request_that_is_there_before_the_connection_is_accepted(half_close):
    daemon = start(radio())
    with stopped(daemon):
        clients = [connect_unix("vesk_sock_lsql") for _ in range(20)]
        for client in clients:
            client.sendall(prefixed(CHECK))
            if half_close:
                client.shutdown(socket.SHUT_WR)
    assert [receive_all(client).decode() for client in clients] == [ANSWER] * 20
    for client in clients:
        client.close()


@pytest.mark.parametrize("half_close", [False, True], ids=["open", "half-closed"])
def test_tcp_requests_that_are_there_before_the_connection_is_accepted(half_close):
    daemon = start(radio())
    with stopped(daemon):
        clients = [LsqlTcp() for _ in range(8)]
        for client in clients:
            client.send((CHECK.encode() + DELIMITER) * 3 + b"<lsql>")
            if half_close:
                client.socket.shutdown(socket.SHUT_WR)
    for client in clients:
        assert [client.receive() for _ in range(3)] == [ANSWER] * 3
        if half_close:
            assert client.receive() is None
        else:
            assert client.request("</lsql>") == result(error("Incomplete lsql request."))
        client.close()


def test_part_of_a_request_that_is_there_before_the_connection_is_accepted():
    daemon = start(radio())
    data = prefixed(CHECK)
    for place in (1, 4, 5, len(data) - 1):
        with connect_unix("vesk_sock_lsql") as client:
            with stopped(daemon):
                client.sendall(data[:place])
            assert_answers(ANSWER)
            client.sendall(data[place:])
            assert receive_all(client).decode() == ANSWER


def test_answer_larger_than_the_socket_takes_to_a_request_that_was_there():
    daemon = start(*(radio(f"r{i}", ssid="s" * 200) for i in range(5000)))
    request = select("<radio><ssid/></radio>")
    whole = lsql(request)
    with stopped(daemon):
        local_client, tcp_client = connect_unix("vesk_sock_lsql"), LsqlTcp()
        local_client.sendall(prefixed(request))
        tcp_client.send(request.encode() + DELIMITER + CHECK.encode() + DELIMITER)
    assert_answers()
    assert receive_all(local_client).decode() == whole
    assert tcp_client.receive() == whole
    assert tcp_client.receive().count("<radio ") == 5000
    local_client.close()
    tcp_client.close()


def test_client_that_is_gone_before_its_connection_is_accepted():
    daemon = start(radio())
    with stopped(daemon):
        with connect_unix("vesk_sock_lsql") as client:
            client.sendall(prefixed(update("gone")))
        with LsqlTcp() as client:
            client.send(b"<lsql><update><radio><channel>7</channel></radio></update></lsql>\x13")
    request = select("<radio><ssid/><channel/></radio>")
    wait_until(lambda: "<ssid>gone</ssid><channel>7</channel>" in lsql(request))


def test_inform_message_and_subscription_that_are_there_before_the_connection_is_accepted():
    daemon = start(radio())
    with stopped(daemon):
        subscriber = Messages(8001, b"\0")
        subscriber.send("x")
        client = connect_unix("vesk_sock_inform")
        client.sendall(inform_message("object=save"))
    assert receive_all(client) == b"OK\n"
    inform("object=save")
    assert "conf_changed" in subscriber.receive()
    client.close()
    subscriber.close()


# ---- Clients side by side ------------------------------------------------------------------------

def ask(text):
    """One request over the local socket, by a client that waits until it is accepted."""
    with socket.socket(socket.AF_UNIX) as client:
        client.connect(abstract_address("vesk_sock_lsql"))
        client.settimeout(TIMEOUT)
        client.sendall(prefixed(text))
        return receive_all(client).decode()


def timed(count=300):
    """Median and 99th percentile of this many requests over the local socket, in ms."""
    times = []
    for _ in range(count):
        begin = time.perf_counter()
        assert ask(CHECK.replace("<radio>", '<radio name="r0">')) == ANSWER
        times.append((time.perf_counter() - begin) * 1000)
    times.sort()
    return times[count // 2], times[count * 99 // 100]


class Measured:
    """What a crowd costs the others: requests within it stay quick and housekeeping goes on."""

    def __init__(self, name):
        self.name = name
        self.alone = timed()

    def check(self):
        fed = len(watchdog_events("keepalive"))
        within = timed()
        print(f"\n{self.name}: median and p99 alone {self.alone[0]:.2f} {self.alone[1]:.2f} ms, "
              f"with it {within[0]:.2f} {within[1]:.2f} ms", flush=True)
        assert within[0] < max(100, 50 * self.alone[0])
        assert within[1] < max(1000, 100 * self.alone[1])
        wait_until(lambda: len(watchdog_events("keepalive")) > fed, what="the housekeeping")


@pytest.fixture
def measure(capsys):
    def begin(name):
        measured = Measured(name)
        original = measured.check

        def check():
            with capsys.disabled():
                original()
        measured.check = check
        return measured
    return begin


def connect_patiently(name):
    """Connects even while more connections wait to be accepted than may."""
    client = socket.socket(socket.AF_UNIX)
    client.connect(abstract_address(name))
    client.settimeout(TIMEOUT)
    return client


def send_some(clients, data):
    """Sends to each; the daemon may have closed some of many idle ones."""
    for client in clients:
        try:
            client.sendall(data)
        except (BrokenPipeError, ConnectionResetError):
            pass


SILENT = {
    "local": (lambda: connect_patiently("vesk_sock_lsql"), 150),
    "inform": (lambda: connect_patiently("vesk_sock_inform"), 150),
    "tcp": (lambda: connect_tcp(8002), 7),
    "notify": (lambda: connect_tcp(8001), 60),
}


@pytest.mark.parametrize("data", [b"", b"\0", b"\0\0\0\xff<lsql>"],
                         ids=["nothing", "a byte", "some"])
@pytest.mark.parametrize("kind", SILENT)
def test_silent_clients_hold_up_nobody(kind, data, measure):
    connect, count = SILENT[kind]
    start(radio())
    measured = measure(f"{count} silent clients ({kind}, {len(data)} bytes)")
    clients = [connect() for _ in range(count)]
    send_some(clients, data)
    measured.check()
    assert inform("object=radio") == "OK\n"
    with LsqlTcp() as client:
        assert client.request(CHECK) == ANSWER
    if kind != "notify" or data == b"":
        with NotifyClient() as client:
            inform("object=save")
            assert "conf_changed" in client.recv_message()
    for client in clients:
        client.close()
    assert_answers(ANSWER)


def test_silent_clients_on_all_sockets_at_once(measure):
    start(radio())
    measured = measure("silent clients on all sockets")
    clients = [connect() for connect, count in SILENT.values() for _ in range(count)]
    measured.check()
    for client in clients:
        client.close()


BIG = select("<radio><ssid/><state/></radio>")


def big_start():
    return start(*(radio(f"r{i}", ssid="s" * 200) for i in range(3000)))


def test_client_that_never_reads_a_big_answer_holds_up_nobody(measure):
    big_start()
    measured = measure("a client that never reads a big answer")
    idle = [connect_unix("vesk_sock_lsql"), connect_tcp(8002)]
    idle[0].sendall(prefixed(BIG))
    idle[1].sendall(BIG.encode() + DELIMITER)
    for client in idle:
        wait_until(lambda client=client: has_input(client))
    measured.check()
    whole = lsql(BIG)
    assert receive_all(idle[0]).decode() == whole
    tcp = Messages.__new__(Messages)
    tcp.socket, tcp.end, tcp.received = idle[1], DELIMITER, b""
    assert tcp.receive() == whole
    for client in idle:
        client.close()


def test_client_that_asks_for_big_answers_and_never_reads_is_contained(measure):
    daemon = big_start()
    measured = measure("a client that asks on and never reads")
    with connect_tcp(8002) as client:
        client.setblocking(False)
        deadline = time.monotonic() + 10
        sent = 0
        while time.monotonic() < deadline and sent < 3000:
            try:
                client.send(BIG.encode() + DELIMITER)
                sent += 1
            except BlockingIOError:
                break
            except (BrokenPipeError, ConnectionResetError):
                break
        measured.check()
        resident = int(re.search(r"VmRSS:\s*(\d+)",
                                 open(f"/proc/{daemon.pid}/status", encoding="ascii").read())[1])
        assert resident < 600 * 1024, "kB of memory for a client that does not read"


class Flood:
    """A thread that sends the same bytes over and over, and another that drops the answers."""

    def __init__(self, connect, data):
        self.socket = connect()
        self.data = data
        self.sent = 0
        self.received = 0
        self.stopped = False
        self.threads = [threading.Thread(target=run) for run in (self.send, self.drop)]
        for thread in self.threads:
            thread.start()

    def send(self):
        try:
            while not self.stopped:
                self.socket.sendall(self.data)
                self.sent += 1
        except OSError:
            pass

    def drop(self):
        try:
            while block := self.socket.recv(1 << 20):
                self.received += len(block)
        except OSError:
            pass

    def stop(self):
        self.stopped = True
        try:
            self.socket.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass
        for thread in self.threads:
            thread.join()
        self.socket.close()


@pytest.mark.parametrize("kind, port, data", [
    ("requests", 8002, (CHECK.encode() + DELIMITER) * 100),
    ("junk", 8002, b"x" * 65536),
    ("bad requests", 8002, b"<\x13" * 1000),
    ("an endless request", 8002, b"<" * 65536),
    ("bytes to notify", 8001, b"x" * 65536),
], ids=lambda value: value.replace(" ", "-") if isinstance(value, str) else "")
def test_flood_holds_up_nobody(kind, port, data, measure):
    start(radio())
    measured = measure(f"a flood of {kind}")
    flood = Flood(lambda: connect_tcp(port), data)
    try:
        wait_until(lambda: flood.sent > 10 or not flood.threads[0].is_alive())
        measured.check()
        if kind in ("requests", "junk", "bad requests", "bytes to notify"):
            sent = flood.sent
            wait_until(lambda: flood.sent > sent, what="progress of the flood")
    finally:
        flood.stop()
    assert_answers(ANSWER)


def test_flood_of_connections_holds_up_nobody(measure):
    start(radio())
    measured = measure("a flood of connections")
    stopped = threading.Event()

    def connect(open_one):
        while not stopped.is_set():
            try:
                open_one().close()
            except OSError:
                pass
    threads = [threading.Thread(target=connect, args=[open_one]) for open_one, _ in SILENT.values()]
    for thread in threads:
        thread.start()
    try:
        measured.check()
    finally:
        stopped.set()
        for thread in threads:
            thread.join()
    assert_answers(ANSWER)


def test_long_request_is_answered_beside_short_ones():
    big_start()
    with LsqlTcp() as client:
        client.send((BIG.encode() + DELIMITER) * 5)
        for _ in range(20):
            assert_answers()
        assert [client.receive().count("<radio ") for _ in range(5)] == [3000] * 5
