"""vx_cache lookup against the formulas of the reader, recomputed here in double precision.

Arguments: the program, the declaration of the shaders, then unittest's own.
"""

import json
import math
import os
import random
import re
import struct
import subprocess
import sys
import unittest

import cloud_files as cf
from folder_case import FolderCase

PROGRAM = os.path.abspath(sys.argv.pop(1))
DECLARATION = os.path.abspath(sys.argv.pop(1))


def f32(v):
    return struct.unpack("f", struct.pack("f", v))[0]


def dot(a, b):
    return sum(x * y for x, y in zip(a, b))


def unit(v):
    length = math.sqrt(dot(v, v))
    return [f32(x / length) for x in v]


class Close(Exception):
    """A decision that single precision may turn."""


def certain(value, limit):
    if abs(value - limit) < 1e-4:
        raise Close()
    return value


def expected(cloud, q, n, radius=1.0, most=16, labels=None, facing=False, least=0.0, greatest=180.0,
             falloff=(1, 1, 1), scale=(1, 1, 1), use_opacity=False):
    """Points as (position, normal, color, opacity, label). The found ones in order, and the blend."""
    found = []
    tally = {"within_radius": 0, "refused_by_label": 0, "refused_by_angle": 0, "refused_by_facing": 0}
    for i, (p, normal, _, _, label) in enumerate(cloud):
        d = math.dist(p, q)
        if certain(d, radius) > radius:
            continue
        tally["within_radius"] += 1
        if labels is not None and label not in labels:
            tally["refused_by_label"] += 1
            continue
        if least > 0 or greatest < 180:
            x = dot(n, normal)
            angle = 180 if x <= -0.9999 else 0 if x >= 0.9999 else math.degrees(math.acos(x))
            if 0 < angle < 180:
                certain(abs(x), 0.9999)
                certain(angle / 100, least / 100)
                certain(angle / 100, greatest / 100)
            if angle < least or angle > greatest:
                tally["refused_by_angle"] += 1
                continue
        if facing and certain(dot(n, [a - b for a, b in zip(p, q)]), 0) <= 0:
            tally["refused_by_facing"] += 1
            continue
        found.append((d, i))
    found.sort()
    for (a, _), (b, _) in zip(found, found[1:]):
        if b - a < 1e-6:
            raise Close()
    found = found[:most]
    w = [1.0, 1.0, 1.0]
    slack = [0.0, 0.0, 0.0]
    total = [0.0, 0.0, 0.0]
    bound = [0.0, 0.0, 0.0]
    out = []
    for d, i in found:
        _, normal, color, opacity, _ = cloud[i]
        t = d / radius
        f = 1.0 if d <= 0 else 0.0 if d >= radius else 1 - (3 * t * t - 2 * t ** 3)
        for k in range(3):
            # Green and blue with red's exponent get red's weight, which is the same formula.
            if falloff[k] != 0:
                w[k] = f ** falloff[k]
                # F is a difference of single-precision numbers near 1.
                slack[k] = 1e-6 * falloff[k] * f ** (falloff[k] - 1) if f > 0 else 1e-6
        factor = 1.0
        if facing:
            towards = -dot(n, normal)
            if certain(towards, 0) < 0:
                out.append((i, d, f, None, None))
                continue
            factor *= towards
            # A sum of products of unit vectors: right to a few units of 1, not of the sum.
            slack = [v + 2e-7 / towards * x for v, x in zip(slack, w)]
        if use_opacity:
            factor *= opacity
        w = [v * factor for v in w]
        slack = [v * factor for v in slack]
        limit = [1e-5 * v + s for v, s in zip(w, slack)]
        out.append((i, d, f, list(w), limit))
        total = [s + v * c for s, v, c in zip(total, w, color)]
        bound = [s + v * c for s, v, c in zip(bound, limit, color)]
    blended = sum(1 for o in out if o[3] is not None)
    if blended:
        total = [s / blended * v for s, v in zip(scale, total)]
        bound = [abs(s) / blended * v + 1e-6 * abs(t) for s, v, t in zip(scale, bound, total)]
    else:
        total = [math.nan] * 3 if found else [0.0] * 3
    tally["passed"] = tally["within_radius"] - sum(
        tally[k] for k in tally if k.startswith("refused"))
    return out, total, bound, tally


class Case(FolderCase):
    def run_tool(self, *args, status=0):
        done = subprocess.run([PROGRAM, *map(str, args)], capture_output=True, timeout=120)
        self.assertEqual(done.returncode, status, (args, done.stdout, done.stderr))
        return done

    def cloud_file(self, cloud, name="cloud.0001.mrmap"):
        """The cloud as a PDC file, and as a map unless the name asks for the former."""
        n = len(cloud)
        flat = lambda k: [v for point in cloud for v in point[k]]  # noqa: E731
        data = cf.pdc([("position", 5, flat(0)), ("normalPP", 5, flat(1)), ("rgbPP", 5, flat(2)),
                       ("opacityPP", 3, [p[3] for p in cloud]), ("tag", 3, [p[4] for p in cloud]),
                       ("id", 3, [100 + i for i in range(n)])], n)
        with open(self.path("source.pdc"), "wb") as f:
            f.write(data)
        if name.endswith(".pdc"):
            os.rename(self.path("source.pdc"), self.path(name))
        else:
            self.run_tool("convert", "-q", "-f", self.path("source.pdc"), self.path(name))
        return self.path(name)

    def look(self, file, *args):
        answer = json.loads(self.run_tool("lookup", "--json", file, *args).stdout)
        self.assertEqual(len(answer), 1)
        return answer[0]["lookups"]

    def one(self, file, point, *args):
        answers = self.look(file, "--point", text(point), *args)
        self.assertEqual(len(answers), 1)
        return answers[0]

    def compare(self, answer, want):
        out, total, bound, tally = want
        self.assertEqual([f["index"] for f in answer["found"]], [o[0] for o in out])
        self.assertEqual(answer["point_count"], len(out))
        self.assertEqual(answer["blended"], sum(1 for o in out if o[3] is not None))
        for key, count in tally.items():
            self.assertEqual(answer["tally"][key], count, key)
        for f, (_, d, falloff, weight, limit) in zip(answer["found"], out):
            self.assertAlmostEqual(f["distance"], d, delta=1e-5 * d + 1e-7)
            self.assertAlmostEqual(f["falloff"], falloff, delta=1e-6)
            self.assertEqual(f["in_mean"], weight is not None)
            for k in range(3 if weight is not None else 0):
                self.assertLessEqual(abs(f["weight"][k] - weight[k]), limit[k] + 1e-12, (f, weight))
        for k in range(3):
            if math.isnan(total[k]):
                self.assertIsNone(answer["color"][k])  # JSON has no such number
            else:
                self.assertLessEqual(abs(answer["color"][k] - total[k]), bound[k] + 1e-12)
        self.assertEqual(answer["color"][3], 0)


def text(v):
    return ",".join("%.9g" % x for x in v)


def random_cloud(rng, count):
    def vector(scale):
        return [f32(rng.uniform(-scale, scale)) for _ in range(3)]
    return [(vector(1), unit(vector(1)), [f32(rng.uniform(0.1, 1)) for _ in range(3)],
             rng.choice([1.0, 0.5, 0.25]), rng.randrange(6)) for _ in range(count)]


class Formulas(Case):
    def test_random_clouds_and_parameters(self):
        rng = random.Random(7)
        compared = 0
        kinds = set()
        for _ in range(12):
            cloud = random_cloud(rng, 300)
            file = self.cloud_file(cloud)
            for _ in range(12):
                q = [f32(rng.uniform(-1, 1)) for _ in range(3)]
                n = unit([rng.uniform(-1, 1) for _ in range(3)])
                p = {"radius": f32(rng.uniform(0.2, 1.5)), "most": rng.choice([1, 4, 16, 64]),
                     "falloff": [rng.choice([0, 0.5, 1, 2]) for _ in range(3)],
                     "scale": [rng.choice([1, 0.5, 2]) for _ in range(3)],
                     "facing": rng.random() < 0.5, "use_opacity": rng.random() < 0.5}
                args = ["--normal", text(n), "--radius", "%.9g" % p["radius"], "--max-points", p["most"],
                        "--falloff", text(p["falloff"]), "--scale", text(p["scale"])]
                if p["facing"]:
                    args.append("--facing")
                if p["use_opacity"]:
                    args.append("--use-opacity")
                if rng.random() < 0.5:
                    p["labels"] = {1, 3, 4}
                    args += ["--labels", "1,3-4"]
                if rng.random() < 0.5:
                    p["least"], p["greatest"] = rng.choice([(0, 60), (30, 180), (45, 120)])
                    args += ["--min-angle", p["least"], "--max-angle", p["greatest"]]
                try:
                    want = expected(cloud, q, n, **p)
                except Close:
                    continue
                self.compare(self.one(file, q, *args), want)
                compared += 1
                kinds.add((p["facing"], p["use_opacity"], "labels" in p, "least" in p, bool(want[0])))
        self.assertGreater(compared, 90)
        self.assertGreater(len(kinds), 20)


class Answers(Case):
    # Along x at 0.1, 0.2, 0.3, 0.4, normals against the surface's.
    LINE = [((f32(0.1 * (i + 1)), 0.0, 0.0), (-1.0, 0.0, 0.0), (1.0, 0.5, 0.25), (1.0, 0.5, 1.0, 0.25)[i], i)
            for i in range(4)]

    def test_a_channel_without_exponent_keeps_the_factors_of_earlier_points(self):
        file = self.cloud_file(self.LINE)
        answer = self.one(file, (0, 0, 0), "--falloff", "1,0,1", "--use-opacity")
        # Green: 1, then half, half again after an opaque point, an eighth.
        self.assertEqual([f["weight"][1] for f in answer["found"]], [1, 0.5, 0.5, 0.125])
        self.compare(answer, expected(self.LINE, (0, 0, 0), (0, 0, 0), falloff=(1, 0, 1), use_opacity=True))

    def test_blue_is_compared_with_red_and_not_with_green(self):
        file = self.cloud_file(self.LINE)
        answer = self.one(file, (0, 0, 0), "--falloff", "1,0,0", "--use-opacity")
        self.assertEqual([f["weight"][2] for f in answer["found"]], [1, 0.5, 0.5, 0.125])
        answer = self.one(file, (0, 0, 0), "--falloff", "0,1,0")
        self.assertEqual([f["weight"][2] for f in answer["found"]], [1, 1, 1, 1])

    def test_a_point_at_the_radius_is_found_and_weighs_nothing(self):
        cloud = [((0.5, 0, 0), (0, 1, 0), (1, 1, 1), 1.0, 0), ((0, 0, 0), (0, 1, 0), (1, 1, 1), 1.0, 0)]
        answer = self.one(self.cloud_file(cloud), (0, 0, 0), "--radius", "0.5")
        self.assertEqual([(f["index"], f["weight"]) for f in answer["found"]], [(1, [1, 1, 1]), (0, [0, 0, 0])])
        self.assertEqual(answer["color"], [0.5, 0.5, 0.5, 0])

    def test_when_all_points_face_away_the_color_is_not_a_number(self):
        cloud = [(p, (1.0, 0.0, 0.0), c, o, t) for p, _, c, o, t in self.LINE]
        file = self.cloud_file(cloud)
        answer = self.one(file, (0, 0, 0), "--normal", "1,0,0", "--facing")
        self.compare(answer, expected(cloud, (0, 0, 0), (1, 0, 0), facing=True))
        self.assertEqual((answer["point_count"], answer["blended"]), (4, 0))
        self.assertIn("not a number", answer["because"][0])
        shown = self.run_tool("lookup", file, "--point", "0,0,0", "--normal", "1,0,0", "--facing").stdout.decode()
        self.assertIn("4 points, 0 in the mean", shown)
        self.assertIn("left out, faces away", shown)

    def test_it_says_why_nothing_is_found(self):
        file = self.cloud_file(self.LINE)
        far = self.one(file, (0, 5, 0), "--radius", "0.5")
        self.assertIn("no point is within the radius of 0.5; the nearest is 5.001 away", far["because"][0])
        self.assertEqual(far["color"], [0, 0, 0, 0])
        self.assertTrue(far["success"])
        # Labels 0 and 1 are wanted; of these, point 1 alone is in the angles' range of none.
        none = self.one(file, (0, 0, 0), "--normal", "1,0,0", "--labels", "0-1", "--max-angle", "60")
        self.assertEqual(none["because"], ["all 4 points within the radius were rejected; "
                                           "the points rejected by label carry 2 (1), 3 (1)"])
        self.assertEqual((none["tally"]["refused_by_label"], none["tally"]["refused_by_angle"]), (2, 2))
        behind = self.one(file, (0.25, 0, 0), "--normal", "1,0,0", "--facing", "--labels", "0-1")
        self.assertEqual((behind["tally"]["refused_by_label"], behind["tally"]["refused_by_facing"]), (2, 2))
        self.assertEqual(self.one(file, (0, 0, 0), "--max-points", "0")["because"], ["--max-points allows none"])
        self.assertEqual(self.one(file, (0, 0, 0), "--labels", "")["tally"]["refused_by_label"], 4)

    def test_nearest_points_beyond_the_limit_are_counted(self):
        file = self.cloud_file(self.LINE)
        answer = self.one(file, (0, 0, 0), "--max-points", "3")
        self.assertEqual([f["index"] for f in answer["found"]], [0, 1, 2])
        self.assertEqual(answer["tally"]["passed"], 4)
        shown = self.run_tool("lookup", file, "--point", "0,0,0", "--max-points", "3").stdout.decode()
        self.assertIn("4 points within the radius, 1 beyond --max-points", shown)


class Inputs(Case):
    def setUp(self):
        super().setUp()
        self.cloud = random_cloud(random.Random(3), 50)

    def test_the_parameters_not_given_are_the_declarations(self):
        with open(DECLARATION) as f:
            block = f.read().partition('"vx_pc_read" (')[2].partition("version")[0]
        block = re.sub(r"#:.*", "", block)
        given = {name: value for name, value in re.findall(r'"(\w+)"\s+default\s+([-0-9. ]*[0-9])', block)}
        self.assertEqual(sorted(given), ["falloff", "frame", "maxAngle", "maxPoints", "radius", "scale"])
        file = self.cloud_file(self.cloud)
        explicit = ["--radius", given["radius"], "--max-points", given["maxPoints"], "--max-angle",
                    given["maxAngle"], "--min-angle", "0", "--falloff", ",".join(given["falloff"].split()),
                    "--scale", ",".join(given["scale"].split())]
        self.assertEqual(self.one(file, (0, 0, 0)), self.one(file, (0, 0, 0), *explicit))
        self.compare(self.one(file, (0, 0, 0)), expected(self.cloud, (0, 0, 0), (0, 0, 0)))

    def test_other_formats_give_what_their_map_gives(self):
        file = self.cloud_file(self.cloud)
        want = self.one(file, (0.1, 0, 0), "--radius", "0.7")
        source = self.path("source.pdc")
        for name in ("pdc", "ply", "csv", "usda", "npz"):
            other = self.path("other." + name)
            self.run_tool("convert", "-q", "-f", "--all-fields", source, other)
            answer = self.one(other, (0.1, 0, 0), "--radius", "0.7")
            for f in answer["found"]:
                self.assertEqual(f.pop("id"), 100 + f["index"])
            self.assertEqual(answer, want, name)

    def test_ids_of_a_map_that_carries_them(self):
        self.cloud_file(self.cloud)
        file = self.path("all.0001.mrmap")
        self.run_tool("convert", "-q", "--all-fields", self.path("source.pdc"), file)
        for f in self.one(file, (0, 0, 0))["found"]:
            self.assertEqual(f["id"], 100 + f["index"])

    def test_several_points_and_points_of_a_file(self):
        file = self.cloud_file(self.cloud)
        points = [(0, 0, 0), (-0.5, 0.25, 0), (0.5, -0.5, 0.5)]
        normals = [(0, 1, 0), (0, 0, 1), (1, 0, 0)]
        args = [w for p in points for w in ("--point", text(p))]
        each = [w for n in normals for w in ("--normal", text(n))]
        together = self.look(file, *args, *each, "--facing")
        alone = [self.one(file, p, "--normal", text(n), "--facing") for p, n in zip(points, normals)]
        self.assertEqual(together, alone)
        with open(self.path("places.csv"), "w") as f:
            f.write("x,y,z,nx,ny,nz\n" + "".join(text(p + n) + "\n" for p, n in zip(points, normals)))
        self.assertEqual(self.look(file, "--points", self.path("places.csv"), "--facing"), alone)

    def test_a_map_without_colors_switches_the_shader_off(self):
        file = self.path("bare.0001.mrmap")
        with open(file, "w") as f:
            f.write('declare map "e" ( dim 3, integer "tag" ) end declare map "m" "e" { 0 0 0, 1 } end map')
        done = self.run_tool("lookup", "--json", file, "--point", "0,0,0")
        self.assertIn("vx_pc_read: %s does not have a rgbPP attribute, aborting" % file, done.stderr.decode())
        answer = json.loads(done.stdout)[0]["lookups"][0]
        self.assertTrue(answer["success"])
        self.assertIn("no rgbPP", answer["because"][0])

    def test_an_empty_map_is_a_failure_of_the_shader(self):
        answer = self.one(self.cloud_file([]), (0, 0, 0))
        self.assertFalse(answer["success"])
        self.assertIn("no points", answer["because"][0])

    def test_a_name_that_the_shader_cannot_find_is_told(self):
        file = self.cloud_file(self.cloud, "cloud.mrmap")
        done = self.run_tool("lookup", file, "--point", "0,0,0")
        self.assertIn("needs a frame number", done.stderr.decode())
        self.assertEqual(self.run_tool("lookup", self.cloud_file(self.cloud), "--point", "0,0,0").stderr, b"")

    def test_wrong_use(self):
        file = self.cloud_file(self.cloud)
        for args in ((), ("--point", "1,2"), ("--point", "0,0,0", "--facing"),
                     ("--point", "0,0,0", "--max-angle", "10"), ("--point", "0,0,0", "--falloff", "1,1"),
                     ("--point", "0,0,0", "--radius", "wide"),
                     ("--point", "0,0,0", "--normal", "0,1,0", "--normal", "0,1,0")):
            self.run_tool("lookup", file, *args, status=2)
        self.run_tool("lookup", self.path("no.mrmap"), "--point", "0,0,0", status=1)


if __name__ == "__main__":
    unittest.main()
