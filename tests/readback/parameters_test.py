"""The reader's parameters in whole renders: clouds written by hand, pictures compared with the formulas.

The connected parameters come from the shaders of readback_test_shaders.so, which is looked for in
MI_LIBRARY_PATH and reports every call in the log.
"""

import math
import random
import unittest

from model import NAN, blend
from read_case import FIELDS, ReadCase, reader, wall, write_map
from scenes import Camera, unit

SHADERS = """
link "readback_test_shaders.so"
declare shader integer "readback_integer" ( integer "value" ) version 1 end declare
declare shader string "readback_string" ( string "value" ) version 1 end declare
declare shader scalar "readback_scalar" ( scalar "value", scalar "right" ) version 1 end declare
declare shader color "readback_color" ( color "value", color "right" ) version 1 end declare
"""


def random_points(count=120):
    """A layer of 4 x 4 units around the plane z = 0. Half of the normals look down on it."""
    chance = random.Random(3)
    points = []
    for i in range(count):
        normal = unit((chance.uniform(-1, 1), chance.uniform(-1, 1), 1))
        points.append(dict(position=(chance.uniform(-2, 2), chance.uniform(-2, 2), chance.uniform(-0.3, 0.3)),
                           normalPP=normal if i % 2 else tuple(-n for n in normal),
                           rgbPP=tuple(chance.uniform(0, 2) for _ in range(3)),
                           opacityPP=1.0 if i % 3 == 0 else chance.uniform(0.2, 1.5),
                           tag=i % 5))
    return points


class CloudCase(ReadCase):
    """A coarse picture of the wall z = 0, read from a hand-written cloud."""

    def setUp(self):
        super().setUp()
        self.camera = Camera(width=8, height=8, eye=(0, 0, 4), focal=1.0, aperture=1.0, aspect=1.0)
        self.points = random_points()
        self.write(FIELDS)

    def write(self, fields):
        write_map(self.path("cloud.0001.mrmap"), self.points, fields)

    def check(self, shader, member="outColor", **parameters):
        """Compares the picture of `shader` with the formulas for these parameters: one set, or a function
        that returns those of a point."""

        def expected(x, y):
            values = {name: v(self.point(x, y)) if callable(v) else v for name, v in parameters.items()}
            color, count = blend(self.points, self.point(x, y), **values)
            return (count,) * 3 if member == "pointCount" else color

        rows = self.picture(shader, member=member)
        self.assertPicture(rows, expected)
        return [value for row in rows for pixel in row for value in pixel]


class Parameters(CloudCase):
    def check_both(self, **parameters):
        values = dict(parameters, radius=0.8)
        labels = values.pop("labels", None)
        shader = dict(values)
        if labels is not None:
            shader.update(useLabels=True, labels=",".join(str(label) for label in labels))
        return [self.check(reader(**shader), member, labels=labels, **values)
                for member in ("outColor", "pointCount")]

    def test_falloff_and_scale(self):
        self.check_both(falloff=(1, 2.5, 0), scale=(2, 1, -0.5))

    def test_opacity(self):
        self.check_both(useOpacity=True)
        self.check_both(useOpacity=True, falloff=(1, 0, 2))

    def test_max_points(self):
        colors, counts = self.check_both(maxPoints=3, falloff=(1, 1, 1))
        self.assertEqual(max(counts), 3)

    def test_labels(self):
        self.check_both(labels=(1, 3))

    def test_cone(self):
        self.check_both(minAngle=20.0, maxAngle=140.0)

    def test_facing(self):
        colors, counts = self.check_both(facing=1, falloff=(1, 0, 2))
        self.assertTrue(any(map(math.isnan, colors)))

    def test_facing_of_two_is_off(self):
        self.check_both(facing=2)

    def test_everything_at_once(self):
        self.check_both(facing=1, minAngle=90.0, maxAngle=170.0, labels=(0, 1, 2, 4), useOpacity=True,
                        maxPoints=4, falloff=(0, 2, 0.5), scale=(1, 2, 3))


class PointCount(CloudCase):
    """The second member of the reader's result, shown as a color."""

    def show(self, points, **parameters):
        self.points = points
        self.write(FIELDS)
        return self.picture(reader(**parameters), member="pointCount")

    def point_at(self, z, normal):
        return dict(position=(0.25, 0.25, z), normalPP=normal, rgbPP=(1, 1, 1), opacityPP=1, tag=0)

    def expect_at_the_point(self, rows, count):
        """Pixels are half a unit wide: only one is within the radius of (0.25, 0.25)."""
        self.assertPicture(rows, lambda x, y: (count,) * 3 if (x, y) == (4, 4) else (0, 0, 0))

    def test_of_points_found(self):
        points = [self.point_at(z, (0, 0, 1)) for z in (-0.1, 0.1, 0.2, 0.3, 0.41)]
        self.expect_at_the_point(self.show(points), 4)
        self.expect_at_the_point(self.show(points, maxPoints=3), 3)

    def test_counts_points_that_facing_leaves_out_of_the_mean(self):
        points = [self.point_at(z, (0, 0, 1)) for z in (0.1, 0.2)] + [self.point_at(0.3, (0, 0, -1))]
        self.expect_at_the_point(self.show(points, facing=1), 3)
        colors = self.picture(reader(facing=1))
        self.assertPicture(colors, lambda x, y: (1, 1, 1) if (x, y) == (4, 4) else (0, 0, 0))
        self.expect_at_the_point(self.show(points[:2], facing=1), 2)
        colors = self.picture(reader(facing=1))
        self.assertPicture(colors, lambda x, y: (NAN, NAN, NAN) if (x, y) == (4, 4) else (0, 0, 0))


class Connected(CloudCase):
    """Parameters from other shaders: which value the reader uses, and how often each shader is called."""

    def shader(self, name, value):
        kind = {int: "integer", str: "string", float: "scalar", tuple: "scalar"}[type(value)]
        if isinstance(value, str):
            text = '"value" "%s"' % value
        elif isinstance(value, tuple):
            # The values for the left and for the right half of the picture.
            kind = "color" if isinstance(value[0], tuple) else "scalar"
            text = '"value" %s, "right" %s' % tuple(
                " ".join("%g" % v for v in side) if kind == "color" else "%g" % side for side in value)
        else:
            text = '"value" %g' % value + (', "right" %g' % value if kind == "scalar" else "")
        return 'shader "%sValue" "readback_%s" ( %s )\n' % (name, kind, text)

    def connected(self, **values):
        """The shader "cloud" with other shaders connected to these parameters."""
        plain = dict(radius=0.8, falloff=(1, 1, 1))
        plain.update({name: '= "%sValue"' % name for name in values})
        return SHADERS + "".join(self.shader(*item) for item in values.items()) + reader(**plain)

    def calls(self):
        return [line.split("info: ", 1)[1] for line in self.log.splitlines() if "info: readback_" in line]

    def check_connected(self, parameters, **values):
        parameters = dict(dict(radius=0.8, falloff=(1, 1, 1)), **parameters)
        return self.check(self.connected(**values), **parameters)

    def test_values_of_an_instance_are_read_once_and_in_order(self):
        self.points = random_points(200)
        write_map(self.path("other.0007.mrmap"), self.points)
        self.check_connected(dict(radius=1.0, maxPoints=5, labels=(1, 2, 3), facing=1, useOpacity=True),
                             disable=0, fileName="other.0001.mrmap", frame=7, radius=1.0, maxPoints=5,
                             useLabels=1, labels="1-3", facing=1, useOpacity=1)
        self.assertEqual(self.calls(), [
            "readback_integer 0", "readback_string other.0001.mrmap", "readback_integer 7",
            "readback_scalar 1", "readback_integer 5", "readback_integer 1", "readback_string 1-3",
            "readback_integer 1", "readback_integer 1"])

    def test_disable(self):
        self.assertEverywhere(self.picture(self.connected(disable=2, radius=1.0, labels="1")), (0, 0, 0))
        self.assertEqual(self.calls(), ["readback_integer 2"])

    def test_labels_without_use_labels_are_not_read(self):
        self.check_connected({}, labels="1", useLabels=0)
        self.assertEqual(self.calls(), ["readback_integer 0"])

    def check_sides(self, name, left, right):
        """Returns how often the connected shader was called."""
        self.check_connected({name: lambda point: left if point[0] < 0 else right}, **{name: (left, right)})
        return len(self.calls())

    def pixels_with_points(self):
        return sum(blend(self.points, self.point(x, y), radius=0.8)[1] > 0
                   for y in range(8) for x in range(8))

    def test_angles_are_read_on_every_call(self):
        self.assertEqual(self.check_sides("minAngle", 100.0, 0.0), 64)
        self.assertEqual(self.check_sides("maxAngle", 60.0, 180.0), 64)

    def test_falloff_and_scale_are_read_on_every_call_that_finds_points(self):
        self.points = self.points[:20]
        self.write(FIELDS)
        found = self.pixels_with_points()
        self.assertTrue(0 < found < 64, found)
        self.assertEqual(self.check_sides("falloff", (1, 2, 0), (0.5, 0, 3)), found)
        self.assertEqual(self.check_sides("scale", (1, 2, -1), (0.5, 4, 3)), found)


class MissingFields(CloudCase):
    OPTIONAL = ("opacityPP", "normalPP", "tag")

    def drop(self, *names):
        """Writes the cloud without these fields."""
        self.points = [{name: v for name, v in point.items() if name not in names} for point in self.points]
        self.write({name: kind for name, kind in FIELDS.items() if name not in names})

    def expect_warnings(self, *names):
        self.assertEqual(self.warnings(), ["vx_pc_read: cloud.0001.mrmap does not have a %s attribute" % name
                                           for name in names])

    def test_only_colors(self):
        self.drop(*self.OPTIONAL)
        self.check(reader(radius=0.8, falloff=(1, 2, 3)), radius=0.8, falloff=(1, 2, 3))
        self.expect_warnings(*self.OPTIONAL)

    def test_each_field_alone(self):
        for name in self.OPTIONAL:
            self.points = random_points()
            self.drop(name)
            self.check(reader(radius=0.8), radius=0.8)
            self.expect_warnings(name)

    def test_without_opacity_every_point_is_opaque(self):
        self.drop("opacityPP")
        self.check(reader(radius=0.8, useOpacity=True), radius=0.8)

    def test_without_a_tag_no_label_fits(self):
        self.drop("tag")
        self.assertEverywhere(self.picture(reader(radius=0.8, useLabels=True, labels="0-4")), (0, 0, 0))

    def test_without_normals_every_point_is_at_a_right_angle(self):
        self.drop("normalPP")
        self.check(reader(radius=0.8, minAngle=80.0, maxAngle=100.0), radius=0.8)
        self.assertEverywhere(self.picture(reader(radius=0.8, maxAngle=80.0)), (0, 0, 0))

    def test_without_normals_nothing_faces_the_surface(self):
        self.drop("normalPP")
        self.assertEverywhere(self.picture(reader(radius=0.8, facing=1, falloff=(1, 0, 2))), (0, 0, 0))
        self.check(reader(radius=0.8, facing=1), "pointCount", radius=0.8, facing=1)

    def test_without_colors_everything_is_black(self):
        self.drop("rgbPP")
        for member in ("outColor", "pointCount"):
            self.assertEverywhere(self.picture(reader(radius=0.8), member=member), (0, 0, 0))
            self.assertEqual(self.warnings(),
                             ["vx_pc_read: cloud.0001.mrmap does not have a rgbPP attribute, aborting"])

    def test_without_any_field_only_the_color_is_reported(self):
        self.drop(*FIELDS)
        self.assertEverywhere(self.picture(reader(radius=0.8)), (0, 0, 0))
        self.assertEqual(self.warnings(),
                         ["vx_pc_read: cloud.0001.mrmap does not have a rgbPP attribute, aborting"])


if __name__ == "__main__":
    unittest.main()
