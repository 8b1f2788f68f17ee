#!/usr/bin/env python3
"""Writes examples/example.zorvi, the board the README renders and the desktop tests probe.

Run from anywhere: python3 examples/make_example.py [OUTPUT]. Needs ImageMagick's convert, cwebp
and avifenc (all installed by scripts/setup.sh).

Every image has one dominant colour that fills its middle, so a test can probe the centre of an
image's frame in a rendered picture and know which image it sees:

    JPEG  red    #E63946   frame (40, 70, 400, 300), with a caption
    PNG   blue   #1D4ED8   frame (460, 70, 400, 300)
    WebP  green  #2A9D55   frame (970, 70, 400, 225)
    AVIF  amber  #F4B400   frame (970, 315, 400, 225)

The canvas is #F5F2EC; the "Materials" shape behind the JPEG and PNG is filled #E8DCCA. The board's
content spans exactly 1400 x 800 world units (no drawing stroke reaches past it).

Identifiers, dates and ZIP timestamps are fixed, so running the script twice gives the same
manifest and the same archive layout (image bytes follow the installed encoders).
"""

import json
import math
import os
import subprocess
import sys
import tempfile
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))

# DOS timestamps have two-second steps; this one stands for the board's creation.
ZIP_TIME = (2025, 3, 14, 9, 26, 52)
CREATED = "2025-03-14T09:26:53Z"
MODIFIED = "2025-03-15T17:02:10Z"
ADDED = "2025-03-14T09:30:00Z"


def uuid(n):
    """A fixed, readable identifier: the last group counts the items."""
    return f"6F1C2A3B-4D5E-4F60-8172-{n:012X}"


def number(value):
    """Whole values are written without a fraction, as the board's own writer does."""
    return int(value) if float(value).is_integer() else value


def frame(x, y, width, height):
    return {"x": number(x), "y": number(y), "width": number(width), "height": number(height)}


# (format, extension, dominant colour, pixel size, frame, caption)
IMAGES = [
    ("jpeg", "jpg", "#E63946", (480, 360), frame(40, 70, 400, 300), "Harbour at dusk"),
    ("png", "png", "#1D4ED8", (480, 360), frame(460, 70, 400, 300), None),
    ("webp", "webp", "#2A9D55", (480, 270), frame(970, 70, 400, 225), None),
    ("avif", "avif", "#F4B400", (480, 270), frame(970, 315, 400, 225), None),
]

LABELS = {"jpeg": "JPEG", "png": "PNG", "webp": "WebP", "avif": "AVIF"}
THUMBNAIL_LONG_SIDE = 160


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def picture(path, label, colour, size):
    """A poster: a darker rim fading into the dominant colour, a solid disc of it in the middle,
    a light wave across the lower third and the format's name. No metadata, no timestamps."""
    width, height = size
    cx, cy, r = width // 2, height // 2, min(width, height) // 4
    crest = [(x, round(height * 0.72 + math.sin(x / width * 2 * math.pi) * height * 0.05))
             for x in range(0, width + 1, 16)]
    # Separate segments: ImageMagick closes a stroked polyline back to its start.
    wave = " ".join(f"line {a[0]},{a[1]} {b[0]},{b[1]}" for a, b in zip(crest, crest[1:]))
    run(
        "convert", "-size", f"{width}x{height}", f"radial-gradient:{colour}-{darker(colour)}",
        "-fill", colour, "-draw", f"circle {cx},{cy} {cx + r},{cy}",
        "-fill", "none", "-stroke", "#FFF3E6", "-strokewidth", "6", "-draw", wave,
        "-stroke", "none", "-fill", "white", "-font", "DejaVu-Sans-Bold", "-pointsize", str(height // 9),
        "-gravity", "southwest", "-annotate", f"+{width // 24}+{height // 24}", label,
        "-depth", "8", "-strip", "-define", "png:exclude-chunks=date,time", path,
    )


def darker(colour):
    channels = [int(colour[i:i + 2], 16) * 11 // 20 for i in (1, 3, 5)]
    return "#" + "".join(f"{c:02X}" for c in channels)


def encode(source, path, fmt, quality):
    if fmt == "jpeg":
        run("convert", source, "-strip", "-quality", str(quality), "-sampling-factor", "2x2", path)
    elif fmt == "png":
        # A palette keeps the poster's smooth gradient small; the middle colour stays exact.
        run("convert", source, "-strip", "+dither", "-colors", "64", "-define", "png:exclude-chunks=date,time",
            f"PNG8:{path}")
    elif fmt == "webp":
        run("cwebp", "-quiet", "-q", str(quality), "-metadata", "none", source, "-o", path)
    elif fmt == "avif":
        run("avifenc", "--jobs", "1", "--speed", "6", "--min", "20", "--max", "40", source, path)
    else:
        raise ValueError(fmt)


def reduced(source, path, size):
    width, height = size
    scale = THUMBNAIL_LONG_SIDE / max(width, height)
    run("convert", source, "-resize", f"{round(width * scale)}x{round(height * scale)}!", "-strip",
        "-define", "png:exclude-chunks=date,time", path)


def manifest(entries):
    items = [
        {
            "id": uuid(1), "type": "shape", "zIndex": 0, "locked": False,
            "frame": frame(0, 0, 900, 560),
            "shape": {"fillColor": "#E8DCCA", "strokeWidth": 3, "title": "Materials"},
        },
        {
            "id": uuid(2), "type": "shape", "zIndex": 1, "locked": False,
            "frame": frame(940, 0, 460, 560),
            "shape": {"strokeColor": "#2B2B2B", "strokeWidth": 3, "title": "Palette", "titleFontSize": 24},
        },
    ]
    for z, (name, (fmt, ext, colour, size, box, caption)) in enumerate(entries, start=2):
        item = {
            "id": uuid(z + 1), "type": "image", "zIndex": z, "locked": False, "frame": box,
            "image": f"images/{name}.{ext}", "thumbnail": f"thumbnails/{name}.{ext}",
            "naturalSize": {"width": size[0], "height": size[1]},
            "source": {"addedAt": ADDED, "url": f"file:///home/example/Pictures/{name}.{ext}"},
        }
        if caption:
            item["caption"] = caption
            item["captionAlignment"] = "center"
        items.append(item)
    items += [
        {
            "id": uuid(7), "type": "text", "zIndex": 6, "locked": False,
            "frame": frame(40, 600, 860, 64),
            "text": {"content": "Harbour Light", "color": "#111111", "fontSize": 44},
        },
        {
            "id": uuid(8), "type": "text", "zIndex": 7, "locked": True,
            "frame": frame(40, 680, 860, 120),
            "text": {
                "content": "Warm reds against cold harbour blues.\nKeep the amber for small accents.",
                "color": "#444444", "fontSize": 22,
            },
        },
        {
            "id": uuid(9), "type": "drawing", "zIndex": 8, "locked": False,
            "frame": frame(960, 600, 420, 80),
            "drawing": {
                "points": [{"x": number(round(i / 24, 4)),
                            "y": number(round(0.5 + 0.4 * math.sin(i / 24 * 3 * math.pi), 4))}
                           for i in range(25)],
                "color": "#E63946", "strokeWidth": 4, "style": "solid",
            },
        },
        {
            "id": uuid(10), "type": "drawing", "zIndex": 9, "locked": False,
            "frame": frame(960, 690, 420, 90), "groupId": uuid(100),
            "drawing": {
                "points": [{"x": 0, "y": 1}, {"x": 0.3, "y": 0.2}, {"x": 0.6, "y": 0.8}, {"x": 1, "y": 0}],
                "color": "#1D4ED8", "strokeWidth": 3, "style": "dashed",
            },
        },
    ]
    return {
        "schemaVersion": 8,
        "board": {
            "id": uuid(0), "name": "Harbour Light", "createdAt": CREATED, "modifiedAt": MODIFIED,
            "canvas": {"backgroundColor": "#F5F2EC", "lastViewport": {"offsetX": -120, "offsetY": 40, "zoom": 1}},
            "pageSetup": {"format": "a4", "orientation": "landscape"},
            "header": {
                "title": "Harbour Light", "client": "Studio North", "model": "Autumn capsule",
                "date": "March 2025", "location": "Hamburg", "notes": "Example board of the Zorvi tools",
            },
        },
        "items": items,
    }


def zip_entry(path, compress):
    info = zipfile.ZipInfo(path, ZIP_TIME)
    info.compress_type = zipfile.ZIP_DEFLATED if compress else zipfile.ZIP_STORED
    info.create_system = 3
    info.external_attr = 0o100644 << 16
    return info


def main():
    output = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "example.zorvi")
    images, thumbnails = {}, {}
    names = ["harbour-dusk", "harbour-blue", "harbour-green", "harbour-amber"]
    with tempfile.TemporaryDirectory() as work:
        for name, (fmt, ext, colour, size, _, _) in zip(names, IMAGES):
            poster = os.path.join(work, f"{name}.png")
            picture(poster, LABELS[fmt], colour, size)
            full = os.path.join(work, f"full-{name}.{ext}")
            encode(poster, full, fmt, 82)
            small_poster = os.path.join(work, f"small-{name}.png")
            reduced(poster, small_poster, size)
            small = os.path.join(work, f"small-{name}.{ext}")
            encode(small_poster, small, fmt, 70)
            with open(full, "rb") as f:
                images[f"images/{name}.{ext}"] = f.read()
            with open(small, "rb") as f:
                thumbnails[f"thumbnails/{name}.{ext}"] = f.read()

    text = json.dumps(manifest(list(zip(names, IMAGES))), sort_keys=True, indent=2, ensure_ascii=False)
    partial = output + ".part"
    with zipfile.ZipFile(partial, "w") as archive:
        archive.writestr(zip_entry("manifest.json", True), text.encode("utf-8"), compresslevel=9)
        for entries in (images, thumbnails):
            for path in sorted(entries):
                archive.writestr(zip_entry(path, False), entries[path])
    os.replace(partial, output)
    print(f"{output}: {os.path.getsize(output)} bytes")


if __name__ == "__main__":
    main()
