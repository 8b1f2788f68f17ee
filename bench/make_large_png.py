#!/usr/bin/env python3
"""Writes a large RGB PNG (a smooth gradient with a coarse checker) row by row, for decoder memory
benchmarks: python3 make_large_png.py OUT WIDTH HEIGHT."""
import os
import struct
import sys
import zlib


def chunk(kind, data):
    body = kind + data
    return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body) & 0xFFFFFFFF)


def main():
    out, width, height = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    red = bytes(x * 255 // max(1, width - 1) for x in range(width))
    blue = bytes(255 if (x // 512) % 2 else 64 for x in range(width))
    row = bytearray(1 + 3 * width)
    row[1::3], row[3::3] = red, blue
    packer = zlib.compressobj(1)
    with open(out + ".part", "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)))
        pending = []
        for y in range(height):
            row[2::3] = bytes([y * 255 // max(1, height - 1)]) * width
            pending.append(packer.compress(bytes(row)))
            if y % 256 == 255:
                f.write(chunk(b"IDAT", b"".join(pending)))
                pending = []
        pending.append(packer.flush())
        f.write(chunk(b"IDAT", b"".join(pending)) + chunk(b"IEND", b""))
    os.replace(out + ".part", out)


if __name__ == "__main__":
    main()
