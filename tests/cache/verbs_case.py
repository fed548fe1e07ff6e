"""Runs of vx_cache in a directory with small clouds. The first argument is the program."""

import json
import os
import struct
import subprocess
import sys

import cloud_files as cf
from folder_case import FolderCase

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
