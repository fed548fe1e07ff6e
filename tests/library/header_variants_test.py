"""header_variants_test.py VARIANT: builds the library against a variant of the renderer's headers.

Nothing of the project is changed for it; for the variant other_names, the names in src/platform are.
The object must export the twelve entry points and nothing else, and load. Where the variant is binary
compatible with vx_render, a bake and a render of the baked map must give the same files as with the
library of this build.

Environment: VX_SOURCE, VX_WORK (an empty folder is made there), VX_CMAKE, VX_CXX, VX_NM, VX_RENDER.
"""

import ctypes
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

SOURCE = pathlib.Path(os.environ["VX_SOURCE"])
sys.path.insert(0, str(SOURCE / "tests" / "bake"))

import scenes  # noqa: E402
from header_variants import (BINARY_COMPATIBLE, OTHER_NAMES_IN_PLATFORM, VARIANTS,  # noqa: E402
                             as_they_are, other_names, rename)

SHADERS = ["vx_pc_read", "vx_pc_tag", "vx_pc_write"]
ENTRIES = sorted(shader + suffix for shader in SHADERS for suffix in ("", "_exit", "_init", "_version"))

READER = """material "mtl" opaque "vx_pc_read" ( "disable" off, "fileName" "cloud.0001.mrmap", "frame" 1,
    "radius" 1.5, "maxPoints" 12, "useLabels" on, "labels" "1-3", "facing" 0, "minAngle" 0,
    "maxAngle" 60, "falloff" 1 2 0.5 0, "scale" 1 1 1 0, "useOpacity" on ) end material
"""


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}\n{done.stdout}")
    return done.stdout


def scene(library, material, lens):
    camera = scenes.Camera()
    head = scenes.HEAD.replace('link "vx_pc.so"', f'link "{library}"')
    return (head + camera.text(lens, output='output "rgba" "png" "out.png"') + camera.instance() +
            material + scenes.sphere("ball", 1, segments=16) +
            scenes.instance("ballInst", "ball", ["mtl"]) + scenes.world("camInst", "ballInst") +
            scenes.RENDER)


def bake_and_read(folder, library):
    """The bytes of both caches and of the picture that is rendered from the map."""
    folder.mkdir()
    material = scenes.tagged("mtl", (1, 1, 1, 1), (0.25, 0.5, 0.75, 0.5), 3)
    bake = scene(library, material, "lens " + scenes.writer(layers=2))
    for name, text in (("bake.mi", bake), ("read.mi", scene(library, READER, ""))):
        (folder / name).write_text(text)
        run(os.environ["VX_RENDER"], name, cwd=folder, timeout=200)
    return {name: (folder / name).read_bytes()
            for name in ("cloud.0001.pdc", "cloud.0001.mrmap", "out.png")}


class HeaderVariant(unittest.TestCase):
    variant = None

    def setUp(self):
        self.work = pathlib.Path(os.environ["VX_WORK"]) / self.variant.__name__
        shutil.rmtree(self.work, ignore_errors=True)
        (self.work / "headers").mkdir(parents=True)
        self.addCleanup(shutil.rmtree, self.work)

    def build(self, source, name):
        """Configures and builds with the headers in work/headers. Returns the build folder."""
        build = self.work / name
        run(os.environ["VX_CMAKE"], "-S", source, "-B", build, "-G", "Ninja",
            f"-DCMAKE_CXX_COMPILER={os.environ['VX_CXX']}", "-DCMAKE_BUILD_TYPE=Debug",
            f"-DVX_RENDERER_HEADERS={self.work / 'headers'}")
        run(os.environ["VX_CMAKE"], "--build", build)
        return build

    def adapted_source(self):
        """A copy of the project in which src/platform has the names of other_names. Without the
        changes it must not build, or the variant would prove nothing."""
        tree = self.work / "tree"
        for part in ("CMakeLists.txt", "cmake", "decl", "include", "src"):
            copy = shutil.copytree if (SOURCE / part).is_dir() else shutil.copy
            tree.mkdir(exist_ok=True)
            copy(SOURCE / part, tree / part)
        with self.assertRaisesRegex(AssertionError, "miFunction_decl"):
            self.build(tree, "unchanged")
        texts = {path: path.read_text() for path in (tree / "src" / "platform").glob("*.h")}
        rename(texts, OTHER_NAMES_IN_PLATFORM)
        for path, text in texts.items():
            path.write_text(text)
        return tree

    def test_library_is_built_and_loads(self):
        if self.variant is as_they_are:  # the folder is still empty
            with self.assertRaisesRegex(AssertionError, "no shader.h"):
                self.build(SOURCE, "refused")
        headers = {path.name: path.read_text() for path in (SOURCE / "include").glob("*.h")}
        before = dict(headers)
        self.variant(headers)
        self.assertEqual(headers == before, self.variant is as_they_are)
        for name, text in headers.items():
            (self.work / "headers" / name).write_text(text)
        source = self.adapted_source() if self.variant is other_names else SOURCE
        build = self.build(source, "build")
        library = build / "lib" / "vx_pc.so"
        self.assertTrue((build / "include" / "vx_pc.mi").is_file())
        for part in ("host", "maps", "tests", "bench", "cache"):
            self.assertFalse((build / part).exists(), part)

        table = run(os.environ["VX_NM"], "--dynamic", "--defined-only", "--format=posix", library)
        self.assertEqual(sorted(line.split()[0] for line in table.splitlines()), ENTRIES)
        loaded = ctypes.CDLL(str(library), mode=os.RTLD_LAZY | os.RTLD_LOCAL)
        for shader in SHADERS:
            self.assertEqual(getattr(loaded, shader + "_version")(), 1)

        if self.variant in BINARY_COMPATIBLE:
            own = bake_and_read(self.work / "own", "vx_pc.so")
            self.assertGreater(len(own["cloud.0001.pdc"]), 1000)
            self.assertEqual(bake_and_read(self.work / "variant", library), own)


if __name__ == "__main__":
    HeaderVariant.variant = staticmethod(VARIANTS[sys.argv.pop()])
    unittest.main()
