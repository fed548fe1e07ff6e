"""The formats xyz and pts. Arguments: the program, then unittest's own."""

import os
import sys
import unittest

import cloud_files as cf
from cache_case import CacheCase

CacheCase.program = os.path.abspath(sys.argv.pop(1))
P = [0.1, 0.2, 0.3, 1, 2e-7, -3]
N = [0, 0, 1, 0, 0.6, 0.8]
C = [0, 0.25, 1, 2, -1, 0.5]


class Text(CacheCase):
    def read(self, name, data, *options):
        self.put(name, data)
        messages, pdc = self.convert(name, "read.pdc", *options)
        return messages, {n: v for n, (_, v) in cf.read_pdc(pdc)[1].items()}


class Xyz(Text):
    def test_lines_begin_with_position_normal_and_color(self):
        self.put("a.pdc", cf.pdc([("tag", 3, [4, -1]), ("rgbPP", 5, C), ("a b", 2, [0.5]), ("normalPP", 5, N),
                                  ("position", 5, P)], 2))
        messages, data = self.convert("a.pdc", "a.xyz")
        self.assertEqual(data.decode(), "//x y z nx ny nz Rf Gf Bf tag a%20b\n"
                                        "0.1 0.2 0.3 0 0 1 0 0.25 1 4 0.5\n1 2e-07 -3 0 0.6 0.8 2 -1 0.5 -1 0.5\n")
        self.assertIn("'a b': one value for all points is written for every point", messages)
        back = self.read("b.xyz", data)[1]
        self.assertEqual(back, {"position": P, "normalPP": N, "rgbPP": C, "tag": [4, -1], "a b": [0.5, 0.5]})

    def test_whole_colors_of_our_own_files_are_no_bytes(self):
        self.put("a.pdc", cf.pdc([("position", 5, P), ("rgbPP", 5, [0, 1, 0, 1, 1, 2]), ("r", 3, [7, 8]),
                                  ("g", 3, [1, 2])], 2))
        _, data = self.convert("a.pdc", "a.xyz")
        self.assertEqual(self.read("b.xyz", data)[1]["rgbPP"], [0, 1, 0, 1, 1, 2])
        self.ok("diff", self.path("a.xyz"), self.path("b.xyz"))

    def test_names_with_a_meaning_are_not_given_to_others(self):
        names = ["X", "Rf", "R", "a%20b", "100%", "Nx"]
        self.put("a.pdc", cf.pdc([("position", 5, P), ("rgbPP", 5, C)] + [(n, 3, [k, 0.5]) for k, n in enumerate(names)], 2))
        _, data = self.convert("a.pdc", "a.xyz")
        self.assertEqual(data.split(b"\n")[0], b"//x y z Rf Gf Bf %58 %52f %52 a%2520b 100%25 %4ex")
        self.assertEqual(self.read("b.xyz", data)[1],
                         {"position": P, "rgbPP": C, **{n: [k, 0.5] for k, n in enumerate(names)}})

    def test_columns_without_names(self):
        names = {3: ["position"], 4: ["position", "intensity"], 5: ["position", "column4", "column5"],
                 6: ["position", "normalPP"], 7: ["position", "intensity", "rgbPP"],
                 9: ["position", "normalPP", "rgbPP"]}
        for columns, expected in names.items():
            row = "\t".join(str(k) for k in range(columns))
            messages, back = self.read("a.xyz", ("\n%s\n  %s  \r\n# end\n" % (row, row)).encode(), "-v")
            self.assertEqual(list(back), expected)
            self.assertEqual(back["position"], [0, 1, 2] * 2)
            if columns == 9:
                self.assertIn("the columns are taken for x y z nx ny nz r g b", messages)
                self.assertAlmostEqual(back["rgbPP"][2], 8 / 255, places=7)

    def test_names_of_other_programs(self):
        _, back = self.read("a.xyz", b"//X Y Z R G B Nx Ny Nz height\n1 2 3 255 0 51 0 0 1 9\n")
        self.assertEqual(back["position"], [1, 2, 3])
        self.assertAlmostEqual(back["rgbPP"][2], 0.2, places=7)
        self.assertEqual((back["rgbPP"][:2], back["normalPP"], back["height"]), ([1, 0], [0, 0, 1], [9]))
        # Comments that name no columns, and a line of words.
        _, back = self.read("b.xyz", b"# three columns here\n#\n//\nx z y\n1 2 3\n")
        self.assertEqual(back["position"], [1, 3, 2])

    def test_errors_name_the_place(self):
        for data, says in ((b"1 2\n", "byte 0: a line of less than three values"),
                           (b"1 2 3\n4 5\n", "byte 6: a line of 2 values for 3 columns"),
                           (b"1 2 3\n4 5 6 7\n", "byte 6: more values than the 3 columns"),
                           (b"1 2 3\n4 five 6\n", "byte 8: 'five' is not a number"),
                           (b"1 " * 5000, "byte 0: more than 4096 columns")):
            self.fails("info", self.put("a.xyz", data), says=says)


class Pts(Text):
    def test_the_count_and_then_the_points(self):
        self.put("a.pdc", cf.pdc([("tag", 3, [4, -1]), ("rgbPP", 5, C), ("position", 5, P), ("intensity", 3, [0.5, 7])], 2))
        messages, data = self.convert("a.pdc", "a.pts")
        self.assertEqual(data, b"2\n0.1 0.2 0.3 0.5 0 64 255\n1 2e-07 -3 7 255 0 128\n")
        self.assertIn("'tag': is not carried into a pts file", messages)
        self.assertIn("'rgbPP': cut to 0..1 and rounded to bytes", messages)
        self.assertNotIn("'position'", messages)
        # 255 * (1.055 * 0.25^(1/2.4) - 0.055) = 136.96, and of 0.5: 187.5
        _, data = self.convert("a.pdc", "a.pts", "--byte-color=srgb")
        self.assertEqual(data, b"2\n0.1 0.2 0.3 0.5 0 137 255\n1 2e-07 -3 7 255 0 188\n")
        self.put("b.pdc", cf.pdc([("position", 5, P)], 2))
        self.assertEqual(self.convert("b.pdc", "b.pts")[1], b"2\n0.1 0.2 0.3\n1 2e-07 -3\n")

    def test_columns_by_their_number(self):
        for row, expected in (("1 2 3", {}), ("1 2 3 4", {"intensity": [4]}), ("1 2 3 0 255 51", {"rgbPP": None}),
                              ("1 2 3 4 0 255 51", {"intensity": [4], "rgbPP": None})):
            _, back = self.read("a.pts", ("1\n%s\n" % row).encode())
            color = back.pop("rgbPP", None)
            self.assertEqual(color is not None, "rgbPP" in expected)
            expected.pop("rgbPP", None)
            self.assertEqual(back, {"position": [1, 2, 3], **expected})
            if color is not None:
                self.assertEqual([round(v, 6) for v in color], [0, 1, 0.2])

    def test_the_count_is_checked(self):
        for data, says in ((b"", "the file is empty"), (b"x\n1 2 3\n", "byte 0: the first line must be the number"),
                           (b"1 2 3\n", "byte 0: the first line must be the number"),
                           (b"-1\n1 2 3\n", "byte 0: the first line must be the number"),
                           (b"3\n1 2 3\n4 5 6\n", "byte 14: the file ends after 2 of 3 points"),
                           (b"9223372036854775807\n1 2 3\n", "the file ends after 1 of 9223372036854775807 points")):
            self.fails("info", self.put("a.pts", data), says=says, timeout=20)
        messages, back = self.read("a.pts", b"1\n1 2 3\n\n2\n4 5 6\n7 8 9\n")
        self.assertEqual(back, {"position": [1, 2, 3]})
        self.assertIn("byte 9: 14 bytes after the last point", messages)
        self.assertEqual(self.read("b.pts", b"0\n")[1], {"position": []})


if __name__ == "__main__":
    unittest.main()
