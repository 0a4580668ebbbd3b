"""Rules for each room and each file."""

from __future__ import annotations

import concurrent.futures
import os
import re
import subprocess
from collections.abc import Iterator

from rooms import TABLE, Tree

LINES_MAX = 400
README_LINES_MAX = 20

CONDITION = re.compile(r"\s*#\s*(if|ifdef|ifndef|elif)\b")
TEST = re.compile(r"^(?:TYPED_)?TEST(?:_[FP])?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.M)
CAMEL_CASE = re.compile(r"[A-Z][A-Za-z0-9]*")


def every_folder_is_a_room(tree: Tree) -> Iterator[str]:
    for folder in sorted({file.rpartition("/")[0] for file in tree.sources if tree.room_of(file) is None}):
        yield f"{folder or '.'}: has sources, but is not a room; enter it in {TABLE}, or move the sources"


def every_room_exists(tree: Tree) -> Iterator[str]:
    """Everything that the table names exists."""
    for room in tree.rooms.values():
        if not (tree.root / room.name).is_dir():
            yield f"{TABLE}: room {room.name}: there is no such folder; remove the entry"
        for other in room.includes:
            if other not in tree.rooms:
                yield f"{TABLE}: room {room.name}: may include {other}, which is not a room"
        for file in room.long:
            if not (tree.root / room.name / file).is_file():
                yield f"{TABLE}: room {room.name}: there is no file {file}; remove its reason"


def every_room_has_a_readme(tree: Tree) -> Iterator[str]:
    for room in tree.rooms.values():
        readme = tree.root / room.name / "README.md"
        if not readme.is_file():
            yield f"{room.name}: has no README.md; say in at most {README_LINES_MAX} lines what lives here and where to start"
        elif (lines := readme.read_text(encoding="utf-8").count("\n")) > README_LINES_MAX:
            yield f"{room.name}/README.md: {lines} lines, over {README_LINES_MAX}; move the rest to docs/ or into headers"


def sizes(tree: Tree) -> Iterator[str]:
    """One topic per file."""
    for file, text in tree.sources.items():
        room = tree.room_of(file)
        excused = room is not None and file.removeprefix(room.name + "/") in room.long
        lines = text.count("\n")
        if lines > LINES_MAX and not excused:
            yield f"{file}: {lines} lines, over {LINES_MAX}; split it by topic, or enter its reason in {TABLE}"
        elif lines <= LINES_MAX and excused:
            yield f"{TABLE}: {file} needs no reason for its {lines} lines; remove the reason"


def one_daemon(tree: Tree) -> Iterator[str]:
    """The daemon is linked onto a platform, never configured for it."""
    for file, text in tree.sources.items():
        if not file.startswith("tesk/"):
            continue
        for number, line in enumerate(text.splitlines(), 1):
            if CONDITION.match(line) and not re.search(r"__cplusplus|__powerpc__", line):
                yield f"{file}:{number}: conditional code; put the difference behind include/opal"


def standalone_headers(tree: Tree) -> Iterator[str]:
    """Every platform header compiles alone, as C."""
    for file in tree.sources:
        if not file.startswith("include/"):
            continue
        compiled = subprocess.run(
            ["gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", f"-I{tree.root / 'include'}",
             "-include", str(tree.root / file), "-x", "c", "/dev/null"], capture_output=True, text=True)
        if compiled.returncode != 0:
            yield f"{file}: does not compile alone as C11: {compiled.stderr.splitlines()[0]}"


def names_of_tests(tree: Tree) -> Iterator[str]:
    """Tests are in files named test_NAME.cpp, and their names are sentences."""
    for file, text in tree.sources.items():
        found = list(TEST.finditer(text))
        if found and not file.rpartition("/")[2].startswith("test_"):
            yield f"{file}: contains tests; rename it to test_NAME.cpp"
        for test in found:
            for name in test.groups():
                if not CAMEL_CASE.fullmatch(name):
                    yield f"{file}:{text.count(chr(10), 0, test.start()) + 1}: test name {name}; write a sentence in CamelCase"


def formatting(tree: Tree) -> Iterator[str]:
    """clang-format would change nothing."""
    def check(some: list[str]) -> subprocess.CompletedProcess[str]:
        return subprocess.run(["clang-format", "--dry-run", *some], cwd=tree.root, capture_output=True, text=True)

    names, jobs = list(tree.sources), os.cpu_count() or 1
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        for checked in pool.map(check, (names[job::jobs] for job in range(jobs))):
            lines: dict[str, str] = {}
            for file, line in re.findall(r"^(\S+):(\d+):\d+: (?:warning|error)", checked.stderr, re.M):
                lines.setdefault(file, line)
            for file, line in lines.items():
                yield f"{file}:{line}: is not formatted; run clang-format -i {file}"
            if checked.returncode != 0:
                yield f"clang-format failed: {checked.stderr.strip().splitlines()[-1]}"


RULES = [every_folder_is_a_room, every_room_exists, every_room_has_a_readme, sizes, one_daemon, standalone_headers,
         names_of_tests, formatting]
