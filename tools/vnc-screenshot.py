#!/usr/bin/env python3
"""Saves the screen a VNC server shows as a PNG, or taps it.

    python3 tools/vnc-screenshot.py PORT OUTPUT.png [HOST]
    python3 tools/vnc-screenshot.py --tap-colour RRGGBB PORT [HOST]

A minimal RFB 3.3 viewer (no password, raw pixels, one full update), enough
for the screen kx4test-sim serves with "-platform vnc". Standard library only.
--tap-colour presses and releases the left button in the middle of the
pixels of that colour (give or take a little), as a finger on the button of
that colour would; it fails when the screen shows none.
"""
import socket
import struct
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from pngfile import RGB, write_png  # noqa: E402


def recv_exact(sock, n):
    data = bytearray()
    while len(data) < n:
        chunk = sock.recv(n - len(data))
        if not chunk:
            raise EOFError("the server closed the connection")
        data += chunk
    return bytes(data)


def connect(host, port):
    sock = socket.create_connection((host, port), timeout=30)
    version = recv_exact(sock, 12)
    if not version.startswith(b"RFB "):
        raise RuntimeError("not a VNC server: %r" % version)
    sock.sendall(b"RFB 003.003\n")
    security = struct.unpack(">I", recv_exact(sock, 4))[0]
    if security != 1:
        raise RuntimeError("the server wants security type %d; only none is supported" % security)
    sock.sendall(b"\x01")  # shared
    width, height = struct.unpack(">HH", recv_exact(sock, 4))
    recv_exact(sock, 16)  # the server's pixel format
    name_length = struct.unpack(">I", recv_exact(sock, 4))[0]
    recv_exact(sock, name_length)
    # 32 bits a pixel, true colour, little endian, red at bit 16, green 8, blue 0.
    sock.sendall(struct.pack(">BxxxBBBBHHHBBBxxx", 0, 32, 24, 0, 1, 255, 255, 255, 16, 8, 0))
    sock.sendall(struct.pack(">BxHi", 2, 1, 0))  # raw encoding only
    return sock, width, height


def grab(host, port, keep=False):
    sock, width, height = connect(host, port)
    sock.sendall(struct.pack(">BBHHHH", 3, 0, 0, 0, width, height))
    pixels = bytearray(width * height * 4)
    covered = 0
    while covered < width * height:
        kind = recv_exact(sock, 1)[0]
        if kind == 0:  # framebuffer update
            recv_exact(sock, 1)
            count = struct.unpack(">H", recv_exact(sock, 2))[0]
            for _ in range(count):
                x, y, w, h, encoding = struct.unpack(">HHHHi", recv_exact(sock, 12))
                if encoding != 0:
                    raise RuntimeError("unexpected encoding %d" % encoding)
                data = recv_exact(sock, w * h * 4)
                for row in range(h):
                    start = ((y + row) * width + x) * 4
                    pixels[start:start + w * 4] = data[row * w * 4:(row + 1) * w * 4]
                covered += w * h
        elif kind == 1:  # colour map entries
            recv_exact(sock, 3)
            n = struct.unpack(">H", recv_exact(sock, 2))[0]
            recv_exact(sock, n * 6)
        elif kind == 2:  # bell
            pass
        elif kind == 3:  # cut text
            recv_exact(sock, 3)
            recv_exact(sock, struct.unpack(">I", recv_exact(sock, 4))[0])
        else:
            raise RuntimeError("unknown server message %d" % kind)
    if keep:
        return sock, width, height, pixels
    sock.close()
    return width, height, pixels


def tap_colour(host, port, colour):
    """Presses and releases the left button amid the pixels of `colour` (RRGGBB)."""
    want = [int(colour[i:i + 2], 16) for i in (0, 2, 4)]
    sock, width, height, pixels = grab(host, port, keep=True)
    xs = ys = n = 0
    for y in range(height):
        for x in range(width):
            i = (y * width + x) * 4
            rgb = (pixels[i + 2], pixels[i + 1], pixels[i])
            if all(abs(a - b) <= 12 for a, b in zip(rgb, want)):
                xs, ys, n = xs + x, ys + y, n + 1
    if n == 0:
        raise RuntimeError("no pixel of colour %s on the screen" % colour)
    x, y = xs // n, ys // n
    sock.sendall(struct.pack(">BBHH", 5, 1, x, y))  # pointer event, left button down
    sock.sendall(struct.pack(">BBHH", 5, 0, x, y))  # and up
    sock.close()
    return x, y


def save(path, width, height, bgrx):
    """The server's 32-bit little-endian pixels (blue, green, red, unused) as an RGB PNG."""
    def rows():
        for y in range(height):
            line = bgrx[y * width * 4:(y + 1) * width * 4]
            yield bytes(c for x in range(width) for c in (line[x * 4 + 2], line[x * 4 + 1], line[x * 4]))
    write_png(path, width, height, rows(), RGB)


def main():
    if len(sys.argv) > 3 and sys.argv[1] == "--tap-colour":
        host = sys.argv[4] if len(sys.argv) > 4 else "127.0.0.1"
        print("tapped at %d,%d" % tap_colour(host, int(sys.argv[3]), sys.argv[2]))
        return
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    host = sys.argv[3] if len(sys.argv) > 3 else "127.0.0.1"
    width, height, pixels = grab(host, int(sys.argv[1]))
    save(sys.argv[2], width, height, pixels)


if __name__ == "__main__":
    main()
