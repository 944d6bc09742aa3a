"""A Debian 12 system in which packages are installed: a folder with its files, and namespaces in which
its programs run. Nothing of it outlives the test.
"""

import os
import subprocess
from pathlib import Path

CHECKOUT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ["VESK_BUILD"])
CACHE = BUILD / "debian"
PACKAGES = BUILD / "package"
BOOKKEEPING = ("/var/lib/dpkg/", "/var/lib/apt/", "/var/cache/", "/var/log/", "/tmp/")


def packages(folder=PACKAGES):
    """The packages by name, those with debug symbols left out."""
    found = {path.name.partition("_")[0]: path for path in sorted(folder.glob("*.deb"))}
    return {name: path for name, path in found.items() if not name.endswith("-dbgsym")}


class System:
    """A fresh copy of one of the systems of scripts/debian-root, in memory."""

    def __init__(self, kind, folder):
        self.folder = folder
        self.console = folder / "console"
        self.panic = folder / "panic"
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], check=True)
        for path in (self.panic, self.console):
            path.touch()
        self.root = self.cover(CACHE / kind, "root")
        # apt locks its archives, and other systems use the same ones.
        self.archives = self.cover(CACHE / "archives", "archives")
        self.run("true")  # makes the places for what is bound
        self.before = self.files()

    def cover(self, lower, name):
        """A folder that shows what another one holds, and keeps in memory what is changed there."""
        place, changes, work = (self.folder / f"{name}{part}" for part in ("", ".changes", ".work"))
        for path in (place, changes, work):
            path.mkdir()
        options = f"lowerdir={lower},upperdir={changes},workdir={work}"
        subprocess.run(["mount", "-t", "overlay", "overlay", "-o", options, place], check=True)
        return place

    def remove(self):
        for path in (self.root, self.archives, self.folder):
            subprocess.run(["umount", "--lazy", path], check=True)

    def run(self, *command, check=True, online=False, binds=(), first=False, **others):
        """Runs a command as root of the system; the exit status and what it says.

        It has its own processes, host name, network, and setting of the kernel for panics. With
        first it is process 1.
        """
        arguments = ["bwrap", "--bind", self.root, "/", "--dev", "/dev", "--proc", "/proc",
                     "--bind", self.console, "/dev/console",
                     "--ro-bind", "/proc/sys", "/proc/sys",
                     "--bind", self.panic, "/proc/sys/kernel/panic", "--tmpfs", "/run",
                     "--ro-bind", CHECKOUT, CHECKOUT, "--ro-bind", BUILD, BUILD,
                     "--bind", self.archives, "/var/cache/apt/archives",
                     "--unshare-pid", "--unshare-ipc", "--unshare-uts", "--unshare-cgroup",
                     "--hostname", "debian", "--cap-add", "ALL", "--die-with-parent",
                     "--chdir", "/", *(["--as-pid-1"] if first else []),
                     *(["--ro-bind", "/etc/resolv.conf", "/etc/resolv.conf"] if online
                       else ["--unshare-net"]),
                     "--clearenv", "--setenv", "PATH", "/usr/sbin:/usr/bin:/sbin:/bin",
                     "--setenv", "HOME", "/root",
                     "--setenv", "DEBIAN_FRONTEND", "noninteractive", *binds, "--"]
        done = subprocess.run([*arguments, *command], stdin=subprocess.DEVNULL, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120, **others)
        assert not check or done.returncode == 0, done.stdout
        return done.returncode, done.stdout

    def apt(self, *arguments):
        """What apt-get says; packages come from the network, if at all, beforehand."""
        command = ("apt-get", "-q", "-y", *arguments)
        if arguments[0] == "install":
            self.download(*command, "--download-only")
        return self.run(*command)[1]

    def download(self, *command):
        """Nothing is executed that was downloaded, so this may see the network."""
        if self.run(*command, online=True, check=False)[0] != 0:
            self.run("apt-get", "-q", "update", online=True)
            self.run(*command, online=True)
        for path in (self.folder / "archives.changes").glob("*.deb"):
            subprocess.run(["cp", path, f"{CACHE}/archives/{path.name}.{os.getpid()}"], check=True)
            os.rename(f"{CACHE}/archives/{path.name}.{os.getpid()}", CACHE / "archives" / path.name)

    def new_files(self):
        return self.files() - self.before

    def missing_files(self):
        return self.before - self.files()

    def files(self):
        """All paths but those of dpkg and apt."""
        found = set()
        for folder, folders, names in os.walk(self.root):
            inside = folder.removeprefix(str(self.root)) + "/"
            if not inside.startswith(BOOKKEEPING):
                found |= {inside + name for name in folders + names}
        return {path for path in found if not f"{path}/".startswith(BOOKKEEPING)}
