#!/usr/bin/env python3
"""run.py COUNTS: runs every end-to-end test and writes "PASSED FAILED" into the file COUNTS. A
skipped test counts as failed."""

import sys
import unittest
from pathlib import Path


def main() -> int:
    folder = Path(__file__).resolve().parent
    suite = unittest.TestLoader().discover(str(folder), top_level_dir=str(folder))
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    failed = (len(result.failures) + len(result.errors) + len(result.skipped)
              + len(result.unexpectedSuccesses))
    Path(sys.argv[1]).write_text(f"{max(result.testsRun - failed, 0)} {failed}\n")
    return 0 if failed == 0 and result.testsRun else 1


sys.exit(main())
