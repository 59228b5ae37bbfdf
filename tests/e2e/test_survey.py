"""End-to-end tests of the survey in a `duty` run: what of the machine reaches the server, and when.

The values are compared with those that another program, Wine's own `wmic`, reads in the same test.
"""

from __future__ import annotations

import functools
import html
import re
import subprocess
import tempfile
from datetime import timedelta
from unittest import mock

import harness
import test_upload
from collector import OK, REFUSE, Collector
from test_upload import SURVEY, TRANSMISSION, dated, report, sent

WMIC = harness.WINE_PREFIX / "drive_c" / "windows" / "system32" / "wbem" / "wmic.exe"
WMIC_TIMEOUT = 60.0

PROPERTY = re.compile(r'        <prop name="([^"]*)" cat="([^"]*)">([^<]*)</prop>\r?\n')

# Two hours leave room for a change to or from summer time, which shifts an age.
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

HELD = '        <prop name="Version" cat="OS">5.0</prop>\n'


def wmic(name: str, class_name: str) -> list[str]:
    """A property of all objects of a class, without the blanks around it."""
    harness.ensure_prefix()
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(
            [*harness.wine_command(), str(WMIC), "path", class_name, "get", name],
            env=harness.wine_environment(),
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.DEVNULL,
        )
        code = harness.wait(process, WMIC_TIMEOUT)
        output.seek(0)
        lines = output.read().decode("utf-16").split("\r\n")
    if code == 255 and lines == [""]:
        # Its way of saying that there is no object.
        return []
    if code != 0 or not lines[0].startswith(name):
        raise AssertionError(f"wmic read no {name} of {class_name}: {code}, {lines}")
    return [line.strip() for line in lines[1:] if line]


@functools.cache
def machine() -> dict[tuple[str, str], str]:
    """What a report should say of this machine, by name and category."""
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
    """The machine's description in a report, in the report's order."""
    rows = PROPERTY.findall(data.decode("cp1252"))
    return {(name, category): html.unescape(value) for name, category, value in rows}


def rows_of(data: bytes) -> str:
    """The rows of the machine's description as a report holds them, put into the order of KEYS."""
    rows = {(name, cat): value for name, cat, value in PROPERTY.findall(data.decode("cp1252"))}
    return "".join(
        f'        <prop name="{name}" cat="{category}">{rows[name, category]}</prop>\n'
        for name, category in KEYS
        if (name, category) in rows
    )


def condensed(data: bytes) -> bytes:
    """The report with single blanks in its texts, as loading it leaves them."""
    return re.sub(rb">([^<>\r\n]+)<", lambda text: b">" + b" ".join(text[1].split()) + b"<", data)


class SurveyTest(test_upload.UploadTest):
    """A user who takes part, whose machine has never been described."""

    def prepare(self) -> None:
        super().prepare()
        self.write_settings()

    def delivered(self) -> bytes:
        """The report of a run against a good server."""
        with Collector(OK) as server:
            self.duty(server.url)
            exchanges = server.finish()
        self.assertEqual(len(exchanges), 1)
        self.assert_delivered()
        return exchanges[0].payload()

    def assert_describes_machine(self, payload: bytes) -> None:
        """The report is to the byte one with the machine's description."""
        stripped = {key: value.strip() for key, value in described(payload).items()}
        self.assertEqual(stripped, machine())
        self.assert_bytes(payload, sent(report(properties=rows_of(payload))))


class Description(SurveyTest):
    """What of the machine is sent."""

    def test_the_report_says_of_the_machine_what_another_program_reads(self) -> None:
        self.assertGreaterEqual(len(machine()), 12, "this machine has too little to describe")
        self.assert_describes_machine(self.delivered())

    def test_the_properties_stand_in_the_order_of_name_and_category(self) -> None:
        keys = list(described(self.delivered()))
        self.assertGreaterEqual(len(keys), 12)
        self.assertEqual(keys, [key for key in KEYS if key in keys])

    def test_a_category_whose_query_is_refused_is_missing(self) -> None:
        # Wine knows monitors, but not their status, and refuses the query.
        self.assertNotEqual(wmic("Name", "Win32_DesktopMonitor"), [])
        self.assertNotIn(("Number", "Monitor"), described(self.delivered()))

    def test_without_wmi_the_report_goes_out_without_a_description(self) -> None:
        environment = harness.wine_environment()
        environment["WINEDLLOVERRIDES"] += ";wbemprox=d"
        with mock.patch.object(harness, "wine_environment", lambda display=False: environment):
            payload = self.delivered()
        self.assert_bytes(payload, sent(self.saved))
        self.assert_just_now(SURVEY)


class Due(SurveyTest):
    """When the machine is described, and what is written down about it."""

    def test_nothing_is_collected_within_30_days(self) -> None:
        date = dated(timedelta(days=30) - MARGIN)
        self.write_settings(b"LastSysInfoCollectingDate=" + date)
        self.assert_bytes(self.delivered(), sent(self.saved))
        self.assertEqual(self.box.settings()[SURVEY], date.decode("ascii"))

    def test_the_machine_is_described_again_after_30_days(self) -> None:
        self.write_settings(
            b"LastSysInfoCollectingDate=" + dated(timedelta(days=30) + MARGIN)
        )
        self.assert_describes_machine(self.delivered())
        self.assert_just_now(SURVEY)

    def test_the_report_after_28_days_has_no_description(self) -> None:
        self.assert_describes_machine(self.delivered())
        date = dated(timedelta(days=28) + MARGIN)
        self.write_settings(
            b"LastTransmissionDate=" + date, b"LastSysInfoCollectingDate=" + date
        )
        self.box.report_path.write_bytes(self.waiting)
        self.assert_bytes(self.delivered(), sent(self.saved))
        self.assertEqual(self.box.settings()[SURVEY], date.decode("ascii"))

    def test_a_report_that_holds_a_description_gets_no_other(self) -> None:
        self.box.report_path.write_bytes(report(application="", properties=HELD))
        self.assert_bytes(self.delivered(), sent(report(properties=HELD)))
        self.assert_just_now(SURVEY)

    def test_a_run_that_is_not_due_collects_nothing(self) -> None:
        self.write_settings(b"LastTransmissionDate=" + dated(timedelta(days=28) - MARGIN))
        before = self.box.snapshot()
        self.duty("http://127.0.0.1:9/")
        self.assertEqual(self.box.snapshot(), before)

    def test_a_user_who_does_not_take_part_is_not_surveyed(self) -> None:
        self.write_settings(b"ShowMessage=0", state=2)
        before = self.box.snapshot()
        self.duty("http://127.0.0.1:9/")
        self.assertEqual(self.box.snapshot(), before)

    def test_log_handle_collects_nothing(self) -> None:
        self.assertEqual(self.box.harvest().returncode, 0)
        self.assert_bytes(self.box.report_path.read_bytes(), self.waiting)

    def test_an_address_without_a_host_describes_the_machine_and_sends_nothing(self) -> None:
        # This is how a user looks at what would be sent. A proxy would take any other address.
        settings = self.box.settings_path.read_bytes()
        with Collector(OK) as proxy:
            environment = harness.wine_environment()
            environment["http_proxy"] = f"127.0.0.1:{proxy.port}"
            with mock.patch.object(harness, "wine_environment", lambda display=False: environment):
                self.duty("http://")
            self.assertEqual(proxy.finish(), [])
        self.assert_describes_machine(sent(self.box.report_path.read_bytes()))
        self.assertEqual(self.box.settings_path.read_bytes(), settings)

    def test_a_refused_delivery_keeps_the_description_and_writes_no_date(self) -> None:
        settings = self.box.settings_path.read_bytes()
        with Collector(REFUSE) as server:
            self.duty(server.url)
            refused = server.finish()[0].payload()
        self.assert_describes_machine(refused)
        kept = self.box.report_path.read_bytes()
        self.assert_bytes(sent(kept), refused)
        self.assertEqual(self.box.settings_path.read_bytes(), settings)

        # Something that the machine would not say of itself shows where the values come from.
        version = machine()["Version", "OS"].encode("ascii")
        edited = condensed(kept.replace(b">" + version + b"<", b">kept<"))
        self.assertNotEqual(edited, kept)
        self.box.report_path.write_bytes(edited)
        self.assert_bytes(self.delivered(), sent(edited))
        self.assert_just_now(SURVEY)
        self.assert_just_now(TRANSMISSION)
