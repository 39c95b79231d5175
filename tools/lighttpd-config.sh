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
  --names LIST      further names and addresses under which the server may be asked, comma separated. On a loopback
                    address nothing but localhost and that address will do without, elsewhere any name
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
    --html | --socket | --camera | --port | --address | --logins | --realm | --log | --names)
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

# Browsers tell under which name they ask. A page of somebody else's whose name was made to lead here has
# another one.
names=${option[names]:-}
case $address,$names in
127.* | ::1,* | localhost,* | *,?*) names="localhost,127.0.0.1,[::1],$bind${names:+,$names}" ;;
esac
if [ -n "$names" ]; then
    names=$(sed -E 's/[^0-9A-Za-z,_-]/\\&/g; s/,+/|/g; s/^\|+|\|+$//g' <<<"$names")
fi

# No answer is anything else than it says, is shown inside of another page, or is used by one.
everywhere='"X-Content-Type-Options" => "nosniff", "X-Frame-Options" => "DENY", "Referrer-Policy" => "no-referrer",
        "Cross-Origin-Resource-Policy" => "same-origin",'
nothing_at_all="default-src 'none'; frame-ancestors 'none'; sandbox"

cat <<CONFIG
server.modules = ("mod_access", ${option[logins]:+\"mod_auth\", \"mod_authn_file\", }"mod_alias", "mod_redirect", "mod_setenv", "mod_fastcgi", "mod_proxy")
server.document-root = "${option[html]}"
server.bind = "$bind"
server.port = ${option[port]}
server.tag = ""
server.follow-symlink = "disable"
# In KiB: a little more than the application takes, so that it is the application that refuses.
server.max-request-size = 1025
server.max-request-field-size = 8192
server.max-connections = 256
server.max-keep-alive-idle = 10
server.max-read-idle = 20
server.max-write-idle = 60
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

setenv.set-response-header = (
    $everywhere
    "Content-Security-Policy" => "$nothing_at_all",
)

\$HTTP["url"] =~ "^$application/" {
    # The page's name stays, the names of what it loads change with their content.
    setenv.set-response-header = (
        "Cache-Control" => "no-cache",
        $everywhere
        "Content-Security-Policy" => "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
    )
}

\$HTTP["url"] =~ "^$application/zerith_markers\.cgi" {
    setenv.set-response-header = (
        "Cache-Control" => "no-store",
        $everywhere
        "Content-Security-Policy" => "$nothing_at_all",
    )
    \$HTTP["request-method"] !~ "^(GET|POST)\$" { url.access-deny = ("") }
    # Its GET requests change things too, so none of them may come from a page of another site: browsers mark
    # those. What is no browser marks nothing.
    \$REQUEST_HEADER["Sec-Fetch-Site"] !~ "^(|same-origin|none)\$" { url.access-deny = ("") }
    \$REQUEST_HEADER["Origin"] !~ "^(|https?://(${names:-[^/]+})(:[0-9]+)?)\$" { url.access-deny = ("") }
} else \$HTTP["request-method"] !~ "^(GET|HEAD)\$" {
    url.access-deny = ("")
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

if [ -n "$names" ]; then
    cat <<CONFIG

\$HTTP["host"] !~ "^(|($names)(:[0-9]+)?)\$" { url.access-deny = ("") }
CONFIG
fi

if [ -n "${option[logins]:-}" ]; then
    cat <<CONFIG

auth.backend = "htdigest"
auth.backend.htdigest.userfile = "${option[logins]}"
auth.require = ("/" => ("method" => "digest", "realm" => "${option[realm]:-}", "require" => "valid-user"))
CONFIG
fi
