"""The collector's package for Debian, installed, upgraded and removed in a root folder of its own: this
machine's, with what is written to it kept apart. Needs root."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import tempfile
import threading
import unittest
import urllib.request
from pathlib import Path

PACKAGES = Path(__file__).resolve().parents[2] / "build" / "package"
CONFIG = "/etc/pelto-collector/pelto-collector.toml"
DATA = "/var/lib/pelto-collector"
UNIT = "/lib/systemd/system/pelto-collector.service"
WANTED = "/etc/systemd/system/multi-user.target.wants/pelto-collector.service"
LINE = (
    '{"received":"2026-01-05T10:00:00Z","product":"default",'
    '"id":"5d1d6f1c-6a49-4f0e-8f8e-0b8a2f9c1a01","installation":"11111111-2222-3333-4444-'
    '555555555555","application":"Studio","version":"1.0","replaced":false,'
    '"commands":[{"name":"Line","uses":3,"order":1}],"file_types":[],"machine":[]}\n'
)
# How long a test waits for something that should come at once, in seconds.
PATIENCE = 60
# Notes what it is called with. To it, every unit is enabled.
SYSTEMCTL = """#!/bin/sh
echo "$*" >>/systemctl.log
case "$*" in *is-enabled*) echo enabled ;; *start*) exit {code} ;; esac
"""


def read_line(process: subprocess.Popen[str]) -> str:
    """The next line that a process writes; empty at its end. If none comes in time, the process is ended."""
    assert process.stdout is not None
    timer = threading.Timer(PATIENCE, process.kill)
    timer.start()
    try:
        return process.stdout.readline()
    finally:
        timer.cancel()


class Root:
    """A root folder in a namespace of mounts, which goes with the process that has it."""

    def __init__(self, folder: Path) -> None:
        for name in ("above", "root"):
            (folder / name).mkdir()
        above, self.root = folder / "above", folder / "root"
        self.upper = above / "upper"
        script = (
            f"mount -t tmpfs none {above} && mkdir {self.upper} {above}/work && "
            f"mount -t overlay overlay "
            f"-o lowerdir=/,upperdir={self.upper},workdir={above}/work {self.root} && "
            f"mount --rbind /dev {self.root}/dev && mount -t proc proc {self.root}/proc && "
            f"mount -t tmpfs none {self.root}/tmp && mount -t tmpfs none {self.root}/run && "
            "echo ready && exec sleep infinity"
        )
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "unshare", "--mount", "sh", "-c", script],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
        )
        if read_line(self.process) != "ready\n":
            self.close()
            raise AssertionError("the root folder could not be made")

    def close(self) -> None:
        """Ends the namespace."""
        self.process.kill()
        self.process.communicate()

    def outside(self, *command: str | Path) -> list[str | Path]:
        """The command line that runs a command among the mounts, but not in the root folder."""
        return ["nsenter", f"--target={self.process.pid}", "--mount", *command]

    def inside(self, *command: str) -> list[str | Path]:
        """The command line that runs a command in the root folder."""
        path = "PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
        return self.outside("chroot", self.root, "env", "-i", path, "DEBIAN_FRONTEND=noninteractive",
                            *command)

    def write(self, path: str, data: bytes, mode: str = "644") -> None:
        """Makes a file."""
        target = f"{self.root}{path}"
        subprocess.run(self.outside("tee", target), input=data, stdout=subprocess.DEVNULL, check=True)
        subprocess.run(self.outside("chmod", mode, target), check=True)

    def written(self) -> list[str]:
        """The paths of all that was written or deleted, other than in /tmp and /run."""
        found = subprocess.run(self.outside("find", self.upper, "-mindepth", "1", "-printf", "/%P\n"),
                               capture_output=True, text=True, check=True)
        return found.stdout.splitlines()


class PackageTest(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = Path(tempfile.mkdtemp(prefix="pelto-root-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.root = Root(self.folder)
        self.addCleanup(self.root.close)
        (self.package,) = PACKAGES.glob("pelto-collector_*_amd64.deb")

    def run_there(self, *command: str, text: str = "") -> str:
        """Runs a command, which must succeed; returns its output."""
        done = subprocess.run(self.root.inside(*command), input=text, capture_output=True, text=True,
                              check=False)
        self.assertEqual(done.returncode, 0, f"{command}\n{done.stdout}{done.stderr}")
        return done.stdout

    def install(self, package: Path | None = None) -> None:
        self.root.write("/tmp/package.deb", (package or self.package).read_bytes())
        self.run_there("dpkg", "--install", "/tmp/package.deb")

    def upgrade(self) -> None:
        """Installs the package with a higher version."""
        content = self.folder / "content"
        subprocess.run(["dpkg-deb", "--raw-extract", self.package, content], check=True)
        control = content / "DEBIAN" / "control"
        text, count = re.subn("(?m)^Version: .*$", "Version: 99.0", control.read_text())
        self.assertEqual(count, 1)
        control.write_text(text)
        package = self.folder / "upgrade.deb"
        subprocess.run(["dpkg-deb", "--build", content, package], check=True,
                       stdout=subprocess.DEVNULL)
        self.install(package)
        self.assertEqual(self.run_there("dpkg-query", "--show", "--showformat=${Version}",
                                        "pelto-collector"), "99.0")

    def as_user(self, *command: str) -> list[str]:
        """A command as the collector's user."""
        return ["setpriv", "--reuid=pelto-collector", "--regid=pelto-collector", "--init-groups",
                *command]

    def collector(self, *arguments: str, text: str = "") -> str:
        """A command of the collector, as the documents say."""
        return self.run_there(
            *self.as_user("pelto-collector", *arguments, "--config", CONFIG), text=text)

    def exists(self, path: str) -> bool:
        """Whether there is such a file, a folder or a link that may lead nowhere."""
        found = subprocess.run(
            self.root.inside("sh", "-c", '[ -e "$1" ] || [ -L "$1" ]', "-", path), check=False)
        return found.returncode == 0


class Life(PackageTest):
    def test_installed_it_has_a_user_a_folder_and_a_unit_that_is_enabled(self) -> None:
        self.install()
        self.assertEqual(self.run_there("stat", "--format=%U:%G %a", DATA),
                         "pelto-collector:pelto-collector 700\n")
        self.assertEqual(self.run_there("readlink", WANTED).strip(), UNIT)
        # A system account that nobody can log in to.
        _, password, number, _, _, home, shell = self.run_there(
            "getent", "passwd", "pelto-collector").strip().split(":")
        self.assertEqual((password, home, shell), ("x", DATA, "/usr/sbin/nologin"))
        self.assertLess(int(number), 1000)
        self.assertEqual(self.run_there("dpkg", "--verify", "pelto-collector"), "")
        self.collector("check")

    def test_the_unit_s_command_serves_reports_and_pages(self) -> None:
        self.install()
        unit = self.run_there("cat", UNIT)
        (command,) = re.findall(r"(?m)^ExecStart=(.*)$", unit)
        self.assertIn("\nUser=pelto-collector\n", unit)
        server = subprocess.Popen(
            self.root.inside(*self.as_user(*command.split(), "--intake", "127.0.0.1:0", "--pages",
                                           "127.0.0.1:0")),
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        try:
            lines = [read_line(server).split() for _ in range(3)]
            self.assertEqual([line[:1] for line in lines], [["intake"], ["pages"], ["ready"]])
            ready = lines[0][1].replace("/collect", "/readyz")
            with urllib.request.urlopen(ready, timeout=30) as answer:
                self.assertEqual(answer.status, 200)
            with urllib.request.urlopen(lines[1][1], timeout=30) as answer:
                self.assertIn(b"<script ", answer.read())
            self.assertTrue(self.exists(f"{DATA}/reports.sqlite"))
        finally:
            server.terminate()
            server.communicate()
        self.assertEqual(server.returncode, 0)

    def test_an_upgrade_keeps_the_data_and_changed_options(self) -> None:
        self.install()
        self.collector("import", "-", text=LINE)
        exported = self.collector("export")
        self.assertIn('"name":"Line"', exported)
        self.run_there("sed", "-i", "s/^# retention = .*/retention = 30/", CONFIG)
        self.upgrade()
        self.assertEqual(self.collector("export"), exported)
        self.assertIn("\nretention = 30\n", self.run_there("cat", CONFIG))
        self.assertTrue(self.exists(WANTED))

    def test_a_unit_that_was_disabled_stays_so(self) -> None:
        self.install()
        self.run_there("rm", WANTED)
        self.upgrade()
        self.assertFalse(self.exists(WANTED))

    def test_removed_it_leaves_data_and_options_for_the_next_time(self) -> None:
        self.install()
        self.collector("import", "-", text=LINE)
        exported = self.collector("export")
        self.run_there("sed", "-i", "s/^# retention = .*/retention = 30/", CONFIG)
        self.run_there("dpkg", "--remove", "pelto-collector")
        self.assertFalse(self.exists("/usr/bin/pelto-collector"))
        self.assertFalse(self.exists(UNIT))
        self.assertTrue(self.exists(f"{DATA}/reports.sqlite"))
        self.install()
        self.assertEqual(self.collector("export"), exported)
        self.assertIn("\nretention = 30\n", self.run_there("cat", CONFIG))
        self.assertEqual(self.run_there("readlink", WANTED).strip(), UNIT)

    def test_purged_it_leaves_nothing_but_its_user(self) -> None:
        before = [path for path in self.root.written() if "pelto" in path]
        self.assertEqual(before, [])
        self.install()
        self.collector("import", "-", text=LINE)
        self.assertIn(f"{DATA}/reports.sqlite", self.root.written())
        self.run_there("dpkg", "--purge", "pelto-collector")
        self.assertEqual([path for path in self.root.written() if "pelto" in path], [])
        self.run_there("getent", "passwd", "pelto-collector")

    def test_a_folder_that_is_a_mount_point_is_emptied(self) -> None:
        self.install()
        self.run_there("mount", "-t", "tmpfs", "none", DATA)
        self.run_there("chown", "pelto-collector:", DATA)
        self.collector("import", "-", text=LINE)
        self.run_there("mkdir", f"{DATA}/.hidden")
        self.run_there("dpkg", "--purge", "pelto-collector")
        self.run_there("mountpoint", "--quiet", DATA)
        self.assertEqual(self.run_there("ls", "--almost-all", DATA), "")
        self.assertFalse(self.exists(WANTED))

    def test_a_link_in_place_of_the_folder_is_removed_and_nothing_else(self) -> None:
        self.install()
        self.run_there("mv", DATA, "/srv/data")
        self.run_there("ln", "-s", "/srv/data", DATA)
        self.collector("import", "-", text=LINE)
        self.run_there("dpkg", "--purge", "pelto-collector")
        self.assertFalse(self.exists(DATA))
        self.assertTrue(self.exists("/srv/data/reports.sqlite"))

    def test_it_can_be_purged_when_only_the_base_system_is_left(self) -> None:
        """A purge may come long after the removal, when what the package needed is gone as well."""
        self.install()
        self.run_there("dpkg", "--remove", "pelto-collector")
        self.run_there("rm", "/usr/bin/deb-systemd-helper", "/usr/sbin/adduser")
        self.run_there("dpkg", "--purge", "pelto-collector")
        self.assertFalse(self.exists(DATA))


class Service(PackageTest):
    """What the package asks of systemd, on a machine that runs it."""

    def setUp(self) -> None:
        super().setUp()
        self.write_systemctl(0)
        self.run_there("mkdir", "-p", "/run/systemd/system")
        # A container's way to say that no service is started.
        self.run_there("rm", "-f", "/usr/sbin/policy-rc.d")

    def write_systemctl(self, code: int) -> None:
        """Makes the program that the package calls; `code` is how each start ends."""
        self.root.write("/usr/local/bin/systemctl", SYSTEMCTL.format(code=code).encode(), "755")

    def asked(self) -> list[str]:
        """The commands since the last time that start or stop something."""
        log = self.run_there("sh", "-c", "cat /systemctl.log; : >/systemctl.log")
        found = re.findall(r"(?m)^(?:--\S+ )*((?:re)?start|stop) (?:--\S+ )*(\S+)$", log)
        self.assertTrue(found, log)
        return [" ".join(words) for words in found]

    def test_it_is_started_restarted_and_stopped(self) -> None:
        self.install()
        self.assertEqual(self.asked(), ["start pelto-collector.service"])
        self.upgrade()
        self.assertEqual(self.asked(), ["restart pelto-collector.service"])
        self.run_there("dpkg", "--remove", "pelto-collector")
        self.assertEqual(self.asked(), ["stop pelto-collector.service"])

    def test_a_server_that_does_not_start_leaves_the_package_installed(self) -> None:
        self.write_systemctl(1)
        self.install()
        self.assertEqual(self.asked(), ["start pelto-collector.service"])
        self.assertEqual(self.run_there("dpkg-query", "--show", "--showformat=${db:Status-Status}",
                                        "pelto-collector"), "installed")


if __name__ == "__main__":
    if os.getuid() != 0:
        raise SystemExit("run this as root")
    unittest.main()
