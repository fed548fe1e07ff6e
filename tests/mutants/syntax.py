"""One source file as libclang sees it: its bytes, its tokens and its syntax tree."""

import bisect
import collections

from libclang import cindex

Kind = cindex.CursorKind
Token = collections.namedtuple("Token", "start end text")

# Wrappers without syntax of their own: implicit conversions, temporaries, parentheses.
TRANSPARENT = (Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR)


class SyntaxProblem(Exception):
    """The file does not parse; the text has the place and the reason."""


class SourceFile:
    """Offsets count bytes, and all spans are half open. What comes from a macro has the span of the
    macro's use."""

    def __init__(self, path, compiler_arguments):
        with open(path, "rb") as stream:
            self.data = stream.read()
        self.path = str(path)
        unit = cindex.Index.create().parse(self.path, args=["-x", "c++", *compiler_arguments])
        errors = [str(d) for d in unit.diagnostics if d.severity >= cindex.Diagnostic.Error]
        if errors:
            raise SyntaxProblem("\n".join(errors))
        self.unit = unit  # keeps the cursors alive
        self.tokens = [Token(t.extent.start.offset, t.extent.end.offset, t.spelling)
                       for t in unit.get_tokens(extent=unit.cursor.extent)
                       if t.kind != cindex.TokenKind.COMMENT]
        self._starts = [token.start for token in self.tokens]
        self.declarations = [c for c in unit.cursor.get_children() if self._is_own(c)]

    def _is_own(self, cursor):
        file = cursor.location.file
        return file is not None and file.name == self.path

    def text(self, start, end):
        return self.data[start:end].decode("utf-8")

    def text_of(self, cursor):
        return self.text(*span(cursor))

    def tokens_between(self, start, end):
        """The tokens that lie in the span as a whole."""
        first = bisect.bisect_left(self._starts, start)
        last = bisect.bisect_left(self._starts, end)
        return [token for token in self.tokens[first:last] if token.end <= end]

    def token_at(self, start):
        """The token that begins there, or None."""
        index = bisect.bisect_left(self._starts, start)
        if index < len(self.tokens) and self.tokens[index].start == start:
            return self.tokens[index]
        return None

    def line_and_column(self, offset):
        """Both count from 1; the column counts bytes."""
        before = self.data[:offset]
        return before.count(b"\n") + 1, offset - (before.rfind(b"\n") + 1) + 1

    def line_text(self, line):
        return self.data.split(b"\n")[line - 1].decode("utf-8").strip()


def span(cursor):
    extent = cursor.extent
    return extent.start.offset, extent.end.offset


def bare(cursor):
    """The expression inside parentheses and implicit conversions."""
    while cursor.kind in TRANSPARENT:
        children = list(cursor.get_children())
        if len(children) != 1:
            break
        cursor = children[0]
    return cursor


def walk(cursor):
    """The cursor and everything below it, except what is evaluated at compile time."""
    if cursor.kind == Kind.STATIC_ASSERT or cursor.kind.is_attribute():
        return
    yield cursor
    for child in cursor.get_children():
        yield from walk(child)
