"""Runs the built program under Wine and keeps the folders that a test gives it.

Output of the program goes to files, never to pipes: Wine's helper processes inherit them and
outlive the program, so that the reader of a pipe would wait for them.
"""

from __future__ import annotations

import functools
import os
import select
import shutil
import subprocess
import sys
import tempfile
import threading
import time
from dataclasses import dataclass
from pathlib import Path
from types import TracebackType
from typing import IO

REPOSITORY = Path(__file__).resolve().parents[2]
PROGRAM = Path(
    os.environ.get("PELTO_EXE", REPOSITORY / "build" / "windows" / "PELTOSender.exe")
)
HOLDER = Path(
    os.environ.get("PELTO_HOLDER", REPOSITORY / "build" / "windows" / "tests" / "holder.exe")
)
WINE_PREFIX = Path(
    os.environ.get("PELTO_WINEPREFIX", REPOSITORY / "build" / "wine-prefix")
)

SETTINGS_NAME = "PeltoReport.ini"
REPORT_NAME = "PeltoReport.xml"
IDENTIFIER = "0d5f6a52-7c1b-4f0e-9a3c-5b6e1f2a3d4c"

RUN_TIMEOUT = 60.0
# No program that was started has ended sooner.
LOADER_GIVES_UP = 0.008
PREFIX_TIMEOUT = 300.0

_prefix_lock = threading.Lock()


def wine_environment(display: bool = False) -> dict[str, str]:
    """The environment of every Wine process; without `display` no window can be made."""
    environment = dict(os.environ)
    environment.update(
        WINEPREFIX=str(WINE_PREFIX),
        WINEDEBUG="-all",
        WINEDLLOVERRIDES="winedbg.exe=d;mscoree=d;mshtml=d",
        LC_ALL="C.UTF-8",
    )
    if not display:
        environment.pop("DISPLAY", None)
    return environment


@functools.cache
def wine_command() -> tuple[str, ...]:
    """How a Windows program is started.

    With a randomised address space about one start in ten thousand ends in Wine's own loader
    (exit code 1, no word said): the address of the shared user data is taken already. Where the
    machine does not let the randomisation be turned off, that chance stays.
    """
    setarch = shutil.which("setarch")
    if setarch is not None:
        fixed = (setarch, "--addr-no-randomize")
        attempt = subprocess.run(
            [*fixed, "true"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False
        )
        if attempt.returncode == 0:
            return (*fixed, "wine")
    return ("wine",)


def windows_path(path: str | os.PathLike[str]) -> str:
    """The name under which a Windows program sees `path`; Wine maps the root to Z:."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def ensure_prefix() -> None:
    """Makes the Wine prefix when it is missing; two first starts at once would spoil it."""
    with _prefix_lock:
        if (WINE_PREFIX / "system.reg").exists():
            return
        WINE_PREFIX.parent.mkdir(parents=True, exist_ok=True)
        process = subprocess.Popen(
            ["wineboot", "--init"],
            env=wine_environment(),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        wait(process, PREFIX_TIMEOUT)
        # The registry reaches the disk some time after wineboot has ended.
        deadline = time.monotonic() + PREFIX_TIMEOUT
        while not (WINE_PREFIX / "system.reg").exists():
            if time.monotonic() > deadline:
                raise AssertionError(f"no Wine prefix came into being at {WINE_PREFIX}")
            time.sleep(0.2)


def wait(process: subprocess.Popen[bytes], timeout: float) -> int:
    """Waits for one process; kills that process, and no other, when the time is over."""
    # Popen.wait with a timeout sleeps between looks, which would double the time of a run.
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


@dataclass(frozen=True)
class Outcome:
    """What one finished run of the program left behind."""

    args: tuple[str, ...]
    returncode: int
    output: str
    seconds: float


def launch(
    program: Path, *args: str, display: bool = False, output: IO[bytes] | int = subprocess.DEVNULL
) -> subprocess.Popen[bytes]:
    """Starts a Windows program in the background."""
    if not program.is_file():
        raise AssertionError(f"{program} has not been built")
    ensure_prefix()
    return subprocess.Popen(
        [*wine_command(), str(program), *args],
        env=wine_environment(display),
        stdin=subprocess.DEVNULL,
        stdout=output,
        stderr=output,
    )


def start(*args: str, display: bool = False) -> subprocess.Popen[bytes]:
    """Starts PELTOSender in the background; the caller waits for it with `wait`."""
    return launch(PROGRAM, *args, display=display)


def run(*args: str, timeout: float = RUN_TIMEOUT, display: bool = False) -> Outcome:
    """Runs PELTOSender to its end.

    About once in ten thousand times Wine's own loader gives up before it has started anything, with
    code 1 and within 3 ms; the program itself cannot have begun by then (an empty one takes 12 ms).
    Such a start is told and made again, at most twice.
    """
    outcome = _run_once(args, timeout, display)
    for _ in range(2):
        if outcome.returncode != 1 or outcome.seconds >= LOADER_GIVES_UP:
            break
        print(f"Wine did not start {args}; again", file=sys.stderr)
        outcome = _run_once(args, timeout, display)
    return outcome


def _run_once(args: tuple[str, ...], timeout: float, display: bool) -> Outcome:
    with tempfile.TemporaryFile() as output:
        begin = time.monotonic()
        process = launch(PROGRAM, *args, display=display, output=output)
        returncode = wait(process, timeout)
        seconds = time.monotonic() - begin
        output.seek(0)
        text = output.read().decode("utf-8", "replace")
    return Outcome(args, returncode, text, seconds)


class Holder:
    """A second Windows process that keeps a file open while the `with` block runs.

    `write` opens for writing and shares everything, as a host application does with the log
    that it is writing; `read` opens for reading and shares everything; `unshared` opens for
    both and shares nothing.
    """

    START_TIMEOUT = 30.0

    def __init__(self, mode: str, path: Path) -> None:
        self._mode = mode
        self._path = path
        self._process: subprocess.Popen[bytes] | None = None

    def __enter__(self) -> Holder:
        if not HOLDER.is_file():
            raise AssertionError(f"{HOLDER} has not been built")
        ensure_prefix()
        self._process = subprocess.Popen(
            [*wine_command(), str(HOLDER), self._mode, windows_path(self._path)],
            env=wine_environment(),
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )
        assert self._process.stdout is not None
        ready, _, _ = select.select([self._process.stdout], [], [], self.START_TIMEOUT)
        answer = self._process.stdout.readline().strip() if ready else b"no answer"
        if answer != b"holding":
            self.release()
            raise AssertionError(f"holding {self._path} ({self._mode}): {answer!r}")
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.release()

    def release(self) -> None:
        """Lets go of the file; harmless when that has happened already."""
        process, self._process = self._process, None
        if process is None:
            return
        assert process.stdin is not None and process.stdout is not None
        process.stdin.close()
        try:
            wait(process, self.START_TIMEOUT)
        finally:
            process.stdout.close()


def settings_bytes(
    state: int | str | None = 1,
    identifier: str | None = IDENTIFIER,
    email: str | bytes | None = None,
) -> bytes:
    """A settings file as a user's answer leaves it; None leaves the key out."""
    lines: list[bytes] = []
    if identifier is not None:
        lines += [b"[PELTO]", b"ID=" + identifier.encode("ascii")]
    lines.append(b"[General]")
    if state is not None:
        lines.append(b"PeltoState=" + str(state).encode("ascii"))
    if email is not None:
        address = email if isinstance(email, bytes) else email.encode("cp1252")
        lines.append(b"Email=" + address)
    return b"".join(line + b"\r\n" for line in lines)


def parse_settings(data: bytes) -> dict[tuple[str, str], str]:
    """All values of a settings file, by section and key."""
    values: dict[tuple[str, str], str] = {}
    section = ""
    for line in data.decode("cp1252").splitlines():
        if line.startswith("[") and line.rstrip().endswith("]"):
            section = line.strip()[1:-1]
        elif "=" in line:
            key, _, value = line.partition("=")
            values[section, key.strip()] = value.strip()
    return values


class Sandbox:
    """A private folder with the data folder and the log folder of one test."""

    def __init__(self) -> None:
        self.root = Path(tempfile.mkdtemp(prefix="pelto-e2e-"))
        self.data = self.root / "data"
        self.logs = self.root / "logs"
        self.data.mkdir()
        self.logs.mkdir()

    def __enter__(self) -> Sandbox:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        self.remove()

    def remove(self) -> None:
        """Deletes the whole folder."""
        shutil.rmtree(self.root)

    @property
    def settings_path(self) -> Path:
        """The settings file in the data folder."""
        return self.data / SETTINGS_NAME

    @property
    def report_path(self) -> Path:
        """The report in the data folder."""
        return self.data / REPORT_NAME

    def write_settings(
        self,
        state: int | str | None = 1,
        identifier: str | None = IDENTIFIER,
        email: str | bytes | None = None,
    ) -> None:
        """Puts a settings file in place, by default one of a user who takes part."""
        self.settings_path.write_bytes(settings_bytes(state, identifier, email))

    def settings(self) -> dict[tuple[str, str], str]:
        """The values that the settings file holds now."""
        return parse_settings(self.settings_path.read_bytes())

    def write_log(self, name: str, data: bytes) -> Path:
        """Puts one log into the log folder."""
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

    def harvest(self, timeout: float = RUN_TIMEOUT) -> Outcome:
        """One `log_handle` run on the two folders."""
        return run(
            "log_handle", windows_path(self.data), windows_path(self.logs), timeout=timeout
        )
