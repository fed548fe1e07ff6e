"""Values that a file declares wrongly or that a type cannot hold. Arguments: the program, then unittest's own."""

import os
import re
import struct
import sys
import unittest
import zipfile

import cloud_files as cf
from cache_case import CacheCase

CacheCase.program = os.path.abspath(sys.argv.pop(1))


def ascii_ply(properties, rows, count=None):
    lines = ["ply", "format ascii 1.0", "element vertex %d" % (len(rows) if count is None else count)]
    lines += ["property " + p for p in properties] + ["end_header"] + rows
    return ("\n".join(lines) + "\n").encode()


class AsciiPly(CacheCase):
    RANGES = {"char": (-128, 127), "uchar": (0, 255), "short": (-32768, 32767), "ushort": (0, 65535),
              "int": (-2 ** 31, 2 ** 31 - 1), "uint": (0, 2 ** 32 - 1)}

    def test_integers_keep_to_the_range_of_their_type(self):
        for kind, (least, most) in self.RANGES.items():
            self.put("a.ply", ascii_ply([kind + " v"], [str(least), str(most)]))
            _, values = cf.read_pdc(self.convert("a.ply", "a.pdc")[1])
            self.assertEqual(values["v"], (3, [least, most]))
            for bad in (least - 1, most + 1, 10 ** 30, "1.5", "1e2", "nan"):
                data = ascii_ply(["float w", kind + " v"], ["1 %d" % most, "1 %s" % bad])
                where = len(data) - 1 - len(str(bad))
                self.fails("info", self.put("b.ply", data),
                           says="byte %d: '%s' is not a valid %s" % (where, bad, kind))

    def test_rows_behind_the_last_are_reported(self):
        point = ["float x", "float y", "float z"]
        data = ascii_ply(point, ["1 0 0", "2 0 0", "", " \t", "3 0 0", "4 0 0"], count=2)
        done = self.ok("convert", "-f", self.put("a.ply", data), self.path("a.pdc"))
        self.assertIn("byte %d: 12 bytes after the last row" % (len(data) - 12), done.stderr.decode())
        self.assertEqual(cf.read_pdc(self.get("a.pdc")), (2, {"position": (5, [1, 0, 0, 2, 0, 0])}))
        done = self.run_tool("check", self.path("a.ply"))
        self.assertIn(b"warning: byte %d: 12 bytes after the last row" % (len(data) - 12), done.stdout)
        done = self.run_tool("check", self.put("b.ply", ascii_ply(point, ["1 0 0", "2 0 0", "", " \t"], count=2)))
        self.assertNotIn(b"after the last row", done.stdout)


class Colors(CacheCase):
    def colors(self, kinds, row):
        properties = ["%s %s" % pair for pair in zip(kinds, ("red", "green", "blue"))]
        self.put("a.ply", ascii_ply(properties, [" ".join(map(str, row))]))
        text = cf.read_pdc(self.convert("a.ply", "a.pdc")[1])[1]["rgbPP"][1]
        code = {"uchar": "B", "ushort": "H", "int": "i", "float": "f"}
        head = self.get("a.ply").partition(b"end_header")[0].replace(b"ascii", b"binary_little_endian")
        self.put("b.ply", head + b"end_header\n" + struct.pack("<" + "".join(code[k] for k in kinds), *row))
        self.assertEqual(cf.read_pdc(self.convert("b.ply", "b.pdc")[1])[1]["rgbPP"][1], text)
        return text

    def test_each_column_is_scaled_by_its_own_type(self):
        self.assertEqual(self.colors(("uchar", "ushort", "uchar"), (255, 65535, 51)),
                         [1, 1, struct.unpack("f", struct.pack("f", 0.2))[0]])
        self.assertEqual(self.colors(("uchar", "float", "ushort"), (255, 0.25, 0)), [1, 0.25, 0])

    def test_other_integers_are_no_fractions(self):
        self.assertEqual(self.colors(("int", "int", "int"), (1, 0, 255)), [1, 0, 255])


class Digits(CacheCase):
    BIG = 2 ** 53 + 1

    def table(self, *cells):
        self.put("t.csv", ("v\n" + "\n".join(map(str, cells)) + "\n").encode())
        messages, data = self.convert("t.csv", "t.npz", "-v")
        return messages, cf.read_npz(self.path("t.npz"))["v"][1]

    def test_large_whole_numbers_are_exact_in_a_column_of_them(self):
        messages, values = self.table(self.BIG, -2 ** 63, 2 ** 63 - 1)
        self.assertEqual(values, [self.BIG, -2 ** 63, 2 ** 63 - 1])
        self.assertNotIn("rounded", messages)

    def test_digits_that_a_real_number_takes_from_them_are_reported(self):
        for cells, count in (((self.BIG, 7, 0.5), 1), ((0.5, self.BIG, self.BIG + 1), 1),
                             ((-self.BIG, self.BIG, 0.5, self.BIG), 3), ((10 ** 20 + 1, 0.5), 1),
                             ((2 ** 63, 2 ** 63 - 1, 0.5), 2)):
            messages, values = self.table(*cells)
            self.assertEqual(values, [float(c) for c in cells])
            self.assertIn("column 'v': %d whole numbers have more digits than a 64-bit float holds" % count, messages)
        for cells in ((2 ** 53, 0.5, -2 ** 53, 2 ** 60), (1e300, 0.5, "inf", "")):
            self.assertNotIn("rounded", self.table(*cells)[0])

    def test_columns_that_are_joined_with_real_numbers_count(self):
        self.put("t.csv", b"x,y,z\n%d,0.5,1\n" % self.BIG)
        self.assertIn("column 'x': 1 whole numbers", self.convert("t.csv", "t.npz")[0])


class Checksums(CacheCase):
    def test_wrong_ones_are_errors_of_every_verb(self):
        self.put("a.pdc", cf.pdc([("position", 5, [0.5] * 6), ("age", 3, [0.75, 0.25])], 2))
        self.convert("a.pdc", "a.npz")
        for method in (zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED):
            with zipfile.ZipFile(self.path("a.npz")) as old, zipfile.ZipFile(self.path("b.npz"), "w", method) as new:
                for name in old.namelist():
                    new.writestr(name, old.read(name))
            data = bytearray(self.get("b.npz"))
            self.ok("convert", "-f", self.path("b.npz"), self.path("b.pdc"))
            # The checksum in the directory, of the second array.
            record = [m.start() for m in re.finditer(b"PK\x01\x02", data)][1]
            data[record + 16] ^= 1
            self.put("b.npz", data)
            for verb in (("info",), ("convert", "-f")):
                self.fails(*verb, self.path("b.npz"), *([self.path("c.pdc")] if len(verb) > 1 else []),
                           says="'age.npy': its checksum is wrong")
            self.assertFalse(os.path.exists(self.path("c.pdc")))
        data = bytearray(self.get("a.npz"))
        data[data.index(struct.pack("<d", 0.25))] ^= 1
        self.fails("convert", self.put("d.npz", data), self.path("d.pdc"), says="checksum")


if __name__ == "__main__":
    unittest.main()
