#!/usr/bin/env python3
"""Compares what no test reaches with what the documentation explains.

    scripts/coverage_gaps.py BUILD DOCUMENT    a build with counters whose tests have run; the document
    scripts/coverage_gaps.py --self-test

Reads the counters of the layers through gcov. Branches that only an exception takes do not count.
Prints a table of lines and branches, then each gap. The document explains a gap by an item under its
heading "Code that no test reaches":

    - `path/of/file.cpp`: `the source line`

Exit status 0 when each gap is explained and each explanation has its gap.
"""

import collections
import json
import pathlib
import re
import subprocess
import sys

LAYERS = ("filecache", "trace", "mime", "util")
HEADING = "Code that no test reaches"
ITEM = re.compile(r"^- `([^`]+)`: `(.+)`$")


def explained_gaps(document):
    """The (path, source line) pairs in the section of that heading, with how often each stands there."""
    gaps, inside = collections.Counter(), False
    for line in document.splitlines():
        if line.startswith("## "):
            inside = line[3:].strip() == HEADING
        elif inside and (item := ITEM.match(line)):
            gaps[item.groups()] += 1
    return gaps


def read_counters(build):
    """gcov's documents, one for each object that has run."""
    objects = sorted(str(path.resolve()) for layer in LAYERS for path in (build / layer).rglob("*.gcda"))
    if not objects:
        raise SystemExit(f"coverage_gaps.py: no test has run in {build}")
    gcov = ["gcov", "--branch-probabilities", "--json-format", "--stdout", *objects]
    printed = subprocess.run(gcov, cwd=build, check=True, capture_output=True, text=True).stdout
    return [json.loads(line) for line in printed.splitlines() if line.startswith("{")]


def merge(documents, root):
    """{path: {line: (count, {branch: count})}} over all objects: a header's functions are in several."""
    files = collections.defaultdict(dict)
    for document in documents:
        directory = pathlib.Path(document["current_working_directory"])
        for file in document["files"]:
            path = (directory / file["file"]).resolve()
            if not path.is_relative_to(root) or path.relative_to(root).parts[0] not in LAYERS:
                continue
            lines = files[str(path.relative_to(root))]
            for line in file["lines"]:
                count, branches = lines.get(line["line_number"], (0, collections.Counter()))
                # Instances of one function have equally many branches there; others do not.
                kinds = len(line["branches"])
                for number, branch in enumerate(line["branches"]):
                    if not branch["throw"]:
                        branches[kinds, number] += branch["count"]
                lines[line["line_number"]] = (count + line["count"], branches)
    return files


def measure(files, source_line):
    """Counts by file, and the gaps: {path: (lines, run, branches, taken)}, [((path, text), where)]."""
    counts, gaps = {}, []
    for path, lines in files.items():
        # What stands on a line of brackets alone are the compiler's own clean-ups.
        lines = {number: line for number, line in lines.items() if re.search(r"\w", source_line(path, number))}
        taken = [branch > 0 for _, branches in lines.values() for branch in branches.values()]
        counts[path] = (len(lines), sum(count > 0 for count, _ in lines.values()), len(taken), sum(taken))
        for number, (count, branches) in sorted(lines.items()):
            missed = sum(branch == 0 for branch in branches.values())
            if count == 0 or missed:
                what = "not run" if count == 0 else f"{missed} of {len(branches)} branches not taken"
                gaps.append(((path, source_line(path, number)), f"{path}:{number}: {what}"))
    return counts, gaps


def print_table(counts):
    def row(name, lines, run, branches, taken):
        print(f"{name:<48} {run:>5} of {lines:>5} {taken:>6} of {branches:>6}")

    print(f"{'file':<48} {'lines run':>14} {'branches taken':>16}")
    for path in sorted(counts):
        row(path, *counts[path])
    row("all", *(sum(column) for column in zip(*counts.values())))


def compare(gaps, explained):
    """Prints the gaps and what is wrong; the number of things that are."""
    wrong = 0
    left = explained.copy()
    print(f"\n{len(gaps)} lines that no test runs, or not in every way:")
    for gap, where in sorted(gaps):
        known = left[gap] > 0
        left[gap] -= 1
        wrong += 0 if known else 1
        print(f"  {'explained  ' if known else 'UNEXPLAINED'}  {where}: {gap[1]}")
    for path, text in sorted((+left).elements()):
        print(f"  OUTDATED     {path}: {text}: explained, but run in every way, or gone")
        wrong += 1
    return wrong


def self_test():
    document = (
        f"- `mime/a.cpp`: `elsewhere`\n## {HEADING}\nWhy.\n- `mime/a.cpp`: `if (x || y) {{`\n"
        "- `mime/a.cpp`: `gone`\n## Other\n- `mime/a.cpp`: `behind`\n"
    )
    source = {1: "if (x || y) {", 2: "return;", 3: "fine", 4: "}"}

    def line(number, count, *branches):
        return {
            "line_number": number,
            "count": count,
            "branches": [{"count": abs(taken), "throw": taken < 0} for taken in branches],
        }

    here = pathlib.Path("/root")
    objects = [
        {
            "current_working_directory": "/root/build",
            "files": [
                {"file": "../mime/a.cpp", "lines": [line(1, 2, 1, 0), line(2, 0), line(3, run, run, -1), line(4, 0)]},
                {"file": "/usr/include/b.h", "lines": [line(1, 0)]},
            ],
        }
        for run in (0, 1)
    ]
    counts, gaps = measure(merge(objects, here), lambda _, number: source[number])
    assert counts == {"mime/a.cpp": (3, 2, 3, 2)}, counts
    assert [gap for gap, _ in gaps] == [("mime/a.cpp", "if (x || y) {"), ("mime/a.cpp", "return;")], gaps
    explained = explained_gaps(document)
    assert explained == {("mime/a.cpp", "if (x || y) {"): 1, ("mime/a.cpp", "gone"): 1}, explained
    assert compare(gaps, explained) == 2  # one unexplained, one outdated
    assert compare(gaps, collections.Counter(gap for gap, _ in gaps)) == 0
    assert compare(gaps + gaps, collections.Counter(gap for gap, _ in gaps)) == 2  # each line by itself
    print("self-test: all well")


def main():
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        return 0
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    root = pathlib.Path(__file__).resolve().parent.parent
    files = merge(read_counters(pathlib.Path(sys.argv[1])), root)
    sources = {path: (root / path).read_text(encoding="utf-8").splitlines() for path in files}
    counts, gaps = measure(files, lambda path, number: sources[path][number - 1].strip())
    print_table(counts)
    return 1 if compare(gaps, explained_gaps(pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))) else 0


if __name__ == "__main__":
    sys.exit(main())
