"""What the daemon answers to one request, to the byte.

Each folder is a case: config.xml is the startup file, request.xml the request without its last line
feed, result.xml the answer.
"""

from pathlib import Path

import pytest

from support import (DELIMITER, Daemon, connect_unix, connect_tcp, install_plugin, pack,
                     receive_all, write_config)

CASES = sorted(path.parent for path in Path(__file__).parent.glob("*/request.xml"))


def over_the_local_socket(request):
    with connect_unix("vesk_sock_lsql") as client:
        client.sendall(pack("I", len(request)) + request)
        return receive_all(client)


def over_tcp(request):
    with connect_tcp(8002) as client:
        client.sendall(request + DELIMITER)
        answer = b""
        while not answer.endswith(DELIMITER):
            block = client.recv(65536)
            assert block, f"closed after {answer!r}"
            answer += block
        return answer.removesuffix(DELIMITER)


@pytest.mark.parametrize("ask", [over_the_local_socket, over_tcp])
@pytest.mark.parametrize("case", CASES, ids=lambda case: case.name)
def test_transcript(case, ask):
    install_plugin("access_point")
    write_config((case / "config.xml").read_text())
    Daemon()
    request = (case / "request.xml").read_bytes().removesuffix(b"\n")
    assert ask(request) == (case / "result.xml").read_bytes()
