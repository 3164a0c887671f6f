#!/usr/bin/env bash
# Runs a Windows program under Wine, without a display and in a prefix of its own.
#
#   cmake/wine-runner.sh PROGRAM.exe ARGUMENT...
#
# The prefix is QEL_WINE_PREFIX, or build/wine-prefix of the source tree. It is made at the first run.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export WINEPREFIX=${QEL_WINE_PREFIX:-$root/build/wine-prefix}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
unset DISPLAY WAYLAND_DISPLAY
wine=(/usr/lib/wine/wine64)
[ -e "${wine[0]}" ] || wine=(/usr/lib/wine/wine) # of 32 bit, in the root of wine32-runner.sh
# Linux puts a program's heap anywhere in the gigabyte behind it, and Windows' shared data need an address there: one start
# in ten thousand failed. The programs that it starts inherit the fixed addresses. Some containers forbid them.
! setarch -R true 2>/dev/null || wine=(setarch -R "${wine[@]}")
wineserver=/usr/lib/wine/wineserver

# The server of the prefix and the services that Wine starts with it live on for a while. They are
# started here, apart from the program, so that they hold none of its output streams open; and by
# one runner at a time. The desktop does, which the first program with a window starts and which ends
# with the last: whoever reads the first one's errors waits for all. So each test has a server of its own,
# as scripts/isolated.sh gives it another TMPDIR.
mkdir -p "$WINEPREFIX"
exec 9>"$WINEPREFIX/.runner-lock"
flock 9
ready=$WINEPREFIX/.ready-with-network-drive
if [ ! -e "$ready" ] || ! "$wineserver" -k0 >/dev/null 2>&1; then
    if [ ! -e "$ready" ]; then
        "${wine[@]}" wineboot -i </dev/null >"$WINEPREFIX/wineboot.log" 2>&1 9>&-
        # COM creates some objects on a thread with a window. Wine closes the desktop when no program has
        # used it for a second. A program that meets the next one half made would ask the graphics driver
        # for that window, and without a display only the null driver has one.
        "${wine[@]}" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f \
            </dev/null >>"$WINEPREFIX/wineboot.log" 2>&1 9>&-
        # The share \\server\share of the tests, and the drive N: for it. Wine reads the kinds of drives when it starts.
        mkdir -p "$WINEPREFIX/dosdevices/unc/server/share"
        ln -sfn unc/server/share "$WINEPREFIX/dosdevices/n:"
        "${wine[@]}" reg add 'HKLM\Software\Wine\Drives' /v n: /d network /f \
            </dev/null >>"$WINEPREFIX/wineboot.log" 2>&1 9>&-
        "$wineserver" -w 9>&-
        touch "$ready"
    fi
    # Long enough for the pauses between programs of a test run: one that starts while the server ends may hang.
    "$wineserver" -p60 9>&- </dev/null >/dev/null 2>&1 || echo "wine-runner.sh: wineserver ended with $?" >&2
    "${wine[@]}" wineboot </dev/null >/dev/null 2>&1 9>&- || echo "wine-runner.sh: wineboot ended with $?" >&2
fi
exec 9>&-

exec "${wine[@]}" "$@"
