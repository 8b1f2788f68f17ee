#!/usr/bin/env bash
# Builds the libFuzzer targets and runs each for SECONDS (default 600), at most JOBS (default 2) at a
# time. Usage: bash fuzz/run.sh [SECONDS] [JOBS] [TARGET...]
# Each target's new inputs go to build/fuzz/corpus-NAME, its log to build/fuzz/NAME.log, and any input
# that crashed, leaked, ran out of memory or hit undefined behaviour to build/fuzz/artifacts-NAME/ (slow
# ones too, counted apart). Exits non-zero if there is a finding.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-600}
jobs=${2:-2}
shift $(( $# > 2 ? 2 : $# ))
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(board_read board_render canvas_contrast html_text image_decode image_format_detector
           manifest_decode manifest_quick_decode update_manifest)
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}"

out=build/fuzz
run_one() {
  local name=$1
  mkdir -p "$out/corpus-$name" "$out/artifacts-$name"
  # Returns non-zero on a finding; the summary below reads the log either way.
  "$out/fuzz/$name" "$out/corpus-$name" "fuzz/corpus/$name" -max_total_time="$seconds" \
    -artifact_prefix="$out/artifacts-$name/" -print_final_stats=1 >"$out/$name.log" 2>&1 || true
}

running=0
for name in "${targets[@]}"; do
  run_one "$name" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait -n || true
    running=$((running - 1))
  fi
done
wait

failed=0
for name in "${targets[@]}"; do
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$out/$name.log" | tail -1)
  # Slow inputs are noted, not failures: under the sanitizers and a loaded machine they are common.
  findings=$(find "$out/artifacts-$name" -type f ! -name 'slow-unit-*' | wc -l)
  slow=$(find "$out/artifacts-$name" -type f -name 'slow-unit-*' | wc -l)
  echo "$name: ${executions:-?} executions, $findings findings, $slow slow inputs"
  [ "$findings" -eq 0 ] || failed=1
done
exit "$failed"
