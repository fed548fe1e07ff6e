"""Base of the reader's tests: map files, scenes that show the reader's result, and pictures.

Needs VX_RENDER (the program) in the environment. Every test runs in a folder of its own. Pictures
are written as 32-bit floats, so that also values beyond 0 to 1 and NaN come back.
"""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bake"))

from scenes import Camera, HEAD, RENDER, instance, plane_hit, quad, tagged, world, writer  # noqa: E402

# These scenes need no other shaders.
PLAIN_HEAD = HEAD.replace('link "base.so"\n', "").replace("$include <base.mi>\n", "")
# At distance 4 such a camera sees 4 x 4 units of the plane z = 0, 4 pixels to the unit.
CAMERA = dict(width=16, height=16, eye=(0, 0, 4), focal=1.0, aperture=1.0, aspect=1.0)
PICTURE = 'output "rgb_fp" "exr" compress "none" "%s"'
# Rays hit the plane within 1e-6 of the exact point. Roots of a falloff near 0 magnify that ten times.
CLOSE = 3e-5


def read_exr(path):
    """Rows from the top, pixels as (r, g, b). Reads only what PICTURE writes: 32-bit floats, uncompressed."""
    with open(path, "rb") as stream:
        data = stream.read()
    assert data[:8] == b"\x76\x2f\x31\x01\x02\0\0\0", path
    attributes, at = {}, 8
    while data[at] != 0:
        name, kind = data[at:at + 512].split(b"\0", 2)[:2]
        at += len(name) + len(kind) + 2
        (size,) = struct.unpack_from("<I", data, at)
        attributes[name] = data[at + 4:at + 4 + size]
        at += 4 + size
    floats = struct.pack("<4I", 2, 0, 1, 1)
    assert attributes[b"channels"] == b"".join(c + b"\0" + floats for c in (b"B", b"G", b"R")) + b"\0", path
    assert attributes[b"compression"] == b"\0", path
    left, top, right, bottom = struct.unpack("<4i", attributes[b"dataWindow"])
    width, height = right - left + 1, bottom - top + 1
    rows = []
    for offset in struct.unpack_from("<%dQ" % height, data, at + 1):
        blue_green_red = struct.unpack_from("<%df" % (3 * width), data, offset + 8)
        rows.append([blue_green_red[x::width][::-1] for x in range(width)])
    return rows


FIELDS = dict(normalPP="vector", rgbPP="vector", opacityPP="scalar", tag="integer")


def write_map(path, points, fields=FIELDS):
    """An open ASCII map. Points are dicts with "position" and a value for every field."""

    def text(value):
        return " ".join("%.9g" % v for v in value) if isinstance(value, tuple) else "%.9g" % value

    with open(path, "w") as stream:
        stream.write('declare map "elements" ( dim 3%s )\nend declare\nmap "map" "elements"\n' %
                     "".join(', %s "%s"' % (kind, name) for name, kind in fields.items()))
        for point in points:
            stream.write("{ %s }\n" % ", ".join(text(point[name]) for name in ["position"] + list(fields)))
        stream.write("end map\n")


def reader(**parameters):
    """The shader "cloud". Parameters that are not given have plain, working values: the mean of all
    points within the radius, without weights. '= "NAME"' connects the shader NAME."""
    values = dict(disable=False, fileName="cloud.0001.mrmap", frame=1, radius=0.4, maxPoints=16,
                  useLabels=False, labels="", facing=0, minAngle=0.0, maxAngle=180.0,
                  falloff=(0, 0, 0, 0), scale=(1, 1, 1, 1), useOpacity=False)
    incremental = parameters.pop("incremental", "")
    values.update(parameters)
    texts = []
    for name, value in values.items():
        if isinstance(value, bool):
            value = "on" if value else "off"
        elif isinstance(value, str):
            value = value if value.startswith("=") else '"%s"' % value
        elif isinstance(value, tuple):
            value = " ".join("%.9g" % v for v in value)
        texts.append('"%s" %s' % (name, value))
    return '%s shader "cloud" "vx_pc_read" ( %s )\n' % (incremental, ", ".join(texts))


def show(member="outColor"):
    return 'material "show" opaque "vx_pc_tag" ( "color" = "cloud.%s" ) end material\n' % member


def wall(name="wall", z=0.0, facing=1, size=4.0):
    """A square across the view, facing the camera or facing away from it."""
    return quad(name, (0, 0, z), (facing * size, 0, 0), (0, size, 0))


class ReadCase(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="vx_readback_")
        self.camera = Camera(**CAMERA)

    def tearDown(self):
        shutil.rmtree(self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def run_scene(self, text, *options, status=0):
        with open(self.path("scene.mi"), "w") as stream:
            stream.write(text)
        run = subprocess.run([os.environ["VX_RENDER"], *options, "scene.mi"], cwd=self.folder,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=240)
        self.log = run.stdout.decode("utf-8", "replace")
        self.assertEqual(run.returncode, status, self.log)

    def bake(self, parts, options=(), status=0, **parameters):
        """Bakes walls: (name, object text, color, label)."""
        text = PLAIN_HEAD + self.camera.text("lens " + writer(**parameters)) + self.camera.instance()
        for name, item, color, label in parts:
            text += item + tagged(name + "Mtl", (0, 0, 0, 1), color + (1,), label)
            text += instance(name + "Inst", name, [name + "Mtl"])
        self.run_scene(text + world("camInst", *[part[0] + "Inst" for part in parts]) + RENDER, *options,
                       status=status)

    def point(self, x, y, z=0.0):
        """The intersection of the ray through a pixel with the plane z; (0, 0) is the lower left pixel."""
        return plane_hit(self.camera.eye, self.camera.direction(x, y), (0, 0, z), (0, 0, 1))

    def baked(self, z, color):
        """The points that a bake of a wall stores."""
        return [dict(position=self.point(x, y, z), rgbPP=color)
                for y in range(self.camera.height) for x in range(self.camera.width)]

    def picture(self, cloud, *options, item=None, member="outColor", status=0):
        """Renders a wall at z = 0 that shows a member of the reader's result."""
        self.run_scene(PLAIN_HEAD + cloud + show(member) + self.camera.text(output=PICTURE % "out.exr") +
                       self.camera.instance() + (item or wall()) + instance("wallInst", "wall", ["show"]) +
                       world("camInst", "wallInst") + RENDER, *options, status=status)
        return read_exr(self.path("out.exr"))

    def warnings(self):
        """Without the list of incomplete results at the end."""
        return [line.split("warning: ", 1)[1] for line in self.log.splitlines()
                if "warning: " in line and "warning: incomplete: " not in line]

    def assertColor(self, pixel, expected, message=""):
        """An expected value of NaN is only met by NaN."""
        text = "%s: %s is not %s" % (message, pixel, expected)
        for value, wanted in zip(pixel, expected):
            if wanted == wanted:
                self.assertLessEqual(abs(value - wanted), CLOSE, text)
            else:
                self.assertNotEqual(value, value, text)

    def assertPicture(self, rows, expected):
        """expected(x, y) is the color of a pixel; (0, 0) is the lower left one."""
        self.assertEqual((len(rows), len(rows[0])), (self.camera.height, self.camera.width))
        for y, row in enumerate(reversed(rows)):
            for x, pixel in enumerate(row):
                self.assertColor(pixel, expected(x, y), "pixel %d %d" % (x, y))

    def assertEverywhere(self, rows, expected):
        self.assertPicture(rows, lambda x, y: expected)
