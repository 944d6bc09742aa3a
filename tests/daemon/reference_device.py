"""The device that the reference access point configures: its plug-ins and files, its network
interfaces as cables whose other ends are ours, and a client of its DHCP server.
"""

import json
import os
import re
import socket
import struct
import subprocess
import time
from collections import namedtuple
from pathlib import Path
from xml.etree import ElementTree

from support import (DEFAULT_FILE, PLUGIN_DIR, RESCUE_FILE, install_plugin, lsql, read, remove,
                     write_config)

CHECKOUT = Path(__file__).resolve().parents[2]
BUILT = Path(os.environ["VESK_BINARY"]).parent / "reference"
# Those of a build, or installed ones.
BUILT_PLUGINS = Path(os.environ.get("VESK_REFERENCE_PLUGINS", BUILT / "plugins"))
INSTALLED = os.environ.get("VESK_REFERENCE_FILES")
REFERENCE = Path(INSTALLED or CHECKOUT / "reference")
DEFAULT_IMAGE = Path(INSTALLED or BUILT) / "defaultconfig.xml"
PLUGINS = ("audit", "config", "dhcp", "dns_server", "interface", "mac_filter", "radio", "schema",
           "ssid", "system", "user")
CLASSES = ("system", "audit", "user", "interface", "radio", "ssid", "mac_filter", "dns_server",
           "dhcp", "dhcp_host")
READINGS = re.compile("uptime|status|[rt]x_.*")
HARDWARE = ("eth0", "eth1", "wlan0", "wlan1")
FOLDER = Path("/etc/access-point")
AUDIT = Path("/var/log/audit.log")
DNSMASQ_LOG = Path("/var/log/dnsmasq.log")
OLDER_AUDIT = Path("/var/log/audit.log.1")
WRITTEN = (AUDIT, OLDER_AUDIT, Path("/etc/hostname"), Path("/etc/timezone"), Path("/etc/localtime"),
           Path("/etc/resolv.conf"), Path("/etc/dnsmasq.conf"), Path("/etc/dnsmasq.conf.wanted"))


def install(config=None, plugins=PLUGINS):
    """A device as it leaves the factory, but for a startup file: the given one, or config.xml."""
    for path in (*PLUGIN_DIR.iterdir(), *WRITTEN, FOLDER, DNSMASQ_LOG, Path("/var/run/dnsmasq.leases")):
        remove(path)
    for name in plugins:
        install_plugin(BUILT_PLUGINS / f"{name}.so")
    DEFAULT_FILE.write_bytes(DEFAULT_IMAGE.read_bytes())
    RESCUE_FILE.write_bytes((REFERENCE / "rescueconfig.xml").read_bytes())
    write_config(config or (REFERENCE / "config.xml").read_text())
    plug_in()


def ip(*arguments):
    """What ip(8) says, as data."""
    output = subprocess.run(["ip", "-j", *arguments], check=True, capture_output=True).stdout
    return json.loads(output or "[]")


def port_of(interface):
    """The other end of the cable that is plugged in there."""
    return f"{interface}-port"


def plug_in():
    """Makes the hardware anew: interfaces that are down and have no address, each with a cable."""
    for name in {entry["ifname"] for entry in ip("link", "show")} - {"lo"}:
        if not name.endswith("-port"):  # it goes with the other end
            ip("link", "delete", "dev", name)
    for name in HARDWARE:
        ip("link", "add", "dev", name, "type", "veth", "peer", "name", port_of(name))
        ip("link", "set", "dev", port_of(name), "up")


def link(interface):
    """The state of an interface in the kernel, or None where there is no such interface."""
    found = [entry for entry in ip("-d", "link", "show") if entry["ifname"] == interface]
    return found[0] if found else None


def addresses(interface):
    """The IPv4 addresses of an interface in the kernel, with their prefixes."""
    entries = ip("-4", "address", "show", "dev", interface)
    return [f"{address['local']}/{address['prefixlen']}"
            for entry in entries for address in entry.get("addr_info", [])]


def send_frames(interface, count):
    """Sends frames of 100 bytes into an interface, through its cable."""
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as cable:
        cable.bind((port_of(interface), 0))
        for _ in range(count):
            cable.send(b"\xff" * 6 + b"\x02" * 6 + b"\x88\xb5" + bytes(86))


def dnsmasq_starts():
    """How often the DHCP server was started, as it says itself."""
    return len(re.findall(r"dnsmasq\[\d+\]: started", read(DNSMASQ_LOG)))


def dnsmasq_pids():
    """The processes that run the DHCP server."""
    return [int(stat.parent.name) for stat in Path("/proc").glob("[0-9]*/stat")
            if re.match(r"\d+ \(dnsmasq\) [^ZX]", read(stat))]


# ------------------------------------------------------------------------------------------------
# A client of the DHCP server

Offer = namedtuple("Offer", "address, name_servers, host_name, lease_time")
MAGIC = bytes([99, 130, 83, 99])


def ask_for_address(interface, mac, timeout=5):
    """What the DHCP server offers to a client at the end of a cable; None when nothing comes."""
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0800)) as cable:
        cable.bind((port_of(interface), 0))
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            cable.send(discover(mac))
            offer = receive_offer(cable, mac, min(deadline, time.monotonic() + 1))
            if offer:
                return offer
    return None


def discover(mac):
    """The Ethernet frame with which a client that knows nothing looks for a server."""
    hardware = bytes.fromhex(mac.replace(":", ""))
    bootp = struct.pack("!BBBBIHH16x16s64x128x", 1, 1, 6, 0, 0x76657368, 0, 0x8000, hardware)
    options = MAGIC + bytes([53, 1, 1, 55, 4, 1, 6, 12, 51, 255])
    payload = bootp + options
    udp = struct.pack("!HHHH", 68, 67, 8 + len(payload), 0)
    header = struct.pack("!BBHHHBBH4s4s", 0x45, 0, 28 + len(payload), 0, 0, 64, 17, 0, bytes(4),
                         b"\xff" * 4)
    header = header[:10] + struct.pack("!H", checksum(header)) + header[12:]
    return b"\xff" * 6 + hardware + b"\x08\x00" + header + udp + payload


def checksum(header):
    total = sum(struct.unpack(f"!{len(header) // 2}H", header))
    return ~((total & 0xffff) + (total >> 16)) & 0xffff


def receive_offer(cable, mac, deadline):
    while (left := deadline - time.monotonic()) > 0:
        cable.settimeout(left)
        try:
            frame = cable.recv(2048)
        except TimeoutError:
            return None
        ports, bootp = frame[34:38], frame[42:]
        hardware = bytes.fromhex(mac.replace(":", ""))
        if ports == struct.pack("!HH", 67, 68) and bootp[28:34] == hardware:
            return parse_offer(bootp)
    return None


def parse_offer(bootp):
    options = {}
    rest = bootp.partition(MAGIC)[2]
    while rest and rest[0] != 255:
        options[rest[0]] = rest[2:2 + rest[1]]
        rest = rest[2 + rest[1]:]
    servers = options.get(6, b"")
    return Offer(socket.inet_ntoa(bootp[16:20]),
                 [socket.inet_ntoa(servers[i:i + 4]) for i in range(0, len(servers), 4)],
                 options.get(12, b"").decode(), int.from_bytes(options.get(51, b""), "big"))


# ------------------------------------------------------------------------------------------------
# Requests, and what they leave on the system

def instances(class_name):
    """All objects of a class: (name or None, values) of each."""
    answer = lsql(f'<lsql><select><{class_name} properties="all"/></select></lsql>')
    return [(entry.get("name"), {value.tag: value.text for value in entry if value.text})
            for entry in ElementTree.fromstring(answer)[0]]


def values(class_name, name=None):
    """The values of the one object of a class, or of the first one of that name."""
    return next(found for key, found in instances(class_name) if name in (None, key))


def persistent(class_name):
    """The same without what is read from the system."""
    return [(name, {key: value for key, value in found.items() if not READINGS.fullmatch(key)})
            for name, found in instances(class_name)]


def request(*operations, origin=None):
    """Whether all of the operations were carried out, in one write-transaction."""
    start = f'<lsql origin="{origin}">' if origin else "<lsql>"
    answer = lsql(f"{start}<write-transaction>{''.join(operations)}</write-transaction></lsql>")
    return set(re.findall("<rc>(.*?)</rc>", answer)) == {"0"}


def update(element, **others):
    return request(f"<update>{element}</update>", **others)


def insert(element, **others):
    return request(f"<insert>{element}</insert>", **others)


def delete(element, **others):
    return request(f"<delete>{element}</delete>", **others)


def system_state():
    """What the plug-ins set up: files with what links lead to, interfaces, processes."""
    files = {str(path): (os.path.realpath(path), read(path))
             for path in (*WRITTEN, *FOLDER.glob("*"))}
    links = {entry["ifname"]: ("UP" in entry["flags"], entry["mtu"], entry.get("master"),
                               addresses(entry["ifname"])) for entry in ip("link", "show")}
    return files, links, dnsmasq_pids()
