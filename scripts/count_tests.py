#!/usr/bin/env python3
"""Counts test cases in ctest's JUnit reports.

    count_tests.py REPORT...      prints "PASSED FAILED"
    count_tests.py --self-test    counts a report of its own

ctest knows programs; a GoogleTest program tells its cases itself, at the end of what it printed. A program that
printed no such summary counts as one case. A program that ended badly counts one failure at least, also when every
case of its own passed (a sanitizer's report at its end, say).
"""

import re
import sys
import xml.etree.ElementTree as ElementTree

PASSED = re.compile(r"^\[  PASSED  \] (\d+) tests?\.\r?$", re.MULTILINE)
FAILED = re.compile(r"^\[  FAILED  \] (\d+) tests?, listed below:\r?$", re.MULTILINE)


def count(test_case):
    output = test_case.findtext("system-out") or ""
    program_passed = test_case.get("status") == "run"
    passed = sum(int(number) for number in PASSED.findall(output))
    failed = sum(int(number) for number in FAILED.findall(output))
    if program_passed:
        return max(passed, 1), failed
    return passed, max(failed, 1)


def count_all(roots):
    counts = [count(test_case) for root in roots for test_case in root.iter("testcase")]
    return sum(passed for passed, _ in counts), sum(failed for _, failed in counts)


# Status and output of a program, and what it counts for.
SAMPLES = [
    ("run", "[==========] 3 tests ran.\n[  PASSED  ] 3 tests.\n", (3, 0)),
    ("run", "[  PASSED  ] 1 test.\r\n", (1, 0)),
    ("run", "no GoogleTest program", (1, 0)),
    ("fail", "[  PASSED  ] 2 tests.\n[  FAILED  ] 1 test, listed below:\n[  FAILED  ] A.B\n\n 1 FAILED TEST\n", (2, 1)),
    ("fail", "[  PASSED  ] 4 tests.\nERROR: LeakSanitizer: detected memory leaks\n", (4, 1)),
    ("fail", "[ RUN      ] A.B\nSegmentation fault\n", (0, 1)),
    ("notrun", "", (0, 1)),
]


def self_test():
    wrong = 0
    for status, output, expected in SAMPLES:
        root = ElementTree.Element("testsuite")
        ElementTree.SubElement(ElementTree.SubElement(root, "testcase", status=status), "system-out").text = output
        counted = count_all([ElementTree.fromstring(ElementTree.tostring(root))])
        if counted != expected:
            print(f"{status} {output!r}: counted {counted}, expected {expected}", file=sys.stderr)
            wrong += 1
    return 1 if wrong else 0


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    print(*count_all(ElementTree.parse(report).getroot() for report in arguments))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
