#!/bin/sh
# Runs a command in a mount namespace of its own, for an ordinary user in a user namespace with it,
# where /run is an empty file system in memory and HOME a scratch folder. Nothing stays mounted, and
# the scratch folder is removed.
# Usage: in-namespace.sh COMMAND [ARGUMENT…]
set -eu

scratch=$(mktemp -d "${TMPDIR:-/tmp}/tarnvale-scratch-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
trap 'exit 130' INT TERM

[ "$(id -u)" -eq 0 ] && user= || user=--map-root-user
status=0
# shellcheck disable=SC2016,SC2086
unshare $user --mount --propagation private sh -c '
  scratch=$1
  shift
  mount -t tmpfs tmpfs /run
  mkdir "$scratch/home"
  export HOME="$scratch/home" SCRATCH="$scratch"
  unset XDG_DATA_HOME XDG_CONFIG_HOME XDG_CACHE_HOME XDG_RUNTIME_DIR
  exec "$@"
' sh "$scratch" "$@" || status=$?

if grep -q " $scratch" /proc/self/mountinfo; then
  echo "something is still mounted in $scratch" >&2
  exit 1
fi
exit $status
