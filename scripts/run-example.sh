#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds, and renders the bundled example board to example.png.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake --preset release
cmake --build --preset release --target zorvi

zorvi=build/release/bin/zorvi
"$zorvi" thumbnail examples/example.zorvi example.png --size 512
echo "run-example: wrote example.png (the example board, 512 pixels on its longer side)"
"$zorvi" info examples/example.zorvi
