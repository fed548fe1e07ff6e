"""Which changes are found in which source text."""

import os
import tempfile
import unittest

import libclang  # noqa: F401  finds the interpreter that has the bindings
from changes import mutants_of, other_constants
from syntax import SourceFile, SyntaxProblem


class ChangesCase(unittest.TestCase):
    def mutants(self, text):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        path = os.path.join(folder.name, "sample.cpp")
        with open(path, "w") as stream:
            stream.write(text)
        return mutants_of(SourceFile(path, ["-std=c++20"]), "src/sample.cpp")

    def assertChanges(self, text, *expected):
        """The changes are exactly these, in any order."""
        self.assertEqual(sorted(m.change for m in self.mutants(text)), sorted(expected))


class Operators(ChangesCase):
    def test_comparisons_move_their_border_and_turn_round(self):
        self.assertChanges("bool f(int a, int b) { return a < b; }", "< -> <=", "< -> >=")
        self.assertChanges("bool f(int a, int b) { return a <= b; }", "<= -> <", "<= -> >")
        self.assertChanges("bool f(int a, int b) { return a > b; }", "> -> >=", "> -> <=")
        self.assertChanges("bool f(int a, int b) { return a >= b; }", ">= -> >", ">= -> <")
        self.assertChanges("bool f(int a, int b) { return a == b; }", "== -> !=")
        self.assertChanges("bool f(int a, int b) { return a != b; }", "!= -> ==")

    def test_arithmetic(self):
        self.assertChanges("int f(int a, int b) { return a + b; }", "+ -> -")
        self.assertChanges("int f(int a, int b) { return a - b; }", "- -> +")
        self.assertChanges("int f(int a, int b) { return a * b; }", "* -> /")
        self.assertChanges("int f(int a, int b) { return a / b; }", "/ -> *")
        self.assertChanges("int f(int a, int b) { return a % b; }", "% -> *")
        self.assertChanges("int f(int a) { return -a; }", "- -> +")
        self.assertChanges("int f(int a, int b) { return a << b; }", "<< -> >>")
        self.assertChanges("int f(int a, int b) { return a & b; }", "& -> |")

    def test_compound_assignments_and_steps(self):
        self.assertChanges("void f(int& a) { a += a; }", "+= -> -=", "a += a; -> ;")
        self.assertChanges("void f(int& a) { a *= a; }", "*= -> /=", "a *= a; -> ;")
        self.assertChanges("void f(int& a) { ++a; }", "++ -> --", "++a; -> ;")
        self.assertChanges("int f(int& a) { return a--; }", "-- -> ++")

    def test_logical_operators_and_their_operands(self):
        self.assertChanges("bool f(bool a, bool b) { return a && b; }",
                           "&& -> ||", "a -> true", "b -> true")
        self.assertChanges("bool f(bool a, bool b) { return a || b; }",
                           "|| -> &&", "a -> false", "b -> false")
        self.assertChanges("bool f(bool a) { return !a; }", "! -> (nothing)")

    def test_overloaded_operators(self):
        self.assertChanges("struct S { bool operator==(const S&) const; };"
                           "bool f(S a, S b) { return a == b; }", "== -> !=")
        # The compiler makes it of operator==.
        self.assertChanges("struct S { bool operator==(const S&) const; };"
                           "bool f(S a, S b) { return a != b; }", "!= -> ==")
        self.assertChanges("struct S { S& operator++(); };"
                           "S& f(S& a) { return ++a; }", "++ -> --")

    def test_in_templates(self):
        self.assertChanges("template <class T> bool f(T a, T b) { return a < b; }", "< -> <=", "< -> >=")

    def test_brackets_pointers_and_assertions_are_no_operators(self):
        self.assertChanges("template <class T> struct S { T t; }; S<S<int>> s;")
        self.assertChanges("int f(int* p) { return *p; }")
        self.assertChanges("int* f(int& p) { return &p; }")
        self.assertChanges("struct S { int operator*() const; }; int f(S s) { return *s; }")
        self.assertChanges("int f(double a) { return static_cast<int>(a); }")
        self.assertChanges("static_assert(1 < 2 && 3 + 4 == 7);")

    def test_not_inside_a_macros_arguments(self):
        same = "#define SAME(x) (x)\nvoid g(int, int);\n"
        self.assertChanges(same + "int f(int a) { return SAME(a + 1); }")
        self.assertChanges(same + "bool f(int a, int b) { return SAME(a++ && !b && -a < b); }")
        self.assertChanges(same + "void f(int a) { g(SAME(a + 1), a); }",
                           "g(SAME(a + 1), a); -> ;", "SAME(a + 1), a -> a, SAME(a + 1)")


class Constants(ChangesCase):
    def test_integers(self):
        self.assertEqual(other_constants("7"), ["8", "6"])
        self.assertEqual(other_constants("1"), ["2", "0"])
        self.assertEqual(other_constants("0"), ["1", "(-1)"])
        self.assertEqual(other_constants("10UL"), ["11UL", "9UL"])
        self.assertEqual(other_constants("0xffU"), ["0x100U", "0xfeU"])
        self.assertEqual(other_constants("1'000"), ["1001", "999"])
        self.assertEqual(other_constants("010"), ["9", "7"])

    def test_floats(self):
        self.assertEqual(other_constants("0.0F"), ["1.0F"])
        self.assertEqual(other_constants("1.0F"), ["1.01F", "0.0F"])
        self.assertEqual(other_constants("2.0"), ["2.02"])
        self.assertEqual(other_constants("300.f"), ["303.0f"])
        self.assertEqual(other_constants("1e36F"), ["1.01e+36F"])

    def test_characters(self):
        self.assertEqual(other_constants("'a'"), ["'b'"])
        self.assertEqual(other_constants("'\\0'"), ["'\\x01'"])
        self.assertEqual(other_constants("'&'"), ["'\\x27'"])

    def test_truth_values(self):
        self.assertEqual(other_constants("true"), ["false"])
        self.assertEqual(other_constants("miFALSE"), ["miTRUE"])

    def test_no_literals(self):
        self.assertEqual(other_constants("INT_MAX"), [])
        self.assertEqual(other_constants('"text"'), [])

    def test_where_they_stand(self):
        self.assertChanges("constexpr int k = 5;", "5 -> 6", "5 -> 4")
        self.assertChanges("struct S { int m = 5; };", "5 -> 6", "5 -> 4")
        self.assertChanges("char c[5];", "5 -> 6", "5 -> 4")
        self.assertChanges("#define miTRUE 1\nint f() { return miTRUE; }", "miTRUE -> miFALSE")
        self.assertChanges("#define LIMIT 9\nint f() { return LIMIT; }")


class Conditions(ChangesCase):
    def test_are_made_constant_and_negated(self):
        for head in ("if (a) return", "while (a) return", "for (; a;) return"):
            self.assertChanges(f"int f(bool a, int b) {{ {head} b; return b; }}",
                               "a -> true", "a -> false", "a -> !(a)")
        self.assertChanges("int f(bool a, int b, int c) { return a ? b : c; }",
                           "a -> true", "a -> false", "a -> !(a)")
        self.assertChanges("int f(bool a, int b) { do { return b; } while (a); }",
                           "a -> true", "a -> false", "a -> !(a)")

    def test_comparisons_and_negations_are_turned_round_by_their_operator(self):
        self.assertChanges("int f(int a, int b) { if (a == b) return a; return b; }",
                           "a == b -> true", "a == b -> false", "== -> !=")
        self.assertChanges("int f(bool a, int b) { if (!a) return b; return b; }",
                           "!a -> true", "!a -> false", "! -> (nothing)")

    def test_compound_ones(self):
        self.assertChanges("int f(bool a, bool b, int c) { if (a || b) return c; return c; }",
                           "a || b -> true", "a || b -> false", "a || b -> !(a || b)",
                           "|| -> &&", "a -> false", "b -> false")

    def test_constant_or_declared_ones_stay(self):
        self.assertChanges("int f(int b) { while (true) return b; }", "true -> false")
        self.assertChanges("int* g(); int f(int b) { if (int* p = g()) return *p; return b; }")


class Statements(ChangesCase):
    def test_deleted(self):
        self.assertChanges("void g(); void f() { g(); }", "g(); -> ;")
        self.assertChanges("void f(int& a, int b) { a = b; }", "a = b; -> ;")
        self.assertChanges("void f() { return; }", "return; -> ;")
        self.assertChanges("void f(int* p) { delete p; }", "delete p; -> ;")
        self.assertChanges("void f() { for (;;) break; }", "break; -> ;")
        self.assertChanges("void f() { for (;;) { continue; } }", "continue; -> ;")

    def test_deleted_as_a_branch(self):
        self.assertChanges("void g(); void h(); void f(bool a) { if (a) g(); else h(); }",
                           "a -> true", "a -> false", "a -> !(a)", "g(); -> ;", "h(); -> ;")
        self.assertChanges("void g(); void f(int a) { switch (a) { case 1: g(); } }",
                           "1 -> 2", "1 -> 0", "g(); -> ;")
        self.assertChanges("void g(int); void f(int (&a)[2]) { for (int v : a) g(v); }",
                           "2 -> 3", "2 -> 1", "g(v); -> ;")

    def test_declarations_and_results_stay(self):
        self.assertChanges("int g(); int f() { const int a = g(); return a; }")

    def test_neighboring_calls_change_places(self):
        self.assertChanges("void g(); void h(); void f() { g(); h(); }",
                           "g(); -> ;", "h(); -> ;", "g(); h() -> h(); g()")
        # Equal calls, and calls that are not adjacent.
        self.assertChanges("void g(); void f() { g(); g(); }", "g(); -> ;", "g(); -> ;")
        self.assertChanges("void g(); void h(); void f(int& a, int b) { g(); a = b; h(); }",
                           "g(); -> ;", "a = b; -> ;", "h(); -> ;")


class Arguments(ChangesCase):
    def test_neighbors_change_places(self):
        self.assertChanges("int g(int, int, int); int f(int a, int b, int c) { return g(a, b, c); }",
                           "a, b -> b, a", "b, c -> c, b")
        self.assertChanges("struct S { S(int, int); }; S f(int a, int b) { return S(a, b); }",
                           "a, b -> b, a")

    def test_equal_and_default_ones_stay(self):
        self.assertChanges("int g(int, int); int f(int a) { return g(a, a); }")
        self.assertChanges("int k; int g(int, int = k, long = k); int f(int a) { return g(a); }")


class Positions(ChangesCase):
    TEXT = "int f(int a) {\n    if (a == 9)\n        return a;\n    if (a == 9)\n        return -a;\n    return a;\n}\n"

    def test_line_column_and_text(self):
        first = [m for m in self.mutants(self.TEXT) if m.change == "== -> !="][0]
        self.assertEqual(str(first), "src/sample.cpp:2:11: == -> !=")
        self.assertEqual(first.line_text, "if (a == 9)")
        self.assertEqual(first.kind, "operator")
        self.assertEqual(first.applied_to(self.TEXT.encode()), self.TEXT.replace("==", "!=", 1).encode())

    def test_equal_lines_are_counted(self):
        same = [m for m in self.mutants(self.TEXT) if m.change == "== -> !="]
        self.assertEqual([(m.line, m.place) for m in same], [(2, 1), (4, 2)])
        self.assertEqual(same[1].key, ("src/sample.cpp", "if (a == 9)", "== -> !=", 2))

    def test_a_change_over_several_lines_is_shown_on_one(self):
        text = "void g(int,\n       int);\nvoid f(int a, int b) {\n    g(a,\n      b);\n}\n"
        swap = [m for m in self.mutants(text) if m.kind == "argument order"][0]
        self.assertEqual(str(swap), "src/sample.cpp:4:7: a, b -> b, a")
        self.assertEqual(swap.applied_to(text.encode()), text.replace("a,\n      b)", "b,\n      a)").encode())

    def test_bytes_beyond_ascii_do_not_shift_positions(self):
        text = 'const char* s = "äöü"; int f(int a) { return a + a; }'
        mutant = self.mutants(text)[0]
        self.assertEqual(mutant.applied_to(text.encode()), text.replace("+", "-").encode())

    def test_a_file_that_does_not_parse_is_refused(self):
        with self.assertRaisesRegex(SyntaxProblem, "undeclared"):
            self.mutants("int f() { return nothing; }")


if __name__ == "__main__":
    unittest.main()
