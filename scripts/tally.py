#!/usr/bin/env python3
"""tally.py PRESET RESULT: prints how many of a build's unit tests passed and failed.

Run it in the root of the repository. Reads the XML files that GoogleTest wrote next to the test
programs. RESULT is 0 when CTest succeeded. A failure that only CTest reports (a program that crashed)
counts as one failure."""

import json
import subprocess
import sys
import xml.etree.ElementTree
from pathlib import Path


def main() -> None:
    preset, result = sys.argv[1], int(sys.argv[2])
    folder = Path("build") / preset
    listing = subprocess.run(["ctest", "--preset", preset, "--show-only=json-v1"],
                             check=True, capture_output=True, text=True).stdout
    passed = failed = 0
    for test in json.loads(listing)["tests"]:
        name = next(argument.split("xml:", 1)[1] for argument in test["command"]
                    if argument.startswith("--gtest_output=xml:"))
        output = folder / "tests" / name
        if not output.exists():
            failed += 1
            continue
        suites = xml.etree.ElementTree.parse(output).getroot()
        broken = int(suites.get("failures", 0)) + int(suites.get("errors", 0))
        skipped = sum(case.get("status") != "run" or case.find("skipped") is not None
                      for case in suites.iter("testcase"))
        # A test that did not run is no test that passed.
        passed += int(suites.get("tests", 0)) - broken - skipped
        failed += broken + skipped
    if result != 0 and failed == 0:
        failed = 1
    print(passed, failed)


main()
