"""Starts the collector on a data folder of its own, speaks to it in bytes, and ends it."""

from __future__ import annotations

import os
import select
import signal
import socket
import ssl
import subprocess
import tempfile
import time
import unittest
from collections.abc import Sequence
from pathlib import Path

import senders

ROOT = Path(__file__).resolve().parents[3]
PROGRAM = Path(os.environ.get("PELTO_COLLECTOR", ROOT / "build" / "collector" / "pelto-collector"))
PATIENCE = senders.PATIENCE


def run(*arguments: str, text: str | None = None) -> subprocess.CompletedProcess[str]:
    """Runs a command of the program to its end."""
    return subprocess.run([PROGRAM, *arguments], input=text, capture_output=True, text=True,
                          timeout=PATIENCE, check=False)


def make_certificate(certificate: Path, key: Path) -> None:
    """Writes a certificate for localhost, and its key."""
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
         "-nodes", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
         "-days", "2", "-keyout", key, "-out", certificate], check=True, capture_output=True)


class Server:
    """A server on free ports of loopback. `before` is a program, with its arguments, that becomes the
    server."""

    def __init__(self, data: Path, *arguments: str, before: Sequence[str] = ()) -> None:
        self.data = data
        self.log_path = data.with_name(data.name + ".log")
        listeners = () if "--intake" in arguments else ("--intake", "127.0.0.1:0")
        with self.log_path.open("ab") as log:
            self.process = subprocess.Popen(
                [*before, PROGRAM, "serve", "--data", data, *listeners, "--pages", "127.0.0.1:0",
                 *arguments],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=log)
        self.lines = [self._read_line() for _ in range(3)]
        if self.lines[2] != "ready":
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"the server did not start: {self.lines}, {self.log()}")
        self.port, self.pages_port = (
            int(line.split("//")[1].split("/")[0].rpartition(":")[2]) for line in self.lines[:2])

    def _read_line(self) -> str:
        """The next line of standard output; empty at its end."""
        assert self.process.stdout is not None
        ready, _, _ = select.select([self.process.stdout], [], [], PATIENCE)
        if not ready:
            return ""
        # One byte at a time: what a buffer has read ahead, `select` does not see.
        line = b""
        while not line.endswith(b"\n"):
            piece = os.read(self.process.stdout.fileno(), 1)
            if not piece:
                break
            line += piece
        return line.decode().rstrip("\n")

    def ask(self, data: bytes, context: ssl.SSLContext | None = None) -> tuple[int, str]:
        """The status and the body of the response to these bytes."""
        return senders.exchange(self.port, data, context)

    def get(self, path: str) -> tuple[int, str]:
        return self.ask(f"GET {path} HTTP/1.1\r\nHost: test\r\n\r\n".encode())

    def metric(self, name: str) -> str:
        """The value of a metric; empty if there is none of this name."""
        _, text = senders.exchange(self.pages_port, b"GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n")
        return next((line.rpartition(" ")[2] for line in text.splitlines()
                     if line.rpartition(" ")[0] == name), "")

    def await_metric(self, name: str, value: str) -> None:
        end = time.monotonic() + PATIENCE
        while (found := self.metric(name)) != value:
            if time.monotonic() > end:
                raise AssertionError(f"{name} is {found} and not {value}")
            time.sleep(0.01)

    def connect(self) -> socket.socket:
        link = socket.create_connection(("127.0.0.1", self.port), PATIENCE)
        link.settimeout(PATIENCE)
        return link

    def log(self) -> str:
        return self.log_path.read_text()

    def stop(self, number: int = signal.SIGTERM) -> int:
        """Asks the server to end; returns its exit status."""
        self.process.send_signal(number)
        return self.wait()

    def wait(self) -> int:
        status = self.process.wait(PATIENCE)
        if self.process.stdout is not None:
            self.process.stdout.close()
        return status

    def kill(self) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.wait()


class CollectorTest(unittest.TestCase):
    """A test with a temporary folder, whose servers end with it."""

    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory(prefix="collector-")
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        self.data = self.folder / "data"

    def serve(self, *arguments: str, before: Sequence[str] = ()) -> Server:
        server = Server(self.data, *arguments, before=before)
        self.addCleanup(server.kill)
        return server

    def export(self) -> list[str]:
        """The kept deliveries, a line each."""
        done = run("export", "--data", str(self.data))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.splitlines()
