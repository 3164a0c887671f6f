#!/usr/bin/env bash
# Runs each test of a build 20 times while three processes keep the processors busy: none may fail by chance.
#
#   scripts/repeat_tests.sh PRESET [OPTION OF CTEST...]
#
# Goes on with the other tests after a failure. Exit status 0 when nothing failed.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

busy=()
trap 'kill "${busy[@]}" 2>/dev/null' EXIT
for _ in 1 2 3; do
    while :; do :; done &
    busy+=($!)
done
ctest --preset "$1" --parallel 3 --no-tests=error --repeat until-fail:20 "${@:2}"
