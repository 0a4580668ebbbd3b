"""The mutation tool: which changes it proposes, how it identifies them, and what it keeps of a run."""

import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/mutation"))
import candidates  # noqa: E402
import command  # noqa: E402
import explanations  # noqa: E402
import journal  # noqa: E402
import operators  # noqa: E402
from tokens import Source, enumerator_neighbours, names  # noqa: E402


def source(text: str, file: str = "tesk/tesk_x.cpp") -> Source:
    return Source(file, text, enumerator_neighbours(text), frozenset(names(text)))


def changes(kind: str, text: str) -> list[str]:
    return [one.changed for one in operators.mutations(source(text)) if one.kind == kind]


class Proposals(unittest.TestCase):
    def test_constant(self):
        self.assertEqual(changes("constant", "int a = 7;"), ["int a = 8;", "int a = 0;"])
        self.assertEqual(changes("constant", "a(0x1fu);"), ["a(0x20u);", "a(0u);"])
        self.assertEqual(changes("constant", "b = true;"), ["b = false;"])

    def test_enumerator(self):
        text = "enum { A, B = 2 };\nenum { ALONE = 1 };\n"
        self.assertEqual(changes("enumerator", text + "void f() { g(A); }"), ["void f() { g(B); }"])
        self.assertEqual(changes("enumerator", text + "void f() { g(ALONE); }"), ["void f() { g((ALONE + 1)); }"])

    def test_twin_where_the_other_name_exists(self):
        self.assertEqual(changes("twin", "int tx_frames, rx_frames, tx_bytes;\nvoid f() { a(tx_frames, tx_bytes); }"),
                         ["void f() { a(rx_frames, tx_bytes); }"])

    def test_sign_between_operands_only(self):
        self.assertEqual(changes("comparison", "if (a < b) c();"), ["if (a <= b) c();"])
        self.assertEqual(changes("calculation", "f(&a, b & c);"), ["f(&a, b | c);"])
        self.assertEqual(changes("assignment", "a |= 1;"), ["a &= 1;"])
        self.assertEqual(changes("logic", "return a && b;"), ["return a || b;"])

    def test_condition(self):
        self.assertEqual(changes("condition", "if (f(a)) b();"), ["if (!(f(a))) b();"])
        self.assertEqual(changes("condition", "if (!a) b();"), ["if (a) b();"])
        self.assertEqual(changes("condition", "if (a == 1) b();"), [], "the comparison's change is the same")
        self.assertEqual(changes("condition", "x = a ? 1 : 2;"), ["x = a && false ? 1 : 2;", "x = a || true ? 1 : 2;"])

    def test_text(self):
        self.assertEqual(changes("text", r'f("ab\n");'), [r'f("~ab\n");', r'f("ab");'])
        self.assertEqual(changes("text", 'f("ab%d");'), ['f("~ab%d");'])
        self.assertEqual(changes("text", '#include "tesk/tesk_x.h"\nextern "C" {'), [])

    def test_category(self):
        self.assertEqual(changes("category", "void f() { TESK_ERR_AT(place, x); }"), ["void f() { TESK_CTRL_AT(place, x); }"])

    def test_dropped_statements_but_no_declarations(self):
        text = "void f() { int a = 1; g(a); for (;;) { a++; break; } return; }\nstruct s { int b; };\nint h();"
        self.assertEqual([one.original.count("g(a)") - one.changed.count("g(a)") for one in
                          operators.mutations(source(text)) if one.kind == "dropped"], [1, 0, 0, 0])

    def test_order_of_neighbours_in_a_block(self):
        self.assertEqual(changes("order", "void f() { a(); b(); if (c) { d(); } e(); }"),
                         ["void f() { b(); a(); if (c) { d(); } e(); }"])

    def test_arguments_of_calls_but_not_of_definitions(self):
        self.assertEqual(changes("arguments", "void f(int a, int b) { g(a, h(b, 1)); }"),
                         ["void f(int a, int b) { g(h(b, 1), a); }", "void f(int a, int b) { g(a, h(1, b)); }"])

    def test_comments_and_static_assertions_stay(self):
        self.assertEqual(operators.mutations(source("// a(1, 2);\n/* 3 */\nstatic_assert(sizeof(a) == 4);\n")), [])


class Identity(unittest.TestCase):
    TEXT = "void f() {\n  g(1);\n  g(1);\n}\n"

    def keys(self, text):
        return [one.key for one in operators.mutations(source(text))]

    def test_survives_moved_lines(self):
        self.assertEqual(self.keys(self.TEXT), self.keys("// a comment\n\n" + self.TEXT))

    def test_tells_equal_lines_apart(self):
        self.assertEqual(len(set(self.keys(self.TEXT))), len(self.keys(self.TEXT)))

    def test_a_change_keeps_the_numbers_of_the_lines(self):
        text = "void f() {\n  g(a,\n    b);\n  h();\n}\n"
        for mutation in operators.mutations(source(text)):
            self.assertEqual(mutation.applied(text).count("\n"), text.count("\n"), mutation)

    def test_the_choice_is_exact_spread_and_independent_of_other_files(self):
        files = [operators.mutations(source(self.TEXT * 20, f"tesk/{name}.cpp")) for name in "ab"]
        chosen = candidates.choose(files[0] + files[1], 30, seed=1)
        self.assertEqual(len(chosen), 30)
        self.assertEqual(sum(one.file == "tesk/a.cpp" for one in chosen), 15)
        self.assertEqual(candidates.choose(files[1] + files[0], 30, seed=1), chosen)
        self.assertNotEqual(candidates.choose(files[0] + files[1], 30, seed=2), chosen)


class Explained(unittest.TestCase):
    def given(self, text):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        path = pathlib.Path(folder.name) / "equivalent.toml"
        path.write_text(text, encoding="utf-8")
        return explanations.read(path)

    def test_an_explanation_without_its_mutation_is_stale(self):
        present, gone = self.given("".join(f"""[[equivalent]]
file = "tesk/tesk_x.cpp"
original = '{original}'
changed = 'g(2);'
because = "nobody looks"
""" for original in ("g(1);", "g(3);")))
        self.assertEqual(explanations.stale([present, gone], operators.mutations(source("g(1);"))), [gone])

    def test_a_star_stands_for_every_change_of_a_line(self):
        [any_change] = self.given("[[equivalent]]\nfile = 'tesk/tesk_x.cpp'\noriginal = 'g(1);'\nchanged = '*'\nbecause = 'dead'\n")
        self.assertTrue(all(any_change.covers(one) for one in operators.mutations(source("g(1);"))))
        self.assertFalse(any(any_change.covers(one) for one in operators.mutations(source("g(2);"))))
        self.assertEqual(explanations.stale([any_change], operators.mutations(source("g(1);"))), [])

    def test_an_explanation_needs_its_reason(self):
        with self.assertRaisesRegex(explanations.Malformed, "explanation 1 has to have because"):
            self.given("[[equivalent]]\nfile = 'a'\noriginal = 'b'\nchanged = 'c'\n")

    def test_the_daemons_explanations_are_not_stale(self):
        known = explanations.read(ROOT / command.EXPLANATIONS)
        self.assertEqual([one.text for one in explanations.stale(known, candidates.candidates(ROOT))], [])


class Resumed(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "journal.jsonl"
        first = journal.Journal(self.path, "sources")
        first.add({"key": "a", "outcome": "caught"})
        first.add({"key": "b", "outcome": "survived"})

    def test_a_line_that_was_cut_short_is_tried_again(self):
        self.path.write_text(self.path.read_text()[:-10])
        self.assertEqual(set(journal.Journal(self.path, "sources").results), {"a"})

    def test_other_sources_start_anew(self):
        self.assertEqual(journal.Journal(self.path, "others").results, {})

    def test_survivors_are_tried_again_with_other_tests(self):
        again = journal.Journal(self.path, "others", keep=True)
        self.assertEqual((set(again.results), again.known), ({"a"}, {"a", "b"}))


if __name__ == "__main__":
    unittest.main()
