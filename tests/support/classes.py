"""Runs test classes side by side and counts their tests.

A test with several subtests counts as one, and fails when one of them does. A skipped test, an error
outside a test and a process that ends count as failed.
"""

from __future__ import annotations

import io
import sys
import time
import unittest
from collections.abc import Sequence
from concurrent.futures import Executor, Future, as_completed
from fnmatch import fnmatch
from pathlib import Path


def find(folder: Path, pattern: str, first: Sequence[str] = ()) -> list[str]:
    """The names of the test classes in the modules of a folder whose names match, those in `first`
    before the others. The folder must be on the path of modules."""
    names = []
    for module in sorted(path.stem for path in folder.glob("test_*.py")):
        if fnmatch(module, pattern):
            suite = unittest.TestLoader().loadTestsFromName(module)
            # A module that cannot be imported has its failure as the only test.
            names += [f"{module}.{type(next(iter(group))).__name__}"
                      for group in suite if group.countTestCases()]
    order = {name: place for place, name in enumerate(first)}
    return sorted(names, key=lambda name: order.get(name, len(first)))


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


def run(pool: Executor, classes: Sequence[str], counts: Path) -> bool:
    """Runs the classes in the pool's processes, reports on standard error, and writes "PASSED FAILED"
    into the file `counts`. Returns whether there was a test and every one passed."""
    passed = failed = 0
    running: dict[Future[tuple[int, set[str], str]], str] = {
        pool.submit(run_class, name): name for name in classes
    }
    for future in as_completed(running):
        try:
            count, failures, report = future.result()
        except Exception as error:  # The process ended.
            count, failures, report = 1, {running[future]}, f"{running[future]}: {error}\n"
        passed += max(count - len(failures), 0)
        failed += len(failures)
        sys.stderr.write(report)
        sys.stderr.flush()
    counts.write_text(f"{passed} {failed}\n")
    return passed > 0 and not failed
