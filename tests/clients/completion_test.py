"""What the shells offer at the cursor, asked of the running daemon."""

import os
import pty
import re
import select
import signal
import subprocess
import time
from pathlib import Path

import pytest

from client import ENVIRONMENT, HERE, VESKCTL, output_of, start
from support import TIMEOUT, lsql

COMPLETION = HERE.parents[1] / "clients/completion"
PROMPT = "ready> "
FAST_ENOUGH = 1 if b"__asan_init" in VESKCTL.read_bytes() else 0.05  # seconds


def offered(*words):
    """The candidates for the last word."""
    return output_of("complete", "--", *words).splitlines()


def offered_in(line, breaks=" \t\n\"'@><=;|&(:"):
    """The candidates at the end of a line, as bash asks for them."""
    return output_of("complete", "--line", line, "--breaks", breaks).splitlines()


@pytest.fixture(params=[False, True], ids=["without schema", "with schema"])
def daemon(request):
    return start(schema=request.param)


def test_commands_and_options(daemon):
    assert offered("s") == ["save", "schema", "set", "show", "startup"]
    assert {"add", "apply", "delete", "inform", "raw", "reset", "watch"} < set(offered(""))
    assert "complete" not in offered("")
    assert offered("show", "--w") == ["--where"]
    assert "--dry-run" in offered("set", "radio", "-")
    assert offered("show", "--output", "") == ["json", "table", "xml"]
    assert offered("schema", "p") == ["properties", "providers"]
    assert offered("--timeout", "3", "sh") == ["show"]


def test_classes(daemon):
    assert {"radio", "interface"} < set(offered("show", ""))
    for command in ("show", "set", "add", "delete"):
        assert offered(command, "ra") == ["radio"]


def test_names_and_properties(daemon):
    assert {"r0", "r1", "r 2", "ssid", "state"} < set(offered("show", "radio", ""))
    assert offered("show", "radio", "r") == ["r 2", "r0", "r1"]
    assert offered("show", "radio", "r0", "s") == ["ssid", "state"]
    assert offered("show", "radio", "r0", "ssid", "s") == ["state"]
    assert offered("set", "radio", "s") == ["ssid=", "state="]
    assert offered("set", "radio", "r0", "ssid=x", "s") == ["state="]
    assert offered("set", "radio", "r0", "ssid=") == []
    assert offered("add", "radio", "r") == []
    assert offered("add", "radio", "r9", "st") == ["state="]
    assert offered("delete", "radio", "") == ["r 2", "r0", "r1"]
    assert offered("delete", "radio", "--name", "r") == ["r 2", "r0", "r1"]
    assert offered("set", "radio", "--name", "r0", "r") == []
    assert "ssid" in offered("show", "radio", "--where", "s")
    assert offered("show", "access_list", "gu") == ["guests"]


def test_what_the_schema_says_of_properties():
    start(schema=True)
    assert offered("set", "radio", "c") == ["channel="]  # clients is not writable
    assert offered("show", "radio", "c") == ["channel", "clients"]
    assert offered("set", "interface", "br0", "") == ["mtu=", "stp="]
    assert offered("add", "bridge", "br1", "") == ["kind=", "stp="]


def test_nothing_is_refreshed(daemon):
    for words in (["show", ""], ["show", "radio", ""], ["set", "radio", "r0", ""]):
        offered(*words)
    answer = lsql('<lsql><select><radio name="r0"><clients/></radio></select></lsql>')
    assert "<clients>1</clients>" in answer, "this is the first refresh"


def test_lines_are_quoted_for_bash(daemon):
    assert offered_in("veskctl show radio r") == ["r\\ 2", "r0", "r1"]
    assert offered_in("veskctl show radio r\\ ") == ["r\\ 2"]
    assert offered_in("veskctl show radio 'r ") == ["r 2"]
    assert offered_in('X=1 ./veskctl show radio "r ') == ["r 2"]
    assert offered_in("veskctl set radio r\\ 2 ss") == ["ssid="]
    output_of("add", "radio", "a:b@c'd", "state=up")
    output_of("add", "radio", "--name", "e=f", "state=up")
    assert offered_in("veskctl delete radio a:b@") == ["c\\'d"]
    assert offered_in("veskctl delete radio a") == ["a:b@c\\'d"]
    assert offered_in("veskctl delete radio a:") == ["b@c\\'d"]
    assert offered_in("veskctl delete radio --name e=") == ["f"]
    assert offered_in("veskctl delete radio --name e=", "") == ["e=f"]


def test_names_that_no_line_can_hold_are_left_out(daemon):
    output_of("add", "radio", "r\n3", "state=up")
    assert offered("show", "radio", "r") == ["r 2", "r0", "r1"]


def test_it_is_fast_enough(daemon):
    for words in (["show", "r"], ["show", "radio", "r"], ["set", "radio", "r0", "s"]):
        times = []
        for _ in range(10):
            begin = time.monotonic()
            assert offered(*words)
            times.append(time.monotonic() - begin)
        assert min(times) < FAST_ENOUGH, times


def test_a_daemon_that_hangs_or_is_missing_offers_nothing():
    daemon = start()
    daemon.send_signal(signal.SIGSTOP)
    begin = time.monotonic()
    assert offered("show", "r") == []
    assert time.monotonic() - begin < 3
    daemon.send_signal(signal.SIGCONT)
    daemon.stop()
    assert offered("show", "r") == []
    assert offered("sh") == ["show"]


class Terminal:
    """A shell on a terminal."""

    def __init__(self, *command):
        self.seen = ""
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.chdir("/run")
            os.execvpe(command[0], command, ENVIRONMENT | {"PS1": PROMPT, "HISTFILE": ""})

    def type(self, text):
        os.write(self.fd, text.encode())

    def has_seen(self, pattern):
        if select.select([self.fd], [], [], 0.01)[0]:
            self.seen += os.read(self.fd, 65536).decode(errors="replace")
        return re.search(pattern, self.seen)

    def wait_for(self, pattern):
        deadline = time.monotonic() + TIMEOUT
        while not (found := self.has_seen(pattern)):
            assert time.monotonic() < deadline, f"no {pattern!r} in {self.seen!r}"
        self.seen = ""
        return found

    def run(self, command):
        self.type(command + "\n")
        self.wait_for(re.escape(PROMPT))

    def end(self):
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self.fd)


@pytest.fixture
def bash():
    start()
    shell = Terminal("bash", "--norc", "--noprofile", "-i")
    shell.wait_for(re.escape(PROMPT))
    shell.run("bind 'set enable-bracketed-paste off'; bind 'set bell-style none'")
    shell.run(f"source {COMPLETION}/veskctl.bash")
    yield shell
    shell.end()


@pytest.mark.parametrize("typed, completed", [
    ("veskctl sho\t", "veskctl show "),
    ("veskctl show acc\tgu\t", "veskctl show access_list guests "),
    ("veskctl set radio r0 ss\tx", "veskctl set radio r0 ssid=x"),
    ("veskctl set radio r0 ssid=x cha\t6", "veskctl set radio r0 ssid=x channel=6"),
    ("veskctl show radio r\\ \t", "veskctl show radio r\\ 2 "),
    ("veskctl show radio \"r \t", 'veskctl show radio "r 2" '),
    ("veskctl set radio --wh\t", "veskctl set radio --where "),
    ("veskctl show radio r0 -o j\t", "veskctl show radio r0 -o json "),
    ("veskctl raw mar\t", "veskctl raw marked "),
])
def test_bash_completes_what_is_typed(bash, typed, completed):
    bash.run("touch marked")
    bash.type(typed + "\x01echo '<\x05>'\n")  # to the beginning of the line, and to its end
    shown = completed.replace("'", "'\\''")
    bash.wait_for(r"\n<" + re.escape(shown) + r">\r\n" + re.escape(PROMPT))


def test_bash_lists_names_and_properties(bash):
    bash.type("veskctl show radio \t\t")
    seen = bash.wait_for(r"channel +.*\n(.*\n)*.*" + re.escape(PROMPT))[0]
    assert {"channel", "mode", "r0", "r1", "r\\ 2", "ssid", "state"} <= set(re.split(r"\s{2,}|\r\n", seen))


def fish(line):
    command = f"source {COMPLETION}/veskctl.fish; complete -C {line!r}"
    ended = subprocess.run(["fish", "--no-config", "-c", command], env=ENVIRONMENT, text=True,
                           capture_output=True, timeout=TIMEOUT, check=True)
    return [candidate.split("\t")[0] for candidate in ended.stdout.splitlines()]


def test_fish_completes_what_is_typed():
    start()
    assert fish("veskctl sho") == ["show"]
    assert fish("veskctl show radio r") == ["r 2", "r0", "r1"]
    assert fish("veskctl show radio r\\ ") == ["r 2"]
    assert fish("veskctl show radio 'r ") == ["r 2"]
    assert fish('veskctl show radio "r 2" ss') == ["ssid"]
    assert fish("veskctl set radio r0 ssid=x s") == ["state="]
    assert fish("veskctl set radio r0 --wh") == ["--where"]
    assert "/etc/passwd" in fish("veskctl raw /etc/pass")


@pytest.fixture
def zsh():
    start()
    shell = Terminal("zsh", "-f", "-i")
    shell.type(f"PS1={PROMPT.strip()!r}; unsetopt zle_bracketed_paste prompt_cr; "
               f"fpath=({COMPLETION} $fpath); autoload -Uz compinit; compinit -u -D; unset zle_bracketed_paste\n")
    shell.type("echo set; echo up\n")
    shell.wait_for("set\r\nup\r\n")
    yield shell
    shell.end()


@pytest.mark.parametrize("typed, completed", [
    ("veskctl sho\t", "veskctl show"),
    ("veskctl show acc\tgu\t", "veskctl show access_list guests"),
    ("veskctl set radio r0 ss\tx", "veskctl set radio r0 ssid=x"),
    ("veskctl show radio r\\ \t", "veskctl show radio r\\ 2"),
    ("veskctl --timeout 3 raw mar\t", "veskctl --timeout 3 raw marked"),
])
def test_zsh_completes_what_is_typed(zsh, typed, completed):
    Path("/run/marked").touch()
    zsh.type(typed + "\x01echo '<\x05>'\n")
    zsh.wait_for(r"\n<" + re.escape(completed) + r" ?>\r\n")  # it takes its own blank back


@pytest.mark.parametrize("shell, script", [("bash", "veskctl.bash"), ("zsh", "_veskctl"),
                                           ("fish", "veskctl.fish")])
def test_the_scripts_are_well_formed(shell, script):
    ended = subprocess.run([shell, "-n", COMPLETION / script], capture_output=True, text=True)
    assert (ended.returncode, ended.stderr) == (0, "")
