# shellcheck shell=bash
# shellcheck disable=SC2154 # root: lib.sh sets it
# The web server in front of the application, for ./run. It is sourced by it, after lib.sh.

web_port=${ZERITH_PORT:-8080} web_address=127.0.0.1 web_login="" web_server="" web_log=""
readonly web_realm="Host camera"

# How others reach an address that a server listens on.
reachable() { # ADDRESS
    case $1 in
    0.0.0.0) printf 127.0.0.1 ;;
    ::) printf '[::1]' ;;
    *:*) printf '[%s]' "$1" ;;
    *) printf '%s' "$1" ;;
    esac
}

page_address() { printf 'http://%s:%s' "$(reachable "$web_address")" "$web_port"; }

# Whether somebody answers at a port.
answers() { # ADDRESS PORT
    local address=${1#[}
    (exec 3<>"/dev/tcp/${address%]}/$2") 2>/dev/null
}

# A port for the host camera's own endpoint: the wanted one, or the next that nobody has.
free_port() { # ADDRESS WANTED
    local port
    for ((port = $2; port < $2 + 100 && port < 65536; ++port)); do
        [ "$port" != "$web_port" ] || continue
        answers "$1" "$port" || {
            printf '%s' "$port"
            return
        }
    done
    fail "there is no free port from $2 on for the host camera: set [http] port in the configuration (--config)"
}

# start_web_server FOLDER HTML SOCKET CAMERA: FOLDER gets the generated files. Fails with what is wrong.
start_web_server() {
    local folder=$1 options=(--html "$2" --socket "$3" --camera "$4" --port "$web_port" --address "$web_address") try
    local rights root_rights=("--inh-caps=-all,+net_bind_service" "--bounding-set=-all,+net_bind_service")
    web_log=$folder/lighttpd.log
    # Names under which others reach it, where only those are to be taken.
    [ -z "${ZERITH_NAMES:-}" ] || options+=(--names "$ZERITH_NAMES")
    if answers "$(reachable "$web_address")" "$web_port"; then
        fail "port $web_port is in use: choose another with --port"
    fi
    (
        umask 077
        if [ -n "$web_login" ]; then
            printf '%s:%s:%s\n' "${web_login%%:*}" "$web_realm" \
                "$(printf '%s:%s:%s' "${web_login%%:*}" "$web_realm" "${web_login#*:}" | md5sum | cut -d ' ' -f 1)" \
                >"$folder/logins"
            options+=(--logins "$folder/logins" --realm "$web_realm")
        fi
        "$root/tools/lighttpd-config.sh" "${options[@]}" >"$folder/lighttpd.conf"
    ) || fail "cannot write the web server's configuration into $folder"
    # The application's socket in there takes everybody who comes that far.
    if ! { [ -O "$2" ] || chown "$(id -u):$(id -g)" "$2"; } || ! chmod 700 "$2"; then
        fail "cannot close $2 to others"
    fi
    # It needs no right of root's but that to a low port, and can get none. Where somebody else's folders are
    # on the way to its files, root comes there by such a right only.
    rights=(--no-new-privs)
    if [ "$(id -u)" = 0 ] && setpriv "${root_rights[@]}" test -r "$folder/lighttpd.conf" -a -x "$2" 2>/dev/null; then
        rights+=("${root_rights[@]}")
    fi
    # Debian keeps servers where only root's PATH looks.
    PATH=$PATH:/usr/sbin setsid setpriv --pdeathsig TERM "${rights[@]}" lighttpd -D -f "$folder/lighttpd.conf" >"$web_log" 2>&1 8>&- &
    web_server=$!
    for ((try = 0; try < 100; ++try)); do
        ! answers "$(reachable "$web_address")" "$web_port" || return 0
        kill -0 "$web_server" 2>/dev/null || break
        sleep 0.05
    done
    fail "the web server did not start on $web_address, port $web_port: $(tail -n 1 "$web_log" 2>/dev/null || true)"
}

stop_web_server() {
    [ -n "$web_server" ] || return 0
    kill -TERM "$web_server" 2>/dev/null || true
    wait "$web_server" 2>/dev/null || true
    web_server=""
}

# Once, should it end by itself: the application goes on.
watch_web_server() {
    if [ -n "$web_server" ] && ! kill -0 "$web_server" 2>/dev/null; then
        say "The web server has ended; the application goes on without it: $(tail -n 1 "$web_log" 2>/dev/null || true)"
        web_server=""
    fi
}
