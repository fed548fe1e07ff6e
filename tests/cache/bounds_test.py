"""Small inputs that claim much: the cost stays small, or the input is refused.

Costs are bytes: of memory (the address space of the program is limited), of input that is read, and of output. A limit
on processor time stands in for a count of steps, far above what is needed and far below what a quadratic algorithm
takes. Arguments: the program, then unittest's own."""

import os
import resource
import sys
import unittest

import cloud_files as cf
from cache_case import CacheCase

CacheCase.program = os.path.abspath(sys.argv.pop(1))
MEMORY = 400 << 20
SECONDS = 2


def limit_time():
    resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))


def limit():
    limit_time()
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (64 << 20, 64 << 20))


class Bounds(CacheCase):
    def refused(self, *args, says):
        self.fails(*args, preexec_fn=limit, says=says)

    def cheap(self, *args):
        return self.ok(*args, preexec_fn=limit)

    def test_points_that_no_array_backs_are_refused(self):
        for records in ((), (("radius", 2, [0.5]), ("tag", 0, [1]))):
            source = self.put("lie.pdc", cf.pdc(records, 2 ** 31 - 1))
            says = "byte 20: the header counts 2147483647 particles, but no attribute has an array"
            for target in ("a.mrmap", "a.pdc", "a.csv", "a.ply", "a.npz", "a.usda"):
                self.refused("convert", source, self.path(target), says=says)
            self.refused("lookup", source, "--point", "0,0,0", "--radius", "1", says=says)
            self.refused("info", source, says=says)
        # Fewer are points at the origin, as in the shaders.
        for count, status in ((2 ** 20, 0), (2 ** 20 + 1, 1)):
            source = self.put("few.pdc", cf.pdc([("tag", 0, [1])], count))
            self.assertEqual(self.run_tool("info", source, preexec_fn=limit).returncode, status)

    def test_the_cost_of_names_is_linear(self):
        count = 40000
        # Equal in length and at the start, so that comparing two of them takes long.
        names = ["%s %06d" % ("x" * 100, k) for k in range(count)]
        source = self.put("names.pdc", cf.pdc([(n, 3, [k / 4]) for k, n in enumerate(names)], 1))
        self.cheap("convert", "-q", source, self.path("a.pdc"))
        self.assertEqual([n for n in cf.read_pdc(self.get("a.pdc"))[1]], names)
        self.cheap("convert", "-q", source, self.path("a.npz"))
        self.cheap("convert", "-q", "-f", self.path("a.npz"), self.path("a.pdc"))
        self.assertEqual([n for n in cf.read_pdc(self.get("a.pdc"))[1]], names)
        for target, says in (("a.csv", "a table of 40000 columns"), ("a.ply", "a header of 40000 properties")):
            self.refused("convert", source, self.path(target), says=says)
        # USD text needs positions.
        source = self.put("names.pdc", cf.pdc([("position", 5, [0, 0, 0])] + [(n, 3, [1]) for n in names], 1))
        self.cheap("convert", "-q", source, self.path("a.usda"))
        self.cheap("convert", "-q", "-f", self.path("a.usda"), self.path("a.pdc"))
        self.assertEqual(len(cf.read_pdc(self.get("a.pdc"))[1]), count + 1)

    def test_equal_names_after_cleaning_are_told_apart_in_linear_time(self):
        # All become "____"; digits in base 4 of characters that no identifier has.
        names = ["".join(" +-."[k >> s & 3] for s in range(0, 18, 2)) for k in range(10000)]
        source = self.put("names.pdc", cf.pdc([("position", 5, [0, 0, 0])] + [(n, 3, [1]) for n in names], 1))
        self.cheap("convert", "-q", source, self.path("a.usda"))
        self.cheap("convert", "-q", self.path("a.usda"), self.path("a.pdc"))
        self.assertEqual(set(cf.read_pdc(self.get("a.pdc"))[1]), {"position", *names})

    def test_tables_have_4096_columns_at_most(self):
        for columns in (4096, 4097):
            text = ",".join("v.%d" % k for k in range(columns)) + "\n" + ",".join(["1"] * columns) + "\n"
            self.put("w.csv", text.encode())
            if columns == 4096:
                self.cheap("convert", "-q", self.path("w.csv"), self.path("w.ply"))
                self.cheap("convert", "-q", self.path("w.ply"), self.path("back.csv"))
                self.assertEqual(self.get("back.csv"), text.encode())
            else:
                self.refused("info", self.path("w.csv"), says="more than 4096 columns")

    def test_a_map_of_a_wide_global_array_is_refused_by_tables(self):
        width = 1000000
        self.put("wide.mrmap", b'declare map "d" ( dim 3, global scalar array %d "wide" ) end declare\n'
                               b'map "m" "d"\nglobal { %s }\n{ 0 0 0 }\n{ 1 0 0 }\nend map\n'
                 % (width, b" ".join([b"1"] * width)))
        for target, says in (("a.csv", "a table of 1000003 columns"), ("a.ply", "a header of 1000003 properties"),
                             ("a.pdc", "too many to be split"), ("a.usda", "too many to be split"),
                             ("a.npz", "the most are 4096")):
            self.refused("convert", self.path("wide.mrmap"), self.path(target), says=says)

    def test_label_ranges_cost_no_more_than_single_labels(self):
        tags = [3, 1999999999, 2 ** 31 - 1, 0, -5, 2 ** 20]
        source = self.put("t.pdc", cf.pdc([("position", 5, [k / 8 for k in range(18)]), ("tag", 3, tags),
                                           ("rgbPP", 5, [0.5] * 18)], 6))
        for text, kept in (("0-2147483647", [3, 1999999999, 2 ** 31 - 1, 0, 2 ** 20]),
                           ("1-2000000000,7", [3, 1999999999, 2 ** 20]), ("2147483647-2147483647", [2 ** 31 - 1]),
                           (",".join(str(k) for k in range(20000)), [3, 0])):
            self.cheap("convert", "-q", "-f", "--labels", text, source, self.path("k.pdc"))
            self.assertEqual(cf.read_pdc(self.get("k.pdc"))[1]["tag"][1], kept)
            done = self.cheap("lookup", source, "--point", "0,0,0", "--radius", "100", "--labels", text)
            self.assertIn(("found     %d point" % len(kept)).encode(), done.stdout)
        # Pictures need libraries of a large address space.
        self.ok("view", "-q", source, "-o", self.path("v.png"), "--labels", "0-2147483647", "--size", "16x16",
                preexec_fn=limit_time)


if __name__ == "__main__":
    unittest.main()
