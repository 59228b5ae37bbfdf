"""The real program delivers to the real collector: what it deletes is kept, and counted once.

Run it with the folders of both programs' end-to-end tests in PYTHONPATH.
"""

from __future__ import annotations

import json
import socket
import tempfile
import unittest
from pathlib import Path

import documents
import program
from documents import TRANSMISSION, cmd, ftype
from test_upload import APPLICATION, ROWS, UploadTest

GROWN = (cmd(2, "Arc", 1), cmd(1, "Line", 5), ftype(".dwg", 2, 4))


class Delivery(UploadTest):
    def setUp(self) -> None:
        super().setUp()
        temporary = tempfile.TemporaryDirectory(prefix="together-")
        self.addCleanup(temporary.cleanup)
        self.collected = Path(temporary.name, "data")

    def serve(self, *arguments: str) -> program.Server:
        server = program.Server(self.collected, *arguments)
        self.addCleanup(server.kill)
        return server

    def send_to(self, port: int) -> None:
        self.duty(f"http://127.0.0.1:{port}/collect")

    def kept(self) -> list[dict[str, object]]:
        done = program.run("export", "--data", str(self.collected))
        self.assertEqual(done.returncode, 0, done.stderr)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def assert_confirmed(self) -> None:
        self.assertFalse(self.box.report_path.exists(), "the report was not deleted")
        self.assert_just_now(TRANSMISSION)

    def make_due(self) -> None:
        """The settings of a sender that got no confirmation."""
        self.box.write_settings(LastSysInfoCollectingDate=documents.date())

    def test_a_confirmed_report_is_kept_as_it_was_sent(self) -> None:
        self.send_to(self.serve().port)
        self.assert_confirmed()
        (line,) = self.kept()
        self.assertEqual(line["installation"], documents.IDENTIFIER)
        self.assertEqual(line["application"], APPLICATION)
        self.assertEqual(line["commands"], [{"name": "Line", "uses": 3, "order": 1}])
        self.assertEqual(line["file_types"], [{"name": ".dwg", "opened": 2, "saved": 1}])

    def test_a_report_survives_a_collector_that_is_away(self) -> None:
        with socket.socket() as listener:
            listener.bind(("127.0.0.1", 0))
            port = listener.getsockname()[1]
        settings = self.box.settings_path.read_bytes()
        self.send_to(port)
        self.assert_nothing_lost(settings)
        self.send_to(self.serve("--intake", f"127.0.0.1:{port}").port)
        self.assert_confirmed()
        self.assertEqual(len(self.kept()), 1)

    def test_a_refused_report_stays_with_the_sender(self) -> None:
        settings = self.box.settings_path.read_bytes()
        self.send_to(self.serve("--product", "another", "--product", "one").port)
        self.assert_nothing_lost(settings)
        self.assertEqual(self.kept(), [])

    def test_a_report_that_was_sent_again_and_has_grown_counts_once(self) -> None:
        port = self.serve().port
        self.use_rows(*ROWS)
        self.send_to(port)
        # As if the confirmation had been lost: the report is there still, and has grown.
        self.make_due()
        self.use_rows(*GROWN)
        self.send_to(port)
        self.assertEqual([line["replaced"] for line in self.kept()], [True, False])
        done = program.run("figures", "commands", "--data", str(self.collected), "--threshold", "1")
        rows = json.loads(done.stdout)["rows"]
        self.assertEqual([(row["command"], row["uses"]) for row in rows], [("Line", 5), ("Arc", 1)])


if __name__ == "__main__":
    unittest.main()
