"""Verdicts that are stored on disk: an interrupted run continues where it stopped, and a run after a change
of the list of equivalents takes seconds."""

import hashlib
import json

from worker import Verdict, is_left_out

# Files without an effect on tests.
IRRELEVANT = (".md", "equivalents.txt")


class Journal:
    """Verdicts for one state of the project. Those for another state are dropped."""

    def __init__(self, path, state):
        lines = path.read_text().splitlines() if path.exists() else []
        self.verdicts = {}
        for line in lines[1:] if lines[:1] == [state] else []:
            try:
                key, verdict, seconds = json.loads(line)
            except ValueError:
                continue  # truncated by the end of the run
            self.verdicts[tuple(key)] = Verdict(*verdict), seconds
        with open(path, "w") as stream:
            print(state, file=stream)
            for key, (verdict, seconds) in self.verdicts.items():
                print(json.dumps([key, verdict, seconds]), file=stream)
        self.path = path

    def get(self, build, mutant):
        """(verdict, seconds), or None."""
        return self.verdicts.get(key_of(build, mutant))

    def put(self, build, mutant, verdict, seconds):
        key = key_of(build, mutant)
        self.verdicts[key] = verdict, seconds
        with open(self.path, "a") as stream:
            print(json.dumps([key, verdict, seconds]), file=stream)


def key_of(build, mutant):
    return build.name, mutant.file, mutant.start, mutant.end, mutant.new


def state_of(tree):
    """A digest of all files that mutants and tests depend on."""
    digest = hashlib.sha256()
    for path in sorted(tree.rglob("*")):
        name = path.relative_to(tree)
        if path.is_file() and not any(map(is_left_out, name.parts)) and not path.name.endswith(IRRELEVANT):
            data = path.read_bytes()
            digest.update(f"{name} {len(data)}\n".encode() + data)
    return digest.hexdigest()
