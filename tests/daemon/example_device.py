"""The small access point of example/, which the documents show requests to."""

import os
from pathlib import Path

from support import install_plugin, write_config

EXAMPLE = Path(__file__).resolve().parent / "example"
PLUGINS = ("access_list", "dns_server", "heartbeat", "interface", "radio", "system")


def install():
    """Puts its plug-ins and its startup file into their places."""
    for name in PLUGINS:
        install_plugin(Path(os.environ["VESK_TEST_PLUGINS"]).parent / f"example/{name}.so")
    write_config((EXAMPLE / "config.xml").read_text())
