"""Scenes that link and include files of shader libraries that are not installed."""

from failure_case import FailureCase

STOCK = 'link "contour.so"\n$include "contour.mi"\n$include <physics.mi>\n'


class Missing(FailureCase):
    def test_missing_libraries_and_their_declarations_are_warnings(self):
        log = self.render(self.scene('"grey" ()', STOCK))
        self.assertPicture()
        self.assertRegex(log, r'SCENE 0\.0 warning: scene\.mi:1:6: there is no library "contour\.so"')
        self.assertIn("SCENE 0.0 warning: scene.mi:2:1: cannot find include file 'contour.mi'\n", log)
        self.assertIn("SCENE 0.0 warning: scene.mi:3:1: cannot find include file 'physics.mi'\n", log)

    def test_missing_files_are_listed_as_incomplete(self):
        log = self.render(self.scene('"grey" ()', STOCK), "-strict", status=4)
        self.assertPicture()
        self.assertIn('warning: incomplete: missing files: "contour.mi", "contour.so", "physics.mi"\n', log)

    def test_a_missing_file_of_a_directory_is_an_error(self):
        log = self.render(self.scene('"grey" ()', quad='$include "parts/quad.mi"\n'), status=1)
        self.assertIn("error: scene.mi:3:1: cannot find include file 'parts/quad.mi'", log)

    def test_geometry_that_a_missing_file_defines_is_an_error(self):
        log = self.render(self.scene('"grey" ()', quad='$include "quad.mi"\n'), status=1)
        self.assertIn("warning: scene.mi:3:1: cannot find include file 'quad.mi'", log)
        self.assertIn("error: scene.mi:5:14: there is no camera, light, object or instgroup 'o'", log)

    def test_a_broken_library_is_an_error(self):
        self.write("broken.so", b"\x7fELF and no more")
        log = self.render(self.scene('"grey" ()', 'link "broken.so"\n'), status=1)
        self.assertRegex(log, r"SCENE 0\.0 error: scene\.mi:1:6: .*broken\.so")

    def test_undeclared_shaders_have_stand_ins_wherever_a_shader_may_be_named(self):
        head = """link "failing_shaders.so"
declare shader color "f_pass" ( color "color", shader "next" ) version 1 end declare
"""
        cases = {
            "call": ('"unknown" ( "x" 1 )', ""),
            "list": ('"f_pass" () = "unknown"', ""),
            "clause": ('"f_pass" () shadow = "unknown"', ""),
            "contour": ('"f_pass" () contour "unknown" ( "x" 1 )', ""),
            "lens": ('"f_pass" ()', 'lens = "unknown"'),
            "connection": ('"f_pass" ( "color" = "unknown" )', ""),
            "member": ('"f_pass" ( "color" = "unknown.outColor" )', ""),
            "parameter": ('"f_pass" ( "next" "unknown" )', ""),
        }
        for name, (material, camera) in cases.items():
            with self.subTest(name):
                log = self.render(self.scene(material, head, camera))
                self.assertEqual(log.count('shader "unknown" is not declared; a stand-in is used for it'), 1, log)
                self.assertPicture()
