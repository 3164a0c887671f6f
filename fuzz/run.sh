#!/usr/bin/env bash
# Builds the fuzzers with clang and runs each for some seconds.
#
#   fuzz/run.sh [SECONDS [FUZZER...]]     10 seconds and all fuzzers, unless told otherwise
#
# Starts from fuzz/seeds/FUZZER and from what earlier runs found (build/fuzz/corpus/FUZZER). An input
# that breaks something is kept in build/fuzz/findings; run the fuzzer on that file to see it again.
# Exit status 0: nothing broke.
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

build=build/fuzz
mkdir -p build
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DQEL_BUILD_FUZZ=ON -DQEL_BUILD_TESTS=OFF >"$build.log" 2>&1 || { cat "$build.log" >&2; exit 1; }
cmake --build "$build" --target "${fuzzers[@]}"

broken=0
for fuzzer in "${fuzzers[@]}"; do
    echo "$fuzzer, $seconds s"
    mkdir -p "$build/corpus/$fuzzer" "$build/findings"
    seeds=()
    [ -d "fuzz/seeds/$fuzzer" ] && seeds=("fuzz/seeds/$fuzzer")
    "$build/bin/$fuzzer" -max_total_time="$seconds" -max_len=4096 -timeout=10 -print_final_stats=1 -verbosity=0 \
        -artifact_prefix="$build/findings/$fuzzer-" "$build/corpus/$fuzzer" "${seeds[@]}" || broken=1
done
exit "$broken"
