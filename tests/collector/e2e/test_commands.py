"""The commands of the data folder, as an operator runs them."""

from __future__ import annotations

import contextlib
import json
import random
import sqlite3
import uuid
from pathlib import Path
from typing import Any

import program
import senders

PRODUCTS = ("cad", "cam")
FIGURES = ("overview", "commands", "file-types", "versions", "machines", "intake")
PASSWORD = "0123456789"


def guid(number: int) -> str:
    return str(uuid.UUID(int=number))


def line(number: int, installation: str = "machine-1", received: str = "2026-01-05T10:00:00Z",
         **more: Any) -> dict[str, Any]:
    """A delivery as an export has it, with the members in their order."""
    return {"received": received, "product": "default", "id": guid(number),
            "installation": installation, "application": "", "version": "", "replaced": False,
            "commands": [], "file_types": [], "machine": []} | more


def text_line(number: int, report: senders.Report, **more: Any) -> dict[str, Any]:
    """A delivery with the report's text."""
    return {"received": "2026-01-05T10:00:00Z", "product": "default", "id": guid(number),
            "report": report.text()} | more


def as_text(lines: list[dict[str, Any]]) -> str:
    return "".join(json.dumps(entry, ensure_ascii=False) + "\n" for entry in lines)


def history(seed: int, installations: int) -> list[dict[str, Any]]:
    """Reports of two products over five periods, some of them sent twice, in no order."""
    pick = random.Random(seed)
    lines = []
    for installation in range(installations):
        for period in range(5):
            if pick.random() < 0.2:
                continue
            day = 1 + period * 28 + pick.randrange(28)
            uses = {name: pick.randrange(1, 90) for name in ("Line", "Zöóm", "=1+1", "Площадь")
                    if pick.random() < 0.7}
            for again in range(1 + (pick.random() < 0.2)):
                received = f"2026-{1 + day // 28:02}-{1 + day % 28:02}T{10 + again}:00:00Z"
                lines.append(line(
                    len(lines) + 1, f"machine-{installation}", received,
                    product=PRODUCTS[installation % 2], application="Example Designer",
                    version=pick.choice(["1.0", "9.0", "10.0"]),
                    commands=[{"name": name, "uses": count + again, "order": place}
                              for place, (name, count) in enumerate(uses.items())],
                    file_types=[{"name": ".dwg", "opened": pick.randrange(3), "saved": 1}],
                    machine=[{"category": "OS", "name": "Version", "value": pick.choice("789")},
                             {"category": "System", "name": "TotalPhysicalMemory",
                              "value": str(pick.randrange(1 << 30, 1 << 34))}]))
    pick.shuffle(lines)
    return lines


class CommandTest(program.CollectorTest):
    def run_in(self, data: Path, *arguments: str, text: str | None = None) -> str:
        """The standard output of a command that succeeds without a word of complaint."""
        done = program.run(*arguments, "--data", str(data), text=text)
        self.assertEqual((done.returncode, done.stderr), (0, ""), arguments)
        return done.stdout

    def command(self, *arguments: str, text: str | None = None) -> str:
        return self.run_in(self.data, *arguments, text=text)

    def complaint(self, *arguments: str, text: str | None = None) -> str:
        """The one line on standard error of a command that fails."""
        done = program.run(*arguments, text=text)
        self.assertEqual(done.returncode, 1, arguments)
        self.assertRegex(done.stderr, r"\A[^\n]+\n\Z", arguments)
        return done.stderr

    def take(self, lines: list[dict[str, Any]]) -> str:
        return self.command("import", "-", text=as_text(lines))

    def figure(self, name: str, *arguments: str) -> Any:
        return json.loads(self.command("figures", name, *arguments))

    def check(self) -> None:
        self.assertIn("consistent", self.command("check"))


class ImportAndExport(CommandTest):
    def test_an_export_gives_the_same_figures_in_a_new_folder(self) -> None:
        self.take(history(1, 120))
        exported = self.command("export")
        copy = self.folder / "copy"
        file = self.folder / "export.ndjson"
        file.write_text(exported)
        self.run_in(copy, "import", str(file))
        self.assertEqual(self.run_in(copy, "export"), exported)
        for product in PRODUCTS:
            for name in FIGURES:
                for more in ((), ("--threshold", "1"), ("--format", "csv"), ("--version", "9.0"),
                             ("--from", "2026-02-10"), ("--to", "2026-02-10")):
                    arguments = ("figures", name, "--product", product, *more)
                    self.assertEqual(self.run_in(copy, *arguments), self.command(*arguments))
        self.check()
        self.assertIn("consistent", self.run_in(copy, "check"))

    def test_an_export_is_by_time_then_identifier_with_the_keys_in_order(self) -> None:
        full = line(4, "machine-2", "2026-02-20T10:00:00Z", application="App", version="1.0",
                    commands=[{"name": "Line", "uses": 26, "order": 2},
                              {"name": "Zöóm", "uses": 1, "order": 0}],
                    file_types=[{"name": ".dwg", "opened": 2, "saved": 3}],
                    machine=[{"category": "OS", "name": "Version", "value": "10"}])
        lines = [full, line(3, "a"), line(1, "b"), line(2, "c", "2026-01-04T10:00:00Z")]
        self.take(lines)
        written = [json.loads(entry) for entry in self.command("export").splitlines()]
        self.assertEqual(written, [lines[3], lines[2], lines[1], full])
        for entry in written:
            self.assertEqual(list(entry), list(full))
            for command in entry["commands"]:
                self.assertEqual(list(command), ["name", "uses", "order"])

    def test_of_one_installation(self) -> None:
        lines = [line(1, "a"), line(2, "b")]
        self.take(lines)
        self.assertEqual(json.loads(self.command("export", "--installation", "b")), lines[1])
        self.assertEqual(self.command("export", "--installation", "c"), "")

    def test_an_export_says_that_deliveries_are_damaged(self) -> None:
        commands = [{"name": "Line", "uses": 1, "order": 1}]
        self.take([line(1, "a", commands=commands), line(2, "b", commands=commands)])
        with sqlite3.connect(self.data / "reports.sqlite") as database:
            database.execute("UPDATE report SET packed = x'ff' WHERE number = 1")
        done = program.run("export", "--data", str(self.data))
        self.assertEqual(done.returncode, 1)
        self.assertEqual([bool(json.loads(entry)["commands"])
                          for entry in done.stdout.splitlines()], [False, True])
        self.assertRegex(done.stderr, r"\Apelto-collector: damaged deliveries: 1; [^\n]+\n\Z")

    def test_a_grown_report_replaces_the_earlier_one_in_any_order_of_lines(self) -> None:
        grown = [line(number, "a", f"2026-01-{number:02}T00:00:00Z",
                      commands=[{"name": "Line", "uses": number, "order": 1}])
                 for number in (3, 1, 2)]
        self.assertEqual(self.take(grown),
                         "3 accepted (2 of them replaced another), 0 repeated, 0 refused\n")
        rows = self.figure("commands", "--threshold", "1")["rows"]
        self.assertEqual([(row["uses"], row["installations"]) for row in rows], [(3, 1)])
        self.assertEqual([json.loads(entry)["replaced"]
                          for entry in self.command("export").splitlines()], [True, True, False])

    def test_a_text_follows_the_rules_of_intake(self) -> None:
        report = senders.Report("machine-1", {"Öffnen": (3, 1)}, {".dwg": (1, 2)},
                                {("OS", "Version"): "10",
                                 ("Adapter", "MACAddress"): "02:fc:00:00:00:01"},
                                email="Ann@example.com")
        self.take([text_line(1, report)])
        kept = json.loads(self.command("export"))
        self.assertEqual(kept["commands"], [{"name": "Öffnen", "uses": 3, "order": 1}])
        self.assertEqual(kept["machine"], [{"category": "OS", "name": "Version", "value": "10"}])
        self.assertNotIn("example.com", json.dumps(kept))

    def test_lines_that_cannot_be_taken_are_named_and_the_others_taken(self) -> None:
        text = as_text([line(1)]) + "no JSON\n\n" + as_text(
            [line(2, "b") | {"id": "x"}, line(3, ""), line(4, "d")]) + "\udcff\n"
        done = program.run("import", "-", "--data", str(self.data),
                           text=text.replace("\udcff", "{\"received\":1}"))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr,
                         "line 2: bad-line\nline 4: bad-id\nline 5: no-installation\n"
                         "line 7: bad-line\n")
        self.assertIn("2 accepted", done.stdout)
        self.assertIn("4 refused", done.stdout)
        self.assertEqual(len(self.command("export").splitlines()), 2)
        self.assertEqual(self.figure("intake")["rows"],
                         [{"accepted": 2, "replaced": 0, "repeated": 0,
                           "refused": {"bad-id": 1, "no-installation": 1}}])

    def test_a_second_import_changes_nothing_but_the_repeated_ones(self) -> None:
        lines = [line(1), line(2, "b")]
        self.take(lines)
        before = self.command("export")
        self.assertIn("0 accepted (0 of them replaced another), 2 repeated", self.take(lines))
        self.assertEqual(self.command("export"), before)
        self.assertEqual(self.figure("intake")["rows"][0]["repeated"], 2)


class Figures(CommandTest):
    def test_of_several_products_need_a_name(self) -> None:
        self.take([line(1, product="cad"), line(2, product="cam")])
        data = ("--data", str(self.data))
        self.assertIn("cad, cam", self.complaint("figures", "overview", *data))
        self.assertIn("product", self.complaint("figures", "overview", "--product", "x", *data))
        self.assertEqual(self.figure("overview", "--product", "cad")["product"], "cad")

    def test_withhold_what_rests_on_few(self) -> None:
        lines = [line(number, f"machine-{number}", version="1.0" if number < 8 else "2.0",
                      commands=[{"name": "Line", "uses": 1, "order": 1}])
                 for number in range(10)]
        self.take(lines)
        commands = self.figure("commands")
        self.assertEqual((commands["threshold"], commands["installations"]), (5, 10))
        self.assertEqual(commands["rows"], [{"command": "Line", "uses": 10, "installations": 10,
                                             "share": 1.0, "median_order": 1}])
        # The two with version 2.0 would be the difference.
        versions = self.figure("versions")
        self.assertEqual((versions["rows"], versions["withheld"]), ([], {"rows": 2}))
        self.assertEqual(self.figure("versions", "--threshold", "2")["withheld"], {"rows": 0})
        self.assertEqual(self.figure("commands", "--version", "1.0")["rows"], [])

    def test_of_an_empty_folder_have_no_rows(self) -> None:
        for name in FIGURES[:-1]:
            answer = self.figure(name)
            self.assertEqual((answer["product"], answer["installations"], answer["rows"]),
                             ("default", 0, []))

    def test_in_csv(self) -> None:
        self.take([line(number, f"machine-{number}",
                        commands=[{"name": "=1+1", "uses": 2, "order": 0}])
                   for number in range(6)])
        done = program.run("figures", "commands", "--data", str(self.data), "--format", "csv")
        # Text mode turns CR LF into LF.
        self.assertEqual(done.stdout, "command,uses,installations,share,median_order\n"
                                      "'=1+1,12,6,1.0,\n")


class Erase(CommandTest):
    def setUp(self) -> None:
        super().setUp()
        self.take([text_line(1, senders.Report("machine-1", {"SecretOfAnn": (1, 1)},
                                               email="Ann@Example.com")),
                   text_line(2, senders.Report("machine-2", {"Line": (1, 1)},
                                               email="ann@example.COM"), product="cad"),
                   text_line(3, senders.Report("machine-3", {"Line": (1, 1)}))])

    def installations(self) -> list[str]:
        return [json.loads(entry)["installation"]
                for entry in self.command("export").splitlines()]

    def test_by_installation(self) -> None:
        receipt = json.loads(self.command("erase", "--installation", "machine-1"))
        self.assertEqual(list(receipt), ["erased", "at", "subject", "signature"])
        self.assertEqual(receipt["erased"], {"installations": 1, "deliveries": 1, "contacts": 1})
        self.assertEqual(self.installations(), ["machine-2", "machine-3"])
        for file in self.data.iterdir():
            content = file.read_bytes()
            for trace in (b"machine-1", b"Ann@Example.com", b"SecretOfAnn"):
                self.assertNotIn(trace, content, file)
        self.check()

    def test_by_address_in_every_product_and_letter_case(self) -> None:
        receipt = json.loads(self.command("erase", "--email", "ANN@example.com"))
        self.assertEqual(receipt["erased"], {"installations": 2, "deliveries": 2, "contacts": 2})
        self.assertEqual(self.installations(), ["machine-3"])
        self.check()

    def test_of_nobody_has_a_receipt_with_zeros(self) -> None:
        for subject in (("--installation", "machine-9"), ("--email", "bob@example.com")):
            receipt = json.loads(self.command("erase", *subject))
            self.assertEqual(receipt["erased"],
                             {"installations": 0, "deliveries": 0, "contacts": 0})

    def test_an_erased_delivery_can_come_again(self) -> None:
        self.command("erase", "--installation", "machine-3")
        self.assertIn("1 accepted", self.take([line(3, "machine-3")]))

    def test_a_receipt_can_be_verified(self) -> None:
        receipt = self.command("erase", "--installation", "machine-1")
        file = self.folder / "receipt.json"
        file.write_text(receipt)
        self.assertEqual(self.command("erase", "--verify", str(file)), "valid\n")
        self.assertEqual(self.command("erase", "--verify", "-", text=receipt), "valid\n")
        for wrong in (receipt.replace('"deliveries":1', '"deliveries":2'), "", "{}"):
            done = program.run("erase", "--verify", "-", "--data", str(self.data), text=wrong)
            self.assertEqual((done.returncode, done.stdout), (1, "not valid\n"))
        other = self.folder / "other"
        done = program.run("erase", "--verify", str(file), "--data", str(other))
        self.assertEqual((done.returncode, done.stdout), (1, "not valid\n"))

    def test_beside_a_long_reader_has_a_receipt_and_fails(self) -> None:
        with contextlib.closing(sqlite3.connect(self.data / "reports.sqlite")) as reader:
            reader.execute("BEGIN")
            reader.execute("SELECT count(*) FROM report").fetchone()
            done = program.run("erase", "--installation", "machine-1", "--data", str(self.data))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(json.loads(done.stdout)["erased"]["installations"], 1)
        self.assertEqual(self.command("erase", "--verify", "-", text=done.stdout), "valid\n")
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        self.assertIn("erase again", done.stderr)
        self.assertEqual(self.installations(), ["machine-2", "machine-3"])
        self.command("erase", "--installation", "machine-1")
        for file in self.data.iterdir():
            self.assertNotIn(b"machine-1", file.read_bytes(), file)
        with contextlib.closing(sqlite3.connect(self.data / "reports.sqlite")) as reader:
            entries = reader.execute("SELECT detail FROM audit WHERE action = 'erase' "
                                     "ORDER BY number").fetchall()
        self.assertEqual([detail.split(",")[0] for (detail,) in entries],
                         ["by installation: installations 1", "by installation: installations 0"])

    def test_in_a_backup(self) -> None:
        backup = self.folder / "backup.sqlite"
        self.command("backup", str(backup))
        receipt = self.command("erase", "--installation", "machine-1", "--backup", str(backup))
        self.assertEqual(json.loads(receipt)["erased"]["deliveries"], 1)
        self.assertEqual(self.command("erase", "--verify", "-", text=receipt), "valid\n")
        self.assertNotIn(b"machine-1", backup.read_bytes())
        self.assertIn("machine-1", self.installations(), "the folder is another matter")
        missing = str(self.folder / "missing")
        self.assertIn("missing", self.complaint("erase", "--installation", "a", "--backup", missing,
                                                "--data", str(self.data)))
        self.assertFalse(Path(missing).exists())


class BackupAndCheck(CommandTest):
    def test_a_backup_has_everything(self) -> None:
        self.take(history(2, 20))
        backup = self.folder / "backup.sqlite"
        self.command("backup", str(backup))
        copy = self.folder / "copy"
        copy.mkdir()
        backup.rename(copy / "reports.sqlite")
        self.assertEqual(self.run_in(copy, "export"), self.command("export"))
        self.assertIn("consistent", self.run_in(copy, "check"))

    def test_a_backup_replaces_no_file(self) -> None:
        backup = self.folder / "backup.sqlite"
        backup.write_text("mine")
        self.assertIn("exists", self.complaint("backup", str(backup), "--data", str(self.data)))
        self.assertEqual(backup.read_text(), "mine")

    def test_check_says_what_is_wrong(self) -> None:
        self.take(history(3, 20))
        self.check()
        with sqlite3.connect(self.data / "reports.sqlite") as database:
            database.execute("DELETE FROM report WHERE number = 1")
        done = program.run("check", "--data", str(self.data))
        self.assertEqual(done.returncode, 1)
        self.assertNotEqual(done.stdout, "")
        self.assertRegex(done.stderr, r"\A[^\n]+\n\Z")


class Users(CommandTest):
    def add(self, name: str, role: str = "viewer", password: str = PASSWORD) -> str:
        return self.command("user", "add", name, "--role", role, "--password-stdin",
                            text=password + "\n")

    def user_complaint(self, *arguments: str, password: str = PASSWORD) -> str:
        return self.complaint("user", *arguments, "--data", str(self.data), text=password)

    def test_are_added_listed_and_removed(self) -> None:
        self.add("zoe")
        self.add("ann", "admin")
        self.assertEqual(self.command("user", "list"), "ann admin\nzoe viewer\n")
        self.command("user", "password", "ann", "--password-stdin", text="9876543210")
        self.command("user", "remove", "zoe")
        self.assertEqual(self.command("user", "list"), "ann admin\n")

    def test_their_passwords_are_in_no_file(self) -> None:
        self.add("ann")
        for file in self.data.iterdir():
            self.assertNotIn(PASSWORD.encode(), file.read_bytes(), file)

    def test_complaints(self) -> None:
        self.add("ann")
        add = ("add", "bob", "--role", "viewer", "--password-stdin")
        self.assertIn("exists", self.user_complaint("add", "ann", *add[2:]))
        self.assertIn("short", self.user_complaint(*add, password="012345678\n"))
        self.assertIn("name", self.user_complaint("add", "b b", *add[2:]))
        self.assertIn("role", self.user_complaint("add", "bob", "--role", "root", add[4]))
        self.assertIn("--password-stdin", self.user_complaint(*add[:4]))
        self.assertIn("bob", self.user_complaint("remove", "bob"))
        self.assertIn("bob", self.user_complaint("password", "bob", "--password-stdin"))
        self.assertEqual(self.command("user", "list"), "ann viewer\n")


class CommandLine(CommandTest):
    def test_help_and_version(self) -> None:
        cmake = (program.ROOT / "CMakeLists.txt").read_text()
        version = cmake.partition("VERSION ")[2].partition("project(")[2]
        version = version.partition("VERSION ")[2].split()[0]
        done = program.run("--version")
        self.assertEqual((done.returncode, done.stdout), (0, f"pelto-collector {version}\n"))
        for arguments in (("--help",), ("figures", "--help"), ("user", "add", "--help")):
            done = program.run(*arguments)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertIn("Usage", done.stdout)

    def test_errors_are_one_line(self) -> None:
        data = ("--data", str(self.data))
        for arguments in ((), ("nonsense",), ("figures",), ("figures", "nonsense", *data),
                          ("figures", "overview"), ("figures", "overview", "--nonsense", *data),
                          ("figures", "overview", "more", *data),
                          ("figures", "overview", "--threshold", "0", *data),
                          ("figures", "overview", "--threshold", "x", *data),
                          ("figures", "overview", "--format", "xml", *data),
                          ("figures", "overview", "--from", "x", *data),
                          ("figures", "overview", "--from", "2026-02-01", "--to", "2026-01-01",
                           *data),
                          ("import", "/nonexistent", *data), ("import", *data), ("erase", *data),
                          ("erase", "--installation", "a", "--email", "b", *data),
                          ("user", *data), ("backup", *data), ("export", "--data", "/dev/null/a"),
                          ("check", "--config", "/nonexistent")):
            with self.subTest(arguments):
                self.complaint(*arguments)

    def test_a_data_folder_is_made_for_its_owner_only(self) -> None:
        self.data = self.folder / "above" / "data"
        self.command("check")
        self.assertEqual(self.data.stat().st_mode & 0o777, 0o700)

    def test_options_can_come_from_a_file(self) -> None:
        self.take([line(1, product="cad"), line(2, product="cam")])
        config = self.folder / "collector.toml"
        config.write_text(f'# the data\ndata = "{self.data}"\nproduct = "cad"\nthreshold = 1\n')
        done = program.run("figures", "overview", "--config", str(config))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        answer = json.loads(done.stdout)
        self.assertEqual((answer["product"], answer["threshold"]), ("cad", 1))
        done = program.run("figures", "overview", "--config", str(config), "--product", "cam")
        self.assertEqual(json.loads(done.stdout)["product"], "cam", "the command line is stronger")
        done = program.run("check", "--config", str(config))
        self.assertEqual((done.returncode, done.stderr), (0, ""), "a command takes what it has")

    def test_a_file_can_name_several_products(self) -> None:
        self.take([line(1, product="cad"), line(2, product="cam")])
        config = self.folder / "collector.toml"
        config.write_text(f'data = "{self.data}"\nproduct = ["cad", "cam"]\n')
        done = program.run("check", "--config", str(config))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("cad, cam", self.complaint("figures", "overview", "--config", str(config)))
        done = program.run("figures", "overview", "--config", str(config), "--product", "cam")
        self.assertEqual(json.loads(done.stdout)["product"], "cam")

    def test_options_of_a_file_are_judged_together(self) -> None:
        config = self.folder / "collector.toml"
        # Less than a body may have unless that is set, too.
        config.write_text(f'data = "{self.data}"\nmax-in-flight = 2000\nmax-body = 1000\n')
        done = program.run("check", "--config", str(config))
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_a_wrong_file_of_options_is_named(self) -> None:
        config = self.folder / "collector.toml"
        for text, word in (("nonsense = 1\n", "nonsense"), ("[figures]\nproduct = 1\n", "figures"),
                           ("some words\n", "some words"), ("threshold = x\n", "threshold"),
                           ("threshold = [5, 6]\n", "threshold"), ("code-page = 7\n", "code page"),
                           ('tls-certificate = "x"\n', "--tls-key"),
                           ("max-body = 2000\nmax-in-flight = 1000\n", "--max-in-flight"),
                           ('product = ["cad", ""]\n', "product")):
            with self.subTest(text):
                config.write_text(f'data = "{self.data}"\n{text}')
                done = program.run("check", "--config", str(config))
                self.assertEqual(done.returncode, 1)
                self.assertIn(word, done.stdout + done.stderr)
                self.assertRegex(done.stderr, r"\A[^\n]+\n\Z")
