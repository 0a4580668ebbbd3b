"""Everything in the tree that the documents name exists."""

import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEST = re.compile(r"^TEST(?:_F|_P)?\((\w+), (\w+)\)", re.M)
NAMED = re.compile(r"`([A-Z]\w+\.[A-Z]\w+)`")


def tests_of_the_tree() -> set[str]:
    sources = (ROOT / "tests").rglob("*.cpp")
    return {f"{suite}.{name}" for source in sources for suite, name in TEST.findall(source.read_text(encoding="utf-8"))}


class Documents(unittest.TestCase):
    def test_every_test_that_a_document_names_exists(self):
        present = tests_of_the_tree()
        for document in sorted((ROOT / "docs").glob("*.md")):
            for name in NAMED.findall(document.read_text(encoding="utf-8")):
                with self.subTest(document=document.name, test=name):
                    self.assertTrue(name in present, f"{document.name} names {name}, and no test has that name")


if __name__ == "__main__":
    unittest.main()
