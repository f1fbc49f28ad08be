#!/usr/bin/env python3
"""Saves the screen a VNC server shows as a PNG.

    python3 tools/vnc-screenshot.py PORT OUTPUT.png [HOST]

A minimal RFB 3.3 viewer (no password, raw pixels, one full update), enough
for the screen kx4test-sim serves with "-platform vnc". Standard library only.
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


def grab(host, port):
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
    sock.close()
    return width, height, pixels


def save(path, width, height, bgrx):
    """The server's 32-bit little-endian pixels (blue, green, red, unused) as an RGB PNG."""
    def rows():
        for y in range(height):
            line = bgrx[y * width * 4:(y + 1) * width * 4]
            yield bytes(c for x in range(width) for c in (line[x * 4 + 2], line[x * 4 + 1], line[x * 4]))
    write_png(path, width, height, rows(), RGB)


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    host = sys.argv[3] if len(sys.argv) > 3 else "127.0.0.1"
    width, height, pixels = grab(host, int(sys.argv[1]))
    save(sys.argv[2], width, height, pixels)


if __name__ == "__main__":
    main()
