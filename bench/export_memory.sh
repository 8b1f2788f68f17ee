#!/usr/bin/env bash
# Peak memory and time of `zorvi info` and `zorvi export html|pages` on two boards that stress them: one
# holding a 1 GiB picture (deflated to about a megabyte), one holding a million items.
# Usage: bench/export_memory.sh ZORVI WORK_DIR
set -euo pipefail
zorvi=$1
work=$2
mkdir -p "$work"

python3 - "$work" <<'PY'
import json, os, sys, zipfile
work = sys.argv[1]
DATE = "2025-03-14T09:26:53Z"
def uuid(n):
    return "6F1C2A3B-4D5E-4F60-8172-%012X" % n
def board(items):
    return {"board": {"canvas": {"backgroundColor": "#F5F2EC",
                                 "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}},
                      "createdAt": DATE, "id": uuid(0), "modifiedAt": DATE, "name": "bench"},
            "items": items, "schemaVersion": 8}
def image_item(n, x, y):
    return {"frame": {"height": 300, "width": 400, "x": x, "y": y}, "id": uuid(n),
            "image": "images/big.png", "thumbnail": "thumbnails/big.png", "locked": False,
            "type": "image", "zIndex": n}
path = os.path.join(work, "gib-picture.zorvi")
if not os.path.exists(path):
    with zipfile.ZipFile(path + ".tmp", "w") as z:
        z.writestr(zipfile.ZipInfo("manifest.json"), json.dumps(board([image_item(1, 0, 0)])),
                   compress_type=zipfile.ZIP_DEFLATED)
        info = zipfile.ZipInfo("images/big.png")
        info.compress_type = zipfile.ZIP_DEFLATED
        with z.open(info, "w", force_zip64=True) as entry:
            entry.write(b"\x89PNG\r\n\x1a\n" + bytes((1 << 20) - 8))
            zeros = bytes(1 << 20)
            for _ in range(1023):
                entry.write(zeros)
    os.rename(path + ".tmp", path)
path = os.path.join(work, "million-items.zorvi")
if not os.path.exists(path):
    items = []
    for n in range(1, 1000001):
        x, y = (n % 1000) * 60, (n // 1000) * 60
        if n % 2:
            items.append({"frame": {"height": 50, "width": 50, "x": x, "y": y}, "id": uuid(n),
                          "locked": False, "type": "shape", "zIndex": n,
                          "shape": {"fillColor": "#E8DCCA", "strokeWidth": 1, "strokeColor": "#333333"}})
        else:
            items.append({"frame": {"height": 50, "width": 50, "x": x, "y": y}, "id": uuid(n),
                          "locked": False, "type": "text", "zIndex": n,
                          "text": {"color": "#111111", "content": "Item %d" % n, "fontSize": 12}})
    with zipfile.ZipFile(path + ".tmp", "w") as z:
        z.writestr(zipfile.ZipInfo("manifest.json"), json.dumps(board(items)), compress_type=zipfile.ZIP_DEFLATED)
    os.rename(path + ".tmp", path)
PY

measure() {
  local label=$1
  shift
  /usr/bin/time -v "$@" >/dev/null 2>"$work/time.txt" || { echo "$label: failed"; tail -n 30 "$work/time.txt"; return; }
  local rss elapsed
  rss=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$work/time.txt")
  elapsed=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): //p' "$work/time.txt")
  echo "$label: peak RSS $((rss / 1024)) MB, $elapsed"
}

for board in gib-picture million-items; do
  measure "info $board" "$zorvi" info "$work/$board.zorvi"
  measure "export html $board" "$zorvi" export html "$work/$board.zorvi" "$work/$board.html"
  measure "export pages $board" "$zorvi" export pages "$work/$board.zorvi" "$work/$board-pages.html"
  rm -f "$work/$board.html" "$work/$board-pages.html"
done
