"""Base of the whole-program tests of incomplete renders and of sequences.

Needs VX_RENDER (the program) and MI_LIBRARY_PATH (program_test_shaders.so) in the environment. Every test
runs in a directory of its own.
"""

import os
import shutil
import subprocess
import tempfile
import unittest

WIDTH, HEIGHT = 8, 6

HEAD = """
link "program_test_shaders.so"
declare shader color "p_false" ( integer "columns" ) version 1 end declare
declare shader color "p_say" ( integer "severity" ) version 1 end declare
declare shader color "p_color" ( color "color" ) version 1 end declare
declare shader color "p_see_through" ( ) version 1 end declare
declare shader color "p_lit" ( ) version 1 end declare
declare shader color "p_lookup" ( color texture "texture", scalar "u" ) version 1 end declare
declare shader color "p_lens" ( ) version 1 end declare
options "opt" samples 0 0 trace on trace depth 2 2 4 shadow on end options
"""


def camera(items='output "rgba" "png" "pic.png"', frame=1):
    return ('camera "cam" %s focal 1 aperture 1 aspect 1.3333333 resolution %d %d frame %s end camera\n'
            % (items, WIDTH, HEIGHT, frame))


def square(material, half=9, extra=""):
    """A square at distance 4, where the camera sees 4 x 3 units; all of the image with `half` of 2 or more."""
    return """
object "o" visible on shadow 3 transparency 3 group
    -{0} -{0} 0 {0} -{0} 0 {0} {0} 0 -{0} {0} 0 v 0 v 1 v 2 v 3 p 0 1 2 3
end group end object
material "m" {1} end material
instance "i" "o" material "m" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 4 1 end instance
instance "camI" "cam" end instance
instgroup "world" "camI" "i" {2} end instgroup
""".format(half, material, extra)


RENDER = 'render "world" "camI" "opt"\n'


def frame(number, output=None, words="output"):
    """Renders a frame of its own image."""
    return ('incremental camera "cam" %s output "rgba" "png" "%s" frame %s end camera\n%s' %
            (words, output or "pic.%d.png" % number, number, RENDER))


RED = 'opaque "p_color" ( "color" 1 0 0 1 )'


class ProgramCase(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="vx_program_")

    def tearDown(self):
        shutil.rmtree(self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def exists(self, name):
        return os.path.exists(self.path(name))

    def write(self, name, text):
        with open(self.path(name), "w") as stream:
            stream.write(text)

    def program(self, *arguments):
        """The exit status and the lines of standard error."""
        run = subprocess.run([os.environ["VX_RENDER"], *arguments], cwd=self.folder, timeout=60,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        return run.returncode, run.stderr.decode("utf-8").splitlines()

    def render(self, text, *options, status=0):
        """Renders a scene and returns the lines of the log."""
        self.write("scene.mi", text)
        found, lines = self.program(*options, "scene.mi")
        self.assertEqual(found, status, "\n".join(lines))
        return lines

    def incomplete(self, lines):
        """The list at the end of a run."""
        start = "RENDER 0.0 warning: incomplete: "
        return [line[len(start):] for line in lines if line.startswith(start)]

    def warnings(self, lines):
        return [line for line in lines if " warning: " in line]
