"""The reference access point sets up interfaces, radios and services of the real system."""

import os
import re
import signal
import stat
import time

import pytest

from reference_device import (FOLDER, HARDWARE, addresses, ask_for_address, delete, dnsmasq_pids,
                              dnsmasq_starts, insert, install, instances, ip, link, port_of,
                              request, send_frames, update, values)
from support import Daemon, is_alive, log, read, wait_until

KNOWN_CLIENT = "00:00:5e:00:53:02"
NEW_CLIENT = "00:00:5e:00:99:01"


@pytest.fixture(autouse=True)
def device():
    install()


def server_starts():
    """How often the daemon has started the DHCP server, and how often that says that it started."""
    return log().count('Running "dnsmasq --keep-in-foreground'), dnsmasq_starts()


def start_with_server():
    """The daemon, with the DHCP server running."""
    daemon = Daemon(["-d"])
    wait_until(lambda: server_starts() == (1, 1), what="the server to start")
    return daemon


# ------------------------------------------------------------------------------------------------
# interface

def test_interfaces_are_set_up_in_the_kernel():
    Daemon()
    assert addresses("br0") == ["10.0.0.1/24"] and addresses("eth1") == ["192.0.2.10/24"]
    assert {name: link(name).get("master") for name in HARDWARE} == \
        {"eth0": "br0", "eth1": None, "wlan0": "br0", "wlan1": "br1"}
    assert all("UP" in link(name)["flags"] for name in (*HARDWARE, "br0", "br1"))
    spanning_tree = [link(name)["linkinfo"]["info_data"]["stp_state"] for name in ("br0", "br1")]
    assert spanning_tree == [0, 1]


def test_a_change_of_an_interface_is_applied():
    Daemon()
    assert update('<interface name="eth1"><address>198.51.100.7</address><prefix>30</prefix>'
                  "<mtu>1400</mtu><state>down</state></interface>")
    assert addresses("eth1") == ["198.51.100.7/30"] and link("eth1")["mtu"] == 1400
    assert "UP" not in link("eth1")["flags"]
    assert update('<ethernet name="eth1"><address/><bridge>br1</bridge>'
                  "<state>up</state></ethernet>")
    assert addresses("eth1") == [] and link("eth1")["master"] == "br1"
    assert "UP" in link("eth1")["flags"]
    assert update('<ethernet name="eth1"><bridge/></ethernet>')
    assert "master" not in link("eth1")


def test_only_what_changed_is_applied():
    Daemon(["-d"])
    started = len(log())
    assert update('<interface name="eth1"><mtu>1400</mtu><prefix>24</prefix></interface>')
    assert re.findall('Running "(ip .*?)"', log()[started:]) == ["ip link set dev eth1 mtu 1400"]


def test_bridges_come_with_their_ports_and_go():
    Daemon()
    assert request('<update><ethernet name="eth1"><bridge>br7</bridge></ethernet></update>',
                   '<insert><interface name="br7"><type>bridge</type><stp>on</stp>'
                   "<address>10.7.0.1</address><state>up</state></interface></insert>")
    assert addresses("br7") == ["10.7.0.1/24"] and link("eth1")["master"] == "br7"
    assert delete('<interface name="br7"/>')
    assert link("br7") is None and "master" not in link("eth1")
    assert "UP" in link("eth1")["flags"] and "Failed" not in log()


def test_an_interface_whose_object_goes_is_left_without_settings():
    Daemon()
    assert delete('<interface name="eth1"/>') and delete('<interface name="eth0"/>')
    assert addresses("eth1") == [] and "UP" not in link("eth1")["flags"]
    assert "master" not in link("eth0") and "UP" not in link("eth0")["flags"]


def test_an_address_from_before_the_start_does_not_stay():
    ip("address", "add", "203.0.113.1/24", "dev", "eth1")
    Daemon()
    assert addresses("eth1") == ["192.0.2.10/24"]


def test_missing_hardware_keeps_nothing_else_from_being_set_up():
    ip("link", "delete", "dev", "eth1")
    Daemon()
    assert "vesk: There is no interface eth1.\n" in log() and "Failed" not in log()
    assert addresses("br0") == ["10.0.0.1/24"] and link("wlan1")["master"] == "br1"
    assert values("interface", "eth1")["status"] == "down"


def kernel_counters(interface):
    names = ("rx_bytes", "rx_packets", "rx_errors", "rx_dropped", "", "", "", "",
             "tx_bytes", "tx_packets", "tx_errors", "tx_dropped")
    line = re.search(rf"^ *{interface}: *(.*)$", read("/proc/net/dev"), re.MULTILINE)[1].split()
    return {name: int(value) for name, value in zip(names, line) if name}


def test_counters_are_those_of_the_kernel_at_this_moment():
    Daemon()
    first = values("interface", "eth1")
    send_frames("eth1", 100)
    earlier = kernel_counters("eth1")
    second = values("interface", "eth1")
    later = kernel_counters("eth1")
    assert all(earlier[name] <= int(second[name]) <= later[name] for name in earlier)
    assert int(second["rx_packets"]) - int(first["rx_packets"]) >= 100
    assert int(second["rx_bytes"]) - int(first["rx_bytes"]) >= 100 * 100


def has_status(interface, status):
    """Now, or soon: the kernel tells of cables at most once a second."""
    return wait_until(lambda: values("interface", interface)["status"] == status,
                      what=f"{interface} to be {status}")


def test_the_status_follows_the_cable():
    Daemon()
    assert has_status("eth1", "up")
    ip("link", "set", "dev", port_of("eth1"), "down")
    assert has_status("eth1", "down")
    ip("link", "set", "dev", port_of("eth1"), "up")
    assert has_status("eth1", "up")


# ------------------------------------------------------------------------------------------------
# radio, ssid, mac_filter

def radio_file(name="radio0"):
    """The settings in a radio's file, and those of each network in it."""
    sections = {"": {}}
    current = sections[""]
    for line in read(FOLDER / f"{name}.conf").splitlines():
        header = re.fullmatch(r"\[network (.*)\]", line)
        if header:
            current = sections[header[1]] = {}
        elif "=" in line:
            key, _, value = line.partition("=")
            assert key not in current
            current[key] = value
    return sections


def test_a_radio_has_a_file_with_its_networks():
    Daemon()
    assert stat.S_IMODE((FOLDER / "radio0.conf").stat().st_mode) == 0o600
    radio = radio_file()
    assert radio.pop("") == {"interface": "wlan0", "mode": "bg-n", "domain": "1", "channel": "6",
                             "rate": "auto", "power": "80", "state": "on"}
    assert radio["staff"] == {"ssid": '"Staff"', "security": "wpa", "bridge": "br0",
                              "filter": "staff", "passphrase": '"nine lives of a cat"'}
    assert radio["scanner"]["wep_key"] == '"0badc0ffee0badc0ffee0badc0"'
    assert list(radio) == ["lobby", "staff", "sensors", "scanner"]
    assert list(radio_file("radio1")) == ["", "staff-5", "cafe"]  # the event's network is off


def test_radios_and_networks_come_and_go():
    Daemon()
    assert update('<ssid name="event"><state>on</state><radio>radio0</radio></ssid>')
    assert radio_file()["event"]["ssid"] == '"Summer party"'
    assert delete('<ssid name="event"/>') and "event" not in radio_file()
    new = "<mode>bg</mode><domain>2</domain><channel>14</channel>"
    assert insert(f'<radio name="radio2">{new}</radio>')
    assert radio_file("radio2") == {"": {"mode": "bg", "domain": "2", "channel": "14"}}
    assert delete('<radio name="radio2"/>') and not (FOLDER / "radio2.conf").exists()


def test_a_change_of_radio_and_channel_is_written():
    Daemon()
    assert update('<radio name="radio0"><channel>auto</channel><mode>a</mode>'
                  "<channel>36</channel></radio>")
    assert (radio_file()[""]["mode"], radio_file()[""]["channel"]) == ("a", "36")


@pytest.mark.parametrize("security, key, value", [
    ("wpa", "passphrase", "now there is one"), ("wep", "wep_key", "abcde")])
def test_a_network_whose_key_is_missing_is_not_sent_in_the_clear(security, key, value):
    Daemon()
    assert update(f'<ssid name="lobby"><security>{security}</security></ssid>')
    assert "lobby" not in radio_file() and f"Network lobby has no {key} and stays off." in log()
    assert update(f'<ssid name="lobby"><{key}>{value}</{key}></ssid>')
    assert radio_file()["lobby"][key] == f'"{value}"'


def test_no_text_of_a_client_becomes_a_setting():
    Daemon()
    assert update('<ssid name="lobby"><ssid>x"&#10;state=off&#10;[network y]\\&#9;</ssid></ssid>')
    assert update('<ssid name="staff"><passphrase>a" b\\ c#; $(id)</passphrase></ssid>')
    radio = radio_file()
    assert radio["lobby"]["ssid"] == r'"x\"\x0astate=off\x0a[network y]\\\x09"'
    assert radio["staff"]["passphrase"] == r'"a\" b\\ c#; $(id)"'
    assert list(radio) == ["", "lobby", "staff", "sensors", "scanner"]
    assert radio[""]["state"] == "on"


def test_a_list_has_a_file_while_it_has_entries():
    Daemon()
    assert read(FOLDER / "staff.macs").count("allow 00:00:5e:00:") == 64
    assert read(FOLDER / "blocked.macs").splitlines()[0] == "deny 00:00:5e:00:54:71"
    assert insert('<mac_filter name="guests"><mac>00:00:5e:00:99:01</mac></mac_filter>')
    assert read(FOLDER / "guests.macs") == "allow 00:00:5e:00:99:01\n"
    assert delete('<mac_filter name="guests"/>') and not (FOLDER / "guests.macs").exists()


# ------------------------------------------------------------------------------------------------
# dns_server, dhcp

def test_name_servers_are_written_in_their_order():
    Daemon()
    start = "nameserver 192.0.2.53\nnameserver 198.51.100.53\nnameserver 2001:db8::53\n"
    assert read("/etc/resolv.conf") == start
    assert insert("<dns_server><address>203.0.113.53</address></dns_server>")
    assert read("/etc/resolv.conf") == start + "nameserver 203.0.113.53\n"
    assert delete("<dns_server/>") and read("/etc/resolv.conf") == ""


def test_clients_get_addresses():
    """One that is not known waits for three seconds: the server makes sure that nobody has it."""
    Daemon()
    known = ask_for_address("eth0", KNOWN_CLIENT)
    assert known.address == "10.0.0.11" and known.host_name == "printer-2"
    assert known.name_servers == ["10.0.0.1", "192.0.2.53", "198.51.100.53"]
    new = ask_for_address("wlan0", NEW_CLIENT)
    assert 100 <= int(new.address.removeprefix("10.0.0.")) <= 199 and new.lease_time == 3600


def test_two_properties_restart_the_server_once():
    start_with_server()
    first, = dnsmasq_pids()
    assert update("<dhcp><lease_time>7200</lease_time><range_end>10.0.0.150</range_end></dhcp>")
    assert ask_for_address("eth0", KNOWN_CLIENT).lease_time == 7200
    assert server_starts() == (2, 2) and not is_alive(first) and len(dnsmasq_pids()) == 1


def test_two_providers_restart_the_server_once():
    start_with_server()
    assert request("<delete><dns_server/></delete>",
                   "<insert><dns_server><address>203.0.113.53</address></dns_server></insert>",
                   "<update><dhcp><lease_time>600</lease_time></dhcp></update>",
                   '<delete><dhcp_host name="printer-1"/></delete>')
    offer = ask_for_address("eth0", KNOWN_CLIENT)
    assert offer.name_servers == ["10.0.0.1", "203.0.113.53"] and offer.lease_time == 600
    assert "printer-1," not in read("/etc/dnsmasq.conf")
    assert server_starts() == (2, 2)


@pytest.mark.parametrize("operation", [
    "<insert><dns_server><address>203.0.113.53</address></dns_server></insert>",
    '<delete><dhcp_host name="printer-1"/></delete>',
    "<update><dhcp><domain>attic.example</domain></dhcp></update>"])
def test_each_provider_alone_restarts_the_server_once(operation):
    start_with_server()
    assert request(operation) and ask_for_address("eth0", KNOWN_CLIENT)
    assert server_starts() == (2, 2)


def test_a_commit_that_does_not_concern_the_server_leaves_it_alone():
    start_with_server()
    before = dnsmasq_pids()
    assert update('<radio name="radio0"><power>50</power></radio>')
    assert dnsmasq_pids() == before and ask_for_address("eth0", KNOWN_CLIENT)
    assert server_starts() == (1, 1)


def test_a_server_that_dies_is_started_again():
    daemon = start_with_server()
    os.kill(dnsmasq_pids()[0], signal.SIGKILL)
    wait_until(lambda: server_starts() == (2, 2), what="the server to be started again")
    assert ask_for_address("eth0", KNOWN_CLIENT)
    assert daemon.stop() == 0 and dnsmasq_pids() == []


def test_a_server_that_a_killed_daemon_left_behind_is_replaced():
    start_with_server().kill9()
    leftover, = dnsmasq_pids()
    Daemon()
    wait_until(lambda: dnsmasq_starts() == 2, what="the server to start")
    assert leftover not in dnsmasq_pids() and len(dnsmasq_pids()) == 1
    assert ask_for_address("eth0", KNOWN_CLIENT)


def test_a_server_that_is_switched_off_stays_off():
    start_with_server()
    assert update("<dhcp><state>off</state></dhcp>") and dnsmasq_pids() == []
    for mtu in (1400, 1500):  # deaths of other children make the daemon look after its services
        assert update(f'<interface name="eth1"><mtu>{mtu}</mtu></interface>')
        time.sleep(2.5)
    assert dnsmasq_pids() == [] and server_starts() == (1, 1) and instances("schema_service") == []
    assert update("<dhcp><state>on</state></dhcp>") and ask_for_address("eth0", KNOWN_CLIENT)


def test_settings_that_the_server_refuses_leave_it_as_it_is():
    start_with_server()
    before = dnsmasq_pids()
    assert update('<dhcp_host name="printer-2"><address>10.0.0.10</address></dhcp_host>')
    assert "dhcp-host=00:00:5e:00:53:02,10.0.0.11,printer-2\n" in read("/etc/dnsmasq.conf")
    assert "vesk: Failed with status 256: dnsmasq --test" in log()
    assert dnsmasq_pids() == before and server_starts() == (1, 1)
    assert ask_for_address("eth0", KNOWN_CLIENT).address == "10.0.0.11"
    assert update('<dhcp_host name="printer-1"><address>10.0.0.11</address></dhcp_host>')
    assert ask_for_address("eth0", KNOWN_CLIENT).address == "10.0.0.10"
