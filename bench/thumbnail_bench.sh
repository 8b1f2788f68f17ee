#!/usr/bin/env bash
# Measures `zorvi thumbnail` at 256 px, run by the Exec line of data/zorvi.thumbnailer as a file manager
# runs it, against what the same work costs elsewhere, in one run:
#   floor          decoding the board's images alone at the scale their frames need (decode_floor)
#   vipsthumbnail  the same images, --size 256
#   gdk-pixbuf     gdk-pixbuf-thumbnailer on the tiny board's bare JPEG (a file manager's default)
# and the peak memory (maximum resident set) of each command.
#
#   bench/thumbnail_bench.sh [BUILD_DIR] [WORK_DIR]
#
# BUILD_DIR defaults to build/release (cmake --preset release && cmake --build --preset release);
# WORK_DIR, where the boards are generated once and kept, to ${TMPDIR:-/tmp}/zorvi-bench.
# BOARDS="tiny typical" measures a subset; ROUNDS (3) how often every command is measured in turn.
# Wall times are medians, like the floor's, from hyperfine (a timed loop when it is missing): on a
# shared machine a few stalled runs would otherwise decide a ratio. Process start is included for every command but the in-process floor. Each time is
# shown as wall/cpu (CPU as a mean), since on a shared machine the CPU time is the steadier of the two.
# Targets are judged on wall time.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/release}" && pwd)
work=${2:-${TMPDIR:-/tmp}/zorvi-bench}
size=256

die() { echo "thumbnail_bench: $*" >&2; exit 1; }

floor=$build/bench/decode_floor
[ -x "$floor" ] || die "$floor is missing: build the release preset"
zorvi=${ZORVI:-$build/bin/zorvi}
for tool in vipsthumbnail gdk-pixbuf-thumbnailer python3; do
  command -v "$tool" >/dev/null || die "$tool is not installed (bash scripts/setup.sh)"
done
[ -x /usr/bin/time ] || die "/usr/bin/time is not installed (bash scripts/setup.sh)"

python3 "$root/bench/make_bench_boards.py" boards "$work" >/dev/null
out=$(mktemp -d "${TMPDIR:-/tmp}/zorvi-bench-out.XXXXXX")
trap 'rm -rf "$out"' EXIT

# Median wall time and mean CPU time (user + system) of a command, in milliseconds: "WALL CPU".
time_ms() {
  local runs=$1; shift
  if command -v hyperfine >/dev/null; then
    hyperfine --shell=none --warmup 1 --min-runs "$runs" --style none --export-json "$out/h.json" -- "$*" \
      >/dev/null 2>&1 || die "failed: $*"
    python3 -c '
import json, sys
r = json.load(open(sys.argv[1]))["results"][0]
print("%.1f %.1f" % (r["median"] * 1000, (r["user"] + r["system"]) * 1000))' "$out/h.json"
  else
    "$@" >/dev/null 2>&1 || die "failed: $*"
    # Wall time per run from the shell's clock; CPU time over all runs from what the shell's children used.
    local start cpu_before cpu
    : >"$out/loop"
    times >"$out/times"
    cpu_before=$(children_cpu_ms)
    for _ in $(seq "$runs"); do
      start=$EPOCHREALTIME
      "$@" >/dev/null 2>&1
      echo "$start $EPOCHREALTIME" >>"$out/loop"
    done
    times >"$out/times"
    cpu=$(($(children_cpu_ms) - cpu_before))
    awk '{ print ($2 - $1) * 1000 }' "$out/loop" | sort -n | awk -v cpu="$cpu" '{ w[NR] = $1 }
      END { printf "%.1f %.1f\n", (w[int((NR + 1) / 2)] + w[int(NR / 2) + 1]) / 2, cpu / NR }'
  fi
}

# User + system time of the shell's finished children, in whole milliseconds, from `times` saved in
# $out/times (it must run in the shell whose children count, not in a command substitution).
children_cpu_ms() {
  awk 'NR == 2 {
    total = 0
    for (i = 1; i <= 2; ++i) { split($i, t, /[ms]/); total += t[1] * 60 + t[2] }
    printf "%d\n", total * 1000 }' "$out/times"
}

# Peak resident memory of one run, in MB.
peak_mb() {
  /usr/bin/time -f %M -o "$out/rss" "$@" >/dev/null 2>&1 || die "failed: $*"
  awk '{printf "%.0f\n", $1/1024}' "$out/rss"
}

# The floor's median wall and CPU time in milliseconds: "WALL CPU"; the second argument names the
# floor (floor: one core; floor_parallel: every core).
floor_ms() {
  "$floor" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true --benchmark_format=json \
    --benchmark_filter="^${2:-floor}/" "$1" \
    2>/dev/null | python3 -c '
import json, sys
median = next(r for r in json.load(sys.stdin)["benchmarks"] if r.get("aggregate_name") == "median")
print("%.1f %.1f" % (median["real_time"], median["cpu_time"]))'
}

pair() { [ "$1" = n/a ] && echo n/a || echo "${1/ //}"; }
# Judges the wall-clock part of a ratio against its target.
verdict() {  # ratio, "<=" or ">=", target
  awk -v r="$1" -v op="$2" -v t="$3" 'BEGIN {
    if (r == "n/a") { print "n/a"; exit }
    split(r, v, "/")
    print ((op == "<=" && v[1] <= t) || (op == ">=" && v[1] >= t)) ? "met" : "MISSED" }'
}

# The thumbnailer's Exec line for one board: %i the input, %o the output, %s the size.
read -r -a exec_words <<< "$(sed -n 's/^Exec=//p' "$root/data/zorvi.thumbnailer")"
thumbnailer() {  # BOARD OUT
  local word
  thumbnailer_argv=()
  for word in "${exec_words[@]}"; do
    case $word in
      zorvi) thumbnailer_argv+=("$zorvi") ;;
      %i) thumbnailer_argv+=("$1") ;;
      %o) thumbnailer_argv+=("$2") ;;
      %s) thumbnailer_argv+=("$size") ;;
      *) thumbnailer_argv+=("$word") ;;
    esac
  done
}

thumbnailer "$work/tiny.zorvi" "$out/probe.png"
if [ -z "$zorvi" ] || ! "${thumbnailer_argv[@]}" 2>/dev/null; then
  echo "note: no working 'zorvi thumbnail' at $zorvi; its columns read n/a" >&2
  zorvi=""
fi

# Each round measures every command once, so that a machine's drift over the minutes a run takes moves
# all of them alike: times are medians over the rounds, and each ratio is the median of the rounds'
# own ratios.
rounds=${ROUNDS:-3}
[[ $rounds =~ ^[1-9][0-9]*$ ]] || die "ROUNDS must be a positive whole number"
declare -A runs=([tiny]=10 [typical]=4 [large]=3)

# Medians over the rounds recorded in FILE as "NAME WALL CPU" lines. `median FILE NAME` prints
# "WALL CPU"; `median FILE A B` prints the ratio A/B as "wall/cpu"; n/a where either is missing.
median() {
  python3 - "$@" <<'PY'
import statistics, sys
path, names = sys.argv[1], sys.argv[2:]
rounds = {}
for line in open(path):
    name, wall, cpu = line.split()
    rounds.setdefault(name, []).append((float(wall), float(cpu)))
if any(not rounds.get(n) or min(min(v) for v in rounds[n]) <= 0 for n in names):
    print("n/a")
elif len(names) == 1:
    values = rounds[names[0]]
    print("%.1f %.1f" % (statistics.median(v[0] for v in values), statistics.median(v[1] for v in values)))
else:
    pairs = list(zip(rounds[names[0]], rounds[names[1]]))
    print("%.2f/%.2f" % (statistics.median(a[0] / b[0] for a, b in pairs), statistics.median(a[1] / b[1] for a, b in pairs)))
PY
}

echo "times in ms as wall/cpu; ratios as wall/cpu, each the median of $rounds rounds; memory is peak resident set"
printf '%-8s %6s %15s %15s %12s %15s %12s %9s %8s\n' board images "zorvi" "floor" "zorvi/floor" \
  "vipsthumbnail" "vips/zorvi" "zorvi MB" "vips MB"
rows=()
for board in ${BOARDS:-tiny typical large}; do
  file=$work/$board.zorvi
  python3 "$root/bench/make_bench_boards.py" needs "$file" "$size" "$work/$board" >"$out/$board.list"
  mapfile -t images < <(cut -d' ' -f1 "$out/$board.list")
  mkdir -p "$out/vips-$board"
  vips=(vipsthumbnail --size "$size" -o "$out/vips-$board/%s.png" "${images[@]}")
  gdk=(gdk-pixbuf-thumbnailer -s "$size" "${images[0]}" "$out/gdk.png")
  [ -n "$zorvi" ] && thumbnailer "$file" "$out/$board.png"
  m=$out/$board.rounds
  : >"$m"
  for _ in $(seq "$rounds"); do
    echo "floor $(floor_ms "$out/$board.list")" >>"$m"
    echo "parallel $(floor_ms "$out/$board.list" floor_parallel)" >>"$m"
    echo "vips $(time_ms "${runs[$board]}" "${vips[@]}")" >>"$m"
    if [ -n "$zorvi" ]; then echo "zorvi $(time_ms "${runs[$board]}" "${thumbnailer_argv[@]}")" >>"$m"; fi
    if [ "$board" = tiny ]; then echo "gdk $(time_ms "${runs[$board]}" "${gdk[@]}")" >>"$m"; fi
  done
  vm=$(peak_mb "${vips[@]}")
  zm=n/a
  [ -n "$zorvi" ] && zm=$(peak_mb "${thumbnailer_argv[@]}")
  z=$(median "$m" zorvi) f=$(median "$m" floor) v=$(median "$m" vips)
  zf=$(median "$m" zorvi floor) vz=$(median "$m" vips zorvi)
  printf '%-8s %6s %15s %15s %12s %15s %12s %9s %8s\n' "$board" "${#images[@]}" "$(pair "$z")" "$(pair "$f")" \
    "$zf" "$(pair "$v")" "$vz" "$zm" "$vm"
  if [ "$board" = tiny ]; then
    g=$(median "$m" gdk) gz=$(median "$m" gdk zorvi)
    gm=$(peak_mb "${gdk[@]}")
    rows+=("tiny: gdk-pixbuf-thumbnailer on the bare JPEG $(pair "$g") ms, $gm MB; gdk/zorvi $gz, target >= 2.5: $(verdict "$gz" ">=" 2.5)")
  else
    fp=$(median "$m" parallel) zp=$(median "$m" zorvi parallel)
    rows+=("$board: zorvi/floor $zf, target <= 1.2: $(verdict "$zf" "<=" 1.2); parallel floor $(pair "$fp") ms, zorvi/parallel floor $zp, target <= 1.15: $(verdict "$zp" "<=" 1.15); vips/zorvi $vz, target >= 1.8: $(verdict "$vz" ">=" 1.8)")
  fi
done
echo
printf '%s\n' "${rows[@]}"
