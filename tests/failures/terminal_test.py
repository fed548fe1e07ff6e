"""Texts of scenes, file names and shaders cannot control the terminal."""

from failure_case import FailureCase


class Terminal(FailureCase):
    def test_control_characters_are_escaped(self):
        name = "\x1b[2J\x9b.png"  # U+009B as UTF-8 is the bytes c2 9b
        text = self.scene('"grey" ()', 'color texture "t" "%s"\necho "a\x07b\u00e9"\n' % name)
        log = self.render(text, "-v", "5")
        self.assertIn('cannot read texture "t": \\x1b[2J\\xc2\\x9b.png: ', log)
        self.assertIn("info: a\\x07b\u00e9\n", log)
        self.assertNotRegex(log, "[\x00-\x09\x0b-\x1f\x7f-\x9f]")

    def test_so_are_those_of_the_command_line(self):
        self.assertIn("-\\x1b[2J", self.render("", "-\x1b[2J", status=3))
