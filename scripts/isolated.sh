#!/usr/bin/env bash
# Runs a command apart from all other programs of the user and the machine.
#
#   scripts/isolated.sh COMMAND ARGUMENT...           with home, temporary directory, /dev/shm (where the trace lock is)
#                                                     and network (loopback alone) of its own
#   scripts/isolated.sh --files COMMAND ARGUMENT...   with home and temporary directory of its own
#
# They are gone afterwards. The command keeps its user and rights. Exit status: the command's; 77, for "skipped", where
# the system forbids such a /dev/shm and network.
set -uo pipefail

only=
[ "$1" != --files ] || { only=$1 && shift; }

apart=()
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
if [ "$only" != --files ]; then
    apart=(unshare --mount --net --propagation unchanged)
    oneself=''
    if [ "$(id -u)" -ne 0 ]; then
        # Only in a user namespace may others than root do that. They leave it for one in which they are themselves.
        apart+=(--map-root-user)
        oneself="unshare --user --map-user=$(id -u) --map-group=$(id -g)"
    fi
    # Nothing of it reaches the machine, also where only a part of the mounts is at hand, as in a chroot.
    apart+=(sh -c '{ mount --make-private /dev/shm || mount --make-private /dev || mount --make-private /; } 2>/dev/null &&
        mount -t tmpfs -o mode=1777 tmpfs /dev/shm && PATH=$PATH:/usr/sbin:/sbin ip link set lo up && touch "$0/apart" && exec '"$oneself"' "$@"' "$folder")
fi
# The compiler cache stays what it is.
export CCACHE_DIR=${CCACHE_DIR:-${XDG_CACHE_HOME:-${HOME:-}/.cache}/ccache}
unset "${!XDG_@}" QEL_TRACE_DIR
export HOME=$folder/home TMPDIR=$folder/tmp
# Tests that drop their rights, and servers for guests, have to get through.
chmod 711 "$folder"
mkdir "$HOME"
mkdir -m 1777 "$TMPDIR"

"${apart[@]}" "$@"
status=$?
if [ ${#apart[@]} -gt 0 ] && [ ! -e "$folder/apart" ]; then
    echo "skipped: this system gives no program a /dev/shm and a network of its own, see the line above" >&2
    exit 77
fi
exit "$status"
