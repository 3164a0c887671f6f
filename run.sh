#!/usr/bin/env bash
# Sets up what is missing, builds, and serves files through the cache.
#
#   ./run.sh REQUEST...   prints the path of a local copy of each request, one line each
#   ./run.sh              walks through the life of a cached file on servers of its own
#
# A REQUEST is a web address (http:, https:), a file on a share (\\server\share\file) or a local
# path. Options of the program are taken too: ./run.sh --json REQUEST
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

case "${1:-}" in
-h | --help)
    sed -n '2,/^set /{/^set /d;s/^# \{0,1\}//;p}' "${BASH_SOURCE[0]}"
    exit 0
    ;;
esac

"$here/scripts/setup.sh" build || exit 1

log=$(mktemp)
trap 'rm -f "$log"' EXIT
printf 'Building build/linux ...\n' >&2
if ! (cd "$here" && cmake --preset linux -DQEL_BUILD_TESTS=OFF && cmake --build --preset linux) >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    printf 'run.sh: the build failed; its end is above.\n' >&2
    exit 1
fi

if [ $# -gt 0 ]; then
    "$here/build/linux/bin/qelfilecache" get "$@"
    exit
fi

"$here/scripts/setup.sh" demo || printf 'run.sh: going on without the missing servers.\n' >&2
"$here/scripts/walkthrough.sh" "$here/build/linux/bin/qelfilecache" "$here/examples/landscape/landscape.xml"
