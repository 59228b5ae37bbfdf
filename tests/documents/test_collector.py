"""docs/collector.md and docs/server.md against the collector: their commands are run, their requests
sent, and their lists compared with what the program has."""

from __future__ import annotations

import functools
import http.client
import json
import re
import shutil
import subprocess
import unittest
import uuid
import xml.etree.ElementTree
from collections import Counter
from collections.abc import Iterator
from pathlib import Path

import follow
import manual
import program
import senders
import test_operation

COLLECTOR = "docs/collector.md"
SERVER = "docs/server.md"

# The commands of the program, as they are asked for help.
ALL_COMMANDS = (
    "serve", "figures", "export", "import", "erase", "user add", "user password", "user remove",
    "user list", "backup", "check", "fleet",
)
# Those of every command, of which the text before the tables tells.
COMMON = {"--data", "--help", "--config"}
OPTION = re.compile(r"^ +(?:-h,)?(--[\w-]+)(.*)$", re.MULTILINE)


class Operating(follow.Followed):
    """The commands of docs/collector.md, for a folder with the reports of simulated installations."""

    document = COLLECTOR

    def setUp(self) -> None:
        super().setUp()
        self.data = self.folder / "data"

    def fill(self) -> Path:
        """Puts simulated reports into the data folder; returns the lines of JSON that have them."""
        lines = self.folder / "lines"
        program.run("fleet", "--installations", "20", "--periods", "7", "--seed", "7", "--until",
                    "2026-07-01", "--ndjson", str(lines))
        done = program.run("import", str(lines), "--data", str(self.data))
        self.assertEqual(done.returncode, 0, done.stderr)
        return lines

    def test_the_commands_do_what_the_document_says(self) -> None:
        lines = self.fill()
        # The example of a receipt is of an installation with seven deliveries and an address.
        addresses, deliveries = {}, Counter()
        for line in lines.read_text("utf-8").splitlines():
            report = json.loads(line)["report"]
            (found,) = re.findall(r'<prop name="ID">([^<]*)<', report)
            addresses |= {found: match[1] for match in
                          [re.search(r'<prop name="Email">([^<]*)<', report)] if match}
        for line in program.run("export", "--data", str(self.data)).stdout.splitlines():
            deliveries[json.loads(line)["installation"]] += 1
        first, second = [name for name in addresses if deliveries[name] == 7][:2]
        (self.folder / "password.txt").write_text("a long password\n")
        (self.folder / "backup").mkdir()
        certificate, key = self.folder / "chain.pem", self.folder / "key.pem"
        program.make_certificate(certificate, key)
        self.replaced = {
            "/var/lib/pelto-collector": str(self.data),
            "/backup": str(self.folder / "backup"),
            "0.0.0.0:443": "127.0.0.1:0",
            "chain.pem": str(certificate),
            "key.pem": str(key),
            "sudo -u pelto-collector": "env",
            "DIR": str(self.data),
            "OTHER": "other",
            "ID": first,
            "ADDRESS": addresses[second],
        }
        self.follow()

    def test_a_backup_is_restored_by_the_steps(self) -> None:
        self.fill()
        data, backup = self.data, self.folder / "backup.sqlite"
        figures = program.run("figures", "overview", "--data", str(data)).stdout
        self.assertEqual(program.run("backup", str(backup), "--data", str(data)).returncode, 0)
        data.rename(self.folder / "elsewhere")
        data.mkdir()
        shutil.copy(backup, data / "reports.sqlite")
        self.assertEqual(program.run("check", "--data", str(data)).returncode, 0)
        self.assertEqual(program.run("figures", "overview", "--data", str(data)).stdout, figures)
        server = program.Server(data)
        self.addCleanup(server.kill)
        self.assertEqual(server.get("/readyz")[0], 200)

    def test_the_configuration_is_one(self) -> None:
        file = self.folder / "collector.toml"
        text = follow.only_block(COLLECTOR, "toml").text
        file.write_text(text.replace("/var/lib/pelto-collector", str(self.data)))
        done = program.run("check", "--config", str(file))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertTrue(done.stdout.startswith("The configuration file can be used."))
        file.write_text(text.replace("product =", "unknown ="))
        self.assertEqual(program.run("check", "--config", str(file)).returncode, 1)

    def test_the_lines_for_a_low_port_allow_that_and_nothing_else(self) -> None:
        def allowed() -> set[str]:
            done = subprocess.run(
                ["systemd-analyze", "security", "--offline=true", "--json=short", unit],
                capture_output=True, text=True, check=True)
            return {each["json_field"] for each in json.loads(done.stdout) if not each["set"]}

        unit = self.folder / test_operation.SystemdUnit.UNIT.name
        shutil.copy(test_operation.SystemdUnit.UNIT, unit)
        before = allowed()
        changes = unit.with_name(unit.name + ".d")
        changes.mkdir()
        (changes / "override.conf").write_text(follow.only_block(COLLECTOR, "ini").text)
        self.assertEqual(
            [re.sub("_BROADCAST.*", "", name) for name in sorted(allowed() - before)],
            ["AmbientCapabilities", "CapabilityBoundingSet_CAP_NET_BIND_SERVICE", "PrivateUsers"])

    def test_the_line_with_a_report_is_imported(self) -> None:
        text = follow.only_block(COLLECTOR, "json", '{"received"').text
        line = json.loads(text.replace('"GUID"', json.dumps(str(uuid.uuid4()))))
        self.assertEqual(line["report"], "<PeltoRpt>...")
        line["report"] = follow.example_report().decode()
        done = program.run("import", "-", "--data", str(self.folder / "empty"),
                           text=json.dumps(line) + "\n")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stdout, "1 accepted (0 of them replaced another), 0 repeated, "
                                      "0 refused\n")

    def test_the_pages_work_behind_nginx(self) -> None:
        server = program.Server(self.data, "--trusted-proxy", "127.0.0.1")
        self.addCleanup(server.kill)
        location = follow.only_block(COLLECTOR, "nginx").text.replace(
            "127.0.0.1:8481", f"127.0.0.1:{server.pages_port}")
        program.run("user", "add", "alice", "--role", "viewer", "--password-stdin", "--data",
                    str(self.data), text="a long password\n")
        nothing = "    location / {\n        return 404;\n    }\n"
        with test_operation.nginx(server.port, (nothing, location)) as (port, context):
            link = http.client.HTTPSConnection("localhost", port, context=context)
            self.addCleanup(link.close)
            link.request("POST", "/api/v1/session", headers={"Origin": f"https://localhost:{port}"},
                         body='{"user":"alice","password":"a long password"}')
            response = link.getresponse()
        self.assertEqual(response.status, 200)
        self.assertTrue(response.getheader("Set-Cookie", "").startswith("__Host-pelto-session="))
        self.assertTrue(response.getheader("Strict-Transport-Security"))


class Lists(program.CollectorTest):
    """What docs/collector.md lists is what the program has."""

    @staticmethod
    @functools.cache
    def options(command: str) -> dict[str, str]:
        """The options of a command, with their default values."""
        text = program.run(*command.split(), "--help").stdout
        return {name: "".join(re.findall(r"=(\S+)$", rest.split("  ")[0]))
                for name, rest in OPTION.findall(text) if name not in COMMON}

    def rows(self, heading: str, first: str) -> Iterator[list[str]]:
        """The rows of the table in a section whose first cell of its head begins so."""
        found = False
        for row in manual.table(manual.section(COLLECTOR, heading)):
            if len(row) == 3 and row[0].startswith("option of"):
                found = row[0].startswith(first)
            elif found:
                yield row

    def test_the_commands(self) -> None:
        rows = manual.table(manual.section(COLLECTOR, "Starting it"))[1:]
        listed = {name.split()[0] for row in rows for name in manual.quoted(row[0])}
        helped = program.run("--help").stdout.partition("Subcommands:\n")[2]
        self.assertEqual(listed, {line.split()[0] for line in helped.splitlines() if line.strip()})
        self.assertEqual({command.split()[0] for command in ALL_COMMANDS}, listed)

    def test_the_options_of_serve_and_their_defaults(self) -> None:
        listed = {}
        for row in self.rows("Options", "option of `serve`"):
            for name in re.findall(r"`(--[\w-]+)", row[0]):
                self.assertNotIn(name, listed)
                listed[name] = row[1].strip("`")
        # One has no default as far as the command line knows.
        self.assertEqual(listed.pop("--product"), "default")
        self.assertEqual(listed | {"--product": ""}, self.options("serve"))

    def test_the_options_of_the_other_commands(self) -> None:
        listed: dict[str, set[str]] = {command: set() for command in ALL_COMMANDS}
        for row in self.rows("Options", "option of other commands"):
            for command in manual.quoted(row[1]):
                listed[command] |= set(re.findall(r"`(--[\w-]+)", row[0]))
        del listed["serve"]
        for command, names in listed.items():
            with self.subTest(command):
                self.assertEqual(names, set(self.options(command)))

    def test_what_is_kept_has_the_programs_defaults(self) -> None:
        text = manual.section(COLLECTOR, "What is kept, and for how long")
        rows = {row[0].split()[0].strip("`"): row[1] for row in manual.table(text)[1:]}
        self.assertLess(set(rows), set(self.options("serve")))
        self.assertIn(f'{rows["--retention"]} unless set', program.run("serve", "--help").stdout)

    def test_every_option_that_the_documents_name(self) -> None:
        known = set().union(*(self.options(command) for command in ALL_COMMANDS)) | COMMON
        for document in (COLLECTOR, SERVER, "docs/data.md"):
            with self.subTest(document):
                named = {name for text in manual.quoted(manual.read(document))
                         for name in re.findall(r"^(--[\w-]+)", text)}
                self.assertEqual(named - known, set())

    def test_the_metrics(self) -> None:
        server = self.serve()
        _, text = senders.exchange(
            server.pages_port, b"GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n")
        rows = manual.table(manual.section(COLLECTOR, "Metrics"))[1:]
        self.assertEqual([row[0].strip("`") for row in rows],
                         re.findall(r"^# TYPE (\S+)", text, re.MULTILINE))
        outcomes = set(re.findall(r'outcome="(\w+)"', text))
        self.assertEqual(outcomes, set(manual.quoted(rows[0][1])) - {"outcome"})

    def test_the_codes_of_refusals_and_their_statuses(self) -> None:
        _, text = senders.exchange(
            self.serve().pages_port, b"GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n")
        statuses = {code.replace("_", "-"): status for code, status in re.findall(
            r"case Refusal::(\w+):\s+return (\d+);", manual.read("collector/http/Response.cpp"))}
        listed = {code: row[1]
                  for row in manual.table(manual.section(COLLECTOR, "Refusals"))[1:]
                  for code in manual.quoted(row[0])}
        self.assertEqual(listed, {code: statuses.get(code, "400")
                                  for code in re.findall(r'code="([\w-]+)"', text)})

    def test_the_requests_of_the_api_with_their_roles(self) -> None:
        source = manual.read("collector/api/ApiRoutes.cpp")
        routes = {(method, path): role.removeprefix("Role::").replace("std::nullopt", "")
                  for method, path, role in re.findall(
                      r'ApiRoute\{Operation::\w+, "([A-Z]+)", "/api/v1/([^"]*)",\s*([\w:]+)', source)}
        server = self.serve()
        listed = {}
        for row in manual.table(manual.section(COLLECTOR, "The API"))[1:]:
            # Anybody who is logged in has at least the lowest role.
            role = "viewer" if row[1] == "any" else row[1]
            for text in manual.quoted(row[0]):
                if not (request := re.match(r"([A-Z]+) ([\w/]+)", text)):
                    continue
                listed[request[1], request[2]] = role
                status, _ = senders.exchange(
                    server.pages_port,
                    f"{request[1]} /api/v1/{request[2]} HTTP/1.1\r\nHost: localhost\r\n"
                    "Origin: http://localhost\r\nContent-Length: 0\r\n\r\n".encode())
                with self.subTest(text):
                    # Without an account, only what has no role goes beyond the 401.
                    self.assertIn(status, (401,) if role else (400, 401))
        self.assertEqual(listed, routes)


class Receiving(program.CollectorTest):
    """docs/server.md."""

    def request(self) -> tuple[bytes, bytes]:
        """Header and body of the example, with the whole report of docs/data.md."""
        head, _, body = follow.only_block(SERVER, "http").text.partition("\n\n")
        lines = body.splitlines()
        (shown,) = (line for line in lines if line.endswith("..."))
        field = senders.payload(follow.example_report()).decode()
        self.assertTrue(field.startswith(shown.removesuffix("...")))
        body = "\r\n".join(field if line == shown else line for line in lines) + "\r\n"
        return head.replace("\n", "\r\n").encode() + b"\r\n\r\n", body.encode()

    def test_the_request_is_whole_and_the_collector_keeps_its_report(self) -> None:
        head, body = self.request()
        self.assertEqual(re.findall(rb"Content-Length: (\d+)", head), [str(len(body)).encode()])
        server = self.serve("--product", "7")
        status, text = server.ask(head + body)
        self.assertEqual(status, 200)
        self.assertFalse(text[:1].isdigit())
        (line,) = self.export()
        kept = json.loads(line)
        self.assertEqual(kept["id"], "f702f125-e8ff-40f3-8c7a-65a2cc9357f8")
        root = xml.etree.ElementTree.fromstring(follow.example_report())
        self.assertEqual({row["name"]: row["uses"] for row in kept["commands"]},
                         {cmd.get("name"): int(cmd.get("count", "")) for cmd in root.iter("cmd")})

    def test_the_source_reads_a_report(self) -> None:
        scope: dict[str, object] = {}
        exec(follow.only_block(SERVER, "python").text, scope)
        read = scope["read_report"]
        assert callable(read)
        root = read(senders.payload(follow.example_report()))
        self.assertEqual(root.tag, "PeltoRpt")
        self.assertEqual(len(list(root.iter("cmd"))), 2)
        text = '<PeltoRpt><cmd name="&#x01;Öffnen" /></PeltoRpt>\n'.encode("cp1252")
        self.assertEqual(read(senders.payload(text))[0].get("name"), "?Öffnen")
        # Without a line end, the doubled last byte would be no XML.
        text = '<PeltoRpt name="開く"/>'.encode("cp932")
        self.assertEqual(read(senders.payload(text), "cp932").get("name"), "開く")


if __name__ == "__main__":
    unittest.main()
