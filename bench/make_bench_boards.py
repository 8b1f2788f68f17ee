#!/usr/bin/env python3
"""Makes the boards the thumbnail benchmark measures, and lists what each image must be decoded to.

    make_bench_boards.py boards DIR            writes DIR/{typical,tiny,large}.zorvi (kept when present)
                                               and their images, unpacked, under DIR/<board>/
    make_bench_boards.py needs BOARD SIZE DIR  prints "PATH WIDTH HEIGHT" per image item: the image's
                                               file under DIR and the pixel size its frame is drawn at
                                               in a SIZE-pixel thumbnail

typical  twelve images on a 4 x 3 grid: eight 4000 x 3000 photo-like JPEGs (quality 90), two PNGs,
         a WebP and an AVIF
large    150 photo-like 1600 x 1200 JPEGs on a 15 x 10 grid
tiny     one 800 x 600 JPEG

Pictures are fractal plasma (smooth colour fields) under Gaussian grain, which compresses like a
photograph; seeds are fixed. Needs ImageMagick's convert, cwebp and avifenc.
"""

import json
import math
import os
import subprocess
import sys
import tempfile
import zipfile
from concurrent.futures import ThreadPoolExecutor

ZIP_TIME = (2025, 3, 14, 9, 26, 52)
DATE = "2025-03-14T09:26:53Z"
PALETTE = ["#6a8caf", "#d9a05b", "#8a6c4f", "#5bd9a0", "#b04a6f", "#e8dcca", "#2a9d55", "#1d4ed8",
           "#f4b400", "#e63946", "#457b9d", "#a8dadc"]


def uuid(board, n):
    return f"B0A4D000-0000-4000-8000-{board:04X}{n:08X}"


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def photo(path, seed, size, quality, grain=0.25):
    """A photo-like picture: plasma drawn small and enlarged (it is slow at full size), then grain."""
    width, height = size
    a, b = PALETTE[seed % len(PALETTE)], PALETTE[(seed * 5 + 3) % len(PALETTE)]
    source = ["-seed", str(seed), "-size", f"{max(1, width // 4)}x{max(1, height // 4)}", f"plasma:{a}-{b}",
              "-resize", f"{width}x{height}!"]
    if grain:
        source += ["-seed", str(seed + 1000), "-attenuate", str(grain), "+noise", "Gaussian"]
    extension = path.rsplit(".", 1)[1]
    if extension == "jpg":
        run("convert", *source, "-strip", "-quality", str(quality), "-sampling-factor", "2x2", path)
        return
    with tempfile.TemporaryDirectory() as work:
        plain = os.path.join(work, "plain.png")
        run("convert", *source, "-depth", "8", "-strip", plain)
        if extension == "png":
            os.replace(plain, path)
        elif extension == "webp":
            run("cwebp", "-quiet", "-q", str(quality), "-metadata", "none", plain, "-o", path)
        elif extension == "avif":
            run("avifenc", "--jobs", "2", "--speed", "8", "--min", "20", "--max", "36", plain, path)
        else:
            raise ValueError(path)


def graphic(path, seed, size):
    """A screenshot-like PNG with transparency: flat colours and sharp edges."""
    width, height = size
    colour = PALETTE[seed % len(PALETTE)]
    run("convert", "-size", f"{width}x{height}", "xc:none", "-fill", colour,
        "-draw", f"roundrectangle 0,0 {width - 1},{height - 1} {width // 20},{width // 20}",
        "-fill", "white", "-draw", f"rectangle {width // 10},{height // 10} {width * 9 // 10},{height // 4}",
        "-fill", "#222222", "-draw", f"circle {width // 2},{height * 3 // 5} {width // 2 + height // 5},{height * 3 // 5}",
        "-strip", "-define", "png:exclude-chunks=date,time", path)


# board name -> number, grid columns, frame size, gap, and per image: (file name, kind, pixel size)
def plan(name):
    if name == "typical":
        images = [(f"photo-{i:02d}.jpg", "photo", (4000, 3000)) for i in range(8)]
        images += [("photo-08.png", "photo-lossless", (1600, 1200)), ("graphic-09.png", "graphic", (1920, 1080)),
                   ("photo-10.webp", "photo", (2000, 1500)), ("photo-11.avif", "photo", (2000, 1500))]
        return 1, 4, (400, 300), 20, images
    if name == "large":
        return 2, 15, (160, 120), 10, [(f"photo-{i:03d}.jpg", "photo", (1600, 1200)) for i in range(150)]
    if name == "tiny":
        return 3, 1, (800, 600), 0, [("photo-0.jpg", "photo", (800, 600))]
    raise ValueError(name)


def make_image(args):
    path, kind, size, seed = args
    if kind == "graphic":
        graphic(path, seed, size)
    else:
        quality = 90 if path.endswith(".jpg") and size[0] >= 4000 else 85 if path.endswith(".jpg") else 80
        photo(path, seed, size, quality, grain=0 if kind == "photo-lossless" else 0.25)
    thumb = thumbnail_path(path)
    os.makedirs(os.path.dirname(thumb), exist_ok=True)
    run("convert", path + ("[0]" if path.endswith(".png") else ""), "-resize", "400x400", "-strip",
        "-quality", "80", thumb)


def thumbnail_path(image_path):
    folder, name = os.path.split(image_path)
    return os.path.join(os.path.dirname(folder), "thumbnails", name.rsplit(".", 1)[0] + ".jpg")


def make_board(name, out_dir):
    board_file = os.path.join(out_dir, f"{name}.zorvi")
    if os.path.exists(board_file):
        return board_file
    number, columns, (fw, fh), gap, images = plan(name)
    image_dir = os.path.join(out_dir, name, "images")
    os.makedirs(image_dir, exist_ok=True)
    jobs = [(os.path.join(image_dir, file), kind, size, number * 1000 + i)
            for i, (file, kind, size) in enumerate(images)]
    with ThreadPoolExecutor(max_workers=2) as pool:
        list(pool.map(make_image, [j for j in jobs if not os.path.exists(thumbnail_path(j[0]))]))

    items = []
    for i, (file, _, size) in enumerate(images):
        stem = file.rsplit(".", 1)[0]
        items.append({
            "id": uuid(number, i + 1), "type": "image", "zIndex": i, "locked": False,
            "frame": {"x": (i % columns) * (fw + gap), "y": (i // columns) * (fh + gap), "width": fw, "height": fh},
            "image": f"images/{file}", "thumbnail": f"thumbnails/{stem}.jpg",
            "naturalSize": {"width": size[0], "height": size[1]},
            "source": {"addedAt": DATE},
        })
    manifest = {
        "schemaVersion": 8,
        "board": {"id": uuid(number, 0), "name": f"Benchmark {name}", "createdAt": DATE, "modifiedAt": DATE,
                  "canvas": {"backgroundColor": "#F5F2EC", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}}},
        "items": items,
    }
    entries = {}
    for folder in ("images", "thumbnails"):
        for file in os.listdir(os.path.join(out_dir, name, folder)):
            entries[f"{folder}/{file}"] = os.path.join(out_dir, name, folder, file)
    partial = board_file + ".part"
    with zipfile.ZipFile(partial, "w") as archive:
        archive.writestr(zip_info("manifest.json", zipfile.ZIP_DEFLATED),
                         json.dumps(manifest, sort_keys=True, indent=2).encode())
        # Images first, then thumbnails, each by path: the order boards are written in.
        for path in sorted(entries, key=lambda p: (not p.startswith("images/"), p)):
            with open(entries[path], "rb") as f:
                archive.writestr(zip_info(path, zipfile.ZIP_STORED), f.read())
    os.replace(partial, board_file)
    return board_file


def zip_info(path, compression):
    info = zipfile.ZipInfo(path, ZIP_TIME)
    info.compress_type = compression
    info.external_attr = 0o100644 << 16
    return info


def needs(board_file, size, image_dir):
    """Each image's drawn size: its frame in a picture whose longer side is SIZE pixels (the board
    spans the union of its frames), rounded up so a decoder never goes below it."""
    with zipfile.ZipFile(board_file) as archive:
        items = json.loads(archive.read("manifest.json"))["items"]
    frames = [item["frame"] for item in items]
    width = max(f["x"] + f["width"] for f in frames) - min(f["x"] for f in frames)
    height = max(f["y"] + f["height"] for f in frames) - min(f["y"] for f in frames)
    scale = size / max(width, height)
    for item in items:
        f = item["frame"]
        print(os.path.join(image_dir, item["image"]), math.ceil(f["width"] * scale), math.ceil(f["height"] * scale))


def main():
    if len(sys.argv) == 3 and sys.argv[1] == "boards":
        os.makedirs(sys.argv[2], exist_ok=True)
        for name in ("tiny", "typical", "large"):
            print(make_board(name, sys.argv[2]))
    elif len(sys.argv) == 5 and sys.argv[1] == "needs":
        needs(sys.argv[2], float(sys.argv[3]), sys.argv[4])
    else:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
