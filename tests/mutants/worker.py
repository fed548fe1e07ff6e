"""A copy of the project in which mutants are built and tested. The checkout itself is only read."""

import collections
import filecmp
import os
import pathlib
import shutil
import subprocess

import limited
from builds import WHOLE_LIBRARY

# The result of a mutant: "killed", "timeout" (a kill as well), "survived" or "invalid" (it does not
# compile). `by` names what failed.
Verdict = collections.namedtuple("Verdict", "status by")

# A mutant may take this many times as long as the unchanged program, and a floor.
SLOWER = 10
PROCESSOR_FLOOR = 3  # seconds
WALL_FLOOR = 30


class BuildProblem(Exception):
    """The unchanged project does not build or does not pass its tests."""


class Worker:
    """Works on one mutant at a time, in a copy of its own; several can work side by side."""

    def __init__(self, folder, build, jobs=1):
        self.folder = pathlib.Path(folder)
        self.tree = tree_in(self.folder)    # the copy
        self.build = build
        self.build_folder = self.folder / build.name
        self.jobs = jobs                    # of the builds of mutants
        self.programs = []
        self.folder_targets = set()         # src/FOLDER/all, where there is such a target
        self.mutated = None                 # the file in the copy that holds a mutant
        self.original = b""                 # what it held before
        self.environment = None

    # ---- preparation ----

    def configure(self):
        """Configures the build of the copy, which the caller has made."""
        if not (self.build_folder / "build.ninja").exists():
            call("cmake", "-S", self.tree, "-B", self.build_folder, "-G", "Ninja", *self.build.flags)

    def check_unchanged(self, jobs):
        """Builds everything without a mutant; runs and times the tests, which must pass."""
        self.ninja("build.ninja")  # configures again when the copy's CMake files have changed
        folders = {path.name for path in (self.tree / "src").iterdir() if path.is_dir()}
        self.programs = self.build.find_programs(self.build_folder, folders, self.ninja)
        if not self.programs:
            raise BuildProblem("there are no test programs for the folders of src/")
        targets = {line.partition(": ")[0] for line in self.ninja("-t", "targets", "all").splitlines()}
        self.folder_targets = {f"src/{folder}/all" for folder in folders} & targets
        self.ninja("-j", jobs, "src/all", *(target for p in self.programs for target in p.targets))
        # A mutant is compiled once: a compiler cache would only fill up with it.
        self.environment = {**os.environ, "CCACHE_DISABLE": "1"}
        for program in self.programs:
            run = limited.run(program.command, self.folder, 600, 1200, self.build.memory_limit)
            if not run.passed:
                raise BuildProblem(f"{program.name} fails without any change: {run.case}; its output is in "
                                   f"{self.folder}/test.log")
            program.processor_seconds = run.processor_seconds
            program.wall_seconds = run.wall_seconds

    def ninja(self, *arguments):
        return call("ninja", "-C", self.build_folder, *arguments)

    # ---- one mutant ----

    def try_mutant(self, mutant):
        self.put(mutant)
        folder = pathlib.PurePath(mutant.file).parts[1]
        own = f"src/{folder}/all"
        if mutant.file.endswith(".h") and own in self.folder_targets and not self.builds(own):
            # The folder's sources include little, so a change that does not compile fails sooner.
            return Verdict("invalid", "")
        for program in self.in_order_for(folder):
            before = stamps(program)
            if not self.builds(*program.targets):
                # If the library builds, the compiler evaluated a test that failed.
                if self.builds("src/all"):
                    return Verdict("killed", self.noticed_by(program, "does not build"))
                return Verdict("invalid", "")
            if stamps(program) == before:
                continue  # it does not depend on the file
            run = limited.run(program.command, self.folder,
                              round(PROCESSOR_FLOOR + SLOWER * program.processor_seconds),
                              WALL_FLOOR + SLOWER * program.wall_seconds, self.build.memory_limit)
            if not run.passed:
                return Verdict("timeout" if run.timeout else "killed", self.noticed_by(program, run.case))
        return Verdict("survived", "")

    def noticed_by(self, program, what):
        return f"{self.build.name}: {program.name} {what}".strip()

    def put(self, mutant):
        """Writes the mutant to the copy and restores another mutated file."""
        path = self.tree / mutant.file
        if self.mutated != path:
            self.restore()
            self.mutated, self.original = path, path.read_bytes()
        path.write_bytes(mutant.applied_to(self.original))

    def restore(self):
        if self.mutated is not None:
            self.mutated.write_bytes(self.original)
            self.mutated = None

    def in_order_for(self, folder):
        """The folder's own programs first, those of the whole library last."""
        return sorted(self.programs, key=lambda program: (
            program.folder != folder, program.folder in WHOLE_LIBRARY, program.name))

    def builds(self, *targets):
        command = ["ninja", "-C", str(self.build_folder), "-j", str(self.jobs), *targets]
        # In a session of its own, so that an interrupt from the keyboard does not look like a failed build.
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              env=self.environment, start_new_session=True).returncode == 0


def call(*command):
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace")
    if done.returncode != 0:
        raise BuildProblem(done.stdout)
    return done.stdout


def stamps(program):
    return [path.stat().st_mtime_ns if path.exists() else 0 for path in program.products]


def tree_in(folder):
    return folder / "tree"


def is_left_out(name):
    return name.startswith(".") or name in ("build", "out", "node_modules", "__pycache__")


def copy_tree(source, target):
    """Makes `target` equal to `source`, without build products and hidden files. Files that are equal
    already keep their times, so that only what has changed is compiled again."""
    target.mkdir(parents=True, exist_ok=True)
    wanted = {entry.name for entry in source.iterdir() if not is_left_out(entry.name)}
    for entry in target.iterdir():
        if entry.name not in wanted and not is_left_out(entry.name):
            shutil.rmtree(entry) if entry.is_dir() else entry.unlink()
    for name in sorted(wanted):
        old, new = source / name, target / name
        if old.is_dir():
            copy_tree(old, new)
        elif not new.exists() or not filecmp.cmp(old, new, shallow=False):
            new.unlink(missing_ok=True)
            shutil.copyfile(old, new)
            shutil.copymode(old, new)
