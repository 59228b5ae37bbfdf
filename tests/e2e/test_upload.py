"""End-to-end tests of the `duty` job with a user who takes part: the built program, real folders
and a real collection server on loopback.

The request and the report in it are compared byte for byte. After every upload that fails nothing
may be lost: the report and the settings are those from before, and the next run succeeds.
"""

from __future__ import annotations

import base64
import re
import signal
import subprocess
import time
import unittest
from datetime import datetime, timedelta, timezone

import harness
from collector import (
    OK,
    REFUSE,
    Answer,
    Collector,
    Ending,
    Exchange,
    chunked_reply,
    private_host,
    reply,
    unused_port,
)
from harness import IDENTIFIER, Sandbox, windows_path

APPLICATION = "Studio"
VERSIONED = harness.HOLDER.with_name("versioned.exe")

GUID = re.compile(rb"[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}")
DATE_FORMAT = "%Y-%m-%dT%H:%M:%SZ"
TRANSMISSION = ("General", "LastTransmissionDate")
SURVEY = ("General", "LastSysInfoCollectingDate")
LOCK_WAIT_SECONDS = 20.0

COMMANDS = '            <cmd id="1" name="Line" count="3" />\n'
TYPES = '            <ftype name=".dwg" ocnt="2" scnt="1" />\n'
NAMED = f'        <prop name="app_name">{APPLICATION}</prop>\n'


def report(
    commands: str = COMMANDS,
    types: str = TYPES,
    application: str = NAMED,
    email: str = "",
    properties: str = "",
) -> bytes:
    """The bytes of a report with these literal rows; characters are code page bytes."""

    def element(tag: str, rows: str, indent: str) -> str:
        return f"{indent}<{tag}>\n{rows}{indent}</{tag}>\n" if rows else f"{indent}<{tag} />\n"

    identifier = f'        <prop name="ID">{IDENTIFIER}</prop>\n'
    address = f'        <prop name="Email">{email}</prop>\n'
    text = (
        "<PeltoRpt>\n"
        "    <cmd_stat>\n" + element("cmds", commands, "        ") + "    </cmd_stat>\n"
        "    <ftype_stat>\n" + element("ftypes", types, "        ") + "    </ftype_stat>\n"
        + element("sys_info", properties + identifier, "    ")
        + element("app_info", application, "    ")
        + (element("cust_info", address, "    ") if email else "")
        + "</PeltoRpt>\n"
    )
    return text.encode("latin-1").replace(b"\n", b"\r\n")


def many_commands(count: int) -> str:
    """Rows of that many commands, about 220 bytes each, in the order of their names."""
    filler = "n" * 170
    return "".join(
        f'            <cmd id="{number}" name="{number:07}{filler}" count="{number % 1000}" />\n'
        for number in range(1, count + 1)
    )


def sent(saved: bytes) -> bytes:
    """What the server gets of a report: line feeds alone, and the last character twice."""
    text = saved.replace(b"\r\n", b"\n")
    return text + text[-1:]


def dated(age: timedelta = timedelta()) -> bytes:
    """The date text of a time that lies so far back."""
    return (datetime.now(timezone.utc) - age).strftime(DATE_FORMAT).encode("ascii")


class UploadTest(unittest.TestCase):
    """A user who takes part, with a report that is due, and what all tests ask of a run."""

    maxDiff = None

    # What an earlier log_handle run left behind, and what a duty run makes of it.
    waiting = report(application="")
    saved = report()

    def setUp(self) -> None:
        self.prepare()

    def prepare(self) -> None:
        """Starts over with fresh folders."""
        self.box = Sandbox()
        self.addCleanup(self.box.remove)
        # A machine that has been described lately, so that the report is the same on all machines.
        self.write_settings(b"LastSysInfoCollectingDate=" + dated())
        self.box.report_path.write_bytes(self.waiting)

    def write_settings(
        self, *lines: bytes, state: int | str | None = 1, email: str | None = None
    ) -> None:
        """Settings with further lines in their General section."""
        data = harness.settings_bytes(state, email=email)
        self.box.settings_path.write_bytes(data + b"".join(line + b"\r\n" for line in lines))

    def use_large_report(self) -> None:
        """Makes the report larger than what lies between two sockets, about 4 MiB."""
        commands = many_commands(20_000)
        self.waiting = report(commands, application="")
        self.saved = report(commands)
        self.box.report_path.write_bytes(self.waiting)

    def start_duty(self, address: str, host: str = "") -> subprocess.Popen[bytes]:
        """Starts a duty run in the background."""
        return harness.start("duty", address, windows_path(self.box.data), APPLICATION, host)

    def duty(self, address: str, host: str = "") -> None:
        """One duty run, which always ends with exit code 0."""
        outcome = harness.run("duty", address, windows_path(self.box.data), APPLICATION, host)
        self.assertEqual(outcome.returncode, 0, outcome.output)

    def assert_bytes(self, got: bytes, expected: bytes) -> None:
        """Equal byte for byte; a difference in a large text is shown by its place."""
        if got != expected:
            at = next(
                (i for i, (a, b) in enumerate(zip(got, expected, strict=False)) if a != b),
                min(len(got), len(expected)),
            )
            near = slice(max(at - 60, 0), at + 60)
            self.fail(
                f"{len(got)} bytes for {len(expected)}, different from {at} on:\n"
                f"got      {got[near]!r}\nexpected {expected[near]!r}"
            )

    def assert_form(self, exchange: Exchange, payload: bytes) -> bytes:
        """The server got a whole form with this report; gives the form's identifier."""
        self.assertEqual(exchange.read_error, "")
        self.assertEqual(exchange.declared_length, len(exchange.body))
        form = exchange.form()
        self.assertEqual([name for name, _ in form], ["Id", "peltorpt"])
        self.assert_bytes(exchange.payload(), payload)
        return form[0][1]

    def assert_nothing_lost(self, settings: bytes) -> None:
        """The report waits as it was saved; the settings are what they were before the run."""
        self.assertTrue(self.box.report_path.exists(), "the report is gone")
        self.assert_bytes(self.box.report_path.read_bytes(), self.saved)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)

    def assert_delivered(self) -> None:
        """The report is gone, and the date of its delivery is a few seconds old at most."""
        self.assertFalse(self.box.report_path.exists(), "the report was not deleted")
        self.assert_just_now(TRANSMISSION)

    def assert_just_now(self, key: tuple[str, str]) -> None:
        """The settings hold a date of the last few seconds under this key."""
        text = self.box.settings().get(key, "")
        self.assertRegex(text, r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\Z")
        stamp = datetime.strptime(text, DATE_FORMAT).replace(tzinfo=timezone.utc)
        age = datetime.now(timezone.utc) - stamp
        self.assertLess(abs(age), timedelta(seconds=60), text)

    def assert_next_run_delivers(self) -> None:
        """A run against a good server sends the report that waited."""
        with Collector(OK) as server:
            self.duty(server.url)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_form(exchanges[0], sent(self.saved))
        self.assert_delivered()

    def assert_refused(self, *answers: Answer) -> list[Exchange]:
        """These answers lose nothing; gives the connections that were made."""
        settings = self.box.settings_path.read_bytes()
        with Collector(*answers) as server:
            self.duty(server.url)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), len(answers))
        self.assert_nothing_lost(settings)
        self.assert_next_run_delivers()
        return exchanges

    def assert_accepted(self, *answers: Answer) -> list[Exchange]:
        """These answers count as delivered; gives the connections that were made."""
        with Collector(*answers) as server:
            self.duty(server.url)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), len(answers))
        self.assert_form(exchanges[0], sent(self.saved))
        self.assert_delivered()
        return exchanges

    def assert_address_fails(self, address: str) -> None:
        """A run with this address loses nothing."""
        settings = self.box.settings_path.read_bytes()
        self.duty(address)
        self.assert_nothing_lost(settings)
        self.assert_next_run_delivers()


class Request(UploadTest):
    """What goes over the wire."""

    def request(self, path: str = "/collect") -> tuple[Exchange, int]:
        """The one request of a run to this path, and the server's port."""
        with Collector(OK) as server:
            self.duty(f"http://{server.host}:{server.port}{path}")
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_delivered()
        return exchanges[0], server.port

    def assert_request_line(self, path: str, expected: bytes) -> None:
        """A run to this path has this request line."""
        exchange, _ = self.request(path)
        self.assertEqual(exchange.raw.split(b"\r\n")[0], expected)

    def test_the_request_is_this_to_the_byte(self) -> None:
        exchange, port = self.request()
        found = GUID.search(exchange.raw)
        assert found is not None, exchange.raw
        body = (
            b"--AaB03x5fs1045fcc7\r\n"
            b'Content-disposition: form-data; name="Id"\r\n'
            b"\r\n"
            + found[0] + b"\r\n"
            b"--AaB03x5fs1045fcc7\r\n"
            b'Content-disposition: form-data; name="peltorpt"\r\n'
            b"\r\n"
            + base64.b64encode(sent(self.saved)) + b"\r\n"
            b"--AaB03x5fs1045fcc7--\r\n"
        )
        self.assertEqual(
            exchange.raw,
            b"POST /collect HTTP/1.1\r\n"
            b"Accept: */*\r\n"
            b"Host: 127.0.0.1:" + str(port).encode("ascii") + b"\r\n"
            b"Content-Length: " + str(len(body)).encode("ascii") + b"\r\n"
            b"User-Agent: CrashRpt\r\n"
            b"Cache-Control: no-cache\r\n"
            b"Content-type: multipart/form-data; boundary=AaB03x5fs1045fcc7\r\n"
            b"\r\n" + body,
        )

    def test_the_report_has_line_feeds_alone_and_its_last_character_twice(self) -> None:
        exchange, _ = self.request()
        self.assertEqual(
            exchange.payload(),
            b"<PeltoRpt>\n"
            b"    <cmd_stat>\n"
            b"        <cmds>\n"
            b'            <cmd id="1" name="Line" count="3" />\n'
            b"        </cmds>\n"
            b"    </cmd_stat>\n"
            b"    <ftype_stat>\n"
            b"        <ftypes>\n"
            b'            <ftype name=".dwg" ocnt="2" scnt="1" />\n'
            b"        </ftypes>\n"
            b"    </ftype_stat>\n"
            b"    <sys_info>\n"
            b'        <prop name="ID">0d5f6a52-7c1b-4f0e-9a3c-5b6e1f2a3d4c</prop>\n'
            b"    </sys_info>\n"
            b"    <app_info>\n"
            b'        <prop name="app_name">Studio</prop>\n'
            b"    </app_info>\n"
            b"</PeltoRpt>\n"
            b"\n",
        )

    def test_every_upload_has_an_identifier_of_its_own(self) -> None:
        seen = {IDENTIFIER.encode("ascii")}
        with Collector(REFUSE, REFUSE, OK) as server:
            for _ in range(3):
                self.duty(server.url)
            exchanges = server.finish()
        for exchange in exchanges:
            identifier = self.assert_form(exchange, sent(self.saved))
            self.assertRegex(identifier, rb"\A" + GUID.pattern + rb"\Z")
            seen.add(identifier)
        self.assertEqual(len(seen), 4, seen)

    def test_the_stored_identifier_stays(self) -> None:
        self.request()
        self.assertEqual(self.box.settings()["PELTO", "ID"], IDENTIFIER)

    def test_the_report_names_the_host_application_and_its_product_version(self) -> None:
        with Collector(OK) as server:
            self.duty(server.url, windows_path(VERSIONED))
            exchanges = server.finish()
        version = '        <prop name="app_ver">65535.7.40000.12</prop>\n'
        self.assert_form(exchanges[0], sent(report(application=NAMED + version)))

    def test_the_report_has_the_e_mail_address(self) -> None:
        self.write_settings(
            b"LastSysInfoCollectingDate=" + dated(), email="j\u00fcrgen@example.com"
        )
        exchange, _ = self.request()
        self.assert_form(exchange, sent(report(email="j\u00fcrgen@example.com")))

    def test_code_page_bytes_arrive_unchanged(self) -> None:
        # All bytes above ASCII, as an attribute; five of them are no characters of the code page.
        name = "".join(map(chr, range(0x80, 0x100)))
        row = f'            <cmd id="1" name="{name}" count="3" />\n'
        self.box.report_path.write_bytes(report(row, application=""))
        exchange, _ = self.request()
        self.assert_form(exchange, sent(report(row)))

    def test_an_end_of_file_character_in_a_name_does_not_cut_the_report(self) -> None:
        row = '            <cmd id="1" name="a&#x1A;b" count="3" />\n'
        self.box.report_path.write_bytes(report(row, application=""))
        exchange, _ = self.request()
        self.assert_form(exchange, sent(report(row)))

    def test_an_empty_report_is_sent_as_a_report_without_counts(self) -> None:
        self.box.report_path.write_bytes(b"")
        exchange, _ = self.request()
        self.assert_form(exchange, sent(report("", "")))

    def test_a_missing_report_is_sent_as_a_report_without_counts(self) -> None:
        self.box.report_path.unlink()
        exchange, _ = self.request()
        self.assert_form(exchange, sent(report("", "")))

    def test_a_path_with_a_query_goes_out_whole(self) -> None:
        self.assert_request_line(
            "/a%20b/c?u=http://x:9/y&v=1", b"POST /a%20b/c?u=http://x:9/y&v=1 HTTP/1.1"
        )

    def test_an_address_without_a_path_asks_for_the_root(self) -> None:
        self.assert_request_line("", b"POST / HTTP/1.1")

    def test_an_address_without_a_scheme_goes_out(self) -> None:
        with Collector(OK) as server:
            self.duty(f"{server.host}:{server.port}/collect")
            exchanges = server.finish()
        self.assert_form(exchanges[0], sent(self.saved))
        self.assert_delivered()

    def test_counts_that_log_handle_gathered_reach_the_server(self) -> None:
        self.box.report_path.unlink()
        prefix = b"2024-03-05 14:07:09.123"
        self.box.write_log(
            "host.log",
            prefix + b"Command = Circle\r\n"
            + prefix + b"Command = Arc\r\n"
            + prefix + b"Command = Circle\r\n"
            + prefix + b"OnSaveDocument\r\n"
            + prefix + b"C:\\plans\\house.dwg\r\n",
        )
        self.assertEqual(self.box.harvest().returncode, 0)
        exchange, _ = self.request()
        self.assert_form(
            exchange,
            sent(
                report(
                    '            <cmd id="2" name="Arc" count="1" />\n'
                    '            <cmd id="1" name="Circle" count="2" />\n',
                    '            <ftype name=".dwg" ocnt="0" scnt="1" />\n',
                )
            ),
        )
        self.assertEqual(self.box.log_names(), [])

    def test_a_report_of_64_mib_goes_through_once(self) -> None:
        commands = many_commands(310_000)
        saved = report(commands)
        self.assertGreaterEqual(len(saved), 64 << 20)
        self.box.report_path.write_bytes(report(commands, application=""))
        with Collector(OK) as server:
            process = self.start_duty(server.url)
            self.assertEqual(harness.wait(process, 90), 0)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_form(exchanges[0], sent(saved))
        self.assert_delivered()


class Due(UploadTest):
    """When a report is sent, and what is written down about it."""

    def assert_nothing_sent(self) -> None:
        """A run makes no connection and leaves both files alone."""
        before = self.box.snapshot()
        with Collector(OK) as server:
            self.duty(server.url)
            exchanges = server.finish()
        self.assertEqual(exchanges, [])
        self.assertEqual(self.box.snapshot(), before)

    def test_a_delivery_is_dated_and_the_survey_with_it(self) -> None:
        self.write_settings()
        with Collector(OK) as server:
            self.duty(server.url)
            exchanges = server.finish()
        self.assertIn(b'<cmd id="1" name="Line" count="3" />', exchanges[0].payload())
        # The report is merged once, although it is loaded twice.
        self.assertIn(b'<ftype name=".dwg" ocnt="2" scnt="1" />', exchanges[0].payload())
        self.assert_delivered()
        self.assert_just_now(SURVEY)
        self.assertEqual(
            set(self.box.settings()),
            {("PELTO", "ID"), ("General", "PeltoState"), TRANSMISSION, SURVEY},
        )

    def test_a_survey_that_was_not_due_keeps_its_date(self) -> None:
        date = dated(timedelta(days=29))
        self.write_settings(b"LastSysInfoCollectingDate=" + date)
        self.assert_accepted(OK)
        self.assertEqual(self.box.settings()[SURVEY], date.decode("ascii"))

    def test_a_failed_delivery_dates_neither(self) -> None:
        self.write_settings()
        settings = self.box.settings_path.read_bytes()
        with Collector(REFUSE) as server:
            self.duty(server.url)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)
        self.assertTrue(self.box.report_path.exists())

    def test_a_run_right_after_a_delivery_sends_nothing(self) -> None:
        with Collector(OK, OK) as server:
            self.duty(server.url)
            self.assert_delivered()
            settings = self.box.settings_path.read_bytes()
            self.duty(server.url)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)
        # Taking the lock makes the file.
        self.assertEqual(self.box.report_path.read_bytes(), b"")

    # Two hours leave room for a change to or from summer time, which shifts the age.
    def test_nothing_is_sent_shortly_before_28_days_are_over(self) -> None:
        self.write_settings(
            b"LastTransmissionDate=" + dated(timedelta(days=28) - timedelta(hours=2))
        )
        self.assert_nothing_sent()

    def test_the_next_report_is_sent_after_28_days(self) -> None:
        self.write_settings(
            b"LastTransmissionDate=" + dated(timedelta(days=28) + timedelta(hours=2)),
            b"LastSysInfoCollectingDate=" + dated(),
        )
        self.assert_accepted(OK)

    def test_a_user_who_does_not_take_part_sends_nothing(self) -> None:
        self.write_settings(b"ShowMessage=0", state=2)
        self.assert_nothing_sent()

    def test_a_user_who_wants_to_be_asked_later_sends_nothing(self) -> None:
        self.write_settings(state=3)
        self.assert_nothing_sent()

    def test_a_user_who_was_never_asked_sends_nothing(self) -> None:
        self.write_settings(b"ShowMessage=0", state=None)
        self.assert_nothing_sent()

    def test_states_that_the_program_never_writes_send_nothing(self) -> None:
        for state in (0, 7, 11, -1, "yes"):
            with self.subTest(state=state):
                self.write_settings(b"ShowMessage=0", state=state)
                self.assert_nothing_sent()

    def test_two_copies_at_once_send_one_report(self) -> None:
        # The first copy is stopped while it saves, so that the second finds the report locked.
        self.use_large_report()
        with Collector(OK, OK) as server:
            first = self.start_duty(server.url)
            processes = [first]
            try:
                self.stop_while_saving(first)
                begin = time.monotonic()
                second = self.start_duty(server.url)
                processes.append(second)
                # Time enough for a slow machine to bring the second copy as far as the lock.
                time.sleep(5.0)
                first.send_signal(signal.SIGCONT)
                self.assertEqual(harness.wait(first, 30), 0)
                self.assert_delivered()
                settings = self.box.settings_path.read_bytes()
                self.assertIsNone(second.poll(), "the second copy did not wait")
                self.assertEqual(harness.wait(second, 60), 0)
                seconds = time.monotonic() - begin
            finally:
                for process in processes:
                    if process.poll() is None:
                        process.kill()
                        process.wait()
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_form(exchanges[0], sent(self.saved))
        self.assertGreaterEqual(seconds, LOCK_WAIT_SECONDS)
        self.assertLess(seconds, LOCK_WAIT_SECONDS + 15)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)

    def stop_while_saving(self, process: subprocess.Popen[bytes]) -> None:
        """Stops the process in the middle of its save."""
        deadline = time.monotonic() + 30
        while self.box.report_path.stat().st_size == len(self.waiting):
            self.assertLess(time.monotonic(), deadline, "the first copy does not save")
            self.assertIsNone(process.poll(), "the first copy ended without saving")
            time.sleep(0.001)
        process.send_signal(signal.SIGSTOP)
        self.assertLess(
            self.box.report_path.stat().st_size, len(self.saved), "the first copy was too fast"
        )


class Accepted(UploadTest):
    """Answers that count as delivered."""

    def test_status_200_without_a_body(self) -> None:
        self.assert_accepted(OK)

    def test_status_200_with_a_body_of_words(self) -> None:
        self.assert_accepted(Answer(reply(body=b"Thank you.")))

    def test_status_500_with_a_body_that_begins_with_200(self) -> None:
        self.assert_accepted(Answer(reply("500 Internal Server Error", b"200 kept all the same")))

    def test_a_body_of_a_blank_and_a_number_leaves_the_verdict_to_status_200(self) -> None:
        self.assert_accepted(Answer(reply(body=b" 404")))

    def test_a_body_that_the_end_of_the_connection_ends(self) -> None:
        self.assert_accepted(Answer(reply(body=b"fine", length=False)))

    def test_a_chunked_body_of_words(self) -> None:
        self.assert_accepted(Answer(chunked_reply(b"fi", b"ne")))

    def test_a_chunked_body_that_begins_with_200(self) -> None:
        self.assert_accepted(
            Answer(chunked_reply(b"200", b" fine", status="500 Internal Server Error"))
        )

    def test_an_interim_answer_before_the_answer(self) -> None:
        self.assert_accepted(Answer(b"HTTP/1.1 100 Continue\r\n\r\n" + reply()))

    def test_a_header_of_1_mb(self) -> None:
        self.assert_accepted(Answer(reply(headers=["X-Long: " + "a" * 1_000_000])))

    def test_a_megabyte_of_short_header_lines(self) -> None:
        lines = [f"X-Line-{number}: {'a' * 100}" for number in range(9000)]
        self.assert_accepted(Answer(reply(headers=lines)))

    def test_a_body_of_a_million_bytes(self) -> None:
        self.assert_accepted(Answer(reply(body=b"a" * 1_000_000)))

    def test_an_answer_before_the_body_was_read(self) -> None:
        self.use_large_report()
        self.assert_accepted(Answer(reply(), body_limit=0))

    def test_an_answer_that_takes_a_while(self) -> None:
        self.assert_accepted(Answer(reply(), delay=2.0))

    def test_a_line_that_is_no_status_line(self) -> None:
        # Not a wish: Wine takes it for an answer of the first HTTP, which had no status, and says
        # 200. The program sees nothing else.
        self.assert_accepted(Answer(b"<html>fine</html>\r\n"))


class Refused(UploadTest):
    """Answers that lose nothing."""

    def test_status_404(self) -> None:
        self.assert_refused(Answer(reply("404 Not Found")))

    def test_status_500(self) -> None:
        self.assert_refused(Answer(reply("500 Internal Server Error")))

    def test_status_500_with_a_body_of_words(self) -> None:
        self.assert_refused(REFUSE)

    def test_status_500_with_a_blank_before_200(self) -> None:
        self.assert_refused(Answer(reply("500 Internal Server Error", b" 200")))

    def test_status_503(self) -> None:
        self.assert_refused(Answer(reply("503 Service Unavailable", headers=["Retry-After: 9"])))

    def test_status_413(self) -> None:
        self.assert_refused(Answer(reply("413 Payload Too Large")))

    def test_status_201(self) -> None:
        self.assert_refused(Answer(reply("201 Created")))

    def test_status_204(self) -> None:
        self.assert_refused(Answer(reply("204 No Content", length=False)))

    def test_status_200_with_the_body_1(self) -> None:
        self.assert_refused(Answer(reply(body=b"1")))

    def test_status_200_with_the_body_2000(self) -> None:
        self.assert_refused(Answer(reply(body=b"2000")))

    def test_status_200_with_a_chunked_body_of_another_number(self) -> None:
        self.assert_refused(Answer(chunked_reply(b"20", b"1 no")))

    def test_status_401_is_not_answered_with_a_password(self) -> None:
        self.assert_refused(
            Answer(reply("401 Unauthorized", headers=['WWW-Authenticate: Basic realm="x"']))
        )

    def test_status_407_is_not_answered_with_a_password(self) -> None:
        for scheme in ('Basic realm="x"', "NTLM", "Negotiate"):
            with self.subTest(scheme=scheme):
                self.prepare()
                self.assert_refused(
                    Answer(
                        reply(
                            "407 Proxy Authentication Required",
                            headers=[f"Proxy-Authenticate: {scheme}"],
                        )
                    )
                )

    def test_a_close_without_an_answer(self) -> None:
        self.assert_refused(Answer())

    def test_a_reset_before_the_answer(self) -> None:
        self.assert_refused(Answer(ending=Ending.RESET))

    def test_a_reset_in_the_middle_of_the_body(self) -> None:
        self.use_large_report()
        exchanges = self.assert_refused(Answer(body_limit=100_000, ending=Ending.RESET))
        self.assertLess(len(exchanges[0].body), exchanges[0].declared_length)

    def test_a_reset_right_after_an_answer_that_came_too_early(self) -> None:
        self.use_large_report()
        self.assert_refused(Answer(reply(), body_limit=0, ending=Ending.RESET))

    def test_an_answer_of_bytes_without_a_line_end(self) -> None:
        self.assert_refused(Answer(bytes(range(32, 256)) * 40))

    def test_a_status_line_that_breaks_off(self) -> None:
        self.assert_refused(Answer(b"HTTP/1.1 20"))

    def test_a_server_that_stays_silent_is_waited_for_until_it_closes(self) -> None:
        settings = self.box.settings_path.read_bytes()
        with Collector(Answer(ending=Ending.HOLD)) as server:
            process = self.start_duty(server.url)
            try:
                # The closing boundary is the last of the request.
                server.wait_for_text(b"--AaB03x5fs1045fcc7--\r\n", harness.RUN_TIMEOUT)
                time.sleep(5.0)
                self.assertIsNone(process.poll(), "the program did not wait")
                server.release()
                self.assertEqual(harness.wait(process, 30), 0)
            finally:
                if process.poll() is None:
                    process.kill()
                    process.wait()
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_nothing_lost(settings)
        self.assert_next_run_delivers()


class Redirected(UploadTest):
    """A redirect is followed without the form; the verdict is on what the last server says."""

    def redirect(self, location: str | None, status: str = "302 Found") -> Answer:
        """An answer that points elsewhere."""
        return Answer(reply(status, headers=[] if location is None else [f"Location: {location}"]))

    def assert_form_kept_back(self, exchange: Exchange) -> None:
        """A request that holds nothing of the report."""
        self.assertEqual(exchange.read_error, "")
        self.assertEqual(exchange.body, b"")

    def test_a_redirect_without_a_location_loses_nothing(self) -> None:
        self.assert_refused(self.redirect(None))

    def test_a_redirect_to_a_page_that_is_not_there_loses_nothing(self) -> None:
        exchanges = self.assert_refused(
            self.redirect("/elsewhere"), Answer(reply("404 Not Found"))
        )
        self.assertEqual(exchanges[1].raw.split(b"\r\n")[0], b"GET /elsewhere HTTP/1.1")
        self.assert_form_kept_back(exchanges[1])

    def test_a_redirect_to_a_server_that_is_not_there_loses_nothing(self) -> None:
        with unused_port() as holder:
            self.assert_refused(self.redirect(f"http://127.0.0.1:{holder.getsockname()[1]}/"))

    def test_a_chain_of_redirects_ends_with_the_last_answer(self) -> None:
        chain = [self.redirect("/collect")] * 20
        exchanges = self.assert_refused(*chain, Answer(reply("404 Not Found")))
        for exchange in exchanges[1:]:
            self.assert_form_kept_back(exchange)

    def test_a_redirect_does_not_carry_the_form_to_another_server(self) -> None:
        for status in ("301 Moved Permanently", "302 Found", "303 See Other",
                       "307 Temporary Redirect"):
            with self.subTest(status=status), Collector(REFUSE) as other:
                self.prepare()
                self.assert_refused(self.redirect(other.url, status))
                exchanges = other.finish()
                self.assertEqual(len(exchanges), 1)
                self.assert_form_kept_back(exchanges[0])

    def test_a_redirect_to_a_page_that_answers_200_counts_as_delivered(self) -> None:
        # The first server has read the whole form; the system follows the redirect by itself and
        # shows the program the last answer alone.
        exchanges = self.assert_accepted(self.redirect("/thanks"), OK)
        self.assert_form_kept_back(exchanges[1])


class Address(UploadTest):
    """Addresses that reach no server lose nothing, whatever they look like."""

    def test_a_refused_connection(self) -> None:
        with unused_port() as holder:
            self.assert_address_fails(f"http://127.0.0.1:{holder.getsockname()[1]}/collect")

    def test_a_host_name_that_is_not_known(self) -> None:
        self.assert_address_fails("http://collector.invalid/collect")

    def test_an_address_without_a_host(self) -> None:
        for address in ("http:///collect", "http://", "/", "/collect", "http://:80/collect"):
            with self.subTest(address=address):
                self.prepare()
                self.assert_address_fails(address)

    def test_texts_that_are_no_address(self) -> None:
        for address in (":", "://", "a:", "http:/", "\\\\x\\y", " ", "\u65e5\u672c", "%s%n"):
            with self.subTest(address=address):
                self.prepare()
                self.assert_address_fails(address)

    def test_a_host_of_5000_characters(self) -> None:
        self.assert_address_fails("http://" + "a" * 4981 + ".invalid/x")

    def test_a_scheme_of_5000_characters(self) -> None:
        with Collector(OK) as server:
            self.assert_address_fails("h" * 4975 + server.url[len("http"):])
            self.assertEqual(server.finish(), [])

    def test_a_path_of_5000_characters_is_not_sent(self) -> None:
        with Collector(OK) as server:
            self.assert_address_fails(server.url + "/" + "a" * 4970)
            self.assertEqual(server.finish(), [])

    def test_a_path_of_1023_characters_is_sent_and_one_of_1024_is_not(self) -> None:
        with Collector(OK) as server:
            base = f"http://{server.host}:{server.port}/"
            self.assert_address_fails(base + "a" * 1023)
            self.prepare()
            self.duty(base + "a" * 1022)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assertEqual(
            exchanges[0].raw.split(b"\r\n")[0], b"POST /" + b"a" * 1022 + b" HTTP/1.1"
        )
        self.assert_form(exchanges[0], sent(self.saved))
        self.assert_delivered()

    def test_ports_that_are_no_ports(self) -> None:
        # They are brought into range, and nobody listens there.
        host = private_host()
        for port in ("0", "99999", "-1", "abc", "", "99999999999999999999"):
            with self.subTest(port=port):
                self.prepare()
                self.assert_address_fails(f"http://{host}:{port}/collect")

    def test_a_port_beyond_16_bits_keeps_its_low_bits(self) -> None:
        with Collector(OK) as server:
            self.duty(f"http://{server.host}:{server.port + 0x10000}/collect")
            exchanges = server.finish()
        self.assert_form(exchanges[0], sent(self.saved))
        self.assert_delivered()

    def test_a_port_that_reads_as_0_means_the_usual_one(self) -> None:
        for port in ("0", "abc", ""):
            with self.subTest(port=port):
                self.prepare()
                with Collector(OK, host=private_host(), port=80) as server:
                    self.duty(f"http://{server.host}:{port}/collect")
                    exchanges = server.finish()
                self.assertEqual(len(exchanges), 1)
                self.assert_form(exchanges[0], sent(self.saved))
                self.assert_delivered()


if __name__ == "__main__":
    unittest.main()
