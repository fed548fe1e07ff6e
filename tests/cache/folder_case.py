"""Test cases that work in a folder of their own, which goes with them."""
import os
import tempfile
import unittest


class FolderCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def put(self, name, data):
        with open(self.path(name), "wb") as f:
            f.write(data)
        return self.path(name)

    def get(self, name):
        with open(self.path(name), "rb") as f:
            return f.read()
