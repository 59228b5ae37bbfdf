"""The texts that the program reads and writes: settings, logs and reports, made from literals.

Characters of a report are bytes of the code page: U+00E4 is the byte E4, whatever letter that is.
"""

from __future__ import annotations

from datetime import datetime, timedelta, timezone

IDENTIFIER = "0d5f6a52-7c1b-4f0e-9a3c-5b6e1f2a3d4c"
GUID = r"[0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12}"

DATE_FORMAT = "%Y-%m-%dT%H:%M:%SZ"
STATE = ("General", "PeltoState")
EMAIL = ("General", "Email")
SHOWS = ("General", "ShowMessage")
SHOWN = ("General", "LastDlgOpenDate")
TRANSMISSION = ("General", "LastTransmissionDate")
SURVEY = ("General", "LastSysInfoCollectingDate")

STAMP = b"2024-03-05 14:07:09.123"


def date(age: timedelta = timedelta()) -> str:
    """The date text of a time that long ago."""
    return (datetime.now(timezone.utc) - age).strftime(DATE_FORMAT)


def settings(
    state: object = 1, identifier: str | None = IDENTIFIER, **general: object
) -> bytes:
    """A settings file, by default of a user who takes part. None leaves a key out."""
    lines = [] if identifier is None else ["[PELTO]", f"ID={identifier}"]
    values = {"PeltoState": state, **general}.items()
    lines += ["[General]", *(f"{key}={value}" for key, value in values if value is not None)]
    return "".join(line + "\r\n" for line in lines).encode("cp1252")


def parse_settings(data: bytes) -> dict[tuple[str, str], str]:
    """All values of a settings file, by section and key."""
    values: dict[tuple[str, str], str] = {}
    section = ""
    for text in data.decode("cp1252").splitlines():
        if text.startswith("[") and text.rstrip().endswith("]"):
            section = text.strip()[1:-1]
        elif "=" in text:
            key, _, value = text.partition("=")
            values[section, key.strip()] = value.strip()
    return values


def line(rest: bytes = b"", end: bytes = b"\r\n") -> bytes:
    """A line of a log: a prefix of 23 bytes, then `rest`."""
    return STAMP + rest + end


def command(name: bytes) -> bytes:
    """The line of a log for the use of a command."""
    return line(b"Command = " + name)


def opened(path: bytes) -> bytes:
    """The two lines of a log for a document that was opened."""
    return line(b"OnOpenDocument") + line(path)


def saved(path: bytes) -> bytes:
    """The two lines of a log for a document that was saved."""
    return line(b"OnSaveDocument") + line(path)


def cmd(order: int, name: str, count: int) -> str:
    """The row of a command; the name is escaped already."""
    return f'<cmd id="{order}" name="{name}" count="{count}" />'


def ftype(name: str, opens: int, saves: int) -> str:
    """The row of a file type; the name is escaped already."""
    return f'<ftype name="{name}" ocnt="{opens}" scnt="{saves}" />'


def prop(name: str, category: str, text: str) -> str:
    """The row of a property of the machine; the texts are escaped already."""
    return f'<prop name="{name}" cat="{category}">{text}</prop>'


def report(
    *rows: str,
    application: str = "",
    version: str = "",
    email: str = "",
    identifier: str = IDENTIFIER,
) -> bytes:
    """A report with these rows, in their order within each section, as the program writes it."""

    def element(tag: str, children: list[str]) -> list[str]:
        if not children:
            return [f"<{tag} />"]
        return [f"<{tag}>", *("    " + child for child in children), f"</{tag}>"]

    def rows_of(tag: str) -> list[str]:
        return [row for row in rows if row.startswith(f"<{tag} ")]

    def named(name: str, text: str) -> list[str]:
        return [f'<prop name="{name}">{text}</prop>'] if text else []

    sections = [
        *element("cmd_stat", element("cmds", rows_of("cmd"))),
        *element("ftype_stat", element("ftypes", rows_of("ftype"))),
        *element("sys_info", rows_of("prop") + named("ID", identifier)),
        *element("app_info", named("app_name", application) + named("app_ver", version)),
        *(element("cust_info", named("Email", email)) if email else []),
    ]
    text = "".join(row + "\r\n" for row in element("PeltoRpt", sections))
    return text.encode("latin-1")


def sent(data: bytes) -> bytes:
    """What the server gets of a report: line feeds alone, and the last byte twice
    (docs/compatibility.md, 35)."""
    text = data.replace(b"\r\n", b"\n")
    return text + text[-1:]
