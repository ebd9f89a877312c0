# Sourced by the other scripts: Debian packages and builds. Needs bash; leaves nothing running.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

build_packages=(
  g++ cmake ninja-build pkg-config
  qt6-base-dev qt6-svg-dev libgl-dev libxkbcommon-dev
  libqrcodegencpp-dev libexpected-dev libxcb1-dev libxcb-xfixes0-dev libwayland-dev libicu-dev libcli11-dev
  libssl-dev libboost1.81-dev libboost-json1.81-dev libsqlite3-dev
)
# Node.js and its npm may be there from elsewhere.
command -v node >/dev/null && command -v npm >/dev/null || build_packages+=(nodejs npm)
demo_packages=(xvfb xclip)
test_packages=(
  libgtest-dev libgmock-dev xvfb xclip xsel zbar-tools imagemagick openssl iproute2
  dbus-daemon openbox trayer lxqt-panel xfce4-panel xdotool x11-utils fonts-inter fonts-noto-cjk
  sway kwin-wayland mutter xwayland wl-clipboard chromium
  dpkg-dev lintian desktop-file-utils appstream mandoc systemd zsh fish
)
package_packages=(dpkg-dev file)
try_packages=(debootstrap openssl xvfb x11-utils)
bench_packages=(libbenchmark-dev xvfb xclip)

# need PURPOSE PACKAGE…: installs those that are missing, saying so first.
need() {
  local purpose=$1 missing=() package
  shift
  for package in "$@"; do
    dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null | grep -q '^ii' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing from Debian's packages $purpose: ${missing[*]}" >&2
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "That needs root and there is no sudo. As root, run: apt-get install ${missing[*]}" >&2
      exit 1
    }
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get update -qq >&2 || true
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2 </dev/null
}

# unpacked PROGRAM…: takes those that are missing out of Debian's packages of the same names, into
# build/unpacked, where the build looks for them. For servers: installed, Debian would start them as
# services there and then, listening on port 80 of whoever only runs tests, and nothing short of a
# change to that system keeps it from doing so.
unpacked() {
  local folder=$root/build/unpacked program
  for program in "$@"; do
    PATH=$PATH:/usr/sbin:$folder/usr/sbin:$folder/usr/bin command -v "$program" >/dev/null && continue
    echo "Unpacking Debian's package $program into build/unpacked" >&2
    mkdir -p "$folder"
    (cd "$folder" && rm -f ./*.deb && apt-get download -qq "$program" 2>download.log) || {
      cat "$folder/download.log" >&2
      exit 1
    }
    dpkg-deb -x "$folder"/*.deb "$folder"
  done
}

# build PRESET [ARGUMENT OF THE BUILD…]: configures and builds into build/PRESET.
build() {
  local preset=$1 launcher=() log
  shift
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  mkdir -p build
  log=build/$preset.configure.log
  cmake --preset "$preset" "${launcher[@]}" >"$log" 2>&1 || {
    cat "$log" >&2
    exit 1
  }
  cmake --build --preset "$preset" "$@" >&2
}
