#!/usr/bin/env bash
# Tests the man page: groff has nothing to complain about, and it says all that the tool itself says.
#
#   man_page_test.sh TOOL MAN_PAGE
set -uo pipefail

tool=$1
page=$2
failures=0
fail() {
    printf '%s\n' "$*"
    failures=$((failures + 1))
}

complaints=$(groff -ww -man -Tutf8 -z "$page" 2>&1) || fail "groff ends with status $?"
[ -z "$complaints" ] || fail "$complaints"
text=$(groff -man -Tascii -P-cbou "$page" 2>/dev/null)
[ "$(wc -l <<<"$text")" -gt 50 ] || fail "the page is nearly empty"

# A section or an option, as a heading or behind blanks.
mentions() { grep -qE -- "(^|[ ,[|])$1($|[] ,|])" <<<"$text"; }

for section in NAME SYNOPSIS DESCRIPTION COMMANDS OPTIONS "EXIT STATUS" ENVIRONMENT FILES EXAMPLES; do
    grep -qx "$section" <<<"$text" || fail "there is no section $section"
done
version=$("$tool" --version)
grep -qF "${version#qelfilecache }" <<<"$text" || fail "the page is not about version '$version'"

options_in() { grep -oE -- '^ +(-h,)?--[a-z-]+' | grep -oE -- '--[a-z-]+'; }
commands=$("$tool" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
[ "$(wc -w <<<"$commands")" -ge 7 ] || fail "the help names no commands"
for command in $commands; do
    mentions "$command" || fail "the page does not name the command $command"
    for option in $("$tool" "$command" --help | options_in); do
        mentions "$option" || fail "the page does not name $option of $command"
    done
done
for option in $("$tool" --help | options_in); do
    mentions "$option" || fail "the page does not name $option"
done

[ "$failures" -eq 0 ] && echo "the man page is complete"
exit "$((failures > 0))"
