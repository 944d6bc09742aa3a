"""The reference access point at work, step by step, with the requests and answers on the screen.

Runs inside the sandbox: an access point with four network interfaces, whose cables end with us.
What is checked is what the system itself says: the kernel, the DHCP server, the files. Ends with
status 0 only when every check holds.
"""

import os
import re
import subprocess
import sys
import textwrap

from reference_device import (AUDIT, addresses, ask_for_address, dnsmasq_pids, dnsmasq_starts,
                              install, instances, link, plug_in, send_frames, system_state, values)
from support import (CAPTURED, RESCUE_FILE, STARTUP_FILE, Daemon, NotifyClient, inform, is_alive,
                     log, lsql, read, wait_until)

CLIENT = "00:00:5e:00:53:02"  # the second printer
COLOUR = sys.stdout.isatty() and "NO_COLOR" not in os.environ
failures = []


def style(code, text):
    return f"\033[{code}m{text}\033[0m" if COLOUR else text


def title(text):
    print(f"\n{style('1', '== ' + text)}")


def show(mark, text):
    """Prints a document in a few lines, broken between its elements; a long one is cut."""
    lines = [""]
    text = text.strip().replace(">\n<", "><").replace("\n", "\\n")
    for piece in text.replace("><", ">\0<").split("\0"):
        if len(lines[-1]) + len(piece) > 96:
            lines.append("")
        lines[-1] += piece
    if len(lines) > 6:
        lines = lines[:5] + [f"... {len(lines) - 5} more lines"]
    print(textwrap.indent("\n".join(lines), f"  {mark} "))


def ask(request):
    show(style("36", ">"), request)
    answer = lsql(request)
    show(style("32", "<"), answer)
    return answer


def system(command):
    """Runs a command of the system and shows what it says, but for the other ends of the cables."""
    print(f"  {style('33', '$')} {command}")
    output = subprocess.run(command.split(), capture_output=True, text=True, check=True).stdout
    for line in output.splitlines():
        if not re.match(r"\w+-port@", line):
            print(f"    {line}")


def tell(mark, message, answer):
    show(style("36", mark), f"{message}: {answer}")
    return answer


def check(what, holds):
    if not holds:
        failures.append(what)
    print(f"  {style('32', 'ok') if holds else style('31', 'FAILED')}: {what}")


def start():
    """The daemon, once its DHCP server runs."""
    daemon = Daemon(["-d"], watchdog=False)
    wait_until(lambda: len(dnsmasq_pids()) == 1, what="the DHCP server")
    return daemon


def first_start():
    title("A device without settings: four interfaces, all down")
    system("ip -brief link show type veth")
    bare = addresses("eth1") == [] and link("br0") is None
    title("The daemon starts: plug-ins declare the classes, the startup file is loaded and applied")
    daemon = start()
    count = len(re.findall(r"^  <\w", STARTUP_FILE.read_text(), re.MULTILINE))
    print(f"  {count} objects in the file, daemon running as process {daemon.pid}")
    system("ip -brief -4 address show")
    system("ip -brief link show master br0")
    check("addresses, bridges and their ports are set in the kernel",
          bare and addresses("eth1") == ["192.0.2.10/24"] and addresses("br0") == ["10.0.0.1/24"]
          and link("eth0")["master"] == link("wlan0")["master"] == "br0")
    check("the audit says that there was a start", read(AUDIT).endswith(" start\n"))
    return daemon


def select():
    title("Select: which networks does the first radio send, and with which keys?")
    answer = ask("<lsql><select><ssid><ssid/><security/><passphrase/></ssid></select><where><and>"
                 "<eq><property>radio</property><value>radio0</value></eq>"
                 "<eq><property>state</property><value>on</value></eq></and></where></lsql>")
    check("four networks, and nobody gets to see a passphrase",
          "<counter>4</counter>" in answer and answer.count("<passphrase/>") == 4)
    title("Select: what is there to configure? The data model is data, too")
    answer = ask('<lsql><select><schema_property name="radio"><property/><required/>'
                 "</schema_property></select></lsql>")
    check("seven properties of a radio", "<counter>7</counter>" in answer)


def update():
    title("Update: another address")
    before = addresses("eth1")
    ask('<lsql origin="demo"><update><interface name="eth1"><address>192.0.2.77</address>'
        "</interface></update></lsql>")
    system("ip -brief -4 address show dev eth1")
    check("the kernel has the new address and no longer the old one",
          before == ["192.0.2.10/24"] and addresses("eth1") == ["192.0.2.77/24"])


def refused(answer):
    return "is not valid for property" in answer and "<rc>1</rc>" in answer


def refuse():
    title("Values that their validators refuse: a channel of another country, an address with a tail")
    before = system_state()
    radio = ask('<lsql><update><radio name="radio0"><channel>14</channel></radio></update></lsql>')
    answer = ask("<lsql><insert><dns_server><address>192.0.2.1&#10;options debug</address>"
                 "</dns_server></insert></lsql>")
    check("refused, and the reason is told", refused(radio) and refused(answer))
    check("the system is as it was", system_state() == before)


def dhcp():
    title("A service: the DHCP server, a program of its own, and a printer that asks it for an address")
    pid, = dnsmasq_pids()
    offer = ask_for_address("eth0", CLIENT)
    print(f"  dnsmasq is process {pid}; it offers {offer.address} for {offer.lease_time} s")
    spawned, started = log().count('Running "dnsmasq --keep'), dnsmasq_starts()
    ask("<lsql><update><dhcp><lease_time>7200</lease_time><domain>attic.example</domain></dhcp>"
        "</update></lsql>")
    new_offer = ask_for_address("eth0", CLIENT)
    new_pid, = dnsmasq_pids()
    print(f"  dnsmasq is process {new_pid}; it offers {new_offer.address} for {new_offer.lease_time} s")
    check("two properties were changed, and the server restarted exactly once",
          log().count('Running "dnsmasq --keep') == spawned + 1 and dnsmasq_starts() == started + 1
          and not is_alive(pid))
    check("the printer gets its address on the new terms",
          (offer.address, offer.lease_time) == ("10.0.0.11", 3600)
          and (new_offer.address, new_offer.lease_time) == ("10.0.0.11", 7200))


def counters():
    title("Readings: the counters of an interface, and again when 50 frames came through its cable")
    request = ('<lsql><select><interface name="eth1"><rx_packets/><status/></interface></select>'
               "</lsql>")
    before = int(re.search(r"<rx_packets>(\d+)<", ask(request))[1])
    send_frames("eth1", 50)
    after = int(re.search(r"<rx_packets>(\d+)<", ask(request))[1])
    kernel = int(read("/proc/net/dev").split("eth1:")[1].split()[1])
    check(f"{after - before} more, as the kernel says", before + 50 <= after <= kernel)


def dry_run():
    title("A dry run: a write-transaction that ends in an operation which fails in any case")
    before = system_state(), [instances(name) for name in ("user", "mac_filter", "dhcp")]
    answer = ask('<lsql><write-transaction><delete><mac_filter name="staff"/></delete>'
                 "<update><dhcp><state>off</state></dhcp></update><insert><nothing/></insert>"
                 "</write-transaction></lsql>")
    results = re.findall(r"<rc>(\d+)</rc><counter>(\d+)<", answer)
    check("the first two would have worked, on 64 objects and on one",
          results == [("0", "64"), ("0", "1"), ("1", "0")])
    check("nothing has changed, neither the configuration nor the system",
          (system_state(), [instances(name) for name in ("user", "mac_filter", "dhcp")]) == before)


def audit():
    title("The audit: who changed what, secrets masked")
    ask('<lsql origin="web:admin"><update><user name="helpdesk"><role>guest</role>'
        "<secret>a new secret</secret></user></update></lsql>")
    system(f"tail -n 3 {AUDIT}")
    expected = 'origin="web:admin" update user "helpdesk" role="operator"->"guest" secret=***'
    check("the last line tells of the user, without the secret",
          read(AUDIT).endswith(f" {expected}\n") and "a new secret" not in read(AUDIT))


def save_and_power_cut(daemon):
    title("Saving, a change that is not saved, and a power cut")
    with NotifyClient() as subscriber:
        answer = tell("<", "inform object=config&action=save", inform("object=config&action=save"))
        message = subscriber.recv_message()
        show(style("35", "!"), message)
    check("saved, and the subscriber was told", answer == "OK\n" and "conf_changed" in message)
    ask("<lsql><update><system><hostname>never-saved</hostname></system></update></lsql>")
    daemon.kill9()
    os.kill(dnsmasq_pids()[0], 9)
    plug_in()
    print(f"  kill -9 {daemon.pid}; the interfaces have lost their settings, too")
    title("The restart")
    daemon = start()
    answer = ask("<lsql><select><system><hostname/><time_zone/><uptime/></system></select></lsql>")
    system("ip -brief -4 address show dev eth1")
    check("what was saved is back, in the kernel too, and what was not is not",
          "<hostname>lobby-ap</hostname>" in answer and addresses("eth1") == ["192.0.2.77/24"]
          and values("dhcp")["lease_time"] == "7200")
    return daemon


def rescue(daemon):
    title("The rescue file: back to a device that can be reached at its service address")
    answer = tell("<", "inform object=config&action=rescue", inform("object=config&action=rescue"))
    check("the startup file is the rescue file",
          answer == "OK\n" and STARTUP_FILE.read_bytes() == RESCUE_FILE.read_bytes())
    ended = daemon.stop()
    check("SIGTERM ends the daemon with status 0, and its DHCP server",
          ended == 0 and dnsmasq_pids() == [])
    plug_in()
    daemon = Daemon(["-d"], watchdog=False)
    system("ip -brief -4 address show")
    check("the service address is set, and there is no DHCP server",
          addresses("eth0") == ["192.168.1.1/24"] and link("br0") is None and dnsmasq_pids() == [])
    check("the only user left is the administrator",
          [name for name, _ in instances("user")] == ["admin"])
    return daemon


def main():
    CAPTURED.mkdir(parents=True, exist_ok=True)
    install()
    daemon = first_start()
    for step in (select, update, refuse, dhcp, counters, dry_run, audit):
        step()
    daemon = rescue(save_and_power_cut(daemon))
    check("the end: status 0", daemon.stop() == 0)
    print()
    print(style("31", "This did not happen:\n  " + "\n  ".join(failures)) if failures else
          style("32", "All of this has really happened."))
    return 1 if failures else 0


sys.exit(main())
