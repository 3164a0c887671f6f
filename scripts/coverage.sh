#!/usr/bin/env bash
# Which lines and branches of the product the unit tests run.
#
#   scripts/coverage.sh
#
# Builds the library with counters (preset linux-coverage), runs the unit tests and reports on
# filecache/, trace/, mime/ and util/: a table on standard output, pages in build/coverage/. Branches
# that only an exception takes are left out. Fails when docs/reliability.md does not explain a line or
# branch that no test reaches, or explains one that a test reaches.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

programs=(unit_filecache unit_unnamed_copy unit_untraced unit_util unit_c_interface unit_trace
    unit_trace_process_start mime_library)
build=build/linux-coverage
report=build/coverage
layers=(filecache trace mime util)

mkdir -p build "$report"
log=$report/build.log
{ cmake --preset linux-coverage && cmake --build --preset linux-coverage --target "${programs[@]}"; } >"$log" 2>&1 || {
    tail -n 40 "$log"
    echo "coverage.sh: the build failed" >&2
    exit 1
}

find "$build" -name '*.gcda' -delete
for program in "${programs[@]}"; do
    "$build/bin/$program" --gtest_brief=1 >"$report/$program.log" 2>&1 || {
        tail -n 40 "$report/$program.log"
        echo "coverage.sh: $program failed" >&2
        exit 1
    }
done

gcovr --root . --exclude-throw-branches --exclude-unreachable-branches --html-details "$report/index.html" \
    "${layers[@]/#/$build/}"
echo "Pages: $report/index.html"
python3 scripts/coverage_gaps.py "$build" docs/reliability.md
