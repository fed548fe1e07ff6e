"""What the verbs of vx_cache refuse, explain and show. Arguments: the program, then unittest's own."""

import json
import math
import os
import re
import signal
import struct
import subprocess
import sys
import time
import unittest

import cloud_files as cf
import image_files
from verbs_case import COLOR, FULL, PROGRAM, TAG, Case, f32, without


class Fill(Case):
    def test_merge_refuses_to_make_up_values(self):
        self.cloud("a.pdc")
        self.cloud("b.pdc", without("rgbPP"))
        for order in (("a.pdc", "b.pdc"), ("b.pdc", "a.pdc")):
            self.run_tool("merge", *order, "-o", "m.pdc", status=1, says="b.pdc: has no 'rgbPP'")
        self.assertFalse(os.path.exists(self.path("m.pdc")))
        self.run_tool("merge", "a.pdc", "b.pdc", "-o", "m.pdc", "--fill", "rgbPP=1,0.5,0")
        self.assertEqual(self.values("m.pdc", "rgbPP"), COLOR + [1, 0.5, 0] * 3)

    def test_maps_that_the_reader_cannot_use_are_refused(self):
        for name, fill, width in (("rgbPP", "1,0.5,0.25", 3), ("position", "1,2,3", 3)):
            self.cloud("a.pdc", without(name))
            self.run_tool("convert", "a.pdc", "a.mrmap", status=1, says="'%s'" % name)
            self.assertFalse(os.path.exists(self.path("a.mrmap")))
            self.run_tool("convert", "-f", "a.pdc", "a.mrmap", "--fill", "%s=%s" % (name, fill))
            self.run_tool("convert", "-f", "a.mrmap", "back.pdc")
            self.assertEqual(self.values("back.pdc", name), [float(v) for v in fill.split(",")] * 3)
            os.unlink(self.path("a.mrmap"))

    def test_a_map_with_less_names_what_the_reader_misses(self):
        for name, parameter in (("normalPP", "facing"), ("opacityPP", "useOpacity"), ("tag", "useLabels")):
            self.cloud("a.pdc", without(name))
            self.run_tool("convert", "-f", "a.pdc", "a.mrmap", says=parameter)
        self.cloud("a.pdc")
        self.assertNotIn("missing", self.run_tool("convert", "-f", "a.pdc", "a.mrmap").stderr.decode())

    def test_fill_keeps_what_is_there(self):
        self.cloud("a.pdc")
        self.run_tool("convert", "a.pdc", "b.pdc", "--fill", "tag=9", "--fill", "mass=2.5")
        self.assertEqual(self.values("b.pdc", "tag"), TAG)
        self.assertEqual(self.values("b.pdc", "mass"), [2.5] * 3)

    def test_wrong_fills_are_wrong_use(self):
        self.cloud("a.pdc")
        for fill in ("rgbPP=1", "rgbPP", "=1", "tag=", "tag=x", "tag=1,2"):
            self.run_tool("convert", "a.pdc", "b.pdc", "--fill", fill, status=2, says="--fill")
        self.assertFalse(os.path.exists(self.path("b.pdc")))


class Labels(Case):
    def test_lists_without_a_label_are_wrong_use(self):
        self.cloud("a.pdc")
        for labels in ("", "x", "3-1", "-4", ","):
            for verb, *output in (("convert", "b.pdc"), ("filter", "b.pdc"), ("view", "-o", "b.png")):
                self.run_tool(verb, "--labels", labels, "a.pdc", *output, status=2, says="has no label")
        self.assertEqual(os.listdir(self.folder), ["a.pdc"])

    def test_a_selection_that_leaves_nothing_is_a_warning(self):
        self.cloud("a.pdc")
        self.run_tool("filter", "--labels", "9", "a.pdc", "b.pdc", says="no point is left")
        text = self.run_tool("info", "b.pdc").stdout.decode()
        self.assertIn("points    0\n", text)
        self.assertNotIn("nan", text)
        self.assertNotIn("size", text)

    def test_rejected_labels_are_listed(self):
        self.cloud("a.pdc", [a if a[0] != "tag" else ("tag", 3, [5, 8, 5]) for a in FULL])
        args = ("lookup", "a.pdc", "--point", "0,0,0", "--radius", "5", "--labels", "7")
        self.assertIn("carry 5 (2), 8 (1)\n", self.run_tool(*args).stdout.decode())
        tally = json.loads(self.run_tool(*args, "--json").stdout)[0]["lookups"][0]["tally"]
        self.assertEqual(tally["refused_labels"], {"5": 2, "8": 1})


class NotANumber(Case):
    def look(self, *args):
        return json.loads(self.run_tool("lookup", "--json", "a.pdc", *args).stdout)[0]["lookups"][0]

    def single(self, position=(0, 0, 0), color=(1, 1, 1)):
        self.put("a.pdc", cf.pdc([("position", 5, position), ("normalPP", 5, (0, 1, 0)), ("rgbPP", 5, color),
                                  ("opacityPP", 3, [1]), ("tag", 3, [0])], 1))

    def test_a_color_that_is_not_a_number(self):
        self.single(color=(1, math.nan, 0.5))
        found = self.look("--point", "0,0,0")
        self.assertEqual(found["because"], ["green is not a number, since that of point 0 is not"])
        self.assertEqual(found["color"], [1, None, 0.5, 0])

    def test_a_fractional_falloff_just_inside_the_radius(self):
        # In single precision, 1 - (3tt - 2ttt) is below 0 for some t just below 1.
        def falloff(t):
            a = f32(f32(f32(f32(t * t) * -2.0) * t) + f32(f32(t * t) * 3.0))
            return f32(1.0 - a)
        steps = (1 - k * 2.0 ** -24 for k in range(1, 1000))
        distance = next(t for t in steps if falloff(t) < 0)
        self.single((distance, 0, 0))
        found = self.look("--point", "0,0,0", "--radius", "1", "--falloff", "0.5,1,1")
        self.assertIsNone(found["color"][0])
        self.assertEqual(len(found["because"]), 1)
        self.assertIn("red is not a number: point 0 is just inside the radius", found["because"][0])
        self.assertIn("no power 0.5", found["because"][0])
        self.assertEqual(self.look("--point", "0,0,0", "--radius", "1")["because"], [])


class CutMaps(Case):
    def findings(self, data):
        done = subprocess.run([PROGRAM, "check", "--json", self.put("cut.mrmap", data)], capture_output=True)
        return [(f["offset"], f["severity"]) for f in json.loads(done.stdout)[0]["findings"]]

    def test_every_cut_has_an_offset(self):
        self.cloud("a.pdc")
        for encoding in ("closed", "open", "ascii"):
            self.run_tool("convert", "-f", "--encoding", encoding, "a.pdc", "a.mrmap")
            data = self.get("a.mrmap")
            self.assertEqual(self.findings(data), [])
            for size in (0, 1, 7, 8, 40, 63, 64, 100, len(data) // 2, len(data) - 3):
                self.assertEqual(self.findings(data[:size]), [(size, "error")], (encoding, size))

    def test_other_damage_of_binary_maps(self):
        self.cloud("a.pdc")
        self.run_tool("convert", "-f", "a.pdc", "a.mrmap")
        data = self.get("a.mrmap")
        self.assertEqual(self.findings(data + b"\0" * 64), [(len(data), "error")])
        self.assertEqual(self.findings(data[:8] + b"\1" + data[9:]), [(8, "error")])
        # A color of a point: no structure depends on it.
        color = data.index(struct.pack("<f", f32(0.4)))
        self.assertEqual(self.findings(data[:color] + b"\x99" + data[color + 1:]), [(56, "error")])


class Diff(Case):
    def test_only_and_ignore(self):
        self.cloud("a.pdc", FULL + [("radius", 2, [0.5])])
        self.cloud("b.pdc")
        self.run_tool("diff", "a.pdc", "b.pdc", status=1)
        self.run_tool("diff", "--ignore", "radius", "a.pdc", "b.pdc")
        self.run_tool("diff", "--only", "rgbPP,tag", "a.pdc", "b.pdc")
        self.run_tool("diff", "--only", "radius,tag", "a.pdc", "b.pdc", status=1)
        self.run_tool("diff", "--only", "rgb", "a.pdc", "b.pdc", status=1, says="no attribute 'rgb'")

    def test_a_cloud_agrees_with_its_own_map(self):
        exact = [(n, c, [f32(v) for v in values]) for n, c, values in FULL]
        self.cloud("a.pdc", exact + [("radius", 2, [0.5]), ("id", 3, [0, 1, 2])])
        self.run_tool("convert", "a.pdc", "a.mrmap")
        self.run_tool("diff", "--ignore", "radius,id", "a.pdc", "a.mrmap")

    def test_the_worst_pairs_are_shown(self):
        self.put("a.csv", b"position.x,position.y,position.z,w\n" + b"0,0,0,1\n" * 5)
        self.put("b.csv", b"position.x,position.y,position.z,w\n" +
                 b"".join(b"0,0,0,%d\n" % v for v in (1, 3, 9, 2, 7)))
        done = self.run_tool("diff", "a.csv", "b.csv", status=1).stdout.decode()
        self.assertIn("  point 2: 1 and 9\n  point 4: 1 and 7\n  point 1: 1 and 3\n", done)
        self.assertNotIn("point 3: ", done)


class Palette(Case):
    def test_pictures_and_pages_color_labels_alike(self):
        script = ('import { labelColor } from "%s"; console.log(JSON.stringify(process.argv.slice(1).map((v) => '
                  'labelColor(v.endsWith("n") ? BigInt(v.slice(0, -1)) : Number(v)))))' % os.environ["VX_COLOR_JS"])
        labels = [0, 1, 12, -4]
        done = subprocess.run([os.environ["VX_NODE"], "--input-type=module", "-e", script, "--", *map(str, labels)],
                              capture_output=True, check=True)
        page = json.loads(done.stdout)
        for label, color in zip(labels, page):
            self.put("a.pdc", cf.pdc([("position", 5, [0, 0, 0]), ("tag", 3, [label])], 1))
            self.run_tool("view", "-q", "-f", "a.pdc", "-o", "a.png", "--by", "tag", "--flat", "--radius", "1",
                          "--size", "9x9", "--no-legend")
            picture = image_files.read_png(self.get("a.png"))[4][4]
            for a, b in zip(picture, color):
                self.assertLessEqual(abs(a - b), 1, (label, picture, color))


class Typos(Case):
    def test_the_word_is_named_and_the_nearest_suggested(self):
        for args, says in ((("filtr", "--lables", "3"), "unknown verb 'filtr'; did you mean 'filter'?"),
                           (("filter", "--lables", "3", "a", "b"), "'--lables' of filter; did you mean '--labels'?"),
                           (("convert", "--force"), "input is required"),
                           ((), "subcommand")):
            done = self.run_tool(*args, status=2, says=says)
            self.assertTrue(done.stderr.startswith(b"vx_cache: error: "), done.stderr)
            self.assertEqual(done.stdout, b"")


class Terminal(Case):
    EVIL = "a\x1b]0;pwned\x07\nvx_cache: ok\x7f\x9b"

    def test_control_characters_of_files_do_not_reach_the_terminal(self):
        name = self.EVIL.encode("latin-1")
        evil = cf.pdc(FULL + [("NAME", 3, [1.5, math.inf, 2])], 3)
        evil = evil.replace(struct.pack(">i", 4) + b"NAME", struct.pack(">i", len(name)) + name)
        self.put("a.pdc", evil)
        self.cloud("b.pdc")
        self.put("c.csv", b"x,y,z\n1,2,3\x1b[2J\n")
        self.put("d.mrmap", b'declare map "e" ( dim 3, global string 40 "by" ) end declare map "m" "e" '
                            b'global { "x\\x1b[2J\\x0ay\\x9b" } end map')
        for args in (("info", "a.pdc"), ("check", "a.pdc"), ("diff", "a.pdc", "b.pdc"), ("info", "c.csv"),
                     ("info", "d.mrmap"), ("convert", "a.pdc", "a.0001.mrmap"), ("info", "no" + self.EVIL),
                     ("view", "a.pdc", "-o", "b.png", "--by", "no")):
            done = subprocess.run([PROGRAM, *args], capture_output=True, cwd=self.folder, timeout=60)
            text = done.stdout + done.stderr
            self.assertNotEqual(text, b"")
            self.assertIsNone(re.search(rb"[\x00-\x08\x0b-\x1f\x7f]", text), (args, text))
            text.decode("utf-8")
            for line in text.splitlines():
                self.assertFalse(line.startswith(b"vx_cache: ok"), (args, text))
        self.assertIn(b"a\\x1b]0;pwned\\x07\\x0avx_cache: ok",
                      self.run_tool("info", "a.pdc").stdout)

    def test_nohup(self):
        self.put("a.pdc", cf.pdc(FULL, 3))
        code = ("import os, signal, sys; signal.signal(signal.SIGHUP, signal.SIG_IGN); "
                "os.execv(sys.argv[1], sys.argv[1:])")
        for ignored in (False, True):
            start = [sys.executable, "-c", code] if ignored else []
            with subprocess.Popen([*start, PROGRAM, "info", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE) as running:
                running.stdin.write(self.get("a.pdc"))
                running.stdin.flush()
                while not catches(running.pid, signal.SIGQUIT):  # whose handler is installed after SIGHUP's
                    time.sleep(0.01)
                running.send_signal(signal.SIGHUP)
                running.communicate(timeout=60)
            self.assertEqual(running.returncode, 0 if ignored else 128 + signal.SIGHUP)


def catches(pid, number):
    with open(f"/proc/{pid}/status") as f:
        masks = dict(line.split(":", 1) for line in f)
    return int(masks["SigCgt"], 16) >> (number - 1) & 1


if __name__ == "__main__":
    unittest.main()
