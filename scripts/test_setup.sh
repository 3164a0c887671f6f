#!/usr/bin/env bash
# Shows that setup.sh keeps servers from starting while it installs them, and leaves nothing behind, with an apt-get and
# a folder for the policy file of the test's own.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/sbin" "$work/bin"
policy=$work/sbin/policy-rc.d
sed "s|/usr/sbin/policy-rc.d|$policy|; s|id -u|echo 0|" setup.sh >"$work/setup.sh"
chmod +x "$work/setup.sh"
cat >"$work/bin/dpkg-query" <<END
#!/bin/sh
[ -e $work/installed ] || exit 1
shift 2
printf '%s installed\n' "\$@"
END
# It installs everything in a second.
cat >"$work/bin/apt-get" <<END
#!/bin/sh
case "\$*" in
*install*)
    echo run >>$work/runs
    cp -p $policy $work/policy-while-installing
    sleep 1
    [ -e $policy ] && touch $work/installed
    ;;
esac
END
chmod +x "$work"/bin/*
export PATH=$work/bin:$PATH
ours=$(sed -n "s/^ours='\(.*\)'$/\1/p" setup.sh)

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
begin() { rm -rf "$work/installed" "$work/runs" "$work/policy-while-installing" "$policy"; }
# gone: within five seconds.
gone() {
    for _ in $(seq 50); do
        [ -e "$policy" ] || return 0
        sleep 0.1
    done
    return 1
}

begin
"$work/setup.sh" demo & first=$!
"$work/setup.sh" demo & second=$!
wait $first && wait $second || fail "two at a time disturb each other"
[ "$(wc -l <"$work/runs")" -eq 1 ] || fail "the second one installs what is there"
status=0
"$work/policy-while-installing" || status=$?
[ "$status" -eq 101 ] || fail "the servers would start"
[ ! -e "$policy" ] || fail "the policy file is left behind"

begin
"$work/setup.sh" demo & killed=$!
until [ -e "$work/policy-while-installing" ]; do sleep 0.1; done
kill -KILL $killed
wait $killed || true
gone || fail "a killed one leaves its policy file behind"
[ -e "$work/installed" ] || fail "the policy file goes before what is installed has been installed"

begin
printf '#!/bin/sh\n%s\nexit 101\n' "$ours" >"$policy"
"$work/setup.sh" build
[ ! -e "$policy" ] || fail "what a machine that lost its power has left is not recognised"

begin
printf '#!/bin/sh\nexit 101\n' >"$policy"
"$work/setup.sh" demo
[ -e "$policy" ] || fail "the administrator's own policy file is removed"
echo "all well"
