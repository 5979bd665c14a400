#!/bin/sh
# Formatting of all sources, and clang-tidy over those named, or all. Each is looked at alone, as the
# build, which compiles many at once, does not.
# Usage: lint.sh [FILE…]
set -eu
cd "$(dirname "$0")/.."

git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror

cmake --preset lint -DTARNVALE_DESKTOP=ON -DTARNVALE_TESTS=ON >/dev/null
# The toolkit's generated headers.
cmake --build --preset lint --target tv_platform_qt_autogen >/dev/null
[ $# -gt 0 ] || set -- $(git ls-files '*.cpp')
printf '%s\n' "$@" | grep '\.cpp$' |
  xargs -r -P "$(nproc)" -n 2 clang-tidy -p build/lint --quiet --warnings-as-errors='*'
