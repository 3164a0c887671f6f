#!/usr/bin/env bash
# Runs the unit tests under valgrind's memcheck.
#
#   scripts/valgrind.sh            every unit test program of the Linux build
#   scripts/valgrind.sh --short    two small ones of them
#   scripts/valgrind.sh PROGRAM... these
#
# An invalid access, a use of memory that nobody has written, a leak, and a file descriptor that is
# still open at the end are errors. Nothing is suppressed, one test is left out. Needs the Linux build
# (preset linux); the logs are in build/valgrind/. Ends with one line a program; exit status 0 when all
# are clean.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=build/linux
logs=build/valgrind
all=(unit_filecache unit_unnamed_copy unit_util unit_c_interface unit_trace unit_trace_process_start
    mime_library
    platform_contract platform_posix platform_trace_lock
    tool_words tool_trace_reading)
# It lets a process run out of descriptors. Valgrind watches over their limit in the system's place, and
# lets a file be made before it refuses its descriptor: the file that is then left is not the program's doing.
left_out=Posix_Copy.WithoutDescriptorsNothingIsLeftBehind
short=(unit_unnamed_copy unit_trace)

case "${1:-}" in
'') programs=("${all[@]}") ;;
--short) programs=("${short[@]}") ;;
-h | --help)
    sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "$0"
    exit 0
    ;;
*) programs=("$@") ;;
esac
cmake --build --preset linux --target "${programs[@]}" >/dev/null
mkdir -p "$logs"

# check PROGRAM: prints its line; false when it is not clean.
check() {
    local program=$1 log=$logs/$1.log output=$logs/$1.output status=0 started=$SECONDS left tests
    # The descriptors of this script are not the program's.
    valgrind --log-file="$log" --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,possible \
        --errors-for-leak-kinds=definite,possible --track-fds=yes --child-silent-after-fork=yes --num-callers=30 \
        "$build/bin/$program" --gtest_brief=1 --gtest_filter="-$left_out" </dev/null >"$output" 2>&1 3>&- 4>&- 5>&- || status=$?
    tests=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests\{0,1\}\.$/\1/p' "$output")
    # Valgrind lists the three standard ones, its own log and what the program was born with.
    left=$(awk '/Open (file descriptor|AF_[A-Z]+ socket) [0-9]+/ { number = $0; sub(/.*(descriptor|socket) /, "", number);
                    wanted = number + 0 > 2; line = $0 }
                wanted && /<inherited from parent>/ { wanted = 0 }
                wanted && /^==[0-9]+== *$/ { print line; wanted = 0 }' "$log" | grep -vcF "$program.log" || true)
    if [ "$status" -eq 0 ] && [ "${left:-0}" -eq 0 ] && [ -n "$tests" ]; then
        echo "ok   $program: $tests tests, $((SECONDS - started)) s"
        return 0
    fi
    echo "FAIL $program: status $status, ${left:-0} descriptors left open, see $log and $output"
    grep -E 'ERROR SUMMARY|Invalid|uninitialised|definitely lost' "$log" | head -n 20
    return 1
}

failed=0
for program in "${programs[@]}"; do
    check "$program" || failed=1
done
exit "$failed"
