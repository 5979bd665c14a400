#!/bin/sh
# Formatting and clang-tidy over the whole project, against the compile commands of a build folder.
set -eu
build=$1

git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
git ls-files 'src/*.cpp' 'disktools/*.cpp' 'bench/*.cpp' |
  xargs -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet --warnings-as-errors='*'
