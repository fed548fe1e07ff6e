"""The types of attributes in PDC files that vx_cache writes. Arguments: the program, then unittest's own."""

import os
import sys
import unittest

import cloud_files as cf
from cache_case import CacheCase
from foreign_readers import strict_pdc

CacheCase.program = os.path.abspath(sys.argv.pop(1))
N = 3
POSITION = [0.5 * k for k in range(3 * N)]
BAKED = [("opacityPP", 3, [1.0, 0.5, 0.25]), ("radius", 3, [0.1, 0.2, 0.3]), ("id", 3, [0, 1, 2]),
         ("tag", 3, [4, -1, 0]), ("position", 5, POSITION), ("rgbPP", 5, [0.25] * 9), ("normalPP", 5, [0, 1, 0] * N)]


class PdcTypes(CacheCase):
    def setUp(self):
        super().setUp()
        self.put("bake.pdc", cf.pdc(BAKED, N))

    def test_maps_give_numbers_and_vectors(self):
        self.convert("bake.pdc", "a.mrmap")
        _, data = self.convert("a.mrmap", "b.pdc")
        count, attributes = strict_pdc(data)
        self.assertEqual(count, N)
        self.assertEqual({name: code for name, code, _ in attributes},
                         {"position": 5, "normalPP": 5, "rgbPP": 5, "opacityPP": 3, "tag": 3})
        self.assertEqual([v for name, _, v in attributes if name == "tag"], [[4, -1, 0]])

    def test_types_do_not_depend_on_the_values(self):
        for cells in (("1,2,3,4,5", "6,7,8,9,10"), ("1,2,3,4,5", "6,7.5,8,9,10.25"), ("1e3,2,3,4,5", ",7,8,,10")):
            self.put("t.csv", "\n".join(("x,y,z,tag,id",) + cells).encode() + b"\n")
            _, attributes = strict_pdc(self.convert("t.csv", "t.pdc")[1])
            self.assertEqual([(name, code) for name, code, _ in attributes],
                             [("position", 5), ("tag", 3), ("id", 3)])

    def test_single_values_are_written_for_every_point(self):
        for count in (N, 20000):  # more than one block
            source = cf.pdc([("group", 0, [-3]), ("mass", 2, [2.5]), ("up", 4, [0.0, 0.5, 2.0]),
                             ("n", 1, list(range(count)))], count)
            self.put("single.pdc", source)
            messages, data = self.convert("single.pdc", "all.pdc")
            self.assertEqual(strict_pdc(data), (count, [("group", 3, [-3.0] * count), ("mass", 3, [2.5] * count),
                                                        ("up", 5, [0.0, 0.5, 2.0] * count),
                                                        ("n", 3, [float(k) for k in range(count)])]))
            for name in ("group", "mass", "up"):
                self.assertIn("'%s': one value for all points is written for every point" % name, messages)
            self.assertNotIn("'n'", messages)

    def test_a_cloud_without_points_has_no_values(self):
        self.put("none.pdc", cf.pdc([("mass", 2, [2.5]), ("position", 5, [])], 0))
        messages, data = self.convert("none.pdc", "b.pdc")
        self.assertEqual(strict_pdc(data), (0, [("mass", 3, []), ("position", 5, [])]))
        self.assertIn("'mass': one value for all points is written for none", messages)

    def test_keep_writes_the_types_of_the_cloud(self):
        source = cf.pdc([("group", 0, [-3]), ("n", 1, [7, 8, 9]), ("mass", 2, [2.5]), ("age", 3, [0.5, 1.5, 2.5]),
                         ("up", 4, [0.0, 1.0, 2.0]), ("position", 5, POSITION)], N)
        self.put("six.pdc", source)
        self.assertEqual(self.convert("six.pdc", "b.pdc", "--pdc-types", "keep"), ("", source))
        self.assertNotEqual(self.convert("six.pdc", "b.pdc", "--pdc-types", "bake")[1], source)
        self.fails("convert", self.path("six.pdc"), self.path("c.pdc"), "--pdc-types", "other", status=2)

    def test_every_verb_that_writes_uses_these_types(self):
        self.put("n.pdc", cf.pdc([("n", 1, [7, 8, 9]), ("mass", 2, [2.5]), ("position", 5, POSITION)], N))
        for verb in (("filter", "--random", "1"), ("transform", "--scale", "1")):
            self.ok(*verb, self.path("n.pdc"), self.path("o.pdc"), "-f")
            self.assertEqual([code for _, code, _ in strict_pdc(self.get("o.pdc"))[1]], [3, 3, 5])
        self.ok("merge", self.path("n.pdc"), self.path("n.pdc"), "-o", self.path("o.pdc"), "-f")
        self.assertEqual([code for _, code, _ in strict_pdc(self.get("o.pdc"))[1]], [3, 3, 5])


if __name__ == "__main__":
    unittest.main()
