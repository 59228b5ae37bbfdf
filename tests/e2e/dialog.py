"""The consent dialog as its user meets it: the built program on a real screen, reached through its
window and through the keyboard and the mouse of that screen."""

from __future__ import annotations

import ctypes
import json
import os
import select
import shutil
import subprocess
import time
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from types import TracebackType
from typing import Any

import harness
from harness import Sandbox, windows_path

TEST_PROGRAMS = harness.HOLDER.parent

OK = 1
PARTICIPATE = 1001
DECLINE = 1002
PRIVACY_POLICY = 1003
EMAIL = 1004
TITLE = 1005
REMIND_LATER = 1008
SILENCE = 1009

APPEARS_WITHIN = 20_000
GOES_WITHIN = 10_000
ANSWERS_WITHIN = 120.0

Area = tuple[int, int, int, int]


class Driver:
    """One process that reaches other programs' dialogs through their windows."""

    def __init__(self) -> None:
        self._process = subprocess.Popen(
            [*harness.wine_command(), str(TEST_PROGRAMS / "dialog_driver.exe")],
            env=harness.wine_environment(display=True),
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )

    def ask(self, *words: object) -> Any:
        """Sends a command and gives back what it answers."""
        assert self._process.stdin is not None and self._process.stdout is not None
        self._process.stdin.write((" ".join(map(str, words)) + "\n").encode("utf-8"))
        self._process.stdin.flush()
        # A dialog that hangs must not hang the tests.
        ready, _, _ = select.select([self._process.stdout], [], [], ANSWERS_WITHIN)
        line = self._process.stdout.readline() if ready else b""
        if not line:
            raise AssertionError(f"no answer to {words}")
        return json.loads(line)

    def close(self) -> None:
        """Ends the process."""
        assert self._process.stdin is not None and self._process.stdout is not None
        self._process.stdin.close()
        harness.wait(self._process, 30)
        self._process.stdout.close()


@dataclass(frozen=True)
class Control:
    """What can be seen of a control; its area is in pixels of the dialog."""

    number: int
    kind: str
    text: str
    checked: bool
    visible: bool
    enabled: bool
    style: int
    exstyle: int
    area: Area


def as_control(answer: dict[str, Any]) -> Control:
    """What the driver says of a control."""
    return Control(
        number=answer["id"],
        kind=answer["class"],
        text=answer["text"],
        checked=answer["checked"] == 1,
        visible=answer["visible"],
        enabled=answer["enabled"],
        style=answer["style"],
        exstyle=answer["exstyle"],
        area=tuple(answer["area"]),
    )


class Dialog:
    """A run of the program that shows the dialog; ends it with the `with` block."""

    def __init__(
        self,
        driver: Driver,
        *args: str,
        program: Path = harness.PROGRAM,
        appears: int = APPEARS_WITHIN,
        focus: bool = True,
    ) -> None:
        self._driver = driver
        if driver.ask("wait", 0):
            raise AssertionError("another dialog is on the screen")
        self._process = harness.launch(program, *args, display=True)
        try:
            if not driver.ask("wait", appears):
                raise AssertionError(f"no dialog within {appears} ms of {args}")
            if focus:
                self._await_focus()
        except BaseException:
            self.kill()
            raise

    def __enter__(self) -> Dialog:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        traceback: TracebackType | None,
    ) -> None:
        if error is not None:
            self.kill()
        self.ended()

    def kill(self) -> None:
        """Ends the program; the next test must not meet its dialog."""
        self._process.kill()
        self._process.wait()
        self._driver.ask("gone", GOES_WITHIN)

    def ended(self) -> int:
        """Waits for the program; its exit code."""
        return harness.wait(self._process, 30)

    def _await_focus(self) -> None:
        """Waits until the screen sends its keys to the dialog, some time after it is visible."""
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            focus = subprocess.run(
                ["xdotool", "getwindowfocus", "getwindowgeometry"],
                env=harness.wine_environment(display=True), stdin=subprocess.DEVNULL,
                capture_output=True, timeout=30, check=False,
            )
            if b"Geometry: 755x447" in focus.stdout:
                return
            time.sleep(0.05)
        raise AssertionError("the dialog has not got the focus")

    def is_running(self) -> bool:
        """Whether the program has not ended yet."""
        return self._process.poll() is None

    def window(self) -> dict[str, Any]:
        """What can be seen of the window."""
        answer: dict[str, Any] = self._driver.ask("window")
        return answer

    def control(self, number: int) -> Control | None:
        """A control, or none when there is no such control."""
        answer = self._driver.ask("control", number)
        return None if answer is None else as_control(answer)

    def is_checked(self, number: int) -> bool:
        """Whether a button that must be there is checked."""
        control = self.control(number)
        assert control is not None
        return control.checked

    def focus(self) -> int:
        """The number of the control that has the focus."""
        number: int = self.window()["focus"]
        return number

    def controls(self) -> list[Control]:
        """All controls in the order of the Tab key."""
        return [as_control(answer) for answer in self._driver.ask("controls")]

    def click(self, number: int) -> None:
        """Clicks a button as assistive tools do."""
        self._driver.ask("click", number)

    def type_email(self, text: str) -> None:
        """Puts a text into the e-mail field."""
        assert self._driver.ask("text", EMAIL, text)

    def command(self, number: int) -> None:
        """Sends the notification that a click on the button `number` sends."""
        self._driver.ask("command", number)

    def timer(self, number: int) -> None:
        """Sends a timer's message."""
        self._driver.ask("timer", number)

    def close(self) -> None:
        """Asks the window to close, as the system menu does."""
        self._driver.ask("close")

    def hit(self, left: int, top: int) -> int:
        """What the window says is at a point of the screen."""
        part: int = self._driver.ask("hit", left, top)
        return part

    def opacities(self, milliseconds: int) -> list[int]:
        """The window's opacities, each as it changed, until none has changed for so long."""
        found: list[int] = self._driver.ask("opacities", milliseconds)
        return found

    def gone(self) -> bool:
        """Whether the dialog goes away."""
        answer: bool = self._driver.ask("gone", GOES_WITHIN)
        return answer

    def place(self, number: int) -> Area:
        """A control's rectangle on the screen."""
        control = self.control(number)
        assert control is not None
        left, top = self.origin()
        return left + control.area[0], top + control.area[1], control.area[2], control.area[3]

    def origin(self) -> tuple[int, int]:
        """Where the client area starts on the screen: within a border of one pixel."""
        left, top, _, _ = self.window()["area"]
        return left + 1, top + 1


def pixels(area: Area) -> Area:
    """A rectangle of dialog units in pixels, with the units of the dialog's font: 6 by 13 pixels."""
    left, top, width, height = area
    return (
        (3 * left + 1) // 2,
        (13 * top + 4) // 8,
        (3 * width + 1) // 2,
        (13 * height + 4) // 8,
    )


def input_(*words: object) -> None:
    """Uses the screen's keyboard or mouse."""
    subprocess.run(
        ["xdotool", *map(str, words)], env=harness.wine_environment(display=True), check=True,
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, timeout=30,
    )


def key(*names: str) -> None:
    """Presses keys one after the other."""
    input_("key", "--delay", 60, *names)
    time.sleep(0.15)


class _CursorImage(ctypes.Structure):
    """XFixesCursorImage: the pointer's image as the screen shows it."""

    _fields_ = [
        ("left", ctypes.c_short), ("top", ctypes.c_short),
        ("width", ctypes.c_ushort), ("height", ctypes.c_ushort),
        ("hot_left", ctypes.c_ushort), ("hot_top", ctypes.c_ushort),
        ("serial", ctypes.c_ulong), ("pixels", ctypes.POINTER(ctypes.c_ulong)),
        ("name", ctypes.c_ulong), ("name_text", ctypes.c_char_p),
    ]  # fmt: skip


def pointer_image(left: int, top: int) -> tuple[int, int, tuple[int, ...]]:
    """Width, height and pixels of the pointer after the mouse has moved to a point of the screen."""
    # A control looks at the pointer from the second move over it on.
    for step in (1, 0):
        input_("mousemove", left + step, top)
        time.sleep(0.2)
    xlib = ctypes.CDLL("libX11.so.6")
    fixes = ctypes.CDLL("libXfixes.so.3")
    xlib.XOpenDisplay.restype = ctypes.c_void_p
    fixes.XFixesGetCursorImage.restype = ctypes.POINTER(_CursorImage)
    display = ctypes.c_void_p(xlib.XOpenDisplay(None))
    assert display
    try:
        image = fixes.XFixesGetCursorImage(display).contents
        size = image.width * image.height
        return image.width, image.height, tuple(image.pixels[:size])
    finally:
        xlib.XCloseDisplay(display)


def click_at(left: int, top: int) -> None:
    """Clicks a point of the screen with the mouse."""
    input_("mousemove", left, top)
    time.sleep(0.1)
    input_("click", 1)
    time.sleep(0.2)


class Pixels:
    """An image, 3 bytes a pixel."""

    def __init__(self, pixels_: bytes, width: int) -> None:
        self.pixels = pixels_
        self.width = width

    def at(self, left: int, top: int) -> tuple[int, int, int]:
        """One pixel's red, green and blue."""
        offset = (top * self.width + left) * 3
        return self.pixels[offset], self.pixels[offset + 1], self.pixels[offset + 2]

    def part(self, area: Area) -> bytes:
        """The bytes of a rectangle."""
        left, top, width, height = area
        starts = ((row * self.width + left) * 3 for row in range(top, top + height))
        return b"".join(self.pixels[start : start + width * 3] for start in starts)


class Screenshot(Pixels):
    """A rectangle of the screen."""

    def __init__(self, area: Area) -> None:
        left, top, width, height = area
        super().__init__(
            image_bytes("import", "-window", "root", "-crop", f"{width}x{height}+{left}+{top}"),
            width,
        )


class Picture(Pixels):
    """An image in a file, of the width of the dialog."""

    def __init__(self, path: Path) -> None:
        super().__init__(image_bytes("convert", str(path)), 753)
        if len(self.pixels) != 753 * 445 * 3:
            raise AssertionError(f"{path} has {len(self.pixels) // 3} pixels")


def image_bytes(*command: str) -> bytes:
    """What a command of ImageMagick gives, 3 bytes a pixel."""
    return subprocess.run(
        [*command, "-depth", "8", "rgb:-"], env=harness.wine_environment(display=True), check=True,
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=30,
    ).stdout


def run_tool(name: str, *args: str) -> int:
    """Runs a test program to its end; its exit code."""
    process = harness.launch(TEST_PROGRAMS / name, *args, display=True)
    return harness.wait(process, 60)


def wine(*args: str) -> int:
    """Runs one of Wine's own programs to its end; its exit code."""
    process = subprocess.Popen(
        [*harness.wine_command(), *args], env=harness.wine_environment(display=True),
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
    )
    return harness.wait(process, 60)


@contextmanager
def program_copy(*beside: tuple[str, str]) -> Iterator[Path]:
    """A copy of the program in a folder of its own, with test libraries beside it: pairs of a
    library's name and the name that it gets."""
    with Sandbox() as sandbox:
        program = sandbox.root / "PELTOSender.exe"
        shutil.copy(harness.PROGRAM, program)
        for library, name in beside:
            shutil.copy(TEST_PROGRAMS / library, sandbox.root / name)
        yield program


@contextmanager
def link_handler(scheme: str) -> Iterator[Path]:
    """Opens links of a scheme with a stand-in for the browser; the file of what it opened."""
    with Sandbox() as sandbox:
        handler = sandbox.root / "link_handler.exe"
        shutil.copy(TEST_PROGRAMS / "link_handler.exe", handler)
        command = f'"{windows_path(handler)}" "%1"'
        register_handler(scheme, command)
        try:
            yield sandbox.root / "opened.txt"
        finally:
            register_handler(scheme, '"C:\\windows\\system32\\winebrowser.exe" -nohome "%1"')


def register_handler(scheme: str, command: str) -> None:
    """Says how the test's prefix opens links of a scheme."""
    key_name = f"HKCR\\{scheme}\\shell\\open\\command"
    assert wine("reg", "add", key_name, "/ve", "/d", command, "/f") == 0


def has_screen() -> bool:
    """Whether there is a screen to show a dialog on."""
    return "DISPLAY" in os.environ
