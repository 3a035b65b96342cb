#!/usr/bin/env python3
"""Draws tlpdf.ico: a white page with a folded corner and a red band, at 16x16 and 32x32.

Run from anywhere; writes tlpdf.ico beside this script. Standard library only, so the icon can be
redrawn on any build machine.
"""
import os
import struct

TRANSPARENT = (0, 0, 0, 0)
OUTLINE = (96, 96, 96, 255)
PAGE = (255, 255, 255, 255)
FOLD = (208, 208, 208, 255)
TEXT_LINE = (176, 176, 176, 255)
BAND = (200, 24, 32, 255)
BAND_TEXT = (255, 255, 255, 255)


def pixel(x, y, n):
    """Colour of pixel (x, y), top-down, of an n x n icon. Geometry is in 1/32 units."""
    u = 32.0 / n
    cx, cy = (x + 0.5) * u, (y + 0.5) * u          # centre of the pixel in 32-grid units
    left, right, top, bottom, fold = 5, 27, 1, 31, 8
    edge = u                                        # outline one pixel wide at every size

    # The red band sticks out over the page edges, like a label.
    if 17 <= cy < 25 and left - 2 <= cx < right + 2:
        # Three white strokes on the band hint at letters without being legible text.
        if n >= 32 and 19 <= cy < 23 and any(a <= cx < a + 4 for a in (7, 14, 21)):
            return BAND_TEXT
        return BAND
    if not (left <= cx < right and top <= cy < bottom):
        return TRANSPARENT
    # Folded corner: cut off above the diagonal, the triangle below it is the flap.
    dx, dy = cx - (right - fold), cy - top
    if dx > 0 and dy < fold:
        if dx - dy > 0:
            return TRANSPARENT
        if dx - dy > -edge or dx < edge or dy >= fold - edge:
            return OUTLINE
        return FOLD
    if cx < left + edge or cx >= right - edge or cy < top + edge or cy >= bottom - edge:
        return OUTLINE
    if dx > 0 and abs(dx - dy) < edge:              # the diagonal of the cut
        return OUTLINE
    if n >= 32 and cy < 16 and int(cy) % 4 == 2 and left + 3 <= cx < right - 3 - (fold if cy < 10 else 0):
        return TEXT_LINE
    return PAGE


def image(n):
    """One icon image: BITMAPINFOHEADER, 32-bit BGRA rows bottom-up, then the 1-bit AND mask."""
    rows = [[pixel(x, y, n) for x in range(n)] for y in range(n)]
    xor = b"".join(
        struct.pack("<BBBB", b, g, r, a) for row in reversed(rows) for (r, g, b, a) in row)
    mask_stride = ((n + 31) // 32) * 4
    mask = bytearray()
    for row in reversed(rows):
        line = bytearray(mask_stride)
        for x, (_, _, _, a) in enumerate(row):
            if a == 0:                              # for readers that ignore alpha
                line[x // 8] |= 0x80 >> (x % 8)
        mask += line
    header = struct.pack("<IiiHHIIiiII", 40, n, 2 * n, 1, 32, 0, len(xor) + len(mask), 0, 0, 0, 0)
    return header + xor + bytes(mask)


def main():
    sizes = (16, 32)
    images = [image(n) for n in sizes]
    out = struct.pack("<HHH", 0, 1, len(images))
    offset = 6 + 16 * len(images)
    for n, data in zip(sizes, images):
        out += struct.pack("<BBBBHHII", n, n, 0, 0, 1, 32, len(data), offset)
        offset += len(data)
    out += b"".join(images)
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "tlpdf.ico")
    with open(path, "wb") as f:
        f.write(out)


if __name__ == "__main__":
    main()
