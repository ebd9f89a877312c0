#!/usr/bin/env bash
# fresh_debian.sh DIR: what whoever installs the packages of DIR on a fresh Debian 12 meets. Makes
# that Debian in a temporary folder by debootstrap, from where this machine's apt gets its packages,
# installs, starts both programs, upgrades, and removes until nothing is left. Needs root.
set -euo pipefail
debs=$(cd "$1" && pwd)
release=bookworm
fresh=$(mktemp -d)
chmod 755 "$fresh" # apt reads as a user of its own
hub_pid= x_pid= agent_pid=

finish() {
  local pid
  for pid in $agent_pid $hub_pid $x_pid; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  mountpoint -q "$fresh/proc" && umount "$fresh/proc"
  rm -rf --one-file-system "$fresh"
}
trap finish EXIT
step() { printf '== %s\n' "$1"; }
fail() {
  printf 'FAILED: %s\n' "$1" >&2
  exit 1
}
within() { # SECONDS COMMAND…: until the command succeeds
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ $SECONDS -lt $end ] || return 1
    sleep 0.1
  done
}
# An array, so that a program in the background is the process that is ended later.
inside=(env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8
  DEBIAN_FRONTEND=noninteractive chroot "$fresh")
left() { (cd "$fresh" && find . -xdev -iname '*sorrelwind*' -not -path './proc/*' -not -path './debs/*'); }

step "a fresh Debian"
mirror=$(apt-get indextargets --format '$(CODENAME) $(SITE)' 'Created-By: Packages' |
  awk -v release=$release '$1 == release { print $2; exit }')
debootstrap --variant=minbase $release "$fresh" "$mirror" >"$fresh.log" 2>&1 || {
  tail -n 20 "$fresh.log" >&2
  rm -f "$fresh.log"
  fail "debootstrap"
}
rm -f "$fresh.log"
cp /etc/resolv.conf /etc/hosts "$fresh/etc"
rm -f "$fresh/etc/apt/sources.list"
for kind in sources.list sources.list.d apt.conf.d trusted.gpg.d auth.conf.d; do
  if [ -e "/etc/apt/$kind" ]; then
    rm -rf "$fresh/etc/apt/$kind"
    cp -rL "/etc/apt/$kind" "$fresh/etc/apt/$kind"
  fi
done
mount -t proc proc "$fresh/proc" 2>/dev/null || true # where that is allowed
printf '#!/bin/sh\nexit 101\n' >"$fresh/usr/sbin/policy-rc.d" # services are not started in here
chmod 755 "$fresh/usr/sbin/policy-rc.d"
mkdir "$fresh/debs"
cp "$debs"/*.deb "$fresh/debs"
"${inside[@]}" apt-get update -qq

step "install with nothing but what the packages depend on"
"${inside[@]}" sh -c 'apt-get install -y -qq --no-install-recommends /debs/sorrelwind_*.deb /debs/sorrelwind-hub-bin_*.deb' >/dev/null
"${inside[@]}" dpkg --verify sorrelwind sorrelwind-hub-bin
for program in sorrelwind sorrelwind-hub; do
  "${inside[@]}" $program --version
  if "${inside[@]}" ldd /usr/bin/$program | grep 'not found'; then fail "libraries of $program"; fi
done
enabled() { [ -L "$fresh/etc/systemd/system/multi-user.target.wants/sorrelwind-hub.service" ]; }
! enabled || fail "a service starts by itself"

step "the hub starts, and its doctor finds nothing wrong"
"${inside[@]}" apt-get install -y -qq --no-install-recommends ca-certificates >/dev/null 2>&1
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 90 -subj /CN=localhost \
  -addext subjectAltName=DNS:localhost -keyout "$fresh/root/key.pem" -out "$fresh/root/cert.pem" 2>/dev/null
cp "$fresh/root/cert.pem" "$fresh/usr/local/share/ca-certificates/hub.crt"
"${inside[@]}" update-ca-certificates >/dev/null
"${inside[@]}" sorrelwind-hub --listen 127.0.0.1:0 --data /var/lib/sorrelwind-hub \
  --tls-cert /root/cert.pem --tls-key /root/key.pem 2>"$fresh/hub.log" &
hub_pid=$!
within 20 grep -q 'listening on' "$fresh/hub.log" || fail "the hub did not start: $(cat "$fresh/hub.log")"
hub=https://localhost:$(sed -n 's/.*listening on https:\/\/127.0.0.1://p' "$fresh/hub.log")
"${inside[@]}" sorrelwind-hub doctor --idle 0 "$hub"

step "the agent starts, headless"
"${inside[@]}" sorrelwind create --server "$hub" >/dev/null || fail "no group made over TLS"
"${inside[@]}" sorrelwind --headless 2>"$fresh/agent.log" &
agent_pid=$!
connected() { "${inside[@]}" sorrelwind status --json | grep -q '"connected"'; }
within 20 connected || fail "the agent does not connect: $("${inside[@]}" sorrelwind status; cat "$fresh/agent.log")"
"${inside[@]}" sorrelwind status
"${inside[@]}" sorrelwind quit
wait "$agent_pid" || fail "the agent ended with $?"
agent_pid=

step "the agent starts, with its windows"
exec 7<>"$fresh.display"
Xvfb -displayfd 7 -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 7>"$fresh.display" &
x_pid=$!
within 20 test -s "$fresh.display" || fail "Xvfb did not start"
display=:$(cat "$fresh.display")
inside=(env -i "DISPLAY=$display" "${inside[@]:2}")
exec 7>&-
rm -f "$fresh.display"
"${inside[@]}" sorrelwind --config-dir /root/other 2>"$fresh/agent.log" &
agent_pid=$!
shown() { DISPLAY=$display xwininfo -root -tree | grep -i sorrelwind; }
within 20 shown || fail "no window: $(cat "$fresh/agent.log")"
shown | head -n 2
"${inside[@]}" sorrelwind --config-dir /root/other quit
wait "$agent_pid" || fail "the agent ended with $?"
agent_pid=
kill "$hub_pid" && wait "$hub_pid" || fail "the hub ended with $?"
hub_pid=

step "the hub as a service"
"${inside[@]}" sh -c 'apt-get install -y -qq --no-install-recommends /debs/sorrelwind-hub_*.deb' >/dev/null
enabled || fail "the hub's service is not enabled"

step "upgrade to the same version keeps what was configured"
echo 'SORRELWIND_HUB_OPTIONS="--listen 127.0.0.1:9999"' >"$fresh/etc/default/sorrelwind-hub"
"${inside[@]}" sh -c 'dpkg -i /debs/*.deb' >/dev/null
grep -q 9999 "$fresh/etc/default/sorrelwind-hub" || fail "the configuration was overwritten"

step "remove, then purge"
rm -rf "$fresh/root/.config" "$fresh/root/other"
"${inside[@]}" apt-get remove -y -qq sorrelwind sorrelwind-hub sorrelwind-hub-bin >/dev/null
[ -e "$fresh/var/lib/sorrelwind-hub/hub.db" ] || fail "removal took the memberships along"
[ -e "$fresh/etc/default/sorrelwind-hub" ] || fail "removal took the configuration along"
"${inside[@]}" apt-get purge -y -qq sorrelwind-hub >/dev/null
[ -z "$(left)" ] || fail "left behind: $(left)"
echo "nothing is left behind"
