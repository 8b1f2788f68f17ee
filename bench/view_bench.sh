#!/usr/bin/env bash
# The viewer's frame time on the large board of bench/ (150 JPEGs) in a 3840 × 2160 window with warm
# caches, and its time from opening the typical board (twelve images) to the first picture.
#
#   bench/view_bench.sh [BUILD_DIR] [WORK_DIR]      (BUILD_DIR: a release build)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/release}" && pwd)
work=${2:-${TMPDIR:-/tmp}/zorvi-bench}
[ -x "$build/bench/view_bench" ] || { echo "view_bench: build the release preset with GTK 4 installed" >&2; exit 1; }
python3 "$root/bench/make_bench_boards.py" boards "$work" >/dev/null
"$build/bench/view_bench" "$work/large.zorvi" "$work/typical.zorvi" --benchmark_counters_tabular=true
