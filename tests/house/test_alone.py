"""The check finds a source that does not compile without its neighbour's includes, whenever a relevant file changes."""

import pathlib
import subprocess
import tempfile
import unittest

COMMAND = pathlib.Path(__file__).resolve().parents[2] / "scripts/alone"

# Compiled together, in this order, they are valid.
TREE = {
    "CMakeLists.txt": """cmake_minimum_required(VERSION 3.25)
project(tiny LANGUAGES CXX)
set(CMAKE_UNITY_BUILD ${TESK_UNITY})
include_directories(${CMAKE_SOURCE_DIR})
add_library(tiny STATIC host/a.cpp host/b.cpp bench/c.cpp)
target_precompile_headers(tiny PRIVATE <cstdint>)
""",
    "host/number.h": "inline int number() { return 1; }\n",
    "host/a.cpp": '#include "host/number.h"\n#include <cstdint>\nstd::int32_t a() { return number(); }\n',
    "host/b.cpp": "int b() { return number(); }\n",
    "bench/c.cpp": "int c() { return no_business_of_this_check(); }\n",
}


class Alone(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for name, text in TREE.items():
            self.given(name, text)

    def given(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def run_it(self):
        done = subprocess.run([COMMAND, self.root], capture_output=True, text=True, timeout=300)
        self.assertNotIn("Traceback", done.stderr)
        return done.returncode, done.stdout

    def test_what_lives_on_its_neighbours_includes_is_found_until_it_is_mended(self):
        status, printed = self.run_it()
        self.assertEqual(status, 1)
        self.assertIn("host/b.cpp:1:18: error", printed)
        self.assertNotIn("a.cpp:", printed)

        self.given("host/b.cpp", '#include "host/number.h"\n' + TREE["host/b.cpp"])
        self.assertEqual(self.run_it(), (0, ""))

        self.given("host/number.h", "inline int other() { return 1; }\n")
        status, printed = self.run_it()
        self.assertEqual(status, 1)
        self.assertIn("host/a.cpp:3:", printed)
        self.assertIn("host/b.cpp:2:", printed)

    def test_a_build_that_cannot_be_configured_is_no_pass(self):
        self.given("CMakeLists.txt", "no_such_command()\n")
        self.assertEqual(self.run_it()[0], 1)


if __name__ == "__main__":
    unittest.main()
