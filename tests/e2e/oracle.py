"""A second, plain implementation of `log_handle`, for tests with random input.

From the bytes of the logs, of the previous report and of the settings it derives the exact bytes of
the next report. It shares no code with the program.

It lacks what no report of the tests holds: byte-order marks, declarations that name an encoding,
CDATA, comments before a text, attributes without quotes, and text that code page 1252 cannot hold.
"""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator, Sequence
from dataclasses import dataclass, field

import documents

# A line is read into a buffer of 1,024 bytes that always keeps a NUL at its end.
LINE_LIMIT = 1023
PREFIX_LENGTH = 23
COMMAND_KEYWORD = b"Command = "
OPEN_KEYWORD = b"OnOpenDocument"
SAVE_KEYWORD = b"OnSaveDocument"

UINT32 = 1 << 32
UINT64 = 1 << 64

# The whitespace of the C locale.
WHITE = b" \t\n\v\f\r"

# Code page 1252 with its five holes filled as Windows fills them, by C1 controls.
HOLES = b"\x81\x8d\x8f\x90\x9d"
_TO_TEXT = [
    chr(byte) if byte in HOLES else bytes([byte]).decode("cp1252") for byte in range(256)
]
_TO_BYTE = {character: byte for byte, character in enumerate(_TO_TEXT)}


def decode(data: bytes) -> str:
    """ANSI bytes as wide text; every byte has its own character."""
    return "".join(_TO_TEXT[byte] for byte in data)


def encode(text: str) -> bytes:
    """Wide text as ANSI bytes."""
    return bytes(_TO_BYTE[character] for character in text)


def ordinal(text: str) -> bytes:
    """Sort key of an ordinal comparison of wide strings."""
    return text.encode("utf-16-be", "surrogatepass")


# --- Log grammar ----------------------------------------------------------------------------


@dataclass(frozen=True)
class Event:
    """One usage event: `key` is the command's name or the document's file type."""

    kind: str
    key: str


def is_log_name(name: str) -> bool:
    """Whether the log folder's pattern finds the file.

    The match ignores case and is tried on the short name too, whose extension is the first three
    characters of the long one.
    """
    _, dot, extension = name.rpartition(".")
    return bool(dot) and extension.lower().startswith("log")


def reading_order(names: Iterable[str]) -> list[str]:
    """The order in which Wine's file system lists names: by their upper-case letters."""

    def upper(name: str) -> bytes:
        return b"".join(ordinal(c.upper() if len(c.upper()) == 1 else c) for c in name)

    return sorted(names, key=lambda name: (upper(name), ordinal(name)))


def text_mode(data: bytes) -> bytes:
    """What a text-mode stream delivers of a file."""
    data = data.split(b"\x1a", 1)[0]
    return data.replace(b"\r\n", b"\n")


def read_lines(data: bytes) -> list[bytes]:
    """The successive line buffers up to the first failed read, each as C text."""
    lines: list[bytes] = []
    rest = text_mode(data)
    while rest:
        line, _, rest = rest.partition(b"\n")
        lines.append(line[:LINE_LIMIT].split(b"\0", 1)[0])
        if len(line) > LINE_LIMIT:
            break
    return lines


def extension(path: bytes) -> bytes:
    """The last dot after the last backslash or space, with what follows it."""
    tail = re.split(rb"[\\ ]", path)[-1]
    dot = tail.rfind(b".")
    return tail[dot:] if dot >= 0 else b""


def read_events(data: bytes) -> Iterator[Event]:
    """The events of one log that are counted."""
    lines = iter(read_lines(data))
    for line in lines:
        if line == b"":
            return
        rest = line[PREFIX_LENGTH:]
        if rest.startswith(COMMAND_KEYWORD):
            name = rest[len(COMMAND_KEYWORD):]
            if name:
                yield Event("command", decode(name))
        elif rest.startswith((OPEN_KEYWORD, SAVE_KEYWORD)):
            path_line = next(lines, b"")
            if len(path_line) >= PREFIX_LENGTH:
                kind = "open" if rest.startswith(OPEN_KEYWORD) else "save"
                yield Event(kind, decode(extension(path_line[PREFIX_LENGTH:])))


# --- Reading a report -----------------------------------------------------------------------


class Malformed(Exception):
    """The document does not parse."""


@dataclass
class Element:
    """One element; text children are bytes."""

    name: bytes
    attributes: dict[bytes, bytes] = field(default_factory=dict)
    children: list[Element | bytes] = field(default_factory=list)

    def elements(self, name: str) -> list[Element]:
        """The child elements of that name."""
        tag = name.encode("ascii")
        return [c for c in self.children if isinstance(c, Element) and c.name == tag]

    def descend(self, *names: str) -> Element | None:
        """The first element along a path of names."""
        current: Element | None = self
        for name in names:
            found = current.elements(name) if current is not None else []
            current = found[0] if found else None
        return current

    def attribute(self, name: str) -> bytes | None:
        """An attribute's value as C text, None when it is missing."""
        value = self.attributes.get(name.encode("ascii"))
        return None if value is None else value.split(b"\0", 1)[0]

    def text(self) -> bytes | None:
        """The C text that the element begins with, None when there is none."""
        first = self.children[0] if self.children else None
        return first.split(b"\0", 1)[0] if isinstance(first, bytes) else None


class Parser:
    """Parses a report as the program's XML library does."""

    ENTITIES = (
        (b"&amp;", b"&"),
        (b"&lt;", b"<"),
        (b"&gt;", b">"),
        (b"&quot;", b'"'),
        (b"&apos;", b"'"),
    )

    def __init__(self, data: bytes) -> None:
        # The document is C text, and every kind of line end in it becomes a line feed.
        data = data.split(b"\0", 1)[0]
        self._data = data.replace(b"\r\n", b"\n").replace(b"\r", b"\n")
        self._at = 0

    def document(self) -> list[Element]:
        """The elements at the top of the document."""
        roots: list[Element] = []
        while self._skip_white() and self._looking_at(b"<"):
            node = self._node()
            if node is not None:
                roots.append(node)
        return roots

    def _ended(self) -> bool:
        return self._at >= len(self._data)

    def _looking_at(self, text: bytes) -> bool:
        return self._data.startswith(text, self._at)

    def _must_go_on(self) -> None:
        if self._ended():
            raise Malformed

    def _skip_white(self) -> bool:
        """Skips whitespace; false at the end of the document."""
        while not self._ended() and self._data[self._at] in WHITE:
            self._at += 1
        return not self._ended()

    def _skip_past(self, text: bytes) -> None:
        found = self._data.find(text, self._at)
        if found < 0:
            raise Malformed
        self._at = found + len(text)

    def _node(self) -> Element | None:
        """An element, or None for what is not one (comments and the like)."""
        if self._looking_at(b"<!--"):
            self._skip_past(b"-->")
            return None
        following = self._data[self._at + 1 : self._at + 2]
        if following.isalpha() or following == b"_" or following >= b"\x7f":
            return self._element()
        self._skip_past(b">")
        return None

    def _name(self) -> bytes:
        begin = self._at
        while not self._ended():
            byte = self._data[self._at : self._at + 1]
            starts = byte.isalpha() or byte == b"_" or byte >= b"\x7f"
            if not starts and (self._at == begin or not (byte.isdigit() or byte in b"-.:")):
                break
            self._at += 1
        if self._at == begin:
            raise Malformed
        self._must_go_on()
        return self._data[begin : self._at]

    def _element(self) -> Element:
        self._at += 1
        self._skip_white()
        element = Element(self._name())
        while True:
            if not self._skip_white():
                raise Malformed
            if self._looking_at(b"/"):
                if not self._looking_at(b"/>"):
                    raise Malformed
                self._at += 2
                return element
            if self._looking_at(b">"):
                self._at += 1
                self._content(element)
                return element
            self._attribute(element)

    def _content(self, element: Element) -> None:
        """Text and elements up to the end tag, and the end tag."""
        while self._skip_white():
            if self._looking_at(b"</"):
                if not self._looking_at(b"</" + element.name):
                    raise Malformed
                self._at += 2 + len(element.name)
                if not self._skip_white() or not self._looking_at(b">"):
                    raise Malformed
                self._at += 1
                return
            if self._looking_at(b"<"):
                node = self._node()
                if node is not None:
                    element.children.append(node)
            else:
                text = self._text()
                if text.strip(WHITE):
                    element.children.append(text)
        raise Malformed

    def _text(self) -> bytes:
        """Condensed text: whitespace at its ends goes, a run of it inside becomes one space."""
        text = bytearray()
        while not self._looking_at(b"<"):
            before = self._at
            if not self._skip_white():
                raise Malformed
            if self._looking_at(b"<"):
                break
            if self._at > before:
                text += b" "
            text += self._character()
            self._must_go_on()
        return bytes(text)

    def _attribute(self, element: Element) -> None:
        name = self._name()
        if not self._skip_white() or not self._looking_at(b"="):
            raise Malformed
        self._at += 1
        if not self._skip_white():
            raise Malformed
        quote = self._data[self._at : self._at + 1]
        if quote not in (b'"', b"'"):
            raise NotImplementedError("an attribute without quotes")
        self._at += 1
        value = bytearray()
        while not self._looking_at(quote):
            self._must_go_on()
            value += self._character()
        self._at += 1
        self._must_go_on()
        if name in element.attributes:
            raise Malformed
        element.attributes[name] = bytes(value)

    def _character(self) -> bytes:
        """One character, an entity or a reference resolved."""
        if self._looking_at(b"&"):
            if self._looking_at(b"&#") and self._at + 2 < len(self._data):
                return self._reference()
            for name, character in self.ENTITIES:
                if self._looking_at(name):
                    self._at += len(name)
                    return character
            # An ampersand that begins nothing known vanishes.
            self._at += 1
            return b""
        self._at += 1
        return self._data[self._at - 1 : self._at]

    def _reference(self) -> bytes:
        """A numeric reference; its digits are read backwards, from the next semicolon on."""
        end = self._data.find(b";", self._at + 2)
        if end < 0:
            raise Malformed
        mark, base = (b"x", 16) if self._looking_at(b"&#x") else (b"#", 10)
        digits = self._data[self._data.rfind(mark, self._at, end) + 1 : end]
        if not all(byte in b"0123456789abcdefABCDEF"[: 10 if base == 10 else None]
                   for byte in digits):
            raise Malformed
        self._at = end + 1
        return bytes([int(digits or b"0", base) & 0xFF])


def parse_report(data: bytes) -> Element | None:
    """The report's root element, None when the load of the report fails."""
    try:
        roots = Parser(data).document()
    except Malformed:
        return None
    return next((root for root in roots if root.name == b"PeltoRpt"), None)


def leading_number(text: bytes) -> int:
    """The decimal number that a text begins with, 0 when it begins with none."""
    match = re.match(rb"[ \t\n\v\f\r]*([+-]?[0-9]+)", text)
    return int(match.group(1)) if match else 0


def parse_number(text: bytes, bits: int) -> int:
    """The number that a text begins with: signed, stopped at the limits of its bits, and then seen
    as unsigned."""
    limit = 1 << (bits - 1)
    return min(max(leading_number(text), -limit), limit - 1) % (1 << bits)


# --- Statistics -----------------------------------------------------------------------------


class Statistics:
    """Everything that one run holds in memory between the load and the save."""

    def __init__(self) -> None:
        self.commands: dict[str, tuple[int, int]] = {}
        self.last_order = 0
        self.file_types: dict[str, tuple[int, int]] = {}
        self.properties: dict[tuple[str, str], str] = {}

    def _next_order(self) -> int:
        self.last_order = (self.last_order + 1) % UINT32
        return self.last_order

    def count(self, event: Event) -> None:
        """Counts one event of a log."""
        if event.kind == "command":
            if event.key in self.commands:
                order, count = self.commands[event.key]
                self.commands[event.key] = (order or self._next_order(), (count + 1) % UINT64)
            else:
                self.commands[event.key] = (self._next_order(), 1)
        elif event.kind == "open":
            self.merge_file_type(event.key, 1, 0)
        else:
            self.merge_file_type(event.key, 0, 1)

    def merge_command(self, name: str, order: int, count: int) -> None:
        """Takes over a command of the report; the first of two equal names stays."""
        if name not in self.commands:
            self.last_order = max(self.last_order, order)
            self.commands[name] = (order, count)

    def merge_file_type(self, name: str, opened: int, saved: int) -> None:
        """Takes over a file type of the report; equal names are added up."""
        old_opened, old_saved = self.file_types.get(name, (0, 0))
        self.file_types[name] = ((old_opened + opened) % UINT64, (old_saved + saved) % UINT64)

    def load(self, report: bytes) -> bool:
        """Merges a report; one that does not parse changes nothing."""
        root = parse_report(report)
        if root is None:
            return False
        cmds = root.descend("cmd_stat", "cmds")
        for cmd in cmds.elements("cmd") if cmds else []:
            name, order, count = map(cmd.attribute, ("name", "id", "count"))
            if name is not None and order is not None and count is not None:
                self.merge_command(decode(name), parse_number(order, 32), parse_number(count, 64))
        run_tools = root.descend("counter", "run_tools")
        for tool in run_tools.elements("run_tool") if run_tools else []:
            name, count = map(tool.attribute, ("name", "count"))
            if name is not None and count is not None:
                self.merge_command(decode(name), 0, parse_number(count, 64))
        ftypes = root.descend("ftype_stat", "ftypes")
        for ftype in ftypes.elements("ftype") if ftypes else []:
            name, opened, saved = map(ftype.attribute, ("name", "ocnt", "scnt"))
            if name is not None:
                self.merge_file_type(
                    decode(name), parse_number(opened or b"", 64), parse_number(saved or b"", 64)
                )
        sys_info = root.descend("sys_info")
        for prop in sys_info.elements("prop") if sys_info else []:
            name, category, text = prop.attribute("name"), prop.attribute("cat"), prop.text()
            if name is not None and category is not None and text is not None:
                self.properties[decode(name), decode(category)] = decode(text)
        return True


# --- Writing a report -----------------------------------------------------------------------


def escape(text: str) -> str:
    """Wide text as it is printed; each character of the result is a byte of the code page."""
    named = {"&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;", "'": "&apos;"}
    return "".join(
        named.get(byte, f"&#x{ord(byte):02X};" if byte < " " else byte)
        for byte in encode(text).decode("latin-1")
    )


def attributes(**values: object) -> str:
    """Attributes as printed; a value that holds a double quote is in single quotes."""
    texts = {name: str(value) for name, value in values.items()}
    quotes = {name: "'" if '"' in text else '"' for name, text in texts.items()}
    return "".join(
        f" {name}={quotes[name]}{escape(text)}{quotes[name]}" for name, text in texts.items()
    )


def render(statistics: Statistics, identifier: str, email: str) -> bytes:
    """The report's bytes on the disk."""
    commands = sorted(statistics.commands.items(), key=lambda item: ordinal(item[0]))
    file_types = sorted(statistics.file_types.items(), key=lambda item: ordinal(item[0]))
    properties = sorted(
        statistics.properties.items(),
        key=lambda item: (ordinal(item[0][0] + item[0][1]), ordinal(item[0][0])),
    )
    return documents.report(
        *(f"<cmd{attributes(id=order, name=name, count=count)} />"
          for name, (order, count) in commands),
        *(f"<ftype{attributes(name=name, ocnt=opens, scnt=saves)} />"
          for name, (opens, saves) in file_types),
        *(f"<prop{attributes(name=name, cat=category)}>{escape(text)}</prop>"
          for (name, category), text in properties),
        identifier=escape(identifier),
        email=escape(email),
    )


def setting(value: str) -> str:
    """A text of the settings file as the program reads it."""
    return value[:1023].replace("\\n", "\n")


@dataclass(frozen=True)
class Result:
    """The report that a run should leave, whether it loaded one, and the events that it counted."""

    report: bytes
    loaded: bool
    events: tuple[Event, ...]


def log_handle(previous: bytes, logs: Sequence[bytes], identifier: str, email: str) -> Result:
    """One `log_handle` run of a user who takes part, over logs in their reading order."""
    statistics = Statistics()
    loaded = statistics.load(previous)
    events = tuple(event for log in logs for event in read_events(log))
    for event in events:
        statistics.count(event)
    return Result(render(statistics, setting(identifier), setting(email)), loaded, events)
