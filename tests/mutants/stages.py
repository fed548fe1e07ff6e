"""Runs mutants through one build of the project after another."""

import collections
import concurrent.futures
import queue
import threading
import time

from report import Progress, say
from worker import Worker, copy_tree

Result = collections.namedtuple("Result", "mutant verdict equivalent seconds")


def try_stages(folder, mutants, known, jobs, stages, journal):
    """The results of all mutants. Survivors of a stage, except known equivalents, take part in the
    next. The folder 0 of `folder` has a copy of the project."""
    results = {}
    waiting = mutants
    for build in stages:
        new = [mutant for mutant in waiting if not journal.get(build, mutant)]
        say(f"{len(waiting)} mutants for the build '{build.name}', {len(waiting) - len(new)} of them have "
            "been tried before")
        if new:
            workers = make_workers(folder, build, min(jobs, len(new), build.most_copies), jobs)
            try_all(workers, build, new, journal)
        for mutant in waiting:
            verdict, seconds = journal.get(build, mutant)
            results[mutant] = Result(mutant, verdict, mutant.key in known, seconds)
        waiting = [m for m in waiting if results[m].verdict.status == "survived" and m.key not in known]
        if not waiting:
            break
    return [results[mutant] for mutant in mutants]


def make_workers(folder, build, count, jobs):
    """Workers in the folders 0, 1, ..., ready to try mutants."""
    say(f"building the library and its tests, copies: {count}")
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


def try_all(workers, build, mutants, journal):
    """Puts the verdicts into the journal."""
    waiting = queue.SimpleQueue()
    for mutant in mutants:
        waiting.put(mutant)
    progress = Progress(len(mutants))
    lock = threading.Lock()
    stopped = threading.Event()

    def work(worker):
        while not stopped.is_set():
            try:
                mutant = waiting.get_nowait()
            except queue.Empty:
                break
            begin = time.monotonic()
            verdict = worker.try_mutant(mutant)
            with lock:
                journal.put(build, mutant, verdict, round(time.monotonic() - begin, 2))
                progress.add(mutant, verdict)
        worker.restore()

    with concurrent.futures.ThreadPoolExecutor(len(workers)) as pool:
        try:
            for done in concurrent.futures.as_completed([pool.submit(work, w) for w in workers]):
                done.result()
        finally:
            stopped.set()
            progress.finish()
