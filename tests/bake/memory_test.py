"""Renders whose shaders run out of memory: message, termination and exit status."""

import os
import resource
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from bake_case import BakeCase  # noqa: E402
from scenes import HEAD, RENDER, Camera, instance, plain, quad, tagged, world, writer  # noqa: E402

MIB = 1 << 20
WRITER = r'shader "vx_pc_write" \(instance "cam / vx_pc_write"\)'


def limit(mebibytes):
    """Limits the address space, for BakeCase.render."""
    def apply():
        resource.setrlimit(resource.RLIMIT_AS, (mebibytes * MIB, mebibytes * MIB))
    return apply


def sheets(count, lens, width=300, height=300, material=None):
    camera = Camera(width=width, height=height)
    text = HEAD + camera.text(lens) + camera.instance() + (material or tagged("mtl", (1, 1, 1, 1), (1, 0, 0, 1), 1))
    for i in range(count):
        text += quad("sheet%d" % i, (0, 0, -0.05 * i), (9, 0, 0), (0, 9, 0))
        text += instance("inst%d" % i, "sheet%d" % i, ["mtl"])
    return text + world("camInst", *("inst%d" % i for i in range(count))) + RENDER


class Memory(BakeCase):
    least = None  # least MiB with which the program renders

    @classmethod
    def renders_in(cls, mebibytes):
        case = cls("renders_in")
        case.setUp()
        try:
            case.render(sheets(1, "", 16, 16), "-threads", "4", before=limit(mebibytes))
            return True
        except AssertionError:
            return False
        finally:
            case.tearDown()

    @classmethod
    def setUpClass(cls):
        """The need depends mostly on the linked libraries and on the number of cores."""
        # Each heap arena reserves 64 MiB of address space, and how many threads get one depends on timing.
        os.environ["MALLOC_ARENA_MAX"] = "1"
        high = 512
        while not cls.renders_in(high):
            high *= 2
            if high > 1 << 16:
                raise RuntimeError("the program does not render in any amount of memory")
        low = high // 2
        while high - low > 32:
            middle = (low + high) // 2
            if cls.renders_in(middle):
                high = middle
            else:
                low = middle
        cls.least = high

    def fails(self, text, threads, more, message):
        """Renders within `more` MiB beyond the least: one message, and no other failure."""
        log = self.render(text, "-threads", str(threads), status=2, before=limit(self.least + more))
        failures = [line for line in log.splitlines() if " error: " in line or " fatal: " in line]
        self.assertEqual(len(failures), 1, log)
        self.assertRegex(failures[0], message)

    def test_a_grid_that_does_not_fit(self):
        # A row of 24 bytes, an empty array, for each of 1e9 samples.
        text = sheets(1, "lens " + writer(jitter=True, samples=100000), 100, 100)
        for threads in (1, 4):
            self.fails(text, threads, 256, r"^RC 0\.\d+ error: %s is refused: vx_pc_write_init: out of memory: "
                       r"cannot allocate 24000000000 bytes$" % WRITER)
        self.assertFalse(os.path.exists(self.path("cloud.0001.pdc")))

    def test_a_picture_that_does_not_fit(self):
        # 400 million pixels of 20 bytes, before any shader is called.
        text = sheets(1, "lens " + writer(layers=4), 20000, 20000)
        self.fails(text, 4, 256, r"^RENDER 0\.0 error: out of memory: cannot allocate \d+ bytes$")
        self.assertNotIn("vx_pc_write", self.log)

    def test_a_pass_whose_points_do_not_fit(self):
        # 40 layers of 90000 points of 44 bytes take 151 MiB; the lock is held during the pass.
        text = sheets(40, "lens " + writer(layers=40))
        for threads in (1, 4):
            self.fails(text, threads, 80, r"^RC 0\.\d+ fatal: %s: out of memory: cannot allocate \d+ bytes$" %
                       WRITER)
            self.assertNotIn("points written", self.log)
        self.assertFalse(os.path.exists(self.path("out.png")))

    def test_a_cache_that_does_not_fit(self):
        # In addition to the points, a cache of 96 bytes for each.
        text = sheets(20, "lens " + writer(layers=20))
        self.fails(text, 4, 140, r"^RC 0\.\d+ fatal: %s: out of memory: cannot allocate \d+ bytes$" %
                   WRITER)
        self.assertIn("1800000 points written", self.log)

    def greedy(self, block, start):
        """Pixels from `start` on allocate blocks of 2^block bytes until that fails, with a lock held."""
        return sheets(1, "", 64, 64, """
declare shader color "bake_test_greedy" ( integer "block", scalar "from" ) version 1 end declare
link "bake_test_shaders.so"
material "mtl" opaque "bake_test_greedy" ( "block" %d, "from" %g ) end material
""" % (block, start))

    GREEDY = (r'^RC 0\.\d+ fatal: shader "bake_test_greedy" \(instance "mtl / bake_test_greedy"\): out of '
              r'memory: cannot allocate %d bytes$')

    def test_a_shader_that_takes_all_there_is(self):
        # With one thread: another one might run out of memory at the same time and report it.
        for block in (5, 23):
            self.fails(self.greedy(block, 0), 1, 128, self.GREEDY % (1 << block))

    def test_threads_that_wait_for_the_lock_of_the_one_that_fails(self):
        for start in (0, 40):
            for threads in (1, 2, 4):
                self.fails(self.greedy(50, start), threads, 128, self.GREEDY % (1 << 50))

    def test_further_renders_of_the_file_go_on(self):
        text = self.greedy(50, 0) + "incremental " + plain("mtl", (1, 0, 0, 1)) + RENDER
        self.fails(text, 4, 128, self.GREEDY % (1 << 50))
        self.assertIn("wrote out.png", self.log)


if __name__ == "__main__":
    unittest.main()
