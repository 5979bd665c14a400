#!/bin/sh
# The Debian packages that building, testing and linting need: the one list.
# With "install" as its argument it installs those that are missing, as root; otherwise it prints them.
set -eu

packages="
  g++ cmake ninja-build pkg-config ccache
  libfmt-dev libplist-dev libutf8proc-dev uuid-dev libcli11-dev libext2fs-dev libsystemd-dev
  libgtest-dev
  clang-format clang-tidy
  python3 util-linux nodejs npm
"

missing() {
  for package in $packages; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
  done
}

if [ "${1:-}" != install ]; then
  echo $packages
  exit 0
fi

needed=$(missing)
[ -z "$needed" ] && exit 0
if [ "$(id -u)" -ne 0 ]; then
  echo "These packages are missing; have them installed and try again:" >&2
  echo "  apt-get install" $needed >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -q
# shellcheck disable=SC2086
apt-get install -q -y --no-install-recommends $needed
