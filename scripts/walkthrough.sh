#!/usr/bin/env bash
# Walks through the life of a cached file, on a web server and on a share, and checks each claim it makes.
#
#   scripts/walkthrough.sh PROGRAM SAMPLE_FILE
#
# Every server is a private one on a free loopback port; cache, configuration and servers live in a temporary folder.
# Exit status 0 when every claim holds.
set -uo pipefail
program=$1
sample=$2

# Servers are often installed where only administrators look.
PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin
workspace=$(mktemp -d)
server=
broken_claims=0
checked_claims=0
cache=$workspace/cache
published=$workspace/published
mkdir -p "$cache" "$published" "$workspace/home" "$workspace/config/qel"
# Nothing of the user's: no configuration, no cache, no proxy.
export HOME=$workspace/home XDG_CONFIG_HOME=$workspace/config XDG_CACHE_HOME=$workspace/home/.cache
unset http_proxy https_proxy all_proxy HTTP_PROXY HTTPS_PROXY ALL_PROXY QEL_TRACE_DIR
trap 'stop_server; rm -rf "$workspace"' EXIT
trap 'exit 130' INT TERM

chapter() { printf '\n%s\n%s\n' "$1" "${1//?/=}"; }
step() { printf '\n%s\n' "$*"; }
detail() { printf '   %s\n' "$*"; }

# claim TEXT COMMAND...: prints the claim and whether the command bears it out.
claim() {
    checked_claims=$((checked_claims + 1))
    if "${@:2}"; then
        detail "[true]  $1"
    else
        broken_claims=$((broken_claims + 1))
        detail "[FALSE] $1"
    fi
}

# expiry MINUTES: for how long a copy is trusted without a question.
expiry() {
    printf '[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod = %s\n[Shares]\nPort = %s\n' "$1" "$port" \
        >"$XDG_CONFIG_HOME/qel/qel.ini"
}

# get: makes the request; leaves the answer in $path and $status, the messages in a file, what a web server saw in $seen.
get() {
    local known
    known=$(wc -l <"$workspace/requests")
    detail "\$ qelfilecache --cache-dir $cache get '$request'"
    path=$("$program" --cache-dir "$cache" get "$request" 2>"$workspace/messages")
    status=$?
    detail "${path:-(no path)}"
    sed 's/^/   /' "$workspace/messages"
    sleep 0.3 # the server writes its line after its response
    seen=$(tail -n +$((known + 1)) "$workspace/requests" | grep -oE '"(GET|HEAD) .*')
    [ -z "$seen" ] || sed 's/^/   server: /' <<<"$seen"
}

# requests_were HEADS GETS: a web server saw so many.
requests_were() { [ "$(grep -c '"HEAD ' <<<"$seen")" -eq "$1" ] && [ "$(grep -c '"GET ' <<<"$seen")" -eq "$2" ]; }

# claim_requests TEXT HEADS GETS: a claim where requests can be seen.
claim_requests() { [ "$kind" != web ] || claim "the server saw $1" requests_were "$2" "$3"; }

accepts_connections() { (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; }

serve_web() {
    exec python3 -u -m http.server --bind 127.0.0.1 --directory "$published" "$port" >"$workspace/server.log" 2>"$workspace/requests"
}

serve_share() {
    local guest=nobody smb=$workspace/smb
    # As root, guests come as "nobody" and have to get through to the shared files.
    [ "$(id -u)" -eq 0 ] || guest=$(id -un)
    mkdir -p "$smb"
    chmod 755 "$workspace" "$smb" "$published"
    cat >"$smb/smb.conf" <<CONFIGURATION
[global]
server role = standalone server
interfaces = 127.0.0.1/8
bind interfaces only = yes
smb ports = $port
disable netbios = yes
disable spoolss = yes
load printers = no
printcap name = /dev/null
rpc start on demand helpers = no
map to guest = Bad User
guest account = $guest
log file = $workspace/server.log
private dir = $smb
lock directory = $smb
state directory = $smb
cache directory = $smb
pid directory = $smb
ncalrpc dir = $smb
[share]
path = $published
guest ok = yes
CONFIGURATION
    # In a session of its own: smbd signals its whole process group when it ends.
    exec setsid smbd --foreground --no-process-group -s "$smb/smb.conf" -l "$smb" >"$workspace/server.log" 2>&1 </dev/null
}

# start_server: publishes a file; leaves $port. False when no server accepts connections within ten seconds.
start_server() {
    local attempt
    : >"$workspace/requests"
    cp "$sample" "$published/landscape.xml"
    chmod 644 "$published/landscape.xml"
    touch -d '2024-01-01 12:00:00 UTC' "$published/landscape.xml"
    port=$((20000 + RANDOM % 12000))
    while accepts_connections; do port=$((port + 1)); done
    "serve_$kind" &
    server=$!
    for attempt in {1..100}; do
        accepts_connections && return 0
        sleep 0.1
    done
    tail -n 5 "$workspace/server.log"
    return 1
}

stop_server() {
    [ -n "$server" ] || return 0
    kill "$server"
    wait "$server" 2>/dev/null
    server=
}

# life KIND TITLE: of a file on a server of this kind.
life() {
    local request first_path second_path
    kind=$1
    chapter "$2"
    if ! start_server; then
        claim "a server runs" false
        return
    fi
    case "$kind" in
    web) request=http://127.0.0.1:$port/landscape.xml ;;
    share) request='\\127.0.0.1\share\landscape.xml' ;;
    esac
    detail "$sample is served as $request (port $port)"

    step "1. Nothing is cached yet: the file is fetched. For 60 minutes its copy is served without a check."
    expiry 60
    get
    first_path=$path
    claim "the request was served" [ "$status" -eq 0 ]
    claim_requests "one GET and no HEAD" 0 1
    claim "the copy lies in the cache directory" [ "${path%/*}" = "$cache" ]
    claim "the copy holds what the server has" cmp -s "$path" "$published/landscape.xml"

    step "2. Requested again at once: the copy is fresh, the server is not asked."
    get
    claim_requests "nothing" 0 0
    claim "it is the same copy" [ "$path" = "$first_path" ]

    step "3. The copy has expired (expiry period 0), but the file is unchanged: one check, no download."
    expiry 0
    get
    claim_requests "one HEAD and no GET" 1 0
    claim "it is the same copy" [ "$path" = "$first_path" ]

    step "4. The administrator publishes a new revision: the copy is replaced."
    sed -i 's/revision="1"/revision="2"/' "$published/landscape.xml"
    touch -d '2024-02-01 12:00:00 UTC' "$published/landscape.xml"
    get
    second_path=$path
    claim_requests "one HEAD and one GET" 1 1
    claim "there is a new copy" [ "$path" != "$first_path" ]
    claim "it holds the new revision" cmp -s "$path" "$published/landscape.xml"
    claim "the old copy is gone" [ ! -e "$first_path" ]

    step "5. The server is stopped: the last good copy is served."
    stop_server
    get
    claim "the server is down" eval '! accepts_connections'
    claim "the request was served all the same" [ "$status" -eq 0 ]
    claim "it is the copy of step 4" [ "$path" = "$second_path" ]
    claim "it still holds the new revision" cmp -s "$path" "$published/landscape.xml"
    claim "a notice says that it is an earlier copy" grep -q '^qelfilecache: notice: ' "$workspace/messages"
}

life web "A landscape file on a web server"
life share "A landscape file on a file share"
claim "no other copy is left behind" [ "$(find "$cache" -maxdepth 1 -type f ! -name 'qelfilecache_*' | wc -l)" -eq 2 ]
printf '\n%d of %d claims are true.\n' $((checked_claims - broken_claims)) "$checked_claims"
[ "$broken_claims" -eq 0 ]
