"""Every rule of the house finds what it forbids, and lets pass what it allows."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import house  # noqa: E402


class House(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def given(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def complaints(self, rule):
        return list(rule(self.root))

    def test_the_daemon_may_not_include_the_host(self):
        self.given("tesk/a.cpp", '#include "tesk/a.h"\n#include <stdio.h>\n#include "host/bus/socket.h"\n')
        self.assertRegex(self.complaints(house.walls)[0], r"^tesk/a.cpp:3: .*host/bus/socket.h")
        self.assertEqual(len(self.complaints(house.walls)), 1)

    def test_the_host_may_include_the_kernel_records_only(self):
        self.given("host/b.cpp", '#include "tesk/kspace/teskk.h"\n#include "tesk/tesk_port.h"\n')
        self.assertEqual(len(self.complaints(house.walls)), 1)

    def test_a_platform_header_may_include_platform_headers_only(self):
        self.given("include/opal/c.h", '#include "opal/types.h"\n#include "tesk/tesk_port.h"\n')
        self.assertEqual(len(self.complaints(house.walls)), 1)

    def test_a_relative_include_is_refused(self):
        self.given("host/d.cpp", '#include "d.h"\n')
        self.assertIn("from the root", self.complaints(house.walls)[0])

    def test_the_daemon_has_no_conditional_code(self):
        self.given("tesk/e.cpp", "#ifdef __x86_64__\n#endif\n#ifdef __powerpc__\n#endif\n")
        self.assertEqual(len(self.complaints(house.one_daemon)), 1)

    def test_a_long_file_needs_a_reason(self):
        self.given("host/f.cpp", "\n" * (house.LINES_MAX + 1))
        self.assertIn("split it", self.complaints(house.sizes)[0])

    def test_a_header_that_lacks_an_include_is_found(self):
        self.given("include/opal/g.h", "uint32_t g(void);\n")
        self.assertIn("does not compile alone", self.complaints(house.standalone_headers)[0])


if __name__ == "__main__":
    unittest.main()
