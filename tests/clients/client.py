"""Runs veskctl against the real daemon, with the access point of tests/daemon/plugins, and with the plug-ins
of the reference access point that save the configuration and describe the classes.
"""

import os
import subprocess
from pathlib import Path

from support import TIMEOUT, Daemon, install_plugin, write_config

HERE = Path(__file__).parent
BUILD = Path(os.environ["VESK_BINARY"]).parent
PROGRAMS = Path(os.environ.get("VESK_PROGRAMS", BUILD))
VESKCTL = PROGRAMS / "veskctl"
PLUGINS = BUILD / "reference/plugins"
CONFIG = HERE / "config.xml"
ENVIRONMENT = {"PATH": f"{PROGRAMS}:/usr/bin:/bin", "HOME": "/root", "LC_ALL": "C.UTF-8", "TERM": "xterm",
               "TZ": "UTC", "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "")}


def start(*, schema=False, config=None, args=()):
    """The daemon with the access point and what saves its configuration."""
    install_plugin("access_point")
    install_plugin(PLUGINS / "config.so")
    if schema:
        install_plugin(PLUGINS / "schema.so")
    write_config(config if config is not None else CONFIG.read_text())
    return Daemon(args)


def run(*arguments, stdin=None, env=None, timeout=TIMEOUT, **others):
    """One call of veskctl, ended: with stdout and stderr as text."""
    return subprocess.run([VESKCTL, *arguments], input=stdin, text=True, capture_output=True,
                          env=ENVIRONMENT | (env or {}), timeout=timeout, **others)


def output_of(*arguments, **others):
    """What a call prints that must succeed without a word of complaint."""
    ended = run(*arguments, **others)
    assert (ended.returncode, ended.stderr) == (0, ""), ended
    return ended.stdout
