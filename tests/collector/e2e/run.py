#!/usr/bin/env python3
"""run.py COUNTS [PATTERN]: runs the collector's end-to-end tests of the modules whose names match
(without a pattern all modules) and writes "PASSED FAILED" into the file COUNTS.

The environment variable PELTO_COLLECTOR names the program; without it, it is the one that
scripts/build.sh builds.
"""

from __future__ import annotations

import multiprocessing
import os
import sys
from concurrent.futures import ProcessPoolExecutor
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.append(str(FOLDER.parents[1] / "support"))

import classes  # noqa: E402

# Some tests wait most of the time, so there is one process more than there are processors.
PROCESSES = (os.cpu_count() or 1) + 1


def main() -> int:
    """The exit code is 0 when every test passed."""
    names = classes.find(FOLDER, sys.argv[2] if len(sys.argv) > 2 else "*")
    with ProcessPoolExecutor(PROCESSES, multiprocessing.get_context("spawn")) as pool:
        return 0 if classes.run(pool, names, Path(sys.argv[1])) else 1


if __name__ == "__main__":
    sys.exit(main())
