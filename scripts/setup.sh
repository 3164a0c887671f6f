#!/usr/bin/env bash
# Installs the Debian packages that the given purposes need and that are missing.
#
#   scripts/setup.sh build   compiler, tools and libraries of the Linux program
#   scripts/setup.sh package what scripts/package.sh makes the Debian packages with
#   scripts/setup.sh windows the cross compiler, for the program and the archive for Windows
#   scripts/setup.sh windows32, msi   the same for 32-bit Windows; what the installer for Windows is made with
#   scripts/setup.sh demo    servers of the walk-through (run.sh without arguments)
#   scripts/setup.sh test    everything that test.sh uses, the cross build for Windows included
#   scripts/setup.sh long    what test.sh --long uses besides
#   scripts/setup.sh bench   servers and peers of bench/compare.sh
#
# Quick when nothing is missing: no network, no root. Otherwise needs root or sudo.
set -euo pipefail

build_packages=(
    ca-certificates ccache cmake g++ ninja-build pkg-config
    libcli11-dev libcurl4-openssl-dev libidn2-dev libsimpleini-dev libsmbclient libsmbclient-dev libssl-dev nlohmann-json3-dev
    uuid-dev
)
package_packages=(debhelper)
windows_packages=(g++-mingw-w64-x86-64-posix python3)
windows32_packages=(g++-mingw-w64-i686-posix python3)
msi_packages=(msitools wixl)
demo_packages=(python3 samba)
test_packages=(
    abigail-tools
    clang clang-format clang-tidy gcovr googletest libbenchmark-dev libclang-rt-dev libgmock-dev libgtest-dev
    chromium curl groff-base iproute2 nginx-light openssl smbclient strace valgrind
    apache2-bin doxygen lintian rsync yamllint
    lld wine64
)
bench_packages=(
    iproute2 libbenchmark-dev nginx-light
    curl libproj-dev libspdlog-dev python3-aiohttp python3-fsspec python3-requests qtbase5-dev smbclient wget
)

say() { printf '%s\n' "$*" >&2; }

packages=()
for purpose in "${@:-build}"; do
    case "$purpose" in
    build) packages+=("${build_packages[@]}") ;;
    package) packages+=("${build_packages[@]}" "${package_packages[@]}") ;;
    windows) packages+=("${build_packages[@]}" "${windows_packages[@]}") ;;
    windows32) packages+=("${build_packages[@]}" "${windows32_packages[@]}") ;;
    msi) packages+=("${msi_packages[@]}") ;;
    long) packages+=("${windows32_packages[@]}" "${msi_packages[@]}" debootstrap) ;;
    demo) packages+=("${build_packages[@]}" "${demo_packages[@]}") ;;
    test)
        packages+=("${build_packages[@]}" "${package_packages[@]}" "${windows_packages[@]}" "${demo_packages[@]}"
            "${test_packages[@]}")
        ;;
    bench) packages+=("${build_packages[@]}" "${demo_packages[@]}" "${bench_packages[@]}") ;;
    *)
        say "setup.sh: unknown purpose '$purpose'; known are build, package, windows, windows32,"
        say "msi, demo, test, long and bench."
        exit 2
        ;;
    esac
done

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    say "setup.sh: this machine has no apt-get. Install what these Debian packages hold, then build with"
    say "'cmake --preset linux -DQEL_BUILD_TESTS=OFF && cmake --build --preset linux':"
    say "  ${packages[*]}"
    exit 1
fi

# find_missing: those of the packages that are not installed, in $missing.
find_missing() {
    local installed package
    installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null |
        sed -n 's/ installed$//p' || true)
    missing=()
    for package in "${packages[@]}"; do
        grep -qxF -- "$package" <<<"$installed" || missing+=("$package")
    done
}
find_missing
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        say "setup.sh: these packages are missing, and installing them needs root or sudo:"
        say "  ${missing[*]}"
        say "Ask an administrator to run: apt-get install --no-install-recommends ${missing[*]}"
        exit 1
    fi
    exec sudo -- "${BASH_SOURCE[0]}" "$@"
fi

# One at a time. Another one may have installed what is missing.
service_guard=/usr/sbin/policy-rc.d
exec 9<"${service_guard%/*}"
if ! flock --wait 1800 9; then
    say "setup.sh: another one has been installing for half an hour. Look for what it waits for, then run this again."
    exit 1
fi
find_missing
[ ${#missing[@]} -eq 0 ] && exit 0

# The servers are for private, short-lived use. Their packages would start them as services of the
# machine: keep them from it, now and at the next boot.
new_services=()
for package in "${missing[@]}"; do
    case "$package" in
    nginx-light) new_services+=(nginx) ;;
    rsync) new_services+=(rsync) ;;
    samba) new_services+=(smbd nmbd samba-ad-dc) ;;
    esac
done
ours='# Written by the setup.sh of QEL File Cache for as long as it runs.'
remove_guard="! grep -qsxF '$ours' $service_guard || rm -f $service_guard"
if grep -qsxF "$ours" "$service_guard" || { [ ${#new_services[@]} -gt 0 ] && [ ! -e "$service_guard" ]; }; then
    # It goes with the lock, which this script and apt-get hold, also when they are killed.
    setsid flock "${service_guard%/*}" sh -c "$remove_guard" </dev/null >/dev/null 2>&1 9<&- &
    printf '#!/bin/sh\n%s\nexit 101\n' "$ours" >"$service_guard"
    chmod 755 "$service_guard"
fi

log=$(mktemp)
say "Installing ${#missing[@]} Debian packages: ${missing[*]}"
apt() { DEBIAN_FRONTEND=noninteractive apt-get -q -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=600 "$@" >>"$log" 2>&1; }
installed=no
apt update && apt install -y --no-install-recommends "${missing[@]}" && installed=yes
sh -c "$remove_guard"
if [ "$installed" = no ]; then
    tail -n 30 "$log" >&2
    say "setup.sh: the installation failed; its end is above, all of it in $log."
    say "Check the network and /etc/apt/sources.list, then run this again."
    exit 1
fi
rm -f "$log"
if [ -d /run/systemd/system ] && [ ${#new_services[@]} -gt 0 ]; then
    systemctl disable --quiet "${new_services[@]}" >/dev/null 2>&1 || true
fi
