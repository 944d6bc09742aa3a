#!/usr/bin/env python3
"""Compares what the public headers promise with what the daemon exports.

    exports.py INCLUDE_DIR DAEMON
"""

import re
import subprocess
import sys
from pathlib import Path

DEFINED_BY_PLUGINS = {"vesk_plugin_init"}

# What the linker and the runtimes of C, C++ and the sanitizers put there.
RUNTIME = re.compile(r"""
    _init | _fini | _start | main | _edata | _end | _IO_stdin_used | __bss_start | (__)?data_start
    | __start | _f(text|data|bss) | __RLD_MAP  # on MIPS
    | __dso_handle | std(in|out|err) | environ | _Z.*(St|__gnu_cxx|__cxxabiv1).* | _Z(n|d)[wa].*
    | __(odr_)?(asan|ubsan|lsan|sanitizer|gxx|cxa)_.* | __odr_asan\..* | DW\.ref\..*
""", re.VERBOSE)


def declared(include):
    """The names of all functions and variables that are marked as exported."""
    names = set()
    for header in [*include.glob("vesk/*.h"), *include.glob("eloop/*.h")]:
        text = re.sub(r"/\*.*?\*/|//[^\n]*", "", header.read_text(), flags=re.DOTALL)
        text = re.sub(r"^\s*#.*$", "", text, flags=re.MULTILINE)
        for declaration in re.findall(r"\bVESK_API\b([^;]*);", text):
            head = declaration.partition("(")[0]
            names.add(re.findall(r"\w+", head)[-1])
    return names


def exported(daemon):
    lines = subprocess.run(["nm", "-D", "--defined-only", daemon], check=True, text=True,
                           stdout=subprocess.PIPE).stdout.splitlines()
    names = {line.split()[-1].partition("@")[0] for line in lines}
    return {name for name in names if not RUNTIME.fullmatch(name)}


def main():
    promised = declared(Path(sys.argv[1]))
    if len(promised) < 100:
        sys.exit(f"only {len(promised)} declarations found: the headers are not understood")
    given = exported(sys.argv[2])
    problems = [f"{name} is declared, but not exported"
                for name in sorted(promised - given - DEFINED_BY_PLUGINS)]
    problems += [f"{name} is exported, but not declared" for name in sorted(given - promised)]
    problems += [f"{name} is for plug-ins to define" for name in sorted(given & DEFINED_BY_PLUGINS)]
    print(f"{len(promised)} declared, {len(given)} exported")
    sys.exit("\n".join(problems) or 0)


if __name__ == "__main__":
    main()
