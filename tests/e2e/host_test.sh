#!/usr/bin/env bash
# host_test.sh BIN-DIR: a group on a hub of this computer's own, made from the command line, with an
# agent running and without. In a network of its own, as the hub's port is always the same.
set -u
[ -n "${INSIDE:-}" ] || {
  unshare -rn true 2>/dev/null || exit 77 # not for everyone
  exec env INSIDE=1 unshare -rn bash "$0" "$@"
}
ip link set lo up && ip address add 192.0.2.7/24 dev lo && ip route add default dev lo || exit 77
bin=$1 failed=0 agent=
work=$(mktemp -d)
export HOME=$work XDG_CONFIG_HOME=$work/config LC_ALL=C.UTF-8
# Nobody's systemd, desktop or hub.
unset XDG_RUNTIME_DIR XDG_STATE_HOME DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY SORRELWIND_SERVER

finish() {
  stop
  rm -rf "$work"
}
trap finish EXIT
start() { # CONFIG-DIR
  "$bin/sorrelwind" --headless --config-dir "$1" 2>>"$work/agent.log" &
  agent=$!
  within sorrelwind "$1" status || wrong "the agent does not answer"
}
stop() {
  [ -z "$agent" ] || { kill "$agent" 2>/dev/null && wait "$agent"; }
  agent=
}
wrong() {
  printf 'FAILED: %s\n' "$1" >&2
  cat "$work/err" "$work/agent.log" >&2 2>/dev/null
  failed=1
}
within() { # COMMAND…: until it succeeds, 20 s at most
  local end=$((SECONDS + 20))
  until "$@" >"$work/within" 2>&1; do
    [ $SECONDS -lt $end ] || return 1
    sleep 0.1
  done
}
sorrelwind() { "$bin/sorrelwind" --config-dir "$@"; }
create() { sorrelwind "$1" create --host >"$work/out" 2>"$work/err"; }
connected() { sorrelwind "$1" status --json | grep -q '"connection": "connected"'; }
listens() { (exec 3<>/dev/tcp/127.0.0.1/8788) 2>/dev/null; }
hosts() { grep -q '"hostHub": "child"' "$1/preferences.json"; }

# Without an agent, which takes the hub up when it comes.
alone=$work/alone
create "$alone" || wrong "create --host without an agent"
grep -q 'http://192.0.2.7:8788' "$work/err" || wrong "the address is not said"
grep -qE '^([a-z0-9]{5}-){3}[a-z0-9]{5}$' "$work/out" || wrong "the passphrase is not printed"
listens && wrong "the hub outlives whoever started it"
start "$alone"
within connected "$alone" || wrong "the agent does not go on with the hub"

# Another device's agent cannot host at the same port, and nothing stays behind.
other=$work/other
create "$other" && wrong "two hubs at one port"
grep -q 'Port 8788 is in use' "$work/err" || wrong "it is not said why"
hosts "$other" && wrong "what did not start is remembered"

# Through the agent that runs, which hosts already, and through one that does not.
sorrelwind "$alone" leave
create "$alone" && within connected "$alone" || wrong "create --host where the hub runs"
stop
start "$other"
create "$other" && within connected "$other" && hosts "$other" || wrong "create --host through the agent"
stop

# A hub that the group's address does not lead to is taken back, with an agent and without.
mkdir "$work/bin"
cp "$bin/sorrelwind" "$work/bin"
printf '#!/bin/sh\nexec "%s/sorrelwind-hub" --listen 127.0.0.1:8788\n' "$bin" >"$work/bin/sorrelwind-hub"
chmod +x "$work/bin/sorrelwind-hub"
bin=$work/bin
for folder in "$work/unreached" "$work/unreached-by-agent"; do
  create "$folder" && wrong "a group on a hub that nobody reaches"
  grep -q "Can't reach the server" "$work/err" || wrong "the reason is not said"
  hosts "$folder" && wrong "the hub goes on without a group"
  within eval '! listens' || wrong "the hub still runs"
  [ -n "$agent" ] || start "$work/unreached-by-agent"
done
exit $failed
