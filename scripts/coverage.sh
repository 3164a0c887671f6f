#!/usr/bin/env bash
# Which lines and branches of the product the unit tests run.
#
#   scripts/coverage.sh
#
# Builds the library with counters (preset linux-coverage), runs the unit tests and reports on
# filecache/, trace/, mime/ and util/: tables on standard output, pages in build/coverage/. Branches
# that only an exception takes are left out. Fails when a line or branch that no test reaches has no
# marker of gcovr's with the reason, and when one that has a marker is reached.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

programs=(unit_filecache unit_unnamed_copy unit_util unit_c_interface unit_trace
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
run() {
    "$build/bin/$1" --gtest_brief=1 >"$report/tests.log" 2>&1 || {
        tail -n 40 "$report/tests.log"
        echo "coverage.sh: $1 failed" >&2
        exit 1
    }
}
for program in "${programs[@]}"; do
    run "$program"
done
QEL_UNTRACED=1 run unit_filecache

options=(--root . --exclude-throw-branches --exclude-unreachable-branches "${layers[@]/#/$build/}")
gcovr "${options[@]}" --txt
gcovr "${options[@]}" --txt --branches --print-summary
status=0
gcovr "${options[@]}" --html-details "$report/index.html" --fail-under-line 100 --fail-under-branch 100 || status=$?
echo "Pages: $report/index.html"

# A marker where every test reaches everything marks nothing any more.
gcovr "${options[@]}" --no-markers --xml-pretty --output "$report/all.xml"
awk -F '"' '
    /<class / { for (i = 1; i < NF; i += 2) if ($i ~ / filename=$/) file = $(i + 1) }
    /<line / && (/ hits="0"/ || (/ branch="true"/ && !/condition-coverage="100%/)) {
        for (i = 1; i < NF; i += 2) if ($i ~ / number=$/) print file ":" $(i + 1)
    }' "$report/all.xml" | sort -u >"$report/gaps"
grep -rnE 'GCOVR_EXCL_(BR_)?(LINE|START|STOP)' "${layers[@]}" | awk -F : '
    /_LINE/ { print $1 ":" $2 "-" $2 }
    /_START/ { first = $2 }
    /_STOP/ { print $1 ":" first "-" $2 }' >"$report/markers"
awk -F '[:-]' '
    NR == FNR { gap[$1, $2]; next }
    {
        for (line = $2; line <= $3; line++) if (($1, line) in gap) next
        print "outdated marker: " $0
        outdated = 1
    }
    END { exit outdated }' "$report/gaps" "$report/markers" || status=1
exit "$status"
