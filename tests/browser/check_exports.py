#!/usr/bin/env python3
"""Opens the HTML exports in headless Chromium, as a user's browser would, and checks what it shows.

The single-page export is screenshotted in a window as tall as the board and 200 px wider: the PNG must
have that size, and the pixels at uncovered item centres must show the item (a picture's colour, a
shape's fill). The paged export is printed to PDF: pdfinfo must find the @page paper size, and the
footers must number one page per grid tile an item reaches (plus the cover), in order.
Layout and plan are computed here from the manifest, independently of the library.

usage: check_exports.py ZORVI WORKDIR [BOARD]   (without BOARD, a test board is built)
"""
import html, json, math, os, re, shutil, struct, subprocess, sys, tempfile, zipfile

PORTRAIT = {"a5": (641, 909), "a4": (909, 1286), "a3": (1286, 1819),
            "letter": (935, 1210), "legal": (935, 1540), "screen16x9": (900, 1600)}
IMAGEMAGICK = "/usr/bin/convert"  # Debian's, by path: a same-named helper may stand before it on PATH
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL: " + message)


def solid_png(width, height, rgb):
    return run(IMAGEMAGICK, "-size", "%dx%d" % (width, height), "xc:rgb(%d,%d,%d)" % rgb, "PNG24:-")


def build_board(path):
    """A4 board reaching three tiles, with a header, pictures of known colours, a shape, text and a drawing."""
    def item(n, kind, frame, z=0, **extra):
        x, y, w, h = frame
        return dict(id="00000000-0000-4000-8000-%012d" % n, type=kind, zIndex=z, locked=False,
                    frame=dict(x=x, y=y, width=w, height=h), **extra)

    def picture(n, frame, name, z=0, **caption):
        return item(n, "image", frame, z, image="images/" + name, thumbnail="thumbnails/" + name,
                    naturalSize={"width": 40, "height": 30}, **caption)

    stamp = "2026-01-01T00:00:00Z"
    manifest = {"schemaVersion": 8, "board": {
        "id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8", "name": "Browser check", "createdAt": stamp, "modifiedAt": stamp,
        "canvas": {"backgroundColor": "#F5F2EC", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}},
        "pageSetup": {"format": "a4", "orientation": "portrait"},
        "header": {"title": "Spring collection", "client": "Studio North", "notes": "Two pages."}}, "items": [
        picture(1, (40, 40, 300, 200), "red.png", caption="Fabric swatch", captionAlignment="center"),
        picture(2, (850, 500, 200, 150), "blue.png", z=2),
        item(3, "shape", (100, 400, 400, 300), 1,
             shape={"fillColor": "#2A9D8F", "strokeColor": "#264653", "strokeWidth": 3, "title": "Materials"}),
        item(4, "text", (100, 800, 500, 120), 1, text={"content": "Warm tones", "color": "#111111", "fontSize": 44}),
        item(5, "drawing", (1000, 1400, 300, 200), 3, drawing={"points": [{"x": 0, "y": 0}, {"x": 1, "y": 0.25}],
                                                              "color": "#E76F51", "strokeWidth": 8, "style": "dashed"})]}
    with zipfile.ZipFile(path, "w") as archive:
        archive.writestr("manifest.json", json.dumps(manifest), zipfile.ZIP_DEFLATED)
        for name, rgb in (("red.png", (220, 40, 40)), ("blue.png", (30, 80, 200))):
            archive.writestr("images/" + name, solid_png(40, 30, rgb))
            archive.writestr("thumbnails/" + name, solid_png(8, 6, rgb))
    return path


def content_frame(item, caption_heights):
    x, y, w, h = (item["frame"][k] for k in ("x", "y", "width", "height"))
    pad = item["drawing"].get("strokeWidth", 3) / 2 if item.get("type") == "drawing" and item.get("drawing") else 0
    return x - pad, y - pad, w + 2 * pad, h + 2 * pad + (6 + caption_heights[item["id"].upper()]
                                                          if item["id"].upper() in caption_heights else 0)


def caption_heights_in(document, items):
    """The exporter measures captions with the text engine; take its heights back from the caption elements."""
    found = {}
    for m in re.finditer(r'class="item caption" style="[^"]*min-height:([-\d.]+)px[^"]*">(.*?)</div>', document, re.S):
        found.setdefault(m.group(2), float(m.group(1)))
    escaped = {i["id"].upper(): html.escape(i.get("caption") or "", quote=True).replace("&#x27;", "&#39;")
               for i in items if i.get("type", "image") == "image" and i.get("caption")}
    return {key: found[text] for key, text in escaped.items() if text in found}


def run(*arguments, data=None):
    return subprocess.run(arguments, input=data, check=True, capture_output=True).stdout


def chromium(*arguments):
    profile = tempfile.mkdtemp()
    try:
        run("chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync", "--hide-scrollbars",
            "--user-data-dir=" + profile, *arguments)
    finally:
        shutil.rmtree(profile, ignore_errors=True)


def mean_colour(png, resize, x, y):
    """Mean RGB of the 5 x 5 pixels centred on (x, y), after an optional stretch."""
    raw = run(IMAGEMAGICK, "-", *resize, "-crop", "5x5+%d+%d" % (x - 2, y - 2), "+repage", "-scale", "1x1!",
              "-depth", "8", "rgb:-", data=png)
    return tuple(raw[:3])


def check_single_page(zorvi, board, manifest, pictures, workdir):
    out = os.path.join(workdir, "board.html")
    run(zorvi, "export", "html", board, out)
    document = open(out, encoding="utf-8").read()
    items = manifest["items"]
    heights = caption_heights_in(document, items)
    frames = [content_frame(item, heights) for item in items] or [(0, 0, 0, 0)]
    min_x, min_y = min(f[0] for f in frames), min(f[1] for f in frames)
    width = max(f[0] + f[2] for f in frames) - min_x
    height = max(f[1] + f[3] for f in frames) - min_y
    rule = re.search(r"\.board \{ position: relative; width: ([-\d.]+)px; height: ([-\d.]+)px;", document)
    check(rule and abs(float(rule.group(1)) - width) < 0.01 and abs(float(rule.group(2)) - height) < 0.01,
          "board rule %s differs from the layout %g x %g" % (rule and rule.group(0), width, height))

    window, shot = (math.ceil(width) + 200, max(1, math.ceil(height))), os.path.join(workdir, "board.png")
    chromium("--screenshot=" + shot, "--window-size=%d,%d" % window, "file://" + os.path.abspath(out))
    png = open(shot, "rb").read()
    check(png[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">II", png[16:24]) == window,
          "screenshot is not a %dx%d PNG" % window)

    # The topmost item at a point is the last, in stable ascending zIndex order, that covers it.
    ordered = sorted(items, key=lambda i: i.get("zIndex", 0))
    checked = 0
    for n, item in enumerate(ordered):
        f, kind = item["frame"], item.get("type", "image")
        cx, cy = f["x"] + f["width"] / 2, f["y"] + f["height"] / 2
        if any(o["frame"]["x"] <= cx <= o["frame"]["x"] + o["frame"]["width"]
               and o["frame"]["y"] <= cy <= o["frame"]["y"] + o["frame"]["height"] for o in ordered[n + 1:]):
            continue
        if kind == "shape" and re.fullmatch(r"#[0-9A-Fa-f]{6}", item["shape"].get("fillColor") or ""):
            expected = tuple(int(item["shape"]["fillColor"][i:i + 2], 16) for i in (1, 3, 5))
        elif kind == "image" and item.get("image") in pictures:
            w, h = max(5, round(f["width"])), max(5, round(f["height"]))
            expected = mean_colour(pictures[item["image"]], ["-resize", "%dx%d!" % (w, h)], w // 2, h // 2)
        else:
            continue
        px, py = int(100 + cx - min_x), int(cy - min_y)
        if 2 <= px < window[0] - 2 and 2 <= py < window[1] - 2:
            got = mean_colour(png, [], px, py)
            check(all(abs(a - b) <= 12 for a, b in zip(got, expected)),
                  "item %s shows %s at its centre, expected %s" % (item["id"], got, expected))
            checked += 1
    check(checked >= min(2, len(items)), "only %d item centres could be checked" % checked)


def check_paged(zorvi, board, manifest, workdir):
    out, pdf = os.path.join(workdir, "pages.html"), os.path.join(workdir, "pages.pdf")
    run(zorvi, "export", "pages", board, out, "--cover", "--branding", "--margin", "--sender", "Studio North")
    document = open(out, encoding="utf-8").read()
    setup = manifest["board"].get("pageSetup") or {}
    pw, ph = PORTRAIT.get(setup.get("format"), PORTRAIT["a4"])[::-1 if setup.get("orientation") == "landscape" else 1]
    tiles = set()
    for x, y, w, h in (content_frame(i, caption_heights_in(document, manifest["items"])) for i in manifest["items"]):
        if w > 0 and h > 0:
            tiles |= {(c, r) for c in range(math.floor(x / pw), math.ceil((x + w) / pw))
                      for r in range(math.floor(y / ph), math.ceil((y + h) / ph))}
    header = manifest["board"].get("header") or {}
    pages = len(tiles) + any((header.get(k) or "").strip() for k in ("title", "client", "model", "date", "location", "notes"))

    chromium("--no-pdf-header-footer", "--print-to-pdf=" + pdf, "file://" + os.path.abspath(out))
    info = run("pdfinfo", pdf).decode()
    sheets = int(re.search(r"^Pages:\s+(\d+)", info, re.M).group(1))
    paper = tuple(map(float, re.search(r"^Page size:\s+([\d.]+) x ([\d.]+) pts", info, re.M).groups()))
    rule = re.search(r"@page \{ size: ([\d.]+)pt ([\d.]+)pt;", document)
    for name, size in (("@page rule", rule and tuple(map(float, rule.groups()))), ("page setup", (pw * 72 / 110, ph * 72 / 110))):
        check(size and all(abs(a - b) <= 0.5 for a, b in zip(paper, size)), "PDF paper %s, the %s says %s" % (paper, name, size))
    # Chromium slices a page box taller than the sheet (its height before the print scale) onto a
    # second sheet, so a page may take two sheets; more, or a sheet with two numbers, is a fault.
    numbered = []
    for sheet in range(1, sheets + 1):
        found = re.findall(r"(\d+) ?/ ?(\d+)", run("pdftotext", "-f", str(sheet), "-l", str(sheet), "-layout", pdf, "-").decode())
        check(len(found) <= 1, "sheet %d carries %d page numbers" % (sheet, len(found)))
        numbered += [(int(k), int(t)) for k, t in found]
    check(numbered == [(k, pages) for k in range(1, pages + 1)], "page numbers %s for %d pages" % (numbered, pages))
    check(sheets in (pages, 2 * pages), "%d sheets for %d pages" % (sheets, pages))


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    zorvi, workdir = sys.argv[1], sys.argv[2]
    os.makedirs(workdir, exist_ok=True)
    board = sys.argv[3] if len(sys.argv) == 4 else build_board(os.path.join(workdir, "check.zorvi"))
    with zipfile.ZipFile(board) as archive:
        manifest = json.loads(archive.read("manifest.json"))
        pictures = {name: archive.read(name) for name in archive.namelist() if name.startswith("images/")}
    check_single_page(zorvi, board, manifest, pictures, workdir)
    check_paged(zorvi, board, manifest, workdir)
    print("browser checks: %s" % ("%d failed" % len(failures) if failures else "all passed"))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
