# shellcheck shell=bash
# Shows what a running application does: its status as it changes, each line that it adds to its event
# journal, and each warning and error that it adds to its log. It is sourced.

alerts=0       # alerts that have started
alert=false    # the alert is on
lists=0        # lists of ids that were sent
last_shown=""  # the log line shown last, without its time
repeated=0     # how often it has come again since

# Texts of others end up in logs and events. On a terminal a control character of theirs would be an order, so
# it is shown as a question mark. Bytes are told apart as bytes: in other locales no pattern fits what is no
# text there.

declare -A unfinished=() # file -> the start of a line that is not whole yet

# follow_lines FD FILE HANDLER: hands every line that was completed since the last call to HANDLER.
follow_lines() {
    local fd=$1 file=$2 handler=$3 line
    while IFS= read -r -u "$fd" line; do
        "$handler" "${unfinished[$file]:-}$line"
        unfinished[$file]=""
    done
    unfinished[$file]=${unfinished[$file]:-}$line
}

# An alert, a list of ids or a declaration in words; anything else as it stands.
show_event() {
    local LC_ALL=C line time=""
    line=${1//[[:cntrl:]]/?}
    [[ $line =~ \"time\":\"[^\"T]*T([0-9:.]*) ]] && time=${BASH_REMATCH[1]}
    if [[ $line == *'"declared":true'* && $line =~ \"topic\":\"[^\"]*/([^\"/]*)\" ]]; then
        say "$time  event declared: ${BASH_REMATCH[1]}"
    elif [[ $line =~ ZerithMarkersAlert\" && $line =~ \"active\":(true|false) ]]; then
        if [ "${BASH_REMATCH[1]}" = true ]; then
            alerts=$((alerts + 1))
            alert=true
            say "$time  ALERT starts"
        elif $alert; then
            alert=false
            say "$time  alert stops"
        else
            say "$time  alert is off"
        fi
    elif [[ $line =~ ZerithMarkersData\" && $line =~ \"payload\":\"([^\"]*)\" ]]; then
        lists=$((lists + 1))
        if [ -n "${BASH_REMATCH[1]}" ]; then
            say "$time  markers inside area 1: ${BASH_REMATCH[1]}"
        else
            say "$time  no marker inside area 1"
        fi
    else
        say "$time  event $line"
    fi
}

# A status is its code and the application's own text.
show_status() {
    local code=${1%% *} words
    case $code in
    50) words="the start has failed" ;;
    100) words="starting" ;;
    200) words="running" ;;
    408) words="waits for the end-user agreement" ;;
    502) words="running, alert" ;;
    600) words="running, but a picture takes half a second or more" ;;
    *) words=${1#* } ;;
    esac
    printf '%(%T)T.%s  status %s: %s\n' -1 "$(now_us | tail -c 6 | cut -c1-3)" "$code" "$words"
}

show_repetitions() {
    [ "$repeated" = 0 ] || say "              (the same $repeated times more)"
    repeated=0
}

# A log line is date|application|level|message. The log tells the events too, which the journal has
# shown already, and the start and the end of the run.
show_log_line() {
    local LC_ALL=C line time level message
    line=${1//[[:cntrl:]]/?}
    [[ $line =~ ^[0-9-]+\ ([0-9:]+)\|[^\|]*\|(warning|error)\|(.*)$ ]] || return 0
    time=${BASH_REMATCH[1]} level=${BASH_REMATCH[2]} message=${BASH_REMATCH[3]}
    case $message in
    "" | "STARTING "* | "STOPPING "* | "sendEventStarted: "* | "sendEventStopped: "*) return 0 ;;
    esac
    if [ "$level$message" = "$last_shown" ]; then
        repeated=$((repeated + 1))
        return 0
    fi
    show_repetitions
    last_shown=$level$message
    say "$time      $level: $message"
}
