#!/usr/bin/env bash
# Builds the fuzzers with clang and runs each for some seconds, three at a time.
#
#   fuzz/run.sh [SECONDS [FUZZER...]]     by default 10 seconds and all fuzzers
#
# Starts from fuzz/seeds/FUZZER and from what earlier runs found (build/fuzz/corpus/FUZZER), with the
# words of fuzz/dictionaries/FUZZER.dict. An input that breaks something is kept in
# build/fuzz/findings; run the fuzzer on that file to see it again.
# Ends with one line a fuzzer: how often it ran, and whether something broke. Exit status 0: nothing
# broke.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=${1:-10}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "fuzz/run.sh: '$seconds' is no number of seconds" >&2
    exit 2
fi
fuzzers=("${@:2}")
if [ ${#fuzzers[@]} -eq 0 ]; then
    mapfile -t fuzzers < <(cd fuzz && printf '%s\n' *_fuzzer.cpp | sed 's/\.cpp$//')
fi

build=$PWD/build/fuzz
seeds=$PWD/fuzz/seeds
mkdir -p "$build"
cmake --preset fuzz >"$build/configure.log" 2>&1 || {
    cat "$build/configure.log" >&2
    exit 1
}
cmake --build --preset fuzz --target "${fuzzers[@]}"

# The files that fuzzers write: in memory where that is possible, removed in any case.
[ -d /dev/shm ] && [ -w /dev/shm ] && export TMPDIR=/dev/shm
scratch=$(mktemp -d "${TMPDIR:-/tmp}/qel_fuzz_XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export TMPDIR=$scratch

# run FUZZER: its output in a log; true when nothing broke.
run() {
    local options=(-max_total_time="$seconds" -max_len=4096 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1
        -verbosity=0 -artifact_prefix="$build/findings/$1-")
    [ ! -f "fuzz/dictionaries/$1.dict" ] || options+=(-dict="fuzz/dictionaries/$1.dict")
    mkdir -p "$build/corpus/$1" "$build/findings"
    "$build/bin/$1" "${options[@]}" "$build/corpus/$1" "$seeds/$1" >"$build/$1.log" 2>&1
}

broken=0
# report FUZZER PROCESS: waits for it.
report() {
    local result=well executions
    wait "$2" || result=broken
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$build/$1.log")
    if [ "$result" = well ] && [ -n "$executions" ]; then
        echo "ok   $1: $executions executions in $seconds s"
        return
    fi
    echo "FAIL $1: ${executions:-no} executions, see $build/$1.log"
    tail -n 40 "$build/$1.log"
    broken=1
}

at_a_time=3
for ((first = 0; first < ${#fuzzers[@]}; first += at_a_time)); do
    together=("${fuzzers[@]:first:at_a_time}")
    processes=()
    for fuzzer in "${together[@]}"; do
        run "$fuzzer" &
        processes+=($!)
    done
    for index in "${!together[@]}"; do
        report "${together[index]}" "${processes[index]}"
    done
done
exit "$broken"
