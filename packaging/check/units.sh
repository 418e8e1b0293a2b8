#!/usr/bin/env bash
# units.sh: starts each unit of the packages once, and checks what it has done. check.sh runs this as the only service of
# a booted system with the packages. Ends the system with its own status.
set -euo pipefail
trap 'systemctl exit "$?"' EXIT

fail() {
  printf 'units: %s\n' "$*" >&2
  systemctl --no-pager status 'annal*' >&2 || true
  journalctl --no-pager -n 40 >&2 || true
  exit 1
}
# eventually WHAT COMMAND...: the command succeeds within some seconds.
eventually() {
  local tries
  for ((tries = 0; tries < 100; ++tries)); do
    ! "${@:2}" >/dev/null 2>&1 || return 0
    sleep 0.1
  done
  fail "$1"
}
property() { systemctl show --value -p "$2" "$1"; }
user_of() { stat -c %U "/proc/$(property "$1" MainPID)"; }
succeeded() { [[ $(property "$1" Result) == success && $(property "$1" NRestarts) == [0n]* ]] || fail "$1: $(property "$1" Result)"; }

mapfile -t units < <(dpkg -L annalctl annal-export annal-collect | grep -E '^/lib/systemd/system/[^/]+\.(service|timer)$')
((${#units[@]} == 6)) || fail "the packages bring other units: ${units[*]}"
# A minimal system has no pages, which are looked for on the machine that builds them.
said=$(systemd-analyze --man=no verify "${units[@]}" 2>&1) || fail "systemd-analyze verify: $said"
[[ -z $said ]] || fail "systemd-analyze verify: $said"
for unit in "${units[@]}"; do
  name=${unit##*/}
  # Whether entries are deleted, sealed or sent is for the administrator to say.
  [[ $(systemctl is-enabled "$name") =~ ^(disabled|static)$ ]] || fail "$name is enabled by its installation"
  [[ $(property "$name" ActiveState) == inactive ]] || fail "$name is started by its installation"
  [[ $name != *.service ]] || systemd-analyze security --offline=true --no-pager --threshold=40 "$unit" >/tmp/security ||
    fail "$name: $(tail -n 1 /tmp/security)"
  printf '%s: verified%s\n' "$name" "$(sed -n 's/^.*exposure level.*: \([0-9.]*\) .*/, exposure \1/p' /tmp/security 2>/dev/null)"
  rm -f /tmp/security
done

for log in event conn notice; do
  annalctl "$log" create
done
annalctl event add 'Of today.' --app Units

# Deletes what is old, and nothing else, for a file of file operations that another folder holds, too.
mkdir -p /srv/share /etc/systemd/system/annalctl-keep.service.d /etc/systemd/system/annalctl-seal.service.d
annalctl fileop --db /srv/share/operations.db create
for unit in keep seal; do
  printf '[Service]\nReadWritePaths=/srv/share\n' >"/etc/systemd/system/annalctl-$unit.service.d/share.conf"
done
systemctl daemon-reload
echo '2001-01-01 10:00:00 install foo:amd64 <none> 1.0' | annalctl event import - >/dev/null
annalctl event list --all | grep -q foo:amd64 || fail "there is no old entry"
echo 'ANNAL_KEEP=--days 365 --db /srv/share/operations.db' >/etc/default/annalctl-keep
systemctl start annalctl-keep.service || fail "annalctl-keep.service fails"
succeeded annalctl-keep.service
annalctl event list --all | grep -q foo:amd64 && fail "annalctl-keep.service has left an old entry"
annalctl event list --all | grep -q 'Of today' || fail "annalctl-keep.service has deleted a new entry"
echo 'annalctl-keep.service: has deleted the old entry'

echo 'ANNAL_SEAL=event conn notice --db /srv/share/operations.db --heads /srv/share/heads' >/etc/default/annalctl-seal
systemctl start annalctl-seal.service || fail "annalctl-seal.service fails"
succeeded annalctl-seal.service
annalctl verify event conn notice --db /srv/share/operations.db || fail "annalctl-seal.service has sealed nothing"
[[ $(wc -l </srv/share/heads) == 4 ]] || fail "annalctl-seal.service has not written four heads"
[[ $(stat -c '%a %U' /etc/annal/seal.key) == '600 root' ]] || fail "others may read the key"
echo 'annalctl-seal.service: has sealed the logs'

systemctl enable --now annalctl-keep.timer annalctl-seal.timer 2>/dev/null || fail "the timers cannot be enabled"
for timer in annalctl-keep.timer annalctl-seal.timer; do
  [[ $(property "$timer" ActiveState) == active && -n $(property "$timer" NextElapseUSecRealtime) ]] || fail "$timer does not wait"
  printf '%s: next at %s\n' "$timer" "$(property "$timer" NextElapseUSecRealtime)"
done

# The journal is the script that the records go to.
printf '[sink.out]\ntype = "stdout"\n' >/etc/annal-export.toml
systemctl enable --now annal-export.service 2>/dev/null || fail "annal-export.service cannot be started"
sent() { journalctl -q -o cat -u annal-export.service; }
was_sent() { sent | grep -F "\"message\":\"$1\""; }
eventually "annal-export.service has not sent an entry" was_sent 'Of today.'
annalctl event add 'While it runs.' --app Units
eventually "annal-export.service has not sent a new entry" was_sent 'While it runs.'
[[ $(user_of annal-export.service) != root ]] || fail "annal-export runs as root"
systemctl restart annal-export.service
annalctl event add 'After its restart.' --app Units
eventually "annal-export.service does not go on after a restart" was_sent 'After its restart.'
[[ $(was_sent 'Of today.' | wc -l) == 1 ]] || fail "annal-export.service has sent an entry twice"
systemctl stop annal-export.service
succeeded annal-export.service
[[ $(stat -c %a /var/lib/private/annal-export) == 700 ]] || fail "others may read the positions"
echo 'annal-export.service: has sent each entry once, as a user of its own'

# No server and no database there: it waits for them.
cat >/etc/annal-collect.toml <<'END'
[jetstream]
servers = ["nats://127.0.0.1:9"]
tls = "off"
[database]
host = "127.0.0.1"
port = 9
user = "collector"
tls = "off"
END
systemctl start annal-collect.service || fail "annal-collect.service cannot be started"
eventually "annal-collect.service says nothing of the server that is not there" \
  sh -c 'journalctl -q -o cat -u annal-collect.service | grep annal-collect:'
[[ $(property annal-collect.service ActiveState) == active ]] || fail "annal-collect.service does not wait for its server"
[[ $(user_of annal-collect.service) != root ]] || fail "annal-collect runs as root"
systemctl stop annal-collect.service
succeeded annal-collect.service
echo 'annal-collect.service: waits for its servers, as a user of its own'
