#!/bin/sh
# The main job, for real: a RAM disk over a directory of a few thousand files, filled from it, used,
# and ejected with everything written back, in a scratch home that leaves nothing behind.
# Usage: demo.sh BUILD_FOLDER
set -eu

if [ -z "${SCRATCH:-}" ]; then
  "$(dirname "$0")/in-namespace.sh" sh "$0" "$(cd "$1" && pwd)"
  echo
  echo "Nothing is left mounted, and the scratch folder is gone."
  exit 0
fi

tarnvale=$1/bin/tarnvale
scratch=$SCRATCH
folder=$HOME/project/build
mkdir -p "$folder"

now() { date +%s%N; }
step() { # title, command…
  title=$1
  shift
  echo
  echo "== $title"
  began=$(now)
  "$@"
  echo "   ($(((($(now) - began)) / 1000000)) ms)"
}

fill() { # a few thousand files of mixed sizes
  for directory in $(seq 1 60); do
    mkdir -p "$folder/unit$directory/objects"
    for file in $(seq 1 50); do
      printf 'unit %s file %s\n' "$directory" "$file" >"$folder/unit$directory/objects/$file.o"
    done
    head -c $((directory * 20000)) /dev/urandom >"$folder/unit$directory/library.a"
  done
  ln -s ../unit1/library.a "$folder/unit2/link.a"
  ln "$folder/unit1/library.a" "$folder/unit3/same.a"
}

work() { # in the directory named, the changes that a build would make
  printf 'changed\n' >"$1/unit5/objects/7.o"
  head -c 500000 /dev/zero | tr '\0' x >"$1/unit6/new library.a"
  rm -r "$1/unit60"
  mkdir "$1/added" && printf 'new\n' >"$1/added/file"
  touch -d @1700000000 "$1/unit5/objects/7.o" "$1/unit6/new library.a" "$1/added/file"
}

describe() { # names, kinds, modes, sizes, times and contents of all in the directory named
  (cd "$1" && find . -mindepth 1 \( -type d -printf '%P %y %m\n' -o -printf '%P %y %m %s %T@ %l\n' \) |
    LC_ALL=C sort && find . -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum)
}

step "A directory of $((60 * 51)) files and a reference copy of it" fill
cp -a "$folder" "$scratch/reference"
step "A RAM disk over it, saved back on eject" "$tarnvale" add "$folder" --size 512M
step "Created: the contents move into memory" "$tarnvale" create build
step "The directory is now in memory" df -h --output=fstype,size,used,avail,target "$folder"
step "Work goes on in it" work "$folder"
work "$scratch/reference"
step "All disks" "$tarnvale" list
step "Ejected: everything is written back" "$tarnvale" eject build
step "All disks" "$tarnvale" list

echo
if grep -q " $folder " /proc/self/mountinfo; then
  echo "demo: $folder is still mounted" >&2
  exit 1
fi
describe "$folder" >"$scratch/after"
describe "$scratch/reference" >"$scratch/expected"
if ! diff "$scratch/expected" "$scratch/after" >&2; then
  echo "demo: the directory is not what it should be" >&2
  exit 1
fi
beside=$(ls "$HOME/project")
[ "$beside" = build ] || { echo "demo: left beside the directory: $beside" >&2; exit 1; }
echo "The directory is back on disk with exactly the changes: $(wc -l <"$scratch/after") lines of" \
  "names, kinds, modes, sizes, times, links and checksums are the same as in the reference copy."
