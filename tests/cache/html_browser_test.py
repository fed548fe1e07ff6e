"""A page of vx_cache view --html in a real browser. Arguments: the program, then unittest's own."""

import os
import subprocess
import sys
import tempfile
import unittest

import cloud_files as cf
from browser import Browser, Picture, find_browser

PROGRAM = os.path.abspath(sys.argv.pop(1))
SIDE = 7
N = SIDE * SIDE
DARK = (0x17, 0x19, 0x1c)
HOSTILE = "</script><b>"
# A square of points apart from each other, in the plane z = 0, facing z; labels by row.
POSITION = [v for y in range(SIDE) for x in range(SIDE) for v in (100.0 + x, 200.0 + y, 50.0)]
TAG = [3 * (i // SIDE) - 3 for i in range(N)]
COLOR = [v for i in range(N) for v in (1.0, 0.0, 0.5)]
HEAT = [float(i % SIDE) for i in range(N)]


def cloud():
    normal = [0.0, 0.0, 1.0] * N
    normal[0:3] = [0.0, 0.0, -1.0]  # the first point faces away
    return cf.pdc([("position", 5, POSITION), ("normalPP", 5, normal), ("rgbPP", 5, COLOR), ("tag", 3, TAG),
                   ("radius", 2, [0.3]), ("id", 3, [2 ** 40 + i for i in range(N)]), (HOSTILE, 3, HEAT)], N)


def near(a, b, by=3):
    return all(abs(p - q) <= by for p, q in zip(a, b))


class InBrowser(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        program = find_browser()
        if program is None:
            raise RuntimeError("there is no Chromium here; Debian's package is chromium")
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.browser = Browser(program)
        cls.addClassCleanup(cls.browser.close)
        cls.page = cls.write("a.pdc", cloud())

    @classmethod
    def write(cls, name, data, *args):
        source = os.path.join(cls.folder.name, name)
        with open(source, "wb") as f:
            f.write(data)
        page = source + ".html"
        subprocess.run([PROGRAM, "view", source, "--html", page, "-q", *args], check=True, timeout=60)
        return page

    def setUp(self):
        self.browser.console.clear()
        self.browser.requests.clear()
        self.browser.open(self.page)
        self.browser.run("document.getElementById('hint').hidden = true")  # it lies over the picture
        self.browser.key("1")  # from the front
        self.browser.settle()

    def tearDown(self):
        # Reading pixels back is slow, which the driver remarks on: our doing, not the page's.
        said = [c for c in self.browser.console if "GPU stall due to ReadPixels" not in c[1]]
        self.assertEqual(said, [])
        self.assertEqual([r for r in self.browser.requests if not r.startswith("file://")], [])
        self.assertEqual(len(self.browser.requests), 1)

    def js(self, expression):
        value = self.browser.run(expression)
        self.browser.settle()
        return value

    def set(self, element, value):
        self.js("{ const e = document.getElementById('%s'); e.value = %r; e.dispatchEvent(new Event('input'));"
                "e.dispatchEvent(new Event('change')); }" % (element, value))

    def choose(self, name):
        self.js("{ const e = document.getElementById('attribute');"
                "e.value = [...e.options].find((o) => o.text === %r).value; e.dispatchEvent(new Event('change')); }" % name)

    def on_screen(self, point):
        """Where a point is in the window, by the camera's matrices."""
        camera = self.browser.run("window.vx.camera()")
        at = [POSITION[3 * point + k] - camera["center"][k] for k in range(3)] + [1.0]
        for m in (camera["view"], camera["projection"]):  # column by column
            at = [sum(m[4 * c + r] * at[c] for c in range(4)) for r in range(4)]
        left, top = self.browser.run("(() => { const b = document.getElementById('canvas').getBoundingClientRect();"
                                     "return [b.left, b.top]; })()")
        return (left + (at[0] / at[3] + 1) / 2 * camera["width"], top + (1 - at[1] / at[3]) / 2 * camera["height"])

    def color(self, point, picture=None):
        return (picture or Picture(self.browser.screenshot())).at(*self.on_screen(point))

    def picked(self):
        if self.browser.run("document.getElementById('picked').hidden"):
            return None
        rows = self.browser.run("[...document.querySelectorAll('#picked-values tr')].map((r) => [r.dataset.name, r.cells[1].textContent])")
        return self.browser.run("document.getElementById('picked-title').textContent"), dict(rows)

    def test_points_stand_where_the_camera_says_in_their_color(self):
        picture = Picture(self.browser.screenshot())
        # 0.5 as sRGB is 188 of 255.
        for i in range(N):
            self.assertTrue(near(self.color(i, picture), (255, 0, 188)), (i, self.color(i, picture)))
        # Radius 0.3: halfway between two points there is none.
        a, b = self.on_screen(24), self.on_screen(25)
        self.assertTrue(near(picture.at((a[0] + b[0]) / 2, a[1]), DARK))
        self.assertTrue(near(picture.at(a[0] + 0.25 * (b[0] - a[0]), a[1]), (255, 0, 188)))
        self.assertTrue(near(picture.at(a[0] + 0.35 * (b[0] - a[0]), a[1]), DARK))

    def test_header_tells_file_count_and_bounds(self):
        self.assertEqual(self.browser.run("document.getElementById('file-name').textContent"), "a.pdc")
        facts = self.browser.run("document.getElementById('facts').textContent")
        self.assertIn("49 points", facts)
        self.assertIn("from (100, 200, 50) to (106, 206, 50)", facts)

    def test_exposure_and_linear_values(self):
        self.js("document.getElementById('srgb').click()")
        self.assertTrue(near(self.color(24), (255, 0, 128)))
        self.set("exposure", "-1")
        self.assertTrue(near(self.color(24), (128, 0, 64)))

    def test_a_scalar_goes_through_the_color_map(self):
        self.choose(HOSTILE)
        picture = Picture(self.browser.screenshot())
        self.assertTrue(near(self.color(0, picture), (0x44, 0x01, 0x54)))
        self.assertTrue(near(self.color(6, picture), (0xfd, 0xe7, 0x25)))
        self.assertEqual(self.browser.run("[document.getElementById('least').value, document.getElementById('most').value]"),
                         ["0", "6"])
        self.assertEqual(self.browser.run("document.getElementById('legend-name').textContent"), HOSTILE)
        self.set("map", "gray")
        self.set("most", "12")
        picture = Picture(self.browser.screenshot())
        self.assertTrue(near(self.color(3, picture), (64, 64, 64)))  # 3 of 12
        self.assertTrue(near(self.color(6, picture), (128, 128, 128)))

    def test_labels_are_colored_counted_and_filtered(self):
        self.choose("tag (label)")
        picture = Picture(self.browser.screenshot())
        rows = [self.color(SIDE * r, picture) for r in range(SIDE)]
        self.assertEqual(len(set(rows)), SIDE)
        self.assertTrue(near(rows[1], (170, 170, 170)))  # label 0: 0.4 of white
        listed = self.browser.run("[...document.querySelectorAll('#labels li')].map((l) => l.textContent.trim().split(/ +/))")
        self.assertEqual(listed, [[str(3 * r - 3), str(SIDE)] for r in range(SIDE)])
        self.js("document.querySelectorAll('#labels input')[2].click()")  # label 3: the third row
        picture = Picture(self.browser.screenshot())
        for i in range(N):
            self.assertEqual(near(self.color(i, picture), DARK), i // SIDE == 2, i)
        self.browser.click(*self.on_screen(2 * SIDE + 3))
        self.assertIsNone(self.picked())  # what is hidden cannot be picked
        self.js("document.getElementById('labels-invert').click()")
        picture = Picture(self.browser.screenshot())
        for i in range(N):
            self.assertEqual(near(self.color(i, picture), DARK), i // SIDE != 2, i)
        self.js("document.getElementById('labels-none').click()")
        self.assertTrue(near(self.color(17), DARK))
        self.js("document.getElementById('labels-all').click()")
        self.assertFalse(near(self.color(17), DARK))

    def test_it_opens_as_the_command_line_says(self):
        self.browser.requests.clear()
        self.browser.open(self.write("start.pdc", cloud(), "--by", "position.y", "--range", "200,212", "--labels", "0-6"))
        self.browser.run("for (const id of ['hint', 'legend']) document.getElementById(id).hidden = true")
        self.set("map", "gray")
        self.browser.key("1")
        self.browser.settle()
        picture = Picture(self.browser.screenshot())
        for i in range(N):
            row = i // SIDE
            want = (255 * row / 12,) * 3 if 0 <= TAG[i] <= 6 else None  # others are not there
            if want:
                self.assertTrue(near(self.color(i, picture), want), (i, want, self.color(i, picture), self.on_screen(i)))
        shown = self.browser.run("[...document.querySelectorAll('#labels input')].map((b) => b.checked)")
        self.assertEqual(shown, [0 <= 3 * r - 3 <= 6 for r in range(SIDE)])
        self.choose("normalPP.length")
        self.assertEqual(self.browser.run("document.getElementById('least').value"), "1")
        self.choose("position.length")
        self.assertEqual(float(self.browser.run("document.getElementById('least').value")), 229.1288)  # of 100 200 50
        self.choose("position (in the bounds)")
        self.assertTrue(near(self.color(SIDE), (0, 255 / 6, 0)))

    def test_a_click_shows_all_values_of_the_point(self):
        for i in (0, 17, 48):
            self.browser.click(*self.on_screen(i))
            title, values = self.picked()
            self.assertEqual(title, "Point %d" % i)
            self.assertEqual(values, {
                "position": "%d  %d  50" % (100 + i % SIDE, 200 + i // SIDE), "normalPP": "0  0  %d" % (1 if i else -1),
                "rgbPP": "1  0  0.5", "tag": str(TAG[i]), "radius": "0.3", "id": str(2 ** 40 + i), HOSTILE: str(i % SIDE)})
        self.browser.key("Escape")
        self.assertIsNone(self.picked())

    def test_picking_after_orbiting(self):
        before = self.on_screen(10)
        self.browser.drag(500, 400, 620, 340)
        self.browser.settle()
        after = self.on_screen(10)
        self.assertGreater(abs(before[0] - after[0]) + abs(before[1] - after[1]), 5)
        self.assertIsNone(self.picked())  # a drag picks nothing
        self.browser.click(*after)
        self.assertEqual(self.picked()[0], "Point 10")

    def test_normals_are_drawn_and_taken_away(self):
        self.browser.key("3")  # from the right: the lines stand to the left, where z grows
        self.browser.settle()
        x, y = self.on_screen(24)
        camera = self.browser.run("window.vx.camera()")
        self.js("document.getElementById('normals').click()")
        reach = self.browser.run("window.vx.view.uniforms.reach.value")
        depth = 0
        at = [POSITION[72 + k] - camera["center"][k] for k in range(3)] + [1.0]
        depth = -sum(camera["view"][4 * c + 2] * at[c] for c in range(4))
        pixels = reach * camera["projection"][5] / depth * camera["height"] / 2
        self.assertGreater(pixels, 4)
        def lines(picture):
            return sum(near(picture.at(x - pixels * 0.7, y + k), (92, 217, 255), 40) for k in (-1, 0, 1))
        self.assertGreater(lines(Picture(self.browser.screenshot())), 0)
        self.js("document.getElementById('normals').click()")
        self.assertEqual(lines(Picture(self.browser.screenshot())), 0)

    def test_points_that_face_away_can_be_hidden(self):
        self.js("document.getElementById('hide-back').click()")
        picture = Picture(self.browser.screenshot())
        self.assertTrue(near(self.color(0, picture), DARK))
        self.assertFalse(near(self.color(1, picture), DARK))
        self.browser.key("2")  # from behind
        self.browser.settle()
        picture = Picture(self.browser.screenshot())
        self.assertFalse(near(self.color(0, picture), DARK))
        self.assertTrue(near(self.color(1, picture), DARK))

    def test_size_in_pixels(self):
        self.js("document.getElementById('unit-pixels').click()")
        self.set("size", "1")  # 4 * sqrt(10) = 12.65 pixels across
        picture = Picture(self.browser.screenshot())
        x, y = self.on_screen(24)
        self.assertTrue(near(picture.at(x + 5, y), (255, 0, 188)))
        self.assertTrue(near(picture.at(x + 8, y), DARK))

    def test_views_by_keys_and_up_axis(self):
        self.assertLess(self.on_screen(0)[0], self.on_screen(6)[0])
        self.assertGreater(self.on_screen(0)[1], self.on_screen(42)[1])
        self.browser.key("2")
        self.browser.settle()
        self.assertGreater(self.on_screen(0)[0], self.on_screen(6)[0])
        self.set("up", "z")
        self.browser.key("5")  # top: looks down z
        self.browser.settle()
        self.assertLess(self.on_screen(0)[0], self.on_screen(6)[0])
        self.assertGreater(self.on_screen(0)[1], self.on_screen(42)[1])

    def test_nothing_is_drawn_while_nothing_changes(self):
        frames = "window.vx.view.stats.frames"
        before = self.browser.run(frames)
        self.browser.run("new Promise((f) => setTimeout(f, 300))")
        self.assertEqual(self.browser.run(frames), before)
        self.assertEqual(self.browser.run("window.vx.view.stats.calls"), 1)

    def test_names_are_text(self):
        self.assertEqual(self.browser.run("document.querySelectorAll('b').length"), 0)
        self.assertIn(HOSTILE, self.browser.run("[...document.getElementById('attribute').options].map((o) => o.text)"))

    def test_a_part_tells_the_numbers_that_points_have_in_the_file(self):
        n = 5000
        data = cf.pdc([("position", 5, [float(k) for i in range(n) for k in (i, 0, 0)]), ("id", 3, list(range(n)))], n)
        self.browser.requests.clear()
        self.browser.open(self.write("part.pdc", data, "--max-points", "77"))
        self.assertIn("of 5", self.browser.run("document.getElementById('facts').textContent"))
        seen = set()
        for i in range(77):
            self.browser.run("window.vx.panel.showPoint(%d)" % i)
            title, values = self.picked()
            self.assertEqual(title.replace("\u202f", ""), "Point " + values["id"])
            seen.add(int(values["id"]))
        self.assertEqual(len(seen), 77)
        for i, k in enumerate(sorted(seen)):  # one of each run
            self.assertTrue(i * n // 77 <= k < (i + 1) * n // 77, (i, k))

    def test_fewer_points_are_drawn_while_the_camera_moves_on_a_slow_machine(self):
        n = 10000
        data = cf.pdc([("position", 5, [float(k) for i in range(n) for k in (i % 100, i // 100, 0)]),
                       ("id", 3, list(range(n)))], n)
        self.browser.requests.clear()
        self.browser.open(self.write("many.pdc", data))
        self.browser.settle()
        self.assertEqual(self.browser.run("window.vx.view.stats.points"), n)
        self.browser.run("window.vx.view.part = 1 / 64")
        mouse = dict(button="left", buttons=1, clickCount=1)
        self.browser.call("Input.dispatchMouseEvent", type="mousePressed", x=400, y=400, **mouse)
        self.browser.call("Input.dispatchMouseEvent", type="mouseMoved", x=420, y=400, **mouse)
        self.browser.settle()
        self.assertLess(self.browser.run("window.vx.view.stats.points"), n // 16)
        self.browser.call("Input.dispatchMouseEvent", type="mouseReleased", x=420, y=400, **mouse)
        self.browser.run("new Promise((f) => setTimeout(f, 300))")
        self.browser.settle()
        self.assertEqual(self.browser.run("window.vx.view.stats.points"), n)
        # The points that are drawn then: one of each run of 64.
        ids = self.browser.run("Array.from(window.vx.view.cloud.find('id').values.subarray(0, %d))" % (n // 64))
        self.assertEqual([k // 64 for k in ids], list(range(n // 64)))
        self.assertGreater(len({k % 64 for k in ids}), 32)

    def test_clouds_without_points_and_without_attributes_open(self):
        for name, data in (("none.pdc", cf.pdc([("position", 5, [])], 0)),
                           ("one.pdc", cf.pdc([("position", 5, [1e6, 2.0, 3.0])], 1)),
                           ("nan.pdc", cf.pdc([("position", 5, [float("nan")] * 3)], 1))):
            self.browser.requests.clear()
            self.browser.open(self.write(name, data))
            self.browser.settle()
        self.browser.requests.clear()
        self.browser.open(os.path.join(self.folder.name, "none.pdc.html"))
        self.assertIn("no points", self.browser.run("document.getElementById('message-text').textContent"))


class WithoutWebgl(unittest.TestCase):
    def test_a_browser_without_webgl_2_says_so(self):
        with tempfile.TemporaryDirectory() as folder, Browser(find_browser(), more=("--disable-3d-apis",)) as browser:
            source = os.path.join(folder, "a.pdc")
            with open(source, "wb") as f:
                f.write(cloud())
            subprocess.run([PROGRAM, "view", source, "--html", source + ".html", "-q"], check=True, timeout=60)
            browser.open(source + ".html", "document.getElementById('message-text')?.textContent.includes('WebGL 2')")
            self.assertTrue(browser.run("document.getElementById('message').checkVisibility()"))


if __name__ == "__main__":
    unittest.main()
