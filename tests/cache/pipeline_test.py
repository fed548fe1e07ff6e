"""vx_cache in a pipeline: outputs, edits, sequences and reports. Arguments: the program, then unittest's own."""

import json
import math
import os
import signal
import struct
import subprocess
import time
import unittest

import cloud_files as cf
from verbs_case import COLOR, FULL, PROGRAM, TAG, Case, without


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
        self.run_tool("convert", "-q", "--double", "a.####.pdc", "b.####.ply")
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
