"""Names of attributes that a format cannot store: what vx_cache writes is read again, with every value.

Arguments: the program, then unittest's own."""

import csv
import os
import sys
import unittest
import zipfile

import cloud_files as cf
from cache_case import CacheCase

CacheCase.program = os.path.abspath(sys.argv.pop(1))
P = [0, 1, 2, 3, 4, 5]
C = [0.25, 0.5, 0.75, 1, 0, 0.125]

# Scalars beside the attributes whose columns have their names, and names that become equal.
CLOUDS = {
    "x": [("position", 5, P), ("x", 3, [7, 8]), ("y", 3, [9, 10]), ("z", 3, [11, 12])],
    "x first": [("x", 3, [7, 8]), ("y", 3, [9, 10]), ("z", 3, [11, 12]), ("position", 5, P)],
    "red": [("position", 5, P), ("rgbPP", 5, C), ("red", 3, [7, 8]), ("green", 3, [1, 2]), ("blue", 3, [3, 4])],
    "r": [("r", 3, [7, 8]), ("g", 3, [1, 2]), ("b", 3, [3, 4]), ("position", 5, P), ("rgbPP", 5, C)],
    "nx": [("nx", 3, [7, 8]), ("position", 5, P), ("normalPP", 5, C)],
    "components": [("position", 5, P), ("v", 5, C), ("v.x", 3, [7, 8]), ("v.y", 3, [9, 10]), ("v.0", 3, [1, 2]),
                   ("v.1", 3, [3, 4]), ("position.x", 3, [5, 6]), ("position.y", 3, [5, 7])],
    "base": [("position", 5, P), ("w.x", 5, C), ("w", 5, P)],
    "blanks": [("position", 5, P), ("a b", 3, [7, 8]), ("a_b", 3, [9, 10]), ("a\tb", 3, [1, 2]), ("a_b_2", 3, [3, 4])],
    "display": [("position", 5, P), ("rgbPP", 5, C), ("displayColor", 5, P), ("displayOpacity", 3, [7, 8]),
                ("opacityPP", 3, [0.5, 1])],
    "display alone": [("position", 5, P), ("displayColor", 5, C)],
    "odd": [("position", 5, P), ("12", 3, [7, 8]), ("nan", 3, [9, 10]), ("-1e3", 3, [1, 2]), ("=1+1", 3, [3, 4]),
            ("@sum", 3, [5, 6]), ("+x", 3, [1, 3]), ("'=1", 3, [2, 3]), ("'quoted'", 3, [5, 1]), (" edge ", 3, [6, 1]),
            ('say "a,b"', 3, [3, 8]), ("a;b", 3, [2, 8]), ("100%", 3, [4, 8]), ("back\\slash", 3, [1, 8]),
            ("a/b", 3, [1, 9]), ("1", 5, C)],
    "long": [("position", 5, P), ("n" * 3000, 3, [7, 8]), ("n" * 2999 + "m", 3, [9, 10]), ("1.2", 3, [3, 4])],
    "control": [("position", 5, P), ("a\nb", 3, [7, 8]), ("a\rb", 3, [9, 10]), ("a\x7fb", 3, [1, 2]),
                ("a\x01b", 3, [3, 4]), ("\u00e4\u00f6", 3, [5, 6])],
    "unnamed": [("position", 5, P), ("", 3, [7, 8]), ("unnamed", 3, [9, 10])],
}


class Names(CacheCase):
    def back(self, name, target, *options):
        """Converts a cloud to a format and back; returns its attributes then."""
        self.put("source.pdc", cf.pdc(CLOUDS[name], 2))
        self.convert("source.pdc", target, *options)
        done = self.run_tool("check", self.path(target))
        self.assertEqual(done.returncode, 0, (name, done.stdout))
        count, values = cf.read_pdc(self.convert(target, "back.pdc")[1])
        self.assertEqual(count, 2)
        return values

    def test_every_value_comes_back(self):
        for target, options in (("a.ply", ()), ("b.ply", ("--encoding", "ascii")), ("a.csv", ()), ("a.usda", ()),
                                ("a.npz", ())):
            for name, cloud in CLOUDS.items():
                values = self.back(name, target, *options)
                self.assertEqual(sorted((code, v) for code, v in values.values()),
                                 sorted((code, [float(x) for x in v]) for _, code, v in cloud), (target, name))

    def test_names_come_back_where_the_format_has_room_for_them(self):
        for target in ("a.ply", "a.usda", "a.npz"):
            for name, cloud in CLOUDS.items():
                if name in ("long", "unnamed"):
                    continue
                values = self.back(name, target)
                self.assertEqual({n: v for n, (_, v) in values.items()},
                                 {n: [float(x) for x in v] for n, _, v in cloud}, (target, name))

    def test_tables_keep_names_that_are_no_numbers_or_formulas(self):
        values = self.back("odd", "a.csv")
        self.assertEqual({n: v for n, (_, v) in values.items()},
                         {n: [float(x) for x in v] for n, _, v in CLOUDS["odd"]})

    def test_no_cell_of_a_table_is_run_by_a_spreadsheet(self):
        for name in CLOUDS:
            self.back(name, "a.csv")
            with open(self.path("a.csv"), newline="", encoding="utf-8") as f:
                header = next(csv.reader(f))
            self.assertEqual(len(set(header)), len(header))
            for cell in header:
                self.assertNotIn(cell[:1], ("", "=", "+", "-", "@", "\t", "\r"))
                self.assertRaises(ValueError, float, cell)

    def test_renamed_attributes_are_reported(self):
        self.put("source.pdc", cf.pdc(CLOUDS["blanks"], 2))
        for target in ("a.ply", "a.usda"):
            messages, _ = self.convert("source.pdc", target)
            self.assertIn("'a b': is called 'a_b_3' in the file", messages)
            self.assertIn("'a\\x09b': is called 'a_b_4' in the file", messages)
            self.assertNotIn("'a_b'", messages)
        messages, data = self.convert("source.pdc", "a.ply")
        self.assertIn(b"comment vx_cache name a_b_3 a%20b\n", data)
        messages, data = self.convert("source.pdc", "a.usda")
        self.assertIn(b'customData = {\n            string vx_cache_name = "a b"\n', data)

    def test_comments_give_no_name_twice(self):
        head = (b"ply\nformat ascii 1.0\ncomment vx_cache name a b\ncomment vx_cache name c b%2\n"
                b"comment vx_cache name a d\ncomment plain\nelement vertex 1\n"
                b"property float a\nproperty float b\nproperty float c\nend_header\n1 2 3\n")
        self.put("a.ply", head)
        _, values = cf.read_pdc(self.convert("a.ply", "b.pdc")[1])
        self.assertEqual({n: v for n, (_, v) in values.items()}, {"a": [1], "b": [2], "c": [3]})

    def test_archives_without_the_comments_are_read_by_their_file_names(self):
        self.put("source.pdc", cf.pdc([("position", 5, P), ("a/b", 3, [7, 8]), ("a_b", 3, [9, 10])], 2))
        self.convert("source.pdc", "a.npz")
        self.assertEqual(sorted(zipfile.ZipFile(self.path("a.npz")).namelist()),
                         ["a_b.npy", "a_b_2.npy", "position.npy"])
        with zipfile.ZipFile(self.path("a.npz")) as old, zipfile.ZipFile(self.path("b.npz"), "w") as new:
            for name in old.namelist():
                new.writestr(name, old.read(name))
        _, values = cf.read_pdc(self.convert("b.npz", "b.pdc")[1])
        self.assertEqual({n: v for n, (_, v) in values.items()},
                         {"position": [float(v) for v in P], "a_b": [9, 10], "a_b_2": [7, 8]})

    def test_a_table_without_columns_is_not_written(self):
        self.put("none.pdc", cf.pdc([], 3))
        self.fails("convert", self.path("none.pdc"), self.path("a.csv"), says="needs at least one attribute")


if __name__ == "__main__":
    unittest.main()
