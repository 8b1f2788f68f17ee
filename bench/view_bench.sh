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

# The whole start as a user sees it: from starting the program on an X server (Xvfb) to its first
# picture of the typical board drawn, the median of 7 runs. The toolkit's own start is in it.
viewer=$build/bin/zorvi-view
if command -v Xvfb >/dev/null && [ -x "$viewer" ]; then
  display=:$((100 + RANDOM % 400))
  Xvfb "$display" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
  xvfb=$!
  trap 'kill $xvfb 2>/dev/null' EXIT
  sleep 1
  times=()
  for _ in 1 2 3 4 5 6 7; do
    start=$(date +%s.%N)
    shown=$(DISPLAY=$display "$viewer" --first-frame "$work/typical.zorvi" 2>/dev/null | awk '/^first frame at/ { print $4 }')
    [ -n "$shown" ] && times+=("$(awk -v a="$start" -v b="$shown" 'BEGIN { printf "%.1f", (b - a) * 1000 }')")
  done
  printf '%s\n' "${times[@]}" | sort -n | awk '{ t[NR] = $1 } END { if (NR) printf "start to first picture in a window (Xvfb): %s ms median of %d\n", t[int((NR + 1) / 2)], NR }'
fi
