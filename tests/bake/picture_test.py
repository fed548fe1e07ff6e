"""The rendered picture has the same bits whether a writer bakes or not."""

import os
import sys
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from bake_case import BakeCase  # noqa: E402
from color_test import LAMP, SUN, TEXTURED, Image, textured_quad  # noqa: E402
from meshes import Placed, ball, rotation  # noqa: E402
from scenes import (HEAD, RENDER, TILT_CENTER, TILT_U, TILT_V, Camera, instance, world, writer)  # noqa: E402

# A plane with a texture blurred by noise, under two lights, and a shiny ball that reflects it; both have
# other colors while baking.
SURFACES = TEXTURED + """
declare shader color "bake_test_noise" ( color "color", integer "n" ) version 1 end declare
declare shader color "bake_test_blur" ( ) version 1 end declare
link "bake_test_shaders.so"
shader "noisy" "bake_test_noise" ( "color" = "texel", "n" 3 )
shader "rough" "mib_illum_lambert" ( "ambience" 0.2 0.1 0.1, "ambient" = "noisy", "diffuse" = "noisy",
    "mode" 1, "lights" [ "lampInst", "sunInst" ] )
shader "smooth" "mib_illum_phong" ( "ambience" 0.1 0.1 0.1, "ambient" 1 1 1, "diffuse" 0.5 0.25 0.125,
    "specular" 1 1 1, "exponent" 20, "mode" 1, "lights" [ "lampInst", "sunInst" ] )
shader "shiny" "mib_reflect" ( "input" = "smooth", "reflect" 0.5 0.5 0.5, "notrace" off )
material "planeMtl" opaque "vx_pc_tag" ( "color" = "rough", "bakeColor" = "noisy", "tag" 1 ) end material
material "ballMtl" opaque "vx_pc_tag" ( "color" = "shiny", "bakeColor" = "rough", "tag" 2 ) end material
"""

# As SURFACES, with a sample of its own for each sample of a light, and a glossy ball. The bake
# runs the shaders of the picture, so it advances the same counts of samples.
SAMPLED = TEXTURED + """
declare shader color "bake_test_soft" ( color "color", integer "n", array light "lights" ) version 1 end declare
declare shader color "bake_test_glossy" ( color "color", integer "n" ) version 1 end declare
declare shader color "bake_test_blur" ( ) version 1 end declare
link "bake_test_shaders.so"
shader "soft" "bake_test_soft" ( "color" = "texel", "n" 3, "lights" [ "lampInst", "sunInst" ] )
shader "glossy" "bake_test_glossy" ( "color" 0.5 0.5 0.5 1, "n" 4 )
material "planeMtl" opaque "vx_pc_tag" ( "color" = "soft", "bakeColor" = "soft", "tag" 1 ) end material
material "ballMtl" opaque "vx_pc_tag" ( "color" = "glossy", "bakeColor" = "glossy", "tag" 2 ) end material
"""

OUTPUTS = 'output "rgba_fp" "tif" "out.tif" output "z" "tif" "z.tif" output "n" "tif" "n.tif"'
BLUR = '"bake_test_blur" ( )'
BAKE = writer(jitter=True, samples=3, layers=2)
PICTURES = ("out.tif", "z.tif", "n.tif")


class Picture(BakeCase):
    def pictures(self, lenses, threads, jitter=0, surfaces=SURFACES):
        Image(5, 4).write(self.path("image.ppm"))
        camera = Camera(width=32, height=24, eye=(0.3, 0.2, 5), turn=0.1)
        placed = Placed(ball(), (0.8, 0.7, 0.9), rotation((1, 2, 3), 0.7), (0.4, 0.3, 0.8))
        lens = "lens " + " ".join(lenses) if lenses else ""
        head = HEAD.replace("samples 0 0", "samples 0 2 jitter %g" % jitter)
        self.render(head + camera.text(lens, output=OUTPUTS) + camera.instance() + LAMP.text() + SUN.text() +
                    surfaces + textured_quad("plane", TILT_CENTER, TILT_U, TILT_V) +
                    instance("planeInst", "plane", ["planeMtl"]) + placed.mesh.text("ball") +
                    placed.text("ballInst", "ball", "ballMtl") +
                    world("camInst", "planeInst", "ballInst", "lampInst", "sunInst") + RENDER,
                    "-threads", str(threads))
        baked = os.path.exists(self.path("cloud.0001.pdc"))
        self.assertEqual(baked, BAKE in lenses, self.log)
        if baked:
            self.assertGreater(self.cloud().count, 32 * 24 * 3)
            os.remove(self.path("cloud.0001.pdc"))
        return [self.tif_digest(name) for name in PICTURES]

    def check(self, lenses_without, *lenses_with, jitter=0, surfaces=SURFACES):
        without = self.pictures(lenses_without, 1, jitter, surfaces)
        self.assertEqual(len(set(without)), 3)
        for lenses in (lenses_without,) + lenses_with:
            for threads in (1, 4):
                self.assertEqual(self.pictures(lenses, threads, jitter, surfaces), without, (lenses, threads))

    def test_with_a_writer_with_a_disabled_one_and_without_a_lens(self):
        self.check([], [BAKE], [writer(disable=True)])

    def test_jittered(self):
        self.check([], [BAKE], jitter=1)

    def test_samples_of_lights_and_of_reflections(self):
        self.check([], [BAKE], [writer(disable=True)], jitter=1, surfaces=SAMPLED)

    def test_beside_a_lens_that_samples(self):
        self.check([BLUR], [BAKE, BLUR], [BLUR, BAKE])

    def test_two_writers(self):
        self.check([], [BAKE, BAKE])

    def test_noise_is_seen(self):
        """The pictures depend on samples: with another name, the noise differs."""
        renamed = SURFACES.replace('"noisy"', '"noisier"')
        self.assertNotEqual(self.pictures([], 1)[0], self.pictures([], 1, surfaces=renamed)[0])


if __name__ == "__main__":
    unittest.main()
