"""The life of the daemon on a Debian system: started, killed, upgraded, rolled back, removed, purged."""

import os
import re
import shutil
import signal
import subprocess
from pathlib import Path

import pytest

from debian import CHECKOUT, packages

INSIDE = CHECKOUT / "tests/package/inside"
REBOOTED = 128 + signal.SIGHUP  # so the kernel ends a namespace whose process 1 reboots
SETTINGS_OF_THE_SYSTEM = {"/etc/timezone", "/etc/localtime", "/etc/hostname", "/etc/resolv.conf"}
PACKAGES = ("vesk", "vesk-reference", "veskctl")


def newer(package, target):
    """The same package with a higher version."""
    content = target.with_suffix(".content")
    subprocess.run(["dpkg-deb", "-R", package, content], check=True)
    control = content / "DEBIAN/control"
    control.write_text(control.read_text().replace("\nVersion: ", "\nVersion: 99."))
    subprocess.run(["dpkg-deb", "-b", "--root-owner-group", "-Znone", content, target], check=True,
                   capture_output=True)
    shutil.rmtree(content)


@pytest.fixture
def versions(tmp_path_factory):
    """Two folders of packages, the older and the newer ones."""
    older, newer_ones = (tmp_path_factory.mktemp(name) for name in ("older", "newer"))
    for name in PACKAGES:
        shutil.copy(packages()[name], older / f"{name}.deb")
        newer(packages()[name], newer_ones / f"{name}.deb")
    return older, newer_ones


def test_with_init_scripts(equipped, versions):
    older, newer_ones = versions
    equipped.apt("install", "--no-install-recommends", *(packages()[name] for name in PACKAGES))
    binds = [word for folder in versions for word in ("--ro-bind", folder, folder)]
    output = equipped.run("python3", "-B", INSIDE / "sysv.py", older, newer_ones, binds=binds)[1]
    assert output.endswith("done\n"), output
    assert equipped.panic.read_text() == "5\n"
    assert equipped.new_files() - SETTINGS_OF_THE_SYSTEM == set()
    assert equipped.missing_files() == set()



def install_with_reboot(system):
    """Packages, and a plug-in that reboots the device when it is told to."""
    system.apt("install", "--no-install-recommends", *(packages()[name] for name in PACKAGES),
               packages()["vesk-dev"])
    system.run("cc", "-shared", "-fPIC", "-o", "/usr/lib/vesk/plugins/reboot.so",
               CHECKOUT / "tests/package/reboot.c")


def assert_rebooted(system, status):
    said = (system.root / "root/said").read_text()
    assert "asks for a reboot\n" in said, f"{said}{status}\n{system.console.read_text()}"
    assert status == REBOOTED, said + system.console.read_text()


def test_with_an_inittab(equipped):
    install_with_reboot(equipped)
    document = (CHECKOUT / "docs/operation.md").read_text()
    line = re.search("^    (::respawn:.*)$", document, re.MULTILINE)[1]
    script = f"::once:/usr/bin/python3 -B {INSIDE}/inittab.py"
    (equipped.root / "etc/inittab").write_text(f"{line}\n{script}\n")
    status, _ = equipped.run("busybox", "init", first=True, check=False)
    assert_rebooted(equipped, status)


PROBE = """\
[Unit]
After=basic.target
[Service]
ExecStart=/usr/bin/python3 -B {script}
StandardOutput=file:/root/said
StandardError=inherit
"""
# systemd takes a tree of control groups to be its own.
START = """\
mount -t cgroup2 cgroup2 /sys/fs/cgroup
exec /lib/systemd/systemd --unit=probe.service --log-target=console --show-status=no
"""


@pytest.fixture
def control_group(tmp_path_factory):
    """A function that puts the process into a control group of its own, which goes with the test."""
    tree = tmp_path_factory.mktemp("cgroups")
    subprocess.run(["mount", "-t", "cgroup2", "cgroup2", tree], check=True)
    own = Path("/proc/self/cgroup").read_text().rpartition("0::")[2].strip()
    group = tree / own.lstrip("/") / f"vesk-{os.getpid()}"
    group.mkdir()
    yield lambda: (group / "cgroup.procs").write_text(str(os.getpid()))
    for folder in (*sorted(group.rglob("*/"), reverse=True), group):
        if folder.is_dir():
            folder.rmdir()
    subprocess.run(["umount", "--lazy", tree], check=True)


def test_with_systemd(equipped, control_group):
    install_with_reboot(equipped)
    equipped.run("systemd-analyze", "verify", "--man=no", "/lib/systemd/system/vesk.service")
    probe = equipped.root / "etc/systemd/system/probe.service"
    probe.write_text(PROBE.format(script=INSIDE / "systemd.py"))
    binds = ["--tmpfs", "/sys", "--dir", "/sys/fs/cgroup", "--setenv", "container", "bwrap"]
    status, _ = equipped.run("sh", "-c", START, first=True, binds=binds, check=False,
                             preexec_fn=control_group)
    assert_rebooted(equipped, status)
