#!/usr/bin/env bash
# Thumbnails of many small boards: one `zorvi thumbnail --out-dir` run against one process per board,
# the way a script without the batch form does it (one after another, and N at a time with xargs -P).
#
#   bench/batch_thumbnail_bench.sh [BUILD_DIR] [COUNT]
#
# BUILD_DIR defaults to build/release; COUNT (200) copies of examples/example.zorvi (30 KB: a JPEG, a
# PNG, a WebP and an AVIF, text, shapes and drawings) are drawn at 256 px. Wall times are medians of
# hyperfine runs; CPU is user + system, a mean.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/release}" && pwd)
count=${2:-200}
zorvi=$build/bin/zorvi
[ -x "$zorvi" ] || { echo "batch_thumbnail_bench: $zorvi is missing: build the release preset" >&2; exit 1; }
command -v hyperfine > /dev/null || { echo "batch_thumbnail_bench: hyperfine is missing (scripts/setup.sh)" >&2; exit 1; }
cores=$(nproc)

work=$(mktemp -d "${TMPDIR:-/tmp}/zorvi-batch-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/boards"
for i in $(seq -w 1 "$count"); do cp "$root/examples/example.zorvi" "$work/boards/board-$i.zorvi"; done
cd "$work"

measure() {  # measure NAME COMMAND: prints "NAME  wall ms  cpu ms  ms per board"
  local name=$1 command=$2
  hyperfine --warmup 1 --runs 5 --prepare 'rm -rf out; mkdir out' --style none --export-json h.json -- "$command" \
    > /dev/null 2>&1 || { echo "failed: $command" >&2; exit 1; }
  [ "$(ls out | wc -l)" -eq "$count" ] || { echo "$name wrote $(ls out | wc -l) of $count pictures" >&2; exit 1; }
  python3 -c '
import json, sys
r = json.load(open("h.json"))["results"][0]
wall, cpu, n = r["median"] * 1000, (r["user"] + r["system"]) * 1000, int(sys.argv[2])
print("%-34s %9.0f %9.0f %8.2f" % (sys.argv[1], wall, cpu, wall / n))' "$name" "$count"
}

echo "$count boards, 256 px, $cores cores"
printf '%-34s %9s %9s %8s\n' "" "wall ms" "cpu ms" "ms/board"
measure "one process per board" "for b in boards/*.zorvi; do n=\${b##*/}; $zorvi thumbnail \$b out/\${n%.zorvi}.png; done"
measure "one process per board, xargs -P $cores" \
  "ls boards/*.zorvi | xargs -P $cores -I{} sh -c 'n=\${1##*/}; exec $zorvi thumbnail \$1 out/\${n%.zorvi}.png' _ {}"
measure "--out-dir, -j 1" "$zorvi thumbnail --out-dir out -j 1 boards/*.zorvi"
measure "--out-dir, -j $cores (default)" "$zorvi thumbnail --out-dir out boards/*.zorvi"
