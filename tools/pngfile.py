"""Writes plain PNG files with the standard library alone."""
import struct
import zlib

RGB = 2
RGBA = 6


def write_png(path, width, height, rows, colour_type):
    """rows: one bytes object a row, 3 (RGB) or 4 (RGBA) bytes a pixel."""
    raw = bytearray()
    for row in rows:
        raw.append(0)  # no filter
        raw += row

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data) & 0xffffffff)

    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, colour_type, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(bytes(raw), 9)))
        f.write(chunk(b"IEND", b""))
