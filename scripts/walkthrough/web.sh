# Chapter: a landscape file on a web server. Sourced by walkthrough.sh.

# start_web_server FOLDER: serves the folder on a free port, with nginx or else with python3; leaves
# $web_pid, $port and $web_log, to which the server adds a line for each request.
start_web_server() {
    local folder=$1 attempt
    web_log=$workspace/web-requests.log
    for attempt in 1 2 3; do
        find_free_port
        : >"$web_log"
        if command -v nginx >/dev/null; then
            web_server=nginx
            write_nginx_configuration "$folder"
            start_server "$workspace/nginx.log" nginx -p "$workspace" -c "$workspace/nginx.conf" -e "$workspace/nginx.log"
        elif command -v python3 >/dev/null; then
            web_server="python3's http.server"
            start_server "$web_log" python3 -u -m http.server --bind 127.0.0.1 --directory "$folder" "$port"
        else
            detail "Neither nginx nor python3 is installed: no web server can be started."
            return 1
        fi
        web_pid=$server_pid
        wait_for_server "$web_pid" "$port" && return 0
    done
    detail "The web server did not start:"
    tail -n 5 "$workspace/nginx.log" "$web_log" 2>/dev/null
    return 1
}

write_nginx_configuration() {
    cat >"$workspace/nginx.conf" <<CONFIGURATION
daemon off;
master_process off;
pid $workspace/nginx.pid;
events { }
http {
    types { text/xml xml; }
    log_format requests '"\$request" \$status, \$body_bytes_sent bytes';
    access_log $web_log requests;
    client_body_temp_path $workspace/nginx-body;
    proxy_temp_path $workspace/nginx-proxy;
    fastcgi_temp_path $workspace/nginx-fastcgi;
    uwsgi_temp_path $workspace/nginx-uwsgi;
    scgi_temp_path $workspace/nginx-scgi;
    server {
        listen 127.0.0.1:$port;
        root $1;
    }
}
CONFIGURATION
}

# read_web_requests EXPECTED: the requests that the server has logged since the last call, in
# $web_requests. The server writes a line after its answer: give that many five seconds to turn up,
# and those that should not be there a moment.
read_web_requests() {
    local attempt
    for attempt in {1..50}; do
        sleep 0.1
        [ "$(wc -l <"$web_log")" -ge $((web_lines_read + $1)) ] && break
    done
    sleep 0.1
    web_requests=$(tail -n +"$((web_lines_read + 1))" "$web_log" | grep -oE '"(GET|HEAD) .*')
    web_lines_read=$(wc -l <"$web_log")
    if [ -n "$web_requests" ]; then
        sed 's/^/   server: /' <<<"$web_requests"
    else
        detail "server: (no request)"
    fi
}

# requests_were HEADS GETS: the server saw so many, since the log was read before.
requests_were() {
    [ "$(grep -c '"HEAD ' <<<"$web_requests")" -eq "$1" ] && [ "$(grep -c '"GET ' <<<"$web_requests")" -eq "$2" ]
}

chapter_web() {
    local folder=$workspace/web url first_path second_path
    web_lines_read=0
    chapter "A landscape file on a web server"
    mkdir "$folder"
    cp "$sample" "$folder/landscape.xml"
    touch -d '2024-01-01 12:00:00 UTC' "$folder/landscape.xml"
    if ! start_web_server "$folder"; then
        claim "a web server runs" false
        return
    fi
    url=http://127.0.0.1:$port/landscape.xml
    # What the wait for the server left in the log.
    read_web_requests 0 >/dev/null
    detail "$web_server serves $sample as $url"

    step "1. Nothing is cached yet: the file is downloaded. Its copy is to be trusted for 60 minutes."
    set_expiry_period 60
    get "$url"
    first_path=$path
    read_web_requests 1
    claim "the request was served" [ "$status" -eq 0 ]
    claim "the server saw one GET and no HEAD" requests_were 0 1
    claim "the copy lies in the cache directory" [ "${path%/*}" = "$cache" ]
    claim "the copy holds what the server has" cmp -s "$path" "$folder/landscape.xml"

    step "2. Asked again at once: the copy is fresh and served without a request."
    get "$url"
    read_web_requests 0
    claim "the server saw nothing" requests_were 0 0
    claim "it is the same copy" [ "$path" = "$first_path" ]

    step "3. The copy is no longer fresh (expiry period 0), but the file is unchanged: one question, no download."
    set_expiry_period 0
    get "$url"
    read_web_requests 1
    claim "the server saw one HEAD and no GET" requests_were 1 0
    claim "it is the same copy" [ "$path" = "$first_path" ]

    step "4. The administrator publishes a new revision: the copy is replaced."
    sed -i 's/revision="1"/revision="2"/' "$folder/landscape.xml"
    touch -d '2024-02-01 12:00:00 UTC' "$folder/landscape.xml"
    get "$url"
    second_path=$path
    read_web_requests 2
    claim "the server saw one HEAD and one GET" requests_were 1 1
    claim "there is a new copy" [ "$path" != "$first_path" ]
    claim "it holds the new revision" cmp -s "$path" "$folder/landscape.xml"
    claim "the old copy is gone" [ ! -e "$first_path" ]
    claim "no other copy is left behind" [ "$(number_of_copies)" -eq 1 ]

    step "5. The server is stopped: the last copy is served."
    stop_server "$web_pid"
    get "$url"
    claim "the server is down" eval "! accepts_connections $port"
    claim "the request was served all the same" [ "$status" -eq 0 ]
    claim "it is the copy of step 4" [ "$path" = "$second_path" ]
    claim "it still holds the new revision" cmp -s "$path" "$folder/landscape.xml"
    claim "a notice says that it is an earlier download" grep -q '^qelfilecache: notice: ' "$workspace/messages"
}
