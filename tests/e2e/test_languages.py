"""End-to-end tests of the sample of translations: the dialog of a user in each language.

Texts, addresses and the company's name come from the table and from the program's resources, so that a
maker may change them.
"""

from __future__ import annotations

import re
import shutil
import sys
import time
import unittest
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from urllib.parse import urlsplit
from xml.etree import ElementTree

import dialog
import harness
import resources
import test_dialog
from dialog import HEIGHT, OK, PARTICIPATE, PRIVACY_POLICY, TITLE, WIDTH, Dialog
from documents import STATE
from harness import PROGRAM, windows_path
from resources import Area

FOLDER = harness.REPOSITORY / "samples" / "language"
ARTWORK = harness.REPOSITORY / "ui" / "artwork"
sys.path += [str(FOLDER), str(ARTWORK)]

import mirror  # noqa: E402
import texts  # noqa: E402

MODULES = PROGRAM.parent / "samples" / "language"
TABLE = texts.read_table((FOLDER / "texts.txt").read_text("utf-8"))
# The parts of the table that are texts of controls, in the order of the dialog.
CONTROLS = ("ok", "title", "description", "participate", "decline", "privacy_policy", "email",
            None, "remind", "silence")
# Any locale serves as one of each language, under that language's name.
LOCALE = Path("/usr/lib/locale/C.utf8")
PANEL_WIDTH = 351
PATH_LIMIT = 260
WHITE = (255, 255, 255)


def expected(language: str) -> list[str]:
    """The texts of the dialog's controls."""
    return [TABLE[name][language] if name else "" for name in CONTROLS]


def names(text: str) -> set[str]:
    """The names in an English text that are the same in every language: the program's, which is in
    capital letters, and the company's."""
    company = resources.version_text(PROGRAM, "CompanyName")
    return set(re.findall(r"\b[A-Z]{2,}\b", text)) | ({company} if company in text else set())


def without_marks(text: str) -> str:
    """A text without the signs that say how to read it."""
    return text.replace(texts.RIGHT_TO_LEFT_EMBEDDING, "")


def mark() -> Area | None:
    """Where the mark is in the picture, if it has one."""
    drawing = ElementTree.parse(ARTWORK / "background.svg")
    element = drawing.find(".//*[@id='mark']")
    if element is None:
        return None
    left, top, width, height = (int(element.attrib[key]) for key in ("x", "y", "width", "height"))
    return left, top, width, height


def on_screen(area: Area, language: str) -> Area:
    """Where an area of the dialog is in its picture on the screen."""
    left, top, width, height = area
    mirrored = language in TABLE[texts.DIRECTION]
    return (WIDTH - left - width if mirrored else left, top, width, height)


class Table(unittest.TestCase):
    """The table of texts, without a screen."""

    def test_its_english_texts_are_those_of_the_program(self) -> None:
        self.assertEqual([item.text for item in resources.template(PROGRAM)], expected("en"))
        self.assertEqual(
            resources.string(PROGRAM, resources.PRIVACY_POLICY_ADDRESS), TABLE["address"]["en"]
        )

    def test_the_library_has_the_names_and_the_version_of_the_program(self) -> None:
        library = MODULES / "LangExt.dll"
        for name in ("CompanyName", "LegalCopyright", "ProductName", "ProductVersion", "FileVersion"):
            with self.subTest(name):
                text = resources.version_text(library, name)
                self.assertTrue(text)
                self.assertEqual(text, resources.version_text(PROGRAM, name))
        self.assertEqual(resources.version_text(library, "OriginalFilename"), library.name)

    def test_each_module_has_the_address_of_its_language(self) -> None:
        for language in texts.languages(TABLE):
            module = MODULES / f"LangExt.{language}.dll"
            found = resources.string(module, resources.PRIVACY_POLICY_ADDRESS)
            self.assertEqual(found, TABLE["address"][language])
            own = urlsplit(TABLE["address"][texts.REFERENCE])
            address = urlsplit(found)
            self.assertEqual((address.scheme, address.hostname), ("https", own.hostname), language)

    def test_no_language_lacks_a_name_or_says_what_another_says(self) -> None:
        known = {"de", "fr", "es", "pl", "ja", "zh-Hans", "ar"}
        self.assertLessEqual(known, set(texts.languages(TABLE)))
        for language in texts.languages(TABLE):
            for part in ("participate", "description"):
                for name in names(TABLE[part][texts.REFERENCE]):
                    self.assertIn(name, TABLE[part][language])
        # Short words may be the same in two languages, and the privacy policy may have one address.
        for part in ("title", "description", "participate"):
            entries = TABLE[part]
            self.assertEqual(len(set(entries.values())), len(entries), part)

    def test_a_bad_table_is_refused_with_the_line_or_the_part(self) -> None:
        start = "[ok]\nen OK\nde OK\n"
        for bad, message in (
            ("en OK\n", "line 1: neither"),
            (start + "de\n", "line 4: neither"),
            (start + "de-Österreich OK\n", "line 4: neither"),
            (start + "../de OK\n", "line 4: neither"),
            (start + "de Gut\n", "line 4: a second text in de"),
            (start + "[ok]\n", r"line 4: a second \[ok\]"),
            (start + "[title]\nen A & B\n", "line 5: .*&"),
            (start + "[title]\nen Title\n", r"\[title\] lacks de"),
            (start + "zh Hao\n", "zh: Chinese"),
            (start + "ZH-CN Hao\n", "ZH-CN: Chinese"),
            (start + "en-GB OK\n", "en-GB: English"),
            (start + "EN OK\n", "EN: English"),
            (start + "DE OK\n", "de and DE are the same"),
            (start + "pt-BR OK\npt-br OK\n", "pt-BR and pt-br are the same"),
            (start + "[direction]\nfr right to left\n", r"\[direction\] fr"),
            (start + "[direction]\nde upwards\n", r"\[direction\] de"),
        ):
            with self.subTest(bad), self.assertRaisesRegex(texts.BadTable, message):
                texts.languages(texts.read_table(bad))

    def test_a_table_that_does_not_suit_the_dialog_is_refused(self) -> None:
        table = texts.read_table("[ok]\nen OK\nde OK\n")
        for template, message in (("@ok@ @title@", r"no \[title\]"), ("", r"has no \[ok\]")):
            with self.subTest(template), self.assertRaisesRegex(texts.BadTable, message):
                texts.script(table, "de", template)

    def test_a_table_may_have_comments_empty_lines_and_a_mark_at_its_start(self) -> None:
        table = texts.read_table("\ufeff# A comment\r\n\r\n[ok]\r\n  en OK  \r\nzh-Hant-HK  a  b\r\n")
        self.assertEqual(table, {"ok": {"en": "OK", "zh-Hant-HK": "a  b"}})
        self.assertTrue(texts.read_table("[address]\nen https://a.example/?b&c\n"))
        self.assertEqual(texts.languages(table), ["zh-Hant-HK"])
        table = texts.read_table("[ok]\nenm Good\nen OK\n")
        self.assertEqual(texts.languages(table), ["enm"], "not English")

    def test_a_script_holds_any_text_in_ascii(self) -> None:
        for text, literal in (
            ('a "b" \\n', r'L"a ""b"" \\n"'),
            ("é\u0142\U0001f642a", r'L"\x00e9\x0142\xd83d\xde42a"'),
        ):
            self.assertEqual(texts.quoted(text), literal)


class MirroredDrawing(unittest.TestCase):
    """The drawing for a dialog that is read from right to left."""

    def test_its_mark_is_mirrored_about_its_own_center(self) -> None:
        start = '<svg xmlns="http://www.w3.org/2000/svg"><g><image '
        for found, expected_change in (
            ('id="mark" x="387" width="32"', "translate(806 0) scale(-1 1)"),
            ('id="mark" width="3" x="0.5"', "translate(4 0) scale(-1 1)"),
            ('id="mark" x="1" width="2" transform="rotate(9)"',
             "rotate(9) translate(4 0) scale(-1 1)"),
        ):
            with self.subTest(found):
                result = mirror.mirrored(f"{start}{found} /></g></svg>")
                plain = found.partition(" transform")[0]
                self.assertEqual(
                    result, f'{start}{plain} transform="{expected_change}" /></g></svg>')

    def test_without_a_mark_it_stays_as_it_is(self) -> None:
        drawing = '<svg><!-- No id="mark" --><image x="387" width="32"/></svg>'
        self.assertEqual(mirror.mirrored(drawing), drawing)

    def test_a_mark_without_a_known_center_is_refused(self) -> None:
        for place in ('x="1"', 'width="2"', 'x="1" width="10%"', ""):
            with self.subTest(place), self.assertRaisesRegex(mirror.BadDrawing, "x and width"):
                mirror.mirrored(f'<svg><image id="mark" {place}/></svg>')


class Languages(dialog.DriverTest):
    """The dialog that a user of each language sees."""

    def setUp(self) -> None:
        super().setUp()
        # In a folder whose path is about as long as Windows can start a program from.
        root = self.box.root / "program"
        self.program = self.install(root / ("a" * (PATH_LIMIT - 30 - len(windows_path(root)))))

    def install(self, folder: Path) -> Path:
        """Copies the program and the sample's libraries to a new folder."""
        folder.mkdir(parents=True)
        for file in (PROGRAM, *MODULES.glob("LangExt*.dll")):
            shutil.copy(file, folder)
        return folder / PROGRAM.name

    @contextmanager
    def shown(self, locale: str, program: Path | None = None) -> Iterator[Dialog]:
        """The dialog of a user whose Windows speaks that language of that country."""
        locales = self.box.root / "locales"
        locales.mkdir(exist_ok=True)
        name = f"{locale}.UTF-8"
        if not (locales / name).exists():
            (locales / name).symlink_to(LOCALE)
        with harness.changed_environment(LC_ALL=name, LOCPATH=str(locales)), Dialog(
            self.driver, "dlg", windows_path(self.box.data), program=program or self.program
        ) as shown:
            yield shown

    def assert_language(self, shown: Dialog, language: str) -> None:
        """The dialog is in this language and, unless that is the program's own, as large as its
        picture and really drawn: the program's own dialog depends on a font of each country."""
        controls = shown.controls()
        found = [without_marks(control.text) for control in controls]
        self.assertEqual(found, expected(language))
        self.assertEqual(without_marks(shown.window()["text"]), TABLE["title"][language])
        if language == texts.REFERENCE:
            return
        self.assertEqual(shown.window()["client"], [0, 0, WIDTH, HEIGHT])
        title = shown.control(TITLE)
        seen = shown.screenshot(on_screen(title.area, language))
        ink = [x for x in range(seen.width) if set(seen.column(x)) != {WHITE}]
        # Wine measures Arabic letters apart; joined, they take about half of that.
        self.assertGreater(len(ink), title.size[0] / 3, "letters, not empty places")

    def test_each_user_gets_the_language_that_comes_first(self) -> None:
        for locale, language in (
            ("de_AT", "de"), ("fr_CA", "fr"), ("es_MX", "es"), ("pl_PL", "pl"), ("ja_JP", "ja"),
            ("zh_SG", "zh-Hans"), ("zh_TW", "en"),
        ):
            with self.subTest(locale), self.shown(locale) as shown:
                self.assert_language(shown, language)

    def test_without_the_module_or_with_a_damaged_one_the_program_speaks_english(self) -> None:
        self.program.with_name("LangExt.fr.dll").write_bytes(b"MZ, but no library")
        self.program.with_name("LangExt.ja.dll").unlink()
        for locale in ("fr_FR", "ja_JP"):
            with self.subTest(locale), self.shown(locale) as shown:
                self.assert_language(shown, "en")
                shown.click(PARTICIPATE, OK)
                self.assertTrue(shown.gone())

    def test_a_translated_dialog_has_the_programs_picture_and_stores_the_answer(self) -> None:
        with self.shown("de_DE") as shown:
            self.assert_language(shown, "de")
            panel = (0, 0, PANEL_WIDTH, HEIGHT)
            self.assertEqual(shown.screenshot(panel).data, test_dialog.picture().part(panel))
            shown.click(PARTICIPATE, OK)
            self.assertTrue(shown.gone())
        self.assertEqual(self.box.settings()[STATE], "1")

    def test_in_too_deep_a_folder_the_program_speaks_english(self) -> None:
        program = self.install(self.box.root / "/".join(["a" * 60] * 5))
        self.assertGreater(len(windows_path(program)), PATH_LIMIT)
        with self.shown("pl_PL", program) as shown:
            self.assert_language(shown, "en")

    def test_arabic_is_mirrored_but_for_the_mark(self) -> None:
        own = test_dialog.picture()
        address = TABLE["address"]["ar"]
        scheme = urlsplit(address).scheme
        with dialog.link_handler(scheme) as opened, self.shown("ar_EG") as shown:
            self.assert_language(shown, "ar")
            seen = shown.screenshot()
            link = shown.control(PRIVACY_POLICY)
            left, top, width, height = shown.place(on_screen(link.area, "ar"))
            dialog.click_at(left + 2, top + height // 2)
            time.sleep(1)
            self.assertFalse(opened.exists(), "nothing left of its text, where it ends")
            dialog.click_at(left + width - 8, top + height // 2)
            harness.wait_until(opened.exists, 10, "nothing was opened")
            time.sleep(0.5)
            self.assertEqual(opened.read_text("utf-8").splitlines(), [address])
        for y in range(HEIGHT):
            row = [seen.at(WIDTH - 1 - x, y) for x in range(PANEL_WIDTH)]
            self.assertEqual(row, [own.at(x, y) for x in range(PANEL_WIDTH)], f"row {y}")
        if area := mark():
            self.assertEqual(seen.part(on_screen(area, "ar")), own.part(area))
        # What is right of the texts in the picture is on the left now, and is white.
        self.assertEqual(set(seen.part((0, 0, 30, HEIGHT))), {255})


if __name__ == "__main__":
    unittest.main(verbosity=2)
