#!/usr/bin/env python3
"""Writes a usage log of a given size as a busy host application leaves it: mostly commands out of
a few hundred, some documents, some other lines. The same size and seed give the same bytes."""

import random
import sys


def main() -> None:
    path, megabytes = sys.argv[1], int(sys.argv[2])
    rng = random.Random(7)
    commands = [f"Edit{rng.choice(['Line', 'Arc', 'Wall', 'Layer', 'Block'])}_{i}" for i in range(400)]
    lines = []
    size = 0
    # One stretch of varied lines, repeated: making 500 MB line by line takes a minute.
    while size < 4 << 20:
        prefix = f"2024-03-{rng.randrange(1, 29):02} {rng.randrange(24):02}:{rng.randrange(60):02}" \
                 f":{rng.randrange(60):02}.{rng.randrange(100):02} "
        kind = rng.random()
        if kind < 0.85:
            line = f"{prefix}Command = {rng.choices(commands, range(400, 0, -1))[0]}\r\n"
        elif kind < 0.90:
            line = f"{prefix}{rng.choice(['OnOpenDocument', 'OnSaveDocument'])}\r\n" \
                   f"{prefix}C:\\Projects\\House {rng.randrange(99)}\\Plan.{rng.choice(['dwg', 'dxf', 'pdf'])}\r\n"
        else:
            line = f"{prefix}Idle, {rng.randrange(9999)} objects in view\r\n"
        lines.append(line)
        size += len(line)
    stretch = "".join(lines).encode("cp1252")
    with open(path, "wb") as log:
        for _ in range((megabytes << 20) // len(stretch)):
            log.write(stretch)


main()
