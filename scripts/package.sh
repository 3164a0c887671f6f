#!/usr/bin/env bash
# Sets up what is missing and builds the packages into build/packages, from the build folders of the presets:
#
#   scripts/package.sh            both
#   scripts/package.sh linux      libqelfilecache1, libqelfilecache-dev and qelfilecache for Debian
#   scripts/package.sh windows    qelfilecache-<version>-win64.zip
#
# A build folder that builds tests goes on doing so; a new one gets none, and needs none of what they need.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

packages=$PWD/build/packages
mkdir -p "$packages"

# build PRESET TARGET...
build() {
    local preset=$1 tests=OFF
    shift
    # The rules of a build are written only when all that it needs has been found.
    if grep -qs '^build tests/' "build/$preset/build.ninja"; then tests=ON; fi
    cmake --preset "$preset" -DQEL_BUILD_TESTS="$tests" >/dev/null
    cmake --build --preset "$preset" --target "$@"
    cpack --config "build/$preset/CPackConfig.cmake" -B "build/$preset/packages"
}

[ $# -gt 0 ] || set -- linux windows
for preset in "$@"; do
    case "$preset" in
    linux)
        scripts/setup.sh package
        rm -f "$packages"/*.deb
        build linux qelfilecache_tool qel_share_agent
        mv build/linux/packages/*.deb "$packages/"
        ;;
    windows)
        scripts/setup.sh windows
        rm -f "$packages"/*.zip
        build windows qelfilecache_tool
        mv build/windows/packages/*.zip "$packages/"
        ;;
    *)
        echo "package.sh: unknown platform '$preset'; known are linux and windows." >&2
        exit 2
        ;;
    esac
done
ls -l "$packages"
