"""The list of known equivalents: changes that no test can notice, each with the reason.

An entry is a block of lines, set off by empty lines; "#" begins a comment line:

    file: src/points/pdc.cpp
    line: for (int i = 0; i != count; ++i)
    change: != -> <
    reason: i starts below count and grows by one

`line` is the text of the source line on which the change begins, so that entries survive when lines
move. Where the file has the same change on several lines of that text, `place: 2` names the second one
from the top; without it the first is meant.
"""

import dataclasses

FIELDS = ("file", "line", "change", "reason")


class ListProblem(Exception):
    """The list is malformed; the text begins with its line."""


@dataclasses.dataclass(frozen=True)
class Entry:
    file: str
    line: str
    change: str
    reason: str
    place: int
    list_line: int  # where the entry begins in the list

    @property
    def key(self):
        return self.file, self.line, self.change, self.place

    def __str__(self):
        place = f" (place {self.place})" if self.place > 1 else ""
        return f"{self.file}: {self.line}: {self.change}{place}"


def parse(text):
    """The entries in their order; raises ListProblem."""
    entries = {}
    block, begin = {}, 0
    for number, line in enumerate([*text.splitlines(), ""], start=1):
        line = line.strip()
        if line.startswith("#"):
            continue
        if line:
            name, colon, value = line.partition(":")
            if not colon or name not in (*FIELDS, "place"):
                raise ListProblem(f"{number}: expected one of {', '.join(FIELDS)}, place")
            if name in block:
                raise ListProblem(f"{number}: a second '{name}' in one entry")
            begin = begin if block else number
            block[name] = value.strip()
        elif block:
            entry = make_entry(block, begin)
            if entry.key in entries:
                raise ListProblem(f"{begin}: the same as the entry on line {entries[entry.key].list_line}")
            entries[entry.key] = entry
            block = {}
    return list(entries.values())


def make_entry(block, begin):
    for name in FIELDS:
        if not block.get(name):
            raise ListProblem(f"{begin}: an entry without '{name}'")
    place = block.get("place", "1")
    if not place.isdigit() or int(place) < 1:
        raise ListProblem(f"{begin}: 'place' is a number from 1")
    return Entry(*(block[name] for name in FIELDS), int(place), begin)


def stale(entries, mutants, is_complete):
    """The entries that no mutant matches, for files all of whose mutants are known (is_complete(file))."""
    keys = {mutant.key for mutant in mutants}
    return [entry for entry in entries if entry.key not in keys and is_complete(entry.file)]


def format_entry(mutant, reason):
    """The text of an entry for a mutant."""
    place = f"place: {mutant.place}\n" if mutant.place > 1 else ""
    return (f"file: {mutant.file}\nline: {mutant.line_text}\nchange: {mutant.change}\n{place}"
            f"reason: {reason}\n")
