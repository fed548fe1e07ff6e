"""A test case that runs vx_cache in a folder of its own."""

import subprocess

from folder_case import FolderCase


class CacheCase(FolderCase):
    program = None  # set by the test

    def run_tool(self, *args, **kwargs):
        kwargs.setdefault("timeout", 120)
        return subprocess.run([self.program, *map(str, args)], capture_output=True, **kwargs)

    def ok(self, *args, **kwargs):
        done = self.run_tool(*args, **kwargs)
        self.assertEqual(done.returncode, 0, (args, done.stderr))
        return done

    def fails(self, *args, status=1, says=None, **kwargs):
        done = self.run_tool(*args, **kwargs)
        self.assertEqual(done.returncode, status, (args, done.stdout, done.stderr))
        if says is not None:
            self.assertIn(says, done.stderr.decode())
        return done

    def convert(self, source, target, *options):
        """Converts between files of the folder; returns the messages and the bytes of the result."""
        done = self.ok("convert", "-f", *options, self.path(source), self.path(target))
        return done.stderr.decode(), self.get(target)
