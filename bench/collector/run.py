#!/usr/bin/env python3
"""run.py BUILD SCRATCH [--reports N] [--deliveries N] [--rounds N]: measures the collector and
prints a table.

BUILD has the programs of the preset "collector". The floors run in turn with the collector, under
the same load from the same generator, on the same processors. A ratio is the median of the ratios
of the rounds. SCRATCH needs about 2,000 bytes a report."""

from __future__ import annotations

import argparse
import contextlib
import json
import multiprocessing
import os
import selectors
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import time
from collections.abc import Iterator
from pathlib import Path

CONNECTIONS = 32
# More, so that a slow answer does not keep the generator from its rate.
CONNECTIONS_AT_A_RATE = 128
RATE = 1000
CROWD = 5000
# A byte of each trickling connection in this many seconds.
TRICKLE = 5.0
# Deliveries of an installation in one period, in the mean.
DELIVERIES_OF_AN_INSTALLATION = 1.1
PERIODS = 13
# Deliveries of an installation in a history of that many periods, in the mean.
DELIVERIES_IN_A_HISTORY = 8.8
GROUPS = (1, 8, CONNECTIONS)
# What a report is kept in.
TABLES = ("report", "report_text", "installation", "contact")
WARM_RUNS = 5


class Server:
    """A server that prints its address and "ready"; `memory` is its highest and present KiB."""

    def __init__(self, *command: str | Path):
        start = time.perf_counter()
        self.process = subprocess.Popen([str(part) for part in command], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        self.url = ""
        assert self.process.stdout
        for line in self.process.stdout:
            if line.startswith("intake "):
                self.url = line.split()[1]
            if line.strip() == "ready":
                break
        else:
            sys.exit(f"{command[0]} did not start")
        self.start_seconds = time.perf_counter() - start

    def memory(self) -> tuple[int, int]:
        status = Path(f"/proc/{self.process.pid}/status").read_text()
        values = dict(line.split(":", 1) for line in status.splitlines())
        return int(values["VmHWM"].split()[0]), int(values["VmRSS"].split()[0])

    def stop(self) -> None:
        self.process.send_signal(signal.SIGTERM)
        try:
            self.process.wait(30)
        except subprocess.TimeoutExpired:
            self.process.kill()
            sys.exit("the server did not end")
        assert self.process.stdout
        self.process.stdout.close()


class Bench:
    def __init__(self, build: Path, scratch: Path):
        self.collector = build / "collector" / "pelto-collector"
        self.floors = build / "collector" / "bench"
        self.scratch = scratch

    def data(self, name: str) -> Path:
        """A new empty folder."""
        folder = self.scratch / name
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
        return folder

    @contextlib.contextmanager
    def serve(self, data: Path) -> Iterator[Server]:
        server = Server(self.collector, "serve", "--data", data, "--intake", "127.0.0.1:0",
                        "--pages", "127.0.0.1:0")
        try:
            yield server
        finally:
            server.stop()

    @contextlib.contextmanager
    def serve_bare(self) -> Iterator[Server]:
        server = Server(self.floors / "bare_server")
        try:
            yield server
        finally:
            server.stop()

    def send(self, url: str, deliveries: int, seed: int, rate: int = 0) -> dict:
        """Sends about that many deliveries; returns the generator's summary."""
        connections = CONNECTIONS_AT_A_RATE if rate else CONNECTIONS
        run = subprocess.run(
            [self.collector, "fleet", "--installations",
             str(int(deliveries / DELIVERIES_OF_AN_INSTALLATION)), "--periods", "1", "--seed",
             str(seed), "--to", url, "--connections", str(connections), "--rate", str(rate)],
            stdout=subprocess.PIPE, text=True, check=False)
        if run.returncode != 0:
            sys.exit("the generator failed")
        return json.loads(run.stdout)

    def insert(self, source: Path, group: int) -> float:
        """The rows of a report that SQLite alone inserts a second."""
        target = self.data("floor") / "floor.sqlite"
        run = subprocess.run([self.floors / "sqlite_floor", source, target, str(group), *TABLES],
                             stdout=subprocess.PIPE, text=True, check=True)
        return json.loads(run.stdout)["per_second"]


def keep_crowd(port: int, count: int, opened, is_over) -> None:
    """Keeps that many connections open until `is_over`: one half sends nothing, the other half a
    request a byte at a time. One that the server closes is opened again."""
    selector = selectors.DefaultSelector()
    request = (b"POST /collect HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 5000\r\n"
               b"Content-Type: multipart/form-data; boundary=b\r\n\r\n")
    trickling: dict[socket.socket, float] = {}

    def add(trickles: bool) -> None:
        with contextlib.suppress(OSError):
            link = socket.create_connection(("127.0.0.1", port), 10)
            link.setblocking(False)
            selector.register(link, selectors.EVENT_READ, trickles)
            if trickles:
                link.send(request)
                trickling[link] = time.monotonic() + TRICKLE

    while not is_over.is_set():
        missing = count - len(selector.get_map())
        for i in range(min(missing, 100)):
            add(i % 2 == 0)
        opened.value = len(selector.get_map())
        now = time.monotonic()
        for link in [link for link, due in trickling.items() if due <= now]:
            with contextlib.suppress(OSError):
                link.send(b"-")
            trickling[link] = now + TRICKLE
        for key, _ in selector.select(0.05):
            link = key.fileobj
            with contextlib.suppress(OSError):
                if link.recv(4096):
                    continue
            selector.unregister(link)
            trickling.pop(link, None)
            link.close()


@contextlib.contextmanager
def crowd(url: str) -> Iterator[None]:
    """5,000 connections that are open beside."""
    port = int(url.split(":")[2].split("/")[0])
    opened = multiprocessing.Value("i", 0)
    is_over = multiprocessing.Event()
    process = multiprocessing.Process(target=keep_crowd, args=(port, CROWD, opened, is_over))
    process.start()
    try:
        give_up = time.monotonic() + 60
        while opened.value < CROWD * 0.95:
            if time.monotonic() > give_up:
                sys.exit(f"only {opened.value} connections could be opened")
            time.sleep(0.1)
        yield
    finally:
        is_over.set()
        process.join()


def row(name: str, value: str, target: str = "") -> None:
    print(f"{name:<58} {value:>28}   {target}", flush=True)


def milliseconds(summary: dict) -> str:
    latency = summary["latency_ms"]
    return f"{latency['p50']:.1f} / {latency['p99']:.1f} / {latency['max']:.0f} ms"


def mebibytes(kibibytes: int) -> str:
    return f"{kibibytes / 1024:.0f} MiB"


def measure_deliveries(bench: Bench, deliveries: int, rounds: int) -> None:
    bare, kept, floors = [], [], {group: [] for group in GROUPS}
    request_bytes = 0.0
    for number in range(rounds):
        with bench.serve_bare() as server:
            bare.append(bench.send(server.url, deliveries, number)["per_second"])
        data = bench.data("throughput")
        with bench.serve(data) as server:
            summary = bench.send(server.url, deliveries, number)
            kept.append(summary["per_second"])
            request_bytes = summary["bytes"] / summary["confirmed"]
            memory = server.memory()
        for group in GROUPS:
            floors[group].append(bench.insert(data / "reports.sqlite", group))
    row("bytes of a request (header and form of about 60 commands)", f"{request_bytes:.0f}")
    row(f"deliveries a second, {CONNECTIONS} at once, a connection each",
        f"{statistics.median(kept):.0f}", "at least 2,000")
    row("  memory of the server, highest / at the end",
        f"{mebibytes(memory[0])} / {mebibytes(memory[1])}", "under 128 MiB")
    row("  the same at a server that answers at once", f"{statistics.median(bare):.0f}")
    row("  ratio", f"{statistics.median(a / b for a, b in zip(kept, bare)):.2f}")
    for group in GROUPS:
        row(f"  SQLite's own insert of the rows, {group} a commit, a second",
            f"{statistics.median(floors[group]):.0f}")
        ratio = statistics.median(a / b for a, b in zip(kept, floors[group]))
        row("  ratio", f"{ratio:.2f}")


def measure_latency(bench: Bench, deliveries: int) -> None:
    with bench.serve_bare() as server:
        summary = bench.send(server.url, deliveries, 1, RATE)
    row(f"p50 / p99 / max at {RATE} a second, server that answers at once", milliseconds(summary))
    with bench.serve(bench.data("latency")) as server:
        alone = bench.send(server.url, deliveries, 1, RATE)
        row(f"p50 / p99 / max at {RATE} a second", milliseconds(alone), "p99 under 100 ms")
        with crowd(server.url):
            crowded = bench.send(server.url, deliveries, 2, RATE)
            memory = server.memory()
    row(f"  with {CROWD} idle or trickling connections beside", milliseconds(crowded))
    row("  ratio of the p99",
        f"{crowded['latency_ms']['p99'] / alone['latency_ms']['p99']:.2f}", "under 2")
    row("  memory of the server, highest / at the end",
        f"{mebibytes(memory[0])} / {mebibytes(memory[1])}", "under 128 MiB")


def size_of(folder: Path) -> int:
    return sum(path.stat().st_size for path in folder.rglob("*") if path.is_file())


def forget_cache(folder: Path) -> None:
    """Lets the system drop what it has cached of the files."""
    for path in folder.rglob("*"):
        if path.is_file():
            descriptor = os.open(path, os.O_RDONLY)
            os.fsync(descriptor)
            os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_DONTNEED)
            os.close(descriptor)


def import_history(bench: Bench, reports: int) -> tuple[Path, int]:
    """Imports about that many reports; returns the data folder and their number."""
    data = bench.data("history")
    truth = bench.scratch / "truth.json"
    installations = max(1, int(reports / DELIVERIES_IN_A_HISTORY))
    start = time.perf_counter()
    fleet = subprocess.Popen(
        [bench.collector, "fleet", "--installations", str(installations), "--periods",
         str(PERIODS), "--seed", "1", "--ndjson", "-", "--truth", truth], stdout=subprocess.PIPE)
    subprocess.run([bench.collector, "import", "-", "--data", data], stdin=fleet.stdout, check=True)
    if fleet.wait() != 0:
        sys.exit("the generator failed")
    seconds = time.perf_counter() - start
    intake = json.loads(truth.read_text())["figures"]["intake"][0]["answer"]["rows"][0]
    row("reports imported a second, simulation included", f"{intake['accepted'] / seconds:.0f}")
    return data, intake["accepted"]


def measure_figures(bench: Bench, data: Path) -> None:
    def run(*arguments: str) -> float:
        start = time.perf_counter()
        subprocess.run([bench.collector, *arguments], stdout=subprocess.DEVNULL, check=True)
        return (time.perf_counter() - start) * 1000

    empty = statistics.median(run("--help") for _ in range(WARM_RUNS))
    row("start of the program alone", f"{empty:.0f} ms")
    answer = subprocess.run([bench.collector, "figures", "overview", "--data", data],
                            stdout=subprocess.PIPE, check=True)
    periods = [row_["period"] for row_ in json.loads(answer.stdout)["rows"]]
    some = ("--from", periods[len(periods) // 2], "--to",
            periods[min(len(periods) // 2 + 2, len(periods) - 1)])
    version = ("--version", "1.10.0.0")
    for figure in ("overview", "commands", "file-types", "versions", "machines", "intake"):
        for name, filters in (("all", ()), ("3 periods", some), ("a version", version),
                              ("a version, 3 periods", (*version, *some))):
            arguments = ("figures", figure, "--data", str(data), *filters)
            forget_cache(data)
            cold = run(*arguments)
            warm = statistics.median(run(*arguments) for _ in range(WARM_RUNS))
            row(f"  {figure}, {name}: cold / warm, start included",
                f"{cold:.0f} / {warm:.0f} ms", "under 200 ms")


def measure_history(bench: Bench, reports: int) -> None:
    data, count = import_history(bench, reports)
    row("reports stored", str(count))
    row("bytes a report on the disk", f"{size_of(data) / count:.0f}", "at most 1,000")
    forget_cache(data)
    with bench.serve(data) as server:
        row("start until ready, cold", f"{server.start_seconds * 1000:.0f} ms", "under 1 s")
        bench.send(server.url, 5000, 99)
        memory = server.memory()
        row("  memory of the server after 5,000 deliveries, highest / then",
            f"{mebibytes(memory[0])} / {mebibytes(memory[1])}", "under 128 MiB")
    measure_figures(bench, data)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("scratch", type=Path)
    parser.add_argument("--reports", type=int, default=1_000_000)
    parser.add_argument("--deliveries", type=int, default=20_000)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    bench = Bench(options.build, options.scratch)
    measure_deliveries(bench, options.deliveries, options.rounds)
    measure_latency(bench, options.deliveries)
    measure_history(bench, options.reports)
    shutil.rmtree(options.scratch)


if __name__ == "__main__":
    main()
