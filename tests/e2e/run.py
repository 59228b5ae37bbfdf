#!/usr/bin/env python3
"""run.py COUNTS [PATTERN]: runs the end-to-end tests of the modules whose names match (without a
pattern all modules) and writes "PASSED FAILED" into the file COUNTS.

The test classes are spread over lanes: processes with a Wine prefix and a screen of their own.
"""

from __future__ import annotations

import multiprocessing
import os
import shutil
import signal
import subprocess
import sys
import tempfile
from collections.abc import Iterator
from concurrent.futures import ProcessPoolExecutor
from contextlib import ExitStack, contextmanager
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.append(str(FOLDER.parent / "support"))

import classes  # noqa: E402
import dialog  # noqa: E402
import harness  # noqa: E402

desktop: dialog.Driver

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


def main() -> int:
    """The exit code is 0 when every test passed."""
    # Ended in this way, lanes are removed too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    names = classes.find(FOLDER, sys.argv[2] if len(sys.argv) > 2 else "*", FIRST)
    lanes = min(LANES, len(names))
    with ExitStack() as stack:
        folder = tempfile.mkdtemp(prefix="lanes-", dir=harness.REPOSITORY / "build")
        stack.callback(shutil.rmtree, folder, ignore_errors=True)
        context = multiprocessing.get_context("spawn")
        selections = context.Queue()
        for number in range(lanes):
            selections.put(stack.enter_context(lane(Path(folder, str(number)))))
        pool = ProcessPoolExecutor(max(lanes, 1), context, enter_lane, (selections,))
        stack.callback(pool.shutdown, cancel_futures=True)
        return 0 if classes.run(pool, names, Path(sys.argv[1])) else 1


if __name__ == "__main__":
    sys.exit(main())
