"""Baked colors that depend on lights, textures, normals and positions, compared with formulas.

Values that a shading ray reuses from the probe must be those of its own hit."""

import math
import os
import struct
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from bake_case import POSITION_TOLERANCE, BakeCase  # noqa: E402
from meshes import Placed, ball, first_hit, patch, rotation  # noqa: E402
from scenes import (HEAD, RENDER, TILT_CENTER, TILT_NORMAL, TILT_U, TILT_V, Camera, add, dot,  # noqa: E402
                    instance, mul, plain, plane_hit, quad, sub, unit, world, writer)

ROUNDING = 2e-6  # of colors between 0 and about 2, after some ten operations in single precision


def length(v):
    return math.sqrt(dot(v, v))


class Image:
    """A texture file of 8-bit pixels with random colors."""

    def __init__(self, width, height):
        self.width, self.height = width, height
        self.bytes = [(37 * i * i + 101 * i + 11) % 256 for i in range(3 * width * height)]

    def write(self, path):
        """Binary PPM: the highest row first."""
        with open(path, "wb") as stream:
            stream.write(b"P6\n%d %d\n255\n" % (self.width, self.height))
            for y in reversed(range(self.height)):
                for x in range(self.width):
                    stream.write(struct.pack("3B", *self.pixel(x, y)))

    def pixel(self, x, y):
        x, y = min(max(x, 0), self.width - 1), min(max(y, 0), self.height - 1)
        at = 3 * (y * self.width + x)
        return self.bytes[at:at + 3]

    def at(self, u, v):
        """Interpolates linearly between pixel centers."""
        x, y = u * self.width - 0.5, v * self.height - 0.5
        i, j = math.floor(x), math.floor(y)
        weights = ((i, j, (1 - x + i) * (1 - y + j)), (i + 1, j, (x - i) * (1 - y + j)),
                   (i, j + 1, (1 - x + i) * (y - j)), (i + 1, j + 1, (x - i) * (y - j)))
        return tuple(sum(w * self.pixel(a, b)[k] for a, b, w in weights) / 255 for k in range(3))

    def slope(self):
        """The largest change of a color per unit of u or v."""
        return max(self.width, self.height)


class Lamp:
    """A point light that fades from `start` to `stop`."""

    def __init__(self, name, place, color, start, stop, factor=None):
        self.name, self.place, self.color = name, place, color
        self.start, self.stop, self.factor = start, stop, factor

    def text(self):
        return """
light "%s" "mib_light_point" ( "color" %.9g %.9g %.9g, "shadow" %s, "factor" %.9g,
    "atten" on, "start" %.9g, "stop" %.9g ) origin %.9g %.9g %.9g end light
instance "%sInst" "%s" end instance
""" % (self.name, *self.color, "off" if self.factor is None else "on", self.factor or 0, self.start, self.stop,
            *self.place, self.name, self.name)

    def towards(self, point):
        return unit(sub(self.place, point))

    def strength(self, point):
        distance = length(sub(self.place, point))
        return min(1, max(0, (self.stop - distance) / (self.stop - self.start)))


class Sun:
    def __init__(self, name, direction, color):
        self.name, self.direction, self.color = name, unit(direction), color

    def text(self):
        return """
light "%s" "mib_light_infinite" ( "color" %.9g %.9g %.9g, "shadow" off, "factor" 0 )
    direction %.9g %.9g %.9g end light
instance "%sInst" "%s" end instance
""" % (self.name, *self.color, *self.direction, self.name, self.name)

    def towards(self, point):
        return mul(self.direction, -1)

    def strength(self, point):
        return 1


AMBIENCE = (0.125, 0.25, 0.0625)


def lit(point, normal, diffuse, lights):
    """Lambert's law, with an ambient color that is the diffuse one."""
    color = tuple(a * d for a, d in zip(AMBIENCE, diffuse))
    for light in lights:
        f = light.strength(point) * max(0, dot(normal, light.towards(point)))
        color = add(color, tuple(f * c * d for c, d in zip(light.color, diffuse)))
    return color


def lit_material(lights, diffuse, tag=3):
    names = ", ".join('"%sInst"' % light.name for light in lights)
    return """
shader "lit" "mib_illum_lambert" ( "ambience" %.9g %.9g %.9g, "ambient" %s, "diffuse" %s,
    "mode" 1, "lights" [ %s ] )
material "mtl" opaque "vx_pc_tag" ( "color" 9 9 9 9, "bakeColor" = "lit", "tag" %d ) end material
""" % (*AMBIENCE, diffuse, diffuse, names, tag)


TEXTURED = """
color texture "image" "image.ppm"
shader "coord" "mib_texture_vector" ( "select" 0 )
shader "texel" "mib_texture_lookup" ( "tex" "image", "coord" = "coord" )
"""


def textured_quad(name, center, u, v):
    """As scenes.quad, with texture coordinates from 0 at center - u - v to 1 at center + u + v."""
    text = quad(name, center, u, v)
    text = text.replace("v 0 n 4", "0 0 0\n 1 0 0\n 1 1 0\n 0 1 0\n v 0 n 4")
    for i in range(4):
        text = text.replace("v %d n 4" % i, "v %d n 4 t %d" % (i, 5 + i))
    return text


LAMP = Lamp("lamp", (1.5, 2, 3), (1, 0.75, 0.5), 2, 9)
SUN = Sun("sun", (1, -1, -2), (0.25, 0.5, 1))


class LitPlane(BakeCase):
    IMAGE = Image(5, 4)

    def diffuse(self, point):
        """The color of the texture at a point of the plane."""
        p = sub(point, TILT_CENTER)
        u, v = (dot(p, axis) / dot(axis, axis) / 2 + 0.5 for axis in (TILT_U, TILT_V))
        return self.IMAGE.at(u, v)

    def bake(self, camera, lights, extra="", more=()):
        self.IMAGE.write(self.path("image.ppm"))
        self.render(HEAD + camera.text("lens " + writer()) + camera.instance() + TEXTURED +
                    "".join(light.text() for light in lights) + lit_material(lights, '= "texel"') +
                    textured_quad("plane", TILT_CENTER, TILT_U, TILT_V) +
                    instance("planeInst", "plane", ["mtl"]) + extra +
                    world("camInst", "planeInst", *more, *("%sInst" % light.name for light in lights)) +
                    RENDER)
        return self.cloud()

    # How fast a color changes: the texture's slope over 12 units of the plane, twice, for the two axes, times
    # the light; and the light's own change over the diffuse color, at most one per unit at these distances.
    TOLERANCE = POSITION_TOLERANCE * (2 * 5 / 12 * 2 + 1) + ROUNDING

    def check(self, camera, lights):
        cloud = self.bake(camera, lights)
        self.assertEqual(cloud.count, camera.width * camera.height)
        seen = set()
        for i in range(cloud.count):
            y, x = divmod(i, camera.width)
            point = plane_hit(camera.eye, camera.direction(x, y), TILT_CENTER, TILT_NORMAL)
            expected = lit(point, TILT_NORMAL, self.diffuse(point), lights)
            self.assertVector(cloud["position"][i], point, POSITION_TOLERANCE)
            self.assertVector(cloud["rgbPP"][i], expected, self.TOLERANCE, "pixel %d %d" % (x, y))
            seen.add(tuple(round(c, 2) for c in expected))
        self.assertEqual(set(cloud["opacityPP"]), {1.0})
        self.assertGreater(len(seen), cloud.count / 4, "colors that hardly differ show little")

    def test_point_light(self):
        self.check(Camera(), [LAMP])

    def test_infinite_light(self):
        self.check(Camera(eye=(1.5, 0.5, 4), turn=0.35), [SUN])

    def test_both(self):
        self.check(Camera(width=20, height=15), [LAMP, SUN])

    def test_shadow_of_what_the_camera_does_not_see(self):
        camera = Camera(width=24, height=18)
        lamp = Lamp("lamp", LAMP.place, LAMP.color, LAMP.start, LAMP.stop, factor=0.25)
        center, u, v = (1.05, 1.4, 1.95), (0.4, 0, 0), (0, 0.3, 0)
        cloud = self.bake(camera, [lamp], plain("dark", (0, 0, 0, 1)) + quad("blocker", center, u, v) +
                          instance("blockerInst", "blocker", ["dark"]), ["blockerInst"])
        self.assertEqual(cloud.count, camera.width * camera.height)
        shadowed = near_edge = 0
        for i in range(cloud.count):
            y, x = divmod(i, camera.width)
            point = plane_hit(camera.eye, camera.direction(x, y), TILT_CENTER, TILT_NORMAL)
            # Where the ray to the light crosses the blocker's plane, in units of its half sides.
            crossing = plane_hit(point, sub(lamp.place, point), center, (0, 0, 1))
            s = max(abs(crossing[0] - center[0]) / u[0], abs(crossing[1] - center[1]) / v[1])
            if abs(s - 1) < 1e-3:
                near_edge += 1
                continue
            expected = lit(point, TILT_NORMAL, self.diffuse(point), [lamp])
            if s < 1:
                shadowed += 1
                dark = lit(point, TILT_NORMAL, self.diffuse(point), [])
                expected = add(dark, mul(sub(expected, dark), 0.25))
            self.assertVector(cloud["rgbPP"][i], expected, self.TOLERANCE, "pixel %d %d" % (x, y))
        self.assertGreater(shadowed, 30)
        self.assertLess(near_edge, 5)


class Meshes(BakeCase):
    """Rays and meshes; hits are found by intersecting all triangles."""

    def expected(self, camera, instances):
        """The hits in the order of the pixels, each with its ray's direction."""
        hits = []
        for y in range(camera.height):
            for x in range(camera.width):
                direction = camera.direction(x, y)
                hit, edge = first_hit(instances, camera.eye, direction)
                self.assertGreater(edge, 1e-6, "pixel %d %d: the ray meets an edge" % (x, y))
                if hit is not None:
                    hits.append((hit, direction))
        return hits


class LitBall(Meshes):
    def test_normals_between_those_of_the_corners(self):
        camera = Camera(width=18, height=14)
        lights = [LAMP, SUN]
        placed = Placed(ball(), (1.5, 1.1, 1.3), rotation((1, 2, 3), 0.7), (0.1, 0.2, 0.3))
        hits = self.expected(camera, [placed])
        self.render(HEAD + camera.text("lens " + writer()) + camera.instance() +
                    "".join(light.text() for light in lights) + lit_material(lights, "0.75 0.5 1") +
                    placed.mesh.text("ball") + placed.text("ballInst", "ball", "mtl") +
                    world("camInst", "ballInst", "lampInst", "sunInst") + RENDER)
        cloud = self.cloud()
        self.assertEqual(cloud.count, len(hits))
        self.assertGreater(len(hits), 80)
        bent = 0
        for i, (hit, _) in enumerate(hits):
            slack = POSITION_TOLERANCE / hit.height()
            expected = lit(hit.point, hit.normal, (0.75, 0.5, 1), lights)
            # The normal turns by less than a radian over a facet, and the color by less than that.
            self.assertVector(cloud["normalPP"][i], hit.normal, slack + ROUNDING)
            self.assertVector(cloud["rgbPP"][i], expected, 2 * slack + ROUNDING, "point %d" % i)
            bent += dot(hit.normal, hit.flat_normal) < 0.999
        self.assertGreater(bent, 20)


class PlacedMeshes(Meshes):
    """Instances that are rotated, scaled unevenly and mirrored, seen from both sides. Each bakes another part
    of the state."""

    FACTS = """
declare shader color "bake_test_fact" ( integer "fact" ) version 1 end declare
link "bake_test_shaders.so"
shader "point" "mib_texture_vector" ( "select" -1 )
shader "object_point" "mib_texture_vector" ( "select" -1, "selspace" 1 )
shader "normal" "mib_texture_vector" ( "select" -2 )
shader "object_normal" "mib_texture_vector" ( "select" -2, "selspace" 1 )
shader "first_space" "mib_texture_vector" ( "select" 0 )
shader "second_space" "mib_texture_vector" ( "select" 1 )
shader "weights" "bake_test_fact" ( "fact" 0 )
shader "ray" "bake_test_fact" ( "fact" 1 )
shader "sides" "bake_test_fact" ( "fact" 2 )
"""

    def instances(self):
        mesh = patch()
        turns = [rotation((1, 2, 0.5), 0.5), rotation((0, 1, 0), -0.6), rotation((2, -1, 4), 2.5)]
        scales = [(0.9, 0.55, 0.8), (0.6, 0.7, -0.9), (-0.8, 0.5, 0.7)]
        names = ["point", "object_point", "normal", "object_normal", "first_space", "second_space", "weights",
                 "ray", "sides"]
        # One instance per fact, in three rows; mirrored ones face away from the camera.
        return {name: Placed(mesh, scales[(i + i // 3) % 3], turns[i // 3],
                             (1.7 * (i % 3) - 1.7, 1.3 * (i // 3) - 1.3, 0.2 * (i % 2)))
                for i, name in enumerate(names)}

    def fact(self, name, hit, back, direction):
        """The value, and its sensitivity to the error of a weight."""
        placed, mesh = hit.placed, hit.placed.mesh
        if name == "point":
            return hit.point, hit.height()
        if name == "object_point":
            return placed.to_object(hit.point), 3 * hit.height()
        if name == "normal":
            return hit.normal, 2
        if name == "object_normal":
            return placed.normal_to_object(hit.normal), 2
        if name == "first_space":
            return hit.interpolated(mesh.textures[0]), hit.spread(mesh.textures[0])
        if name == "second_space":
            return hit.interpolated(mesh.textures[1]), hit.spread(mesh.textures[1])
        if name == "weights":
            return hit.weights, 1
        if name == "ray":
            # A back is shaded from its front, by a ray of length 0.005 against the normal.
            along = mul(hit.normal, -1) if back else direction
            return (0.005 if back else hit.distance, dot(hit.normal, along), dot(hit.flat_normal, along)), 2
        # The label of the instance, whether the ray hit a back, the normal's side.
        return (40 + list(self.placed).index(name), 0, 1), 0

    def check(self, camera):
        self.placed = self.instances()
        hits = self.expected(camera, list(self.placed.values()))
        text = HEAD + camera.text("lens " + writer()) + camera.instance() + self.FACTS + patch().text("patch")
        for number, (name, placed) in enumerate(self.placed.items()):
            text += ('material "%sMtl" opaque "vx_pc_tag" ( "color" 9 9 9 9, "bakeColor" = "%s", "tag" %d ) '
                     'end material\n' % (name, name, number))
            text += placed.text(name + "Inst", "patch", name + "Mtl", "tag %d" % (40 + number))
        self.render(text + world("camInst", *(name + "Inst" for name in self.placed)) + RENDER)
        cloud = self.cloud()
        self.assertEqual(cloud.count, len(hits))
        seen = {}
        for i, (hit, direction) in enumerate(hits):
            name = next(n for n, p in self.placed.items() if p is hit.placed)
            back = dot(hit.flat_normal, direction) > 0
            value, share = self.fact(name, hit, back, direction)
            slack = POSITION_TOLERANCE / hit.height()
            where = "point %d, %s, %s" % (i, name, "back" if back else "front")
            self.assertEqual(cloud["tag"][i], list(self.placed).index(name), where)
            self.assertVector(cloud["position"][i], hit.point, POSITION_TOLERANCE, where)
            self.assertVector(cloud["normalPP"][i], hit.normal, 2 * slack + ROUNDING, where)
            scale = max(1, *(abs(v) for v in value))
            self.assertVector(cloud["rgbPP"][i], value, share * slack + scale * ROUNDING, where)
            seen[name, back] = seen.get((name, back), 0) + 1
        return seen

    def test_from_the_front_and_from_behind(self):
        front = self.check(Camera(width=36, height=27, eye=(0.1, 0.2, 5.5)))
        behind = self.check(Camera(width=36, height=27, eye=(0.3, 0.1, -5.5), turn=math.pi))
        for name in self.placed:
            # One camera sees the front of each instance, the other the back.
            self.assertGreater(front.get((name, False), 0) + behind.get((name, False), 0), 10, name)
            self.assertGreater(front.get((name, True), 0) + behind.get((name, True), 0), 10, name)


if __name__ == "__main__":
    unittest.main()
