#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds the command with the text module it loads, and renders the
# bundled example board to example.png as an installed copy does.
# Options: --no-setup (the packages are there already), --build-dir DIR (default build/release),
# --out FILE (default example.png).
set -euo pipefail
cd "$(dirname "$0")/.."

setup=yes
build=build/release
out=example.png
while [ $# -gt 0 ]; do
  case "$1" in
    --no-setup) setup=no ;;
    --build-dir) build=$2; shift ;;
    --out) out=$2; shift ;;
    *) echo "usage: bash scripts/run-example.sh [--no-setup] [--build-dir DIR] [--out FILE]" >&2; exit 2 ;;
  esac
  shift
done

if [ "$setup" = yes ]; then bash scripts/setup.sh; fi
cmake --preset release -B "$build"
# The text module is a library of its own beside the command, which finds it as it would once installed.
cmake --build "$build" --target zorvi zorvi_text

zorvi=$build/bin/zorvi
"$zorvi" thumbnail examples/example.zorvi "$out" --size 512
echo "run-example: wrote $out (the example board, 512 pixels on its longer side)"
"$zorvi" info examples/example.zorvi
