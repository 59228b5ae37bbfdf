"""What the collector promised holds when it is killed, and when its disk is full or its folder is
not its own."""

from __future__ import annotations

import json
import os
import random
import subprocess
import threading
import time
import unittest
import uuid
from pathlib import Path

import program
import senders

# A user who may mount nothing is allowed to in a namespace of its own.
OWN_USER = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]


# Shows a program another time of day; its timers run on.
LIBFAKETIME = next(Path("/usr/lib").glob("*/faketime/libfaketimeMT.so.1"))


def small_report(installation: str, uses: int) -> senders.Report:
    return senders.Report(installation, {"Line": (uses, 1), "Zoom Extents": (uses, 2)},
                          {".dwg": (uses, 0)})


def mounted(folder: Path, options: str) -> list[str]:
    """What precedes a command that sees a file system of its own, in memory, in this folder."""
    folder.mkdir(exist_ok=True)
    return ["unshare", *OWN_USER, "--mount", "sh", "-c",
            f'mount -t tmpfs -o {options} none "{folder}" && exec "$0" "$@"']


class KilledUnderLoad(program.CollectorTest):
    """The server is killed again and again while senders deliver."""

    ROUNDS = 5
    SENDERS = 8

    def setUp(self) -> None:
        super().setUp()
        self.lock = threading.Lock()
        self.answered: set[str] = set()
        self.sent: set[str] = set()
        self.port = 0
        self.done = threading.Event()

    def send(self, seed: int) -> None:
        """A sender: what gets no response is sent again with the same Id."""
        choice = random.Random(seed)
        installations = [str(uuid.UUID(int=choice.getrandbits(128))) for _ in range(20)]
        while not self.done.is_set():
            delivery = str(uuid.UUID(int=choice.getrandbits(128)))
            report = small_report(choice.choice(installations), choice.randint(1, 1000))
            with self.lock:
                self.sent.add(delivery)
            while not self.done.is_set():
                try:
                    status, _ = senders.deliver(self.port, report, delivery)
                except (ConnectionError, TimeoutError):
                    time.sleep(0.01)
                    continue
                if status == 200:
                    with self.lock:
                        self.answered.add(delivery)
                    break

    def test_every_answered_delivery_is_there_once(self) -> None:
        threads = [threading.Thread(target=self.send, args=(seed,)) for seed in range(self.SENDERS)]
        self.addCleanup(self.done.set)
        pauses = random.Random(1)
        for number in range(self.ROUNDS):
            server = self.serve()
            self.port = server.port
            if number == 0:
                for thread in threads:
                    thread.start()
            time.sleep(pauses.uniform(0.3, 1.0))
            server.kill()
        self.done.set()
        for thread in threads:
            thread.join()

        kept = [json.loads(line)["id"] for line in self.export()]
        self.assertGreater(len(self.answered), 50)
        self.assertEqual(len(kept), len(set(kept)))
        self.assertLessEqual(self.answered, set(kept))
        self.assertLessEqual(set(kept), self.sent)
        self.assertEqual(program.run("check", "--data", str(self.data)).returncode, 0)


class FullDisk(program.CollectorTest):
    """The data folder is on a small file system of its own."""

    def inside(self, server: program.Server, *command: str) -> str:
        """What a command prints that sees the server's file system."""
        user = ["--user", "--preserve-credentials"] if OWN_USER else []
        done = subprocess.run(
            ["nsenter", f"--target={server.process.pid}", "--mount", *user, *command],
            capture_output=True, text=True, check=False, timeout=program.PATIENCE)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout

    def test_senders_keep_their_reports_until_there_is_space_again(self) -> None:
        server = self.serve(before=mounted(self.data, "size=3m"))
        self.assertEqual(server.get("/readyz")[0], 200)
        answered = []
        for number in range(1000):
            # Names that nothing else has make the report large on the disk.
            delivery = str(uuid.uuid4())
            report = senders.Report(commands={
                f"{uuid.uuid4()} {place}": (number + 1, place) for place in range(1, 400)})
            status, body = senders.deliver(server.port, report, delivery)
            if status != 200:
                break
            answered.append(delivery)
        self.assertEqual((status, body.strip()), (503, "refused: busy"))
        self.assertGreater(len(answered), 3)
        self.assertEqual(server.get("/readyz")[0], 503)
        self.assertEqual(server.get("/healthz")[0], 200)

        self.inside(server, "mount", "-o", "remount,size=30m", str(self.data))
        end = time.monotonic() + program.PATIENCE
        while senders.deliver(server.port, report, delivery)[0] != 200:
            self.assertLess(time.monotonic(), end, server.log()[-2000:])
            time.sleep(0.1)
        answered.append(delivery)
        self.assertEqual(server.get("/readyz")[0], 200)

        path, data = str(program.PROGRAM), str(self.data)
        exported = self.inside(server, path, "export", "--data", data).splitlines()
        self.assertCountEqual([json.loads(line)["id"] for line in exported], answered)
        self.inside(server, path, "check", "--data", data)
        self.assertEqual(server.stop(), 0)


class Folder(program.CollectorTest):
    """A folder that cannot be used: code 1, and one line that says why."""

    def assert_no_start(self, data: Path, *before: str) -> None:
        done = subprocess.run(
            [*before, program.PROGRAM, "serve", "--data", data, "--intake", "127.0.0.1:0",
             "--pages", "127.0.0.1:0"],
            capture_output=True, text=True, check=False, timeout=program.PATIENCE)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)
        self.assertIn(str(data), done.stderr)

    def test_a_folder_is_free_again_after_a_kill(self) -> None:
        self.serve().kill()
        self.assertEqual(self.serve().get("/readyz")[0], 200)

    def test_a_file_in_place_of_the_folder(self) -> None:
        self.data.write_text("")
        self.assert_no_start(self.data)

    def test_a_storage_that_is_none(self) -> None:
        self.data.mkdir()
        storage = self.data / "reports.sqlite"
        storage.write_bytes(random.Random(1).randbytes(100_000))
        before = storage.read_bytes()
        self.assert_no_start(self.data)
        self.assertEqual(storage.read_bytes(), before)

    def test_a_storage_of_a_newer_version(self) -> None:
        self.serve().stop()
        storage = self.data / "reports.sqlite"
        # Where SQLite keeps the number of the format.
        content = bytearray(storage.read_bytes())
        content[60:64] = (1000).to_bytes(4, "big")
        storage.write_bytes(content)
        self.assert_no_start(self.data)

    def test_a_folder_that_cannot_be_written(self) -> None:
        self.assert_no_start(self.data, *mounted(self.data, "ro"))


class Clock(program.CollectorTest):
    """A clock that is set back loses nothing, and keeps the order of arrival."""

    def test_reports_stay_in_the_order_of_their_arrival(self) -> None:
        self.serve_at("2026-05-01 12:00:00", small_report("a", 1))
        self.serve_at("2026-04-01 12:00:00", small_report("a", 2))
        lines = [json.loads(line) for line in self.export()]
        self.assertEqual([line["commands"][0]["uses"] for line in lines], [1, 2])
        self.assertEqual([line["replaced"] for line in lines], [True, False])
        self.assertEqual([line["received"][:10] for line in lines], ["2026-05-01", "2026-05-01"])
        self.assertEqual(program.run("check", "--data", str(self.data)).returncode, 0)

    def serve_at(self, time_: str, report: senders.Report) -> None:
        server = self.serve(before=[
            "env", f"LD_PRELOAD={LIBFAKETIME}", f"FAKETIME=@{time_}",
            "FAKETIME_DONT_FAKE_MONOTONIC=1", "ASAN_OPTIONS=verify_asan_link_order=0"])
        self.assertEqual(senders.deliver(server.port, report)[0], 200)
        self.assertEqual(server.stop(), 0)


if __name__ == "__main__":
    unittest.main()
