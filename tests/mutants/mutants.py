"""Mutation testing of the shader library: makes one small change at a time under src/, and runs the
library's tests, and with the survivors of that once more under the address and undefined-behavior
sanitizers. A change that no test notices is a survivor: a missing test, or a change without effect, which
belongs on the list of equivalents.

Exit status: 0 when all mutants that were tried were killed or are known equivalents, 1 when there are
survivors or the list of equivalents has errors, 2 when there is nothing to test: wrong arguments, a build
that fails, tests that fail without any change.
"""

import argparse
import fcntl
import json
import os
import pathlib
import random
import shlex
import sys

import builds
import equivalents
import report
from changes import mutants_of
from journal import Journal, state_of
from report import say
from stages import try_stages
from syntax import SourceFile, SyntaxProblem
from worker import BuildProblem, Worker, copy_tree

HERE = pathlib.Path(__file__).resolve().parent


class UsageProblem(Exception):
    pass


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./vx mutants", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", metavar="FILE",
                        help="files or folders below src/, from the project's root (default: all)")
    parser.add_argument("--list", action="store_true", help="print the mutants, build and run nothing")
    parser.add_argument("--deep", action="store_true",
                        help="try survivors also with bakes and read-backs by vx_render")
    parser.add_argument("--again", action="store_true", help="only what survived the last run")
    parser.add_argument("--sample", metavar="N[/SEED]", help="only N mutants, chosen at random")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, metavar="N",
                        help="mutants that are tried at the same time (default: the number of cores)")
    parser.add_argument("--root", type=pathlib.Path, default=HERE.parent.parent, help=argparse.SUPPRESS)
    parser.add_argument("--build", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--equivalents", type=pathlib.Path, default=HERE / "equivalents.txt",
                        help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.jobs < 1:
        parser.error("--jobs takes a number from 1")
    arguments.root = arguments.root.resolve()
    arguments.build = (arguments.build or arguments.root / "build" / "mutants").resolve()
    return arguments


# ---- which mutants ----

def chosen_files(tree, names):
    """The library's sources, or those of them that are named, in alphabetical order."""
    everything = sorted(path.relative_to(tree).as_posix() for path in (tree / "src").rglob("*")
                        if path.suffix in (".cpp", ".h"))
    chosen = set()
    for name in names:
        name = os.path.normpath(name)
        matches = [f for f in everything if f == name or f.startswith(name + "/")]
        if not matches:
            raise UsageProblem(f"{name} is no source file or folder below src/")
        chosen.update(matches)
    return sorted(chosen) if names else everything


def compiler_arguments(worker):
    """What the parser needs of the commands that compile src/: folders, definitions and the standard.
    They are the same for all files; headers have no command of their own."""
    commands = json.loads((worker.build_folder / "compile_commands.json").read_text())
    own = [c for c in commands if c["file"].startswith(f"{worker.tree}/src/")]
    if not own:
        raise BuildProblem("the build compiles nothing below src/")
    words = shlex.split(own[0]["command"])
    return [word for i, word in enumerate(words)
            if word.startswith(("-I", "-D", "-std=", "-isystem")) or words[i - 1] == "-isystem"]


def find_mutants(worker, files):
    flags = compiler_arguments(worker)
    mutants = []
    for file in files:
        try:
            mutants += mutants_of(SourceFile(worker.tree / file, flags), file)
        except SyntaxProblem as problem:
            raise BuildProblem(f"{file} cannot be parsed:\n{problem}") from problem
    return mutants


def sampled(mutants, text):
    if not text:
        return mutants
    count, _, seed = text.partition("/")
    if not count.isdigit() or (seed and not seed.isdigit()):
        raise UsageProblem("--sample takes a number, or two as in 100/7")
    chosen = random.Random(int(seed or 0)).sample(range(len(mutants)), min(int(count), len(mutants)))
    return [mutants[i] for i in sorted(chosen)]


# ---- the run ----

def lock(folder):
    """Keeps a second run out of the folder until the returned file is closed."""
    folder.mkdir(parents=True, exist_ok=True)
    file = open(folder / "lock", "w")
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        raise UsageProblem(f"another run is using {folder}") from None
    return file


def main():
    arguments = parse_arguments()
    with lock(arguments.build):
        return run(arguments)


def run(arguments):
    try:
        entries = equivalents.parse(arguments.equivalents.read_text())
    except equivalents.ListProblem as problem:
        raise UsageProblem(f"{arguments.equivalents}:{problem}") from problem
    first = Worker(arguments.build / "0", builds.PLAIN)
    copy_tree(arguments.root, first.tree)
    first.configure()
    files = chosen_files(first.tree, arguments.files)
    mutants = find_mutants(first, files)

    def is_complete(file):
        return file in files or not (first.tree / file).exists()

    list_errors = [f"{arguments.equivalents}:{entry.list_line}: matches no mutant: {entry}"
                   for entry in equivalents.stale(entries, mutants, is_complete)]
    if arguments.again:
        last = report.last_survivors(arguments.build / "results.json")
        mutants = [mutant for mutant in mutants if mutant.key in last]
    mutants = sampled(mutants, arguments.sample)

    if arguments.list:
        for mutant in mutants:
            print(mutant)
        say(f"{len(mutants)} mutants")
        return finish([], list_errors)

    known = {entry.key: entry for entry in entries}
    stages = [builds.PLAIN, builds.SANITIZED, *([builds.WHOLE_PROGRAMS] if arguments.deep else [])]
    journal = Journal(arguments.build / "journal", state_of(first.tree))
    results = try_stages(arguments.build, mutants, known, arguments.jobs, stages, journal)

    for r in results:
        if r.equivalent and r.verdict.status != "survived":
            list_errors.append(f"{arguments.equivalents}:{known[r.mutant.key].list_line}: no equivalent, "
                               f"{r.verdict.status}: {r.mutant}")
    survivors = [r for r in results if r.verdict.status == "survived" and not r.equivalent]
    print(report.table(results))
    report.write_results(arguments.build / "results.json", results, list_errors)
    report.write_survivors(arguments.build / "survivors.txt", survivors)
    say(f"{sum(r.verdict.status == 'invalid' for r in results)} changes do not compile and do not count; "
        f"all results are in {arguments.build / 'results.json'}")
    return finish(survivors, list_errors)


def finish(survivors, list_errors):
    if survivors:
        print("survivors:")
    for result in survivors:
        print(result.mutant)
    for error in list_errors:
        print(error)
    return 1 if survivors or list_errors else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (UsageProblem, BuildProblem) as problem:
        say(f"error: {problem}")
        sys.exit(2)
    except KeyboardInterrupt:
        sys.exit(130)
