"""The types of properties in PLY files that vx_cache writes. Arguments: the program, then unittest's own."""

import os
import re
import struct
import sys
import unittest

import cloud_files as cf
from cache_case import CacheCase

CacheCase.program = os.path.abspath(sys.argv.pop(1))
P = [0.1, 0.2, 0.3, 1, 2, 3]
N = [0, 0, 1, 0, 1, 0]
C = [0, 0.25, 1, 2, -1, 0.5]
CLOUD = [("position", 5, P), ("normalPP", 5, N), ("rgbPP", 5, C), ("id", 3, [7, 8]), ("tag", 3, [-1, 4]),
         ("age", 3, [0.1, 0.5]), ("radius", 2, [0.125])]


def f32(values):
    return list(struct.unpack("%df" % len(values), struct.pack("%df" % len(values), *values)))


class PlyTypes(CacheCase):
    def setUp(self):
        super().setUp()
        self.put("a.pdc", cf.pdc(CLOUD, 2))

    def properties(self, data):
        head = data.partition(b"end_header\n")[0].decode()
        return [tuple(m) for m in re.findall(r"^property (\w+) (\S+)$", head, re.M)]

    def test_floats_and_integers_by_default(self):
        for encoding in ("little", "big", "ascii"):
            messages, data = self.convert("a.pdc", "a.ply", "--encoding", encoding)
            self.assertEqual(self.properties(data),
                             [("float", n) for n in ("x", "y", "z", "nx", "ny", "nz", "red", "green", "blue")]
                             + [("int", "id"), ("int", "tag"), ("float", "age"), ("float", "radius")])
            _, ply = cf.read_ply(data)
            read = f32 if encoding == "ascii" else list
            self.assertEqual(read(ply["vertex"]["x"]), f32(P[0::3]))
            self.assertEqual(read(ply["vertex"]["age"]), f32([0.1, 0.5]))
            self.assertEqual((ply["vertex"]["id"], ply["vertex"]["tag"]), ([7, 8], [-1, 4]))
            self.assertIn("'position': 3 of 6 values do not fit float32 and were rounded", messages)
            self.assertNotIn("'tag'", messages)

    def test_double_keeps_all_bits(self):
        for encoding in ("little", "big", "ascii"):
            messages, data = self.convert("a.pdc", "a.ply", "--double", "--encoding", encoding)
            self.assertEqual({kind for kind, _ in self.properties(data)}, {"double"})
            self.assertEqual(messages, "")
            self.assertEqual(self.convert("a.ply", "b.pdc", "--pdc-types", "keep")[1], self.get("a.pdc"))

    def test_integers_that_do_not_fit_are_doubles(self):
        self.put("b.csv", b"x,y,z,id,tag,n,m\n0,0,0,%d,1.5,%d,5\n0,0,0,1,2,3,6\n" % (2 ** 31, 2 ** 53 + 1))
        messages, data = self.convert("b.csv", "b.ply")
        self.assertEqual(self.properties(data)[3:], [("double", "id"), ("double", "tag"), ("double", "n"), ("int", "m")])
        _, ply = cf.read_ply(data)
        self.assertEqual(ply["vertex"]["id"], [2 ** 31, 1])
        self.assertEqual(ply["vertex"]["tag"], [1.5, 2])
        self.assertIn("'n': 1 of 2 values do not fit float64 and were rounded", messages)

    def test_byte_colors_are_added_with_their_curve(self):
        # Of 0.25 and 0.5 on the curve 1.055 v^(1/2.4) - 0.055, times 255: 136.96 and 187.5.
        for option, curve, expected in (("--byte-color", "sRGB", [[0, 255], [137, 0], [255, 188]]),
                                        ("--byte-color=srgb", "sRGB", [[0, 255], [137, 0], [255, 188]]),
                                        ("--byte-color=linear", "linear", [[0, 255], [64, 0], [255, 128]])):
            for encoding in ("little", "big", "ascii"):
                _, data = self.convert("a.pdc", "a.ply", option, "--encoding", encoding)
                self.assertEqual(self.properties(data)[6:9], [("float", "rgbPP." + k) for k in "xyz"])
                self.assertEqual(self.properties(data)[-4:-1], [("uchar", k) for k in ("red", "green", "blue")])
                self.assertIn(("comment vx_cache bytes red green blue: rgbPP, cut to 0 to 1, %s\n" % curve).encode(), data)
                _, ply = cf.read_ply(data)
                self.assertEqual([ply["vertex"][k] for k in ("red", "green", "blue")], expected)
                # Read back, the colors are the exact ones, and the bytes are not attributes of their own.
                values = cf.read_pdc(self.convert("a.ply", "b.pdc")[1])[1]
                self.assertEqual(sorted(values), sorted(n for n, _, _ in CLOUD))
                self.assertEqual(values["rgbPP"][1], C)

    def test_dark_bytes_are_on_the_straight_part_of_the_curve(self):
        self.put("d.pdc", cf.pdc([("position", 5, [0, 0, 0]), ("rgbPP", 5, [0.003, 0.0032, float("nan")])], 1))
        _, ply = cf.read_ply(self.convert("d.pdc", "d.ply", "--byte-color")[1])
        # 12.92 * 0.003 * 255 = 9.88; (1.055 * 0.0032^(1/2.4) - 0.055) * 255 = 10.54
        self.assertEqual([ply["vertex"][k] for k in ("red", "green", "blue")], [[10], [11], [0]])

    def test_bytes_of_other_programs_are_the_colors(self):
        head = (b"ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
                b"property float z\nproperty uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n")
        self.put("f.ply", head + struct.pack("<3f3B", 0, 0, 0, 255, 0, 51))
        values = cf.read_pdc(self.convert("f.ply", "f.pdc")[1])[1]
        self.assertEqual(values["rgbPP"][1], [1, 0] + f32([0.2]))


if __name__ == "__main__":
    unittest.main()
