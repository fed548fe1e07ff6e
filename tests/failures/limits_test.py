"""Small or strange inputs that must not take unlimited time or memory."""

import gzip
import os
import resource
import struct
import zlib

from failure_case import CAMERA, QUAD, FailureCase

MIB = 1 << 20


def png_header(width, height):
    """A PNG file that ends after the header and two bytes of pixels."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">2I5B", width, height, 8, 6, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(b"\0")) + chunk(b"IEND", b""))


class Limits(FailureCase):
    def peak(self, *arguments, **options):
        """Renders; returns the log and the largest resident memory of all runs so far, in MiB."""
        log = self.render(*arguments, **options)
        return log, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024

    def textured(self, name):
        head = 'color texture "t" "%s"\n' % name
        return self.scene('"grey" ()', head)

    def test_pixels_are_compared_with_the_size_of_the_file(self):
        self.write("large.png", png_header(30000, 30000))
        size = os.path.getsize(self.path("large.png"))
        log, peak = self.peak(self.textured("large.png"))
        self.assertIn('cannot read texture "t": large.png: its 30000 x 30000 pixels are too many for a file of '
                      "%d bytes" % size, log)
        self.assertLess(peak, 400)

    def test_pipes_without_a_writer_do_not_block(self):
        os.mkfifo(self.path("pipe"))
        self.assertIn('cannot read texture "t": pipe: it is not a regular file', self.render(self.textured("pipe")))
        log = self.render(self.scene('"grey" ()', '$include "pipe"\n'), status=1)
        self.assertIn("error: scene.mi:1:1: cannot read 'pipe': it is a pipe without a writer", log)
        log = self.render("", "pipe", status=1)
        self.assertIn("error: cannot read 'pipe': it is a pipe without a writer", log)
        log = self.render(self.scene('"grey" ()', 'link "pipe"\n'))
        self.assertIn('warning: scene.mi:1:6: there is no library "pipe"', log)
        log = self.render('declare data "d" ( scalar "s" ) end declare\ndata "x" "pipe"\n', status=1)
        self.assertIn('error: scene.mi:2:6: cannot read "pipe": it is not a regular file', log)

    def test_a_pipe_with_a_writer_is_read(self):
        os.mkfifo(self.path("pipe"))
        held = os.open(self.path("pipe"), os.O_RDWR)  # so that opening the pipe for writing does not block
        os.write(held, self.scene('"grey" ()').encode())
        # The program gets the other end; closing it in the child leaves the child's own.
        read_end = os.open(self.path("pipe"), os.O_RDONLY)
        os.close(held)
        self.render("", "pipe", before=lambda: os.set_inheritable(read_end, True))
        self.assertPicture()
        os.close(read_end)

    def test_compressed_scenes_that_expand_too_much(self):
        """Blanks; a scene of moderate expansion is read."""
        self.write("bomb.mi.gz", gzip.compress(b" " * (200 * MIB), 9))
        packed = os.path.getsize(self.path("bomb.mi.gz"))
        log, peak = self.peak('$include "bomb.mi.gz"\n', status=1)
        self.assertIn("error: scene.mi:1:1: cannot read 'bomb.mi.gz': decompressed data is too large (more than "
                      "%d bytes from %d)" % (64 * MIB, packed), log)
        self.assertLess(peak, 400)
        self.write("plain.mi.gz", gzip.compress(self.scene('"grey" ()').encode() + b" " * (32 * MIB)))
        self.render("", "plain.mi.gz")
        self.assertPicture()

    def nested(self, depth, leaf):
        """Each group holds the one below it twice."""
        text = ('options "opt" end options\n' + CAMERA % "" + QUAD +
                'instance "i" "o" end instance\ninstgroup "g0" %s end instgroup\n'
                'instance "cami" "cam" transform 1 0 0 0 0 1 0 0 0 0 1 0 0 0 -4 1 end instance\n' % leaf)
        for i in range(depth):
            text += ('instance "a%d" "g%d" end instance\ninstance "b%d" "g%d" end instance\n'
                     'instgroup "g%d" "a%d" "b%d" end instgroup\n' % (i, i, i, i, i + 1, i, i))
        return text + ('instance "top" "g%d" end instance\ninstgroup "world" "cami" "top" end instgroup\n'
                       'render "world" "cami" "opt"\n' % depth)

    def test_groups_without_objects_are_counted(self):
        text = self.nested(60, "")
        log = self.render(text, status=2)
        self.assertIn('error: scene.mi:%d: too many nested instances: instance "top" brings the scene to more than '
                      "20000000 instances and groups" % text.count("\n"), log)
