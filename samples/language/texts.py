#!/usr/bin/env python3
"""texts.py FOLDER: makes a resource script LangExt.LANGUAGE.rc in FOLDER for each language of
texts.txt and prints the languages, a line each. Fails with a message, and makes nothing, if a text
is missing or the table is not well-formed.

texts.py alone only prints the languages.
"""

from __future__ import annotations

import re
import struct
import sys
import unicodedata
from pathlib import Path

HERE = Path(__file__).resolve().parent
TABLE = HERE / "texts.txt"
TEMPLATE = HERE / "Dialog.rc.in"

# The program's own language.
REFERENCE = "en"
DIRECTION = "direction"
RIGHT_TO_LEFT = "right to left"
RIGHT_TO_LEFT_EMBEDDING = "\u202b"
ADDRESS = "address"
# A mirrored window mirrors its picture. This one has the mark and so on mirrored already.
MIRRORED_PICTURE = '109 PNG "mirrored.png"'

Table = dict[str, dict[str, str]]


class BadTable(Exception):
    """What is wrong with the table, and in which line."""


def read_table(text: str) -> Table:
    """The texts of each part by language, from the table's text."""
    table: Table = {}
    texts: dict[str, str] | None = None
    for number, line in enumerate(text.removeprefix("\ufeff").splitlines(), 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        if heading := re.fullmatch(r"\[(\w+)\]", line):
            if heading[1] in table:
                raise BadTable(f"line {number}: a second [{heading[1]}]")
            texts = table.setdefault(heading[1], {})
            continue
        entry = re.fullmatch(r"([A-Za-z]{2,3}(?:-[A-Za-z0-9]{2,8})*)\s+(.+)", line)
        if entry is None or texts is None:
            raise BadTable(f"line {number}: neither a heading nor a language and its text")
        if entry[1] in texts:
            raise BadTable(f"line {number}: a second text in {entry[1]}")
        if "&" in entry[2] and texts is not table.get(ADDRESS):
            raise BadTable(f"line {number}: the dialog would underline what follows the &")
        texts[entry[1]] = entry[2]
    return table


def languages(table: Table) -> list[str]:
    """The languages of the table in the order of its first text, without the program's own. Every
    text has to be there in each of them."""
    parts = {name: texts for name, texts in table.items() if name != DIRECTION}
    every = list(dict.fromkeys(language for texts in parts.values() for language in texts))
    for name, texts in parts.items():
        for language in every:
            if language not in texts:
                raise BadTable(f"[{name}] lacks {language}")
    names: dict[str, str] = {}
    for language in every:
        if re.match(r"zh(?!-Han[st]\b)", language, re.IGNORECASE):
            raise BadTable(f"{language}: Chinese is named by its script, zh-Hans or zh-Hant")
        if language != REFERENCE and re.match(rf"{REFERENCE}\b", language, re.IGNORECASE):
            raise BadTable(f"{language}: English is the program's own, so nobody would get it")
        # Windows does not tell their files apart.
        if (other := names.setdefault(language.lower(), language)) != language:
            raise BadTable(f"{other} and {language} are the same language")
    for language, direction in table.get(DIRECTION, {}).items():
        if language not in every or direction != RIGHT_TO_LEFT:
            raise BadTable(f"[{DIRECTION}] {language}: no such language or direction")
    return [language for language in every if language != REFERENCE]


def quoted(text: str) -> str:
    """A text as a resource script has it, all but ASCII as an escape: compilers differ in how they
    read other characters."""
    units = struct.unpack(f"<{len(text.encode('utf-16-le')) // 2}H", text.encode("utf-16-le"))
    signs = {ord('"'): '""', ord("\\"): "\\\\"}
    return 'L"' + "".join(
        signs.get(unit, chr(unit) if 0x20 <= unit < 0x7F else f"\\x{unit:04x}") for unit in units
    ) + '"'


def embedded(text: str) -> str:
    """A text that is read from right to left, with marks that say so before each word that is not of
    right-to-left letters alone. In a mirrored window, Windows does not need them. Wine does: for it,
    such a word would begin a text of its own, on the right of the words before it."""

    def marked(word: str) -> str:
        plain = all(unicodedata.bidirectional(sign) in ("R", "AL", "NSM") for sign in word)
        return word if plain else RIGHT_TO_LEFT_EMBEDDING + word

    return " ".join(map(marked, text.split(" ")))


def script(table: Table, language: str, template: str) -> str:
    """The resource script of a language."""
    mirrored = table.get(DIRECTION, {}).get(language) == RIGHT_TO_LEFT
    values = {}
    for name, texts in table.items():
        if name != DIRECTION:
            text = texts[language]
            values[name] = quoted(embedded(text) if mirrored and name != ADDRESS else text)
    unused = set(values)
    values["extended_style"] = "WS_EX_TOPMOST" + (" | WS_EX_LAYOUTRTL" if mirrored else "")
    values["picture"] = MIRRORED_PICTURE if mirrored else ""

    def value(place: re.Match[str]) -> str:
        if place[1] not in values:
            raise BadTable(f"there is no [{place[1]}]")
        unused.discard(place[1])
        return values[place[1]]

    result = re.sub(r"@(\w+)@", value, template)
    if unused:
        raise BadTable(f"the dialog has no [{sorted(unused)[0]}]")
    return result


def main() -> int:
    """The exit code is 0 when the table is well-formed."""
    try:
        table = read_table(TABLE.read_text("utf-8"))
        template = TEMPLATE.read_text("utf-8")
        scripts = {language: script(table, language, template) for language in languages(table)}
    except (BadTable, UnicodeDecodeError) as error:
        print(f"texts.txt: {error}", file=sys.stderr)
        return 1
    for language, text in scripts.items():
        print(language)
        for folder in sys.argv[1:]:
            Path(folder, f"LangExt.{language}.rc").write_text(text, "utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
