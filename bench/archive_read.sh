#!/usr/bin/env bash
# Builds a board holding 100 MiB of stored images and prints how fast zorvi reads it next to
# `unzip -p BOARD > /dev/null` on the same file (best of five runs each, warm page cache), then reading
# its images in the library: into a bundle, viewed where they lie, and the floor of the latter (the file
# mapped and its CRC-32 computed), with the ratio of the pair.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/release
if [ ! -x "$build/bin/zorvi" ] || [ ! -x "$build/bench/archive_bench" ]; then
  cmake --preset release > /dev/null
  cmake --build --preset release --target zorvi archive_bench
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/board/images"
cat > "$work/board/manifest.json" << 'JSON'
{"schemaVersion": 8, "items": [], "board": {"id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8",
 "name": "Heavy", "createdAt": "2025-03-14T09:26:53Z", "modifiedAt": "2025-03-14T09:26:53Z",
 "canvas": {"backgroundColor": "#FFFFFF", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}}}}
JSON
for i in $(seq 1 50); do head -c 2097152 /dev/urandom > "$work/board/images/$i.jpg"; done
board="$work/heavy.zorvi"
"$build/bin/zorvi" pack "$work/board" "$board"
bytes=$((50 * 2097152))

# Prints the fastest of five runs of the command, in nanoseconds.
fastest() {
  local best=0 start end
  for _ in 1 2 3 4 5; do
    start=$(date +%s%N)
    "$@" > /dev/null
    end=$(date +%s%N)
    if [ "$best" -eq 0 ] || [ $((end - start)) -lt "$best" ]; then best=$((end - start)); fi
  done
  echo "$best"
}

cat "$board" > /dev/null
ours=$(fastest "$build/bin/zorvi" info "$board")
theirs=$(fastest unzip -p "$board")
rate() { awk -v b="$bytes" -v ns="$1" 'BEGIN { printf "%.0f MB/s (%.1f ms)", b / ns * 1000, ns / 1e6 }'; }
echo "board: $(stat -c %s "$board") bytes, $bytes of them image data"
echo "zorvi info:   $(rate "$ours")"
echo "unzip -p:     $(rate "$theirs")"
ZORVI_BENCH_BOARD="$board" "$build/bench/archive_bench" --benchmark_filter='readFrom|viewFrom|mappedCrc' \
  --benchmark_out="$work/bench.json" --benchmark_out_format=json
python3 - "$work/bench.json" << 'PY'
import json, sys
times = {b["name"]: b["real_time"] for b in json.load(open(sys.argv[1]))["benchmarks"]}
view, floor = times["viewFromFile/min_time:2.000"], times["mappedCrcFloor/min_time:2.000"]
print("viewed in place: %.1f ms, floor (mapped + CRC-32): %.1f ms, ratio %.2f" % (view, floor, view / floor))
PY
