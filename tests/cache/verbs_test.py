"""The verbs of vx_cache, run as a pipeline runs them. Arguments: the program, then unittest's own."""

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
from folder_case import FolderCase
import image_files

PROGRAM = os.path.abspath(sys.argv.pop(1))
POSITION = [0, 0, 0, 1, 0, 0, 2, 0, 0]
COLOR = [0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9]
OPACITY = [0.25, 0.5, 1.0]
TAG = [1, 2, 4]
FULL = [("position", 5, POSITION), ("normalPP", 5, [0, 1, 0] * 3), ("rgbPP", 5, COLOR), ("opacityPP", 3, OPACITY),
        ("tag", 3, TAG)]


def f32(v):
    return struct.unpack("f", struct.pack("f", v))[0]


def without(*names):
    return [a for a in FULL if a[0] not in names]


class Case(FolderCase):
    def run_tool(self, *args, status=0, says=None, **kwargs):
        kwargs.setdefault("timeout", 60)
        kwargs.setdefault("cwd", self.folder)
        done = subprocess.run([PROGRAM, *map(str, args)], capture_output=True, **kwargs)
        self.assertEqual(done.returncode, status, (args, done.stdout, done.stderr))
        if says is not None:
            self.assertIn(says, done.stderr.decode())
        return done

    def cloud(self, name, attributes=None):
        attributes = FULL if attributes is None else attributes
        return self.put(name, cf.pdc(attributes, 3))

    def values(self, name, attribute):
        return cf.read_pdc(self.get(name))[1][attribute][1]

    def info(self, name):
        return json.loads(self.run_tool("info", "--json", name).stdout)[0]


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
        labels = [0, 1, 2, 3, 7, 12, 13, 100, 1000000, -4, 4294967301]
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


class Outputs(Case):
    def test_access_rights_of_replaced_files_stay(self):
        self.cloud("a.pdc")
        for name in ("b.ply", "b.mrmap", "b.npz"):
            for mode in (0o600, 0o640, 0o755):
                self.put(name, b"old")
                os.chmod(self.path(name), mode)
                self.run_tool("convert", "-q", "--force", "a.pdc", name)
                self.assertEqual(os.stat(self.path(name)).st_mode & 0o7777, mode, name)

    def test_links_stay_links(self):
        self.cloud("a.pdc")
        os.mkdir(self.path("real"))
        for force in ((), ("--force",)):
            os.symlink("real/b.ply", self.path("link.ply"))
            self.run_tool("convert", *force, "a.pdc", "link.ply")
            self.assertEqual(os.readlink(self.path("link.ply")), "real/b.ply")
            self.assertEqual(len(cf.read_ply(self.get("real/b.ply"))[1]["vertex"]["x"]), 3)
            os.unlink(self.path("real/b.ply"))
            os.unlink(self.path("link.ply"))

    def test_standard_output(self):
        self.cloud("a.pdc")
        done = self.run_tool("filter", "a.pdc", "-", "--to", "ply", "--labels", "2")
        self.assertEqual(cf.read_ply(done.stdout)[1]["vertex"]["x"], [1])
        again = self.run_tool("info", "--json", "-", input=done.stdout)
        self.assertEqual(json.loads(again.stdout)[0]["points"], 1)
        done = self.run_tool("merge", "-v", "a.pdc", "a.pdc", "-o", "-", "--to", "pdc")
        self.assertEqual(cf.read_pdc(done.stdout)[0], 6)
        self.assertIn("6 points", done.stderr.decode())
        self.run_tool("convert", "a.pdc", "-", status=2, says="--to")
        self.assertEqual(os.listdir(self.folder), ["a.pdc"])

    def test_closed_pipes_end_quietly(self):
        count = 20000
        self.put("a.pdc", cf.pdc([("position", 5, [0.5] * 3 * count)], count))
        for args in (("convert", "a.pdc", "-", "--to", "csv"), ("info", *["a.pdc"] * 2000)):
            environment = {**os.environ, "TMPDIR": self.folder}
            with subprocess.Popen([PROGRAM, *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder,
                                  env=environment) as running:
                running.stdout.read(10)
                running.stdout.close()
                self.assertEqual(running.stderr.read(), b"")
                self.assertEqual(running.wait(timeout=60), 128 + signal.SIGPIPE)
            self.assertEqual(os.listdir(self.folder), ["a.pdc"])

    def test_clouds_are_not_for_terminals(self):
        self.cloud("a.pdc")
        terminal, side = os.openpty()
        done = subprocess.run([PROGRAM, "convert", "a.pdc", "-", "--to", "ply"], stdout=side, stderr=subprocess.PIPE,
                              cwd=self.folder)
        os.close(side)
        os.close(terminal)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"terminal", done.stderr)


class Edits(Case):
    def test_names(self):
        self.put("a.csv", b"P.x,P.y,P.z,Cd.x,Cd.y,Cd.z,myTag\n1,2,3,0.5,1,0.25,4\n")
        self.run_tool("convert", "a.csv", "b.pdc", "--rename", "myTag=tag", says="'P' is read as 'position'")
        _, values = cf.read_pdc(self.get("b.pdc"))
        self.assertEqual({n: v for n, (_, v) in values.items()},
                         {"position": [1, 2, 3], "rgbPP": [0.5, 1, 0.25], "tag": [4]})
        for rename, says in (("no=tag", "no attribute 'no'"), ("myTag=Cd", ""), ("myTag=position", "already"),
                             ("myTag=normalPP", "3 values")):
            self.run_tool("convert", "-f", "a.csv", "c.pdc", "--rename", rename,
                          status=0 if says == "" else 1, says=says)

    def test_drop_and_keep(self):
        self.cloud("a.pdc")
        self.run_tool("convert", "a.pdc", "b.pdc", "--drop", "tag,normalPP")
        self.assertEqual(list(cf.read_pdc(self.get("b.pdc"))[1]), ["position", "rgbPP", "opacityPP"])
        # What is left out may still select points.
        self.run_tool("filter", "a.pdc", "c.pdc", "--keep", "position", "--labels", "2")
        self.assertEqual(cf.read_pdc(self.get("c.pdc")), (1, {"position": (5, [1, 0, 0])}))
        self.run_tool("convert", "a.pdc", "d.pdc", "--drop", "no", status=1, says="no attribute 'no'")

    def test_drop_makes_clouds_fit_for_merge(self):
        self.cloud("a.pdc")
        self.cloud("b.pdc", without("normalPP"))
        self.run_tool("merge", "a.pdc", "b.pdc", "-o", "m.pdc", status=1)
        self.run_tool("merge", "a.pdc", "b.pdc", "-o", "m.pdc", "--keep", "position,tag")
        self.assertEqual(self.values("m.pdc", "tag"), TAG * 2)

    def test_set(self):
        self.cloud("a.pdc")
        self.run_tool("convert", "a.pdc", "b.pdc", "--set", "rgbPP=rgbPP*0.5", "--set", "tag=3", "--set",
                      "up=0,opacityPP,1", "--set", "height=position.x^2")
        for got, want in zip(self.values("b.pdc", "rgbPP"), COLOR):
            self.assertEqual(got, want * 0.5)
        self.assertEqual(self.values("b.pdc", "tag"), [3, 3, 3])
        self.assertEqual(self.values("b.pdc", "up"), [0, 0.25, 1, 0, 0.5, 1, 0, 1, 1])
        self.assertEqual(self.values("b.pdc", "height"), [0, 1, 4])
        self.run_tool("convert", "a.pdc", "c.pdc", "--set", "tag=tagg+1", status=1, says="column 1")
        self.run_tool("convert", "a.pdc", "c.pdc", "--set", "tag=(tag", status=2, says="column 5")
        self.run_tool("convert", "a.pdc", "c.pdc", "--set", "rgbPP=1,2", status=2, says="3 values")
        self.assertFalse(os.path.exists(self.path("c.pdc")))

    def test_set_beyond_one_run_of_points(self):
        count = 20000
        self.put("a.pdc", cf.pdc([("position", 5, range(3 * count))], count))
        self.run_tool("filter", "a.pdc", "b.pdc", "--set", "n=position.x/3", "--where", "n >= 19990 || n == 8192")
        self.assertEqual(self.values("b.pdc", "n"), [8192, *range(19990, 20000)])

    def test_cast(self):
        self.cloud("a.pdc")
        self.run_tool("convert", "a.pdc", "b.npz", "--cast", "tag=int32", "--cast", "rgbPP=float32")
        types = {a["name"]: a["type"] for a in self.info("b.npz")["attributes"]}
        self.assertEqual((types["tag"], types["rgbPP"], types["opacityPP"]), ("int32", "float32", "float64"))
        self.run_tool("convert", "a.pdc", "c.npz", "--cast", "opacityPP=int32", says="'opacityPP': values do not fit")
        self.run_tool("convert", "a.pdc", "d.npz", "--cast", "tag=short", status=2, says="'short'")

    def test_where(self):
        self.cloud("a.pdc")
        for where, tags in (("opacityPP >= 0.5 && position.x < 2", [2]), ("tag != 2", [1, 4]), ("0", []),
                            ("sqrt(position.x - 2)", []), ("rgbPP.r > 0.3", [2, 4])):
            self.run_tool("filter", "-f", "a.pdc", "b.pdc", "--where", where)
            self.assertEqual(self.values("b.pdc", "tag"), tags, where)
        self.run_tool("filter", "a.pdc", "c.pdc", "--where", "tag = 4", status=2, says="column 5")
        self.run_tool("filter", "a.pdc", "c.pdc", "--where", "tag < label", status=1, says="column 7")


class Sequences(Case):
    def frames(self, *numbers):
        for n in numbers:
            self.put("a.%04d.pdc" % n, cf.pdc(FULL + [("frame", 2, [n])], 3))

    def test_all_ways_to_write_a_frame_in_input_and_output(self):
        self.frames(1, 2, 3)
        for k, field in enumerate(("####", "@@@@", "%04d", "$F4")):
            self.run_tool("convert", "a.%s.pdc" % field, "b%d.%s.ply" % (k, field))
            for n in (1, 2, 3):
                _, ply = cf.read_ply(self.get("b%d.%04d.ply" % (k, n)))
                self.assertEqual(ply["cloud"]["frame"], [n])
        self.assertEqual(len(self.run_tool("info", "--short", "a.%04d.pdc").stdout.splitlines()), 3)
        self.run_tool("merge", "a.$F4.pdc", "-o", "all.pdc")
        self.assertEqual(cf.read_pdc(self.get("all.pdc"))[0], 9)
        self.run_tool("merge", "a.####.pdc", "a.0001.pdc", "-o", "m.@@@.pdc")
        self.assertEqual([cf.read_pdc(self.get("m.00%d.pdc" % n))[0] for n in (1, 2, 3)], [6, 6, 6])

    def test_missing_frames_are_listed_and_an_error(self):
        self.frames(1, 2, 4, 8)
        done = self.run_tool("convert", "-q", "a.####.pdc", "b.####.pdc", status=1,
                             says="a.####.pdc: 4 of 8 frames missing: 3, 5-7 (a.0003.pdc and so on)")
        self.assertEqual(len(done.stderr.splitlines()), 1)
        self.assertTrue(os.path.exists(self.path("b.0008.pdc")))
        self.run_tool("check", "-q", "a.####.pdc", "--frames", "2,3", status=1, says="missing: 3 (a.0003.pdc)")
        self.run_tool("info", "a.####.pdc", "--frames", "2-8x2", status=1, says="missing: 6")
        self.frames(6)
        os.unlink(self.path("a.0001.pdc"))
        self.run_tool("info", "a.####.pdc")  # every other frame

    def test_diff_of_two_sequences(self):
        self.frames(1, 2)
        self.run_tool("convert", "-q", "a.####.pdc", "b.####.ply")
        self.run_tool("diff", "a.####.pdc", "b.####.ply")
        self.run_tool("transform", "-q", "-f", "--scale", "2", "a.0002.pdc", "b.0002.ply")
        done = self.run_tool("diff", "--json", "a.####.pdc", "b.####.ply", status=1)
        self.assertEqual([d["differs"] for d in json.loads(done.stdout)], [False, True])
        os.unlink(self.path("b.0001.ply"))
        self.run_tool("diff", "a.####.pdc", "b.####.ply", status=1, says="b.####.ply: 1 of 2 frames missing: 1")

    def test_newer_outputs_are_skipped(self):
        self.frames(1, 2, 3)
        self.run_tool("convert", "-q", "a.####.pdc", "b.####.pdc")
        before = [os.stat(self.path("b.000%d.pdc" % n)).st_ino for n in (1, 2, 3)]
        late = time.time() + 100
        os.utime(self.path("a.0002.pdc"), (late, late))
        self.run_tool("convert", "a.####.pdc", "b.####.pdc", "--newer", says="3 frames: 1 written, 2 skipped")
        after = [os.stat(self.path("b.000%d.pdc" % n)).st_ino for n in (1, 2, 3)]
        self.assertEqual([a == b for a, b in zip(before, after)], [True, False, True])

    def test_one_summary_for_all_frames(self):
        self.frames(1, 2, 3)
        lines = self.run_tool("convert", "a.####.pdc", "b.####.mrmap").stderr.decode().splitlines()
        self.assertIn("vx_cache: 'frame': is not carried into the map (3 frames)", lines)
        self.assertEqual(lines[-1], "vx_cache: 3 frames: 3 written")
        self.assertEqual(len(lines), len(set(lines)))
        self.assertLess(len(lines), 6)

    def test_jobs_give_the_same(self):
        self.frames(*range(1, 9))
        self.put("a.0005.pdc", b"PDC ")
        results = []
        for jobs in (1, 3):
            done = self.run_tool("convert", "-v", "a.####.pdc", "b%d.####.ply" % jobs, "--jobs", jobs, status=1,
                                 says="a.0005.pdc: byte 4")
            text = done.stderr.decode().replace("b%d" % jobs, "b")
            self.assertIn("8 frames: 7 written, 1 failed", text)
            report = self.run_tool("info", "--json", "a.####.pdc", "--jobs", jobs, status=1).stdout
            shown = self.run_tool("info", "a.####.pdc", "--jobs", jobs, status=1).stdout
            results.append((text, report, shown, [self.get("b%d.%04d.ply" % (jobs, n)) for n in (1, 8)]))
        self.assertEqual(results[0], results[1])
        self.run_tool("filter", "a.0001.pdc", "c.pdc", "--where", "tag = 1", "--jobs", "2", status=2)
        self.run_tool("filter", "a.####.pdc", "c.####.pdc", "--where", "tag = 1", "--jobs", "2", status=2,
                      says="column 5")

    def test_jobs_end_with_their_parent(self):
        count = 3000000
        for n in (1, 2):
            with open(self.path("a.%d.pdc" % n), "wb") as f:
                f.write(b"PDC " + struct.pack(">6i", 1, 1, 0, 0, count, 1))
                f.write(struct.pack(">i", 8) + b"position" + struct.pack(">i", 5))
                f.truncate(f.tell() + 24 * count)
        with subprocess.Popen([PROGRAM, "convert", "-q", "a.#.pdc", "b.#.csv", "--jobs", "2"],
                              cwd=self.folder, stderr=subprocess.PIPE) as running:
            while len(os.listdir(self.folder)) < 4:
                time.sleep(0.001)
            running.terminate()
            running.stderr.read()  # ends with the last process
        self.assertEqual(running.returncode, 128 + signal.SIGTERM)
        self.assertEqual(sorted(os.listdir(self.folder)), ["a.1.pdc", "a.2.pdc"])


class Report(Case):
    def report(self, *args, status=0):
        report = json.loads(self.run_tool(*args, "--json", status=status).stdout.decode("utf-8"))
        self.assertIsInstance(report, list)
        for record in report:
            self.assertEqual(record["verb"], args[0])
            self.assertIsInstance(record["ok"], bool)
            for message in record["messages"]:
                self.assertIn(message["severity"], ("error", "warning", "note", "details"))
                self.assertIsInstance(message["text"], str)
        return report

    def test_every_verb(self):
        self.cloud("a.pdc")
        self.assertEqual(self.report("info", "a.pdc")[0]["points"], 3)
        self.assertEqual(self.report("check", "a.pdc")[0]["findings"], [])
        self.assertEqual(self.report("diff", "a.pdc", "a.pdc")[0]["differs"], False)
        self.assertEqual(len(self.report("lookup", "a.pdc", "--point", "0,0,0")[0]["lookups"]), 1)
        (record,) = self.report("filter", "a.pdc", "b.ply", "--labels", "1,2")
        self.assertEqual((record["file"], record["output"], record["format"]), ("a.pdc", "b.ply", "ply"))
        self.assertEqual((record["points_read"], record["points"], record["kept"], record["dropped"]), (3, 2, 2, 1))
        self.assertEqual([a["name"] for a in record["attributes"]], [a[0] for a in FULL])
        (record,) = self.report("merge", "a.pdc", "a.pdc", "-o", "m.pdc")
        self.assertEqual((record["inputs"], record["points_read"], record["points"]), (["a.pdc"] * 2, 6, 6))
        self.assertEqual(self.report("transform", "a.pdc", "t.pdc", "--scale", "2")[0]["points"], 3)
        (record,) = self.report("convert", "a.pdc", "a.mrmap", "--set", "up=1")
        self.assertIn({"severity": "note", "text": "a.mrmap: 'up': is not carried into the map"}, record["messages"])
        (record,) = self.report("view", "a.pdc", "-o", "a.png", "--size", "20x10")
        self.assertEqual((record["output"], record["width"], record["height"]), ("a.png", 20, 10))

    def test_missing_frames(self):
        self.cloud("a.1.pdc")
        self.cloud("a.3.pdc")
        self.cloud("a.4.pdc")
        missing, *others = self.report("convert", "a.#.pdc", "b.#.pdc", status=1)
        self.assertEqual((missing["missing_frames"], missing["ok"]), ([2], False))
        self.assertEqual([r["ok"] for r in others], [True] * 3)
        (record,) = self.report("info", "n.#.pdc", status=1)
        self.assertEqual(record["ok"], False)

    def test_failures(self):
        (record,) = self.report("convert", "no.pdc", "b.pdc", status=1)
        self.assertEqual((record["ok"], record["messages"][0]["severity"]), (False, "error"))
        self.cloud("a.pdc")
        self.cloud("b.pdc", without("rgbPP"))
        self.assertEqual(self.report("diff", "a.pdc", "b.pdc", status=1)[0]["ok"], False)
        done = self.run_tool("convert", "a.pdc", "-", "--to", "ply", "--json", status=2)
        self.assertEqual(done.stdout, b"")

    def test_any_name_gives_valid_json(self):
        for name in (b"\xff\xfe", b"a\x00b", b"\"\\", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\n\x1b"):
            evil = cf.pdc(FULL + [("NAME", 3, [1, math.nan, math.inf])], 3)
            self.put("a.pdc", evil.replace(struct.pack(">i", 4) + b"NAME", struct.pack(">i", len(name)) + name))
            for args in (("info", "a.pdc"), ("check", "a.pdc"), ("diff", "a.pdc", "a.pdc"),
                         ("convert", "-f", "a.pdc", "b.ply"), ("convert", "-f", "a.pdc", "b.0001.mrmap"),
                         ("lookup", "a.pdc", "--point", "0,0,0")):
                done = subprocess.run([PROGRAM, *args, "--json"], capture_output=True, cwd=self.folder)
                self.assertEqual(len(json.loads(done.stdout.decode("utf-8"))), 1, (name, args))

    def test_short_is_one_line_per_file(self):
        self.cloud("a.pdc")
        self.cloud("b.pdc", without("tag"))
        self.assertEqual(self.run_tool("info", "--short", "a.pdc", "b.pdc").stdout.decode(),
                         "a.pdc: pdc, 3 points, position normalPP rgbPP opacityPP tag\n"
                         "b.pdc: pdc, 3 points, position normalPP rgbPP opacityPP\n")


class ForRadius(Case):
    def test_a_grid_is_thinned_and_the_costs_are_reported(self):
        side = 100
        grid = [v for k in range(side * side) for v in (k % side * 0.01, 0, k // side * 0.01)]
        self.put("a.pdc", cf.pdc([("position", 5, grid)], side * side))
        done = self.run_tool("filter", "--json", "--for-radius", "0.1", "--points", "20", "a.pdc", "b.pdc")
        (record,) = json.loads(done.stdout)
        chosen = record["thinning"]
        # The disc of 10 steps has about 317 points of the grid, somewhat less at its border.
        self.assertLess(250, chosen["points_per_lookup_before"])
        self.assertLess(chosen["points_per_lookup_before"], 318)
        kept = self.values("b.pdc", "position")
        points = list(zip(kept[::3], kept[2::3]))
        self.assertEqual(record["points"], len(points))
        nearest = min(math.dist(a, b) for i, a in enumerate(points) for b in points[:i])
        self.assertGreaterEqual(nearest, chosen["spacing"] - 1e-12)
        middle = [sum(math.dist((x * 0.01, z * 0.01), p) <= 0.1 for p in points)
                  for x in range(20, 80, 7) for z in range(20, 80, 7)]
        # Lookups at the border find fewer points, so those in the middle find more than the mean.
        self.assertLess(18, sum(middle) / len(middle))
        self.assertLess(sum(middle) / len(middle), 26)
        text = self.run_tool("filter", "-f", "--for-radius", "0.1", "a.pdc", "b.pdc").stderr.decode()
        self.assertIn("b.pdc: spacing 0.0", text)

    def test_wrong_use(self):
        self.cloud("a.pdc")
        for args in (("--for-radius", "0"), ("--for-radius", "1", "--spacing", "1"), ("--points", "3"),
                     ("--for-radius", "1", "--points", "0")):
            self.run_tool("filter", *args, "a.pdc", "b.pdc", status=2)


if __name__ == "__main__":
    unittest.main()
