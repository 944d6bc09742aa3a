"""The startup file: what is loaded of it, what is skipped, and how it is saved."""

import os
import stat
from pathlib import Path

import pytest

from access_point import (assert_answers, commits, config, counts, dataset, radio, result, select,
                          start, startup)
from support import (CONSOLE, DEFAULT_FILE, RESCUE_FILE, STARTUP_FILE, Daemon, connect_unix, inform,
                     install_plugin, log, lsql, pack, read, receive_all, write_config,
                     write_script)

READY = "vesk: Initialization complete.\r\n"
BAD_FILE = STARTUP_FILE.with_name("config.xml.bad")
SSIDS = select("<radio><ssid/></radio>")
CONFIG = """<?xml version="1.0"?>
<config>
  <radio name="r0">
    <state>up</state>
    <ssid>lab</ssid>
  </radio>
  <system>
    <contact>admin</contact>
  </system>
  <dns_server>
    <address>10.0.0.1</address>
  </dns_server>
  <access_list name="staff">
    <mac>00:01</mac>
    <comment>first</comment>
  </access_list>
  <interface name="eth0">
    <kind>ethernet</kind>
    <mtu>1500</mtu>
  </interface>
  <interface name="br0">
    <kind>bridge</kind>
  </interface>
</config>
"""


def ssid_answer(*pairs):
    return result(dataset(*(f'<radio name="{name}"><ssid>{ssid}</ssid></radio>'
                            for name, ssid in pairs)), counts(0, len(pairs)))


def save():
    assert inform("object=save") == "OK\n"
    return startup()


def restart(daemon):
    assert daemon.stop() == 0
    return Daemon()


# ---- Loading -------------------------------------------------------------------------------------

def test_instance_of_an_unknown_class_is_skipped_and_the_rest_loads():
    start('<modem><state>up</state></modem>', radio("r0", ssid="lab"), "<x:modem/>",
          radio("r1", ssid="guest"))
    assert 'vesk: Instance has an unknown class "modem".\n' in log()
    assert lsql(SSIDS) == ssid_answer(("r0", "lab"), ("r1", "guest"))


def test_refused_value_leaves_its_property_unset():
    start(radio("r0", channel="99", ssid="lab"))
    assert ('vesk: Value "99" is not valid for property "channel" of class "radio" - skipping.\n'
            in log())
    assert lsql(select("<radio><channel/><ssid/></radio>")) == result(
        dataset('<radio name="r0"><channel/><ssid>lab</ssid></radio>'), counts(0, 1))


def test_missing_singleton_is_made_and_a_present_one_keeps_its_values():
    start(radio())
    contact = select("<system><contact/></system>")
    assert lsql(contact) == result(dataset("<system><contact/></system>"), counts(0, 1))
    lsql("<lsql><update><system><contact>admin</contact></system></update></lsql>")
    save()
    Daemon.started[0].stop()
    Daemon()
    assert "<contact>admin</contact>" in lsql(contact)
    assert commits()[-1] == "created radio r0 state; created system - contact; created status -"


def test_saving_leaves_out_what_is_not_persistent_and_loads_back_the_same():
    daemon = start(radio("r0", ssid="lab", key="secretkey"))
    lsql('<lsql><update><radio><note>n</note></radio></update>'
         '<update><status><message>m</message></status></update>'
         '<insert><session name="s"><user>u</user></session></insert>'
         '<select><radio><clients/></radio></select></lsql>')
    assert save() == config(
        '\n  <radio name="r0">\n    <state>up</state>\n    <ssid>lab</ssid>\n'
        "    <key>secretkey</key>\n  </radio>", "\n  <system/>\n")
    saved = startup()
    restart(daemon)
    assert save() == saved
    assert lsql(select("<radio><ssid/><note/></radio>")) == result(
        dataset('<radio name="r0"><ssid>lab</ssid><note/></radio>'), counts(0, 1))
    assert lsql(select("<session/>")) == result(dataset(), counts(0, 0))
    assert lsql("<lsql><select><radio/></select><where><eq><property>key</property>"
                "<value>secretkey</value></eq></where></lsql>") == result(
                    dataset('<radio name="r0"/>'), counts(0, 1))


def test_subclass_is_saved_under_its_superclass_and_loads_back():
    daemon = start('<interface name="br0"><kind>bridge</kind><stp>on</stp></interface>')
    bridges = select("<bridge><stp/></bridge>")
    expected = result(dataset('<bridge name="br0"><stp>on</stp></bridge>'), counts(0, 1))
    assert lsql(bridges) == expected
    assert ('  <interface name="br0">\n    <kind>bridge</kind>\n    <stp>on</stp>\n'
            "  </interface>\n") in save()
    assert "<bridge" not in startup()
    restart(daemon)
    assert lsql(bridges) == expected


def test_empty_startup_file_reads_as_an_error_document():
    start(radio())
    write_config("")
    expected = '<?xml version="1.0"?><error>Config file is zero-length.</error>\n'
    inform("object=startup")
    assert read("/tmp/startup") == expected
    assert lsql("<get_conf/>") == expected


def test_missing_startup_file_reads_as_an_error_document():
    start(radio())
    STARTUP_FILE.unlink()
    expected = '<?xml version="1.0"?><error>Can\'t read config file.</error>\n'
    inform("object=startup")
    assert read("/tmp/startup") == expected
    assert lsql("<get_conf/>") == expected


def test_text_of_the_startup_file_is_what_it_holds():
    start()
    text = '<?xml version="1.0"?>\n<!-- by hand -->\n<config>' + " " * 5000 + "</config>\n\n"
    write_config(text)
    inform("object=startup")
    assert read("/tmp/startup") == text


@pytest.mark.parametrize("element, message", [
    ('<radio><state>up</state></radio>',
     'Bad instance name "(null)" of class "radio"- skipping.\n'),
    ('<system name="x"/>', 'Bad instance name "x" of class "system"- skipping.\n'),
    ('<radio name="x"><state>up</state><antenna>2</antenna></radio>',
     'Property "antenna" is not valid for class "radio" - skipping.\n'),
    ('<radio name="x"><state>on</state></radio>',
     'Value "on" is not valid for property "state" of class "radio" - skipping.\n'
     'vesk: Instance is invalid: Property "state" of class "radio" is required on insert but not '
     'set. Skipping instance.'),
    ('<radio name="x"><ssid>lab</ssid></radio>',
     'Instance is invalid: Property "state" of class "radio" is required on insert but not set. '
     'Skipping instance.'),
    ('<radio name="r0"><state>down</state></radio>',
     'Couldn\'t add instance "r0" of class "radio". Skipping instance.\n'),
    ('<interface name="x"/>', 'Instance of class "interface" does not contain a subclass '
     'identifier property "kind".\n'),
    ('<interface name="x"><kind/></interface>', 'Instance of class "interface" subclass identifier '
     'property "kind" has a null value.\n'),
    ('<interface name="x"><kind>tunnel</kind></interface>', 'Instance of class "interface" '
     'subclass identifier property "kind" value is an unknown class "tunnel".\n'),
    ('<interface name="x"><kind>radio</kind></interface>', 'Instance of class "interface" subclass '
     'identifier property "kind" value is "radio", which is not a subclass of "interface".\n'),
    ('<radio name="x"><state>up</state><channel>14</channel><mode>sta</mode></radio>',
     'Value "sta" is not valid for property "mode" of class "radio" - skipping.\n'),
    ('<radio name="x"><state>up</state><channel/></radio>',
     'Value "" is not valid for property "channel" of class "radio" - skipping.\n'),
])
def test_what_is_skipped_is_reported(element, message):
    start(radio("r0"), element, radio("r1"))
    assert f"vesk: {message}" in log()
    assert log().startswith("vesk: ") and log().endswith(READY)
    names = lsql(select("<radio/>"))
    assert names.index('"r0"') < names.index('"r1"')
    kept = '<radio name="x"/>' in names
    assert kept == ("antenna" in element or "channel" in element)


def test_later_value_of_a_repeated_property_stays_if_valid():
    start('<radio name="r0"><state>up</state><state>down</state><state>bad</state></radio>')
    assert "<state>down</state>" in lsql(select("<radio><state/></radio>"))


def test_nodes_that_are_no_elements_are_ignored():
    write_config('<?xml version="1.0"?>\n<!-- a --><?b c?><config>text<!-- d --><?e f?>\n'
                 '<![CDATA[g]]><radio name="r0">h<!-- i --><state>up</state><?j k?>\n'
                 '<ssid><![CDATA[<lab>]]></ssid></radio>l</config><!-- m -->\n')
    start()
    assert log() == READY
    assert lsql(SSIDS) == ssid_answer(("r0", "&lt;lab&gt;"))


def test_property_without_text_is_empty():
    start(radio("r0", ssid=""), '<radio name="r1"><state>up</state><ssid/></radio>')
    assert commits()[0].startswith("created radio r0 state ssid; created radio r1 state ssid; ")


def test_loading_commits_in_one_commit():
    write_config(CONFIG)
    start()
    assert commits() == [
        "created radio r0 state ssid; created system - contact; created status -; "
        "created dns_server - address; created access_list staff mac comment; "
        "created ethernet eth0 kind mtu; created bridge br0 kind"]
    assert log() == READY


def test_singleton_that_is_not_persistent_starts_empty():
    start("<status><message>saved</message></status>")
    assert lsql(select("<status><message/></status>")) == result(
        dataset("<status><message/></status>"), counts(0, 1))
    assert commits() == ["created system -; created status -"]


def test_instances_load_in_the_order_of_the_file():
    names = [f"radio{i * 7919 % 997}" for i in range(300)]
    start(*(radio(name) for name in names))
    assert lsql(select("<radio/>")) == result(
        dataset(*(f'<radio name="{name}"/>' for name in names)), counts(0, 300))


@pytest.mark.parametrize("text", [
    '<?xml version="1.0" encoding="ISO-8859-1"?>\n<config><radio name="r0"><state>up</state>'
    "<ssid>\xe9</ssid></radio></config>", ])
def test_encoding_of_the_file_is_respected(text):
    install_plugin("access_point")
    STARTUP_FILE.write_bytes(text.encode("latin-1"))
    Daemon()
    assert lsql(SSIDS) == ssid_answer(("r0", "&#xE9;"))


# ---- Files that cannot be loaded -----------------------------------------------------------------

@pytest.mark.parametrize("text, message", [
    ("", "Config not parsed successfully.\n"),
    ("no XML", "Config not parsed successfully.\n"),
    ("<config>", "Config not parsed successfully.\n"),
    ("<config><radio></config>", "Config not parsed successfully.\n"),
    ("<configuration/>", 'Document of the wrong type: root node is not "config".'),
    ("<Config/>", 'Document of the wrong type: root node is not "config".'),
])
def test_broken_startup_file_is_replaced_by_the_rescue_file(text, message):
    RESCUE_FILE.write_text(config(radio("r0", ssid="rescued")))
    write_config(text)
    start()
    assert log() == (f"vesk: {message}"
                     "vesk: Unable to parse startup config - resetting to default.\n" + READY)
    assert lsql(SSIDS) == ssid_answer(("r0", "rescued"))
    assert startup() == read(RESCUE_FILE)
    assert BAD_FILE.read_text() == text


def make_default(*instances):
    """A default image, as the daemon makes it, with this startup file behind it."""
    daemon = start(*instances)
    assert inform("object=default") == "OK\n"
    daemon.stop()


def test_broken_startup_file_is_replaced_by_the_default_first():
    RESCUE_FILE.write_text(config(radio("r0", ssid="rescued")))
    make_default(radio("r0", ssid="default"))
    write_config("<config>")
    Daemon()
    assert lsql(SSIDS) == ssid_answer(("r0", "default"))
    assert startup() == read("/tmp/defaultconfig.xml")
    assert BAD_FILE.read_text() == "<config>"


def test_missing_startup_file_is_made_of_the_default():
    RESCUE_FILE.write_text(config(radio("r0", ssid="rescued")))
    make_default(radio("r0", ssid="default"))
    STARTUP_FILE.unlink()
    Daemon()
    assert lsql(SSIDS) == ssid_answer(("r0", "default"))
    assert log() == READY
    assert not BAD_FILE.exists()


def test_missing_startup_file_and_default_leave_the_rescue_file():
    RESCUE_FILE.write_text(config(radio("r0", ssid="rescued")))
    STARTUP_FILE.unlink()
    start()
    assert lsql(SSIDS) == ssid_answer(("r0", "rescued"))
    assert startup() == read(RESCUE_FILE)
    assert log() == READY


def test_broken_rescue_file_is_copied_unchecked():
    RESCUE_FILE.write_text("<config>")
    STARTUP_FILE.unlink()
    start()
    assert startup() == "<config>"
    assert "vesk: Unable to read the default either." in log()
    assert "vesk: Fatal error: Unable to read config.\n" in log()
    assert lsql(SSIDS) == result(dataset(), counts(0, 0))


@pytest.mark.parametrize("text", [None, "<config>", ""])
def test_no_readable_file_at_all(text):
    if text is None:
        STARTUP_FILE.unlink()
    else:
        write_config(text)
    start()
    assert "vesk: Unable to read the default either." in log()
    assert "vesk: Fatal error: Unable to read config.\n" in log()
    assert lsql(SSIDS) == result(dataset(), counts(0, 0))
    assert "<error>" in lsql('<lsql><update><modem/></update></lsql>')
    before = read(STARTUP_FILE)
    inform("object=save")
    assert read(STARTUP_FILE) == before
    assert_answers()


def test_no_readable_file_is_fatal_where_errors_are():
    STARTUP_FILE.unlink()
    daemon = start(args=["-e"], ready=None)
    assert daemon.wait() == 1
    assert log().endswith("vesk: Fatal error: Unable to read config.\n"
                          "vesk: Exiting due to fatal error.\n")


def test_startup_directory_in_the_place_of_the_file():
    STARTUP_FILE.unlink()
    STARTUP_FILE.mkdir()
    RESCUE_FILE.write_text(config(radio("r0", ssid="rescued")))
    start()
    assert_answers()
    assert STARTUP_FILE.is_dir()
    inform("object=save")
    assert_answers()


# ---- Saving --------------------------------------------------------------------------------------

def test_saved_file_is_formatted():
    write_config(CONFIG.replace("\n", "").replace("  ", ""))
    start()
    assert save() == CONFIG


def test_classes_are_saved_in_the_order_of_registration():
    write_config('<config><interface name="br0"><kind>bridge</kind></interface>'
                 '<interface name="eth0"><mtu>1500</mtu><kind>ethernet</kind></interface>'
                 '<access_list name="staff"><mac>00:01</mac><comment>first</comment></access_list>'
                 '<dns_server><address>10.0.0.1</address></dns_server>'
                 '<system><contact>admin</contact></system><radio name="r0"><ssid>lab</ssid>'
                 "<state>up</state></radio></config>")
    start()
    saved = save()
    order = ["<radio", "<system", "<dns_server", "<access_list", "<interface"]
    assert sorted(order, key=saved.index) == order
    assert "    <ssid>lab</ssid>\n    <state>up</state>\n" in saved
    assert "    <mtu>1500</mtu>\n    <kind>ethernet</kind>\n" in saved


def test_value_that_is_set_moves_to_the_end():
    start(radio("r0", ssid="lab", channel="6"))
    lsql('<lsql><update><radio name="r0"><state>down</state></radio></update></lsql>')
    assert ("    <ssid>lab</ssid>\n    <channel>6</channel>\n    <state>down</state>\n" in save())


@pytest.mark.parametrize("value, saved", [
    ("&lt;&gt;&amp;\"'", "&lt;&gt;&amp;\"'"),
    ("&amp;amp;&amp;#65;&amp;nosuch;", "&amp;amp;&amp;#65;&amp;nosuch;"),
    ("é€\U0001F600", "&#xE9;&#x20AC;&#x1F600;"),
    ("a&#13;&#10;&#9;b", "a&#xD;\n\tb"),
    ("  two  words  ", "  two  words  "),
    ("]]&gt;", "]]&gt;"),
])
def test_values_are_escaped_and_load_back(value, saved):
    daemon = start(f'<radio name="{value}"><state>up</state><ssid>{value}</ssid></radio>')
    answer = lsql(SSIDS)
    assert f"<ssid>{saved}</ssid>" in save()
    restart(daemon)
    assert lsql(SSIDS) == answer
    assert f"<ssid>{saved}</ssid>" in save()


def test_empty_value_is_an_empty_element():
    start(radio("r0", ssid=""))
    assert "    <ssid/>\n" in save()


def test_bytes_that_xml_cannot_hold_do_not_spoil_the_file():
    daemon = start(radio("r0"), radio("r1", ssid="lab"))
    for value in (b"a\x01b", b"a\xffb", b"\xed\xa0\x80", b"\xef\xbf\xbf", b"\xc3"):
        set_raw(b"ssid", value)
        saved = save()
        assert "&#xFFFD;" in saved
        answer = lsql(SSIDS)
        assert "&#xFFFD;" in answer
        restart(daemon)
        assert lsql(SSIDS) == answer
        daemon = Daemon.started[-1]


def set_raw(name, value):
    text = b"object=set&name=r0&property=" + name + b"&value=" + value
    with connect_unix("vesk_sock_inform") as client:
        client.sendall(pack("II", 0, len(text)) + text)
        assert receive_all(client) == b"OK\n"


def test_bytes_that_xml_cannot_hold_are_logged_once():
    start(radio("r0"))
    set_raw(b"ssid", b"a\x01b")
    before = log()
    lsql(SSIDS)
    said = log().removeprefix(before)
    assert "ssid" in said and "radio" in said and said.count("\n") == 1
    lsql(SSIDS)
    save()
    assert log() == before + said


def test_save_of_an_empty_configuration():
    start()
    lsql("<lsql><delete><system/></delete></lsql>")
    assert save() == '<?xml version="1.0"?>\n<config/>\n'


def test_save_of_a_large_configuration_loads_back():
    daemon = start(*(radio(f"r{i}", ssid="s" * 100) for i in range(3000)))
    answer = lsql(SSIDS)
    saved = save()
    assert saved.count("<radio") == 3000
    restart(daemon)
    assert lsql(SSIDS) == answer
    assert save() == saved


def test_save_keeps_the_mode_of_the_file():
    start(radio())
    STARTUP_FILE.chmod(0o640)
    save()
    assert stat.S_IMODE(STARTUP_FILE.stat().st_mode) == 0o640


def test_save_of_a_missing_file_makes_it():
    start(radio())
    STARTUP_FILE.unlink()
    assert "<radio" in save()
    assert stat.S_IMODE(STARTUP_FILE.stat().st_mode) & 0o022 == 0


def test_save_leaves_nothing_else_behind():
    start(radio())
    for _ in range(3):
        save()
    assert os.listdir(STARTUP_FILE.parent) == [STARTUP_FILE.name]


def test_startup_file_as_a_symbolic_link():
    target = STARTUP_FILE.parent / "flash" / "real.xml"
    target.parent.mkdir()
    target.write_text(config(radio("r0", ssid="lab")))
    STARTUP_FILE.unlink()
    STARTUP_FILE.symlink_to("flash/real.xml")
    daemon = start()
    assert lsql(SSIDS) == ssid_answer(("r0", "lab"))
    lsql("<lsql><update><radio><ssid>new</ssid></radio></update></lsql>")
    saved = save()
    assert STARTUP_FILE.is_symlink() and os.readlink(STARTUP_FILE) == "flash/real.xml"
    assert target.read_text() == saved and "<ssid>new</ssid>" in saved
    assert os.listdir(target.parent) == ["real.xml"]
    restart(daemon)
    assert lsql(SSIDS) == ssid_answer(("r0", "new"))


def test_startup_file_as_a_link_to_nothing():
    STARTUP_FILE.unlink()
    STARTUP_FILE.symlink_to("later.xml")
    RESCUE_FILE.write_text(config(radio("r0", ssid="rescued")))
    start()
    assert lsql(SSIDS) == ssid_answer(("r0", "rescued"))
    assert "rescued" in save()


def run_behind(monkeypatch, script):
    """Has a shell script run first wherever the daemon is started."""
    wrapper = Path("/tmp/vesk")
    write_script(wrapper, f'{script}\nexec {os.environ["VESK_BINARY"]} "$@"')
    monkeypatch.setenv("VESK_BINARY", str(wrapper))


def test_startup_file_as_a_bind_mount(monkeypatch):
    real = STARTUP_FILE.parent / "real.xml"
    real.write_text(config(radio("r0", ssid="lab")))
    write_config("what is mounted over")
    run_behind(monkeypatch, f"""
test -z "$INSIDE" && INSIDE=1 exec unshare -U --keep-caps -m "$0" "$@"
mount --bind {real} {STARTUP_FILE} || exit""")
    daemon = start()
    lsql("<lsql><update><radio><ssid>new</ssid></radio></update></lsql>")
    inform("object=save")
    assert "<ssid>new</ssid>" in real.read_text()
    assert lsql("<get_conf/>") == real.read_text()
    assert startup() == "what is mounted over"
    assert sorted(os.listdir(STARTUP_FILE.parent)) == ["config.xml", "real.xml"]
    restart(daemon)
    assert lsql(SSIDS) == ssid_answer(("r0", "new"))


def test_save_that_cannot_be_done_keeps_the_old_file():
    start(radio("r0", ssid="lab"))
    before = startup()
    lsql("<lsql><update><radio><ssid>new</ssid></radio></update></lsql>")
    said = log()
    folder = STARTUP_FILE.parent
    folder.rename("/etc/config.away")
    try:
        inform("object=save")
        assert log() != said
    finally:
        os.rename("/etc/config.away", folder)
    assert startup() == before
    assert "<ssid>new</ssid>" in save()


def test_save_without_space_keeps_the_old_file(monkeypatch):
    run_behind(monkeypatch, "trap '' XFSZ\nulimit -f 64")
    start(radio("r0", ssid="lab"))
    before = startup()
    lsql("<lsql><insert>" + "".join(radio(f"x{i}", ssid="s" * 200) for i in range(1000)) +
         "</insert></lsql>")
    said = log()
    inform("object=save")
    assert startup() == before
    assert log() != said
    assert os.listdir(STARTUP_FILE.parent) == [STARTUP_FILE.name]
    lsql("<lsql><delete><radio/></delete></lsql>")
    assert "<radio" not in save()


def test_log_stays_on_the_console():
    start(radio())
    save()
    assert read(CONSOLE) == READY
    assert not DEFAULT_FILE.exists()
