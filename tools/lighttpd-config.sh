#!/usr/bin/env bash
# Prints a configuration of lighttpd that stands before the application as a camera's web server does:
# the page's folder, the web API on the application's socket, and the camera's own addresses.
set -euo pipefail

usage() {
    cat <<TEXT
Usage: tools/lighttpd-config.sh --html DIR --socket PATH --camera HOST:PORT --port N [OPTION]...

  --html DIR        the page's files
  --socket PATH     the application's FastCGI socket
  --camera ADDRESS  the host camera's HTTP endpoint, HOST:PORT
  --port N          where the web server listens
  --address HOST    on which address (default: 127.0.0.1)
  --logins FILE     who may log in (lines user:realm:hash, as htdigest writes them); without it anybody may
  --realm TEXT      the realm of those logins
  --log FILE        the web server's error log (default: its standard error)
TEXT
}

fail() {
    printf 'lighttpd-config.sh: %s\n' "$*" >&2
    exit 2
}

declare -A option=([address]=127.0.0.1)
while [ $# -gt 0 ]; do
    case $1 in
    --html | --socket | --camera | --port | --address | --logins | --realm | --log)
        [ $# -ge 2 ] || fail "$1 takes a value"
        [[ $2 != *[\"\\$'\n']* ]] || fail "$1: a value without quotes, backslashes and line ends"
        option[${1#--}]=$2
        shift 2
        ;;
    --help)
        usage
        exit 0
        ;;
    *) fail "unknown option $1" ;;
    esac
done
for name in html socket camera port; do
    [ -n "${option[$name]:-}" ] || fail "--$name is missing"
done

application=/local/zerith_markers
address=${option[address]}
bind=$address
case $address in *:*) bind="[$address]" ;; esac
camera_host=${option[camera]%:*}
camera_host=${camera_host#[}

cat <<CONFIG
server.modules = ("mod_alias", "mod_redirect", "mod_setenv", "mod_fastcgi", "mod_proxy")
server.document-root = "${option[html]}"
server.bind = "$bind"
server.port = ${option[port]}
server.tag = ""
server.follow-symlink = "disable"
server.max-request-size = 2048
${option[log]:+server.errorlog = \"${option[log]}\"}
index-file.names = ("index.html")
static-file.exclude-extensions = (".socket")
mimetype.assign = (
    ".html" => "text/html; charset=utf-8",
    ".js" => "text/javascript; charset=utf-8",
    ".css" => "text/css; charset=utf-8",
    ".json" => "application/json",
    ".svg" => "image/svg+xml",
    ".png" => "image/png",
    ".txt" => "text/plain; charset=utf-8",
    "" => "application/octet-stream",
)

url.redirect-code = 302
url.redirect = ("^/(local/?|local/zerith_markers/?)?\$" => "$application/index.html")
alias.url = ("$application/" => "${option[html]}/")

\$HTTP["url"] =~ "^$application/" {
    # The page's name stays, the names of what it loads change with their content.
    setenv.set-response-header = ("Cache-Control" => "no-cache", "X-Content-Type-Options" => "nosniff")
}

fastcgi.server = ("$application/zerith_markers.cgi" => ((
    "socket" => "${option[socket]}",
    "check-local" => "disable",
    # An application that starts again is found again at once.
    "disable-time" => 0,
)))

\$HTTP["url"] =~ "^/axis-cgi/" {
    # A picture stream has no end, and one who reads it slowly is to slow the camera's sending, not to
    # fill this server's memory.
    server.stream-response-body = 2
    proxy.server = ("" => (("host" => "${camera_host%]}", "port" => ${option[camera]##*:})))
}
CONFIG

if [ -n "${option[logins]:-}" ]; then
    cat <<CONFIG

server.modules += ("mod_auth", "mod_authn_file")
auth.backend = "htdigest"
auth.backend.htdigest.userfile = "${option[logins]}"
auth.require = ("/" => ("method" => "digest", "realm" => "${option[realm]:-}", "require" => "valid-user"))
CONFIG
fi
