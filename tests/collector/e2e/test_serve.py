"""`pelto-collector serve`, from its command line to its end."""

from __future__ import annotations

import contextlib
import json
import os
import signal
import sqlite3
import ssl
import subprocess
import threading
import time
import unittest
import uuid

import program
import senders
from senders import Report


def sound_request(path: str = "/collect") -> bytes:
    body = senders.form(str(uuid.uuid4()), senders.payload(Report().text().encode()))
    return senders.request(body, path)


class Start(program.CollectorTest):
    def test_it_says_where_it_listens(self) -> None:
        server = self.serve()
        self.assertEqual(server.lines, [f"intake http://127.0.0.1:{server.port}/collect",
                                        f"pages http://127.0.0.1:{server.pages_port}/", "ready"])
        self.assertEqual(server.get("/healthz"), (200, "OK"))
        self.assertEqual(server.get("/readyz"), (200, "OK"))

    def test_an_address_can_be_of_the_new_family(self) -> None:
        server = self.serve("--intake", "[::1]:0")
        self.assertEqual(server.lines[0], f"intake http://[::1]:{server.port}/collect")

    def test_a_second_server_on_the_folder_does_not_start(self) -> None:
        self.serve()
        done = program.run("serve", "--data", str(self.data), "--intake", "127.0.0.1:0",
                           "--pages", "127.0.0.1:0")
        self.assert_failed(done, "another server uses the data folder")

    def test_a_port_that_is_taken_is_named(self) -> None:
        server = self.serve()
        done = program.run("serve", "--data", str(self.folder / "other"),
                           "--intake", f"127.0.0.1:{server.port}", "--pages", "127.0.0.1:0")
        self.assert_failed(done, f"cannot listen at 127.0.0.1:{server.port}")

    def test_wrong_options_end_it_with_one_line(self) -> None:
        for arguments in (["--intake", "here"], ["--intake", "127.0.0.1:99999"], ["--rate", "-1"],
                          ["--tls-certificate", "x.pem"], ["--trusted-proxy", "nobody"],
                          ["--path", "collect"], ["--product", ""], ["--max-body", "0"],
                          ["--code-page", "1"], ["--max-in-flight", "1"], ["--threshold", "0"],
                          ["--retention", "0"], ["--unknown"],
                          ["--tls-certificate", "/missing.pem", "--tls-key", "/missing.key"]):
            with self.subTest(arguments):
                self.assert_failed(program.run("serve", "--data", str(self.data), *arguments), "")

    def assert_failed(self, done: subprocess.CompletedProcess[str], text: str) -> None:
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stdout, "")
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        self.assertIn(text, done.stderr)


class Intake(program.CollectorTest):
    def test_a_kept_report_is_in_the_export_at_once(self) -> None:
        server = self.serve()
        delivery = str(uuid.uuid4())
        self.assertEqual(senders.deliver(server.port, Report(), delivery), (200, "OK"))
        self.assertEqual([json.loads(line)["id"] for line in self.export()], [delivery])

    def test_a_kept_report_survives_a_kill(self) -> None:
        server = self.serve()
        self.assertEqual(server.ask(sound_request()), (200, "OK"))
        server.kill()
        self.assertEqual(len(self.export()), 1)
        again = self.serve()
        self.assertEqual(again.ask(sound_request()), (200, "OK"))

    def test_commands_beside_it_take_nothing_from_it(self) -> None:
        erase = ("erase", "--installation", "nobody")
        for command in (("figures", "overview"), ("export",), ("check",), ("user", "list"), erase,
                        ("backup", str(self.folder / "backup"))):
            with self.subTest(command):
                server = self.serve()
                before = len(self.export())
                self.assertEqual(server.ask(sound_request()), (200, "OK"))
                self.assertEqual(program.run(*command, "--data", str(self.data)).returncode, 0)
                self.assertEqual(server.ask(sound_request()), (200, "OK"))
                self.assertEqual(len(self.export()), before + 2)
                server.kill()
                self.assertEqual(len(self.export()), before + 2)

    def test_its_own_erasing_takes_nothing_from_it(self) -> None:
        """An erasure looks for traces in the file that the server has open."""
        old = {"received": "2020-01-05T10:00:00Z", "product": "default", "id": str(uuid.uuid4()),
               "installation": "silent-installation", "application": "", "version": "",
               "replaced": False, "commands": [], "file_types": [], "machine": []}
        program.run("import", "-", "--data", str(self.data), text=json.dumps(old) + "\n")
        server = self.serve("--forget-silent", "30")
        end = time.monotonic() + program.PATIENCE
        while self.export() and time.monotonic() < end:
            time.sleep(0.05)
        self.assertEqual(self.export(), [])
        self.assertEqual(server.ask(sound_request()), (200, "OK"))
        self.assertEqual(len(self.export()), 1)
        self.assertEqual(server.ask(sound_request()), (200, "OK"))
        self.assertEqual(len(self.export()), 2)
        server.kill()
        self.assertEqual(len(self.export()), 2)

    def test_its_start_removes_the_traces_that_a_killed_process_left(self) -> None:
        def state() -> dict[str, int]:
            with contextlib.closing(sqlite3.connect(self.data / "reports.sqlite")) as file:
                return dict(file.execute("SELECT name, value FROM state"))
        self.export()
        with contextlib.closing(sqlite3.connect(self.data / "reports.sqlite")) as file:
            file.execute("INSERT OR REPLACE INTO state VALUES ('traces', 3)")
            file.commit()
        self.serve()
        end = time.monotonic() + program.PATIENCE
        while state().get("traces_removed") != 3 and time.monotonic() < end:
            time.sleep(0.05)
        self.assertEqual(state().get("traces_removed"), 3)

    def test_products_are_known_by_path_and_query(self) -> None:
        server = self.serve("--product", "A", "--product", "B c")
        for path, status in (("/collect/A", 200), ("/collect?product=B%20c", 200),
                             ("/collect/B%20c", 200), ("/collect", 404), ("/collect/C", 404),
                             ("/collect?product=C", 404), ("/other", 404)):
            with self.subTest(path):
                self.assertEqual(server.ask(sound_request(path))[0], status)
        products = sorted(json.loads(line)["product"] for line in self.export())
        self.assertEqual(products, ["A", "B c", "B c"])

    def test_paths_can_be_chosen(self) -> None:
        server = self.serve("--path", "/in", "--path", "/old/in.php")
        self.assertTrue(server.lines[0].endswith("/in"))
        for path, status in (("/in", 200), ("/old/in.php", 200), ("/collect", 404)):
            self.assertEqual(server.ask(sound_request(path))[0], status, path)

    def test_smuggled_requests_are_not_taken(self) -> None:
        server = self.serve()
        inner = sound_request()
        for fields in (b"Content-Length: 0\r\nContent-Length: %d" % len(inner),
                       b"Content-Length: 0\r\nContent-Length: 0",
                       b"Content-Length: 4\r\nTransfer-Encoding: chunked",
                       b"Transfer-Encoding: chunked\r\nTransfer-Encoding: identity",
                       b"Transfer-Encoding: xchunked"):
            with self.subTest(fields), server.connect() as link:
                link.sendall(b"POST /collect HTTP/1.1\r\n" + fields + b"\r\n\r\n0\r\n\r\n" + inner)
                self.assertEqual(senders.read_response(link), (400, "refused: not-multipart"))
                self.assertEqual(link.recv(1), b"")
        self.assertEqual(self.export(), [])

    def test_a_body_without_a_length_is_no_further_request(self) -> None:
        server = self.serve()
        with server.connect() as link:
            link.sendall(b"POST /collect HTTP/1.1\r\n\r\n" + sound_request())
            self.assertEqual(senders.read_response(link), (411, "refused: length"))
            self.assertEqual(link.recv(1), b"")
        self.assertEqual(self.export(), [])

    def test_a_trickle_is_ended(self) -> None:
        server = self.serve("--header-timeout", "300", "--body-start", "300")
        for start in (b"POST /collect HTTP/1.1\r\nX: ",
                      b"POST /collect HTTP/1.1\r\nContent-Length: 100000\r\n\r\n"):
            begin = time.monotonic()
            with self.subTest(start), server.connect() as link:
                link.sendall(start)
                link.settimeout(0.02)
                while time.monotonic() < begin + program.PATIENCE:
                    link.sendall(b"x")
                    try:
                        link.recv(1, program.socket.MSG_PEEK)
                        break
                    except TimeoutError:
                        pass
                link.settimeout(program.PATIENCE)
                self.assertEqual(senders.read_response(link), (408, "refused: timeout"))
            self.assertLess(time.monotonic() - begin, 5)

    def test_limits_are_options(self) -> None:
        server = self.serve("--max-body", "1000", "--max-connections", "2")
        self.assertEqual(server.ask(senders.request(b"x" * 1001)), (413, "refused: too-large"))
        server.await_metric("pelto_collector_connections", "0")
        links = [server.connect() for _ in range(2)]
        server.await_metric("pelto_collector_connections", "2")
        with server.connect() as link:
            self.assertEqual(senders.read_response(link), (503, "refused: busy"))
        for link in links:
            link.close()

    def test_a_rate_behind_a_proxy_is_that_of_the_client(self) -> None:
        server = self.serve("--rate", "1", "--trusted-proxy", "127.0.0.1")
        statuses = []
        for address in ("192.0.2.1", "192.0.2.1", "192.0.2.2"):
            field = f"Host: x\r\nX-Forwarded-For: {address}\r\n".encode()
            statuses.append(server.ask(sound_request().replace(b"Host: 127.0.0.1\r\n", field, 1)))
        self.assertEqual(statuses, [(200, "OK"), (429, "refused: busy"), (200, "OK")])

    def test_the_log_has_a_line_a_request_without_content(self) -> None:
        server = self.serve()
        server.ask(sound_request("/collect?acp=1252"))
        server.ask(sound_request("/nothing"))
        self.assertEqual(server.stop(), 0)
        setup, first, second = server.log().splitlines()
        self.assertIn("/setup#", setup)
        self.assertIn(" method=POST path=/collect product=default status=200 code=accepted ", first)
        self.assertIn(" path=- product=- status=404 code=unknown-product ", second)
        self.assertNotIn("127.0.0.1", first + second)
        self.assertNotIn("acp", first)

    def test_a_log_that_nobody_reads_stops_nothing(self) -> None:
        reading, writing = os.pipe()
        process = subprocess.Popen(
            [program.PROGRAM, "serve", "--data", self.data, "--intake", "127.0.0.1:0", "--pages",
             "127.0.0.1:0"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=writing)
        self.addCleanup(os.close, reading)
        os.close(writing)
        assert process.stdout is not None
        with process.stdout:
            port = int(process.stdout.readline().decode().split(":")[2].split("/")[0])
            with program.socket.create_connection(("127.0.0.1", port), program.PATIENCE) as link:
                link.settimeout(program.PATIENCE)
                # Many more lines than a pipe holds.
                for _ in range(200):
                    link.sendall(b"GET /healthz HTTP/1.1\r\n\r\n" * 20)
                    responses = b""
                    while responses.count(b"\r\n\r\nOK") < 20:
                        responses += senders.receive(link)
            process.terminate()
            self.assertEqual(process.wait(program.PATIENCE), 0)


class Tls(program.CollectorTest):
    def setUp(self) -> None:
        super().setUp()
        self.certificate, self.key = self.folder / "tls.pem", self.folder / "tls.key"
        program.make_certificate(self.certificate, self.key)

    def serve_tls(self, *arguments: str) -> program.Server:
        return self.serve("--tls-certificate", str(self.certificate), "--tls-key", str(self.key),
                          *arguments)

    def test_reports_are_taken_over_tls(self) -> None:
        server = self.serve_tls()
        self.assertTrue(server.lines[0].startswith("intake https://127.0.0.1:"), server.lines)
        self.assertTrue(server.lines[1].startswith("pages https://127.0.0.1:"), server.lines)
        context = ssl.create_default_context(cafile=str(self.certificate))
        self.assertEqual(server.ask(sound_request(), context), (200, "OK"))
        with self.assertRaises(ConnectionError):
            server.ask(sound_request())

    def test_a_silent_handshake_is_ended(self) -> None:
        server = self.serve_tls("--header-timeout", "200")
        with server.connect() as link:
            self.assertEqual(link.recv(1), b"")

    def test_a_new_certificate_is_read_on_request(self) -> None:
        server = self.serve_tls()
        program.make_certificate(self.certificate, self.key)
        context = ssl.create_default_context(cafile=str(self.certificate))
        with self.assertRaises(ssl.SSLError):
            server.ask(sound_request(), context)
        server.process.send_signal(signal.SIGHUP)
        end = time.monotonic() + program.PATIENCE
        while "read again" not in server.log() and time.monotonic() < end:
            time.sleep(0.02)
        self.assertEqual(server.ask(sound_request(), context), (200, "OK"))


class End(program.CollectorTest):
    def test_both_signals_end_it_in_order(self) -> None:
        for number in (signal.SIGTERM, signal.SIGINT):
            self.assertEqual(self.serve().stop(number), 0)

    def test_an_open_request_ends_first(self) -> None:
        server = self.serve()
        request = sound_request()
        with server.connect() as link, server.connect() as idle:
            link.sendall(request[:-10])
            server.await_metric("pelto_collector_connections", "2")
            time.sleep(0.1)
            server.process.send_signal(signal.SIGTERM)
            self.assertEqual(idle.recv(1), b"")
            with self.assertRaises(OSError):
                server.connect()
            link.sendall(request[-10:])
            self.assertEqual(senders.read_response(link), (200, "OK"))
        self.assertEqual(server.wait(), 0)
        self.assertEqual(len(self.export()), 1)

    def test_a_trickle_does_not_keep_it(self) -> None:
        server = self.serve("--stop-timeout", "300")
        with server.connect() as link:
            link.sendall(sound_request()[:-10])
            server.await_metric("pelto_collector_connections", "1")
            begin = time.monotonic()
            self.assertEqual(server.stop(), 0)
            self.assertLess(time.monotonic() - begin, 5)

    def test_what_was_confirmed_under_load_is_there(self) -> None:
        server = self.serve()
        confirmed: list[str] = []

        def send() -> None:
            try:
                while True:
                    delivery = str(uuid.uuid4())
                    if senders.deliver(server.port, Report(), delivery) == (200, "OK"):
                        confirmed.append(delivery)
            except OSError:
                pass

        threads = [threading.Thread(target=send) for _ in range(4)]
        for thread in threads:
            thread.start()
        time.sleep(0.5)
        self.assertEqual(server.stop(), 0)
        for thread in threads:
            thread.join()
        self.assertGreater(len(confirmed), 0)
        kept = [json.loads(line)["id"] for line in self.export()]
        self.assertEqual(len(kept), len(set(kept)))
        self.assertLessEqual(set(confirmed), set(kept))


if __name__ == "__main__":
    unittest.main(verbosity=2)
