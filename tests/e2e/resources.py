"""Reads the resources of a built program or library: the dialog's template, a string, a picture."""

from __future__ import annotations

import functools
import struct
import tempfile
from dataclasses import dataclass
from pathlib import Path

import harness
from harness import windows_path

ICON_TYPE = "#3"
DIALOG_TYPE = "#5"
STRING_TYPE = "#6"
ICON_GROUP_TYPE = "#14"
VERSION_TYPE = "#16"
MANIFEST_TYPE = "#24"
PICTURE_TYPE = "PNG"

DIALOG = 101
PRIVACY_POLICY_ADDRESS = 102
ICON = 103
PICTURE = 109

# The numbers by which a template names the window classes of the system.
CLASSES = {0x80: "Button", 0x81: "Edit", 0x82: "Static"}

Area = tuple[int, int, int, int]


@functools.cache
def resource(program: Path, kind: str, number: int) -> bytes:
    """The bytes of a resource."""
    with tempfile.TemporaryDirectory() as folder:
        target = Path(folder) / "resource.bin"
        code = harness.run_wine(
            harness.TEST_PROGRAMS / "resource_editor.exe", windows_path(program), kind, str(number),
            ">", windows_path(target),
        )
        if code != 0:
            raise AssertionError(f"{program} has no resource {kind} {number}")
        return target.read_bytes()


@dataclass(frozen=True)
class Item:
    """A control of a template; its area is in dialog units."""

    number: int
    kind: str
    text: str
    area: Area
    style: int
    exstyle: int


def template(program: Path) -> list[Item]:
    """The controls of the dialog's template, in their order."""
    data = resource(program, DIALOG_TYPE, DIALOG)
    at = 26

    def take(form: str) -> tuple[int, ...]:
        nonlocal at
        values = struct.unpack_from("<" + form, data, at)
        at += struct.calcsize("<" + form)
        return values

    def take_name() -> str:
        """A text that ends in NUL, or a number after FFFF."""
        if struct.unpack_from("<H", data, at)[0] == 0xFFFF:
            return CLASSES.get(take("HH")[1], "")
        characters = iter(lambda: take("H")[0], 0)
        return "".join(map(chr, characters))

    count = struct.unpack_from("<H", data, 16)[0]
    for _ in ("menu", "class", "caption"):
        take_name()
    take("HHBB")  # The font's size, weight, slant and character set.
    take_name()
    items = []
    for _ in range(count):
        at += -at % 4
        _, exstyle, style, left, top, width, height, number = take("IIIhhhhi")
        kind, text = take_name(), take_name()
        extra = take("H")[0]
        at += extra
        area = (left, top, width, height)
        items.append(Item(number, kind.capitalize(), text, area, style, exstyle))
    return items


def string(program: Path, number: int) -> str:
    """A text of the string table, whose blocks hold 16 texts each."""
    data = resource(program, STRING_TYPE, number // 16 + 1)
    at = 0
    for _ in range(number % 16):
        at += 2 + 2 * struct.unpack_from("<H", data, at)[0]
    length = struct.unpack_from("<H", data, at)[0]
    return data[at + 2 : at + 2 + 2 * length].decode("utf-16-le")


def version_text(program: Path, name: str) -> str:
    """A text of the version resource, such as the company's name."""
    data = resource(program, VERSION_TYPE, 1)
    # After the number of its kind, which is 1.
    key = f"\x01{name}\0".encode("utf-16-le")
    at = data.index(key) + len(key)
    at += -at % 4
    text, _, _ = data[at:].decode("utf-16-le", "replace").partition("\0")
    return text
