"""The default image with its header and checksum, and the copies between the files."""

import hashlib
import os
import shutil
import socket
import stat

import pytest

from access_point import assert_answers, config, radio, select, start, startup
from support import (DEFAULT_FILE, RESCUE_FILE, STARTUP_FILE, Daemon, NotifyClient, inform, log,
                     lsql, read)

READY = "vesk: Initialization complete.\r\n"
BODY = config(radio("r0", ssid="default"))
RESCUE = config(radio("r0", ssid="rescued"))
STARTUP = config(radio("r0", ssid="lab"))
DIGEST = hashlib.md5(BODY.encode()).hexdigest()
BODY_FILE, GENERATED, CHECK_FILE = (f"/tmp/{name}" for name in (
    "defaultconfig.xml", "md5.gen", "defaultconfig.xml.md5"))
OK, ERR = "OK\n", "ERR returned by handler\n"


def header(version="1", length=len(BODY), digest=DIGEST):
    lines = (f"Version: {version}\n", f"Length: {length}\n", f"MD5sum: {digest}\n")
    return "".join(line for line in lines if "None" not in line)


def write_image(text=None, body=BODY):
    DEFAULT_FILE.write_text(f"{header() if text is None else text}\n{body}")


def begin():
    """The daemon on its own startup file, with a rescue file; what it has logged is passed over."""
    RESCUE_FILE.write_text(RESCUE)
    daemon = start(radio("r0", ssid="lab"))
    assert log() == READY
    return daemon


def said():
    return log().removeprefix(READY)


def check_reset(code, message):
    """A reset fails with this code, after this message, and takes the rescue file."""
    assert inform("object=reset") == ERR
    assert said() == message + (f"vesk: Error {code} copying default config.\n" if code else "")
    assert startup() == RESCUE
    assert_answers()


# ---- Writing -------------------------------------------------------------------------------------

def test_image_is_a_header_and_the_saved_configuration():
    begin()
    inform("object=save")
    assert inform("object=default") == OK
    body = startup()
    digest = hashlib.md5(body.encode()).hexdigest()
    assert read(DEFAULT_FILE) == f"Version: 1\nLength: {len(body)}\nMD5sum: {digest}\n\n{body}"
    assert read(BODY_FILE) == body
    assert read(GENERATED).split() == [digest, BODY_FILE]


def test_image_replaces_the_one_before():
    DEFAULT_FILE.write_text("x" * 100000)
    begin()
    assert inform("object=default") == OK
    assert read(DEFAULT_FILE).startswith("Version: 1\nLength: ")
    assert read(DEFAULT_FILE).endswith("</config>\n")


def test_length_counts_bytes():
    begin()
    lsql("<lsql><update><radio><ssid>é€</ssid></radio></update></lsql>")
    assert inform("object=default") == OK
    head, _, body = DEFAULT_FILE.read_bytes().partition(b"\n\n")
    assert f"Length: {len(body)}\n".encode() in head


def test_writing_the_image_notifies_nobody():
    begin()
    with NotifyClient() as client:
        inform("object=default")
        inform("object=save")
        assert client.recv_message() == '<?xml version="1.0"?><conf_changed>2</conf_changed>\n'


def block(path):
    """Puts something in the place of a file that cannot be opened for writing or removed."""
    os.makedirs(f"{path}/x")


@pytest.mark.parametrize("path", [BODY_FILE, GENERATED, DEFAULT_FILE], ids=str)
def test_image_that_cannot_be_written(path):
    begin()
    block(path)
    assert inform("object=default") == ERR
    assert str(path) in said()
    assert not DEFAULT_FILE.is_file()
    assert_answers()
    shutil.rmtree(path)
    assert inform("object=default") == OK


def test_working_files_that_are_links_are_not_followed():
    begin()
    for name in (BODY_FILE, GENERATED, CHECK_FILE):
        os.symlink("/etc/passwd", name)
    before = read("/etc/passwd")
    inform("object=default")
    inform("object=reset")
    assert read("/etc/passwd") == before
    assert_answers()


def test_image_is_followed_by_a_reset_to_it():
    daemon = begin()
    lsql("<lsql><update><radio><ssid>wanted</ssid></radio></update></lsql>")
    inform("object=save")
    saved = startup()
    assert inform("object=default") == OK
    lsql("<lsql><update><radio><ssid>other</ssid></radio></update></lsql>")
    inform("object=save")
    assert startup() != saved
    assert inform("object=reset") == OK
    assert startup() == saved
    assert said() == ""
    assert "<ssid>other</ssid>" in lsql(select("<radio><ssid/></radio>"))
    daemon.stop()
    Daemon()
    assert "<ssid>wanted</ssid>" in lsql(select("<radio><ssid/></radio>"))


# ---- Unpacking -----------------------------------------------------------------------------------

def test_good_image_becomes_the_startup_file():
    begin()
    write_image()
    assert inform("object=reset") == OK
    assert startup() == BODY
    assert said() == ""
    assert read(BODY_FILE) == BODY
    assert read(CHECK_FILE) == f"{DIGEST}  /tmp/defaultconfig.xml\n"


@pytest.mark.parametrize("lines", [
    (2, 1, 0), (1, 0, 2), (0, 2, 1),
])
def test_headers_come_in_any_order(lines):
    begin()
    parts = header().splitlines(True)
    write_image("".join(parts[line] for line in lines))
    assert inform("object=reset") == OK
    assert startup() == BODY


def test_repeated_header_overrides_the_earlier():
    begin()
    write_image(header(length=3, digest="0" * 32) + header())
    assert inform("object=reset") == OK
    assert startup() == BODY


def test_what_follows_the_body_is_ignored():
    begin()
    write_image(body=BODY + "<more/>")
    assert inform("object=reset") == OK
    assert startup() == BODY


@pytest.mark.parametrize("place", [0, 1, len(BODY) // 2, len(BODY) - 1])
def test_altered_body_fails_its_checksum_and_the_rescue_file_is_copied(place):
    begin()
    write_image(body=BODY[:place] + "#" + BODY[place + 1:])
    check_reset(4, "vesk: /etc/defaultconfig.xml failed checksum.\n")


def test_truncated_body_fails_its_checksum():
    begin()
    write_image(body=BODY[:-1])
    check_reset(4, "vesk: /etc/defaultconfig.xml failed checksum.\n")


def test_other_digest_fails_the_checksum():
    begin()
    write_image(header(digest="x" * 32))
    check_reset(4, "vesk: /etc/defaultconfig.xml failed checksum.\n")


def test_image_without_its_digest_line():
    begin()
    write_image(header(digest=None))
    check_reset(110, "vesk: Headers are missing.\n")


@pytest.mark.parametrize("missing, code", [
    (["version", "length", "digest"], 107), (["version", "digest"], 108),
    (["length", "digest"], 109), (["digest"], 110), (["version", "length"], 111),
    (["version"], 112), (["length"], 113),
])
def test_missing_headers_have_a_code_each(missing, code):
    begin()
    write_image(header(**{name: None for name in missing}))
    check_reset(code, "vesk: Headers are missing.\n")


@pytest.mark.parametrize("text, code, message", [
    ("Length: 12x\n", 104, "Bad default Length: 12x.\n"),
    ("Length: x\n", 104, "Bad default Length: x.\n"),
    ("Length: 1.5\n", 104, "Bad default Length: 1.5.\n"),
    ("Version: 2\n", 103, "Bad default Version: 2.\n"),
    ("Version: 1.0\n", 103, "Bad default Version: 1.0.\n"),
    ("Version: \n", 103, "Bad default Version: .\n"),
    ("Version: 1 \n", 103, "Bad default Version: 1 .\n"),
    ("Size: 1\n", 106, "Bad default header name: Size.\n"),
    ("version: 1\n", 106, "Bad default header name: version.\n"),
    (": 1\n", 106, "Bad default header name: .\n"),
    ("MD5sum: 1234\n", 105, "Bad default Md5sum: 1234.\n"),
    (f"MD5sum: {'0' * 33}\n", 105, f"Bad default Md5sum: {'0' * 33}.\n"),
    ("Version 1\n", 102, "Couldn't read header line in default.\n"),
    ("Version:1\n", 102, "Couldn't read header line in default.\n"),
    (" \n", 102, "Couldn't read header line in default.\n"),
])
def test_bad_header_lines_have_a_code_each(text, code, message):
    begin()
    write_image(header() + text)
    check_reset(code, "vesk: " + message)


@pytest.mark.parametrize("text", ["", header(), header()[:-1]])
def test_image_that_ends_before_its_empty_line(text):
    begin()
    DEFAULT_FILE.write_text(text)
    check_reset(101, "vesk: Headers ended prematurely in default.\n")


@pytest.mark.parametrize("path, code", [(BODY_FILE, 2), (CHECK_FILE, 3)])
def test_working_file_that_cannot_be_made(path, code):
    begin()
    write_image()
    block(path)
    check_reset(code, f"vesk: Can't open {path}.\n")


def test_image_that_cannot_be_opened():
    begin()
    with socket.socket(socket.AF_UNIX) as unopenable:
        unopenable.bind(str(DEFAULT_FILE))
    assert stat.S_ISSOCK(DEFAULT_FILE.stat().st_mode)
    check_reset(5, "vesk: Can't open /etc/defaultconfig.xml.\n")


def test_missing_image_is_no_error():
    begin()
    check_reset(None, "")


def test_missing_image_is_traced_when_debugging():
    RESCUE_FILE.write_text(RESCUE)
    start(radio(), args=["-d"])
    assert inform("object=reset") == ERR
    assert "vesk: Default file /etc/defaultconfig.xml does not exist.\n" in log()
    assert "copying default config" not in log()


def test_reset_after_the_image_was_dropped_takes_the_rescue_file_silently():
    begin()
    inform("object=default")
    assert inform("object=forget") == OK
    assert not DEFAULT_FILE.exists()
    check_reset(None, "")


def test_image_that_cannot_be_dropped():
    daemon = begin()
    assert inform("object=forget") == ERR
    assert daemon.stderr() == "vesk: unlink: No such file or directory\n"


def test_bad_image_at_start_leaves_the_rescue_file():
    RESCUE_FILE.write_text(RESCUE)
    write_image(body=BODY.replace("default", "altered"))
    STARTUP_FILE.unlink()
    start()
    assert log() == ("vesk: /etc/defaultconfig.xml failed checksum.\n"
                     "vesk: Error 4 copying default config.\n" + READY)
    assert startup() == RESCUE


def test_good_image_at_start():
    write_image()
    STARTUP_FILE.unlink()
    start()
    assert log() == READY
    assert startup() == BODY


# ---- Copies --------------------------------------------------------------------------------------

def test_rescue_file_becomes_the_startup_file():
    begin()
    write_image()
    assert inform("object=rescue") == OK
    assert startup() == RESCUE
    assert said() == ""


def test_missing_rescue_file_leaves_the_startup_file():
    begin()
    RESCUE_FILE.unlink()
    assert inform("object=rescue") == OK
    assert said() == "vesk: vesk_config_cp: Can't open /etc/rescueconfig.xml\n"
    assert startup() == STARTUP


@pytest.mark.parametrize("message, good_image", [("save", True), ("reset", True), ("reset", False),
                                                 ("rescue", True)])
def test_each_replaced_startup_file_is_notified_once(message, good_image):
    begin()
    if good_image:
        write_image()
    with NotifyClient() as client:
        lsql('<lsql origin="web"><select><radio/></select></lsql>')
        inform(f"object={message}")
        assert client.recv_message() == (
            '<?xml version="1.0"?><conf_changed origin="web">2</conf_changed>\n')
        inform("object=save")
        assert ">3<" in client.recv_message()


def test_start_notifies_nobody():
    write_image()
    STARTUP_FILE.unlink()
    start()
    with NotifyClient() as client:
        inform("object=save")
        assert ">2<" in client.recv_message()


def test_copy_of_a_file():
    begin()
    data = bytes(range(256)) * 1000 + b"end"
    with open("/tmp/from", "wb") as file:
        file.write(data)
    inform("object=copy&from=/tmp/from&to=/tmp/to")
    with open("/tmp/to", "rb") as file:
        assert file.read() == data
    inform("object=copy&from=/nowhere&to=/tmp/to")
    assert said() == "vesk: vesk_config_cp: Can't open /nowhere\n"
    with open("/tmp/to", "rb") as file:
        assert file.read() == data
    inform("object=copy&from=/tmp/from&to=/nowhere/to")
    assert said().endswith("vesk: vesk_config_cp: Can't open /nowhere/to\n")


def test_reset_in_no_actions_mode_keeps_the_daemon_alive():
    RESCUE_FILE.write_text(RESCUE)
    write_image()
    start(radio("r0", ssid="lab"), args=["-n"])
    inform("object=reset")
    assert startup() in (BODY, RESCUE)
    assert_answers()
