"""Base of the tests of failures: a directory for each test, runs of the program, and a small scene."""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bake"))

from bake_case import BakeCase  # noqa: E402

CAMERA = 'camera "cam" output "rgba" "png" "p.png" %s focal 1 aperture 1 aspect 1 resolution 8 8 end camera\n'
QUAD = """object "o" visible on group
  -3 -3 0  3 -3 0  3 3 0  -3 3 0  v 0 v 1 v 2 v 3 p 0 1 2 3
end group end object
"""
PLACED = """instance "i" "o" material "m" end instance
instance "cami" "cam" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -4 1 end instance
instgroup "world" "cami" "i" end instgroup
"""
RENDER = 'render "world" "cami" "opt"\n'


class FailureCase(BakeCase):
    def scene(self, material, head="", camera="", quad=QUAD):
        """A square that fills the picture. `material` are the items of its material."""
        return (head + 'options "opt" samples 0 0 end options\n' + CAMERA % camera + quad +
                'material "m" opaque %s end material\n' % material + PLACED + RENDER)

    def write(self, name, contents):
        with open(self.path(name), "wb") as stream:
            stream.write(contents)

    def assertPicture(self):
        self.assertTrue(os.path.exists(self.path("p.png")), self.log)

    def assertNoFiles(self, *names):
        """The directory contains only these files, besides the scene."""
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(("scene.mi", *names)), self.log)
