#!/usr/bin/env bash
# Measures this library and its peers side by side, and prints a table of ratios.
#
#   bench/compare.sh           about fourteen minutes
#   bench/compare.sh --quick   few repetitions, for a first look
#
# Sets up what it needs as a Debian machine, as root or with sudo. The table is also written to
# build/bench/results.md; what the benchmarks measured lies in build/bench/results/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

rounds=3
repetitions=5
case "${1:-}" in
"") ;;
--quick)
    rounds=1
    repetitions=2
    ;;
-h | --help)
    sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "$0"
    exit 0
    ;;
*)
    echo "compare.sh: unknown option '$1'; try bench/compare.sh --help" >&2
    exit 2
    ;;
esac

scripts/setup.sh bench
# Servers are often installed where only administrators look.
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin

results=build/bench/results
rm -rf "$results"
mkdir -p "$results"

# quietly NAME COMMAND...: shows the output only when the command fails.
quietly() {
    local log="$results/$1.log"
    shift
    if ! "$@" >"$log" 2>&1; then
        tail -n 30 "$log" >&2
        echo "compare.sh: this failed: $*" >&2
        exit 1
    fi
}

benchmarks=(lookup metadata trace transfer tool)
echo "Building..."
quietly configure cmake --preset bench
quietly build cmake --build --preset bench --target "${benchmarks[@]/%/_benchmark}"

# measure NAME NUMBER REPETITIONS: one run of a program, its benchmarks in turns.
measure() {
    quietly "$1.$2" "build/bench/bin/$1_benchmark" --benchmark_repetitions="$3" --benchmark_min_time=0.1 \
        --benchmark_enable_random_interleaving=true --benchmark_out_format=json --benchmark_out="$results/$1.$2.json"
}

echo "Measuring ($(nproc) processors, load $(cut -d ' ' -f 1-3 /proc/loadavg))..."
for ((round = 1; round <= rounds; ++round)); do
    measure lookup "$round" "$repetitions"
    quietly "fsspec.$round" bench/peers/fsspec_cache.py hits 50 "$results/fsspec.$round.json"
    measure tool "$round" "$repetitions"
    measure trace "$round" "$repetitions"
    measure metadata "$round" 2
    measure transfer "$round" 2
done
# Once: it waits for time-outs, two of them of half a minute, and counts them.
quietly dead_servers bench/dead_servers.py build/bench/bin/qelfilecache "$PWD/bench/peers/fsspec_cache.py" \
    "$results/dead_servers.json"
echo "Measured (load $(cut -d ' ' -f 1-3 /proc/loadavg))."
echo
python3 bench/report.py "$results"
