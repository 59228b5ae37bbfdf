"""The consent dialog from its user's side: the built program on a screen, driven through its window
and by the screen's keyboard and mouse."""

from __future__ import annotations

import ctypes
import json
import os
import shutil
import subprocess
import time
from collections.abc import Callable, Iterator
from contextlib import AbstractContextManager, contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any, ClassVar

import harness
from harness import TEST_PROGRAMS, Sandbox, windows_path
from resources import Area

OK = 1
CANCEL = 2
PARTICIPATE = 1001
DECLINE = 1002
PRIVACY_POLICY = 1003
EMAIL = 1004
TITLE = 1005
REMIND_LATER = 1008
SILENCE = 1009

# The client area, and the window with its border of one pixel.
WIDTH, HEIGHT = 753, 445
WINDOW = (WIDTH + 2, HEIGHT + 2)

APPEARS_WITHIN = 20_000
GOES_WITHIN = 10_000
RESPONDS_WITHIN = 120.0


class Driver:
    """One process that drives other programs' dialogs through their windows."""

    def __init__(self) -> None:
        self._process = harness.launch(
            TEST_PROGRAMS / "dialog_driver.exe", display=True, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        )

    def ask(self, *words: object) -> Any:
        """Sends a command; returns its result."""
        assert self._process.stdin is not None
        self._process.stdin.write((" ".join(map(str, words)) + "\n").encode("utf-8"))
        self._process.stdin.flush()
        # A dialog that hangs must not hang the tests.
        line = harness.read_line(self._process, RESPONDS_WITHIN)
        if not line:
            raise AssertionError(f"no result of {words}")
        return json.loads(line)

    def close(self) -> None:
        """Ends the process."""
        harness.end_input(self._process)


class DriverTest(harness.ProgramTest):
    """A data folder, and a driver that the tests of a class share."""

    driver: ClassVar[Driver]

    @classmethod
    def setUpClass(cls) -> None:
        if not has_screen():
            raise AssertionError("the dialog's tests need a screen")
        cls.driver = Driver()
        cls.addClassCleanup(cls.driver.close)


@dataclass(frozen=True)
class Control:
    """The properties of a control; its area is in pixels of the dialog, and `size` is that of its
    text."""

    number: int
    kind: str
    text: str
    size: tuple[int, int]
    checked: bool
    visible: bool
    enabled: bool
    style: int
    exstyle: int
    area: Area


def as_control(values: dict[str, Any]) -> Control:
    """A control from the driver's result."""
    return Control(
        number=values["id"], kind=values["class"], text=values["text"], size=tuple(values["size"]),
        checked=values["checked"] == 1, visible=values["visible"], enabled=values["enabled"],
        style=values["style"], exstyle=values["exstyle"], area=tuple(values["area"]),
    )


class Dialog(AbstractContextManager["Dialog"]):
    """A run of the program that shows the dialog, which is closed with the block at the latest.

    With `focus` the dialog is ready for the screen's keyboard.
    """

    def __init__(
        self,
        driver: Driver,
        *args: str,
        program: Path = harness.PROGRAM,
        appears: int = APPEARS_WITHIN,
        focus: bool = False,
    ) -> None:
        self._driver = driver
        if driver.ask("wait", 0):
            raise AssertionError("another dialog is on the screen")
        self._process = harness.launch(program, *args, display=True)
        try:
            if not driver.ask("wait", appears):
                raise AssertionError(f"no dialog within {appears} ms of {args}")
            if focus:
                # The screen sends its keys to the dialog some time after it is visible.
                harness.wait_until(has_focus, 10, "the dialog did not get the focus")
        except BaseException:
            self._kill()
            raise

    def __exit__(self, kind: type[BaseException] | None, *error: object) -> None:
        if kind is not None:
            self._kill()
        elif self.is_running():
            self.close()
        harness.wait(self._process, 30)

    def _kill(self) -> None:
        """Ends the program; the next test must not meet its dialog."""
        self._process.kill()
        self._process.wait()
        self._driver.ask("gone", GOES_WITHIN)

    def is_running(self) -> bool:
        """Whether the program has not ended yet."""
        return self._process.poll() is None

    def window(self) -> dict[str, Any]:
        """The properties of the window."""
        properties: dict[str, Any] = self._driver.ask("window")
        return properties

    def control(self, number: int) -> Control:
        """A control."""
        properties = self._driver.ask("control", number)
        assert properties is not None, f"no control {number}"
        return as_control(properties)

    def controls(self) -> list[Control]:
        """All controls in the order of the Tab key."""
        return [as_control(properties) for properties in self._driver.ask("controls")]

    def focus(self) -> int:
        """The number of the control that has the focus."""
        number: int = self.window()["focus"]
        return number

    def click(self, *numbers: int) -> None:
        """Clicks buttons, one after the other, as assistive tools do."""
        for number in numbers:
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
        """The window's hit test for a point of the screen."""
        part: int = self._driver.ask("hit", left, top)
        return part

    def opacities(self, milliseconds: int) -> list[int]:
        """The window's opacities, each as it changed, until none has changed for that long."""
        found: list[int] = self._driver.ask("opacities", milliseconds)
        return found

    def gone(self) -> bool:
        """Whether the dialog goes away."""
        gone: bool = self._driver.ask("gone", GOES_WITHIN)
        return gone

    def origin(self) -> tuple[int, int]:
        """The client area's corner on the screen."""
        left, top, _, _ = self.window()["area"]
        return left + 1, top + 1

    def place(self, area: Area) -> Area:
        """The rectangle on the screen of an area of the dialog."""
        left, top = self.origin()
        return left + area[0], top + area[1], area[2], area[3]

    def screenshot(self, area: Area = (0, 0, WIDTH, HEIGHT)) -> Pixels:
        """An area of the dialog as the screen shows it once it is painted."""
        time.sleep(0.4)
        left, top, width, height = self.place(area)
        crop = f"{width}x{height}+{left}+{top}"
        return Pixels(image_bytes("import", "-window", "root", "-crop", crop), width)


def has_focus() -> bool:
    """Whether the screen sends its keys to the dialog."""
    found = subprocess.run(
        ["xdotool", "getwindowfocus", "getwindowgeometry"], stdin=subprocess.DEVNULL,
        capture_output=True, timeout=30, check=False,
    )
    return f"Geometry: {WINDOW[0]}x{WINDOW[1]}".encode() in found.stdout


def pixels(area: Area) -> Area:
    """A rectangle of dialog units in pixels; the dialog's font makes its units 6 by 13 pixels."""
    left, top, width, height = area
    return (
        (3 * left + 1) // 2, (13 * top + 4) // 8, (3 * width + 1) // 2, (13 * height + 4) // 8
    )


def use_screen(*words: object) -> None:
    """Uses the screen's keyboard or mouse."""
    subprocess.run(
        ["xdotool", *map(str, words)], check=True, stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL, timeout=30,
    )


def key(*names: str) -> None:
    """Presses keys one after the other."""
    use_screen("key", "--delay", 60, *names)
    time.sleep(0.15)


def type_text(text: str) -> None:
    """Types a text."""
    use_screen("type", "--delay", 30, text)
    time.sleep(0.2)


def click_at(left: int, top: int) -> None:
    """Clicks a point of the screen with the mouse."""
    use_screen("mousemove", left, top)
    time.sleep(0.1)
    use_screen("click", 1)
    time.sleep(0.2)


class _CursorImage(ctypes.Structure):
    """XFixesCursorImage: the pointer's image as the screen shows it."""

    _fields_ = [
        ("left", ctypes.c_short), ("top", ctypes.c_short),
        ("width", ctypes.c_ushort), ("height", ctypes.c_ushort),
        ("hot_left", ctypes.c_ushort), ("hot_top", ctypes.c_ushort),
        ("serial", ctypes.c_ulong), ("pixels", ctypes.POINTER(ctypes.c_ulong)),
        ("name", ctypes.c_ulong), ("name_text", ctypes.c_char_p),
    ]  # fmt: skip


Image = tuple[int, int, tuple[int, ...]]


def pointer_image() -> Image:
    """Width, height and pixels of the pointer as the screen shows it."""
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


def await_pointer(left: int, top: int, expected: Callable[[Image], bool]) -> Image:
    """Moves the mouse to a point of the screen and waits for a change of the pointer."""
    for step in range(50):
        # A control sets the pointer from the second move over it on (docs/compatibility.md, 63).
        use_screen("mousemove", left + step % 2, top)
        time.sleep(0.1)
        if step and expected(image := pointer_image()):
            return image
    raise AssertionError(f"the pointer did not change at {left}, {top}")


class Pixels:
    """An image, 3 bytes a pixel."""

    def __init__(self, data: bytes, width: int) -> None:
        self.data = data
        self.width = width
        self.height = len(data) // 3 // width

    def at(self, left: int, top: int) -> tuple[int, int, int]:
        """One pixel's red, green and blue."""
        offset = (top * self.width + left) * 3
        return self.data[offset], self.data[offset + 1], self.data[offset + 2]

    def column(self, left: int) -> list[tuple[int, int, int]]:
        """The pixels of a column."""
        return [self.at(left, top) for top in range(self.height)]

    def part(self, area: Area) -> bytes:
        """The bytes of a rectangle."""
        left, top, width, height = area
        starts = ((row * self.width + left) * 3 for row in range(top, top + height))
        return b"".join(self.data[start : start + width * 3] for start in starts)


def picture(png: bytes) -> Pixels:
    """An image of the size of the dialog."""
    data = image_bytes("convert", "png:-", standard_input=png)
    if len(data) != WIDTH * HEIGHT * 3:
        raise AssertionError(f"the picture has {len(data) // 3} pixels")
    return Pixels(data, WIDTH)


def image_bytes(*command: str, standard_input: bytes = b"") -> bytes:
    """The result of a command of ImageMagick, 3 bytes a pixel."""
    return subprocess.run(
        [*command, "-depth", "8", "rgb:-"], check=True, input=standard_input,
        stdout=subprocess.PIPE, timeout=30,
    ).stdout


@contextmanager
def program_copy(**beside: str) -> Iterator[Path]:
    """A copy of the program in a folder of its own; `beside` names the test libraries, or the paths
    of others without ".dll", that are copied beside it as LangExt.dll and Texts.dll."""
    with Sandbox() as sandbox:
        program = sandbox.root / "PELTOSender.exe"
        shutil.copy(harness.PROGRAM, program)
        for name, library in beside.items():
            shutil.copy(TEST_PROGRAMS / f"{library}.dll", sandbox.root / f"{name}.dll")
        yield program


@contextmanager
def link_handler(scheme: str) -> Iterator[Path]:
    """Opens links of a scheme with a test program; yields the file of what it opened."""
    key_name = f"HKCR\\{scheme}\\shell\\open\\command"
    with Sandbox() as sandbox:
        handler = sandbox.root / "link_handler.exe"
        shutil.copy(TEST_PROGRAMS / "link_handler.exe", handler)
        harness.set_registry(key_name, "", f'"{windows_path(handler)}" "%1"')
        try:
            yield sandbox.root / "opened.txt"
        finally:
            harness.set_registry(
                key_name, "", '"C:\\windows\\system32\\winebrowser.exe" -nohome "%1"'
            )


def has_screen() -> bool:
    """Whether there is a screen to show a dialog on."""
    return "DISPLAY" in os.environ
