#!/usr/bin/env python3
# Writes small PNG files of the colour types and bit depths OpenCV cannot write itself (palettes,
# grey with alpha, low bit depths, transparency chunks, interlacing), to compare the program's PNG
# reader with OpenCV's. Run it in this folder; the files are checked in.
import struct
import zlib

W, H = 13, 7


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def pack_row(samples, bits):
    if bits >= 8:
        size = bits // 8
        return b"".join(s.to_bytes(size, "big") for s in samples)
    out, acc, used = bytearray(), 0, 0
    for s in samples:
        acc = acc << bits | s
        used += bits
        if used == 8:
            out.append(acc)
            acc, used = 0, 0
    if used:
        out.append(acc << (8 - used))
    return bytes(out)


def sample(x, y, c, bits):
    return (x * 7 + y * 13 + c * 29) % (1 << bits)


def rows(width, height, channels, bits, xs=None, ys=None):
    xs = xs or list(range(width))
    ys = ys or list(range(height))
    data = b""
    for y in ys:
        data += b"\x00" + pack_row([sample(x, y, c, bits) for x in xs for c in range(channels)], bits)
    return data


def adam7(channels, bits):
    passes = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2),
              (0, 1, 1, 2)]
    data = b""
    for x0, y0, dx, dy in passes:
        xs = list(range(x0, W, dx))
        ys = list(range(y0, H, dy))
        if xs and ys:
            data += rows(W, H, channels, bits, xs, ys)
    return data


def write(name, colour, bits, channels, extra=b"", interlace=0):
    header = struct.pack(">IIBBBBB", W, H, bits, colour, 0, 0, interlace)
    data = adam7(channels, bits) if interlace else rows(W, H, channels, bits)
    with open(name, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + extra +
                   chunk(b"IDAT", zlib.compress(data)) + chunk(b"IEND", b""))


palette16 = chunk(b"PLTE", bytes((i * 37 + c * 90) % 256 for i in range(16) for c in range(3)))
palette256 = chunk(b"PLTE", bytes((i * 37 + c * 90) % 256 for i in range(256) for c in range(3)))
write("palette4.png", 3, 4, 1, palette16)
write("palette8-trns.png", 3, 8, 1, palette256 + chunk(b"tRNS", bytes(range(0, 160, 10))))
write("grey2.png", 0, 2, 1)
write("grey8-trns.png", 0, 8, 1, chunk(b"tRNS", b"\x00\x07"))
write("grey-alpha8.png", 4, 8, 2)
write("grey-alpha16.png", 4, 16, 2)
write("rgb8-trns.png", 2, 8, 3, chunk(b"tRNS", b"\x00\x07\x00\x14\x00\x21"))
write("rgb16.png", 2, 16, 3)
write("rgba16-interlaced.png", 6, 16, 4, interlace=1)
write("grey8-interlaced.png", 0, 8, 1, interlace=1)
