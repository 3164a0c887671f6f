#!/usr/bin/env bash
# Runs a Windows program of 32 bit as wine-runner.sh runs one of 64 bit. Debian's Wine for 32 bit and what it needs are in
# a root of their own, build/wine32-root, which is made at the first run: that needs root, debootstrap and the network.
set -euo pipefail

source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
root=$source/build/wine32-root
export QEL_WINE_PREFIX=${QEL_WINE_PREFIX:-$source/build/wine32-prefix}

mkdir -p "$source/build"
exec 9>"$root.lock"
flock 9
if [ ! -e "$root/usr/lib/wine/wine" ]; then
    rm -rf "$root" "$root.new"
    mirror=$(apt-get indextargets --format '$(REPO_URI) $(CODENAME)' 'Created-By: Packages' | grep -m 1 ' bookworm$' | cut -d ' ' -f 1)
    debootstrap --arch=i386 --variant=minbase --include=wine32 bookworm "$root.new" "$mirror" >"$root.log" 2>&1
    cp /etc/hosts "$root.new/etc/hosts"
    mv "$root.new" "$root"
fi
exec 9>&-

# The file system as it is, but for the programs.
exec unshare --mount sh -c '
    for folder in /*; do
        case $folder in /bin | /etc | /lib* | /root | /sbin | /usr | /var) continue ;; esac
        if [ -d "$folder" ] && [ ! -L "$folder" ]; then
            mkdir -p "$0$folder"
            mount --rbind "$folder" "$0$folder" || exit 1
        fi
    done
    exec chroot "$0" env --chdir="$PWD" "$@"' "$root" "$source/cmake/wine-runner.sh" "$@"
