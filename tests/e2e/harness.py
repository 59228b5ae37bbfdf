"""Runs the built program under Wine, on folders that belong to one test.

The output of a program goes to files, never to pipes: Wine's helper processes inherit a pipe and
outlive the program, so its reader would wait for them.
"""

from __future__ import annotations

import ctypes
import os
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
from collections.abc import Iterator
from contextlib import AbstractContextManager, contextmanager
from dataclasses import dataclass
from datetime import datetime, timedelta, timezone
from pathlib import Path
from typing import IO
from unittest import mock

import documents

REPOSITORY = Path(__file__).resolve().parents[2]
PROGRAM = Path(
    os.environ.get("PELTO_EXE", REPOSITORY / "build" / "windows" / "PELTOSender.exe")
)
TEST_PROGRAMS = PROGRAM.parent / "tests"
WINE_PREFIX = Path(os.environ.get("PELTO_WINEPREFIX", REPOSITORY / "build" / "wine-prefix"))
WINESERVERS = ("/usr/lib/wine/wineserver64", "/usr/lib/wine/wineserver", "wineserver")

RUN_TIMEOUT = 60.0
LOCK_WAIT = 20.0
# Every program that was started at all has run longer.
LOADER_GIVES_UP = 0.008

# With a randomized address space, Wine's loader gives up about one start in ten thousand (exit code
# 1, no message): the address that it needs for the shared user data is taken. Where the machine
# refuses this call, that chance remains.
ADDR_NO_RANDOMIZE = 0x0040000
ctypes.CDLL(None).personality(ADDR_NO_RANDOMIZE)

_changes: dict[str, str] = {}


def wine_environment(display: bool = False) -> dict[str, str]:
    """The environment of every Wine process; without `display` no window can be made."""
    environment = dict(
        os.environ,
        WINEPREFIX=str(WINE_PREFIX),
        WINEDEBUG="-all",
        WINEDLLOVERRIDES="winedbg.exe=d;mscoree=d;mshtml=d",
        LC_ALL="C.UTF-8",
    )
    if not display:
        environment.pop("DISPLAY", None)
    return environment | _changes


@contextmanager
def changed_environment(**changes: str) -> Iterator[None]:
    """Changes the environment of the Wine processes of a block."""
    with mock.patch.dict(_changes, changes):
        yield


def windows_path(path: str | os.PathLike[str]) -> str:
    """The name of a path for a Windows program; Wine maps the root folder to Z:."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def copy_prefix(target: Path) -> None:
    """Copies the Wine prefix. Windows' own files, which nothing writes, become links to the same
    bytes where the file system can do that."""

    def copy(source: str, copied: str) -> None:
        try:
            if "/drive_c/windows/" in source:
                os.link(source, copied)
                return
        except OSError:
            pass
        shutil.copy2(source, copied)

    if not (WINE_PREFIX / "system.reg").exists():
        raise AssertionError(f"there is no Wine prefix {WINE_PREFIX}; scripts/test.sh e2e makes it")
    # The server saves its registry through files of this name, which may be gone at any moment.
    passing = shutil.ignore_patterns("reg*.tmp")
    shutil.copytree(WINE_PREFIX, target, symlinks=True, ignore=passing, copy_function=copy)


def wineserver(option: str, prefix: Path) -> None:
    """Gives the server of a prefix an order: -k ends it, -w waits for its end."""
    server = next((found for name in WINESERVERS if (found := shutil.which(name))), None)
    if server is None:
        raise AssertionError("there is no wineserver")
    subprocess.run(
        [server, option], env=wine_environment() | {"WINEPREFIX": str(prefix)},
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        timeout=RUN_TIMEOUT, check=False,
    )


@contextmanager
def own_prefix() -> Iterator[None]:
    """Runs a block in a prefix of its own, so that it may change the registry."""
    target = Path(tempfile.mkdtemp(prefix="prefix-", dir=REPOSITORY / "build")) / "own"
    copy_prefix(target)
    try:
        with mock.patch(f"{__name__}.WINE_PREFIX", target):
            try:
                yield
            finally:
                for option in ("-k", "-w"):
                    wineserver(option, target)
    finally:
        shutil.rmtree(target.parent)


def set_registry(key: str, name: str, data: str, kind: str = "REG_SZ") -> None:
    """Sets a value in the prefix's registry; an empty name is the key's default value."""
    value = ["/v", name] if name else ["/ve"]
    if run_wine("reg", "add", key, *value, "/t", kind, "/d", data, "/f") != 0:
        raise AssertionError(f"{key} {name} could not be set")


def wait(process: subprocess.Popen[bytes], timeout: float) -> int:
    """Waits for a process, and kills that process, and no other, after `timeout` seconds."""
    # Popen.wait with a timeout polls with growing pauses, which would double the time of a run.
    if process.poll() is None:
        descriptor = os.pidfd_open(process.pid)
        try:
            ended, _, _ = select.select([descriptor], [], [], timeout)
        finally:
            os.close(descriptor)
        if not ended:
            process.kill()
            process.wait()
            raise AssertionError(f"{process.args!r} did not end within {timeout} s")
    return process.wait()


def wait_until(condition: object, timeout: float, message: str, poll: float = 0.01) -> None:
    """Waits until a function returns something true."""
    assert callable(condition)
    deadline = time.monotonic() + timeout
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"{message} within {timeout} s")
        time.sleep(poll)


def launch(
    program: Path | str,
    *args: str,
    display: bool = False,
    stdin: int = subprocess.DEVNULL,
    stdout: IO[bytes] | int = subprocess.DEVNULL,
    stderr: IO[bytes] | int = subprocess.DEVNULL,
) -> subprocess.Popen[bytes]:
    """Starts a Windows program, by its path or as one of Wine's own by its name."""
    if isinstance(program, Path) and not program.is_file():
        raise AssertionError(f"{program} has not been built")
    return subprocess.Popen(
        ["wine", str(program), *args], env=wine_environment(display), stdin=stdin, stdout=stdout,
        stderr=stderr,
    )


def run_wine(program: Path | str, *args: str, display: bool = False) -> int:
    """Runs a Windows program to its end; returns its exit code."""
    return wait(launch(program, *args, display=display), RUN_TIMEOUT)


@contextmanager
def started(*args: str) -> Iterator[subprocess.Popen[bytes]]:
    """Runs PELTOSender beside a block; ends it with the block at the latest."""
    process = launch(PROGRAM, *args)
    try:
        yield process
    finally:
        process.kill()
        process.wait()


@dataclass(frozen=True)
class Outcome:
    """What a finished run of the program returned and wrote to its standard output."""

    returncode: int
    output: str
    seconds: float


def run(*args: str, timeout: float = RUN_TIMEOUT) -> Outcome:
    """Runs PELTOSender to its end.

    A start on which Wine's loader gave up, with code 1 and before the program can have begun, is
    reported and repeated, at most twice.
    """
    for _ in range(3):
        with tempfile.TemporaryFile() as output:
            begin = time.monotonic()
            returncode = wait(launch(PROGRAM, *args, stdout=output), timeout)
            seconds = time.monotonic() - begin
            output.seek(0)
            outcome = Outcome(returncode, output.read().decode("utf-8", "replace"), seconds)
        if returncode != 1 or seconds >= LOADER_GIVES_UP:
            break
        print(f"Wine did not start {args}; trying again", file=sys.stderr)
    return outcome


def read_line(process: subprocess.Popen[bytes], timeout: float) -> bytes:
    """A line of a process's output, or nothing when it writes none in time."""
    assert process.stdout is not None
    ready, _, _ = select.select([process.stdout], [], [], timeout)
    return process.stdout.readline() if ready else b""


def end_input(process: subprocess.Popen[bytes]) -> None:
    """Ends a process that runs until its input ends."""
    assert process.stdin is not None and process.stdout is not None
    process.stdin.close()
    try:
        wait(process, RUN_TIMEOUT)
    finally:
        process.stdout.close()


@contextmanager
def held(mode: str, path: Path) -> Iterator[None]:
    """Keeps a file open in another Windows process while a block runs.

    Mode "write" opens for writing and shares everything, as a host application does with its log;
    "read" opens for reading and shares everything; "unwritable" opens for reading and shares
    reading only; "unshared" opens for both and shares nothing.
    """
    process = launch(
        TEST_PROGRAMS / "holder.exe", mode, windows_path(path), stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
    )
    try:
        answer = read_line(process, RUN_TIMEOUT).strip()
        if answer != b"holding":
            raise AssertionError(f"holding {path} ({mode}): {answer!r}")
        yield
    finally:
        end_input(process)


class Sandbox(AbstractContextManager["Sandbox"]):
    """A folder with the data folder and the log folder of one test."""

    def __init__(self) -> None:
        self.root = Path(tempfile.mkdtemp(prefix="pelto-e2e-"))
        self.data = self.root / "data"
        self.logs = self.root / "logs"
        self.settings_path = self.data / "PeltoReport.ini"
        self.report_path = self.data / "PeltoReport.xml"
        self.data.mkdir()
        self.logs.mkdir()

    def __exit__(self, *error: object) -> None:
        self.remove()

    def remove(self) -> None:
        """Deletes the folder."""
        shutil.rmtree(self.root)

    def write_settings(self, *args: object, **values: object) -> None:
        """Writes a settings file; the arguments are those of documents.settings."""
        data = documents.settings(*args, **values)  # type: ignore[arg-type]
        self.settings_path.write_bytes(data)

    def settings(self) -> dict[tuple[str, str], str]:
        """The values in the settings file."""
        return documents.parse_settings(self.settings_path.read_bytes())

    def write_log(self, name: str, data: bytes) -> Path:
        """Puts a log into the log folder."""
        path = self.logs / name
        path.write_bytes(data)
        return path

    def log_names(self) -> list[str]:
        """The names of everything in the log folder."""
        return sorted(os.listdir(self.logs))

    def snapshot(self) -> dict[str, bytes | None]:
        """Every file below the sandbox with its bytes; a folder has none."""
        return {
            str(path.relative_to(self.root)): None if path.is_dir() else path.read_bytes()
            for path in sorted(self.root.rglob("*"))
        }

    def log_handle(self) -> Outcome:
        """A `log_handle` run on the two folders."""
        return run("log_handle", windows_path(self.data), windows_path(self.logs))


class ProgramTest(unittest.TestCase):
    """A test with a sandbox."""

    maxDiff = None

    def setUp(self) -> None:
        self.renew()

    def renew(self) -> None:
        """Starts over with new folders."""
        self.box = Sandbox()
        self.addCleanup(self.box.remove)

    @contextmanager
    def case(self, name: object) -> Iterator[None]:
        """One row of a table of tests, in folders of its own."""
        with self.subTest(name):
            self.renew()
            yield

    def run_program(self, *args: str) -> Outcome:
        """One run, which always ends with exit code 0."""
        outcome = run(*args)
        self.assertEqual(outcome.returncode, 0, outcome.output)
        return outcome

    def assert_bytes(self, got: bytes, expected: bytes) -> None:
        """Two texts are equal byte for byte; a failure shows where they differ."""
        if got == expected:
            return
        if len(got) < 20_000:
            # A list of lines gives a readable difference.
            self.assertEqual(got.split(b"\n"), expected.split(b"\n"))
        at = len(os.path.commonprefix((got, expected)))
        near = slice(max(at - 100, 0), at + 100)
        self.fail(
            f"{len(got)} bytes instead of {len(expected)}, different from {at} on:\n"
            f"got      {got[near]!r}\nexpected {expected[near]!r}"
        )

    def assert_just_now(self, key: tuple[str, str]) -> None:
        """The settings hold a date of the last few seconds."""
        text = self.box.settings().get(key, "")
        self.assertRegex(text, r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\Z")
        written = datetime.strptime(text, documents.DATE_FORMAT).replace(tzinfo=timezone.utc)
        self.assertLess(abs(datetime.now(timezone.utc) - written), timedelta(seconds=60), text)
