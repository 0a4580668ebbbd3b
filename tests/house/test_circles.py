"""The check finds objects that need each other, and names the symbols that close the circle."""

import pathlib
import subprocess
import tempfile
import unittest

COMMAND = pathlib.Path(__file__).resolve().parents[2] / "scripts/circles"


class Circles(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "tesk").mkdir()

    def run_it(self, **sources):
        for name, source in sources.items():
            subprocess.run(["g++", "-c", "-x", "c++", "-", "-o", self.root / f"tesk/{name}.cpp.o"], input=source, text=True,
                           check=True)
        done = subprocess.run([COMMAND, self.root], capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def test_layers_pass(self):
        self.assertEqual(self.run_it(top="void middle(); extern int low; void top() { middle(); low++; }",
                                     middle="extern int low; void middle() { low++; }", bottom="int low;"), (0, "", ""))

    def test_two_that_need_each_other_are_named_with_their_symbols(self):
        status, said, _ = self.run_it(one="extern int two; void one(int) { two++; }", two="void one(int); int two; "
                                      "void other() { one(two); }", above="void other(); void above() { other(); }")
        self.assertEqual((status, said), (1, "these need each other: one.cpp, two.cpp\n"
                                             "    one.cpp uses two of two.cpp\n    two.cpp uses one of one.cpp\n"))

    def test_a_way_round_through_others_is_a_circle(self):
        status, said, _ = self.run_it(a="void b(); void a() { b(); }", b="void c(); void b() { c(); }",
                                      c="void a(); void c() { a(); }")
        self.assertEqual((status, said.splitlines()[0]), (1, "these need each other: a.cpp, b.cpp, c.cpp"))

    def test_two_circles_are_two(self):
        status, said, _ = self.run_it(a="void b(); void a() { b(); }", b="void a(); void b() { a(); }",
                                      c="void a(); void d(); void c() { a(); d(); }", d="void c(); void d() { c(); }")
        self.assertEqual((status, said.count("these need each other")), (1, 2))

    def test_what_several_define_is_nobodys(self):
        shared = "inline int shared() { static int count; return ++count; } "
        self.assertEqual(self.run_it(a=shared + "int a() { return shared(); }",
                                     b=shared + "int a(); int b() { return shared() + a(); }"), (0, "", ""))

    def test_a_folder_without_objects_is_no_success(self):
        status, said, why = self.run_it()
        self.assertEqual((status, said), (1, ""))
        self.assertIn("build the daemon first", why)


if __name__ == "__main__":
    unittest.main()
