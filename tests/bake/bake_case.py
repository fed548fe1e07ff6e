"""Base of the whole-program tests of a bake: a folder for each test, runs of the program, its caches."""

import hashlib
import os
import re
import shutil
import subprocess
import tempfile
import unittest

import pdc_reader

POSITION_TOLERANCE = 2e-5  # world units, for points about 5 units from a single-precision camera
SEVEN = ["opacityPP", "radius", "id", "tag", "position", "rgbPP", "normalPP"]


class BakeCase(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="vx_bake_")
        self.log = ""

    def tearDown(self):
        shutil.rmtree(self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def render(self, text, *options, status=0, name="scene.mi", before=None):
        """`before` is called in the new process, for example to limit its memory."""
        with open(self.path(name), "w") as stream:
            stream.write(text)
        run = subprocess.run([os.environ["VX_RENDER"], *options, name], cwd=self.folder,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=240,
                             preexec_fn=before)
        self.log = run.stdout.decode("utf-8", "replace")
        self.assertEqual(run.returncode, status, self.log)
        return self.log

    def cloud(self, name="cloud.0001.pdc"):
        self.assertTrue(os.path.exists(self.path(name)), self.log)
        return pdc_reader.Pdc(self.path(name))

    def digest(self, name):
        with open(self.path(name), "rb") as stream:
            return hashlib.sha256(stream.read()).hexdigest()

    def tif_digest(self, name):
        """The bytes of a TIFF file without its time stamp."""
        with open(self.path(name), "rb") as stream:
            data = stream.read()
        return hashlib.sha256(re.sub(rb"\d{4}:\d\d:\d\d \d\d:\d\d:\d\d", b"", data)).hexdigest()

    def assertVector(self, value, expected, tolerance, message=""):
        for a, b in zip(value, expected):
            self.assertLessEqual(abs(a - b), tolerance, "%s: %s is not %s" % (message, value, expected))

    def assertWhole(self, cloud):
        """Checks properties that all readers of such caches rely on."""
        self.assertEqual(cloud.magic, b"PDC ")
        self.assertEqual((cloud.version, cloud.byte_order, cloud.extra1, cloud.extra2), (1, 1, 0, 0))
        self.assertEqual(cloud.attribute_count, 7)
        self.assertEqual(cloud.names, SEVEN)
        self.assertEqual([cloud.codes[n] for n in SEVEN], [3, 3, 3, 3, 5, 5, 5])
        self.assertEqual(cloud["id"], [float(i) for i in range(cloud.count)])
