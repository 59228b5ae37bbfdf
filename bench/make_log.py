#!/usr/bin/env python3
"""make_log.py KIND MEGABYTES FILE: writes a usage log as a busy host application leaves it.

make_log.py --small COUNT FOLDER: writes that many logs of one short session each.
make_log.py --distinct COUNT FILE: writes a log of that many commands, each used once.

The same arguments give the same bytes. The kinds are in KINDS."""

import random
import sys
from dataclasses import dataclass
from pathlib import Path


@dataclass
class Kind:
    """What the lines of a log are like."""

    commands: int = 400
    # How many letters are added to each name, at least and at most.
    letters: tuple[int, int] = (0, 0)
    # How many of 100 lines are commands and documents. The others are no events.
    command_lines: int = 85
    document_lines: int = 5
    other: str = "Idle, {} objects in view"
    end: str = "\r\n"


KINDS = {
    "usual": Kind(),
    "lf": Kind(end="\n"),
    "many": Kind(commands=100_000),
    "long": Kind(letters=(40, 160), other="Regenerated {} objects: " + "layer " * 60),
    "documents": Kind(command_lines=20, document_lines=70),
    "other": Kind(command_lines=5, document_lines=1),
}
FAMILIES = ("EditLine", "EditArc", "EditWall", "EditLayer", "Zoom", "Pan", "Undo")


def make_lines(kind: Kind, size: int, seed: int = 7) -> bytes:
    """Lines of about `size` bytes."""
    rng = random.Random(seed)
    commands = [f"{rng.choice(FAMILIES)}_{i}" + "x" * rng.randint(*kind.letters)
                for i in range(kind.commands)]
    lines: list[str] = []
    length = 0
    while length < size:
        prefix = f"2024-03-{rng.randrange(1, 29):02} {rng.randrange(24):02}:{rng.randrange(60):02}" \
                 f":{rng.randrange(60):02}.{rng.randrange(100):02} "
        choice = rng.randrange(100)
        if choice < kind.command_lines:
            # Some commands are used far more often than others.
            place = int(len(commands) * rng.random() ** 2)
            line = f"{prefix}Command = {commands[place]}{kind.end}"
        elif choice < kind.command_lines + kind.document_lines:
            line = f"{prefix}{rng.choice(('OnOpenDocument', 'OnSaveDocument'))}{kind.end}" \
                   f"{prefix}C:\\Projects\\House {rng.randrange(99)}\\Plan" \
                   f".{rng.choice(('dwg', 'dxf', 'pdf'))}{kind.end}"
        else:
            line = f"{prefix}{kind.other.format(rng.randrange(9999))}{kind.end}"
        lines.append(line)
        length += len(line)
    return "".join(lines).encode("cp1252")


def main() -> None:
    what, amount, place = sys.argv[1], int(sys.argv[2]), Path(sys.argv[3])
    if what == "--small":
        for i in range(amount):
            (place / f"{i:05}.log").write_bytes(make_lines(Kind(commands=50), 2000, i))
        return
    if what == "--distinct":
        with open(place, "w", newline="") as log:
            for i in range(amount):
                log.write(f"2024-03-05 14:07:09.12 Command = Edit_{i}\r\n")
        return
    # One stretch, repeated: making 500 MB line by line takes a minute.
    stretch = make_lines(KINDS[what], 16 << 20)
    with open(place, "wb") as log:
        for _ in range((amount << 20) // len(stretch)):
            log.write(stretch)


main()
