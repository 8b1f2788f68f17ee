#!/usr/bin/env bash
# The 10,000-item vector board (titled shapes, text boxes, dashed drawings) drawn at 256 px by the board
# renderer, against the same shapes drawn straight with Cairo (BM_VectorBoardCairoFloor in
# board_render_bench.cpp says what that floor draws), in one run with the runs interleaved.
#
#   bench/vector_board_bench.sh [BUILD_DIR] [REPETITIONS]
#
# BUILD_DIR defaults to build/release (cmake --preset release && cmake --build --preset release).
# Prints each median wall and CPU time and the renderer's ratio to each floor; on a shared machine the
# CPU time is the steadier of the two.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/release}
repetitions=${2:-9}
bench=$build/bench/board_render_bench
[ -x "$bench" ] || { echo "vector_board_bench: $bench is missing: build the release preset" >&2; exit 1; }

"$bench" --benchmark_filter='^BM_(RenderVectorBoard/10000|VectorBoardCairoFloor/items:10000/.*)$' \
  --benchmark_repetitions="$repetitions" --benchmark_enable_random_interleaving=true \
  --benchmark_report_aggregates_only=true --benchmark_format=json 2>/dev/null |
  python3 -c '
import json, sys
medians = {b["run_name"]: b for b in json.load(sys.stdin)["benchmarks"] if b.get("aggregate_name") == "median"}
labels = {
    "BM_RenderVectorBoard/10000": "renderer",
    "BM_VectorBoardCairoFloor/items:10000/dashesAsStored:1": "Cairo floor, dashes as stored",
    "BM_VectorBoardCairoFloor/items:10000/dashesAsStored:0": "Cairo floor, dashes under a pixel solid",
}
render = medians["BM_RenderVectorBoard/10000"]
for name, label in labels.items():
    b = medians[name]
    line = "%-40s %8.1f ms wall %8.1f ms cpu" % (label, b["real_time"], b["cpu_time"])
    if b is not render:
        line += "   renderer / floor: %.2f wall, %.2f cpu" % (render["real_time"] / b["real_time"], render["cpu_time"] / b["cpu_time"])
    print(line)
'
