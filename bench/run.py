#!/usr/bin/env python3
"""run.py BUILD SCRATCH: measures the program and prints the speed table.

Compared programs run in turn (A B A B ...) in one run on one machine. A ratio is the median of the
ratios of the pairs. Needs a running Wine server (scripts/bench.sh starts one)."""

import json
import os
import re
import shutil
import socket
import statistics
import subprocess
import sys
import threading
import time
from pathlib import Path

MEGABYTES = 500
REPORT_MEGABYTES = 64
BUILD = Path(sys.argv[1])
SCRATCH = Path(sys.argv[2])
PROGRAM = BUILD / "PELTOSender.exe"
MAWK = "/Command = /{c[substr($0,34)]++}"


class Run:
    """One finished run of a command: its seconds and its peak memory in KiB."""

    def __init__(self, *command: str):
        start = time.perf_counter()
        with open(os.devnull, "r+b") as null:
            process = subprocess.Popen(command, stdin=null, stdout=null, stderr=null)
            _, status, usage = os.wait4(process.pid, 0)
        self.seconds = time.perf_counter() - start
        self.peak = usage.ru_maxrss
        if status != 0:
            sys.exit(f"{command[0]} ended with {status}")


def windows_path(path: Path) -> str:
    return "Z:" + str(path).replace("/", "\\")


def wine(program: Path, *arguments: str) -> Run:
    return Run("wine", str(program), *arguments)


def data_folder(consent: int) -> Path:
    folder = SCRATCH / f"data{consent}"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    (folder / "PeltoReport.ini").write_text(
        f"[PELTO]\r\nID=bench\r\n[General]\r\nPeltoState={consent}\r\n", newline="")
    return folder


def log_handle(data: Path, logs: Path) -> Run:
    return wine(PROGRAM, "log_handle", windows_path(data), windows_path(logs))


def row(name: str, value: str, target: str) -> None:
    print(f"{name:<58} {value:>22}   {target}", flush=True)


def pairs(count: int, a, b) -> tuple[float, float, float]:
    """Medians of A, of B and of A/B, pair by pair."""
    runs = [(a(), b()) for _ in range(count)]
    return (statistics.median(x for x, _ in runs), statistics.median(y for _, y in runs),
            statistics.median(x / y for x, y in runs))


def harvest() -> None:
    log = SCRATCH / "big.log"
    subprocess.run([sys.executable, Path(__file__).parent / "make_log.py", log, str(MEGABYTES)],
                   check=True)
    logs = SCRATCH / "logs"
    shutil.rmtree(logs, ignore_errors=True)
    logs.mkdir()
    data = data_folder(1)
    peaks = []

    def program() -> float:
        # A second name of the same file: the program deletes the log that it has read.
        os.link(log, logs / "big.log")
        (data / "PeltoReport.xml").unlink(missing_ok=True)
        run = log_handle(data, logs)
        assert not (logs / "big.log").exists(), "the log was not read"
        peaks.append(run.peak)
        return run.seconds

    def mawk() -> float:
        return Run("mawk", MAWK, str(log)).seconds

    mawk()
    ours, theirs, ratio = pairs(5, program, mawk)
    row(f"log_handle, {MEGABYTES} MB of logs / mawk counting commands",
        f"{ours:.2f} s / {theirs:.2f} s = {ratio:.2f}", "at most 1")
    empty = [log_handle(data, logs).peak for _ in range(3)]
    more = (max(peaks) - min(empty)) / 1024
    row("  peak memory over a run without logs", f"{more:.1f} MiB", "under 32 MiB")


def idle() -> None:
    data = data_folder(2)
    logs = SCRATCH / "logs"

    def program() -> float:
        return log_handle(data, logs).seconds

    for name, other, target in (("an empty program", "bench_empty", "at most 1.3"),
                                ("one that prepares the user interface", "bench_startup", "")):
        ours, theirs, ratio = pairs(
            60, program, lambda other=other: wine(BUILD / "bench" / f"{other}.exe").seconds)
        row(f"nothing to do / {name}",
            f"{ours * 1000:.0f} ms / {theirs * 1000:.0f} ms = {ratio:.2f}", target)


class Sink(threading.Thread):
    """A server on loopback that replies 200 to every POST."""

    def __init__(self):
        super().__init__(daemon=True)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.start()

    def run(self) -> None:
        while True:
            connection, _ = self.listener.accept()
            with connection:
                head = b""
                while b"\r\n\r\n" not in head:
                    head += connection.recv(65536)
                head, body = head.split(b"\r\n\r\n", 1)
                left = int(re.search(rb"Content-Length: (\d+)", head)[1]) - len(body)
                while left > 0:
                    left -= len(connection.recv(1 << 20))
                connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nOK")


def upload() -> None:
    sink = Sink()
    data = data_folder(1)
    report = data / "PeltoReport.xml"
    report.write_bytes(b"<PeltoRpt />\n".ljust(REPORT_MEGABYTES << 20, b" "))
    body = (REPORT_MEGABYTES << 20) * 4 // 3
    peaks = []

    def program() -> float:
        run = wine(BUILD / "bench" / "bench_upload_job.exe", f"http://127.0.0.1:{sink.port}/in",
                   windows_path(data))
        peaks.append(run.peak)
        return run.seconds

    def loop() -> float:
        return wine(BUILD / "bench" / "bench_wininet_loop.exe", str(sink.port), str(body)).seconds

    ours, theirs, ratio = pairs(5, program, loop)
    row(f"upload of {REPORT_MEGABYTES} MiB / WinINet alone, as rates",
        f"{1 / ratio:.2f} ({ours:.1f} s, {theirs:.1f} s)", "at least 0.9")
    row("  peak memory", f"{max(peaks) / 1024 / REPORT_MEGABYTES:.1f} reports", "at most 4")


def base64() -> None:
    out = subprocess.run([BUILD / "bench" / "base64", "--benchmark_format=json"], check=True,
                         capture_output=True, text=True).stdout
    rates = [run["bytes_per_second"] / 1e9 for run in json.loads(out)["benchmarks"]]
    row("Base64, natively, 1 KiB to 64 MiB at once",
        " ".join(f"{rate:.1f}" for rate in rates) + " GB/s", "at least 1 GB/s")


def size() -> None:
    row("size of PELTOSender.exe", f"{PROGRAM.stat().st_size / 2**20:.2f} MiB", "at most 1.5 MiB")
    dump = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", PROGRAM], check=True,
                          capture_output=True, text=True).stdout
    libraries = [line.split(":")[1].strip() for line in dump.splitlines() if "DLL Name:" in line]
    print("libraries that it loads:", ", ".join(libraries))


def main() -> None:
    SCRATCH.mkdir(parents=True, exist_ok=True)
    harvest()
    idle()
    upload()
    base64()
    size()
    shutil.rmtree(SCRATCH)


main()
