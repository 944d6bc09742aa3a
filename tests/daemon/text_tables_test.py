"""Values from the system's files, told by text tables, over the real socket."""

import shutil
import subprocess
from pathlib import Path

import pytest

from access_point import config, counts, dataset, result
from support import Daemon, install_plugin, log, lsql, read, write_config

HOSTILE = [
    "</x></update><delete>",
    "</signal></peer></update><delete><peer/></delete><update><peer><signal>",
    "<![CDATA[", "]]>", "<!--", "-->", "<?x", "<", ">", "&", "&&amp", "&#;", "'\"", "a\"b",
    "\"/><note>owned</note><peer x=\"",
    "</value></eq></where><delete><peer/></delete><where><eq><value>",
    "</lsql><lsql>", "%s%n%x", "<!DOCTYPE x [<!ENTITY e 'owned'>]>&e;",
]


def escaped(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def element(cls, name=None, **values):
    attribute = f' name="{name}"' if name else ""
    inside = "".join(f"<{key}>{value}</{key}>" for key, value in values.items())
    return f"<{cls}{attribute}>{inside}</{cls}>"


def start(*instances, **others):
    install_plugin("text_tables")
    write_config(config(*instances))
    daemon = Daemon(**others)
    Path("/tmp/calls").unlink(missing_ok=True)
    return daemon


def request(*operations):
    return "<lsql>" + "".join(operations) + "</lsql>"


def select(cls, *properties, name=None):
    attribute = f' name="{name}"' if name else ""
    return f"<select><{cls}{attribute}>" + "".join(f"<{p}/>" for p in properties) + \
        f"</{cls}></select>"


def update(cls, note, where="", name=None):
    attribute = f' name="{name}"' if name else ""
    operation = f"<update><{cls}{attribute}><note>{note}</note></{cls}></update>"
    return operation + (f"<where>{where}</where>" if where else "")


def equal(name, value):
    return f"<eq><property>{name}</property><value>{value}</value></eq>"


def fills():
    """The tables that were read since the last call."""
    names = read("/tmp/fills").split()
    Path("/tmp/fills").unlink(missing_ok=True)
    return names


def calls():
    lines = read("/tmp/calls").splitlines()
    Path("/tmp/calls").unlink(missing_ok=True)
    return lines


def write_stats(peer, text):
    path = Path("/tmp/peers", peer, "stats")
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(text if isinstance(text, bytes) else text.encode())


def write_leases(text):
    Path("/tmp/leases").write_text(text)


@pytest.fixture
def process():
    """A process whose environment is the lines of a table's file."""
    started = subprocess.Popen(["/bin/sleep", "1000"], env={"load": "12\nstate=up and running\n"})
    yield str(started.pid)
    started.kill()
    started.wait()


# ---- Files of the kernel ------------------------------------------------------------------------

def test_values_come_from_a_file_of_the_kernel(process):
    start(element("process", process, note="mine"), element("process", "1", note="init"))
    assert lsql(request(select("process", "load", "state", "note", name=process))) == result(
        dataset(element("process", process, load="12", state="up and running", note="mine")),
        counts(0, 1))


def test_two_properties_of_one_table_read_it_once(process):
    start(element("process", process), element("process", "1"), element("process", "no-such"))
    fills()
    lsql(request(select("process", "load", "state", name=process)))
    assert fills() == ["process"]
    lsql(request(select("process", "state", "load")))
    assert fills() == ["process"]
    lsql("<lsql><select><process properties='all'/></select></lsql>")
    assert fills() == ["process"]


def test_a_table_is_read_for_its_own_properties_only(process):
    start(element("process", process), element("peer", "p1"))
    fills()
    lsql(request(select("process", "note")))
    assert fills() == []
    lsql(request(select("peer", "signal"), select("process", "load")))
    assert sorted(fills()) == ["peer", "process"]


def test_a_request_reads_the_file_again():
    start(element("peer", "p1"))
    for signal in ("-40", "-50"):
        write_stats("p1", f"signal={signal}\nrate=54\n")
        assert lsql(request(select("peer", "signal", "rate"))) == result(
            dataset(element("peer", "p1", signal=signal, rate="54")), counts(0, 1))


def test_a_value_that_a_where_asks_for_is_read(process):
    start(element("process", process, note="old"), element("process", "1", note="init"))
    assert lsql(request(update("process", "new", equal("state", "up and running")))) == result(
        counts(0, 1))
    told = [line for line in calls() if line.startswith("property")]
    assert told == [f"property process {process} note new was old"]
    assert lsql(request(select("process", "note"))) == result(
        dataset(element("process", process, note="new"), element("process", "1", note="init")),
        counts(0, 2))


def test_values_of_tables_are_neither_written_by_clients_nor_saved():
    start(element("peer", "p1", note="x"))
    write_stats("p1", "signal=-40\n")
    lsql(request(select("peer", "signal")))
    answer = lsql("<lsql><update><peer><signal>1</signal></peer></update></lsql>")
    assert 'Property "signal" of class "peer" is not writable.' in answer


# ---- What the callbacks are told ----------------------------------------------------------------

def test_refreshed_values_do_not_hide_what_is_set():
    start(element("peer", "p1", note="a"), element("peer", "p2", note="b"))
    write_stats("p1", "signal=-40\n")
    write_stats("p2", "signal=-50\n")
    lsql(request(update("peer", "new", equal("signal", "-50"))))
    assert [line for line in calls() if " note " in line] == ["property peer p2 note new was b"]
    lsql(request(select("peer", "signal"), update("peer", "newer", name="p1")))
    assert [line for line in calls() if " note " in line] == ["property peer p1 note newer was a"]


def test_values_that_the_refresher_stores_are_told_as_set():
    start(element("peer", "p1", note="a"))
    for old, signal in (("-", "-40"), ("-40", "-50")):
        write_stats("p1", f"signal={signal}\n")
        lsql(request(update("peer", "new", equal("signal", signal))))
        assert f"property peer p1 signal {signal} was {old}" in calls()


def test_refreshed_values_do_not_hide_what_is_inserted_and_deleted():
    start(element("peer", "p1", note="a"), element("peer", "p2", note="b"))
    write_stats("p1", "signal=-40\n")
    lsql(request("<delete><peer/></delete>", "<where>" + equal("signal", "-40") + "</where>",
                 "<insert>" + element("peer", "p3", note="c") + "</insert>"))
    told = calls()
    assert told[0] == "delete peer p1"
    assert told[-3:] == ["create peer p3", "change peer p3", "property peer p3 note c was -"]


def test_a_select_commits_nothing():
    start(element("peer", "p1", note="a"))
    write_stats("p1", "signal=-40\n")
    lsql(request(select("peer", "signal")))
    assert calls() == []


# ---- Text from outside --------------------------------------------------------------------------

def test_hostile_values_do_not_break_out():
    start(element("peer", "p1", note="a"), element("peer", "p2", note="b"))
    for text in HOSTILE:
        write_stats("p1", f"signal={text}\nrate=1\n")
        write_stats("p2", f"rate={text}\n")
        answer = lsql(request(select("peer", "note", "rate")))
        assert answer.count("<peer ") == 2 and "<note>a</note>" in answer, text
        assert "<note>b</note>" in answer and "<rate>1</rate>" in answer, text
        if " " not in text or '"' not in text:
            answer = lsql(request(select("peer", "signal", name="p1")))
            assert f"<signal>{escaped(text)}</signal>" in answer, text
    assert calls() == []


def test_hostile_keys_do_not_break_out():
    start(element("lease", mac="a", note="x"), element("lease", mac="b", note="y"))
    for text in HOSTILE:
        for token in (text, f'"{text}"'):
            write_leases(f"{token} 1 2 owned\nb 7 8 host\n")
            answer = lsql(request(select("lease", "mac", "note", "host")))
            assert answer.count("<lease>") == 2 and "owned</host>" not in answer, token
            assert "<note>x</note>" in answer and "<note>y</note>" in answer, token
    assert calls() == []


def test_hostile_names_of_files_do_not_break_out():
    start(element("peer", "p1", note="a"), element("peer", "p2", note="b"))
    for name in ("<delete>", "a\"><note>owned<", "&", "&amp", "p1\n", "p1 5", "\"p2", "p\"", "*"):
        shutil.rmtree("/tmp/peers", ignore_errors=True)
        write_stats("p1", "signal=-50\n")
        write_stats(name, "signal=x\nrate=1\n")
        write_stats("p2", "signal=-40\n")
        answer = lsql(request(select("peer", "note", "rate")))
        assert answer.count("<peer ") == 2 and "owned" not in answer, name
        assert "<note>a</note>" in answer and "<note>b</note>" in answer, name
    assert calls() == []


def test_references_stand_for_their_characters():
    start(element("peer", "p1"))
    write_stats("p1", "signal=&lt;b&gt;&#38;&#x26;\nrate=&amp;amp;\n")
    assert lsql(request(select("peer", "signal", "rate"))) == result(
        dataset(element("peer", "p1", signal="&lt;b&gt;&amp;&amp;", rate="&amp;amp;")),
        counts(0, 1))


@pytest.mark.parametrize("junk", [
    b"\xff\xfe\x00\x01", b"signal=\xe9\nrate=\x01\n", bytes(range(256)) * 16,
    b"signal=" + b"x" * 3000 + b"\nrate=2\n", b"=" * 2048, b"signal=a\x00b\nrate=1\n"])
def test_junk_in_a_file_leaves_the_others(junk):
    start(*[element("peer", name) for name in ("p1", "p2", "p3")])
    write_stats("p1", "signal=-40\nrate=54\n")
    write_stats("p2", junk)
    write_stats("p3", "signal=-40\nrate=54\n")
    answer = lsql(request(select("peer", "signal", "rate")))
    for name in ("p1", "p3"):
        assert element("peer", name, signal="-40", rate="54") in answer, name


def test_more_files_than_the_buffer_holds():
    start(*[element("peer", f"p{number}") for number in range(100)])
    for number in range(100):
        write_stats(f"p{number}", f"signal={'x' * 200}{number}\nrate={number}\n")
    answer = lsql(request(select("peer", "signal", "rate")))
    for number in range(100):
        whole = element("peer", f"p{number}", signal="x" * 200 + str(number), rate=number)
        none = f'<peer name="p{number}"><signal/><rate/></peer>'
        assert whole in answer or none in answer, number
    assert answer.count("<signal>") >= 30


def test_a_line_that_does_not_fit_is_left_out_and_logged():
    start(element("lease", mac="a"), element("lease", mac="b"))
    write_leases(f"a 1 2 {'h' * 3000}\nb 7 8 host\n")
    before = log()
    assert lsql(request(select("lease", "mac", "age", "host"))) == result(
        dataset("<lease><mac>a</mac><age/><host/></lease>",
                element("lease", mac="b", age="7", host="host")), counts(0, 2))
    assert "vesk: " in log()[len(before):]


def test_a_missing_file_leaves_the_values():
    start(element("lease", mac="a"))
    write_leases("a 1 2 host\n")
    lsql(request(select("lease", "age")))
    Path("/tmp/leases").unlink()
    assert lsql(request(select("lease", "age", "host"))) == result(
        dataset(element("lease", mac="a", age="1", host="host").replace("<mac>a</mac>", "")),
        counts(0, 1))
