#!/usr/bin/env bash
# Tests that completions and man page know what the tool itself says, and the completion for bash as bash asks for it.
#
#   help_test.sh TOOL COMPLETION MAN_PAGE
#
# TOOL is a built qelfilecache, COMPLETION the script that packages install; beside it is COMPLETION.ps1.
set -uo pipefail

tool=$1
completion=$2
page=$3
failures=0
fail() {
    printf '%s\n' "$*"
    failures=$((failures + 1))
}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
mkdir -p bin cache home "a directory" traces
: >list.txt
ln -s "$tool" bin/qelfilecache
export PATH=$folder/bin:$PATH HOME=$folder/home XDG_CONFIG_HOME=$folder/home XDG_CACHE_HOME=$folder/home

# A cache with three entries; one is a file of a share.
copy=$folder/cache/01234567-89ab-cdef-0123-456789abcdef.xml
: >"$copy"
{
    printf '%s\n' "QEL Logon Landscape Cache Metadata" version 2 entries 3
    for url in 'http://server.example/a.xml' 'http://server.example/b.xml' '\\server\share\c.xml'; do
        printf '%s\n' "Mon, 01 Jan 2024 12:00:00 GMT" 0 "$copy" "$url"
    done
} >cache/qelfilecache_Metadata.txt

# shellcheck source=/dev/null
source "$completion"

# expect LINE WORD...: behind LINE, these words are offered. What ":" and "=" end is no part of them.
expect() {
    local line=$1 offered wanted
    shift
    COMP_LINE=$line
    COMP_POINT=${#line}
    COMPREPLY=(left over)
    _qelfilecache qelfilecache
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort)
    wanted=$(printf '%s\n' "$@" | sort)
    if [ "$offered" != "$wanted" ]; then
        fail "behind \"$line\""$'\n'"  offered: ${offered//$'\n'/ }"$'\n'"  wanted:  ${wanted//$'\n'/ }"
    fi
}

# The completion knows what the tool itself knows.
commands=$(qelfilecache --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
[ "$(wc -w <<<"$commands")" -ge 7 ] || { echo "the help names no commands"; exit 1; }
options_in() { grep -oE -- '^ +(-h,)?--[a-z-]+' | grep -oE -- '--[a-z-]+'; }
# shellcheck disable=SC2046,SC2086
expect "qelfilecache " $commands $(qelfilecache --help | options_in)
for command in $commands; do
    # shellcheck disable=SC2046
    expect "qelfilecache $command --" --cache-dir --trace-level --trace-dir $(qelfilecache "$command" --help | options_in)
done

# same NAME LIST LIST: the two hold the same words.
same() {
    [ "$(tr ' ' '\n' <<<"$2" | sort)" = "$(tr ' ' '\n' <<<"$3" | sort)" ] && return
    fail "PowerShell, $1"$'\n'"  has:    $2"$'\n'"  wanted: $3"
}
# entry NAME: the words of a line "NAME = @('word', 'word')".
entry() { sed -n "s/^ *'\?$1'\? *= @(\(.*\))\$/\1/p" "$completion.ps1" | tr -d "',"; }
same commands "$(sed -n "/^ *.options = @{/,/^    }/s/^ *'\([a-z]*\)' *=.*/\1/p" "$completion.ps1")" "program $commands"
general=$(entry '\$general')
same options "$(entry program) $general" "$(qelfilecache --help | options_in)"
for command in $commands; do
    same "$command" "$(entry "$command")" "$(qelfilecache "$command" --help | options_in)"
done
for option in $(sed -n "/^ *.values = @{/,/^    }/s/^ *'\(--[a-z-]*\)' *=.*/\1/p" "$completion.ps1"); do
    COMP_LINE="qelfilecache get $option "
    COMP_POINT=${#COMP_LINE}
    COMPREPLY=()
    _qelfilecache qelfilecache
    wanted=${COMPREPLY[*]}
    [ "$option" = --sort ] || [[ $wanted != *[a-z]* ]] || wanted='' # files
    same "$option" "$(entry "$option")" "$wanted"
done

expect "qelfilecache e" explain
expect "qelfilecache --cache-dir cache e" explain
expect "qelfilecache --tr" --trace-level --trace-dir
expect "qelfilecache trace --h" --html --help
expect "qelfilecache --trace-level " 0 1 2 3 4 5
expect "qelfilecache get --request-kind 2" 201 202 213
expect "qelfilecache prefetch l" list.txt
expect "qelfilecache trace l" list.txt
expect "qelfilecache trace --html l" list.txt
expect "qelfilecache --cache-dir c" cache
expect "qelfilecache --trace-dir=tr" traces
expect "qelfilecache --cache-dir a" "a directory"
expect "qelfilecache purge x"
expect "qelfilecache list --sort=s" size
expect "qelfilecache --trace-level=" 0 1 2 3 4 5
expect "qelfilecache get --request-kind=21" 213
expect "qelfilecache trace --html=l" list.txt

# Addresses of the cache; bash has cut the current word behind each colon.
expect "qelfilecache --cache-dir cache explain http://server.example/a" //server.example/a.xml
expect "qelfilecache --cache-dir cache get http:" //server.example/a.xml //server.example/b.xml
expect "qelfilecache --cache-dir=cache get htt" http://server.example/a.xml http://server.example/b.xml
expect "qelfilecache get --cache-dir cache http://server.example/b" //server.example/b.xml
expect "qelfilecache --cache-dir cache get \\\\\\\\server" '\\\\server\\share\\c.xml'
expect "qelfilecache --cache-dir cache get '\\\\server" '\\server\share\c.xml'
expect "qelfilecache --cache-dir cache get list" list.txt
cp -r cache "c d"
for quoted in "'c d'" '"c d"' 'c\ d'; do
    expect "qelfilecache --cache-dir $quoted get http://server.example/a" //server.example/a.xml
    expect "qelfilecache --cache-dir=$quoted get http://server.example/a" //server.example/a.xml
    expect "qelfilecache --cache-dir $quoted e" explain
done
rm -r "c d"
ln -s "$folder/cache" home/of_the_user
expect "qelfilecache --cache-dir ~/of_the_user get http://server.example/a" //server.example/a.xml
expect "qelfilecache --cache-dir '~/of_the_user' get http://server.example/a"
rm home/of_the_user
expect "qelfilecache get htt"
[ "$(ls cache)" = "01234567-89ab-cdef-0123-456789abcdef.xml
qelfilecache_Metadata.txt" ] || fail "completion has changed the cache"

complete -p qelfilecache >/dev/null || fail "bash knows no completion"

complaints=$(groff -ww -man -Tutf8 -z "$page" 2>&1) || fail "groff ends with status $?"
[ -z "$complaints" ] || fail "$complaints"
text=$(groff -man -Tascii -P-cbou "$page" 2>/dev/null)
[ "$(wc -l <<<"$text")" -gt 50 ] || fail "the man page is nearly empty"
for section in NAME SYNOPSIS DESCRIPTION COMMANDS OPTIONS "EXIT STATUS" ENVIRONMENT FILES EXAMPLES; do
    grep -qx "$section" <<<"$text" || fail "the man page has no section $section"
done
version=$(qelfilecache --version)
grep -qF "${version#qelfilecache }" <<<"$text" || fail "the man page is not about version '$version'"
for command in "" $commands; do
    # shellcheck disable=SC2086
    for word in $command $(qelfilecache $command --help | options_in); do
        # As a heading or behind blanks.
        grep -qE -- "(^|[ ,[|])$word($|[] ,|])" <<<"$text" || fail "the man page does not name $word of '$command'"
    done
done

[ "$failures" -eq 0 ] && echo "completions and man page are as wanted"
exit "$((failures > 0))"
