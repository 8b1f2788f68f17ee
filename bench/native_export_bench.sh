#!/usr/bin/env bash
# The native exports of bench/'s typical board (twelve images, eight of them 12 MP JPEGs) against their
# floors, and the peak memory of the commands.
#
#   bench/native_export_bench.sh [BUILD_DIR] [WORK_DIR]      (BUILD_DIR: a release build)
#
# pdf   read the board and write the PDF, against reading the board and writing its image bytes to a file;
#       the PDF's size against the sum of the image entries
# png   the whole board at 4096 pixels, against decoding its images alone at the size they are drawn at
#       (decode_floor, the thumbnail bench's floor)
# (the same for a board of twelve 12 MP JPEG photos, which the PDF carries without decoding any)
# peak  the largest resident set of `zorvi export pdf` and `zorvi export png` (/usr/bin/time), also for an
#       8192-pixel PNG of a board of twelve 12 MP photos
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$root/build/release}" && pwd)
work=${2:-${TMPDIR:-/tmp}/zorvi-bench}
die() { echo "native_export_bench: $*" >&2; exit 1; }
for program in bench/native_export_bench bench/decode_floor bin/zorvi; do
  [ -x "$build/$program" ] || die "$build/$program is missing: build the release preset"
done
[ -x /usr/bin/time ] || die "/usr/bin/time is not installed (bash scripts/setup.sh)"

python3 "$root/bench/make_bench_boards.py" boards "$work" >/dev/null
out=$(mktemp -d "${TMPDIR:-/tmp}/zorvi-native-bench.XXXXXX")
trap 'rm -rf "$out"' EXIT
board=$work/typical.zorvi
python3 "$root/bench/make_bench_boards.py" needs "$board" 4096 "$work/typical" >"$out/list"

# Twelve 12 MP photos: the typical board's eight JPEGs, four of them a second time under new names.
python3 - "$board" "$out/twelve.zorvi" <<'PY'
import json, sys, zipfile
source, target = sys.argv[1:]
with zipfile.ZipFile(source) as z:
    manifest = json.loads(z.read("manifest.json"))
    photos = [i for i in manifest["items"] if i["image"].endswith(".jpg")]
    entries = {n: z.read(n) for n in z.namelist() if n != "manifest.json"}
items = []
for n in range(12):
    item = dict(photos[n % 8], id=photos[0]["id"][:-2] + "%02X" % (0x80 + n), zIndex=n)
    item["frame"] = dict(item["frame"], x=(n % 4) * 420, y=(n // 4) * 320)
    if n >= 8:
        for key in ("image", "thumbnail"):
            copy = item[key].replace(".jpg", "-again.jpg")
            entries[copy] = entries[item[key]]
            item[key] = copy
    items.append(item)
manifest["items"] = items
with zipfile.ZipFile(target, "w") as z:
    z.writestr("manifest.json", json.dumps(manifest), zipfile.ZIP_DEFLATED)
    for name in sorted(entries):
        z.writestr(name, entries[name], zipfile.ZIP_STORED)
PY

median() {  # JSON of a benchmark run, benchmark name, field
  python3 -c '
import json, sys
runs = json.load(open(sys.argv[1]))["benchmarks"]
r = next(r for r in runs if r["run_name"] == sys.argv[2] and r.get("aggregate_name") == "median")
print(r[sys.argv[3]])' "$@"
}
"$build/bench/native_export_bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_format=json "$board" 4096 >"$out/native.json" 2>/dev/null
"$build/bench/native_export_bench" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_filter='PDF|Floor' --benchmark_format=json "$out/twelve.zorvi" >"$out/twelve.json" 2>/dev/null
"$build/bench/decode_floor" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_format=json "$out/list" >"$out/floor.json" 2>/dev/null
floor_run=$(python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))["benchmarks"][0]["run_name"])' "$out/floor.json")

pdf=$(median "$out/native.json" BM_PDFExport/real_time real_time)
pdf_floor=$(median "$out/native.json" BM_ReadAndWriteImagesFloor/real_time real_time)
size_ratio=$(median "$out/native.json" BM_PDFExport/real_time pdf_per_image_byte)
twelve_pdf=$(median "$out/twelve.json" BM_PDFExport/real_time real_time)
twelve_floor=$(median "$out/twelve.json" BM_ReadAndWriteImagesFloor/real_time real_time)
twelve_ratio=$(median "$out/twelve.json" BM_PDFExport/real_time pdf_per_image_byte)
png=$(median "$out/native.json" BM_PNGExport/real_time real_time)
png_floor=$(median "$out/floor.json" "$floor_run" real_time)

peak() {  # the largest resident set of a command, in MiB
  /usr/bin/time -f %M "$@" 2>"$out/time" >/dev/null || die "failed: $*"
  awk '{ kb = $1 } END { printf "%.0f", kb / 1024 }' "$out/time"
}
pdf_peak=$(peak "$build/bin/zorvi" export pdf "$board" "$out/b.pdf")
png_peak=$(peak "$build/bin/zorvi" export png "$board" "$out/b.png" --max-edge 4096)
twelve_peak=$(peak "$build/bin/zorvi" export png "$out/twelve.zorvi" "$out/t.png" --max-edge 8192)
twelve_pdf_peak=$(peak "$build/bin/zorvi" export pdf "$out/twelve.zorvi" "$out/t.pdf")

awk -v tw="$twelve_pdf" -v twf="$twelve_floor" -v twr="$twelve_ratio" -v pdf="$pdf" -v pf="$pdf_floor" -v sr="$size_ratio" -v png="$png" -v gf="$png_floor" \
    -v pp="$pdf_peak" -v gp="$png_peak" -v tp="$twelve_peak" -v tpp="$twelve_pdf_peak" 'BEGIN {
  printf "pdf export         %8.1f ms   floor (read + write image bytes) %8.1f ms   ratio %.2f (target <= 1.3)\n", pdf, pf, pdf / pf
  printf "pdf size                       %.3f x the image entries (target <= 1.05)\n", sr
  printf "pdf, twelve JPEGs  %8.1f ms   floor (read + write image bytes) %8.1f ms   ratio %.2f, size %.3f x\n", tw, twf, tw / twf, twr
  printf "png export at 4096 %8.1f ms   floor (decode_floor at 4096)      %8.1f ms   ratio %.2f (target <= 1.3)\n", png, gf, png / gf
  printf "peak memory        pdf %d MiB, png 4096 %d MiB; twelve 12 MP photos: png 8192 %d MiB, pdf %d MiB\n", pp, gp, tp, tpp
}'
