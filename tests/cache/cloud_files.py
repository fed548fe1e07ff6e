"""Small writers and readers of the cloud formats that share nothing with the program under test."""

import re
import struct
import zipfile


def pdc(attributes, count, version=1, declared=None):
    """attributes: (name, code, values), values flat; codes as in the format."""
    parts = [b"PDC " + struct.pack(
        ">6i", version, 1, 0, 0, count, len(attributes) if declared is None else declared)]
    for name, code, values in attributes:
        raw = name.encode()
        parts.append(struct.pack(">i", len(raw)) + raw + struct.pack(">i", code))
        parts.append(struct.pack(">%d%s" % (len(values), "i" if code < 2 else "d"), *values))
    return b"".join(parts)


def read_pdc(data):
    count, records = struct.unpack(">2i", data[20:28])
    at = 28
    out = {}
    for _ in range(records):
        (length,) = struct.unpack_from(">i", data, at)
        name = data[at + 4:at + 4 + length].decode()
        (code,) = struct.unpack_from(">i", data, at + 4 + length)
        at += 8 + length
        n = (count if code % 2 else 1) * (3 if code > 3 else 1)
        out[name] = (code, list(struct.unpack_from(">%d%s" % (n, "i" if code < 2 else "d"), data, at)))
        at += n * (4 if code < 2 else 8)
    assert at == len(data), (at, len(data))
    return count, out


PLY = {"char": "b", "uchar": "B", "short": "h", "ushort": "H", "int": "i", "uint": "I",
       "float": "f", "double": "d"}


def read_ply(data):
    head, _, body = data.partition(b"end_header\n")
    elements = []
    encoding = None
    for line in head.decode().splitlines():
        words = line.split()
        if words[0] == "format":
            encoding = words[1]
        elif words[0] == "element":
            elements.append((words[1], int(words[2]), []))
        elif words[0] == "property":
            elements[-1][2].append((words[2], words[1]))
    out = {}
    rows = body.decode().splitlines() if encoding == "ascii" else None
    at = 0
    for name, count, properties in elements:
        columns = {p: [] for p, _ in properties}
        for _ in range(count):
            if rows is not None:
                values = [float(w) for w in rows[at].split()]
                at += 1
            else:
                order = "<" if "little" in encoding else ">"
                form = order + "".join(PLY[t] for _, t in properties)
                values = struct.unpack_from(form, body, at)
                at += struct.calcsize(form)
            for (p, _), v in zip(properties, values):
                columns[p].append(v)
        out[name] = columns
    assert at == (len(rows) if rows is not None else len(body))
    return encoding, out


def read_npz(path):
    out = {}
    with zipfile.ZipFile(path) as archive:
        assert archive.testzip() is None
        for name in archive.namelist():
            raw = archive.read(name)
            assert raw[:8] == b"\x93NUMPY\x01\x00"
            (length,) = struct.unpack("<H", raw[8:10])
            assert (10 + length) % 64 == 0
            header = eval(raw[10:10 + length].decode())
            code = {"<i4": "i", "<i8": "q", "<f4": "f", "<f8": "d"}[header["descr"]]
            body = raw[10 + length:]
            out[name[:-4]] = (header["shape"],
                              list(struct.unpack("<%d%s" % (len(body) // struct.calcsize(code), code), body)))
    return out


def read_usda(text):
    out = {}
    for kind, name, body in re.findall(r"^    (\S+\[\]) (\S+) = \[(.*)\]", text, re.M):
        out[name] = (kind, [float(v) for v in re.findall(r"[^\s,()]+", body)])
    return out
