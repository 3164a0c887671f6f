#!/usr/bin/env bash
# Sets up what is missing and builds the packages into build/packages:
#
#   scripts/package.sh            Linux and 64-bit Windows
#   scripts/package.sh linux      libqelfilecache1, libqelfilecache-dev and qelfilecache for Debian
#   scripts/package.sh windows    qelfilecache-<version>-win64.zip
#   scripts/package.sh windows32  qelfilecache-<version>-win32.zip
#   scripts/package.sh msi        qelfilecache-<version>-win64.msi, the program alone
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

packages=$PWD/build/packages
mkdir -p "$packages"

# build_for_windows PRESET
build_for_windows() {
    # A build folder that builds tests goes on doing so; a new one gets none, and needs none of what they need.
    # The rules of a build are written only when all that it needs has been found.
    local tests=OFF
    if grep -qs '^build tests/' "build/$1/build.ninja"; then tests=ON; fi
    cmake --preset "$1" -DQEL_BUILD_TESTS="$tests" >/dev/null
    cmake --build --preset "$1" --target qelfilecache_tool
}

version() { sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt; }

# make_msi VERSION
make_msi() {
    local work=build/windows/msi file=$packages/qelfilecache-$1-win64.msi
    rm -rf "$work" "$file"
    mkdir -p "$work/tables"
    for component in library tool; do
        cmake --install build/windows --component "$component" --strip --prefix "$work/files" >/dev/null
    done
    # No folder that holds folders alone: such ones stay when the program is removed.
    mv "$work"/files/share/qelfilecache/* "$work/files/"
    mv "$work/files/share/doc/qelfilecache" "$work/files/doc"
    rm -r "$work/files/share"
    (cd "$work/files" && find . -type f | sort) |
        wixl-heat --directory-ref INSTALLDIR --component-group Files --var var.FILES --prefix ./ --win64 >"$work/files.wxs"
    wixl --arch x64 -D Win64=yes -D VERSION="$1" -D FILES="$work/files" -o "$file" packaging/windows/qelfilecache.wxs "$work/files.wxs"
    # As unversioned files they would give way to an older installation's, which is removed afterwards.
    local file_of program folder
    for file_of in dll exe; do
        program=$(sed -n "s/.*<File Id=\"\([^\"]*\)\".*bin\/qelfilecache.$file_of\".*/\1/p" "$work/files.wxs")
        msibuild "$file" -q "UPDATE \`File\` SET \`Version\`='$(version).0', \`Language\`='1033' WHERE \`File\`='$program'" \
            "DELETE FROM \`MsiFileHash\` WHERE \`File_\`='$program'"
    done
    # It replaces a package of the same version, too (512).
    msiinfo export "$file" Upgrade | sed 's/1\(\t\tWIX_UPGRADE_DETECTED\)/513\1/' >"$work/tables/Upgrade.idt"
    msibuild "$file" -i "$work/tables/Upgrade.idt"
    program=$(grep -B 1 'bin/qelfilecache.exe' "$work/files.wxs" | sed -n 's/.*<Component .* Id="\([^"]*\)".*/\1/p')
    folder=$(sed -n 's/.*<Directory Id="\([^"]*\)" Name="bin".*/\1/p' "$work/files.wxs")
    # Set and removed with the program, for the machine, behind what is there.
    printf 'Environment\tName\tValue\tComponent_\ns72\tl255\tL255\ts72\nEnvironment\tEnvironment\nPath\t=-*PATH\t[~];[%s]\t%s\n' \
        "$folder" "$program" >"$work/tables/Environment.idt"
    msibuild "$file" -i "$work/tables/Environment.idt"
    msibuild "$file" -q "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('WriteEnvironmentStrings', 5200)" \
        "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('RemoveEnvironmentStrings', 3300)"
}

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
    windows | windows32)
        scripts/setup.sh "$platform"
        bits=${platform#windows}
        rm -f "$packages"/*-win"${bits:-64}".zip
        build_for_windows "$platform"
        cpack --config "build/$platform/CPackConfig.cmake" -B "build/$platform/packages"
        mv "build/$platform"/packages/*.zip "$packages/"
        ;;
    msi)
        scripts/setup.sh windows msi
        build_for_windows windows
        make_msi "${QEL_MSI_VERSION:-$(version)}"
        ;;
    *)
        echo "package.sh: unknown platform '$platform'; known are linux, windows, windows32 and msi." >&2
        exit 2
        ;;
    esac
done
ls -l "$packages"
