"""The API of the pages, and the participants' part of the intake, as browsers use them."""

from __future__ import annotations

import gzip
import http.client
import json
import re
import ssl
import subprocess
import threading
import time
import uuid
from dataclasses import dataclass, field
from typing import Any

import program
import senders
from test_commands import FIGURES, as_text, history, line

PASSWORD = "0123456789"
OTHER_PASSWORD = "9876543210"
SECURITY = ("Content-Security-Policy", "X-Content-Type-Options", "Referrer-Policy",
            "Cross-Origin-Opener-Policy", "Cross-Origin-Resource-Policy", "Permissions-Policy")


@dataclass
class Reply:
    status: int
    fields: http.client.HTTPMessage
    body: bytes

    @property
    def json(self) -> Any:
        return json.loads(self.body)


@dataclass
class Browser:
    """Sends requests as a page of the server does, and keeps its cookie."""

    port: int
    context: ssl.SSLContext | None = None
    cookie: str = ""
    fields: dict[str, str] = field(default_factory=lambda: {"Sec-Fetch-Site": "same-origin"})

    def ask(self, method: str, target: str, body: Any = None, **more: str) -> Reply:
        link = (http.client.HTTPSConnection("localhost", self.port, timeout=program.PATIENCE,
                                            context=self.context) if self.context else
                http.client.HTTPConnection("127.0.0.1", self.port, timeout=program.PATIENCE))
        fields = self.fields | {name.replace("_", "-"): value for name, value in more.items()}
        if self.cookie:
            fields["Cookie"] = self.cookie
        try:
            link.request(method, target, None if body is None else json.dumps(body), fields)
            response = link.getresponse()
            reply = Reply(response.status, response.headers, response.read())
        finally:
            link.close()
        if given := reply.fields["Set-Cookie"]:
            self.cookie = given.partition(";")[0]
        return reply

    def get(self, target: str) -> Reply:
        return self.ask("GET", target)

    def log_in(self, user: str, password: str = PASSWORD) -> Reply:
        return self.ask("POST", "/api/v1/session", {"user": user, "password": password})


class ApiTest(program.CollectorTest):
    def command(self, *arguments: str, text: str | None = None) -> str:
        done = program.run(*arguments, "--data", str(self.data), text=text)
        self.assertEqual((done.returncode, done.stderr), (0, ""), arguments)
        return done.stdout

    def add_user(self, name: str, role: str) -> None:
        self.command("user", "add", name, "--role", role, "--password-stdin", text=PASSWORD)

    def browser(self, server: program.Server, user: str = "") -> Browser:
        browser = Browser(server.pages_port)
        if user:
            self.assertEqual(browser.log_in(user).status, 200)
        return browser

    def expect_problem(self, reply: Reply, status: int) -> None:
        self.assertEqual(reply.status, status, reply.body)
        self.assertEqual(reply.fields["Content-Type"], "application/problem+json")
        self.assertEqual(reply.json["type"], "about:blank")
        self.assertEqual(reply.json["status"], status)
        self.assertTrue(reply.json["title"])
        self.assertTrue(reply.json["detail"])


class Setup(ApiTest):
    LINK = re.compile(r"(https?)://127\.0\.0\.1:(\d+)/setup#([A-Za-z0-9_-]{43})")

    def test_the_first_start_prints_a_link_that_works_once(self) -> None:
        server = self.serve()
        links = self.LINK.findall(server.log())
        self.assertEqual(len(links), 1, server.log())
        scheme, port, token = links[0]
        self.assertEqual((scheme, int(port)), ("http", server.pages_port))
        browser = self.browser(server)
        reply = browser.get("/api/v1/session")
        self.expect_problem(reply, 401)
        self.assertIs(reply.json["setup"], True)

        account = {"token": token, "user": "ann", "password": PASSWORD}
        self.expect_problem(browser.ask("POST", "/api/v1/setup", account | {"token": "x"}), 403)
        self.expect_problem(browser.ask("POST", "/api/v1/setup", account | {"user": ""}), 422)
        self.expect_problem(browser.ask("POST", "/api/v1/setup", account | {"password": "x"}), 422)
        reply = browser.ask("POST", "/api/v1/setup", account)
        self.assertEqual((reply.status, reply.json), (201, {"user": "ann", "role": "admin"}))
        self.assertEqual(browser.get("/api/v1/session").json, reply.json)

        other = self.browser(server)
        self.expect_problem(other.ask("POST", "/api/v1/setup", account | {"user": "bob"}), 403)
        self.assertNotIn("setup", other.get("/api/v1/session").json)
        self.assertEqual(self.command("user", "list"), "ann admin\n")
        self.assertEqual(server.stop(), 0)
        self.assertEqual(self.serve().log().count("/setup#"), 1, "there is an account now")

    def test_each_start_without_an_account_prints_another_link(self) -> None:
        first = self.serve()
        self.assertEqual(first.stop(), 0)
        second = self.serve()
        tokens = [link[2] for link in self.LINK.findall(second.log())]
        self.assertEqual(len(tokens), 2)
        self.assertNotEqual(tokens[0], tokens[1])
        account = {"token": tokens[0], "user": "ann", "password": PASSWORD}
        self.expect_problem(self.browser(second).ask("POST", "/api/v1/setup", account), 403)

    def test_an_account_made_by_a_command_voids_the_link(self) -> None:
        server = self.serve()
        token = self.LINK.findall(server.log())[0][2]
        self.add_user("zoe", "viewer")
        account = {"token": token, "user": "ann", "password": PASSWORD}
        self.expect_problem(self.browser(server).ask("POST", "/api/v1/setup", account), 403)
        self.assertEqual(self.command("user", "list"), "zoe viewer\n")


class LogIn(ApiTest):
    def setUp(self) -> None:
        super().setUp()
        self.add_user("ann", "admin")

    def test_a_session_lasts_from_log_in_to_log_out(self) -> None:
        server = self.serve()
        browser = self.browser(server)
        reply = browser.log_in("ann")
        self.assertEqual((reply.status, reply.json), (200, {"user": "ann", "role": "admin"}))
        attributes = reply.fields["Set-Cookie"].split("; ")[1:]
        self.assertEqual(sorted(attributes), ["HttpOnly", "Path=/", "SameSite=Strict"])
        self.assertEqual(browser.get("/api/v1/session").json, reply.json)
        cookie = browser.cookie
        self.assertEqual(browser.ask("DELETE", "/api/v1/session").status, 204)
        browser.cookie = cookie
        self.expect_problem(browser.get("/api/v1/session"), 401)

    def test_a_restart_ends_it(self) -> None:
        server = self.serve()
        browser = self.browser(server, "ann")
        self.assertEqual(server.stop(), 0)
        again = self.browser(self.serve())
        again.cookie = browser.cookie
        self.expect_problem(again.get("/api/v1/session"), 401)
        self.expect_problem(again.get("/api/v1/users"), 401)
        self.assertEqual(again.log_in("ann").status, 200)

    def test_commands_beside_the_server_end_it(self) -> None:
        for name in ("bob", "zoe"):
            self.add_user(name, "admin")
        server = self.serve()
        bob, zoe = self.browser(server, "bob"), self.browser(server, "zoe")
        self.command("user", "password", "bob", "--password-stdin", text=OTHER_PASSWORD)
        self.command("user", "remove", "zoe")
        self.expect_problem(bob.get("/api/v1/users"), 401)
        self.expect_problem(zoe.get("/api/v1/users"), 401)
        self.assertEqual(bob.log_in("bob", OTHER_PASSWORD).status, 200)
        self.expect_problem(zoe.log_in("zoe"), 401)

    def test_wrong_passwords_are_limited(self) -> None:
        server = self.serve()
        browser = self.browser(server)
        for _ in range(10):
            self.expect_problem(browser.log_in("ann", "wrong"), 401)
        reply = browser.log_in("ann")
        self.expect_problem(reply, 429)
        self.assertIn(int(reply.fields["Retry-After"]), range(1, 31))
        self.assertEqual(browser.cookie, "")

    def test_wrong_passwords_at_a_time_are_limited(self) -> None:
        server = self.serve()
        statuses: list[int] = []

        def guess() -> None:
            for _ in range(3):
                statuses.append(self.browser(server).log_in("ann", "wrong").status)

        threads = [threading.Thread(target=guess) for _ in range(12)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertLessEqual(statuses.count(401), 10)
        self.assertEqual(set(statuses), {401, 429})

    def test_a_request_that_changes_something_comes_from_a_page(self) -> None:
        server = self.serve()
        browser = self.browser(server, "ann")
        for fields in ({}, {"Sec-Fetch-Site": "cross-site"}, {"Sec-Fetch-Site": "same-site"},
                       {"Origin": "http://evil.example"}, {"Origin": "null"},
                       {"Origin": "http://127.0.0.1:1"},
                       {"Sec-Fetch-Site": "cross-site",
                        "Origin": f"http://127.0.0.1:{server.pages_port}"}):
            browser.fields = fields
            with self.subTest(fields):
                self.expect_problem(browser.ask("DELETE", "/api/v1/session"), 403)
                self.expect_problem(browser.ask("DELETE", "/api/v1/users/ann"), 403)
                if fields:
                    self.expect_problem(browser.log_in("ann"), 403)
        self.assertEqual(browser.get("/api/v1/session").status, 200)
        browser.fields = {"Origin": f"http://127.0.0.1:{server.pages_port}"}
        self.assertEqual(browser.ask("DELETE", "/api/v1/session").status, 204)

    def test_a_program_that_is_no_browser_can_log_in_and_read(self) -> None:
        program_ = self.browser(self.serve())
        program_.fields = {}
        self.add_user("robot", "viewer")
        self.assertEqual(program_.log_in("robot").status, 200)
        self.assertEqual(program_.get("/api/v1/figures/overview").status, 200)

    def test_under_tls_the_cookie_is_secure(self) -> None:
        certificate, key = self.folder / "tls.pem", self.folder / "tls.key"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
             "-nodes", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
             "-days", "2", "-keyout", key, "-out", certificate], check=True, capture_output=True)
        server = self.serve("--tls-certificate", str(certificate), "--tls-key", str(key))
        browser = Browser(server.pages_port, ssl.create_default_context(cafile=str(certificate)))
        reply = browser.log_in("ann")
        self.assertEqual(reply.status, 200)
        self.assertRegex(reply.fields["Set-Cookie"], r"^__Host-pelto-session=.*; Secure$")
        self.assertEqual(reply.fields["Strict-Transport-Security"], "max-age=31536000")
        self.assertEqual(browser.get("/api/v1/session").status, 200)


class Roles(ApiTest):
    # What each role gets, viewer, contacts and admin; without a session everything is 401.
    ROWS: tuple[tuple[str, str, Any, tuple[int, int, int]], ...] = (
        ("GET", "/api/v1/products", None, (200, 200, 200)),
        ("GET", "/api/v1/figures/overview", None, (200, 200, 200)),
        ("GET", "/api/v1/keeping", None, (200, 200, 200)),
        ("GET", "/api/v1/health", None, (200, 200, 200)),
        ("GET", "/api/v1/contacts", None, (403, 200, 200)),
        ("GET", "/api/v1/contacts?format=csv", None, (403, 200, 200)),
        ("POST", "/api/v1/erasures", {"installation": "unknown"}, (403, 403, 200)),
        ("GET", "/api/v1/export", None, (403, 403, 200)),
        ("GET", "/api/v1/users", None, (403, 403, 200)),
        ("POST", "/api/v1/users", {"name": "new", "role": "viewer", "password": PASSWORD},
         (403, 403, 201)),
        ("PUT", "/api/v1/users/new", {"role": "contacts"}, (403, 403, 204)),
        ("DELETE", "/api/v1/users/new", None, (403, 403, 204)),
        ("GET", "/api/v1/audit", None, (403, 403, 200)),
        ("PUT", "/api/v1/session/password", {"old": PASSWORD, "new": PASSWORD}, (204, 204, 204)),
        ("DELETE", "/api/v1/session", None, (204, 204, 204)),
    )

    def test_each_request_needs_its_role(self) -> None:
        roles = ("viewer", "contacts", "admin")
        for role in roles:
            self.add_user(role, role)
        server = self.serve()
        browsers = [self.browser(server, role) for role in roles]
        stranger = self.browser(server)
        for method, target, body, statuses in self.ROWS:
            with self.subTest(f"{method} {target}"):
                self.expect_problem(stranger.ask(method, target, body), 401)
                found = tuple(browser.ask(method, target, body).status for browser in browsers)
                self.assertEqual(found, statuses)

    def test_every_response_says_what_pages_may_do(self) -> None:
        server = self.serve()
        browser = self.browser(server)
        for target in ("/", "/overview", "/nothing", "/api/v1/session", "/api/nothing",
                       "/metrics", "/assets/nothing.js"):
            reply = browser.get(target)
            for name in SECURITY:
                self.assertEqual(len(reply.fields.get_all(name, [])), 1, (target, name))

    def test_unknown_paths_and_methods_are_problems(self) -> None:
        browser = self.browser(self.serve())
        self.expect_problem(browser.get("/api/v1/nothing"), 404)
        self.expect_problem(browser.get("/nothing"), 404)
        reply = browser.ask("PATCH", "/api/v1/users")
        self.expect_problem(reply, 405)
        self.assertEqual(reply.fields["Allow"], "GET, HEAD, POST")
        self.expect_problem(browser.ask("POST", "/api/v1/session", "x" * 65536), 413)

    def test_the_metrics_need_no_session(self) -> None:
        reply = self.browser(self.serve()).get("/metrics")
        self.assertEqual(reply.status, 200)
        self.assertIn(b"pelto_collector_deliveries_total", reply.body)


class Data(ApiTest):
    def setUp(self) -> None:
        super().setUp()
        self.add_user("ann", "admin")

    def test_figures_are_those_of_the_command_byte_for_byte(self) -> None:
        self.command("import", "-", text=as_text(history(3, 120)))
        browser = self.browser(self.serve(), "ann")
        for name in FIGURES:
            for query, arguments in (("", ()), ("&version=9.0", ("--version", "9.0")),
                                     ("&from=2026-02-10&to=2026-03-20",
                                      ("--from", "2026-02-10", "--to", "2026-03-20"))):
                command = ("figures", name, "--product", "cad", *arguments)
                target = f"/api/v1/figures/{name}?product=cad{query}"
                with self.subTest(target):
                    reply = browser.get(target)
                    self.assertEqual(reply.status, 200)
                    self.assertEqual(reply.body.decode(), self.command(*command))
                    reply = browser.get(target + "&format=csv")
                    self.assertEqual(reply.fields["Content-Disposition"],
                                     f'attachment; filename="{name}.csv"')
                    csv = subprocess.run(
                        [program.PROGRAM, *command, "--format", "csv", "--data", self.data],
                        capture_output=True, check=True).stdout
                    self.assertEqual(reply.body, csv)
        for target, status, arguments in (
                ("overview", 400, ()), ("overview?product=x", 404, ("--product", "x")),
                ("overview?product=cad&from=x", 400, ("--product", "cad", "--from", "x"))):
            reply = browser.get("/api/v1/figures/" + target)
            self.expect_problem(reply, status)
            done = program.run("figures", "overview", *arguments, "--data", str(self.data))
            self.assertEqual(done.stderr, f"pelto-collector: {reply.json['detail']}\n")

    def test_what_is_kept_is_told(self) -> None:
        server = self.serve("--retention", "30", "--forget-silent", "90", "--no-email")
        browser = self.browser(server, "ann")
        self.assertEqual(senders.deliver(server.port, senders.Report()), (200, "OK"))
        reply = browser.get("/api/v1/keeping").json
        product = reply.pop("products")[0]
        self.assertEqual(reply, {"threshold": 5, "retention_days": 30, "forget_silent_days": 90,
                                 "keeps_email": False, "keeps_adapter": False})
        self.assertEqual(product, {"name": "default", "since": None, "deliveries": None,
                                   "installations": None, "raw_reports": None})
        days = browser.get("/api/v1/products").json["products"][0]
        self.assertEqual(days["name"], "default")
        self.assertRegex(days["from"] + days["to"], r"^(\d{4}-\d\d-\d\d){2}$")

    def test_an_export_is_the_command_s(self) -> None:
        self.command("import", "-", text=as_text(history(4, 200)))
        server = self.serve()
        browser = self.browser(server, "ann")
        reply = browser.get("/api/v1/export")
        self.assertEqual(reply.status, 200)
        self.assertEqual(reply.fields["Transfer-Encoding"], "chunked")
        exported = self.command("export")
        self.assertGreater(exported.count("\n"), 600)
        self.assertEqual(reply.body.decode(), exported)
        self.assertEqual(browser.get("/api/v1/export?installation=machine-7").body.decode(),
                         self.command("export", "--installation", "machine-7"))
        self.assertEqual(browser.get("/api/v1/export?installation=none").body, b"")

    def test_an_erasure_leaves_no_trace_and_its_receipt_is_valid(self) -> None:
        server = self.serve()
        browser = self.browser(server, "ann")
        installation, address = str(uuid.uuid4()), "zoe.participant@example.org"
        report = senders.Report(installation, {"Command_Nobody_Else_Has": (1, 1)}, email=address)
        self.assertEqual(senders.deliver(server.port, report), (200, "OK"))
        self.assertEqual(senders.deliver(server.port, senders.Report()), (200, "OK"))
        self.assertEqual([c["address"] for c in browser.get("/api/v1/contacts").json["contacts"]],
                         [address])
        reply = browser.ask("POST", "/api/v1/erasures", {"email": address.upper()})
        self.assertEqual(reply.status, 200)
        self.assertEqual(reply.json["erased"],
                         {"installations": 1, "deliveries": 1, "contacts": 1})
        receipt = self.folder / "receipt"
        receipt.write_bytes(reply.body)
        self.assertEqual(self.command("erase", "--verify", str(receipt)), "valid\n")
        for name in (installation, address, "Command_Nobody_Else_Has"):
            for path in self.data.iterdir():
                self.assertNotIn(name.encode(), path.read_bytes(), path.name)
            self.assertNotIn(name, server.log())
        self.assertEqual(len(self.export()), 1)
        again = browser.ask("POST", "/api/v1/erasures", {"installation": installation}).json
        self.assertEqual(again["erased"], {"installations": 0, "deliveries": 0, "contacts": 0})
        self.assertIn("consistent", self.command("check"))

    def test_the_audit_names_who_and_what_but_not_whom(self) -> None:
        server = self.serve()
        browser = self.browser(server, "ann")
        browser.ask("POST", "/api/v1/erasures", {"email": "zoe@example.org"})
        browser.get("/api/v1/export?installation=machine-1")
        self.command("erase", "--installation", "machine-1")
        self.command("export")
        self.add_user("bob", "viewer")
        self.command("user", "password", "bob", "--password-stdin", text=OTHER_PASSWORD)
        self.command("user", "remove", "bob")
        browser.ask("POST", "/api/v1/users", {"name": "eve", "role": "viewer",
                                              "password": PASSWORD})
        browser.ask("DELETE", "/api/v1/session")
        browser.log_in("ann", "wrong")
        browser.log_in("ann")
        entries = browser.get("/api/v1/audit").json["entries"]
        self.assertEqual(
            [(entry["user"], entry["action"]) for entry in reversed(entries)],
            [("command line", "user-add"), ("ann", "log-in"), ("ann", "erase"), ("ann", "export"),
             ("command line", "erase"), ("command line", "export"), ("command line", "user-add"),
             ("command line", "user-change"), ("command line", "user-remove"), ("ann", "user-add"),
             ("ann", "log-out"), ("ann", "log-in-failed"), ("ann", "log-in")])
        text = json.dumps(entries)
        for secret in ("zoe@example.org", "machine-1", PASSWORD):
            self.assertNotIn(secret, text)
        older = browser.get(f"/api/v1/audit?limit=2&before={entries[2]['number']}").json["entries"]
        self.assertEqual(older, entries[3:5])

    def test_requests_at_a_time_do_not_disturb_each_other(self) -> None:
        self.command("import", "-", text=as_text(history(5, 60)))
        server = self.serve()
        target = "/api/v1/figures/commands?product=cad"
        expected = self.browser(server, "ann").get(target).body
        failures: list[str] = []

        def use() -> None:
            for _ in range(4):
                browser = Browser(server.pages_port)
                if browser.log_in("ann").status != 200:
                    failures.append("log-in")
                for _ in range(5):
                    if browser.get(target).body != expected:
                        failures.append("figures")
                if browser.ask("DELETE", "/api/v1/session").status != 204:
                    failures.append("log-out")
                if browser.get(target).status != 401:
                    failures.append("after the log-out")

        threads = [threading.Thread(target=use) for _ in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(failures, [])


class Pages(ApiTest):
    def test_the_shell_and_its_files_are_served_packed(self) -> None:
        """Without pages in the program, it says so."""
        server = self.serve()
        browser = self.browser(server)
        reply = browser.ask("GET", "/overview", Accept_Encoding="gzip")
        if reply.status == 404:
            self.assertRegex(reply.body, rb"\Athis program was built without pages[^\n]*\n\Z")
            return
        self.assertEqual(reply.fields["Content-Encoding"], "gzip")
        self.assertEqual(reply.fields["Cache-Control"], "no-store")
        shell = gzip.decompress(reply.body)
        self.assertEqual(browser.get("/").body, shell)
        assets = re.findall(rb'(?:src|href)="(/assets/[^"]+)"', shell)
        self.assertGreater(len(assets), 0)
        for asset in assets:
            reply = browser.get(asset.decode())
            self.assertEqual(reply.status, 200, asset)
            self.assertIn("immutable", reply.fields["Cache-Control"])
        mine = Browser(server.port).get("/mine")
        self.assertEqual(mine.status, 200)
        for asset in re.findall(rb'(?:src|href)="(/mine/assets/[^"]+)"', mine.body):
            self.assertEqual(Browser(server.port).get(asset.decode()).status, 200, asset)


class Participants(ApiTest):
    def test_a_participant_sees_and_erases_what_is_kept(self) -> None:
        server = self.serve()
        visitor = Browser(server.port, fields={})
        report = senders.Report(commands={"Line": (3, 1)}, file_types={".dwg": (1, 0)},
                                email="zoe@example.org")
        identifier = {"installation": report.installation}
        empty = visitor.ask("POST", "/mine/kept", identifier)
        self.assertEqual(senders.deliver(server.port, report), (200, "OK"))
        reply = visitor.ask("POST", "/mine/kept", identifier)
        self.assertEqual(reply.status, 200)
        kept = reply.json["deliveries"][0]
        self.assertRegex(kept.pop("received"), "^20")
        self.assertEqual(kept, {"product": "default", "version": "1.0.0.0", "commands": 1,
                                "file_types": 1, "has_raw_report": True})
        self.assertEqual((reply.json["total"], reply.json["has_email"]), (1, True))
        reply = visitor.ask("POST", "/mine/erase", identifier)
        self.assertEqual(reply.json["erased"],
                         {"installations": 1, "deliveries": 1, "contacts": 1})
        receipt = self.folder / "receipt"
        receipt.write_bytes(reply.body)
        self.assertEqual(self.command("erase", "--verify", str(receipt)), "valid\n")
        self.assertEqual(self.export(), [])
        # Nothing tells an installation that was erased from one that never was.
        erased = visitor.ask("POST", "/mine/kept", identifier)
        unknown = visitor.ask("POST", "/mine/kept", {"installation": str(uuid.uuid4())})
        for other in (erased, unknown):
            self.assertEqual((other.status, other.body), (empty.status, empty.body))
            self.assertEqual(other.fields.keys(), empty.fields.keys())
        for path in self.data.iterdir():
            self.assertNotIn(report.installation.encode(), path.read_bytes(), path.name)
        self.assertNotIn(report.installation, server.log())

    def test_the_rate_is_limited_and_deliveries_go_on(self) -> None:
        server = self.serve()
        visitor = Browser(server.port, fields={})
        statuses = [visitor.ask("POST", "/mine/kept", {"installation": "x"}).status
                    for _ in range(21)]
        self.assertEqual(statuses, [200] * 20 + [429])
        self.assertEqual(senders.deliver(server.port, senders.Report()), (200, "OK"))

    def test_an_erasure_and_a_failed_one_are_told_apart_in_the_audit(self) -> None:
        self.add_user("ann", "admin")
        self.command("import", "-", text=as_text([line(1)]))
        server = self.serve()
        visitor = Browser(server.port, fields={})
        visitor.ask("POST", "/mine/erase", {"installation": "unknown"})
        visitor.ask("POST", "/mine/erase", {"installation": "machine-1"})
        entries = self.browser(server, "ann").get("/api/v1/audit").json["entries"]
        self.assertEqual([entry["user"] for entry in entries if entry["action"] == "erase"],
                         ["a participant"])


class SlowClients(ApiTest):
    def test_exports_that_nobody_reads_stop_neither_reports_nor_pages(self) -> None:
        self.add_user("ann", "admin")
        self.command("import", "-", text=as_text(history(6, 400)))
        server = self.serve()
        browser = self.browser(server, "ann")
        for _ in range(6):
            link = senders.socket.create_connection(("127.0.0.1", server.pages_port),
                                                    program.PATIENCE)
            self.addCleanup(link.close)
            fields = f"Cookie: {browser.cookie}\r\n\r\n"
            link.sendall(b"GET /api/v1/export HTTP/1.1\r\n" + fields.encode())
        begin = time.monotonic()
        self.assertEqual(browser.get("/api/v1/figures/overview?product=cad").status, 200)
        self.assertEqual(senders.deliver(server.port, senders.Report()), (200, "OK"))
        self.assertLess(time.monotonic() - begin, 10)


if __name__ == "__main__":
    program.unittest.main(verbosity=2)
