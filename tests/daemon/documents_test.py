"""What the documents show is what the daemon does.

In docs/lsql.md each block that is marked "xml request" is followed by one marked "xml answer"; they are
sent one after the other to one daemon, which runs the example access point. In docs/protocols.md each
block of Python is a client, followed by a block of what it prints. The example of a file in
docs/configuration-file.md is what a save writes.
"""

import re
import subprocess
import sys
from pathlib import Path

from example_device import install
from support import (BYTE_ORDER, STARTUP_FILE, TIMEOUT, Daemon, inform, lsql, read, wait_until,
                     write_config)

CHECKOUT = Path(__file__).resolve().parents[2]
LONGEST_CLIENT = 10  # lines
PRINTED = Path("/tmp/printed")


def blocks(document):
    """(mark, content) of each fenced block of a document."""
    text = (CHECKOUT / "docs" / document).read_text()
    return re.findall(r"^```(.*)\n((?:.*\n)*?)```$", text, re.MULTILINE)


def pairs(document, first, second):
    """The contents of the blocks marked first, each with that of the block behind, marked second."""
    marked = [block for block in blocks(document) if block[0] in (first, second)]
    assert [mark for mark, _ in marked] == [first, second] * (len(marked) // 2)
    contents = [content for _, content in marked]
    return list(zip(contents[::2], contents[1::2]))


def start_example():
    """The daemon as the example access point."""
    install()
    return Daemon(watchdog=False)


def start_client(source):
    """A client whose output goes to PRINTED. Its machine is that of the daemon."""
    source = source.replace('pack("=', f'pack("{BYTE_ORDER}')
    with PRINTED.open("w") as output:
        return subprocess.Popen([sys.executable, "-u", "-c", source], stdout=output)


def objects(config):
    """The pieces of a configuration file, sorted: the order of the classes is that of the plug-ins."""
    return sorted(re.split(r"^(?=  <\w)", config.removesuffix("</config>\n"), flags=re.MULTILINE))


def test_lsql_answers_as_documented():
    start_example()
    examples = pairs("lsql.md", "xml request", "xml answer")
    assert len(examples) >= 10
    for request, answer in examples:
        assert lsql(request.removesuffix("\n")) == answer, request


def test_clients_of_the_protocols_work_as_documented():
    daemon = start_example()
    *clients, (subscriber, message) = pairs("protocols.md", "python", "text")
    assert len(clients) == 3
    assert all(len(source.splitlines()) <= LONGEST_CLIENT for source, _ in clients)
    assert len(subscriber.splitlines()) <= LONGEST_CLIENT
    for source, printed in clients:
        assert start_client(source).wait(TIMEOUT) == 0
        assert read(PRINTED) == printed
    with start_client(subscriber) as process:
        wait_until(lambda: inform("object=save") == "OK\n" and "\n" in read(PRINTED),
                   what="a notification")
        daemon.stop()
        assert process.wait(TIMEOUT) == 0
    first = read(PRINTED).splitlines(keepends=True)[0]
    assert re.sub(r">\d+<", ">2<", first) == message


def test_a_save_writes_a_file_as_documented():
    example, = [content for mark, content in blocks("configuration-file.md") if mark == "xml"]
    start_example().stop()
    write_config(example)
    Daemon(watchdog=False)
    STARTUP_FILE.chmod(0o640)
    assert inform("object=save") == "OK\n"
    assert objects(STARTUP_FILE.read_text()) == objects(example)
    assert STARTUP_FILE.stat().st_mode & 0o7777 == 0o640
