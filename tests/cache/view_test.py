"""Runs vx_cache view as its users do. Arguments: vx_cache, vx_render, then unittest's own."""

import math
import os
import struct
import subprocess
import sys
import unittest

import cloud_files as cf
from folder_case import FolderCase
import image_files

PROGRAM, RENDERER = (os.path.abspath(sys.argv.pop(1)) for _ in range(2))
SANITIZED = os.environ.get("VX_SANITIZED") == "1"
BACKGROUND = (0, 0, 1)


def f32(v):
    return struct.unpack("f", struct.pack("f", v))[0]


def shown(linear):
    v = min(max(linear, 0.0), 1.0)
    return round(255 * (12.92 * v if v <= 0.0031308 else 1.055 * v ** (1 / 2.4) - 0.055))


def cloud(points, **more):
    """A PDC file of positions and whatever else is given, by name."""
    attributes = [("position", 5, [v for p in points for v in p])]
    for name, values in more.items():
        if isinstance(values[0], (tuple, list)):
            attributes.append((name, 5, [v for p in values for v in p]))
        else:
            attributes.append((name, 3, list(values)))
    return cf.pdc(attributes, len(points))


class Case(FolderCase):
    def run_view(self, *args, **kwargs):
        return subprocess.run([PROGRAM, "view", *map(str, args)], capture_output=True, timeout=120,
                              cwd=self.folder, **kwargs)

    def ok(self, *args, **kwargs):
        done = self.run_view(*args, **kwargs)
        self.assertEqual(done.returncode, 0, (args, done.stderr))
        return done.stderr.decode()

    def fails(self, *args, status=1, says=None, **kwargs):
        done = self.run_view(*args, **kwargs)
        self.assertEqual(done.returncode, status, (args, done.stdout, done.stderr))
        if says is not None:
            self.assertIn(says, done.stderr.decode())

    def nothing_left(self, *names):
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(names))

    def png(self, *args, name="p.png"):
        """The picture of a run on a plain blue background without a legend."""
        self.ok(*args, "-f", "-o", name, "--background", "0,0,1", "--no-legend")
        return image_files.read_png(self.get(name))

    def covered(self, rows, background=(0, 0, 255)):
        return {(x, y) for y, row in enumerate(rows) for x, c in enumerate(row) if c != background}


def center(pixels):
    return (sum(x for x, _ in pixels) / len(pixels) + 0.5, sum(y for _, y in pixels) / len(pixels) + 0.5)


class Pictures(Case):
    EYE = ("--from", "0,0,10", "--to", "0,0,0", "--size", "100x80")

    def test_a_point_lands_where_perspective_puts_it(self):
        # 60 degrees across: half the plane is tan 30 at distance 1. (2, 1, 0) is 10 away.
        self.put("a.pdc", cloud([(2, 1, 0)], radius=[0.0]))
        rows = self.png("a.pdc", *self.EYE, "--fov", "60", "--samples", "8", "--flat")
        at = center(self.covered(rows))
        half = math.tan(math.radians(30))
        self.assertAlmostEqual(at[0], 50 + 50 * 0.2 / half, delta=0.8)
        self.assertAlmostEqual(at[1], 40 - 50 * 0.1 / half, delta=0.8)

    def test_a_tilted_disc_covers_its_ellipse(self):
        # Orthographic and aimed at its center: the view is as wide as the disc needs it.
        a = math.radians(60)
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[3.0], normalPP=[(math.sin(a), 0.0, math.cos(a))],
                                rgbPP=[(1.0, 1.0, 1.0)]))
        rows = self.png("a.pdc", "--from", "0,0,10", "--to", "0,0,0", "--ortho", "--size", "200x200",
                        "--samples", "1", "--flat")
        # Framed by a ball of its radius with a margin of a twentieth on each side.
        r = 90.0
        expected = {(x, y) for x in range(200) for y in range(200)
                    if ((x + 0.5 - 100) / (r * math.cos(a))) ** 2 + ((y + 0.5 - 100) / r) ** 2 <= 1}
        self.assertLessEqual(len(self.covered(rows) ^ expected), 4)

    def test_the_nearest_point_is_seen_whatever_the_order(self):
        points = [(0, 0, 0), (0, 0, 3)]
        colors = [(1.0, 0.0, 0.0), (0.0, 1.0, 0.0)]
        for order in (1, -1):
            self.put("a.pdc", cloud(points[::order], radius=[1.0, 0.5], rgbPP=colors[::order]))
            rows = self.png("a.pdc", *self.EYE, "--flat", "--radius", "1")
            self.assertEqual(rows[40][50], (0, 255, 0))

    def test_colors_go_through_the_screens_curve_and_raw_ones_do_not(self):
        color = (0.5, 0.02, 3.0)
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[1.0], rgbPP=[color]))
        rows = self.png("a.pdc", *self.EYE, "--flat")
        self.assertEqual(rows[40][50], tuple(map(shown, color)))
        rows = self.png("a.pdc", *self.EYE, "--flat", "--raw")
        self.assertEqual(rows[40][50], (128, 5, 255))

    def test_exr_holds_exactly_the_points_values_when_flat(self):
        color = (0.1, 7.25, -0.3)
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[1.0], rgbPP=[color], normalPP=[(0.3, 0.1, 1.0)]))
        self.ok("a.pdc", *self.EYE, "--flat", "-o", "p.exr", "--background", "0.25,0,9")
        rows = image_files.read_exr(self.get("p.exr"))
        self.assertEqual((len(rows), len(rows[0])), (80, 100))
        self.assertEqual(rows[40][50], tuple(map(f32, color)))
        self.assertEqual(rows[0][0], (0.25, 0.0, 9.0))

    def test_lit_colors_fade_where_the_surface_turns_away(self):
        brightness = []
        for a in (0, 40, 75):
            n = (math.sin(math.radians(a)), 0.0, math.cos(math.radians(a)))
            self.put("a.pdc", cloud([(0, 0, 0)], radius=[3.0], normalPP=[n], rgbPP=[(0.5, 0.5, 0.5)]))
            brightness.append(self.png("a.pdc", *self.EYE)[40][50][0])
        self.assertGreater(brightness[0], brightness[1])
        self.assertGreater(brightness[1], brightness[2])
        self.assertGreater(brightness[2], 30)
        # Both sides alike.
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[3.0], normalPP=[tuple(-v for v in n)],
                                rgbPP=[(0.5, 0.5, 0.5)]))
        self.assertEqual(self.png("a.pdc", *self.EYE)[40][50][0], brightness[2])

    def test_labels_have_colors_of_their_own_in_every_picture(self):
        self.put("a.pdc", cloud([(-2, 0, 0), (2, 0, 0)], radius=[1.0, 1.0], tag=[3.0, 8.0]))
        self.put("b.pdc", cloud([(-2, 0, 0), (2, 0, 0)], radius=[1.0, 1.0], tag=[8.0, 41.0]))
        a = self.png("a.pdc", *self.EYE, "--flat", "--by", "tag", "--fov", "60")
        b = self.png("b.pdc", *self.EYE, "--flat", "--by", "tag", "--fov", "60")
        left, right = (50 - 17, 40), (50 + 17, 40)
        self.assertEqual(a[right[1]][right[0]], b[left[1]][left[0]])
        self.assertNotEqual(a[left[1]][left[0]], a[right[1]][right[0]])

    def test_only_the_wanted_labels_are_seen_and_framed(self):
        self.put("a.pdc", cloud([(0, 0, 0), (100, 0, 0), (0, 100, 0)], radius=[1.0] * 3, tag=[1, 2, 5]))
        self.put("b.pdc", cloud([(0, 0, 0)], radius=[1.0]))
        self.assertEqual(self.png("a.pdc", "--labels", "1,7-9", "--size", "64x64"),
                         self.png("b.pdc", "--size", "64x64"))

    def test_components_lengths_and_ranges(self):
        self.put("a.pdc", cloud([(-2, 0, 0), (2, 0, 0)], radius=[1.0, 1.0],
                                velocity=[(3.0, 4.0, 0.0), (0.0, 0.0, 10.0)], heat=[5.0, 10.0]))
        view = (*self.EYE, "--flat", "--fov", "60")
        by_length = self.png("a.pdc", *view, "--by", "velocity")
        self.assertEqual(by_length, self.png("a.pdc", *view, "--by", "velocity.length"))
        self.assertEqual(by_length, self.png("a.pdc", *view, "--by", "heat"))
        self.assertEqual(by_length, self.png("a.pdc", *view, "--by", "heat", "--range", "5,10"))
        wider = self.png("a.pdc", *view, "--by", "heat", "--range", "0,10")
        self.assertNotEqual(by_length[40][33], wider[40][33])
        self.assertEqual(by_length[40][67], wider[40][67])
        z = self.png("a.pdc", *view, "--by", "velocity.z")
        self.assertEqual(z[40][33], by_length[40][33])  # both are the least of their range
        rgb = self.png("a.pdc", *view, "--by", "velocity.rgb")
        self.assertEqual((rgb[40][33], rgb[40][67]), ((255, 255, 0), (0, 0, 255)))

    def test_radii_of_the_cloud_fixed_and_scaled(self):
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[1.0]))
        view = ("a.pdc", *self.EYE, "--samples", "1")
        own = self.covered(self.png(*view))
        self.assertEqual(own, self.covered(self.png(*view, "--radius", "1")))
        self.assertEqual(own, self.covered(self.png(*view, "--radius", "0.25", "--radius-scale", "4")))
        twice = self.covered(self.png(*view, "--radius-scale", "2"))
        self.assertAlmostEqual(len(twice) / len(own), 4, delta=0.2)

    def test_without_radii_neighbors_close_the_gaps(self):
        points = [(x * 0.1, y * 0.1, 0) for x in range(30) for y in range(30)]
        self.put("a.pdc", cloud(points))
        rows = self.png("a.pdc", "--view", "front", "--size", "100x100", "--ortho")
        covered = self.covered(rows)
        x0, x1 = min(x for x, _ in covered), max(x for x, _ in covered)
        inner = [(x, y) for x in range(x0 + 5, x1 - 4) for y in range(x0 + 5, x1 - 4)]
        self.assertTrue(all(p in covered for p in inner))
        self.assertGreater(len(inner), 5000)

    def test_a_cloud_that_is_not_finite_here_and_there(self):
        nan = math.nan
        self.put("a.pdc", cloud([(nan, 0, 0), (0, 0, 0), (0, math.inf, 0)], radius=[1.0, 1.0, 1.0],
                                heat=[1.0, nan, 2.0]))
        said = self.ok("a.pdc", "-o", "p.png", "--by", "heat")
        self.assertIn("a.pdc: 2 points left out: the position is not finite", said)
        self.assertIn("a.pdc: 1 point drawn in gray: 'heat' is not finite", said)
        self.assertEqual(self.ok("a.pdc", "-q", "-f", "-o", "p.png", "--by", "heat"), "")

    def test_a_picture_without_any_point_is_noted(self):
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[1.0]))
        said = self.ok("a.pdc", "-o", "p.png", "--from", "0,0,5", "--to", "0,0,9", "--size", "40x40")
        self.assertIn("p.png: no point lies within the picture", said)

    def test_radii_in_the_wrong_unit_are_noted(self):
        self.put("a.pdc", cloud([(k / 100, 0, 0) for k in range(101)], radius=[5.0] * 101))
        said = self.ok("a.pdc", "-o", "p.png", "--size", "40x40")
        self.assertIn("radii up to 5 in a cloud that is 1 across", said)
        self.assertEqual(self.ok("a.pdc", "-f", "-o", "p.png", "--size", "40x40", "--radius", "0.1"), "")

    def test_large_pictures_are_drawn_in_bands_that_fit_together(self):
        # 2300 x 2300 pixels of 64 samples are ten bands; a disc across all of them has no seams.
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[1.0], rgbPP=[(1, 1, 1)]))
        view = ("--view", "front", "--ortho", "--flat", "--background", "0,0,0", "--no-legend")
        self.ok("a.pdc", "-o", "p.exr", "--samples", "8", "--size", "2300x2300", *view)
        rows = image_files.read_exr(self.get("p.exr"))
        area = sum(c[0] for row in rows for c in row)
        self.assertAlmostEqual(area / (math.pi * (0.45 * 2300) ** 2), 1, delta=1e-5)
        self.assertTrue(all(row[1150] == (1, 1, 1) for row in rows[130:2170]))

    def test_every_format_gives_the_same_picture(self):
        self.put("a.pdc", cloud([(0, 0, 0), (1, 0.5, 0), (0.25, 1, 1)], radius=[0.25] * 3,
                                rgbPP=[(1, 0, 0), (0, 1, 0), (0.5, 0.5, 0.5)], tag=[1, 2, 3],
                                normalPP=[(0, 0, 1), (0, 1, 0), (1, 0, 0)], opacityPP=[1.0] * 3,
                                id=[0, 1, 2]))
        expected = self.png("a.pdc", "--size", "80x60")
        for name in ("ply", "csv", "usda", "npz", "mrmap"):
            subprocess.run([PROGRAM, "convert", "-q", "--all-fields", "a.pdc", "a." + name],
                           cwd=self.folder, check=True)
            self.assertEqual(self.png("a." + name, "--size", "80x60"), expected, name)

    def test_a_cloud_comes_through_a_pipe(self):
        # Without radii, so that it is walked over more often than usual.
        data = cloud([(0, 0, 0), (1, 0, 0), (0, 2, 1)])
        self.put("a.pdc", data)
        self.ok("a.pdc", "-o", "a.png", "--size", "40x40")
        self.ok("-", "-o", "b.png", "--size", "40x40", input=data)
        self.assertEqual(self.get("a.png"), self.get("b.png"))


class Camera(Case):
    DISC = [(math.cos(2 * math.pi * k / 48), math.sin(2 * math.pi * k / 48)) for k in range(48)]

    def scene(self, camera, placing, point, radius):
        x, y, z = point
        corners = "\n".join("%.9g %.9g %.9g" % (x + radius * a, y + radius * b, z) for a, b in self.DISC)
        refs = "\n".join("v %d n 48" % k for k in range(48))
        return ("""
link "base.so"
$include <base.mi>
options "opt" samples 0 0 trace off shadow off end options
shader "white" "mib_illum_lambert" ( "ambience" 1 1 1 1, "ambient" 1 1 1 1 )
material "m" opaque = "white" end material
object "o" visible on group
%s 0 0 1
%s
c 0 %s
end group end object
instance "oInst" "o" material [ "m" ] end instance
camera "cam" output "rgb" "png" "render.png" %s end camera
%s
instgroup "world" "camRoot" "oInst" end instgroup
render "world" "camInst" "opt"
""" % (corners, refs, " ".join(map(str, range(48))), camera, placing)).encode()

    DIRECT = 'instance "camInst" "cam" transform %s end instance'
    PLACED = {
        "plain": ("focal 1.5 aperture 1.2 aspect 1.3333 resolution 160 120",
                  'instance "camInst" "cam" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -8 1 end instance', "camInst"),
        "turned and shifted": (
            "focal 2 aperture 1 aspect 2 resolution 160 100 offset 12 -7",
            'instance "camInst" "cam" transform 0.8 0 0.6 0 0 1 0 0 -0.6 0 0.8 0 0.5 -0.25 -9 1 end instance',
            "camInst"),
        "in a group": (
            "focal 1 aperture 1 aspect 1 resolution 100 100",
            'instance "camInst" "cam" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -4 1 end instance\n'
            'instgroup "rig" "camInst" end instgroup\n'
            'instance "rigInst" "rig" transform 0 1 0 0 -1 0 0 0 0 0 1 0 0.25 0.5 -3 1 end instance', "rigInst"),
        "orthographic": (
            "focal infinity aperture 5 aspect 1.6 resolution 160 100",
            'instance "camInst" "cam" transform 1 0 0 0 0 0.8 0.6 0 0 -0.6 0.8 0 0.5 0.5 -8 1 end instance',
            "camInst"),
    }

    def test_what_the_renderer_sees_is_seen_in_the_same_pixels(self):
        for name, (camera, placing, root) in self.PLACED.items():
            point, radius = (0.4, 0.3, 0.2), 0.5
            text = self.scene(camera, placing, point, radius).replace(b"camRoot", root.encode())
            self.put("s.mi", text)
            done = subprocess.run([RENDERER, "-verbose", "off", "s.mi"], cwd=self.folder, capture_output=True,
                                  timeout=120)
            self.assertEqual(done.returncode, 0, (name, done.stdout, done.stderr))
            rendered = image_files.read_png(self.get("render.png"))
            self.put("a.pdc", cloud([point], radius=[radius], normalPP=[(0.0, 0.0, 1.0)],
                                    rgbPP=[(1.0, 1.0, 1.0)]))
            seen = self.png("a.pdc", "--camera", "s.mi", "--samples", "1", "--flat")
            self.assertEqual((len(seen), len(seen[0])), (len(rendered), len(rendered[0])))
            theirs = self.covered(rendered, (0, 0, 0))
            ours = self.covered(seen)
            self.assertGreater(len(theirs), 80, name)
            # 48 corners leave slivers of the circle out, so single pixels of the rim may differ.
            self.assertLessEqual(len(theirs ^ ours), 0.03 * len(theirs) + 2, name)
            for a, b in zip(center(theirs), center(ours)):
                self.assertAlmostEqual(a, b, delta=0.1, msg=name)

    def test_cameras_by_name(self):
        camera, placing, root = self.PLACED["plain"]
        text = self.scene(camera, placing, (0, 0, 0), 1).replace(b"camRoot", root.encode())
        self.put("s.mi", text)
        self.put("a.pdc", cloud([(0, 0, 0)], radius=[1.0]))
        default = self.png("a.pdc", "--camera", "s.mi")
        self.assertEqual((len(default), len(default[0])), (120, 160))
        self.assertEqual(self.png("a.pdc", "--camera", "s.mi:camInst"), default)
        other = self.png("a.pdc", "--camera", "s.mi:cam", "--size", "80x60")
        self.assertEqual((len(other), len(other[0])), (60, 80))
        self.fails("a.pdc", "-o", "q.png", "--camera", "s.mi:nobody", says="no camera instance 'nobody'")
        self.fails("a.pdc", "-o", "q.png", "--camera", "none.mi", says="none.mi")
        self.put("big.mi", text.replace(b"160 120", b"40000 40000"))
        self.fails("a.pdc", "-o", "q.png", "--camera", "big.mi", says="big.mi: a picture of the camera's 40000")
        self.nothing_left("s.mi", "big.mi", "a.pdc", "p.png")

    def test_named_views(self):
        # A pointer along each axis: where its color is tells the side.
        self.put("a.pdc", cloud([(1, 0, 0), (0, 1, 0), (0, 0, 1), (0, 0, 0)], radius=[0.3] * 4,
                                rgbPP=[(1, 0, 0), (0, 1, 0), (1, 1, 0), (1, 1, 1)]))
        names = {(255, 0, 0): "x", (0, 255, 0): "y", (255, 255, 0): "z"}
        expected = {"front": {"x": (1, 0), "y": (0, 1)}, "back": {"x": (-1, 0), "y": (0, 1)},
                    "right": {"z": (-1, 0), "y": (0, 1)}, "left": {"z": (1, 0), "y": (0, 1)},
                    "top": {"x": (1, 0), "z": (0, -1)}, "bottom": {"x": (1, 0), "z": (0, 1)}}
        for view, axes in expected.items():
            rows = self.png("a.pdc", "--view", view, "--ortho", "--flat", "--size", "120x120")
            places = {}
            for y, row in enumerate(rows):
                for x, c in enumerate(row):
                    places.setdefault(names.get(c, "o" if c == (255, 255, 255) else None), []).append((x, y))
            middle = {k: center(v) for k, v in places.items()}
            # The axis towards the viewer hides the origin.
            ends = [k for k in axes]
            a, b = (middle[k] for k in ends)
            for k, other in zip(ends, ends[::-1]):
                dx, dy = axes[k]
                ox, oy = axes[other]
                gx = middle[k][0] - middle[other][0]
                gy = -(middle[k][1] - middle[other][1])
                self.assertEqual((math.copysign(1, gx), math.copysign(1, gy)),
                                 (math.copysign(1, dx - ox), math.copysign(1, dy - oy)), (view, k))

    def test_everything_is_framed(self):
        points = [(x, y, z) for x in (-7, 3) for y in (100, 101) for z in (0, 4)]
        self.put("a.pdc", cloud(points, radius=[0.2] * 8))
        for args in ([], ["--ortho"], ["--view", "left"], ["--up", "0,0,1"], ["--to", "0,100,0"],
                     ["--size", "60x200"], ["--fov", "100"]):
            rows = self.png("a.pdc", "--size", "200x150", *(a for a in args), "--samples", "2") \
                if "--size" not in args else self.png("a.pdc", *args)
            covered = self.covered(rows)
            width, height = len(rows[0]), len(rows)
            self.assertGreater(len(covered), 30, args)
            self.assertTrue(all(0 < x < width - 1 and 0 < y < height - 1 for x, y in covered), args)
            reach = max(max(x for x, _ in covered) - min(x for x, _ in covered) + 1,
                        (max(y for _, y in covered) - min(y for _, y in covered) + 1) * width / height)
            if "--to" not in args:
                self.assertGreater(reach, 0.8 * width, args)

    def test_turntable(self):
        self.put("a.pdc", cloud([(2, 0, 0)], radius=[0.4], rgbPP=[(1, 1, 1)]))
        view = ("--from", "0,0,10", "--to", "0,0,0", "--size", "60x40", "--fov", "60", "--no-legend",
                "--background", "0,0,1")
        self.ok("a.pdc", "-o", "t.png", "--turntable", "4", *view)
        self.nothing_left("a.pdc", *("t.%04d.png" % k for k in (1, 2, 3, 4)))
        at = [center(self.covered(image_files.read_png(self.get("t.%04d.png" % k)))) for k in (1, 2, 3, 4)]
        # The first is the camera itself; then the eye goes to +x, where the point is straight ahead.
        self.assertAlmostEqual(at[0][0], 30 + 30 * 0.2 / math.tan(math.radians(30)), delta=1)
        self.assertAlmostEqual(at[1][0], 30, delta=1)
        self.assertAlmostEqual(at[2][0], 60 - at[0][0], delta=1)
        self.assertAlmostEqual(at[3][0], 30, delta=1)
        self.assertGreater(len(self.covered(image_files.read_png(self.get("t.0002.png")))),
                           len(self.covered(image_files.read_png(self.get("t.0004.png")))))
        self.ok("a.pdc", "-o", "u##.exr", "--turntable", "2", "--size", "20x20")
        self.assertTrue({"u01.exr", "u02.exr"} <= set(os.listdir(self.folder)))

    def test_a_turntable_stays_in_the_picture(self):
        self.put("a.pdc", cloud([(5, 0, 0), (-1, 3, 0), (0, 0, 8)], radius=[0.3] * 3))
        self.ok("a.pdc", "-o", "t.png", "--turntable", "7", "--size", "90x60", "--background", "0,0,1")
        for k in range(1, 8):
            covered = self.covered(image_files.read_png(self.get("t.%04d.png" % k)))
            self.assertGreater(len(covered), 10)
            self.assertTrue(all(0 < x < 89 and 0 < y < 59 for x, y in covered), k)

    def test_sequences_share_camera_and_scale(self):
        self.put("s.0001.pdc", cloud([(0, 0, 0)], radius=[0.5], heat=[1.0]))
        self.put("s.0002.pdc", cloud([(4, 0, 0)], radius=[0.5], heat=[3.0]))
        self.put("both.pdc", cloud([(0, 0, 0), (4, 0, 0)], radius=[0.5] * 2, heat=[1.0, 3.0]))
        view = ("--by", "heat", "--size", "120x60", "--background", "0,0,1", "--flat", "--no-legend")
        self.ok("s.####.pdc", "-o", "p.####.png", *view)
        self.ok("both.pdc", "-o", "both.png", *view)
        one, two, both = (image_files.read_png(self.get(n)) for n in ("p.0001.png", "p.0002.png", "both.png"))
        for y in range(60):
            for x in range(120):
                self.assertEqual(both[y][x], one[y][x] if one[y][x] != (0, 0, 255) else two[y][x])


class Command(Case):
    def setUp(self):
        super().setUp()
        self.put("a.pdc", cloud([(0, 0, 0), (1, 2, 3)], radius=[1.0, 1.0], tag=[1.0, 2.0],
                                rgbPP=[(1, 0, 0), (0, 1, 0)]))

    def test_nothing_is_overwritten_without_force(self):
        self.put("p.png", b"mine")
        self.fails("a.pdc", "-o", "p.png", says="p.png: the file exists; --force replaces it")
        self.assertEqual(self.get("p.png"), b"mine")
        self.ok("a.pdc", "-o", "p.png", "--force", "--size", "20x20")
        self.assertEqual(self.get("p.png")[:4], b"\x89PNG")
        self.put("t.0002.png", b"mine")
        self.fails("a.pdc", "-o", "t.png", "--turntable", "3", "--size", "20x20", says="t.0002.png")
        self.assertEqual(self.get("t.0002.png"), b"mine")

    def test_wrong_use(self):
        for args, says in (
                (["-o", "p.jpg"], ".png"), ([], "--output"), (["-o", "p.png", "--size", "0x5"], "0x5"),
                (["-o", "p.png", "--size", "99999x99999"], "99999x99999"),
                (["-o", "p.png", "--size", "32768x32768"], "32768x32768"),
                (["-o", "p.png", "--size", "-3x5"], "--size"),
                (["-o", "p.png", "--size", "640"], "640"), (["-o", "p.png", "--size", "640x"], "640x"),
                (["-o", "p.png", "--size", "axb"], "axb"),
                (["-o", "p.png", "--size", "9999999999999999999x5"], "--size"),
                (["-o", "p.png", "--fov", "0"], "--fov"), (["-o", "p.png", "--fov", "180"], "--fov"),
                (["-o", "p.png", "--from", "1,2"], "--from"), (["-o", "p.png", "--from", "1,2,x"], "--from"),
                (["-o", "p.png", "--from", "1,inf,3"], "--from"),
                (["-o", "p.png", "--from", "1,2,3", "--to", "1,2,3"], "same place"),
                (["-o", "p.png", "--up", "0,0,0"], "--up"), (["-o", "p.png", "--view", "under"], "--view"),
                (["-o", "p.png", "--view", "top", "--from", "1,2,3"], "--view"),
                (["-o", "p.png", "--camera", "s.mi", "--ortho"], "--camera"),
                (["-o", "p.png", "--radius", "-1"], "--radius"),
                (["-o", "p.png", "--radius", "nan"], "--radius"),
                (["-o", "p.png", "--radius-scale", "0"], "--radius-scale"),
                (["-o", "p.png", "--range", "1"], "--range"), (["-o", "p.png", "--range", "2,1"], "--range"),
                (["-o", "p.png", "--range", "0,1"], "--range applies to numbers; the points are colored by 'rgbPP'"),
                (["-o", "p.png", "--samples", "0"], "--samples"), (["-o", "p.png", "--samples", "99"], "--samples"),
                (["-o", "p.png", "--background", "1"], "--background"),
                (["-o", "p.png", "--turntable", "0"], "--turntable"),
                (["-o", "p.####.png"], "####"), (["-o", "p.png", "--unknown"], "--unknown")):
            self.fails("a.pdc", *args, status=2, says=says)
        self.nothing_left("a.pdc")

    def test_what_cannot_be_shown_says_why_and_leaves_no_file(self):
        self.put("none.pdc", cf.pdc([("position", 5, [])], 0))
        self.put("nan.pdc", cloud([(math.nan, 0, 0)]))
        self.put("flat.pdc", cf.pdc([("radius", 3, [1.0])], 1))
        self.put("broken.pdc", cloud([(0, 0, 0)] * 5)[:-9])
        before = os.listdir(self.folder)
        for args, says in (
                (["none.pdc"], "none.pdc: nothing to draw: the cloud has no points"),
                (["nan.pdc"], "no point has a finite position"),
                (["a.pdc", "--labels", "77"], "no point has one of the labels"),
                (["flat.pdc"], "position"), (["broken.pdc"], "broken.pdc: byte"),
                (["missing.pdc"], "missing.pdc"), (["nan.pdc", "--labels", "1"], "no attribute 'tag'"),
                (["a.pdc", "--by", "heat"], "no attribute 'heat' to color by; available: position, radius, tag, rgbPP"),
                (["a.pdc", "--by", "position.w"], "position.w"), (["a.pdc", "--by", "tag.y"], "tag.y")):
            self.fails(*args, "-o", "p.png", says=says)
        self.fails("a.pdc", "-o", "no/such/folder/p.png", says="no/such/folder/p.png")
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(before))

    def test_odd_clouds_still_give_a_picture(self):
        for data in (cloud([(0, 0, 0)]), cloud([(5, 5, 5)] * 9), cloud([(0, 0, 0)], radius=[0.0]),
                     cloud([(1e12, 0, 0), (1e12 + 1, 0, 0)]), cloud([(1e-12, 0, 0), (0, 1e-12, 0)]),
                     cloud([(0, 0, 0), (1, 0, 0)], normalPP=[(0, 0, 0), (math.nan, 0, 0)]),
                     cloud([(-1e300, 0, 0), (1e300, 0, 0)], radius=[1.0, math.inf]),
                     cloud([(k, 0, 0) for k in range(10)])):
            self.put("odd.pdc", data)
            for args in ([], ["--ortho", "--view", "top"]):
                done = self.run_view("odd.pdc", "-f", "-o", "p.png", "--size", "40x40", *args)
                self.assertEqual(done.returncode, 0, (data[:80], args, done.stderr))

    def test_the_same_bytes_on_any_day(self):
        for name in ("p.png", "p.exr"):
            self.ok("a.pdc", "-o", name, "--size", "60x40")
            first = self.get(name)
            self.ok("a.pdc", "-f", "-o", name, "--size", "60x40",
                    env={**os.environ, "TZ": "Asia/Tokyo", "USER": "somebody", "HOME": "/"})
            self.assertEqual(self.get(name), first)
        kinds = {kind for kind, _ in image_files.png_chunks(self.get("p.png"))}
        self.assertNotIn(b"tIME", kinds)

    def test_help_shows_how_to_see_a_cloud(self):
        whole = subprocess.run([PROGRAM, "--help"], capture_output=True, check=True).stdout.decode()
        self.assertRegex(whole, r"(?s)Inspect:.*view +render a cloud.*Write:")
        self.assertIn("vx_cache view shot.0001.pdc -o shot.png", whole)
        verb = subprocess.run([PROGRAM, "view", "--help"], capture_output=True, check=True).stdout.decode()
        for word in ("Examples:", "--camera scene.mi", "--turntable 48", "--by tag"):
            self.assertIn(word, verb)

    @unittest.skipIf(SANITIZED, "memory is counted differently")
    def test_memory_does_not_grow_with_the_points(self):
        used = []
        for count in (1000, 600000):
            data = b"PDC " + struct.pack(">6i", 1, 1, 0, 0, count, 2)
            data += struct.pack(">i", 8) + b"position" + struct.pack(">i", 5)
            data += struct.pack(">3d", 0.5, 0.25, 1) * (count - 1) + struct.pack(">3d", 0, 0, 0)
            data += struct.pack(">i", 6) + b"radius" + struct.pack(">i", 2) + struct.pack(">d", 0.1)
            self.put("m.pdc", data)
            # A process of its own, since the largest of all children is what is told.
            code = ("import resource,subprocess,sys;subprocess.run(sys.argv[1:],check=True);"
                    "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
            done = subprocess.run([sys.executable, "-c", code, PROGRAM, "view", "-q", "-f", "m.pdc", "-o", "m.png",
                                   "--size", "64x64"], cwd=self.folder, capture_output=True, check=True)
            used.append(int(done.stdout))
        # The positions alone take 14 MB; how much of the shared libraries is counted varies by some MB.
        self.assertLess(used[1] - used[0], 10000, used)


if __name__ == "__main__":
    unittest.main()
