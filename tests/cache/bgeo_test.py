"""Classic Houdini geometry that vx_cache writes, and files by hand that it reads.

Arguments: the program, then unittest's own."""

import os
import struct
import sys
import unittest

import cloud_files as cf
from cache_case import CacheCase
from foreign_readers import strict_bgeo

CacheCase.program = os.path.abspath(sys.argv.pop(1))
N = 3
P = [0.5 * k for k in range(3 * N)]
BAKED = [("opacityPP", 3, [1.0, 0.5, 0.25]), ("radius", 3, [0.125, 0.25, 0.5]), ("id", 3, [0, 1, 2]),
         ("tag", 3, [4, -1, 0]), ("position", 5, P), ("rgbPP", 5, [0.25, 0.5, 1.0] * N), ("normalPP", 5, [0, 1, 0] * N)]


def text(s):
    return struct.pack(">H", len(s)) + s.encode()


def definition(name, size, kind, default=None):
    return text(name) + struct.pack(">Hi", size, kind) + (bytes(4 * size) if default is None else default)


def bgeo(points, rows, definitions=(), detail=(), rest=b"\x00\xff", counts=(0, 0, 0), n_vertex=0, n_prim=0):
    """rows: bytes; definitions of points; detail: (definition, value) pairs."""
    return (b"BgeoV" + struct.pack(">9i", 5, points, *counts, len(definitions), n_vertex, n_prim, len(detail))
            + b"".join(definitions) + rows + b"".join(d for d, _ in detail) + b"".join(v for _, v in detail) + rest)


class Written(CacheCase):
    def test_a_bake_has_houdinis_names_and_types(self):
        self.put("a.pdc", cf.pdc(BAKED, N))
        messages, data = self.convert("a.pdc", "a.bgeo")
        rows, of_points, of_file = strict_bgeo(data)
        self.assertEqual(messages, "")
        self.assertEqual(of_points, {"Alpha": (0, 1), "pscale": (0, 1), "id": (1, 1), "tag": (1, 1), "Cd": (0, 3),
                                     "N": (5, 3)})
        self.assertEqual(of_file, {})
        self.assertEqual([r["P"] for r in rows], [P[3 * i:3 * i + 3] + [1] for i in range(N)])
        self.assertEqual([r["tag"][0] for r in rows], [4, -1, 0])
        self.assertEqual([r["pscale"][0] for r in rows], [0.125, 0.25, 0.5])
        self.assertEqual([r["Cd"] for r in rows], [[0.25, 0.5, 1.0]] * N)
        self.assertEqual([r["N"] for r in rows], [[0, 1, 0]] * N)

    def test_the_way_back_gives_the_same_cloud(self):
        self.put("a.pdc", cf.pdc(BAKED + [("v", 5, P), ("mass", 2, [2.5]), ("group", 0, [7]), ("up", 4, [0, 0.5, 2])], N))
        self.convert("a.pdc", "a.bgeo")
        _, _, of_file = strict_bgeo(self.get("a.bgeo"))
        self.assertEqual(of_file, {"mass": (0, [2.5]), "group": (1, [7]), "up": (0, [0, 0.5, 2])})
        self.ok("diff", self.path("a.pdc"), self.path("a.bgeo"))
        self.convert("a.bgeo", "b.bgeo")
        self.assertEqual(self.get("b.bgeo"), self.get("a.bgeo"))

    def test_many_points_are_written_in_order(self):
        count = 20000
        self.put("a.pdc", cf.pdc([("position", 5, [float(k) for k in range(3 * count)]),
                                  ("id", 3, range(count))], count))
        rows, _, _ = strict_bgeo(self.convert("a.pdc", "a.bgeo")[1])
        self.assertEqual([r["P"][1] for r in rows], [3 * k + 1 for k in range(count)])
        self.assertEqual([r["id"][0] for r in rows], list(range(count)))
        self.ok("diff", self.path("a.pdc"), self.path("a.bgeo"))

    def test_one_position_for_all_points_is_written_for_each(self):
        self.put("a.pdc", cf.pdc([("position", 4, [1, 2, 3]), ("tag", 3, [1, 2, 3])], N))
        rows, _, _ = strict_bgeo(self.convert("a.pdc", "a.bgeo")[1])
        self.assertEqual([r["P"] for r in rows], [[1, 2, 3, 1]] * N)

    def test_what_does_not_fit_is_reported(self):
        self.put("a.pdc", cf.pdc([("position", 5, [0.1] * 9), ("tag", 3, [1, 2.5, 3]), ("id", 3, [1, 2, 2.0 ** 40])], N))
        messages, data = self.convert("a.pdc", "a.bgeo")
        self.assertIn("'position': 9 of 9 values do not fit float32", messages)
        _, of_points, _ = strict_bgeo(data)
        self.assertEqual(of_points, {"tag": (0, 1), "id": (0, 1)})
        self.assertIn("no attribute 'position'", self.no_position())

    def no_position(self):
        self.put("n.pdc", cf.pdc([("tag", 3, [1])], 1))
        return self.fails("convert", self.path("n.pdc"), self.path("n.bgeo")).stderr.decode()

    def test_names_that_houdini_uses_are_not_given_to_others(self):
        self.put("a.pdc", cf.pdc([("position", 5, P), ("rgbPP", 5, P), ("N", 3, [1, 2, 3]), ("P", 5, P),
                                  ("Cd", 5, P), ("a b", 3, [4, 5, 6]), ("a_b", 3, [7, 8, 9]), ("1", 3, [3, 2, 1])], N))
        messages, data = self.convert("a.pdc", "a.bgeo")
        rows, of_points, _ = strict_bgeo(data)
        self.assertEqual(list(of_points), ["Cd", "N_2", "P_2", "Cd_2", "a_b_2", "a_b", "_1"])
        self.assertEqual([r["a_b_2"][0] for r in rows], [4, 5, 6])
        self.assertIn("'a b': is called 'a_b_2' in the file", messages)
        self.assertNotIn("'position'", messages)


class Read(CacheCase):
    def values(self, data, *options):
        self.put("a.bgeo", data)
        messages, pdc = self.convert("a.bgeo", "a.pdc", *options)
        return messages, cf.read_pdc(pdc)

    def test_a_file_by_hand(self):
        rows = (struct.pack(">4f", 1, 2, 3, 1) + struct.pack(">3f", 0, 0, 1) + struct.pack(">i", 7) + struct.pack(">i", 0)
                + struct.pack(">2f", 0.5, 0.25)
                + struct.pack(">4f", 4, 5, 6, 1) + struct.pack(">3f", 1, 0, 0) + struct.pack(">i", -8)
                + struct.pack(">i", 1) + struct.pack(">2f", 0.75, 1))
        definitions = [definition("N", 3, 5), definition("tag", 1, 1),
                       definition("shop", 1, 4, struct.pack(">i", 2) + text("one") + text("two")),
                       definition("uv", 2, 0, struct.pack(">2f", 1, 2))]
        detail = [(definition("mass", 1, 0), struct.pack(">f", 2.5))]
        messages, (count, values) = self.values(bgeo(2, rows, definitions, detail))
        self.assertEqual(count, 2)
        self.assertEqual(values, {"position": (5, [1, 2, 3, 4, 5, 6]), "normalPP": (5, [0, 0, 1, 1, 0, 0]),
                                  "tag": (3, [7, -8]), "uv.x": (3, [0.5, 0.75]), "uv.y": (3, [0.25, 1]),
                                  "mass": (3, [2.5, 2.5])})
        self.assertIn("attribute 'shop' has texts and is left out", messages)

    def test_primitives_and_groups_are_passed_over(self):
        rows = struct.pack(">8f", 1, 2, 3, 1, 4, 5, 6, 1)
        messages, (_, values) = self.values(bgeo(2, rows, counts=(1, 0, 0), rest=b"anything"), "-v")
        self.assertEqual(values, {"position": (5, [1, 2, 3, 4, 5, 6])})
        self.assertIn("1 primitives", messages)

    def test_hostile_files_are_refused_with_the_place(self):
        point = struct.pack(">4f", 0, 0, 0, 1)
        good = bgeo(1, point)
        self.values(good)
        cases = [
            (good[:30], "byte 30: the file ends inside the header"),
            (b"BgeoX" + good[5:], "byte 4: there is no 'V'"),
            (b"BgeoV" + struct.pack(">i", 6) + good[9:], "byte 5: version 6, not 5"),
            (b"\x7fNSJb" + good[5:], "byte 0: geometry of a later version"),
            (b"\x7fNSJb", "byte 0: geometry of a later version"),
            (bgeo(-1, point), "byte 9: a count of -1"),
            (bgeo(2 ** 31 - 1, point), "byte 9: the header counts 2147483647 points of 16 bytes, the file has 18 left"),
            (bgeo(1, point, [definition("a", 1, 2)]), "byte 46: attribute 'a' has the unknown type 2"),
            (bgeo(1, point, [definition("a", 65535, 0, b"")]), "byte 41: the file ends inside attribute 'a'"),
            (bgeo(1, point, [definition("a", 1, 4, struct.pack(">i", 2 ** 31 - 1))], rest=b""), "the file ends too early"),
            (bgeo(1, point, detail=[(definition("a", 9, 0), b"")]), "the file ends inside the value of 'a'"),
            (b"BgeoV" + struct.pack(">9i", 5, 0, 0, 0, 0, 2 ** 31 - 1, 0, 0, 0),
             "byte 25: the header counts 2147483647 attributes"),
            (b"BgeoV" + struct.pack(">9i", 5, 0, 0, 0, 0, 0, 0, 0, 2 ** 31 - 1),
             "byte 37: the header counts 2147483647 attributes"),
        ]
        for data, says in cases:
            self.fails("info", self.put("a.bgeo", data), says=says, timeout=20)

    def test_odd_attributes_are_reported(self):
        rows = struct.pack(">4f", 0, 0, 0, 1) + struct.pack(">2f", 1, 2)
        messages, (_, values) = self.values(bgeo(1, rows, [definition("a", 1, 0), definition("a", 1, 0),
                                                           definition("e", 0, 0)], rest=b"\x00\xffmore"))
        self.assertEqual(values, {"position": (5, [0, 0, 0]), "a": (3, [1])})
        for says in ("attribute 'a' is there twice; the first one counts", "attribute 'e' has no values",
                     "6 bytes behind the last attribute"):
            self.assertIn(says, messages)

    def test_the_content_decides_and_later_extensions_are_known(self):
        data = bgeo(1, struct.pack(">4f", 1, 2, 3, 1))
        for name in ("a.dat", "a.bgeo", "a.bhclassic"):
            self.assertIn(b"bgeo", self.ok("info", self.put(name, data)).stdout)


if __name__ == "__main__":
    unittest.main()
