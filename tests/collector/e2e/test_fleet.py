"""A simulated fleet, whose truth is known: what the collector makes of it must be the truth, from an
import as over HTTP, through retries, duplicates and crashes."""

from __future__ import annotations

import json
import subprocess
import time

import program

# The figures of the intake cannot be known in advance after a crash: it takes answers with it, and
# some of the repeated deliveries were kept already.
ALL_BUT_INTAKE = ("overview", "commands", "file-types", "versions", "machines")
TIMEOUT = 300.0


def run(*arguments: object) -> str:
    """The standard output of a command that succeeds."""
    finished = program.run(*map(str, arguments))
    if finished.returncode != 0:
        raise AssertionError(f"{arguments} ended with {finished.returncode}: {finished.stderr}")
    return finished.stdout


class FleetTest(program.CollectorTest):
    def setUp(self) -> None:
        super().setUp()
        self.truth_file = self.folder / "truth.json"

    def truth(self) -> dict:
        return json.loads(self.truth_file.read_text(encoding="utf-8"))

    def figures(self, figure: str, query: dict, threshold: int) -> dict:
        filters = [part for name, value in query.items() if value is not None
                   for part in (f"--{name}", value)]
        return json.loads(run("figures", figure, "--data", self.data, "--threshold", threshold,
                              *filters))

    def check_truth(self, figures: tuple[str, ...]) -> None:
        """Every query's answer is the truth's."""
        truth = self.truth()["figures"]
        for figure in figures:
            self.assertGreater(len(truth[figure]), 3)
            for case in truth[figure]:
                with self.subTest(figure=figure, query=case["query"]):
                    answer = self.figures(figure, case["query"], 1)
                    expected = case["answer"]
                    if figure == "intake":
                        # Its range is extended to the present.
                        answer, expected = ({key: value for key, value in one.items()
                                             if key not in ("from", "to")}
                                            for one in (answer, expected))
                    self.assertEqual(answer, expected)

    def check_threshold(self, threshold: int) -> None:
        """No number is shown that rests on fewer installations, and what is shown is the truth."""
        identifying = {"overview": ("period",), "commands": ("command",),
                       "file-types": ("file_type",),
                       "versions": ("period", "application", "version"),
                       "machines": ("category", "name", "value")}
        withheld = 0
        for figure, keys in identifying.items():
            for case in self.truth()["figures"][figure]:
                answer = self.figures(figure, case["query"], threshold)
                rows = {tuple(row[key] for key in keys): (row, basis) for row, basis in
                        zip(case["answer"]["rows"], case["basis"])}
                self.assertEqual(len(answer["rows"]) + answer["withheld"]["rows"], len(rows))
                withheld += answer["withheld"]["rows"]
                for shown in answer["rows"]:
                    row, basis = rows[tuple(shown[key] for key in keys)]
                    for name, number in basis.items():
                        if shown[name] is None:
                            continue
                        self.assertEqual(shown[name], row[name], (figure, shown))
                        self.assertTrue(number == 0 or number >= threshold, (figure, shown))
        self.assertGreater(withheld, 0)

    def import_history(self, *options: str) -> None:
        history = self.folder / "history.ndjson"
        run("fleet", "--installations", 200, "--periods", 9, "--seed", 4, "--ndjson", history,
            "--truth", self.truth_file, *options)
        run("import", history, "--data", self.data)


class ImportedHistory(FleetTest):
    def test_the_figures_are_the_truth(self) -> None:
        self.import_history()
        self.check_truth((*ALL_BUT_INTAKE, "intake"))
        run("check", "--data", self.data)

    def test_nothing_is_shown_that_rests_on_few(self) -> None:
        self.import_history()
        self.check_threshold(5)


class HistoryAgain(FleetTest):
    def test_the_figures_are_the_truth_from_parsed_lines_too(self) -> None:
        self.import_history("--parsed")
        self.check_truth((*ALL_BUT_INTAKE, "intake"))

    def test_a_second_import_changes_nothing_but_the_count_of_repetitions(self) -> None:
        self.import_history()
        run("import", self.folder / "history.ndjson", "--data", self.data)
        self.check_truth(ALL_BUT_INTAKE)


class SentFleet(FleetTest):
    def start_fleet(self, server: program.Server, installations: int) -> subprocess.Popen[str]:
        process = subprocess.Popen(
            [program.PROGRAM, "fleet", "--installations", str(installations), "--periods", "4",
             "--seed", "8", "--to", f"http://127.0.0.1:{server.port}/collect", "--truth",
             self.truth_file, "--connections", "16", "--patience", "120"],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def test_the_figures_are_the_truth(self) -> None:
        server = self.serve()
        output, _ = self.start_fleet(server, 250).communicate(timeout=TIMEOUT)
        summary = json.loads(output)
        self.assertEqual((summary["failed"], summary["retries"]), (0, 0))
        # What was answered is in the figures while the server runs.
        self.check_truth((*ALL_BUT_INTAKE, "intake"))

    def test_the_figures_are_the_truth_when_the_server_is_killed_again_and_again(self) -> None:
        server = self.serve()
        fleet = self.start_fleet(server, 1500)
        # Until the first deliveries have arrived, a kill would hit none.
        while self.figures("intake", {}, 1)["rows"][0]["accepted"] == 0:
            self.assertIsNone(fleet.poll())
            time.sleep(0.05)
        kills = 0
        while fleet.poll() is None and kills < 8:
            time.sleep(0.25)
            server.kill()
            kills += 1
            server = self.serve("--intake", f"127.0.0.1:{server.port}")
        output, _ = fleet.communicate(timeout=TIMEOUT)
        summary = json.loads(output)
        self.assertEqual((fleet.returncode, summary["failed"]), (0, 0))
        self.assertGreater(summary["retries"], 0)
        self.assertGreater(kills, 2)
        self.check_truth(ALL_BUT_INTAKE)
        run("check", "--data", self.data)
