#!/usr/bin/env python3
"""Tests of scripts/mutate: what it changes, what it leaves alone, which mutants it chooses."""
import contextlib
import io
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # leaves nothing in the source tree
HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

import equivalent
import folders
import operators
import report
import sandbox
import selection
import trial
import worker

ROOT = HERE.parent.parent


def changes(text, operator=None):
    """(before, after) of each mutant"""
    return [(m.before, m.after) for m in operators.mutants("utils/X.cpp", text)
            if operator is None or m.operator == operator]


def after(text, operator=None):
    return [pair[1] for pair in changes(text, operator)]


class OperatorsTest(unittest.TestCase):
    def body(self, statement, operator):
        """What becomes of a statement in a function."""
        return after(f"void f() {{\n{statement}\n}}\n", operator)

    def test_a_comparison_moves_its_border_or_is_turned_round(self):
        for given, changed in (("<", "<="), ("<=", "<"), (">", ">="), (">=", ">"), ("==", "!=")):
            self.assertEqual(self.body(f"return a {given} b;", "comparison"), [f"return a {changed} b;"])

    def test_template_brackets_are_no_comparisons(self):
        self.assertEqual(self.body("std::vector<std::pair<int, char>> v;", "comparison"), [])
        self.assertEqual(after("template <class T> void f(T&& t);"), [])

    def test_references_are_no_logic(self):
        self.assertEqual(self.body("auto&& a = b && c;", "logic"), ["auto&& a = b || c;"])

    def test_numbers_become_their_neighbours(self):
        self.assertEqual(self.body("return 7;", "constant"), ["return 8;", "return 6;"])
        self.assertEqual(self.body("return 0;", "constant"), ["return 1;"])
        self.assertEqual(self.body("return 0x0fUL;", "constant"), ["return 0x10UL;", "return 0xeUL;"])
        self.assertEqual(self.body("return 0700;", "constant"), ["return 0701;", "return 0677;"])
        self.assertEqual(self.body("return 10'000;", "constant"), ["return 10001;", "return 9999;"])
        self.assertEqual(self.body("return 1.5;", "constant"), [])
        self.assertEqual(self.body("return true;", "constant"), ["return false;"])

    def test_constants_outside_functions_count(self):
        mutants = operators.mutants("utils/X.cpp", "namespace {\nconstexpr int kMax = 3;\n}\n")
        self.assertEqual([(m.function, m.after) for m in mutants],
                         [("", "constexpr int kMax = 4;"), ("", "constexpr int kMax = 2;")])

    def test_sizes_of_arrays_are_left_alone_but_not_their_indexes(self):
        self.assertEqual(self.body("int ends[2];", "constant"), [])
        self.assertEqual(self.body("std::vector<int> ends[2] = {};", "constant"), [])
        self.assertEqual(self.body("return ends[1];", "constant"), ["return ends[2];", "return ends[0];"])
        self.assertEqual(self.body("ends[0] = x;", "constant"), ["ends[1] = x;"])

    def test_a_pure_function_stays_pure(self):
        self.assertEqual(after("class C {\nvirtual void f() const = 0;\n};\n"), [])

    def test_conditions_are_negated_or_fixed_and_still_called(self):
        self.assertEqual([t for t in self.body("if (f(a)) g = 1;", None) if "g = 1" in t],
                         ["if (!(f(a))) g = 1;", "if ((f(a)) && false) g = 1;",
                          "if ((f(a)) || true) g = 1;"])

    def test_a_loop_never_runs_for_ever_by_its_condition_alone(self):
        self.assertEqual(self.body("while (f()) g();", "condition always true"), [])

    def test_a_condition_that_declares_is_left_alone(self):
        self.assertEqual(self.body("if (const int x = f()) g(x);", "condition negated"), [])
        self.assertEqual(self.body("if (const int x = f(); x < 3) g(x);", "condition negated"),
                         ["if (const int x = f(); !(x < 3)) g(x);"])

    def test_an_equality_is_not_negated_twice(self):
        self.assertEqual(self.body("if (a == b) return;", "condition negated"), [])

    def test_branches_of_a_choice_are_swapped(self):
        self.assertEqual(self.body("x = a ? f(b, c) : d;", "branches swapped"),
                         ["x = a ? d : f(b, c);"])

    def test_calls_and_assignments_are_removed(self):
        self.assertEqual(self.body("a.b(c)->d();", "call removed"), ["{}"])
        self.assertEqual(self.body("(void)f(1);", "call removed"), ["{}"])
        self.assertEqual(self.body("if (a) f();", "call removed"), ["if (a) {}"])
        self.assertEqual(self.body("m_x = f();", "assignment removed"), ["{}"])

    def test_the_head_of_a_loop_is_no_statement(self):
        self.assertEqual(self.body("for (int i = 0; i < n; x = f(i++)) g(x);", "assignment removed"), [])
        self.assertEqual(self.body("for (; i < n; next()) g(x);", "call removed"),
                         ["for (; i < n; next()) {}"])

    def test_declarations_and_returns_are_not_removed(self):
        for statement in ("Lock lock(mutex);", "const int x = 3;", "return f();", "int a(b);",
                          "std::lock_guard<std::mutex> lock(m);", "delete f();"):
            self.assertEqual(self.body(statement, "call removed"), [], statement)
            self.assertEqual(self.body(statement, "assignment removed"), [], statement)
        self.assertEqual(after("class C {\npublic:\nvoid f();\n};\n"), [])

    def test_arithmetic_on_texts_is_left_alone(self):
        self.assertEqual(self.body('f("a" + b);', "arithmetic"), [])
        self.assertEqual(self.body("f(a + b);", "arithmetic"), ["f(a - b);"])

    def test_comments_texts_preprocessor_lines_and_attributes_are_left_alone(self):
        for text in ("// a == 1\n", "/* a == 1\n */", "#if A == 1 && B\n", "#define X \\\n  (1 == 2)\n",
                     'const char* s = "a == 1";\n', 'auto s = R"(1 == 2)";\n', "char c = '1';\n",
                     "static_assert(sizeof(int) == 4);\n", "[[deprecated(1)]] void f();\n",
                     "bool operator==(const C& a, const C& b);\n", "__attribute__((aligned(8))) int x;\n"):
            self.assertEqual(after(text), [], text)

    def test_what_only_other_builds_compile_is_left_alone(self):
        text = ("#ifdef HCRPT_SANITIZE\n#if X\nint a = 1;\n#else\nint b = 1;\n#endif\nint c = 1;\n#else\n"
                "int d = 1;\n#endif\nint e = 1;\n#ifndef HCRPT_SANITIZE\nint f = 1;\n#endif\n")
        self.assertEqual({before for before, _ in changes(text)},
                         {"int d = 1;", "int e = 1;", "int f = 1;"})

    def test_the_function_is_the_one_that_a_reader_would_name(self):
        text = ("namespace a {\nclass C {\n  public:\n    C() : m(1) {}\n    int f() const { return 2; }\n"
                "};\n}\nstd::string a::C::g(int x) {\n    auto l = [&](int y) { return y == x; };\n"
                "    return h(3);\n}\nbool operator==(C, C) {\n    return true;\n}\n")
        named = {(m.function, m.before) for m in operators.mutants("utils/X.cpp", text)}
        self.assertIn(("C", "C() : m(1) {}"), named)
        self.assertIn(("f", "int f() const { return 2; }"), named)
        self.assertIn(("a::C::g", "auto l = [&](int y) { return y == x; };"), named)
        self.assertIn(("a::C::g", "return h(3);"), named)
        self.assertIn(("operator==", "return true;"), named)

    def test_a_mutant_changes_its_own_place_only(self):
        text = "int f() {\n    return 1;\n}\n"
        self.assertEqual(operators.mutants("utils/X.cpp", text)[0].changed,
                         "int f() {\n    return 2;\n}\n")

    def test_every_source_that_ships_has_mutants_of_all_operators(self):
        found = selection.mutants_of(ROOT, selection.product_files(ROOT))
        self.assertLessEqual(
            {"comparison", "constant", "condition negated", "condition always true",
             "condition always false", "call removed", "assignment removed", "branches swapped",
             "logic", "arithmetic"}, {mutant.operator for mutant in found})
        self.assertGreater(len(found), 3000)


class EquivalentsTest(unittest.TestCase):
    LIST = "# why\nin: f\nfrom: return 7;\nto: return 8;\nbecause: nobody\n  asks\n"

    def mutant(self, text):
        return operators.mutants("utils/X.cpp", text)[0]

    def test_a_mutant_is_known_by_function_and_text_wherever_it_stands(self):
        listed = equivalent.Equivalents(equivalent.read(self.LIST))
        self.assertEqual(listed.reason(self.mutant("\n\nint f() {\n    return  7;\n}\n")), "nobody asks")
        self.assertIsNone(listed.reason(self.mutant("int g() {\n    return 7;\n}\n")))
        self.assertIsNone(listed.reason(self.mutant("int f() {\n    return 6;\n}\n")))

    def test_an_entry_that_fits_no_source_is_told(self):
        listed = equivalent.Equivalents(equivalent.read(self.LIST))
        self.assertEqual(listed.unknown([]), [("f", "return 7;", "return 8;")])
        self.assertEqual(listed.unknown([self.mutant("int f() {\n    return 7;\n}\n")]), [])

    def test_a_list_of_the_wrong_form_is_refused(self):
        for text in ("in: f\nfrom: a\nto: b\n", "in: f\nin: g\n", "wherever: f\n", "  more\n"):
            with self.assertRaises(equivalent.FormError, msg=text):
                equivalent.read(text)

    def test_the_list_of_the_tree_has_its_form(self):
        equivalent.read((HERE / "equivalent.txt").read_text())

    def test_a_survivor_is_told_in_the_form_of_the_list(self):
        mutant = self.mutant("int f() {\n    return 7;\n}\n")
        read = equivalent.read(equivalent.block(mutant), reasons=False)
        self.assertEqual([entry[:3] for entry in read], [equivalent.identity(mutant)])


class Tree(unittest.TestCase):
    """A test with a git tree of its own."""

    def git(self, *arguments):
        subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=a@b.example", *arguments],
                       check=True, cwd=self.root, stdout=subprocess.DEVNULL)

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = pathlib.Path(directory.name) / "tree"
        self.root.mkdir()
        self.git("init", "-q")

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text)

    def commit(self):
        self.git("add", "-A")
        self.git("commit", "-q", "-m", "x")


class SelectionTest(Tree):
    def setUp(self):
        super().setUp()
        self.write("utils/A.cpp", "int a() {\n    return 1;\n}\n")
        self.write("tests/T.cpp", "int t() {\n    return 1;\n}\n")
        self.commit()

    def test_an_uncommitted_change_is_what_is_changed(self):
        self.write("utils/A.cpp", "int a() {\n    return 1;\n}\nint b() {\n    return 2;\n}\n")
        self.write("utils/New.cpp", "int n() {\n    return 3;\n}\n")
        self.assertEqual(selection.changed_lines(self.root, None),
                         {"utils/A.cpp": {4, 5, 6}, "utils/New.cpp": {1, 2, 3, 4}})
        found, number = selection.change(self.root, None, 20)
        self.assertEqual([m.function for m in found], ["b", "b", "n", "n"])
        self.assertEqual(number, 4)

    def test_without_one_the_last_commit_is(self):
        self.write("utils/A.cpp", "int a() {\n    return 2;\n}\n")
        self.write("tests/T.cpp", "int t() {\n    return 2;\n}\n")
        self.commit()
        self.assertEqual(selection.changed_lines(self.root, None), {"utils/A.cpp": {2}})

    def test_what_the_other_branch_got_meanwhile_is_not_the_change(self):
        self.git("checkout", "-q", "-b", "other")
        self.write("utils/A.cpp", "int other() {\n    return 7;\n}\nint a() {\n    return 1;\n}\n")
        self.commit()
        self.git("checkout", "-q", "-b", "own", "HEAD~1")
        self.write("utils/B.cpp", "int b() {\n    return 2;\n}\n")
        self.commit()
        self.assertEqual(selection.changed_lines(self.root, "other"), {"utils/B.cpp": {1, 2, 3}})

    def test_removed_lines_have_no_mutants(self):
        self.assertEqual(selection.parse_diff("+++ b/a/A.cpp\n@@ -3,2 +2,0 @@\n-x\n-y\n"), {"a/A.cpp": set()})
        self.assertEqual(selection.parse_diff("+++ /dev/null\n@@ -1,2 +0,0 @@\n"), {})

    def test_the_mutants_of_a_change_are_spread_over_its_lines(self):
        text = "int f() {\n" + "    if (a < 1 && b) g(2);\n" * 5 + "}\n"
        found = operators.mutants("utils/X.cpp", text)
        self.assertEqual({m.line for m in selection.spread(found, 5)}, {2, 3, 4, 5, 6})
        self.assertEqual(len(selection.spread(found, 1000)), len(found))

    def test_a_sample_is_the_same_for_the_same_seed(self):
        self.write("store/B.cpp", "int b() {\n" + "    f(1, 2, 3);\n" * 9 + "}\n")
        def drawn(seed):
            return [(folder, [(m.start, m.text) for m in found], wanted)
                    for folder, found, wanted in selection.sample(self.root, [], 10, seed)]
        self.assertEqual(drawn("1"), drawn("1"))
        self.assertNotEqual(drawn("1"), drawn("2"))
        self.assertEqual(sum(wanted for *_, wanted in drawn("1")), 10)
        with self.assertRaises(ValueError):
            selection.sample(self.root, ["tests"], 10, "1")

    def test_a_number_is_divided_by_weight_without_a_rest(self):
        shares = selection.divided(10, {"a": 1, "b": 1, "c": 98})
        self.assertEqual(sum(shares.values()), 10)
        self.assertEqual(selection.divided(10, {"a": 3}), {"a": 3})


class TrialTest(unittest.TestCase):
    def test_what_proves_nothing_is_replaced(self):
        queue = trial.Queue([trial.Group("a", [1, 2, 3], 2), trial.Group("b", [4], 5)])
        taken = [queue.take() for _ in range(2)]
        self.assertEqual([mutant for _, mutant in taken], [1, 2])
        queue.give_back(taken[0][0])
        self.assertEqual([queue.take()[1], queue.take()[1], queue.take()], [3, 4, None])

    def test_only_survivors_are_left(self):
        def result(kind):
            return trial.Result(operators.mutants("utils/X.cpp", "int f() {\n    return 0;\n}\n")[0], kind, "", 0)
        results = [result(kind) for kind in (worker.KILLED, worker.SURVIVED, worker.NOT_COMPILED,
                                             trial.EQUIVALENT)]
        with contextlib.redirect_stdout(io.StringIO()) as out:
            left = report.summary(results)
        self.assertEqual(left, [results[1].mutant])
        self.assertIn("killed: 50.0 %", out.getvalue())


class FoldersTest(unittest.TestCase):
    def test_every_folder_that_ships_has_tests(self):
        for folder in {selection.folder_of(path) for path in selection.product_files(ROOT)}:
            self.assertTrue(folders.stages(ROOT, folder), folder)


class CommandsTest(unittest.TestCase):
    def run_commands(self, *scripts, all_of_them=False, again=False, seconds=60):
        with tempfile.TemporaryDirectory() as directory:
            commands = [{"name": script, "words": ["sh", "-c", script], "seconds": seconds, "again": again,
                         "environment": {"COUNT": directory + "/count"}} for script in scripts]
            (pathlib.Path(directory) / "logs").mkdir()
            results = sandbox.Commands(directory + "/logs", 1).run(commands, all_of_them)
        return [(result["name"], result["status"]) for result in results]

    def test_the_first_failure_ends_a_run(self):
        self.assertEqual(self.run_commands("true", "exit 3", "true"), [("true", 0), ("exit 3", 3)])
        self.assertEqual(len(self.run_commands("true", "exit 3", "true", all_of_them=True)), 3)

    def test_a_failure_that_does_not_come_back_is_none(self):
        once = 'test -e "$COUNT" || { touch "$COUNT"; exit 1; }'
        self.assertEqual(self.run_commands(once, again=True), [(once, 0)])
        self.assertEqual(self.run_commands("exit 3", again=True), [("exit 3", 3)])

    def test_what_does_not_end_is_ended(self):
        self.assertEqual(self.run_commands("sleep 1000", seconds=0.2, again=True), [("sleep 1000", None)])


PROJECT = {
    "CMakeLists.txt": """
cmake_minimum_required(VERSION 3.25)
project(tree LANGUAGES CXX)
enable_testing()
add_subdirectory(tests/utils)
""",
    "tests/utils/CMakeLists.txt": """
add_executable(utils_tests ../../utils/Sum.cpp SumTest.cpp)
add_test(NAME SumTest.Sum COMMAND utils_tests sum)
add_test(NAME SumTest.FailsAnyway COMMAND utils_tests fail)
set_tests_properties(SumTest.Sum SumTest.FailsAnyway PROPERTIES LABELS unit)
""",
    # The first line of Sum.cpp is tested, the second is not.
    "utils/Sum.cpp": """
int sum(int a, int b) { return a + b; }
int product(int a, int b) { return a * b; }
int size[1 * 1] = {1};
int harm(int pid) { return pid == 0; }
""",
    "tests/utils/SumTest.cpp": """
#include <stdlib.h>
#include <string>
int sum(int, int);
int harm(int);
int main(int, char** arguments) {
    if (std::string(arguments[1]) == "fail") return 1;
    // Fails where it sees no process but those of the sandbox.
    if (harm(1)) return system("touch \\"$OUTSIDE\\"; grep -q sandbox.py /proc/1/cmdline") == 0;
    return sum(1, 2) == 3 ? 0 : 1;
}
""",
}


class WholeRunTest(Tree):
    """Builds, sandbox and verdicts, with a project of two functions."""

    def setUp(self):
        super().setUp()
        for path, text in PROJECT.items():
            self.write(path, text)
        self.commit()

    def results(self, *wanted):
        mutants = [m for m in selection.mutants_of(self.root, ["utils/Sum.cpp"]) if m.after in wanted]
        self.assertEqual(len(mutants), len(wanted))
        work = self.root.parent / "work"
        with contextlib.redirect_stdout(io.StringIO()) as out:
            try:
                done = trial.try_all(self.root, [trial.Group("utils", mutants, len(mutants))],
                                     equivalent.Equivalents([]), 1, work, lambda result: None)
            except worker.Unusable as error:
                if "sandbox" in str(error):
                    self.skipTest(str(error))
                raise
        self.assertIn("left out: SumTest.FailsAnyway", out.getvalue())
        self.assertEqual((work / "0/source/utils/Sum.cpp").read_text(), PROJECT["utils/Sum.cpp"])
        return {result.mutant.after: result.result for result in done}

    def test_mutants_are_killed_survive_or_do_not_compile(self):
        killed = "int sum(int a, int b) { return a - b; }"
        survivor = "int product(int a, int b) { return a / b; }"
        broken = "int size[0 * 1] = {1};"
        self.assertEqual(self.results(killed, survivor, broken),
                         {killed: worker.KILLED, survivor: worker.SURVIVED, broken: worker.NOT_COMPILED})

    def test_a_mutant_reaches_no_file_or_process_outside(self):
        outside = HERE / f".outside-{os.getpid()}"
        self.addCleanup(outside.unlink, missing_ok=True)
        os.environ["OUTSIDE"] = str(outside)
        harmful = "int harm(int pid) { return pid != 0; }"
        self.assertEqual(self.results(harmful), {harmful: worker.KILLED})
        self.assertFalse(outside.exists())


if __name__ == "__main__":
    unittest.main()
