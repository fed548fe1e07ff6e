"""vx_cache convert makes the very map that the writer shader makes of the same cache.

Arguments: vx_cache, vx_render, the folder of the bake tests' scene texts, then unittest's own.
"""

import math
import os
import random
import struct
import subprocess
import sys
import unittest

import cloud_files as cf
from folder_case import FolderCase

CACHE = os.path.abspath(sys.argv.pop(1))
RENDER_PROGRAM = os.path.abspath(sys.argv.pop(1))
sys.path.insert(0, os.path.abspath(sys.argv.pop(1)))

from scenes import HEAD, RENDER, Camera, instance, quad, tagged, world, writer  # noqa: E402

CONVERT = 3  # the writer's output mode that turns a cache that is there into a map


class Conversion(FolderCase):
    def read(self, name):
        with open(self.path(name), "rb") as f:
            return f.read()

    def render(self, **parameters):
        scene = (HEAD + Camera(width=4, height=3).text("lens " + writer(**parameters)) +
                 Camera(width=4, height=3).instance() + tagged("mtl", (1, 0, 0, 1), (0.3, 0.6, 0.9, 0.7), 5) +
                 quad("plane", (0, 0, -0.5), (6, 0.5, 0), (0, 6, 0.25)) +
                 instance("planeInst", "plane", ["mtl"]) + world("camInst", "planeInst") + RENDER)
        with open(self.path("scene.mi"), "w") as f:
            f.write(scene)
        done = subprocess.run([RENDER_PROGRAM, "scene.mi"], cwd=self.folder, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=240)
        self.assertEqual(done.returncode, 0, done.stdout)

    def same(self, data, labels=None):
        """Both programs on one cache; the number of points that the map holds."""
        with open(self.path("cloud.0001.pdc"), "wb") as f:
            f.write(data)
        parameters = {} if labels is None else {"useLabels": True, "labels": labels}
        self.render(outputMode=CONVERT, **parameters)
        self.assertEqual(self.read("cloud.0001.pdc"), data)
        options = [] if labels is None else ["--labels", labels]
        # The writer takes zeros for what is missing; the tool has to be told.
        options += ["--fill", "position=0,0,0", "--fill", "rgbPP=0,0,0"]
        done = subprocess.run([CACHE, "convert", "-f", *options, self.path("cloud.0001.pdc"), self.path("ours.mrmap")],
                              capture_output=True, timeout=120)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertGreater(len(self.read("ours.mrmap")), 0)
        self.assertEqual(self.read("ours.mrmap"), self.read("cloud.0001.mrmap"), (labels, len(data)))

    @staticmethod
    def cloud(count, tags=None):
        rng = random.Random(count)
        values = lambda n: [rng.uniform(-3, 3) for _ in range(n)]  # noqa: E731
        return [("opacityPP", 3, values(count)), ("radius", 3, [0.05] * count), ("id", 3, list(range(count))),
                ("tag", 3, tags or [rng.randrange(8) for _ in range(count)]), ("position", 5, values(3 * count)),
                ("rgbPP", 5, values(3 * count)), ("normalPP", 5, values(3 * count))]

    def test_a_baked_cache(self):
        self.render(outputMode=1, layers=2)
        self.same(self.read("cloud.0001.pdc"))
        self.same(self.read("cloud.0001.pdc"), "5")
        self.same(self.read("cloud.0001.pdc"), "4,6-9")

    def test_many_points_and_label_lists(self):
        data = cf.pdc(self.cloud(3000), 3000)
        self.same(data)
        for labels in ("1,3-5", "0", "7,1-2,5-3,x,-4", "1-2-3", "99", " 2 , 4 ", "0-100"):
            self.same(data, labels)

    def test_labels_of_every_kind_are_read_alike(self):
        odd = [0.5, -0.5, 1.999, -3, 4294967297.0, -1e30, 1e30, math.nan, math.inf, 2147483648.0, 7, 3]
        count = len(odd)
        self.same(cf.pdc(self.cloud(count, odd), count))
        self.same(cf.pdc(self.cloud(count, odd), count), "0-3,7")
        whole = [(n, 1, [int(v) for v in range(count)]) if n == "tag" else (n, c, v)
                 for n, c, v in self.cloud(count)]
        self.same(cf.pdc(whole, count), "2-4")
        one = [(n, 0, [3]) if n == "tag" else (n, c, v) for n, c, v in self.cloud(count)]
        self.same(cf.pdc(one, count), "3")
        self.same(cf.pdc(one, count), "4")

    def test_missing_single_and_unknown_attributes(self):
        count = 5
        seven = self.cloud(count)
        for left_out in range(len(seven)):
            self.same(cf.pdc(seven[:left_out] + seven[left_out + 1:], count))
        self.same(cf.pdc([("velocity", 5, [1.5] * 15), ("mass", 2, [2.0]), *reversed(seven)], count))
        singles = [("opacityPP", 2, [0.25]), ("rgbPP", 4, [0.1, 0.2, 0.3]), ("normalPP", 4, [0, 0, 1]),
                   ("position", 5, [0.1 * i for i in range(15)]), ("tag", 3, [0, 1, 2, 3, 4])]
        self.same(cf.pdc(singles, count))
        self.same(cf.pdc(singles, count), "1,4")

    def test_values_that_floats_cannot_hold(self):
        odd = [1e300, -1e300, 1e-320, math.nan, math.inf, -math.inf, 0.1, -0.0, 16777217.0]
        self.same(cf.pdc([("position", 5, odd), ("rgbPP", 5, odd[::-1]), ("opacityPP", 3, odd[:3])], 3))


if __name__ == "__main__":
    unittest.main()
