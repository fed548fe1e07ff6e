"""Small readers of cloud files that are as strict as other programs are. They share nothing with the program."""

import struct


def strict_pdc(data):
    """Reads a PDC file of arrays of numbers (code 3) and of vectors (code 5), as bakes write them.

    Returns the count of points and the attributes in the order of the file: (name, code, values)."""
    magic, version, order, zero_a, zero_b, count, records = struct.unpack_from(">4s6i", data, 0)
    if (magic, version, order, zero_a, zero_b) != (b"PDC ", 1, 1, 0, 0):
        raise ValueError("header %r" % data[:20])
    at = 28
    attributes = []
    for _ in range(records):
        (length,) = struct.unpack_from(">i", data, at)
        name = data[at + 4:at + 4 + length].decode()
        (code,) = struct.unpack_from(">i", data, at + 4 + length)
        if code not in (3, 5):
            raise ValueError("attribute %r has code %d" % (name, code))
        at += 8 + length
        n = count * (3 if code == 5 else 1)
        attributes.append((name, code, list(struct.unpack_from(">%dd" % n, data, at))))
        at += 8 * n
    if at != len(data):
        raise ValueError("%d bytes are left" % (len(data) - at))
    return count, attributes


def strict_bgeo(data):
    """Reads a classic geometry file of points only.

    Returns the rows of points (x, y, z, w, values by attribute), the attributes of points and those of the file, as
    name -> (type, size) and name -> (type, values)."""
    if data[:5] != b"BgeoV":
        raise ValueError("magic %r" % data[:5])
    version, points, prims, point_groups, prim_groups, n_point, n_vertex, n_prim, n_detail = struct.unpack_from(
        ">9i", data, 5)
    if (version, prims, point_groups, prim_groups, n_vertex, n_prim) != (5, 0, 0, 0, 0, 0):
        raise ValueError("header")
    at = 41

    def definitions(number):
        nonlocal at
        out = {}
        for _ in range(number):
            (length,) = struct.unpack_from(">H", data, at)
            name = data[at + 2:at + 2 + length].decode("ascii")
            size, kind = struct.unpack_from(">Hi", data, at + 2 + length)
            if kind not in (0, 1, 5) or not name.isidentifier() or name in out:
                raise ValueError("attribute %r of type %d" % (name, kind))
            at += 8 + length
            if any(struct.unpack_from(">%di" % size, data, at)):
                raise ValueError("default of %r" % name)
            at += 4 * size
            out[name] = (kind, size)
        return out

    def values(kind, size):
        nonlocal at
        out = struct.unpack_from(">%d%s" % (size, "i" if kind == 1 else "f"), data, at)
        at += 4 * size
        return list(out)

    of_points = definitions(n_point)
    rows = []
    for _ in range(points):
        row = {"P": values(0, 4)}
        for name, (kind, size) in of_points.items():
            row[name] = values(kind, size)
        rows.append(row)
    of_file = {name: (kind, values(kind, size)) for name, (kind, size) in definitions(n_detail).items()}
    if data[at:] != b"\x00\xff":
        raise ValueError("%d bytes are left" % (len(data) - at))
    return rows, of_points, of_file
