"""The reference access point as a whole: its files, the system, its users, the audit, the schema.

Interfaces, radios and DHCP are tested in reference_network_test.py, what is refused in
reference_validators_test.py.
"""

import os
import re
import socket
import stat
import subprocess
import time
import warnings

import pytest

from reference_device import (AUDIT, CLASSES, FOLDER, OLDER_AUDIT, PLUGINS, REFERENCE, addresses,
                              delete, dnsmasq_pids, dnsmasq_starts, insert, install, instances,
                              link, persistent, plug_in, request, send_frames, update, values)
from support import (DEFAULT_FILE, PLUGIN_DIR, RESCUE_FILE, STARTUP_FILE, Daemon, NotifyClient,
                     inform, log, lsql, read, wait_until)

with warnings.catch_warnings():
    warnings.simplefilter("ignore", DeprecationWarning)
    import crypt

DOCUMENT = REFERENCE.parent / "docs/reference.md"
NO_HOST_NAME = "vesk: Unable to set the host name: Operation not permitted.\n"
STARTED = "vesk: Initialization complete.\r\n"


@pytest.fixture(autouse=True)
def device():
    install()


def complaints():
    """What was logged, but for what the sandbox keeps from working."""
    return log().replace(NO_HOST_NAME, "").replace(STARTED, "")


# ------------------------------------------------------------------------------------------------
# Start, save, files

def test_the_startup_file_is_loaded_without_a_complaint():
    Daemon()
    assert complaints() == ""
    loaded = sum(len(instances(name)) for name in CLASSES)
    assert loaded == len(re.findall(r"^  <\w", STARTUP_FILE.read_text(), re.MULTILINE)) >= 200


def test_what_is_saved_loads_again_in_whatever_order_it_was_set():
    daemon = Daemon()
    assert update('<radio name="radio0"><channel>13</channel></radio>')
    assert update('<radio name="radio0"><domain>2</domain></radio>')
    assert update('<radio name="radio1"><channel>auto</channel><domain>2</domain></radio>')
    assert update('<radio name="radio1"><channel>8</channel><mode>n-only-a</mode></radio>')
    assert update('<ssid name="scanner"><wep_key>0123456789abcdef0123456789</wep_key></ssid>')
    assert update("<dhcp><range_end>10.0.0.250</range_end></dhcp>")
    assert update("<dhcp><range_start>10.0.0.240</range_start></dhcp>")
    assert update('<ssid name="cafe"><ssid>&lt;"a&#10;b" &amp; \\ caf\u00e9&gt;</ssid></ssid>')
    before = {name: persistent(name) for name in CLASSES}
    written = {path: read(path) for path in FOLDER.glob("*.*")}
    assert inform("object=config&action=save") == "OK\n"
    daemon.stop()
    Daemon()
    assert complaints() == ""
    assert {name: persistent(name) for name in CLASSES} == before
    assert {path: read(path) for path in FOLDER.glob("*.*")} == written


def test_a_save_keeps_secrets_and_leaves_readings_out():
    Daemon()
    assert instances("schema_class") and values("system")["uptime"]
    assert values("interface", "eth0")["rx_bytes"]
    assert inform("object=config&action=save") == "OK\n"
    saved = STARTUP_FILE.read_text()
    assert "<passphrase>nine lives of a cat</passphrase>" in saved
    assert not re.search("schema_|uptime|rx_bytes|<status", saved)


def test_the_default_image_becomes_the_startup_file():
    daemon = Daemon()
    with NotifyClient() as subscriber:
        assert inform("object=config&action=reset") == "OK\n"
        assert "<conf_changed>" in subscriber.recv_message()
    assert STARTUP_FILE.read_bytes() == (REFERENCE / "default.xml").read_bytes()
    assert values("system")["hostname"] == "lobby-ap"  # until the next start
    daemon.stop()
    Daemon()
    assert complaints() == ""
    assert values("system")["hostname"] == "access-point"
    assert addresses("br0") == ["192.168.1.1/24"]


def test_running_becomes_the_default():
    Daemon()
    assert update("<system><hostname>my-default</hostname></system>")
    assert inform("object=config&action=default") == "OK\n"
    assert DEFAULT_FILE.read_text().startswith("Version: 1\nLength: ")
    assert "my-default" not in STARTUP_FILE.read_text()
    assert inform("object=config&action=reset") == "OK\n"
    assert "<hostname>my-default</hostname>" in STARTUP_FILE.read_text()


def test_a_damaged_default_image_gives_way_to_the_rescue_file():
    Daemon()
    DEFAULT_FILE.write_bytes(DEFAULT_FILE.read_bytes().replace(b"access-point", b"excess-point"))
    assert inform("object=config&action=reset") == "ERR returned by handler\n"
    assert STARTUP_FILE.read_bytes() == RESCUE_FILE.read_bytes()


def test_the_rescue_file_gives_the_device_back():
    daemon = Daemon()
    assert update('<interface name="eth0"><state>down</state></interface>')
    assert inform("object=config&action=rescue") == "OK\n"
    assert STARTUP_FILE.read_bytes() == RESCUE_FILE.read_bytes()
    daemon.stop()
    plug_in()
    Daemon()
    assert complaints() == ""
    assert addresses("eth0") == ["192.168.1.1/24"] and "UP" in link("eth0")["flags"]
    assert [name for name, _ in instances("user")] == ["admin"] and dnsmasq_pids() == []


@pytest.mark.parametrize("action", ["", "&action=", "&action=format"])
def test_an_unknown_action_is_refused(action):
    Daemon()
    before = STARTUP_FILE.read_bytes()
    assert inform("object=config" + action) == "ERR returned by handler\n"
    assert STARTUP_FILE.read_bytes() == before


def test_no_actions_mode_touches_neither_network_nor_server():
    Daemon(["-n"])
    assert addresses("eth1") == [] and link("br0") is None and dnsmasq_pids() == []
    assert "There is no" not in log() and "Failed" not in log()
    assert "Unable to set the host name" not in log()


def test_the_document_shows_what_happens():
    Daemon()
    marked = re.findall(r"^```(xml request|xml answer|text audit)\n(.*?)\n```$", DOCUMENT.read_text(),
                        re.MULTILINE | re.DOTALL)
    assert [mark for mark, _ in marked].count("xml request") == 3
    for (mark, text), (_, following) in zip(marked, [*marked[1:], ("", "")]):
        if mark == "xml request":
            assert lsql(text) == following + "\n"
        elif mark == "text audit":
            assert audit_lines()[-1] == text.split(" ", 1)[1]


# ------------------------------------------------------------------------------------------------
# system, user

def zone(*arguments):
    """What date(1) takes for the time zone."""
    return subprocess.run(["date", "+%Z", *arguments], capture_output=True, text=True).stdout


def test_the_host_name_and_the_time_zone_are_set():
    Daemon()
    assert read("/etc/hostname") == "lobby-ap\n" and zone("-d", "2026-01-15") == "CET\n"
    assert update("<system><hostname>attic-ap</hostname><time_zone>Asia/Tokyo</time_zone></system>")
    assert read("/etc/hostname") == "attic-ap\n"
    assert socket.gethostname() == "attic-ap" or log().count(NO_HOST_NAME) == 2
    assert read("/etc/timezone") == "Asia/Tokyo\n" and zone() == "JST\n"
    assert os.readlink("/etc/localtime") == "/usr/share/zoneinfo/Asia/Tokyo"


def test_the_uptime_is_fresh_from_the_kernel():
    Daemon()
    for _ in range(2):
        earlier = float(read("/proc/uptime").split()[0])
        uptime = float(values("system")["uptime"])
        assert earlier <= uptime <= float(read("/proc/uptime").split()[0])
        time.sleep(0.02)


def test_users_are_written_as_hashes_for_root_alone():
    Daemon()
    path = FOLDER / "users"
    admin = "correct horse battery"
    assert insert(f'<user name="twin"><role>guest</role><secret>{admin}</secret></user>')
    users = dict(line.split(":", 1) for line in read(path).splitlines())
    assert list(users) == ["admin", "facility", "helpdesk", "frontdesk", "twin"]
    assert stat.S_IMODE(path.stat().st_mode) == 0o600 and path.stat().st_uid == 0
    for name, role, secret in (("admin", "admin", admin), ("twin", "guest", admin),
                               ("facility", "operator", "Keys-to-the-cellar")):
        digest, written_role = users[name].rsplit(":", 1)
        assert crypt.crypt(secret, digest) == digest and crypt.crypt(secret + "x", digest) != digest
        assert written_role == role and secret not in read(path)
    assert users["admin"].split("$")[2] != users["twin"].split("$")[2]
    assert delete('<user name="twin"/>') and "twin" not in read(path)


def test_secrets_are_read_by_nobody():
    Daemon()
    pattern = "<(?:secret|passphrase|wep_key)>(.*?)<"
    secrets = set(re.findall(pattern, STARTUP_FILE.read_text()))
    assert len(secrets) == 8
    asked = [f"<{cls}{wanted}" for cls in ("user", "ssid")
             for wanted in (' properties="all"/>', f"><secret/><passphrase/><wep_key/></{cls}>")]
    answers = "".join(lsql(f"<lsql><select>{element}</select></lsql>") for element in asked)
    users, networks = 4, 7
    assert answers.count("<secret/>") == 2 * users + networks
    assert answers.count("<wep_key/>") == users + 2 * networks
    assert [secret for secret in secrets if secret in answers] == []


# ------------------------------------------------------------------------------------------------
# audit

def audit_lines():
    """The audit file without times and without its first line, which tells of the start."""
    lines = read(AUDIT).splitlines()
    assert all(re.match(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ origin=", line) for line in lines)
    assert lines[0].endswith(" origin=- start")
    return [line.split(" ", 1)[1] for line in lines[1:]]


def test_each_changed_object_is_one_line():
    Daemon()
    assert request('<update><radio name="radio0"><channel>11</channel><power>80</power></radio>'
                   "</update>",
                   "<insert><dns_server><address>203.0.113.53</address></dns_server></insert>",
                   '<delete><dhcp_host name="door-1"/></delete>', origin="web")
    assert update("<system><description>x</description></system>")
    assert update("<system><description>x</description></system>")  # not a change
    assert sorted(audit_lines()) == sorted([
        'origin="web" update radio "radio0" channel="6"->"11"',
        'origin="web" insert dns_server address="203.0.113.53"',
        'origin="web" delete dhcp_host "door-1" mac="00:00:5e:00:53:31" address="10.0.0.58"',
        'origin=- update system description="Lobby, 2nd floor"->"x"'])


def test_secrets_are_masked_in_the_audit_file():
    Daemon()
    assert update('<user name="admin"><secret>top secret 1</secret></user>')
    assert update('<ssid name="staff"><passphrase>top secret 2</passphrase></ssid>')
    assert insert('<ssid name="x"><ssid>x</ssid><radio>radio0</radio><security>wep</security>'
                  "<wep_key>topse</wep_key></ssid>")
    assert delete('<user name="facility"/>')
    assert audit_lines() == [
        'origin=- update user "admin" secret=***',
        'origin=- update ssid "staff" passphrase=***',
        'origin=- insert ssid "x" ssid="x" radio="radio0" security="wep" wep_key=***',
        'origin=- delete user "facility" role="operator" secret=***']
    assert stat.S_IMODE(AUDIT.stat().st_mode) == 0o600


def test_no_text_of_a_client_ends_an_audit_line():
    Daemon()
    assert update('<ssid name="lobby"><ssid>a&#10;b"\\</ssid></ssid>', origin="x&quot;&#10;fake")
    assert audit_lines() == \
        [r'origin="x\"\x0afake" update ssid "lobby" ssid="Lobby"->"a\x0ab\"\\"']


def test_what_is_refused_or_only_read_leaves_no_line():
    Daemon()
    assert not request("<delete><dhcp_host/></delete>", "<insert><nothing/></insert>")
    received = values("interface", "eth1")["rx_packets"]
    send_frames("eth1", 10)
    not_before = f"<not><eq><property>rx_packets</property><value>{received}</value></eq></not>"
    lsql('<lsql><update><interface name="eth1"><mtu>1500</mtu></interface></update>'
         f"<where>{not_before}</where></lsql>")
    assert audit_lines() == ['origin=- update ethernet "eth1" mtu=""->"1500"']


def test_the_audit_file_is_bounded_and_can_be_switched_off():
    Daemon()
    assert update("<audit><limit>1024</limit></audit>")
    for number in range(60):
        assert update(f"<system><description>number {number}</description></system>")
        assert AUDIT.stat().st_size <= 1024
    both = read(OLDER_AUDIT) + read(AUDIT)
    assert OLDER_AUDIT.stat().st_size <= 1024 and both.count("\n") >= 10
    assert re.findall(r'->"number (\d+)"', both) == [str(n) for n in range(60)][-both.count("\n"):]
    assert update("<audit><state>off</state></audit>")
    assert update("<system><description/></system>")
    assert read(OLDER_AUDIT) + read(AUDIT) == both


# ------------------------------------------------------------------------------------------------
# schema

def test_the_schema_tells_what_there_is():
    Daemon()
    classes = dict(instances("schema_class"))
    assert {name for name, found in classes.items() if found["persistent"] == "yes"} == \
        {*CLASSES, "ethernet", "wireless", "bridge"}
    assert classes["interface"] == {"type": "unique-named", "persistent": "yes", "abstract": "yes"}
    assert classes["bridge"]["superclass"] == "interface" and classes["bridge"]["abstract"] == "no"
    assert {name: classes[name]["type"] for name in ("system", "dns_server", "mac_filter")} == \
        {"system": "singleton", "dns_server": "anonymous", "mac_filter": "group-named"}
    properties = {(name, found.pop("property")): found
                  for name, found in instances("schema_property")}
    assert properties["user", "secret"] == {
        "readable": "no", "writable": "yes", "required": "yes", "persistent": "yes",
        "identifier": "no"}
    assert properties["interface", "type"] == {
        "readable": "yes", "writable": "no", "required": "yes", "persistent": "yes",
        "identifier": "yes"}
    assert properties["interface", "rx_bytes"]["persistent"] == "no"
    assert properties["schema_class", "type"]["writable"] == "no"
    assert [key for key in properties if key[0] == "bridge"] == [("bridge", "stp")]


def test_the_schema_tells_the_order_of_the_providers():
    Daemon()
    providers = dict(instances("schema_provider"))
    position = {name: int(found["position"]) for name, found in providers.items()}
    assert sorted(position.values()) == list(range(1, 13)) and position["audit"] == 12
    assert position["interface"] < position["radio"] < position["radio-write"] > position["ssid"]
    assert all(position[name] < position["dhcp-restart"]
               for name in ("interface", "dns_server", "dhcp"))
    assert {name for name, found in providers.items() if found["refresh"] == "yes"} == \
        {"system", "interface", "schema"}
    assert providers["user"]["commit"] == "yes" and providers["system"]["commit"] == "unknown"
    assert {found["present"] for found in providers.values()} == {"yes"}


def test_the_audit_comes_last_in_whatever_order_the_plug_ins_are_loaded():
    loaded_first = set()
    for names in (PLUGINS, PLUGINS[::-1]):
        install(plugins=names)
        daemon = Daemon(["-d"])
        loaded_first.add(re.search(r"Loading (\w+)\.so", log())[1])
        assert values("schema_provider", "audit")["position"] == "12"
        assert daemon.stop() == 0
    assert loaded_first == {PLUGINS[0], PLUGINS[-1]}


def test_the_schema_tells_what_runs():
    Daemon()
    wait_until(lambda: dnsmasq_starts() == 1, what="the server to start")
    assert values("schema_service", "dnsmasq") == {
        "state": "running", "pid": str(dnsmasq_pids()[0]),
        "command": "dnsmasq --keep-in-foreground --conf-file=/etc/dnsmasq.conf"}


def test_the_schema_knows_providers_that_are_not_there():
    (PLUGIN_DIR / "dhcp.so").unlink()
    Daemon()
    missing = dict(instances("schema_provider"))["dhcp"]
    assert (missing["present"], missing["commit"], missing["refresh"]) == ("no", "no", "no")
    assert "dnsmasq" not in dict(instances("schema_service"))


def test_nobody_changes_the_schema():
    Daemon()
    before = instances("schema_class")
    assert not update('<schema_class name="user"><type>singleton</type></schema_class>')
    assert request('<delete><schema_class name="user"/></delete>',
                   '<insert><schema_class name="fake"/></insert>')
    assert instances("schema_class") == before and audit_lines() == []


def test_the_schema_is_searched_like_any_class():
    Daemon()
    answer = lsql("<lsql><select><schema_class/></select><where><eq>"
                  "<property>superclass</property><value>interface</value></eq></where></lsql>")
    assert re.findall('name="(.*?)"', answer) == ["ethernet", "wireless", "bridge"]
