"""Reads the documents of the repository: the text, the links and the blocks of its Markdown files."""

from __future__ import annotations

import functools
import re
import subprocess
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]

FENCE = re.compile(r"^( *)```(.*)$")
HEADING = re.compile(r"^#+ +(.*)$")
LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")


@dataclass(frozen=True)
class Block:
    """A fenced block of a document, without its fences and its indentation."""

    document: str
    line: int
    language: str
    text: str

    @property
    def key(self) -> tuple[str, str]:
        """What names it in a list: its document and its first line."""
        return self.document, self.text.partition("\n")[0]

    def __str__(self) -> str:
        return f"{self.document}:{self.line}"


@functools.cache
def files() -> frozenset[str]:
    """All files of the repository, new ones too."""
    done = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=REPOSITORY,
        capture_output=True, text=True, check=True)
    return frozenset(name for name in done.stdout.split("\0") if (REPOSITORY / name).is_file())


def documents() -> list[str]:
    """The paths of all documents."""
    return sorted(name for name in files() if name.endswith(".md"))


def read(name: str) -> str:
    """A file of the repository."""
    return (REPOSITORY / name).read_text("utf-8")


@functools.cache
def parts(document: str) -> tuple[str, tuple[Block, ...]]:
    """A document's text with an empty line in place of each line of a block, and its blocks."""
    prose: list[str] = []
    blocks: list[Block] = []
    opened: tuple[int, str, str] | None = None
    inside: list[str] = []
    for number, line in enumerate(read(document).splitlines(), 1):
        fence = FENCE.match(line)
        if fence and opened is None:
            opened, inside = (number, *fence.groups()), []
        elif fence and opened is not None:
            blocks.append(Block(document, opened[0], opened[2].strip(), "\n".join(inside) + "\n"))
            opened = None
        elif opened is not None:
            inside.append(line.removeprefix(opened[1]))
        prose.append("" if fence or opened is not None else line)
    if opened is not None:
        raise AssertionError(f"{document}:{opened[0]}: the block has no end")
    return "\n".join(prose), tuple(blocks)


def prose(document: str) -> str:
    """A document without its blocks."""
    return parts(document)[0]


def blocks(document: str) -> tuple[Block, ...]:
    """A document's fenced blocks."""
    return parts(document)[1]


def section(document: str, heading: str) -> str:
    """The text under a heading, up to the next one."""
    _, _, rest = read(document).partition(f"# {heading}\n")
    if not rest:
        raise AssertionError(f"{document} has no section {heading!r}")
    return re.split(r"^#+ ", rest, maxsplit=1, flags=re.MULTILINE)[0]


def table(text: str) -> list[list[str]]:
    """The rows of the tables in a text, as cells."""
    lines = [line.strip() for line in text.splitlines() if line.strip().startswith("|")]
    rows = [[cell.strip() for cell in line[1:-1].split("|")] for line in lines]
    return [row for row in rows if not set("".join(row)) <= set("-| ")]


def quoted(text: str) -> list[str]:
    """What is between backticks."""
    return re.findall(r"`([^`\n]+)`", text)


def anchors(document: str) -> set[str]:
    """The anchors of a document's headings, as hosting sites make them."""
    seen: Counter[str] = Counter()
    found = set()
    for line in prose(document).splitlines():
        if heading := HEADING.match(line):
            text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading[1])
            slug = re.sub(r"[^\w\- ]", "", text.strip().lower()).replace(" ", "-")
            found.add(f"{slug}-{seen[slug]}" if seen[slug] else slug)
            seen[slug] += 1
    return found


def links(document: str) -> list[str]:
    """The targets of a document's links and pictures."""
    return LINK.findall(prose(document))
