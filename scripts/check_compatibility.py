#!/usr/bin/env python3
"""check_compatibility.py: whether docs/compatibility.md, the code and the tests fit together.

For each row of its tables: numbers are consecutive, the named file exists and refers to the number
("docs/compatibility.md, 12 and 13"), and the named tests exist. Writes a line
for each fault; the exit code is 1 when there is one.
"""

import re
import sys
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[1]
LIST = REPOSITORY / "docs" / "compatibility.md"

UNIT_TEST = re.compile(r"^(?:TYPED_)?TEST(?:_[FP])?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)
END_TO_END_TEST = re.compile(r"^    def (test_\w+)\(", re.MULTILINE)
# A list of numbers may run over the end of a comment's line.
REFERENCE = re.compile(r"docs/compatibility\.md,((?:(?:\s|/|#|\*|,|and|to)*\b\d+\b)+)")


def known_tests() -> set[str]:
    """All tests, by the names that the list uses."""
    tests = REPOSITORY / "tests"
    names = set()
    for path in tests.rglob("*.cpp"):
        names |= {".".join(match) for match in UNIT_TEST.findall(path.read_text("utf-8"))}
    for path in tests.rglob("test_*.py"):
        names |= {f"{path.name}: {name}" for name in END_TO_END_TEST.findall(path.read_text("utf-8"))}
    return names


def references(path: Path) -> set[int]:
    """The numbers of the list that a file refers to."""
    found = REFERENCE.findall(path.read_text("utf-8"))
    return {int(number) for numbers in found for number in re.findall(r"\d+", numbers)}


def rows() -> list[list[str]]:
    """The cells of each numbered row."""
    lines = [line.strip().strip("|").split(" | ") for line in LIST.read_text("utf-8").splitlines()]
    return [[cell.strip() for cell in cells] for cells in lines if cells[0].strip().isdigit()]


def faults() -> list[str]:
    """What does not fit, a line each."""
    tests = known_tests()
    found = []
    for expected, cells in enumerate(rows(), 1):
        if len(cells) != 5 or int(cells[0]) != expected:
            found.append(f"row {expected}: number {cells[0]}, {len(cells)} cells")
            continue
        file = REPOSITORY / cells[3]
        if not file.is_file():
            found.append(f"{expected}: no file {cells[3]}")
        elif expected not in references(file):
            found.append(f"{expected}: {cells[3]} does not refer to it")
        found += [f"{expected}: no test {name}" for name in cells[4].split(", ")
                  if name not in tests]
    return found or ([] if rows() else ["no rows"])


def main() -> int:
    """The exit code."""
    found = faults()
    for fault in found:
        print(f"docs/compatibility.md: {fault}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
