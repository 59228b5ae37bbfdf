#!/usr/bin/env python3
"""Copies Wine's Tahoma so that texts are as wide under Wine as on Windows.

The font has outlines and, for the sizes of dialogs, bitmaps. Wine measures a text by the outlines
but draws the bitmaps, which are a tenth narrower and as wide as on Windows. So it cuts a text that
would fit its control. In the copy, the letters that have a bitmap of the size that dialogs use are as
wide as that, and have no outlines. The Arabic letters have outlines only, and keep them.
"""

import struct
import sys
from collections.abc import Container
from pathlib import Path

DIALOG_PIXELS = 11
SIZE_RECORD = 48


class Font:
    """The bytes of a TrueType font and the offsets of its tables."""

    def __init__(self, data: bytes) -> None:
        self.data = bytearray(data)
        (count,) = self.read("H", 4)
        self.tables: dict[str, tuple[int, int]] = {}
        for index in range(count):
            entry = 12 + 16 * index
            tag = self.data[entry : entry + 4].decode("ascii")
            start, length = self.read("II", entry + 8)
            self.tables[tag] = (start, length)

    def read(self, fields: str, offset: int) -> tuple[int, ...]:
        """Unpacks big-endian numbers."""
        return struct.unpack_from(">" + fields, self.data, offset)

    def bitmap_widths(self, pixels: int) -> dict[int, int]:
        """The advance width of each glyph's bitmap of that size, in pixels."""
        locations, bitmaps = self.tables["EBLC"][0], self.tables["EBDT"][0]
        widths: dict[int, int] = {}
        for size in range(self.read("I", locations + 4)[0]):
            record = locations + 8 + SIZE_RECORD * size
            ranges, _, count = self.read("III", record)
            if self.data[record + 44] != pixels:
                continue
            for index in range(count):
                first, last, offset = self.read("HHI", locations + ranges + 8 * index)
                table = locations + ranges + offset
                kind, _, images = self.read("HHI", table)
                for glyph in range(first, last + 1):
                    if kind == 1:
                        metrics = bitmaps + images + self.read("I", table + 8 + 4 * (glyph - first))[0]
                    elif kind == 3:
                        metrics = bitmaps + images + self.read("H", table + 8 + 2 * (glyph - first))[0]
                    elif kind in (2, 5):
                        metrics = table + 12
                    else:
                        raise ValueError(f"bitmaps stored in the way {kind}")
                    widths[glyph] = self.data[metrics + 4]
        return widths

    def set_widths(self, widths: dict[int, int], pixels: int) -> None:
        """Sets the outlines' advance widths to those that the bitmaps have at that size."""
        (units,) = self.read("H", self.tables["head"][0] + 18)
        (count,) = self.read("H", self.tables["hhea"][0] + 34)
        for glyph, width in widths.items():
            if glyph < count:
                offset = self.tables["hmtx"][0] + 4 * glyph
                struct.pack_into(">H", self.data, offset, round(width * units / pixels))

    def drop_outlines(self, glyphs: Container[int]) -> None:
        """Empties the outlines of these glyphs. Otherwise hinting would change the widths again."""
        (long,) = self.read("h", self.tables["head"][0] + 50)
        (count,) = self.read("H", self.tables["maxp"][0] + 4)
        form = f">{count + 1}{'I' if long else 'H'}"
        before = struct.unpack_from(form, self.data, self.tables["loca"][0])
        places = list(before)
        # An outline ends where the next one begins. So each that stays begins where it was, and may
        # end with the bytes of dropped ones, which nothing reads. An empty one stays empty.
        for glyph in reversed(range(count)):
            if glyph in glyphs or before[glyph] == before[glyph + 1]:
                places[glyph] = places[glyph + 1]
        struct.pack_into(form, self.data, self.tables["loca"][0], *places)


def main() -> int:
    """Reads the first font named and writes the second."""
    source, target = map(Path, sys.argv[1:])
    font = Font(source.read_bytes())
    widths = font.bitmap_widths(DIALOG_PIXELS)
    font.set_widths(widths, DIALOG_PIXELS)
    font.drop_outlines(widths)
    target.write_bytes(font.data)
    return 0


if __name__ == "__main__":
    sys.exit(main())
