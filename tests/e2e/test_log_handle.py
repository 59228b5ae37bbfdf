"""End-to-end tests of `log_handle`: the built program on real folders, a test or a row of a table
per edge.

What the program writes is compared byte for byte with literals; the oracle, which the random tests
rely on, has to agree with the same literals.
"""

from __future__ import annotations

import os
import signal
import textwrap
import time
import unittest
from contextlib import ExitStack

import documents
import harness
import oracle
from documents import (
    GUID,
    IDENTIFIER,
    STAMP,
    cmd,
    command,
    ftype,
    line,
    opened,
    prop,
    report,
    saved,
)
from harness import LOCK_WAIT, ProgramTest, held, windows_path

A_ONCE = cmd(1, "A", 1)
OPEN, SAVE = b"OnOpenDocument", b"OnSaveDocument"

# A table of tests: what each is about, a log or a report, and the rows of the report that it gives.
Table = tuple[tuple[str, bytes, list[str]], ...]


class LogHandleTest(ProgramTest):
    """A user who takes part."""

    def renew(self) -> None:
        super().renew()
        self.box.write_settings()

    def log_handle(self) -> harness.Outcome:
        """One run on the two folders."""
        data, logs = windows_path(self.box.data), windows_path(self.box.logs)
        return self.run_program("log_handle", data, logs)

    def assert_report(self, *rows: str, email: str = "", identifier: str = IDENTIFIER) -> None:
        """The report has exactly these rows."""
        self.assert_bytes(
            self.box.report_path.read_bytes(), report(*rows, email=email, identifier=identifier)
        )

    def assert_harvested(self, log: bytes | None, *rows: str) -> None:
        """This log, counted into the report that is there, gives these rows, and is deleted."""
        path = self.box.report_path
        previous = path.read_bytes() if path.exists() else b""
        if log is not None:
            self.box.write_log("host.log", log)
        self.log_handle()
        self.assert_report(*rows)
        self.assertEqual(self.box.log_names(), [])
        expected = oracle.log_handle(previous, [] if log is None else [log], IDENTIFIER, "")
        self.assert_bytes(expected.report, report(*rows))

    def assert_table(self, table: Table) -> None:
        """Each log gives its rows, from no report."""
        for about, log, rows in table:
            with self.case(about):
                self.assert_harvested(log, *rows)

    def assert_loaded(self, table: Table) -> None:
        """Each report becomes one with the rows after it, without any log."""
        for about, previous, rows in table:
            with self.case(about):
                self.box.report_path.write_bytes(previous)
                self.assert_harvested(None, *rows)


class CommandLine(LogHandleTest):
    """Command lines that are not right touch no file."""

    def test_a_wrong_command_line_touches_nothing(self) -> None:
        self.box.write_log("host.log", command(b"Line"))
        before = self.box.snapshot()
        logs, address = windows_path(self.box.logs), "http://127.0.0.1:9/"
        lines: list[tuple[str, ...]] = [
            (), ("log_handle",), ("log_handle", "", logs), ("log_handle", "", ""), ("dlg",),
            ("dlg", ""), ("duty", address, "", "Studio", "studio.exe"),
        ]
        for data in (windows_path(self.box.data), windows_path(self.box.root / "new" / "data")):
            lines += [
                ("log_handle", data),
                ("log_handle", data, ""),
                ("duty", "", data, "Studio", "studio.exe"),
                ("duty", address, data, "Studio"),
                *((word, data, logs, "a", "b") for word in (
                    "LOG_HANDLE", "Log_Handle", "log_handl", "log_handles", " log_handle",
                    "log_handle ", "-log_handle", "loghandle", "", "DUTY", "Duty", "DLG", "x",
                )),
            ]
        for arguments in lines:
            with self.subTest(arguments):
                self.run_program(*arguments)
                self.assertEqual(self.box.snapshot(), before)

    def test_further_arguments_are_ignored(self) -> None:
        self.box.write_log("host.log", command(b"A"))
        self.run_program(
            "log_handle", windows_path(self.box.data), windows_path(self.box.logs), "more", "duty"
        )
        self.assert_report(A_ONCE)
        self.assertEqual(self.box.log_names(), [])


class Consent(LogHandleTest):
    """Only a user who takes part has his logs read."""

    def test_without_consent_logs_and_report_stay_as_they_are(self) -> None:
        for state in (2, 3, None, "", 0, 7, 11, -1, "yes"):
            for previous in (None, report(cmd(4, "Old", 9))):
                with self.case((state, previous)):
                    self.box.write_settings(state)
                    if previous is not None:
                        self.box.report_path.write_bytes(previous)
                    self.box.write_log("host.log", command(b"Line"))
                    before = self.box.snapshot()
                    self.log_handle()
                    # Taking the lock makes the file.
                    self.assertEqual(
                        self.box.snapshot(), before | {"data/PeltoReport.xml": previous or b""}
                    )

    def test_a_first_run_without_settings_leaves_the_logs_alone(self) -> None:
        self.box.settings_path.unlink()
        self.box.write_log("host.log", command(b"Line"))
        self.log_handle()
        self.assertEqual(self.box.log_names(), ["host.log"])
        self.assertEqual(self.box.report_path.read_bytes(), b"")
        self.assertEqual(list(self.box.settings()), [("PELTO", "ID")])

    def test_logs_that_waited_through_a_no_are_harvested_after_a_yes(self) -> None:
        self.box.write_settings(2)
        self.box.write_log("host.log", command(b"A"))
        self.log_handle()
        self.box.write_settings(1)
        self.log_handle()
        self.assert_report(A_ONCE)
        self.assertEqual(self.box.log_names(), [])


class DataFolder(LogHandleTest):
    """The data folder, the installation identifier and the settings file."""

    def test_a_new_data_folder_is_made_with_its_parents(self) -> None:
        data = self.box.root / "one" / "two three" / "d\u00e4ta \u65e5"
        self.box.write_log("host.log", command(b"Line"))
        self.run_program("log_handle", windows_path(data), windows_path(self.box.logs))
        self.assertEqual(sorted(os.listdir(data)), ["PeltoReport.ini", "PeltoReport.xml"])
        self.assertEqual((data / "PeltoReport.xml").read_bytes(), b"")
        settings = (data / "PeltoReport.ini").read_bytes()
        self.assertRegex(settings, rb"\A\[PELTO\]\r\nID=" + GUID.encode() + rb"\r\n\Z")
        self.assertEqual(self.box.log_names(), ["host.log"])

    def test_a_data_folder_may_end_in_a_backslash(self) -> None:
        data = self.box.root / "new"
        self.run_program(
            "log_handle", windows_path(data) + "\\", windows_path(self.box.logs) + "\\"
        )
        self.assertEqual(sorted(os.listdir(data)), ["PeltoReport.ini", "PeltoReport.xml"])

    def test_a_data_folder_spelled_with_slashes_is_made_in_one_step(self) -> None:
        # Only backslashes separate the folders on the way, so a missing parent stays missing.
        with_parent = self.box.root / "new"
        without = self.box.root / "no" / "parent"
        for data in (with_parent, without):
            self.run_program("log_handle", f"Z:{data}", windows_path(self.box.logs))
        self.assertEqual(sorted(os.listdir(with_parent)), ["PeltoReport.ini", "PeltoReport.xml"])
        self.assertFalse(without.parent.exists())

    def test_a_data_folder_that_is_a_file_ends_the_run(self) -> None:
        data = self.box.root / "file"
        data.write_bytes(b"kept")
        self.box.write_log("host.log", command(b"Line"))
        before = self.box.snapshot()
        self.run_program("log_handle", windows_path(data), windows_path(self.box.logs))
        self.assertEqual(self.box.snapshot(), before)

    def test_the_identifier_is_kept_over_runs(self) -> None:
        self.box.write_settings(identifier=None)
        self.log_handle()
        identifier = self.box.settings()["PELTO", "ID"]
        self.assertRegex(identifier, rf"\A{GUID}\Z")
        self.assert_report(identifier=identifier)
        settings = self.box.settings_path.read_bytes()
        self.box.report_path.unlink()
        self.log_handle()
        self.assertEqual(self.box.settings_path.read_bytes(), settings)
        self.assert_report(identifier=identifier)

    def test_two_data_folders_get_two_identifiers(self) -> None:
        identifiers = set()
        for _ in range(2):
            self.box.write_settings(identifier=None)
            self.log_handle()
            identifiers.add(self.box.settings()["PELTO", "ID"])
            self.renew()
        self.assertEqual(len(identifiers), 2)

    def test_a_generated_identifier_leaves_the_other_settings_alone(self) -> None:
        self.box.write_settings(identifier=None, Email="a@b.c")
        self.log_handle()
        settings = self.box.settings()
        del settings["PELTO", "ID"]
        self.assertEqual(settings, {documents.STATE: "1", documents.EMAIL: "a@b.c"})

    def test_any_text_is_taken_as_identifier(self) -> None:
        self.box.write_settings(identifier="my <own> & 1")
        self.log_handle()
        self.assert_report(identifier="my &lt;own&gt; &amp; 1")
        self.assertEqual(self.box.settings()["PELTO", "ID"], "my <own> & 1")

    def test_an_empty_identifier_is_replaced(self) -> None:
        self.box.write_settings(identifier="")
        self.log_handle()
        self.assertRegex(self.box.settings()["PELTO", "ID"], rf"\A{GUID}\Z")

    def test_settings_without_identifier_that_cannot_be_written_end_the_run(self) -> None:
        for mode in ("unshared", "unwritable"):
            with self.case(mode):
                self.box.write_settings(identifier=None)
                self.box.write_log("host.log", command(b"Line"))
                before = self.box.snapshot()
                with held(mode, self.box.settings_path):
                    outcome = self.log_handle()
                    self.assertEqual(self.box.snapshot(), before)
                self.assertLess(outcome.seconds, LOCK_WAIT)
                self.log_handle()
                self.assertEqual(self.box.log_names(), [])

    def test_settings_that_can_only_be_read_are_read(self) -> None:
        self.box.write_log("host.log", command(b"A"))
        with held("unwritable", self.box.settings_path):
            self.log_handle()
        self.assert_report(A_ONCE)

    def test_settings_outside_the_data_folder_are_not_read(self) -> None:
        (self.box.logs / "PeltoReport.ini").write_bytes(documents.settings(1))
        self.box.write_settings(2)
        self.box.write_log("host.log", command(b"Line"))
        self.log_handle()
        self.assertEqual(self.box.log_names(), ["PeltoReport.ini", "host.log"])


class Email(LogHandleTest):
    """The e-mail address is read from the settings at every save."""

    def test_an_address_that_was_taken_back_leaves_the_report(self) -> None:
        for email in ("me@example.org", ""):
            self.box.write_settings(Email=email)
            self.log_handle()
            self.assert_report(email=email)

    def test_addresses_are_written_in_the_code_page_and_escaped(self) -> None:
        for setting, printed in (
            ("", ""),
            ("m\u00fcller@b\u00fccher\u20ac.example", "m\xfcller@b\xfccher\x80.example"),
            ("a<&>\"'@b.c", "a&lt;&amp;&gt;&quot;&apos;@b.c"),
            # Reading turns a backslash and n into a line feed (docs/compatibility.md, 11).
            ("a\\nb@c.d\\N", "a&#x0A;b@c.d\\N"),
            ("a" * 1500, "a" * 1023),
        ):
            with self.subTest(setting):
                self.box.write_settings(Email=setting)
                self.log_handle()
                self.assert_report(email=printed)

    def test_a_character_outside_the_code_page_becomes_the_default_character(self) -> None:
        settings = documents.settings(Email="@@").decode("ascii").replace("@@", "\u65e5@b.c")
        self.box.settings_path.write_bytes(b"\xff\xfe" + settings.encode("utf-16-le"))
        self.log_handle()
        self.assert_report(email="?@b.c")


def commands(rows: str) -> bytes:
    """An older report, in one line, with this content of "cmds"."""
    return f"<PeltoRpt><cmd_stat><cmds>{rows}</cmds></cmd_stat></PeltoRpt>".encode("latin-1")


class ReportDocument(LogHandleTest):
    """Loading, merging and saving the report."""

    def test_the_whole_layout(self) -> None:
        self.assert_harvested(None)
        self.assertEqual(
            self.box.report_path.read_bytes(),
            b"<PeltoRpt>\r\n    <cmd_stat>\r\n        <cmds />\r\n    </cmd_stat>\r\n"
            b"    <ftype_stat>\r\n        <ftypes />\r\n    </ftype_stat>\r\n"
            b'    <sys_info>\r\n        <prop name="ID">0d5f6a52-7c1b-4f0e-9a3c-5b6e1f2a3d4c</prop>'
            b"\r\n    </sys_info>\r\n    <app_info />\r\n</PeltoRpt>\r\n",
        )
        self.box.write_settings(Email="a@b.c")
        self.box.report_path.write_bytes(report(prop("OS", "System", "Windows")))
        log = command(b"B") + command(b"A") + command(b"B") + saved(b"a.x")
        self.box.write_log("host.log", log)
        self.log_handle()
        self.assertEqual(
            self.box.report_path.read_bytes().decode().replace("\r\n", "\n"),
            textwrap.dedent(
                """\
                <PeltoRpt>
                    <cmd_stat>
                        <cmds>
                            <cmd id="2" name="A" count="1" />
                            <cmd id="1" name="B" count="2" />
                        </cmds>
                    </cmd_stat>
                    <ftype_stat>
                        <ftypes>
                            <ftype name=".x" ocnt="0" scnt="1" />
                        </ftypes>
                    </ftype_stat>
                    <sys_info>
                        <prop name="OS" cat="System">Windows</prop>
                        <prop name="ID">0d5f6a52-7c1b-4f0e-9a3c-5b6e1f2a3d4c</prop>
                    </sys_info>
                    <app_info />
                    <cust_info>
                        <prop name="Email">a@b.c</prop>
                    </cust_info>
                </PeltoRpt>
                """
            ),
        )

    def test_counts_grow_over_runs(self) -> None:
        self.assert_harvested(
            command(b"Line") + command(b"Arc") + opened(b"a.prt"),
            cmd(2, "Arc", 1), cmd(1, "Line", 1), ftype(".prt", 1, 0),
        )
        self.assert_harvested(
            command(b"Box") + command(b"Line") + saved(b"a.prt"),
            cmd(2, "Arc", 1), cmd(3, "Box", 1), cmd(1, "Line", 2), ftype(".prt", 1, 1),
        )

    def test_order_numbers_go_on_from_the_loaded_ones(self) -> None:
        for about, previous, log, rows in (
            ("a dropped command gives no order number",
             report('<cmd id="9" name="NoCount" />'), command(b"New"), [cmd(1, "New", 1)]),
            ("the next number follows the highest",
             report(cmd(7, "A", 1), cmd(3, "B", 1)), command(b"C") + command(b"B"),
             [cmd(7, "A", 1), cmd(3, "B", 2), cmd(8, "C", 1)]),
            ("a dropped duplicate's number is not remembered",
             report(cmd(2, "A", 5), cmd(9, "A", 70)), command(b"B"),
             [cmd(2, "A", 5), cmd(3, "B", 1)]),
            ("a run tool gets its number with its next use",
             b'<PeltoRpt><cmd_stat><cmds><cmd id="5" name="A" count="1"/></cmds></cmd_stat>'
             b'<counter><run_tools><run_tool name="T" count="4"/><run_tool name="A" count="9"/>'
             b"</run_tools></counter></PeltoRpt>", command(b"T") + command(b"B"),
             [cmd(5, "A", 1), cmd(7, "B", 1), cmd(6, "T", 5)]),
            ("a full count goes on counting unsigned",
             report(cmd(1, "A", 2**63 - 1)), command(b"A"), [cmd(1, "A", 2**63)]),
        ):
            with self.case(about):
                self.box.report_path.write_bytes(previous)
                self.assert_harvested(log, *rows)

    def test_commands_and_file_types_are_merged(self) -> None:
        self.assert_loaded((
            ("commands without a required attribute are dropped",
             report('<cmd id="1" name="NoCount" />', '<cmd name="NoId" count="2" />',
                    '<cmd id="3" count="3" />', cmd(4, "Whole", 4)),
             [cmd(4, "Whole", 4)]),
            ("the first of two equal commands is kept",
             report(cmd(2, "A", 5), cmd(9, "A", 70)), [cmd(2, "A", 5)]),
            ("equal file types are added up",
             report(ftype(".a", 1, 20), ftype(".A", 5, 5), ftype(".a", 300, 4000)),
             [ftype(".A", 5, 5), ftype(".a", 301, 4020)]),
            ("missing file type counts are 0 and a missing name drops the entry",
             report('<ftype name=".a" />', '<ftype name=".b" ocnt="2" />',
                    '<ftype name=".c" scnt="3" />', '<ftype ocnt="4" scnt="4" />'),
             [ftype(".a", 0, 0), ftype(".b", 2, 0), ftype(".c", 0, 3)]),
            ("run tools become commands without an order number",
             b"<PeltoRpt><counter><run_tools>"
             b'<run_tool name="T" count="4"/><run_tool name="NoCount"/><run_tool count="1"/>'
             b"</run_tools></counter></PeltoRpt>",
             [cmd(0, "T", 4)]),
        ))

    def test_numbers_are_read_up_to_the_limits_of_their_type(self) -> None:
        self.assert_loaded((
            ("counts have 64 bits and are signed when they are read",
             report(cmd(1, "A", 2**63 - 1), cmd(2, "B", 2**63), cmd(3, "C", 10**26 - 1),
                    cmd(4, "D", -1), cmd(5, "E", 1 - 10**26)),
             [cmd(1, "A", 2**63 - 1), cmd(2, "B", 2**63 - 1), cmd(3, "C", 2**63 - 1),
              cmd(4, "D", 2**64 - 1), cmd(5, "E", 2**63)]),
            ("numbers are read as far as they go, and are 0 where there is none",
             report('<cmd id="abc" name="A" count="" />', '<cmd id="" name="B" count="x1" />',
                    '<cmd id=" 12 7" name="C" count="+3.9" />',
                    '<ftype name=".a" ocnt="one" scnt="2 2" />'),
             [cmd(0, "A", 0), cmd(0, "B", 0), cmd(12, "C", 3), ftype(".a", 0, 2)]),
            ("order numbers have 32 bits, are signed when they are read and written unsigned",
             report(cmd(-1, "A", 1), cmd(3_000_000_000, "B", 1), cmd(-3_000_000_000, "C", 1)),
             [cmd(4294967295, "A", 1), cmd(2147483647, "B", 1), cmd(2147483648, "C", 1)]),
        ))

    def test_properties_of_the_machine(self) -> None:
        self.assert_loaded((
            ("they are in the order of name and category, joined",
             report(prop("b", "a", "1"), prop("ab", "z", "2"), prop("a", "c", "3"),
                    prop("a", "a", "4")),
             [prop("a", "a", "4"), prop("ab", "z", "2"), prop("a", "c", "3"),
              prop("b", "a", "1")]),
            ("those with the same joined text are kept apart",
             report(prop("ab", "c", "1"), prop("a", "bc", "2")),
             [prop("a", "bc", "2"), prop("ab", "c", "1")]),
            ("the last of two equal ones is kept",
             report(prop("OS", "System", "old"), prop("OS", "System", "new")),
             [prop("OS", "System", "new")]),
            ("those without name, category or text are dropped",
             report('<prop name="A">no category</prop>', '<prop cat="B">no name</prop>',
                    '<prop name="C" cat="no text" />', prop("D", "no text", ""),
                    prop("E", "", "kept")),
             [prop("E", "", "kept")]),
            ("the identifier is that of the settings", report(identifier="another"), []),
            ("whitespace is condensed",
             report(prop("A", "B", "  two\t \n\n  words ")), [prop("A", "B", "two words")]),
        ))

    def test_other_forms_of_a_report_are_read(self) -> None:
        self.assert_loaded((
            ("a report of the program itself",
             report(cmd(3, "A", 5), ftype(".a", 1, 2), prop("OS", "System", "Windows")),
             [cmd(3, "A", 5), ftype(".a", 1, 2), prop("OS", "System", "Windows")]),
            ("application and address are not taken over",
             report(application="Studio", version="1.2.3.4", email="a@b.c"), []),
            ("sections may be missing and unknown ones are dropped",
             b'<PeltoRpt><new_stat a="1"><x/></new_stat><ftype_stat><ftypes>'
             b'<ftype name=".a" ocnt="1" scnt="1"/></ftypes></ftype_stat></PeltoRpt>',
             [ftype(".a", 1, 1)]),
            ("declaration, comment, line feeds and single quotes",
             b"<?xml version='1.0' ?>\n<!-- by hand -->\n<PeltoRpt>\n<cmd_stat>\n<cmds>\n"
             b"<cmd count='2' name='A' id='1'></cmd>\n</cmds>\n</cmd_stat>\n</PeltoRpt>",
             [cmd(1, "A", 2)]),
            ("a declaration with whitespace around its equals signs",
             b"<?xml version = '1.0'\tencoding\n=\n'' standalone =\"yes\" ?>"
             + commands(cmd(1, "A", 2)), [cmd(1, "A", 2)]),
            ("entities and references",
             commands(cmd(1, "&lt;&amp;&gt;&apos;&#x41;&#66;&#x0a;", 2)),
             [cmd(1, "&lt;&amp;&gt;&apos;AB&#x0A;", 2)]),
            ("an ampersand that begins nothing, and a reference to NUL",
             commands(cmd(1, "A&B", 2) + cmd(2, "&lt", 2) + cmd(3, "C&#0;D", 2)
                      + cmd(4, "&#x;", 2)),
             [cmd(4, "", 2), cmd(1, "AB", 2), cmd(3, "C", 2), cmd(2, "lt", 2)]),
            ("line breaks inside an attribute become line feeds",
             commands(cmd(1, "a\r\nb\rc\nd", 2)), [cmd(1, "a&#x0A;b&#x0A;c&#x0A;d", 2)]),
        ))

    def test_the_command_chain_is_not_written_back(self) -> None:
        self.box.report_path.write_bytes(
            b"<PeltoRpt><cmd_stat><cmd_chain>A B A</cmd_chain><cmds>"
            b'<cmd id="1" name="A" count="2"/></cmds></cmd_stat></PeltoRpt>'
        )
        self.assert_harvested(None, cmd(1, "A", 2))

    def test_reports_that_do_not_parse_are_replaced(self) -> None:
        whole = report(cmd(5, "Old", 9))
        for spoiled in (
            b"",
            b"\r\n",
            b"not a report",
            b"\x00\x01\x02\x03",
            whole[: len(whole) // 2],
            whole.replace(b"</PeltoRpt>\r\n", b""),
            whole.replace(b"</PeltoRpt>\r\n", b"</PeltoRpt"),
            whole.replace(b"</cmds>", b""),
            whole.replace(b"</PeltoRpt>", b"</Pelto>"),
            whole.replace(b"PeltoRpt", b"OtherRpt"),
            whole.replace(b"PeltoRpt", b"peltorpt"),
            whole.replace(b'"Old"', b'"&#xZ;"'),
            whole.replace(b'count="9"', b'count="9'),
            whole.replace(b'count="9"', b'id="9"'),
            b"\0" + whole,
            b"garbage " * 10_000,
        ):
            with self.subTest(spoiled[:200]):
                self.box.report_path.write_bytes(spoiled)
                self.assert_harvested(command(b"A"), A_ONCE)

    def test_a_report_with_100000_commands(self) -> None:
        rows = [cmd(number, f"Command {number:06}", number % 97) for number in range(1, 100_001)]
        self.box.report_path.write_bytes(report(*rows))
        self.box.write_log("host.log", command(b"Command 050000") + command(b"Command 999999"))
        self.log_handle()
        self.assertEqual(rows[49_999], cmd(50_000, "Command 050000", 45))
        rows[49_999] = cmd(50_000, "Command 050000", 46)
        self.assert_report(*rows, cmd(100_001, "Command 999999", 1))


class CommandLines(LogHandleTest):
    """Lines of the logs that report the use of a command."""

    def test_names_and_order_numbers(self) -> None:
        self.assert_table((
            ("the first command", command(b"Line"), [cmd(1, "Line", 1)]),
            ("rows are sorted by name and numbered by first use",
             command(b"c") + command(b"B") + command(b"c") + command(b"a"),
             [cmd(2, "B", 1), cmd(3, "a", 1), cmd(1, "c", 2)]),
            ("names that differ in case are different commands",
             command(b"line") + command(b"Line") + command(b"LINE") + command(b"Line"),
             [cmd(3, "LINE", 1), cmd(2, "Line", 2), cmd(1, "line", 1)]),
            ("spaces around a name belong to it",
             command(b"Line") + command(b" Line") + command(b"Line ") + command(b" Line"),
             [cmd(2, " Line", 2), cmd(1, "Line", 1), cmd(3, "Line ", 1)]),
            ("a name of one byte", command(b"A"), [A_ONCE]),
            ("an empty name, in 33 bytes, is not counted", command(b"") + command(b"A"), [A_ONCE]),
            ("a line of 32 bytes", line(b"Command =") + command(b"A"), [A_ONCE]),
            ("a keyword inside a name is part of the name",
             command(OPEN) + command(b"Command = A"),
             [cmd(2, "Command = A", 1), cmd(1, "OnOpenDocument", 1)]),
            # 0x80 is U+20AC and so comes last; 0x81 has no letter and becomes U+0081.
            ("names are ordered by their wide characters",
             b"".join(map(command, (b"\x80", b"\xff", b"\x81", b"~", b"\xc4"))),
             [cmd(4, "~", 1), cmd(3, "\x81", 1), cmd(5, "\xc4", 1), cmd(2, "\xff", 1),
              cmd(1, "\x80", 1)]),
        ))
        self.assertEqual(len(STAMP + b"Command = "), 33)

    def test_near_misses_of_the_prefix_and_the_keyword(self) -> None:
        near_misses = (b"command = A", b"COMMAND = A", b"Command= A", b"Command =A",
                       b"Command  = A", b" Command = A", b"Commands = A", b"Command : A")
        short = STAMP[1:]
        self.assert_table((
            ("a keyword that is spelled otherwise", b"".join(map(line, near_misses)), []),
            ("a prefix of 22 bytes",
             short + b"Command = A\r\n" + short + b"OnOpenDocument\r\n" + short + b"a.prt\r\n", []),
            ("a prefix of 24 bytes", b" " + command(b"A"), []),
            ("any bytes in the prefix",
             b"\x01\x7f\x80\xff\t\r<&>\"'Command = ABCDEF"[:23] + b"Command = A\r\n"
             + b"\xa0" * 23 + b"Command = A\r\n", [cmd(1, "A", 2)]),
        ))

    def test_names_are_written_escaped_and_survive_the_next_run(self) -> None:
        high = bytes(range(0x80, 0x100))
        for about, names, rows in (
            ("spaces", (b"  Line  ", b" "), [(2, '" "'), (1, '"  Line  "')]),
            ("markup", (b"R&D <1>", b"<\"b\"> 'c'", b"it's &amp;"),
             [(2, "'&lt;&quot;b&quot;&gt; &apos;c&apos;'"), (1, '"R&amp;D &lt;1&gt;"'),
              (3, '"it&apos;s &amp;amp;"')]),
            ("control bytes", (b"\x01\t\x1f", b"a\x7f"), [(1, '"&#x01;&#x09;&#x1F;"'),
                                                          (2, '"a\x7f"')]),
            # The XML library as published prints "&#x41;" unescaped, and the next load would make
            # an "A" of it and drop the report for "&#x". The library in use has that fixed.
            ("names that look like references", (b"&#x41;", b"&#x", b"&#65;"),
             [(3, '"&amp;#65;"'), (2, '"&amp;#x"'), (1, '"&amp;#x41;"')]),
            ("every byte above ASCII", (high,), [(1, f'"{high.decode("latin-1")}"')]),
        ):
            with self.case(about):
                for count in (1, 2):
                    self.assert_harvested(
                        b"".join(map(command, names)),
                        *(f'<cmd id="{order}" name={name} count="{count}" />'
                          for order, name in rows),
                    )


class DocumentLines(LogHandleTest):
    """Lines of the logs that report a document, and the path lines after them."""

    def test_file_types(self) -> None:
        self.assert_table((
            ("opening and saving are counted apart",
             opened(b"C:\\a.prt") + saved(b"C:\\a.prt") + opened(b"b.prt") + saved(b"c.asm"),
             [ftype(".asm", 0, 1), ftype(".prt", 2, 1)]),
            ("extensions that differ in case are different types",
             opened(b"a.prt") + opened(b"a.PRT") + opened(b"a.Prt"),
             [ftype(".PRT", 1, 0), ftype(".Prt", 1, 0), ftype(".prt", 1, 0)]),
            ("a path without extension has the empty type",
             opened(b"C:\\folder.d\\noext") + saved(b"") + opened(b"a.b c") + opened(b"x.dwg "),
             [ftype("", 3, 1)]),
            ("the extension begins with the last dot",
             opened(b"c.tar.gz") + opened(b"a.") + opened(b"..") + opened(b".hidden"),
             [ftype(".", 2, 0), ftype(".gz", 1, 0), ftype(".hidden", 1, 0)]),
            # docs/compatibility.md, 25.
            ("a slash and a colon do not end an extension",
             opened(b"a.b/c") + opened(b"a.b:c") + opened(b"C:/x.y/z.w"),
             [ftype(".b/c", 1, 0), ftype(".b:c", 1, 0), ftype(".w", 1, 0)]),
            ("a path of more than 260 characters",
             opened(b"C:\\" + b"folder\\" * 100 + b"a.prt"), [ftype(".prt", 1, 0)]),
        ))

    def test_file_types_are_written_escaped_and_survive_the_next_run(self) -> None:
        log = b"".join(map(opened, (b"x.\x80", b"x.\xe4", b"x.a\"b'", b"x.&<>", b"noext")))
        for count in (1, 2):
            self.assert_harvested(
                log, ftype("", count, 0), ftype(".&amp;&lt;&gt;", count, 0),
                f"<ftype name='.a&quot;b&apos;' ocnt=\"{count}\" scnt=\"0\" />",
                ftype(".\xe4", count, 0), ftype(".\x80", count, 0),
            )

    def test_near_misses_of_the_keywords_are_no_events(self) -> None:
        near_misses = (b"onOpenDocument", b"OnopenDocument", b" OnOpenDocument", b"OnOpenDocumen",
                       b"OnSavedocument", b"ONSAVEDOCUMENT", b"OnSave")
        self.assert_harvested(b"".join(line(rest) + line(b"a.prt") for rest in near_misses))

    def test_the_line_after_a_document_line_is_its_path_line(self) -> None:
        self.assert_table((
            ("what follows the keyword does not matter",
             line(OPEN + b"Ex: x.zip") + line(b"a.prt") + line(SAVE + b"As") + line(b"a.prt"),
             [ftype(".prt", 1, 1)]),
            ("a document line at the end of the file", command(b"A") + line(OPEN, b""), [A_ONCE]),
            ("the same before LF", command(b"A") + line(OPEN, b"\n"), [A_ONCE]),
            ("the same before CR LF", command(b"A") + line(OPEN), [A_ONCE]),
            ("a short path line is consumed",
             line(OPEN) + b"C:\\x\\a.prt\r\n" + command(b"A"), [A_ONCE]),
            ("22 bytes are too short, 23 are an empty path",
             line(OPEN) + b".prt" * 5 + b".p\r\n" + line(SAVE) + b".prt" * 5 + b".pr\r\n",
             [ftype("", 0, 1)]),
            ("a path line is no event",
             line(OPEN) + command(b"A.x") + command(b"A")
             + line(SAVE) + line(OPEN + b".y") + line(b"z.z"),
             [A_ONCE, ftype(".x", 1, 0), ftype(".y", 0, 1)]),
            ("an empty path line is consumed and does not end the file",
             line(OPEN) + b"\r\n" + command(b"A") + line(SAVE) + b"\r\n" + command(b"A"),
             [cmd(1, "A", 2)]),
            ("a second empty line ends the file", line(OPEN) + b"\r\n\r\n" + command(b"A"), []),
            ("a path line without a line end", line(OPEN) + line(b"a.prt", b""),
             [ftype(".prt", 1, 0)]),
        ))


class LineEnds(LogHandleTest):
    """Where a line ends and where the file ends."""

    def test_line_feeds_and_carriage_returns(self) -> None:
        self.assert_table((
            ("LF alone", command(b"A").replace(b"\r", b"") * 3, [cmd(1, "A", 3)]),
            ("no end after the last line", command(b"A") + line(b"Command = B", b""),
             [A_ONCE, cmd(2, "B", 1)]),
            ("a CR alone stays in the line", command(b"A\rB") + line(b"Command = C\r", b""),
             [cmd(1, "A&#x0D;B", 1), cmd(2, "C&#x0D;", 1)]),
            ("one CR before an LF is dropped", line(b"Command = A", b"\r\r\n"),
             [cmd(1, "A&#x0D;", 1)]),
            ("a line of one CR is not empty", b"\r\r\n" + command(b"A"), [A_ONCE]),
            ("an empty line ends the file", command(b"A") + b"\r\n" + command(b"B"), [A_ONCE]),
            ("the same with LF alone", command(b"A") + b"\n" + command(b"B"), [A_ONCE]),
            ("the same at the top", b"\r\n" + command(b"A"), []),
            ("a line of one space does not", b" \r\n" + command(b"A"), [A_ONCE]),
        ))

    def test_the_bytes_1a_and_00(self) -> None:
        self.assert_table((
            ("1A ends the file", command(b"A") + line(b"Command = B\x1aC") + command(b"D"),
             [A_ONCE, cmd(2, "B", 1)]),
            ("1A between a document line and its path line", line(OPEN) + b"\x1a" + line(b"a.prt"),
             []),
            ("NUL ends the text of its line alone", command(b"A\0B") + command(b"C"),
             [A_ONCE, cmd(2, "C", 1)]),
            ("NUL in the prefix makes the line too short",
             STAMP[:10] + b"\0" + STAMP[11:] + b"Command = B\r\n" + command(b"A"), [A_ONCE]),
            ("a line that begins with NUL is empty",
             command(b"A") + b"\0" + command(b"B") + command(b"C"), [A_ONCE]),
            ("a path line that begins with NUL is consumed",
             line(OPEN) + b"\0" + line(b"a.prt") + command(b"A"), [A_ONCE]),
        ))

    def test_lines_of_1023_bytes_are_whole_and_longer_ones_end_the_file(self) -> None:
        name = b"x" * (1023 - 33)
        path = b"x" * (1000 - 4) + b".prt"
        self.assertEqual(len(STAMP + path), 1023)
        self.assert_table((
            ("a command in 1,023 bytes", command(name) + command(b"A"),
             [cmd(2, "A", 1), cmd(1, name.decode(), 1)]),
            ("in 1,024 bytes", command(name + b"y") + command(b"A"), [cmd(1, name.decode(), 1)]),
            ("a long line that is no event",
             command(b"A") + line(b"Info: " + b"x" * 3000) + command(b"B"), [A_ONCE]),
            ("NUL bytes count too", command(b"A\0" + b"x" * 3000) + command(b"B"), [A_ONCE]),
            ("a path in 1,023 bytes", opened(path) + command(b"A"), [A_ONCE, ftype(".prt", 1, 0)]),
            ("a path in 1,024 bytes", opened(path + b"x") + command(b"A"), [ftype(".prt", 1, 0)]),
            ("a long document line ends the file before its path line",
             line(OPEN + b"x" * 1000) + line(b"a.prt") + command(b"A"), []),
        ))

    def test_line_ends_at_every_place_of_a_large_file(self) -> None:
        # Whatever the size of the stream's buffer, some CR LF lies across its edge.
        log = b"".join(command(b"A" * (1 + i % 61)) for i in range(3000))
        self.assertGreater(len(log), 3 * 65536)
        counts = ((n, 3000 // 61 + (n <= 3000 % 61)) for n in range(1, 62))
        self.assert_harvested(log, *(cmd(n, "A" * n, count) for n, count in counts))


class LogFolder(LogHandleTest):
    """Which files of the log folder are read and deleted."""

    def test_without_logs_the_report_stays_as_it_was(self) -> None:
        self.box.report_path.write_bytes(report(cmd(3, "A", 5)))
        self.log_handle()
        self.assert_report(cmd(3, "A", 5))
        self.box.logs.rmdir()
        self.log_handle()
        self.assert_report(cmd(3, "A", 5))
        self.assertFalse(self.box.logs.exists())

    def test_a_missing_log_folder_still_gives_a_first_report(self) -> None:
        self.box.logs.rmdir()
        self.log_handle()
        self.assert_report()

    def test_a_log_folder_that_is_a_file_is_left_alone(self) -> None:
        path = self.box.root / "file.log"
        path.write_bytes(command(b"A"))
        self.run_program("log_handle", windows_path(self.box.data), windows_path(path))
        self.assert_report()
        self.assertEqual(path.read_bytes(), command(b"A"))

    def test_logs_without_any_event_are_deleted_too(self) -> None:
        for name, data in (("empty.log", b""), ("end.log", b"\r\n"), ("noise.log", b"x\r\n"),
                           ("binary.log", bytes(range(256)) * 50)):
            self.box.write_log(name, data)
        self.log_handle()
        self.assert_report()
        self.assertEqual(self.box.log_names(), [])

    def test_other_files_and_subfolders_are_left_alone(self) -> None:
        for name in ("below", "a.log"):
            (self.box.logs / name).mkdir()
            (self.box.logs / name / "deep.log").write_bytes(command(b"B"))
        for name in ("notes.txt", "a.lo", "a.loh", "log", "a.log.bak", "alog"):
            self.box.write_log(name, command(b"B"))
        before = self.box.snapshot()
        self.box.write_log("host.log", command(b"A"))
        self.log_handle()
        self.assert_report(A_ONCE)
        after = self.box.snapshot()
        del after["data/PeltoReport.xml"]
        self.assertEqual(after, before)

    def test_log_names_ignore_case_and_are_tried_in_their_short_form_too(self) -> None:
        # The short form of x.log1 is X.LOG with a number in it.
        names = ("a.LOG", "b.Log", "c.log", ".log", "d.e.lOg", "x.log1")
        for name in names:
            self.assertTrue(oracle.is_log_name(name))
            self.box.write_log(name, command(b"A"))
        self.log_handle()
        self.assert_report(cmd(1, "A", len(names)))
        self.assertEqual(self.box.log_names(), [])

    def test_names_and_folders_outside_the_code_page_are_found(self) -> None:
        logs = self.box.root / "\u65e5\u672c \u03b1\u03b2"
        logs.mkdir()
        for name in ("\u65e5.log", "\u03b1 \u00e9.log"):
            (logs / name).write_bytes(command(b"A"))
        self.run_program("log_handle", windows_path(self.box.data), windows_path(logs))
        self.assert_report(cmd(1, "A", 2))
        self.assertEqual(os.listdir(logs), [])

    def test_many_logs_are_read_in_one_run(self) -> None:
        for number in range(500):
            self.box.write_log(f"session {number}.log", command(b"A") + saved(b"a.prt"))
        self.log_handle()
        self.assert_report(cmd(1, "A", 500), ftype(".prt", 0, 500))
        self.assertEqual(self.box.log_names(), [])

    def test_what_ends_a_log_does_not_end_the_next_one(self) -> None:
        ends = (b"\r\n" + command(b"B"), b"", line(b"x" * 2000), b"\x1a", b"")
        for number, end in enumerate(ends):
            self.box.write_log(f"{number}.log", command(b"A") + end)
        self.log_handle()
        self.assert_report(cmd(1, "A", 5))

    def test_a_document_line_does_not_take_its_path_from_the_next_file(self) -> None:
        self.box.write_log("a.log", line(OPEN))
        self.box.write_log("b.log", line(b"a.prt") + command(b"A"))
        self.log_handle()
        self.assert_report(A_ONCE)

    def test_a_log_that_cannot_be_deleted_is_counted_again(self) -> None:
        log = command(b"A") + opened(b"a.prt")
        path = self.box.write_log("host.log", log)
        path.chmod(0o444)
        for count in (1, 2):
            self.log_handle()
            self.assert_report(cmd(1, "A", count), ftype(".prt", count, 0))
            self.assertEqual(path.read_bytes(), log)


class HeldFiles(LogHandleTest):
    """Files that another process has open."""

    def renew(self) -> None:
        super().renew()
        self.held = self.box.write_log("a.log", command(b"Held"))
        self.box.write_log("b.log", command(b"Free"))

    def test_a_log_that_is_in_use_is_skipped_until_it_is_released(self) -> None:
        for mode in ("write", "unshared"):
            with self.case(mode):
                with held(mode, self.held):
                    self.log_handle()
                    self.assert_report(cmd(1, "Free", 1))
                    self.assertEqual(self.box.log_names(), ["a.log"])
                    self.assertEqual(self.held.read_bytes(), command(b"Held"))
                self.log_handle()
                self.assert_report(cmd(1, "Free", 1), cmd(2, "Held", 1))
                self.assertEqual(self.box.log_names(), [])

    def test_a_log_that_is_only_being_read_is_harvested(self) -> None:
        with held("read", self.held):
            self.log_handle()
            self.assert_report(cmd(2, "Free", 1), cmd(1, "Held", 1))
        self.assertEqual(self.box.log_names(), [])

    def test_a_report_that_cannot_be_opened_is_waited_for(self) -> None:
        # Two waits at once: a second copy finds the report locked by the first one, which is
        # stopped in the middle of its work; and another run finds a folder at the report's path.
        many = 2000
        first_logs = self.box.root / "first"
        first_logs.mkdir()
        for number in range(many):
            (first_logs / f"{number:04}.log").write_bytes(command(b"Many") + opened(b"a.x"))
        data, logs = windows_path(self.box.data), windows_path(self.box.logs)
        blocked = harness.Sandbox()
        self.addCleanup(blocked.remove)
        with ExitStack() as runs:
            blocked.write_settings()
            blocked.write_log("host.log", command(b"A"))
            blocked.report_path.mkdir()
            first = runs.enter_context(
                harness.started("log_handle", data, windows_path(first_logs))
            )
            harness.wait_until(
                lambda: not (first_logs / "0000.log").exists(), 30, "the first copy deletes no log",
                poll=0.001,
            )
            first.send_signal(signal.SIGSTOP)
            self.assertNotEqual(os.listdir(first_logs), [], "the first copy was too fast")
            begin = time.monotonic()
            second = runs.enter_context(harness.started("log_handle", data, logs))
            third = runs.enter_context(harness.started(
                "log_handle", windows_path(blocked.data), windows_path(blocked.logs)
            ))
            # Time enough for a slow machine to bring both as far as the lock.
            time.sleep(5.0)
            first.send_signal(signal.SIGCONT)
            blocked.report_path.rmdir()
            self.assertEqual(harness.wait(first, 30), 0)
            counted = [cmd(1, "Many", many), ftype(".x", many, 0)]
            self.assert_report(*counted)
            for process, box, left in ((second, self.box, ["a.log", "b.log"]),
                                       (third, blocked, ["host.log"])):
                self.assertIsNone(process.poll(), "this copy did not wait")
                self.assertEqual(box.log_names(), left)
            for process in (second, third):
                self.assertEqual(harness.wait(process, 60), 0)
                self.assertGreaterEqual(time.monotonic() - begin, LOCK_WAIT)
            self.assertLess(time.monotonic() - begin, LOCK_WAIT + 15)
            self.assert_report(cmd(3, "Free", 1), cmd(2, "Held", 1), *counted)
            self.assertEqual(self.box.log_names(), [])
            self.assert_bytes(blocked.report_path.read_bytes(), report(A_ONCE))
            self.assertEqual(blocked.log_names(), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
