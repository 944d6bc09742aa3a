"""The main job of the daemon, step by step, with the requests and answers on the screen.

Runs inside the sandbox, with the plug-ins of the example access point in their place. Ends with status
0 only when every step answered as it should.
"""

import os
import re
import sys
import textwrap
from pathlib import Path

from support import CAPTURED, STARTUP_FILE, Daemon, NotifyClient, inform, lsql, read, write_config

COLOUR = sys.stdout.isatty() and "NO_COLOR" not in os.environ
failures = 0


def style(code, text):
    return f"\033[{code}m{text}\033[0m" if COLOUR else text


def title(text):
    print(f"\n{style('1', '== ' + text)}")


def show(mark, text):
    """Prints a document in a few lines, broken between its elements; a long one is cut."""
    lines = [""]
    for piece in text.strip().replace("\n", "").replace("><", ">\0<").split("\0"):
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


def check(what, holds):
    global failures
    failures += not holds
    print(f"  {style('32', 'ok') if holds else style('31', 'FAILED')}: {what}")


def radio_file():
    return read("/etc/radios.conf")


def ssid_of(radio):
    section = radio_file().partition(f"[{radio}]\n")[2].partition("[")[0]
    return re.search(r"^ssid=(.*)$", section, re.MULTILINE)[1]


def select_where():
    title("Select: which access points send on channel 36 or 44?")
    answer = ask('<lsql><select><radio><ssid/><channel/><passphrase/></radio></select><where><and>'
                 '<eq><property>mode</property><value>ap</value></eq><or>'
                 '<eq><property>channel</property><value>36</value></eq>'
                 '<eq><property>channel</property><value>44</value></eq></or></and></where></lsql>')
    check("two radios, and nobody gets to see the passphrase",
          "<counter>2</counter>" in answer and answer.count("<passphrase/>") == 2)


def update():
    title("Update: a new name for the lobby's network, applied by the radio's provider")
    before = ssid_of("r0")
    answer = ask('<lsql origin="demo"><update><radio name="r0"><ssid>Café &amp; Bar</ssid></radio>'
                 '</update></lsql>')
    print(f"  /etc/radios.conf: ssid={before}  ->  ssid={ssid_of('r0')}")
    check("one radio changed, and so did the file",
          "<counter>1</counter>" in answer and ssid_of("r0") == "Café & Bar")


def refuse():
    title("A value that its validator refuses")
    answer = ask('<lsql><update><radio name="r1"><channel>999</channel></radio></update></lsql>')
    check("refused with a reason", 'Value "999" is not valid for property "channel"' in
          answer.replace("&quot;", '"') and "<rc>1</rc>" in answer)


def transactions():
    title("A write-transaction that fails in its second operation leaves everything as it was")
    answer = ask('<lsql><write-transaction><delete><access_list name="guests"/></delete>'
                 '<insert><dns_server><address>nowhere</address></dns_server></insert>'
                 '</write-transaction></lsql>')
    check("refused as a whole", "<rc>1</rc>" in answer)
    left = lsql('<lsql><select><access_list name="guests"/></select></lsql>')
    check("all 16 entries of the list are still there", "<counter>16</counter>" in left)

    title("The same without the mistake")
    answer = ask('<lsql><write-transaction><delete><access_list name="guests"/></delete>'
                 '<insert><dns_server><address>192.0.2.99</address></dns_server></insert>'
                 '</write-transaction></lsql>')
    print(textwrap.indent(read("/etc/resolv.conf"), "  /etc/resolv.conf: "), end="")
    check("the list is gone and the name server is in use",
          "<counter>16</counter>" in answer and "nameserver 192.0.2.99" in read("/etc/resolv.conf")
          and not Path("/etc/access-guests.conf").exists())


def notification():
    title("A subscriber is told when a radio goes down")
    with NotifyClient() as subscriber:
        ask('<lsql origin="demo"><update><radio name="r2"><state>off</state></radio></update></lsql>')
        message = subscriber.recv_message()
        show(style("35", "!"), message)
        check("the message names the radio and its state",
              '<radio name="r2"><state>off</state></radio>' in message and 'origin="demo"' in message)


def save(daemon):
    title("Saving, then a power cut")
    with NotifyClient() as subscriber:
        answer = inform("object=save")
        show(style("32", "<"), f"inform object=save: {answer}")
        show(style("35", "!"), subscriber.recv_message())
    check("saved", answer == "OK\n" and "Caf&#xE9; &amp; Bar" in STARTUP_FILE.read_text())
    ask('<lsql><update><radio name="r3"><ssid>never saved</ssid></radio></update></lsql>')
    print(f"  kill -9 {daemon.pid}")
    daemon.kill9()
    for path in ("/etc/radios.conf", "/etc/resolv.conf"):
        Path(path).unlink()


def restart():
    title("The restart has everything that was saved, and has set up the system from it")
    daemon = Daemon(watchdog=False)
    answer = ask('<lsql><select><radio name="r0"><ssid/></radio></select></lsql>')
    print(f"  /etc/radios.conf: ssid={ssid_of('r0')}")
    check("the new name is back, what was not saved is not",
          "Caf&#xE9; &amp; Bar" in answer and ssid_of("r0") == "Café & Bar"
          and ssid_of("r3") == "sensors" and "192.0.2.99" in read("/etc/resolv.conf"))
    load = ask('<lsql><select><system><hostname/><load1/><tasks/></system></select></lsql>')
    check("readings are fresh from the kernel",
          bool(re.search(r"<load1>[\d.]+</load1><tasks>\d+/\d+</tasks>", load)))
    return daemon


def main(config):
    CAPTURED.mkdir(parents=True, exist_ok=True)
    write_config(Path(config).read_text())
    title("Start: plug-ins declare the classes, the startup file becomes the running configuration")
    daemon = Daemon(watchdog=False)
    count = sum(1 for line in Path(config).read_text().splitlines()
                if re.match(r"  <[a-z]", line))
    print(f"  {count} objects loaded, daemon running as process {daemon.pid}")
    check("the providers have set up the system", ssid_of("r0") == "lobby")
    select_where()
    update()
    refuse()
    transactions()
    notification()
    save(daemon)
    daemon = restart()
    title("The end: SIGTERM")
    check("status 0", daemon.stop() == 0)
    print()
    print(style("32", "Every step answered as it should.") if failures == 0 else
          style("31", f"{failures} steps did not answer as they should."))
    return 1 if failures else 0


sys.exit(main(sys.argv[1]))
