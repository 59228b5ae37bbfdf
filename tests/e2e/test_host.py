"""End-to-end tests of the sample of a host application: it writes logs and starts the built program,
which counts them and sends the report to a server on loopback."""

from __future__ import annotations

import re
import unittest

import documents
import harness
from collector import OK, Collector
from documents import cmd, date, ftype, sent
from harness import PROGRAM, ProgramTest, windows_path

HOST = PROGRAM.parent / "SampleHost.exe"


def project_version() -> str:
    """The version of everything that is built here."""
    found = re.search(
        r"project\(PELTOSender VERSION ([0-9.]+)",
        (harness.REPOSITORY / "CMakeLists.txt").read_text("utf-8"),
    )
    assert found is not None
    return found[1]


class Host(ProgramTest):
    """A user who takes part, and a data folder whose name is not easy to hand over."""

    def renew(self) -> None:
        super().renew()
        # What the machine is, is known.
        self.box.write_settings(LastSysInfoCollectingDate=date())
        folder = self.box.root / "Dät\u0101 'a' \u65e5\u672c %TEMP% & (1)"
        self.box.data.rename(folder)
        self.data = folder
        self.report = folder / "PeltoReport.xml"

    def play(self, address: str, *lines: str) -> int:
        """Lets the host play a script; returns its exit code."""
        script = self.box.root / "script.txt"
        script.write_text("\n".join(lines) + "\n", "utf-8")
        return harness.run_wine(
            HOST, windows_path(PROGRAM), address, windows_path(self.data) + "\\",
            windows_path(self.box.logs) + "\\", windows_path(script),
        )

    def test_closed_logs_are_counted_and_the_report_is_sent(self) -> None:
        with Collector(OK) as server:
            code = self.play(
                server.url, "command Line", "open C:\\Plans\\House v2.dwg", "command Änderung",
                "command Line", "save C:\\Plans\\House v2.pdf", "rotate",
                "command Only in the open log", "count-and-send",
            )
            self.assertTrue(server.wait_served(harness.RUN_TIMEOUT), "nothing was sent")
            exchanges = server.finish()
        self.assertEqual(code, 0)
        self.assertEqual(len(exchanges), 1)
        form = dict(exchanges[0].form())
        self.assertEqual(list(form), ["Id", "peltorpt"])
        expected = documents.report(
            cmd(1, "Line", 2), cmd(2, "Änderung", 1), ftype(".dwg", 1, 0), ftype(".pdf", 0, 1),
            application="Sample Host", version=project_version(),
        )
        self.assert_bytes(exchanges[0].payload(), sent(expected))
        harness.wait_until(lambda: not self.report.exists(), 30, "the report was not deleted")

    def test_a_line_that_is_none_ends_the_script(self) -> None:
        self.assertEqual(self.play("", "command Line", "jump"), 1)


if __name__ == "__main__":
    unittest.main()
