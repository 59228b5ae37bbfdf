"""Follows a document as its reader would: runs its commands in order, in one shell, and compares what
they print.

The folders of both programs' end-to-end tests must be in PYTHONPATH.
"""

from __future__ import annotations

import os
import re
import select
import shlex
import signal
import subprocess
import tempfile
import time
import unittest
import uuid
from collections.abc import Iterator
from pathlib import Path
from typing import ClassVar

import program
from decisions import NOT_RUN
from manual import Block, blocks

COMMANDS = {"sh", "console"}
COLLECTOR = "pelto-collector"
PORTS = ("127.0.0.1:8480", "127.0.0.1:8481")


def is_whole(command: str) -> bool:
    """Whether a shell does not wait for more lines, as it does within a loop."""
    done = subprocess.run(["bash", "-n", "-c", command], capture_output=True, check=False)
    return done.returncode == 0


def commands(block: Block) -> Iterator[tuple[str, str | None]]:
    """The commands of a block. One of the kind `console` comes with what it prints."""
    text = block.text.replace("\\\n", "")
    if block.language == "sh":
        command = ""
        for line in text.splitlines():
            command += line
            if is_whole(command):
                yield command, None
                command = ""
            else:
                command += "\n"
        if command:
            raise AssertionError(f"{block}: {command} is not whole")
        return
    for piece in re.split(r"^\$ ", text, flags=re.MULTILINE)[1:]:
        command, _, output = piece.partition("\n")
        yield command, output


def fits(output: str, expected: str) -> bool:
    """Whether a text is the expected one, in which "..." is anything. CSV has CR LF for line ends."""
    pattern = re.escape(expected.rstrip("\n")).replace(re.escape("..."), r"[\s\S]*")
    return re.fullmatch(pattern, output.replace("\r\n", "\n").rstrip("\n")) is not None


def example_report() -> bytes:
    """The report in docs/data.md."""
    (block,) = (block for block in blocks("docs/data.md") if block.language == "xml")
    return block.text.encode("cp1252")


def only_block(document: str, language: str, start: str = "") -> Block:
    """The block of a document that is of this kind and begins so."""
    (found,) = (block for block in blocks(document)
                if block.language == language and block.text.startswith(start))
    return found


class Shell:
    """A shell that keeps its folder and its variables from one command to the next."""

    def __init__(self, folder: Path, environment: dict[str, str]) -> None:
        self._process = subprocess.Popen(
            ["bash", "--norc"], cwd=folder, env=environment, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)

    def run(self, command: str) -> tuple[int, str]:
        """The exit code of a command, and what it wrote."""
        assert self._process.stdin is not None and self._process.stdout is not None
        mark = uuid.uuid4().hex
        self._process.stdin.write(
            f"{{\n{command}\n}} </dev/null\nprintf '\\n%s %s\\n' {mark} $?\n".encode())
        self._process.stdin.flush()
        # Programs that a command leaves behind may hold the pipe, so its end cannot be waited for.
        received = b""
        deadline = time.monotonic() + program.PATIENCE
        while not (found := re.search(rf"\n{mark} (\d+)\n".encode(), received)):
            ready, _, _ = select.select(
                [self._process.stdout], [], [], max(deadline - time.monotonic(), 0))
            piece = os.read(self._process.stdout.fileno(), 65536) if ready else b""
            if not piece:
                raise AssertionError(f"{command} did not end: {received.decode()}")
            received += piece
        return int(found[1]), received[:found.start()].decode()

    def close(self) -> None:
        """Ends the shell, which cleans up, and what it has started."""
        assert self._process.stdin is not None and self._process.stdout is not None
        self._process.stdin.close()
        try:
            self._process.wait(program.PATIENCE)
        except subprocess.TimeoutExpired:
            os.killpg(self._process.pid, signal.SIGKILL)
            self._process.wait()
        self._process.stdout.close()


class Followed(unittest.TestCase):
    """Runs the commands of a document. `replaced` has what stands in the document for something of
    the reader's, and what it is here."""

    document: ClassVar[str]

    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory(prefix="document-")
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        # Where the reader is at the beginning.
        self.root = self.folder
        self.servers: dict[str, program.Server] = {}
        self.replaced: dict[str, str] = {}
        commands_folder = self.folder / "bin"
        commands_folder.mkdir()
        (commands_folder / COLLECTOR).symlink_to(program.PROGRAM.resolve())
        self.environment = dict(
            os.environ, PATH=f"{commands_folder}:{os.environ['PATH']}", LC_ALL="C.UTF-8")

    def follow(self) -> None:
        """Runs all blocks of commands that can be run."""
        self.shell = Shell(self.root, self.environment)
        self.addCleanup(self.shell.close)
        count = 0
        for block in blocks(self.document):
            if block.language not in COMMANDS or block.key in NOT_RUN:
                continue
            for command, expected in commands(block):
                if (self.document, command) in NOT_RUN:
                    continue
                for old, new in self.replaced.items():
                    command = re.sub(rf"(?<![\w/]){re.escape(old)}(?!\w)", lambda _: new, command)
                output = self.perform(command)
                for port, shown in self.shown_ports().items():
                    output = output.replace(port, shown)
                if expected is not None and not fits(output, expected):
                    self.fail(f"{block}: {command}\nprints\n{output!r}\nand not\n{expected!r}")
                count += 1
        self.assertGreater(count, 0)

    def shown_ports(self) -> dict[str, str]:
        """The ports of the server that runs, and those in the document."""
        if not self.servers:
            return {}
        server = list(self.servers.values())[-1]
        return {f"127.0.0.1:{port}": shown
                for port, shown in zip((server.port, server.pages_port), PORTS)}

    def perform(self, command: str) -> str:
        """Runs one command; returns what it printed."""
        words = shlex.split(command, comments=True)
        if words[:1] and os.path.basename(words[0]) == COLLECTOR and words[1:2] == ["serve"]:
            return self.serve(words[2:])
        for port, shown in self.shown_ports().items():
            command = command.replace(shown, port)
        code, output = self.shell.run(command)
        self.assertEqual(code, 0, f"{self.document}: {command}\n{output}")
        return output

    def serve(self, arguments: list[str]) -> str:
        """Starts a server beside the commands that follow, on free ports."""
        place = arguments.index("--data")
        data = arguments[place + 1]
        del arguments[place:place + 2]
        if data in self.servers:
            self.servers.pop(data).kill()
        server = program.Server(self.root / data, *arguments)
        self.addCleanup(server.kill)
        self.servers[data] = server
        return "\n".join(server.lines)

