#!/usr/bin/env python3
"""Writes resources/CRVResources.bundle/gradient-slice.png: the gloss drawn over gradient buttons.

One pixel wide and 44 high (a button's height; it is stretched to any size): white, its alpha falling
linearly from 153 (0.6) in the top row to 0 in the bottom row. Standard library only; run from anywhere.
"""
import pathlib
import struct
import zlib

WIDTH, HEIGHT, TOP_ALPHA = 1, 44, 153


def chunk(kind: bytes, body: bytes) -> bytes:
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)


def main() -> None:
    rows = b""
    for y in range(HEIGHT):
        alpha = round(TOP_ALPHA * (HEIGHT - 1 - y) / (HEIGHT - 1))
        rows += b"\x00" + bytes((255, 255, 255, alpha)) * WIDTH  # filter 0, then RGBA pixels
    png = b"\x89PNG\r\n\x1a\n"
    png += chunk(b"IHDR", struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 6, 0, 0, 0))  # 8-bit RGBA
    png += chunk(b"IDAT", zlib.compress(rows, 9))
    png += chunk(b"IEND", b"")
    out = pathlib.Path(__file__).resolve().parent.parent / "resources" / "CRVResources.bundle" / "gradient-slice.png"
    out.write_bytes(png)


if __name__ == "__main__":
    main()
