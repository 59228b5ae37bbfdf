"""End-to-end tests under other ANSI code pages than 1252. Wine takes the code page from the locale,
whose files are part of the build of the tests."""

from __future__ import annotations

import unittest

import documents
import harness
import test_log_handle
from documents import cmd, command, ftype, opened, report

LOCALES = harness.TEST_PROGRAMS.parent / "locales"


class CodePages(test_log_handle.LogHandleTest):
    """Texts of logs, settings and reports."""

    def test_texts_are_read_and_written_in_the_code_page_in_force(self) -> None:
        for code_page, locale, names, path, file_type in (
            # A full-width and a half-width A; under code page 1252 they would be in reverse order.
            # The second byte of the file type is a backslash.
            ("cp932", "ja_JP", "\u30a2\uff71", b"C:\\a.\x83\x5c", ".\x83\x5c"),
            # Dje and A: under code page 1252 they would be in reverse order.
            ("cp1251", "ru_RU", "\u0402\u0410", b"C:\\a.\xf4", ".\xf4"),
        ):
            folder = LOCALES / f"{locale}.UTF-8"
            self.assertTrue(folder.is_dir(), f"{folder} has not been built")
            email = f"{names}@example.com"
            with self.case(code_page), harness.changed_environment(
                LC_ALL=folder.name, LOCPATH=str(LOCALES)
            ):
                # The address is in the file as wide text, and so has to be converted.
                settings = documents.settings(Email="@@").decode("ascii").replace("@@", email)
                self.box.settings_path.write_bytes(b"\xff\xfe" + settings.encode("utf-16-le"))
                logs = b"".join(command(name.encode(code_page)) for name in reversed(names))
                first, second = (name.encode(code_page).decode("latin-1") for name in names)
                for log, count in ((logs + opened(path), 1), (None, 1), (logs, 2)):
                    if log is not None:
                        self.box.write_log("host.log", log)
                    self.log_handle()
                    self.assert_report(
                        cmd(2, first, count), cmd(1, second, count), ftype(file_type, 1, 0),
                        email=email.encode(code_page).decode("latin-1"),
                    )

    def test_a_lead_byte_takes_the_dot_with_it(self) -> None:
        with harness.changed_environment(LC_ALL="ja_JP.UTF-8", LOCPATH=str(LOCALES)):
            self.box.write_log("host.log", opened(b"C:\\\x83.dwg"))
            self.log_handle()
        self.assert_bytes(self.box.report_path.read_bytes(), report(ftype("", 1, 0)))


if __name__ == "__main__":
    unittest.main(verbosity=2)
