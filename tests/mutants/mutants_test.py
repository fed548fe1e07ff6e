"""The parts of mutants.py that need no compiler, and whole runs of it on the project in fixture/."""

import fcntl
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

import builds
import equivalents
import journal
import limited
from changes import Mutant
from worker import Verdict, copy_tree

HERE = pathlib.Path(__file__).resolve().parent


class FolderCase(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)


def entry_text(file, line, change, reason="it is so", place=1):
    return (f"file: {file}\nline: {line}\nchange: {change}\n"
            + (f"place: {place}\n" if place > 1 else "") + f"reason: {reason}\n")


def mutant(line_text, old, new, place=1, file="src/a.cpp"):
    return Mutant(file, 0, 1, old, new, "operator", 1, 1, line_text, place)


class Equivalents(unittest.TestCase):
    def test_entries_are_blocks(self):
        entries = equivalents.parse("# a list\n\n" + entry_text("src/a.cpp", "if (a: b)", "< -> <=", "no: never")
                                    + "\n\n# more\n" + entry_text("src/b.h", "return a;", "a -> b", place=2))
        self.assertEqual([entry.key for entry in entries],
                         [("src/a.cpp", "if (a: b)", "< -> <=", 1), ("src/b.h", "return a;", "a -> b", 2)])
        self.assertEqual([(entry.reason, entry.list_line) for entry in entries],
                         [("no: never", 3), ("it is so", 10)])

    def test_faulty_entries_are_refused_with_their_line(self):
        good = entry_text("src/a.cpp", "a", "b -> c")
        for text, message in (
                ("file: src/a.cpp\nline: a\nchange: b -> c\n", "^1: an entry without 'reason'"),
                (entry_text("src/a.cpp", "a", "b -> c", reason=""), "^1: an entry without 'reason'"),
                (good + "\n" + good, "^6: the same as the entry on line 1"),
                (good + "\nfile src/b.cpp\n", "^6: expected one of"),
                ("color: red\n", "^1: expected one of"),
                ("file: a\nfile: b\n", "^2: a second 'file'"),
                (good + "place: 0\n", "^1: 'place' is a number from 1")):
            with self.assertRaisesRegex(equivalents.ListProblem, message):
                equivalents.parse(text)

    def test_an_entry_without_its_mutant_is_stale(self):
        mutants = [mutant("a < b", "<", "<="), mutant("a < b", "<", "<=", place=2)]
        texts = [entry_text("src/a.cpp", "a < b", "< -> <="),
                 entry_text("src/a.cpp", "a < b", "< -> <=", place=2),
                 entry_text("src/a.cpp", "a < b", "< -> <=", place=3),
                 entry_text("src/a.cpp", "a < b", "< -> >="),
                 entry_text("src/a.cpp", "a < c", "< -> <="),
                 entry_text("src/b.cpp", "a < b", "< -> <=")]
        entries = equivalents.parse("\n".join(texts))
        self.assertEqual(equivalents.stale(entries, mutants, lambda file: True), entries[2:])
        self.assertEqual(equivalents.stale(entries, mutants, lambda file: file == "src/a.cpp"), entries[2:5])

    def test_a_written_entry_is_read_as_the_mutants(self):
        for one in (mutant("if (!a)", "!", ""), mutant("g(a,", "a,\n  b", "b,\n  a", place=4)):
            entries = equivalents.parse(equivalents.format_entry(one, "never"))
            self.assertEqual([entry.key for entry in entries], [one.key])


def is_running(stat):
    """Whether the process exists and is not a zombie."""
    try:
        return stat.read_text().rpartition(")")[2].split()[0] != "Z"
    except (FileNotFoundError, ProcessLookupError):
        return False


class Limits(FolderCase):
    def run_shell(self, script, processor_limit=20, wall_limit=20, memory_limit=limited.MEMORY_LIMIT):
        return limited.run(["sh", "-c", script], self.folder, processor_limit, wall_limit, memory_limit)

    def test_the_status_decides(self):
        self.assertTrue(self.run_shell("exit 0").passed)
        self.assertFalse(self.run_shell("exit 3").passed)
        self.assertFalse(self.run_shell("exit 3").timeout)

    def test_a_crash_is_a_failure(self):
        run = self.run_shell("kill -SEGV $$")
        self.assertEqual((run.passed, run.timeout), (False, False))

    def test_an_endless_loop_runs_out_of_processor_time(self):
        run = self.run_shell("while :; do :; done", processor_limit=1)
        self.assertEqual((run.passed, run.timeout), (False, True))
        self.assertLess(run.processor_seconds, 3)

    def test_waiting_runs_out_of_time_with_all_children(self):
        run = self.run_shell("sleep 60 & echo $! >../child; wait", wall_limit=0.5)
        self.assertEqual((run.passed, run.timeout), (False, True))
        self.assertLess(run.wall_seconds, 30)
        child = pathlib.Path("/proc", (self.folder / "child").read_text().strip(), "stat")
        deadline = time.monotonic() + 30
        while is_running(child):
            self.assertLess(time.monotonic(), deadline, "the child is still running")
            time.sleep(0.05)

    def test_memory_and_files_are_limited(self):
        self.assertTrue(self.run_shell("test $(ulimit -v) = 4000000", memory_limit=4000000).passed)
        self.assertTrue(self.run_shell("test $(ulimit -v) = unlimited", memory_limit=0).passed)
        self.assertTrue(self.run_shell(f"test $(ulimit -f) = {limited.FILE_LIMIT}").passed)

    def test_each_run_finds_an_empty_folder(self):
        self.assertTrue(self.run_shell("test -z \"$(ls)\" && touch left && test $TMPDIR = $PWD").passed)
        self.assertTrue(self.run_shell("test -z \"$(ls)\"").passed)

    def test_the_failed_case_is_named(self):
        for output, case in (
                ("[ RUN      ] A.b\n[       OK ] A.b\n[ RUN      ] A.c\n[  FAILED  ] A.c (0 ms)", "A.c"),
                ("[ RUN      ] A/b.c/0\n[  FAILED  ] A/b.c/0, where GetParam() = 7 (0 ms)", "A/b.c/0"),
                ("[ RUN      ] A.b\n[       OK ] A.b\n[ RUN      ] A.c\n", "A.c"),
                ("1/2 Test #12: Bake.Layers ......***Failed    0.10 sec", "Bake.Layers"),
                ("segmentation fault", "")):
            self.assertEqual(self.run_shell(f"cat <<'END'\n{output}\nEND\nexit 1").case, case)


class Copies(FolderCase):
    def test_only_differences_are_written(self):
        source, target = self.folder / "source", self.folder / "target"
        for name in ("same", "changed", "gone", "folder/deep", "build/product", ".hidden"):
            path = source / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text("one\n")
        copy_tree(source, target)
        self.assertEqual(sorted(path.name for path in target.iterdir()), ["changed", "folder", "gone", "same"])
        os.utime(target / "same", (1, 1))
        (source / "changed").write_text("two\n")
        (source / "gone").unlink()
        shutil.rmtree(source / "folder")
        (target / "build").mkdir()  # build products are kept
        copy_tree(source, target)
        self.assertEqual((target / "same").stat().st_mtime, 1)
        self.assertEqual((target / "changed").read_text(), "two\n")
        self.assertEqual(sorted(path.name for path in target.iterdir()), ["build", "changed", "same"])


class Journals(FolderCase):
    BUILD = builds.PLAIN
    ONE, OTHER = mutant("a < b", "<", "<="), mutant("a < b", "<", ">=")

    def journal(self, state="one"):
        return journal.Journal(self.folder / "journal", state)

    def test_verdicts_are_kept_for_their_state_and_build(self):
        self.journal().put(self.BUILD, self.ONE, Verdict("killed", "test_a A.b"), 1.5)
        again = self.journal()
        self.assertEqual(again.get(self.BUILD, self.ONE), (Verdict("killed", "test_a A.b"), 1.5))
        self.assertIsNone(again.get(self.BUILD, self.OTHER))
        self.assertIsNone(again.get(builds.SANITIZED, self.ONE))
        self.assertIsNone(self.journal("another").get(self.BUILD, self.ONE))
        self.assertIsNone(self.journal().get(self.BUILD, self.ONE))

    def test_a_line_that_was_cut_off_is_skipped(self):
        self.journal().put(self.BUILD, self.ONE, Verdict("survived", ""), 1)
        self.journal().put(self.BUILD, self.OTHER, Verdict("survived", ""), 1)
        path = self.folder / "journal"
        path.write_text(path.read_text()[:-5])
        again = self.journal()
        self.assertIsNotNone(again.get(self.BUILD, self.ONE))
        self.assertIsNone(again.get(self.BUILD, self.OTHER))

    def test_the_state_is_that_of_the_sources(self):
        (self.folder / "src").mkdir()
        source = self.folder / "src" / "a.cpp"
        source.write_text("int a;\n")
        state = journal.state_of(self.folder)
        for name in ("equivalents.txt", "README.md", ".hidden", "build"):
            (self.folder / name).write_text("x")
        self.assertEqual(journal.state_of(self.folder), state)
        source.write_text("int b;\n")
        self.assertNotEqual(journal.state_of(self.folder), state)
        source.rename(self.folder / "a.cpp")
        moved = journal.state_of(self.folder)
        (self.folder / "a.cpp").rename(source)
        self.assertNotEqual(journal.state_of(self.folder), moved)


class WholeRuns(unittest.TestCase):
    """On fixture/, whose test is incomplete on purpose."""

    SEVENTEEN = entry_text("src/ages/ages.cpp", "return age >= 18;", "18 -> 17")
    THIRTEEN = (entry_text("src/ages/ages.h", "return age < 13;", "< -> <=") + "\n"
                + entry_text("src/ages/ages.h", "return age < 13;", "13 -> 14"))

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)

    def setUp(self):
        (self.folder / "build" / "journal").unlink(missing_ok=True)

    def mutants(self, *arguments, list_text="", root=HERE / "fixture"):
        entries = self.folder / "equivalents.txt"
        entries.write_text(list_text)
        return subprocess.run(
            [sys.executable, "-B", HERE / "mutants.py", "--root", root, "--build", self.folder / "build",
             "--equivalents", entries, "--jobs", "1", *arguments],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def test_survivors_are_listed(self):
        run = self.mutants()
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertEqual(run.stdout.splitlines(), [
            "file              mutants  killed  survivors  equivalent  percent",
            "src/ages/ages.cpp       7       6          1           0     85.7",
            "src/ages/ages.h         7       5          2           0     71.4",
            "all                    14      11          3           0     78.6",
            "survivors:",
            "src/ages/ages.cpp:8:19: 18 -> 17",
            "src/ages/ages.h:8:16: < -> <=",
            "src/ages/ages.h:8:18: 13 -> 14"])
        results = json.loads((self.folder / "build" / "results.json").read_text())["mutants"]
        status = {(r["file"], r["old"], r["new"]): (r["status"], r["by"]) for r in results}
        self.assertEqual(len(results), 15)
        self.assertEqual(status["src/ages/ages.cpp", "ages, 0", "0, ages"], ("invalid", ""))
        self.assertEqual(status["src/ages/ages.cpp", "18", "19"], ("killed", "plain: test_ages"))
        # By the compiler, in a test.
        self.assertEqual(status["src/ages/ages.h", "/", "*"], ("killed", "plain: test_ages does not build"))
        # Memory that is never released.
        self.assertEqual(status["src/ages/ages.cpp", "delete age;", ";"], ("killed", "sanitized: test_ages"))
        self.assertEqual(equivalents.parse(
            (self.folder / "build" / "survivors.txt").read_text().replace("reason:", "reason: it is so")),
            equivalents.parse(self.SEVENTEEN + "\n" + self.THIRTEEN))

    def test_known_equivalents_are_no_survivors(self):
        run = self.mutants("src/ages/ages.cpp", list_text=self.SEVENTEEN)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertEqual(run.stdout.splitlines()[1:], [
            "src/ages/ages.cpp       7       6          0           1    100.0",
            "all                     7       6          0           1    100.0"])

    def test_verdicts_are_kept_between_runs(self):
        first = self.mutants("src/ages/ages.h")
        self.assertIn("7 mutants for the build 'plain', 0 of them have been tried before", first.stderr)
        second = self.mutants("src/ages", list_text=self.THIRTEEN)
        self.assertIn("15 mutants for the build 'plain', 7 of them have been tried before", second.stderr)
        self.assertEqual(second.stdout.splitlines()[-2:], ["survivors:", "src/ages/ages.cpp:8:19: 18 -> 17"])
        last = self.mutants("--again")
        self.assertIn("1 mutants for the build 'plain', 1 of them have been tried before", last.stderr)
        self.assertEqual(last.stdout.splitlines()[-1], "src/ages/ages.cpp:8:19: 18 -> 17")

    def test_a_killed_equivalent_is_an_error_of_the_list(self):
        wrong = entry_text("src/ages/ages.h", "return age < 13;", "13 -> 12")
        run = self.mutants("src/ages/ages.h", list_text=self.THIRTEEN + "\n" + wrong)
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertEqual(run.stdout.splitlines()[-1], f"{self.folder}/equivalents.txt:11: no equivalent, "
                                                      "killed: src/ages/ages.h:8:18: 13 -> 12")
        self.assertNotIn("survivors:", run.stdout)

    def test_a_stale_entry_is_an_error_of_the_list(self):
        run = self.mutants("--list", "src/ages/ages.h",
                           list_text=entry_text("src/ages/ages.h", "return age < 14;", "14 -> 15"))
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertEqual(run.stdout.splitlines()[-1],
                         f"{self.folder}/equivalents.txt:1: matches no mutant: "
                         "src/ages/ages.h: return age < 14;: 14 -> 15")

    def test_list_and_sample(self):
        run = self.mutants("--list", "src/ages", list_text=self.SEVENTEEN)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(len(run.stdout.splitlines()), 15)
        some = self.mutants("--list", "--sample", "4/2").stdout.splitlines()
        self.assertEqual(len(some), 4)
        self.assertLess(set(some), set(run.stdout.splitlines()))
        self.assertEqual(self.mutants("--list", "--sample", "4/2").stdout.splitlines(), some)

    def test_the_project_must_be_in_order(self):
        root = self.folder / "broken"
        copy_tree(HERE / "fixture", root)
        test = root / "tests" / "ages" / "ages_test.cpp"
        test.write_text(test.read_text().replace("passed ? 0 : 1", "passed ? 1 : 0"))
        run = self.mutants(root=root)
        self.assertEqual(run.returncode, 2, run.stdout)
        self.assertIn("test_ages fails without any change", run.stderr)

    def test_two_runs_at_once_are_refused(self):
        (self.folder / "build").mkdir(exist_ok=True)
        with open(self.folder / "build" / "lock", "w") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            run = self.mutants("--list")
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertIn("another run", run.stderr)

    def test_wrong_arguments(self):
        for arguments in (["src/none.cpp"], ["--sample", "x"], ["--jobs", "0"], ["--none"]):
            self.assertEqual(self.mutants(*arguments).returncode, 2, arguments)
        self.assertEqual(self.mutants("--list", list_text="file: a\n").returncode, 2)


if __name__ == "__main__":
    unittest.main()
