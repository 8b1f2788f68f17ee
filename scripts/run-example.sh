#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds, and shows the bundled example board with zorvi.
set -euo pipefail
cd "$(dirname "$0")/.."

example=examples/example.zorvi
if [ ! -f "$example" ]; then
  echo "run-example: $example is missing; it comes with the example board's branch" >&2
  exit 1
fi

bash scripts/setup.sh
cmake --preset release
cmake --build --preset release --target zorvi
build/release/tools/zorvi/zorvi info "$example"
build/release/tools/zorvi/zorvi manifest "$example"
