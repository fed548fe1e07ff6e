"""include_table_test.py SOURCE

Checks every #include of the sources against the table in CONTRIBUTING.md. Prints a line per violation:
an include that the table does not allow, a source that no row covers, a row of a place that does not
exist.
"""

import os
import pathlib
import re
import sys

SOURCE_SUFFIXES = {".c", ".cpp", ".h"}
SKIPPED_FOLDERS = {"build", "node_modules", "out"}

# Libraries as the table calls them, by the beginning of their headers' names.
LIBRARIES = {
    "CLI/": "CLI11",
    "Imath/": "Imath",
    "OpenImageIO/": "OpenImageIO",
    "embree3/": "Embree",
    "fmt/": "fmt",
    "nanoflann.hpp": "nanoflann",
    "muParser.h": "muParser",
    "nlohmann/": "nlohmann-json",
    "tbb/": "oneTBB",
    "zlib.h": "zlib",
}
# What the table calls "system", likewise.
SYSTEM = ("dlfcn.h", "emmintrin.h", "fcntl.h", "immintrin.h", "pthread.h", "sanitizer/", "sys/", "unistd.h")
# The standard library: C++ headers have no suffix, these are C's.
C_STANDARD = {"assert.h", "ctype.h", "errno.h", "float.h", "inttypes.h", "limits.h", "locale.h", "math.h",
              "setjmp.h", "signal.h", "stdarg.h", "stdbool.h", "stddef.h", "stdint.h", "stdio.h", "stdlib.h",
              "string.h", "time.h"}

INCLUDE = re.compile(r'\s*#\s*include\s*([<"])([^>"]+)[>"]')


class Table:
    """Places with what they may include: names, and paths from the root."""

    def __init__(self, text):
        self.allowed = {}
        lines = iter(text.splitlines())
        for line in lines:
            if re.match(r"\|\s*place\s*\|.*\|\s*may include\s*\|", line):
                break
        else:
            sys.exit("include_table_test: CONTRIBUTING.md has no table with the columns 'place' and 'may include'")
        next(lines)  # the ruler below the heading
        for line in lines:
            if not line.startswith("|"):
                break
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            entries = [entry.strip().strip("`") for entry in cells[-1].split(",")]
            for place in re.findall(r"`([^`]+)`", cells[0]):
                self.allowed[place] = [entry for entry in entries if entry != "–"]

    def place_of(self, path):
        """The most specific place of a path, or none."""
        places = [place for place in self.allowed if is_in(path, place)]
        return max(places, key=len, default=None)


def is_in(path, place):
    return path == place or (place.endswith("/") and path.startswith(place))


def sources(root):
    for folder, folders, files in os.walk(root):
        folders[:] = sorted(f for f in folders if f not in SKIPPED_FOLDERS and not f.startswith("."))
        for name in sorted(files):
            path = pathlib.Path(folder, name)
            if path.suffix in SOURCE_SUFFIXES:
                yield path.relative_to(root)


def resolve(root, source, header):
    """The path of a quoted header from the root; none if the project has no such file."""
    for folder in (pathlib.Path(), pathlib.Path("include"), source.parent):
        if (root / folder / header).is_file():
            return (folder / header).as_posix()
    return None


def library_of(header):
    """What the table calls a header in angle brackets; none if that is unknown."""
    if header in C_STANDARD or not re.search(r"[./]", header):
        return "standard library"
    if header.startswith(SYSTEM):
        return "system"
    return next((name for start, name in LIBRARIES.items() if header.startswith(start)), None)


def complaint(root, table, source, quote, header):
    """Why the source must not include the header; none if it may."""
    place = table.place_of(source.as_posix())
    allowed = table.allowed[place]
    if quote == "<":
        library = library_of(header)
        if library is None:
            return f"<{header}> is unknown to this test: add its library to LIBRARIES"
        if library == "standard library" or library in allowed:
            return None
        return f"<{header}>: {place} may not include {library}"
    path = resolve(root, source, header)
    if path is None:
        return f'"{header}" is not a file of the project'
    if table.place_of(path) == place or any(is_in(path, entry) for entry in allowed):
        return None
    return f'"{header}": {place} may not include {path}'


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    table = Table((root / "CONTRIBUTING.md").read_text())
    findings = [f"CONTRIBUTING.md: {place} does not exist" for place in table.allowed if not (root / place).exists()]
    checked = 0
    for source in sources(root):
        place = table.place_of(source.as_posix())
        if place is None:
            findings.append(f"{source}: no row of the table covers it")
            continue
        if table.allowed[place] == ["anything"]:
            continue
        for number, line in enumerate((root / source).read_text().splitlines(), 1):
            if include := INCLUDE.match(line):
                checked += 1
                if why := complaint(root, table, source, *include.groups()):
                    findings.append(f"{source}:{number}: {why}")
    if checked == 0:
        findings.append("no include was checked")
    if findings:
        sys.exit("\n".join(findings))
    print(f"{checked} includes are as the table says")


main()
