"""End-to-end tests of `duty` with a user who takes part: the built program, real folders and a real
collection server on loopback.

The request and the report in it are compared byte for byte. An upload that fails must lose nothing:
the report and the settings are those from before, and the next run delivers.
"""

from __future__ import annotations

import base64
import re
import signal
import time
import unittest
from datetime import timedelta

import documents
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
from documents import (
    GUID,
    IDENTIFIER,
    SURVEY,
    TRANSMISSION,
    cmd,
    command,
    date,
    ftype,
    saved,
    sent,
)
from harness import LOCK_WAIT, ProgramTest, windows_path

APPLICATION = "Studio"
# What Windows' functions for the internet keep for each user, and what Wine writes when it starts.
SYSTEMS_OWN = r"INetCookies|INetCache|Internet Settings$|Wine\\\\Fonts$"
ROWS = (cmd(1, "Line", 3), ftype(".dwg", 2, 1))
# The report of every test: what an earlier log_handle run left, and what a duty run saves.
WAITING = documents.report(*ROWS)
SAVED = documents.report(*ROWS, application=APPLICATION)


def many_commands(count: int, length: int) -> list[str]:
    """Rows of that many commands with names of that length, in the order of their names."""
    filler = "n" * (length - 7)
    return [cmd(number, f"{number:07}{filler}", number % 1000) for number in range(1, count + 1)]


class UploadTest(ProgramTest):
    """A user who takes part, with a report that is due."""

    def renew(self) -> None:
        super().renew()
        # The machine has been described lately, so the report is the same on all machines.
        self.box.write_settings(LastSysInfoCollectingDate=date())
        self.use_report(WAITING, SAVED)

    def use_report(self, waiting: bytes, saved_: bytes) -> None:
        """Puts another report into the data folder; `saved_` is what a run makes of it."""
        self.saved = saved_
        self.box.report_path.write_bytes(waiting)

    def use_rows(self, *rows: str, email: str = "") -> None:
        """The same for a report with these rows."""
        self.use_report(
            documents.report(*rows), documents.report(*rows, application=APPLICATION, email=email)
        )

    def use_large_report(self) -> None:
        """A report larger than what the sockets of a connection hold, about 4 MiB."""
        self.use_rows(*many_commands(20_000, 177))

    def duty_arguments(self, address: str, host: str = "") -> tuple[str, ...]:
        """The command line of a run; `host` is the executable whose version is reported."""
        return "duty", address, windows_path(self.box.data), APPLICATION, host

    def duty(self, address: str, host: str = "") -> None:
        """One run."""
        self.run_program(*self.duty_arguments(address, host))

    def send(self, *answers: Answer, path: str = "/collect", host: str = "") -> list[Exchange]:
        """One run against a server with these answers; returns the connections, one for each."""
        with Collector(*answers) as server:
            self.duty(f"http://{server.host}:{server.port}{path}", host)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), len(answers))
        return exchanges

    def assert_form(self, exchange: Exchange, payload: bytes) -> bytes:
        """The server got a whole form with this report; returns the form's identifier."""
        self.assertEqual(exchange.read_error, "")
        self.assertEqual(exchange.declared_length, len(exchange.body))
        form = exchange.form()
        self.assertEqual([name for name, _ in form], ["Id", "peltorpt"])
        self.assert_bytes(exchange.payload(), payload)
        return form[0][1]

    def assert_nothing_lost(self, settings: bytes) -> None:
        """The report is there as it was saved; the settings are what they were before the run."""
        self.assertTrue(self.box.report_path.exists(), "the report is gone")
        self.assert_bytes(self.box.report_path.read_bytes(), self.saved)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)

    def assert_delivered(self, exchanges: list[Exchange]) -> None:
        """The report arrived with the first request, is deleted and dated."""
        self.assert_form(exchanges[0], sent(self.saved))
        self.assertFalse(self.box.report_path.exists(), "the report was not deleted")
        self.assert_just_now(TRANSMISSION)

    def assert_refused(self, *answers: Answer) -> list[Exchange]:
        """These answers lose nothing; returns the connections."""
        settings = self.box.settings_path.read_bytes()
        exchanges = self.send(*answers)
        self.assert_nothing_lost(settings)
        self.assert_delivered(self.send(OK))
        return exchanges

    def assert_accepted(self, *answers: Answer) -> list[Exchange]:
        """These answers count as delivered; returns the connections."""
        exchanges = self.send(*answers)
        self.assert_delivered(exchanges)
        return exchanges

    def assert_address_fails(self, address: str) -> None:
        """A run with this address loses nothing."""
        settings = self.box.settings_path.read_bytes()
        self.duty(address)
        self.assert_nothing_lost(settings)
        self.assert_delivered(self.send(OK))


class Request(UploadTest):
    """What is sent."""

    def test_the_request_is_this_to_the_byte(self) -> None:
        exchange = self.send(OK)[0]
        found = re.search(GUID.encode(), exchange.raw)
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
            b"Host: 127.0.0.1:%d\r\n"
            b"Content-Length: %d\r\n"
            b"User-Agent: CrashRpt\r\n"
            b"Cache-Control: no-cache\r\n"
            b"Content-type: multipart/form-data; boundary=AaB03x5fs1045fcc7\r\n"
            b"\r\n" % (exchange.port, len(body)) + body,
        )
        self.assertEqual(self.box.settings()["PELTO", "ID"], IDENTIFIER)

    def test_the_report_has_line_feeds_alone_and_its_last_character_twice(self) -> None:
        self.assertEqual(
            self.send(OK)[0].payload(),
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
        for answer in (REFUSE, REFUSE, OK):
            identifier = self.assert_form(self.send(answer)[0], sent(self.saved))
            self.assertRegex(identifier, rb"\A" + GUID.encode() + rb"\Z")
            seen.add(identifier)
        self.assertEqual(len(seen), 4, seen)

    def test_the_report_names_the_host_application_and_its_product_version(self) -> None:
        self.saved = documents.report(*ROWS, application=APPLICATION, version="65535.7.40000.12")
        self.assert_delivered(
            self.send(OK, host=windows_path(harness.TEST_PROGRAMS / "versioned.exe"))
        )

    def test_the_report_has_the_e_mail_address(self) -> None:
        email = "j\u00fcrgen@example.com"
        self.box.write_settings(LastSysInfoCollectingDate=date(), Email=email)
        self.use_rows(*ROWS, email=email)
        self.assert_accepted(OK)

    def test_reports_arrive_as_they_were_saved(self) -> None:
        for about, name in (
            # Five of them are no characters of the code page.
            ("all bytes above ASCII", "".join(map(chr, range(0x80, 0x100)))),
            ("an end-of-file character", "a&#x1A;b"),
        ):
            with self.case(about):
                self.use_rows(cmd(1, name, 3))
                self.assert_accepted(OK)

    def test_without_a_report_one_without_counts_is_sent(self) -> None:
        for about, prepare in (
            ("empty", lambda: self.box.report_path.write_bytes(b"")),
            ("missing", lambda: self.box.report_path.unlink()),
        ):
            with self.case(about):
                prepare()
                self.saved = documents.report(application=APPLICATION)
                self.assert_accepted(OK)

    def test_the_path_of_the_address_goes_out_whole(self) -> None:
        for path, requested in (
            ("/a%20b/c?u=http://x:9/y&v=1", b"/a%20b/c?u=http://x:9/y&v=1"),
            ("", b"/"),
        ):
            with self.case(path):
                exchanges = self.send(OK, path=path)
                self.assert_delivered(exchanges)
                self.assertEqual(exchanges[0].request_line, b"POST " + requested + b" HTTP/1.1")

    def test_an_address_without_a_scheme_goes_out(self) -> None:
        with Collector(OK) as server:
            self.duty(f"{server.host}:{server.port}/collect")
            self.assert_delivered(server.finish())

    def test_counts_that_log_handle_gathered_reach_the_server(self) -> None:
        self.box.report_path.unlink()
        self.box.write_log(
            "host.log",
            command(b"Circle") + command(b"Arc") + command(b"Circle")
            + saved(b"C:\\plans\\house.dwg"),
        )
        self.assertEqual(self.box.log_handle().returncode, 0)
        self.assertEqual(self.box.log_names(), [])
        self.saved = documents.report(
            cmd(2, "Arc", 1), cmd(1, "Circle", 2), ftype(".dwg", 0, 1), application=APPLICATION
        )
        self.assert_accepted(OK)

    def test_a_report_of_64_mib_goes_through_once(self) -> None:
        self.use_rows(*many_commands(20_000, 3350))
        self.assertGreaterEqual(len(self.saved), 64 << 20)
        with Collector(OK) as server:
            harness.run(*self.duty_arguments(server.url), timeout=90)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_delivered(exchanges)


class Due(UploadTest):
    """When a report is sent, and which dates are written."""

    def assert_nothing_sent(self) -> None:
        """A run makes no connection and leaves both files alone."""
        before = self.box.snapshot()
        self.assertEqual(self.send(), [])
        self.assertEqual(self.box.snapshot(), before)

    def test_a_delivery_is_dated_and_the_survey_with_it(self) -> None:
        self.box.write_settings()
        payload = self.send(OK)[0].payload()
        # The report is merged once, although it is loaded twice (docs/compatibility.md, 5).
        for row in ROWS:
            self.assertIn(row.encode(), payload)
        self.assertFalse(self.box.report_path.exists())
        self.assert_just_now(TRANSMISSION)
        self.assert_just_now(SURVEY)
        self.assertEqual(
            set(self.box.settings()), {("PELTO", "ID"), documents.STATE, TRANSMISSION, SURVEY}
        )

    def test_a_survey_that_was_not_due_keeps_its_date(self) -> None:
        surveyed = date(timedelta(days=29))
        self.box.write_settings(LastSysInfoCollectingDate=surveyed)
        self.assert_accepted(OK)
        self.assertEqual(self.box.settings()[SURVEY], surveyed)

    def test_a_failed_delivery_dates_neither(self) -> None:
        self.box.write_settings()
        settings = self.box.settings_path.read_bytes()
        self.send(REFUSE)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)
        self.assertTrue(self.box.report_path.exists())

    def test_a_run_right_after_a_delivery_sends_nothing(self) -> None:
        self.assert_accepted(OK)
        # Taking the lock makes the file.
        self.box.report_path.write_bytes(b"")
        self.assert_nothing_sent()

    def test_the_next_report_is_sent_after_28_days(self) -> None:
        # Two hours are room for a change of the clocks, which shifts the age
        # (docs/compatibility.md, 10).
        limit, margin = timedelta(days=28), timedelta(hours=2)
        self.box.write_settings(LastTransmissionDate=date(limit - margin))
        self.assert_nothing_sent()
        self.box.write_settings(
            LastTransmissionDate=date(limit + margin), LastSysInfoCollectingDate=date()
        )
        self.assert_accepted(OK)

    def test_only_a_user_who_takes_part_sends(self) -> None:
        for state in (2, 3, None, 0, 7, 11, -1, "yes"):
            with self.subTest(state):
                self.box.write_settings(state, ShowMessage=0)
                self.assert_nothing_sent()
        self.box.write_settings(3)
        self.assert_nothing_sent()

    def test_two_copies_at_once_send_one_report(self) -> None:
        # The first copy is stopped while it saves, so the second finds the report locked.
        self.use_large_report()
        size = len(self.box.report_path.read_bytes())
        with Collector(OK, OK) as server:
            arguments = self.duty_arguments(server.url)
            with harness.started(*arguments) as first:
                harness.wait_until(
                    lambda: self.box.report_path.stat().st_size != size, 30,
                    "the first copy does not save", poll=0.001,
                )
                first.send_signal(signal.SIGSTOP)
                self.assertLess(
                    self.box.report_path.stat().st_size, len(self.saved), "the copy was too fast"
                )
                begin = time.monotonic()
                with harness.started(*arguments) as second:
                    # Time enough for a slow machine to bring the second copy as far as the lock.
                    time.sleep(5.0)
                    first.send_signal(signal.SIGCONT)
                    self.assertEqual(harness.wait(first, 30), 0)
                    self.assertFalse(self.box.report_path.exists())
                    settings = self.box.settings_path.read_bytes()
                    self.assertIsNone(second.poll(), "the second copy did not wait")
                    self.assertEqual(harness.wait(second, 60), 0)
                    seconds = time.monotonic() - begin
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_form(exchanges[0], sent(self.saved))
        self.assertGreaterEqual(seconds, LOCK_WAIT)
        self.assertLess(seconds, LOCK_WAIT + 15)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)
        self.assert_just_now(TRANSMISSION)


class Verdict(UploadTest):
    """Which answers count as delivered."""

    def test_accepted_answers(self) -> None:
        failure = "500 Internal Server Error"
        many_lines = [f"X-Line-{number}: {'a' * 100}" for number in range(9000)]
        for about, answer in (
            ("200 without a body", OK),
            ("200 with a body of words", Answer(reply(body=b"Thank you."))),
            ("500 with a body that begins with 200", Answer(reply(failure, b"200 kept after all"))),
            ("200 with a space and a number", Answer(reply(body=b" 404"))),
            ("200 with a body that ends with the connection",
             Answer(reply(body=b"fine", length=False))),
            ("200 with a chunked body of words", Answer(chunked_reply(b"fi", b"ne"))),
            ("500 with a chunked body that begins with 200",
             Answer(chunked_reply(b"200", b" fine", status=failure))),
            ("100 before 200", Answer(b"HTTP/1.1 100 Continue\r\n\r\n" + reply())),
            ("a header of 1 MB", Answer(reply(headers=["X-Long: " + "a" * 1_000_000]))),
            ("1 MB of short header lines", Answer(reply(headers=many_lines))),
            ("a body of 1 MB", Answer(reply(body=b"a" * 1_000_000))),
            ("an answer after 2 s", Answer(reply(), delay=2.0)),
            # Wine takes it for an answer of HTTP/0.9, which had no status, and makes a 200 of it.
            ("a line that is no status line", Answer(b"<html>fine</html>\r\n")),
        ):
            with self.case(about):
                self.assert_accepted(answer)

    def test_an_answer_before_the_body_was_read_is_accepted(self) -> None:
        self.use_large_report()
        self.assert_accepted(Answer(reply(), body_limit=0))

    def test_refused_answers(self) -> None:
        failure = "500 Internal Server Error"
        for about, answer in (
            ("404", Answer(reply("404 Not Found"))),
            ("500", Answer(reply(failure))),
            ("500 with a body of words", REFUSE),
            ("500 with a space before 200", Answer(reply(failure, b" 200"))),
            ("503", Answer(reply("503 Service Unavailable", headers=["Retry-After: 9"]))),
            ("413", Answer(reply("413 Payload Too Large"))),
            ("201", Answer(reply("201 Created"))),
            ("204", Answer(reply("204 No Content", length=False))),
            ("200 with the body 1", Answer(reply(body=b"1"))),
            ("200 with the body 2000", Answer(reply(body=b"2000"))),
            # Beyond 32 bits; its low 32 bits are 200.
            ("200 with the body 4294967496", Answer(reply(body=b"4294967496"))),
            ("200 with a chunked body of another number", Answer(chunked_reply(b"20", b"1 no"))),
            ("401", Answer(reply("401 Unauthorized",
                                 headers=['WWW-Authenticate: Basic realm="x"']))),
            *((f"407 {scheme}", Answer(reply("407 Proxy Authentication Required",
                                             headers=[f"Proxy-Authenticate: {scheme}"])))
              for scheme in ('Basic realm="x"', "NTLM", "Negotiate")),
            ("a close without an answer", Answer()),
            ("a reset before the answer", Answer(ending=Ending.RESET)),
            ("bytes without a line end", Answer(bytes(range(32, 256)) * 40)),
            ("a status line that breaks off", Answer(b"HTTP/1.1 20")),
        ):
            with self.case(about):
                self.assert_refused(answer)

    def test_a_reset_in_the_middle_of_the_body_loses_nothing(self) -> None:
        self.use_large_report()
        exchange = self.assert_refused(Answer(body_limit=100_000, ending=Ending.RESET))[0]
        self.assertLess(len(exchange.body), exchange.declared_length)

    def test_a_reset_right_after_an_early_answer_loses_nothing(self) -> None:
        self.use_large_report()
        self.assert_refused(Answer(reply(), body_limit=0, ending=Ending.RESET))

    def test_a_silent_server_is_waited_for_until_it_closes(self) -> None:
        settings = self.box.settings_path.read_bytes()
        with Collector(Answer(ending=Ending.HOLD)) as server:
            with harness.started(*self.duty_arguments(server.url)) as process:
                # The closing boundary is the last of the request.
                server.wait_for_text(b"--AaB03x5fs1045fcc7--\r\n", harness.RUN_TIMEOUT)
                time.sleep(5.0)
                self.assertIsNone(process.poll(), "the program did not wait")
                server.release()
                self.assertEqual(harness.wait(process, 30), 0)
            self.assertEqual(len(server.finish()), 1)
        self.assert_nothing_lost(settings)
        self.assert_delivered(self.send(OK))


class Redirected(UploadTest):
    """A redirect is followed without the form, and the last server's answer decides."""

    def redirect(self, location: str | None, status: str = "302 Found") -> Answer:
        """An answer that points elsewhere."""
        return Answer(reply(status, headers=[] if location is None else [f"Location: {location}"]))

    def assert_without_form(self, *exchanges: Exchange) -> None:
        """Requests that hold nothing of the report."""
        for exchange in exchanges:
            self.assertEqual((exchange.read_error, exchange.body), ("", b""))

    def test_a_redirect_without_a_location_loses_nothing(self) -> None:
        self.assert_refused(self.redirect(None))

    def test_a_redirect_to_a_missing_page_loses_nothing(self) -> None:
        _, second = self.assert_refused(self.redirect("/elsewhere"), Answer(reply("404 Not Found")))
        self.assertEqual(second.request_line, b"GET /elsewhere HTTP/1.1")
        self.assert_without_form(second)

    def test_a_redirect_to_a_missing_server_loses_nothing(self) -> None:
        with unused_port() as holder:
            self.assert_refused(self.redirect(f"http://127.0.0.1:{holder.getsockname()[1]}/"))

    def test_a_chain_of_redirects_ends_with_the_last_answer(self) -> None:
        chain = [self.redirect("/collect")] * 20
        exchanges = self.assert_refused(*chain, Answer(reply("404 Not Found")))
        self.assert_without_form(*exchanges[1:])

    def test_a_redirect_does_not_carry_the_form_to_another_server(self) -> None:
        for status in ("301 Moved Permanently", "302 Found", "303 See Other",
                       "307 Temporary Redirect"):
            with self.case(status), Collector(REFUSE) as other:
                self.assert_refused(self.redirect(other.url, status))
                exchanges = other.finish()
                self.assertEqual(len(exchanges), 1)
                self.assert_without_form(*exchanges)

    def test_a_redirect_to_a_page_with_200_counts_as_delivered(self) -> None:
        # The first server has read the whole form. The system follows the redirect by itself and
        # shows the program the last answer alone.
        exchanges = self.assert_accepted(self.redirect("/thanks"), OK)
        self.assert_without_form(exchanges[1])


class Address(UploadTest):
    """Addresses in every form."""

    def test_a_refused_connection_loses_nothing(self) -> None:
        with unused_port() as holder:
            self.assert_address_fails(f"http://127.0.0.1:{holder.getsockname()[1]}/collect")

    def test_invalid_addresses_fail_to_connect(self) -> None:
        for address in (
            "http://collector.invalid/collect", "http://" + "a" * 4981 + ".invalid/x",
            "http:///collect", "http://", "/", "/collect", "http://:80/collect",
            ":", "://", "a:", "http:/", "\\\\x\\y", " ", "\u65e5\u672c", "%s%n",
        ):
            with self.case(address):
                self.assert_address_fails(address)

    def test_parts_that_are_too_long_are_not_sent(self) -> None:
        with Collector(OK) as server:
            for about, address in (
                ("a scheme of 5,000 characters", "h" * 4975 + server.url[len("http"):]),
                ("a path of 5,000 characters", server.url + "/" + "a" * 4970),
                ("a path of 1,024 characters", server.url + "/" + "a" * (1024 - len("/collect/"))),
            ):
                with self.case(about):
                    self.assert_address_fails(address)
            self.assertEqual(server.finish(), [])

    def test_a_path_of_1023_characters_is_sent(self) -> None:
        path = "/" + "a" * 1022
        exchanges = self.send(OK, path=path)
        self.assert_delivered(exchanges)
        self.assertEqual(exchanges[0].request_line, b"POST " + path.encode() + b" HTTP/1.1")

    def test_invalid_ports_fail_to_connect(self) -> None:
        # They are brought into range, and nothing listens there.
        host = private_host()
        for port in ("0", "99999", "-1", "abc", "", "99999999999999999999"):
            with self.case(port):
                self.assert_address_fails(f"http://{host}:{port}/collect")

    def test_a_port_beyond_16_bits_keeps_its_low_bits(self) -> None:
        with Collector(OK) as server:
            self.duty(f"http://{server.host}:{server.port + 0x10000}/collect")
            self.assert_delivered(server.finish())

    def test_a_port_beyond_32_bits_is_65535_without_tls(self) -> None:
        # Its low 32 bits are 443. It stops at 2147483647, whose low 16 bits are 65535.
        with Collector(OK, host=private_host(), port=65535) as server:
            self.duty(f"https://{server.host}:4294967739/collect")
            self.assert_delivered(server.finish())

    def test_a_port_that_reads_as_0_means_the_usual_one(self) -> None:
        for port in ("0", "abc", ""):
            with self.case(port), Collector(OK, host=private_host(), port=80) as server:
                self.duty(f"http://{server.host}:{port}/collect")
                self.assert_delivered(server.finish())


class Proxy(UploadTest):
    """The proxy of the system's settings is used."""

    def test_the_systems_proxy_gets_the_request(self) -> None:
        settings = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings"
        address = "http://collector.invalid/collect"
        with harness.own_prefix(), Collector(OK) as proxy:
            harness.set_registry(settings, "ProxyServer", f"{proxy.host}:{proxy.port}")
            harness.set_registry(settings, "ProxyEnable", "0", "REG_DWORD")
            self.duty(address)
            self.assertTrue(self.box.report_path.exists(), "a proxy that is not enabled was used")
            harness.set_registry(settings, "ProxyEnable", "1", "REG_DWORD")
            self.duty(address)
            exchanges = proxy.finish()
        self.assertEqual(len(exchanges), 1)
        # Wine 8 names the port too.
        self.assertRegex(
            exchanges[0].request_line, rb"\APOST http://collector\.invalid(:80)?/collect HTTP/"
        )
        self.assert_delivered(exchanges)


class Leftovers(UploadTest):
    """What is on the machine after the runs, for whoever removes the program."""

    def traces(self) -> set[tuple[str, object]]:
        """The files and the user's registry keys, and when each was changed. Ends Wine's server."""
        for option in ("-k", "-w"):
            harness.wineserver(option, harness.WINE_PREFIX)
        drive, beside = harness.WINE_PREFIX / "drive_c", harness.PROGRAM.parent
        registry = (harness.WINE_PREFIX / "user.reg").read_text("utf-8", "replace")
        return {
            (str(path), path.stat().st_mtime_ns)
            for path in (*drive.rglob("*"), *beside.iterdir()) if path.is_file()
        } | set(re.findall(r"(?m)^\[(.*)\] \d+\n#time=(\w+)", registry))

    def test_are_in_the_data_folder_alone(self) -> None:
        with harness.own_prefix():
            self.run_program()
            before = self.traces()
            self.box.write_log("a.log", command(b"Line"))
            self.box.log_handle()
            with Collector(OK) as server:
                self.duty(f"http://{server.host}:{server.port}/collect")
                self.assertEqual(len(server.finish()), 1)
            changed = {name for name, _ in self.traces() - before}
        self.assertEqual({name for name in changed if not re.search(SYSTEMS_OWN, name)}, set())
        self.assertEqual(list(self.box.snapshot()), ["data", "data/PeltoReport.ini", "logs"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
