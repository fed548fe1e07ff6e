"""Whole-program tests of the way back: a bake, then a render that reads what was baked."""

import os
import re
import unittest

from model import NAN, blend
from read_case import PICTURE, PLAIN_HEAD, ReadCase, reader, read_exr, show, wall
from scenes import instance, quad, world


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

    def test_falloff_weighs_each_channel_by_distance(self):
        points = self.baked(0.0, self.COLOR)
        for falloff in ((1, 1, 1), (2, 0.5, 0)):
            rows = self.picture(reader(falloff=falloff))
            self.assertPicture(rows, lambda x, y: blend(points, self.point(x, y), falloff=falloff)[0])

    def test_disabled_is_black(self):
        self.assertEverywhere(self.picture(reader(disable=True)), (0, 0, 0))

    def test_nothing_within_the_radius_is_black(self):
        self.assertEverywhere(self.picture(reader(), item=wall(z=-1.0)), (0, 0, 0))


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

        def expected(x, y):
            hit = self.point(x, y)
            return light if (int(hit[0] + 2) + int(hit[1] + 2)) % 2 else dark

        self.assertPicture(self.picture(reader(maxPoints=1, radius=0.1)), expected)


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
        points = self.baked(0.0, (1, 0, 0)) + self.baked(-0.05, (0, 1, 0))
        self.assertPicture(self.show("1-2"), lambda x, y: blend(points, self.point(x, y))[0])

    def test_without_points_are_black(self):
        self.assertEverywhere(self.show("3"), (0, 0, 0))
        self.assertEverywhere(self.show(""), (0, 0, 0))


class Cone(ReadCase):
    """A thin sheet: its front looks at the camera, its back away from it."""

    def setUp(self):
        super().setUp()
        self.bake([("front", wall("front", 0.0, 1), (1.0, 0.0, 0.0), 1),
                   ("back", wall("back", -0.02, -1), (0.0, 0.0, 1.0), 1)], layers=2)

    def test_without_it_the_far_side_shows_through(self):
        points = self.baked(0.0, (1, 0, 0)) + self.baked(-0.02, (0, 0, 1))
        self.assertPicture(self.picture(reader()), lambda x, y: blend(points, self.point(x, y))[0])

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
        self.assertEverywhere(self.picture(reader(radius=0.2)), (1, 0, 0))

    def test_leaves_out_what_looks_away(self):
        self.bake_before(1)
        self.assertEverywhere(self.picture(reader(facing=1, radius=0.5)), (NAN, NAN, NAN))


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
        text = (PLAIN_HEAD + reader(frame=1) + show() + wall() + instance("wallInst", "wall", ["show"]))
        for name in ("one", "two"):
            text += self.camera.text(name=name, output=PICTURE % (name + ".exr"))
            text += self.camera.instance(name) + world(name + "Inst", "wallInst", name=name + "World")
        text += 'render "oneWorld" "oneInst" "opt"\n' + reader(frame=2, incremental="incremental")
        self.run_scene(text + 'render "twoWorld" "twoInst" "opt"\n')
        self.assertEverywhere(read_exr(self.path("one.exr")), (1, 0, 0))
        self.assertEverywhere(read_exr(self.path("two.exr")), (0, 1, 0))


class MapFiles(ReadCase):
    """Messages about map files and their effect on the exit status."""

    SUBJECT = 'shader "vx_pc_read" (instance "cloud"): map file cloud.0001.mrmap'

    def lines(self, level):
        return [line.split(level + ": ")[1] for line in self.log.splitlines()
                if re.match(r"MAP 0\.\d+ %s: " % level, line)]

    def check_black(self, status, **parameters):
        self.assertEverywhere(self.picture(reader(**parameters), status=status), (0, 0, 0))
        self.assertNotIn("vx_pc_read: ", self.log)
        self.assertIn("vx_pc_read - V. 1", self.log)
        return self.lines("error")

    def test_missing(self):
        self.assertEqual(self.check_black(2),
                         [self.SUBJECT + " cannot be read: No such file or directory"])

    def test_name_of_another_type_is_not_read(self):
        self.assertEqual(self.check_black(0, fileName="cloud.0001.pdc"), [])

    def test_no_name_at_all(self):
        self.assertEqual(self.check_black(0, fileName=""), [])

    def test_damaged(self):
        self.bake([("wall", wall(), (1.0, 0.0, 0.0), 1)])
        with open(self.path("cloud.0001.mrmap"), "r+b") as stream:
            stream.truncate(1000)
        self.assertEqual(self.check_black(2), [self.SUBJECT + " cannot be read: truncated or damaged"])

    def test_foreign(self):
        with open(self.path("cloud.0001.mrmap"), "w") as stream:
            stream.write("no map")
        self.assertEqual(self.check_black(2), [self.SUBJECT + " cannot be read: not a map file"])

    def test_written_and_read(self):
        self.bake([("wall", wall(), (1.0, 0.0, 0.0), 1)], options=["-verbose", "5"])
        (line,) = self.lines("info")
        self.assertRegex(line, r'^shader "vx_pc_write" \(instance "[^"]*"\): '
                               r"map file cloud\.0001\.mrmap: 256 elements written in \d+\.\d+ s$")
        self.picture(reader(), "-verbose", "5")
        (line,) = self.lines("info")
        self.assertRegex(line, "^%s: 256 elements read in " % re.escape(self.SUBJECT))

    def test_folder_of_a_bake_is_missing(self):
        self.bake([("wall", wall(), (1.0, 0.0, 0.0), 1)], status=2, mapFileName="nowhere/cloud.0001.mrmap")
        (line,) = self.lines("error")
        self.assertRegex(line, r'^shader "vx_pc_write" \(instance "[^"]*"\): map file '
                               r"nowhere/cloud\.0001\.mrmap cannot be written: No such file or directory$")


if __name__ == "__main__":
    unittest.main()
