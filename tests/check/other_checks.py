#!/usr/bin/python3
"""Lets the check in Python and that of the landmark editor judge tables that have C's verdicts.

    other_checks.py TABLE...

Prints how many records each refuses, and how many verdicts are not those of C; fails if there are any.
"""

import collections
import os
import sys
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
os.environ["ZOMU_TEST_PROJECT"] = str(PROJECT)
for folder in ("python", "tests/python", "tests/tools/landmark-editor"):
    sys.path.insert(0, str(PROJECT / folder))

from guard_test import CHECK, GuardTest  # noqa: E402
from landmark_tables import cases  # noqa: E402
from zomu.landmark_check import landmark_report  # noqa: E402

AT_ONCE = 2000  # records that the browser takes at a time


def by_python(table: Path) -> list[str]:
    return [landmark_report(entries, width, height)[0] for _, width, height, _, entries in cases(table)]


def by_editor(table: Path) -> list[str]:
    lines = table.read_text().splitlines()[1:]
    faults: list[str] = []
    GuardTest.setUpClass()
    try:
        test = GuardTest("test_says_what_the_other_checks_say")
        test.setUp()
        for first in range(0, len(lines), AT_ONCE):
            faults += [report[0] for report in test.browser.execute_script(CHECK, lines[first : first + AT_ONCE])]
        test.doCleanups()
    finally:
        GuardTest.doClassCleanups()
    return faults


def main() -> int:
    different = 0
    for table in map(Path, sys.argv[1:]):
        expected = [fault for _, _, _, fault, _ in cases(table)]
        for name, judge in (("Python", by_python), ("the editor", by_editor)):
            found = judge(table)
            misses = sum(a != b for a, b in zip(expected, found, strict=True))
            counts = collections.Counter(found)
            refused = len(found) - counts["good"]
            print(f"{table.name}: {name} refuses {refused} of {len(found)}, {misses} verdicts are not those of C")
            different += misses
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
