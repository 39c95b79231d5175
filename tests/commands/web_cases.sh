# shellcheck shell=bash
# shellcheck disable=SC2154 # run, package: the files before set them
# The web server that ./run starts. commands_test.sh sources it.

page=http://127.0.0.1:$ZERITH_PORT
readonly page api=$page/local/zerith_markers/zerith_markers.cgi

# fetch CURL-ARGUMENT...: the body in `body`, the status in `code`.
fetch() {
    code=$(curl -sS -g -m 20 -o body -w '%{http_code}' "$@")
}

# start_serving OPTION...: start, and wait for the application behind the web server.
start_serving() {
    local try
    start "$@"
    for ((try = 0; try < 300; ++try)); do
        fetch "$api?action=get_status_code"
        [ "$code" = 503 ] || return 0
        sleep 0.1
    done
    echo "the application does not answer"
    return 1
}

# answer_is CODE TEXT
answer_is() {
    [ "$code" = "$1" ] && [ "$(cat body)" = "$2" ] && return 0
    echo "status $code, not $1, or not \"$2\":"
    cat body
    return 1
}

web_api_answers_while_it_runs() {
    ready
    start_serving --state state --set EulaAccepted=false
    has out "Page:       $page/local/zerith_markers/index.html"
    fetch "$api?action=get_status_code"
    answer_is 200 408
    fetch "$api?action=get_application_resolution"
    answer_is 200 1280x720
    fetch -X PUT "$api?action=get_status_code"
    fetch "$page/etc/passwd"
    [ "$code" = 404 ]
    kill -TERM "$run_pid"
    finished 0
    if curl -sS -m 5 -o /dev/null "$page"; then
        echo "somebody still answers at $page"
        return 1
    fi
}

setting_through_the_web_stays() {
    ready
    start_serving --state state
    fetch "$api?action=get_all_parameters"
    has body "<Markers_Secs>3</Markers_Secs>"
    sed 's,<Markers_Secs>3<,<Markers_Secs>17<,; s,app>,root>,g' body >document
    fetch --data-binary @document -H 'Content-Type: text/xml' "$api?action=set_post_parameters"
    answer_is 200 ""
    [ "$(value_of MarkersSeconds)" = 17 ]
    kill -TERM "$run_pid"
    finished 0
    start_serving --state state
    has out "for more than 17 s"
    fetch "$api?action=get_all_parameters"
    has body "<Markers_Secs>17</Markers_Secs>"
    kill -TERM "$run_pid"
    finished 0
}

# The application's socket takes everybody; the folder that it is in lets nobody near. And the web server can
# get no rights that it has not.
socket_and_rights_are_contained() {
    local server
    ready
    start_serving --state state
    [ "$(stat -c %a "$package/html/zerith_markers_fcgi.socket")" = 777 ]
    [ "$(stat -c '%a %u' "$package/html")" = "700 $(id -u)" ]
    server=$(pgrep -P "$run_pid" -x lighttpd)
    grep -qx 'NoNewPrivs:.1' "/proc/$server/status"
    if [ "$(id -u)" = 0 ]; then grep -qx 'CapEff:.0000000000000400' "/proc/$server/status"; fi
    # A page of another site cannot switch the alert, and the log tells of no request.
    fetch -H 'Sec-Fetch-Site: cross-site' "$api?action=manual_markers_alert_on"
    [ "$code" = 403 ]
    fetch -H 'Host: elsewhere.example' "$api?action=get_status_code"
    [ "$code" = 403 ]
    kill -TERM "$run_pid"
    finished 0
}

alert_by_hand_is_an_event() {
    ready
    start_serving --state state --set EulaAccepted=false
    fetch "$api?action=manual_markers_alert_on"
    answer_is 200 ""
    until_in state/events.jsonl '"active":true'
    fetch "$api?action=manual_markers_alert_off"
    answer_is 200 ""
    tail -n 1 state/events.jsonl >last
    has last '"active":false'
    kill -TERM "$run_pid"
    finished 0
}

picture_shows_through_the_web_server() {
    ready
    start_serving --state state
    fetch "$page/axis-cgi/jpg/image.cgi"
    [ "$code" = 200 ]
    file -b --mime-type body | grep -qx image/jpeg
    # A stream never ends: what came until curl gave up.
    curl -sS -m 3 -o stream "$page/axis-cgi/mjpg/video.cgi" || [ $? = 28 ]
    [ "$(grep -ac '^Content-Type: image/jpeg' stream)" -ge 2 ]
    fetch "$page/axis-cgi/param.cgi?action=list&group=root.Brand.ProdShortName"
    has body "root.Brand.ProdShortName=HostCam"
    kill -TERM "$run_pid"
    finished 0
}

login_is_asked_for() {
    ready
    start_serving --state state --login guard:word:with/signs
    fetch "$api?action=get_status_code"
    [ "$code" = 401 ]
    fetch --digest -u guard:wrong "$api?action=get_status_code"
    [ "$code" = 401 ]
    fetch --digest -u guard:word:with/signs "$page/local/zerith_markers/none"
    [ "$code" = 404 ]
    [ "$(stat -c %a state/logins)" = 600 ]
    has_not state/logins word
    kill -TERM "$run_pid"
    finished 0
}

port_in_use_is_told() {
    local server
    ready
    # Somebody else's server.
    printf 'server.document-root = "%s"\nserver.bind = "127.0.0.1"\nserver.port = %s\n' "$PWD" "$ZERITH_PORT" >other.conf
    PATH=$PATH:/usr/sbin lighttpd -D -f other.conf >other.log 2>&1 &
    server=$!
    until_in other.log "server started"
    expect 1 "$run" --state state --duration 1 || { kill "$server" && return 1; }
    kill "$server"
    wait "$server"
    has err "port $ZERITH_PORT is in use: choose another with --port"
}

web_server_that_ends_is_told() {
    ready
    start --state state
    pkill -KILL -P "$run_pid" -x lighttpd
    until_in out "The web server has ended"
    kill -TERM "$run_pid"
    finished 0
}

wrong_web_options_are_usage_errors() {
    local port
    for port in "" 0 65536 eighty -1 08080; do
        expect 2 "$run" --port "$port"
        has err "--port"
    done
    expect 2 "$run" --address 'a b'
    has err "--address"
    expect 2 "$run" --login nobody
    has err "--login"
}

case_of "run: the web API answers while it runs, and nobody afterwards" web_api_answers_while_it_runs
case_of "run: a setting made through the web is stored at once and there after a restart" setting_through_the_web_stays
case_of "run: only its own user comes to the socket, and the web server can get no rights" socket_and_rights_are_contained
case_of "run: the alert by hand is an event" alert_by_hand_is_an_event
case_of "run: pictures and parameters show through the web server" picture_shows_through_the_web_server
case_of "run: with --login nobody gets in without the password" login_is_asked_for
case_of "run: a port in use is told" port_in_use_is_told
case_of "run: a web server that ends is told" web_server_that_ends_is_told
case_of "run: wrong port, address or login is a usage error" wrong_web_options_are_usage_errors
