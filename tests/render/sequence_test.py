"""Sequences: which frames are rendered, and reports for programs."""

import json
import os
import struct
import subprocess
import zlib

from program_case import HEAD, HEIGHT, RED, RENDER, WIDTH, ProgramCase, camera, frame, square

FALSE = 'opaque "p_false" ( "columns" 3 )'


def sequence(*frames, material=RED):
    return HEAD + camera() + square(material) + "".join(frame(f) for f in frames)


class RenderCommands(ProgramCase):
    def check(self, options, status, frames, message=None):
        for name in os.listdir(self.folder):
            os.remove(self.path(name))
        lines = self.render(sequence(1, 2, 3, 4, 5), *options, status=status)
        self.assertEqual([f for f in range(1, 6) if self.exists("pic.%d.png" % f)], frames)
        errors = [line for line in lines if " error: " in line]
        self.assertEqual(errors, ["RENDER 0.0 error: " + message] if message else [])

    def test_commands_that_do_not_exist(self):
        self.check(["-render", "9"], 2, [], "-render: there is no render command 9; the scene has 5")
        self.check(["-render", "4", "6"], 2, [4, 5], "-render: there is no render command 6; the scene has 5")
        self.check(["-render", "2", "9", "3"], 2, [2, 5],
                   "-render: there is no render command 8; the scene has 5")
        # Of 2 to 7 in steps of 3 the last is 5.
        self.check(["-render", "2", "7", "3"], 0, [2, 5])
        self.check(["-render", "1", "5"], 0, [1, 2, 3, 4, 5])

    def test_scene_without_a_render_command(self):
        text = HEAD + camera() + square(RED)
        self.assertIn("RENDER 0.0 error: the scene has no render command", self.render(text, status=1))
        self.assertEqual(self.render(text, "-parse", "-strict"), [])

    def test_image_that_an_incremental_camera_appends_twice(self):
        # Each `output` is added to those before, so that the second frame writes a.png again.
        text = (HEAD + camera("") + square(RED) + frame(1, output="a.png", words="") +
                frame(2, output="b.png", words=""))
        lines = self.render(text, status=2)
        self.assertTrue(any(" error: a.png: " in line for line in lines), lines)
        self.assertTrue(self.exists("a.png"))
        self.assertFalse(self.exists("b.png"))


class FrameNumbers(ProgramCase):
    def rendered(self, *options, status=0):
        for name in os.listdir(self.folder):
            os.remove(self.path(name))
        self.lines = self.render(sequence(10, 11, 12, 20, 30), *options, status=status)
        return [f for f in range(40) if self.exists("pic.%d.png" % f)]

    def test_frames_of_the_camera(self):
        self.assertEqual(self.rendered("-frames", "11"), [11])
        self.assertEqual(self.rendered("-frames", "10-12x2,30"), [10, 12, 30])
        self.assertEqual(self.rendered("-frames", "30,10,30"), [10, 30])

    def test_frames_that_do_not_exist(self):
        self.assertEqual(self.rendered("-frames", "12-14,20", status=2), [12, 20])
        self.assertIn("RENDER 0.0 error: -frames: the scene does not render 2 of 4 frames; the first is 13",
                      self.lines)
        self.assertEqual(self.rendered("-frames", "1", status=2), [])
        self.assertIn("RENDER 0.0 error: -frames: the scene does not render 1 of 1 frames; the first is 1",
                      self.lines)

    def test_with_render(self):
        # The first three render commands are frames 10, 11 and 12.
        self.assertEqual(self.rendered("-frames", "10-12x2,20", "-render", "1", "3"), [10, 12])

    def test_malformed_lists(self):
        for text in "", "5-1", "1-2x0", "a", "1,,2", "1-2000001":
            status, lines = self.program("-frames", text, "scene.mi")
            self.assertEqual(status, 3, text)
            self.assertTrue(lines[0].startswith("vx_render: error: -frames: "), lines)


def png(width, height):
    """A black image, written here."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = (b"\0" + b"\0" * 3 * width) * height
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">2I5B", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


class ExistingImages(ProgramCase):
    def put(self, name, data):
        with open(self.path(name), "wb") as stream:
            stream.write(data)

    def content(self, name):
        with open(self.path(name), "rb") as stream:
            return stream.read()

    def test_only_missing_images_are_rendered(self):
        kept = png(WIDTH, HEIGHT)
        self.put("pic.1.png", kept)
        self.put("pic.2.png", kept[:20])           # ends within the header
        self.put("pic.3.png", png(WIDTH, HEIGHT + 1))
        self.put("pic.5.png", kept[:-30])          # ends within the pixels
        lines = self.render(sequence(1, 2, 3, 4, 5), "-skip_existing")
        self.assertEqual(self.content("pic.1.png"), kept)
        self.assertIn("RENDER 0.0 progress: frame 1: skipped, its images exist", lines)
        self.assertEqual([line for line in lines if " wrote " in line and line.startswith("IMG")],
                         ["IMG 0.0 progress: wrote pic.%d.png" % f for f in (2, 3, 4, 5)])
        # All are complete now.
        again = self.render(sequence(1, 2, 3, 4), "-skip_existing")
        self.assertEqual(sum("skipped" in line for line in again), 4)
        # The resolution is that of the command line.
        other = self.render(sequence(1), "-skip_existing", "-resolution", "4", "4")
        self.assertIn("IMG 0.0 progress: wrote pic.1.png", other)

    def test_without_the_option_images_are_replaced(self):
        self.put("pic.1.png", png(WIDTH, HEIGHT))
        self.render(sequence(1))
        self.assertNotEqual(self.content("pic.1.png"), png(WIDTH, HEIGHT))

    def test_frames_with_a_missing_image_are_rendered(self):
        text = (HEAD + camera('output "rgba" "png" "a.png" output "rgba" "png" "b.png"') + square(RED) +
                RENDER)
        self.put("a.png", png(WIDTH, HEIGHT))
        self.render(text, "-skip_existing")
        self.assertNotEqual(self.content("a.png"), png(WIDTH, HEIGHT))
        self.assertTrue(self.exists("b.png"))

    def test_an_image_of_two_frames_is_still_an_error(self):
        text = HEAD + camera() + square(RED) + frame(1, output="a.png") + frame(2, output="a.png")
        self.render(text, "-skip_existing", status=2)
        self.render(text, "-skip_existing", status=2)


class Variables(ProgramCase):
    SCENE = HEAD + camera('output "rgba" "png" "{NAME}.{FRAME}.png"', frame="$FRAME").replace(
        "8 6", "$SIZE") + square(RED.replace("1 0 0 1", "$RED 0 0 1")) + RENDER

    def test_values_and_file_names(self):
        lines = self.render(self.SCENE, "-D", "FRAME=0017", "-D", "NAME=shot", "-D", "SIZE=4 3",
                            "-D", "RED=0.5", "-frames", "17")
        self.assertIn("IMG 0.0 progress: wrote shot.0017.png", lines)
        with open(self.path("shot.0017.png"), "rb") as stream:
            self.assertEqual(struct.unpack(">2I", stream.read()[16:24]), (4, 3))

    def test_values_in_numbers_of_geometry(self):
        text = HEAD + camera() + square(RED).replace("-9 -9 0 9", "$CORNER 0 9") + RENDER
        self.render(text, "-strict", "-D", "CORNER=-9 -9")
        self.render(text, "-D", "CORNER=-9 x", status=1)

    def test_unknown_variable(self):
        lines = self.render(self.SCENE, "-D", "FRAME=1", status=1)
        self.assertTrue(any("there is no variable 'SIZE'" in line for line in lines), lines)
        lines = self.render("echo $LOOP\n", "-D", "LOOP= $LOOP", status=1)
        self.assertTrue(any("variables refer to each other recursively" in line for line in lines), lines)


class JsonProgress(ProgramCase):
    def events(self, text, *options, status=0):
        return [json.loads(line) for line in
                self.render(text, "-progress", "json", *options, status=status)]

    def of(self, events, kind):
        return [{k: v for k, v in e.items() if k != "event"} for e in events if e["event"] == kind]

    def test_a_sequence(self):
        events = self.events(sequence(7, 8, material=FALSE) + 'system "\\"quoted\\" \t"\n')
        self.assertEqual(self.of(events, "frame"),
                         [dict(command=1, frame=7, outcome="done", files=["pic.7.png"]),
                          dict(command=2, frame=8, outcome="done", files=["pic.8.png"])])
        progress = self.of(events, "progress")
        self.assertEqual([(p["what"], p["done"], p["total"], p["eye_rays"]) for p in progress
                          if p["done"] == p["total"]],
                         [("frame 7", 48, 48, 48), ("frame 8", 48, 48, 48)])
        self.assertIn(dict(level="warning", module="RC",
                           text='shader "p_false" (instance "m / p_false") returned false for 18 of 48 calls'),
                      self.of(events, "message"))
        self.assertEqual(events[-1]["event"], "end")
        end = events[-1]
        self.assertEqual((end["status"], end["rendered"], end["skipped"], end["files"], end["eye_rays"]),
                         (0, 2, 0, 2, 96))
        self.assertEqual(end["incomplete"],
                         ["statements without effect: system", "shader calls that returned false: "
                          'shader "p_false" (instance "m / p_false") (36 times)'])
        self.assertGreater(end["peak_memory"], 1 << 20)
        self.assertLess(end["peak_memory"], 1 << 34)
        self.assertGreaterEqual(end["seconds"], 0)

    def test_failures(self):
        events = self.events(HEAD + camera('output "rgba" "png" "/"') + square(RED) + RENDER, status=2)
        self.assertEqual(self.of(events, "frame"), [dict(command=1, frame=1, outcome="failed", files=[])])
        self.assertEqual(events[-1]["status"], 2)
        self.assertEqual(self.events("nonsense\n", status=1)[-1]["status"], 1)
        self.assertEqual(self.events(sequence(1, material=FALSE), "-strict", status=4)[-1]["status"], 4)

    def test_skipped_frames(self):
        self.render(sequence(1))
        events = self.events(sequence(1, 2), "-skip_existing")
        self.assertEqual([f["outcome"] for f in self.of(events, "frame")], ["skipped", "done"])
        self.assertEqual((events[-1]["rendered"], events[-1]["skipped"]), (1, 1))

    def test_quiet_keeps_events(self):
        events = self.events(sequence(1, material=FALSE), "-q")
        self.assertEqual(self.of(events, "message"), [])
        self.assertEqual(len(self.of(events, "frame")), 1)

    def test_summary_without_json(self):
        lines = self.render(sequence(1, 2))
        self.assertRegex(lines[-1], r"^RENDER 0\.0 progress: rendered 2 frames, wrote 2 files; 96 eye rays, "
                                    r"\d+\.\d s, peak memory \d+ MiB$")
        self.assertEqual(self.render(sequence(1, 2), "-q"), [])


class Farm(ProgramCase):
    """The wrapper of docs/vx_render.md: one frame per call, and no look at the log."""

    def wrapper(self):
        here = os.path.dirname(os.path.abspath(__file__))
        with open(os.path.join(here, "..", "..", "docs", "vx_render.md")) as stream:
            text = stream.read()
        block = text.split("<!-- farm wrapper -->")[1].split("```sh\n")[1].split("```")[0]
        self.write("farm.sh", block)

    def farm(self, scene, *frames):
        self.write("shot.mi", scene)
        env = dict(os.environ)
        env["PATH"] = os.path.dirname(os.environ["VX_RENDER"]) + ":" + env["PATH"]
        run = subprocess.run(["sh", "farm.sh", *frames], cwd=self.folder, env=env, timeout=60,
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        return run.returncode, run.stdout.decode().split("\n")[:-1]

    def test_wrapper(self):
        self.wrapper()
        good = sequence(1, 2, 3)
        self.assertEqual(self.farm(good, "1", "3"), (0, []))
        self.assertEqual([f for f in (1, 2, 3) if self.exists("pic.%d.png" % f)], [1, 3])
        # A frame that the scene does not have, a shader that fails, an image that cannot be written.
        self.assertEqual(self.farm(good, "2", "9"), (1, ["frame 9 failed with status 2"]))
        self.assertTrue(self.exists("pic.2.png"))
        os.remove(self.path("pic.2.png"))
        self.assertEqual(self.farm(sequence(2, material=FALSE), "2"), (1, ["frame 2 failed with status 4"]))
        blocked = HEAD + camera() + square(RED) + frame(4) + frame(5, output="no/where/pic.5.png")
        self.write("no", "")
        self.assertEqual(self.farm(blocked, "4", "5"), (1, ["frame 5 failed with status 2"]))
