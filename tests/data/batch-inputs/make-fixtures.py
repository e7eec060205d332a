#!/usr/bin/env python3
# Writes the small bad inputs docview-batch is tested with: files whose headers claim far more
# pixels than their few bytes could hold. Run it in this folder; the files are checked in.
import struct
import zlib


def tiff_lzw_bomb(path, width, height):
    # A grey 8-bit TIFF, one LZW strip: a clear code, one pixel and the end code.
    lzw = bytes([0x80, 0x00, 0x20, 0x10])  # 9-bit codes 256, 0, 257, packed high bit first
    entries = [
        (256, 4, width),  # ImageWidth
        (257, 4, height),  # ImageLength
        (258, 3, 8),  # BitsPerSample
        (259, 3, 5),  # Compression: LZW
        (262, 3, 1),  # PhotometricInterpretation: black is zero
        (273, 4, 0),  # StripOffsets, set below
        (277, 3, 1),  # SamplesPerPixel
        (278, 4, height),  # RowsPerStrip
        (279, 4, len(lzw)),  # StripByteCounts
    ]
    data_offset = 8 + 2 + 12 * len(entries) + 4
    ifd = struct.pack("<H", len(entries))
    for tag, kind, value in entries:
        value = data_offset if tag == 273 else value
        packed = struct.pack("<HH", value, 0) if kind == 3 else struct.pack("<I", value)
        ifd += struct.pack("<HHI", tag, kind, 1) + packed
    ifd += struct.pack("<I", 0)
    with open(path, "wb") as file:
        file.write(b"II*\x00" + struct.pack("<I", 8) + ifd + lzw)


def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def png_bomb(path, width, height):
    # A grey 8-bit PNG whose data hold a few rows only.
    header = struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)
    rows = zlib.compress(b"\x00" * (width + 1) * 4, 9)
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header) + png_chunk(b"IDAT", rows) +
                   png_chunk(b"IEND", b""))


tiff_lzw_bomb("bomb-63090x16387.tif", 63090, 16387)
png_bomb("bomb-32000x32000.png", 32000, 32000)
png_bomb("bomb-100000x100000.png", 100000, 100000)
