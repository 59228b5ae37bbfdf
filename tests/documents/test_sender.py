"""The documents about the sender, followed under Wine with the built program, and in a shell."""

from __future__ import annotations

import os
import re
import shlex
import shutil
import subprocess
import unittest
import xml.etree.ElementTree
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import collector
import dialog
import documents
import follow
import harness
import manual
import program
from follow import only_block
from harness import PROGRAM, REPOSITORY, ProgramTest

INTEGRATION = "docs/integration.md"
HOST = PROGRAM.parent / "SampleHost.exe"
COMPILER = ("x86_64-w64-mingw32-g++-posix", "-std=c++20", "-fsyntax-only", "-xc++", "-")


def words_of(command: str) -> list[str]:
    """The arguments of a command line of Windows whose quotation marks are simple ones."""
    return [quoted or plain for quoted, plain in re.findall(r'"([^"]*)"|(\S+)', command)]


def compile_source(source: str, folder: Path) -> None:
    """Compiles a text for Windows."""
    done = subprocess.run([*COMPILER, f"-I{folder}"], input=source, capture_output=True, text=True,
                          timeout=program.PATIENCE, check=False)
    if done.returncode != 0:
        raise AssertionError(done.stderr)


class OwnDrive(unittest.TestCase):
    """A test with a Wine prefix of its own, and so with its own drive C:."""

    def setUp(self) -> None:
        super().setUp()
        self.enterContext(harness.own_prefix())
        self.drive = harness.WINE_PREFIX / "drive_c"


class Walk(OwnDrive, follow.Followed):
    """From nothing to the first report."""

    document = INTEGRATION

    def setUp(self) -> None:
        super().setUp()
        self.root = self.folder / "clone"
        shutil.copytree(REPOSITORY / "scripts", self.root / "scripts")
        built = self.root / "build" / "windows"
        built.mkdir(parents=True)
        for file in (PROGRAM, HOST):
            shutil.copy(file, built)
        (self.root / "build" / "collector").mkdir()
        (self.root / "build" / "collector" / follow.COLLECTOR).symlink_to(program.PROGRAM.resolve())
        self.environment["PELTO_WINEPREFIX"] = str(harness.WINE_PREFIX)

    def perform(self, command: str) -> str:
        if " dlg " in command:
            return self.answer(command)
        if " export " in command:
            (server,) = self.servers.values()
            server.await_metric('pelto_collector_deliveries_total{outcome="accepted"}', "1")
        output = super().perform(command)
        # What Wine itself remarks comes at any time.
        return re.sub(r"(?m)^wine: .*\n", "", output)

    def answer(self, command: str) -> str:
        """Runs a command that shows the dialog, and answers it as the document says."""
        driver = dialog.Driver()
        try:
            with ThreadPoolExecutor(1) as pool:
                run = pool.submit(super().perform, command)
                self.assertTrue(driver.ask("wait", dialog.APPEARS_WITHIN), "there is no dialog")
                driver.ask("click", dialog.PARTICIPATE)
                driver.ask("click", dialog.OK)
                return run.result()
        finally:
            driver.close()

    def test_it_leads_to_the_first_report(self) -> None:
        self.follow()
        self.assertTrue((self.drive / "Try" / "Data" / "PeltoReport.ini").exists())

    def test_the_commands_for_windows_are_those_for_wine(self) -> None:
        for_wine = [
            shlex.split(re.sub(r'"\$\(windows_path .*?\)"', r"'C:\\Try\\PELTOSender.exe'", command))[1:]
            for block in manual.blocks(INTEGRATION) if block.language == "sh"
            for command, _ in follow.commands(block) if command.startswith("wine ")
        ]
        text = only_block(INTEGRATION, "bat", "PELTOSender dlg").text
        text = text.replace("COLLECTOR:8480", "127.0.0.1:8480")
        for_windows = [words_of(line) for line in text.splitlines()]
        self.assertEqual([[words[0] + ".exe", *words[1:]] for words in for_windows], for_wine)


class Building(OwnDrive, follow.Followed):
    """docs/building.md."""

    document = "docs/building.md"

    def setUp(self) -> None:
        super().setUp()
        self.root = REPOSITORY
        self.environment["PELTO_WINEPREFIX"] = str(harness.WINE_PREFIX)
        self.replaced = {"build/plain": str(self.folder / "plain")}

    def test_the_commands_work(self) -> None:
        self.follow()


class Sample(follow.Followed):
    """A sample that is built in a copy of its folder."""

    def setUp(self) -> None:
        super().setUp()
        original = REPOSITORY / Path(self.document).parent
        self.root = self.folder / original.name
        shutil.copytree(original, self.root)

    def build(self) -> set[str]:
        """Runs the commands of the document; returns the names of the files that they made, none of
        which Git may take for a source."""
        sources = set(os.listdir(self.root))
        self.follow()
        made = set(os.listdir(self.root)) - sources - {"__pycache__"}
        ignored = subprocess.run(
            ["git", "-C", REPOSITORY / Path(self.document).parent, "check-ignore", *made],
            capture_output=True, text=True, check=False)
        self.assertEqual(set(ignored.stdout.splitlines()), made)
        return made


class HostSample(Sample):
    """The sample of a host application."""

    document = "samples/host/README.md"

    def test_the_commands_work(self) -> None:
        self.assertEqual(self.build(), {"SampleHost.exe"})

    def test_the_use_of_the_header_compiles(self) -> None:
        compile_source(
            '#include <thread>\n#include "PeltoHost.h"\n'
            "void Use(std::wstring senderPath, std::wstring dataFolder, std::wstring logFolder,\n"
            "         std::wstring path, std::wstring address, std::wstring ownPath) {\n"
            f"{only_block(self.document, 'cpp').text}}}\n", self.root)


class LanguageSample(Sample):
    """The sample of a language library."""

    document = "samples/language/README.md"

    def test_the_commands_work(self) -> None:
        self.assertLessEqual({"LangExt.dll", "LangExt.de.dll"}, self.build())

    def test_the_library_that_keeps_itself_compiles(self) -> None:
        declaration = only_block(INTEGRATION, "cpp", 'extern "C"').text
        body = only_block(INTEGRATION, "cpp", "  HMODULE self").text
        definition = declaration.rstrip().removesuffix(";")
        compile_source(
            f"#include <windows.h>\n{declaration}{definition} {{\n{body}}}\n", self.root)


class Examples(ProgramTest):
    """What the program does with what the documents show."""

    def test_the_example_of_a_log_is_counted(self) -> None:
        self.box.write_settings()
        text = only_block(INTEGRATION, "text", "2026-11-16").text
        self.assertEqual({len(line.split("Command = ")[0]) for line in text.splitlines()
                          if "Command = " in line}, {len(documents.STAMP)})
        self.box.write_log("a.log", text.replace("\n", "\r\n").encode("cp1252"))
        self.assertEqual(self.box.log_handle().returncode, 0)
        self.assert_bytes(
            self.box.report_path.read_bytes(),
            documents.report(documents.cmd(1, "Line", 1), documents.ftype(".dwg", 1, 0),
                             documents.ftype(".pdf", 0, 1)))

    def test_the_report_is_sent_as_the_documents_show_it(self) -> None:
        """The report of docs/data.md in the request of docs/server.md."""
        example = follow.example_report()
        shown = only_block("docs/server.md", "http").text
        (identifier,) = re.findall(rb'<prop name="ID">([^<]*)<', example)
        (email,) = re.findall(rb'<prop name="Email">([^<]*)<', example)
        self.box.write_settings(identifier=identifier.decode(), Email=email.decode(),
                                LastSysInfoCollectingDate=documents.date())
        # What an earlier run left has no application.
        waiting = re.sub(rb"<app_info>.*</app_info>", b"<app_info />", example, flags=re.DOTALL)
        self.box.report_path.write_bytes(waiting)
        with collector.Collector(collector.OK) as server:
            address = f"http://127.0.0.1:{server.port}{shown.split()[1]}"
            self.run_program("duty", address, harness.windows_path(self.box.data),
                             "Example Designer",
                             harness.windows_path(harness.TEST_PROGRAMS / "versioned.exe"))
            (exchange,) = server.finish()
        expected = example.replace(b">1.0.0.0<", b">65535.7.40000.12<")
        self.assert_bytes(exchange.payload(), documents.sent(expected))

        def neutral(text: str) -> list[str]:
            """The lines of a request, without what is another in each."""
            text = re.sub(r"AaB03x5fs1045fcc7|(?<=boundary=)\S+|(?m:(?<=^--)\w+)", "BOUNDARY", text)
            text = re.sub(documents.GUID, "GUID", text)
            text = re.sub(r"(?m)^(Host|Content-Length): .*$", r"\1: ...", text)
            return re.sub(r"(?m)^(PFBlbHRv).*$", r"\1...", text).splitlines()

        self.assertEqual(neutral(exchange.raw.decode("ascii").replace("\r\n", "\n")), neutral(shown))

    def test_the_messages_of_a_first_try_arrive_at_the_test_server(self) -> None:
        """The server that docs/troubleshooting.md recommends."""
        (command,) = (text for text in manual.quoted(manual.prose("docs/troubleshooting.md"))
                      if text.startswith("tests/e2e/collector.py"))
        received = self.box.root / "received"
        process = subprocess.Popen(
            [str(received) if word == "FOLDER" else word for word in command.split()],
            cwd=REPOSITORY, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.addCleanup(process.kill)
        port = harness.read_line(process, harness.RUN_TIMEOUT).decode().strip()
        self.box.write_settings(LastSysInfoCollectingDate=documents.date())
        self.run_program("duty", f"http://127.0.0.1:{port}/", harness.windows_path(self.box.data),
                         "", "")
        self.assertEqual(harness.wait(process, harness.RUN_TIMEOUT), 0)
        assert process.stdout is not None
        process.stdout.close()
        self.assertEqual(sorted(path.name for path in received.iterdir()),
                         ["report-1.xml", "request-1.txt"])


class Security(unittest.TestCase):
    """docs/security.md."""

    def test_the_executable_has_the_protections(self) -> None:
        done = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", PROGRAM], capture_output=True,
                              text=True, check=True)
        for flag in ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"):
            self.assertRegex(done.stdout, rf"(?m)^\s+{flag}$")


class Looking(OwnDrive):
    """Looking at a report before it is sent."""

    def test_what_would_be_sent_can_be_looked_at(self) -> None:
        name, *arguments = words_of(only_block("docs/data.md", "bat").text.strip())
        self.assertEqual(name, PROGRAM.stem)
        copy = self.drive / "Temp" / "Copy"
        self.assertEqual(arguments[2], "C:\\Temp\\Copy")
        copy.mkdir(parents=True, exist_ok=True)
        (copy / "PeltoReport.ini").write_bytes(documents.settings())
        (copy / "PeltoReport.xml").write_bytes(
            documents.report(documents.cmd(1, "Line", 3), documents.ftype(".dwg", 2, 1)))
        self.assertEqual(harness.run(*arguments).returncode, 0)

        root = xml.etree.ElementTree.parse(copy / "PeltoReport.xml").getroot()
        self.assertEqual(root.findtext("app_info/prop[@name='app_name']"), "Example Designer")

        def properties(report: xml.etree.ElementTree.Element) -> set[tuple[str | None, str | None]]:
            return {(row.get("cat"), row.get("name")) for row in report.iter("prop")
                    if row.get("cat")}

        example = properties(xml.etree.ElementTree.fromstring(follow.example_report()))
        self.assertEqual(properties(root), example)
        table, category = set(), ""
        for row in manual.table(manual.section("docs/data.md", "What the machine is"))[1:]:
            category = row[0].strip("`") or category
            table |= {(category, name) for name in manual.quoted(row[1])}
        # Wine refuses this one, as the document says.
        self.assertEqual(table - example, {("Monitor", "Number")})
        self.assertEqual(example - table, set())


if __name__ == "__main__":
    unittest.main()
