#!/usr/bin/env bash
# Sets up what is missing and builds the packages into build/packages:
#
#   scripts/package.sh            both
#   scripts/package.sh linux      libqelfilecache1, libqelfilecache-dev and qelfilecache for Debian
#   scripts/package.sh windows    qelfilecache-<version>-win64.zip
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

packages=$PWD/build/packages
mkdir -p "$packages"

[ $# -gt 0 ] || set -- linux windows
for platform in "$@"; do
    case "$platform" in
    linux)
        scripts/setup.sh package
        rm -f "$packages"/*.deb
        QEL_PACKAGES=$packages dpkg-buildpackage --build=binary --no-sign --post-clean \
            --buildinfo-file="$packages/qelfilecache.buildinfo" --buildinfo-option=-u"$packages" \
            --changes-file="$packages/qelfilecache.changes" --changes-option=-u"$packages"
        ;;
    windows)
        scripts/setup.sh windows
        rm -f "$packages"/*.zip
        # A build folder that builds tests goes on doing so; a new one gets none, and needs none of what they need.
        # The rules of a build are written only when all that it needs has been found.
        tests=OFF
        if grep -qs '^build tests/' build/windows/build.ninja; then tests=ON; fi
        cmake --preset windows -DQEL_BUILD_TESTS="$tests" >/dev/null
        cmake --build --preset windows --target qelfilecache_tool
        cpack --config build/windows/CPackConfig.cmake -B build/windows/packages
        mv build/windows/packages/*.zip "$packages/"
        ;;
    *)
        echo "package.sh: unknown platform '$platform'; known are linux and windows." >&2
        exit 2
        ;;
    esac
done
ls -l "$packages"
