"""A second, deliberately simple implementation of the `log_handle` job.

From the bytes of the logs, of the previous report and of the settings it derives the exact bytes
of the next report, so that the program can be compared with it on any input. It shares nothing
with the program and cares for plainness, not speed.

Left out on purpose, because the program never meets them in a report of its own: byte-order
marks, declarations that name an encoding, CDATA, comments before a text, attributes without
quotes, and text that code page 1252 cannot hold.
"""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator, Sequence
from dataclasses import dataclass, field

# A line is read into a buffer of 1,024 bytes that always keeps a NUL at its end.
LINE_LIMIT = 1023
PREFIX_LENGTH = 23
COMMAND_KEYWORD = b"Command = "
OPEN_KEYWORD = b"OnOpenDocument"
SAVE_KEYWORD = b"OnSaveDocument"

UINT32 = 1 << 32
UINT64 = 1 << 64
INT32_MAX = (1 << 31) - 1
INT32_MIN = -(1 << 31)
INT64_MAX = (1 << 63) - 1
INT64_MIN = -(1 << 63)

# What isspace answers in the C locale.
WHITE = b" \t\n\v\f\r"


# --- Code page ------------------------------------------------------------------------------


def _decoding_table() -> list[str]:
    """Code page 1252 with its five holes filled as Windows fills them, by C1 controls."""
    table = []
    for byte in range(256):
        try:
            table.append(bytes([byte]).decode("cp1252"))
        except UnicodeDecodeError:
            table.append(chr(byte))
    return table


_TO_TEXT = _decoding_table()
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
    """The order in which Wine's file system hands out names: by their upper-case letters."""

    def upper(name: str) -> bytes:
        return b"".join(
            ordinal(c.upper() if len(c.upper()) == 1 else c) for c in name
        )

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
    """The last dot after the last backslash or blank, with what follows it."""
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
        wanted = name.encode("ascii")
        return [c for c in self.children if isinstance(c, Element) and c.name == wanted]

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
    """Parses a report the way the program's XML library does."""

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
        """Skips white space; false at the end of the document."""
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
        """Condensed text: white space at its ends goes, a run inside becomes one blank."""
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


def parse_order(text: bytes) -> int:
    """A command's order number: signed 32 bits that stop at their limits, seen as unsigned."""
    return min(max(leading_number(text), INT32_MIN), INT32_MAX) % UINT32


def parse_count(text: bytes) -> int:
    """A count: signed 64 bits that stop at their limits, seen as unsigned."""
    return min(max(leading_number(text), INT64_MIN), INT64_MAX) % UINT64


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
                self.merge_command(decode(name), parse_order(order), parse_count(count))
        run_tools = root.descend("counter", "run_tools")
        for tool in run_tools.elements("run_tool") if run_tools else []:
            name, count = map(tool.attribute, ("name", "count"))
            if name is not None and count is not None:
                self.merge_command(decode(name), 0, parse_count(count))
        ftypes = root.descend("ftype_stat", "ftypes")
        for ftype in ftypes.elements("ftype") if ftypes else []:
            name, opened, saved = map(ftype.attribute, ("name", "ocnt", "scnt"))
            if name is not None:
                self.merge_file_type(
                    decode(name), parse_count(opened or b""), parse_count(saved or b"")
                )
        sys_info = root.descend("sys_info")
        for prop in sys_info.elements("prop") if sys_info else []:
            name, category, text = prop.attribute("name"), prop.attribute("cat"), prop.text()
            if name is not None and category is not None and text is not None:
                self.properties[decode(name), decode(category)] = decode(text)
        return True


# --- Writing a report -----------------------------------------------------------------------


def escape(text: bytes) -> bytes:
    """The printer's escaping; what looks like a reference is text like any other."""
    named = {ord("&"): b"&amp;", ord("<"): b"&lt;", ord(">"): b"&gt;",
             ord('"'): b"&quot;", ord("'"): b"&apos;"}
    return b"".join(
        named.get(byte, b"&#x%02X;" % byte if byte < 32 else bytes([byte])) for byte in text
    )


def attributes(**values: object) -> bytes:
    """Attributes as printed; a value that holds a double quote stands in single quotes."""
    out = b""
    for name, value in values.items():
        data = encode(str(value))
        quote = b"'" if b'"' in data else b'"'
        out += b" " + name.encode("ascii") + b"=" + quote + escape(data) + quote
    return out


def _block(depth: int, name: bytes, rows: Sequence[bytes]) -> list[bytes]:
    """An element around rows that are indented already."""
    indent = b"    " * depth
    if not rows:
        return [indent + b"<" + name + b" />"]
    return [indent + b"<" + name + b">", *rows, indent + b"</" + name + b">"]


def _prop(text: str, **values: str) -> bytes:
    return b"        <prop" + attributes(**values) + b">" + escape(encode(text)) + b"</prop>"


def render(statistics: Statistics, identifier: str, email: str) -> bytes:
    """The report's bytes as they lie on the disk."""
    row = b"    " * 3
    commands = [
        row + b"<cmd" + attributes(id=order, name=name, count=count) + b" />"
        for name, (order, count) in sorted(
            statistics.commands.items(), key=lambda item: ordinal(item[0])
        )
    ]
    file_types = [
        row + b"<ftype" + attributes(name=name, ocnt=opened, scnt=saved) + b" />"
        for name, (opened, saved) in sorted(
            statistics.file_types.items(), key=lambda item: ordinal(item[0])
        )
    ]
    properties = [
        _prop(text, name=name, cat=category)
        for (name, category), text in sorted(
            statistics.properties.items(),
            key=lambda item: (ordinal(item[0][0] + item[0][1]), ordinal(item[0][0])),
        )
    ]
    lines = [
        b"<PeltoRpt>",
        *_block(1, b"cmd_stat", _block(2, b"cmds", commands)),
        *_block(1, b"ftype_stat", _block(2, b"ftypes", file_types)),
        *_block(1, b"sys_info", [*properties, _prop(identifier, name="ID")]),
        *_block(1, b"app_info", []),
        *(_block(1, b"cust_info", [_prop(email, name="Email")]) if email else []),
        b"</PeltoRpt>",
    ]
    return b"".join(line + b"\n" for line in lines).replace(b"\n", b"\r\n")


def setting(value: str) -> str:
    """A text of the settings file as the program sees it."""
    return value[:1023].replace("\\n", "\n")


@dataclass(frozen=True)
class Result:
    """What one run is expected to leave behind."""

    report: bytes
    loaded: bool
    events: tuple[Event, ...]


def harvest(previous: bytes, logs: Sequence[bytes], identifier: str, email: str) -> Result:
    """One `log_handle` run of a user who takes part, over logs in their reading order."""
    statistics = Statistics()
    loaded = statistics.load(previous)
    events = tuple(event for log in logs for event in read_events(log))
    for event in events:
        statistics.count(event)
    return Result(render(statistics, setting(identifier), setting(email)), loaded, events)
