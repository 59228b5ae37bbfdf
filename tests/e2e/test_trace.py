"""End-to-end tests of the trace: a release writes nothing to the debugger's output, a build with
PELTO_TRACE a line for each step.

PELTO_TRACES=yes says that the program under test (PELTO_EXE) is such a build.
"""

from __future__ import annotations

import os
import re
import tempfile
import unittest

import harness
from documents import command, date
from harness import windows_path

TRACES = os.environ.get("PELTO_TRACES") == "yes"
LINE = re.compile(rb'OutputDebugString[AW] L?"PELTOSender: (.*)\\n"')


class Trace(harness.ProgramTest):
    """The lines on the debugger's output, which Wine shows among the warnings of a channel."""

    def assert_traced(self, *expected: str, arguments: tuple[str, ...]) -> None:
        """Runs the program; a build without the trace writes none of the lines."""
        with tempfile.TemporaryFile() as errors, harness.changed_environment(WINEDEBUG="warn+seh"):
            process = harness.launch(harness.PROGRAM, *arguments, stderr=errors)
            self.assertEqual(harness.wait(process, harness.RUN_TIMEOUT), 0)
            errors.seek(0)
            lines = [
                line.decode("ascii").replace("\\\\", "\\") for line in LINE.findall(errors.read())
            ]
        self.assertEqual(lines, list(expected) if TRACES else [])

    def test_a_refused_command_line(self) -> None:
        self.assert_traced("parse the command line: failed", arguments=("duty",))

    def test_counting_logs(self) -> None:
        self.box.write_settings(1)
        log = self.box.write_log("a.log", command(b"Line"))
        held = self.box.write_log("b.log", command(b"Arc"))
        with harness.held("write", held):
            self.assert_traced(
                "parse the command line: done",
                "read or make the identifier: done",
                "open the report: done",
                "consent state: 1",
                "load the report: failed",
                "find the log folder: done",
                f"count a log: {windows_path(log)}",
                "delete the log: done",
                f"skip a log that is in use: {windows_path(held)}",
                "save the report: done",
                arguments=(
                    "log_handle", windows_path(self.box.data), windows_path(self.box.logs)
                ),
            )

    def test_a_reminder_that_is_not_due(self) -> None:
        self.box.write_settings(2)
        self.assert_traced(
            "parse the command line: done",
            "read or make the identifier: done",
            "open the report: done",
            "consent state: 2",
            "reminder: not due",
            arguments=("duty", "http://127.0.0.1/", windows_path(self.box.data), "", ""),
        )

    def test_an_upload_that_fails(self) -> None:
        self.box.write_settings(1, LastSysInfoCollectingDate=date())
        self.assert_traced(
            "parse the command line: done",
            "read or make the identifier: done",
            "open the report: done",
            "consent state: 1",
            "transmission: due",
            "survey: not due",
            "load the report: failed",
            "save the report: done",
            "read the report: done",
            "make the upload's identifier: done",
            "upload: Calculating size of data to send.",
            "upload: Opening Internet connection.",
            "upload: Connecting to server",
            "upload: Error connecting to server",
            "upload: Error sending HTTP request.",
            "upload the report: failed",
            arguments=("duty", "http://", windows_path(self.box.data), "", ""),
        )


if __name__ == "__main__":
    unittest.main(verbosity=2)
