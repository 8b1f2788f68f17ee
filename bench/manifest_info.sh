#!/usr/bin/env bash
# Times `zorvi info` on a board whose manifest is 10.8 MB (10,000 items) beside its floor as a process of
# its own (bench/manifest_floor.cpp: libdeflate's inflate and simdjson's DOM), with hyperfine, and prints
# the ratio of the medians.
#   bench/manifest_info.sh [BUILD_DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/release}" && pwd)
for tool in "$build/bin/zorvi" "$build/bench/manifest_floor" "$build/bench/manifest_bench"; do
  [ -x "$tool" ] || { echo "manifest_info: $tool is missing: build the release preset" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
ZORVI_BENCH_MANIFEST_BOARD="$work/large.zorvi" "$build/bench/manifest_bench" --benchmark_filter=BM_OpenLargeBoard \
  --benchmark_min_time=0.01 >/dev/null 2>&1
hyperfine --shell=none --warmup 3 --min-runs 30 --style none --export-json "$work/h.json" \
  "$build/bin/zorvi info $work/large.zorvi" "$build/bench/manifest_floor $work/large.zorvi" >/dev/null
python3 - "$work/h.json" << 'PY'
import json, sys
ours, floor = json.load(open(sys.argv[1]))["results"]
print("zorvi info: %.1f ms, floor: %.1f ms (medians), ratio %.2f" % (ours["median"] * 1e3, floor["median"] * 1e3,
                                                                     ours["median"] / floor["median"]))
PY
