#!/usr/bin/env bash
# Static analysis with clang-tidy of the product's own sources, each by itself.
#
#   scripts/tidy.sh linux [FILE...]      everything but the Windows services, or these files alone
#   scripts/tidy.sh windows [FILE...]    the Windows services, or these files alone
#
# Exit status 0: nothing found.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

platform=${1:-}
commands=build/tidy/$platform
options=()
case "$platform" in
linux)
    mapfile -t files < <(find filecache trace util mime platform/posix tools -name '*.cpp' ! -name '*_windows.cpp')
    ;;
windows)
    mapfile -t files < <(find platform/windows tools -path 'platform/*.cpp' -o -name '*_windows.cpp')
    # Clang compiles for Windows with the headers of the cross compiler, which it does not find itself.
    compiler=x86_64-w64-mingw32-g++-posix
    options+=(--extra-arg=--target=x86_64-w64-mingw32 --extra-arg=-Wno-unknown-pragmas)
    while read -r folder; do
        options+=("--extra-arg=-isystem$folder")
    done < <("$compiler" -x c++ -E -v /dev/null 2>&1 | sed -n '/^#include <\.\.\.>/,/^End of search list/s/^ //p' |
        grep -v 'gcc/[^/]*/[^/]*/include\(-fixed\)\?$')
    ;;
*)
    echo "tidy.sh: name a preset, linux or windows" >&2
    exit 2
    ;;
esac

[ $# -lt 2 ] || files=("${@:2}")

cmake --preset "$platform" -B "$commands" -DQEL_IN_GROUPS=OFF -DQEL_BUILD_TESTS=OFF >/dev/null
# An option that Clang does not know.
sed -i 's/-fno-keep-inline-dllexport//' "$commands/compile_commands.json"

# One file a process: with several, what clang-tidy learns of one colours what it says of the next.
printf '%s\0' "${files[@]}" |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy --quiet -p "$commands" "${options[@]}"
