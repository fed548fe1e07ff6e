"""Runs vx_cache as its users do. Arguments: the program, then unittest's own."""

import json
import os
import random
import resource
import signal
import struct
import subprocess
import sys
import time
import unittest
import zipfile

import cloud_files as cf
from folder_case import FolderCase

PROGRAM = os.path.abspath(sys.argv.pop(1))
SANITIZED = os.environ.get("VX_SANITIZED") == "1"
N = 7
POSITION = [x * 0.1 for x in range(3 * N)]
NORMAL = [0.0, 0.6, 0.8] * N
COLOR = [(k % 5) / 5 for k in range(3 * N)]
OPACITY = [0.5, 1.0, 0.25, 0.75, 1.0, 0.1, 0.3]
TAG = [0, 1, 1, 2, 3, 7, -4]
SEVEN = [("opacityPP", 3, OPACITY), ("radius", 2, [0.05]), ("id", 3, list(range(N))), ("tag", 3, TAG),
         ("position", 5, POSITION), ("rgbPP", 5, COLOR), ("normalPP", 5, NORMAL)]


def run(*args, **kwargs):
    kwargs.setdefault("timeout", 120)
    return subprocess.run([PROGRAM, *map(str, args)], capture_output=True, **kwargs)


def f32(v):
    return struct.unpack("f", struct.pack("f", v))[0]


class Case(FolderCase):
    def ok(self, *args, **kwargs):
        done = run(*args, **kwargs)
        self.assertEqual(done.returncode, 0, (args, done.stderr))
        return done

    def fails(self, *args, status=1, says=None, **kwargs):
        done = run(*args, **kwargs)
        self.assertEqual(done.returncode, status, (args, done.stdout, done.stderr))
        if says is not None:
            self.assertIn(says, done.stderr.decode())
        return done

    def nothing_left(self, *names):
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(names))


class Formats(Case):
    def setUp(self):
        super().setUp()
        self.source = self.put("a.pdc", cf.pdc(SEVEN, N))

    def test_pdc_to_pdc_keeps_every_byte(self):
        self.ok("convert", "--pdc-types", "keep", self.source, self.path("b.pdc"))
        self.assertEqual(self.get("b.pdc"), self.get("a.pdc"))

    def test_all_six_codes_any_names_and_order_are_kept(self):
        data = cf.pdc([("velocity", 5, POSITION), ("mass", 2, [2.5]), ("group", 0, [-3]),
                       ("n", 1, TAG), ("up", 4, [0, 1, 2]), ("position", 5, POSITION), ("age", 3, OPACITY)], N)
        for name in ("ply", "npz"):
            self.ok("convert", "--double", self.put("six.pdc", data), self.path("six." + name))
            self.ok("convert", "-f", "--pdc-types", "keep", self.path("six." + name), self.path("back.pdc"))
            self.assertEqual(sorted(cf.read_pdc(self.get("back.pdc"))[1].items()),
                             sorted(cf.read_pdc(data)[1].items()), name)

    def test_ply_in_every_encoding_by_an_independent_reader(self):
        for encoding in ("little", "big", "ascii"):
            out = self.path(encoding + ".ply")
            self.ok("convert", "--double", "--encoding", encoding, self.source, out)
            _, ply = cf.read_ply(self.get(encoding + ".ply"))
            self.assertEqual(ply["vertex"]["x"], POSITION[0::3])
            self.assertEqual(ply["vertex"]["nz"], NORMAL[2::3])
            self.assertEqual(ply["vertex"]["green"], COLOR[1::3])
            self.assertEqual(ply["vertex"]["tag"], TAG)
            self.assertEqual(ply["cloud"]["radius"], [0.05])

    def test_npz_by_an_independent_reader(self):
        self.ok("convert", self.source, self.path("a.npz"))
        arrays = cf.read_npz(self.path("a.npz"))
        self.assertEqual(arrays["position"], ((N, 3), POSITION))
        self.assertEqual(arrays["radius"], ((), [0.05]))
        self.assertEqual(arrays["tag"], ((N,), TAG))

    def test_deflated_npz_is_read(self):
        self.ok("convert", self.source, self.path("a.npz"))
        with zipfile.ZipFile(self.path("a.npz")) as old, \
                zipfile.ZipFile(self.path("packed.npz"), "w", zipfile.ZIP_DEFLATED) as new:
            for name in old.namelist():
                new.writestr(name, old.read(name))
        self.ok("diff", self.source, self.path("packed.npz"))

    def test_csv_text(self):
        data = cf.pdc([("position", 5, [0, 1, -2.5, 0.1, 1e30, 3]), ("tag", 1, [4, -5])], 2)
        self.ok("convert", self.put("s.pdc", data), self.path("s.csv"))
        self.assertEqual(self.get("s.csv"),
                         b"position.x,position.y,position.z,tag\n0,1,-2.5,4\n0.1,1e+30,3,-5\n")

    def test_usda_by_an_independent_reader(self):
        done = self.ok("convert", self.source, self.path("a.usda"))
        self.assertIn("do not fit float32", done.stderr.decode())
        prim = cf.read_usda(self.get("a.usda").decode())
        self.assertEqual([f32(v) for v in prim["points"][1]], [f32(v) for v in POSITION])
        self.assertEqual([f32(v) for v in prim["widths"][1]], [f32(2 * f32(0.05))])
        self.assertEqual(prim["ids"], ("int64[]", list(range(N))))
        self.assertEqual(prim["primvars:tag"], ("int[]", TAG))

    def test_round_trips_through_every_pair_of_formats(self):
        # Values that 32-bit floats hold, so that every format can hold all of them.
        exact = [(n, c, [f32(v) for v in values]) for n, c, values in SEVEN]
        source = self.put("exact.pdc", cf.pdc(exact, N))
        formats = ("pdc", "ply", "csv", "usda", "npz", "mrmap", "bgeo", "xyz")
        for first in formats:
            one = self.path("one." + first)
            self.ok("convert", "-f", "--all-fields", source, one)
            for second in formats:
                two = self.path("two." + second)
                self.ok("convert", "-f", "--all-fields", one, two)
                done = run("diff", "--json", source, two)
                self.assertEqual(done.returncode, 0, (first, second, done.stdout, done.stderr))
                self.assertEqual(len(json.loads(done.stdout)[0]["attributes"]), 7)

    def test_map_holds_the_four_fields_of_the_shaders_maps(self):
        self.ok("convert", self.source, self.path("a.mrmap"))
        info = json.loads(self.ok("info", "--json", self.path("a.mrmap")).stdout)[0]
        self.assertEqual([(a["name"], a["type"], a["width"]) for a in info["attributes"]],
                         [("position", "float32", 3), ("normalPP", "float32", 3), ("rgbPP", "float32", 3),
                          ("opacityPP", "float32", 1), ("tag", "int32", 1)])

    def test_map_encodings_hold_the_same(self):
        self.ok("convert", self.source, self.path("closed.mrmap"))
        for encoding in ("open", "ascii"):
            out = self.path(encoding + ".mrmap")
            self.ok("convert", "--encoding", encoding, self.source, out)
            self.ok("diff", self.path("closed.mrmap"), out)

    def test_map_labels_follow_the_shaders_syntax(self):
        self.ok("convert", "--labels", "7,1-2,5-3,x,-4", self.source, self.path("l.mrmap"))
        self.ok("convert", self.path("l.mrmap"), self.path("l.pdc"))
        count, values = cf.read_pdc(self.get("l.pdc"))
        self.assertEqual(values["tag"][1], [1, 1, 2, 7])
        self.assertEqual([f32(v) for v in values["opacityPP"][1]], [f32(v) for v in (1.0, 0.25, 0.75, 0.1)])

    def test_empty_clouds_in_every_format(self):
        source = self.put("none.pdc", cf.pdc([("position", 5, []), ("rgbPP", 5, []), ("tag", 3, [])], 0))
        for name in ("pdc", "ply", "csv", "usda", "npz", "mrmap", "bgeo", "xyz", "pts"):
            self.ok("convert", "-f", source, self.path("none2." + name))
            info = json.loads(self.ok("info", "--json", self.path("none2." + name)).stdout)[0]
            self.assertEqual(info["points"], 0, name)

    def test_not_a_number_and_infinity_survive(self):
        odd = [float("nan"), float("inf"), float("-inf")]
        source = self.put("odd.pdc", cf.pdc([("position", 5, [0.0] * 9), ("rgbPP", 5, [0.5] * 9),
                                               ("opacityPP", 3, odd)], 3))
        for name in ("ply", "csv", "usda", "npz", "mrmap", "bgeo", "xyz"):
            self.ok("convert", "-f", "--all-fields", source, self.path("odd." + name))
            self.ok("diff", source, self.path("odd." + name))


class Verbs(Case):
    def setUp(self):
        super().setUp()
        self.source = self.put("a.pdc", cf.pdc(SEVEN, N))

    def test_info_figures(self):
        info = json.loads(self.ok("info", "--json", self.source).stdout)[0]
        self.assertEqual(info["points"], N)
        opacity = info["attributes"][0]
        self.assertEqual((opacity["min"], opacity["max"]), (0.1, 1.0))
        self.assertAlmostEqual(opacity["mean"], sum(OPACITY) / N)
        self.assertEqual(info["points_per_label"], {"-4": 1, "0": 1, "1": 2, "2": 1, "3": 1, "7": 1})
        # Neighbors are 3 steps of 0.1 apart on every axis.
        self.assertAlmostEqual(info["spacing"]["median"], 0.3 * 3 ** 0.5)

    def test_info_goes_on_after_a_bad_file(self):
        bad = self.put("bad.pdc", b"PDC ")
        done = self.fails("info", bad, self.source, says="bad.pdc: byte 4: ")
        self.assertIn(b"points    7", done.stdout)

    def test_frame_patterns(self):
        for frame in (1, 2, 3):
            self.put("s.%04d.pdc" % frame, self.get("a.pdc"))
        done = self.ok("info", "--json", self.path("s.####.pdc"))
        self.assertEqual(len(json.loads(done.stdout)), 3)
        self.ok("convert", self.path("s.####.pdc"), self.path("s.####.ply"), "--frames", "1-3x2")
        self.assertTrue(os.path.exists(self.path("s.0003.ply")))
        self.assertFalse(os.path.exists(self.path("s.0002.ply")))
        self.fails("info", self.path("s.####.pdc"), "--frames", "3-4", says="s.0004.pdc")
        self.fails("info", self.path("s.####.pdc"), "--frames", "4-3", status=2)

    def test_check_finds_what_is_odd_and_where(self):
        data = cf.pdc([("position", 5, [0, 0, 0, 1, float("nan"), 0]), ("normalPP", 5, [0, 0, 1, 0, 0, 2]),
                       ("opacityPP", 3, [0.5, 1.5]), ("id", 3, [4, 4]), ("rgbPP", 4, [1, 1, 1])], 2) + b"xyz"
        done = self.fails("check", "--json", self.put("odd.pdc", data))
        found = {(f["severity"], f["offset"]) for f in json.loads(done.stdout)[0]["findings"]}
        first = 28 + 4 + 8 + 4  # behind the first record's name and code
        normal = first + 48 + 4 + 8 + 4
        opacity = normal + 48 + 4 + 9 + 4
        ids = opacity + 16 + 4 + 2 + 4
        self.assertEqual(found, {("error", first + 24), ("warning", normal + 24), ("warning", opacity + 8),
                                 ("warning", ids + 8), ("warning", len(data) - 3)})
        self.ok("check", self.source)

    def test_check_sees_a_wrong_check_sum(self):
        self.ok("convert", self.source, self.path("a.npz"))
        raw = bytearray(self.get("a.npz"))
        raw[raw.index(struct.pack("<d", 0.75))] ^= 1
        done = self.fails("check", self.put("bad.npz", raw))
        self.assertIn(b"checksum", done.stdout)

    def test_filter_criteria(self):
        def kept(*args):
            self.ok("filter", "-f", *args, self.source, self.path("k.pdc"))
            return cf.read_pdc(self.get("k.pdc"))[1]["id"][1]
        self.assertEqual(kept("--labels", "1,3"), [1, 2, 4])
        self.assertEqual(kept("--labels", "1,3", "--invert"), [0, 3, 5, 6])
        self.assertEqual(kept("--box", "0.25,0,0,1.25,9,9"), [1, 2, 3, 4])
        self.assertEqual(kept("--around", "0,0.1,0.2,0.52"), [0, 1])
        self.assertEqual(kept("--opacity", "0.5,0.9"), [0, 3])
        self.assertEqual(kept("--cone", "0,0,1,30"), [])
        self.assertEqual(kept("--cone", "0,0,1,37"), list(range(N)))
        self.assertEqual(kept("--spacing", "0.6"), [0, 2, 4, 6])
        self.assertEqual(kept("--random", "0"), [])

    def test_merge_renumbers_and_drops_twins(self):
        self.ok("merge", self.source, self.source, "-o", self.path("m.pdc"))
        count, values = cf.read_pdc(self.get("m.pdc"))
        self.assertEqual((count, values["id"][1]), (2 * N, list(range(2 * N))))
        self.assertEqual(values["position"][1], POSITION * 2)
        self.ok("merge", self.source, self.source, "-o", self.path("d.pdc"), "--distance", "0.01")
        self.assertEqual(cf.read_pdc(self.get("d.pdc"))[1]["position"][1], POSITION)

    def test_transform_moves_points_normals_and_radius(self):
        self.ok("transform", "--scale", "2", "--up", "y-to-z", "--translate", "1,0,0", self.source,
                self.path("t.pdc"))
        _, values = cf.read_pdc(self.get("t.pdc"))
        x, y, z = POSITION[3:6]
        for got, want in zip(values["position"][1][3:6], (2 * x + 1, -2 * z, 2 * y)):
            self.assertAlmostEqual(got, want, places=12)
        for got, want in zip(values["normalPP"][1][:3], (0, -0.8, 0.6)):
            self.assertAlmostEqual(got, want, places=12)
        self.assertAlmostEqual(values["radius"][1][0], 0.1, places=12)

    def test_normals_stand_upright_after_uneven_scales(self):
        s = 0.5 ** 0.5
        data = cf.pdc([("position", 5, [1, 1, 0]), ("normalPP", 5, [s, s, 0])], 1)
        self.ok("transform", "--matrix", "2,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1", self.put("n.pdc", data),
                self.path("t.pdc"))
        normal = cf.read_pdc(self.get("t.pdc"))[1]["normalPP"][1]
        for got, want in zip(normal, (1 / 5 ** 0.5, 2 / 5 ** 0.5, 0)):
            self.assertAlmostEqual(got, want, places=12)

    def test_diff(self):
        changed = [(n, c, [v + 0.25 if n == "opacityPP" and i == 2 else v for i, v in enumerate(vs)])
                   for n, c, vs in SEVEN]
        other = self.put("b.pdc", cf.pdc(changed, N))
        done = self.fails("diff", "--json", self.source, other)
        opacity = [d for d in json.loads(done.stdout)[0]["attributes"] if d["name"] == "opacityPP"][0]
        self.assertEqual((opacity["points"], opacity["first"], opacity["max"]), (1, 2, 0.25))
        self.ok("diff", "--tolerance", "0.25", self.source, other)
        back = [(n, c, (vs if c % 2 == 0 else
                        [v for i in reversed(range(N)) for v in vs[i * len(vs) // N:(i + 1) * len(vs) // N]]))
                for n, c, vs in SEVEN]
        reverse = self.put("r.pdc", cf.pdc(back, N))
        self.fails("diff", self.source, reverse)
        self.ok("diff", "--nearest", "--distance", "1e-9", self.source, reverse)


class Command(Case):
    def setUp(self):
        super().setUp()
        self.source = self.put("a.pdc", cf.pdc(SEVEN, N))

    def test_wrong_use_is_status_2(self):
        for args in ((), ("nothing",), ("convert", self.source), ("convert", self.source, self.path("b.abc")),
                     ("filter", "--box", "1,2", self.source, self.path("b.ply")),
                     ("convert", "--encoding", "open", self.source, self.path("b.ply"))):
            self.fails(*args, status=2)
        self.nothing_left("a.pdc")

    def test_help_names_the_verbs_and_is_status_0(self):
        text = self.ok("--help").stdout.decode()
        for verb in ("info", "check", "lookup", "convert", "filter", "merge", "transform", "diff"):
            self.assertIn(verb, text)
            self.assertIn("Examples:", self.ok(verb, "--help").stdout.decode())

    def test_nothing_is_overwritten_without_force(self):
        self.put("b.ply", b"mine")
        self.fails("convert", self.source, self.path("b.ply"), says="--force")
        self.assertEqual(self.get("b.ply"), b"mine")
        self.ok("convert", "--force", self.source, self.path("b.ply"))
        self.nothing_left("a.pdc", "b.ply")

    def test_a_limit_on_the_size_of_files_is_an_error_that_leaves_nothing(self):
        large = self.put("large.pdc", cf.pdc([("position", 5, [0.5] * 60000), ("tag", 3, [1] * 20000)], 20000))
        for source, limit in ((self.source, 64), (large, 100000), (large, 300000)):
            def lower():
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))  # noqa: B023
            for name in ("pdc", "ply", "csv", "usda", "npz", "mrmap"):
                if limit == 300000 and name in ("csv", "usda", "mrmap"):
                    continue  # smaller than that
                self.fails("convert", "-q", "--fill", "rgbPP=1,1,1", source, self.path("b." + name), preexec_fn=lower,
                           says="b." + name + ": ")
                self.nothing_left("a.pdc", "large.pdc")

    def test_an_interrupted_write_leaves_nothing(self):
        # Holes behind true counts: much to write from little.
        count = 400000 if SANITIZED else 3000000
        with open(self.path("large.pdc"), "wb") as f:
            f.write(b"PDC " + struct.pack(">6i", 1, 1, 0, 0, count, 1))
            f.write(struct.pack(">i", 8) + b"position" + struct.pack(">i", 5))
            f.truncate(f.tell() + 24 * count)
        kept = ["a.pdc", "large.pdc"]
        for name, number in (("csv", signal.SIGINT), ("usda", signal.SIGHUP), ("mrmap", signal.SIGTERM),
                             ("npz", signal.SIGTERM), ("ply", signal.SIGTERM), ("pdc", signal.SIGQUIT)):
            for _ in range(20):
                with subprocess.Popen([PROGRAM, "convert", "-q", "--fill", "rgbPP=1,1,1", self.path("large.pdc"),
                                       self.path("b." + name)],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as run_now:
                    while run_now.poll() is None and sorted(os.listdir(self.folder)) == kept:
                        time.sleep(0.0005)
                    run_now.send_signal(number)
                    run_now.wait(timeout=60)
                if run_now.returncode != 0:
                    break
                os.unlink(self.path("b." + name))  # it had finished before
            self.assertEqual(run_now.returncode, 128 + number, name)
            self.nothing_left(*kept)

    def test_full_device(self):
        for name in ("pdc", "ply", "csv", "usda", "npz", "mrmap", "bgeo", "xyz", "pts"):
            self.fails("convert", "--to", name, self.source, "/dev/full", says="No space left")
        with open("/dev/full", "w") as full:
            done = subprocess.run([PROGRAM, "info", self.source], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 1)

    def test_directories_devices_and_missing_files(self):
        self.fails("info", self.folder, says="directory")
        self.fails("info", "/dev/zero", says="neither a file nor a pipe")
        self.fails("info", self.path("no.pdc"), says="No such file")
        self.fails("convert", self.source, self.folder + "/no/b.ply", says="No such file")
        self.fails("convert", "--to", "ply", self.source, self.folder, says="directory")

    def test_pipes(self):
        done = self.ok("info", "--json", "-", input=self.get("a.pdc"))
        self.assertEqual(json.loads(done.stdout)[0]["points"], N)
        done = self.ok("convert", "--to", "ply", "-", "/dev/stdout", input=self.get("a.pdc"))
        self.assertEqual(len(cf.read_ply(done.stdout)[1]["vertex"]["x"]), N)


class Hostile(Case):
    FORMATS = ("pdc", "ply", "csv", "usda", "npz", "mrmap", "bgeo", "xyz", "pts")

    def small(self, name):
        data = cf.pdc([("position", 5, [0, 1, 2, 3, 4, 5]), ("tag", 3, [1, 2]), ("radius", 2, [0.5])], 2)
        fill = ("--fill", "rgbPP=1,1,1") if name == "mrmap" else ()
        self.ok("convert", "-f", "--all-fields", *fill, self.put("src.pdc", data), self.path("small." + name))
        return self.get("small." + name)

    def harmless(self, paths):
        # Many files in one run: a crash or a hang of any shows in the status or the time.
        for i in range(0, len(paths), 200):
            done = run("check", "--json", *paths[i:i + 200])
            self.assertIn(done.returncode, (0, 1), done.stderr[-2000:])
            self.assertEqual(len(json.loads(done.stdout)), len(paths[i:i + 200]))

    def test_all_prefixes(self):
        for name in self.FORMATS:
            data = self.small(name)
            self.harmless([self.put("p%d.%s" % (i, name), data[:i]) for i in range(len(data))])

    def test_truncated_binary_files_are_errors(self):
        for name in ("pdc", "ply", "npz", "mrmap", "bgeo"):
            data = self.small(name)
            for size in random.Random(1).sample(range(len(data)), 12):
                self.fails("info", self.put("cut." + name, data[:size]))

    def test_all_single_byte_changes(self):
        for name in self.FORMATS:
            data = self.small(name)
            step = max(1, len(data) // (120 if SANITIZED else 600))
            paths = []
            for i in range(0, len(data), step):
                for k, change in enumerate((0x00, 0x7f, 0x80, 0xff, data[i] ^ 1)):
                    paths.append(self.put("c%d_%d.%s" % (i, k, name), data[:i] + bytes([change]) + data[i + 1:]))
            self.harmless(paths)

    def test_lying_counts_answer_at_once_and_name_the_offset(self):
        lies = {
            "pdc": (b"PDC " + struct.pack(">6i", 1, 1, 0, 0, 2000000000, 1) + struct.pack(">i", 1) + b"a"
                    + struct.pack(">i", 5), "byte 37: "),
            "ply": (b"ply\nformat binary_little_endian 1.0\nelement vertex 2000000000\nproperty float x\n"
                    b"end_header\n", "byte 36: "),
        }
        for name, (data, where) in lies.items():
            self.fails("info", self.put("lie." + name, data), says=where, timeout=5 if not SANITIZED else 20)
        short = (b"PDC " + struct.pack(">6i", 1, 1, 0, 0, 2000000000, 7) + b"\0\0\0\1a")[:33]
        self.assertEqual(len(short), 33)
        self.fails("info", self.put("short.pdc", short), says="byte ", timeout=5 if not SANITIZED else 20)

    def test_bad_text_names_its_place(self):
        self.fails("info", self.put("a.csv", b"x,y,z\n1,2,3\n4,five,6\n"), says="byte 14: 'five'")
        self.fails("info", self.put("b.csv", b"x,y,z\n1,2,3\n4,5\n"), says="byte 12: ")
        head = b"ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nend_header\n"
        self.fails("info", self.put("a.ply", head + b"1\nz\n"), says="byte %d: 'z'" % (len(head) + 2))


@unittest.skipIf(SANITIZED, "address sanitizers take the address space that is limited here")
class Large(Case):
    def test_files_beyond_4_gib_stream_in_flat_memory(self):
        # 150 million points of two attributes: 4.5 GiB of holes behind true names and counts.
        count = 150000000
        path = self.path("large.pdc")
        with open(path, "wb") as f:
            f.write(b"PDC " + struct.pack(">6i", 1, 1, 0, 0, count, 2))
            f.write(struct.pack(">i", 8) + b"position" + struct.pack(">i", 5))
            f.seek(24 * count - 8, 1)
            f.write(struct.pack(">d", 8.0))
            f.write(struct.pack(">i", 9) + b"opacityPP" + struct.pack(">i", 3))
            f.seek(8 * count - 8, 1)
            f.write(struct.pack(">d", 0.5))
        self.assertGreater(os.path.getsize(path), 4 << 30)

        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (512 << 20, 512 << 20))
        done = self.ok("info", "--json", path, preexec_fn=limit, timeout=280)
        info = json.loads(done.stdout)[0]
        self.assertEqual(info["bounds"]["max"], [0, 0, 8.0])
        self.assertEqual(info["attributes"][1]["max"], 0.5)


if __name__ == "__main__":
    unittest.main()
