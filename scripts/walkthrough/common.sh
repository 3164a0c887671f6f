# What the chapters of the walk-through share. Sourced by walkthrough.sh.

# begin_walkthrough: a temporary folder with a cache, a configuration and a home of its own.
begin_walkthrough() {
    # Servers are often installed where only administrators look.
    PATH=$PATH:/usr/local/sbin:/usr/sbin:/sbin
    workspace=$(mktemp -d)
    server_pids=()
    broken_claims=0
    checked_claims=0
    cache=$workspace/cache
    mkdir "$cache" "$workspace/config" "$workspace/home" "$workspace/config/qel"
    # Nothing of the user's: no configuration, no cache, no proxy.
    export HOME=$workspace/home XDG_CONFIG_HOME=$workspace/config XDG_CACHE_HOME=$workspace/home/.cache
    unset http_proxy https_proxy all_proxy HTTP_PROXY HTTPS_PROXY ALL_PROXY QEL_TRACE_DIR
    trap clean_up EXIT
    trap 'exit 130' INT TERM
}

clean_up() {
    local pid
    for pid in "${server_pids[@]}"; do
        kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null
    done
    rm -rf "$workspace"
}

# end_walkthrough: the summary; ends the program.
end_walkthrough() {
    if [ "$broken_claims" -eq 0 ]; then
        printf '\nAll %d claims hold.\n' "$checked_claims"
        exit 0
    fi
    printf '\n%d of %d claims do not hold.\n' "$broken_claims" "$checked_claims"
    exit 1
}

chapter() { printf '\n%s\n%s\n' "$1" "${1//?/=}"; }

step() { printf '\n%s\n' "$*"; }

detail() { printf '   %s\n' "$*"; }

# claim TEXT COMMAND...: prints the claim and whether the command bears it out.
claim() {
    local text=$1
    shift
    checked_claims=$((checked_claims + 1))
    if "$@"; then
        detail "[true]  $text"
    else
        broken_claims=$((broken_claims + 1))
        detail "[FALSE] $text"
    fi
}

# set_expiry_period MINUTES: for how long a copy is trusted without a question.
set_expiry_period() {
    printf '[Software\\QEL\\QELLogon\\Options]\nLandscapeCacheExpiryPeriod = %s\n' "$1" >"$XDG_CONFIG_HOME/qel/qel.ini"
}

# get REQUEST: serves the request; leaves the answer in $path, $messages and $status.
get() {
    detail "\$ qelfilecache --cache-dir $cache get '$1'"
    path=$("$program" --cache-dir "$cache" get "$1" 2>"$workspace/messages")
    status=$?
    messages=$(<"$workspace/messages")
    detail "${path:-(no path)}"
    [ -z "$messages" ] || sed 's/^/   /' <<<"$messages"
}

number_of_copies() { find "$cache" -maxdepth 1 -type f ! -name 'qelfilecache_*' | wc -l; }

# start_server LOG COMMAND...: starts a server in the background; leaves its id in $server_pid.
start_server() {
    local log=$1
    shift
    "$@" >>"$log" 2>&1 &
    server_pid=$!
    server_pids+=("$server_pid")
}

# stop_server PID
stop_server() {
    kill "$1" && wait "$1" 2>/dev/null
    return 0
}

accepts_connections() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# find_free_port: leaves a port in $port on which nothing listens.
find_free_port() {
    port=$((20000 + RANDOM % 12000))
    while accepts_connections "$port"; do port=$((port + 1)); done
}

# wait_for_server PID PORT: true once the server accepts connections, false when it has ended or
# does not within ten seconds.
wait_for_server() {
    local attempt
    for attempt in {1..100}; do
        kill -0 "$1" 2>/dev/null || return 1
        accepts_connections "$2" && return 0
        sleep 0.1
    done
    return 1
}
