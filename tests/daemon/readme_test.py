"""What the README shows is true: its plug-in compiles and works, its requests are answered so."""

import re
from pathlib import Path

from reference_device import install
from support import PLUGIN_DIR, Daemon, compile_plugin, lsql, read, write_config

ROOT = Path(__file__).resolve().parents[2]
README = (ROOT / "README.md").read_text()


def blocks(language):
    return re.findall(rf"```{language}\n(.*?)```", README, re.DOTALL)


def test_the_plug_in_compiles_and_applies_its_setting(tmp_path):
    (tmp_path / "banner.c").write_text(blocks("c")[0])
    command = re.search(r"^    (cc .*)$", README, re.MULTILINE)[1]
    compile_plugin(command, "-Wall", "-Wextra", "-Werror", cwd=tmp_path)
    (PLUGIN_DIR / "banner.so").write_bytes((tmp_path / "banner.so").read_bytes())
    write_config('<config><banner><greeting>Welcome</greeting></banner></config>')
    Daemon()
    assert read("/etc/motd") == "Welcome\n"
    lsql("<lsql><update><banner><greeting>Good morning</greeting></banner></update></lsql>")
    assert read("/etc/motd") == "Good morning\n"


def test_the_session_is_answered_as_shown():
    install()
    Daemon()
    select, answer, transaction = blocks("xml")[:3]
    assert lsql(select.strip()) == answer
    assert lsql(transaction.strip()).count("<rc>0</rc>") == 2
