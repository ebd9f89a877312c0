#!/usr/bin/env bash
# packages_test.sh BUILD-DIR: makes the packages of what was built, twice, and looks at them as
# Debian's own tools do; then installs, upgrades, removes and purges them below a folder.
set -u
export LC_ALL=C.UTF-8
umask 022
build=$1 failed=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
SOURCE_DATE_EPOCH=1700000000
export SOURCE_DATE_EPOCH

wrong() {
  printf 'FAILED: %s\n' "$1" >&2
  failed=1
}
run() { # WHAT COMMAND…: its output only if it fails
  local what=$1
  shift
  "$@" >"$work/output" 2>&1 || {
    wrong "$what"
    cat "$work/output" >&2
  }
}
make() { # FOLDER
  (cd "$build" && cpack -B "$1") >"$work/cpack.log" 2>&1 || {
    cat "$work/cpack.log" >&2
    exit 1
  }
}
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(fakeroot)

make "$work/first"
make "$work/second"
for deb in "$work"/first/*.deb; do
  run "the same build makes the same package" cmp "$deb" "$work/second/${deb##*/}"
done
architecture=$(dpkg --print-architecture)
agent=$(echo "$work"/first/sorrelwind_*_"$architecture".deb)
hub=$(echo "$work"/first/sorrelwind-hub-bin_*_"$architecture".deb)
service=$(echo "$work"/first/sorrelwind-hub_*_all.deb)
packages=(sorrelwind sorrelwind-hub-bin sorrelwind-hub)
[ -f "$agent" ] && [ -f "$hub" ] && [ -f "$service" ] || {
  wrong "three packages: $(ls "$work/first")"
  exit 1
}

run "lintian" env TMPDIR="$work" lintian --allow-root --fail-on error,warning \
  --suppress-tags initial-upload-closes-no-bugs "$agent" "$hub" "$service" # they are not for Debian's archive
depends() { dpkg-deb -f "$1" Depends; }
version=$(dpkg-deb -f "$hub" Version)
[ "$(depends "$service")" = "sorrelwind-hub-bin (= $version)" ] || wrong "dependencies: $(depends "$service")"
[[ $(dpkg-deb -f "$agent" Recommends) == *sorrelwind-hub-bin* ]] || wrong "the agent does not bring the hub's program"
[[ $(depends "$agent") == *libqt6gui6* && $(depends "$agent") == *libc6\ \(* ]] || wrong "dependencies: $(depends "$agent")"
[[ $(depends "$hub") == *libssl3* && $(depends "$hub") != *libqt* ]] || wrong "dependencies: $(depends "$hub")"

# Every file with its mode; whatever else is in there has to be added here on purpose.
files() { dpkg-deb -c "$1" | awk '$1 !~ /^d/ { print $1, $2, substr($6, 2) }' | sort -k 3; }
expected() { # PACKAGE FILE…
  local file
  for file in /usr/share/doc/$1/{changelog.Debian.gz,copyright} "${@:2}"; do
    case $file in
      /usr/bin/*) echo "-rwxr-xr-x root/root $file" ;;
      *) echo "-rw-r--r-- root/root $file" ;;
    esac
  done | sort -k 3
}
program() { # NAME MAN-PAGE
  echo /usr/bin/$1 /usr/share/man/man${2##*.}/$2.gz /usr/share/bash-completion/completions/$1 \
    /usr/share/zsh/vendor-completions/_$1 /usr/share/fish/vendor_completions.d/$1.fish
}
run "files of the agent" diff <(files "$agent") <(expected sorrelwind $(program sorrelwind sorrelwind.1) \
  /usr/lib/systemd/user/sorrelwind.service /usr/share/applications/sorrelwind.desktop \
  /usr/share/icons/hicolor/scalable/apps/sorrelwind.svg /usr/share/metainfo/sorrelwind.metainfo.xml)
if [ -d "$build/share/sorrelwind-hub/web" ]; then
  run "the hub's page" diff <(cd "$build/share/sorrelwind-hub/web" && find . -type f | sort) \
    <(files "$hub" | sed -n 's:.* /usr/share/sorrelwind-hub/web/:./:p' | sort)
fi
run "files of the hub" diff <(files "$hub" | grep -v ' /usr/share/sorrelwind-hub/web/') \
  <(expected sorrelwind-hub-bin $(program sorrelwind-hub sorrelwind-hub.8))
run "files of the service" diff <(files "$service") <(expected sorrelwind-hub \
  /etc/default/sorrelwind-hub /usr/lib/systemd/system/sorrelwind-hub.service)

tree=$work/tree
for deb in "$agent" "$hub" "$service"; do run "unpacking" dpkg-deb -x "$deb" "$tree"; done
share=$tree/usr/share
run "desktop entry" desktop-file-validate "$share/applications/sorrelwind.desktop"
run "metadata" appstreamcli validate --no-net --no-color "$share/metainfo/sorrelwind.metainfo.xml"
gunzip -k "$share"/man/man?/*.gz
run "manual pages" mandoc -T lint -W warning "$share"/man/man?/*[1-8]
for shell in bash zsh fish; do
  for file in "$share/$shell"*/*completion*/*; do run "completion $file" "$shell" -n "$file"; done
done
# As the programs are not installed here, they are looked for where they were unpacked.
units=$work/units
mkdir "$units"
for unit in "$tree"/usr/lib/systemd/*/*.service; do
  sed "s:^ExecStart=/usr/bin/:ExecStart=$tree/usr/bin/:" "$unit" >"$units/${unit##*/}"
  run "unit ${unit##*/}" systemd-analyze verify --man=no "$units/${unit##*/}"
  [ ! -s "$work/output" ] || wrong "unit ${unit##*/}: $(cat "$work/output")"
done
run "the hub's unit is locked up" \
  systemd-analyze security --offline=true --threshold=15 "$units/sorrelwind-hub.service"

# dpkg's own work, with the maintainer scripts but without a system around.
host=$work/host
mkdir -p "$host/var/lib/dpkg/info" "$host/var/lib/dpkg/updates" "$host/var/log"
touch "$host/var/lib/dpkg/status"
dpkg() {
  "${as_root[@]}" /usr/bin/dpkg --root="$host" --log="$work/dpkg.log" --force-script-chrootless \
    --force-depends "$@"
}
wanted=$host/etc/systemd/system/multi-user.target.wants/sorrelwind-hub.service
option='SORRELWIND_HUB_OPTIONS="--listen 127.0.0.1:9"'
run "installation" dpkg -i "$agent" "$hub"
run "programs are in place" "$host/usr/bin/sorrelwind-hub" --version
[ -z "$(find "$host/etc" "$host/usr/lib/systemd/system" 2>/dev/null)" ] || wrong "the program brings a service"

# The service's first package had the program in it.
old=$work/old
mkdir "$old"
dpkg-deb -R "$service" "$old/both"
dpkg-deb -x "$hub" "$old/both"
rm -r "$old/both/usr/share/doc/sorrelwind-hub-bin"
sed -i -e 's/^Version:.*/Version: 0.1.0-1/' -e '/^Depends:/d' "$old/both/DEBIAN/control"
run "the old package" "${as_root[@]}" dpkg-deb --root-owner-group -b "$old/both" "$old/sorrelwind-hub.deb"
run "purge before the old package" dpkg --purge sorrelwind-hub-bin
run "installation of the old package" dpkg -i "$old/sorrelwind-hub.deb"
[ -L "$wanted" ] || wrong "the hub's service is not enabled"
rm "$wanted"
echo "$option" >"$host/etc/default/sorrelwind-hub"
mkdir -p "$host/var/lib/private/sorrelwind-hub"
ln -s private/sorrelwind-hub "$host/var/lib/sorrelwind-hub"
touch "$host/var/lib/private/sorrelwind-hub/hub.db"
run "upgrade" dpkg -i --auto-deconfigure "$hub" "$service"
run "the program after the upgrade" "$host/usr/bin/sorrelwind-hub" --version
[ -L "$wanted" ] && wrong "an upgrade enables what the administrator disabled"
run "options outlive an upgrade" grep -qF -- "$option" "$host/etc/default/sorrelwind-hub"
run "removal" dpkg --remove "${packages[@]}"
run "memberships outlive a removal" test -f "$host/var/lib/sorrelwind-hub/hub.db"
run "options outlive a removal" grep -qF -- "$option" "$host/etc/default/sorrelwind-hub"
run "purge" dpkg --purge "${packages[@]}"
left=$(find "$host" -iname '*sorrelwind*' | grep -v '/var/lib/dpkg/')
[ -z "$left" ] || wrong "left behind: $left"
exit $failed
