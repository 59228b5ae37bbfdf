#!/usr/bin/env python3
"""run.py COUNTS [PATTERN]: runs the end-to-end tests of the modules whose names match (without a
pattern all modules) and writes "PASSED FAILED" into the file COUNTS.

The test classes are spread over lanes: processes with a Wine prefix and a screen of their own. A
test with several subtests counts as one, and fails when one of them does. A skipped test, an error
outside a test and a lane that ends count as failed.
"""

from __future__ import annotations

import io
import multiprocessing
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from collections.abc import Iterator
from concurrent.futures import Future, ProcessPoolExecutor, as_completed
from contextlib import ExitStack, contextmanager
from fnmatch import fnmatch
from pathlib import Path

import dialog
import harness

desktop: dialog.Driver

FOLDER = Path(__file__).resolve().parent
# Some tests wait most of the time, so there is one lane more than there are processors.
LANES = (os.cpu_count() or 1) + 1
# The longest ones start first, so that no lane is left alone with one of them at the end.
FIRST = ("test_dialog.Reminder", "test_oracle.RandomFolders", "test_oracle.OtherRandomFolders",
         "test_upload.Due", "test_log_handle.HeldFiles", "test_upload.Verdict", "test_tls.Tls",
         "test_dialog.Answering", "test_upload.Request")


@contextmanager
def screen() -> Iterator[str]:
    """A screen; yields its name."""
    process = subprocess.Popen(
        ["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
    )
    try:
        number = harness.read_line(process, 30).strip().decode()
        if not number:
            raise AssertionError("the screen did not start")
        yield f":{number}"
    finally:
        process.terminate()
        process.wait()


@contextmanager
def lane(prefix: Path) -> Iterator[dict[str, str]]:
    """A Wine prefix and a screen; yields the environment that selects them."""
    harness.copy_prefix(prefix)
    with screen() as display:
        try:
            yield {"PELTO_WINEPREFIX": str(prefix), "DISPLAY": display}
        finally:
            for option in ("-k", "-w"):
                harness.wineserver(option, prefix)


def enter_lane(selections: multiprocessing.Queue[dict[str, str]]) -> None:
    """Selects a lane in a new process."""
    global desktop
    selection = selections.get()
    os.environ.update(selection)
    harness.WINE_PREFIX = Path(selection["PELTO_WINEPREFIX"])
    # Wine's desktop ends soon after the last program that uses it, and the next such program starts
    # it anew. Started by one without a screen, it would show no dialog. So one program stays.
    desktop = dialog.Driver()
    desktop.ask("wait", 0)


def run_class(name: str) -> tuple[int, set[str], str]:
    """Runs a test class; returns the number of its tests, those that failed, and the report."""
    report = io.StringIO()
    suite = unittest.TestLoader().loadTestsFromName(name)
    begin = time.monotonic()
    result = unittest.TextTestRunner(report, verbosity=2).run(suite)
    problems = [test for test, _ in (*result.failures, *result.errors, *result.skipped)]
    failed = {getattr(test, "test_case", test).id() for test in problems}
    failed |= {test.id() for test in result.unexpectedSuccesses}
    report.write(f"{name}: {time.monotonic() - begin:.0f} s\n")
    return result.testsRun, failed, report.getvalue()


def test_classes(pattern: str) -> list[str]:
    """The names of the test classes, the longest first."""
    names = []
    for module in sorted(path.stem for path in FOLDER.glob("test_*.py")):
        if fnmatch(module, pattern):
            suite = unittest.TestLoader().loadTestsFromName(module)
            # A module that cannot be imported has its failure as the only test.
            names += [f"{module}.{type(next(iter(group))).__name__}"
                      for group in suite if group.countTestCases()]
    order = {name: place for place, name in enumerate(FIRST)}
    return sorted(names, key=lambda name: order.get(name, len(FIRST)))


def main() -> int:
    """The exit code is 0 when every test passed."""
    # Ended in this way, lanes are removed too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    classes = test_classes(sys.argv[2] if len(sys.argv) > 2 else "*")
    lanes = min(LANES, len(classes))
    passed = failed = 0
    with ExitStack() as stack:
        folder = tempfile.mkdtemp(prefix="lanes-", dir=harness.REPOSITORY / "build")
        stack.callback(shutil.rmtree, folder, ignore_errors=True)
        context = multiprocessing.get_context("spawn")
        selections = context.Queue()
        for number in range(lanes):
            selections.put(stack.enter_context(lane(Path(folder, str(number)))))
        pool = ProcessPoolExecutor(max(lanes, 1), context, enter_lane, (selections,))
        stack.callback(pool.shutdown, cancel_futures=True)
        running: dict[Future[tuple[int, set[str], str]], str] = {
            pool.submit(run_class, name): name for name in classes
        }
        for future in as_completed(running):
            try:
                count, failures, report = future.result()
            except Exception as error:  # The lane ended.
                count, failures, report = 1, {running[future]}, f"{running[future]}: {error}\n"
            passed += max(count - len(failures), 0)
            failed += len(failures)
            sys.stderr.write(report)
            sys.stderr.flush()
    Path(sys.argv[1]).write_text(f"{passed} {failed}\n")
    return 0 if passed and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
