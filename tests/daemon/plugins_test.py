"""How plug-ins are found, loaded and initialised."""

import shutil

import pytest

from support import PLUGIN_DIR, Daemon, install_plugin, log, lsql, read

READY = "vesk: Initialization complete.\r\n"
INVALID = "vesk: Fatal error: Plugins were invalid.\nvesk: Attempting to continue operation.\n"


def loaded():
    """The file names of the plug-ins that said hello, sorted."""
    prefix, suffix = "vesk: Hello from ", "."
    return sorted(line.removeprefix(prefix).removesuffix(suffix)
                  for line in log().splitlines() if line.startswith(prefix))


def mapped(daemon):
    """The names of the files of the plug-in directory that the daemon has open as libraries."""
    maps = read(f"/proc/{daemon.pid}/maps").splitlines()
    return {line.split(f"{PLUGIN_DIR}/")[1] for line in maps if f"{PLUGIN_DIR}/" in line}


def test_empty_directory_is_valid():
    Daemon(["-e"])
    assert log() == READY


def test_directory_with_other_files_only_is_valid():
    for name in ("README", "plugin.txt", "plugin.so.1", "plugin.SO", "so", "vesk", "pluginso"):
        (PLUGIN_DIR / name).write_text("not a library\n")
    Daemon(["-ed"])
    assert "Loading" not in log()


@pytest.mark.parametrize("name", [
    "hello.so", "hello.vesk", "h.so", "h.vesk", ".hidden.so", "a b.so", "a.so.vesk", "a.vesk.so",
    ".so.so", ".vesk.so", "x" * 252 + ".so", "x" * 250 + ".vesk",
], ids=lambda name: name[-12:])
def test_accepted_names(name):
    install_plugin("hello", name)
    Daemon(["-de"])
    assert loaded() == [name]
    assert log().count(f"vesk: Loading {name}.\nvesk: Hello from {name}.\n") == 1
    assert log().count("Loading") == 1


@pytest.mark.parametrize("name", [
    ".so", ".vesk", "hello.so.1", "hello.so.0.1", "hello.vesk.bak", "hello", "hello.SO", "hello.so ",
])
def test_skipped_names(name):
    install_plugin("hello", name)
    Daemon(["-de"])
    assert loaded() == []
    assert "Loading" not in log()


def test_nothing_is_said_of_loading_without_debugging():
    install_plugin("hello")
    Daemon()
    assert log() == "vesk: Hello from hello.so.\n" + READY


def test_all_plugins_are_loaded_and_stay_open():
    names = ["one.so", "two.so", "three.vesk"]
    for name in names:
        install_plugin("hello", name)
    daemon = Daemon(["-d"])
    assert loaded() == sorted(names)
    assert mapped(daemon) == set(names)
    assert log().startswith("vesk: Debug level is now 1.\nvesk: Reading plugins.\nvesk: Loading ")


def check_refused(message):
    """A daemon whose only faulty plug-in stands between good ones."""
    install_plugin("hello", "before.so")
    install_plugin("hello", "zz.so")
    daemon = Daemon(["-d"])
    assert message in log()
    assert loaded() == ["before.so", "zz.so"]
    assert INVALID in log()
    assert mapped(daemon) == {"before.so", "zz.so"}
    return daemon


def test_library_without_initialisation():
    install_plugin("no_init")
    check_refused("vesk: no_init was opened.\nvesk: Plugin does not contain vesk_plugin_init: "
                  "/usr/lib/vesk/plugins/no_init.so: undefined symbol: vesk_plugin_init\n")
    assert "vesk: no_init was closed.\n" in log()


def test_library_with_null_initialisation():
    install_plugin("null_init")
    check_refused("vesk: vesk_plugin_init is set to null.\n")


def test_file_that_is_no_library():
    (PLUGIN_DIR / "text.so").write_text("not a library, but as long as the header of one" + "-" * 100)
    check_refused('vesk: Unable to load plugin "/usr/lib/vesk/plugins/text.so": '
                  "/usr/lib/vesk/plugins/text.so: invalid ELF header\n")


def test_empty_file():
    (PLUGIN_DIR / "empty.vesk").touch()
    check_refused('vesk: Unable to load plugin "/usr/lib/vesk/plugins/empty.vesk": '
                  "/usr/lib/vesk/plugins/empty.vesk: file too short\n")


def test_directory_is_tried_like_a_file():
    (PLUGIN_DIR / "directory.so").mkdir()
    check_refused('vesk: Unable to load plugin "/usr/lib/vesk/plugins/directory.so": '
                  "/usr/lib/vesk/plugins/directory.so: cannot read file data: Is a directory\n")


def test_dangling_link():
    (PLUGIN_DIR / "link.so").symlink_to("/nowhere")
    check_refused('vesk: Unable to load plugin "/usr/lib/vesk/plugins/link.so": '
                  "/usr/lib/vesk/plugins/link.so: cannot open shared object file: "
                  "No such file or directory\n")


def test_all_symbols_are_bound_at_once():
    install_plugin("needs_helper")
    check_refused('vesk: Unable to load plugin "/usr/lib/vesk/plugins/needs_helper.so": '
                  "/usr/lib/vesk/plugins/needs_helper.so: undefined symbol: daemon_test_helper\n")
    assert "needs_helper is here" not in log()


@pytest.mark.parametrize("names", [("helper", "needs_helper"), ("needs_helper", "helper")],
                         ids=" then ".join)
def test_plugins_do_not_see_the_symbols_of_each_other(names):
    for name in names:
        install_plugin(name)
    Daemon(["-d"])
    assert "vesk: helper is here.\n" in log()
    assert "needs_helper is here" not in log()
    assert INVALID in log()


def test_only_the_fatal_message_is_seen_without_debugging():
    install_plugin("no_init")
    (PLUGIN_DIR / "text.so").write_text("not a library\n")
    Daemon()
    assert log() == "vesk: no_init was opened.\nvesk: no_init was closed.\n" + INVALID + READY


def test_fault_ends_a_daemon_that_exits_on_errors():
    install_plugin("hello")
    install_plugin("null_init")
    daemon = Daemon(["-e"], ready=None)
    assert daemon.wait() == 1
    assert log() == ("vesk: Hello from hello.so.\n"
                     "vesk: Fatal error: Plugins were invalid.\n"
                     "vesk: Exiting due to fatal error.\n")


@pytest.mark.parametrize("level", [0, 1])
def test_missing_directory(level):
    shutil.rmtree(PLUGIN_DIR)
    daemon = Daemon(["-d"] * level)
    assert INVALID in log()
    assert daemon.stderr() == ('vesk: Unable to open plugins directory "/usr/lib/vesk/plugins/": '
                               "No such file or directory\n")


def test_file_in_the_place_of_the_directory():
    PLUGIN_DIR.rmdir()
    PLUGIN_DIR.touch()
    daemon = Daemon()
    assert log() == INVALID + READY
    assert daemon.stderr() == ('vesk: Unable to open plugins directory "/usr/lib/vesk/plugins/": '
                               "Not a directory\n")


def test_only_version_1_0_is_taken():
    install_plugin("versions", "many versions.vesk")
    Daemon(["-e"])
    expected = 'vesk: Version "1.0": taken.\n'
    for version in ("1", "1.", "1.00", "1.0.0", "1.0 ", " 1.0", "2.0", ""):
        expected += (f'vesk: Plugin "many versions.vesk" version "{version}" is unsupported.\n'
                     f'vesk: Version "{version}": refused.\n')
    assert log() == expected + READY


def test_class_that_is_registered_twice_is_no_fault_of_loading():
    install_plugin("radio", "first.so")
    install_plugin("radio", "second.so")
    Daemon(["-de"])
    assert 'vesk: Class with name "radio" already in classes.\n' in log()
    assert 'vesk: Provider with name "radio" already in providers.\n' in log()
    assert lsql("<lsql><select><system/></select></lsql>").count("<system/>") == 1
