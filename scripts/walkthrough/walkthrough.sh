#!/usr/bin/env bash
# Walks through the life of a cached file, chapter after chapter, and checks each claim it makes.
#
#   walkthrough.sh PROGRAM SAMPLE_FILE
#
# Every server is a private one on a free loopback port; cache, configuration and servers live in a
# temporary folder. Exit status 0 when every claim holds.
set -uo pipefail
program=$1
sample=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

. "$here/common.sh"
. "$here/web.sh"
. "$here/share.sh"

begin_walkthrough
chapter_web
chapter_share
end_walkthrough
