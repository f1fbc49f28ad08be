#!/usr/bin/env python3
"""Draws the three images the printer test prints (resources/images/fiskalsign*.bmp).

    python3 tools/make-printer-images.py [output-folder]

Each is a 1-bit BMP exactly as wide as the print head (384 dots, 48 bytes a
row), palette index 0 white and 1 black, so that a set bit is a burnt dot and
QImage hands the rows to the printer unchanged. The pictures are drawn here
from a small 5x7 dot font and plain shapes; nothing is taken from elsewhere.
Run it again after changing a picture and commit the BMPs with it.
"""
import os
import struct
import sys

WIDTH = 384

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dotfont import FONT  # noqa: E402


class Picture:
    def __init__(self, height):
        self.height = height
        self.dots = [[0] * WIDTH for _ in range(height)]

    def dot(self, x, y):
        if 0 <= x < WIDTH and 0 <= y < self.height:
            self.dots[y][x] = 1

    def box(self, x0, y0, x1, y1):
        for y in range(y0, y1):
            for x in range(x0, x1):
                self.dot(x, y)

    def frame(self, inset, thickness):
        w, h = WIDTH, self.height
        self.box(inset, inset, w - inset, inset + thickness)
        self.box(inset, h - inset - thickness, w - inset, h - inset)
        self.box(inset, inset, inset + thickness, h - inset)
        self.box(w - inset - thickness, inset, w - inset, h - inset)

    def text(self, s, scale, y0):
        """Centred text; each font dot a square of `scale` dots."""
        advance = 6 * scale
        x0 = (WIDTH - (len(s) * advance - scale)) // 2
        for i, ch in enumerate(s):
            for row, bits in enumerate(FONT[ch]):
                for col, c in enumerate(bits):
                    if c == '#':
                        x = x0 + i * advance + col * scale
                        y = y0 + row * scale
                        self.box(x, y, x + scale, y + scale)

    def bmp(self):
        stride = WIDTH // 8
        rows = []
        # Bottom-up, as BMPs usually are; QImage turns them round.
        for y in reversed(range(self.height)):
            row = bytearray(stride)
            for x in range(WIDTH):
                if self.dots[y][x]:
                    row[x // 8] |= 0x80 >> (x % 8)
            rows.append(bytes(row))
        data = b"".join(rows)
        palette = struct.pack("<II", 0x00FFFFFF, 0x00000000)
        info = struct.pack("<IiiHHIIiiII", 40, WIDTH, self.height, 1, 1, 0, len(data), 8000, 8000, 2, 0)
        offset = 14 + len(info) + len(palette)
        head = b"BM" + struct.pack("<IHHI", offset + len(data), 0, 0, offset)
        return head + info + palette + data


def badge():
    p = Picture(72)
    p.frame(0, 4)
    p.frame(8, 1)
    p.text("KX4 TEST", 5, 19)
    return p


def sign():
    p = Picture(48)
    p.text("FISKAL SIGN", 4, 4)
    # A dotted rule under the words.
    for x in range(16, WIDTH - 16, 4):
        p.box(x, 40, x + 2, 42)
    return p


def ruler():
    p = Picture(40)
    # A tick every 8 dots, longer every 64: every byte of the head shows.
    for x in range(0, WIDTH, 8):
        p.box(x, 0, x + 1, 12 if x % 64 else 20)
    p.box(0, 0, WIDTH, 2)
    p.text("384 DOTS", 2, 24)
    return p


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "resources", "images")
    os.makedirs(out, exist_ok=True)
    for name, picture in (("fiskalsign.bmp", badge()), ("fiskalsign1.bmp", sign()), ("fiskalsign2.bmp", ruler())):
        with open(os.path.join(out, name), "wb") as f:
            f.write(picture.bmp())


if __name__ == "__main__":
    main()
