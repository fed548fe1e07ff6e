"""The ways in which a copy of the project is built, and the tests that belong to each."""

import collections
import dataclasses
import pathlib
import re

from limited import MEMORY_LIMIT

# Folders under tests/ for the library as a whole. They run last.
WHOLE_LIBRARY = ("library",)

COMMON_FLAGS = (
    "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
    # A change may leave a variable unused.
    "-DVX_WARNINGS_AS_ERRORS=OFF",
    # CTest's list of cases is not needed after each link.
    "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST")

# `find_programs` gets the build folder, the folders of src/, and a function that runs ninja in the build
# folder and returns what it prints. `most_copies` limits how many are worth building.
Build = collections.namedtuple("Build", "name flags memory_limit find_programs most_copies")


@dataclasses.dataclass
class Program:
    """Something to build and run that passes when its status is 0."""
    name: str
    folder: str                     # below tests/
    targets: list                   # what is built before a run
    products: list                  # the files whose change makes another run necessary
    command: list
    processor_seconds: float = 0.0  # of a run without a mutant
    wall_seconds: float = 0.0


def find_unit_tests(build, folders, ninja):
    """The test programs of the library's folders, and those of the whole library."""
    programs = []
    for line in ninja("-t", "targets", "all").splitlines():
        target, _, rule = line.partition(": ")
        parts = pathlib.PurePath(target).parts
        if "EXECUTABLE_LINKER__" not in rule or len(parts) < 3 or parts[0] != "tests":
            continue
        if parts[1] in folders or parts[1] in WHOLE_LIBRARY:
            # The objects that it loads when it runs.
            modules = re.findall(r"^\s+\|\| (\S+\.so)$", ninja("-t", "query", target), re.MULTILINE)
            programs.append(Program(parts[-1], parts[1], [target],
                                    [build / path for path in (target, *modules)], [build / target]))
    return programs


def find_whole_program_tests(build, folders, ninja):
    """Bakes and read-backs by vx_render with the library that it loads."""
    del folders, ninja
    command = ["ctest", "--test-dir", build, "--stop-on-failure", "--no-tests=error", "-R",
               r"^(Bake|Readback)\."]
    targets = ["bin/vx_render", "lib/vx_pc.so", "tests/bake/all", "tests/readback/all", "host/all",
               "vx_pc_declaration"]
    return [Program("whole programs", "", targets, [build / "lib" / "vx_pc.so"], command)]


PLAIN = Build(
    "plain", ("-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_FLAGS=-O0", *COMMON_FLAGS), MEMORY_LIMIT,
    find_unit_tests, most_copies=1000)
# Sanitizers reserve more address space than any limit allows.
SANITIZED = Build(
    "sanitized", (*PLAIN.flags, "-DVX_INSTRUMENT=address"), 0, find_unit_tests, most_copies=1000)
# The host takes longer to build than a few survivors take to try.
WHOLE_PROGRAMS = Build(
    "release", ("-DCMAKE_BUILD_TYPE=Release", *COMMON_FLAGS), 0, find_whole_program_tests, most_copies=1)
