"""A signal ends a bake soon, and leaves the caches of earlier bakes as they were."""

import os
import signal
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from bake_case import BakeCase  # noqa: E402
from scenes import (HEAD, RENDER, TILT_CENTER, TILT_U, TILT_V, Camera, instance, quad, world,  # noqa: E402
                    writer)

END = 5.0  # seconds; measured: less than 0.1
CACHES = {"cloud.0001.pdc": b"an earlier cloud", "cloud.0001.mrmap": b"an earlier map"}

# Every point takes milliseconds, the whole bake more than ten seconds.
SLOW = """
declare shader color "bake_test_noise" ( color "color", integer "n" ) version 1 end declare
link "bake_test_shaders.so"
shader "slow" "bake_test_noise" ( "color" 1 1 1 1, "n" 100000 )
material "mtl" opaque "vx_pc_tag" ( "color" 1 1 1 1, "bakeColor" = "slow", "tag" 1 ) end material
"""


class Interrupt(BakeCase):
    def start(self, *options, ignored=(), stdin=None):
        """Starts the program. The signals `ignored` are those that its parent process ignores."""
        camera = Camera(width=100, height=20)
        with open(self.path("scene.mi"), "w") as stream:
            stream.write(HEAD + camera.text("lens " + writer()) + camera.instance() + SLOW +
                         quad("plane", TILT_CENTER, TILT_U, TILT_V) + instance("planeInst", "plane", ["mtl"]) +
                         world("camInst", "planeInst") + RENDER)
        for name, contents in CACHES.items():
            with open(self.path(name), "wb") as stream:
                stream.write(contents)

        def ignore():
            for number in ignored:
                signal.signal(number, signal.SIG_IGN)

        with open(self.path("log"), "wb") as log:
            program = subprocess.Popen([os.environ["VX_RENDER"], *options], cwd=self.folder, stdin=stdin,
                                       stdout=log, stderr=subprocess.STDOUT, preexec_fn=ignore)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        return program

    def messages(self):
        with open(self.path("log"), encoding="utf-8", errors="replace") as stream:
            return stream.read()

    def wait_until_baking(self, program):
        deadline = time.monotonic() + 30
        while "line 2 of 20 done" not in self.messages():
            self.assertIsNone(program.poll(), self.messages())
            self.assertLess(time.monotonic(), deadline, self.messages())
            time.sleep(0.01)

    def end(self, program, number):
        """Sends the signal and returns the seconds until the program has ended."""
        start = time.monotonic()
        program.send_signal(number)
        self.assertEqual(program.wait(timeout=60), 2, self.messages())
        seconds = time.monotonic() - start
        self.assertLess(seconds, END)
        return seconds

    def assertUntouched(self):
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(["scene.mi", "log", *CACHES]))
        for name, contents in CACHES.items():
            with open(self.path(name), "rb") as stream:
                self.assertEqual(stream.read(), contents, name)

    def check(self, number, *options):
        program = self.start(*options, "scene.mi")
        self.wait_until_baking(program)
        seconds = self.end(program, number)
        print("%s: ended after %.3f s" % (signal.Signals(number).name, seconds), file=sys.stderr)
        self.assertUntouched()
        log = self.messages()
        self.assertIn("interrupted at render command 1", log)
        self.assertNotIn("points written", log)
        self.assertNotIn("fatal", log)

    def test_interrupt(self):
        self.check(signal.SIGINT)

    def test_termination(self):
        self.check(signal.SIGTERM, "-threads", "1")

    def test_end_of_the_terminal(self):
        self.check(signal.SIGHUP, "-threads", "4")

    def test_signals_that_the_parent_process_ignores_stay_ignored(self):
        program = self.start("scene.mi", ignored=(signal.SIGHUP, signal.SIGINT))
        self.wait_until_baking(program)
        program.send_signal(signal.SIGHUP)
        program.send_signal(signal.SIGINT)
        time.sleep(0.5)
        self.assertIsNone(program.poll(), self.messages())
        self.end(program, signal.SIGTERM)
        self.assertUntouched()

    def test_while_a_pipe_delivers_the_scene(self):
        program = self.start("-", stdin=subprocess.PIPE)
        with open(self.path("scene.mi"), "rb") as scene:
            program.stdin.write(scene.read())
        program.stdin.flush()
        time.sleep(0.5)
        self.end(program, signal.SIGINT)
        program.stdin.close()
        self.assertUntouched()
        self.assertIn("interrupted before the first render command", self.messages())


if __name__ == "__main__":
    unittest.main()
