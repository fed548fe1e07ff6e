"""Whole-program tests of the way back: a bake, then a render that reads what was baked.

Needs VX_RENDER (the program) in the environment. Every test runs in a folder of its own. Pictures
are written with 16 bits per channel, so that a channel is known to 1 / 65535.
"""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bake"))

from scenes import Camera, HEAD, RENDER, instance, plane_hit, quad, tagged, world, writer  # noqa: E402

# Nothing here needs a shader but the library's own.
PLAIN_HEAD = HEAD.replace('link "base.so"\n', "").replace("$include <base.mi>\n", "")
STEP = 1.5 / 65535


def read_png(path):
    """Rows from the top, pixels as (r, g, b) in 0..1: 16 bits, three channels, not interlaced."""
    with open(path, "rb") as stream:
        data = stream.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", path
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack_from(">I4s", data, at)
        body = data[at + 8:at + 8 + length]
        at += 12 + length
        if kind == b"IHDR":
            width, height, depth, color, _, _, interlace = struct.unpack(">IIBBBBB", body)
            assert (depth, color, interlace) == (16, 2, 0), (depth, color, interlace)
        elif kind == b"IDAT":
            packed += body
    raw = zlib.decompress(packed)
    stride, before, rows = 6 * width, bytes(6 * width), []
    for y in range(height):
        kind = raw[y * (stride + 1)]
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = line[i - 6] if i >= 6 else 0
            up = before[i]
            corner = before[i - 6] if i >= 6 else 0
            if kind == 1:
                guess = left
            elif kind == 2:
                guess = up
            elif kind == 3:
                guess = (left + up) // 2
            elif kind == 4:
                p = left + up - corner
                guess = min((abs(p - left), 0, left), (abs(p - up), 1, up), (abs(p - corner), 2, corner))[2]
            else:
                guess = 0
            line[i] = (line[i] + guess) & 255
        before = bytes(line)
        values = struct.unpack(">%dH" % (3 * width), before)
        rows.append([tuple(v / 65535 for v in values[3 * x:3 * x + 3]) for x in range(width)])
    return rows


def reader(**parameters):
    """The shader "cloud". Every parameter not given stands at a plain, working value: the mean of
    everything within the radius, without weights."""
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
            value = '"%s"' % value
        elif isinstance(value, tuple):
            value = " ".join("%.9g" % v for v in value)
        texts.append('"%s" %s' % (name, value))
    return '%s shader "cloud" "vx_pc_read" ( %s )\n' % (incremental, ", ".join(texts))


SHOW = 'material "show" opaque "vx_pc_tag" ( "color" = "cloud.outColor" ) end material\n'
# At distance 4 such a camera sees 4 x 4 units of the plane z = 0, 8 pixels to the unit.
CAMERA = dict(width=32, height=32, eye=(0, 0, 4), focal=1.0, aperture=1.0, aspect=1.0)
PICTURE = 'output "rgb_16" "png" "%s"'


def wall(name="wall", z=0.0, facing=1, size=4.0):
    """A square across the view; its front side looks at the camera, or away from it."""
    return quad(name, (0, 0, z), (facing * size, 0, 0), (0, size, 0))


class ReadCase(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="vx_readback_")
        self.camera = Camera(**CAMERA)

    def tearDown(self):
        shutil.rmtree(self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def run_scene(self, text):
        with open(self.path("scene.mi"), "w") as stream:
            stream.write(text)
        run = subprocess.run([os.environ["VX_RENDER"], "scene.mi"], cwd=self.folder,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=240)
        self.log = run.stdout.decode("utf-8", "replace")
        self.assertEqual(run.returncode, 0, self.log)

    def bake(self, parts, **parameters):
        """Bakes walls: (name, object text, color, label)."""
        text = PLAIN_HEAD + self.camera.text("lens " + writer(**parameters)) + self.camera.instance()
        for name, item, color, label in parts:
            text += item + tagged(name + "Mtl", (0, 0, 0, 1), color + (1,), label)
            text += instance(name + "Inst", name, [name + "Mtl"])
        self.run_scene(text + world("camInst", *[part[0] + "Inst" for part in parts]) + RENDER)

    def picture(self, cloud, item=None, name="out.png"):
        """Renders a wall at z = 0 that shows what the reader gives."""
        self.run_scene(PLAIN_HEAD + cloud + SHOW + self.camera.text(output=PICTURE % name) +
                       self.camera.instance() + (item or wall()) + instance("wallInst", "wall", ["show"]) +
                       world("camInst", "wallInst") + RENDER)
        return read_png(self.path(name))

    def assertColor(self, pixel, expected, message=""):
        for value, wanted in zip(pixel, expected):
            self.assertLessEqual(abs(value - wanted), STEP, "%s: %s is not %s" % (message, pixel, expected))

    def assertEverywhere(self, rows, expected):
        self.assertEqual((len(rows), len(rows[0])), (32, 32))
        for y, row in enumerate(rows):
            for x, pixel in enumerate(row):
                self.assertColor(pixel, expected, "pixel %d %d" % (x, y))


class ConstantCloud(ReadCase):
    COLOR = (0.25, 0.5, 0.75)

    def setUp(self):
        super().setUp()
        self.bake([("wall", wall(), self.COLOR, 3)])

    def test_reads_back_as_the_constant(self):
        self.assertEverywhere(self.picture(reader()), self.COLOR)

    def test_nearest_point_alone_weighs_one(self):
        # Every pixel's own point lies where the pixel is shaded: the falloff is that of distance 0.
        self.assertEverywhere(self.picture(reader(maxPoints=1, falloff=(1, 2, 3, 0))), self.COLOR)

    def test_scale_is_a_gain_per_channel(self):
        rows = self.picture(reader(scale=(2, 1, 0.5, 1)))
        self.assertEverywhere(rows, (0.5, 0.5, 0.375))

    def test_falloff_darkens(self):
        for pixel in sum(self.picture(reader(falloff=(1, 1, 1, 1))), []):
            self.assertGreater(pixel[0], 0.05)
            self.assertLess(pixel[0], 0.24)

    def test_disabled_is_black(self):
        self.assertEverywhere(self.picture(reader(disable=True)), (0, 0, 0))

    def test_nothing_within_the_radius_is_black(self):
        self.assertEverywhere(self.picture(reader(), wall(z=-1.0)), (0, 0, 0))


class Checkerboard(ReadCase):
    def test_comes_back(self):
        light, dark = (0.9, 0.8, 0.1), (0.1, 0.2, 0.6)
        cells = []
        for j in range(4):
            for i in range(4):
                name = "cell%d%d" % (i, j)
                cells.append((name, quad(name, (i - 1.5, j - 1.5, 0), (0.5, 0, 0), (0, 0.5, 0)),
                              light if (i + j) % 2 else dark, 1 + (i + j) % 2))
        self.bake(cells)
        rows = self.picture(reader(maxPoints=1, radius=0.1))
        for y in range(32):
            for x in range(32):
                hit = plane_hit(self.camera.eye, self.camera.direction(x, y), (0, 0, 0), (0, 0, 1))
                odd = (int(hit[0] + 2) + int(hit[1] + 2)) % 2
                # Lines of the file go from the top, those of the camera from the bottom.
                self.assertColor(rows[31 - y][x], light if odd else dark, "pixel %d %d" % (x, y))


class Labels(ReadCase):
    def setUp(self):
        super().setUp()
        self.bake([("near", wall("near", 0.0), (1.0, 0.0, 0.0), 1),
                   ("far", wall("far", -0.05), (0.0, 1.0, 0.0), 2)], layers=2)

    def show(self, labels):
        return self.picture(reader(useLabels=True, labels=labels))

    def test_pick_the_right_object(self):
        self.assertEverywhere(self.show("1"), (1, 0, 0))
        self.assertEverywhere(self.show("0,2-7"), (0, 1, 0))

    def test_of_both_mix(self):
        for pixel in sum(self.show("1-2"), []):
            self.assertGreater(min(pixel[:2]), 0.2)
            self.assertAlmostEqual(pixel[0] + pixel[1], 1, delta=2 * STEP)

    def test_that_nobody_has_are_black(self):
        self.assertEverywhere(self.show("3"), (0, 0, 0))
        self.assertEverywhere(self.show(""), (0, 0, 0))


class Cone(ReadCase):
    """A thin sheet: its front looks at the camera, its back away from it."""

    def setUp(self):
        super().setUp()
        self.bake([("front", wall("front", 0.0, 1), (1.0, 0.0, 0.0), 1),
                   ("back", wall("back", -0.02, -1), (0.0, 0.0, 1.0), 1)], layers=2)

    def test_without_it_the_far_side_shows_through(self):
        for pixel in sum(self.picture(reader()), []):
            self.assertGreater(min(pixel[0], pixel[2]), 0.2)

    def test_keeps_the_far_side_out(self):
        self.assertEverywhere(self.picture(reader(maxAngle=90.0)), (1, 0, 0))

    def test_the_other_way_round_takes_the_far_side_only(self):
        self.assertEverywhere(self.picture(reader(minAngle=90.0)), (0, 0, 1))


class Facing(ReadCase):
    def bake_before(self, facing):
        # A green sheet 0.3 before a red wall, baked through: the sheet looks at the wall, or away.
        self.bake([("sheet", wall("sheet", 0.3, facing), (0.0, 0.75, 0.0), 1),
                   ("behind", wall("behind", 0.0, 1), (1.0, 0.0, 0.0), 1)], layers=2)

    def test_gathers_what_looks_at_the_surface(self):
        self.bake_before(-1)
        rows = self.picture(reader(facing=1, radius=0.5))
        self.assertEverywhere(rows, (0, 0.75, 0))

    def test_without_it_the_wall_sees_itself(self):
        self.bake_before(-1)
        for pixel in sum(self.picture(reader(radius=0.2)), []):
            self.assertColor(pixel, (1, 0, 0))

    def test_leaves_out_what_looks_away(self):
        self.bake_before(1)
        # Not a number, which a picture of integers shows as black.
        self.assertEverywhere(self.picture(reader(facing=1, radius=0.5)), (0, 0, 0))


class Frames(ReadCase):
    def setUp(self):
        super().setUp()
        self.bake([("wall", wall(), (1.0, 0.0, 0.0), 1)], frame=1)
        self.bake([("wall", wall(), (0.0, 1.0, 0.0), 1)], frame=2)

    def test_have_their_own_files(self):
        self.assertTrue(os.path.exists(self.path("cloud.0001.mrmap")))
        self.assertTrue(os.path.exists(self.path("cloud.0002.mrmap")))

    def test_the_second_reads_the_second_cache(self):
        self.assertEverywhere(self.picture(reader(frame=2)), (0, 1, 0))
        self.assertEverywhere(self.picture(reader(frame=1)), (1, 0, 0))

    def test_of_an_animation_read_one_cache_each(self):
        text = (PLAIN_HEAD + reader(frame=1) + SHOW + wall() + instance("wallInst", "wall", ["show"]))
        for name in ("one", "two"):
            text += self.camera.text(name=name, output=PICTURE % (name + ".png"))
            text += self.camera.instance(name) + world(name + "Inst", "wallInst", name=name + "World")
        text += 'render "oneWorld" "oneInst" "opt"\n' + reader(frame=2, incremental="incremental")
        self.run_scene(text + 'render "twoWorld" "twoInst" "opt"\n')
        self.assertEverywhere(read_png(self.path("one.png")), (1, 0, 0))
        self.assertEverywhere(read_png(self.path("two.png")), (0, 1, 0))


class MissingMap(ReadCase):
    def check(self, **parameters):
        self.assertEverywhere(self.picture(reader(**parameters)), (0, 0, 0))
        self.assertNotIn("vx_pc_read: ", self.log)
        self.assertIn("vx_pc_read - V. 1", self.log)

    def test_renders_black_and_ends_well(self):
        self.check()

    def test_so_does_a_name_of_another_type(self):
        self.check(fileName="cloud.0001.pdc")

    def test_so_does_no_name_at_all(self):
        self.check(fileName="")


if __name__ == "__main__":
    unittest.main()
