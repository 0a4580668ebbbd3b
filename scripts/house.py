"""The rules of the house, as checks: each says what is wrong, where, and how to mend it.

usage: house.py ROOT

Exit status 0 when the tree keeps them, 1 otherwise.
"""

from __future__ import annotations

import pathlib
import re
import subprocess
import sys
from collections.abc import Iterator

LINES_MAX = 400
# Longer files, each with its reason.
LONG_FILES: dict[str, str] = {
    "tests/unit/test_tesk_main.cpp": "every start-up failure of one file of the daemon",
    "tests/unit/test_tesk_krnl_adapter.cpp": "every failure path of one file of the daemon",
    "tests/unit/test_tesk_l2switch.cpp": "every rejection of one file of the daemon",
    "tests/unit/test_tesk_port_event.cpp": "every turn of a port notice, one file of the daemon",
}

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.M)


def sources(root: pathlib.Path, folder: str) -> Iterator[pathlib.Path]:
    for path in sorted((root / folder).rglob("*")):
        if path.suffix in (".h", ".cpp"):
            yield path


def included(path: pathlib.Path) -> Iterator[tuple[int, str, str]]:
    text = path.read_text(encoding="utf-8")
    for match in INCLUDE.finditer(text):
        yield text.count("\n", 0, match.start()) + 1, match.group(1), match.group(2)


def walls(root: pathlib.Path) -> Iterator[str]:
    """Who may include whom."""
    def project(name: str) -> bool:
        return name.split("/")[0] in ("tesk", "host", "tests", "bench", "opal", "fuzz")

    allowed = {
        "tesk": lambda name: name.startswith(("tesk/", "opal/")),
        "host": lambda name: not name.startswith(("tesk/", "tests/", "bench/")) or name == "tesk/kspace/teskk.h",
        "include": lambda name: name.startswith("opal/"),
    }
    for folder, may in allowed.items():
        for path in sources(root, folder):
            for line, quote, name in included(path):
                where = f"{path.relative_to(root)}:{line}"
                if quote == '"' and not project(name):
                    yield f'{where}: includes "{name}"; write project includes from the root, system ones in <>'
                elif project(name) and not may(name):
                    yield f'{where}: {folder}/ may not include "{name}"; go through include/opal or move the code'


def one_daemon(root: pathlib.Path) -> Iterator[str]:
    """The daemon is linked onto a platform, never configured for one."""
    for path in sources(root, "tesk"):
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            if re.match(r"\s*#\s*(if|ifdef|ifndef|elif)\b", line) and not re.search(r"__cplusplus|__powerpc__", line):
                yield f"{path.relative_to(root)}:{number}: conditional code; put the difference behind include/opal"


def sizes(root: pathlib.Path) -> Iterator[str]:
    """One topic per file."""
    for folder in ("tesk", "include", "host", "tests", "bench", "fuzz"):
        for path in sources(root, folder) if (root / folder).exists() else ():
            name = str(path.relative_to(root))
            lines = path.read_text(encoding="utf-8").count("\n")
            if lines > LINES_MAX and name not in LONG_FILES:
                yield f"{name}: {lines} lines, over {LINES_MAX}; split it by topic, or enter its reason in scripts/house.py"


def standalone_headers(root: pathlib.Path) -> Iterator[str]:
    """Every platform header compiles alone, as C."""
    for path in sources(root, "include"):
        compiled = subprocess.run(
            ["gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", f"-I{root / 'include'}",
             "-include", str(path), "-x", "c", "/dev/null"], capture_output=True, text=True)
        if compiled.returncode != 0:
            yield f"{path.relative_to(root)}: does not compile alone as C11: {compiled.stderr.splitlines()[0]}"


RULES = [walls, one_daemon, sizes, standalone_headers]


def main() -> int:
    if len(sys.argv) != 2:
        print("usage: house.py ROOT", file=sys.stderr)
        return 2
    root = pathlib.Path(sys.argv[1]).resolve()
    broken = [complaint for rule in RULES for complaint in rule(root)]
    for complaint in broken:
        print(complaint)
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
