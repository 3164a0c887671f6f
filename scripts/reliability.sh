#!/usr/bin/env bash
# The long form of the tests against faults, crashes, hostile input and concurrency.
#
#   scripts/reliability.sh TABLE     writes the table of results to the file TABLE, and to standard output
#
# Needs the Linux build with all tests; the thread sanitizer, the fuzzers and the coverage have builds of
# their own, which it makes. How much is done is in the environment:
#
#                          usually   with QEL_LONG_SCALE=small
#   QEL_FUZZ_SECONDS       600       5       of each fuzzer, three at a time
#   QEL_KILL_ROUNDS        500       10      processes killed
#   QEL_DISK_FULL_ROUNDS   500       10      limits of the length of a file
#   QEL_TRACE_LINES        1000000   20000   of two processes at a time
#   QEL_THREAD_OPERATIONS  200       5       of each of 32 threads, and again with the thread sanitizer
#   QEL_HANDLE_REQUESTS    10000     1000    that leave no handle open
#   QEL_LARGE_FILE_GB      10        3       of a file that is downloaded
#   QEL_FORETOLD_STATES    50        5       of cache and server, of which the program says what a request comes to
#   QEL_VALGRIND           all       short   unit test programs
#
# Exit status 0 when nothing failed. What each part printed is in build/reliability/.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

case "${1:-}" in
'' | -h | --help)
    sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "$0"
    exit 0
    ;;
esac
table=$1
logs=build/reliability
mkdir -p "$logs" "$(dirname "$table")"

case "${QEL_LONG_SCALE:-}" in
'' | small) ;;
*)
    echo "reliability.sh: '$QEL_LONG_SCALE' is no scale: small, or nothing" >&2
    exit 2
    ;;
esac

# amount NAME USUAL SMALL: sets a variable that is not set yet.
amount() {
    local value=$2
    [ "${QEL_LONG_SCALE:-}" = small ] && value=$3
    export "$1=${!1:-$value}"
}
amount QEL_FUZZ_SECONDS 600 5
amount QEL_KILL_ROUNDS 500 10
amount QEL_DISK_FULL_ROUNDS 500 10
amount QEL_TRACE_LINES 1000000 20000
amount QEL_THREAD_OPERATIONS 200 5
amount QEL_HANDLE_REQUESTS 10000 1000
amount QEL_LARGE_FILE_GB 10 3
amount QEL_FORETOLD_STATES 50 5
amount QEL_VALGRIND all short

rows=()
failures=0

# row WHAT HOW_MANY FAILURES
row() {
    rows+=("| $1 | $2 | $3 |")
    failures=$((failures + $3))
    printf '%s: %s, %s failures\n' "$1" "$2" "$3"
}

# tests WHAT PROGRAM [ARGUMENT...]: a test program of the Linux build; a program that ends early fails too.
tests() { tests_of linux "$@"; }

# tests_of PRESET WHAT PROGRAM [ARGUMENT...]: the same of another build.
tests_of() {
    local preset=$1 what=$2 program=$3 log=$logs/${3}-${#rows[@]} status=0 run=0 failed=0
    shift 3
    rm -f "$log.xml"
    GTEST_OUTPUT=xml:$PWD/$log.xml "build/$preset/bin/$program" "$@" >"$log.log" 2>&1 || status=$?
    [ ! -e "$log.xml" ] || read -r run failed < <(sed -n 's/^<testsuites tests="\([0-9]*\)" failures="\([0-9]*\)".*/\1 \2/p' "$log.xml")
    { [ "$status" -eq 0 ] && [ "$run" -gt 0 ]; } || [ "$failed" -gt 0 ] || failed=1
    row "$what" "$run tests" "$failed"
    [ "$failed" -eq 0 ] || tail -n 40 "$log.log"
}

# lines WHAT UNIT COMMAND...: a command that ends with a line "ok ..." or "FAIL ..." for each of its parts.
lines() {
    local what=$1 unit=$2 log=$logs/${1//[^a-zA-Z]/-}.log status=0 well bad
    shift 2
    "$@" >"$log" 2>&1 || status=$?
    well=$(grep -c '^ok ' "$log")
    bad=$(grep -c '^FAIL ' "$log")
    { [ "$status" -ne 0 ] || [ "$well" -eq 0 ]; } && [ "$bad" -eq 0 ] && bad=1
    row "$what" "$well $unit" "$bad"
    [ "$bad" -eq 0 ] || tail -n 40 "$log"
}

sanitized_threads() {
    local log=$logs/linux-thread.log what="32 threads with the thread sanitizer, $QEL_THREAD_OPERATIONS operations each"
    if { cmake --preset linux-thread && cmake --build --preset linux-thread --target reliability_threads; } >"$log" 2>&1; then
        tests_of linux-thread "$what" reliability_threads
    else
        row "$what" "not built" 1
        tail -n 40 "$log"
    fi
}

fuzz() {
    local log=$logs/fuzz.log line fuzzer executions status=0 found=0 bad=0 fuzzers=(fuzz/*_fuzzer.cpp)
    fuzz/run.sh "$QEL_FUZZ_SECONDS" >"$log" 2>&1 || status=$?
    while read -r line fuzzer executions _; do
        found=$((found + 1))
        [ "$line" = ok ] || bad=$((bad + 1))
        row "${fuzzer%:}, $QEL_FUZZ_SECONDS s" "$executions executions" "$([ "$line" = ok ] && echo 0 || echo 1)"
    done < <(grep -E '^(ok  |FAIL) ' "$log")
    if [ "$found" -lt "${#fuzzers[@]}" ]; then
        row "fuzzers that did not run" "$((${#fuzzers[@]} - found)) of ${#fuzzers[@]}" "$((${#fuzzers[@]} - found))"
    elif [ "$status" -ne 0 ] && [ "$bad" -eq 0 ]; then
        row "fuzzers" "ended with status $status" 1
    elif [ "$status" -eq 0 ]; then
        return
    fi
    tail -n 60 "$log"
}

coverage() {
    local log=$logs/coverage.log counted failed=0
    scripts/coverage.sh >"$log" 2>&1 || failed=1
    counted=$(sed -n 's/^\(lines\|branches\): .*(\([0-9]*\) out of \([0-9]*\))$/\2 of \3 \1/p' "$log" | paste -sd , | sed 's/,/, /')
    [ -n "$counted" ] || failed=1
    row "lines and branches of the product that tests run" "${counted:-not counted, see $log}" "$failed"
    [ "$failed" -eq 0 ] || tail -n 40 "$log"
}

report() {
    echo "| what | how many | failures |"
    echo "|---|---|---|"
    printf '%s\n' "${rows[@]}"
}

main() {
    [ -d build/linux/bin ] || { echo "reliability.sh: build the preset linux first" >&2 && exit 2; }
    tests "each call of a service fails in turn" reliability_failing_calls
    tests "processes killed, $QEL_KILL_ROUNDS rounds" reliability_kill
    tests "disk full, $QEL_DISK_FULL_ROUNDS limits" reliability_disk_full
    tests "hostile directories" reliability_hostile_directory
    tests "hostile metadata files" reliability_hostile_metadata
    tests "hostile web servers" http_test --gtest_filter='*Hostile_*'
    tests "32 threads, $QEL_THREAD_OPERATIONS operations each" reliability_threads
    sanitized_threads
    tests "two processes trace $QEL_TRACE_LINES lines" reliability_two_processes
    tests "handles after $QEL_HANDLE_REQUESTS requests" reliability_handles
    tests "download of $QEL_LARGE_FILE_GB GB" web_cache_test --gtest_filter='*Gigabytes*'
    tests "outcomes foretold by the program in $QEL_FORETOLD_STATES states" tool_process --gtest_filter='Explain.Foretells*'
    fuzz
    if [ "$QEL_VALGRIND" = all ]; then
        lines "unit tests under valgrind" programs scripts/valgrind.sh
    else
        lines "unit tests under valgrind" programs scripts/valgrind.sh --short
    fi
    coverage
    report >"$table"
    printf '\n'
    cat "$table"
    [ "$failures" -eq 0 ]
}

main
exit
