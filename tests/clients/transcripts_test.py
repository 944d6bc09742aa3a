"""What veskctl prints and how it ends, command by command.

Each file in transcripts/ is a session with one daemon. A line that begins with "$ " is a command of a shell,
which goes on in lines that begin with "> "; behind it stand the lines of its standard output, those of its
standard error, each with "! " in front, and its exit status as "= STATUS" if that is not 0. What stands before
the first command is a comment; "with schema" in it has the daemon describe itself, "without daemon" leaves
it out.
"""

import re
import subprocess
from pathlib import Path

import pytest

from client import ENVIRONMENT, start
from support import TIMEOUT

TRANSCRIPTS = sorted(Path(__file__).parent.glob("transcripts/*.txt"))
WORK = Path("/tmp/work")


def commands_in(text):
    return [command.replace("\n> ", "\n")
            for command in re.findall(r"^\$ (.*(?:\n> .*)*)\n", text, re.MULTILINE)]


def marked(mark, text):
    return "".join(f"{mark}{line}\n" for line in text.splitlines())


def performed(command):
    """The command with all that it says, as it stands in a transcript."""
    ended = subprocess.run(["/bin/bash", "-c", command], cwd=WORK, env=ENVIRONMENT, text=True,
                           capture_output=True, timeout=TIMEOUT)
    status = f"= {ended.returncode}\n" if ended.returncode else ""
    typed = command.replace("\n", "\n> ")
    return f"$ {typed}\n" + ended.stdout + marked("! ", ended.stderr) + status


@pytest.mark.parametrize("transcript", TRANSCRIPTS, ids=lambda path: path.stem)
def test_transcript(transcript):
    text = transcript.read_text()
    comment = text.partition("$ ")[0]
    if "without daemon" not in comment:
        start(schema="with schema" in comment)
    WORK.mkdir()
    result = comment + "".join(performed(command) for command in commands_in(text))
    assert result == text


def test_every_command_has_a_transcript():
    help_text = subprocess.run(["veskctl", "--help"], env=ENVIRONMENT, text=True, capture_output=True,
                               check=True).stdout
    commands = re.findall(r"^  (\w+) ", help_text.partition("Commands:")[2], re.MULTILINE)
    assert len(commands) == 12
    used = {word for path in TRANSCRIPTS
            for word in re.findall(r"veskctl (\w+)", path.read_text())}
    assert set(commands) <= used
