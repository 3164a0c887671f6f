#!/usr/bin/env python3
"""Counts test cases in ctest's JUnit reports: `count_tests.py REPORT...` prints "PASSED FAILED".

ctest knows programs; a GoogleTest program tells its cases itself, at the end of what it printed. A program that
printed no such summary counts as one case. A program that ended badly counts one failure at least, also when every
case of its own passed (a sanitizer's report at its end, say).
"""

import re
import sys
import xml.etree.ElementTree as ElementTree

PASSED = re.compile(r"^\[  PASSED  \] (\d+) tests?\.$", re.MULTILINE)
FAILED = re.compile(r"^\[  FAILED  \] (\d+) tests?, listed below:$", re.MULTILINE)


def count(test_case):
    output = test_case.findtext("system-out") or ""
    program_passed = test_case.get("status") == "run"
    passed = sum(int(number) for number in PASSED.findall(output))
    failed = sum(int(number) for number in FAILED.findall(output))
    if program_passed:
        return max(passed, 1), failed
    return passed, max(failed, 1)


def main(reports):
    passed = failed = 0
    for report in reports:
        for test_case in ElementTree.parse(report).getroot().iter("testcase"):
            more_passed, more_failed = count(test_case)
            passed += more_passed
            failed += more_failed
    print(passed, failed)


if __name__ == "__main__":
    main(sys.argv[1:])
