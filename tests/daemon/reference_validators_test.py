"""The reference access point refuses what would harm the system, and then changes nothing on it."""

import re
from xml.sax.saxutils import escape

import pytest

from reference_device import (CLASSES, FOLDER, addresses, insert, install, persistent, request,
                              system_state, update, values)
from support import Daemon, lsql

BAD_VALUES = {
    "system": {
        "hostname": ["-ap", "a.b", "a\nb", "\nap", "x" * 64, ""],
        "time_zone": ["Mars/Base", "../zoneinfo/UTC", "../../../../etc/passwd", "leapseconds",
                      "Europe", "UTC\n", ""],
        "description": ["a\nb", "x" * 65],
        "uptime": ["0"]},
    "audit": {"state": ["yes", ""], "limit": ["1023", "1048577", "\n2048", "+2048", "2048 ", ""]},
    'user name="admin"': {
        "role": ["root", ""],
        "secret": ["short12", "x" * 64, "with\nline feed", "caf\u00e9 caf\u00e9", "", "admin"]},
    'user name="helpdesk"': {"secret": ["helpdesk"]},
    'interface name="eth1"': {
        "address": ["256.1.1.1", "1.2.3", "\n10.0.0.9", "+1.2.3.4", "010.1.2.3", "0.0.0.0",
                    "127.0.0.2", "224.0.0.1", "255.255.255.255", "10.0.0.9/8", "-h", " "],
        "prefix": ["0", "33", " 24", "+24", "24\n", ""],
        "mtu": ["575", "9001", "1500 ", "\n1500", "1e3", ""],
        "state": ["on", "up ", ""],
        "bridge": ["../br0", "-br0", "br 0", "bridge-too-long1", "br0\n"],
        "type": ["bridge"], "rx_bytes": ["0"], "status": ["up"], "stp": ["on"]},
    'interface name="br0"': {"stp": ["yes", "1", ""], "bridge": ["br1"]},
    'radio name="radio0"': {
        "mode": ["ac", "a", "bg\n", ""],
        "domain": ["3", "-1", "+1", ""],
        "channel": ["14", "36", "0", "\n6", "+6", "6 ", "Auto", ""],
        "rate": ["7", "54 ", "\n54", ""],
        "power": ["101", "-1", "\n50", ""],
        "state": ["up", ""],
        "interface": ["wlan0\nx=y", "-x", ""]},
    'ssid name="staff"': {
        "ssid": ["", "x" * 33],
        "security": ["none", ""],
        "passphrase": ["short12", "x" * 64, "caf\u00e9 caf\u00e9", "a secret\nstate=off", ""],
        "wep_key": ["1234", "0123456789abcdefgh", "abcd\n", ""],
        "wep_key_length": ["64", ""],
        "hidden": ["yes"], "radio": ["a/b", ""], "filter": ["../users", ""], "bridge": ["br 0"]},
    'ssid name="scanner"': {"wep_key": ["abcde"], "wep_key_length": ["40", "128"]},
    'mac_filter name="blocked"': {
        "mac": ["00-00-5e-00-53-01", "00:00:5e:00:53", "00:00:5e:00:53:01\n", ""],
        "policy": ["maybe", ""],
        "comment": ["a\ndeny b", "x" * 41]},
    "dns_server": {
        "address": ["1.2.3", "\n1.2.3.4", "1.2.3.4\noptions debug", "+1.2.3.4", "ff02::1",
                    "fe80::1", "::1%lo", "name.example", ""]},
    "dhcp": {
        "state": ["up"], "interface": ["-x", "br0\n", ""],
        "lease_time": ["119", "604801", "\n3600", "1h", ""],
        "domain": ["a\nb.example", "ex\n.example", "lobby.example\nuser=root", "a_b.example", ""],
        "range_start": ["10.0.0.200", "10.0.0.1,evil", "\n10.0.0.1", ""],
        "range_end": ["10.0.0.99", "10.0.0", ""]},
    'dhcp_host name="door-1"': {"mac": ["00:00:5e:00:53:01,10.0.0.9", ""],
                                "address": ["10.0.0", ""]},
}
BAD_SEQUENCES = [
    ("radio0", "<channel>13</channel><domain>0</domain>"),
    ("radio0", "<domain>2</domain><channel>14</channel><domain>1</domain>"),
    ("radio0", "<rate>1</rate><channel>auto</channel><mode>a</mode>"),
    ("radio1", "<channel>auto</channel><mode>bg</mode><channel>36</channel>"),
    ("radio1", "<domain>2</domain>"),
]
GUEST = "<role>guest</role><secret>long enough</secret>"
BAD_OBJECTS = [
    *(f'<user name="{name}">{GUEST}</user>'
      for name in ("a/b", "a:b", "-a", "", "a&#10;b", "x" * 33)),
    '<user name="new"><role>guest</role></user>',
    '<user name="new"><secret>long enough</secret></user>',
    '<user name="long-enough"><role>guest</role><secret>long-enough</secret></user>',
    *(f'<interface name="{name}"><type>ethernet</type></interface>'
      for name in ("../eth9", "-eth9", "a-name-too-long1", "all", "default", "lo", "eth 9", "eth9&#10;")),
    '<interface name="br9"><type>tunnel</type></interface>', '<bridge name="br9"/>',
    '<radio name="../radio"><mode>a</mode><domain>0</domain></radio>',
    '<radio name="radio2"><mode>a</mode></radio>', '<radio name="radio2"><domain>0</domain></radio>',
    '<ssid name="a&#10;b"><ssid>x</ssid><radio>radio0</radio><security>open</security></ssid>',
    '<ssid name="new"><ssid>x</ssid><radio>radio0</radio></ssid>',
    '<mac_filter name="../../passwd"><mac>00:00:5e:00:53:01</mac></mac_filter>',
    '<mac_filter name="staff"><policy>deny</policy></mac_filter>', "<dns_server/>",
    *(f'<dhcp_host name="{name}"><mac>00:00:5e:00:99:99</mac><address>10.0.0.9</address></dhcp_host>'
      for name in ("a,b", "a&#10;b", "-a", "a.b")),
    '<dhcp_host name="new"><mac>00:00:5e:00:99:99</mac></dhcp_host>', "<dhcp/>", "<system/>",
]
GOOD = ("<update><system><description>changed</description></system></update>",
        '<update><interface name="eth1"><address>192.0.2.77</address></interface></update>',
        "<update><dhcp><lease_time>7200</lease_time></dhcp></update>",
        '<delete><mac_filter name="staff"/></delete>')


@pytest.fixture(autouse=True)
def device():
    install()


def bad_operations():
    for element, properties in BAD_VALUES.items():
        for name, texts in properties.items():
            for text in texts:
                value = f"<{name}>{escape(text)}</{name}>"
                yield f"<update><{element}>{value}</{element.split()[0]}></update>"
    for radio, values_in_order in BAD_SEQUENCES:
        yield f'<update><radio name="{radio}">{values_in_order}</radio></update>'
    for element in BAD_OBJECTS:
        yield f"<insert>{element}</insert>"


def configuration():
    return {name: persistent(name) for name in CLASSES}


def test_bad_values_are_refused_and_change_nothing_on_the_system():
    Daemon()
    before = system_state(), configuration()
    assert [operation for operation in bad_operations() if request(operation)] == []
    assert [operation for operation in bad_operations() if request(*GOOD, operation)] == []
    assert (system_state(), configuration()) == before


def test_what_stood_beside_the_bad_values_is_good():
    Daemon()
    before, _, _ = system_state()
    assert request(*GOOD)
    after, _, _ = system_state()
    assert addresses("eth1") == ["192.0.2.77/24"] and not (FOLDER / "staff.macs").exists()
    assert {path for path in before if before[path] != after.get(path)} == \
        {"/etc/access-point/staff.macs", "/etc/dnsmasq.conf", "/var/log/audit.log"}


def test_a_bad_value_in_the_startup_file_is_left_out_and_the_rest_applied():
    install('<config><interface name="eth1"><type>ethernet</type><address>192.0.2.77</address>'
            '<mtu>1</mtu></interface><user name="../../tmp/x"><role>guest</role><secret>long enough'
            "</secret></user><dns_server><address>1.2.3.4\noptions debug</address></dns_server>"
            "</config>")
    Daemon()
    assert addresses("eth1") == ["192.0.2.77/24"] and "mtu" not in values("interface", "eth1")
    assert not (FOLDER / "users").exists() and "options" not in str(system_state())


def test_a_dry_run_tells_what_would_happen_and_does_nothing():
    Daemon()
    before = system_state(), configuration()
    operations = "".join(GOOD) + "<insert><nothing/></insert>"
    answer = lsql(f"<lsql><write-transaction>{operations}</write-transaction></lsql>")
    assert re.findall(r"<rc>(\d+)</rc><counter>(\d+)", answer) == \
        [("0", "1"), ("0", "1"), ("0", "1"), ("0", "64"), ("1", "0")]
    assert 'Unknown class "nothing".' in answer.replace("&quot;", '"')
    assert (system_state(), configuration()) == before


def test_a_band_is_changed_by_way_of_auto():
    Daemon()
    start = '<radio name="radio0">'
    assert not update(f"{start}<mode>a</mode><channel>36</channel></radio>")
    assert update(f"{start}<channel>auto</channel><mode>a</mode><channel>36</channel></radio>")
    assert update(f"{start}<domain>1</domain><channel>140</channel><rate>54</rate></radio>")
    assert not update(f"{start}<domain>0</domain></radio>")
    radio = values("radio", "radio0")
    assert (radio["mode"], radio["channel"], radio["domain"]) == ("a", "140", "1")


@pytest.mark.parametrize("key, length, accepted", [
    ("abcde", "40", True), ("0123456789", "40", True), ("abcdefghijklm", "104", True),
    ("a" * 26, "104", True), ("abcdefghijklmnop", "128", True), ("f" * 32, "128", True),
    ("abcde", "104", False), ("xyz" * 9, "104", False), ("g" * 10, "40", False),
])
def test_a_wep_key_fits_its_length_whichever_comes_first(key, length, accepted):
    Daemon()
    start = "<ssid>x</ssid><radio>radio0</radio><security>wep</security>"
    values_of_key = [f"<wep_key>{key}</wep_key>", f"<wep_key_length>{length}</wep_key_length>"]
    for name, in_order in (("one", values_of_key), ("two", values_of_key[::-1])):
        assert insert(f'<ssid name="{name}">{start}{"".join(in_order)}</ssid>') == accepted
