#!/usr/bin/env bash
# Sets up, builds and runs every test: a Debug build, the same under ASan+UBSan, and the
# fuzz targets built with clang.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

cmake --preset dev
cmake --build --preset dev
ctest --preset dev

cmake --preset asan
cmake --build --preset asan
ctest --preset asan

cmake --preset fuzz
cmake --build --preset fuzz
