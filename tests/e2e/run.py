#!/usr/bin/env python3
"""run.py COUNTS [PATTERN]: runs the end-to-end tests of the modules whose names match (every module
without a pattern; one that begins with "!" leaves out what it matches) and writes "PASSED FAILED" into
the file COUNTS. A skipped test counts as failed."""

import sys
import unittest
from fnmatch import fnmatch
from pathlib import Path


def main() -> int:
    folder = Path(__file__).resolve().parent
    pattern = sys.argv[2] if len(sys.argv) > 2 else "*"
    modules = sorted(path.stem for path in folder.glob("test_*.py"))
    chosen = [
        module for module in modules
        if fnmatch(module, pattern.removeprefix("!")) != pattern.startswith("!")
    ]
    sys.path.insert(0, str(folder))
    suite = unittest.TestLoader().loadTestsFromNames(chosen)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    failed = (len(result.failures) + len(result.errors) + len(result.skipped)
              + len(result.unexpectedSuccesses))
    Path(sys.argv[1]).write_text(f"{max(result.testsRun - failed, 0)} {failed}\n")
    return 0 if failed == 0 and result.testsRun else 1


sys.exit(main())
