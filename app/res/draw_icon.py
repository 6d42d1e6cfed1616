#!/usr/bin/env python3
"""Draws quorlen.ico: a sheet of cells with a header band and one selected cell, in every size that Windows asks for.

Run in this folder after a change; the result is committed, so that a build needs no Python.
Each size is drawn on its own pixel grid instead of being scaled, so that the lines stay sharp.
"""
import struct
import zlib

SIZES = (16, 20, 24, 32, 40, 48, 64, 256)
BORDER = (38, 70, 83, 255)
HEADER = (42, 120, 112, 255)
PAPER = (255, 255, 255, 255)
LINE = (190, 203, 207, 255)
SELECTED = (233, 148, 60, 255)
CLEAR = (0, 0, 0, 0)


def draw(size):
    """Rows of RGBA pixels of the icon in the given size."""
    margin = max(1, size // 16)
    line = max(1, size // 32)
    left, right = margin, size - margin
    top, bottom = margin, size - margin
    inner = right - left - 2 * line
    columns = [left + line + round(inner * i / 3) for i in range(4)]
    rows = [top + line + round((bottom - top - 2 * line) * i / 4) for i in range(5)]

    def pixel(x, y):
        if not (left <= x < right and top <= y < bottom):
            return CLEAR
        if x < left + line or x >= right - line or y < top + line or y >= bottom - line:
            return BORDER
        if y < rows[1]:
            return HEADER
        if columns[1] <= x < columns[2] and rows[2] <= y < rows[3]:
            return SELECTED
        if any(c - line <= x < c for c in columns[1:3]) or any(r - line <= y < r for r in rows[2:4]):
            return LINE
        return PAPER

    return [[pixel(x, y) for x in range(size)] for y in range(size)]


def png(pixels):
    """A PNG file's bytes."""
    size = len(pixels)

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    raw = b"".join(b"\0" + b"".join(bytes(p) for p in row) for row in pixels)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))


def bitmap(pixels):
    """An icon's bitmap: header, pixels from the bottom row up as BGRA, then an empty mask."""
    size = len(pixels)
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, 0, 0, 0, 0, 0)
    body = b"".join(bytes((p[2], p[1], p[0], p[3])) for row in reversed(pixels) for p in row)
    mask_row = (size + 31) // 32 * 4
    return header + body + b"\0" * (mask_row * size)


def main():
    images = [(s, png(draw(s)) if s == 256 else bitmap(draw(s))) for s in SIZES]
    offset = 6 + 16 * len(images)
    directory = struct.pack("<HHH", 0, 1, len(images))
    for size, data in images:
        directory += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    with open("quorlen.ico", "wb") as file:
        file.write(directory + b"".join(data for _, data in images))


if __name__ == "__main__":
    main()
