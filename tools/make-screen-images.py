#!/usr/bin/env python3
"""Draws the pictures of the screens (resources/images/*.png).

    python3 tools/make-screen-images.py [output-folder]

Every picture is made here from plain shapes (discs, rings, bars, strokes,
polygons and a 5x7 dot font), smoothed by drawing each pixel from 4x4
samples, and written as an RGBA PNG with nothing but the standard library.
Run it again after changing a picture and commit the PNGs with it.
"""
import math
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from pngfile import RGBA, write_png  # noqa: E402

SAMPLES = 4


def png(path, width, height, pixels):
    """pixels: rows of (r, g, b, a) tuples."""
    write_png(path, width, height, (bytes(c for px in row for c in px) for row in pixels), RGBA)


# Shapes: functions (x, y) -> bool, in picture coordinates.
def disc(cx, cy, r):
    return lambda x, y: (x - cx) ** 2 + (y - cy) ** 2 <= r * r


def ring(cx, cy, r0, r1, gap=None):
    """A ring; gap = (angle, half-width) in degrees leaves an opening (0 = up)."""
    def inside(x, y):
        d2 = (x - cx) ** 2 + (y - cy) ** 2
        if not r0 * r0 <= d2 <= r1 * r1:
            return False
        if gap:
            a = math.degrees(math.atan2(x - cx, cy - y))
            diff = abs((a - gap[0] + 180) % 360 - 180)
            return diff > gap[1]
        return True
    return inside


def rect(x0, y0, x1, y1):
    return lambda x, y: x0 <= x <= x1 and y0 <= y <= y1


def stroke(x0, y0, x1, y1, w):
    """A line of width w with round ends."""
    dx, dy = x1 - x0, y1 - y0
    n = dx * dx + dy * dy

    def inside(x, y):
        t = max(0.0, min(1.0, ((x - x0) * dx + (y - y0) * dy) / n)) if n else 0.0
        px, py = x0 + t * dx, y0 + t * dy
        return (x - px) ** 2 + (y - py) ** 2 <= (w / 2) ** 2
    return inside


def polygon(points):
    def inside(x, y):
        c = False
        j = len(points) - 1
        for i in range(len(points)):
            xi, yi = points[i]
            xj, yj = points[j]
            if (yi > y) != (yj > y) and x < (xj - xi) * (y - yi) / (yj - yi) + xi:
                c = not c
            j = i
        return c
    return inside


from dotfont import FONT  # noqa: E402


def text(s, x0, y0, dot):
    """The dot-font text as square dots of size `dot`, top left at (x0, y0)."""
    boxes = []
    for n, ch in enumerate(s):
        for row, bits in enumerate(FONT[ch]):
            for col, b in enumerate(bits):
                if b == '#':
                    x = x0 + (n * 6 + col) * dot
                    y = y0 + row * dot
                    boxes.append((x, y, x + dot * 0.85, y + dot * 0.85))
    return lambda x, y: any(a <= x <= c and b <= y <= d for a, b, c, d in boxes)


def draw(width, height, layers, background=(0, 0, 0, 0)):
    """layers: (colour, shape) in painting order; colour (r, g, b[, a])."""
    rows = []
    step = 1.0 / SAMPLES
    for py in range(height):
        row = []
        for px in range(width):
            acc = [0.0, 0.0, 0.0, 0.0]
            for sy in range(SAMPLES):
                for sx in range(SAMPLES):
                    x, y = px + (sx + 0.5) * step, py + (sy + 0.5) * step
                    colour = background
                    for c, shape in layers:
                        if shape(x, y):
                            colour = c if len(c) == 4 else c + (255,)
                    a = colour[3] / 255.0
                    acc[0] += colour[0] * a
                    acc[1] += colour[1] * a
                    acc[2] += colour[2] * a
                    acc[3] += a
            n = SAMPLES * SAMPLES
            alpha = acc[3] / n
            if alpha > 0:
                row.append(tuple(int(round(v / acc[3])) for v in acc[:3]) + (int(round(alpha * 255)),))
            else:
                row.append((0, 0, 0, 0))
        rows.append(row)
    return rows


def pictures():
    S = 64
    c = S / 2
    white = (255, 255, 255)
    yield "wait1.png", S, S, [
        # An hourglass in a blue disc.
        ((20, 60, 160), disc(c, c, 31)),
        ((240, 240, 240), polygon([(18, 12), (46, 12), (34, 32), (46, 52), (18, 52), (30, 32)])),
        ((230, 180, 40), polygon([(23, 16), (41, 16), (32, 29)])),
        ((230, 180, 40), polygon([(32, 40), (42, 49), (22, 49)])),
        ((90, 60, 20), rect(15, 9, 49, 13)),
        ((90, 60, 20), rect(15, 51, 49, 55)),
    ]
    yield "poweroff1.png", S, S, [
        # The power sign: an open ring with a bar through the opening.
        ((200, 30, 30), disc(c, c, 31)),
        (white, ring(c, c + 2, 14, 20, gap=(0, 38))),
        (white, stroke(c, 10, c, 31, 6)),
    ]
    yield "cash1.png", S, S, [
        # A cash drawer with a banknote and a coin.
        ((30, 110, 40), polygon([(6, 40), (58, 40), (54, 58), (10, 58)])),
        ((50, 160, 60), rect(8, 30, 56, 40)),
        ((200, 230, 170), polygon([(14, 8), (50, 14), (46, 34), (10, 28)])),
        ((40, 120, 50), disc(30, 21, 6)),
        ((230, 190, 40), disc(47, 34, 8)),
        ((180, 140, 20), ring(47, 34, 5, 6.5)),
        ((20, 70, 25), rect(26, 47, 38, 50)),
    ]
    yield "cash2.png", S, S, [
        # The cash drawer sliding open: a drawer front with its handle, the
        # tray behind it and an arrow.
        ((30, 110, 40), disc(c, c, 31)),
        ((200, 230, 170), polygon([(12, 22), (52, 22), (48, 34), (16, 34)])),
        ((240, 240, 240), rect(10, 34, 54, 48)),
        ((40, 120, 50), rect(26, 39, 38, 42)),
        ((230, 190, 40), disc(24, 27, 4)),
        ((230, 190, 40), disc(36, 27, 4)),
        (white, stroke(32, 52, 32, 60, 3)),
    ]
    yield "comport1.png", S, S, [
        # A nine-pin serial connector: the shell and its two rows of pins.
        ((20, 60, 160), disc(c, c, 31)),
        ((220, 220, 225), polygon([(8, 20), (56, 20), (50, 44), (14, 44)])),
        ((60, 60, 70), polygon([(12, 23), (52, 23), (47, 41), (17, 41)])),
    ] + [((240, 200, 60), disc(18 + 7 * i, 28, 2.4)) for i in range(5)] + [
        ((240, 200, 60), disc(21.5 + 7 * i, 36, 2.4)) for i in range(4)
    ]
    yield "print1.png", S, S, [
        # A receipt printer with a receipt coming out of it.
        ((90, 60, 140), disc(c, c, 31)),
        ((250, 250, 250), rect(20, 8, 44, 30)),
        ((120, 120, 120), rect(24, 13, 40, 15)),
        ((120, 120, 120), rect(24, 19, 38, 21)),
        ((120, 120, 120), rect(24, 25, 36, 27)),
        ((200, 200, 210), rect(10, 30, 54, 50)),
        ((60, 60, 70), rect(16, 34, 48, 37)),
        ((60, 200, 90), disc(46, 44, 3)),
    ]
    yield "cancel.png", S, S, [
        ((190, 30, 30), disc(c, c, 31)),
        (white, stroke(19, 19, 45, 45, 8)),
        (white, stroke(45, 19, 19, 45, 8)),
    ]
    yield "ok-1.png", S, S, [
        ((20, 150, 40), disc(c, c, 31)),
        (white, stroke(16, 33, 27, 45, 8)),
        (white, stroke(27, 45, 48, 19, 8)),
    ]
    yield "err-1.png", S, S, [
        ((210, 30, 30), disc(c, c, 31)),
        (white, stroke(c, 13, c, 37, 8)),
        (white, disc(c, 48, 5)),
    ]
    yield "disconnect.png", S, S, [
        # A plug pulled from its socket, grey.
        ((110, 110, 110), disc(c, c, 31)),
        (white, rect(10, 26, 26, 38)),
        (white, rect(24, 22, 28, 42)),
        (white, rect(38, 22, 42, 42)),
        (white, rect(40, 26, 54, 38)),
        (white, rect(28, 25, 34, 27)),
        (white, rect(28, 37, 34, 39)),
        ((230, 60, 60), stroke(14, 50, 50, 14, 4)),
    ]
    # The start-up banner, 600 x 75: the program's name beside its pictures.
    W, H = 600, 75
    yield "adbanner.png", W, H, [
        ((10, 30, 90), rect(0, 0, W, H)),
        ((20, 60, 160), polygon([(0, 0), (220, 0), (170, H), (0, H)])),
        ((230, 190, 40), disc(40, 37.5, 26)),
        ((10, 30, 90), text("K", 31, 26, 3.5)),
        ((255, 255, 255), text("KX4 TEST", 230, 17, 6)),
        ((50, 160, 60), rect(80, 58, 590, 62)),
    ]


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "resources", "images")
    os.makedirs(out, exist_ok=True)
    for name, w, h, layers in pictures():
        png(os.path.join(out, name), w, h, draw(w, h, layers))
        print(name)


if __name__ == "__main__":
    main()
