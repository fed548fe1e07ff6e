"""What the program loads at its start."""

import os
import shutil
import subprocess

from failure_case import FailureCase


class Startup(FailureCase):
    def loaded(self, text, status=0):
        """Names of the shared libraries that a run loads."""
        self.write("scene.mi", text.encode())
        run = subprocess.run([os.environ["VX_RENDER"], "scene.mi"], cwd=self.folder, capture_output=True,
                             env=dict(os.environ, LD_DEBUG="files"), timeout=60)
        self.log = run.stderr.decode("utf-8", "replace")
        self.assertEqual(run.returncode, status, self.log)
        return self.log

    def test_picture_formats_are_loaded_when_they_are_needed(self):
        self.assertNotIn("OpenImageIO", self.loaded("verbose 3\n", status=1))
        self.assertIn("OpenImageIO", self.loaded(self.scene('"grey" ()')))
        self.assertPicture()

    def test_a_program_without_the_picture_formats_says_so(self):
        os.makedirs(self.path("bin"))
        shutil.copy(os.environ["VX_RENDER"], self.path("bin/vx_render"))
        self.write("scene.mi", self.scene('"grey" ()').encode())
        run = subprocess.run([self.path("bin/vx_render"), "scene.mi"], cwd=self.folder, capture_output=True)
        log = run.stderr.decode()
        self.assertEqual(run.returncode, 2, log)
        self.assertIn("IMG 0.0 error: p.png: the picture formats cannot be loaded: vx_render_image.so", log)
