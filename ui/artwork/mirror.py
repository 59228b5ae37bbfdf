#!/usr/bin/env python3
"""mirror.py DRAWING: prints the drawing with its mark mirrored.

In a mirrored window the picture is mirrored too, and the mark must not be. It is the element with the
id "mark", and is mirrored about its own center, which follows from its `x` and `width`. A drawing
without such an element is printed as it is.
"""

from __future__ import annotations

import sys
from pathlib import Path
from xml.etree import ElementTree

ElementTree.register_namespace("", "http://www.w3.org/2000/svg")


class BadDrawing(Exception):
    """What is wrong with the drawing."""


def mirrored(drawing: str) -> str:
    """The drawing, an SVG document, with its mark mirrored."""
    root = ElementTree.fromstring(drawing)
    mark = root.find(".//*[@id='mark']")
    if mark is None:
        return drawing
    try:
        left, width = float(mark.get("x", "")), float(mark.get("width", ""))
    except ValueError:
        raise BadDrawing('the element with the id "mark" needs x and width as numbers') from None
    # Within what the mark may have already.
    change = f"translate({2 * left + width:g} 0) scale(-1 1)"
    mark.set("transform", f"{mark.get('transform', '')} {change}".strip())
    return ElementTree.tostring(root, "unicode")


def main() -> int:
    """The exit code is 0 when the drawing could be mirrored."""
    try:
        print(mirrored(Path(sys.argv[1]).read_text("utf-8")))
    except (BadDrawing, ElementTree.ParseError) as error:
        print(f"{sys.argv[1]}: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
