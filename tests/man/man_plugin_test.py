"""vesk-plugin(3) tells of every function of the interface, and its plug-in works."""

import re
import shlex
import sys

import pytest

from page import ROOT, only_example, plain, source
from support import PLUGIN_DIR, Daemon, compile_plugin, log, lsql, read

sys.path.insert(0, str(ROOT / "tests/abi"))
from exports import declared  # noqa: E402

PAGE = "vesk-plugin.3"
STRICT = ["-std=c99", "-Wall", "-Wextra", "-Wshadow", "-Wconversion", "-Werror", f"-I{ROOT}/include"]


def headers():
    """The text of all public headers, without comments."""
    files = sorted([*ROOT.glob("include/vesk/*.h"), *ROOT.glob("include/eloop/*.h")])
    return re.sub(r"/\*.*?\*/", "", "\n".join(file.read_text() for file in files), flags=re.DOTALL)


def same_blanks(prototype):
    """A prototype with blanks only where two words meet."""
    return re.sub(r"\s*(\W)\s*", r"\1", " ".join(prototype.split())).strip()


def promised_prototypes():
    """The declarations of all functions and variables, and the types of all callbacks."""
    text = headers()
    exported = re.findall(r"^(?:extern )?VESK_API\b([^;]*);", text, re.MULTILINE)
    callbacks = re.findall(r"^typedef ([^;{]*\(\*[^;{]*);", text, re.MULTILINE)
    return sorted(same_blanks(re.sub(r"VESK_PRINTF\(.*", "", text)) for text in exported + callbacks)


def shown_prototypes():
    return sorted(same_blanks(prototype(line)) for line in
                  re.findall(r"^\.It ((?:Ft|Vt) .*)$", source(PAGE), re.MULTILINE))


def prototype(line):
    """The C text of the macros of a list item."""
    words = [plain(word) for word in shlex.split(line.replace("\\ ", "\0").replace("\\", "\\\\"))]
    words = [word.replace("\0", " ") for word in words if word not in ("Ns", "Ft", "Vt", "Va")]
    if "Fn" not in words:
        return " ".join(words)
    at = words.index("Fn")
    return f"{' '.join(words[:at])} {words[at + 1]}({', '.join(words[at + 2:])})"


def build(folder, *arguments):
    """Compiles the example with the command of the page."""
    (folder / "banner.c").write_text(only_example(PAGE, "plug-in"))
    command = re.search(r"^\.Dl (cc .*)$", source(PAGE), re.MULTILINE)[1]
    compile_plugin(command, *arguments, cwd=folder)
    return folder / "banner.so"


def test_every_name_stands_with_its_prototype():
    promised = promised_prototypes()
    assert len(promised) > 200
    assert shown_prototypes() == promised


def test_every_export_is_named():
    named = set(re.findall(r"^\.It .*\b(?:Fn|Va) (\w+)", source(PAGE), re.MULTILINE))
    assert named == declared(ROOT / "include")


@pytest.mark.parametrize("page", ["vesk.8", "vesk-lsql.7", "vesk-config.5", PAGE])
def test_every_name_exists(page):
    names = set(re.findall(r"\b(?:vesk|eloop|VESK|ELOOP)_\w+", source(page)))
    sockets = {"vesk_sock_lsql", "vesk_sock_inform"}
    assert names - sockets <= set(re.findall(r"\w+", headers()))


def test_the_plug_in_sets_the_message_of_the_day(tmp_path):
    library = build(tmp_path, *STRICT)
    (PLUGIN_DIR / library.name).write_bytes(library.read_bytes())
    Daemon(["-e", "-d"])
    assert "vesk: Loading banner.so.\n" in log()
    lsql("<lsql><update><banner><text>Hello, world</text></banner></update></lsql>")
    assert read("/etc/motd") == "Hello, world\n"
    assert "is not valid" in lsql("<lsql><update><banner><text>&#10;</text></banner></update></lsql>")
