"""The configurations for operators: nginx before the collector, and the unit for systemd."""

from __future__ import annotations

import json
import os
import re
import signal
import socket
import ssl
import subprocess
import tempfile
import time
import unittest
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

import program
import senders

SAMPLES = program.ROOT / "samples" / "collector"
PACKAGING = program.ROOT / "packaging" / "collector"
NGINX = program.ROOT / "build" / "deps" / "nginx" / "usr" / "sbin" / "nginx"

# Started by root, its workers would be a user who cannot write into a temporary folder.
USER = "user root;" if os.geteuid() == 0 else ""
# Besides the sample, which goes where Debian's configuration includes it.
MAIN_CONFIGURATION = """
{user}
daemon off;
worker_processes 1;
pid {folder}/pid;
error_log {folder}/errors;
events {{}}
http {{
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    include {folder}/collector.conf;
}}
"""


def free_port() -> int:
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return int(listener.getsockname()[1])


@contextmanager
def nginx(intake: int, *changes: tuple[str, str]) -> Iterator[tuple[int, ssl.SSLContext]]:
    """nginx with the sample before the collector, changed so; yields its port and what trusts its
    certificate."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        port = free_port()
        program.make_certificate(folder / "certificate", folder / "key")
        sample = (SAMPLES / "nginx.conf").read_text()
        for old, new in (("127.0.0.1:8480", f"127.0.0.1:{intake}"),
                         ("listen 443 ssl", f"listen 127.0.0.1:{port} ssl"),
                         ("/etc/ssl/collect.example.pem", str(folder / "certificate")),
                         ("/etc/ssl/private/collect.example.key", str(folder / "key")),
                         ("/var/log/nginx/pelto-collector.log", str(folder / "errors")),
                         *changes):
            if old not in sample:
                raise AssertionError(f"the sample has no {old}")
            sample = sample.replace(old, new)
        (folder / "collector.conf").write_text(sample)
        (folder / "nginx.conf").write_text(MAIN_CONFIGURATION.format(user=USER, folder=folder))
        process = subprocess.Popen([NGINX, "-p", folder, "-c", folder / "nginx.conf"],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        try:
            deadline = time.monotonic() + 20
            while True:
                try:
                    socket.create_connection(("127.0.0.1", port), 1).close()
                    break
                except OSError:
                    if process.poll() is not None or time.monotonic() > deadline:
                        raise AssertionError((folder / "errors").read_text()) from None
                    time.sleep(0.05)
            yield port, ssl.create_default_context(cafile=str(folder / "certificate"))
        finally:
            process.terminate()
            process.wait()


class BehindNginx(program.CollectorTest):
    def test_a_delivery_arrives(self) -> None:
        server = self.serve("--trusted-proxy", "127.0.0.1")
        with nginx(server.port) as (port, context):
            report = senders.Report(commands={"Line": (3, 1)})
            status, body = senders.deliver(port, report, context=context)
        self.assertEqual((status, body.strip()), (200, "OK"))
        self.assertEqual([json.loads(line)["installation"] for line in self.export()],
                         [report.installation])

    def test_a_refusal_and_its_reason_arrive(self) -> None:
        with nginx(self.serve().port) as (port, context):
            body = senders.form("no GUID", senders.payload(b"<PeltoRpt/>"))
            status, reason = senders.exchange(port, senders.request(body), context)
            self.assertEqual((status, reason.strip()), (400, "refused: bad-id"))
            # Larger than the collector's limit, and smaller than nginx's.
            body = senders.form("no GUID", b"A" * (4 * 1024 * 1024 + 1))
            status, reason = senders.exchange(port, senders.request(body), context)
            self.assertEqual((status, reason.strip()), (413, "refused: too-large"))
            self.assertEqual(senders.exchange(port, senders.request(b"", "/other"), context)[0], 404)

    def test_participants_reach_what_is_theirs(self) -> None:
        body = b'{"installation":"unknown"}'
        request = (b"POST /mine/kept HTTP/1.1\r\nHost: localhost\r\nContent-Length: %d\r\n\r\n"
                   % len(body)) + body
        with nginx(self.serve("--trusted-proxy", "127.0.0.1").port) as (port, context):
            self.assertEqual(senders.exchange(port, request, context),
                             (200, '{"deliveries":[],"total":0,"has_email":false}\n'))

    def test_without_the_collector_nothing_is_confirmed(self) -> None:
        server = self.serve()
        with nginx(server.port) as (port, context):
            server.stop()
            status, body = senders.deliver(port, senders.Report(), context=context)
        self.assertEqual(status, 502)
        # A body that begins with a digit would count in the status' place.
        self.assertFalse(body[:1].isdigit())


class SystemdUnit(unittest.TestCase):
    UNIT = PACKAGING / "pelto-collector.service"

    def test_systemd_takes_it_as_it_is(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            unit = Path(name, self.UNIT.name)
            text, replaced = re.subn(r"/usr/bin/pelto-collector", str(program.PROGRAM),
                                        self.UNIT.read_text())
            self.assertEqual(replaced, 1)
            # The page that it refers to belongs to an installed program.
            unit.write_text(re.sub("^Documentation=.*\n", "", text, flags=re.MULTILINE))
            result = subprocess.run(["systemd-analyze", "verify", "--man=no", unit],
                                    capture_output=True, text=True, check=False)
            problems = [line for line in result.stderr.splitlines() if self.UNIT.name in line]
            self.assertEqual((result.returncode, problems), (0, []))

    def test_its_exposure_is_low(self) -> None:
        result = subprocess.run(
            ["systemd-analyze", "security", "--offline=true", "--threshold=15", self.UNIT],
            capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 0, result.stdout[-500:])

    def test_its_reload_is_the_signal_for_a_new_certificate(self) -> None:
        (command,) = re.findall("(?m)^ExecReload=(.*)$", self.UNIT.read_text())
        # Whoever runs the tests may ignore the signal, and programs inherit that.
        with subprocess.Popen(
            ["sleep", "infinity"],
            preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_DFL),
        ) as process:
            try:
                subprocess.run(command.replace("$MAINPID", str(process.pid)).split(), check=True)
                self.assertEqual(process.wait(program.PATIENCE), -signal.SIGHUP)
            finally:
                process.kill()


class ManualPage(unittest.TestCase):
    PAGE = PACKAGING / "pelto-collector.1"

    def test_it_has_the_commands_that_the_program_has(self) -> None:
        commands = program.run("--help").stdout.partition("Subcommands:\n")[2]
        expected = re.findall(r"(?m)^  (\S+)  ", commands)
        section = self.PAGE.read_text().partition(".SH COMMANDS\n")[2].partition(".SH ")[0]
        self.assertEqual(re.findall(r"(?m)^\.TP\n\.B (\S+)$", section), expected)
        self.assertIn("serve", expected)

    def test_groff_has_no_warnings(self) -> None:
        result = subprocess.run(["groff", "-man", "-ww", "-z", self.PAGE], capture_output=True,
                                text=True, check=False)
        self.assertEqual((result.returncode, result.stderr), (0, ""))


class Options(unittest.TestCase):
    def test_the_service_s_file_can_be_used_with_all_that_is_commented_out(self) -> None:
        text, count = re.subn(r"(?m)^# (?=[a-z-]+ = )", "",
                              (PACKAGING / "pelto-collector.toml").read_text())
        self.assertGreater(count, 2)
        with tempfile.TemporaryDirectory() as folder:
            text, count = re.subn("(?m)^data = .*$", f'data = "{folder}/data"', text)
            self.assertEqual(count, 1)
            file = Path(folder, "options.toml")
            file.write_text(text)
            done = program.run("check", "--config", str(file))
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)


if __name__ == "__main__":
    unittest.main()
