#!/usr/bin/env bash
# Sets up what is missing, then checks and tests everything.
#
#   ./test.sh           the checks; builds and tests for Linux (plain, with sanitizers, fuzzers) and for
#                       Windows under Wine. The tests of one build run while the next build is made
#   ./test.sh --quick   the checks; the plain Linux build and its tests only
#   ./test.sh --long    all of that, static analysis, the long form of the reliability tests, 32-bit
#                       Windows, the installer for Windows, and group policies; takes an hour and a half
#   ./test.sh --coverage   only measures which lines and branches the unit tests run
#
# Ends with a summary and a line "N passed, N failed"; exit status 0 when nothing failed.
# What a step printed is kept in build/test-logs/.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")" || exit 1

quick=no
long=no
coverage=no
for argument in "$@"; do
    case "$argument" in
    --quick) quick=yes ;;
    --long) long=yes ;;
    --coverage) coverage=yes ;;
    -h | --help)
        sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "$0"
        exit 0
        ;;
    *)
        echo "test.sh: unknown option '$argument'; try ./test.sh --help" >&2
        exit 2
        ;;
    esac
done

scripts/setup.sh test $([ "$long" = no ] || echo long) || exit 1
# Servers are often installed where only administrators look.
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin

# Packages are compiled as everything else is, and so by the compiler cache.
export QEL_WARNING_AS_ERROR=ON
# What the sanitizers look for besides.
export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1:strict_string_checks=1
export UBSAN_OPTIONS=print_stacktrace=1

logs=build/test-logs
rm -rf "$logs"
mkdir -p "$logs"
passed=0
failed=0
summary=()

# note RESULT TEXT: one line now and once more in the summary.
note() {
    local line
    line=$(printf '%-4s %s' "$1" "$2")
    summary+=("$line")
    printf '%s\n' "$line"
}

# excerpt LOG: what a failed step says: the lines around its failures, wherever they stand, then the log's end.
excerpt() {
    {
        grep -anE -B 2 -A 12 ': Failure|^(FAIL|ERROR): |[Ee]rror: |\*\*\*(Failed|Timeout|Exception)|ERROR: .*Sanitizer' "$1" |
            head -n 80
        echo '[...]'
        tail -n 40 "$1"
    } | cut -c 1-400
}

# step NAME COMMAND...: runs one step with its output in a log; shows an excerpt of it when it fails. Status 77: skipped.
step() {
    local name=$1 log started=$SECONDS status=0
    shift
    log="$logs/$(tr -c 'a-zA-Z0-9\n' '-' <<<"$name").log"
    "$@" >"$log" 2>&1 || status=$?
    case $status in
    0) note ok "$name ($((SECONDS - started)) s)" ;;
    77) note skip "$name: $(tail -n 1 "$log")" ;;
    *)
        note FAIL "$name ($((SECONDS - started)) s), see $log"
        sed 's/^/     | /' <(excerpt "$log")
        ;;
    esac
    return "$status"
}

# check NAME COMMAND...: a step that counts as one test.
check() {
    step "$@"
    case $? in
    0) passed=$((passed + 1)) ;;
    77) ;;
    *) failed=$((failed + 1)) ;;
    esac
}

# sources FOLDER...: the C++ and C files below the folders.
sources() { find "$@" -path ./build -prune -o -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.c' \) -print; }

check_format() { sources . | xargs clang-format --dry-run --Werror; }

# check_run_paths: no program or library, built or installed, loads others from folders that depend on where it is run.
check_run_paths() {
    cmake --install build/linux --prefix "$PWD/$logs/installed" >/dev/null &&
        find build -path 'build/wine*' -prune -o -type f \( -perm -u+x -o -name '*.so*' \) ! -path '*/CMakeFiles/*' -print0 |
        { xargs -0 readelf -dW 2>/dev/null || true; } | awk '
            /^File: / { file = $2 }
            /\((RPATH|RUNPATH)\)/ {
                found++
                list = $0; sub(/^[^[]*\[/, "", list); sub(/\]$/, "", list)
                number = split(list, folders, ":")
                for (i = 1; i <= number || i == 1; i++)
                    if (folders[i] !~ /^(\/|\$ORIGIN(\/|$))/) { print file ": " list; wrong = 1; break }
            }
            END { print found " run paths"; exit wrong || !found }'
}

# build PRESET [TARGET...]: configures and builds.
build() { cmake --preset "$1" && cmake --build --preset "$1" ${2:+--target "${@:2}"}; }

# build_windows32: with the root and the prefix of its Wine, which take longer than a test may.
build_windows32() { build windows32 && cmake/wine32-runner.sh build/windows32/bin/qelfilecache.exe --version; }

# count REPORT FOLDER: the test cases of ctest's report, in $cases_passed and $cases_failed. Each test of a GoogleTest
# program has left a report under its own name in the folder; any other program, or one that ended badly before its
# report, is one case. One that ended badly counts one failure at least, also when each case of its own passed (a
# sanitizer's report at its end, say), and so does a GoogleTest program that passed and left no report.
# Programs that could not be isolated are in $programs_skipped.
count() {
    local name status report bad
    cases_passed=0 cases_failed=0 programs_skipped=0
    while read -r name status; do
        report=$2/$name.xml
        bad=0
        if [ "$status" = skipped ]; then
            programs_skipped=$((programs_skipped + 1))
            continue
        elif [ -e "$report" ]; then
            bad=$(sed -n 's/^<testsuites .* failures="\([0-9]*\)".*/\1/p' "$report")
            cases_passed=$((cases_passed + $(grep -c '<testcase .* result="completed"' "$report") - bad))
            [[ $status == run* ]] || [ "$bad" -gt 0 ] || bad=1
        elif [ "$status" = run ]; then
            cases_passed=$((cases_passed + 1))
        else
            bad=1
        fi
        cases_failed=$((cases_failed + bad))
    done < <(awk -F '"' '
        /<testcase / { name = $2; for (i = 1; i < NF; i++) if ($i ~ / status=$/) status = $(i + 1) }
        /^\[==========\] Running / && status == "run" { status = "run-by-googletest" }
        /SKIP_RETURN_CODE/ && status == "notrun" { status = "skipped" }
        /<\/testcase>/ { print name, status }' "$1")
}

# check_counting: reports of programs that end in every way.
check_counting() {
    local folder=$logs/planted
    mkdir -p "$folder"
    printf '<testsuites tests="3" failures="1">\n<testcase name="A" result="completed"/>\n%s%s</testsuites>\n' \
        $'<testcase name="B" result="completed">\n<failure/>\n</testcase>\n' \
        $'<testcase name="C" result="skipped"/>\n' >"$folder/fails.xml"
    printf '<testsuites tests="1" failures="0">\n<testcase name="A" result="completed"/>\n' | tee "$folder/leaks.xml" >"$folder/passes.xml"
    printf '\t<testcase name="%s" time="1" status="%s">\n%s\n</testcase>\n' passes run '[==========] Running 1 test' \
        fails fail '' leaks fail '' crashes fail '' script run '' silent run '[==========] Running 1 test' \
        missing notrun 'Unable to find executable' apart notrun SKIP_RETURN_CODE=77 >"$folder.xml"
    count "$folder.xml" "$folder"
    # passes 1; fails 1 and 1; leaks 1 and 1; crashes 0 and 1; script 1; silent and missing 0 and 1; apart is skipped
    echo "$cases_passed passed, $cases_failed failed, $programs_skipped skipped"
    [ "$cases_passed" -eq 4 ] && [ "$cases_failed" -eq 5 ] && [ "$programs_skipped" -eq 1 ]
}

# run_tests PRESET: all tests of a build.
run_tests() {
    rm -rf "build/$1/reports"
    # Many wait more than they compute.
    ctest --preset "$1" $([ "$long" = yes ] || echo --label-exclude long) --parallel 6 --no-tests=error --output-junit "$PWD/$logs/$1.xml" \
        --test-output-size-passed 10000000 --test-output-size-failed 10000000
}

# build_and_test NAME PRESET COMMAND...: the command builds.
build_and_test() {
    local failed_before=$failed all_well=yes
    if step "build, $1" "${@:3}"; then
        step "tests, $1" run_tests "$2" || all_well=no
        count "$logs/$2.xml" "build/$2/reports"
        [ $((cases_passed + cases_failed)) -gt 0 ] || all_well=no
        passed=$((passed + cases_passed))
        failed=$((failed + cases_failed))
        note "" "     $cases_passed test cases passed, $cases_failed failed"
        [ "$programs_skipped" -eq 0 ] || note skip "$programs_skipped test programs, see $logs/$2.xml"
    else
        all_well=no
    fi
    # Whatever went wrong without a test case of its own counts as one.
    if [ "$all_well" = no ] && [ "$failed" -eq "$failed_before" ]; then
        failed=$((failed + 1))
    fi
}

# behind NAME COMMAND...: a part of what goes on behind the tests, which wait more than they compute.
behind() {
    "${@:2}" >"$logs/behind-$1.log" 2>&1
    echo $? >"$logs/behind-$1.status"
}

# finished NAME: waits for it; its output and status.
finished() {
    until [ -e "$logs/behind-$1.status" ]; do
        kill -0 "$background" || return 1
        sleep 0.2
    done
    cat "$logs/behind-$1.log"
    return "$(cat "$logs/behind-$1.status")"
}

go_on_behind() {
    renice -n 10 $BASHPID
    # The documents last of these, as their commands configure and package as well.
    [ "$quick" = yes ] || behind valgrind scripts/isolated.sh scripts/valgrind.sh --short
    behind packages scripts/isolated.sh scripts/test_packages.sh linux
    behind reference python3 scripts/check_reference.py
    behind documents scripts/isolated.sh python3 scripts/test_documents.py
    if [ "$quick" = no ]; then
        behind linux-sanitize build linux-sanitize
        behind linux-thread build linux-thread reliability_threads
        behind windows build windows
        # The long form gives each of them ten minutes.
        [ "$long" = yes ] || behind fuzzers fuzz/run.sh "${QEL_FUZZ_SECONDS:-15}"
    fi
}

build_first() {
    build linux || return 1
    go_on_behind &
    background=$!
    trap 'kill "$background" 2>/dev/null' EXIT
}

# In one piece: a change of this file does not reach a run under way.
main() {
    check "formatting (clang-format)" check_format
    check "includes run downwards only" python3 scripts/check_layers.py
    check "the include check finds planted violations" python3 scripts/check_layers.py --self-test
    check "setup.sh leaves nothing behind" scripts/test_setup.sh
    check "test cases are counted as they end" check_counting
    check "the workflow is YAML" yamllint -s -d '{extends: default, rules: {line-length: {max: 130}}}' .github

    build_and_test "Linux" linux build_first
    [ "$quick" = yes ] || check "two unit test programs under valgrind" finished valgrind
    check "packages for Linux, and hosts built from them" finished packages
    check "reference of the public headers (doxygen)" finished reference
    check "the test of the documents finds planted errors" python3 scripts/test_documents.py --self-test
    check "commands and links of the documents" finished documents

    if [ "$quick" = no ]; then
        build_and_test "Linux with address and undefined-behaviour sanitizers" linux-sanitize finished linux-sanitize
        build_and_test "Linux threads with the thread sanitizer" linux-thread finished linux-thread

        # Some of these tests compare with the Linux program built above.
        build_and_test "Windows under Wine" windows finished windows
        check "commands of the documents for Windows" python3 scripts/test_documents.py --windows
        check "package for Windows, and hosts built from it" scripts/test_packages.sh windows
        [ "$long" = yes ] || check "fuzzers" finished fuzzers
    fi
    check "run paths of what is built and installed" check_run_paths

    if [ "$long" = yes ]; then
        build_and_test "32-bit Windows under Wine" windows32 build_windows32
        check "archive for 32-bit Windows, and the installer" scripts/test_packages.sh windows32 msi
        check "static analysis, Linux (clang-tidy)" scripts/tidy.sh linux
        check "static analysis, Windows (clang-tidy)" scripts/tidy.sh windows
        check "nothing that Visual C++ refuses" scripts/visual_c.py
        check "no test fails by chance" scripts/repeat_tests.sh linux
        check "reliability, the long form" scripts/isolated.sh scripts/reliability.sh "$logs/reliability.md"
    fi
    summarise
}

# The report alone, on standard output too.
report_coverage() {
    check "coverage of the unit tests" scripts/coverage.sh
    cat "$logs/coverage-of-the-unit-tests.log"
    summarise
}

summarise() {
    printf '\nSummary\n'
    printf '%s\n' "${summary[@]}"
    if [ "$failed" -eq 0 ]; then echo "Everything passed."; else echo "Not everything passed."; fi
    [ "$long" = yes ] && printf '\n' && cat "$logs/reliability.md" && printf '\n'
    printf '%d passed, %d failed\n' "$passed" "$failed"
    [ "$failed" -eq 0 ]
}

if [ "$coverage" = yes ]; then report_coverage; else main; fi
exit
