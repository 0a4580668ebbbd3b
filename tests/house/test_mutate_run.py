"""The mutation tool on a small program whose mutations have known outcomes."""

import json
import pathlib
import subprocess
import tempfile
import unittest

COMMAND = pathlib.Path(__file__).resolve().parents[2] / "tests/mutate"

TINY = {
    "CMakeLists.txt": """cmake_minimum_required(VERSION 3.25)
project(tiny LANGUAGES CXX)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
if(TESK_SANITIZE)
  add_compile_options(-fsanitize=address)
  add_link_options(-fsanitize=address)
endif()
add_compile_options(-g)
include_directories(${CMAKE_SOURCE_DIR})
add_library(tiny STATIC tesk/tiny.cpp)
add_executable(unit_tests tests/unit/test_tiny.cpp)
target_link_libraries(unit_tests tiny)
""",
    "tesk/tiny.h": "enum { TINY_CELLS = 4 };\nint tiny_sum(int first);\nint tiny_unseen();\nint tiny_explained();\n",
    "tesk/tiny.cpp": """#include "tesk/tiny.h"
static int cells[TINY_CELLS] = {7, 7, 7, 7};
int tiny_sum(int first) {
  int sum = 0;
  while (first < 0) {
    first++;
  }
  for (int i = first; i < TINY_CELLS; i++) {
    sum = sum + cells[i] * (i > 100 ? 2 : 1);
  }
  return sum;
}
int tiny_unseen() { return 5; }
int tiny_explained() { return 8; }
""",
    "tests/unit/test_tiny.cpp": '#include "tesk/tiny.h"\nint main() { return tiny_sum(-1) == 28 ? 0 : 1; }\n',
    "tests/mutation/equivalent.toml": """[[equivalent]]
file = "tesk/tiny.cpp"
original = 'int tiny_explained() { return 8; }'
changed = 'int tiny_explained() { return 9; }'
because = "nobody asks"
""",
}


class TinyProgram(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.root = pathlib.Path(cls.folder.name)
        for name, text in TINY.items():
            (cls.root / name).parent.mkdir(parents=True, exist_ok=True)
            (cls.root / name).write_text(text, encoding="utf-8")
        cls.first = cls.run_it("--count", "all")
        cls.result = json.loads((cls.root / "build/mutation/result.json").read_text())

    @classmethod
    def run_it(cls, *words):
        return subprocess.run([COMMAND, "--root", cls.root, *words], capture_output=True, text=True, timeout=300)

    def outcome(self, changed, original=""):
        found = [one for one in self.result["mutations"] if one["changed"] == changed and original in one["original"]]
        self.assertEqual(len(found), 1, changed)
        return found[0]["outcome"]

    def test_fates(self):
        loop, body = "for (int i = first; i < TINY_CELLS; i++) {", "sum = sum + cells[i] * (i > 100 ? 2 : 1);"
        self.assertEqual(self.outcome("int sum = 1;"), "caught")
        self.assertEqual(self.outcome("enum { TINY_CELLS = 0 };"), "does not compile")
        self.assertEqual(self.outcome(loop.replace("<", "<=")), "caught", "by the address sanitizer alone")
        self.assertEqual(self.outcome(";", "first++"), "caught", "by the limit of its time")
        self.assertEqual(self.outcome(body.replace(">", ">=")), "same code", "there are four cells")
        self.assertEqual(self.outcome("int tiny_explained() { return 9; }"), "explained")
        self.assertEqual(self.outcome("int tiny_unseen() { return 6; }"), "survived")

    def test_survivors_are_told_and_make_the_status(self):
        self.assertEqual(self.first.returncode, 1, self.first.stderr)
        self.assertIn("- int tiny_unseen() { return 5; }\n    + int tiny_unseen() { return 6; }", self.first.stdout)

    def test_a_second_run_tries_nothing_again(self):
        again = self.run_it("--count", "all")
        self.assertEqual((again.returncode, again.stderr), (1, ""))

    def test_an_unknown_file_is_refused(self):
        refused = self.run_it("--file", "tesk/none.cpp")
        self.assertEqual(refused.returncode, 2)
        self.assertIn("there are no mutations of file 'tesk/none.cpp'; there are of tesk/tiny.cpp", refused.stderr)

    def test_the_checkout_is_only_read(self):
        for name, text in TINY.items():
            self.assertEqual((self.root / name).read_text(encoding="utf-8"), text)


if __name__ == "__main__":
    unittest.main()
