"""Reads PDC particle caches. Written from the format alone, without code of the library.

Header, 28 bytes: "PDC ", then six big-endian int32: version, byte order, two extra words, particle
count, attribute count. Then one record per attribute: name length, name, type code, data. Codes: 0 int32,
1 int32 per particle, 2 double, 3 double per particle, 4 vector, 5 vector per particle.
"""

import struct


class PdcError(Exception):
    pass


class Pdc:
    def __init__(self, path):
        with open(path, "rb") as stream:
            data = stream.read()
        if len(data) < 28:
            raise PdcError("%s: %d bytes are no header" % (path, len(data)))
        self.magic = data[:4]
        (self.version, self.byte_order, self.extra1, self.extra2, self.count,
         self.attribute_count) = struct.unpack(">6i", data[4:28])
        self.names = []
        self.codes = {}
        self.values = {}
        offset = 28
        for _ in range(self.attribute_count):
            (length,) = struct.unpack_from(">i", data, offset)
            name = data[offset + 4:offset + 4 + length].decode("ascii")
            offset += 4 + length
            (code,) = struct.unpack_from(">i", data, offset)
            offset += 4
            number = self.count if code in (1, 3, 5) else 1
            if code in (0, 1):
                values = list(struct.unpack_from(">%di" % number, data, offset))
                offset += 4 * number
            elif code in (2, 3):
                values = list(struct.unpack_from(">%dd" % number, data, offset))
                offset += 8 * number
            elif code in (4, 5):
                flat = struct.unpack_from(">%dd" % (3 * number), data, offset)
                values = [flat[3 * i:3 * i + 3] for i in range(number)]
                offset += 24 * number
            else:
                raise PdcError("%s: type code %d at byte %d" % (path, code, offset - 4))
            self.names.append(name)
            self.codes[name] = code
            self.values[name] = values
        if offset != len(data):
            raise PdcError("%s: %d bytes left over" % (path, len(data) - offset))

    def __getitem__(self, name):
        return self.values[name]


def write(path, count, attributes):
    """attributes: (name, code, values) triples, values flat."""
    with open(path, "wb") as stream:
        stream.write(b"PDC " + struct.pack(">6i", 1, 1, 0, 0, count, len(attributes)))
        for name, code, values in attributes:
            stream.write(struct.pack(">i", len(name)) + name.encode("ascii") + struct.pack(">i", code))
            kind = "i" if code in (0, 1) else "d"
            stream.write(struct.pack(">%d%s" % (len(values), kind), *values))
