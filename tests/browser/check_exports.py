#!/usr/bin/env python3
"""Opens the HTML exports in headless Chromium, as a user's browser would, and checks what it shows.

The single-page export is screenshotted in a window as tall as the board and 200 px wider, so the
centred board sits 100 px in: the PNG must have that size, and the pixels at item centres must show
the item (an image's colour, a shape's fill). The paged export is printed to PDF, where pdfinfo must
find the paper size of the @page rule and the footers must number one page per grid tile that an item
reaches (plus the cover), in order.
Layout and plan are computed here from the manifest, independently of the library.

usage: check_exports.py ZORVI WORKDIR [BOARD]   (without BOARD, a test board is built)
"""
import html
import json
import math
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zipfile
import zlib

PORTRAIT = {"a5": (641, 909), "a4": (909, 1286), "a3": (1286, 1819),
            "letter": (935, 1210), "legal": (935, 1540), "screen16x9": (900, 1600)}
POINTS_PER_WORLD_UNIT = 72 / 110
SIDE_MARGIN = 100
IMAGEMAGICK = "/usr/bin/convert"  # Debian's, by path: a same-named helper may stand before it on PATH

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL: " + message)
    return condition


def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def solid_png(width, height, rgb):
    row = b"\x00" + bytes(rgb) * width
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
            + png_chunk(b"IDAT", zlib.compress(row * height)) + png_chunk(b"IEND", b""))


def decode_png(data):
    """8-bit, non-interlaced grey, RGB, grey+alpha or RGBA PNG to (width, height, rows of RGB tuples)."""
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        return None
    pos, idat, header = 8, b"", None
    while pos + 8 <= len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    if header is None:
        return None
    width, height, depth, colour, _, _, interlace = header
    channels = {0: 1, 2: 3, 4: 2, 6: 4}.get(colour)
    if depth != 8 or channels is None or interlace:
        return None
    raw, stride, rows, previous = zlib.decompress(idat), width * channels, [], bytearray(width * channels)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = line[i - channels] if i >= channels else 0
            up, corner = previous[i], previous[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + left) & 255
            elif kind == 2:
                line[i] = (line[i] + up) & 255
            elif kind == 3:
                line[i] = (line[i] + (left + up) // 2) & 255
            elif kind == 4:
                p = left + up - corner
                pa, pb, pc = abs(p - left), abs(p - up), abs(p - corner)
                line[i] = (line[i] + (left if pa <= pb and pa <= pc else up if pb <= pc else corner)) & 255
        previous = line
        px = [tuple(line[x * channels:x * channels + channels]) for x in range(width)]
        rows.append([(p[0], p[0], p[0]) if channels <= 2 else p[:3] for p in px])
    return width, height, rows


def build_board(path):
    """A4 board reaching three tiles, with a header, pictures of known colours, a shape, text and a drawing."""
    stamp = "2026-01-01T00:00:00Z"

    def item(n, kind, frame, z=0, **extra):
        x, y, w, h = frame
        record = {"id": "00000000-0000-4000-8000-%012d" % n, "type": kind, "zIndex": z, "locked": False,
                  "frame": {"x": x, "y": y, "width": w, "height": h}}
        record.update(extra)
        return record

    def picture(n, frame, name, caption=None, z=0):
        extra = {"image": "images/" + name, "thumbnail": "thumbnails/" + name,
                 "naturalSize": {"width": 40, "height": 30}}
        if caption:
            extra.update(caption=caption, captionAlignment="center")
        return item(n, "image", frame, z, **extra)

    manifest = {
        "schemaVersion": 8,
        "board": {"id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8", "name": "Browser check", "createdAt": stamp,
                  "modifiedAt": stamp, "canvas": {"backgroundColor": "#F5F2EC",
                                                  "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}},
                  "pageSetup": {"format": "a4", "orientation": "portrait"},
                  "header": {"title": "Spring collection", "client": "Studio North", "notes": "Two pages."}},
        "items": [
            picture(1, (40, 40, 300, 200), "red.png", "Fabric swatch"),
            picture(2, (850, 500, 200, 150), "blue.png", z=2),
            item(3, "shape", (100, 400, 400, 300), 1,
                 shape={"fillColor": "#2A9D8F", "strokeColor": "#264653", "strokeWidth": 3, "title": "Materials"}),
            item(4, "text", (100, 800, 500, 120), 1, text={"content": "Warm tones\nfor summer", "color": "#111111",
                                                          "fontSize": 44}),
            item(5, "drawing", (1000, 1400, 300, 200), 3,
                 drawing={"points": [{"x": 0, "y": 0}, {"x": 0.5, "y": 1}, {"x": 1, "y": 0.25}],
                          "color": "#E76F51", "strokeWidth": 8, "style": "dashed"}),
        ],
    }
    with zipfile.ZipFile(path, "w") as archive:
        archive.writestr("manifest.json", json.dumps(manifest, indent=2, sort_keys=True), zipfile.ZIP_DEFLATED)
        for name, rgb in (("red.png", (220, 40, 40)), ("blue.png", (30, 80, 200))):
            archive.writestr("images/" + name, solid_png(40, 30, rgb), zipfile.ZIP_STORED)
            archive.writestr("thumbnails/" + name, solid_png(8, 6, rgb), zipfile.ZIP_STORED)


def hex_rgb(text):
    text = (text or "").strip()
    if re.fullmatch(r"#[0-9A-Fa-f]{6}", text):
        return tuple(int(text[i:i + 2], 16) for i in (1, 3, 5))
    return None


def content_frame(item, caption_heights):
    x, y, w, h = (item["frame"][k] for k in ("x", "y", "width", "height"))
    pad = item["drawing"].get("strokeWidth", 3) * 0.5 if item.get("type") == "drawing" and item.get("drawing") else 0
    x, y, w, h = x - pad, y - pad, w + 2 * pad, h + 2 * pad
    height = caption_heights.get(item["id"].upper())
    if height:
        h += 6 + height
    return x, y, w, h


def caption_heights_in(document, items):
    """The exporter measures captions with the text engine; take its heights back from the caption elements."""
    found = {}
    for match in re.finditer(r'class="item caption" style="[^"]*min-height:([-\d.]+)px[^"]*">(.*?)</div>', document,
                             re.S):
        found.setdefault(match.group(2), float(match.group(1)))
    heights = {}
    for item in items:
        caption = item.get("caption")
        if item.get("type", "image") == "image" and caption:
            escaped = html.escape(caption, quote=True).replace("&#x27;", "&#39;")
            if escaped in found:
                heights[item["id"].upper()] = found[escaped]
    return heights


def chromium(*arguments):
    profile = tempfile.mkdtemp()
    try:
        subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                        "--disable-background-networking", "--disable-component-update", "--disable-sync",
                        "--hide-scrollbars", "--user-data-dir=" + profile, *arguments],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=120)
    finally:
        shutil.rmtree(profile, ignore_errors=True)


def average(colours):
    return tuple(round(sum(c[i] for c in colours) / len(colours)) for i in range(3))


def picture_centre(data, width, height):
    """Mean colour of the 5 x 5 pixels at the centre of the picture stretched to its frame, as the page does."""
    if not os.path.exists(IMAGEMAGICK):
        return None
    size = "%dx%d!" % (max(5, round(width)), max(5, round(height)))
    done = subprocess.run([IMAGEMAGICK, "-", "-resize", size, "-gravity", "center", "-crop", "5x5+0+0", "+repage",
                           "-scale", "1x1!", "-depth", "8", "rgb:-"], input=data, capture_output=True)
    return tuple(done.stdout[:3]) if done.returncode == 0 and len(done.stdout) >= 3 else None


def near(a, b, tolerance):
    return all(abs(x - y) <= tolerance for x, y in zip(a, b))


def check_single_page(zorvi, board, manifest, pictures, workdir):
    out = os.path.join(workdir, "board.html")
    subprocess.run([zorvi, "export", "html", board, out], check=True)
    document = open(out, encoding="utf-8").read()
    items = manifest["items"]
    heights = caption_heights_in(document, items)
    frames = [content_frame(item, heights) for item in items]
    min_x = min((f[0] for f in frames), default=0)
    min_y = min((f[1] for f in frames), default=0)
    width = max(0, max((f[0] + f[2] for f in frames), default=0) - min_x)
    height = max(0, max((f[1] + f[3] for f in frames), default=0) - min_y)
    rule = re.search(r"\.board \{ position: relative; width: ([-\d.]+)px; height: ([-\d.]+)px;", document)
    check(rule and abs(float(rule.group(1)) - width) < 0.01 and abs(float(rule.group(2)) - height) < 0.01,
          "board rule %s differs from the layout %g x %g" % (rule and rule.group(0), width, height))

    window = (math.ceil(width) + 2 * SIDE_MARGIN, max(1, math.ceil(height)))
    shot = os.path.join(workdir, "board.png")
    chromium("--screenshot=" + shot, "--window-size=%d,%d" % window, "file://" + os.path.abspath(out))
    decoded = decode_png(open(shot, "rb").read())
    if not check(decoded is not None, "the screenshot is not a PNG this script reads"):
        return
    shot_width, shot_height, pixels = decoded
    check((shot_width, shot_height) == window, "screenshot is %dx%d, expected %dx%d" % (
        shot_width, shot_height, *window))

    # Drawing order: ascending zIndex, stable; the topmost item at a point is the last that covers it.
    ordered = sorted(items, key=lambda i: i.get("zIndex", 0))
    left = (shot_width - width) / 2 - min_x
    checked = 0
    for item in ordered:
        f = item["frame"]
        cx, cy = f["x"] + f["width"] / 2, f["y"] + f["height"] / 2
        above = ordered[ordered.index(item) + 1:]
        if any(o["frame"]["x"] <= cx <= o["frame"]["x"] + o["frame"]["width"]
               and o["frame"]["y"] <= cy <= o["frame"]["y"] + o["frame"]["height"] for o in above):
            continue
        expected = None
        kind = item.get("type", "image")
        if kind == "shape" and item.get("shape"):
            expected = hex_rgb(item["shape"].get("fillColor"))
        elif kind == "image" and item.get("image") in pictures:
            expected = picture_centre(pictures[item["image"]], f["width"], f["height"])
        if expected is None:
            continue
        px, py = int(left + cx), int(cy - min_y)
        if 0 <= px < shot_width and 0 <= py < shot_height:
            got = average([pixels[y][x] for y in range(py - 2, py + 3) for x in range(px - 2, px + 3)
                           if 0 <= y < shot_height and 0 <= x < shot_width])
            check(near(got, expected, 12), "item %s at (%d, %d) shows %s, expected %s" % (
                item["id"], px, py, got, expected))
            checked += 1
    check(checked >= 2 or len(items) < 2, "only %d item centres could be checked" % checked)
    print("single page: %dx%d screenshot, %d item centres checked" % (shot_width, shot_height, checked))


def planned_pages(manifest, heights):
    setup = manifest["board"].get("pageSetup") or {}
    pw, ph = PORTRAIT.get(setup.get("format"), PORTRAIT["a4"])
    if setup.get("orientation") == "landscape":
        pw, ph = ph, pw
    cells = set()
    for item in manifest["items"]:
        x, y, w, h = content_frame(item, heights)
        if w > 0 and h > 0:
            for c in range(math.floor(x / pw), math.ceil((x + w) / pw)):
                for r in range(math.floor(y / ph), math.ceil((y + h) / ph)):
                    cells.add((c, r))
    return len(cells), (pw * POINTS_PER_WORLD_UNIT, ph * POINTS_PER_WORLD_UNIT)


def check_paged(zorvi, board, manifest, workdir):
    out = os.path.join(workdir, "pages.html")
    subprocess.run([zorvi, "export", "pages", board, out, "--cover", "--branding", "--margin",
                    "--sender", "Studio North"], check=True)
    document = open(out, encoding="utf-8").read()
    pages, (width_pt, height_pt) = planned_pages(manifest, caption_heights_in(document, manifest["items"]))
    header = manifest["board"].get("header") or {}
    if any((header.get(k) or "").strip() for k in ("title", "client", "model", "date", "location", "notes")):
        pages += 1
    rule = re.search(r"@page \{ size: ([\d.]+)pt ([\d.]+)pt;", document)
    check(rule is not None, "no @page size rule")
    pdf = os.path.join(workdir, "pages.pdf")
    chromium("--no-pdf-header-footer", "--print-to-pdf=" + pdf, "file://" + os.path.abspath(out))
    info = subprocess.run(["pdfinfo", pdf], check=True, capture_output=True, text=True).stdout
    sheets = int(re.search(r"^Pages:\s+(\d+)", info, re.M).group(1))
    size = re.search(r"^Page size:\s+([\d.]+) x ([\d.]+) pts", info, re.M)
    paper = (float(size.group(1)), float(size.group(2)))
    if rule:
        stated = (float(rule.group(1)), float(rule.group(2)))
        check(near(paper, stated, 0.5), "PDF paper %s differs from the @page size %s" % (paper, stated))
    check(near(paper, (width_pt, height_pt), 0.5), "PDF paper %s differs from the page setup's %.2f x %.2f" % (
        paper, width_pt, height_pt))

    # Each page's footer carries "k / T": the numbers must come once each, in order. Chromium slices
    # a page box taller than the sheet (its height before the print scale) onto a second sheet, so a
    # page may take two sheets; more, or a sheet with two numbers, is a fault.
    numbered = []
    for sheet in range(1, sheets + 1):
        text = subprocess.run(["pdftotext", "-f", str(sheet), "-l", str(sheet), "-layout", pdf, "-"], check=True,
                              capture_output=True, text=True).stdout
        found = re.findall(r"(\d+) ?/ ?(\d+)", text)
        check(len(found) <= 1, "sheet %d carries %d page numbers" % (sheet, len(found)))
        numbered += found
    expected = [(str(k), str(pages)) for k in range(1, pages + 1)]
    check(numbered == expected, "page numbers on the sheets %s, planned %s" % (numbered, expected))
    check(sheets in (pages, 2 * pages), "%d sheets for %d pages" % (sheets, pages))
    print("paged: %d pages of %s pt planned and numbered, on %d sheets" % (len(numbered), paper, sheets))


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    zorvi, workdir = sys.argv[1], sys.argv[2]
    os.makedirs(workdir, exist_ok=True)
    board = sys.argv[3] if len(sys.argv) == 4 else os.path.join(workdir, "check.zorvi")
    if len(sys.argv) == 3:
        build_board(board)
    with zipfile.ZipFile(board) as archive:
        manifest = json.loads(archive.read("manifest.json"))
        pictures = {name: archive.read(name) for name in archive.namelist() if name.startswith("images/")}
    check_single_page(zorvi, board, manifest, pictures, workdir)
    check_paged(zorvi, board, manifest, workdir)
    print("browser checks: %s" % ("%d failed" % len(failures) if failures else "all passed"))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
