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
