#!/bin/sh
# The Debian packages that the project needs: the one list, by purpose.
# Usage: packages.sh PURPOSE…   installs what is missing for these, as root; says it otherwise.
set -eu

# What `make run` builds and uses.
run="g++ make cmake ninja-build pkg-config libfmt-dev libutf8proc-dev uuid-dev
  libcli11-dev libext2fs-dev libsystemd-dev util-linux"
# The desktop programs and the tests.
build="qt6-base-dev librsvg2-bin libxcb1-dev libgtest-dev libplist-dev python3 ccache"
test="dbus xfsprogs btrfs-progs desktop-file-utils xvfb xdotool trayer at-spi2-core
  fonts-dejavu-core"
desktops="lxqt-panel"
bench="rsync e2fsprogs"
lint="clang-format clang-tidy"
mac="npm"

present() {
  dpkg-query -W -f '${Status}' "$1" 2>/dev/null | grep -q 'ok installed' && return 0
  [ "$1" = npm ] && command -v npm >/dev/null # also from elsewhere
}

needed=
for purpose in "$@"; do
  eval "packages=\$$purpose"
  for package in $packages; do
    present "$package" || needed="$needed $package"
  done
done
[ -z "$needed" ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "These packages are missing; have them installed and try again:" >&2
  echo "  apt-get install$needed" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -q
# shellcheck disable=SC2086
apt-get install -q -y --no-install-recommends $needed
