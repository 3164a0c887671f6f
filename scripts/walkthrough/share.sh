# Chapter: a landscape file on a file share. Sourced by walkthrough.sh.

# start_share_server FOLDER: shares the folder as "share" with an smbd of our own on a free port;
# leaves $smbd_pid and $port. The system's Samba is not touched.
start_share_server() {
    local folder=$1 attempt
    if ! command -v smbd >/dev/null; then
        detail "smbd is not installed: no share can be served."
        return 1
    fi
    smb=$workspace/smb
    mkdir "$smb" "$smb"/{private,lock,state,cache,pid,ncalrpc}
    # As root, guests come as "nobody" and have to get through to the shared files.
    chmod 755 "$workspace" "$smb" "$folder"
    for attempt in 1 2 3; do
        find_free_port
        write_smbd_configuration "$folder"
        # In a session of its own: smbd signals its whole process group when it ends.
        start_server "$smb/output" setsid smbd --foreground --no-process-group -s "$smb/smb.conf" -l "$smb" </dev/null
        smbd_pid=$server_pid
        wait_for_server "$smbd_pid" "$port" && return 0
    done
    detail "smbd did not start:"
    tail -n 5 "$smb/output" "$smb/log.smbd" 2>/dev/null
    return 1
}

write_smbd_configuration() {
    local guest=nobody
    [ "$(id -u)" -eq 0 ] || guest=$(id -un)
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
log file = $smb/log.smbd
private dir = $smb/private
lock directory = $smb/lock
state directory = $smb/state
cache directory = $smb/cache
pid directory = $smb/pid
ncalrpc dir = $smb/ncalrpc
[share]
path = $1
guest ok = yes
CONFIGURATION
}

# set_share_port PORT EXPIRY_MINUTES
set_share_port() {
    set_expiry_period "$2"
    printf '[Shares]\nPort = %s\n' "$1" >>"$XDG_CONFIG_HOME/qel/qel.ini"
}

chapter_share() {
    local folder=$workspace/shared request='\\127.0.0.1\share\landscape.xml' first_path second_path
    chapter "A landscape file on a file share"
    mkdir "$folder"
    cp "$sample" "$folder/landscape.xml"
    chmod 644 "$folder/landscape.xml"
    touch -d '2024-01-01 12:00:00 UTC' "$folder/landscape.xml"
    if ! start_share_server "$folder"; then
        claim "a file server runs" false
        return
    fi
    detail "smbd serves $sample as $request on port $port"

    step "1. Nothing is cached yet: the file is copied."
    set_share_port "$port" 0
    get "$request"
    first_path=$path
    claim "the request was served" [ "$status" -eq 0 ]
    claim "the copy lies in the cache directory" [ "${path%/*}" = "$cache" ]
    claim "the copy holds what the share has" cmp -s "$path" "$folder/landscape.xml"

    step "2. Asked again with the file unchanged: its time is compared, nothing is copied."
    get "$request"
    claim "it is the same copy" [ "$path" = "$first_path" ]

    step "3. The administrator changes the file: the copy is replaced."
    sed -i 's/revision="1"/revision="2"/' "$folder/landscape.xml"
    touch -d '2024-02-01 12:00:00 UTC' "$folder/landscape.xml"
    get "$request"
    second_path=$path
    claim "there is a new copy" [ "$path" != "$first_path" ]
    claim "it holds the new revision" cmp -s "$path" "$folder/landscape.xml"
    claim "the old copy is gone" [ ! -e "$first_path" ]

    step "4. The file server is stopped: the last copy is served."
    stop_server "$smbd_pid"
    get "$request"
    claim "the file server is down" eval "! accepts_connections $port"
    claim "the request was served all the same" [ "$status" -eq 0 ]
    claim "it is the copy of step 3" [ "$path" = "$second_path" ]
    claim "a notice says that it is an earlier copy" grep -q '^qelfilecache: notice: ' "$workspace/messages"
}
