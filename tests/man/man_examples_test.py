"""The examples of the manual work on the real daemon, as the reference access point."""

import re
import subprocess

import reference_device
from page import ROOT, examples, only_example, plain, section
from support import (DEFAULT_FILE, STARTUP_FILE, Daemon, compile_plugin, inform, install_plugin, log,
                     lsql, read)

LSQL = "vesk-lsql.7"
CONFIG = "vesk-config.5"
NO_UPDATES = """
#include <vesk/vesk.h>
void vesk_plugin_init(void)
{
    if (vesk_plugin_new(VESK_PLUGIN_VERSION)) vesk_query_disable_external_updates();
}
"""

CLOSED = "External updates are prohibited."

# A request for each message, in the order of the page.
FAULTS = {
    "Top level name is not lsql.": "<sql/>",
    CLOSED: '<lsql origin="web"><select><radio/></select></lsql>',
    "Incomplete lsql request.": "<lsql/>",
    "No class name.": "<lsql><select><![CDATA[radio]]></select></lsql>",
    'Invalid operation "NAME".': "<lsql><drop><radio/></drop></lsql>",
    'Invalid properties="TEXT".': '<lsql><select><radio properties="some"/></select></lsql>',
    'Unknown class "CLASS".': '<lsql><insert><interface name="br2"/></insert></lsql>',
    'Property "PROPERTY" is not valid for class "CLASS".':
        "<lsql><update><radio><colour/></radio></update></lsql>",
    'Property "PROPERTY" of class "CLASS" is not writable.':
        "<lsql><update><interface><type>bridge</type></interface></update></lsql>",
    'Value "VALUE" is not valid for property "PROPERTY" of class "CLASS".':
        "<lsql><update><radio><channel>999</channel></radio></update></lsql>",
    'Bad instance name "NAME" of class "CLASS".':
        '<lsql><insert><dns_server name="first"/></insert></lsql>',
    'Instance is invalid: Property "PROPERTY" of class "CLASS" is required on insert but not set.':
        '<lsql><insert><radio name="radio2"/></insert></lsql>',
    'Couldn\'t add instance "NAME" of class "CLASS".': "<lsql><insert><system/></insert></lsql>",
}


def in_one_line(shown):
    """An answer without the line breaks that it has for the page."""
    return re.sub("> <", "><", " ".join(shown.splitlines()))


def requests_and_answers():
    marked = [(mark, content) for mark, content in examples(LSQL) if mark in ("request", "answer")]
    assert [mark for mark, _ in marked] == ["request", "answer"] * (len(marked) // 2)
    contents = [content for _, content in marked]
    return list(zip(contents[::2], contents[1::2]))


def test_lsql_answers_as_documented():
    reference_device.install()
    Daemon(watchdog=False)
    shown = requests_and_answers()
    assert len(shown) >= 6
    for request, answer in shown:
        expected = f'<?xml version="1.0"?>\n{in_one_line(answer)}\n'
        assert lsql(request.removesuffix("\n")) == expected, request


def documented_messages():
    heads = re.findall(r'^\.It Li "(.*)"$', section(LSQL, "DIAGNOSTICS"), re.MULTILINE)
    return [plain(head) for head in heads]


def test_every_message_has_its_request():
    assert documented_messages() == list(FAULTS)


def test_there_are_no_other_messages():
    texts = "".join(file.read_text() for file in sorted(ROOT.glob("query/*.cpp")))
    given = re.findall(r'(?:\berror\(\w+, *|->error\(|\brefuse\()\s*"((?:[^"\\]|\\.)*)"', texts)
    wordings = {re.escape(text.replace('\\"', '"')).replace("%s", ".+") for text in given}
    assert len(wordings) == len(FAULTS)
    for wording in wordings:
        assert [message for message in FAULTS if re.fullmatch(wording, message)], wording


def is_answered_so(message):
    wording = re.sub(r'"[A-Z]+"', '"[^"]*"', re.escape(message))
    return re.search(f"<error>{wording}</error>", lsql(FAULTS[message]))


def test_messages_are_worded_as_documented():
    reference_device.install()
    Daemon(watchdog=False)
    for message in FAULTS:
        assert message == CLOSED or is_answered_so(message), message


def test_a_closed_device_says_so_as_documented(tmp_path):
    reference_device.install()
    build_no_updates(tmp_path)
    Daemon(watchdog=False)
    assert is_answered_so(CLOSED)


def build_no_updates(folder):
    """A plug-in that closes the device to requests with an origin."""
    (folder / "closed.c").write_text(NO_UPDATES)
    compile_plugin("cc -shared -fPIC -I include -o closed.so closed.c", cwd=folder)
    install_plugin(folder / "closed.so")


def objects(config):
    """The pieces of a configuration file, sorted: the order of the classes is that of the plug-ins."""
    return sorted(re.split(r"^(?=  <\w)", config.removesuffix("</config>\n"), flags=re.MULTILINE))


def test_a_save_writes_the_startup_file_as_documented():
    example = only_example(CONFIG, "file")
    reference_device.install(example)
    Daemon(watchdog=False)
    assert inform("object=config&action=save") == "OK\n"
    assert objects(STARTUP_FILE.read_text()) == objects(example)
    assert "skipping" not in log().lower()


def test_an_image_that_is_made_as_documented_is_taken(tmp_path):
    example = only_example(CONFIG, "file")
    (tmp_path / "my.xml").write_text(example)
    reference_device.install()
    STARTUP_FILE.unlink()
    DEFAULT_FILE.unlink()
    subprocess.run(["sh", "-ec", only_example(CONFIG, "script")], cwd=tmp_path, check=True)
    Daemon(watchdog=False)
    assert read(STARTUP_FILE) == example
