"""The pages of vx_cache view --html, read by a parser of their own. Arguments: the program, then unittest's."""

import base64
import hashlib
import html.parser
import json
import math
import os
import random
import re
import resource
import struct
import subprocess
import sys
import unittest
import zlib

import cloud_files as cf
from folder_case import FolderCase

PROGRAM = os.path.abspath(sys.argv.pop(1))


def f32(v):
    return struct.unpack("f", struct.pack("f", v))[0]


class Elements(html.parser.HTMLParser):
    """Every element with its attributes and, of scripts and styles, its text."""

    def __init__(self, text):
        super().__init__()
        self.found = []
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attributes):
        self.found.append([tag, dict(attributes), ""])

    def handle_data(self, data):
        if self.cdata_elem:
            self.found[-1][2] += data


FORMS = {"i32": "i", "f32": "f", "f64": "d", "i64": "q"}


class Page:
    def __init__(self, path):
        with open(path, encoding="utf-8") as f:
            self.text = f.read()
        self.elements = Elements(self.text).found
        self.about = json.loads(next(t for tag, a, t in self.elements if a.get("id") == "vx-cloud"))
        packed = {}
        self.parts = {}
        for tag, attributes, text in self.elements:
            if "data-attribute" in attributes:
                index = int(attributes["data-attribute"])
                packed[index] = packed.get(index, b"") + base64.b64decode(text, validate=True)
                self.parts[index] = self.parts.get(index, 0) + 1
        self.values = {}
        self.stored = {}
        for index, attribute in enumerate(self.about["attributes"]):
            planes = zlib.decompress(packed[index])
            points = min(1, self.about["points"]) if attribute["single"] else self.about["points"]
            item = struct.calcsize(FORMS[attribute["stored"]]) * attribute["width"]
            assert len(planes) == points * item, (attribute, len(planes))
            raw = bytearray(len(planes))
            for first in range(0, points, self.about["groupPoints"]):
                n = min(self.about["groupPoints"], points - first)
                for k in range(item):
                    begin = first * item + k * n
                    raw[first * item + k:(first + n) * item:item] = planes[begin:begin + n]
            form = "<%d%s" % (points * attribute["width"], FORMS[attribute["stored"]])
            self.values[attribute["name"]] = list(struct.unpack(form, raw))
            self.stored[attribute["name"]] = attribute["stored"]

    def position(self):
        return [v + self.about["center"][i % 3] for i, v in enumerate(self.values["position"])]


class Case(FolderCase):
    def run_view(self, *args, status=0, **kwargs):
        kwargs.setdefault("timeout", 120)
        done = subprocess.run([PROGRAM, "view", *map(str, args)], capture_output=True, **kwargs)
        self.assertEqual(done.returncode, status, (args, done.stdout, done.stderr))
        return done

    def page(self, attributes, count, *args):
        """The page of a PDC file of these attributes, and what was said."""
        done = self.run_view(self.put("a.pdc", cf.pdc(attributes, count)), "--html", self.path("a.html"), "-f", *args)
        return Page(self.path("a.html")), done.stderr.decode()


class Data(Case):
    def test_every_attribute_is_carried(self):
        n = 7
        attributes = [
            ("opacityPP", 3, [0.5, 1.0, 0.25, 0.75, 1.0, 0.1, 0.3]), ("radius", 2, [0.05]), ("id", 3, list(range(n))),
            ("tag", 3, [0, 1, 1, 2, 3, 7, -4]), ("position", 5, [x * 0.1 for x in range(3 * n)]),
            ("rgbPP", 5, [k % 5 / 5 for k in range(3 * n)]), ("normalPP", 5, [0.0, 0.6, 0.8] * n),
            ("group", 0, [-3]), ("count", 1, [2 ** 31 - 1, -2 ** 31, 0, 1, 2, 3, 4]), ("up", 4, [0.0, 1.0, 2.0])]
        page, said = self.page(attributes, n)
        self.assertEqual([a["name"] for a in page.about["attributes"]], [a[0] for a in attributes])
        self.assertEqual((page.about["count"], page.about["points"]), (n, n))
        for name, code, values in attributes:
            if name != "position":
                self.assertEqual(page.values[name], [f32(v) if page.stored[name] == "f32" else v for v in values], name)
            self.assertEqual(page.about["attributes"][[a[0] for a in attributes].index(name)]["single"], code % 2 == 0)
        for name in ("id", "tag", "count", "group"):
            self.assertEqual(page.stored[name], "i32")
        for got, want in zip(page.position(), attributes[4][2]):
            self.assertLessEqual(abs(got - want), page.about["positionError"])
        self.assertEqual(page.about["bounds"], [[0.0, 0.1, 0.2], [x * 0.1 for x in (18, 19, 20)]])
        # 0.1 and 0.3 are not 32-bit floats, 0.5, 1, 0.25 and 0.75 are.
        self.assertIn("'opacityPP': 2 of 7 values are rounded to 32-bit floats", page.about["notes"])
        self.assertIn("'radius': 1 of 1 values are rounded to 32-bit floats", page.about["notes"])
        self.assertIn("'opacityPP': 2 of 7 values", said)

    def test_without_rounding_the_page_says_that_all_is_exact(self):
        page, said = self.page([("position", 5, [0.0, 0.5, 1.0, 2.0, 3.0, 4.25])], 2)
        self.assertEqual(page.about["notes"], ["All values are exact."])
        self.assertEqual(page.position(), [0.0, 0.5, 1.0, 2.0, 3.0, 4.25])
        self.assertEqual(said, "")

    def test_32_bit_positions_far_from_the_origin_stay_exact(self):
        generator = random.Random(1)
        values = [f32(base + generator.uniform(-3, 5)) for _ in range(500) for base in (4e6, -70000.0, 0.0)]
        page, _ = self.page([("position", 5, values)], 500)
        self.assertEqual(page.about["positionError"], 0)
        self.assertEqual(page.position(), values)

    def test_the_stated_error_of_64_bit_positions_is_the_largest_there_is(self):
        generator = random.Random(2)
        values = [base + generator.uniform(-3, 5) for _ in range(500) for base in (4e6, -70000.0, 0.0)]
        page, said = self.page([("position", 5, values)], 500)
        errors = [abs(got - want) for got, want in zip(page.position(), values)]
        self.assertEqual(max(errors), page.about["positionError"])
        self.assertGreater(max(errors), 0)
        self.assertLess(max(errors), 8 * 2 ** -24)
        self.assertIn("positions are 32-bit floats relative to", said)

    def test_whole_numbers_beyond_32_bits_stay_exact(self):
        ids = [2 ** 40 + 1, 2 ** 53 - 1, -5]
        page, _ = self.page([("position", 5, [0.0] * 9), ("id", 3, ids)], 3)
        self.assertEqual((page.stored["id"], page.values["id"]), ("f64", ids))
        wide = [2 ** 62 + 1, -2 ** 62 - 1, 0]
        text = "x,y,z,id\n" + "".join("0,0,%d,%d\n" % (i, v) for i, v in enumerate(wide))
        self.run_view(self.put("a.csv", text.encode()), "--html", self.path("csv.html"))
        page = Page(self.path("csv.html"))
        self.assertEqual((page.stored["id"], page.values["id"]), ("i64", wide))

    def test_values_that_are_no_numbers(self):
        bad = [math.nan, math.inf, -math.inf, -0.0, 1e300]
        page, said = self.page([("position", 5, [0, 0, 0, math.nan, 0, 0, 0, math.inf, 0, 1, 1, 1, 2, 2, 2]),
                                ("heat", 3, bad)], 5)
        got = page.values["heat"]
        self.assertTrue(math.isnan(got[0]))
        self.assertEqual(got[1:], bad[1:])
        self.assertEqual(math.copysign(1, got[3]), -1)
        self.assertIn("2 points have no finite position and are not drawn", said)
        self.assertEqual(page.about["bounds"], [[0, 0, 0], [2, 2, 2]])

    def test_no_points_and_one_point(self):
        page, _ = self.page([("position", 5, []), ("radius", 2, [1.0])], 0)
        self.assertEqual((page.about["count"], page.about["bounds"]), (0, None))
        page, _ = self.page([("position", 5, [1.0, 2.0, 3.0])], 1)
        self.assertEqual(page.position(), [1, 2, 3])

    def test_many_groups_in_many_elements(self):
        n = 150001
        generator = random.Random(3)
        values = [f32(generator.uniform(-9, 9)) for _ in range(3 * n)]
        page, _ = self.page([("position", 5, values), ("id", 3, list(range(n)))], n)
        self.assertEqual(page.values["position"], values)
        self.assertEqual(page.values["id"], list(range(n)))
        self.assertGreater(page.parts[0], 1)

    def test_a_part_has_one_point_of_each_run(self):
        n, m = 10007, 100
        page, said = self.page([("position", 5, [float(i) for i in range(3 * n)]), ("id", 3, list(range(n)))], n,
                               "--max-points", m)
        want = []
        for i in range(m):
            h = i ^ i >> 16
            h = h * 0x7feb352d & 0xffffffff
            h = (h ^ h >> 15) * 0x846ca68b & 0xffffffff
            h ^= h >> 16
            begin, end = i * n // m, (i + 1) * n // m
            want.append(begin + h % (end - begin))
        self.assertEqual(page.values["id"], want)
        self.assertEqual(page.position(), [float(3 * i + k) for i in want for k in range(3)])
        self.assertEqual((page.about["count"], page.about["points"]), (n, m))
        self.assertIn("has 100 of the 10007 points", said)
        self.assertTrue(any("has 100 of the 10007 points" in note for note in page.about["notes"]))
        # The bounds are the whole cloud's.
        self.assertEqual(page.about["bounds"], [[0, 1, 2], [3 * n - 3, 3 * n - 2, 3 * n - 1]])


HOSTILE = ["</script><script>alert(1)</script>", "\"><img src=x onerror=alert(1)>", "<!--", "--><b>", "&lt;", "]]>",
           "a\u2028b", "' onload='alert(1)"]


class Safety(Case):
    def hostile_page(self):
        data = cf.pdc([("position", 5, [0.0] * 3)] + [(name, 3, [1.5]) for name in HOSTILE], 1)
        source = self.put("<img src=x onerror=alert(1)>&amp;\".pdc", data)
        self.run_view(source, "--html", self.path("a.html"))
        return Page(self.path("a.html"))

    def test_names_cannot_leave_their_place(self):
        page = self.hostile_page()
        self.assertEqual([a["name"] for a in page.about["attributes"]], ["position"] + HOSTILE)
        self.assertEqual(page.about["file"], "<img src=x onerror=alert(1)>&amp;\".pdc")
        plain, _ = self.page([("position", 5, [0.0] * 3)] + [("a%d" % k, 3, [1.5]) for k in range(len(HOSTILE))], 1)
        shape = [[(tag, sorted(a)) for tag, a, _ in p.elements] for p in (page, plain)]
        self.assertEqual(shape[0], shape[1])
        self.assertFalse(any(tag == "img" for tag, _, _ in page.elements))

    def test_names_that_are_no_utf8(self):
        name = b"\xff\xfe</script>"
        data = cf.pdc([("position", 5, [0.0] * 3), ("x" * len(name), 3, [1.5])], 1).replace(b"x" * len(name), name)
        self.run_view(self.put("a.pdc", data), "--html", self.path("a.html"))
        self.assertEqual(Page(self.path("a.html")).about["attributes"][1]["name"], "\ufffd\ufffd</script>")

    def test_the_page_fetches_nothing(self):
        page = self.hostile_page()
        for tag, attributes, text in page.elements:
            for name in attributes:
                self.assertFalse(name in ("src", "href", "srcset", "data", "action", "poster", "background")
                                 or name.startswith("on"), (tag, attributes))
            self.assertNotIn(tag, ("link", "iframe", "object", "embed", "base", "form", "img"))
            if tag == "style":
                self.assertIsNone(re.search(r"url\(|@import", text))

    def test_the_policy_lets_only_the_viewer_run_and_forbids_the_network(self):
        page = self.hostile_page()
        policy = next(a["content"] for tag, a, _ in page.elements
                      if a.get("http-equiv", "").lower() == "content-security-policy")
        rules = dict(rule.strip().split(" ", 1) for rule in policy.split(";"))
        self.assertEqual(rules["default-src"], "'none'")
        self.assertNotIn("unsafe", policy)
        self.assertFalse({"connect-src", "img-src", "font-src", "worker-src", "frame-src"} & set(rules))
        runs = [(tag, text) for tag, a, text in page.elements if tag == "script" and "type" not in a]
        self.assertEqual(len(runs), 1)
        for tag, rule in (("script", "script-src"), ("style", "style-src")):
            text = re.search("<%s>(.*?)</%s>" % (tag, tag), page.text, re.S).group(1)
            digest = base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()
            self.assertEqual(rules[rule], "'sha256-%s'" % digest)

    def test_folders_are_not_told(self):
        self.assertNotIn(self.folder, self.hostile_page().text)


class Command(Case):
    def setUp(self):
        super().setUp()
        self.source = self.put("a.pdc", cf.pdc([("position", 5, [0.0, 1.0, 2.0])], 1))

    def test_nothing_is_overwritten_without_force(self):
        out = self.put("a.html", b"mine")
        done = self.run_view(self.source, "--html", out, status=1)
        self.assertIn(b"--force", done.stderr)
        with open(out, "rb") as f:
            self.assertEqual(f.read(), b"mine")
        self.run_view(self.source, "--html", out, "--force")
        self.assertEqual(Page(out).about["count"], 1)

    def test_nothing_stays_after_a_failure(self):
        with open(self.source, "rb") as f:
            data = f.read()
        self.run_view(self.put("cut.pdc", data[:-3]), "--html", self.path("b.html"), status=1)
        self.run_view(self.put("flat.csv", b"u,v\n1,2\n"), "--html", self.path("b.html"), status=1)
        self.run_view(self.source, "--html", "/dev/full", status=1)
        self.assertEqual(sorted(os.listdir(self.folder)), ["a.pdc", "cut.pdc", "flat.csv"])

    def test_a_page_a_picture_both_or_wrong_use(self):
        self.run_view(self.source, status=2)
        self.run_view(self.source, "--html", self.path("a.html"), "--max-points", "0", status=2)
        self.run_view(self.source, "--html", self.path("a.html"), "-o", self.path("a.png"))
        self.assertTrue(os.path.exists(self.path("a.html")) and os.path.exists(self.path("a.png")))

    def test_options_that_a_page_does_not_know_are_wrong_use(self):
        for option in (["--from", "0,0,1"], ["--size", "10x10"], ["--turntable", "3"], ["--radius", "2"],
                       ["--range", "1,0", "--by", "position.x"], ["--range", "0,1"]):
            self.run_view(self.source, "--html", self.path("a.html"), *option, status=2)
        for option in (["--by", "nothing"], ["--labels", "1"]):
            self.run_view(self.source, "--html", self.path("a.html"), *option, status=1)
        self.run_view(self.source, "--html", self.path("a.html"), "--by", "position.length", "--range", "0,1")
        start = Page(self.path("a.html")).about["start"]
        self.assertEqual(start, {"mode": 2, "attribute": 0, "component": -1, "range": [0, 1]})
        with open(self.source, "rb") as f:
            self.run_view("-", "--html", self.path("b.html"), "-o", self.path("b.png"), input=f.read(), status=2)

    def test_frames(self):
        for k in (1, 2):
            self.put("s.%04d.pdc" % k, cf.pdc([("position", 5, [0.0, 1.0, float(k)])], 1))
        self.run_view(self.path("s.####.pdc"), "--html", self.path("s.####.html"))
        for k in (1, 2):
            page = Page(self.path("s.%04d.html" % k))
            self.assertEqual((page.about["file"], page.position()[2]), ("s.%04d.pdc" % k, k))
        self.run_view(self.path("s.####.pdc"), "--html", self.path("one.html"), status=2)

    def test_from_a_pipe(self):
        with open(self.source, "rb") as f:
            self.run_view("-", "--html", self.path("a.html"), input=f.read())
        self.assertEqual(Page(self.path("a.html")).position(), [0, 1, 2])


class Large(Case):
    def test_memory_does_not_grow_with_the_file(self):
        n = 40_000_000
        head = b"PDC " + struct.pack(">6i", 1, 1, 0, 0, n, 1) + struct.pack(">i", 8) + b"position" + struct.pack(">i", 5)
        source = self.put("large.pdc", head)
        os.truncate(source, len(head) + 24 * n)
        self.run_view(source, "--html", self.path("a.html"))
        used = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        self.assertLess(used, 100 * 1024)
        self.assertEqual(Page(self.path("a.html")).about["points"], 2_000_000)


if __name__ == "__main__":
    unittest.main()
