"""Mutation testing of the shader library: makes one small change at a time under src/, and runs the
library's tests, and with the survivors of that once more under the address and undefined-behavior
sanitizers. A change that no test notices is a survivor: a missing test, or a change without effect, which
belongs on the list of equivalents.

Exit status: 0 when all mutants that were tried were killed or are known equivalents, 1 when there are
survivors or the list of equivalents has errors, 2 when there is nothing to test: wrong arguments, a build
that fails, tests that fail without any change.
"""

import argparse
import collections
import concurrent.futures
import fcntl
import json
import os
import pathlib
import queue
import random
import shlex
import sys
import threading
import time

import builds
import equivalents
import report
from changes import mutants_of
from report import say
from syntax import SourceFile, SyntaxProblem
from worker import BuildProblem, Worker, copy_tree

HERE = pathlib.Path(__file__).resolve().parent
Result = collections.namedtuple("Result", "mutant verdict equivalent seconds")


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


# ---- running them ----

def try_all(workers, mutants, known):
    """The results, in the order of the mutants."""
    waiting = queue.SimpleQueue()
    for item in enumerate(mutants):
        waiting.put(item)
    results = {}
    progress = report.Progress(len(mutants))
    lock = threading.Lock()

    stopped = threading.Event()

    def work(worker):
        while not stopped.is_set():
            try:
                index, mutant = waiting.get_nowait()
            except queue.Empty:
                return
            begin = time.monotonic()
            verdict = worker.try_mutant(mutant)
            with lock:
                results[index] = Result(mutant, verdict, mutant.key in known, time.monotonic() - begin)
                progress.add(mutant, verdict)

    with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
        try:
            for done in concurrent.futures.as_completed(pool.submit(work, worker) for worker in workers):
                done.result()
        finally:
            stopped.set()
    progress.finish()
    for worker in workers:
        worker.restore()
    return [results[index] for index in range(len(mutants))]


def make_workers(folder, build, count, jobs):
    """Workers in the folders 0, 1, ... of `folder`; the first has the copy of the project already."""
    say(f"building the library and its tests, {build.name}, in {count} copies")
    first, *others = [Worker(folder / str(n), build) for n in range(count)]
    first.configure()
    first.check_unchanged(jobs)

    def prepare(worker):
        copy_tree(first.tree, worker.tree)
        worker.configure()
        worker.check_unchanged(max(1, jobs // len(others)))

    with concurrent.futures.ThreadPoolExecutor(max(1, len(others))) as pool:
        list(pool.map(prepare, others))
    return [first, *others]


def try_stages(folder, mutants, known, jobs, stages):
    """The results of all mutants. Those that survive a stage go on to the next, but for the known
    equivalents."""
    results = []
    for build in stages:
        waiting = [r.mutant for r in results if r.verdict.status == "survived" and not r.equivalent] \
            if results else mutants
        if not waiting:
            break
        count = min(jobs, len(waiting), build.most_copies)
        if results:
            say(f"{len(waiting)} survivors go on to the build '{build.name}'")
        tried = try_all(make_workers(folder, build, count, jobs), waiting, known)
        later = {r.mutant: r for r in tried}
        results = [later.get(r.mutant, r) for r in results] if results else tried
    return results


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
    mutants = sampled(mutants, arguments.sample)

    if arguments.list:
        for mutant in mutants:
            print(mutant)
        say(f"{len(mutants)} mutants")
        return finish([], list_errors)

    known = {entry.key: entry for entry in entries}
    stages = [builds.PLAIN, builds.SANITIZED, *([builds.WHOLE_PROGRAMS] if arguments.deep else [])]
    results = try_stages(arguments.build, mutants, known, arguments.jobs, stages)

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
