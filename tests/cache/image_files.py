"""Small readers of pictures that share nothing with the program under test."""

import struct
import zlib


def png_chunks(data):
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at = 8
    while at < len(data):
        (length,) = struct.unpack_from(">I", data, at)
        kind, body = data[at + 4:at + 8], data[at + 8:at + 8 + length]
        (crc,) = struct.unpack_from(">I", data, at + 8 + length)
        assert crc == zlib.crc32(kind + body), kind
        yield kind, body
        at += 12 + length


def paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    return a if pa <= pb and pa <= pc else b if pb <= pc else c


def read_png(data):
    """Rows from the top of (r, g, b) bytes."""
    chunks = list(png_chunks(data))
    width, height, depth, color, _, _, interlace = struct.unpack(">IIBBBBB", chunks[0][1])
    assert (depth, interlace) == (8, 0) and color in (2, 6), (depth, color, interlace)
    n = 3 if color == 2 else 4
    raw = zlib.decompress(b"".join(body for kind, body in chunks if kind == b"IDAT"))
    size = width * n
    rows = []
    before = bytearray(size)
    for y in range(height):
        kind = raw[y * (size + 1)]
        line = bytearray(raw[y * (size + 1) + 1:(y + 1) * (size + 1)])
        if kind == 2:
            line = bytearray((a + b) & 255 for a, b in zip(line, before))
        elif kind:
            for i in range(size):
                left = line[i - n] if i >= n else 0
                if kind == 1:
                    add = left
                elif kind == 3:
                    add = (left + before[i]) // 2
                else:
                    add = paeth(left, before[i], before[i - n] if i >= n else 0)
                line[i] = (line[i] + add) & 255
        rows.append([tuple(line[i:i + 3]) for i in range(0, size, n)])
        before = line
    return rows


def read_exr(data):
    """Rows from the top of (r, g, b) floats; float channels, stored plainly or by zip."""
    magic, version = struct.unpack_from("<ii", data)
    assert magic == 20000630 and version == 2, (magic, version)
    at = 8
    header = {}

    def text():
        nonlocal at
        end = data.index(b"\0", at)
        word = data[at:end].decode()
        at = end + 1
        return word

    while True:
        name = text()
        if not name:
            break
        text()
        (length,) = struct.unpack_from("<i", data, at)
        header[name] = data[at + 4:at + 4 + length]
        at += 4 + length
    channels = []
    body = header["channels"]
    while body[0]:
        name, _, body = body.partition(b"\0")
        assert struct.unpack_from("<i", body)[0] == 2, "float channels"
        channels.append(name.decode())
        body = body[16:]
    x0, y0, x1, y1 = struct.unpack("<4i", header["dataWindow"])
    width, height = x1 - x0 + 1, y1 - y0 + 1
    compression = header["compression"][0]
    lines = {0: 1, 2: 1, 3: 16}[compression]
    offsets = struct.unpack_from("<%dQ" % -(-height // lines), data, at)
    planes = {c: [] for c in channels}
    for block, offset in enumerate(offsets):
        y, size = struct.unpack_from("<ii", data, offset)
        assert y == y0 + block * lines
        count = min(lines, height - block * lines)
        packed = data[offset + 8:offset + 8 + size]
        whole = count * width * 4 * len(channels)
        if size < whole:
            delta = bytearray(zlib.decompress(packed))
            for i in range(1, len(delta)):
                delta[i] = (delta[i - 1] + delta[i] - 128) & 255
            half = (len(delta) + 1) // 2
            packed = bytearray(len(delta))
            packed[0::2] = delta[:half]
            packed[1::2] = delta[half:]
        for line in range(count):
            for k, c in enumerate(channels):
                planes[c].append(struct.unpack_from("<%df" % width, packed,
                                                    4 * width * (line * len(channels) + k)))
    return [list(zip(planes["R"][y], planes["G"][y], planes["B"][y])) for y in range(height)]
