"""Renders that leave something out: what the log lists, and what the exit status is."""

import os
import resource
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bake"))

from program_case import HEAD, HEIGHT, RED, RENDER, WIDTH, ProgramCase, camera, frame, square
import scenes

PIXELS = WIDTH * HEIGHT
WRITER = 'shader "vx_pc_write" (instance "cam / vx_pc_write")'


class FalseResults(ProgramCase):
    def check(self, text, *expected):
        """The counts must be the same with any number of threads. `expected`: (shader, instance, false
        results, calls)."""
        for threads in "1", "4":
            lines = self.render(text, "-threads", threads)
            said = ['RC 0.0 warning: shader "%s" (instance "%s") returned false for %d of %d calls' % e
                    for e in expected]
            listed = ", ".join('shader "%s" (instance "%s") (%d times)' % e[:3] for e in expected)
            listed = ["shader calls that returned false: " + listed] if expected else []
            self.assertEqual([w for w in self.warnings(lines) if "incomplete" not in w], said)
            self.assertEqual(self.incomplete(lines), listed)
        self.render(text, "-strict", status=4 if expected else 0)

    def test_material(self):
        self.check(HEAD + camera() + square('opaque "p_false" ( "columns" 3 )') + RENDER,
                   ("p_false", "m / p_false", 3 * HEIGHT, PIXELS))

    def test_value_counts_for_its_own_shader_only(self):
        self.check(HEAD + 'shader "value" "p_false" ( "columns" 2 )\n' + camera() +
                   square('opaque "p_color" ( "color" = "value" )') + RENDER,
                   ("p_false", "value", 2 * HEIGHT, PIXELS))

    def test_environment(self):
        self.check(HEAD + camera('output "rgba" "png" "pic.png" environment "p_false" ( "columns" 8 )') +
                   square(RED, half=0.5) + RENDER,
                   # The square covers 1 of 4 units in 8 columns and 1 of 3 units in 6 lines.
                   ("p_false", "cam / p_false", PIXELS - 4, PIXELS - 4))

    def test_lens_that_traces_no_ray(self):
        self.check(HEAD + camera('output "rgba" "png" "pic.png" lens "p_false" ( "columns" 5 )') +
                   square(RED) + RENDER, ("p_false", "cam / p_false", 5 * HEIGHT, PIXELS))

    def test_background_behind_a_lens_is_no_failure(self):
        self.check(HEAD + camera('output "rgba" "png" "pic.png" lens "p_lens" ( )') +
                   square(RED, half=0.5) + RENDER)

    def test_background_behind_glass_is_no_failure(self):
        self.check(HEAD + camera() + square('"p_see_through" ( )') + RENDER)

    def test_lookup_outside_a_texture_is_no_failure(self):
        text = (HEAD + 'color texture "t" [ 1 1 1 ] \'ff\'\n' + camera() +
                square('opaque "p_lookup" ( "texture" "t", "u" %g )') + RENDER)
        self.check(text % 2)
        self.check(text % 0.5)

    def test_shader_that_is_in_no_library_fails_by_itself(self):
        text = (HEAD + 'declare shader color "p_missing" ( ) version 1 end declare\n' +
                camera('output "rgba" "png" "pic.png" lens "p_missing" ( )') + square(RED) + RENDER)
        self.assertEqual(self.incomplete(self.render(text, status=2)), [])

    def test_surface_behind_glass_counts_once(self):
        text = HEAD + camera() + square('"p_see_through" ( )', extra='"backI"') + RENDER
        text = text.replace('instgroup "world"', """
material "back" opaque "p_false" ( "columns" 8 ) end material
instance "backI" "o" material "back" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 8 1 end instance
instgroup "world\"""")
        self.check(text, ("p_false", "back / p_false", PIXELS, PIXELS))

    def test_lights_and_shadows_that_are_off_are_no_failures(self):
        light = """
light "l" "p_false" ( "columns" 8 ) origin 0 0 1 end light
instance "lI" "l" end instance
"""
        self.check(HEAD + light + camera() +
                   square('"p_lit" ( ) shadow "p_false" ( "columns" 8 )', extra='"lI"') + RENDER)

    def test_every_frame_has_its_own_counts(self):
        text = HEAD + camera() + square('opaque "p_false" ( "columns" 1 )') + frame(1) + frame(2)
        lines = self.render(text)
        label = 'shader "p_false" (instance "m / p_false")'
        self.assertEqual(self.warnings(lines)[:2],
                         ["RC 0.0 warning: %s returned false for %d of %d calls" %
                          (label, HEIGHT, PIXELS)] * 2)
        self.assertEqual(self.incomplete(lines), ["shader calls that returned false: %s (%d times)" %
                                                  (label, 2 * HEIGHT)])


class Omissions(ProgramCase):
    def check(self, text, *expected, status=0):
        self.assertEqual(self.incomplete(self.render(text, status=status)), list(expected))
        self.render(text, "-strict", status=status or 4)

    def test_nothing(self):
        self.assertEqual(self.incomplete(self.render(HEAD + camera() + square(RED) + RENDER, "-strict")), [])

    def test_stand_ins(self):
        self.check(HEAD + camera() + square('opaque "new_paint" ( "wet" on ) "new_paint" ( ) "glaze" ( )') +
                   RENDER, 'stand-ins for undeclared shaders: "glaze", "new_paint" (2 times)')

    def test_long_lists_are_cut(self):
        paints = " ".join('"paint%d" ( )' % i for i in range(10))
        names = ", ".join('"paint%d"' % i for i in range(8))
        self.check(HEAD + camera() + square("opaque " + paints) + RENDER,
                   "stand-ins for undeclared shaders: %s, and 2 more" % names)

    def test_statements(self):
        self.check(HEAD + 'system "true"\nsystem "true"\n' +
                   'declare phenomenon color "ph" ( ) root = "x" end declare\n' + camera() + square(RED) +
                   RENDER, "statements without effect: phenomenon, system (2 times)")

    def test_features_that_are_on(self):
        text = (HEAD.replace("shadow on", "shadow on shutter 0.5 motion on caustic on globillum off "
                             "finalgather fastlookup") +
                camera('output "rgba" "png" "pic.png" dof 4 0.1') +
                square(RED + ' displace "p_false" ( "columns" 1 )') + RENDER)
        self.check(text, "statements without effect: caustic, displacement, dof, finalgather, motion blur")
        off = (text.replace("motion on", "motion off").replace("caustic on", "caustic off")
               .replace("finalgather fastlookup", "finalgather off").replace("dof 4 0.1", "")
               .replace(' displace "p_false" ( "columns" 1 )', ""))
        self.assertEqual(self.incomplete(self.render(off, "-strict")), [])

    def test_objects_without_geometry(self):
        objects = "".join('object "%s" visible on hair 1 2 3 end hair end object\n' % name
                          for name in ("fur", "beard"))
        self.check(HEAD + objects + camera() + square(RED) + RENDER,
                   'objects without geometry: "beard", "fur"')

    def test_objects_without_material(self):
        self.check(HEAD + camera() + square(RED).replace(' material "m" transform', " transform") + RENDER,
                   'objects without materials: "o"')

    def test_unreadable_texture(self):
        self.check(HEAD + 'color texture "bark" "missing.png"\n' + camera() + square(RED) + frame(1) +
                   frame(2), 'unreadable textures: "bark" (2 times)')

    def test_user_frame_buffer(self):
        text = HEAD + camera('framebuffer "extra" datatype "rgba" filetype "png" filename "extra.png" '
                             'user on framebuffer "main" datatype "rgba" filetype "png" '
                             'filename "main.png"') + square(RED) + RENDER
        self.check(text, 'images not written: "extra.png"')
        self.assertTrue(self.exists("main.png"))
        self.assertFalse(self.exists("extra.png"))
        # Without a file name there is nothing to write.
        self.assertEqual(self.render(text.replace('filename "extra.png"', ""), "-strict", "-v", "3"), [])

    def test_pixel_types(self):
        self.check(HEAD + camera('output "rgba,z,n" "png" "a.png" output "pink" "png" "b.png"') +
                   square(RED) + RENDER, "statements without effect: unknown pixel type",
                   'images not written: "z,n" of "a.png"')

    def test_output_shader(self):
        self.check(HEAD + camera('output "rgba" "png" "pic.png" output "rgba" "p_lens" ( )') + square(RED) +
                   RENDER, "statements without effect: output shader")

    def test_shader_warning(self):
        self.check(HEAD + camera() + square('opaque "p_say" ( "severity" 1 )') + RENDER,
                   'warnings from shaders: shader "p_say" (instance "m / p_say")')

    def test_shader_error_is_a_failure(self):
        lines = self.render(HEAD + camera() + square('opaque "p_say" ( "severity" 2 )') + RENDER, status=2)
        self.assertIn("RC 0.0 error: something is wrong", lines)
        self.assertTrue(self.exists("pic.png"))

    def test_other_failures_come_first(self):
        text = HEAD + 'system "true"\n' + camera('output "rgba" "png" "/"') + square(RED) + RENDER
        self.check(text, "statements without effect: system", status=2)
        self.render(text + "nonsense\n", "-strict", status=1)

    def test_parsing(self):
        text = HEAD + 'system "true"\n' + camera() + square(RED) + RENDER
        self.render(text, "-parse")
        self.render(text, "-parse", "-strict", status=4)


class PointClouds(ProgramCase):
    """A bake and a read-back without problems are complete; a cache that cannot be written is not."""

    def scene(self, lens, color="0.2 0.4 0.6 1"):
        view = scenes.Camera(16, 12)
        return (scenes.HEAD.replace('link "base.so"\n', "").replace("$include <base.mi>\n", "") +
                view.text("lens " + lens if lens else "") + view.instance() +
                scenes.quad("o", (0, 0, 0), (1, 0, 0), (0, 1, 0)) +
                'material "m" opaque "vx_pc_tag" ( "color" %s, "bakeColor" 1 0 0 1 ) end material\n' % color +
                scenes.instance("i", "o", ["m"]) + scenes.world("camInst", "i") + scenes.RENDER)

    def test_bake_and_read(self):
        # Around the object is background.
        lines = self.render(self.scene(scenes.writer()), "-strict")
        self.assertEqual(self.warnings(lines), [])
        read = self.scene("").replace(
            'material "m"', 'shader "cloud" "vx_pc_read" ( "fileName" "cloud.0001.mrmap", "frame" 1, '
            '"radius" 0.3, "maxPoints" 8 )\nmaterial "m"').replace('"color" 0.2 0.4 0.6 1',
                                                                   '"color" = "cloud.outColor"')
        self.assertEqual(self.warnings(self.render(read, "-strict")), [])
        # Without its map the reader fails.
        self.render(read.replace("cloud.0001.mrmap", "other.0001.mrmap"), "-strict", status=2)

    def test_cache_that_cannot_be_created(self):
        text = self.scene(scenes.writer(pdcFileName="missing/cloud.0001.pdc", outputMode=1))
        lines = self.render(text, status=2)
        self.assertIn('RC 0.0 error: %s: cannot write "missing/cloud.0001.pdc": No such file or directory' %
                      WRITER, lines)
        self.assertIn("RC 0.0 warning: Cannot open missing/cloud.0001.pdc for writing", lines)
        self.assertEqual(self.incomplete(lines), ["warnings from shaders: " + WRITER])

    def test_cache_that_does_not_fit_on_the_disk(self):
        self.write("scene.mi", self.scene(scenes.writer(outputMode=1)))

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))

        run = subprocess.run([os.environ["VX_RENDER"], "-threads", "1", "scene.mi"], cwd=self.folder,
                             preexec_fn=limit, stderr=subprocess.PIPE, timeout=60)
        log = run.stderr.decode()
        self.assertEqual(run.returncode, 2, log)
        self.assertIn('RC 0.0 error: %s: cannot write "%s": ' %
                      (WRITER, os.path.realpath(self.path("cloud.0001.pdc"))), log)
        self.assertEqual(os.path.getsize(self.path("cloud.0001.pdc")), 4096)

    def test_cache_that_cannot_be_read_is_no_failed_write(self):
        lines = self.render(self.scene(scenes.writer(outputMode=3)))
        self.assertEqual(self.incomplete(lines), ["warnings from shaders: %s (2 times)" % WRITER])
        # A directory can be opened, but not read.
        os.mkdir(self.path("cloud.0001.pdc"))
        lines = self.render(self.scene(scenes.writer(outputMode=3)))
        self.assertEqual(self.incomplete(lines), ["warnings from shaders: " + WRITER])
