"""Output of a run."""

import json
import sys
import time

from equivalents import format_entry


def say(text):
    print(f"mutants: {text}", file=sys.stderr, flush=True)


class Progress:
    """One line that is overwritten on a terminal, or a line every half minute elsewhere."""

    def __init__(self, total):
        self.total = total
        self.done = self.survivors = self.invalid = 0
        self.begin = time.monotonic()
        self.shown = self.begin
        self.terminal = sys.stderr.isatty()

    def add(self, mutant, verdict):
        self.done += 1
        self.survivors += verdict.status == "survived"
        self.invalid += verdict.status == "invalid"
        now = time.monotonic()
        if not self.terminal and now - self.shown < 30 and self.done < self.total:
            return
        self.shown = now
        left = (now - self.begin) / self.done * (self.total - self.done) / 60
        text = (f"mutants: {self.done} of {self.total}, {self.survivors} survived, {self.invalid} do not "
                f"compile, {self.per_minute():.0f} a minute, {left:.0f} min left, {mutant.file}")
        print(f"\r{text[:118]:118}" if self.terminal else text, end="" if self.terminal else "\n",
              file=sys.stderr, flush=True)

    def per_minute(self):
        return 60 * self.done / max(time.monotonic() - self.begin, 1e-3)

    def finish(self):
        if self.terminal:
            print(file=sys.stderr)


def row(results):
    """mutants, killed, survivors, equivalent, percent killed of those that can be."""
    valid = [r for r in results if r.verdict.status != "invalid"]
    killed = sum(r.verdict.status in ("killed", "timeout") for r in valid)
    equivalent = sum(r.verdict.status == "survived" and r.equivalent for r in valid)
    possible = len(valid) - equivalent
    percent = f"{100 * killed / possible:.1f}" if possible else "-"
    return len(valid), killed, possible - killed, equivalent, percent


def table(results):
    """One line per file, then the sum."""
    by_file = {}
    for result in results:
        by_file.setdefault(result.mutant.file, []).append(result)
    lines = [("file", "mutants", "killed", "survivors", "equivalent", "percent")]
    lines += [(file, *row(of_file)) for file, of_file in sorted(by_file.items())]
    lines.append(("all", *row(results)))
    width = max(len(line[0]) for line in lines)
    return "\n".join(f"{line[0]:{width}} {line[1]:>7} {line[2]:>7} {line[3]:>10} {line[4]:>11} {line[5]:>8}"
                     for line in lines)


def write_results(path, results, list_errors):
    """All results, for programs."""
    mutants = [{"file": r.mutant.file, "line": r.mutant.line, "column": r.mutant.column,
                "kind": r.mutant.kind, "old": r.mutant.old, "new": r.mutant.new,
                "line_text": r.mutant.line_text, "change": r.mutant.change, "place": r.mutant.place,
                "status": r.verdict.status, "by": r.verdict.by, "equivalent": r.equivalent,
                "seconds": r.seconds}
               for r in results]
    path.write_text(json.dumps({"mutants": mutants, "list_errors": list_errors}, indent=1) + "\n")


def last_survivors(path):
    """The keys of the survivors in the results of an earlier run."""
    if not path.exists():
        return set()
    return {(r["file"], r["line_text"], r["change"], r["place"])
            for r in json.loads(path.read_text())["mutants"]
            if r["status"] == "survived" and not r["equivalent"]}


def write_survivors(path, survivors):
    """As entries of the list of equivalents, to be copied there with a reason, or to be killed."""
    path.write_text("\n".join(format_entry(r.mutant, "") for r in survivors))
