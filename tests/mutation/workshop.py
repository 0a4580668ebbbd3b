"""Where mutants are built: a copy of the sources, the unit tests built from it, and commands that rebuild only what one
changed file needs.

The copy is in the output folder; the checkout itself is only read. The unit tests are built there once from the project's
own build files, without optimisation. For a mutant, the same compile and link commands are repeated. The changed file
comes first in the include path, and every object that depends on it replaces its original.
"""

from __future__ import annotations

import dataclasses
import hashlib
import os
import pathlib
import shlex
import shutil
import subprocess

from mutation import Mutation

COPIED = ("CMakeLists.txt", "cmake", "scripts/rooms.json", "include", "tesk", "tests/CMakeLists.txt", "tests/standin",
          "tests/unit", "host/values")
TARGET = "unit_tests"
PLAIN, SANITIZED = "plain", "sanitized"


class Broken(Exception):
    """The unmutated program cannot be built or fails its tests, so there is nothing to measure."""


@dataclasses.dataclass(frozen=True)
class Compilation:
    source: str
    object: str
    words: tuple[str, ...]
    inputs: frozenset[str]

    def command(self, overlay: pathlib.Path, source: str, target: str) -> list[str]:
        replace = {self.source: source, self.object: target, self.object + ".d": os.devnull}
        words = [replace.get(word, word) for word in self.words]
        return [words[0], f"-I{overlay}", f"-I{overlay}/include", *words[1:], "-w"]


class Workshop:
    """One flavour of the unit tests, built from the copy."""

    def __init__(self, folder: pathlib.Path, flavour: str):
        self.copy = folder / "copy"
        self.build = folder / flavour
        self.flavour = flavour
        self.compilations: list[Compilation] = []
        self.link: list[str] = []

    @property
    def program(self) -> pathlib.Path:
        return self.build / "bin" / TARGET

    def prepare(self, jobs: int) -> None:
        sanitize = "ON" if self.flavour == SANITIZED else "OFF"
        linker = "-fuse-ld=mold" if shutil.which("mold") else ""
        self.must("cmake", "-S", str(self.copy), "-B", str(self.build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                  "-DCMAKE_CXX_FLAGS_DEBUG=-O0", f"-DTESK_SANITIZE={sanitize}", f"-DCMAKE_EXE_LINKER_FLAGS={linker}")
        self.must("cmake", "--build", str(self.build), "--target", TARGET, "-j", str(jobs))
        self.read_commands()

    def must(self, *command: str) -> str:
        result = subprocess.run(command, capture_output=True, text=True)
        if result.returncode != 0:
            raise Broken("\n".join((result.stdout + result.stderr).splitlines()[-15:]))
        return result.stdout

    def read_commands(self) -> None:
        """Reads from Ninja the commands and, after the build, the files that each object depends on."""
        made_of = self.dependencies()
        for line in self.must("ninja", "-C", str(self.build), "-t", "commands", TARGET).splitlines():
            words = tuple(word for word in shlex.split(line) if word not in (":", "&&"))
            if "-c" in words and not words[-1].endswith(".hxx.cxx"):
                object_file = words[words.index("-o") + 1]
                self.compilations.append(Compilation(words[words.index("-c") + 1], object_file, words,
                                                     frozenset(made_of.get(object_file, ()))))
            elif f"bin/{TARGET}" in words:
                self.link = list(words)

    def dependencies(self) -> dict[str, list[str]]:
        found: dict[str, list[str]] = {}
        for line in self.must("ninja", "-C", str(self.build), "-t", "deps").splitlines():
            if line.startswith("    "):
                found[current].append(os.path.normpath(self.build / line.strip()))
            elif line:
                current = line.split(": #deps")[0]
                found[current] = []
        return found

    def affected(self, file: str) -> list[Compilation]:
        path = str(self.copy / file)
        return [one for one in self.compilations if path in one.inputs]

    def is_library_part(self, compilation: Compilation) -> bool:
        """Whether the object is linked from a library: the daemon's and the stand-in's are, a test's is not."""
        return compilation.object not in self.link

    def command(self, one: Compilation, mutation: Mutation, place: pathlib.Path, *more: str) -> tuple[list[str], pathlib.Path]:
        """How to compile an object of the mutant. @return the command and the object that it makes"""
        overlay = place / "overlay"
        own = str(self.copy / mutation.file) == one.source
        source = str(overlay / mutation.file) if own else one.source
        target = place / self.flavour / "-".join(["objects", *more]) / one.object
        target.parent.mkdir(parents=True, exist_ok=True)
        return [*one.command(overlay, source, str(target)), *more], target

    def link_command(self, objects: dict[str, str], program: pathlib.Path) -> list[str]:
        """Replaces objects of the program. Objects of a library are linked before it, so that they take precedence."""
        words = [str(program) if word == f"bin/{TARGET}" else objects.get(word, word) for word in self.link]
        added = [new for old, new in objects.items() if old not in self.link]
        at = words.index("-o")
        return [*words[:at], *added, *words[at:]]


def copied_files(root: pathlib.Path) -> list[str]:
    files = [path for name in COPIED for path in ([root / name] if (root / name).is_file() else (root / name).rglob("*"))]
    return sorted(str(path.relative_to(root)) for path in files if path.is_file() and path.suffix != ".pyc")


def fingerprint(root: pathlib.Path) -> str:
    """A fingerprint that changes with any file that a result depends on."""
    digest = hashlib.sha256()
    for name in copied_files(root):
        digest.update(name.encode() + b"\0" + (root / name).read_bytes() + b"\0")
    return digest.hexdigest()[:16]


def copy_sources(root: pathlib.Path, copy: pathlib.Path) -> None:
    """Updates the copy. Unchanged files keep their time, so that they are not built again."""
    wanted = copied_files(root)
    for name in wanted:
        source, target = root / name, copy / name
        if not target.exists() or source.read_bytes() != target.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, target)
    for stale in set(copied_files(copy)) - set(wanted):
        (copy / stale).unlink()
