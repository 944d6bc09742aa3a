"""The packages on a Debian system: what they bring, what they leave alone, and what is left of them."""

import re
import subprocess

from debian import CHECKOUT, PACKAGES, packages

PLUGIN = """\
#include <vesk/vesk.h>
void vesk_plugin_init(void) { vesk_debug_printf("hello\\n"); }
"""
PROJECT = """\
cmake_minimum_required(VERSION 3.25)
project(hello LANGUAGES C)
find_package(vesk 0.1 REQUIRED)
add_library(hello MODULE hello.c)
target_link_libraries(hello PRIVATE vesk::plugin)
install(TARGETS hello DESTINATION ${VESK_PLUGIN_DIR})
"""
# Other packages that come along make users, and go with them.
BACKUPS_OF_ACCOUNTS = {"/etc/passwd-", "/etc/shadow-", "/etc/group-", "/etc/gshadow-"}


def project_version():
    return re.search(r"project\(vesk VERSION (\S+)", (CHECKOUT / "CMakeLists.txt").read_text())[1]


def test_all_of_them_carry_the_version_of_the_project():
    changelog = (CHECKOUT / "debian/changelog").read_text()
    assert re.match(r"vesk \((.*?)\) ", changelog)[1] == project_version()
    assert {path.name.split("_")[1] for path in packages().values()} == {project_version()}


def test_lintian_finds_neither_errors_nor_warnings():
    done = subprocess.run(["lintian", "--pedantic", "--fail-on", "error,warning",
                           "--tag-display-limit", "0", *PACKAGES.glob("*.deb")],
                          capture_output=True, text=True)
    assert done.returncode == 0 and not re.search("^[EW]:", done.stdout, re.MULTILINE), done.stdout


def test_nothing_starts_and_nothing_stays(minimal):
    minimal.apt("install", *packages().values())
    assert minimal.run("vesk", "-h", check=False)[0] == 1
    assert minimal.run("veskctl", "--version")[1].split()[-1] == project_version()
    assert not [path for path in minimal.new_files()
                if re.search(r"/rc.\.d/S\d+vesk$|\.wants/vesk", path)]
    assert {"/etc/config", "/usr/lib/vesk/plugins/system.so"} <= minimal.files()
    assert not {"/etc/config/config.xml", "/etc/defaultconfig.xml",
                "/etc/rescueconfig.xml"} & minimal.files()
    assert minimal.panic.read_text() == ""
    minimal.apt("purge", "--auto-remove", *packages())
    assert minimal.new_files() - BACKUPS_OF_ACCOUNTS == set()
    assert minimal.missing_files() == set()


def test_the_demo_runs_from_the_packages(equipped):
    equipped.apt("install", *packages().values())
    assert "All of this has really happened." in equipped.run(CHECKOUT / "scripts/demo")[1]


def test_plug_ins_are_built_against_the_headers(equipped):
    equipped.apt("install", packages()["vesk-dev"])
    folder = equipped.root / "root"
    (folder / "hello.c").write_text(PLUGIN)
    (folder / "CMakeLists.txt").write_text(PROJECT)
    script = """
        set -ex
        cd /root
        cc -shared -fPIC $(pkg-config --cflags vesk) -o by-pkg-config.so hello.c
        test "$(pkg-config --modversion vesk)" = "$1"
        test "$(pkg-config --variable=plugindir vesk)" = /usr/lib/vesk/plugins
        cmake -G Ninja -B by-cmake
        cmake --build by-cmake
        cmake --install by-cmake
    """
    equipped.run("sh", "-c", script, "sh", project_version())
    built = [folder / "by-pkg-config.so", equipped.root / "usr/lib/vesk/plugins/libhello.so"]
    for path in built:
        symbols = subprocess.run(["nm", "-D", "--defined-only", path], capture_output=True,
                                 text=True, check=True)
        assert " T vesk_plugin_init\n" in symbols.stdout
