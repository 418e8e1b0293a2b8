#!/usr/bin/env bash
# serve.sh BUILD PORT COMMAND [ARGUMENT...]: runs a command while annal-web can be reached at https://127.0.0.1:PORT/annal/
# under lighttpd, as the package's recipe has it: user "admin", password "admin". The command runs on a private appliance
# with empty logs.
set -euo pipefail
here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
source=$(realpath "$here/../..")

if [[ -z ${CORIX_PRIVATE_APPLIANCE:-} ]]; then
  build=$(realpath "$1")
  work=$build/web
  mkdir -p "$work"
  # The appliance has a folder of its own where the server is.
  cp /usr/sbin/lighttpd "$work/server"
  exec "$build/bin/private-appliance" env "PATH=$build/bin:$PATH" "${BASH_SOURCE[0]}" "$build" "${@:2}"
fi

build=$1 port=$2 work=$1/web
shift 2

[[ -s $work/server.pem ]] || openssl req -x509 -newkey rsa:2048 -nodes -days 365 -subj /CN=localhost \
  -keyout "$work/server.pem" -out "$work/certificate.pem" 2>/dev/null
grep -q CERTIFICATE "$work/server.pem" || cat "$work/certificate.pem" >>"$work/server.pem"
printf 'admin:%s\n' "$(openssl passwd -apr1 admin)" >"$work/users"

{
  printf 'server.document-root = "%s"\nserver.bind = "127.0.0.1"\nserver.port = %s\n' "$work" "$((port + 1))"
  printf 'server.errorlog = "%s/errors"\nserver.pid-file = "%s/pid"\nserver.max-connections = 256\n' "$work" "$work"
  printf 'server.upload-dirs = ( "%s" )\n' "$work"
  printf 'mimetype.assign = ( ".css" => "text/css", ".js" => "text/javascript", ".svg" => "image/svg+xml" )\n'
  sed -e "s|\":443\"|\"127.0.0.1:$port\"|" -e "s|/usr/lib/annal-web/annal-web|$build/bin/annal-web|" \
    -e "s|/usr/share/annal-web/|$source/tools/web/static/|" -e "s|/etc/lighttpd/server.pem|$work/server.pem|" \
    -e "s|/etc/lighttpd/annal-web.users|$work/users|" -e 's|# setenv|setenv|' "$source/packaging/web/lighttpd.conf"
} >"$work/lighttpd.conf"

: >"$work/errors"
annalctl event create --limit 2000000 >/dev/null
annalctl conn create >/dev/null
annalctl notice create >/dev/null
annalctl fileop --db /etc/logs/operations.db create >/dev/null

"$work/server" -D -m /usr/lib/lighttpd -f "$work/lighttpd.conf" &
server=$!
trap 'kill "$server" 2>/dev/null || true' EXIT
for _ in {1..100}; do
  (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break
  sleep 0.05
done
"$@"
