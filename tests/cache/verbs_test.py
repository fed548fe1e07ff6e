"""The verbs of vx_cache, run as a pipeline runs them. Arguments: the program, then unittest's own."""

import json
import os
import subprocess
import sys
import unittest

import cloud_files as cf
from folder_case import FolderCase

PROGRAM = os.path.abspath(sys.argv.pop(1))
POSITION = [0, 0, 0, 1, 0, 0, 2, 0, 0]
COLOR = [0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9]
OPACITY = [0.25, 0.5, 1.0]
TAG = [1, 2, 4]
FULL = [("position", 5, POSITION), ("normalPP", 5, [0, 1, 0] * 3), ("rgbPP", 5, COLOR), ("opacityPP", 3, OPACITY),
        ("tag", 3, TAG)]


def without(*names):
    return [a for a in FULL if a[0] not in names]


class Case(FolderCase):
    def run_tool(self, *args, status=0, says=None, **kwargs):
        kwargs.setdefault("timeout", 60)
        kwargs.setdefault("cwd", self.folder)
        done = subprocess.run([PROGRAM, *map(str, args)], capture_output=True, **kwargs)
        self.assertEqual(done.returncode, status, (args, done.stdout, done.stderr))
        if says is not None:
            self.assertIn(says, done.stderr.decode())
        return done

    def cloud(self, name, attributes=None):
        attributes = FULL if attributes is None else attributes
        return self.put(name, cf.pdc(attributes, 3))

    def values(self, name, attribute):
        return cf.read_pdc(self.get(name))[1][attribute][1]

    def info(self, name):
        return json.loads(self.run_tool("info", "--json", name).stdout)[0]


class Fill(Case):
    def test_merge_refuses_to_make_up_values(self):
        self.cloud("a.pdc")
        self.cloud("b.pdc", without("rgbPP"))
        for order in (("a.pdc", "b.pdc"), ("b.pdc", "a.pdc")):
            self.run_tool("merge", *order, "-o", "m.pdc", status=1, says="b.pdc: has no 'rgbPP'")
        self.assertFalse(os.path.exists(self.path("m.pdc")))
        self.run_tool("merge", "a.pdc", "b.pdc", "-o", "m.pdc", "--fill", "rgbPP=1,0.5,0")
        self.assertEqual(self.values("m.pdc", "rgbPP"), COLOR + [1, 0.5, 0] * 3)

    def test_maps_that_the_reader_cannot_use_are_refused(self):
        for name, fill, width in (("rgbPP", "1,0.5,0.25", 3), ("position", "1,2,3", 3)):
            self.cloud("a.pdc", without(name))
            self.run_tool("convert", "a.pdc", "a.mrmap", status=1, says="'%s'" % name)
            self.assertFalse(os.path.exists(self.path("a.mrmap")))
            self.run_tool("convert", "-f", "a.pdc", "a.mrmap", "--fill", "%s=%s" % (name, fill))
            self.run_tool("convert", "-f", "a.mrmap", "back.pdc")
            self.assertEqual(self.values("back.pdc", name), [float(v) for v in fill.split(",")] * 3)
            os.unlink(self.path("a.mrmap"))

    def test_a_map_with_less_names_what_the_reader_misses(self):
        for name, parameter in (("normalPP", "facing"), ("opacityPP", "useOpacity"), ("tag", "useLabels")):
            self.cloud("a.pdc", without(name))
            self.run_tool("convert", "-f", "a.pdc", "a.mrmap", says=parameter)
        self.cloud("a.pdc")
        self.assertNotIn("missing", self.run_tool("convert", "-f", "a.pdc", "a.mrmap").stderr.decode())

    def test_fill_keeps_what_is_there(self):
        self.cloud("a.pdc")
        self.run_tool("convert", "a.pdc", "b.pdc", "--fill", "tag=9", "--fill", "mass=2.5")
        self.assertEqual(self.values("b.pdc", "tag"), TAG)
        self.assertEqual(self.values("b.pdc", "mass"), [2.5] * 3)

    def test_wrong_fills_are_wrong_use(self):
        self.cloud("a.pdc")
        for fill in ("rgbPP=1", "rgbPP", "=1", "tag=", "tag=x", "tag=1,2"):
            self.run_tool("convert", "a.pdc", "b.pdc", "--fill", fill, status=2, says="--fill")
        self.assertFalse(os.path.exists(self.path("b.pdc")))


if __name__ == "__main__":
    unittest.main()
