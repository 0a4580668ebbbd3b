"""Every rule of the house finds what it forbids and accepts what it allows."""

import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts/house"))
import checks  # noqa: E402
import files  # noqa: E402
import page  # noqa: E402
import rooms  # noqa: E402
import walls  # noqa: E402

# `net` is above `base`, and `run` above both. The daemon shares its records with `net`.
TABLE = {
    "include/opal": {"for": "the platform"},
    "tesk": {"for": "the daemon", "includes": ["include/opal"]},
    "tesk/kspace": {"for": "records"},
    "host/base": {"for": "ids"},
    "host/net": {"for": "links", "includes": ["host/base", "tesk/kspace"]},
    "host/run": {"for": "the process", "includes": ["host/base", "host/net"]},
}
# One include for each arrow of the table.
SOURCES = {
    "include/opal/types.h": "#include <stdint.h>\n",
    "tesk/kspace/teskk.h": "",
    "tesk/a.cpp": '#include "opal/types.h"\n',
    "host/base/a.h": "",
    "host/net/a.h": '#include "host/base/a.h"\n#include "tesk/kspace/teskk.h"\n',
    "host/run/a.h": '#include <vector>\n\n#include "host/base/a.h"\n#include "host/net/a.h"\n#include "host/run/b.h"\n',
}


class HouseTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.table = json.loads(json.dumps(TABLE))
        for name, text in SOURCES.items():
            self.given(name, text)
        for name in TABLE:
            self.given(f"{name}/README.md", "What lives here.\n")

    def given(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def tree(self):
        self.write_table()
        return rooms.Tree(self.root)

    def write_table(self):
        self.given(rooms.TABLE, json.dumps(self.table))

    def complaints(self, rule):
        return list(rule(self.tree()))

    def one_complaint(self, rule):
        found = self.complaints(rule)
        self.assertEqual(len(found), 1, found)
        return found[0]

    def run_house(self, *arguments):
        self.write_table()
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed), contextlib.redirect_stderr(printed):
            status = checks.main([*arguments, str(self.root)])
        return status, printed.getvalue()


class Allowed(HouseTest):
    def test_a_tree_that_keeps_the_rules_passes_all(self):
        self.given(page.PAGE, page.page(self.tree()))
        self.assertEqual(self.run_house(), (0, ""))


class Walls(HouseTest):
    def test_an_include_that_the_table_does_not_allow(self):
        self.given("host/net/b.cpp", '#include "host/net/a.h"\n\n#include "host/run/a.h"\n')
        complaint = self.one_complaint(walls.walls)
        self.assertRegex(complaint, r'^host/net/b.cpp:3: host/net may not include "host/run/a.h" of host/run')
        self.assertIn("only host/base, tesk/kspace; move the code", complaint)

    def test_what_a_room_may_include_its_user_may_not(self):
        self.given("host/run/b.cpp", '#include "tesk/kspace/teskk.h"\n')
        self.assertRegex(self.one_complaint(walls.walls), "^host/run/b.cpp:1: ")

    def test_a_platform_header_is_found_in_its_folder(self):
        self.given("host/base/b.cpp", '#include "opal/types.h"\n')
        self.assertIn("of include/opal, only no other room", self.one_complaint(walls.walls))

    def test_a_room_within_a_room_has_walls_of_its_own(self):
        self.given("tesk/kspace/b.h", '#include "tesk/b.h"\n')
        self.assertRegex(self.one_complaint(walls.walls), "^tesk/kspace/b.h:1: ")

    def test_a_folder_without_an_entry_belongs_to_the_room_around_it(self):
        self.given("host/net/deep/b.cpp", '#include "host/base/a.h"\n#include "host/run/a.h"\n')
        self.assertRegex(self.one_complaint(walls.walls), "^host/net/deep/b.cpp:2: ")

    def test_an_include_of_no_room(self):
        self.given("host/net/b.cpp", '#include "host/none/a.h"\n')
        self.assertIn("is in no room", self.one_complaint(walls.walls))

    def test_project_includes_are_written_from_the_root(self):
        self.given("host/net/b.cpp", '#include "a.h"\n')
        self.assertIn("from the root", self.one_complaint(walls.spelling))

    def test_project_includes_are_quoted(self):
        self.given("host/net/b.cpp", "#  include <host/base/a.h>\n")
        self.assertIn('in ""', self.one_complaint(walls.spelling))

    def test_an_arrow_that_nobody_uses(self):
        self.table["host/run"]["includes"].append("tesk/kspace")
        self.assertIn("remove tesk/kspace from", self.one_complaint(walls.unused_arrows))

    def test_an_arrow_to_a_room_without_headers_is_for_linking(self):
        self.table["host/values"] = {"for": "operations of include/opal", "includes": []}
        self.table["host/run"]["includes"].append("host/values")
        self.given("host/values/a.cpp", "")
        self.assertEqual(self.complaints(walls.unused_arrows), [])
        self.given("host/values/a.h", "")
        self.assertIn("remove host/values from", self.one_complaint(walls.unused_arrows))

    def test_a_circle_in_the_table(self):
        self.table["host/base"]["includes"] = ["host/run"]
        self.assertIn("host/base -> host/run -> host/base", self.one_complaint(walls.no_circle_in_the_table))

    def test_a_long_circle_in_the_table(self):
        self.table["tesk/kspace"]["includes"] = ["host/run"]
        self.assertIn("tesk/kspace -> host/run -> host/net -> tesk/kspace", self.one_complaint(walls.no_circle_in_the_table))

    def test_a_circle_of_includes(self):
        self.given("host/base/b.cpp", '\n#include "host/net/a.h"\n')
        complaint = self.one_complaint(walls.no_circle_of_includes)
        self.assertRegex(complaint, "host/base/b.cpp:2.*host/base -> host/net -> host/base")
        self.assertIn("host/net/a.h:1", complaint)


class Rooms(HouseTest):
    def test_a_folder_with_sources_is_a_room(self):
        self.given("host/new/a.cpp", "")
        self.given("host/new/b.cpp", "")
        self.assertRegex(self.one_complaint(files.every_folder_is_a_room), "^host/new: .* enter it")

    def test_what_is_built_is_no_room(self):
        self.given("build/host/a.cpp", '#include "b.h"\n')
        self.assertEqual(self.complaints(files.every_folder_is_a_room) + self.complaints(walls.spelling), [])

    def test_a_room_exists(self):
        self.table["host/gone"] = {"for": "nothing"}
        self.assertIn("host/gone: there is no such folder", self.one_complaint(files.every_room_exists))

    def test_the_rooms_that_a_room_may_include_exist(self):
        self.table["host/run"]["includes"].append("host/gone")
        self.assertIn("host/gone, which is not a room", self.one_complaint(files.every_room_exists))

    def test_the_files_of_an_entry_exist(self):
        self.table["host/run"]["long"] = {"gone.cpp": "a reason"}
        self.assertIn("no file gone.cpp", self.one_complaint(files.every_room_exists))

    def test_a_room_has_a_readme(self):
        (self.root / "host/net/README.md").unlink()
        self.assertRegex(self.one_complaint(files.every_room_has_a_readme), "^host/net: has no README.md")

    def test_a_readme_is_short(self):
        self.given("host/net/README.md", "line\n" * files.README_LINES_MAX)
        self.assertEqual(self.complaints(files.every_room_has_a_readme), [])
        self.given("host/net/README.md", "line\n" * (files.README_LINES_MAX + 1))
        self.assertIn("21 lines", self.one_complaint(files.every_room_has_a_readme))

    def test_an_entry_says_what_the_room_is_for(self):
        self.table["host/net"] = {"includes": []}
        with self.assertRaisesRegex(ValueError, "room host/net: has to have 'for'"):
            self.tree()

    def test_an_entry_has_no_other_words(self):
        self.table["host/net"]["include"] = []
        with self.assertRaisesRegex(ValueError, "room host/net"):
            self.tree()

    def test_a_table_that_cannot_be_read_is_one_sentence(self):
        with self.assertRaisesRegex(ValueError, "^scripts/rooms.json:2: "):
            rooms.table('{\n"a": }')
        self.table["host/net"] = {}
        status, printed = self.run_house()
        self.assertEqual((status, printed.count("\n")), (1, 1))


class Files(HouseTest):
    def test_a_long_file_needs_a_reason(self):
        self.given("host/net/b.cpp", "\n" * files.LINES_MAX)
        self.assertEqual(self.complaints(files.sizes), [])
        self.given("host/net/b.cpp", "\n" * (files.LINES_MAX + 1))
        self.assertIn("split it", self.one_complaint(files.sizes))
        self.table["host/net"]["long"] = {"b.cpp": "one topic"}
        self.assertEqual(self.complaints(files.sizes), [])

    def test_a_short_file_needs_no_reason(self):
        self.table["host/net"]["long"] = {"a.h": "one topic"}
        self.assertIn("host/net/a.h needs no reason", self.one_complaint(files.sizes))

    def test_the_daemon_has_no_conditional_code(self):
        self.given("tesk/b.cpp", "#ifdef __powerpc__\n#endif\n#ifdef __x86_64__\n#endif\n")
        self.given("host/net/b.cpp", "#ifdef __x86_64__\n#endif\n")
        self.assertRegex(self.one_complaint(files.one_daemon), "^tesk/b.cpp:3: conditional code")

    def test_a_header_that_lacks_an_include_is_found(self):
        self.given("include/opal/g.h", "uint32_t g(void);\n")
        self.assertRegex(self.one_complaint(files.standalone_headers), "^include/opal/g.h: does not compile alone")

    def test_tests_are_in_files_that_are_called_so(self):
        self.given("host/net/test_b.cpp", "TEST(B, Works) {}\n")
        self.assertEqual(self.complaints(files.names_of_tests), [])
        self.given("host/net/b_test.cpp", "TEST_F(B, Works) {}\n")
        self.assertRegex(self.one_complaint(files.names_of_tests), "^host/net/b_test.cpp: .* test_NAME.cpp")

    def test_names_of_tests_are_sentences(self):
        self.given("host/net/test_b.cpp", "TEST_F(B, Works) {}\nTEST_P(B, works_too) {}\n")
        self.assertRegex(self.one_complaint(files.names_of_tests), "^host/net/test_b.cpp:2: .* CamelCase")

    def test_the_formatter_would_change_nothing(self):
        self.given(".clang-format", (ROOT / ".clang-format").read_text(encoding="utf-8"))
        self.given("host/net/b.cpp", "int a();\n\nint  b();\n")
        self.assertRegex(self.one_complaint(files.formatting), r"^host/net/b.cpp:3: .* clang-format -i host/net/b.cpp")

    def test_the_formatter_leaves_comments_and_texts_alone(self):
        self.given(".clang-format", (ROOT / ".clang-format").read_text(encoding="utf-8"))
        self.given("host/net/b.h", "//   a:  1" + " " * 100 + "# a comment that is too long\n//   b: 2\nint b();\n")
        self.given("host/net/b.cpp", 'const char *text =\n    "' + "a long text " * 12 + '\\n"\n    "b";\n')
        self.assertEqual(self.complaints(files.formatting), [])

    def test_a_formatter_that_fails_is_not_a_pass(self):
        self.given(".clang-format", "Column: none\n")
        self.assertIn("clang-format failed", self.complaints(files.formatting)[-1])


class Page(HouseTest):
    def test_the_page_is_what_the_table_gives(self):
        self.given(page.PAGE, page.page(self.tree()))
        self.assertEqual(self.complaints(page.page_is_current), [])
        self.table["host/net"]["for"] = "kernel links"
        self.assertIn("run python3 scripts/house --page >docs/rooms.md", self.one_complaint(page.page_is_current))

    def test_a_tree_without_the_page_is_told_the_command(self):
        self.assertIn(page.RENEW, self.one_complaint(page.page_is_current))

    def test_the_command_prints_the_page(self):
        self.assertEqual(self.run_house("--page"), (0, page.page(self.tree())))

    def test_arrows_that_follow_from_others_are_not_drawn(self):
        status, printed = self.run_house("--graph")
        self.assertEqual(status, 0)
        self.assertIn("  host_run --> host_net\n", printed)
        self.assertIn("  host_net --> host_base\n", printed)
        self.assertNotIn("host_run --> host_base", printed)

    def test_what_stands_on_the_product_is_drawn_apart(self):
        self.table["tests/net"] = {"for": "tests", "includes": ["host/net"]}
        self.table["demo"] = {"for": "scripts"}
        product, others = page.graphs(self.tree())
        self.assertEqual(others, 'graph TD\n  tests_net["tests/net"]\n  host_net["host/net"]\n  tests_net --> host_net\n')
        self.assertNotIn("tests", product)


class Command(HouseTest):
    def test_complaints_of_all_kinds_make_the_status(self):
        self.given("host/net/b.cpp", '#include "host/run/a.h"\n')
        self.given("host/new/a.cpp", "")
        status, printed = self.run_house()
        self.assertEqual(status, 1)
        self.assertRegex(printed, r"(?s)host/net/b.cpp:1: .*host/new: has sources")

    def test_a_wrong_option_is_refused(self):
        printed = io.StringIO()
        with contextlib.redirect_stderr(printed):
            self.assertEqual(checks.main(["--grpah"]), 2)
        self.assertIn("usage:", printed.getvalue())


if __name__ == "__main__":
    unittest.main()
