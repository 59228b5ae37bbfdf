"""End-to-end tests of the survey in a `duty` run: what the server learns of the machine, and when.

The values are compared with those that another program, Wine's own `wmic`, reads in the same test.
"""

from __future__ import annotations

import functools
import html
import re
import tempfile
import unittest
from datetime import timedelta

import documents
import harness
import test_upload
from collector import OK, REFUSE, Collector
from documents import SURVEY, TRANSMISSION, date, prop, sent
from test_upload import APPLICATION, ROWS

PROPERTY = re.compile(r' {8}<prop name="([^"]*)" cat="([^"]*)">([^<]*)</prop>\r?\n')

# Room for a change of the clocks, which shifts an age (docs/compatibility.md, 10).
MARGIN = timedelta(hours=2)

# The order in a report: by the name directly followed by the category.
KEYS = [
    ("AdapterRAM", "Video Card"),
    ("Caption", "OS"),
    ("CurrentHorizontalResolution", "Video Card"),
    ("CurrentVerticalResolution", "Video Card"),
    ("Locale", "OS"),
    ("MACAddress", "Adapter"),
    ("Name", "Processor"),
    ("Name", "Video Card"),
    ("Number", "Monitor"),
    ("NumberOfCores", "Processor"),
    ("OSArchitecture", "OS"),
    ("Size", "HardDisk"),
    ("TotalPhysicalMemory", "System"),
    ("Version", "OS"),
]

HELD = prop("Version", "OS", "5.0")


def wmic(name: str, class_name: str) -> list[str]:
    """A property of all objects of a class, without the whitespace around it."""
    program = harness.WINE_PREFIX / "drive_c" / "windows" / "system32" / "wbem" / "wmic.exe"
    with tempfile.TemporaryFile() as output:
        process = harness.launch(program, "path", class_name, "get", name, stdout=output)
        code = harness.wait(process, harness.RUN_TIMEOUT)
        output.seek(0)
        lines = output.read().decode("utf-16").split("\r\n")
    if code == 255 and lines == [""]:
        # There is no object.
        return []
    if code != 0 or not lines[0].startswith(name):
        raise AssertionError(f"wmic read no {name} of {class_name}: {code}, {lines}")
    return [line.strip() for line in lines[1:] if line]


@functools.cache
def machine() -> dict[tuple[str, str], str]:
    """What a report should hold of this machine, by name and category."""
    values = {
        (name, category): wmic(name, class_name)[0]
        for category, class_name, names in (
            (
                "Video Card",
                "Win32_VideoController",
                ("Name", "CurrentHorizontalResolution", "CurrentVerticalResolution", "AdapterRAM"),
            ),
            ("System", "Win32_ComputerSystem", ("TotalPhysicalMemory",)),
            (
                "OS",
                "Win32_OperatingSystem",
                ("Caption", "Version", "OSArchitecture", "Locale"),
            ),
            ("Processor", "Win32_Processor", ("Name", "NumberOfCores")),
        )
        for name in names
    }
    sizes = wmic("Size", "Win32_LogicalDisk")
    values["Size", "HardDisk"] = str(sum(int(size) for size in sizes if size))
    states = wmic("NetConnectionStatus", "Win32_NetworkAdapter")
    if "2" in states:
        addresses = wmic("MACAddress", "Win32_NetworkAdapter")
        values["MACAddress", "Adapter"] = addresses[states.index("2")]
    return values


def described(data: bytes) -> dict[tuple[str, str], str]:
    """The machine's description in a report, in the report's order and as it is printed."""
    rows = PROPERTY.findall(data.decode("cp1252"))
    return {(name, category): value for name, category, value in rows}


def condensed(data: bytes) -> bytes:
    """The report with single spaces in its texts, as loading it leaves them."""
    return re.sub(rb">([^<>\r\n]+)<", lambda text: b">" + b" ".join(text[1].split()) + b"<", data)


class SurveyTest(test_upload.UploadTest):
    """A user who takes part, whose machine has never been described."""

    def renew(self) -> None:
        super().renew()
        self.box.write_settings()

    def assert_sends(self, *properties: str) -> None:
        """The delivered report has these properties of the machine."""
        self.saved = documents.report(*ROWS, *properties, application=APPLICATION)
        self.assert_accepted(OK)

    def assert_describes_machine(self, payload: bytes) -> None:
        """The report is to the byte one with the machine's description."""
        rows = described(payload)
        values = {key: html.unescape(value).strip() for key, value in rows.items()}
        self.assertEqual(values, machine())
        ordered = [prop(*key, rows[key]) for key in KEYS if key in rows]
        self.assert_bytes(payload, sent(documents.report(*ROWS, *ordered, application=APPLICATION)))


class Description(SurveyTest):
    """What of the machine is sent."""

    def test_the_report_describes_the_machine_as_another_program_does(self) -> None:
        self.assertGreaterEqual(len(machine()), 12, "this machine has too little to describe")
        self.assert_describes_machine(self.send(OK)[0].payload())
        # Wine has monitors without the status that the query asks for, and refuses the query.
        self.assertNotEqual(wmic("Name", "Win32_DesktopMonitor"), [])
        self.assertNotIn(("Number", "Monitor"), machine())

    def test_without_wmi_the_report_goes_out_without_a_description(self) -> None:
        overrides = harness.wine_environment()["WINEDLLOVERRIDES"]
        with harness.changed_environment(WINEDLLOVERRIDES=overrides + ";wbemprox=d"):
            self.assert_sends()
        self.assert_just_now(SURVEY)


class Due(SurveyTest):
    """When the machine is described, and which dates are written."""

    def test_nothing_is_collected_within_30_days(self) -> None:
        surveyed = date(timedelta(days=30) - MARGIN)
        self.box.write_settings(LastSysInfoCollectingDate=surveyed)
        self.assert_sends()
        self.assertEqual(self.box.settings()[SURVEY], surveyed)

    def test_the_machine_is_described_again_after_30_days(self) -> None:
        self.box.write_settings(LastSysInfoCollectingDate=date(timedelta(days=30) + MARGIN))
        self.assert_describes_machine(self.send(OK)[0].payload())
        self.assert_just_now(SURVEY)

    def test_the_report_after_28_days_has_no_description(self) -> None:
        self.assert_describes_machine(self.send(OK)[0].payload())
        sent_before = date(timedelta(days=28) + MARGIN)
        self.box.write_settings(
            LastTransmissionDate=sent_before, LastSysInfoCollectingDate=sent_before
        )
        self.box.report_path.write_bytes(test_upload.WAITING)
        self.assert_sends()
        self.assertEqual(self.box.settings()[SURVEY], sent_before)

    def test_a_report_with_a_description_gets_no_other(self) -> None:
        self.box.report_path.write_bytes(documents.report(*ROWS, HELD))
        self.assert_sends(HELD)
        self.assert_just_now(SURVEY)

    def test_a_run_that_does_not_send_collects_nothing(self) -> None:
        for about, settings in (
            ("not due", {"LastTransmissionDate": date(timedelta(days=28) - MARGIN)}),
            ("without consent", {"state": 2, "ShowMessage": 0}),
        ):
            with self.case(about):
                self.box.write_settings(**settings)
                before = self.box.snapshot()
                self.duty("http://127.0.0.1:9/")
                self.assertEqual(self.box.snapshot(), before)

    def test_log_handle_collects_nothing(self) -> None:
        self.assertEqual(self.box.log_handle().returncode, 0)
        self.assert_bytes(self.box.report_path.read_bytes(), test_upload.WAITING)

    def test_an_address_without_a_host_describes_the_machine_and_sends_nothing(self) -> None:
        # This is how a user sees what would be sent. A proxy would take any other address.
        settings = self.box.settings_path.read_bytes()
        with Collector(OK) as proxy:
            with harness.changed_environment(http_proxy=f"127.0.0.1:{proxy.port}"):
                self.duty("http://")
            self.assertEqual(proxy.finish(), [])
        self.assert_describes_machine(sent(self.box.report_path.read_bytes()))
        self.assertEqual(self.box.settings_path.read_bytes(), settings)

    def test_a_refused_delivery_keeps_the_description_and_writes_no_date(self) -> None:
        settings = self.box.settings_path.read_bytes()
        refused = self.send(REFUSE)[0].payload()
        self.assert_describes_machine(refused)
        kept = self.box.report_path.read_bytes()
        self.assert_bytes(sent(kept), refused)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)

        # A value that the machine would not give shows that the kept description is sent.
        version = machine()["Version", "OS"].encode("ascii")
        self.saved = condensed(kept.replace(b">" + version + b"<", b">kept<"))
        self.assertNotEqual(self.saved, kept)
        self.box.report_path.write_bytes(self.saved)
        self.assert_accepted(OK)
        self.assert_just_now(SURVEY)
        self.assert_just_now(TRANSMISSION)


if __name__ == "__main__":
    unittest.main(verbosity=2)
