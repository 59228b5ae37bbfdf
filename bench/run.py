#!/usr/bin/env python3
"""run.py BUILD SCRATCH [SECTION...]: measures the program and prints the speed table, all of it or
the sections logs, kinds, small, report, start, upload, base64 and size.

Compared programs run in turn (A B C A B C ...) in one run on one machine. A time is a median, and a
ratio is the median of the ratios of the rounds. "net" is without the time that the same program
takes with nothing to do. Needs a running Wine server (scripts/bench.sh starts one)."""

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
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

MEGABYTES = 500
# Of the logs of each other kind.
OTHER_MEGABYTES = 200
SMALL_LOGS = 20_000
COMMANDS = 100_000
MANY_COMMANDS = 1_000_000
REPORT_MEGABYTES = 64
BUILD = Path(sys.argv[1]).resolve()
SCRATCH = Path(sys.argv[2]).resolve()
PROGRAM = BUILD / "PELTOSender.exe"
MAKE_LOG = Path(__file__).parent / "make_log.py"


class Run:
    """One finished run of a command: its seconds, those of them on a processor, and its peak memory
    in KiB. What the command prints goes into a file: grep stops early when nobody reads it."""

    def __init__(self, *command: str):
        start = time.perf_counter()
        with open(os.devnull, "rb") as null, open(SCRATCH / "printed", "wb") as printed:
            process = subprocess.Popen(command, stdin=null, stdout=printed, stderr=subprocess.DEVNULL)
            _, status, usage = os.wait4(process.pid, 0)
        self.seconds = time.perf_counter() - start
        self.processor = usage.ru_utime + usage.ru_stime
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


def row(name: str, value: str, target: str = "") -> None:
    print(f"{name:<58} {value:>30}   {target}", flush=True)


@dataclass
class Rival:
    """What the program is compared with: one run of it, and one with nothing to do."""

    name: str
    run: Callable[[], Run]
    idle: Callable[[], Run]
    target: str = ""


def compare(name: str, rounds: int, ours: Rival, others: list[Rival]) -> None:
    """Prints the net times of all, and how many times each of the others' ours is."""
    rivals = [ours, *others]
    for rival in rivals:
        rival.run()
    idle = [[rival.idle() for _ in range(5)] for rival in rivals]
    runs = [[rival.run() for rival in rivals] for _ in range(rounds)]

    def net(part: str, place: int) -> list[float]:
        base = statistics.median(getattr(run, part) for run in idle[place])
        return [getattr(line[place], part) - base for line in runs]

    times = [net("seconds", place) for place in range(len(rivals))]
    processor = [net("processor", place) for place in range(len(rivals))]
    more = statistics.median(line[0].peak for line in runs) - \
        statistics.median(run.peak for run in idle[0])
    row(name, f"{statistics.median(times[0]):.3f} s net")
    row("  peak memory over a run with nothing to do", f"{more / 1024:.1f} MiB")
    for place, rival in enumerate(others, 1):
        ratio = statistics.median(x / y for x, y in zip(times[0], times[place]))
        share = statistics.median(x / y for x, y in zip(processor[0], processor[place]))
        row(f"  / {rival.name}", f"{statistics.median(times[place]):.3f} s = {ratio:.2f} "
            f"({share:.2f})", rival.target)


class Logs:
    """A folder of logs for one run after the other: they are deleted by each."""

    def __init__(self, sources: list[Path]):
        self.sources = sources
        self.data = data_folder(1)
        self.folder = new_folder("logs")

    def clear(self) -> None:
        for path in self.folder.iterdir():
            path.unlink()
        (self.data / "PeltoReport.xml").unlink(missing_ok=True)

    def fill(self) -> None:
        self.clear()
        for path in self.sources:
            # A second name of the same file.
            os.link(path, self.folder / path.name)

    def ours(self, fills: bool) -> Run:
        self.fill() if fills else self.clear()
        run = log_handle(self.data, self.folder)
        assert not any(self.folder.iterdir()), "a log was not read"
        return run

    def bare(self, fills: bool, *options: str) -> Run:
        self.fill() if fills else self.clear()
        return wine(BUILD / "bench" / "bench_bare_reader.exe", windows_path(self.folder), *options)

    def rivals(self, *options: str, target: str) -> tuple[Rival, Rival]:
        return (Rival("", lambda: self.ours(True), lambda: self.ours(False)),
                Rival(f"bench_bare_reader FOLDER {' '.join(options)}".strip(),
                      lambda: self.bare(True, *options), lambda: self.bare(False, *options), target))


def new_folder(name: str) -> Path:
    folder = SCRATCH / name
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    return folder


def make_log(kind: str, amount: int, path: Path) -> None:
    subprocess.run([sys.executable, MAKE_LOG, kind, str(amount), path], check=True)


def shell_rival(command: str, path: Path, target: str = "") -> Rival:
    """A command of the system, which "LOG" in it shows the log."""
    def run(log: str) -> Run:
        return Run("sh", "-c", command.replace("LOG", log))

    return Rival(command, lambda: run(str(path)), lambda: run("/dev/null"), target)


def count_logs(kind: str, amount: int, rounds: int, has_targets: bool) -> Path:
    """Compares the counting of one log, and returns the log."""
    path = SCRATCH / f"{kind}.log"
    make_log(kind, amount, path)

    def target(text: str) -> str:
        return text if has_targets else ""

    ours, bare = Logs([path]).rivals(target=target("at most 3"))
    compare(f"counting {amount} MB of logs, kind {kind}", rounds, ours, [
        bare,
        shell_rival("mawk '/Command = /{c[substr($0,34)]++}' LOG", path, target("at most 0.33")),
        shell_rival("grep -cF 'Command = ' LOG || :", path, target("at most 1")),
        shell_rival("wc -l LOG", path)])
    return path


def logs() -> None:
    path = count_logs("usual", MEGABYTES, 7, True)
    ours, _ = Logs([path]).rivals(target="")
    compare("  the same, once", 1, ours,
            [shell_rival("cut -b 34- LOG | LC_ALL=C sort | uniq -c", path)])
    path.unlink()


def kinds() -> None:
    for kind in ("lf", "many", "long", "documents", "other"):
        count_logs(kind, OTHER_MEGABYTES, 5, False).unlink()


def small() -> None:
    folder = new_folder("small")
    make_log("--small", SMALL_LOGS, folder)
    ours, bare = Logs(sorted(folder.iterdir())).rivals("delete", target="at most 1.5")
    compare(f"counting {SMALL_LOGS:,} small logs", 5, ours, [bare])


def report() -> None:
    path = SCRATCH / "distinct.log"
    for commands, rounds, target in ((COMMANDS, 5, "at most 1.3"), (MANY_COMMANDS, 1, "")):
        make_log("--distinct", commands, path)
        logs = Logs([path])
        logs.fill()
        first = log_handle(logs.data, logs.folder)
        row(f"a log of {commands:,} commands, each once",
            f"{first.seconds:.2f} s, {first.peak / 1024:.0f} MiB")
        copy = SCRATCH / "report.xml"
        shutil.copy(logs.data / "PeltoReport.xml", copy)
        empty = SCRATCH / "empty.xml"
        empty.write_text("<PeltoRpt />")
        printed = windows_path(SCRATCH / "tinyxml.xml")
        program = BUILD / "bench" / "bench_tinyxml_report.exe"

        def ours(source: Path, logs: Logs = logs) -> Run:
            shutil.copy(source, logs.data / "PeltoReport.xml")
            run = log_handle(logs.data, logs.folder)
            assert (logs.data / "PeltoReport.xml").stat().st_size >= source.stat().st_size
            return run

        def tinyxml(source: Path, program: Path = program) -> Run:
            return wine(program, windows_path(source), printed)

        compare(f"loading and saving its report", rounds,
                Rival("", lambda: ours(copy), lambda: ours(empty)),
                [Rival("bench_tinyxml_report FROM TO", lambda: tinyxml(copy),
                       lambda: tinyxml(empty), target)])
        row("  peak memory / TinyXML's",
            f"{ours(copy).peak / 1024:.0f} MiB / {tinyxml(copy).peak / 1024:.0f} MiB",
            "at most 1.5")


def start() -> None:
    data = data_folder(2)
    folder = new_folder("logs")
    bench = BUILD / "bench"
    load = bench / "bench_load_libraries.exe"
    libraries = imported_libraries()
    programs = {
        "ours": lambda: log_handle(data, folder),
        "bench_empty": lambda: wine(bench / "bench_empty.exe"),
        "bench_startup": lambda: wine(bench / "bench_startup.exe"),
        **{name: lambda name=name: wine(load, name) for name in libraries},
        "none": lambda: wine(load),
    }
    runs: list[dict[str, float]] = [{name: run().seconds for name, run in programs.items()}
                                    for _ in range(40)]

    def median(name: str) -> float:
        return statistics.median(run[name] for run in runs) * 1000

    for name, target in (("bench_empty", ""), ("bench_startup", "at most 1.05")):
        ratio = statistics.median(run["ours"] / run[name] for run in runs)
        row(f"a run with nothing to do / {name}",
            f"{median('ours'):.0f} ms / {median(name):.0f} ms = {ratio:.2f}", target)
    for name in libraries:
        row(f"  loading {name} alone, with what it loads",
            f"{median(name) - median('none'):.1f} ms")


def pairs(count: int, a, b) -> tuple[float, float, float]:
    """Medians of A, of B and of A/B, pair by pair."""
    runs = [(a(), b()) for _ in range(count)]
    return (statistics.median(x for x, _ in runs), statistics.median(y for _, y in runs),
            statistics.median(x / y for x, y in runs))


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


def imported_libraries() -> list[str]:
    dump = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", PROGRAM], check=True,
                          capture_output=True, text=True).stdout
    return [line.split(":")[1].strip() for line in dump.splitlines() if "DLL Name:" in line]


def size() -> None:
    row("size of PELTOSender.exe", f"{PROGRAM.stat().st_size / 1024:.0f} KiB", "at most 500 KiB")
    dump = subprocess.run(["x86_64-w64-mingw32-objdump", "-h", PROGRAM], check=True,
                          capture_output=True, text=True).stdout
    for match in re.finditer(r"^ +\d+ (\.\S+) +([0-9a-f]{8}) ", dump, re.MULTILINE):
        if match[1] != ".bss":
            row(f"  section {match[1]}", f"{int(match[2], 16) / 1024:.1f} KiB")


SECTIONS = {"logs": logs, "kinds": kinds, "small": small, "report": report, "start": start, "upload": upload,
            "base64": base64, "size": size}


def main() -> None:
    SCRATCH.mkdir(parents=True, exist_ok=True)
    row("what", "median = ratio (of processor time)", "target")
    for name in sys.argv[3:] or SECTIONS:
        SECTIONS[name]()
    shutil.rmtree(SCRATCH)


main()
