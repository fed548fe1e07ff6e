"""NumPy and vx_cache read what the other one writes. Arguments: the program, then unittest's own."""

import os
import struct
import subprocess
import sys
import unittest
import zipfile

import numpy as np

import cloud_files as cf
from folder_case import FolderCase

PROGRAM = os.path.abspath(sys.argv.pop(1))
N = 9
RNG = np.random.default_rng(4)
POSITION = RNG.normal(size=(N, 3))
OPACITY = RNG.random(N)
TAG = np.array([0, 1, 1, 2, 3, 7, -4, 2 ** 31 - 1, -2 ** 31])


class Numpy(FolderCase):
    def setUp(self):
        super().setUp()
        with open(self.path("a.pdc"), "wb") as f:
            f.write(cf.pdc([("position", 5, POSITION.ravel()), ("opacityPP", 3, OPACITY), ("tag", 1, TAG),
                            ("radius", 2, [0.125])], N))

    def convert(self, *args):
        done = subprocess.run([PROGRAM, "convert", "-qf", *map(self.path, args)], capture_output=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_numpy_loads_our_archives(self):
        self.convert("a.pdc", "a.npz")
        with np.load(self.path("a.npz"), allow_pickle=False) as arrays:
            self.assertEqual(sorted(arrays), ["opacityPP", "position", "radius", "tag"])
            np.testing.assert_array_equal(arrays["position"], POSITION)
            np.testing.assert_array_equal(arrays["opacityPP"], OPACITY)
            np.testing.assert_array_equal(arrays["tag"], TAG)
            self.assertEqual(arrays["tag"].dtype, np.int32)
            self.assertEqual((arrays["radius"].shape, float(arrays["radius"])), ((), 0.125))

    def test_arrays_can_be_mapped_where_they_are_in_the_archive(self):
        self.convert("a.pdc", "a.npz")
        path = self.path("a.npz")
        with zipfile.ZipFile(path) as archive, open(path, "rb") as f:
            self.assertIsNone(archive.testzip())
            for info in archive.infolist():
                f.seek(info.header_offset + 26)
                f.seek(sum(struct.unpack("<2H", f.read(4))), 1)
                self.assertEqual(np.lib.format.read_magic(f), (1, 0))
                shape, fortran, dtype = np.lib.format.read_array_header_1_0(f)
                self.assertEqual((f.tell() % 64, fortran), (0, False))
                if shape == ():
                    continue
                mapped = np.memmap(path, dtype, "r", f.tell(), shape)
                np.testing.assert_array_equal(mapped, np.load(path)[info.filename[:-4]])

    def test_we_read_every_number_type_that_numpy_saves(self):
        halves = np.array([0.5, -2.25, 65504, 6e-8, np.inf, -np.inf, 0, -0.0, 1 / 3], "f2")
        for save in (np.savez, np.savez_compressed):
            for kind in ("i1", "u1", "<i2", ">u2", "<i4", ">i4", "<u4", ">u4", "<i8", ">i8", "<f4", ">f4", ">f8", "?"):
                values = (np.arange(N) * 11 - (0 if kind[-2:][0] in "u?" else 40)).astype(kind)
                save(self.path("b.npz"), position=np.asfortranarray(POSITION), a=values, h=halves)
                self.convert("b.npz", "b.csv")
                table = np.genfromtxt(self.path("b.csv"), delimiter=",", names=True, deletechars="")
                np.testing.assert_array_equal(table["a"], values.astype("f8"), kind)
                np.testing.assert_array_equal(table["h"], halves.astype("f8"))
                for k, c in enumerate("xyz"):
                    np.testing.assert_array_equal(table["position." + c], POSITION[:, k])

    def test_every_half_becomes_its_float(self):
        for order in "<>":
            halves = np.arange(1 << 16, dtype="u2").view("f2").astype(order + "f2")
            np.savez(self.path("b.npz"), position=np.zeros((len(halves), 3)), h=halves)
            self.convert("b.npz", "c.npz")
            with np.load(self.path("c.npz")) as arrays:
                floats = arrays["h"]
            # All that are not numbers become the same one.
            expected = np.where(np.isnan(halves), np.float32("nan"), halves.astype("f4"))
            np.testing.assert_array_equal(floats.view("u4"), expected.astype("f4").view("u4"))

    def test_binary_ply_rows_as_numpy_records(self):
        for encoding, order in (("little", "<"), ("big", ">")):
            done = subprocess.run([PROGRAM, "convert", "-qf", "--double", "--encoding", encoding, self.path("a.pdc"),
                                   self.path("a.ply")], capture_output=True, timeout=60)
            self.assertEqual(done.returncode, 0, done.stderr)
            with open(self.path("a.ply"), "rb") as f:
                body = f.read().partition(b"end_header\n")[2]
            row = np.dtype([("p", order + "f8", 3), ("o", order + "f8"), ("t", order + "i4")])
            rows = np.frombuffer(body, row, count=N)
            np.testing.assert_array_equal(rows["p"], POSITION)
            np.testing.assert_array_equal(rows["o"], OPACITY)
            np.testing.assert_array_equal(rows["t"], TAG)
            self.assertEqual(np.frombuffer(body, order + "f8", 1, N * row.itemsize)[0], 0.125)


if __name__ == "__main__":
    unittest.main()
