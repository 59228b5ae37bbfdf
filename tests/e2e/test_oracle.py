"""Compares the program with the oracle on random folders, byte for byte.

PELTO_ORACLE_FOLDERS sets the number of folders and PELTO_ORACLE_SEED the first folder's seed;
the folder with number n uses the seed PELTO_ORACLE_SEED + n. A failure prints the seed of its
folder: with that seed and PELTO_ORACLE_FOLDERS=1 the folder comes back alone.
"""

from __future__ import annotations

import os
import random
import re
import sys
import time
import unittest
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field

import documents
import harness
import oracle
from harness import ProgramTest

FOLDERS = int(os.environ.get("PELTO_ORACLE_FOLDERS", "600"))
SEED = int(os.environ.get("PELTO_ORACLE_SEED", "20240305"))
RUNS = 2
SHOWN_FAILURES = 5


# --- The generator --------------------------------------------------------------------------


@dataclass
class Folder:
    """One random test: settings, first report, and what every run finds in the log folder."""

    identifier: str | None
    report: bytes | None
    emails: list[str]
    files: list[dict[str, bytes]]
    read_only: set[str] = field(default_factory=set)
    folders: set[str] = field(default_factory=set)


PLAIN_NAMES = (
    b"Extrude", b"extrude", b"EXTRUDE", b"Fillet", b"Chamfer", b"Trim Curve", b"Mirror 3D",
    b"Undo", b"Redo", b"Zoom.Fit", b"A", b"a", b"B", b"_", b"Z", b"0", b"!",
)
ODD_NAMES = (
    b" Extrude", b"  Extrude", b"Extrude ", b"\tExtrude", b" ", b"  ", b"\xa0", b"K\xf6rper",
    b"\xc4nderung", b"\x80uro", b"\xff", b"\x81\x8d\x8f\x90\x9d", b"\x9f\x8a\x8e", b"\x7f",
    b"\x01", b"\x08\x0b\x0c\x1f", b"a\x02b", b"a & b", b"<b>", b"</cmds>", b"a\"b", b"a'b",
    b"'\"'", b"&amp;", b"&lt;", b"&", b"&&", b"&#65;", b"&#", b"]]>", b"<!--", b"%s%n%u", b"\\n",
    b"Command = ", b"OnOpenDocument", b"count=\"7\"", b"Stra\xdfe", b"\xb2\xb3\xb9",
)
# What a printer might take for a reference, and a parser then for something else.
REFERENCE_NAMES = (
    b"&#x41;", b"x&#x41;y", b"&#xE4;", b"&#x26;", b"&#x22;\"", b"&#x3C;<", b"&#x41;\"'",
    b"&#x20;", b"a&#x9;b", b"&#x0A;", b"&#x141;", b"&#x41;&#x42;", b"&#x41;&amp;", b"&#x;",
    b"&#x0;", b"&#x", b"&#x41", b"&#xZZ;", b"&#x\"", b"&#x<b>", b"&#x'\"", b"a&#x41<",
    b"&#x 41;", b"&#x\x01;", b"&#x'x41;\"", b"&#x..x41;", b"&#x\r;",
)
EXTENSIONS = (
    b".prt", b".PRT", b".Prt", b".asm", b".dwg", b".d", b".", b"", b".tar.gz", b".x_t", b".\xe4",
    b".\x80", b".a&b", b".<\">", b".it's", b".\x01", b".&#x41;", b". prt", b".prt ",
    b".b/c", b".b\\c", b".b:c", b"..", b"...x", b".log",
)
DIRECTORIES = (
    b"C:\\Users\\me\\", b"C:\\My Documents\\", b"\\\\server\\share\\", b"D:/data/", b"", b".\\",
    b"..\\", b"C:\\a.b\\", b"C:\\a.b c\\", b"C:/a.b/", b"C:", b"\xc4\xd6\xdc\\", b"\x81\\", b" ",
)
STEMS = (
    b"part", b"Base plate 1", b"a.b", b"my.old.part", b"", b"K\xf6rper", b"x&y", b"'q'", b"\x05",
    b"v1.2", b"noext", b".hidden", b"end.",
)
LENGTHS = (0, 1, 22, 23, 24, 32, 33, 34, 36, 37, 38, 1022, 1023, 1024, 1025, 3000)
STAMPS = (b"2024-03-05 14:07:09.123", b"[00:00:00] main thread ", b"                       ")
NEAR_MISSES = (
    b"command = X", b"COMMAND = X", b"Command= X", b"Command =X", b"Command =", b"Command  = X",
    b" Command = X", b"Command=X", b"Commands = X", b"OnopenDocument", b"onOpenDocument",
    b"OnOpenDocumen", b"OnOpen Document", b"OnSavedocument", b"ONSAVEDOCUMENT", b" OnSaveDocument",
    b"OnSaveDocumen", b"OnCloseDocument", b"Info: started", b"x",
)
OPENERS = (
    b"OnOpenDocument", b"OnOpenDocumentEx", b"OnOpenDocument ", b"OnOpenDocument.abc",
    b"OnSaveDocument", b"OnSaveDocumentAs", b"OnSaveDocument: 3", b"OnSaveDocument\\.zip",
)
LOG_NAMES = (
    "a.log", "B.log", "b1.LOG", "c.Log", "D d.log", "e_1.log", "e1.log", "e-1.log", "F.x.log",
    "10.log", "9.log", "host.exe.log", "~.log", "[z].log", "Z.log", "\u00e9.log", "\u65e5.log",
    ".log", "session 2024-03-05.log", "x.log1",
)
BYSTANDER_NAMES = ("notes.txt", "a.lo", "log", "a.log.bak", "a.loh", "b.txt", "c.glog", "readme")
EMAILS = (
    "", "", "a@b.c", "me@example.org", "m\u00fcller@b\u00fccher.example", "a\\nb@c.d",
    "<a&b>@\"c'.d", "x&#x41;@y.z", "\u20ac@\u0153.example", "two  spaces@x.y", "a@b\\n",
    "100%s@x.y",
)


class Generator:
    """Makes everything of one folder from one seed."""

    def __init__(self, seed: int) -> None:
        self.rng = random.Random(seed)
        pool = list(PLAIN_NAMES) + list(ODD_NAMES)
        if self.chance(0.3):
            pool += REFERENCE_NAMES
        self.names = [self.name(pool) for _ in range(self.rng.randint(2, 14))]
        # How often a line has something that ends the log early.
        self.hazard = self.rng.choice((0.0, 0.0, 0.005, 0.01, 0.03, 0.1))

    def chance(self, probability: float) -> bool:
        """True with the given probability."""
        return self.rng.random() < probability

    def noise(self, length: int) -> bytes:
        """Bytes of any value but those that end a line, a text or a file."""
        allowed = [b for b in range(256) if b not in (0x00, 0x0A, 0x0D, 0x1A)]
        return bytes(self.rng.choice(allowed) for _ in range(length))

    def name(self, pool: list[bytes]) -> bytes:
        """A command's name."""
        kind = self.rng.random()
        if kind < 0.8:
            return self.rng.choice(pool)
        if kind < 0.9:
            return self.noise(self.rng.randint(1, 12))
        glue = self.rng.choice((b" ", b".", b"\xdf"))
        return self.rng.choice(pool) + glue + self.rng.choice(pool)

    def prefix(self) -> bytes:
        """What precedes a keyword: 23 bytes, seldom one more or less."""
        kind = self.rng.random()
        prefix = self.rng.choice(STAMPS) if kind < 0.8 else self.noise(oracle.PREFIX_LENGTH)
        shift = self.rng.random()
        if shift < 0.03:
            return prefix[:-1]
        if shift < 0.06:
            return prefix + b" "
        if shift < 0.07:
            return prefix[:10] + b"\r" + prefix[11:]
        return prefix

    def path(self) -> bytes:
        """A document's path."""
        rng = self.rng
        if self.chance(0.05):
            return self.noise(rng.randint(0, 20)) + b"." + self.noise(rng.randint(0, 4))
        return rng.choice(DIRECTORIES) + rng.choice(STEMS) + rng.choice(EXTENSIONS)

    def fitted(self, line: bytes) -> bytes:
        """The line cut or filled up to a length at which the reading changes."""
        length = self.rng.choice(LENGTHS if self.chance(self.hazard * 5) else LENGTHS[1:13])
        filler = self.rng.choice((b"x", b" ", b".", b"Command = ", b"\xe4"))
        return (line + filler * length)[:length]

    def damaged(self, line: bytes) -> bytes:
        """The line with a byte in it that the stream or C text treats specially."""
        at = self.rng.choice((0, self.rng.randint(0, len(line)), len(line)))
        byte = self.rng.choice((b"\0", b"\0", b"\x1a", b"\r", b"\r", b"\r\r"))
        return line[:at] + byte + line[at:]

    def event_line(self) -> bytes:
        """A line that mostly has an event's keyword."""
        kind = self.rng.random()
        if kind < 0.6:
            rest = oracle.COMMAND_KEYWORD + self.rng.choice(self.names)
        elif kind < 0.68:
            rest = self.rng.choice(NEAR_MISSES)
        elif kind < 0.72:
            rest = oracle.COMMAND_KEYWORD + self.rng.choice((b"", b"", b" "))
        else:
            rest = self.rng.choice(OPENERS)
        return self.prefix() + rest

    def path_line(self) -> bytes | None:
        """The line after a document line; None for no such line."""
        kind = self.rng.random()
        if kind < 0.70:
            return self.prefix() + self.path()
        if kind < 0.76:
            return b""
        if kind < 0.82:
            return (self.prefix() + self.path())[: self.rng.randint(1, 24)]
        if kind < 0.88:
            return self.fitted(self.prefix() + self.path())
        return None

    def lines(self, count: int) -> list[bytes]:
        """The lines of one log, without their ends."""
        lines: list[bytes] = []
        while len(lines) < count:
            line = self.event_line()
            opener = any(word in line for word in (b"OnOpenD", b"OnSaveD"))
            if self.chance(0.04):
                line = self.fitted(line)
                if self.chance(0.2):
                    line = self.damaged(line)
            if self.chance(self.hazard):
                line = self.damaged(line)
            if self.chance(self.hazard):
                lines.append(b"")
            lines.append(line)
            if opener and (path := self.path_line()) is not None:
                lines.append(self.damaged(path) if self.chance(self.hazard) else path)
        return lines

    def log(self) -> bytes:
        """The bytes of one log."""
        rng = self.rng
        size = rng.random()
        if size < 0.05:
            return rng.choice((b"", b"\n", b"\r\n", b"\r", b"\0", b"\x1a", b"x", b"\r\r\n"))
        count = rng.randint(1, 12) if size < 0.7 else rng.randint(10, 60)
        if size > 0.98:
            count = rng.randint(300, 900)
        usual = rng.choice((b"\r\n", b"\r\n", b"\n"))
        out = bytearray()
        for line in self.lines(count):
            end = usual
            if self.chance(self.hazard):
                end = rng.choice((b"\r\n", b"\n", b"\r", b"\r\r\n", b"\n\r", b"\n\n", b"\r\n\r\n"))
            out += line + end
        if self.chance(0.3):
            del out[-len(usual) :]
        return bytes(out)

    def log_folder(self) -> dict[str, bytes]:
        """Up to a dozen logs, so that one start of the program reads many."""
        count = self.rng.choice((0, 1, 2, 4, 6, 8, 9, 10, 11, 12))
        return {name: self.log() for name in self.rng.sample(LOG_NAMES, count)}

    def number(self) -> bytes:
        """An order number or a count of an older report."""
        if self.chance(0.7):
            return str(self.rng.randint(0, 20)).encode("ascii")
        return self.rng.choice((
            b"", b"abc", b"-1", b"-5", b"+7", b" 12", b"\t3", b"12abc", b"0x10", b"1.9", b"007",
            b"2147483647", b"2147483648", b"4294967294", b"4294967295", b"4294967297",
            b"9223372036854775807", b"9223372036854775808", b"18446744073709551615",
            b"18446744073709551617", b"-9223372036854775808", b"-9223372036854775809",
            b"99999999999999999999999", b"- 1", b"--1",
        ))

    def attribute(self, name: bytes, value: bytes) -> bytes:
        """One attribute, quoted and spaced in various ways."""
        if b"&" not in value and self.chance(0.1):
            value = re.sub(
                rb"[AeoB.\x80-\xff]",
                lambda found: self.rng.choice((b"&#x%X;", b"&#x%x;", b"&#%d;")) % ord(found[0]),
                value,
            )
        quote = b"'" if b'"' in value or self.chance(0.1) else b'"'
        equals = b" = " if self.chance(0.03) else b"="
        return name + equals + quote + value + quote

    def entry(self, tag: bytes, names: list[bytes], numbers: tuple[bytes, ...]) -> bytes:
        """A command, run tool or file type of an older report; seldom something is missing."""
        parts = []
        if not self.chance(0.06):
            name = self.rng.choice(names)
            for byte in (b"&", b"<", b"'"):
                name = name.replace(byte, oracle.escape(byte.decode()).encode())
            parts.append(self.attribute(b"name", name.replace(b"\0", b"")))
        for number in numbers:
            if not self.chance(0.08):
                parts.append(self.attribute(number, self.number()))
        if self.chance(0.05):
            parts.append(self.attribute(b"extra", b"1"))
        self.rng.shuffle(parts)
        body = b"".join(b" " + part for part in parts)
        if self.chance(0.05):
            return b"<" + tag + body + b">text</" + tag + b">"
        return b"<" + tag + body + self.rng.choice((b" />", b"/>"))

    def property(self) -> bytes:
        """A property of an older report."""
        name = self.rng.choice((b"ID", b"OS", b"RAM", b"a", b"ab", b"CPU &amp; co", b"\xc4"))
        category = self.rng.choice((b"System", b"b", b"bc", b"c", b"", b"1"))
        text = self.rng.choice((
            b"x86", b"  two \r\n  words ", b"", b"   ", b"&lt;b&gt;", b"\xe4\xf6\xfc", b"a&#x41;b",
            b"&quot;q&quot;", b"&#x20;", b"8 GB", b"it's", b"tab\there",
        ))
        body = b'<prop name="' + name + b'"'
        if not self.chance(0.15):
            body += b' cat="' + category + b'"'
        if text == b"" and self.chance(0.5):
            return body + b" />"
        return body + b">" + text + b"</prop>"

    def section(self, tag: bytes, rows: list[bytes]) -> bytes:
        """An element around others."""
        gap = self.rng.choice((b"\r\n", b"\n", b"\r\n    ", b"", b"\r"))
        if not rows:
            return self.rng.choice((b"<%s />", b"<%s></%s>", b"<%s>\r\n</%s>")).replace(b"%s", tag)
        return b"<" + tag + b">" + gap + gap.join(rows) + gap + b"</" + tag + b">"

    def older_report(self) -> bytes:
        """A well-formed report as a person or an older program may have written it."""
        rng = self.rng
        names = self.names + list(PLAIN_NAMES[:6])
        names += [b"two\r\nlines", b"two\rlines", b"two\nlines", b" \r\n"][: rng.choice((0, 0, 4))]
        parts: list[bytes] = []
        if self.chance(0.9):
            cmds = [self.entry(b"cmd", names, (b"id", b"count")) for _ in range(rng.randint(0, 8))]
            if self.chance(0.1):
                cmds.insert(0, b"<other name=\"A\" id=\"9\" count=\"9\" />")
            rows = [self.section(b"cmds", cmds)] if self.chance(0.95) else []
            if self.chance(0.3):
                rows.append(b"<cmd_chain>A B C</cmd_chain>")
            parts.append(self.section(b"cmd_stat", rows))
        if self.chance(0.5):
            tools = [self.entry(b"run_tool", names, (b"count",)) for _ in range(rng.randint(0, 5))]
            rows = [self.section(b"run_tools", tools)] if self.chance(0.95) else []
            parts.append(self.section(b"counter", rows))
        if self.chance(0.8):
            rows = [
                self.entry(b"ftype", list(EXTENSIONS), (b"ocnt", b"scnt"))
                for _ in range(rng.randint(0, 6))
            ]
            parts.append(self.section(b"ftype_stat", [self.section(b"ftypes", rows)]))
        if self.chance(0.7):
            rows = [self.property() for _ in range(rng.randint(0, 8))]
            parts.append(self.section(b"sys_info", rows))
        if self.chance(0.5):
            prop = b'<prop name="app_name">Studio</prop>'
            parts.append(self.section(b"app_info", [prop]))
        if self.chance(0.3):
            parts.append(b'<cust_info><prop name="Email">old@x.y</prop></cust_info>')
        if self.chance(0.1):
            parts.append(b"<!-- kept by hand -->")
        if self.chance(0.1):
            rng.shuffle(parts)
        return self.section(b"PeltoRpt", parts) + rng.choice((b"", b"\r\n", b"\n\n"))

    def first_report(self) -> bytes | None:
        """The report before the first run; None for no report."""
        kind = self.rng.random()
        if kind < 0.1:
            return None
        if kind < 0.8:
            return self.older_report()
        whole = self.older_report().rstrip()
        return self.rng.choice((
            b"",
            b" \r\n",
            b"no report at all",
            b"<Other><cmd_stat /></Other>\r\n",
            b"\xff\xd8\xff\xe0",
            whole[: self.rng.randint(1, len(whole) - 1)],
            whole[: -len(b"</PeltoRpt>")],
            whole[:-1],
            whole.replace(b"</PeltoRpt>", b"</peltorpt>"),
        ))

    def folder(self) -> Folder:
        """Everything of this seed."""
        rng = self.rng
        email = rng.choice(EMAILS)
        folder = Folder(
            identifier=None if self.chance(0.1) else documents.IDENTIFIER,
            report=self.first_report(),
            emails=[email if self.chance(0.8) else rng.choice(EMAILS) for _ in range(RUNS)],
            files=[self.log_folder() for _ in range(RUNS)],
        )
        if self.chance(0.1):
            folder.read_only = set(rng.sample(LOG_NAMES, 4))
        if self.chance(0.3):
            for name in rng.sample(BYSTANDER_NAMES, rng.randint(1, 3)):
                folder.files[0][name] = self.log()
        if self.chance(0.05):
            folder.folders = {rng.choice(("folder.log", "a.b.LOG"))}
        return folder


# --- The comparison -------------------------------------------------------------------------


class RandomFolders(ProgramTest):
    """The program against the oracle, on every second folder."""

    seeds = range(SEED, SEED + FOLDERS, 2)

    def test_every_report_equals_the_oracles_to_the_byte(self) -> None:
        tally: Counter[str] = Counter()
        failures: list[str] = []
        begin = time.monotonic()

        def attempt(seed: int) -> Counter[str] | str:
            try:
                with harness.Sandbox() as box:
                    return self.compare(box, Generator(seed).folder())
            except (AssertionError, OSError) as error:
                return f"seed {seed}: {error}"

        with ThreadPoolExecutor(os.cpu_count()) as pool:
            for result in pool.map(attempt, self.seeds):
                if isinstance(result, str):
                    failures.append(result)
                else:
                    tally += result
        counts = ", ".join(f"{count} {what}" for what, count in tally.items())
        print(f"oracle: {counts}; {len(failures)} folders differ; {time.monotonic() - begin:.0f} s",
              file=sys.stderr)
        if failures:
            shown = "\n".join(failures[:SHOWN_FAILURES])
            self.fail(f"{len(failures)} of {len(self.seeds)} folders differ:\n{shown}")
        self.assertEqual(tally["runs"], len(self.seeds) * RUNS)
        if len(self.seeds) >= 100:
            # A generator that no longer makes events would agree with anything.
            for kind in ("command events", "open events", "save events"):
                self.assertGreater(tally[kind], 2 * len(self.seeds), kind)
            self.assertGreater(tally["reports loaded"], len(self.seeds))

    def compare(self, box: harness.Sandbox, folder: Folder) -> Counter[str]:
        """Runs the program on one folder; raises AssertionError at the first difference."""
        tally: Counter[str] = Counter()
        previous = folder.report or b""
        if folder.report is not None:
            box.report_path.write_bytes(folder.report)
        for name in folder.folders:
            (box.logs / name).mkdir()
        identifier = folder.identifier
        waiting: dict[str, bytes] = {}
        for run in range(RUNS):
            box.write_settings(1, identifier, Email=folder.emails[run])
            settings = box.settings_path.read_bytes()
            for name, data in folder.files[run].items():
                if name not in waiting:
                    waiting[name] = data
                    box.write_log(name, data).chmod(0o444 if name in folder.read_only else 0o644)

            outcome = box.log_handle()

            self.assertEqual(outcome.returncode, 0, f"{outcome}, {box.snapshot().keys()}")
            if identifier is None:
                identifier = box.settings().get(("PELTO", "ID"), "")
                self.assertRegex(identifier, rf"\A{documents.GUID}\Z")
            else:
                self.assertEqual(box.settings_path.read_bytes(), settings)
            names = oracle.reading_order(filter(oracle.is_log_name, waiting))
            logs = [waiting[name] for name in names]
            expected = oracle.log_handle(previous, logs, identifier, folder.emails[run])
            previous = box.report_path.read_bytes()
            self.assert_bytes(previous, expected.report)
            for name in set(names) - folder.read_only:
                del waiting[name]
            left = {
                path.name: None if path.is_dir() else path.read_bytes()
                for path in box.logs.iterdir()
            }
            self.assertEqual(left, {**waiting, **dict.fromkeys(folder.folders)})
            self.assertEqual(
                sorted(os.listdir(box.data)), [box.settings_path.name, box.report_path.name]
            )
            tally["runs"] += 1
            tally["logs"] += len(logs)
            tally["reports loaded"] += expected.loaded
            for event in expected.events:
                tally[f"{event.kind} events"] += 1
        return tally


class OtherRandomFolders(RandomFolders):
    """The same on the folders between them, so that another process can run it."""

    seeds = range(SEED + 1, SEED + FOLDERS, 2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
