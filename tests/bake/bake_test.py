"""Whole-program tests of a bake: scene text in, cache files out, checked against geometry.

Needs VX_RENDER (the program) in the environment. Every test runs in a folder of its own.
"""

import math
import os
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import pdc_reader  # noqa: E402
from bake_case import POSITION_TOLERANCE, BakeCase  # noqa: E402
from scenes import (HEAD, RENDER, TILT_CENTER, TILT_NORMAL, Camera, dot, instance, plain,  # noqa: E402
                    plane_hit, quad, sphere, tagged, tilted_scene, unit, world, writer)


class TiltedPlane(BakeCase):
    def check(self, camera):
        self.render(tilted_scene(camera, "lens " + writer(radius=0.125)))
        cloud = self.cloud()
        self.assertWhole(cloud)
        self.assertEqual(cloud.count, camera.width * camera.height)
        index = 0
        for y in range(camera.height):
            for x in range(camera.width):
                expected = plane_hit(camera.eye, camera.direction(x, y), TILT_CENTER, TILT_NORMAL)
                where = "pixel %d %d" % (x, y)
                self.assertVector(cloud["position"][index], expected, POSITION_TOLERANCE, where)
                self.assertVector(cloud["normalPP"][index], TILT_NORMAL, 2e-6, where)
                self.assertEqual(cloud["rgbPP"][index], (0.25, 0.5, 0.75))
                self.assertEqual(cloud["opacityPP"][index], 0.625)
                self.assertEqual(cloud["radius"][index], 0.125)
                self.assertEqual(cloud["tag"][index], 7)
                index += 1
        self.assertIn("vx_pc_write: %d points written" % index, self.log)

    def test_every_point_lies_on_its_surface(self):
        self.check(Camera())

    def test_turned_camera(self):
        self.check(Camera(eye=(1.5, 0.5, 4), turn=0.35))

    def test_non_square_image(self):
        self.check(Camera(width=20, height=6))

    def test_pixels_that_are_not_square(self):
        self.check(Camera(width=10, height=12, aspect=1.5))


class Layers(BakeCase):
    def scene(self, layers):
        camera = Camera(width=6, height=4)
        sheets = "".join(
            quad("sheet%d" % i, (0, 0, -i), (9, 0, 0), (0, 9, 0)) +
            tagged("mtl%d" % i, (1, 1, 1, 1), (i / 4, 0, 0, 1), 10 + i) +
            instance("inst%d" % i, "sheet%d" % i, ["mtl%d" % i]) for i in range(3))
        return camera, (HEAD + camera.text("lens " + writer(layers=layers)) + camera.instance() + sheets +
                        world("camInst", "inst0", "inst1", "inst2") + RENDER)

    def check(self, layers):
        camera, text = self.scene(layers)
        self.render(text)
        cloud = self.cloud()
        self.assertWhole(cloud)
        self.assertEqual(cloud.count, 24 * layers)
        for i in range(cloud.count):
            sample, layer = divmod(i, layers)
            y, x = divmod(sample, 6)
            self.assertEqual(cloud["tag"][i], 10 + layer)
            self.assertVector(cloud["position"][i],
                              plane_hit(camera.eye, camera.direction(x, y), (0, 0, -layer), (0, 0, 1)),
                              POSITION_TOLERANCE)
            self.assertEqual(cloud["rgbPP"][i], (layer / 4, 0, 0))

    def test_one(self):
        self.check(1)

    def test_two(self):
        self.check(2)

    def test_three(self):
        self.check(3)

    def test_more_layers_than_sheets(self):
        _, text = self.scene(8)
        self.render(text)
        self.assertEqual(self.cloud().count, 72)

    def test_zero_layers_count_points_but_keep_none(self):
        _, text = self.scene(0)
        log = self.render(text)
        self.assertEqual(self.cloud().count, 0)
        self.assertIn("vx_pc_write: 24 points written", log)


class InsideOfASphere(BakeCase):
    def test_back_faces_are_shaded_from_the_front(self):
        camera = Camera(eye=(0, 0, 0), turn=0.2, width=12, height=8)
        self.render(HEAD + camera.text("lens " + writer()) + camera.instance() +
                    tagged("mtl", (1, 1, 1, 1), (0, 1, 0, 1), 3) + sphere("ball", 2.0) +
                    instance("ballInst", "ball", ["mtl"]) + world("camInst", "ballInst") + RENDER)
        cloud = self.cloud()
        self.assertWhole(cloud)
        self.assertEqual(cloud.count, 96)
        for i in range(96):
            y, x = divmod(i, 12)
            direction = camera.direction(x, y)
            position = cloud["position"][i]
            distance = math.sqrt(dot(position, position))
            # Facets of a sphere of 48 x 96 segments lie up to 1 - cos(pi/48) inside it.
            self.assertLess(distance, 2.0001)
            self.assertGreater(distance, 2.0 * math.cos(math.pi / 48))
            # The shading ray starts 0.005 outside and comes back along the flipped normal, so the
            # point moves on the surface by no more than the facet's slant allows.
            self.assertVector(unit(position), direction, 1e-3)
            self.assertGreater(dot(cloud["normalPP"][i], direction), 0.99)
            self.assertEqual(cloud["rgbPP"][i], (0, 1, 0))


class Jitter(BakeCase):
    def samples(self, jitter, samples, width=8, height=6):
        camera = Camera(width=width, height=height)
        self.render(tilted_scene(camera, "lens " + writer(jitter=jitter, samples=samples)))
        cloud = self.cloud()
        per_pixel = samples if jitter else 1
        self.assertEqual(cloud.count, width * height * per_pixel)
        offsets = []
        for i in range(cloud.count):
            y, x = divmod(i // per_pixel, width)
            rx, ry = camera.pixel(cloud["position"][i])
            offsets.append((rx - x, ry - y))
        return offsets

    def test_off_ignores_samples_and_takes_the_center(self):
        for dx, dy in self.samples(False, 8):
            self.assertLess(abs(dx - 0.5) + abs(dy - 0.5), 1e-3)

    def check_spread(self, samples, width, height):
        offsets = self.samples(True, samples, width, height)
        for dx, dy in offsets:
            self.assertTrue(-1e-3 < dx < 1.001 and -1e-3 < dy < 1.001, (dx, dy))
        for axis in (0, 1):
            mean = sum(o[axis] for o in offsets) / len(offsets)
            spread = sum((o[axis] - 0.5) ** 2 for o in offsets) / len(offsets)
            # Uniform on [0, 1): mean 1/2, variance 1/12. Four standard errors of plain random numbers.
            self.assertLess(abs(mean - 0.5), 4 * math.sqrt(1 / 12 / len(offsets)))
            self.assertLess(abs(spread - 1 / 12), 4 * math.sqrt(1 / 180 / len(offsets)))
        rounded = [(round(dx, 3), round(dy, 3)) for dx, dy in offsets]
        seen = {tuple(rounded[i:i + samples]) for i in range(0, len(rounded), samples)}
        self.assertEqual(len(seen), width * height, "two pixels use the same positions")

    def test_one_sample(self):
        self.check_spread(1, 16, 12)

    def test_four_samples(self):
        self.check_spread(4, 12, 8)

    def test_nine_samples(self):
        self.check_spread(9, 8, 6)

    def test_no_samples_is_one(self):
        camera = Camera(width=4, height=3)
        self.render(tilted_scene(camera, "lens " + writer(jitter=True, samples=0)))
        self.assertEqual(self.cloud().count, 12)


def strip_of_quads(tags, width=None):
    """Quads side by side along x, one pixel column each, and their materials and instances."""
    width = width or len(tags)
    camera = Camera(width=width, height=2, aperture=1.0, focal=1.0, eye=(0, 0, width), aspect=width / 2)
    text, names = "", []
    for i, tag in enumerate(tags):
        center = (i - (len(tags) - 1) / 2, 0, 0)
        text += quad("quad%d" % i, center, (0.5, 0, 0), (0, 4, 0))
        text += (plain("mtl%d" % i, (1, 1, 1, 1)) if tag is None else
                 tagged("mtl%d" % i, (1, 1, 1, 1), (i / 8, 0, 0, 1), tag))
        text += instance("inst%d" % i, "quad%d" % i, ["mtl%d" % i])
        names.append("inst%d" % i)
    return camera, text, names


class Labels(BakeCase):
    TAGS = [0, 1, 2, 3, 5, 8, 13, 21]

    def tags(self, **parameters):
        camera, text, names = strip_of_quads(self.TAGS)
        self.render(HEAD + camera.text("lens " + writer(**parameters)) + camera.instance() + text +
                    world("camInst", *names) + RENDER)
        cloud = self.cloud()
        self.assertEqual(cloud["tag"][:cloud.count // 2], cloud["tag"][cloud.count // 2:])
        return cloud["tag"][:cloud.count // 2]

    def test_switch_off_keeps_every_label(self):
        self.assertEqual(self.tags(useLabels=False, labels="3"), self.TAGS)

    def test_list_with_ranges(self):
        self.assertEqual(self.tags(useLabels=True, labels="13,1-3, 0,x,9-7"), [0, 1, 2, 3, 13])

    def test_empty_list_keeps_nothing(self):
        self.assertEqual(self.tags(useLabels=True, labels=""), [])


class Materials(BakeCase):
    def bake(self, materials, listed, single=False, labels=(0, 0)):
        camera = Camera(width=4, height=3)
        self.render(HEAD + camera.text("lens " + writer()) + camera.instance() + materials +
                    quad("plane", (0, 0, 0), (9, 0, 0), (0, 9, 0), labels) +
                    instance("planeInst", "plane", listed, single) + world("camInst", "planeInst") + RENDER)
        return self.cloud()

    def test_the_first_material_that_yields_a_tag_gives_it(self):
        cloud = self.bake(plain("a", (1, 1, 1, 1)) + tagged("b", (1, 1, 1, 1), (0, 0, 1, 1), 4) +
                          tagged("c", (1, 1, 1, 1), (0, 1, 0, 1), 5), ["a", "b", "c"], labels=(2, 2))
        # The label is that of the first tagged material, the color that of the material that was hit.
        self.assertEqual(set(cloud["tag"]), {4})
        self.assertEqual(set(cloud["rgbPP"]), {(0, 1, 0)})

    def test_a_negative_tag_counts_as_none(self):
        cloud = self.bake(tagged("a", (1, 1, 1, 1), (0, 0, 1, 1), -3) +
                          tagged("b", (1, 1, 1, 1), (0, 1, 0, 1), 6), ["a", "b"])
        self.assertEqual(set(cloud["tag"]), {6})

    def test_a_single_material_without_a_list_is_not_baked(self):
        cloud = self.bake(tagged("a", (1, 1, 1, 1), (0, 0, 1, 1), 3), ["a"], single=True)
        self.assertEqual(cloud.count, 0)

    def test_an_untagged_surface_is_not_baked(self):
        self.assertEqual(self.bake(plain("a", (1, 1, 1, 1)), ["a"]).count, 0)

    WRAPPED = """
shader "inner" "vx_pc_tag" ( "color" 1 0 0 1, "bakeColor" 0 0.5 1 1, "tag" %s )
%s
material "a" opaque %s end material
"""

    def wrapped(self, tag, before, outer):
        return self.bake(self.WRAPPED % (tag, before, outer), ["a"])

    def check_wrapper(self, outer):
        cloud = self.wrapped("9", "", outer)
        self.assertEqual(cloud.count, 12)
        self.assertEqual(set(cloud["tag"]), {9})
        self.assertEqual(set(cloud["rgbPP"]), {(0, 0.5, 1)})

    def test_tag_behind_sib_setnormal(self):
        self.check_wrapper('"sib_setnormal" ( "input" = "inner" )')

    def test_tag_behind_the_shading_engine(self):
        self.check_wrapper('"adskMayaShadingEngine" ( "surfaceShader" = "inner" )')

    def test_tag_behind_another_wrapper_is_not_found(self):
        self.assertEqual(self.wrapped("9", "", '"maya_shadingengine" ( "surfaceShader" = "inner" )').count, 0)

    def test_tag_two_wrappers_deep_is_not_found(self):
        cloud = self.wrapped("9", 'shader "mid" "sib_setnormal" ( "input" = "inner" )',
                             '"adskMayaShadingEngine" ( "surfaceShader" = "mid" )')
        self.assertEqual(cloud.count, 0)

    INTEGER = """
declare shader integer "bake_test_integer" ( integer "value" ) version 1 end declare
link "bake_test_shaders.so"
shader "number" "bake_test_integer" ( "value" 42 )
"""

    def check_connected(self, outer):
        cloud = self.bake(self.INTEGER + self.WRAPPED % ('= "number"', "", outer), ["a"])
        self.assertEqual(cloud.count, 12)
        self.assertEqual(set(cloud["tag"]), {42})

    def check_tag_beside_a_material_without_a_surface_shader(self, tag, before, expected):
        """The hit is on a material without a surface shader; the next entry of the list has the tag."""
        cloud = self.bake('material "empty" opaque end material\n' + before + self.WRAPPED %
                          (tag, "", '= "inner"'), ["empty", "a"])
        self.assertEqual(cloud.count, 12)
        self.assertEqual(set(cloud["tag"]), {expected})
        # No shader computes a color.
        self.assertEqual(set(cloud["rgbPP"]), {(0, 0, 0)})
        self.assertEqual(set(cloud["opacityPP"]), {0})

    def test_tag_beside_a_material_without_a_surface_shader(self):
        self.check_tag_beside_a_material_without_a_surface_shader("9", "", 9)

    def test_connected_tag_beside_a_material_without_a_surface_shader(self):
        self.check_tag_beside_a_material_without_a_surface_shader('= "number"', self.INTEGER, 42)

    def test_connected_tag(self):
        self.check_connected('= "inner"')

    def test_connected_tag_behind_sib_setnormal(self):
        self.check_connected('"sib_setnormal" ( "input" = "inner" )')

    def test_connected_tag_behind_the_shading_engine(self):
        self.check_connected('"adskMayaShadingEngine" ( "surfaceShader" = "inner" )')

    def test_lens_with_connected_parameters_and_a_plain_tag(self):
        for outer in ('= "inner"', '"sib_setnormal" ( "input" = "inner" )',
                      '"adskMayaShadingEngine" ( "surfaceShader" = "inner" )'):
            camera = Camera(width=4, height=3)
            self.render(HEAD + self.INTEGER +
                        camera.text("lens " + writer(layers='= "number"', frame='= "number"')) +
                        camera.instance() + self.WRAPPED % ("9", "", outer) +
                        quad("plane", (0, 0, 0), (9, 0, 0), (0, 9, 0)) +
                        instance("planeInst", "plane", ["a"]) + world("camInst", "planeInst") + RENDER)
            cloud = self.cloud("cloud.0042.pdc")
            self.assertEqual(cloud.count, 12)
            self.assertEqual(set(cloud["tag"]), {9})


class UntaggedInFront(BakeCase):
    def bake(self, layers):
        camera = Camera(width=4, height=3)
        self.render(HEAD + camera.text("lens " + writer(layers=layers)) + camera.instance() +
                    plain("glass", (1, 1, 1, 1)) + tagged("mtl", (1, 0, 0, 1), (0, 1, 0, 1), 2) +
                    quad("front", (0, 0, 1), (9, 0, 0), (0, 9, 0)) +
                    quad("back", (0, 0, 0), (9, 0, 0), (0, 9, 0)) +
                    instance("frontInst", "front", ["glass"]) + instance("backInst", "back", ["mtl"]) +
                    world("camInst", "frontInst", "backInst") + RENDER)
        return self.cloud()

    def test_one_layer_sees_only_the_untagged_sheet(self):
        self.assertEqual(self.bake(1).count, 0)

    def test_two_layers_reach_the_tagged_sheet_behind(self):
        cloud = self.bake(2)
        self.assertEqual(cloud.count, 12)
        for position in cloud["position"]:
            self.assertLess(abs(position[2]), POSITION_TOLERANCE)


class TwoWriters(BakeCase):
    def test_both_bake_and_the_picture_stays(self):
        camera = Camera(width=4, height=3)
        lens = "lens %s %s" % (writer(pdcFileName="first.1.pdc", outputMode=1, radius=1),
                               writer(pdcFileName="second.1.pdc", outputMode=1, radius=2))
        self.render(tilted_scene(camera, lens))
        first, second = self.cloud("first.1.pdc"), self.cloud("second.1.pdc")
        self.assertEqual((first.count, second.count), (12, 12))
        self.assertEqual((set(first["radius"]), set(second["radius"])), ({1.0}, {2.0}))
        self.assertEqual(first["position"], second["position"])


class Animation(BakeCase):
    def test_three_frames_in_one_file(self):
        camera = Camera(width=4, height=3)
        text = (HEAD + camera.text("lens " + writer(frame=9)) + camera.instance() +
                tagged("mtl", (1, 0, 0, 1), (0, 1, 0, 1), 2) + quad("plane", (0, 0, 0), (9, 0, 0), (0, 9, 0)) +
                instance("planeInst", "plane", ["mtl"]) + world("camInst", "planeInst") + RENDER)
        for frame in (10, 11):
            text += ('incremental camera "cam" output output "rgba" "png" "out.%d.png" frame %d lens %s '
                     'end camera\n' % (frame, frame, writer(frame=frame)))
            text += ('incremental instance "planeInst" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 %d 1 '
                     'end instance\n' % (frame - 9)) + RENDER
        self.render(text)
        for frame in (9, 10, 11):
            cloud = self.cloud("cloud.%04d.pdc" % frame)
            self.assertEqual(cloud.count, 12)
            for position in cloud["position"]:
                self.assertLess(abs(position[2] + (frame - 9)), POSITION_TOLERANCE)
            self.assertTrue(os.path.exists(self.path("cloud.%04d.mrmap" % frame)))
        self.assertEqual(len([f for f in os.listdir(self.folder) if f.startswith("cloud")]), 6)


class OutputModes(BakeCase):
    def files(self, mode, **parameters):
        self.render(tilted_scene(Camera(width=4, height=3), "lens " + writer(outputMode=mode, **parameters)))
        return sorted(f for f in os.listdir(self.folder) if f.startswith("cloud"))

    def test_0_writes_the_map_only(self):
        self.assertEqual(self.files(0), ["cloud.0001.mrmap"])

    def test_1_writes_the_cache_only(self):
        self.assertEqual(self.files(1), ["cloud.0001.pdc"])

    def test_2_writes_both(self):
        self.assertEqual(self.files(2), ["cloud.0001.mrmap", "cloud.0001.pdc"])
        first = self.log.index("Writing File cloud.0001.pdc")
        self.assertLess(first, self.log.index("Writing File cloud.0001.mrmap"))

    def test_4_bakes_and_writes_nothing(self):
        self.assertEqual(self.files(4), [])
        self.assertIn("12 points written", self.log)

    def test_disable_does_nothing(self):
        self.assertEqual(self.files(2, disable=True), [])
        self.assertNotIn("points written", self.log)

    def test_3_converts_a_cache_that_is_there(self):
        pdc_reader.write(self.path("cloud.0001.pdc"), 2, [
            ("somethingElse", 0, [5]), ("position", 5, [0, 0, 0, 1, 2, 3]), ("tag", 1, [4, -4]),
            ("rgbPP", 4, [0.5, 0.25, 0.125]), ("normalPP", 4, [0, 0, 1]), ("opacityPP", 3, [1, 0.5])])
        before = self.digest("cloud.0001.pdc")
        self.assertEqual(self.files(3), ["cloud.0001.mrmap", "cloud.0001.pdc"])
        self.assertEqual(self.digest("cloud.0001.pdc"), before)
        self.assertNotIn("points written", self.log)
        self.assertNotIn("vx_pc_write: Writing File", self.log)

    def test_3_without_a_cache_warns_and_renders(self):
        self.assertEqual(self.files(3), [])
        self.assertIn("Cannot open cloud.0001.pdc for reading", self.log)
        self.assertIn("vx_pc_write: Error reading cloud.0001.pdc, aborting", self.log)
        self.assertTrue(os.path.exists(self.path("out.png")))

    def test_3_with_a_cut_cache_warns_and_renders(self):
        pdc_reader.write(self.path("cloud.0001.pdc"), 2, [("position", 5, [0, 0, 0, 1, 2])])
        self.assertEqual(self.files(3), ["cloud.0001.pdc"])
        self.assertIn("vx_pc_write: Error reading cloud.0001.pdc, aborting", self.log)


class BadNames(BakeCase):
    def bake(self, status=0, **parameters):
        self.render(tilted_scene(Camera(width=4, height=3), "lens " + writer(**parameters)), status=status)
        return sorted(f for f in os.listdir(self.folder) if f not in ("out.png", "scene.mi"))

    def test_cache_name_of_another_type(self):
        self.assertEqual(self.bake(pdcFileName="cloud.0001.PDC"), ["cloud.0001.mrmap"])
        self.assertIn("vx_pc_write: Invalid file name for cloud.0001.PDC, aborting", self.log)

    def test_map_name_of_another_type_is_not_named_in_the_message(self):
        self.assertEqual(self.bake(mapFileName="cloud.mrmap"), ["cloud.0001.pdc"])
        self.assertIn("vx_pc_write: Invalid file name for , aborting", self.log)

    def test_no_names_at_all(self):
        self.assertEqual(self.bake(pdcFileName="", mapFileName=""), [])
        self.assertEqual(self.log.count("Invalid file name"), 2)

    def test_directory_that_is_not_there(self):
        self.assertEqual(self.bake(pdcFileName="nowhere/cloud.0001.pdc",
                                   mapFileName="nowhere/cloud.0001.mrmap", status=2), [])
        self.assertIn("Cannot open nowhere/cloud.0001.pdc for writing", self.log)
        self.assertIn("vx_pc_write: Writing File nowhere/cloud.0001.pdc", self.log)

    def test_padding_is_kept(self):
        self.assertEqual(self.bake(pdcFileName="a.1.pdc", mapFileName="b_001.mrmap", frame=12),
                         ["a.12.pdc", "b_012.mrmap"])


class Determinism(BakeCase):
    def test_the_same_bytes_with_any_number_of_threads(self):
        camera = Camera(width=48, height=36)
        text = tilted_scene(camera, "lens " + writer(jitter=True, samples=4, layers=2))
        seen = set()
        for threads in (1, 2, 16, 1, 2, 16):
            self.render(text, "-threads", str(threads))
            seen.add(tuple(self.digest(f) for f in ("cloud.0001.pdc", "cloud.0001.mrmap", "out.png")))
        self.assertEqual(len(seen), 1)
        self.assertEqual(self.cloud().count, 48 * 36 * 4)


class Progress(BakeCase):
    def lines(self, height):
        log = self.render(tilted_scene(Camera(width=4, height=height, aspect=1), "lens " + writer(outputMode=4)))
        return [line.split("vx_pc_write: ")[1] for line in log.splitlines() if "vx_pc_write: line" in line]

    def test_forty_lines(self):
        self.assertEqual(self.lines(40), ["line %d of 40 done" % y for y in range(4, 40, 4)])

    def test_fewer_than_ten_lines(self):
        self.assertEqual(self.lines(9), [])


if __name__ == "__main__":
    unittest.main()
